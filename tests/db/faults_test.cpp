#include "tests/db/catalogue.h"
#include "tests/support/child.h"

#include <db/cm_db_sqlite.h>

namespace fs = std::filesystem;

namespace {

using CatalogueFaults = Catalogue;

// Holds the catalogue locked until the parent says go.
TAMBA_CHILD(hold_catalogue)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open(arguments[0].c_str(), &db) != SQLITE_OK ||
        sqlite3_exec(db, "begin exclusive", nullptr, nullptr, nullptr) != SQLITE_OK)
        return 1;
    tell("held");
    wait_for_go();
    sqlite3_exec(db, "commit", nullptr, nullptr, nullptr);
    return sqlite3_close(db) == SQLITE_OK ? 0 : 2;
}

TEST_F(CatalogueFaults, AHolderBeyondTheLimitIsNamedAndLaterForgotten)
{
    EXPECT_EQ(kBusyLimitMs, 120000);
    Child holder("hold_catalogue", {file()});
    ASSERT_TRUE(holder.wait_for("held"));
    set_busy_limit_ms(20);
    EXPECT_EQ(access("update clients set nr=9 where nr=1"), 0);
    EXPECT_EQ(msg, "database is locked");
    EXPECT_TRUE(holds(trace_text(), "sqlite3_get_table() returned SQLITE_BUSY"));
    set_busy_limit_ms(kBusyLimitMs);
    holder.go();
    EXPECT_EQ(access("update clients set nr=9 where nr=1"), 1); // waits while the holder still holds
    EXPECT_EQ(msg, "ok");
    EXPECT_EQ(holder.wait(), 0);
}

TEST_F(CatalogueFaults, ACatalogueThatCannotBeOpenedIsSaidAndNothingIsCreated)
{
    for (const char *folder : {"empty", "nodb", "folder/tamba_db.sdb"})
        fs::create_directories(path(folder));
    write("nodb/tamba_db.sdb", std::string(2000, 'x'));
    const std::string deep = path("empty") + "/" + std::string(300, 'd') + "/";
    DB_REC_LIST list = list_named("fault");
    for (const std::string &folder : {directory("missing"), directory("folder"), deep, directory("nodb")}) {
        set_global("gv_rw_db", folder.c_str());
        for (const char *sql : {"select name from clients", "update clients set nr=1"}) {
            list.count = 5; // what an earlier call left must not look like rows
            EXPECT_EQ(access(sql, &list), 0) << folder;
            EXPECT_EQ(msg, folder == directory("nodb") ? "file is not a database"
                                                       : "unable to open database file");
            EXPECT_EQ(list.count, 0u);
        }
    }
    EXPECT_TRUE(holds(trace_text(), "--- SQLITE_DO_SQL sqlite3_open() returns 14  msg=unable"));
    EXPECT_FALSE(exists("missing"));
    EXPECT_EQ(read("nodb/tamba_db.sdb"), std::string(2000, 'x'));

    const fs::path before = fs::current_path();
    fs::current_path(path("empty"));
    glbv("d", "gv_rw_db", nullptr);
    EXPECT_EQ(access("select name from clients", &list), 0);
    EXPECT_EQ(msg, "unable to open database file");
    set_global("gv_rw_db", directory("db").c_str());
    for (const char *type : {"postgres", "ORACLE", "SQLITE", ""}) {
        set_global("gv_db_type", type);
        EXPECT_EQ(access("delete from clients", &list), 0);
        EXPECT_EQ(msg, "directory gv_ro_db is not known") << "other types run a client of that directory";
    }
    glbv("d", "gv_db_type", nullptr);
    EXPECT_EQ(access("delete from clients", &list), 0);
    EXPECT_EQ(msg, "ERROR: Not supported db_type '\?\?\?'");
    fs::current_path(before);
    EXPECT_EQ(fs::is_empty(path("empty")), true);
    set_global("gv_db_type", "sqlite");
    EXPECT_EQ(value_of("select count(*) from clients"), "3");
}

TEST_F(CatalogueFaults, AMissingFileInAnExistingDirectoryIsCreatedEmpty)
{
    fs::remove(file());
    EXPECT_EQ(access("select name from clients"), 0);
    EXPECT_EQ(msg, "no such table: clients");
    EXPECT_EQ(fs::file_size(file()), 0u);
}

} // namespace
