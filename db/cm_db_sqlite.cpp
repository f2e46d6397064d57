// One statement on the catalogue file: open, run, convert the answer, close.
#include <db/cm_db_sqlite.h>
#include <db/records.h>
#include <db/statement.h>
#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <tamba/db.h>

#include <atomic>
#include <cstdio>
#include <sqlite3.h>

namespace {

constexpr size_t kPathSize = 257;

std::atomic<int32_t> busy_limit_ms{kBusyLimitMs};

const char *code_name(int code)
{
    switch (code) {
    case SQLITE_OK:
        return "SQLITE_OK";
    case SQLITE_ERROR:
        return "SQLITE_ERROR";
    case SQLITE_BUSY:
        return "SQLITE_BUSY";
    case SQLITE_MISUSE:
        return "SQLITE_MISUSE";
    case SQLITE_ROW:
        return "SQLITE_ROW";
    case SQLITE_DONE:
        return "SQLITE_DONE";
    default:
        return "unknown";
    }
}

// The open database.  Closed on every path; a failed close is only traced.
class Database {
public:
    explicit Database(TraceScope &scope) : scope_(scope) {}
    ~Database()
    {
        const int code = sqlite3_close(handle_);
        if (code != SQLITE_OK)
            scope_.note("SQLITE_DO_SQL sqlite3_close returned (%d) %s", code, code_name(code));
    }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // SQLite's result code; msg receives the reason of a failure.
    int open(DbMessage *msg);
    sqlite3 *handle() { return handle_; }

private:
    TraceScope &scope_;
    sqlite3 *handle_ = nullptr;
};

// A path that is unknown or too long must not reach SQLite: it would create a file of that, or of another,
// name.
bool catalogue_path(char *path, size_t path_size)
{
    GlobalValue directory;
    if (!read_global("gv_rw_db", &directory))
        return false;
    if (format_text(path, path_size, "%stamba_db.sdb", directory.c_str()) >= path_size)
        return false;
    pl_native_path(path);
    return true;
}

int Database::open(DbMessage *msg)
{
    FixedText<kPathSize> path;
    if (!catalogue_path(path.data(), path.capacity())) {
        msg->assign("unable to open database file");
        scope_.note("sqlite3_open() Unable to open database \"%s\": %s", "gv_rw_db", msg->c_str());
        return SQLITE_CANTOPEN;
    }
    scope_.detail("call sqlite3_open( [%s] )", path.c_str());
    const int code = sqlite3_open(pl_library_path(path.c_str()).c_str(), &handle_);
    if (code != SQLITE_OK) {
        msg->assign(text_or_empty(sqlite3_errmsg(handle_)));
        scope_.note("sqlite3_open() Unable to open database \"%s\": %s", path.c_str(), msg->c_str());
        return code;
    }
    sqlite3_busy_timeout(handle_, busy_limit_ms.load(std::memory_order_relaxed));
    return SQLITE_OK;
}

// The result of a statement, released on every path.
struct Table {
    int32_t columns = 0, rows = 0;
    char **values = nullptr, **names = nullptr;

    Table() = default;
    ~Table() { sqlite3_free_table(names); }
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;

