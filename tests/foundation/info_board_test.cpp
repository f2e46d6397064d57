// The info board: its rules, its writers, and what a full disk leaves.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <platform/fault.h>
#include <platform/process.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace {

constexpr char kBoard[] = "info/info.dat";

class InfoBoard : public TestSite {
protected:
    std::string board() const { return without_times(read(kBoard)); }
};

TEST_F(InfoBoard, ASlotHasOneLinePerMarkerAndTheBoardIsSorted)
{
    EXPECT_EQ(info('D', 5, "five"), 1);
    EXPECT_EQ(board(), ":  5> @# five\n");
    EXPECT_EQ(info('x', 5, "five again"), 1);
    EXPECT_EQ(info('D', 12, "twelve"), 1);
    EXPECT_EQ(info('D', 0, "zero"), 1);
    EXPECT_EQ(info('D', -3, "minus\r\nthree"), 1);
    EXPECT_EQ(info('s', 5, "status"), 1);
    EXPECT_EQ(info('S', 12, nullptr), 1);
    EXPECT_EQ(info('S', 12, "100%s"), 1);
    EXPECT_EQ(info('D', 5, "last"), 1);
    EXPECT_EQ(board(),
              ": -3> @# minus  three\n:  0> @# zero\n.  5> @# status\n:  5> @# last\n. 12> @# 100%s\n"
              ": 12> @# twelve\n");
    EXPECT_FALSE(exists("info/info.tmp"));
}

TEST_F(InfoBoard, LongTextsBreakAtABlankAndContinueOnce)
{
    const auto x = [](size_t n) { return std::string(n, 'x'); };
    // Positions count from the start of the entry: 21 characters of stamp stand before the text.
    // clang-format off
    const struct { std::string text, main, continuation; } cases[] = {
        {x(102), x(102), ""},                                     {x(103), x(102), "x"},
        {x(130 - 21), x(102), x(7)},                              {x(102) + " y", x(102), " y"},
        {x(97) + " yy zzzzzzzzzz", x(97) + " yy", " zzzzzzzzzz"}, {x(93) + " " + x(20), x(93), " " + x(20)},
        {x(92) + " " + x(20), x(92) + " " + x(9), x(11)},         {x(600), x(102), x(149)},
    };
    // clang-format on
    info('D', 9, "behind");
    for (const auto &c : cases) {
        info('D', 4, c.text.c_str());
        info('D', 3, "before"); // the longest lines survive the next writer
        const std::string rest = c.continuation.empty() ? "" : ":  4->   " + c.continuation + "\n";
        EXPECT_EQ(board(), ":  3> @# before\n:  4> @# " + c.main + "\n" + rest + ":  9> @# behind\n");
    }
}

TEST_F(InfoBoard, OldLinesFollowTheRules)
{
    // clang-format off
    const struct { char kind; int32_t slot; std::string before, after; } cases[] = {
        // The second line of a slot and marker goes, wherever it stands; a lone continuation goes too.
        {'D', 5, ":  5> a\n:  5->   b\n:  7> c\n:  5> d\n", ":  5> NEW\n:  7> c\n"},
        {'D', 5, ":  5->   b\n:  7> c\n", ":  5> NEW\n:  7> c\n"},
        {'S', 5, ":  4> a\n:  5> b\n:  5->   c\n", ":  4> a\n.  5> NEW\n:  5> b\n:  5->   c\n"},
        {'D', 5, ".  5> a\n.  5->   b\n:  6> c\n", ".  5> a\n.  5->   b\n:  5> NEW\n:  6> c\n"},
        // Lines without a slot are dropped, a real slot 0 and the line ends of others stay.
        {'D', 5, "garbage\n\n:\n:  0> zero\n: 00> x\n:  6> c\r\n", ":  0> zero\n:  5> NEW\n:  6> c\n"},
        {'D', 5, ":  6> c\ngarbage\n:  7> no line end", ":  5> NEW\n:  6> c\n:  7> no line end\n"},
        {'D', -5, ":  6> c\ngarbage\n", ": -5> NEW\n:  6> c\n"}, {'D', 5, "", ":  5> NEW\n"},
    };
    // clang-format on
    for (const auto &c : cases) {
        write(kBoard, c.before);
        info(c.kind, c.slot, "NEW");
        std::string after = board();
        if (const size_t stamp = after.find("@# "); stamp != std::string::npos)
            after.erase(stamp, 3);
        EXPECT_EQ(after, c.after) << c.before;
    }
}

TEST_F(InfoBoard, WithoutItsDirectoryNothingIsWritten)
{
    set_levels("TB_INFO=1\n");
    set_global("gv_rw_info", path("missing/").c_str());
    EXPECT_EQ(info('D', 5, "text"), 1);
    glbv("d", "gv_rw_info", nullptr);
    Captured errors(stderr);
    EXPECT_EQ(info('D', 5, "100%s\n"), 0);
    EXPECT_EQ(errors.text(), "ERROR: GLBV gv_rw_info undefined\n");
    const std::string trace = without_times(read("lgc/tb_info.lgc")),
                      last = "# TB_INFO: 'D' '5' \"100%s\n\"\n"
                             "# ERROR: GLBV gv_rw_info undefined\n";
    EXPECT_TRUE(holds(trace, last));
}

