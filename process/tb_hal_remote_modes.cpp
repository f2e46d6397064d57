// Remote commands: the three ways.
#include <process/remote_cmd.h>

#include <foundation/glbv.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <process/tb_ctrl.h>
#include <tamba/control.h>
#include <tamba/files.h>
#include <tamba/process.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr int32_t kLastProgramStatus = 200; // above it the daemon was not reached or did not permit

FixedText<16> daemon_port()
{
    FixedText<16> port;
    char reason[256];
    if (!i_READ_INI("TB_INI", "[CTRLD_Server]", "CTRLD_Port", port.data(),
                    static_cast<int32_t>(port.capacity()), reason, sizeof reason) ||
        port.empty())
        port.assign("11301");
    return port;
}

// Only the options that the control client knows; everything else, the word NULL included, is none.
const char *daemon_options(const RemoteClient &client)
{
    const std::string_view options = client.options.view();
    return options.substr(0, 2) == "-s" || options.substr(0, 2) == "-o" ? client.options.c_str() : "";
}

const char *daemon_user(const RemoteClient &client)
{
    return client.platform.view() == "WNT" || client.platform.view() == "Windows" ? "system" : "root";
}

// The failure's text, from where the command's errors went.  What went to the caller's own output is in no file.
void explain(const RemoteCall &call, const NewText &answer, const char *word)
{
    const char *const file = call.target.errors.c_str();
    if (call.target.writes_file() && answer.find(word, false, call.msg)) {
        trace_at(call.trace, kTraceMain, "error-text from returnfile: %s", call.msg->c_str());
        return;
    }
    trace_at(call.trace, kTraceMain, "couldn't find error-text in returnfile: %s", file);
    if (*ctrl_first_error())
        call.msg->assign(ctrl_first_error());
    else
        call.msg->format("couldn't find error-text in returnfile: %s", file);
}

int32_t call_daemon(const RemoteCall &call, const char *port, const char *options)
{
    const RemoteTarget &target = call.target;
    const char *const user = daemon_user(call.client);
    report_command(call, format_string("CTRLC_LIB_CALL: -t %d -l %s %s %s %s", call.timeout, user, options,
                                       target.node.c_str(), call.cmd)
                             .c_str());
    const std::string spec = std::string(port) + ":" + options;
    const char *const output = target.writes_file() ? target.output.c_str() : "";
    const char *const errors = target.writes_file() ? target.errors.c_str() : "";
    const int32_t status = ctrlc_lib_call(spec.c_str(), target.node.c_str(), user, call.cmd,
                                          target.input.c_str(), output, errors, call.timeout);
    trace_at(call.trace, kTraceMain, "status from ctrlc_lib_call=%d", status);
    return status;
}

int32_t judge_daemon(const RemoteCall &call, const NewText &answer, int32_t status)
{
    if (status <= 0)
        return 1;
    if (status <= kLastProgramStatus) {
        trace_at(call.trace, kTraceMain, "problem during called program");
        explain(call, answer, "STATUS=");
        return 0;
    }
    trace_at(call.trace, kTraceMain,
             "problem with access to remote client ( tb_ctrld_main not running or no permit )");
    if (*ctrl_first_error()) // as it stands in the file, which may not be writable
        call.msg->format("ERROR: %s", ctrl_first_error());
    else
        explain(call, answer, "ERROR:");
    prot_message<Msg::kRemoteFailed>(call.target.node.c_str(), call.msg->c_str());
    return 0;
}

// The control client as a program of its own, for sites that still have it.
int32_t run_external_client(const RemoteCall &call, const char *port, const char *options)
{
    const RemoteTarget &target = call.target;
    std::string redirection;
    if (!redirection_of(target, &redirection)) {
        call.msg->assign("CREATE_REDIRECTION failed");
        return 0;
    }
    const char *const user = daemon_user(call.client);
    const std::string command =
        call.timeout > 0 ? format_string("tb_ctrlc -t %d -l %s -p %s %s %s %s %s", call.timeout, user, port,
                                         options, target.node.c_str(), call.cmd, redirection.c_str())
                         : format_string("tb_ctrlc -l %s -p %s %s %s %s %s", user, port, options,
                                         target.node.c_str(), call.cmd, redirection.c_str());
    trace_at(call.trace, kTraceMain, "Cmd=%s", command.c_str());
    report_command(call, command.c_str());
    const NewText answer(target.errors);
    if (i_cm_system(command.c_str()) == 0)
        return 1;
    if (!target.writes_file() || !answer.find("CTRLD reply:", false, call.msg))
        call.msg->format("couldn't find error-text in returnfile: %s", target.errors.c_str());
    if (target.writes_file())
        pl_remove(target.errors.c_str());
    return 0;
}

