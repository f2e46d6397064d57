// iDB_SEL_GETVALUE: one column of a query's first row.
#include <db/records.h>
#include <foundation/trace_scope.h>
#include <tamba/db.h>

int32_t iDB_SEL_GETVALUE(const char *sql, const char *column, char *value, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ DB_SEL_GETVALUE");
    DB_REC_LIST list = {};
    DbMessage msg;
    const bool found = iDB_ACCESS(sql, msg.data(), &list, scope.context()) == 1 && to_int32(msg.c_str()) != 0;
    // An aggregate's number is no row count: its list is empty, which is reported, the value stays untouched
    // (what it holds may not be a text), and the result is 1 all the same.
    const std::string_view name = text_or_empty(column);
    const bool written = list.count > 0 && column && name != "x" && name != "d";
    if (found)
        iDB_SEL_GET(&list, 1, msg.data(), scope.context(), column, value, "d");
    DB_SEL_LOOP_RECORDS(&list, 'd'); // an unknown column leaves the list as it was
    if (!found) {
        scope.note("Error during DBaccess or no record found");
        return scope.leave(0, "--- DB_SEL_GETVALUE");
    }
    return scope.leave(1, "--- DB_SEL_GETVALUE %s", written ? text_or_empty(value) : "");
}
