// The developer trace: line form, nesting, levels, and what happens once per process.
#include "tests/support/allocation.h"
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <foundation/trace_scope.h>
#include <platform/error.h>
#include <platform/process.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

// Formats of any form, also those the compiler would refuse.
void (*const any_trace)(TraceContext *, const char *, ...) = WRITE_TRACE;

class Trace : public TestSite {
protected:
    std::string log(const char *name = "test.lgc") const
    {
        return without_times(read("lgc/" + std::string(name)));
    }
    void set_ini(std::string_view pathes, std::string_view setup = "lang=en\n") const
    {
        write("ini/tb.ini", "[Pathes]\n" + std::string(pathes) + "[SETUP]\n" + std::string(setup));
    }
};

TEST_F(Trace, ExitLinesStandAtTheIndentOfTheirEntryLinesUpToSixtyBlanks)
{
    TraceContext trace = context(1);
    constexpr int kDeep = 18;
    std::string expected;
    for (int n = 0; n < 2 * kDeep; ++n) { // in and out again
        const int depth = n < kDeep ? n : 2 * kDeep - 1 - n;
        const std::string line = (n < kDeep ? "+++ F" : "--- F") + std::to_string(depth);
        any_trace(&trace, line.c_str());
        expected += "#" + std::string(4 * static_cast<size_t>(std::min(depth, 15)), ' ') + " " + line + "\n";
    }
    EXPECT_EQ(log(), expected);
    WRITE_TRACE(&trace, "--- one too many");
    EXPECT_EQ(trace_depth(), 0);
}

TEST_F(Trace, AScopeWritesBothOfItsLinesOrNone)
{
    TraceContext trace = context(1), quiet = context(0);
    const auto left = [](TraceContext &c) {
        TraceScope scope(c, kTraceMain, "+++ F %s", "100%s");
        scope.note("note");
        scope.detail("unseen");
        return scope.leave(7, "--- F %d", 7);
    };
    EXPECT_EQ(left(trace), 7);
    EXPECT_EQ(left(quiet), 7);
    {
        TraceScope forgotten(trace, kTraceMain, "+++ G");
    }
    EXPECT_EQ(log(), "# +++ F 100%s\n#     note\n# --- F 7\n# +++ G\n# ---\n");
}

TEST_F(Trace, ACutFormatNeverEndsInsideAConversion)
{
    constexpr size_t kKept = 1023 - 10; // time, "#" and a blank stand before the format
    for (size_t before = kKept - 8; before <= kKept + 1; ++before) {
        TraceContext trace = context(1);
        const std::string x(before, 'x'), file = "lgc/cut" + std::to_string(before);
        std::snprintf(trace.path, sizeof trace.path, "%s", path(file).c_str());
        WRITE_TRACE(&trace, (x + "%-4ld|").c_str(), 42L);
        std::string expected = (x + "%-4ld|\n").substr(0, kKept);
        if (const size_t conversion = expected.find('%'); conversion != std::string::npos)
            expected = before + 5 <= kKept ? x + "42  " + expected.substr(before + 5) : x;
        EXPECT_EQ(without_times(read(file)), "# " + expected) << before;
    }
}

TEST_F(Trace, ALineThatCannotBeMadeIsItsFormat)
{
    TraceContext trace = context(1);
    any_trace(&trace, "+++ F %99999999999d|%s", 7, "x");
    any_trace(&trace, "%.100000d|%-99s|", 7, "x");
    any_trace(&trace, "--- %9s", "F");
    EXPECT_EQ(log(), "# +++ F %99999999999d|%s\n#     %.100000d|%-99s|\n# ---         F\n");
}

