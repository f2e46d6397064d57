// A full disk, made from a tiny file system of a child's own and from its limit for file sizes.
#include "tests/db/catalogue.h"
#include "tests/support/child.h"

#if __has_include(<sys/mount.h>)
#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace {

constexpr int kNotAllowed = 77;

// Fills the catalogue in gv_rw_db until a statement fails: the reason goes to standard output, the rows that stand
// in the catalogue after it must be those that were said to be written.
int fill_until_full()
{
    const std::string row = "insert into t values ('" + std::string(900, 'x') + "')";
    char msg[TAMBA_DB_MSG_SIZE] = "";
    TraceContext trace{};
    if (iDB_ACCESS("create table t (v text)", msg, nullptr, trace) != 1)
        return 1;
    int written = 0;
    while (written < 10'000 && iDB_ACCESS(row.c_str(), msg, nullptr, trace) == 1)
        ++written;
    std::printf("%s", msg);
    iDB_ACCESS("select count(*) from t", msg, nullptr, trace);
    return written > 0 && written < 10'000 && std::to_string(written) == msg ? 0 : 2;
}

TAMBA_CHILD(full_disk)
{
    if ((unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWNS | CLONE_NEWUSER) != 0) ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", arguments[0].c_str(), "tmpfs", 0, "size=128k") != 0)
        return kNotAllowed;
    return fill_until_full();
}

TAMBA_CHILD(file_size_limit)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{64 * 1024, 64 * 1024};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0 ? fill_until_full() : kNotAllowed;
}

class FullDisk : public Catalogue {
protected:
    void SetUp() override
    {
        Catalogue::SetUp();
        std::filesystem::create_directories(path("full"));
        set_global("gv_rw_db", directory("full").c_str());
    }
};

TEST_F(FullDisk, IsSaidAndLeavesTheWrittenRows)
{
    Child child("full_disk", {path("full")});
    const int code = child.wait();
    if (code == kNotAllowed)
        GTEST_SKIP() << "this machine lets no process mount a file system of its own";
    EXPECT_EQ(code, 0) << child.errors();
    EXPECT_EQ(child.output(), "database or disk is full");
}

TEST_F(FullDisk, AFileAtItsSizeLimitIsSaidAndLeavesTheWrittenRows)
{
    Child child("file_size_limit");
    EXPECT_EQ(child.wait(), 0) << child.errors();
    EXPECT_EQ(child.output(), "disk I/O error");
}

} // namespace
#endif
