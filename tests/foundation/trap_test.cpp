// The traps that end a program, seen from outside.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

namespace {

using Trap = TestSite;

// arguments: which trap, fatal, language
TAMBA_CHILD(trap)
{
    TraceContext trace{};
    v_set_log_main("trap.lgc", "TRAP", &trace);
    const int32_t fatal = std::stoi(arguments[1]);
    eLang = std::stoi(arguments[2]);
    if (arguments[0] == "database")
        trap_db_err("select '%s'", "no %n", trace, fatal);
    else if (arguments[0] == "file")
        trap_file_open_err("file %s", "prog%n", "r", trace);
    else
        trap_par_err("QM%S", fatal);
    std::printf("goes on\n");
    return 7;
}

TEST_F(Trap, EachReportsAndEndsAsItsCallersExpect)
{
    const struct {
        const char *which, *fatal, *language;
        int code;
        std::string output, message, exit_line;
    } cases[] = {
        {"database", "1", "0", 1, "STATUS=ERROR MSG=\"select '%s': no %n\"\n",
         "E018-DATABAS[]: select '%s' with unexpected result: no %n.",
         "# --- ZDL TRAP_DB_ERR exits with 1\n"},
        {"database", "0", "1", 7, "goes on\n",
         "E018-DATABAS[]: select '%s' erzeugte unerwartetes Ergebnis: no %n.",
         "# --- ZDL TRAP_DB_ERR returns to caller\n"},
        {"file", "0", "0", 1, "STATUS=ERROR MSG=\"prog%n:ERROR_OPEN_FILE file %s r\"\n",
         "E002-BASICS []: prog%n > error opening file file %s  mode:r",
         "# --- ZDL TRAP_FILE_OPEN_ERROR exits with 1\n"},
        {"parameters", "1", "0", 0,
         "STATUS=ERROR MSG=\"E015-BASICS  Missing parameters - more information with: tb_qm%s -h\"\n",
         "E015-BASICS []: Missing parameters - more information with: tb_qm%s -h", ""},
        {"parameters", "1", "1", 0,
         "STATUS=ERROR MSG=\"E015-BASICS  Fehlende Parameter - mehr Information mit: tb_qm%s -h\"\n",
         "E015-BASICS []: Fehlende Parameter - mehr Information mit: tb_qm%s -h", ""},
        {"parameters", "0", "0", 7, "goes on\n",
         "E015-BASICS []: Missing parameters - more information with: tb_qm%s -h", ""},
    };
    set_levels("TRAP=1\n");
    for (const auto &c : cases) {
        write("prot.txt", "");
        write("lgc/trap.lgc", "");
        Child child("trap", {c.which, c.fatal, c.language});
        EXPECT_EQ(child.wait(), c.code) << c.which;
        EXPECT_EQ(child.output(), c.output);
        EXPECT_EQ(child.errors(), "");
        std::string protocol_text = without_times(protocol());
        if (const size_t open = protocol_text.find('['); open != std::string::npos)
            protocol_text.erase(open + 1, protocol_text.find(']') - open - 1);
        EXPECT_EQ(protocol_text, "@ " + c.message + "\n");
        const std::string trace = without_times(read("lgc/trap.lgc")),
                          announced = trace.substr(trace.find('\n') + 1);
        const bool database = std::string_view(c.which) == "database";
        const std::string entry = c.exit_line.empty() ? ""
                                  : database
                                      ? "# +++ ZDL TRAP_DB_ERR in tamba 1.0.0  select '%s'  no %n\n"
                                      : "# +++ ZDL TRAP_FILE_OPEN_ERROR in tamba 1.0.0  file %s  prog%n \n";
        EXPECT_EQ(announced, entry + c.exit_line) << c.which;
    }
}

} // namespace