// Appends nothing: the whole file, byte by byte, takes the place of the other.
bool copy_file(const char *from, const char *to)
{
    FILE *const source = pl_fopen(from, "rb");
    if (!source)
        return false;
    FILE *const target = pl_fopen(to, "wb");
    char block[4096];
    bool good = target != nullptr;
    for (size_t got; good && (got = std::fread(block, 1, sizeof block, source)) > 0;)
        good = std::fwrite(block, 1, got, target) == got;
    good = good && std::ferror(source) == 0;
    pl_fclose(source);
    return (!target || pl_fclose(target) == 0) && good;
}

std::string jrsh_command(const RemoteCall &call, const char *program, const char *port)
{
    const char *const node = call.target.node.c_str();
    if (!call.target.writes_file())
        return format_string(call.background ? "%s -p %s -a %s TAMBA \"%s\"" : "%s -p %s %s TAMBA \"%s\"",
                             program, port, node, call.cmd);
    return format_string(call.background ? "%s -p %s -a %s TAMBA \"%s\" > %s"
                                         : "%s -p %s %s TAMBA \"%s\" > %s",
                         program, port, node, call.cmd, call.target.errors.c_str());
}

} // namespace

void report_command(const RemoteCall &call, const char *command)
{
    if (traces(call.trace, kTraceMain))
        prot_message<Msg::kRemoteCommand>(command);
}

bool NewText::find(const char *text, bool anew, RemoteMessage *line) const
{
    PlFileStamp now;
    if (!pl_file_stamp(file_.c_str(), &now) || now == before_)
        return false;
    anew = anew || now.size < before_.size || now.volume != before_.volume || now.file != before_.file;
    FILE *const stream = pl_fopen(file_.c_str(), "rb");
    if (!stream)
        return false;
    char found[512];
    const bool is_there =
        (anew || pl_seek(stream, before_.size)) && i_SEEK_STRING(stream, found, text, "", ' ') == 1;
    pl_fclose(stream);
    if (is_there)
        line->assign(std::string_view(found, std::strcspn(found, "\r\n")));
    return is_there;
}

int32_t remote_by_daemon(const RemoteCall &call, int32_t *status)
{
    const FixedText<16> port = daemon_port();
    const char *const options = daemon_options(call.client);
    trace_at(call.trace, kTraceMain, "CtrldPort=%s    PortOpt=%s", port.c_str(), options);
    GlobalValue old;
    if (read_global("gv_ctrlc_old", &old))
        return run_external_client(call, port.c_str(), options);
    const NewText answer(call.target.errors);
    *status = call_daemon(call, port.c_str(), options);
    return judge_daemon(call, answer, *status);
}

// Its output goes to the error file, which is written anew, and is copied to the output file last; it is looked at where
// jrsh has left it, so that a refusal is noticed with two files, too.  A command whose output is the caller's own has no
// file.
int32_t remote_by_jrsh(const RemoteCall &call)
{
    const RemoteTarget &target = call.target;
    const bool to_file = target.writes_file();
    const std::string variable = "gv_port_jrshd_" + target.node;
    const std::string port = global_or(variable.c_str(), global_or("gv_port_jrshd", "11101").c_str());
    const std::string program = global_or("gv_jrsh_cons", "jrsh");
    const std::string command = jrsh_command(call, program.c_str(), port.c_str());
    const NewText answer(target.errors);
    const int32_t status = i_cm_system(command.c_str());
    trace_at(call.trace, kTraceMain, "executed the cmd => status=%d", status);
    RemoteMessage line;
    const bool refused =
        to_file && (answer.find("not allowed", true, &line) || answer.find("Excep", true, &line));
    const bool copied =
        !to_file || target.errors == target.output || copy_file(target.errors.c_str(), target.output.c_str());
    if (refused)
        call.msg->format("Error: RemoteCmd %s: %s Port %s", target.node.c_str(), line.c_str(), port.c_str());
    else if (status != 0)
        call.msg->format("jrsh ended with exit code %d", status);
    else if (!copied)
        call.msg->format("the output could not be written to %s", target.output.c_str());
    return status == 0 && !refused && copied ? 1 : 0;
}

int32_t remote_by_rsh(const RemoteCall &call)
{
    const char *const node = call.target.node.c_str();
    const char *const user = call.client.platform.view() == "VMS" ? "korvelnetbck" : "root";
    std::string redirection;
    if (!redirection_of(call.target, &redirection)) {
        call.msg->assign("CREATE_REDIRECTION failed");
        return 0;
    }
    const std::string command =
        call.background ? format_string("rsh %s -l %s \"nohup %s %s &\" %s", node, user, call.cmd,
                                        redirection.c_str(), redirection.c_str())
                        : format_string("rsh %s -l %s \"%s\" %s", node, user, call.cmd, redirection.c_str());
    const int32_t status = i_cm_system(command.c_str());
    trace_at(call.trace, kTraceMain, "executed the cmd => status=%d", status);
    if (status != 0)
        call.msg->format("rsh ended with exit code %d", status);
    return status == 0 ? 1 : 0;
}
