// The environment of programs that are about to be started.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <platform/files.h>
#include <platform/process.h>
#include <platform/registry.h>

namespace {

class Environment : public TestSite {
protected:
    void SetUp() override
    {
        TestSite::SetUp();
        for (const char *name : {"PGPORT", "OPENRDA_INI"})
            unset(name);
    }
    void set_ini(const std::string &text) const
    {
        write("ini/tb.ini",
              "[Pathes]\ngv_rw_lgc=" + directory("lgc") + "\ngv_rw_ini=" + directory("ini") + "\n" + text);
    }
    static std::string variable(const char *name)
    {
        const char *const text = pl_getenv(name);
        return text ? text : "(unset)";
    }
    // A program directory as PATH shows it.
    static std::string bin(const char *name)
    {
        std::string text = std::string("/inst/bin\\") + name;
        pl_native_path(text.data());
        return text;
    }
};

TEST_F(Environment, EachKindOfProgramGetsItsDirectories)
{
    set_ini("gv_ro_bin=/inst/\n[SERVER]\ngv_port_db=5432\n");
    const std::string s(1, pl_path_list_separator()), tamba = s + bin("tamba"), db = s + bin("db"),
                                                      tbs = s + bin("tbs");
    // clang-format off
    const struct { const char *command; std::string before, after; } cases[] = {
        {"  ls -l", "/a", "/a" + tamba},       {nullptr, "/a", "/a" + tamba},
        {"tb_db -x", "/a", "/a" + tamba + db}, {"/x/tb_db -x", "/a", "/a" + tamba + db},
        {"tb_db", "/a", "/a" + tamba}, // only with the blank behind it a database program
        {"sh tb_db -x", "/a", "/a" + tamba},        {"tb_tbs_interface -x", "/a", "/a" + tamba + tbs},
        {"tb_db -x", "/a" + db, "/a" + db + tamba},
        {"ls", "/a" + tamba + "2", "/a" + tamba + "2"}, // contained is contained
        {"ls", "", tamba},
    };
    // clang-format on
    for (const auto &c : cases) {
        pl_setenv("PATH", c.before.c_str());
        EXPECT_EQ(i_setenv_tamba(c.command), 1);
        EXPECT_EQ(variable("PATH"), c.after) << (c.command ? c.command : "null");
        EXPECT_EQ(i_setenv_tamba(c.command), 1);
        EXPECT_EQ(variable("PATH"), c.after) << "the second call has nothing to add";
    }
    EXPECT_EQ(variable("PGPORT"), "5432");
}

TEST_F(Environment, ThePathStaysBelowTwoThousandCharacters)
{
    set_ini("gv_ro_bin=/inst/\n");
    const std::string added = pl_path_list_separator() + bin("tamba");
    const size_t longest = 1999 - 5 - added.size(); // "PATH=" counts
    // clang-format off
    const struct { std::string before; int32_t result; } cases[] = {
        {std::string(longest, 'x'), 1}, {std::string(longest + 1, 'x'), -3},
        {std::string(1999 - added.size(), 'x') + added, 1}, // nothing to add
        {std::string(2000 - added.size(), 'x') + added, -3},
    };
    // clang-format on
    for (const auto &c : cases) {
        pl_setenv("PATH", c.before.c_str());
        EXPECT_EQ(i_setenv_tamba("ls"), c.result) << c.before.size();
        EXPECT_EQ(variable("PATH").size(), c.before.size() + (c.before.size() == longest ? added.size() : 0));
    }
    unset("PATH");
    EXPECT_EQ(i_setenv_tamba("ls"), -2);
    set_ini("");
    EXPECT_EQ(i_setenv_tamba("ls"), -1);
    EXPECT_EQ(variable("PATH"), "(unset)");
}

TEST_F(Environment, ADatabaseProgramNeedsThePortAndMayUseOpenAccess)
{
    set_ini("gv_ro_bin=/inst/\n[Params]\ngv_db_type=OpenAccess\n");
    Captured errors(stderr);
    EXPECT_EQ(i_setenv_tamba("ls"), 1);
    EXPECT_EQ(i_setenv_tamba("tb_db -x"), 0);
    EXPECT_EQ(errors.text(), "key gv_port_db not found in tb.ini");
    EXPECT_EQ(variable("PGPORT") + variable("OPENRDA_INI"), "(unset)(unset)");
    ASSERT_TRUE(pl_reg_write("SOFTWARE\\Korvel\\tamba", "OPENRDA_INI", "/etc/openrda.ini"));
    EXPECT_EQ(i_setenv_tamba("ls"), 1);
    EXPECT_EQ(variable("OPENRDA_INI"), "/etc/openrda.ini");
    unset("OPENRDA_INI");
    set_ini("gv_ro_bin=/inst/\n[Params]\ngv_db_type=sqlite\n[SERVER]\ngv_port_db=1\n");
    EXPECT_EQ(i_setenv_tamba("tb_db -x"), 1);
    EXPECT_EQ(variable("PGPORT") + variable("OPENRDA_INI"), "1(unset)");
}

TAMBA_CHILD(trace_environment)
{
    TraceContext trace{};
    v_set_log_main("env.lgc", "ENV", &trace);
    i_setenv_tamba(arguments[0].c_str());
    return 0;
}

TEST_F(Environment, PathsWithPercentSignsAreTracedAsTheyStand)
{
    set_ini("gv_ro_bin=/inst/\n[Params]\ngv_db_type=OpenAccess\n[SETUP]\nlang=en\n");
    set_levels("ENV=2\n");
    pl_setenv("PATH", "/%s%%n");
    Child child("trace_environment", {"tb_tbs_interface %n"});
    ASSERT_EQ(child.wait(), 0) << child.errors();
    const std::string trace = without_times(read("lgc/env.lgc"));
    const char s = pl_path_list_separator();
    EXPECT_EQ(trace.substr(trace.find("# i_setenv")),
              "# i_setenv_tamba [tb_tbs_interface %n]\n# i_setenv_tamba: current PATH=[/%s%%n]\n"
              "# i_setenv_tamba: putenv(PATH=/%s%%n" +
                  std::string(1, s) + bin("tamba") + s + bin("tbs") + ")\n");
}

} // namespace