    // The single value of an aggregate; "0" for NULL, and for a result without a row ("limit 0", "having").
    const char *single_value() const { return columns > 0 && rows > 0 && values[0] ? values[0] : "0"; }
};

int32_t export_rows(std::string_view sql, const Table &table, DbMessage *msg, TraceScope &scope)
{
    TableName name = table_after(sql, " from ");
    const size_t length = name.length();
    if (length > 0 && name.data()[length - 1] == ';')
        name.data()[length - 1] = '\0';
    msg->assign(name.view());
    return iSQLITE_MAKE_EXPORT_FILE(name.c_str(), table.columns, table.rows, table.names, table.values,
                                    scope.context());
}

// What the caller asked for: "ok", a single value, an export or the record list.
int32_t convert(std::string_view sql, bool export_mode, const Table &table, DB_REC_LIST *list, DbMessage *msg,
                TraceScope &scope)
{
    if (!is_query(sql)) {
        msg->assign("ok");
        return 1;
    }
    scope.detail("it's a SQL select");
    if (is_aggregate(sql)) {
        msg->assign(table.single_value());
        return 1;
    }
    if (export_mode)
        return export_rows(sql, table, msg, scope);
    return iSQLITE_MAKE_DB_REC_LIS(table.columns, table.rows, table.names, table.values, list, msg->data(),
                                   scope.context());
}

int32_t run(Database &database, const char *sql, bool export_mode, DB_REC_LIST *list, DbMessage *msg,
            TraceScope &scope)
{
    scope.detail("Librarycall: %s", sql);
    Table table;
    const int32_t code = iSQLITE_GET_TABLE(database.handle(), sql, &table.columns, &table.rows, &table.values,
                                           &table.names, msg->data(), scope.context());
    if (code != SQLITE_OK) {
        scope.note("Error: Executing sqlite returned: %s", msg->c_str());
        return 0;
    }
    return convert(sql, export_mode, table, list, msg, scope);
}

void trace_table(TraceScope &scope, int32_t columns, int32_t rows, char **table)
{
    if (!traces(scope.context(), kTraceFine))
        return;
    scope.fine("got %d columns", columns);
    scope.fine("got %d rows", rows);
    scope.fine("read the columns");
    for (int32_t i = 0; i < columns; ++i)
        scope.fine("got column [%s]", text_or_empty(table[i]));
    scope.fine("read the values");
    const int64_t cells = int64_t{columns} * (int64_t{rows} + 1);
    for (int64_t i = columns; i < cells; ++i)
        scope.fine("got [%s]", table[i] ? table[i] : "NULL");
}

} // namespace

void set_busy_limit_ms(int32_t milliseconds)
{
    busy_limit_ms.store(milliseconds, std::memory_order_relaxed);
}

int32_t iSQLITE_GET_TABLE(sqlite3 *db, const char *sql, int32_t *ncol, int32_t *nrow, char ***values,
                          char ***colnames, char *msg, TraceContext trace)
{
    TraceScope scope(trace, kTraceDetail, "+++ iSQLITE_GET_TABLE [%s]", text_or_empty(sql));
    copy_text(msg, TAMBA_DB_MSG_SIZE, "");
    char **table = nullptr;
    int rows = 0, columns = 0;
    // SQLite's own message text would have to be released with a function of its own; its error text says the
    // same.
    const int code = sqlite3_get_table(db, text_or_empty(sql), &table, &rows, &columns, nullptr);
    if (code != SQLITE_OK) {
        const char *const reason = text_or_empty(sqlite3_errmsg(db));
        copy_text(msg, TAMBA_DB_MSG_SIZE, reason);
        scope.detail("got message %s", text_or_empty(msg));
        scope.fine("got error message %s", reason);
        scope.note("sqlite3_get_table() returned %s", code_name(code));
        table = nullptr;
        rows = columns = 0;
    }
    *ncol = columns;
    *nrow = rows;
    *colnames = table;
    *values = table ? table + columns : nullptr;
    if (table)
        trace_table(scope, columns, rows, table);
    return scope.leave(code, "--- iSQLITE_GET_TABLE returns %d %s", code, text_or_empty(msg));
}

int32_t SQLITE_DO_SQL(const char *sql, char export_flag, char *msg, int32_t msg_size, DB_REC_LIST *list,
                      TraceContext trace)
{
    sql = text_or_empty(sql);
    TraceScope scope(trace, kTraceDetail, "+++ SQLITE_DO_SQL id=%s  SQL=%s", list_name(list).c_str(), sql);
    if (list)
        list->count = 0;
    DbMessage text;
    int32_t result = 0;
    int opened = SQLITE_OK;
    if (may_run(std::strlen(sql), &text)) {
        Database database(scope);
        opened = database.open(&text);
        if (opened == SQLITE_OK)
            result = run(database, sql, export_flag == 'y', list, &text, scope);
    }
    copy_text(msg, msg_size > 0 ? static_cast<size_t>(msg_size) : 0, text.view());
    if (opened != SQLITE_OK)
        return scope.leave(0, "--- SQLITE_DO_SQL sqlite3_open() returns %d  msg=%s", opened, text.c_str());
    return scope.leave(result, "--- SQLITE_DO_SQL  returns %d  msg=%s", result, text.c_str());
}
