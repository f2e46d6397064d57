#include "tests/support/test_site.h"

#include <foundation/ini.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <platform/registry.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/support/descriptors.h"
#include "tests/support/system.h"

namespace fs = std::filesystem;

namespace {

fs::path fresh_folder()
{
    static std::atomic<int> count{0};
    const std::string name = "tamba-test-" + std::to_string(pl_process_id()) + "-" + std::to_string(count++);
    const fs::path folder = fs::temp_directory_path() / name;
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

} // namespace

void TestSite::SetUp()
{
    root_ = fresh_folder();
    path_before_ = pl_getenv("PATH");
    for (const char *folder : {"ini", "lgc", "work/sem", "glbv", "info", "db", "bin/tamba", "registry"})
        fs::create_directories(root_ / folder);
    pl_setenv("TAMBA_REGISTRY", path("registry").c_str());
    pl_setenv("TAMBA_EVENT_LOG", path("events.txt").c_str());
    pl_setenv("TAMBA_TEST_FOLDER", root_.string().c_str());
    std::string ini = "[Pathes]\n";
    for (const char *name : {"ini", "lgc", "work"})
        ini += "gv_rw_" + std::string(name) + "=" + directory(name) + "\n";
    write("ini/tb.ini", ini + "gv_ro_bin=" + path("") + "\n[SETUP]\nlang=en\n");
    ASSERT_TRUE(pl_reg_write("Software\\Korvel\\tamba", "TB_INI", path("ini/tb.ini").c_str()));
    for (const char *name : {"ini", "lgc", "work", "glbv", "info", "db"})
        set_global(("gv_rw_" + std::string(name)).c_str(), directory(name).c_str());
    set_global("gv_ro_bin", directory("bin/tamba").c_str());
    set_global("gv_db_type", "sqlite");
    set_global("gv_prot", path("prot.txt").c_str());
    set_global("gv_dayfile", path("dayfile.txt").c_str());
    IniFile::forget_recent();
    eLang = 0;
    gcInterrupt = 'n';
}

void TestSite::TearDown()
{
    EXPECT_EQ(trace_depth(), 0) << "an entry line without its exit line";
    remove_registry(path("registry"));
    pl_setenv("PATH", path_before_.c_str());
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

std::string TestSite::path(std::string_view below) const
{
    return (root_ / fs::path(below)).generic_string();
}

void TestSite::write(std::string_view below, std::string_view text) const
{
    std::ofstream stream(root_ / fs::path(below), std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    ASSERT_TRUE(stream.good()) << below;
}

std::string TestSite::read(std::string_view below) const
{
    return file_text(root_ / fs::path(below));
}

std::vector<std::string> TestSite::lines(std::string_view below) const
{
    std::istringstream stream(read(below));
    std::vector<std::string> all;
    for (std::string line; std::getline(stream, line);)
        all.push_back(line);
    return all;
}

bool TestSite::exists(std::string_view below) const
{
    return fs::exists(root_ / fs::path(below));
}

void TestSite::add_ini(std::string_view text) const
{
    write("ini/tb.ini", read("ini/tb.ini") + std::string(text));
}

void TestSite::set_global(const char *name, const char *value) const
{
    char buffer[TAMBA_GLBV_SIZE];
    std::snprintf(buffer, sizeof buffer, "%s", value);
    ASSERT_STRNE(glbv("w", name, buffer), "???") << name;
}

std::string TestSite::global(const char *name) const
{
    char buffer[TAMBA_GLBV_SIZE] = "";
    return glbv("r", name, buffer);
}

void TestSite::unset(const char *name)
{
    pl_unsetenv(name);
}

void TestSite::install_program(const std::string &name) const
{
    const std::string calls = path("calls.txt");
    write("bin/" + name, "#!/bin/sh\necho \"" + name + " $*\" >>" + calls + "\n");
    write("bin/" + name + ".cmd", "@echo " + name + " %*>>" + calls + "\r\n");
    fs::permissions(path("bin/" + name), fs::perms::owner_all);
    const char *const present = pl_getenv("PATH");
    if (std::string_view(present).find(path("bin")) == std::string_view::npos)
        pl_setenv("PATH", (path("bin") + pl_path_list_separator() + present).c_str());
}

// Whether text has pattern at this place; "9" stands for a digit or a leading blank, "a" for a letter.
static bool has_pattern(const std::string &text, size_t at, std::string_view pattern)
{
    const auto fits = [](char p, char c) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        return p == '9' ? (c >= '0' && c <= '9') || c == ' ' : p == 'a' ? letter : p == c;
    };
    return text.size() - at >= pattern.size() &&
           std::equal(pattern.begin(), pattern.end(), text.begin() + static_cast<std::ptrdiff_t>(at), fits);
}

std::string without_times(const std::string &text)
{
    constexpr std::string_view kTime = "99:99:99#", kStamp = "9999-99-99 99:99:99", kDay = " aaa ";
    std::string out;
    for (size_t at = 0; at < text.size();) {
        if ((at == 0 || text[at - 1] == '\n') && has_pattern(text, at, kTime)) {
            at += kTime.size() - 1;
        } else if (has_pattern(text, at, kStamp)) {
            at += kStamp.size();
            at += has_pattern(text, at, kDay) ? kDay.size() - 1 : 0;
            out += '@';
        } else {
            out += text[at++];
        }
    }
    return out;
}

TraceContext TestSite::context(int32_t level) const
{
    TraceContext trace{};
    std::snprintf(trace.path, sizeof trace.path, "%s", path("lgc/test.lgc").c_str());
    trace.level = level;
    return trace;
}

Captured::Captured(FILE *stream) : stream_(stream), file_(fresh_folder() / "captured.txt")
{
    std::fflush(stream);
    saved_ = redirect_stream(stream, file_.string().c_str());
}

std::string Captured::text()
{
    if (saved_ >= 0) {
        std::fflush(stream_);
        restore_stream(stream_, saved_);
        saved_ = -1;
    }
    return file_text(file_);
}

Captured::~Captured()
{
    text();
    std::error_code ignored;
    fs::remove_all(file_.parent_path(), ignored);
}
