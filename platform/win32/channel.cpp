#include <platform/channel.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>
#include <platform/win32/open_to_all.h>

#include <cstring>

namespace {

constexpr DWORD kTimeout = 3000;

// The receiving end.  The system works on the operation's record and buffer while it is pending, so both live here
// and not in memory of a caller.
struct Channel : HandleObject {
    Channel(OwnedHandle pipe, OwnedHandle the_event)
        : HandleObject(std::move(pipe), HandleKind::channel), event(std::move(the_event))
    {
        overlapped.hEvent = event.get();
    }
    ~Channel()
    {
        DWORD ignored = 0;
        if (pending) {
            // Of every thread.  It fails when the operation has just ended; its result is awaited in either case.
            CancelIoEx(system.get(), &overlapped);
            GetOverlappedResult(system.get(), &overlapped, &ignored, TRUE);
        }
        DisconnectNamedPipe(system.get());
    }

    const OwnedHandle event;
    OVERLAPPED overlapped = {};
    char buffer[kPlMessageSize];
    bool pending = false, reading = false;
};

std::shared_ptr<Channel> channel_of(TB_HANDLE handle)
{
    return std::static_pointer_cast<Channel>(handle_find(handle, HandleKind::channel));
}

int32_t failed(DWORD error)
{
    pl_fail(error);
    return pl_last_error().kind;
}

// Hands a message over.
int32_t deliver(const Channel &channel, DWORD count, char *message, size_t *size)
{
    std::memcpy(message, channel.buffer, count);
    *size = count;
    return PL_OK;
}

} // namespace

PlChannel pl_channel_create(const char *name, TB_HANDLE *channel)
{
    *channel = nullptr;
    OwnedHandle event(pl_fault() ? nullptr : CreateEventA(nullptr, TRUE, TRUE, nullptr));
    if (!event) {
        pl_fail_last();
        return PlChannel::no_event;
    }
    OpenToAll everybody;
    OwnedHandle pipe;
    if (everybody.initialise() && everybody.set() && !pl_fault())
        pipe =
            OwnedHandle(CreateNamedPipeA(name, PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED,
                                         PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1,
                                         kPlMessageSize, kPlMessageSize, kTimeout, everybody.attributes()));
    if (!pipe) {
        pl_fail_last();
        return PlChannel::not_created;
    }
    *channel = handle_add(std::make_shared<Channel>(std::move(pipe), std::move(event)));
    return PlChannel::done;
}

int32_t pl_channel_connect(TB_HANDLE handle)
{
    const auto channel = channel_of(handle);
    if (!channel || pl_fault())
        return pl_last_error().kind;
    channel->pending = channel->reading = false;
    if (ConnectNamedPipe(channel->system.get(), &channel->overlapped))
        return PL_PIPE_CONNECTED;
    const DWORD error = GetLastError();
    channel->pending = error == ERROR_IO_PENDING;
    return error == ERROR_IO_PENDING ? PL_IO_PENDING : failed(error);
}

PlWait pl_channel_wait(TB_HANDLE handle, uint32_t milliseconds)
{
    const auto channel = channel_of(handle);
    switch (channel ? WaitForSingleObject(channel->event.get(), milliseconds) : WAIT_ABANDONED) {
    case WAIT_OBJECT_0:
        return PlWait::ended;
    case WAIT_TIMEOUT:
        return PlWait::timed_out;
    case WAIT_FAILED:
        pl_fail_last();
        break;
    }
    return PlWait::failed;
}

void pl_channel_signal(TB_HANDLE handle)
{
    if (const auto channel = channel_of(handle))
        SetEvent(channel->event.get());
}

int32_t pl_channel_result(TB_HANDLE handle, char *message, size_t *size)
{
    *size = 0;
    const auto channel = channel_of(handle);
    if (!channel || pl_fault())
        return pl_last_error().kind;
    DWORD count = 0;
    if (!GetOverlappedResult(channel->system.get(), &channel->overlapped, &count, FALSE)) {
        const DWORD error = GetLastError();
        if (error == ERROR_IO_INCOMPLETE)
            return PL_IO_PENDING;
        channel->pending = false;
        return failed(error);
    }
    channel->pending = false;
    return channel->reading ? deliver(*channel, count, message, size) : int32_t{PL_OK};
}

int32_t pl_channel_read(TB_HANDLE handle, char *message, size_t *size)
{
    *size = 0;
    const auto channel = channel_of(handle);
    if (!channel || pl_fault())
        return pl_last_error().kind;
    DWORD count = 0;
    channel->reading = true;
    channel->pending = false;
    if (ReadFile(channel->system.get(), channel->buffer, kPlMessageSize, &count, &channel->overlapped))
        return deliver(*channel, count, message, size);
    const DWORD error = GetLastError();
    channel->pending = error == ERROR_IO_PENDING;
    return error == ERROR_IO_PENDING ? PL_IO_PENDING : failed(error);
}

bool pl_channel_disconnect(TB_HANDLE handle)
{
    const auto channel = channel_of(handle);
    return channel && !pl_fault() && (DisconnectNamedPipe(channel->system.get()) || pl_fail_last());
}

PlChannelOpen pl_channel_open(const char *name, uint32_t wait_ms, TB_HANDLE *sender)
{
    *sender = nullptr;
    for (;;) {
        OwnedHandle pipe(
            pl_fault() ? nullptr : CreateFileA(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        if (pipe) {
            *sender = handle_add(std::move(pipe), HandleKind::pipe);
            return PlChannelOpen::done;
        }
        const DWORD error = GetLastError();
        pl_fail(error);
        if (error != ERROR_PIPE_BUSY)
            return PlChannelOpen::failed;
        if (!WaitNamedPipeA(name, wait_ms)) {
            pl_fail_last();
            return PlChannelOpen::wait_failed;
        }
    }
}
