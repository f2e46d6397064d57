// Named pipes between processes.
#include <tamba/pipes.h>

#include <foundation/trace_scope.h>
#include <platform/clock.h>
#include <platform/named_pipe.h>
#include <platform/pipe.h>
#include <process/pipe_name.h>
#include <process/pipe_timing.h>

#include <algorithm>
#include <cstring>

namespace {

size_t room(int32_t msg_size)
{
    return static_cast<size_t>(std::max(msg_size, 0));
}

const char *prefix_of(PlNamedPipe outcome)
{
    switch (outcome) {
    case PlNamedPipe::no_descriptor:
        return "iCreateAndOpenNamedPipe failed allocating SECURITY_DESCRIPTOR: ";
    case PlNamedPipe::descriptor_not_initialised:
        return "iCreateAndOpenNamedPipe failed initialising SECURITY_DESCRIPTOR: ";
    case PlNamedPipe::descriptor_not_set:
        return "iCreateAndOpenNamedPipe failed setting SECURITY_DESCRIPTOR: ";
    default:
        return "CreateNamedPipe failed: ";
    }
}

// Tries again while the pipe has its client.
bool open_when_free(const char *name, int32_t mode, TB_HANDLE *handle)
{
    for (uint32_t tries = 1; !pl_named_pipe_open(name, mode, handle); ++tries) {
        const PlError error = pl_last_error();
        if (error.kind != PL_PIPE_BUSY)
            return false;
        if (tries >= pipe_timing.busy_tries) {
            own_trace("iOpenNamedPipe: reached max retries %u", pipe_timing.busy_tries);
            pl_set_error(error);
            return false;
        }
        own_trace("iOpenNamedPipe: open pipe %s (%u/%u)", name, tries, pipe_timing.busy_tries);
        pl_sleep_ms(pipe_timing.busy_pause_ms);
    }
    return true;
}

// Reads as soon as there is a client.
bool read_from_client(TB_HANDLE handle, char *buffer, size_t size, size_t *got)
{
    while (!pl_read(handle, buffer, size, got)) {
        if (pl_last_error().kind != PL_PIPE_LISTENING || !pl_named_pipe_wait(handle))
            return false;
        own_trace("ReadNamedPipe: connected");
    }
    return true;
}

} // namespace

int32_t iCreateAndOpenNamedPipe(const char *name, int32_t mode, TB_HANDLE *handle, char *msg,
                                int32_t msg_size)
{
    TB_HANDLE ignored = nullptr;
    const PipeName full = full_pipe_name(name);
    OwnTraceScope scope("+++ iCreateAndOpenNamedPipe %s  mode=%d", full.c_str(), mode);
    const PlNamedPipe outcome = pl_named_pipe_create(full.c_str(), mode, handle ? handle : &ignored);
    if (outcome != PlNamedPipe::done) {
        iGetErrorMsg(msg, msg_size, prefix_of(outcome));
        return scope.leave(0, "--- iCreateAndOpenNamedPipe returns %d", 0);
    }
    format_text(msg, room(msg_size), "CreateAndOpenNamedPipe %s successful", full.c_str());
    return scope.leave(1, "--- iCreateAndOpenNamedPipe returns %d", 1);
}

int32_t iOpenNamedPipe(const char *name, int32_t mode, TB_HANDLE *handle, char *msg, int32_t msg_size)
{
    TB_HANDLE ignored = nullptr;
    const PipeName full = full_pipe_name(name);
    OwnTraceScope scope("+++ iOpenNamedPipe %s  mode=%d", full.c_str(), mode);
    if (!open_when_free(full.c_str(), mode, handle ? handle : &ignored)) {
        const PlError error = pl_last_error();
        FixedText<1100> prefix;
        prefix.format("CreateFile %s failed: ", full.c_str());
        pl_set_error(error);
        iGetErrorMsg(msg, msg_size, prefix.c_str());
        return scope.leave(0, "--- iOpenNamedPipe returns %d", 0);
    }
    format_text(msg, room(msg_size), "CreateFile %s successful", full.c_str());
    return scope.leave(1, "--- iOpenNamedPipe returns %d", 1);
}

int32_t iReadNamedPipe(TB_HANDLE handle, char *buffer, int32_t size, char *msg, int32_t msg_size)
{
    size_t got = 0;
    const size_t wanted = buffer ? room(size) : 0;
    OwnTraceScope scope("+++ iReadNamedPipe size=%d", size);
    if (wanted > 0)
        std::memset(buffer, 0, wanted);
    if (read_from_client(handle, buffer, wanted, &got)) {
        format_text(msg, room(msg_size), "ReadNamedPipe: %d bytes successfully read", static_cast<int>(got));
        return scope.leave(static_cast<int32_t>(got), "--- iReadNamedPipe returns %d", static_cast<int>(got));
    }
    if (pl_last_error().kind == PL_BROKEN_PIPE) {
        format_text(msg, room(msg_size), "ReadNamedPipe: successfully done");
        return scope.leave(0, "--- iReadNamedPipe returns %d", 0);
    }
    iGetErrorMsg(msg, msg_size, "ReadNamedPipe: ReadFile failed: ");
    return scope.leave(-1, "--- iReadNamedPipe returns %d", -1);
}

int32_t iWriteNamedPipe(TB_HANDLE handle, const char *buffer, int32_t length, char *msg, int32_t msg_size)
{
    const size_t wanted = !buffer ? 0 : length < 0 ? std::strlen(buffer) : static_cast<size_t>(length);
    OwnTraceScope scope("+++ iWriteNamedPipe length=%d", length);
    size_t put = 0;
    if (!pl_write(handle, buffer, wanted, &put)) {
        iGetErrorMsg(msg, msg_size, "WriteFile failed: ");
        return scope.leave(-1, "--- iWriteNamedPipe returns %d", -1);
    }
    format_text(msg, room(msg_size), "%d/%d bytes successfully written", static_cast<int>(put),
                static_cast<int>(wanted));
    return scope.leave(static_cast<int32_t>(put), "--- iWriteNamedPipe returns %d", static_cast<int>(put));
}

int32_t iCloseNamedPipe(TB_HANDLE handle)
{
    OwnTraceScope scope("+++ iCloseNamedPipe");
    const int32_t result = pl_close(handle) ? 1 : 0;
    own_trace("iCloseNamedPipe: return code %d", result);
    return scope.leave(result, "--- iCloseNamedPipe");
}
