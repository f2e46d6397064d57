#include <platform/clock.h>

#include <platform/posix/waiting.h>
#include <platform/process.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/time.h>

namespace {

PlClockHooks g_hooks{nullptr, nullptr};

// A clock of a zone as the C library's variable names it: "STD+5:00".
std::string clock_rule(const char *name, int32_t minutes_west)
{
    char text[32];
    std::snprintf(text, sizeof text, "%s%c%d:%02d", name, minutes_west < 0 ? '-' : '+',
                  std::abs(minutes_west) / 60, std::abs(minutes_west) % 60);
    return text;
}

std::string change_rule(const PlZoneChange &change)
{
    char text[64];
    std::snprintf(text, sizeof text, ",M%d.%d.%d/%d", change.month, change.week, change.weekday, change.hour);
    return text;
}

} // namespace

PlTime pl_now()
{
    if (g_hooks.now)
        return g_hooks.now();
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return {now.tv_sec, static_cast<int32_t>(now.tv_nsec / 1000)};
}

void pl_sleep_ms(uint32_t milliseconds)
{
    if (g_hooks.sleep_ms)
        return g_hooks.sleep_ms(milliseconds);
    timespec rest{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1'000'000};
    const CancelPoint here;
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

uint64_t pl_tick_ms()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1'000'000;
}

bool pl_local_time(int64_t seconds, std::tm *out)
{
    const time_t time = seconds;
    return localtime_r(&time, out) != nullptr;
}

int64_t pl_make_time(std::tm *tm)
{
    return mktime(tm);
}

int32_t pl_timezone_minutes()
{
    tzset();
    return static_cast<int32_t>(timezone / 60);
}

void pl_set_clock_hooks(PlClockHooks hooks)
{
    g_hooks = hooks;
}

void pl_set_zone(const PlZone *zone)
{
    std::string rule;
    if (zone) {
        rule = clock_rule("STD", zone->minutes_west);
        if (zone->summer_minutes != 0)
            rule += clock_rule("DST", zone->minutes_west - zone->summer_minutes) +
                    change_rule(zone->to_summer) + change_rule(zone->to_winter);
    }
    static_cast<void>(zone ? pl_setenv("TZ", rule.c_str()) : pl_unsetenv("TZ"));
    tzset();
}
