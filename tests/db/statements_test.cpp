#include "tests/db/catalogue.h"

#include <db/rows.h>
#include <db/sql.h>

#include <functional>

namespace {

using Statements = Catalogue;

TEST_F(Statements, EachKindGivesItsMessageAndItsRows)
{
    const std::string padding(250, ' ');
    // clang-format off
    const struct { std::string sql; int32_t result; const char *message; uint32_t rows; } cases[] = {
        {"update clients set os='x' where nr=1", 1, "ok", 0}, {"", 1, "ok", 0},
        {"pragma table_info(clients)", 1, "ok", 0}, {" select name from clients", 1, "ok", 0},
        {"select name from clients", 1, "3", 3}, {"select name from clients where nr=99", 1, "0", 0},
        {"select count(*) from clients", 1, "3", 0}, {"SELECT SUM(nr) FROM clients", 1, "6", 0},
        {"select min(name) from clients", 1, "Ab", 0}, {"select max(nr) from clients where nr>9", 1, "0", 0},
        {"select count(*) from clients limit 0", 1, "0", 0},
        {"select count(*), max(nr) from clients", 1, "3", 0}, {"select count (*) from clients", 1, "1", 1},
        {"select count(*) from clients group by os", 1, "3", 3},
        {"select count(*) from clients where name<>'' GROUP BY os", 1, "3", 3},
        {"select count(*) from clients " + padding + "group by nr", 1, "1", 0},
        {"select nonsense from clients", 0, "no such column: nonsense", 0},
        {"select name frm clients", 0, "near \"clients\": syntax error", 0},
    };
    // clang-format on
    for (const auto &[sql, result, message, rows] : cases) {
        DB_REC record = {1, nullptr, nullptr};
        DB_REC_LIST list = {"kind", 7, 0, &record, &record}; // filled once, its records gone
        EXPECT_EQ(access(sql, &list), result) << sql;
        EXPECT_EQ(msg, message) << sql;
        EXPECT_EQ(list.count, rows) << sql;
        DB_SEL_LOOP_RECORDS(&list, 'd');
        EXPECT_EQ(access(sql, nullptr), result) << sql;
    }
}

TEST_F(Statements, KeywordsAreLoweredAndValuesAreNot)
{
    // clang-format off
    const struct { const char *sql, *ran; } cases[] = {
        {"SELECT Name FROM clients WHERE name='Ab'", "select name from clients where name='Ab'"},
        {"Select NAME From Clients", "select name from clients"},
        {"SELECT name FROM clients WHERE name='Ab' AND OS='X'",
         "select name from clients where name='Ab' AND OS='X'"},
        {"UPDATE Clients SET os='It's' WHERE name='O'", "update clients set os='It\264s' WHERE name='O'"},
        {"select name from clients where os='a\"b' or \"nr\"=1",
         "select name from clients where os='a_b' or \"nr\"=1"},
    };
    // clang-format on
    for (const auto &[sql, ran] : cases) {
        EXPECT_EQ(access(sql), 1) << msg;
        EXPECT_TRUE(holds(trace_text(), "Librarycall: " + std::string(ran) + "\n")) << sql;
    }
    EXPECT_TRUE(holds(trace_text(), "WARNING: cpSqlCmd was changed to: update clients set os='It\264s'"));
}

TEST_F(Statements, QuotesAreRepairedByTheOldRule)
{
    // clang-format off
    const struct { const char *sql, *repaired; } cases[] = {
        {"update t set a='it's' where b='x'", "update t set a='it\264s' where b='x'"},
        {"update t set a= 'it's', b='y's' where c=1", "update t set a= 'it\264s', b='y\264s' where c=1"},
        {"update t set a='' where b=''", nullptr}, {"update t set a='x', b='y' where c='z'", nullptr},
        {"update t set a='O''Neil' where b=1", "update t set a='O\264\264Neil' where b=1"},
        {"update t set b=1 where a='x' and b in ('y','z')",
         "update t set b=1 where a='x\264 and b in (\264y\264,\264z')"},
        {"update t set a='x' where b in ('y','z')", nullptr}, // the limit is the word where
        {"update t set a='x=y's' where b=1", nullptr}, // the limit is the = inside the value
        {"update t set a='open", nullptr},
        {"update t set a=  'it's'", nullptr}, // two blanks are no assignment
        {"update t set a=\"x\" where b='y'", nullptr}, {"update t set a='x\"y'", "update t set a='x_y'"},
        {"insert into t values ('it's')", nullptr},
        {"select \"a\" from t where b='x\"y' and c=\"z\"", "select \"a\" from t where b='x_y' and c=\"z\""},
        {"", nullptr}, {"update='", nullptr},
    };
    // clang-format on
    for (const auto &[sql, repaired] : cases) {
        std::string text = sql;
        EXPECT_EQ(CLEANUP_QUOTA(text.data(), context(3)), repaired ? 0 : 1) << sql;
        EXPECT_EQ(text, repaired ? repaired : sql);
    }
}

TEST_F(Statements, ValuesAreMadeSafeWithinTheirBuffer)
{
    // clang-format off
    const struct { std::string in; int32_t limit; std::string out; } cases[] = {
        {"O'Neil", 20, "O''Neil"}, {"a\"b", 20, "a b"}, {"a\\", 20, "a "}, {"", 20, ""}, {"abc", -1, ""},
        {"abcdef", 2, "abc"}, {"ab'", 2, "ab''"}, {std::string(600, 'x'), 700, std::string(510, 'x')},
    };
    // clang-format on
    for (const auto &[in, limit, out] : cases) {
        const size_t size = std::max(in.size() + 1, static_cast<size_t>(limit + TAMBA_DB_STRING_SPARE));
        std::vector<char> buffer(size, '#');
        std::strcpy(buffer.data(), in.c_str());
        EXPECT_EQ(db_string(buffer.data(), limit), buffer.data());
        EXPECT_EQ(std::string(buffer.data()), out);
    }
    const std::string quotes(510, '\'');
    EXPECT_EQ(std::strlen(SqlText(quotes.c_str()).c_str()), 1020u);
    EXPECT_STREQ(SqlText("it's \"x\"", SqlText::update).c_str(), "it\264s _x_");
    EXPECT_STREQ(SqlText("\"x\\").c_str(), " x ");
    EXPECT_EQ(std::strlen(SqlText(std::string(600, '\'').c_str()).c_str()), 1200u)
        << "a cut value means other rows";
}

TEST_F(Statements, WideResultsEndAtAHundredColumns)
{
    const auto columns = [](int count) {
        std::string sql = "select 1 as c1";
        for (int i = 2; i <= count; ++i)
            sql += ",1";
        return sql;
    };
    DB_REC_LIST list = list_named("wide");
    EXPECT_EQ(access(columns(100), &list), 1);
    EXPECT_EQ(list.count, 1u);
    DB_SEL_LOOP_RECORDS(&list, 'd');
    EXPECT_EQ(access(columns(101) + " from clients where nr=99", &list), 1);
    EXPECT_EQ(msg, "0");
    EXPECT_EQ(access(columns(101), &list), 0);
    EXPECT_EQ(msg, "too much columns ( max 100 )");
    EXPECT_EQ(list.count, 0u);
    EXPECT_TRUE(reported("E017-DATABAS SQLITE_MAKE_DB_REC_LIS wide: too much columns."));
}

TEST_F(Statements, ExportPrintsInsertStatements)
{
    Captured output(stdout);
    EXPECT_EQ(access("select name, os from clients where nr>1;", nullptr, "export"), 1);
    EXPECT_EQ(msg, "clients"); // the ; ends the last word, not the table's name
    EXPECT_EQ(access("select name from clients;", nullptr, "export"), 1);
    EXPECT_EQ(msg, "clients");
    EXPECT_EQ(access("select count(*) from clients", nullptr, "export"), 1);
    EXPECT_EQ(msg, "3");
    EXPECT_EQ(access("select 1", nullptr, "export me"), 1);
    EXPECT_EQ(msg, "1");
    EXPECT_EQ(access("select 1", nullptr, "export"), 1);
    EXPECT_EQ(msg, "");
    EXPECT_EQ(output.text(), "INSERT INTO clients (name,os) VALUES ('ab','windows');\n"
                             "INSERT INTO clients (name,os) VALUES ('O'Neil',NULL);\n"
                             "\n-- 2 rows found \n"
                             "INSERT INTO clients (name) VALUES ('Ab');\n"
                             "INSERT INTO clients (name) VALUES ('ab');\n"
                             "INSERT INTO clients (name) VALUES ('O'Neil');\n"
                             "\n-- 3 rows found \n"
                             "INSERT INTO  (1) VALUES ('1');\n"
                             "\n-- 1 rows found \n");
}

// The condition stands at the end, behind a comment that fills the statement up.
std::string sized(size_t length)
{
    const std::string begin = "update clients set nr=7 /*", end = "*/ where nr=1";
    return begin + std::string(length - begin.size() - end.size(), 'x') + end;
}

TEST_F(Statements, RunWholeOrNotAtAll)
{
    TraceContext trace = context(3);
    const std::string refusal = "statement of 65537 characters is too long ( max 65536 )";
    char reason[TAMBA_DB_MSG_SIZE] = "";
    const std::function<bool(const std::string &)> ways[] = {
        [&](const std::string &sql) { return iDB_ACCESS(sql.c_str(), reason, nullptr, trace) == 1; },
        [&](const std::string &sql) {
            return SQLITE_DO_SQL(sql.c_str(), 'n', reason, sizeof reason, nullptr, trace) == 1;
        },
        [&](const std::string &sql) { return execute_sql(reason, trace, "%s", sql.c_str()); },
    };
    for (const auto &run : ways) {
        EXPECT_TRUE(run(sized(TAMBA_SQL_LENGTH))) << reason;
        EXPECT_EQ(value_of("select count(*) from clients where nr=7"), "1");
        exec("update clients set nr=1 where nr=7");
        EXPECT_FALSE(run(sized(TAMBA_SQL_LENGTH + 1)));
        EXPECT_EQ(reason, refusal);
        EXPECT_EQ(value_of("select count(*) from clients where nr=7"), "0");
    }
    EXPECT_EQ(access("select " + std::string(5000, 'n') + "%s%n from clients"), 0);
    EXPECT_EQ(msg.size(), 255u); // SQLite repeats the statement

    Rows rows("long", trace);
    const std::string select = "select nr from clients";
    EXPECT_TRUE(rows.select("%s%*s", select.c_str(), TAMBA_SQL_LENGTH - static_cast<int>(select.size()), ""));
    EXPECT_EQ(rows.count(), 3);
    EXPECT_FALSE(
        rows.select("%s%*s", select.c_str(), TAMBA_SQL_LENGTH + 1 - static_cast<int>(select.size()), ""));
    EXPECT_TRUE(rows.failed() && rows.empty());
    EXPECT_EQ(rows.message(), refusal);
    char small[8];
    EXPECT_EQ(SQLITE_DO_SQL("select nonsense", 'n', small, sizeof small, nullptr, trace), 0);
    EXPECT_STREQ(small, "no such");
}

TEST_F(Statements, AnUnreadableCatalogueIsNotAnEmptyOne)
{
    TraceContext trace = context(1);
    Rows rows("found", trace);
    EXPECT_EQ(rows.find("WHO", "select name from clients where nr=%d", 1), Found::yes);
    EXPECT_EQ(rows.find("WHO", "select name from clients where nr=%d", 9), Found::no);
    EXPECT_FALSE(holds(protocol(), "DATABAS"));
    EXPECT_EQ(rows.find("WHO", "select name from nowhere"), Found::unreadable);
    EXPECT_STREQ(rows.message(), "no such table: nowhere");
    EXPECT_TRUE(reported("E018-DATABAS WHO with unexpected result: no such table: nowhere."));
}

TEST_F(Statements, OddValuesComeBackAsTheyAre)
{
    const std::string huge(100'000, 'h');
    exec("create table odd (k integer, v text); insert into odd values (1,'" + huge + "')");
    const char *const values[] = {"O'Neil", "a=b='c'", "100%s%n", "\344\366\374\264", "x\\y", "'"};
    TraceContext trace = context(3);
    char reason[TAMBA_DB_MSG_SIZE];
    int32_t key = 2;
    for (const char *value : values)
        EXPECT_TRUE(
            execute_sql(reason, trace, "insert into odd values (%d,'%s')", key++, SqlText(value).c_str()));
    Rows rows("odd", trace);
    ASSERT_TRUE(rows.select("select k, v from odd order by k")) << rows.message();
    ASSERT_EQ(rows.count(), 7);
    FixedText<64> value;
    for (int32_t row = 2; row <= rows.count(); ++row) {
        EXPECT_TRUE(rows.text(row, "v", value));
        EXPECT_STREQ(value.c_str(), values[row - 2]);
        EXPECT_EQ(rows.integer(row, "k"), row);
    }
    EXPECT_TRUE(rows.text(1, "v", value));
    EXPECT_EQ(value.view(), huge.substr(0, 63));
    EXPECT_FALSE(rows.text(8, "v", value));
    EXPECT_FALSE(rows.text(1, "w", value));
    EXPECT_EQ(value.view(), "");
    std::vector<char> whole(huge.size() + 1);
    EXPECT_EQ(iDB_SEL_GETVALUE("select v from odd where k=1", "v", whole.data(), trace), 1);
    EXPECT_EQ(std::string(whole.data()), huge);

    EXPECT_TRUE(execute_sql(reason, trace, "update odd set v='%s' where k=2",
                            SqlText("it's a=\"b\"", SqlText::update).c_str()));
    EXPECT_EQ(value_of("select max(v) from odd where k=2"), "it\264s a=_b_");
    EXPECT_TRUE(is_null("") && is_null("NULL") && !is_null("0"));
    EXPECT_TRUE(is_number_list("3") && is_number_list("1,2,10"));
    for (const char *list : {"", ",", "1,", ",1", "1,,2", "-1", "1 or 1=1", "1)"})
        EXPECT_FALSE(is_number_list(list)) << list;
}

TEST_F(Statements, PseudoStatementsConvertByDatabaseType)
{
    // clang-format off
    const struct { const char *type; size_t group; } types[] = {
        {"ORACLE", 0}, {"sqlite", 1}, {"OpenAccess", 1}, {"postgres", 1}, {"DB2", 2}, {"Xqqq", 3},
    };
    const struct { const char *key, *value, *result[4]; } cases[] = { // one for each group
        {"DATE", "2008-02-14", {"20080214", "2008-02-14 00:00:00", "", ""}},
        {"DATE", "20", {"20", "20 00:00:00", "", ""}},
        {"DATE_TAMBA", "20080214xx", {"2008-02-14", "20080214xx 00:00:00", "", "20080214xx 00:00:00"}},
        {"DATE_TAMBA", "2008-02-14 11:12:13",
         {"2008--0-2-", "2008-02-14 00:00:00", "", "2008-02-14 00:00:00"}},
        {"DATE_TAMBA", "", {"--", " 00:00:00", "", " 00:00:00"}},
        {"DATE_TIME_TAMBA", "any %s", {"any %s", "any %s", "", ""}},
    };
    // clang-format on
    for (const auto &[type, group] : types) {
        set_global("gv_db_type", type);
        for (const auto &[key, value, result] : cases) {
            EXPECT_EQ(access(key, nullptr, value), 1) << type;
            EXPECT_EQ(msg, result[group]) << type << " " << key << " " << value;
        }
        EXPECT_EQ(access("MAX", nullptr, "max(eol)"), 1) << type;
        const std::string name = type;
        EXPECT_EQ(msg, name == "OpenAccess" ? "COL1"
                       : name == "postgres" ? "max"
                       : group < 2          ? "max(eol)"
                                            : "");
    }
    EXPECT_STREQ(cpDB_MAX_COL_NAME, "MAX");
    EXPECT_EQ(access("DATEX%s", nullptr, "v"), 0);
    EXPECT_EQ(msg, "wrong function-argument: DATEX%s");
    EXPECT_TRUE(reported("E008-DATABAS CONVERT_DATE_TIME: wrong parameter DATEX%s"));
    EXPECT_EQ(access("MA" + std::string(5000, 'x')), 0);
    std::string open(TAMBA_DB_MSG_SIZE, '9'); // no terminator within the buffer
    EXPECT_EQ(iDB_ACCESS("MAX", open.data(), nullptr, context(1)), 1);
    set_global("gv_db_type", "sqlite");
    EXPECT_EQ(access("DATE", nullptr, std::string(255, '9').c_str()), 1);
    EXPECT_EQ(msg, std::string(255, '9'));
}

TEST_F(Statements, ClientCommandsFollowTheDatabaseType)
{
    set_global("gv_ro_db", "/opt/db/");
    set_global("gv_rw_db", "/data/");
    // clang-format off
    const char *const cases[][2] = {
        {"sqlite", "/opt/db/sqlite3 -echo /data/tamba_db.sdb 2>&1 <up%date.sql"},
        {"OpenAccess", "/opt/db/oaisql -e -c up%date.sql 2>&1"},
        {"postgres", "psql -e -d tamba_db -f  up%date.sql 2>&1"}, {"ORACLE", ""},
    };
    // clang-format on
    for (const auto &[type, command] : cases) {
        set_global("gv_db_type", type);
        std::string cmd(TAMBA_SQL_CMD_SIZE, '#');
        EXPECT_EQ(iDB_CREATE_SQL_CMD("up%date.sql", cmd.data(), context(1)), 1);
        EXPECT_STREQ(cmd.c_str(), command);
    }
    EXPECT_TRUE(holds(trace_text(), "ERROR: Not supported db_type 'ORACLE'"));
    set_global("gv_db_type", "postgres");
    std::string cmd(TAMBA_SQL_CMD_SIZE, '#');
    EXPECT_EQ(iDB_CREATE_SQL_CMD(std::string(1000, 'f').c_str(), cmd.data(), context(1)), 1);
    EXPECT_STREQ(cmd.c_str(), "") << "a command that lost its end is none";
}

} // namespace
