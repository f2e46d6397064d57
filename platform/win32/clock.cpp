#include <platform/clock.h>

#include <platform/win32/system.h>

namespace {

PlClockHooks g_hooks{nullptr, nullptr};

constexpr int64_t kUnixEpoch = 116'444'736'000'000'000; // 1970 in steps of 100 ns since 1601

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
    const __time64_t time = seconds;
    return _localtime64_s(out, &time) == 0;
}

int64_t pl_make_time(std::tm *tm)
{
    return _mktime64(tm);
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
