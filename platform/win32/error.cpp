#include <platform/error.h>

#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

PlKind kind_of(uint32_t number)
{
    switch (number) {
    case ERROR_SUCCESS:
        return PL_OK;
    case ERROR_FILE_NOT_FOUND:
        return PL_FILE_NOT_FOUND;
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY:
        return PL_PATH_NOT_FOUND;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_SHARING_VIOLATION:
    case ERROR_DIR_NOT_EMPTY:
        return PL_ACCESS_DENIED;
    case ERROR_INVALID_HANDLE:
        return PL_INVALID_HANDLE;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return PL_NO_MEMORY;
    case ERROR_LOCK_VIOLATION:
        return PL_LOCK_VIOLATION;
    case ERROR_INVALID_PARAMETER:
    case ERROR_INVALID_NAME:
        return PL_INVALID_PARAMETER;
    case ERROR_BROKEN_PIPE:
        return PL_BROKEN_PIPE;
    case ERROR_PIPE_BUSY:
        return PL_PIPE_BUSY;
    case ERROR_NO_DATA:
        return PL_NO_DATA;
    case ERROR_PIPE_CONNECTED:
        return PL_PIPE_CONNECTED;
    case ERROR_PIPE_LISTENING:
        return PL_PIPE_LISTENING;
    case ERROR_IO_PENDING:
        return PL_IO_PENDING;
    case 10035: // WSAEWOULDBLOCK, WSAEINPROGRESS, WSAEALREADY
    case 10036:
    case 10037:
        return PL_WOULD_BLOCK;
    case 10048: // WSAEADDRINUSE
        return PL_ADDRESS_IN_USE;
    case 10060: // WSAETIMEDOUT
        return PL_TIMED_OUT;
    case 10061: // WSAECONNREFUSED
        return PL_CONNECTION_REFUSED;
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_DISK_FULL:
        return PL_DISK_FULL;
    case ERROR_SEM_TIMEOUT:
    case WAIT_TIMEOUT:
        return PL_WAIT_EXPIRED;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return PL_ALREADY_EXISTS;
    case ERROR_MORE_DATA:
        return PL_MORE_DATA;
    default:
        return PL_OTHER;
    }
}

size_t copy_out(const char *text, size_t length, char *out, size_t size)
{
    if (size == 0)
        return 0;
    length = std::min(length, size - 1);
    std::memcpy(out, text, length);
    out[length] = '\0';
    return length;
}

} // namespace

int32_t pl_system_error()
{
    return static_cast<int32_t>(GetLastError());
}

void pl_set_system_error(int32_t number)
{
    SetLastError(static_cast<DWORD>(number));
}

void pl_fail_as(PlKind kind)
{
    // The kinds carry this platform's numbers.
    pl_fail(kind, kind == PL_OTHER ? ERROR_GEN_FAILURE : static_cast<uint32_t>(kind));
}

size_t pl_error_text(int32_t number, char *out, size_t size)
{
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    char buffer[1024]; // a buffer that is too small for the text would get nothing
    size_t length =
        FormatMessageA(kFlags, nullptr, static_cast<DWORD>(number), 0, buffer, sizeof buffer, nullptr);
    while (length > 0 && std::strchr("\r\n ", buffer[length - 1]))
        --length;
    return copy_out(buffer, length, out, size);
}

size_t pl_c_error_text(int32_t number, char *out, size_t size)
{
    const char *const text = std::strerror(number); // in a buffer of the thread
    return copy_out(text, std::strlen(text), out, size);
}

bool pl_fail(uint32_t win32_number)
{
    return pl_fail(kind_of(win32_number), win32_number);
}

bool pl_fail(PlKind kind, uint32_t win32_number)
{
    errno = pl_c_error(win32_number); // what the C library would have said: some reports show its number
    pl_set_error({kind, static_cast<int32_t>(win32_number)});
    return false;
}

bool pl_fail_last()
{
    return pl_fail(GetLastError());
}

int32_t pl_c_error(uint32_t win32_number)
{
    switch (kind_of(win32_number)) {
    case PL_OK:
        return 0;
    case PL_FILE_NOT_FOUND:
    case PL_PATH_NOT_FOUND:
        return ENOENT;
    case PL_ACCESS_DENIED:
    case PL_LOCK_VIOLATION:
        return EACCES;
    case PL_INVALID_HANDLE:
        return EBADF;
    case PL_NO_MEMORY:
        return ENOMEM;
    case PL_INVALID_PARAMETER:
        return EINVAL;
    case PL_BROKEN_PIPE:
        return EPIPE;
    case PL_DISK_FULL:
        return ENOSPC;
    case PL_ALREADY_EXISTS:
        return EEXIST;
    default:
        return EIO;
    }
}
