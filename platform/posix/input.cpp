#include <platform/input.h>

#include <platform/posix/descriptor.h>
#include <platform/posix/event_object.h>
#include <platform/posix/waiting.h>

PlInput pl_input_read(TB_HANDLE stop, void *buffer, size_t size, size_t *got)
{
    *got = 0;
    const auto event = handle_get<EventObject>(stop);
    if (!event)
        return PlInput::stopped;
    pollfd entries[2] = {{STDIN_FILENO, POLLIN, 0}, {event->fd(), POLLIN, 0}};
    if (poll_until(entries, 2, kPlForever) < 0)
        return PlInput::end;
    if (entries[1].revents != 0)
        return PlInput::stopped;
    const ssize_t count = again_after_signal([&] { return read(STDIN_FILENO, buffer, size); });
    if (count <= 0)
        return PlInput::end;
    *got = static_cast<size_t>(count);
    return PlInput::data;
}
