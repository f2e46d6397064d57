// Remote commands: which way leads to a host.
#include <process/remote_cmd.h>

#include <db/rows.h>
#include <db/sql.h>
#include <foundation/glbv.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <platform/files.h>
#include <platform/process.h>
#include <platform/thread.h>
#include <tamba/files.h>
#include <tamba/process.h>

#include <algorithm>
#include <cstdarg>
#include <memory>
#include <new>

namespace {

using Reason = FixedText<TB_REMOTE_CMD_SIZE>;

constexpr int32_t kFakeVersion = 2; // a success that needed no command

// The node and its files.  Files are looked for first: their paths may hold "/".  False when nobody knows where the
// output could go.
bool parse_node(std::string_view text, RemoteTarget *whole, TraceScope &scope)
{
    RemoteTarget &target = *whole;
    if (const size_t bar = text.find('|'); bar != std::string_view::npos) {
        target.node.assign(text.substr(0, bar));
        std::string_view rest = text.substr(bar + 1);
        for (FixedText<512> *field : {&target.output, &target.errors, &target.input}) {
            const size_t end = std::min(rest.find('|'), rest.size());
            field->assign(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        scope.note("output file is given as %s", target.output.c_str());
        if (!target.errors.empty())
            scope.note("stderr file is given as %s", target.errors.c_str());
        if (!target.input.empty())
            scope.note("stdin file is given as: %s", target.input.c_str());
        if (target.output.empty())
            target.output.assign(target.errors.empty() ? "STDOUT" : target.errors.view());
    } else {
        const size_t slash = std::min(text.find('/'), text.size());
        target.node.assign(text.substr(0, slash));
        const FixedText<512> id(slash < text.size() ? text.substr(slash + 1) : text);
        GlobalValue directory;
        if (!read_global("gv_rw_work", &directory))
            return false;
        target.output.format("%srsh_%s.tmp", directory.c_str(), id.c_str());
        pl_remove(target.output.c_str());
        scope.note("szNode=%s  Id=%s", target.node.c_str(), id.c_str());
    }
    if (target.errors.empty())
        target.errors = target.output;
    return true;
}

bool is_own_host(std::string_view node)
{
    char own[256] = "";
    return pl_host_name(own, sizeof own) && equal_ignoring_case(node, own);
}

int32_t run_here(const RemoteTarget &target, const char *cmd, Reason *reason, TraceScope &scope)
{
    scope.note("Call for local server %s >> call start_system()", target.node.c_str());
    if (traces(scope.context(), kTraceMain))
        prot_message<Msg::kRemoteCommand>(cmd);
    std::string redirection;
    if (!redirection_of(target, &redirection)) {
        reason->assign("CREATE_REDIRECTION failed");
        return 0;
    }
    const int32_t code = start_system(remote_command("\"%s\" %s", cmd, redirection.c_str()).c_str());
    if (code != 0)
        reason->format("the command ended with exit code %d", code);
    return code == 0 ? 1 : 0;
}

// Reads what the catalogue says of the node; false with the reason when there is nothing to go on with.
bool read_client(const char *node, RemoteClient *client, Reason *reason, TraceScope &scope)
{
    Rows rows("RemoteCmd", scope.context());
    if (!rows.select("select oper_systems.platform,clients.accessmode,clients.access_options from "
                     "oper_systems,clients "
                     "where clients.name='%s' and oper_systems.os=clients.os",
                     SqlText(node).c_str())) {
        reason->assign(rows.message());
        trap_db_err("RemoteCmd", rows.message(), scope.context(), 0);
        return false;
    }
    if (std::string_view(rows.message()) != "1") {
        prot_message<Msg::kClientNotUnique>(node);
        reason->format("Error: REMOTE_CMD: Database didn't return unique result row for client %s! (%s rows)",
                       node, rows.message());
    }
    if (rows.empty()) {
        reason->format("host %s not yet configured", node);
        prot_message<Msg::kClientUnknown>(node);
        return false;
    }
    rows.text(1, "platform", client->platform);
    rows.text(1, "accessmode", client->accessmode);
    rows.text(1, "access_options", client->options);
    return true;
}

// Such clients run no commands.  The line answers the version query of the alive test.
int32_t answer_for_netware(const RemoteTarget &target, char *cmd)
{
    constexpr char kVersion[] = "2000-01-01 00:00:00 tbc-3036: VERSION: tbc for NetWare";
    i_setenv_tamba("NetWare");
    const std::string line = target.writes_file()
                                 ? remote_command("echo '%s' >> %s", kVersion, target.output.c_str())
                                 : remote_command("echo '%s'", kVersion);
    i_cm_system(line.c_str());
    copy_text(cmd, TB_REMOTE_CMD_SIZE, kVersion);
    return kFakeVersion;
}

int32_t run_there(const RemoteCall &call, int32_t *status)
{
    const char mode = call.client.accessmode.c_str()[0];
    if (mode == 'C')
        return remote_by_daemon(call, status);
    if (mode == 'J')
        return remote_by_jrsh(call);
    if (mode == 'R')
        return remote_by_rsh(call);
    call.msg->format("Error: invalid AccessMode: %s", call.client.accessmode.c_str());
    prot_message<Msg::kAccessModeInvalid>(call.target.node.c_str(), call.client.accessmode.c_str());
    return 0;
}

// cmd receives what REMOTE_CMD promises.
int32_t run(const RemoteTarget &target, char *cmd, int32_t timeout, int32_t *status, TraceScope &scope)
{
    const std::string command(cmd, strnlen(cmd, TB_REMOTE_CMD_SIZE - 1));
    Reason reason;
    int32_t result = 0;
    if (is_own_host(target.node.view())) {
        result = run_here(target, command.c_str(), &reason, scope);
    } else {
        RemoteClient client;
        if (read_client(target.node.c_str(), &client, &reason, scope)) {
            if (client.platform.view() == "NETWARE")
                return answer_for_netware(target, cmd);
            if (!reason.empty()) // said in any case: the command may go to the wrong one of two hosts
                copy_text(cmd, TB_REMOTE_CMD_SIZE, reason.view());
            result = run_there({target, client, command.c_str(), timeout, false, scope.context(), &reason},
                               status);
        }
    }
    if (result == 0)
        copy_text(cmd, TB_REMOTE_CMD_SIZE, reason.view());
    return result;
}

// What a thread of an asynchronous command works on.
struct AsyncCommand {
    FixedText<1024 + 3 * 512> node; // with its files
    char cmd[TB_REMOTE_CMD_SIZE];
    TraceContext trace;
};

uint32_t async_thread(void *passed)
{
    const std::unique_ptr<AsyncCommand> command(static_cast<AsyncCommand *>(passed));
    return static_cast<uint32_t>(REMOTE_CMD(command->node.c_str(), command->cmd, 1, command->trace));
}

} // namespace

std::string remote_command(const char *format, ...)
{
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    std::string text(format_text_v(nullptr, 0, format, arguments), '\0');
    format_text_v(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    return text;
}

std::string global_or(const char *name, const char *replacement)
{
    GlobalValue value;
    return read_global(name, &value) ? value.c_str() : replacement;
}

void report_command(const RemoteCall &call, const char *command)
{
    if (traces(call.trace, kTraceMain))
        prot_message<Msg::kRemoteCommand>(command);
}

bool take_line(const char *file, const char *pattern, FixedText<TB_REMOTE_CMD_SIZE> *msg)
{
    FixedText<TAMBA_PATTERN_SIZE> line{pattern};
    if (file_search(file, line.data()) != 1)
        return false;
    msg->assign(line.view());
    return true;
}

int32_t remote_cmd_status(const char *node, char *cmd, int32_t sync, int32_t *status, TraceContext trace)
{
    node = text_or_empty(node);
    *status = 0;
    char none[TB_REMOTE_CMD_SIZE] = "";
    cmd = cmd ? cmd : none;
    TraceScope scope(trace, kTraceMain, "+++ HAL REMOTE_CMD in %s: %s %s synchron", kLibraryVersion, node,
                     cmd);
    if (sync > 1)
        scope.note("synchron with timeout %d", sync);
    RemoteTarget target;
    int32_t result = 0;
    if (parse_node(node, &target, scope))
        result = run(target, cmd, sync > 1 ? sync : 0, status, scope);
    else
        copy_text(cmd, TB_REMOTE_CMD_SIZE, "the directory gv_rw_work is not known");
    if (result == kFakeVersion)
        return scope.leave(1, "--- REMOTE_CMD: return fake version: %s", cmd);
    return scope.leave(result, "--- HAL REMOTE_CMD returns %d  node:%s  msg:%s", result, target.node.c_str(),
                       cmd);
}

int32_t REMOTE_CMD(const char *node, char *cmd, int32_t sync, TraceContext trace)
{
    if (sync != 0) {
        int32_t status = 0;
        return remote_cmd_status(node, cmd, sync, &status, trace);
    }
    TraceScope scope(trace, kTraceMain, "+++ HAL REMOTE_CMD in %s: %s %s asynchron", kLibraryVersion,
                     text_or_empty(node), text_or_empty(cmd));
    const int32_t result = ASYNC_REMOTE_CMD(node, cmd, scope.context());
    return scope.leave(result, "--- HAL REMOTE_CMD asynchron returns %d, msg: %s", result,
                       text_or_empty(cmd));
}

int32_t ASYNC_REMOTE_CMD(const char *node, const char *cmd, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ ASYNC_REMOTE_CMD %s %s", text_or_empty(node),
                     text_or_empty(cmd));
    std::unique_ptr<AsyncCommand> command(new (std::nothrow) AsyncCommand);
    TB_HANDLE thread = nullptr;
    if (command) {
        command->node.assign(text_or_empty(node));
        copy_text(command->cmd, sizeof command->cmd, text_or_empty(cmd));
        command->trace = trace;
    }
    if (!command || !pl_thread_start(async_thread, command.get(), &thread)) {
        prot_message<Msg::kRemoteFailed>(text_or_empty(node), "malloc failed");
        return scope.leave(0, "--- ASYNC_REMOTE_CMD returns %d", 0);
    }
    command.release(); // the thread's now
    scope.note("HANDLE => ThreadId: %d => %d", static_cast<int>(reinterpret_cast<uintptr_t>(thread)),
               static_cast<int>(pl_thread_id(thread)));
    pl_close(thread);
    return scope.leave(1, "--- ASYNC_REMOTE_CMD returns %d", 1);
}
