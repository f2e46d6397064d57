// A clock that stands while the object lives, in a zone that the test names; UTC at first.
#pragma once

#include "tests/support/zones.h"

#include <gtest/gtest.h>
#include <tamba/time_stamp.h>

class StandingClock {
public:
    StandingClock()
    {
        set_zone(kUtc);
        pl_set_clock_hooks({[] { return PlTime{now_, 0}; }, nullptr});
    }
    ~StandingClock()
    {
        pl_set_zone(nullptr);
        pl_set_clock_hooks({nullptr, nullptr});
    }
    StandingClock(const StandingClock &) = delete;
    StandingClock &operator=(const StandingClock &) = delete;

    void set_zone(const PlZone &zone) { pl_set_zone(&zone); }
    // To a local time, "2026-06-15 12:34:56"; one that clocks show twice is named by its seconds.
    void set(const char *stamp) { now_ = local(stamp); }
    void set(int64_t seconds) { now_ = seconds; }
    void next_day() { now_ += 86400; }

private:
    static int64_t local(const char *stamp)
    {
        std::tm time = {};
        EXPECT_NE(cm_strptime(stamp, "%Y-%m-%d %H:%M:%S", &time), nullptr) << stamp;
        time.tm_isdst = -1;
        return pl_make_time(&time);
    }
    static inline int64_t now_ = 0;
};
