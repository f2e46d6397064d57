#include <platform/event_log.h>

#include <platform/fault.h>
#include <platform/files.h>
#include <platform/process.h>

#include <cstdio>
#include <string>
#include <syslog.h>

namespace {

int priority_of(PlEvent type)
{
    switch (type) {
    case PlEvent::information:
        return LOG_INFO;
    case PlEvent::warning:
        return LOG_WARNING;
    case PlEvent::error:
        break;
    }
    return LOG_ERR;
}

} // namespace

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
    syslog(LOG_USER | priority_of(type), "%s[%u]: %s", source, event_id, text);
    return true;
}
