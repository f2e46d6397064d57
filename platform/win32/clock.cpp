#include <platform/clock.h>

#include <platform/win32/system.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <mutex>
#include <optional>

namespace {

PlClockHooks g_hooks{nullptr, nullptr};

constexpr int64_t kUnixEpoch = 116'444'736'000'000'000; // 1970 in steps of 100 ns since 1601

// The library's calendar ends within a hundred centuries.  It repeats every 400 years, so each time is computed in the
// cycle that begins on 1970-01-01 and moved back.
constexpr int64_t kCycleYears = 400;
constexpr int64_t kDay = 86'400;
constexpr int64_t kCycle = 146'097 * kDay;

int64_t floor_div(int64_t a, int64_t b)
{
    return a / b - (a % b < 0);
}

// ---- the zone, by the system's rules and not by the C library's, which follow a variable of the environment ---------

constexpr uint64_t kLookAgainMs = 1000; // the system's zone may be changed while the program runs

// What holds in one year.
struct Zone {
    int64_t standard = 0, summer = 0; // seconds west of UTC
    SYSTEMTIME to_summer = {}, to_winter = {};

    explicit Zone(const TIME_ZONE_INFORMATION &zone)
        : standard(int64_t{zone.Bias + zone.StandardBias} * 60),
          summer(int64_t{zone.Bias + zone.DaylightBias} * 60), to_summer(zone.DaylightDate),
          to_winter(zone.StandardDate)
    {
        if (!changes()) // what a record that claims summer time means there: the usual hour
            summer = standard - 3600;
    }
    bool changes() const { return to_summer.wMonth != 0 && to_winter.wMonth != 0; }
};

TIME_ZONE_INFORMATION system_zone(int64_t year)
{
    DYNAMIC_TIME_ZONE_INFORMATION own = {};
    TIME_ZONE_INFORMATION zone = {};
    if (GetDynamicTimeZoneInformation(&own) == TIME_ZONE_ID_INVALID)
        return zone;
    const auto asked = static_cast<USHORT>(std::clamp<int64_t>(year, 1601, 30827)); // what the system knows
    if (!own.DynamicDaylightTimeDisabled && GetTimeZoneInformationForYear(asked, &own, &zone))
        return zone;
    zone.Bias = own.Bias;
    zone.StandardBias = own.StandardBias;
    if (!own.DynamicDaylightTimeDisabled) {
        zone.StandardDate = own.StandardDate;
        zone.DaylightDate = own.DaylightDate;
        zone.DaylightBias = own.DaylightBias;
    }
    return zone;
}

std::mutex g_zone_mutex;
std::optional<TIME_ZONE_INFORMATION> g_test_zone;

// Every line of a trace asks for it: the year asked for last is kept for a moment.
Zone zone_of(int64_t year)
{
    static int64_t known_year = 0;
    static uint64_t known_until = 0;
    static TIME_ZONE_INFORMATION known;
    const std::lock_guard lock(g_zone_mutex);
    if (g_test_zone)
        return Zone(*g_test_zone);
    const uint64_t now = pl_tick_ms();
    if (now >= known_until || year != known_year) {
        known = system_zone(year);
        known_year = year;
        known_until = now + kLookAgainMs;
    }
    return Zone(known);
}

// ---- the calendar, within a cycle ------------------------------------------------------------------------------------

std::chrono::year_month_day date_of(int64_t wall)
{
    return std::chrono::sys_days(std::chrono::days(static_cast<int>(floor_div(wall, kDay))));
}

int64_t year_of(int64_t wall)
{
    return static_cast<int>(date_of(wall).year());
}

int64_t seconds_of(std::chrono::sys_days day)
{
    return int64_t{day.time_since_epoch().count()} * kDay;
}

// The clock on the wall when a change begins: on a date, or on the first to fourth or last (5) such weekday of a month.
int64_t change_in(int64_t year, const SYSTEMTIME &change)
{
    const auto month = std::chrono::year(static_cast<int>(year)) / std::chrono::month(change.wMonth);
    const std::chrono::weekday weekday(change.wDayOfWeek);
    const std::chrono::sys_days day = change.wYear != 0 ? std::chrono::sys_days(month / change.wDay)
                                      : change.wDay == 5
                                          ? std::chrono::sys_days(month / weekday[std::chrono::last])
                                          : std::chrono::sys_days(month / weekday[change.wDay]);
    return seconds_of(day) + change.wHour * 3600 + change.wMinute * 60 + change.wSecond;
}

// Whether a moment lies between two others of its year; where the second comes first, the rest of the year is meant.
bool between(int64_t begin, int64_t end, int64_t moment)
{
    return begin < end ? moment >= begin && moment < end : moment >= begin || moment < end;
}

bool is_summer(const Zone &zone, int64_t year, int64_t utc)
{
    return zone.changes() && between(change_in(year, zone.to_summer) + zone.standard,
                                     change_in(year, zone.to_winter) + zone.summer, utc);
}

// The same by the clock on the wall.  The hour that is left out belongs to the time before, so that it shows as the hour
// behind the change; of the hour that comes twice, the first is meant.
bool is_summer_on_wall(const Zone &zone, int64_t year, int64_t wall)
{
    const int64_t step = zone.standard - zone.summer;
    return zone.changes() &&
           between(change_in(year, zone.to_summer) + step, change_in(year, zone.to_winter), wall);
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
    return cycle * kCycle + seconds_of(first) + (int64_t{tm.tm_mday} - 1) * kDay +
           int64_t{tm.tm_hour} * 3600 + int64_t{tm.tm_min} * 60 + tm.tm_sec;
}

// False when the year does not fit the record.
bool set_fields(int64_t wall, int64_t cycle, bool summer, std::tm *out)
{
    const auto date = date_of(wall);
    const std::chrono::sys_days day = date;
    const int64_t second = wall - seconds_of(day);
    const int64_t year = static_cast<int>(date.year()) + cycle * kCycleYears - 1900;
    if (year < std::numeric_limits<int>::min() || year > std::numeric_limits<int>::max())
        return false;
    *out = {};
    out->tm_sec = static_cast<int>(second % 60);
    out->tm_min = static_cast<int>(second / 60 % 60);
    out->tm_hour = static_cast<int>(second / 3600);
    out->tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    out->tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    out->tm_year = static_cast<int>(year);
    out->tm_wday = static_cast<int>(std::chrono::weekday(day).c_encoding());
    out->tm_yday = static_cast<int>((day - std::chrono::sys_days(date.year() / 1 / 1)).count());
    out->tm_isdst = summer ? 1 : 0;
    return true;
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
    const int64_t cycle = floor_div(seconds, kCycle), utc = seconds - cycle * kCycle;
    int64_t year = year_of(utc);
    Zone zone = zone_of(year + cycle * kCycleYears);
    year = year_of(utc - zone.standard); // around the turn of the year
    zone = zone_of(year + cycle * kCycleYears);
    const bool summer = is_summer(zone, year, utc);
    return set_fields(utc - (summer ? zone.summer : zone.standard), cycle, summer, out);
}

int64_t pl_make_time(std::tm *tm)
{
    const int64_t whole = wall_seconds(*tm), cycle = floor_div(whole, kCycle), wall = whole - cycle * kCycle;
    const int64_t year = year_of(wall);
    const Zone zone = zone_of(year + cycle * kCycleYears);
    const bool summer = tm->tm_isdst < 0 ? is_summer_on_wall(zone, year, wall) : tm->tm_isdst > 0;
    const int64_t seconds = whole + (summer ? zone.summer : zone.standard);
    std::tm normal;
    if (!pl_local_time(seconds, &normal))
        return -1;
    *tm = normal;
    return seconds;
}

int32_t pl_timezone_minutes()
{
    std::tm now;
    return static_cast<int32_t>(
        zone_of(pl_local_time(pl_now().seconds, &now) ? now.tm_year + 1900 : 0).standard / 60);
}

void pl_set_clock_hooks(PlClockHooks hooks)
{
    g_hooks = hooks;
}

void pl_set_zone(const PlZone *zone)
{
    const std::lock_guard lock(g_zone_mutex);
    g_test_zone.reset();
    if (!zone)
        return;
    const auto rule = [](const PlZoneChange &change) {
        SYSTEMTIME time = {};
        time.wMonth = static_cast<WORD>(change.month);
        time.wDay = static_cast<WORD>(change.week);
        time.wDayOfWeek = static_cast<WORD>(change.weekday);
        time.wHour = static_cast<WORD>(change.hour);
        return time;
    };
    TIME_ZONE_INFORMATION &rules = g_test_zone.emplace();
    rules.Bias = zone->minutes_west;
    rules.DaylightBias = -zone->summer_minutes;
    if (zone->summer_minutes != 0) {
        rules.DaylightDate = rule(zone->to_summer);
        rules.StandardDate = rule(zone->to_winter);
    }
}
