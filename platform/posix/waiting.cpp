#include <platform/posix/waiting.h>

#include <platform/clock.h>
#include <platform/posix/errors.h>

#include <algorithm>
#include <cerrno>
#include <climits>

int poll_until(pollfd *entries, size_t count, uint32_t milliseconds)
{
    const uint64_t deadline = pl_tick_ms() + milliseconds;
    const CancelPoint here;
    for (uint64_t left = milliseconds;;) {
        const int timeout =
            milliseconds == kPlForever ? -1 : static_cast<int>(std::min<uint64_t>(left, INT_MAX));
        const int ready = poll(entries, count, timeout);
        const uint64_t now = pl_tick_ms();
        left = deadline > now ? deadline - now : 0;
        if (ready > 0 || (ready < 0 && errno != EINTR) || (ready == 0 && left == 0))
            return ready;
    }
}

PlWait wait_readable(int fd, uint32_t milliseconds)
{
    pollfd entry = {fd, POLLIN, 0};
    const int ready = poll_until(&entry, 1, milliseconds);
    if (ready >= 0)
        return ready > 0 ? PlWait::ended : PlWait::timed_out;
    pl_fail(errno);
    return PlWait::failed;
}
