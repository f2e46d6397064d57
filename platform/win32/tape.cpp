#include <platform/tape.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/system.h>

namespace {

PlTapeHook g_hook = nullptr;

PlTape failure(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_INVALID_FUNCTION: // not a tape drive
    case ERROR_INVALID_PARAMETER:
    case ERROR_INVALID_HANDLE:
    case ERROR_NOT_SUPPORTED:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_DEVICE_NOT_CONNECTED:
        return PlTape::no_device;
    case ERROR_NO_MEDIA_IN_DRIVE:
        return PlTape::no_tape;
    default:
        pl_fail(error);
        return PlTape::failed;
    }
}

// Said once after each change of the medium and after a reset, whatever the drive's state is.
bool is_news(DWORD error)
{
    return error == ERROR_MEDIA_CHANGED || error == ERROR_BUS_RESET;
}

} // namespace

PlTape pl_tape_status(const char *device)
{
    if (g_hook)
        return g_hook(device);
    if (pl_fault())
        return PlTape::failed;
    const HANDLE tape = CreateFileA(device, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (tape == INVALID_HANDLE_VALUE)
        return failure(GetLastError());
    DWORD error = GetTapeStatus(tape);
    for (int again = 0; again < 3 && is_news(error); ++again)
        error = GetTapeStatus(tape);
    CloseHandle(tape);
    // A tape without partition information is a tape.
    return error == NO_ERROR || error == ERROR_DEVICE_NOT_PARTITIONED ? PlTape::online : failure(error);
}

void pl_set_tape_hook(PlTapeHook hook)
{
    g_hook = hook;
}
