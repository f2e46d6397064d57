// A file descriptor with an owner, and the numbers that are not for it.
#pragma once

#include <platform/files.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

// Where the program has closed a standard stream the system gives its number to what is opened next, and everybody
// would take that for the stream: what the seam opens gets another number.  fd: new and close-on-exec, or -1.
inline int above_standard(int fd)
{
    if (fd < 0 || fd > STDERR_FILENO)
        return fd;
    const int lifted = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(fd);
    errno = error;
    return lifted;
}

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(above_standard(fd)) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    // close() is not repeated after EINTR: the descriptor is gone then, too.  The reason of a failure stays in errno.
    ~Descriptor()
    {
        const int error = errno;
        if (fd_ >= 0)
            close(fd_);
        errno = error;
    }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

// Repeats a system call that a signal interrupted.
template <class Call> auto again_after_signal(Call call)
{
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

inline std::string native_path(const char *path)
{
    std::string native(path ? path : "");
    pl_native_path(native.data());
    return native;
}
