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
#include <tamba/process.h>

#include <algorithm>
#include <memory>
#include <new>

namespace {

constexpr int32_t kFakeVersion = 2; // a success that needed no command

// The node and its files.  Files are looked for first: their paths may hold "/".  False when nobody knows where the
// output could go.
bool parse_node(std::string_view text, RemoteTarget *whole, RemoteMessage *reason, TraceScope &scope)
{
    RemoteTarget &target = *whole;
    if (const size_t bar = text.find('|'); bar != std::string_view::npos) {
        target.node = text.substr(0, bar);
        std::string_view rest = text.substr(bar + 1);
        for (std::string *field : {&target.output, &target.errors, &target.input}) {
            const size_t end = std::min(rest.find('|'), rest.size());
            *field = rest.substr(0, end);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        scope.note("output file is given as %s", target.output.c_str());
        if (!target.errors.empty())
            scope.note("stderr file is given as %s", target.errors.c_str());
        if (!target.input.empty())
            scope.note("stdin file is given as: %s", target.input.c_str());
        if (target.output.empty())
            target.output = target.errors.empty() ? "STDOUT" : target.errors;
    } else {
        const size_t slash = std::min(text.find('/'), text.size());
        target.node = text.substr(0, slash);
        const std::string id(slash < text.size() ? text.substr(slash + 1) : text);
        GlobalValue directory;
        if (!read_global("gv_rw_work", &directory)) {
            reason->assign("the directory gv_rw_work is not known");
            return false;
        }
        target.output = format_string("%srsh_%s.tmp", directory.c_str(), id.c_str());
        pl_remove(target.output.c_str());
        scope.note("szNode=%s  Id=%s", target.node.c_str(), id.c_str());
    }
    if (target.errors.empty())
        target.errors = target.output;
    return true;
}

int32_t run_here(const RemoteTarget &target, const char *cmd, RemoteMessage *reason, TraceScope &scope)
{
    scope.note("Call for local server %s >> call start_system()", target.node.c_str());
    if (traces(scope.context(), kTraceMain))
        prot_message<Msg::kRemoteCommand>(cmd);
    std::string redirection;
    if (!redirection_of(target, &redirection)) {
        reason->assign("CREATE_REDIRECTION failed");
        return 0;
    }
    const int32_t code = start_system(format_string("\"%s\" %s", cmd, redirection.c_str()).c_str());
    if (code != 0)
        reason->format("the command ended with exit code %d", code);
    return code == 0 ? 1 : 0;
}

// Reads what the catalogue says of the node; false with the reason when there is nothing to go on with.
bool read_client(const char *node, RemoteClient *client, RemoteMessage *reason, TraceScope &scope)
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
                                 ? format_string("echo '%s' >> %s", kVersion, target.output.c_str())
                                 : format_string("echo '%s'", kVersion);
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

// node: with or without its files.
bool refuse(std::string_view node, const RemoteMessage &reason)
{
    prot_message<Msg::kRemoteFailed>(std::string(node.substr(0, node.find('|'))).c_str(), reason.c_str());
    return false;
}

// A command that would be cut is refused: what is left of it may mean something else.
bool fits(const char *node, const char *cmd, RemoteMessage *reason)
{
    if (strnlen(cmd, TB_REMOTE_CMD_SIZE) < TB_REMOTE_CMD_SIZE)
        return true;
    reason->format("the command is longer than %d characters", TB_REMOTE_CMD_SIZE - 1);
    return refuse(node, *reason);
}

// A success may leave a text in cmd, as REMOTE_CMD promises.
int32_t run(const RemoteTarget &target, char *cmd, int32_t timeout, int32_t *status, RemoteMessage *reason,
            TraceScope &scope)
{
    const std::string command = cmd;
    if (is_own_host(target.node))
        return run_here(target, cmd, reason, scope);
    RemoteClient client;
    if (!read_client(target.node.c_str(), &client, reason, scope))
        return 0;
    if (client.platform.view() == "NETWARE")
        return answer_for_netware(target, cmd);
    if (!reason->empty()) // said in any case: the command may go to the wrong one of two hosts
        copy_text(cmd, TB_REMOTE_CMD_SIZE, reason->view());
    return run_there({target, client, command.c_str(), timeout, false, scope.context(), reason}, status);
}

// What a thread of an asynchronous command works on.
struct AsyncCommand {
    std::string node; // with its files
    char cmd[TB_REMOTE_CMD_SIZE];
    TraceContext trace;
};

uint32_t async_thread(void *passed, TB_HANDLE)
{
    const std::unique_ptr<AsyncCommand> command(static_cast<AsyncCommand *>(passed));
    return static_cast<uint32_t>(REMOTE_CMD(command->node.c_str(), command->cmd, 1, command->trace));
}

bool start_async(const char *node, const char *cmd, RemoteMessage *reason, TraceScope &scope)
{
    if (!fits(node, cmd, reason))
        return false;
    std::unique_ptr<AsyncCommand> command(new (std::nothrow) AsyncCommand{node, "", scope.context()});
    TB_HANDLE thread = nullptr;
    if (command)
        copy_text(command->cmd, sizeof command->cmd, cmd);
    if (!command || !pl_thread_start(async_thread, command.get(), &thread)) {
        const int32_t number = pl_last_error().number;
        char text[256] = "";
        pl_error_text(number, text, sizeof text);
        if (command)
            reason->format("the thread could not be started: (%d) %s", number, text);
        else
            reason->assign("malloc failed");
        return refuse(node, *reason);
    }
    command.release(); // the thread's now
    scope.note("HANDLE => ThreadId: %d => %d", static_cast<int>(reinterpret_cast<uintptr_t>(thread)),
               static_cast<int>(pl_thread_id(thread)));
    pl_close(thread);
    return true;
}

int32_t run_async(const char *node, const char *cmd, RemoteMessage *reason, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ ASYNC_REMOTE_CMD %s %s", node, cmd);
    const int32_t result = start_async(node, cmd, reason, scope) ? 1 : 0;
    return scope.leave(result, "--- ASYNC_REMOTE_CMD returns %d", result);
}

} // namespace

bool is_own_host(std::string_view node)
{
    char own[256] = "";
    return pl_host_name(own, sizeof own) && equal_ignoring_case(node, own);
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
    RemoteMessage reason;
    int32_t result = 0;
    if (fits(node, cmd, &reason) && parse_node(node, &target, &reason, scope))
        result = run(target, cmd, sync > 1 ? sync : 0, status, &reason, scope);
    if (result == 0)
        copy_text(cmd, TB_REMOTE_CMD_SIZE, reason.view());
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
    RemoteMessage reason;
    const int32_t result = run_async(text_or_empty(node), text_or_empty(cmd), &reason, scope.context());
    if (result == 0)
        copy_text(cmd, TB_REMOTE_CMD_SIZE, reason.view());
    return scope.leave(result, "--- HAL REMOTE_CMD asynchron returns %d, msg: %s", result,
                       text_or_empty(cmd));
}

int32_t ASYNC_REMOTE_CMD(const char *node, const char *cmd, TraceContext trace)
{
    RemoteMessage reason;
    return run_async(text_or_empty(node), text_or_empty(cmd), &reason, trace);
}
