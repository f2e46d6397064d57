#include <platform/pipe.h>

#include <platform/child_pipe.h>
#include <platform/fault.h>
#include <platform/posix/errors.h>
#include <platform/posix/stream.h>

#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>

namespace {

constexpr int kOnlyReads = 0, kOnlyWrites = 1;

// A pipe whose reader has gone answers with a signal, which must not reach the program: it is kept back for the
// thread and taken away if it is ours.
class NoBrokenPipeSignal {
public:
    NoBrokenPipeSignal()
    {
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    ~NoBrokenPipeSignal()
    {
        const int error = errno;
        const timespec none = {};
        if (!was_pending_)
            again_after_signal([&] { return sigtimedwait(&signal_, nullptr, &none); });
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    NoBrokenPipeSignal(const NoBrokenPipeSignal &) = delete;
    NoBrokenPipeSignal &operator=(const NoBrokenPipeSignal &) = delete;

private:
    sigset_t signal_, before_;
    bool was_pending_;
};

ssize_t write_once(int fd, const void *data, size_t size)
{
    const ssize_t sent = again_after_signal([&] { return send(fd, data, size, MSG_NOSIGNAL); });
    if (sent >= 0 || errno != ENOTSOCK)
        return sent;
    const NoBrokenPipeSignal quiet;
    return again_after_signal([&] { return ::write(fd, data, size); });
}

} // namespace

bool StreamObject::read(void *buffer, size_t size, size_t *got)
{
    if (mode_ == kOnlyWrites)
        return pl_fail(PL_ACCESS_DENIED, EACCES); // a socket would let the caller wait for ever
    if (!is_ready())
        return false;
    const ssize_t count = again_after_signal([&] { return ::read(fd_.get(), buffer, size); });
    if (count < 0)
        return pl_fail(errno);
    if (count == 0 && size > 0)
        return pl_fail(PL_BROKEN_PIPE, EPIPE);
    *got = static_cast<size_t>(count);
    return true;
}

bool StreamObject::write(const void *data, size_t size, size_t *put)
{
    if (mode_ == kOnlyReads)
        return pl_fail(PL_ACCESS_DENIED, EACCES);
    if (!is_ready())
        return false;
    const char *const bytes = static_cast<const char *>(data);
    for (*put = 0; *put < size;) {
        const ssize_t count = write_once(fd_.get(), bytes + *put, size - *put);
        if (count < 0)
            return errno == EPIPE || errno == ECONNRESET ? pl_fail(PL_NO_DATA, errno) : pl_fail(errno);
        *put += static_cast<size_t>(count);
    }
    return true;
}

bool StreamObject::at_end() const
{
    pollfd entry = {fd_.get(), POLLIN, 0};
    return ahead.empty() && poll(&entry, 1, 0) > 0 && (entry.revents & POLLHUP) != 0 &&
           (entry.revents & POLLIN) == 0;
}

bool pl_read(TB_HANDLE stream, void *buffer, size_t size, size_t *got)
{
    *got = 0;
    const auto object = handle_get<StreamObject>(stream);
    if (!object || pl_fault())
        return false;
    if (!object->ahead.empty()) {
        *got = object->ahead.take(buffer, size);
        return true;
    }
    return object->read(buffer, size, got);
}

bool pl_read_byte(TB_HANDLE stream, char *byte, size_t *got)
{
    *got = 0;
    const auto object = handle_get<StreamObject>(stream);
    if (!object || pl_fault())
        return false;
    return object->ahead.take_byte(byte, got, [&](char *buffer, size_t size, size_t *count) {
        return object->read(buffer, size, count);
    });
}

bool pl_write(TB_HANDLE stream, const void *data, size_t size, size_t *put)
{
    *put = 0;
    const auto object = handle_get<StreamObject>(stream);
    return object && !pl_fault() && object->write(data, size, put);
}
