#include <platform/event.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>

TB_HANDLE pl_event_create()
{
    if (pl_fault())
        return nullptr;
    OwnedHandle event(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    if (!event) {
        pl_fail_last();
        return nullptr;
    }
    return handle_add(std::move(event), HandleKind::event);
}

bool pl_event_set(TB_HANDLE event)
{
    const auto object = handle_find(event, HandleKind::event);
    return object && (SetEvent(object->system.get()) || pl_fail_last());
}

bool pl_event_wait(TB_HANDLE event, uint32_t milliseconds)
{
    const auto object = handle_find(event, HandleKind::event);
    return object && WaitForSingleObject(object->system.get(), milliseconds) == WAIT_OBJECT_0;
}

PlEither pl_wait_either(TB_HANDLE process, TB_HANDLE event, uint32_t milliseconds)
{
    const auto child = handle_find(process);
    const auto flag = handle_find(event, HandleKind::event);
    if (!child || !flag || pl_fault())
        return PlEither::failed;
    const HANDLE both[] = {child->system.get(), flag->system.get()};
    switch (WaitForMultipleObjects(2, both, FALSE, milliseconds)) {
    case WAIT_OBJECT_0:
        return PlEither::first;
    case WAIT_OBJECT_0 + 1:
        return PlEither::second;
    case WAIT_TIMEOUT:
        return PlEither::timed_out;
    default:
        pl_fail_last();
        return PlEither::failed;
    }
}
