#include <platform/event.h>

#include <platform/fault.h>
#include <platform/posix/child_process.h>
#include <platform/posix/errors.h>
#include <platform/posix/event_object.h>
#include <platform/posix/waiting.h>

#include <sys/eventfd.h>

TB_HANDLE pl_event_create()
{
    if (pl_fault())
        return nullptr;
    Descriptor fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!fd) {
        pl_fail(errno);
        return nullptr;
    }
    return handle_add(std::make_shared<EventObject>(std::move(fd)));
}

bool pl_event_set(TB_HANDLE event)
{
    const auto object = handle_get<EventObject>(event);
    return object && (eventfd_write(object->fd(), 1) == 0 || pl_fail(errno));
}

bool pl_event_wait(TB_HANDLE event, uint32_t milliseconds)
{
    const auto object = handle_get<EventObject>(event);
    if (!object)
        return false;
    pollfd entry = {object->fd(), POLLIN, 0};
    return poll_until(&entry, 1, milliseconds) > 0;
}

PlEither pl_wait_either(TB_HANDLE process, TB_HANDLE event, uint32_t milliseconds)
{
    const auto child = handle_get<ProcessObject>(process);
    const auto flag = handle_get<EventObject>(event);
    if (!child || !flag || pl_fault())
        return PlEither::failed;
    const Descriptor ended = child->end_descriptor();
    if (!ended)
        return child->wait(0) == PlWait::ended ? PlEither::first : PlEither::failed;
    pollfd entries[2] = {{ended.get(), POLLIN, 0}, {flag->fd(), POLLIN, 0}};
    const int ready = poll_until(entries, 2, milliseconds);
    if (ready > 0)
        return entries[0].revents != 0 ? PlEither::first : PlEither::second;
    if (ready == 0)
        return PlEither::timed_out;
    pl_fail(errno);
    return PlEither::failed;
}
