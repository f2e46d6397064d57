// The system's event log (syslog on Linux), or the file that the environment variable TAMBA_EVENT_LOG names.
#pragma once

#include <cstdint>

enum class PlEvent : uint16_t { error = 1, warning = 2, information = 4 };

// Writes one event of a source whose registration stands in the registry.
bool pl_event_report(const char *source, PlEvent type, uint32_t event_id, const char *text);

// The same, always to the system.
bool pl_system_event(const char *source, PlEvent type, uint32_t event_id, const char *text);
