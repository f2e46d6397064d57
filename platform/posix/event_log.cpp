#include <platform/event_log.h>

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

bool pl_system_event(const char *source, PlEvent type, uint32_t event_id, const char *text)
{
    syslog(LOG_USER | priority_of(type), "%s[%u]: %s", source, event_id, text);
    return true;
}
