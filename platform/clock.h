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

// Local time is that of the system: on Windows by its own rules for the year, whatever the C library takes from the
// environment; on Linux by the C library's.

// Broken-down local time; false when the time cannot be represented.
bool pl_local_time(int64_t seconds, std::tm *out);

// Local time to seconds; normalises the fields of tm.  Returns -1 on failure (also for the last second of
// 1969).
int64_t pl_make_time(std::tm *tm);

// Minutes west of UTC of local standard time, without daylight saving.
int32_t pl_timezone_minutes();

// Zones that tests set: the same rules each year.  A change is the first to fourth or the last (5) such weekday (0 Sunday)
// of its month, at an hour of the clock that it ends.
struct PlZoneChange {
    int32_t month, week, weekday, hour;
};
struct PlZone {
    int32_t minutes_west;
    int32_t summer_minutes = 0; // by which clocks go forward; 0: the other two do not count
    PlZoneChange to_summer{}, to_winter{};
};
void pl_set_zone(const PlZone *zone); // null: the system's own again

// Replacements for tests; a null member means the real one.  Not thread-safe: set before threads start.
struct PlClockHooks {
    PlTime (*now)();
    void (*sleep_ms)(uint32_t milliseconds);
};
void pl_set_clock_hooks(PlClockHooks hooks);
