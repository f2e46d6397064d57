// The system's event log.
#include <foundation/glbv.h>
#include <platform/event_log.h>
#include <platform/registry.h>
#include <tamba/messages.h>

#include <atomic>
#include <cstdio>

namespace {

constexpr size_t kKeySize = 128;
constexpr char kEventSource[] = "tamba";
constexpr uint32_t kEventTypes = 7; // information, warning, error

// Once registering has failed the process writes no events any more.
std::atomic<bool> g_event_log_off{false};

bool register_event_source()
{
    FixedText<kKeySize> key;
    key.format("SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\%s", kEventSource);
    char message_file[TAMBA_RESOLVE_SIZE] = "gv_ro_bin:tamba.dll";
    resolve_path_n(message_file, sizeof message_file);
    return pl_reg_write(key.c_str(), "EventMessageFile", message_file) &&
           pl_reg_write_number(key.c_str(), "TypesSupported", kEventTypes);
}

PlEvent event_type(int32_t type)
{
    switch (type) {
    case 0:
        return PlEvent::information;
    case 1:
        return PlEvent::warning;
    case 2:
    case 3:
        return PlEvent::error;
    default:
        std::fprintf(stderr, "FATAL: unexpected state: %d\n", type);
        return PlEvent::error;
    }
}

} // namespace

void cm_syslog(int32_t type, int32_t category, uint32_t event_id, const char *text)
{
    static_cast<void>(category); // all events of the system are of category 0
    if (!g_event_log_off && !register_event_source()) {
        std::fputs("Unable to add log source to registry; no event logging.\n", stderr);
        g_event_log_off = true;
    }
    const PlEvent event = event_type(type); // also said when logging is off
    if (g_event_log_off)
        return;
    const FixedText<255> bounded(text_or_empty(text));
    pl_event_report(kEventSource, event, event_id, bounded.c_str());
}
