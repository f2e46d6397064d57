// The message channel: a long-running program receives short texts from others, one sender at a time.
#include <tamba/pipes.h>

#include <foundation/trace_scope.h>
#include <platform/channel.h>
#include <platform/pipe.h>
#include <process/pipe_name.h>
#include <process/pipe_timing.h>

#include <algorithm>
#include <cstring>

namespace {

static_assert(sizeof(IPC::buffer) == kPlMessageSize, "the system's message fits the record");

enum State : int32_t { kConnecting, kReading };
enum Outcome : int32_t { kTooLong = -1, kError, kNothingYet, kMessage, kTimeout }; // kTooLong shows as kError

// Begins to wait for the next sender.  TRUE: that goes on; FALSE: reading can start.
bool bCONNECT_NEW_CLIENT(IPC *ipc)
{
    OwnTraceScope scope("+++ bCONNECT_NEW_CLIENT");
    const int32_t outcome = pl_channel_connect(ipc->pipe);
    const bool pending = outcome == PL_IO_PENDING;
    if (!pending && outcome != PL_PIPE_CONNECTED) {
        own_trace("ConnectNamedPipe failed with error %d", pl_last_error().number);
        own_trace("bCONNECT_NEW_CLIENT fatal error");
    }
    if (!pending)
        pl_channel_signal(
            ipc->pipe); // also after an error: the next read fails, reconnects and heals the channel
    scope.leave(0, "--- bCONNECT_NEW_CLIENT returns %s", pending ? "TRUE" : "FALSE");
    return pending;
}

void connect(IPC *ipc)
{
    const bool pending = bCONNECT_NEW_CLIENT(ipc);
    ipc->pending = pending ? 1 : 0;
    ipc->state = pending ? kConnecting : kReading;
}

void reconnect(IPC *ipc)
{
    if (!pl_channel_disconnect(ipc->pipe))
        own_trace("error DisconnectNamedPipe");
    connect(ipc);
}

// Where a message goes.
struct Receiver {
    char *out;
    int32_t size;
    int32_t *length;
};

// Hands the message in the buffer to the caller.  One that is too long is dropped; the channel goes on.
Outcome deliver(IPC *ipc, size_t bytes, const Receiver &receiver)
{
    const std::string_view bytes_in(ipc->buffer, bytes);
    const std::string_view text = bytes_in.substr(0, bytes_in.find('\0'));
    Outcome outcome = kMessage;
    if (static_cast<int32_t>(text.size()) < receiver.size) {
        copy_text(receiver.out, static_cast<size_t>(receiver.size), text);
        *receiver.length = static_cast<int32_t>(bytes);
    } else {
        outcome = kTooLong;
    }
    std::memset(ipc->buffer, 0, sizeof ipc->buffer);
    return outcome;
}

// After the end of a read: a message, a sender that has gone, or a failure that a new connection heals.
Outcome after_read(IPC *ipc, int32_t result, size_t bytes, const Receiver &receiver)
{
    if (result == PL_OK)
        return deliver(ipc, bytes, receiver);
    if (result == PL_IO_PENDING) {
        ipc->pending = 1;
        return kNothingYet;
    }
    std::memset(ipc->buffer, 0, sizeof ipc->buffer);
    reconnect(ipc);
    return result == PL_BROKEN_PIPE ? kMessage
                                    : kNothingYet; // programs see an empty message when a sender leaves
}

// Collects what was pending.  True when the call ends with outcome.
bool collect(IPC *ipc, const Receiver &receiver, Outcome *outcome)
{
    size_t bytes = 0;
    const int32_t result = pl_channel_result(ipc->pipe, ipc->buffer, &bytes);
    own_trace("GetOverlappedResult returned fSuccess %d, iBytes %d, error %d", result == PL_OK ? 1 : 0,
              static_cast<int>(bytes), result == PL_OK ? 0 : pl_last_error().number);
    if (result == PL_IO_PENDING) {
        *outcome = kNothingYet;
        return true;
    }
    ipc->pending = 0; // collected once
    if (ipc->state == kReading) {
        *outcome = after_read(ipc, result, bytes, receiver);
        return true;
    }
    if (result != PL_OK) {
        pl_channel_signal(ipc->pipe); // the next call reads, fails and connects anew
        ipc->state = kReading;
        *outcome = kError;
        return true;
    }
    ipc->state = kReading;
    return false;
}

Outcome receive(IPC *ipc, const Receiver &receiver)
{
    const PlWait waited = pl_channel_wait(ipc->pipe, pipe_timing.receive_ms);
    if (waited != PlWait::ended)
        return waited == PlWait::timed_out ? kTimeout : kError;
    Outcome outcome = kError;
    if (ipc->pending && collect(ipc, receiver, &outcome))
        return outcome;
    size_t bytes = 0;
    const int32_t result = pl_channel_read(ipc->pipe, ipc->buffer, &bytes);
    return after_read(ipc, result, bytes, receiver);
}

int32_t open_receiver(const char *name, IPC *ipc, OwnTraceScope &scope)
{
    const PlChannel outcome = pl_channel_create(full_pipe_name(name).c_str(), &ipc->pipe);
    if (outcome == PlChannel::no_event)
        return scope.leave(0, "--- iIPC_OPEN  name:%s mode:%c  error at CreateEvent", name, 'r');
    if (outcome == PlChannel::not_created)
        return scope.leave(0, "--- iIPC_OPEN  name:%s mode:%c  error at CreatePipe", name, 'r');
    // The event is part of the channel and goes with it.
    ipc->event = ipc->overlapped.event = ipc->pipe;
    connect(ipc);
    return scope.leave(1, "--- iIPC_OPEN  name:%s mode:%c  returns %d", name, 'r', 1);
}

int32_t open_sender(const char *name, IPC *ipc, OwnTraceScope &scope)
{
    switch (pl_channel_open(full_pipe_name(name).c_str(), pipe_timing.sender_ms, &ipc->pipe)) {
    case PlChannelOpen::wait_failed:
        return scope.leave(0, "--- iIPC_OPEN  name:%s mode:%c  error could not CreateFile after 20 seconds",
                           name, 'w');
    case PlChannelOpen::failed:
        return scope.leave(0, "--- iIPC_OPEN  name:%s mode:%c  error at CreateFile (%d)", name, 'w',
                           pl_last_error().number);
    case PlChannelOpen::done:
        break;
    }
    return scope.leave(1, "--- iIPC_OPEN  name:%s mode:%c  returns %d", name, 'w', 1);
}

} // namespace

