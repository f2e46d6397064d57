// Readers of record texts, statements and the database client's answers.
#include <fuzz/target.h>

#include <db/client_answer.h>
#include <db/records.h>
#include <db/statement.h>
#include <tamba/db.h>

#include <algorithm>

// First line a column name, then the record.
FUZZ_TARGET(record)
{
    auto [column, text] = halves(input);
    column = column.c_str();
    text = text.c_str();
    std::string_view value;
    if (find_column(text.c_str(), column, &value)) {
        promise(value.data() >= text.data() && value.data() + value.size() <= text.data() + text.size(),
                "a value lies inside its record");
        promise(value.find('|') == std::string_view::npos, "a value ends at the bar");
    }
    DB_REC_LIST list = {};
    TraceContext trace{};
    char msg[TAMBA_DB_MSG_SIZE];
    Buffer copy(text.size() + 8);
    list.record_size = static_cast<int32_t>(text.size()) + 1;
    if (DB_SEL_FIRST(&list, text.c_str(), trace))
        iDB_SEL_GET(&list, 1, msg, trace, column.c_str(), copy.data(), "d");
    promise(column == "d" || column == "x" || list.count == 0 || copy.terminated(),
            "a copied value is terminated");
    DB_SEL_LOOP_RECORDS(&list, 'd');
}

FUZZ_TARGET(quotes)
{
    std::string sql(input);
    sql = sql.c_str();
    const std::string before = sql;
    const bool unchanged = CLEANUP_QUOTA(sql.data(), TraceContext{}) != 0;
    promise(unchanged == (sql == before), "the result tells whether the statement was changed");
    std::string again = sql;
    CLEANUP_QUOTA(again.data(), TraceContext{});
    promise(again.size() == before.size(), "the length stays");
    is_aggregate(sql);
    table_after(sql, " from ");

    constexpr int32_t kLimit = 100;
    Buffer value(before, std::max<size_t>(before.size() + 1, kLimit + TAMBA_DB_STRING_SPARE));
    const std::string_view safe = db_string(value.data(), kLimit);
    size_t run = 0;
    for (size_t i = 0; i <= safe.size(); ++i) {
        if (i < safe.size() && safe[i] == '\'') {
            ++run;
            continue;
        }
        promise(run % 2 == 0, "quotes come in pairs");
        run = 0;
    }
    promise(safe.find('"') == std::string_view::npos, "no double quote is left");
}

FUZZ_TARGET(database_answer)
{
    ClientAnswer answer;
    while (!input.empty()) {
        const size_t end = std::min(input.find('\n'), input.size());
        answer.take(input.substr(0, end));
        input.remove_prefix(std::min(end + 1, input.size()));
    }
    const bool complete = answer.complete();
    const ResultTable table = answer.table();
    size_t length = 0;
    for (int32_t i = 0; i < table.columns * table.rows; ++i)
        length += table.values[i] ? std::string_view(table.values[i]).size() : 0;
    promise(!complete || table.columns == 0 ||
                std::to_string(table.rows) == std::to_string(to_int32(answer.rows().c_str())),
            "a complete answer has the rows it promises");
    promise(length < (size_t{256} << 20), "an answer keeps its limit");
}
