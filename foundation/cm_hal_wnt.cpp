// Settings in the registry and the system's event log.
#include <foundation/registry_value.h>

#include <foundation/glbv.h>
#include <platform/event_log.h>
#include <platform/process.h>
#include <platform/registry.h>
#include <tamba/config.h>
#include <tamba/messages.h>

#include <atomic>
#include <cstdio>

namespace {

constexpr size_t kKeySize = 128; // keys are cut at 127 characters
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

bool read_registry_value(const char *key, const char *value_name, char *out, size_t size, char *err,
                         size_t err_size)
{
    const FixedText<kKeySize> bounded_key(text_or_empty(key));
    // PL_MORE_DATA: the text was longer than the buffer, which holds its beginning.
    if (pl_reg_read(bounded_key.c_str(), text_or_empty(value_name), out, size) ||
        pl_last_error().kind == PL_MORE_DATA)
        return true;
    FixedText<512> error;
    error.format("i_GET_REG_VALUE: registry HKEY_LOCAL_MACHINE\\%s - %s not found", bounded_key.c_str(),
                 text_or_empty(value_name));
    copy_text(err, err_size, error.view());
    return false;
}

int32_t i_GET_REG_VALUE(const char *key, const char *value_name, char *out, int32_t out_size, char *err,
                        int32_t err_size)
{
    return read_registry_value(key, value_name, out, out_size > 0 ? static_cast<size_t>(out_size) : 0, err,
                               err_size > 0 ? static_cast<size_t>(err_size) : 0);
}

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
