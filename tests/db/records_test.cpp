#include "tests/db/catalogue.h"
#include "tests/support/allocation.h"

#include <db/rows.h>

namespace {

class Records : public Catalogue {
protected:
    void fill(DB_REC_LIST *list, int rows, const std::string &mark = "v") const
    {
        list->record_size = 0; // the text decides
        for (int row = 1; row <= rows; ++row) {
            const std::string text = "|a=" + mark + std::to_string(row) + "|";
            ASSERT_EQ(row == 1 ? DB_SEL_FIRST(list, text.c_str(), context(0))
                               : DB_SEL_ALLOC(list, text.c_str(), context(0)),
                      1);
        }
    }
    std::string a(DB_REC_LIST *list, int32_t row, int32_t level = 0) const
    {
        char value[64] = "untouched", reason[TAMBA_DB_MSG_SIZE];
        return iDB_SEL_GET(list, row, reason, context(level), "a", value, "x") ? value : reason;
    }
};

TEST_F(Records, AListIsFilledReadAndFreed)
{
    DB_REC_LIST list = list_named("list");
    ASSERT_EQ(access("select name, os, nr from clients order by nr", &list), 1);
    EXPECT_EQ(msg, "3");
    ASSERT_EQ(list.count, 3u);
    EXPECT_STREQ(list.first->text, "|name=Ab|os=linux|nr=1|");
    EXPECT_STREQ(list.last->text, "|name=O'Neil|os=NULL|nr=3|");
    EXPECT_EQ(list.first->number, 1u);
    EXPECT_EQ(list.first->next->number, 1u);
    EXPECT_EQ(list.last->number, 2u);

    char name[16], os[16], reason[TAMBA_DB_MSG_SIZE];
    EXPECT_EQ(iDB_SEL_GET(&list, 3, reason, context(3), "os", os, "name", name, "d"), 1);
    EXPECT_STREQ(os, "NULL");
    EXPECT_STREQ(name, "O'Neil");
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(iDB_SEL_GET(&list, 1, reason, context(3), "os", os, "x"), 0);
    EXPECT_STREQ(reason, "empty record-list, cannot get requested data");
    EXPECT_TRUE(reported("E006-DATABAS list: empty recordlist"));
    DB_SEL_LOOP_RECORDS(&list, 'd');
    EXPECT_EQ(DB_SEL_ALLOC(&list, "|a=1|", context(3)), 0);
    EXPECT_TRUE(reported("E003-DATABAS DB_SEL_ALLOC list:"));
}

TEST_F(Records, ColumnsAreFoundByTheirWholeName)
{
    // clang-format off
    const struct { const char *text, *column, *value; } cases[] = {
        {"|name=a|name2=b|", "name", "a"}, {"|name=a|name2=b|", "name2", "b"},
        {"|name=a|name2=b|", "ame", "?"},  {"|a=x=y|b=%s%n|", "a", "x=y"},
        {"|a=x=y|b=%s%n|", "b", "%s%n"},   {"|a=no bar", "a", "no bar"},
        {"|a||b=1|a=2|", "a||b", "1"},     {"|a=|b=2|", "a", ""},
        {"", "a", "?"},                    {"|a=\344|", "a", "\344"},
    };
    // clang-format on
    for (const auto &[text, column, value] : cases) {
        std::string copy = text;
        DB_REC record = {1, copy.data(), nullptr};
        char out[16];
        EXPECT_EQ(DB_SEL_WRITE_VALUE(&record, column, out, nullptr, context(3)),
                  std::strcmp(value, "?") != 0);
        EXPECT_STREQ(out, value) << text << " " << column;
    }
}

TEST_F(Records, AFailingPairKeepsEarlierOnesAndFreesNothing)
{
    DB_REC_LIST list = {};
    std::memset(list.name, 'L', sizeof list.name); // no terminator
    fill(&list, 2);
    char value[16] = "-", unknown[16] = "-", reason[TAMBA_DB_MSG_SIZE];
    EXPECT_EQ(iDB_SEL_GET(&list, 1, reason, context(3), "a", value, "b", unknown, "d"), 0);
    EXPECT_STREQ(value, "v1");
    EXPECT_STREQ(unknown, "?");
    EXPECT_STREQ(reason, "cannot find requested column b");
    EXPECT_TRUE(reported("E005-DATABAS " + std::string(31, 'L') + " could not find column |b= within"));
    for (const int32_t row : {-1, 0, 3, INT32_MAX}) {
        std::strcpy(value, "-");
        EXPECT_EQ(iDB_SEL_GET(&list, row, reason, context(3), "a", value, "d"), 1) << row;
        EXPECT_STREQ(value, "-");
    }
    const char *const none = nullptr;
    EXPECT_EQ(iDB_SEL_GET(&list, 1, reason, context(3), none), 0);
    EXPECT_STREQ(reason, "va_arg() returned NULL for column argument");
    EXPECT_EQ(iDB_SEL_GET(&list, 1, reason, context(3), "a", none), 0);
    EXPECT_STREQ(reason, "va_arg() returned NULL for cpValue argument");
    ASSERT_EQ(list.count, 2u);

    DB_REC *const second = list.first->next;
    list.first->next = nullptr;
    EXPECT_EQ(a(&list, 2, 3), "unexpected NULL value");
    EXPECT_TRUE(reported("E007-DATABAS Unexpected NULL value."));
    Captured errors(stderr);
    DB_SEL_LOOP_RECORDS(&list, 'w');
    EXPECT_EQ(errors.text(), "DB_SEL_LOOP_RECORDS: unexpected NULL value\n");
    list.first->next = second;
    DB_SEL_LOOP_RECORDS(&list, 'd');
}

TEST_F(Records, NamesLongerThanALabelAreStillFound)
{
    const std::string name(40, 'n');
    DB_REC_LIST list = {};
    ASSERT_EQ(access("select 7 as " + name, &list), 1);
    EXPECT_EQ(list.first->text, "|" + name.substr(0, 30) + "=7|");
    char value[8], reason[TAMBA_DB_MSG_SIZE];
    for (const size_t length : {30u, 31u, 40u})
        EXPECT_EQ(iDB_SEL_GET(&list, 1, reason, context(0), name.substr(0, length).c_str(), value, "x"), 1);
    EXPECT_STREQ(value, "7");
    DB_SEL_LOOP_RECORDS(&list, 'd');
}

TEST_F(Records, PrintingGoesToTheRightStream)
{
    DB_REC_LIST list = list_named("list");
    Captured errors(stderr), output(stdout);
    DB_SEL_LOOP_RECORDS(&list, 's');
    fill(&list, 2, "100%s");
    DB_SEL_LOOP_RECORDS(&list, 's');
    DB_SEL_LOOP_RECORDS(&list, 'd');
    EXPECT_EQ(output.text(), "|a=100%s1|\n|a=100%s2|\n");
    EXPECT_EQ(errors.text(), "\nDB_SEL_LOOP_RECORDS id=list: empty record-list, cannot get requested data\n");
}

TEST_F(Records, ShortMemoryIsReportedAndLeavesTheListWhole)
{
    DB_REC_LIST list = list_named("list");
    const char *const first = "E002-DATABAS DB_SEL_FIRST list: cannot allocate memory.",
                      *const next = "E004-DATABAS DB_SEL_ALLOC list: cannot allocate memory.";
    // clang-format off
    const struct { int nth; int32_t result; const char *message, *protocol; uint32_t count; } cases[] = {
        {1, 0, "ERROR malloc() for local copy of cpSqlCmd failed", "", 0},
        {2, 0, "cannot allocate memory  ( 8 bytes)",
         "E011-DATABAS SQLITE_MAKE_REC_LIS list: cannot allocate memory  ( 8 Bytes)", 0},
        {3, 1, "3", first, 0}, {4, 1, "3", first, 0}, {5, 1, "3", next, 2}, {8, 1, "3", next, 2},
        {9, 1, "3", "", 3},
    };
    // clang-format on
    for (const auto &expected : cases) {
        write("prot.txt", "");
        {
            const FailingAllocation failing(expected.nth);
            EXPECT_EQ(access("select nr from clients", &list), expected.result) << expected.nth;
        }
        EXPECT_EQ(msg, expected.message) << expected.nth;
        EXPECT_TRUE(!*expected.protocol || reported(expected.protocol)) << protocol();
        EXPECT_EQ(list.count, expected.count) << expected.nth;
        DB_SEL_LOOP_RECORDS(&list, 'd');
    }
    TraceContext trace{};
    Rows rows("short", trace);
    int nth = 0;
    for (bool whole = false; !whole && nth < 20;) { // every row, or none and a failure
        const FailingAllocation failing(++nth);
        whole = rows.select("select 'a' as v union all select 'longer'");
        EXPECT_EQ(rows.count(), whole ? 2 : 0) << nth << ": " << rows.message();
    }
    EXPECT_EQ(nth, 9) << "statement, its copy, two records' texts, and two blocks for each";
}

TEST_F(Records, APlaceInAListNeverOutlivesItsRecords)
{
    DB_REC_LIST list = {};
    for (int round = 0; round < 20; ++round) { // the heap hands the same blocks out again
        const int rows = 1 + (round * 7) % 5;
        const std::string mark = "r" + std::to_string(round) + "-";
        fill(&list, rows, mark);
        // Every row forwards, one backwards, while other lists live and die in between.
        for (int row = 1; row <= rows; ++row) {
            ASSERT_EQ(a(&list, row), mark + std::to_string(row));
            DB_REC_LIST inner = {};
            fill(&inner, 3, "inner");
            ASSERT_EQ(a(&inner, 3), "inner3");
            DB_SEL_LOOP_RECORDS(&inner, 'd');
        }
        ASSERT_EQ(a(&list, 1), mark + "1");
        DB_REC_LIST copy = list;
        ASSERT_EQ(DB_SEL_ALLOC(&copy, "|a=more|", context(0)), 1);
        EXPECT_EQ(a(&copy, rows + 1), "more");
        EXPECT_EQ(a(&list, rows), mark + std::to_string(rows));
        DB_REC *const dropped = list.last->next;
        ASSERT_EQ(DB_SEL_ALLOC(&list, "|a=other|", context(0)), 1); // the chain goes another way
        std::free(dropped->text);
        std::free(dropped);
        EXPECT_EQ(a(&list, rows + 1), "other");
        DB_SEL_LOOP_RECORDS(&list, 'd');
    }
}

TEST_F(Records, OneValueOfAQueryComesByItself)
{
    // clang-format off
    const struct { const char *sql, *column; int32_t result; const char *value; } cases[] = {
        {"select name from clients where nr=2", "name", 1, "ab"},
        {"select name from clients where nr=2", "os", 1, "?"},
        {"select count(*) from clients", "name", 1, "stale"},
        {"select name from clients where nr=9", "name", 0, ""}, {"select nonsense", "name", 0, ""},
    };
    // clang-format on
    for (const auto &c : cases) {
        char value[32] = "stale";
        EXPECT_EQ(iDB_SEL_GETVALUE(c.sql, c.column, value, context(3)), c.result) << c.sql;
        EXPECT_TRUE(c.result == 0 || std::string(value) == c.value) << c.sql << ": " << value;
    }
    EXPECT_FALSE(holds(trace_text(), "GETVALUE stale")) << "what nobody wrote may be no text";
    EXPECT_TRUE(reported("E006-DATABAS : empty recordlist"));
}

} // namespace
