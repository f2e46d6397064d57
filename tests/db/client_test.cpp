#include "tests/db/catalogue.h"

#include <db/client_answer.h>
#include <process/semaphore_guard.h>
#include <site/site.h>

#include "tests/support/allocation.h"
#include "tests/support/child.h"

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

class DatabaseClient : public Catalogue {
protected:
    void SetUp() override
    {
        Catalogue::SetUp();
        const Site site = {path("") + "/"};
        std::string problem;
        ASSERT_TRUE(install_programs(site, &problem)) << problem;
        fs::create_directories(path("work/site"));
        set_global("gv_ro_db", directory("bin/tamba").c_str());
        set_global("gv_db_type", "postgres");
    }
    void answer(const std::string &text) const { write("work/site/damisql.answer", text); }
    size_t runs() const { return lines("work/site/calls.log").size(); }
};

TEST_F(DatabaseClient, AnswersStatementsAsTheCatalogueFileDoes)
{
    const std::string odd = "a|b \\n Error: x\r\n\\";
    exec("create table texts (id integer, text text); insert into texts values (1,'" + odd +
         "'),(2,null),(3,'" + std::string(9000, 'l') + "'),(4,''),(5,'" + std::string(4095, 'm') + "')");
    const char *const statements[] = {
        "SELECT Name FROM clients WHERE name='Ab'",
        "select * from clients order by nr",
        "select id,text from texts",
        "select name from clients where nr=7",
        "select count(*) from clients",
        "select max(nr) from clients where nr>9",
        "select count(*) as n from clients group by name",
        "select \"name\" from clients where name='a\\'",
    };
    for (const char *sql : statements) {
        Lines records[2], messages;
        for (const char *type : {"sqlite", "postgres"}) {
            set_global("gv_db_type", type);
            DB_REC_LIST list = list_named("l");
            EXPECT_EQ(access(sql, &list), 1) << sql << ": " << msg;
            messages.push_back(msg);
            for (const DB_REC *record = list.count ? list.first : nullptr; record; record = record->next)
                records[messages.size() - 1].push_back(record->text);
            DB_SEL_LOOP_RECORDS(&list, 'd');
        }
        EXPECT_EQ(messages[0], messages[1]) << sql;
        EXPECT_EQ(records[0], records[1]) << sql;
    }
    EXPECT_EQ(access("update clients set nr=9 where nr>1"), 1);
    EXPECT_EQ(msg, "Rows affected = 2");
    EXPECT_EQ(access("insert into clients values ('new',null,4)"), 1);
    EXPECT_EQ(access("delete from clients where name='new'"), 1);
    EXPECT_EQ(msg, "Rows affected = 1");
    Captured out(stdout);
    EXPECT_EQ(access("select name,os from clients where nr=1;", nullptr, "export"), 1);
    EXPECT_EQ(out.text(), "INSERT INTO clients (name,os) VALUES ('Ab','linux');\n\n-- 1 rows found \n");
    EXPECT_EQ(msg, "clients");
    EXPECT_EQ(access("update clients set nr=7 /*" + std::string(30'000, 'x') + "*/ where nr=1"), 1);
    EXPECT_EQ(msg, "Rows affected = 1");
    const size_t before = runs();
    EXPECT_EQ(access("update clients set nr=7 /*" + std::string(TAMBA_SQL_LENGTH, 'x') + "*/"), 0);
    EXPECT_TRUE(holds(msg, "is too long ( max 65536 )"));
    EXPECT_EQ(runs(), before);
    EXPECT_TRUE(holds(trace_text(),
                      "call pipe open with cmd: " + directory("bin/tamba") + "damisql -d tamba_db -q \""));
}

TEST_F(DatabaseClient, AnIncompleteAnswerIsUsedForNothing)
{
    const std::string good = "Columns: name\n=x\nRows 1\nMessage: ok\nElapsed time: 1 ms\n";
    const std::string e012 = " SQL pipe doesn't return the expected characters", torn = "OA_DO_SQL" + e012,
                      select = "select name from clients", end = "Message: ok\nElapsed time: 1 ms\n";
    // clang-format off
    const struct { std::string sql, answer, message; int32_t result; } cases[] = {
        {select, "banner\n" + good, "1", 1},
        {select, "exit 1\n" + good, "the database client ended with code 1", 0},
        {select, "w: Error: y Invalid nested transaction\n" + good, "1", 1},
        {select, "damisql: Error: %s%n\nx Error: second\n" + good, "Error: %s%n", 0},
        {select, "Columns: name\n=x\n" + end, torn, 0}, {select, "Columns: name\n=x\nRows 2\n" + end, torn, 0},
        {select, "=x\nRows 1\n" + end, torn, 0},        {select, good + "Columns: name\n", torn, 0},
        {select, "", torn, 0},                          {"update clients set nr=1", "Rows x\n" + end, torn, 0},
        {"select max(nr) from clients", "Columns: a\n=7\nRows 1\nMessage: ok\n",
         "OA_GET_CALCULATED_VALUE" + e012, 0},
        {"drop clients", good, "Could not find table name in statement drop clients", 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        answer(c.answer);
        DB_REC_LIST list = list_named("l");
        EXPECT_EQ(access(c.sql, &list), c.result) << c.answer;
        EXPECT_EQ(msg, c.message) << c.answer;
        EXPECT_EQ(list.count, static_cast<uint32_t>(c.result));
        DB_SEL_LOOP_RECORDS(&list, 'd');
    }
    EXPECT_TRUE(reported("I001-DATABAS l > SQLcommand: select name from clients"));
    EXPECT_TRUE(reported("E014-DATABAS OA_DO_SQL l: error from SQLcommand: Error: %s%n"));
    EXPECT_TRUE(reported("E012-DATABAS OA_GET_CALCULATED_VALUE" + e012));
    std::string wide = "Columns: c", values = "\n=\n";
    for (int i = 0; i < 100; ++i) {
        wide += "|c";
        values += "=\n";
    }
    answer(wide + values + "Rows 1\nMessage:\nElapsed time\n");
    DB_REC_LIST list = list_named("l");
    EXPECT_EQ(access("select * from clients", &list), 0);
    EXPECT_TRUE(reported("E010-DATABAS OA_MAKE_DB_REC_LIS l: too much columns ( max 100 )"));
    answer("exit 109\nRows 1\n");
    const size_t before = runs();
    EXPECT_EQ(access("update clients set nr=1"), 0);
    EXPECT_EQ(msg, "ERROR_BROKEN_PIPE: the database client was suspended");
    EXPECT_EQ(runs() - before, 5u);
    fs::remove_all(path("bin/tamba"));
    EXPECT_EQ(access("update clients set nr=1"), 0);
    EXPECT_TRUE(holds(msg, "damisql")) << msg;
}

TEST_F(DatabaseClient, AnAnswerThatHasNoMemoryIsNotComplete)
{
    for (int nth = 1;; ++nth) {
        const FailingAllocation fails(nth);
        ClientAnswer answer;
        for (const char *line :
             {"Columns: a|b", "=x\\\\n", "NULL", "Rows 1", "Message: ok", "Elapsed time 0"})
            answer.take(line);
        const bool complete = answer.complete();
        EXPECT_EQ(complete, !FailingAllocation::reached()) << nth;
        if (FailingAllocation::reached())
            continue;
        EXPECT_STREQ(answer.table().values[0], "x\\n");
        EXPECT_EQ(answer.table().values[1], nullptr);
        EXPECT_GT(nth, 3) << "texts, places and pointers";
        break;
    }
}

TEST_F(DatabaseClient, ClientsOfAllProcessesRunOneAfterTheOther)
{
    SemaphoreGuard held("ctrl_db", "test", context(0));
    ASSERT_TRUE(held.held());
    Child child("count_clients");
    child.wait_for("asking");
    EXPECT_EQ(runs(), 0u);
    held.release();
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(runs(), 1u);
}

TAMBA_CHILD(count_clients)
{
    char msg[TAMBA_DB_MSG_SIZE] = "";
    tell("asking");
    return iDB_ACCESS("select count(*) from clients", msg, nullptr, TraceContext{}) == 1 &&
                   std::string(msg) == "3"
               ? 0
               : 1;
}

} // namespace
