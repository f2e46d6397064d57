#include <platform/event_log.h>

#include <platform/fault.h>
#include <platform/files.h>
#include <platform/process.h>
#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <cstdio>

bool pl_event_report(const char *source, PlEvent type, uint32_t event_id, const char *text)
{
    if (pl_fault())
        return false;
    if (const char *file = pl_getenv("TAMBA_EVENT_LOG")) {
        char line[512];
        const int length = std::snprintf(line, sizeof line, "%.60s type=%u id=%u %.300s\n", source,
                                         static_cast<unsigned>(type), event_id, text);
        return pl_append(file, line, static_cast<size_t>(length), nullptr) == PlAppend::done;
    }
    const HANDLE log = RegisterEventSourceA(nullptr, source);
    if (!log)
        return pl_fail_last();
    const bool reported =
        ReportEventA(log, static_cast<WORD>(type), 0, event_id, nullptr, 1, 0, &text, nullptr) ||
        pl_fail_last();
    DeregisterEventSource(log);
    return reported;
}
