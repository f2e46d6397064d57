#include <platform/error.h>

#include <platform/posix/errors.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <netdb.h>
#include <string>
#include <sys/stat.h>

namespace {

PlKind kind_of(int number)
{
    switch (number) {
    case 0:
        return PL_OK;
    case ENOENT:
        return PL_FILE_NOT_FOUND;
    case ENOTDIR:
        return PL_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
        return PL_ACCESS_DENIED;
    case EBADF:
        return PL_INVALID_HANDLE;
    case ENOMEM:
        return PL_NO_MEMORY;
    case EINVAL:
        return PL_INVALID_PARAMETER;
    case EPIPE:
    case ECONNRESET:
        return PL_BROKEN_PIPE;
    case ENOSPC:
    case EDQUOT:
        return PL_DISK_FULL;
    case ETIMEDOUT:
        return PL_WAIT_EXPIRED;
    case EEXIST:
        return PL_ALREADY_EXISTS;
    case EAGAIN:
    case EINPROGRESS:
    case EALREADY:
        return PL_WOULD_BLOCK;
    case EADDRINUSE:
        return PL_ADDRESS_IN_USE;
    case ECONNREFUSED:
        return PL_CONNECTION_REFUSED;
    default:
        return PL_OTHER;
    }
}

int number_of(PlKind kind)
{
    switch (kind) {
    case PL_OK:
        return 0;
    case PL_FILE_NOT_FOUND:
    case PL_PATH_NOT_FOUND:
        return ENOENT;
    case PL_ACCESS_DENIED:
        return EACCES;
    case PL_INVALID_HANDLE:
        return EBADF;
    case PL_NO_MEMORY:
        return ENOMEM;
    case PL_LOCK_VIOLATION:
    case PL_WOULD_BLOCK:
        return EAGAIN;
    case PL_INVALID_PARAMETER:
        return EINVAL;
    case PL_BROKEN_PIPE:
    case PL_NO_DATA:
        return EPIPE;
    case PL_DISK_FULL:
        return ENOSPC;
    case PL_WAIT_EXPIRED:
    case PL_TIMED_OUT:
        return ETIMEDOUT;
    case PL_PIPE_BUSY:
        return EBUSY;
    case PL_PIPE_CONNECTED:
        return EISCONN;
    case PL_PIPE_LISTENING:
        return ENOTCONN;
    case PL_IO_PENDING:
        return EINPROGRESS;
    case PL_ADDRESS_IN_USE:
        return EADDRINUSE;
    case PL_CONNECTION_REFUSED:
        return ECONNREFUSED;
    case PL_ALREADY_EXISTS:
        return EEXIST;
    case PL_MORE_DATA:
        return EMSGSIZE;
    case PL_OTHER:
        break;
    }
    return EIO;
}

size_t copy_out(const char *text, char *out, size_t size)
{
    if (size == 0)
        return 0;
    const size_t length = std::min(std::strlen(text), size - 1);
    std::memcpy(out, text, length);
    out[length] = '\0';
    return length;
}

} // namespace

int32_t pl_system_error()
{
    return errno;
}

void pl_set_system_error(int32_t number)
{
    errno = number;
}

void pl_fail_as(PlKind kind)
{
    pl_fail(kind, number_of(kind));
}

size_t pl_error_text(int32_t number, char *out, size_t size)
{
    char buffer[256];
    if (number > kResolverErrors && number < 2 * kResolverErrors)
        return copy_out(gai_strerror(kResolverErrors - number), out, size);
    // The GNU variant returns the text, in the buffer or static; either is safe between threads.
    return copy_out(strerror_r(number, buffer, sizeof buffer), out, size);
}

size_t pl_c_error_text(int32_t number, char *out, size_t size)
{
    return pl_error_text(number, out, size);
}

bool pl_fail(int errno_value)
{
    return pl_fail(kind_of(errno_value), errno_value);
}

bool pl_fail(PlKind kind, int32_t number)
{
    pl_set_error({kind, number});
    return false;
}

bool pl_fail_path(int errno_value, const char *path)
{
    if (errno_value != ENOENT)
        return pl_fail(errno_value);
    std::string directory(path);
    const size_t slash = directory.find_last_of("/\\");
    if (slash == std::string::npos)
        return pl_fail(PL_FILE_NOT_FOUND, ENOENT);
    directory.resize(slash == 0 ? 1 : slash);
    for (char &c : directory)
        if (c == '\\')
            c = '/';
    struct stat info;
    const bool parent = stat(directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    return pl_fail(parent ? PL_FILE_NOT_FOUND : PL_PATH_NOT_FOUND, ENOENT);
}
