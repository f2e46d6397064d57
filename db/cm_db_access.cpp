// iDB_ACCESS: the one door to the catalogue.
#include <db/client_run.h>
#include <db/convert.h>
#include <db/records.h>
#include <foundation/alloc.h>
#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <tamba/db.h>

#include <atomic>

namespace {

constexpr char kExport[] = "export";

// Keywords and names to lower case; from the first quote on the text is the caller's data.
void normalise(char *sql)
{
    for (; *sql != '\0' && *sql != '\''; ++sql)
        *sql = ascii_lower(*sql);
}

// Programs that the database starts find their environment prepared once per process.
void set_environment_once()
{
    static std::atomic<bool> done{false};
    if (!done.exchange(true, std::memory_order_relaxed))
        i_setenv_tamba("tb_db");
}

TraceScope enter(TraceContext &trace, const DB_REC_LIST *list, const char *sql)
{
    if (!list)
        return TraceScope(trace, kTraceMain, "+++ DB_ACCESS id=NULL  SQL=%s", sql);
    return TraceScope(trace, kTraceMain, "+++ DB_ACCESS id=%s  SQL=%s", list_name(list).c_str(), sql);
}

// A client that was suspended is run again, five times in all.
int32_t run_client(const char *sql, bool export_mode, char *msg, DB_REC_LIST *list, TraceScope &scope)
{
    constexpr int kRuns = 5;
    DbMessage message;
    int32_t result = 0;
    for (int run = 0; run < kRuns && result == 0; ++run) {
        result = OA_DO_SQL(sql, export_mode, message.data(), list, scope.context());
        if (message.view().find("ERROR_BROKEN_PIPE") == std::string_view::npos)
            break;
    }
    copy_text(msg, TAMBA_DB_MSG_SIZE, message.view());
    return result;
}

int32_t run(const char *sql, bool export_mode, char *msg, DB_REC_LIST *list, TraceScope &scope)
{
    set_environment_once();
    GlobalValue type;
    const bool known = read_global("gv_db_type", &type);
    scope.note("gv_db_type is %s", type.c_str());
    if (type.view() == "sqlite")
        return SQLITE_DO_SQL(sql, export_mode ? 'y' : 'n', msg, TAMBA_DB_MSG_SIZE, list, scope.context());
    if (!known) {
        DbMessage reason;
        reason.format("ERROR: Not supported db_type '%s'", type.c_str());
        copy_text(msg, TAMBA_DB_MSG_SIZE, reason.view());
        scope.note("%s", reason.c_str());
        return 0;
    }
    return run_client(sql, export_mode, msg, list, scope);
}

} // namespace

int32_t iDB_ACCESS(const char *sql, char *msg, DB_REC_LIST *list, TraceContext trace)
{
    sql = text_or_empty(sql);
    if (is_pseudo_statement(sql))
        return convert_value(sql, msg, trace);

    TraceScope scope = enter(trace, list, sql);
    scope.detail("%s", kLibraryVersion);
    if (list) // also where nothing runs: a list that was never set up must not look filled
        list->count = 0;
    int32_t result = 0;
    const size_t size = std::strlen(sql) + 2;
    if (const AllocatedText copy = allocate_text(size)) {
        copy_text(copy.get(), size, sql);
        normalise(copy.get());
        if (!CLEANUP_QUOTA(copy.get(), scope.context()))
            scope.note("WARNING: cpSqlCmd was changed to: %s", copy.get());
        const bool export_mode = msg && std::strncmp(msg, kExport, sizeof kExport) == 0;
        copy_text(msg, TAMBA_DB_MSG_SIZE, "");
        result = run(copy.get(), export_mode, msg, list, scope);
    } else {
        constexpr char kReason[] = "ERROR malloc() for local copy of cpSqlCmd failed";
        copy_text(msg, TAMBA_DB_MSG_SIZE, kReason);
        scope.note("%s", kReason);
    }
    return scope.leave(result, "--- DB_ACCESS returns %d  msg=%s", result, text_or_empty(msg));
}
