// The environment of programs that are about to be started.
#include <foundation/ini.h>
#include <foundation/registry_value.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <tamba/config.h>

#include <cstdio>
#include <mutex>
#include <string>

namespace {

constexpr size_t kPathLimit = 2000;
constexpr size_t kDirectorySize = 512;

// Threads that run commands prepare the environment, too.
std::mutex g_mutex;

// A program's name is recognised with the blank behind it, in the command's first word: "tb_db" alone is no
// database program.
bool starts_program(const char *command, const char *name_and_blank)
{
    const char *const found = std::strstr(command, name_and_blank);
    const char *const first_blank = std::strchr(command, ' ');
    return found && first_blank && found < first_blank;
}

bool set_if_different(const char *name, const char *wanted)
{
    const char *const present = pl_getenv(name);
    return (present && std::strcmp(present, wanted) == 0) || pl_setenv(name, wanted);
}

bool set_openrda(const IniFile &ini, bool database_program)
{
    FixedText<64> type;
    if (!ini.read("[Params]", "gv_db_type", type.data(), type.capacity(), nullptr, 0) ||
        type.view() != "OpenAccess")
        return true;
    FixedText<512> file;
    if (!read_registry_value("SOFTWARE\\Korvel\\tamba", "OPENRDA_INI", file.data(), file.capacity(), nullptr,
                             0)) {
        if (database_program)
            own_trace("key OPENRDA_INI not found in Registry");
        return true;
    }
    if (set_if_different("OPENRDA_INI", file.c_str()))
        return true;
    std::fprintf(stderr, "error in putenv OPENRDA_INI=%s\n", file.c_str());
    return false;
}

bool set_pgport(const IniFile &ini, bool database_program)
{
    FixedText<64> port;
    if (!ini.read("[SERVER]", "gv_port_db", port.data(), port.capacity(), nullptr, 0)) {
        if (!database_program)
            return true;
        own_trace("key gv_port_db not found in tb.ini");
        std::fputs("key gv_port_db not found in tb.ini", stderr);
        return false;
    }
    if (set_if_different("PGPORT", port.c_str()))
        return true;
    own_trace("error in putenv [PGPORT=%s]", port.c_str());
    std::fprintf(stderr, "error in putenv [PGPORT=%s]", port.c_str());
    return false;
}

using Directory = FixedText<kDirectorySize>;

int32_t extend_path(const Directory &root, bool database_program, bool media_server)
{
    const char *const present = pl_getenv("PATH");
    if (!present)
        return -2;
    own_trace("i_setenv_tamba: current PATH=[%s]", present);
    const struct {
        const char *below;
        bool wanted;
    } candidates[] = {{"bin\\tamba", true}, {"bin\\db", database_program}, {"bin\\tbs", media_server}};
    std::string path = present;
    const size_t before = path.size();
    for (const auto &candidate : candidates) {
        Directory directory;
        directory.format("%s%s", root.c_str(), candidate.below);
        pl_native_path(directory.data());
        if (candidate.wanted && !std::strstr(present, directory.c_str()))
            (path += pl_path_list_separator()) += directory.view();
    }
    // A PATH beyond the limit is refused also when nothing is missing.
    if (path.size() >= kPathLimit)
        return -3;
    if (path.size() == before)
        return 1;
    if (path.size() + std::strlen("PATH=") >= kPathLimit)
        return -3;
    own_trace("i_setenv_tamba: putenv(PATH=%s)", path.c_str());
    return pl_setenv("PATH", path.c_str()) ? 1 : -4;
}

} // namespace

int32_t i_setenv_tamba(const char *command)
{
    const std::lock_guard held(g_mutex);
    const char *start = text_or_empty(command);
    start += std::strspn(start, " ");
    own_trace("i_setenv_tamba [%s]", start);
    const bool database_program = starts_program(start, "tb_db ");
    const bool media_server = starts_program(start, "tb_tbs_interface ");
    const IniFile ini = IniFile::of_system(nullptr, nullptr, 0);
    if (!set_openrda(ini, database_program) || !set_pgport(ini, database_program))
        return 0;
    Directory root;
    if (!ini.read("[PATHES]", "gv_ro_bin", root.data(), root.capacity(), nullptr, 0))
        return -1;
    return extend_path(root, database_program, media_server);
}