TAMBA_CHILD(post_info)
{
    const int writer = std::stoi(arguments[0]);
    for (int i = 0; i < 25; ++i) {
        const std::string text = "writer " + arguments[0] + std::string(static_cast<size_t>(i * 5), '.');
        info(i % 2 ? 'S' : 'D', writer * 3 + i % 3, text.c_str());
        info('D', 100 + i % 5, text.c_str()); // slots that all share
    }
    return 0;
}

TEST_F(InfoBoard, EightWritersKeepItSortedAndWhole)
{
    ASSERT_TRUE(run_children("post_info", 8));
    std::vector<std::string> order;
    std::set<std::string> mains;
    for (const std::string &line : lines(kBoard)) {
        ASSERT_GE(line.size(), 7u) << line;
        const bool main = line[4] == '>';
        ASSERT_TRUE((line[0] == '.' || line[0] == ':') && (main || line.substr(4, 2) == "->")) << line;
        EXPECT_EQ(line.find("writer") != std::string::npos, main) << line;
        EXPECT_EQ(mains.insert(line.substr(0, 4)).second, main)
            << "twice, or a continuation on its own: " << line;
        order.push_back(line.substr(1, 3) + (line[0] == ':' ? "1" : "0"));
    }
    EXPECT_EQ(mains.size(), 8u * 6 + 5);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_FALSE(exists("info/info.tmp"));
}

TEST_F(InfoBoard, WhateverFailsTheBoardIsTheOldOneOrTheNewOne)
{
    for (const char *program : {"tb_alarm", "tb_os_startup"})
        install_program(program); // a full disk would call the operator
    set_levels("TB_INFO=1\nTB_SEM=1\n");
    const std::string old_board = ":  1> one\n:  5> five\n:  9> " + std::string(140, 'n') + "\n";
    const std::string new_board = ":  1> one\n:  5> @# NEW\n:  9> " + std::string(140, 'n') + "\n";
    int kept = 0, leftovers = 0;
    for (int call = 1;; ++call) {
        write(kBoard, old_board);
        pl_fault_arm(call, PL_DISK_FULL);
        const int32_t result = info('D', 5, "NEW");
        const bool reached = pl_fault_calls() >= call;
        pl_fault_arm(0, PL_OTHER);
        const std::string after = board();
        EXPECT_TRUE(after == old_board || after == new_board) << call << ":\n" << after;
        EXPECT_TRUE(result == 1 || after == old_board) << call;
        kept += after == old_board;
        leftovers += exists("info/info.tmp");
        std::filesystem::remove(path("info/info.tmp"));
        SemaRecord semaphore{};
        std::snprintf(semaphore.name, sizeof semaphore.name, "ctrl_info");
        EXPECT_EQ(i_SEMA('*', &semaphore, context(0)), 1) << call << ": " << semaphore.message;
        i_SEMA('-', &semaphore, context(0));
        if (!reached) {
            EXPECT_EQ(after, new_board);
            break;
        }
    }
    EXPECT_GE(kept, 4);
    // Settings that have just been written cost other calls than those that have stood for some seconds, so the removal
    // can come up again under another number.
    EXPECT_LE(leftovers, 3) << "only the failed removal itself may leave a file";
}

TAMBA_CHILD(post_alarm)
{
    return info('D', 8, "ALARM") == 1 ? 0 : 1;
}

TEST_F(InfoBoard, AFullDiskKeepsTheOldBoardAndCallsAnOperatorWhoPostsHimself)
{
    if (!std::filesystem::exists("/dev/full"))
        GTEST_SKIP() << "no device that is always full";
    for (const char *program : {"tb_alarm", "tb_os_startup"})
        install_program(program);
    char self[1024];
    ASSERT_TRUE(pl_program_path(self, sizeof self));
    const std::string full = "ln -s /dev/full " + path("info/info.tmp") + "\n",
                      post = "'" + std::string(self) + "' --child post_alarm . 2>/dev/null\n",
                      alarm = read("bin/tb_alarm");
    // One size leaves the C library nothing to write at the close, the other everything.
    for (const size_t lines_of_100 : {2u, 1000u}) {
        // The alarm's own line is posted; where the disk stays full it must not raise the next alarm.
        const bool stays_full = lines_of_100 == 2;
        write("bin/tb_alarm", alarm + (stays_full ? full : "") + post);
        std::string old_board;
        for (size_t i = 0; i < lines_of_100; ++i)
            old_board += ":  7> " + std::string(93, 'x') + "\n";
        write(kBoard, old_board);
        write("calls.txt", "");
        std::filesystem::create_symlink("/dev/full", path("info/info.tmp"));
        Captured errors(stderr);
        EXPECT_EQ(info('D', 5, "NEW"), 1);
        EXPECT_EQ(errors.text().substr(0, 44), "\nFILE_CLOSE error: No space left on device\n\n");
        EXPECT_EQ(read("calls.txt"), "tb_alarm FILE_SYSTEM No space left on device\ntb_os_startup STOP\n");
        EXPECT_EQ(board(), old_board + (stays_full ? "" : ":  8> @# ALARM\n"));
        EXPECT_FALSE(exists("info/info.tmp"));
    }
}

} // namespace
