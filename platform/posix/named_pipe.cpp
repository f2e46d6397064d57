#include <platform/named_pipe.h>

#include <platform/fault.h>
#include <platform/posix/errors.h>
#include <platform/posix/local_socket.h>
#include <platform/posix/stream.h>
#include <platform/posix/waiting.h>

#include <mutex>
#include <sys/socket.h>

namespace {

// The creator's end: there is nothing to read or write before a client has come.
class NamedPipe final : public StreamObject {
public:
    explicit NamedPipe(int32_t mode) : StreamObject(Descriptor(), mode), mode_(mode) {}

    bool create(const char *name) { return server_.create(name, SOCK_STREAM, mode_); }

    bool wait_for_client()
    {
        while (!is_ready()) {
            if (pl_last_error().kind != PL_PIPE_LISTENING ||
                wait_readable(server_.descriptor(), kPlForever) == PlWait::failed)
                return false;
        }
        return true;
    }
    bool is_server() const override { return true; }

private:
    bool is_ready() override
    {
        const std::lock_guard lock(mutex_);
        if (!fd_)
            fd_ = server_.accept_client();
        if (fd_)
            return true;
        return errno == EAGAIN || errno == EWOULDBLOCK ? pl_fail(PL_PIPE_LISTENING, ENOTCONN)
                                                       : pl_fail(errno);
    }

    const int32_t mode_;
    std::mutex mutex_;
    PipeServer server_;
};

bool is_mode(int32_t mode)
{
    return (mode >= 0 && mode <= 2) || pl_fail(PL_INVALID_PARAMETER, EINVAL);
}

} // namespace

PlNamedPipe pl_named_pipe_create(const char *name, int32_t mode, TB_HANDLE *pipe)
{
    *pipe = nullptr;
    if (pl_fault() || !is_mode(mode))
        return PlNamedPipe::not_created;
    const auto object = std::make_shared<NamedPipe>(mode);
    if (!object->create(name))
        return PlNamedPipe::not_created;
    *pipe = handle_add(object);
    return *pipe ? PlNamedPipe::done : PlNamedPipe::not_created;
}

bool pl_named_pipe_open(const char *name, int32_t mode, TB_HANDLE *pipe)
{
    *pipe = nullptr;
    if (pl_fault() || !is_mode(mode))
        return false;
    Descriptor fd = connect_client(name, SOCK_STREAM, mode);
    if (!fd)
        return false;
    *pipe = handle_add(std::make_shared<StreamObject>(std::move(fd), mode));
    return *pipe != nullptr;
}

bool pl_named_pipe_wait(TB_HANDLE pipe)
{
    const auto object = handle_get<StreamObject>(pipe);
    if (!object || pl_fault())
        return false;
    if (!object->is_server())
        return pl_fail(PL_INVALID_HANDLE, EBADF);
    return std::static_pointer_cast<NamedPipe>(object)->wait_for_client();
}
