#include "bench/bench_site.h"
#include "bench/pairs.h"

#include <cstdio>

namespace {

std::string catalogue()
{
    return bench_site().path("db/tamba_db.sdb");
}

constexpr char kByKey[] = "select drive_num, name, typ from hw_drives where drive_num=3";

std::string table_of(int count)
{
    return "bench_rows_" + std::to_string(count);
}

std::string all_rows_of(int count)
{
    return "select a, b, c from " + table_of(count);
}

bool make_table(int count)
{
    const std::string table = table_of(count);
    return site_sql(bench_site(),
                    "create table " + table + " (a text, b text, c integer);" +
                        "with recursive n(i) as (select 1 union all select i + 1 from n where i < " +
                        std::to_string(count) + ") insert into " + table +
                        " select 'value ' || i, 'another value ' || i, i from n;");
}

// Rows into a record list, and every row's three columns read back in order.
bool read_all(const std::string &sql)
{
    DB_REC_LIST list{};
    char msg[TAMBA_DB_MSG_SIZE] = "", a[64], b[64], c[64];
    const TraceContext trace{};
    if (iDB_ACCESS(sql.c_str(), msg, &list, trace) != 1)
        return false;
    bool good = list.count > 0;
    for (int32_t row = 1; good && row <= static_cast<int32_t>(list.count); ++row)
        good = iDB_SEL_GET(&list, row, msg, trace, "a", a, "b", b, "c", c, "x") == 1;
    DB_SEL_LOOP_RECORDS(&list, 'd');
    return good;
}

void ours_all_rows(benchmark::State &state, int count)
{
    const std::string sql = all_rows_of(count);
    for (auto _ : state)
        if (!read_all(sql))
            state.SkipWithError("rows not read");
}

} // namespace

void add_catalogue_rows()
{
    if (!make_table(10'000) || !make_table(100'000))
        std::fprintf(stderr, "cannot make the tables for the record lists\n");
    add_pair(
        "statement by key", 1.15,
        [](benchmark::State &state) {
            DB_REC_LIST list{};
            char msg[TAMBA_DB_MSG_SIZE] = "";
            const TraceContext trace{};
            for (auto _ : state) {
                msg[0] = '\0';
                if (iDB_ACCESS(kByKey, msg, &list, trace) != 1 || list.count != 1)
                    state.SkipWithError(msg);
                DB_SEL_LOOP_RECORDS(&list, 'd');
            }
        },
        [](benchmark::State &state) {
            for (auto _ : state)
                if (raw_query(catalogue(), kByKey) != 1)
                    state.SkipWithError("no row");
        },
        "open, busy time-out, get_table, close");
    // Ten times the rows beside ten times the raw work: what grew faster than its rows would show.
    for (const int count : {10'000, 100'000})
        add_pair(
            std::to_string(count) + " rows into a list and read back", 2.0,
            [count](benchmark::State &state) { ours_all_rows(state, count); },
            [count](benchmark::State &state) {
                const std::string sql = all_rows_of(count);
                for (auto _ : state)
                    if (raw_query(catalogue(), sql.c_str()) != count)
                        state.SkipWithError("rows missing");
            },
            "get_table");
}
