#include <platform/event_log.h>

#include <platform/win32/errors.h>
#include <platform/win32/system.h>

bool pl_system_event(const char *source, PlEvent type, uint32_t event_id, const char *text)
{
    const HANDLE log = RegisterEventSourceA(nullptr, source);
    if (!log)
        return pl_fail_last();
    const bool reported =
        ReportEventA(log, static_cast<WORD>(type), 0, event_id, nullptr, 1, 0, &text, nullptr) ||
        pl_fail_last();
    DeregisterEventSource(log);
    return reported;
}