TEST_F(Trace, ArgumentsOfAnyLengthAreWrittenWholeAndCutOnlyWithoutMemory)
{
    TraceContext trace = context(1);
    const std::string value(100000, 'v');
    WRITE_TRACE(&trace, "%s|", value.c_str());
    {
        const FailingAllocation none(0);
        WRITE_TRACE(&trace, "%s|", value.c_str());
    }
    const size_t room = 4095 - 11; // behind "10:30:00# ", in front of the line end
    EXPECT_EQ(log(), "# " + value + "|\n# " + value.substr(0, room) + "\n");
}

TEST_F(Trace, TextsWithoutAnEndInACallersContextAreCut)
{
    TraceContext trace = context(1);
    std::memset(trace.indent, '.', sizeof trace.indent);
    WRITE_TRACE(&trace, "text");
    EXPECT_EQ(log(), "#" + std::string(63, '.') + " text\n");
    std::memset(trace.path, 'p', sizeof trace.path);
    WRITE_TRACE(&trace, "lost");
    EXPECT_EQ(std::strlen(trace.path), sizeof trace.path - 1);
}

TEST_F(Trace, CopyFileCutsTheLastCharacterOfEveryPiece)
{
    TraceContext trace = context(1);
    trace.to_stderr = 1;
    const std::string line(300, 'l'), head(254, 'l'), rest(45, 'l'), none = path("none");
    write("text", "one\n" + line + "\r\n\n" + std::string("nul\0x\n", 6) + "last");
    Captured errors(stderr);
    WRITE_TRACE(&trace, "COPY_FILE", path("text").c_str());
    WRITE_TRACE(&trace, "COPY_FILE", none.c_str());
    std::strcpy(trace.path, path("missing/test.lgc").c_str());
    WRITE_TRACE(&trace, "COPY_FILE", path("text").c_str());
    EXPECT_EQ(log(), "#    one\n#    " + head + "\n#    " + rest + "\n#    \n#    nu\n#    las\n#   File " +
                         none + " not found\n");
    EXPECT_EQ(without_times(errors.text()), "# COPY_FILE\n# one\n# " + head + "\n# " + rest +
                                                "\n# \n# nu\n# las\n# COPY_FILE\n# File " + none +
                                                " not found\n# COPY_FILE\n");
}

TEST_F(Trace, CopyFileOfTheTraceFileItselfEnds)
{
    TraceContext trace = context(1);
    WRITE_TRACE(&trace, "line");
    WRITE_TRACE(&trace, "COPY_FILE", trace.path);
    const std::string text = log();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
}

TEST_F(Trace, CopyFileOfALongFileCopiesEveryLineOnce)
{
    TraceContext trace = context(1);
    std::string listing, copied;
    for (int i = 0; i < 30000; ++i) {
        const std::string line = std::to_string(i) + std::string(static_cast<size_t>(i % 90), 'l');
        listing += line + (i % 3 == 0 ? "\r\n" : "\n");
        copied += "#    " + line + "\n";
    }
    write("listing", listing);
    WRITE_TRACE(&trace, "COPY_FILE", path("listing").c_str());
    EXPECT_TRUE(log() == copied) << "not the listing of " << listing.size() << " bytes";
    write("lgc/test.lgc", "");
    WRITE_TRACE(&trace, "COPY_FILE", path(".").c_str());
    EXPECT_EQ(log(), "#   File " + path(".") + " not found\n") << "a directory has no lines";
}

TEST_F(Trace, TheLevelFileIsMatchedByItsLineStarts)
{
    // clang-format off
    const struct { std::string text; const char *module; int32_t level; } cases[] = {
        {"TB_SEM=2\n", "tb_sem", 2}, {"TB_SEMX=3\n", "TB_SEM", 0}, {" TB_SEM=3\n", "TB_SEM", 0},
        {"tb_sem=3\n", "TB_SEM", 0}, {"TB_SEM=1\nTB_SEM=3\n", "TB_SEM", 1}, {"TB_SEM= 3 x\r\n", "TB_SEM", 3},
        {"TB_SEM=12", "TB_SEM", 1}, // the last character goes
        {"TB_SEM=x\n", "TB_SEM", 0},                   {"TB_SEM=-1\n", "TB_SEM", -1},
        {"TB_SEM=99999999999\n", "TB_SEM", INT32_MAX}, {std::string("\0\nTB_SEM=3\n", 11), "TB_SEM", 3},
        {std::string(255, 'x') + "TB_SEM=3\n", "TB_SEM", 3}, // a longer line goes on as the next
    };
    // clang-format on
    EXPECT_EQ(log_check("TB_SEM"), 0);
    for (const auto &c : cases) {
        set_levels(c.text);
        EXPECT_EQ(log_check(c.module), c.level) << c.text;
    }
}

