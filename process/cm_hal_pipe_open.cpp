// Starting programs with pipes.
#include <tamba/pipes.h>

#include <foundation/alloc.h>
#include <foundation/trace_scope.h>
#include <platform/child_pipe.h>
#include <process/pipe_timing.h>
#include <process/pipe_watch.h>
#include <process/program_path.h>

#include <algorithm>
#include <string>

namespace {

constexpr size_t kProgramLength = 259; // what a path lookup takes
constexpr size_t kLeastBuffer = 128;
constexpr std::string_view kJoinError = "2>&1";

// The command's program and what follows it.
struct Command {
    std::string_view program, rest;
};

bool split(std::string_view cmd, Command *command)
{
    const bool quoted = cmd.starts_with('"');
    const size_t end = cmd.find(quoted ? '"' : ' ', quoted ? 1 : 0);
    if (quoted && end == cmd.npos)
        return false;
    const size_t begin = quoted ? 1 : 0, after = std::min(end, cmd.size());
    command->program = cmd.substr(begin, after - begin);
    command->rest = cmd.substr(quoted ? after + 1 : after);
    return true;
}

// Takes the redirections off the end of the command line.  One of them is understood, the last: behind "<nul" a
// "2>&1" hides it, and commands are written for that.
PlChildStreams take_redirections(std::string *line)
{
    FixedText<8> no_input;
    no_input.format("<%s", "nul");
    const auto cut = [line](std::string_view end) {
        if (!line->ends_with(end))
            return false;
        line->resize(line->size() - end.size());
        return true;
    };
    PlChildStreams streams;
    streams.null_input = line->ends_with(no_input.view());
    streams.join_error = cut(kJoinError);
    if (streams.join_error)
        own_trace("iPIPE_OPEN: got '2>&1'");
    if (streams.null_input)
        cut(no_input.view());
    return streams;
}

int32_t fail(PIPE *pipe, char *msg, int32_t msg_size, const char *prefix)
{
    iGetErrorMsg(msg, msg_size, prefix);
    *pipe = {};
    return 0;
}

int32_t refuse(char *msg, int32_t msg_size, const char *format, const char *text)
{
    format_text(msg, static_cast<size_t>(std::max(msg_size, 0)), format, text);
    return 0;
}

int32_t start_failure(PlChildStart outcome, const char *program, PIPE *pipe, char *msg, int32_t msg_size)
{
    switch (outcome) {
    case PlChildStart::no_input_pipe:
        return fail(pipe, msg, msg_size, "CreatePipe for child's stdin failed: ");
    case PlChildStart::no_input_handle:
        return fail(pipe, msg, msg_size, "DuplicateHandle for child's stdin failed: ");
    case PlChildStart::no_output_pipe:
        return fail(pipe, msg, msg_size, "CreatePipe for child's stdout failed: ");
    case PlChildStart::no_output_handle:
        return fail(pipe, msg, msg_size, "DuplicateHandle for child's stdout failed: ");
    default:
        return fail(pipe, msg, msg_size, program);
    }
}

// The child runs on, but nobody would close what is open here.
int32_t without_watch(PlChild *child, PIPE *pipe, char *msg, int32_t msg_size)
{
    const int32_t result = fail(pipe, msg, msg_size, "CreateThread for stderr output failed: ");
    for (const TB_HANDLE handle : {child->process, child->thread, child->output, child->input})
        if (handle)
            pl_close(handle);
    return result;
}

int32_t start(const std::string &path, std::string_view rest, std::string_view mode, char *msg,
              int32_t msg_size, PIPE *pipe)
{
    // A name without any dot, directories included, is that of a program without its ending.
    const std::string exe = exe_file_name(path);
    const bool blanks = path.find_first_of(" \t") != path.npos;
    std::string line = blanks ? "\"" + path + "\"" : path;
    line += rest;
    PlChildStreams streams = take_redirections(&line);
    streams.pipe_input = mode.find('w') != std::string_view::npos;
    streams.pipe_output = mode.find('r') != std::string_view::npos;
    own_trace("iPIPE_OPEN: CreateProcess exe: [%s]", exe.c_str());
    own_trace("iPIPE_OPEN:               cmd: [%s]", line.c_str());
    PlChild child;
    const PlChildStart outcome = pl_child_start(exe.c_str(), line.c_str(), streams, &child);
    if (outcome != PlChildStart::done)
        return start_failure(outcome, exe.c_str(), pipe, msg, msg_size);
    pl_child_wait_ready(child.process, pipe_timing.ready_ms);
    own_trace("iPIPE_OPEN: CreateThread vControlSubprocess");
    const TB_HANDLE watch = begin_watch(child.thread);
    if (!watch)
        return without_watch(&child, pipe, msg, msg_size);
    *pipe = {child.process, child.thread, child.pid, child.tid, watch, child.output, child.input};
    return 1;
}

int32_t open(const char *cmd, const char *mode, char *msg, int32_t msg_size, PIPE *pipe)
{
    if (std::string_view(mode).find_first_of("rw") == std::string_view::npos)
        return refuse(msg, msg_size, "Mode \"%s\" is not allowed! Use \"r\" or \"w\".", mode);
    const size_t size = std::max(std::string_view(cmd).size() + 1, kLeastBuffer);
    const AllocatedText program = allocate_text(size);
    if (!program) {
        pl_fail_as(PL_NO_MEMORY);
        return fail(pipe, msg, msg_size, "malloc failed: ");
    }
    Command command;
    if (!split(cmd, &command))
        return refuse(msg, msg_size, "Error: Closing \" missing in [%s]", cmd);
    // A shortened name could be that of another program.
    if (command.program.size() > kProgramLength)
        return refuse(msg, msg_size, "Error: Program name is longer than 259 characters: [%s]", cmd);
    copy_text(program.get(), size, command.program);
    std::string path; // an absolute program starts without a program directory, too
    if (!pl_full_path(program_directory().c_str(), program.get(), &path))
        return fail(pipe, msg, msg_size, "GetFullPathName() failed: ");
    return start(path, command.rest, mode, msg, msg_size, pipe);
}

} // namespace

int32_t iPIPE_OPEN(const char *cmd, const char *mode, char *msg, int32_t msg_size, PIPE *pipe)
{
    cmd = text_or_empty(cmd);
    OwnTraceScope scope("+++ iPIPE_OPEN [%s]", cmd);
    copy_text(msg, static_cast<size_t>(std::max(msg_size, 0)), "");
    int32_t result = 0;
    if (pipe) {
        *pipe = {};
        result = open(cmd, text_or_empty(mode), msg, msg_size, pipe);
    }
    return scope.leave(result, "--- iPIPE_OPEN returns %d", result);
}
