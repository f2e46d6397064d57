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
    // clang-format off
    const struct { const char *way; bool rename, set_back; } ways[] = {
        {"in place", false, false}, {"in place, time set back", false, true},
        {"by rename", true, false}, {"by rename, time set back", true, true},
    };
    // clang-format on
    for (const auto &way : ways) { // each with a file of its own: what is known of a file stays known
        const std::string name = way.way, file = path(name), target = way.rename ? name + ".new" : name;
        for (int i = 1000; i < 1100; ++i) {
            const std::string text = std::to_string(i);
            write(target, text);
            if (way.set_back)
                fs::last_write_time(path(target), old);
            if (way.rename)
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
