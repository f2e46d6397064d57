// iDB_ACCESS: the one door to the catalogue.
#include <db/client_run.h>
#include <db/convert.h>
#include <db/statement.h>
#include <foundation/alloc.h>
#include <foundation/glbv.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <tamba/db.h>

#include <mutex>

namespace {

constexpr char kExport[] = "export";

// Null, with the reason, for a statement that cannot be run whole.
AllocatedText copy_statement(const char *sql, DbMessage *msg, TraceScope &scope)
{
    const size_t length = std::strlen(sql);
    AllocatedText copy = may_run(length, msg) ? allocate_text(length + 1) : nullptr;
    if (copy) {
        copy_text(copy.get(), length + 1, sql);
        return copy;
    }
    if (msg->empty())
        msg->assign("ERROR malloc() for local copy of cpSqlCmd failed");
    scope.note("%s", msg->c_str());
    return nullptr;
}

// Keywords and names to lower case; from the first quote on the text is the caller's data.
void normalise(char *sql)
{
    for (; *sql != '\0' && *sql != '\''; ++sql)
        *sql = ascii_lower(*sql);
}

// No statement of any thread runs before the process has the environment that the database's client is found with.
void set_environment_once()
{
    static std::once_flag done;
    std::call_once(done, i_setenv_tamba, "tb_db");
}

TraceScope enter(TraceContext &trace, const DB_REC_LIST *list, const char *sql)
{
    if (!list)
        return TraceScope(trace, kTraceMain, "+++ DB_ACCESS id=NULL  SQL=%s", sql);
    return TraceScope(trace, kTraceMain, "+++ DB_ACCESS id=%s  SQL=%s", list_name(list).c_str(), sql);
}

// A client that was suspended is run again, five times in all.
int32_t run_client(const char *sql, bool export_mode, DbMessage *msg, DB_REC_LIST *list, TraceScope &scope)
{
    constexpr int kRuns = 5;
    for (int run = 1;; ++run) {
        const int32_t result = OA_DO_SQL(sql, export_mode, msg, list, scope.context());
        if (result != 0 || run == kRuns || msg->view().find("ERROR_BROKEN_PIPE") == std::string_view::npos)
            return result;
    }
}

int32_t run(const char *sql, bool export_mode, DbMessage *msg, DB_REC_LIST *list, TraceScope &scope)
{
    set_environment_once();
    GlobalValue type;
    const bool known = read_global("gv_db_type", &type);
    scope.note("gv_db_type is %s", type.c_str());
    if (type.view() == "sqlite")
        return SQLITE_DO_SQL(sql, export_mode ? 'y' : 'n', msg->data(), TAMBA_DB_MSG_SIZE, list,
                             scope.context());
    if (!known) {
        msg->format("ERROR: Not supported db_type '%s'", type.c_str());
        scope.note("%s", msg->c_str());
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
    const bool export_mode = msg && std::strncmp(msg, kExport, sizeof kExport) == 0;
    DbMessage message;
    const AllocatedText copy = copy_statement(sql, &message, scope);
    int32_t result = 0;
    if (copy) {
        normalise(copy.get());
        if (!CLEANUP_QUOTA(copy.get(), scope.context()))
            scope.note("WARNING: cpSqlCmd was changed to: %s", copy.get());
        result = run(copy.get(), export_mode, &message, list, scope);
    }
    copy_text(msg, TAMBA_DB_MSG_SIZE, message.view());
    return scope.leave(result, "--- DB_ACCESS returns %d  msg=%s", result, message.c_str());
}
