// Starting, watching and stopping programs.
#include <tamba/process.h>

#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <platform/child_pipe.h>
#include <platform/files.h>
#include <platform/process.h>
#include <platform/thread.h>
#include <process/pipe_line.h>
#include <process/program_path.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string>

namespace {

constexpr int32_t kNotWaitedFor = -1;
constexpr int32_t kNotStarted = -2;
constexpr int32_t kNoProgram = -3;
constexpr int32_t kNoShell = -1;

// Starts the process and waits for its end.
int32_t run_process(const std::string &command)
{
    TB_HANDLE process = nullptr;
    uint32_t pid = 0;
    if (!pl_process_start(command.c_str(), &process, &pid)) {
        own_trace("Failed to CreateProcess %s", command.c_str());
        return kNotStarted;
    }
    own_trace("%d is running", static_cast<int>(pid));
    const PlWait outcome = pl_wait(process, kPlForever);
    int32_t code = kNotWaitedFor;
    const bool ended = outcome == PlWait::ended || outcome == PlWait::timed_out;
    if (ended && !pl_process_exit_code(process, &code))
        own_trace("the exit code of %d cannot be read", static_cast<int>(pid));
    pl_close(process);
    if (outcome == PlWait::ended) // this wording for the normal end is what readers of the traces know
        own_trace("Subprocess %d has got a signal", static_cast<int>(pid));
    else if (outcome == PlWait::timed_out)
        own_trace("Subprocess %d ended with exit code %d", static_cast<int>(pid), code);
    else
        own_trace("EXTSIG_THREAD ERROR: returns -1");
    if (ended)
        own_trace("start_proc returns %d", code);
    return code;
}

// A command whose program was found: without a "." in its name it is a program of the system, as a process or as a
// script; any other name is the operating system's business.
struct ProgramCommand {
    enum { none, process, script } kind;
    std::string line;
};

ProgramCommand find_program(std::string_view text)
{
    const std::string command(text.substr(std::min(text.find_first_not_of(' '), text.size())));
    const size_t blank = std::min(command.find(' '), command.size());
    const std::string word = command.substr(0, blank), directory = program_directory();
    if (word.find('.') != std::string::npos)
        return {ProgramCommand::process, command};
    if (word.empty() || directory.empty())
        return {ProgramCommand::none, {}};
    const std::string path = directory + word;
    const std::string rest = " " + command.substr(blank); // two blanks stand before the arguments
    const std::string quote = directory.find(' ') == std::string::npos ? "" : "\"";
    if (pl_file_exists((path + ".exe").c_str()))
        return {ProgramCommand::process, quote + path + ".exe" + quote + rest};
    // The command interpreter drops the outer quotes of a command that begins with a quote: it gets a pair
    // for that.
    if (pl_file_exists((path + ".cmd").c_str()))
        return {ProgramCommand::script, quote + quote + path + ".cmd" + quote + rest + quote};
    return {ProgramCommand::none, {}};
}

// Through the command interpreter; why it could not run is traced.
int32_t run_shell(const char *command)
{
    pl_set_error({PL_OK, 0}); // a command may end with the same code
    const int32_t code = pl_shell(text_or_empty(command));
    const int32_t number = pl_last_error().number;
    FixedText<256> reason;
    if (code == kNoShell && number != 0 && pl_error_text(number, reason.data(), reason.capacity()) > 0)
        own_trace("the command interpreter did not run it: (%d) %s", number, reason.c_str());
    return code;
}

// A process reference is a number with an optional sign; any other text is none, and neither is one that
// would have to be cut to fit.
bool parse_reference(const char *text, int32_t *reference)
{
    const char *at = text;
    while (*at == ' ')
        ++at;
    const bool negative = *at == '-';
    at += *at == '-' || *at == '+';
    if (!is_digit(*at))
        return false;
    int64_t number = 0;
    for (; is_digit(*at); ++at) {
        number = 10 * number + (*at - '0');
        if (number > std::numeric_limits<int32_t>::max())
            return false;
    }
    *reference = static_cast<int32_t>(negative ? -number : number);
    return *at == '\0';
}

TB_HANDLE thread_of(int32_t reference)
{
    return reinterpret_cast<TB_HANDLE>(static_cast<uintptr_t>(-static_cast<int64_t>(reference)));
}

void trace_exit_code(TB_HANDLE handle, bool is_thread, TraceContext &trace)
{
    int32_t code = 0;
    uint32_t thread_code = 0;
    const bool known =
        is_thread ? pl_thread_exit_code(handle, &thread_code) : pl_process_exit_code(handle, &code);
    if (known)
        trace_at(trace, kTraceDetail, "child returned exit code %d",
                 is_thread ? static_cast<int>(thread_code) : code);
    else
        trace_at(trace, kTraceDetail, "Could not get exit code");
}

int32_t still_running(TB_HANDLE handle, bool is_thread, TraceContext &trace)
{
    const PlWait outcome = pl_wait(handle, 0);
    switch (outcome) {
    case PlWait::timed_out:
        trace_at(trace, kTraceDetail, "got WAIT_TIMEOUT: child is running");
        return 1;
    case PlWait::ended:
        trace_at(trace, kTraceDetail, "got WAIT_OBJECT_0: child process is signalled");
        trace_exit_code(handle, is_thread, trace);
        return 0;
    case PlWait::abandoned:
        trace_at(trace, kTraceMain, "WARNING: pid_exist: got not expected WAIT_ABANDONED");
        return 0;
    case PlWait::failed:
        trace_at(trace, kTraceMain, "WARNING: pid_exist: got not expected WAIT_FAILED");
        return 0;
    }
    trace_at(trace, kTraceMain, "WARNING: pid_exist: got unknown WaitForSingleObject() return: %ld",
             static_cast<long>(outcome));
    return 0;
}

// Traces what a program writes until it ends; its exit code, -1 when nobody knows it.
int32_t follow_child(const PlChild &child, TraceScope &scope)
{
    char text[1024];
    for (bool more = true; more;) {
        std::memset(text, 0, sizeof text);
        more = read_pipe_line(child.output, text, sizeof text - 1, EmptyRead::waits) != 0;
        if (more || *text != '\0')
            scope.note("%s", text);
    }
    int32_t code = -1;
    if (pl_wait(child.process, kPlForever) != PlWait::ended || !pl_process_exit_code(child.process, &code))
        code = -1;
    for (const TB_HANDLE handle : {child.output, child.thread, child.process})
        pl_close(handle);
    return code;
}

} // namespace

