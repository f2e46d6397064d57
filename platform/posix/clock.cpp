#include <platform/clock.h>

#include <cerrno>
#include <sys/time.h>

namespace {

PlClockHooks g_hooks{nullptr, nullptr};

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
