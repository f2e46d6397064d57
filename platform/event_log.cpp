#include <platform/event_log.h>

#include <platform/fault.h>
#include <platform/files.h>
#include <platform/process.h>

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
    return pl_system_event(source, type, event_id, text);
}
