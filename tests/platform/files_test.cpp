#include "tests/support/test_site.h"

#include <platform/error.h>
#include <platform/fault.h>
#include <platform/files.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

using Files = TestSite;

TEST_F(Files, EitherSeparatorOpensAFile)
{
    const std::string file = path("work") + "\\sem\\a.txt";
    EXPECT_EQ(pl_append(file.c_str(), "one", 3, nullptr), PlAppend::done);
    EXPECT_EQ(pl_append(file.c_str(), "two", 3, nullptr), PlAppend::done);
    EXPECT_EQ(read("work/sem/a.txt"), "onetwo");
    EXPECT_TRUE(pl_file_exists(file.c_str()));
    EXPECT_TRUE(pl_remove(file.c_str()));
    EXPECT_FALSE(pl_remove(file.c_str()));
    EXPECT_EQ(pl_last_error().kind, PL_FILE_NOT_FOUND);
    EXPECT_EQ(pl_append((path("none") + "\\a").c_str(), "x", 1, nullptr), PlAppend::not_opened);
    EXPECT_EQ(pl_last_error().kind, PL_PATH_NOT_FOUND);
    EXPECT_EQ(pl_fopen(path("ini").c_str(), "w"), nullptr);
    EXPECT_EQ(pl_last_error().kind, PL_ACCESS_DENIED);
}

TEST_F(Files, ReadingStopsAtTheLimitAndRefusesFolders)
{
    std::string text = "old";
    write("f", std::string(20000, 'x'));
    EXPECT_TRUE(pl_read_file(path("f").c_str(), &text, 10000));
    EXPECT_EQ(text.size(), 10000u);
    EXPECT_TRUE(pl_read_file(path("f").c_str(), &text, 1 << 20));
    EXPECT_EQ(text.size(), 20000u);
    EXPECT_FALSE(pl_read_file(path("ini").c_str(), &text, 100));
    EXPECT_FALSE(pl_read_file(std::string(5000, 'x').c_str(), &text, 100));
}

// Both ways of exchanging a file's content, with every call failing in turn.
TEST_F(Files, AnExchangeThatFailsLeavesTheOldContentAndNothingBeside)
{
    const std::string file = path("work/sem/f"), old_text(5000, 'o');
    for (const size_t size : {10u, 5000u, 90000u})
        for (const bool replace : {true, false})
            for (int call = 1;; ++call) {
                const std::string text(size, 'n');
                write("work/sem/f", old_text);
                int32_t error = 0;
                pl_fault_arm(call, PL_DISK_FULL);
                const bool done = replace ? pl_replace_file(file.c_str(), text.data(), size)
                                          : pl_overwrite_file(file.c_str(), text.data(), size, &error);
                const bool reached = pl_fault_calls() >= call;
                pl_fault_arm(0, PL_OTHER);
                EXPECT_EQ(done, !reached);
                EXPECT_EQ(read("work/sem/f") == (done ? text : old_text), true) << size << " " << call;
                EXPECT_EQ(++fs::directory_iterator(path("work/sem")), fs::directory_iterator{});
                EXPECT_EQ(done || pl_last_error().kind == PL_DISK_FULL, true);
                EXPECT_EQ(error != 0, !done && !replace);
                if (!reached)
                    break;
            }
}

} // namespace
