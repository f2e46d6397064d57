// Statements through the database's own command-line client, for every database type but the catalogue file's.
#include <db/client_answer.h>
#include <db/client_run.h>
#include <db/statement.h>
#include <foundation/glbv.h>
#include <foundation/messages.h>
#include <process/pipe_line.h>
#include <process/semaphore_guard.h>
#include <tamba/pipes.h>

#include <cstring>

namespace {

constexpr int32_t kPieceSize = 4096;
constexpr int32_t kBrokenPipe = 109;
constexpr size_t kMostLine = size_t{64} << 20;

// One statement on its way to the client and back.
struct ClientStatement {
    const char *sql;
    const char *id; // the list's name, for messages
    TableName table;
    bool query, aggregate;
};

ClientStatement classify(const char *sql, const char *id)
{
    ClientStatement statement{sql, id, {}, is_query(sql), is_aggregate(sql)};
    const std::string_view text(sql), word = text.substr(0, text.find(' '));
    if (word == "select" || word == "delete")
        statement.table = table_after(text, " from ");
    else if (word == "update")
        statement.table = table_after(text, "update ");
    else if (word == "insert")
        statement.table = table_after(text, " into ");
    return statement;
}

// The statement is one word of the client's command line: a quote in it is marked, and so is every backslash that
// would otherwise mark a quote.
std::string as_one_word(std::string_view text)
{
    std::string word;
    size_t backslashes = 0;
    for (const char c : text) {
        if (c == '"')
            word.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        word += c;
    }
    return word.append(backslashes, '\\');
}

std::string client_command(const char *directory, const char *sql, const TraceContext &trace)
{
    const char *const format = trace.level >= 4 ? "%sdamisql -d tamba_db -q \"%s\" -xall:ff <%s"
                                                : "%sdamisql -d tamba_db -q \"%s\" <%s";
    const std::string word = as_one_word(sql);
    return format_string(format, directory, word.c_str(), "nul");
}

// A line of any length: the pipe hands it out in pieces, and a piece that fills the buffer goes on in the next.
bool read_line(PIPE *pipe, ClientAnswer *answer, Growing<char> *line)
{
    line->clear();
    char piece[kPieceSize + 1];
    for (;;) {
        if (!read_terminated_line(pipe, piece))
            return false;
        const size_t length = std::strlen(piece);
        if (line->size() >= kMostLine || !line->add(piece, length))
            answer->reject();
        if (length < static_cast<size_t>(kPieceSize))
            return true;
    }
}

int32_t fail(const ClientStatement &statement, DbMessage *msg, std::string_view reason)
{
    msg->assign(reason);
    prot_message<Msg::kClientFailed>(statement.id, msg->c_str());
    return 0;
}

// The answer is not what the client prints: nothing in it is used.
int32_t unexpected(const char *function, DbMessage *msg)
{
    prot_message<Msg::kClientUnexpected>(function);
    msg->format("%s SQL pipe doesn't return the expected characters", function);
    return 0;
}

int32_t OA_MAKE_DB_REC_LIS(const ResultTable &table, DB_REC_LIST *list, DbMessage *msg, TraceContext &trace)
{
    TraceScope scope(trace, kTraceDetail, "+++ OA_MAKE_DB_REC_LIS  id=%s", list_name(list).c_str());
    size_t size = 0;
    const MakeRecords made = make_records(table, list, &size, scope);
    if (made == MakeRecords::too_wide) {
        msg->format("too much columns ( max %d )", kMaxColumns);
        prot_message<Msg::kClientTooManyColumns>(list_name(list).c_str(), kMaxColumns);
    } else if (made == MakeRecords::no_memory) {
        msg->assign("cannot allocate memory");
        prot_message<Msg::kClientRecordFailed>(list_name(list).c_str(), msg->c_str());
    } else {
        msg->format("%d", table.rows);
    }
    return scope.leave(made == MakeRecords::done ? 1 : 0, "--- OA_MAKE_DB_REC_LIS   rows=%s", msg->c_str());
}

int32_t OA_MAKE_EXPORT_FILE(const ResultTable &table, TableName name, DbMessage *msg)
{
    if (!name.empty() && name.view().back() == ';')
        name.data()[name.length() - 1] = '\0';
    print_inserts(name.c_str(), table);
    msg->assign(name.view());
    return 1;
}

// "0" for NULL and for no row, as the catalogue file answers.
int32_t OA_GET_CALCULATED_VALUE(ClientAnswer *answer, DbMessage *msg)
{
    if (!answer->complete())
        return unexpected("OA_GET_CALCULATED_VALUE", msg);
    const ResultTable table = answer->table();
    msg->assign(table.rows > 0 && table.values[0] ? table.values[0] : "0");
    return 1;
}

int32_t use_answer(const ClientStatement &statement, ClientAnswer *answer, bool export_mode, DbMessage *msg,
                   DB_REC_LIST *list, TraceScope &scope)
{
    if (!answer->error().empty()) {
        prot_message<Msg::kClientStatement>(statement.id, statement.sql);
        return fail(statement, msg, answer->error().view());
    }
    if (statement.aggregate)
        return OA_GET_CALCULATED_VALUE(answer, msg);
    if (!answer->complete())
        return unexpected("OA_DO_SQL", msg);
    if (!statement.query) {
        msg->format("Rows affected = %s", answer->rows().c_str());
        return 1;
    }
    if (export_mode)
        return OA_MAKE_EXPORT_FILE(answer->table(), statement.table, msg);
    return OA_MAKE_DB_REC_LIS(answer->table(), list, msg, scope.context());
}

// A client that was suspended may have lost part of its answer: the statement is run again.  Not so a change whose
// answer is whole: it would be made twice.
bool is_broken(int32_t exit_code, const ClientStatement &statement, ClientAnswer &answer)
{
    return exit_code == kBrokenPipe && (statement.query || !answer.complete());
}

int32_t run_client(const ClientStatement &statement, bool export_mode, DbMessage *msg, DB_REC_LIST *list,
                   TraceScope &scope)
{
    GlobalValue directory;
    if (!read_global("gv_ro_db", &directory))
        return fail(statement, msg, "directory gv_ro_db is not known");
    const std::string command = client_command(directory.c_str(), statement.sql, scope.context());
    scope.note("call pipe open with cmd: %s", command.c_str());
    PIPE pipe{};
    if (!iPIPE_OPEN(command.c_str(), "r", msg->data(), static_cast<int32_t>(msg->capacity()), &pipe))
        return fail(statement, msg, DbMessage(*msg).view());
    ClientAnswer answer;
    for (Growing<char> line; read_line(&pipe, &answer, &line);) {
        const std::string_view text(line.data(), line.size());
        scope.fine("%.*s", static_cast<int>(text.size()), text_or_empty(text.data()));
        answer.take(text);
    }
    const int32_t exit_code = iPIPE_CLOSE(&pipe);
    if (is_broken(exit_code, statement, answer))
        return fail(statement, msg, "ERROR_BROKEN_PIPE: the database client was suspended");
    if (exit_code != 0 && exit_code != kBrokenPipe && answer.error().empty()) {
        DbMessage reason;
        reason.format("the database client ended with code %d", exit_code);
        return fail(statement, msg, reason.view());
    }
    return use_answer(statement, &answer, export_mode, msg, list, scope);
}

int32_t run_alone(const ClientStatement &statement, bool export_mode, DbMessage *msg, DB_REC_LIST *list,
                  TraceScope &scope)
{
    if (statement.table.empty()) {
        DbMessage reason;
        reason.format("Could not find table name in statement %s", statement.sql);
        return fail(statement, msg, reason.view());
    }
    if (statement.query)
        scope.note("select from table %s", statement.table.c_str());
    // One client at a time on the whole machine: the database serves a second one badly.
    SemaphoreGuard lock("ctrl_db", "OA_DO_SQL", scope.context());
    if (!lock.held())
        return fail(statement, msg, lock.message());
    return run_client(statement, export_mode, msg, list, scope);
}

} // namespace

int32_t OA_DO_SQL(const char *sql, bool export_mode, DbMessage *msg, DB_REC_LIST *list, TraceContext &trace)
{
    const ListName id = list_name(list);
    TraceScope scope(trace, kTraceDetail, "+++ OA_DO_SQL id=%s  SQL=%s", id.c_str(), sql);
    msg->assign("");
    const int32_t result = run_alone(classify(sql, id.c_str()), export_mode, msg, list, scope);
    return scope.leave(result, "--- OA_DO_SQL  returns %d  msg=%s", result, msg->c_str());
}
