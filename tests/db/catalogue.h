// A site with a small catalogue, looked at from beside the library.
#pragma once

#include "tests/support/test_site.h"

#include <sqlite3.h>

#include <cstring>

inline DB_REC_LIST list_named(const char *name)
{
    DB_REC_LIST list{};
    std::snprintf(list.name, sizeof list.name, "%s", name);
    return list;
}

class Catalogue : public TestSite {
protected:
    void SetUp() override
    {
        TestSite::SetUp();
        exec("create table clients (name text, os text, nr integer);"
             "insert into clients values ('Ab','linux',1),('ab','windows',2),('O''Neil',null,3)");
    }

    std::string file() const { return path("db/tamba_db.sdb"); }

    // Runs statements with SQLite itself.
    void exec(const std::string &sql) const
    {
        sqlite3 *db = nullptr;
        ASSERT_EQ(sqlite3_open(file().c_str(), &db), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
        sqlite3_close(db);
    }

    // Runs a statement with the library, traced in full; the message buffer is watched behind its end.
    int32_t access(const std::string &sql, DB_REC_LIST *list = nullptr, const char *message = "",
                   int32_t level = 3)
    {
        char buffer[TAMBA_DB_MSG_SIZE + 8];
        std::memset(buffer, '#', sizeof buffer);
        std::snprintf(buffer, TAMBA_DB_MSG_SIZE, "%s", message);
        const int32_t result = iDB_ACCESS(sql.c_str(), buffer, list, context(level));
        EXPECT_EQ(std::string(buffer + TAMBA_DB_MSG_SIZE, 8), "########") << "written behind the message";
        msg = buffer;
        return result;
    }

    // The value of an aggregate.
    std::string value_of(const std::string &sql)
    {
        EXPECT_EQ(access(sql, nullptr, "", 0), 1) << msg;
        return msg;
    }

    // Whether the protocol holds a message, given as tag, blank and text.
    bool reported(const std::string &message) const
    {
        const std::string tag = message.substr(0, 12) + "[", text = "]: " + message.substr(13);
        for (const std::string &line : lines("prot.txt"))
            if (line.find(tag) != std::string::npos && line.find(text) != std::string::npos)
                return true;
        return false;
    }

    std::string msg;
};
