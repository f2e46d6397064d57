// A full disk, made from a child's limit for file sizes.  Linux: there a process can have one.
#include "tests/db/catalogue.h"
#include "tests/support/child.h"

#include <csignal>
#include <sys/resource.h>

namespace {

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

TAMBA_CHILD(file_size_limit)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{64 * 1024, 64 * 1024};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0 ? fill_until_full() : 77;
}

using FullDisk = Catalogue;

TEST_F(FullDisk, IsSaidAndLeavesTheWrittenRows)
{
    std::filesystem::create_directories(path("full"));
    set_global("gv_rw_db", directory("full").c_str());
    Child child("file_size_limit");
    EXPECT_EQ(child.wait(), 0) << child.errors();
    EXPECT_EQ(child.output(), "disk I/O error");
}

} // namespace
