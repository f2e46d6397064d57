#include "tests/support/test_site.h"

#include <platform/files.h>
#include <platform/snapshot.h>

#include <chrono>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

using Snapshot = TestSite;

// Every way of changing a file, many times in a row and always to the same size: the reader must never see the
// text before.
TEST_F(Snapshot, EveryChangeIsSeenAtOnce)
{
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(5);
    for (int way = 0; way < 4; ++way) { // each with a file of its own: what is known of a file stays known
        const bool rename = way / 2, set_back = way % 2;
        const std::string name = std::string(rename ? "by rename" : "in place") +
                                 (set_back ? ", time set back" : ""),
                          file = path(name), target = rename ? name + ".new" : name;
        for (int i = 1000; i < 1100; ++i) {
            const std::string text = std::to_string(i);
            write(target, text);
            if (set_back)
                fs::last_write_time(path(target), old);
            if (rename)
                fs::rename(path(target), file);
            const auto seen = pl_snapshot(file.c_str());
            ASSERT_TRUE(seen && *seen == text) << name << ": " << (seen ? *seen : "null") << " for " << text;
        }
        fs::remove(file);
        EXPECT_EQ(pl_snapshot(file.c_str()), nullptr);
    }
    EXPECT_EQ(pl_snapshot(path("ini").c_str()), nullptr) << "a folder is no file";
}

} // namespace
