// The commands of iDB_CREATE_SQL_CMD with the databases' own clients.  Linux: there the distribution has them.
#include "tests/db/catalogue.h"

#include <platform/process.h>

namespace {

namespace fs = std::filesystem;

class RealClients : public Catalogue {
protected:
    // What the command for a file of statements prints; the exit code in result.
    std::string output(const std::string &statements, int32_t *result)
    {
        write("run.sql", statements);
        char cmd[TAMBA_SQL_CMD_SIZE];
        EXPECT_EQ(iDB_CREATE_SQL_CMD(path("run.sql").c_str(), cmd, context(1)), 1);
        *result = i_cm_system(("(" + std::string(cmd) + ") >" + path("out.txt")).c_str());
        return read("out.txt");
    }
};

TEST_F(RealClients, SqliteRunsAFileOfStatements)
{
    if (!fs::exists("/usr/bin/sqlite3"))
        GTEST_SKIP() << "the program sqlite3 is not installed";
    set_global("gv_ro_db", "/usr/bin/");
    int32_t result = -1;
    const std::string text = output(
        "insert into clients values ('new','x',9);\nselect nr from clients where name='new';\n", &result);
    EXPECT_EQ(result, 0) << text;
    EXPECT_TRUE(holds(text, "select nr from clients where name='new';\n9\n")) << "statements are echoed";
    EXPECT_EQ(value_of("select count(*) from clients"), "4");
    EXPECT_TRUE(holds(output("select nonsense;\n", &result), "no such column: nonsense"))
        << "errors are in the output";
}

// A server of the test's own, on a socket in the site's folder.
class PostgresServer {
public:
    explicit PostgresServer(const std::string &folder) : folder_(folder), data_(folder + "/data")
    {
        std::error_code none;
        for (const auto &entry : fs::directory_iterator("/usr/lib/postgresql", none))
            if (fs::exists(entry.path() / "bin/initdb"))
                bin_ = (entry.path() / "bin/").string();
        fs::create_directories(folder);
        fs::permissions(folder, fs::perms::all);
    }
    ~PostgresServer()
    {
        if (running_)
            as_user("pg_ctl -D " + data_ + " -m immediate -w stop");
    }
    bool installed() const { return !bin_.empty(); }
    bool start()
    {
        running_ = as_user("initdb -A trust -U tamba -N -D " + data_) &&
                   as_user("pg_ctl -w -D " + data_ + " -o '-c listen_addresses= -c fsync=off -k " + folder_ +
                           "' start") &&
                   as_user("createdb -h " + folder_ + " -U tamba tamba_db");
        return running_;
    }

private:
    // The server refuses to run as root.
    bool as_user(const std::string &command) const
    {
        const std::string user =
            pl_shell("test $(id -u) = 0") == 0 ? "setpriv --reuid=nobody --clear-groups " : "";
        return pl_shell((user + bin_ + command + " >>" + folder_ + "/log 2>&1").c_str()) == 0;
    }

    std::string folder_, data_, bin_;
    bool running_ = false;
};

TEST_F(RealClients, PsqlRunsAFileOfStatements)
{
    fs::permissions(path(""), fs::perms::all);
    PostgresServer server(path("pg"));
    if (!server.installed())
        GTEST_SKIP() << "no PostgreSQL server is installed";
    ASSERT_TRUE(server.start()) << read("pg/log");
    pl_setenv("PGHOST", path("pg").c_str());
    pl_setenv("PGUSER", "tamba");
    set_global("gv_db_type", "postgres");
    int32_t result = -1;
    const std::string text =
        output("create table t (a text);\ninsert into t values ('it''s');\nselect a from t;\n", &result);
    EXPECT_EQ(result, 0) << text;
    EXPECT_TRUE(holds(text, "insert into t values ('it''s');\nINSERT 0 1")) << "statements are echoed";
    EXPECT_TRUE(holds(text, "it's"));
    EXPECT_TRUE(holds(output("select nonsense;\n", &result), "nonsense")) << "errors are in the output";
}

} // namespace
