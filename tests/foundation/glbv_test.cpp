// Global variables in both stores, of this and of other hosts, and the path resolvers.
#include "tests/support/system.h"
#include "tests/support/test_site.h"

#include <foundation/text.h>
#include <platform/fault.h>
#include <platform/process.h>
#include <platform/registry.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace {

constexpr char kStore[] = "SOFTWARE\\Korvel\\tamba\\GLBV\\";

class Glbv : public TestSite {
protected:
    // What the service returns for value, and what it leaves in value when that is something else.
    static std::string call(const char *function, const std::string &name,
                            const std::string &value = "unchanged",
                            char *(*service)(const char *, const char *, char *) = glbv)
    {
        char buffer[TAMBA_GLBV_SIZE];
        std::snprintf(buffer, sizeof buffer, "%s", value.c_str());
        const std::string result = service(function, name.c_str(), buffer);
        return result == buffer ? result : result + " / " + buffer;
    }
};

TEST_F(Glbv, WhatIsWrittenIsReadUntilItIsDeleted)
{
    const std::string v511(511, 'v');
    // clang-format off
    const struct { std::string name, written, read; } cases[] = {
        {"gv_a", "text", "text"}, {"gv_a", "", ""}, {"gv_a", v511, v511},
        {"gv_A", "one variable, whatever its case", "one variable, whatever its case"},
        {"gv_../../x", "in", "in"}, {"gv_\344\366\374 %s", "100%s", "100%s"}, {"file", "text", "text"},
        {"file", "", "???"}, {"file", v511, v511.substr(0, 255)}, {"file", "a\nb", "ab"},
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(call("w", c.name, c.written), c.written);
        EXPECT_EQ(call("read", c.name), c.read) << c.name;
        EXPECT_EQ(call("R", c.name), c.read) << c.name;
        EXPECT_EQ(call("r", c.name), "???") << c.name;
        call("w", c.name, "again");
        EXPECT_EQ(call("d", c.name), "unchanged");
        EXPECT_EQ(call("r", c.name), "???") << c.name;
    }
    for (const auto service : {glbv, master_glbv})
        for (const char *name : {"gv_a", "file", "MyVersion", "other.invalid:gv_a"})
            for (const char *function : {"R", "w", "r", "d", "x"}) // callers look at the first character
                EXPECT_NE(service(function, name, nullptr), nullptr) << function << name;
    EXPECT_EQ(glbv("R", "gv_a", nullptr)[0], '?');
    EXPECT_EQ(call("", "file"), "??? invalid service ");
    EXPECT_EQ(call("r", "MyVersion").substr(0, 6), "tamba ");
    EXPECT_FALSE(std::filesystem::exists(path("../x")));
}

TEST_F(Glbv, WrittenFilesComeBackInTheServicesOwnBuffer)
{
    char value[TAMBA_GLBV_SIZE] = "first";
    char *const kept = glbv("w", "one", value);
    ASSERT_NE(kept, value);
    EXPECT_EQ(glbv("w", "two", kept), kept); // the buffer as its own source
    EXPECT_EQ(read("glbv/two.sgv"), "first");
    EXPECT_EQ(glbv("w", "gv_x", value), value);
    EXPECT_EQ(master_glbv("w", "localhost:three", value), value); // the front's results stand in value
    EXPECT_EQ(read("glbv/three.sgv"), "first");
    EXPECT_STREQ(kept, "first");
}

TEST_F(Glbv, FileNamesStayInTheirDirectory)
{
    for (const char *name : {"../x", "..", "a/b", "a\\b", "x..y", "/etc/x"}) {
        write("x.sgv", "outside");
        std::filesystem::create_directories(path("glbv/a"));
        write("glbv/a/b.sgv", "below");
        EXPECT_EQ(call("w", name, "v"), "??? / v") << name;
        for (const char *function : {"r", "R"})
            EXPECT_EQ(call(function, name), "???") << name;
        EXPECT_EQ(call("d", name), "unchanged");
        EXPECT_EQ(call("q", name), "??? invalid service q");
        EXPECT_EQ(read("x.sgv") + read("glbv/a/b.sgv"), "outsidebelow") << name;
    }
}

TEST_F(Glbv, WhatCannotBeReadIsNotDeleted)
{
    for (const char *name : {"file", "gv_a"})
        for (int failing = 1;; ++failing) {
            call("w", name, "kept");
            pl_fault_arm(failing, PL_ACCESS_DENIED);
            const std::string seen = call("R", name);
            const bool reached = pl_fault_calls() >= failing;
            pl_fault_arm(0, PL_OTHER);
            EXPECT_TRUE(seen == "kept" || call("r", name) == "kept") << name << failing;
            if (!reached)
                break;
        }
}

TEST_F(Glbv, ReadersSeeTheOldTextOrTheNewOne)
{
    const std::string a(200, 'a'), b(200, 'b');
    call("w", "file", a);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (size_t i = 0; i < large_size(50, 2000); ++i)
            call("w", "file", i % 2 ? a : b);
        done = true;
    });
    std::string torn;
    while (!done)
        if (const std::string seen = call("r", "file"); seen != a && seen != b)
            torn = seen;
    writer.join();
    EXPECT_EQ(torn, "");
}

