// Clock and pauses.  Tests replace both, so that nothing waits and time stands where a case needs it.
#pragma once

#include <cstdint>
#include <ctime>

struct PlTime {
    int64_t seconds; // since 1970-01-01 UTC
    int32_t microseconds;
};

PlTime pl_now();
void pl_sleep_ms(uint32_t milliseconds);
uint64_t pl_tick_ms(); // monotonic

// Broken-down local time; false when the time cannot be represented.
bool pl_local_time(int64_t seconds, std::tm *out);

// Local time to seconds; normalises the fields of tm.  Returns -1 on failure (also for the last second of
// 1969).
int64_t pl_make_time(std::tm *tm);

// Minutes west of UTC of local standard time, without daylight saving.
int32_t pl_timezone_minutes();

// Replacements for tests; a null member means the real one.  Not thread-safe: set before threads start.
struct PlClockHooks {
    PlTime (*now)();
    void (*sleep_ms)(uint32_t milliseconds);
};
void pl_set_clock_hooks(PlClockHooks hooks);