TEST_F(Trace, FileNamesLandInTheLogDirectoryUnlessTheyNameIt)
{
    TraceContext trace{};
    v_set_log_main("prog.lgc", "PROG", &trace);
    EXPECT_EQ(trace.path, path("lgc/prog.lgc"));
    v_set_log_main(trace.path, "OTHER", &trace); // the context's own path
    EXPECT_EQ(trace.path, path("lgc/prog.lgc"));
    v_set_log_main(nullptr, nullptr, &trace);
    EXPECT_EQ(trace.path, directory("lgc"));
    v_set_log_main(std::string(1000, 'n').c_str(), "PROG", &trace);
    EXPECT_EQ(std::strlen(trace.path), sizeof trace.path - 1);
}

TEST_F(Trace, TheLanguageComesFromTheIniFileAndItsAbsenceIsAlwaysTraced)
{
    // clang-format off
    const struct { const char *setup; int32_t language; } cases[] = {
        {"lang=de\n", 1}, {"lang=de_BA\n", 2}, {"lang=fr\n", 3}, {"lang=hr\n", 4}, {"lang=DE\n", 0},
    };
    // clang-format on
    const std::string lgc = "gv_rw_lgc=" + directory("lgc") + "\ngv_rw_ini=" + directory("ini") + "\n";
    TraceContext trace{};
    for (const auto &c : cases) {
        set_ini(lgc, c.setup);
        eLang = 9;
        v_set_log_main("prog.lgc", "PROG", &trace);
        EXPECT_EQ(eLang, c.language) << c.setup;
    }
    EXPECT_FALSE(exists("lgc/prog.lgc"));
    set_ini(lgc, "");
    eLang = 9;
    v_set_log_main("prog.lgc", "PROG", &trace);
    EXPECT_EQ(eLang, 0);
    EXPECT_EQ(log("prog.lgc"), "# didn't find key lang in tb.ini > set language to en\n");
}

TEST_F(Trace, TracingLeavesNoMarkOnErrors)
{
    TraceContext trace = context(1);
    std::strcpy(trace.path, path("missing/test.lgc").c_str());
    pl_set_error({PL_LOCK_VIOLATION, 4711});
    errno = 77;
    WRITE_TRACE(&trace, "lost");
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(pl_last_error().number, 4711);
}

// ---- once per process

TAMBA_CHILD(trace_start)
{
    TraceContext first{}, second{};
    trace("before the first %s", "call");
    v_set_log_main("first.lgc", arguments[0].c_str(), &first);
    v_set_log_main("second.lgc", "DETAIL", &second);
    trace("own %s %d%%", "a%%b%s", 7);
    std::printf("%d %d %d %d\n", first.level, first.to_stderr, second.level, second.to_stderr);
    return 0;
}

TEST_F(Trace, TheFirstContextIsAnnouncedAndKeptForTheProcess)
{
    set_levels("MAIN=1\nDETAIL=2\nSTDERR=1\n");
    Child detail("trace_start", {"detail"});
    ASSERT_EQ(detail.wait(), 0);
    EXPECT_EQ(detail.output(), "2 1 2 1\n");
    char program[512];
    pl_program_path(program, sizeof program);
    const std::string parent = std::filesystem::path(program).filename().string().substr(0, 15);
    EXPECT_EQ(log("first.lgc"),
              "# Logging enabled for module detail: Loglevel 2, PID=" + std::to_string(detail.pid()) +
                  ", parent process: " + parent + "\n# set language to en\n# own a%b%s 7%\n");
    EXPECT_EQ(log("second.lgc"), "# set language to en\n");
    EXPECT_EQ(without_times(detail.errors()), "# set language to en\n# set language to en\n# own a%b%s 7%\n");
}

