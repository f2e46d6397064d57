#include <platform/clock.h>

#include <platform/win32/system.h>

#include <chrono>
#include <limits>

namespace {

PlClockHooks g_hooks{nullptr, nullptr};

constexpr int64_t kUnixEpoch = 116'444'736'000'000'000; // 1970 in steps of 100 ns since 1601

// The C library knows the years 1970 to 3000.  The calendar repeats every 400 years, so any other time is computed in
// the cycle that begins on 1971-01-01 and moved back.
constexpr int64_t kCycleYears = 400;
constexpr int64_t kDay = 86'400;
constexpr int64_t kCycle = 146'097 * kDay;
constexpr int64_t kCycleStart = 365 * kDay;

int64_t floor_div(int64_t a, int64_t b)
{
    return a / b - (a % b < 0);
}

int64_t cycle_of(int64_t seconds)
{
    // A zone may be a day apart from UTC: the first hours of 1971 are still within what the C library knows.
    return seconds >= kDay && seconds < kCycleStart + kCycle ? 0 : floor_div(seconds - kCycleStart, kCycle);
}

bool set_year(int64_t year, std::tm *tm)
{
    tm->tm_year = static_cast<int>(year);
    return year >= std::numeric_limits<int>::min() && year <= std::numeric_limits<int>::max();
}

// The fields as seconds, as if they were UTC; fields outside their ranges carry over.
int64_t wall_seconds(const std::tm &tm)
{
    const int64_t month = int64_t{tm.tm_year} * 12 + tm.tm_mon, year = 1900 + floor_div(month, 12);
    const int64_t cycle = floor_div(year - 1970, kCycleYears);
    const std::chrono::year_month_day first{
        std::chrono::year(static_cast<int>(year - cycle * kCycleYears)),
        std::chrono::month(static_cast<unsigned>(month - floor_div(month, 12) * 12 + 1)),
        std::chrono::day(1)};
    const int64_t days = std::chrono::sys_days(first).time_since_epoch().count() + int64_t{tm.tm_mday} - 1;
    return cycle * kCycle + days * kDay + int64_t{tm.tm_hour} * 3600 + int64_t{tm.tm_min} * 60 + tm.tm_sec;
}

// Local time, moved into the C library's years, to seconds; -1 on failure.
int64_t local_seconds(int64_t wall, int daylight_saving)
{
    const int64_t days = floor_div(wall, kDay);
    const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(static_cast<int>(days)))};
    std::tm fields = {};
    fields.tm_year = static_cast<int>(date.year()) - 1900;
    fields.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    fields.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    fields.tm_sec = static_cast<int>(wall - days * kDay);
    fields.tm_isdst = daylight_saving;
    return _mktime64(&fields);
}

} // namespace

PlTime pl_now()
{
    if (g_hooks.now)
        return g_hooks.now();
    FILETIME file_time;
    GetSystemTimePreciseAsFileTime(&file_time);
    const int64_t steps =
        static_cast<int64_t>(uint64_t{file_time.dwHighDateTime} << 32 | file_time.dwLowDateTime) - kUnixEpoch;
    return {steps / 10'000'000, static_cast<int32_t>(steps % 10'000'000 / 10)};
}

void pl_sleep_ms(uint32_t milliseconds)
{
    if (g_hooks.sleep_ms)
        return g_hooks.sleep_ms(milliseconds);
    Sleep(milliseconds);
}

uint64_t pl_tick_ms()
{
    return GetTickCount64();
}

bool pl_local_time(int64_t seconds, std::tm *out)
{
    if (seconds < std::numeric_limits<int64_t>::min() + kCycleStart)
        return false;
    const int64_t cycle = cycle_of(seconds);
    const __time64_t time = seconds - cycle * kCycle;
    return _localtime64_s(out, &time) == 0 && set_year(out->tm_year + cycle * kCycleYears, out);
}

int64_t pl_make_time(std::tm *tm)
{
    _tzset();
    const int64_t wall = wall_seconds(*tm), cycle = cycle_of(wall);
    const int64_t moved = local_seconds(wall - cycle * kCycle, tm->tm_isdst);
    if (moved == -1)
        return -1;
    const int64_t seconds = moved + cycle * kCycle;
    std::tm normal;
    if (!pl_local_time(seconds, &normal))
        return -1;
    *tm = normal;
    return seconds;
}

int32_t pl_timezone_minutes()
{
    _tzset();
    return static_cast<int32_t>(_timezone / 60);
}

void pl_set_clock_hooks(PlClockHooks hooks)
{
    g_hooks = hooks;
}