int32_t iIPC_OPEN(const char *name, IPC *ipc, char mode)
{
    name = text_or_empty(name);
    const char shown = mode ? mode : ' ';
    OwnTraceScope scope("+++ iIPC_OPEN  name:%s mode:%c", name, shown);
    if (!ipc)
        return scope.leave(0, "--- iIPC_OPEN  name:%s mode:%c  returns %d", name, shown, 0);
    *ipc = {};
    copy_text(ipc->name, sizeof ipc->name, name);
    if (mode == 'r')
        return open_receiver(name, ipc, scope);
    if (mode == 'w')
        return open_sender(name, ipc, scope);
    return scope.leave(0, "--- iIPC_OPEN  name:%s mode:%c  error invalid mode", name, shown);
}

int32_t iIPC_RECEIVE(IPC *ipc, char *out, int32_t size, int32_t *length)
{
    int32_t ignored = 0;
    const Receiver receiver = {out, out ? std::max(size, 0) : 0, length ? length : &ignored};
    OwnTraceScope scope("+++ iIPC_RECEIVE");
    copy_text(out, static_cast<size_t>(receiver.size), "");
    *receiver.length = 0;
    const int32_t outcome = ipc ? receive(ipc, receiver) : kError;
    if (outcome == kTooLong)
        return scope.leave(kError, "--- iIPC_RECEIVE error output too long for return-field");
    return scope.leave(outcome, "--- iIPC_RECEIVE returns %d", outcome);
}

int32_t iIPC_SEND(IPC *ipc, const char *text)
{
    text = text_or_empty(text);
    OwnTraceScope scope("+++ IPC_SEND");
    size_t put = 0;
    const bool sent = ipc && pl_write(ipc->pipe, text, std::strlen(text) + 1, &put);
    if (!sent)
        own_trace("WriteFile retry returned error %d", pl_last_error().number);
    return scope.leave(sent ? 1 : 0, "--- IPC_SEND returns %d  bytes written:%d", sent ? 1 : 0,
                       static_cast<int>(put));
}

int32_t iIPC_CLOSE(IPC *ipc)
{
    OwnTraceScope scope("+++ iIPC_CLOSE");
    if (ipc && ipc->pipe) {
        pl_close(ipc->pipe);
        ipc->pipe = nullptr;
        ipc->pending = 0;
    }
    return scope.leave(1, "--- iIPC_CLOSE returns %d", 1);
}