TEST_F(Trace, AFirstContextAtLevelZeroSilencesTheLibrarysOwnLinesForGood)
{
    set_levels("DETAIL=2\nSTDERR=1\n");
    Child silent("trace_start", {"MAIN"});
    ASSERT_EQ(silent.wait(), 0);
    EXPECT_EQ(silent.output(), "0 0 2 1\n");
    EXPECT_FALSE(exists("lgc/first.lgc"));
    EXPECT_FALSE(holds(log("second.lgc"), "own"));
    EXPECT_TRUE(holds(log("second.lgc"), "Logging enabled for module DETAIL"));
}

TEST_F(Trace, MissingDirectoriesAreReportedAndTheProgramGoesOn)
{
    const char *const cases[][3] = {{"lgc", "ini", "SET_LOG_MAIN"}, {"ini", "lgc", "LOG_CHECK"}};
    for (const auto &[missing, present, who] : cases) {
        set_ini("gv_rw_" + std::string(present) + "=" + directory(present) + "\n");
        write("prot.txt", "");
        Child child("trace_start", {"MAIN"});
        ASSERT_EQ(child.wait(), 0);
        const std::string error = "FATAL: SET_LOG_MAIN: gv_rw_" + std::string(missing) + " not set";
        EXPECT_EQ(child.errors(), error + error) << "one for each context";
        EXPECT_EQ(lines("prot.txt").size(), 2u);
        EXPECT_TRUE(holds(protocol(), "]: " + std::string(who) + " > gv_rw_" + missing +
                                          " not yet existing - please restart TAMBA.\n"));
    }
}

// ---- shared files

TAMBA_CHILD(write_many)
{
    TraceContext trace{};
    v_set_log_main("shared.lgc", "SHARED", &trace);
    const std::string filler(static_cast<size_t>(std::stoi(arguments[0]) * 40), 'f');
    for (int i = 0; i < 1000; ++i) {
        WRITE_TRACE(&trace, "T %s %d %s.", arguments[0].c_str(), i, filler.c_str());
        PROT("I001-BASICS  P %s %d %s.\nsecond %d", arguments[0].c_str(), i, filler.c_str(), i);
    }
    return 0;
}

// Checks that the lines of each of eight writers are there, whole, once and in order.
void expect_all(const std::vector<std::string> &lines, const std::string &mark, size_t lines_each)
{
    ASSERT_EQ(lines.size(), 8000 * lines_each);
    int next[8] = {};
    for (size_t at = 0; at < lines.size(); at += lines_each) {
        int writer = -1, number = -1, end = 0;
        const size_t text = lines[at].find(mark);
        ASSERT_NE(text, std::string::npos) << lines[at];
        ASSERT_EQ(std::sscanf(lines[at].c_str() + text + mark.size(), "%d %d %n", &writer, &number, &end), 2);
        ASSERT_EQ(number, next[writer]++) << lines[at];
        ASSERT_EQ(lines[at].substr(text + mark.size() + static_cast<size_t>(end)),
                  std::string(static_cast<size_t>(writer) * 40, 'f') + ".");
        if (lines_each == 2) {
            ASSERT_TRUE(holds(lines[at + 1], "]: second " + std::to_string(number)));
        }
    }
}

TEST_F(Trace, EightWritersLoseAndTearNoLine)
{
    ASSERT_TRUE(run_children("write_many", 8));
    expect_all(lines("lgc/shared.lgc"), "# T ", 1);
    expect_all(lines("prot.txt"), "]: P ", 2);
}

} // namespace