TEST_F(Glbv, DeleteWithStarRemovesEveryNameThatHoldsBothParts)
{
    const std::string names[] = {"gv_clone_1", "gv_clone_x", "gv_tbs_eom_3", "gv_old_eom_clone_", "gv_keep"};
    // clang-format off
    const struct { const char *pattern; std::string left; } cases[] = {
        {"gv_clone_*", "00111"}, {"*_eom_", "11001"},    {"*_eom_*", "11111"}, {"gv_*_3", "11011"},
        {"gv_none*", "11111"},   {"gv_clone_", "11111"},
    };
    // clang-format on
    for (const auto &c : cases) {
        for (const std::string &name : names)
            call("w", name, "v");
        // A variable that has grown a key of its own below it cannot be deleted and must not stop the others.
        ASSERT_TRUE(pl_reg_write((std::string(kStore) + "gv_clone_a\\sub").c_str(), "", "v"));
        call("d", c.pattern);
        std::string left;
        for (const std::string &name : names)
            left += call("r", name) == "v" ? '1' : '0';
        EXPECT_EQ(left, c.left) << c.pattern;
    }
    EXPECT_EQ(call("r", "gv_rw_glbv"), directory("glbv"));
    call("d", "*");
    EXPECT_EQ(call("r", "gv_rw_glbv"), "???");
}

TEST_F(Glbv, WithoutItsDirectoryTheFileStoreTouchesNothing)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(path("work/sem"));
    call("d", "gv_rw_glbv");
    EXPECT_EQ(call("w", "file", "v"), "??? / v");
    EXPECT_EQ(call("w", "file", "v", master_glbv), "???");
    EXPECT_EQ(call("r", "file"), "???");
    EXPECT_EQ(call("R", "file"), "???");
    EXPECT_EQ(call("d", "file"), "unchanged");
    EXPECT_TRUE(std::filesystem::is_empty("."));
    std::filesystem::current_path(before);
    set_global("gv_rw_glbv", path("missing/").c_str());
    EXPECT_EQ(call("w", "file", "v"), "??? / v");
}

TEST_F(Glbv, LeadingNamesAreResolved)
{
    add_ini("[Pathes]\nignored=second section\n");
    write("glbv/short.sgv", "from file");
    const std::string work = directory("work"), long_rest(1100, 'r');
    // clang-format off
    const struct { std::string text, by_variable; int32_t result; std::string by_ini; } cases[] = {
        {"gv_rw_work:a:b", work + "a:b", 1, work + "a:b"}, {"gv_rw_work:", work, 1, work},
        {"gv_rw_work", work, 1, work},                     {"short:x", "from filex", 1, "short:x"},
        {"gv_prot:", path("prot.txt"), 1, "gv_prot:"},     {"C:\\x", "C:\\x", 0, "C:\\x"},
        {"gv_none:x", "gv_none:x", 0, "gv_none:x"},        {"ignored:x", "ignored:x", 0, "ignored:x"},
        {"", "", 0, ""},
        {"gv_rw_work:" + long_rest, (work + long_rest).substr(0, 1023), 1,
         (work + long_rest).substr(0, 1023)},
    };
    // clang-format on
    for (const auto &c : cases) {
        char text[TAMBA_RESOLVE_SIZE];
        std::snprintf(text, sizeof text, "%s", c.text.c_str());
        EXPECT_EQ(resolve_glbv(text), c.result) << c.text;
        EXPECT_EQ(std::string(text), c.by_variable);
        std::snprintf(text, sizeof text, "%s", c.text.c_str());
        EXPECT_EQ(resolve_path(text), 1);
        EXPECT_EQ(std::string(text), c.by_ini);
    }
}

TEST_F(Glbv, TheFrontServesThisHostAndNamesWhatFailsOnOthers)
{
    char host[256];
    ASSERT_TRUE(pl_host_name(host, sizeof host));
    for (char *c = host; *c; ++c)
        *c = ascii_upper(*c);
    set_levels("TB_GLBV=1\n");
    EXPECT_EQ(call("w", "gv_m", "value", master_glbv), "value");
    EXPECT_EQ(call("r", "localhost:gv_m", "", master_glbv), "value");
    EXPECT_EQ(call("R", std::string(host) + ":gv_m", "", master_glbv), "value");
    EXPECT_EQ(call("r", "gv_m", "", master_glbv), "???");
    EXPECT_EQ(call("q", "gv_m", "", master_glbv), "??? invalid service q");
    const std::string trace = without_times(read("lgc/tb_glbv.lgc"));
    EXPECT_TRUE(holds(trace, "# +++ GLBV: function:w  name:gv_m \n# --- GLBV: gv_m    value: value \n"));
    for (const char *function : {"r", "R", "d", "w"})
        EXPECT_EQ(call(function, "other.invalid:gv_m", "v", master_glbv), "?? GLBV: RemoteCmd failed")
            << function;
    EXPECT_EQ(call("q", "other.invalid:gv_m", "v", master_glbv), "?? invalid service q");
}

} // namespace
