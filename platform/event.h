// Events: a flag that a thread can wait for.
#pragma once

#include <platform/process.h>

// A new event, not set; null and the last error on failure.  Closed with pl_close.
[[nodiscard]] TB_HANDLE pl_event_create();

// Sets it for good.
bool pl_event_set(TB_HANDLE event);

// Waits for it; false when it was not set in time.
bool pl_event_wait(TB_HANDLE event, uint32_t milliseconds);

enum class PlEither { first, second, timed_out, failed };

// Waits for the end of a process (first) or for an event (second), at most the given time.  When both have come, it
// is the first.
[[nodiscard]] PlEither pl_wait_either(TB_HANDLE process, TB_HANDLE event, uint32_t milliseconds);
