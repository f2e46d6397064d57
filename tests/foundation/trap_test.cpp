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
    if (arguments[0] == "DB_ERR")
        trap_db_err("select '%s'", "no %n", trace, fatal);
    else if (arguments[0] == "FILE_OPEN_ERROR")
        trap_file_open_err("file %s", "prog%n", "r", trace);
    else
        trap_par_err("QM%S", fatal);
    std::printf("goes on\n");
    return 7;
}

TEST_F(Trap, EachReportsAndEndsAsItsCallersExpect)
{
    const std::string english = "Missing parameters - more information with: tb_qm%s -h";
    // clang-format off
    const struct {
        const char *which, *fatal, *language; int code; std::string said, message; const char *end;
    } cases[] = {
        {"DB_ERR", "1", "0", 1, "\"select '%s': no %n\"",
         "E018-DATABAS[]: select '%s' with unexpected result: no %n.", "exits with 1"},
        {"DB_ERR", "0", "1", 7, "", "E018-DATABAS[]: select '%s' erzeugte unerwartetes Ergebnis: no %n.",
         "returns to caller"},
        {"FILE_OPEN_ERROR", "0", "0", 1, "\"prog%n:ERROR_OPEN_FILE file %s r\"",
         "E002-BASICS []: prog%n > error opening file file %s  mode:r", "exits with 1"},
        {"PARAMETERS", "1", "0", 0, "\"E015-BASICS  " + english + "\"", "E015-BASICS []: " + english, ""},
        {"PARAMETERS", "0", "0", 7, "", "E015-BASICS []: " + english, ""},
    };
    // clang-format on
    set_levels("TRAP=1\n");
    for (const auto &c : cases) {
        write("prot.txt", "");
        write("lgc/trap.lgc", "");
        Child child("trap", {c.which, c.fatal, c.language});
        EXPECT_EQ(child.wait(), c.code) << c.which;
        EXPECT_EQ(child.output(), c.said.empty() ? "goes on\n" : "STATUS=ERROR MSG=" + c.said + "\n");
        EXPECT_EQ(child.errors(), "");
        std::string protocol_text = without_times(protocol());
        if (const size_t open = protocol_text.find('['); open != std::string::npos)
            protocol_text.erase(open + 1, protocol_text.find(']') - open - 1);
        EXPECT_EQ(protocol_text, "@ " + c.message + "\n");
        const std::string trace = without_times(read("lgc/trap.lgc")),
                          announced = trace.substr(trace.find('\n') + 1);
        const std::string name = "ZDL TRAP_" + std::string(c.which),
                          text = name == "ZDL TRAP_DB_ERR" ? "select '%s'  no %n" : "file %s  prog%n ";
        EXPECT_EQ(announced, !*c.end ? ""
                                     : "# +++ " + name + " in tamba 1.0.0  " + text + "\n# --- " + name +
                                           " " + c.end + "\n");
    }
}

} // namespace
