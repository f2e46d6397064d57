#include <platform/channel.h>

#include <platform/clock.h>
#include <platform/fault.h>
#include <platform/posix/errors.h>
#include <platform/posix/local_socket.h>
#include <platform/posix/stream.h>
#include <platform/posix/waiting.h>

#include <sys/socket.h>

namespace {

constexpr int kToReceiver = 0, kWrites = 1; // directions

class Channel final : public HandleObject {
public:
    static constexpr HandleKind kKind = HandleKind::channel;
    Channel() : HandleObject(kKind) {}

    bool create(const char *name) { return server_.create(name, SOCK_SEQPACKET, kToReceiver); }

    int32_t connect()
    {
        signalled_ = false;
        sender_ = server_.accept_client();
        if (sender_)
            return finish(PL_PIPE_CONNECTED);
        return begin(errno == EAGAIN || errno == EWOULDBLOCK ? PL_IO_PENDING : fail(errno), connecting);
    }

    int32_t read(char *message, size_t *size)
    {
        signalled_ = false;
        const int32_t result = receive(message, size);
        return result == PL_IO_PENDING ? begin(result, reading) : finish(result);
    }

    int32_t result(char *message, size_t *size)
    {
        *size = 0;
        if (pending_ == reading) {
            const int32_t outcome = receive(message, size);
            return outcome == PL_IO_PENDING ? outcome : finish(outcome);
        }
        if (pending_ == connecting) {
            sender_ = server_.accept_client();
            return sender_                                   ? finish(PL_OK)
                   : errno == EAGAIN || errno == EWOULDBLOCK ? PL_IO_PENDING
                                                             : fail(errno);
        }
        return PL_OK;
    }

    PlWait wait(uint32_t milliseconds) override
    {
        if (signalled_)
            return PlWait::ended;
        const int fd = pending_ == connecting ? server_.descriptor()
                       : pending_ == reading  ? sender_.get()
                                              : -1;
        return wait_readable(fd, milliseconds);
    }

    void signal() { signalled_ = true; }

    bool disconnect()
    {
        if (!sender_)
            return pl_fail(PL_PIPE_LISTENING, ENOTCONN);
        sender_ = Descriptor();
        pending_ = none;
        server_.release_client();
        return true;
    }

private:
    enum Pending { none, connecting, reading };

    int32_t begin(int32_t result, Pending pending)
    {
        pending_ = result == PL_IO_PENDING ? pending : none;
        return result;
    }
    int32_t finish(int32_t result)
    {
        pending_ = none;
        signalled_ = true;
        return result;
    }
    static int32_t fail(int error)
    {
        pl_fail(error);
        return pl_last_error().kind;
    }

    int32_t receive(char *message, size_t *size)
    {
        *size = 0;
        if (!sender_)
            return fail(ENOTCONN);
        const ssize_t count = again_after_signal(
            [&] { return recv(sender_.get(), message, kPlMessageSize, MSG_DONTWAIT | MSG_TRUNC); });
        if (count < 0)
            return errno == EAGAIN || errno == EWOULDBLOCK ? PL_IO_PENDING : fail(errno);
        if (count == 0)
            return fail(EPIPE);
        if (static_cast<size_t>(count) > kPlMessageSize) {
            pl_fail(PL_MORE_DATA, EMSGSIZE);
            return PL_MORE_DATA;
        }
        *size = static_cast<size_t>(count);
        return PL_OK;
    }

    PipeServer server_;
    Descriptor sender_;
    Pending pending_ = none;
    bool signalled_ = false;
};

// The sending end.  A message without room in the system's buffers fails; its beginning goes out all the same, so that
// the receiver finds it too long and parts from the sender, as with every message of more than kPlMessageSize.
class Sender final : public StreamObject {
public:
    explicit Sender(Descriptor fd) : StreamObject(std::move(fd), kWrites) {}

    bool write(const void *data, size_t size, size_t *put) override
    {
        if (StreamObject::write(data, size, put))
            return true;
        const PlError error = pl_last_error();
        if (error.number == EMSGSIZE && StreamObject::write(data, kPlMessageSize + 1, put))
            pl_set_error(error);
        *put = 0;
        return false;
    }
};

std::shared_ptr<Channel> channel_of(TB_HANDLE handle)
{
    return pl_fault() ? nullptr : handle_get<Channel>(handle);
}

} // namespace

PlChannel pl_channel_create(const char *name, TB_HANDLE *channel)
{
    *channel = nullptr;
    if (pl_fault())
        return PlChannel::no_event;
    const auto object = std::make_shared<Channel>();
    if (pl_fault() || !object->create(name))
        return PlChannel::not_created;
    *channel = handle_add(object);
    return *channel ? PlChannel::done : PlChannel::not_created;
}

int32_t pl_channel_connect(TB_HANDLE channel)
{
    const auto object = channel_of(channel);
    return object ? object->connect() : pl_last_error().kind;
}

PlWait pl_channel_wait(TB_HANDLE channel, uint32_t milliseconds)
{
    const auto object = handle_get<Channel>(channel);
    return object ? object->wait(milliseconds) : PlWait::failed;
}

void pl_channel_signal(TB_HANDLE channel)
{
    if (const auto object = handle_get<Channel>(channel))
        object->signal();
}

int32_t pl_channel_result(TB_HANDLE channel, char *message, size_t *size)
{
    const auto object = channel_of(channel);
    return object ? object->result(message, size) : pl_last_error().kind;
}

int32_t pl_channel_read(TB_HANDLE channel, char *message, size_t *size)
{
    const auto object = channel_of(channel);
    return object ? object->read(message, size) : pl_last_error().kind;
}

bool pl_channel_disconnect(TB_HANDLE channel)
{
    const auto object = channel_of(channel);
    return object && object->disconnect();
}

PlChannelOpen pl_channel_open(const char *name, uint32_t wait_ms, TB_HANDLE *sender)
{
    constexpr uint32_t kPause = 10; // there is nothing to wait for but the next attempt
    *sender = nullptr;
    const uint64_t deadline = pl_tick_ms() + wait_ms;
    for (;;) {
        if (pl_fault())
            return PlChannelOpen::failed;
        if (Descriptor fd = connect_client(name, SOCK_SEQPACKET, kWrites)) {
            *sender = handle_add(std::make_shared<Sender>(std::move(fd)));
            return *sender ? PlChannelOpen::done : PlChannelOpen::failed;
        }
        if (pl_last_error().kind != PL_PIPE_BUSY)
            return PlChannelOpen::failed;
        if (pl_tick_ms() >= deadline) {
            pl_fail(PL_WAIT_EXPIRED, ETIMEDOUT);
            return PlChannelOpen::wait_failed;
        }
        pl_sleep_ms(kPause);
    }
}
