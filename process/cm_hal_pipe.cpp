// Programs with pipes: reading their output, watching them, closing.
#include <tamba/pipes.h>

#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/child_pipe.h>
#include <platform/clock.h>
#include <platform/error.h>
#include <platform/message_text.h>
#include <platform/process.h>
#include <process/pipe_line.h>
#include <process/pipe_timing.h>
#include <process/pipe_watch.h>

namespace {

constexpr int32_t kStillActive = 259;
constexpr int32_t kUnknown = -1; // the program has ended, and its code is not to be had

// What the program's end tells; a program that runs on is not waited for.
int32_t exit_code(const PIPE &pipe)
{
    int32_t code = kStillActive;
    pl_child_wait_exit(pipe.process, pipe.output, pipe_timing.exit_ms);
    if (!pl_process_exit_code(pipe.process, &code)) {
        const bool runs = pl_wait(pipe.process, 0) == PlWait::timed_out;
        if (!runs && !pl_process_exit_code(pipe.process, &code)) // it may have ended just now
            code = kUnknown;
    }
    own_trace("Got exit code from Subprocess: %d", code);
    if (code != kStillActive)
        return code;
    own_trace("Got exit code ERROR_NO_MORE_ITEMS set it to ERROR_SUCCESS");
    return 0;
}

void close_handle(TB_HANDLE *handle)
{
    if (*handle)
        pl_close(*handle);
    *handle = nullptr;
}

} // namespace

int32_t read_pipe_line(TB_HANDLE handle, char *line, int32_t size, EmptyRead empty)
{
    for (int32_t length = 0; line && length < size;) {
        char byte = 0;
        size_t got = 0;
        const bool read = pl_read_byte(handle, &byte, &got);
        if (read && got == 0 && empty == EmptyRead::waits) {
            pl_sleep_ms(1);
            continue;
        }
        if (!read || got == 0 || byte == '\n') {
            line[length] = '\0';
            return read && got > 0 ? 1 : 0;
        }
        line[length++] = byte == '\r' ? '\0' : byte;
        if (length == size)
            return 1; // full, and not terminated: callers count on every byte of their buffer
    }
    return 0;
}

int32_t iPIPE_READ(PIPE *pipe, char *line, int32_t size)
{
    return pipe ? read_pipe_line(pipe->output, line, size, EmptyRead::waits) : 0;
}

int32_t iReadLine(TB_HANDLE handle, char *line, int32_t size)
{
    return read_pipe_line(handle, line, size, EmptyRead::ends);
}

int32_t iPIPE_CLOSE(PIPE *pipe)
{
    if (!pipe)
        return 0;
    OwnTraceScope scope("+++ iPIPE_CLOSE pid: %u", pipe->pid);
    int32_t code = exit_code(*pipe);
    close_handle(&pipe->thread);
    close_handle(&pipe->process);
    close_handle(&pipe->output);
    if (pipe->control)
        code = end_watch(pipe->control, code);
    pipe->control = nullptr;
    own_trace("iPIPE_CLOSE: return exit code %d", code);
    return scope.leave(code, "--- iPIPE_CLOSE");
}

int32_t iGetErrorMsg(char *msg, int32_t msg_size, const char *prefix)
{
    const int32_t number = pl_system_error(); // before anything else can change it
    const size_t size = static_cast<size_t>(msg_size > 0 ? msg_size : 0);
    char text[1024] = "";
    const bool known =
        pl_system_message(static_cast<uint32_t>(number), text, sizeof text) == PlMessage::found;
    size_t length = known ? std::strlen(text) : 0;
    for (const char end : {'\n', '\r'}) // one line end
        if (length > 0 && text[length - 1] == end)
            text[--length] = '\0';
    if (length > 0)
        format_text(msg, size, "%s(%d) %s", text_or_empty(prefix), number, text);
    else
        format_text(msg, size, "%s(%d) ERROR: Couldn't get message for error code. Got error code %d",
                    text_or_empty(prefix), number, pl_last_error().number);
    own_trace("iGetErrorMsg: got error msg: %s", size > 0 ? text_or_empty(msg) : "");
    return static_cast<int32_t>(length);
}