int32_t start_system(const char *cmd)
{
    const int32_t result = i_setenv_tamba(text_or_empty(cmd));
    if (result != 1) {
        own_trace("start_system: error occured in i_setenv_tamba ( return code %d)", result);
        std::fprintf(stderr, "start_system: error occured in i_setenv_tamba ( return code %d)\n", result);
    }
    return run_shell(cmd);
}

int32_t i_cm_system(const char *cmd)
{
    return run_shell(cmd);
}

int32_t i_cm_exec(const char *cmd)
{
    return run_shell(cmd);
}

int32_t start_proc(const char *cmd)
{
    const ProgramCommand command = find_program(text_or_empty(cmd));
    switch (command.kind) {
    case ProgramCommand::process:
        return run_process(command.line);
    case ProgramCommand::script:
        return run_shell(command.line.c_str());
    default:
        return kNoProgram;
    }
}

int32_t iCREATE_ASYNC_SUBPROCESS(const char *cmd, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ CREATE_ASYNC_SUBPROCESS in %s  cmd=%s", kLibraryVersion,
                     text_or_empty(cmd));
    const ProgramCommand command = find_program(text_or_empty(cmd));
    uint32_t pid = 0;
    const bool started = command.kind != ProgramCommand::none &&
                         pl_process_start_background(command.kind == ProgramCommand::script
                                                         ? pl_script_command(command.line.c_str()).c_str()
                                                         : command.line.c_str(),
                                                     &pid);
    if (started)
        scope.note("%d is running", static_cast<int>(pid));
    else
        scope.note("Failed to CreateProcess %s", text_or_empty(cmd));
    return scope.leave(started ? 1 : 0, "--- CREATE_ASYNC_SUBPROCESS returns %d", started ? 1 : 0);
}

int32_t i_EXECUTE_USER_COMMAND(const char *cmd, TraceContext trace)
{
    const std::string command = text_or_empty(cmd);
    TraceScope scope(trace, kTraceMain, "+++ EXECUTE_USER_COMMAND  %s", command.c_str());
    i_setenv_tamba(command.c_str());
    PlChildStreams streams;
    streams.null_input = streams.pipe_output = streams.join_error = true;
    const std::string line = pl_script_command(command.c_str());
    PlChild child{};
    if (line.empty() || pl_child_start(nullptr, line.c_str(), streams, &child) != PlChildStart::done) {
        FixedText<256> reason;
        pl_error_text(pl_last_error().number, reason.data(), reason.capacity());
        return scope.leave(-1, "--- EXECUTE_USER_COMMAND could not be started: %s", reason.c_str());
    }
    const int32_t code = follow_child(child, scope);
    return scope.leave(code, "--- EXECUTE_USER_COMMAND returns %d", code);
}

int32_t start_exe(const char *cmd, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ HAL START_EXE in %s  exe=%s", kLibraryVersion,
                     text_or_empty(cmd));
    const int32_t status = start_proc(cmd);
    return scope.leave(status, "--- HAL START_EXE status=%d", status);
}

int32_t pid_exist(int32_t ref, TraceContext trace)
{
    if (ref < 0) {
        const TB_HANDLE thread = thread_of(ref);
        trace_at(trace, kTraceDetail, "got Thread HANDLE %ld (pid : %ld)",
                 static_cast<long>(reinterpret_cast<intptr_t>(thread)), static_cast<long>(ref));
        return still_running(thread, true, trace);
    }
    const TB_HANDLE process = pl_process_open(static_cast<uint32_t>(ref));
    if (!process)
        return 0;
    const int32_t running = still_running(process, false, trace);
    pl_close(process);
    return running;
}

int32_t i_KILL_PROCESS(const char *ref_text)
{
    int32_t reference = 0;
    if (!parse_reference(text_or_empty(ref_text), &reference))
        return 1; // a shell command made of anything else could do anything
    if (reference > 0) {
        FixedText<21> command;
        command.format("tb_kill %s", std::to_string(reference).c_str());
        pl_shell(command.c_str());
    } else if (reference < 0) {
        pl_thread_end(thread_of(reference), 0);
    }
    return 1;
}
