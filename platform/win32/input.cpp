#include <platform/input.h>

#include <platform/win32/handle_table.h>

namespace {

constexpr DWORD kPollMs = 20;

bool read_now(HANDLE input, void *buffer, size_t size, size_t *got)
{
    DWORD count = 0;
    if (!ReadFile(input, buffer, static_cast<DWORD>(size), &count, nullptr) || count == 0)
        return false;
    *got = count;
    return true;
}

// True when the pipe holds something or is at its end.  What is no pipe of this system cannot be looked into.
bool pipe_has_something(HANDLE input, bool *can_look)
{
    DWORD available = 0;
    if (!PeekNamedPipe(input, nullptr, 0, nullptr, &available, nullptr)) {
        *can_look = GetLastError() == ERROR_BROKEN_PIPE;
        return true;
    }
    return available > 0;
}

} // namespace

PlInput pl_input_read(TB_HANDLE stop, void *buffer, size_t size, size_t *got)
{
    *got = 0;
    const auto event = handle_find(stop, HandleKind::event);
    if (!event)
        return PlInput::stopped;
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    if (!input || input == INVALID_HANDLE_VALUE)
        return PlInput::end;
    const DWORD type = GetFileType(input);
    bool can_look = true;
    while (type == FILE_TYPE_PIPE && !pipe_has_something(input, &can_look))
        if (WaitForSingleObject(event->system.get(), kPollMs) == WAIT_OBJECT_0)
            return PlInput::stopped;
    DWORD mode = 0;
    if (type == FILE_TYPE_CHAR && GetConsoleMode(input, &mode)) { // the null device is of this type, too
        const HANDLE both[] = {event->system.get(), input};
        if (WaitForMultipleObjects(2, both, FALSE, INFINITE) == WAIT_OBJECT_0)
            return PlInput::stopped;
    }
    return read_now(input, buffer, size, got) ? PlInput::data : PlInput::end;
}
