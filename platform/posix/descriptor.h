// A file descriptor with an owner.
#pragma once

#include <platform/files.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    // close() is not repeated after EINTR: the descriptor is gone then, too.
    ~Descriptor()
    {
        if (fd_ >= 0)
            close(fd_);
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
