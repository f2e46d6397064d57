#include "tests/support/standing_clock.h"
#include "tests/support/test_site.h"

#include <cstring>

namespace {

class Timing : public TestSite {
protected:
    void set_day(const char *date, const char *change) const
    {
        set_global("gv_datum", date);
        set_global("gv_change_day_time", change);
    }
    static int32_t compare(const std::string &a, const std::string &b)
    {
        return time_compare(a.c_str(), b.c_str(), TraceContext{});
    }
    static std::string input(const char *text)
    {
        char buffer[64];
        std::strcpy(buffer, text);
        EXPECT_EQ(i_CONVERT_DATE_INPUT(buffer), 1);
        return buffer;
    }

    StandingClock clock;
};

std::string next_day(const char *date)
{
    char buffer[TAMBA_DATE_SIZE + 8];
    std::memset(buffer, '#', sizeof buffer);
    std::strcpy(buffer, date);
    EXPECT_EQ(timing_add_day(buffer), 1);
    EXPECT_EQ(std::string(buffer + sizeof buffer - 8, 8), "########") << "written behind the date";
    return buffer;
}

TEST_F(Timing, ComparesToTheMinuteInBothFormsAndInEveryYear)
{
    // clang-format off
    const struct { const char *a, *b; int32_t result; } cases[] = {
        {"14.02.2008 10:30", "2008-02-14 10:30", 0}, {"2008-02-14 10:30:59 Thu", "14.02.2008 10:30", 0},
        {"2008-02-14 10:31:00", "2008-02-14 10:30:59", 1}, {"01.03.2008 00:00", "29.02.2008 23:59", 1},
        {"2008-02-14 10:30", "9999-12-31 00:00:00", 2}, {"9999-12-31 00:00", "3000-12-31 23:59", 1},
        {"1899-12-31 23:59", "1900-01-01 00:00", 2}, {"9999-12-31 23:59", "01.01.10000 00:00", 2},
        {"9999-12-31 23:59", "01.01.99999999999999999999 00:00", 2}, // any length in the second only
        {"01.01.10000 00:00", "1001-01-01 00:00", 2},
        {"NULL", "0001-01-01 00:00", 2}, {"NULL", "", 0}, {"", "1970-01-01 00:00", 2}, {"..", ".", 0},
        {"2008-02-14_23:59", "2008-02-14 00:00", 0}, {"2008-02-14 7:5", "2008-02-14 07:05", 0},
        {"31.04.2008 24:60", "2008-05-02 01:00", 0}, {"2008-13-01 00:00", "2009-01-01 00:00", 0},
        {"2008-00-00 00:00", "2007-11-30 00:00", 0}, {"-999-01-01 00:00", "0000-01-01 00:00", 2},
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(compare(c.a, c.b), c.result) << c.a << " and " << c.b;
        if (!std::strchr(c.a, '.') && !std::strchr(c.b, '.')) {
            EXPECT_EQ(compare(c.b, c.a), c.result == 0 ? 0 : 3 - c.result) << c.b << " and " << c.a;
        }
    }
    EXPECT_EQ(time_compare(nullptr, nullptr, context(1)), 0);
    EXPECT_EQ(time_compare("14.02.2008 10:30", "NULL", context(1)), 1);
    EXPECT_TRUE(holds(trace_text(), "tmA 14.02.2008 10:30 Year 108 month 1 day 14 hour 10 min 30 sec 0\n"));
    EXPECT_TRUE(holds(trace_text(), "--- ZDL TIME_COMPARE returns 1   0=> equal;  1=> A later than B;  2=> B "
                                    "later than A;  3=> error\n"));
}

TEST_F(Timing, ARangeBelongsToTheBackupDayThatChangesAtItsOwnTime)
{
    constexpr char kToday[] = "14-02-2008", kNextDay[] = "2008-02-15";
    // clang-format off
    const struct { const char *start, *stop, *change, *now; int32_t inside; const char *holding; } cases[] = {
        {"22:00", "06:00", "08:00", "21:59", 0, kToday}, {"22:00", "06:00", "08:00", "22:00", 1, kToday},
        {"22:00", "06:00", "08:00", "06:00", 1, kToday}, {"22:00", "06:00", "08:00", "06:01", 0, kToday},
        {"07:00", "07:30", "08:00", "07:10", 1, kNextDay}, {"07:00", "07:30", "08:00", "09:10", 0, kNextDay},
        {"22:00", "08:00", "08:00", "23:00", 0, kToday}, {"22:00", "06:00", "00:00", "23:00", 0, kToday},
        {"08:00", "07:59", "08:00", "07:59", 1, kToday}, {"08:00", "07:59", "08:00", "08:00", 1, kToday},
        {"22:00", "23:30", "?", "23:00", 1, kToday}, {"07:00", "08:00", "9:0", "07:30", 1, kToday},
        {"07:", "08:", "06:00", "07:30", 1, kToday}, {"xx:yy", "08:00", "00:00", "07:30", 1, kToday},
    };
    // clang-format on
    for (const auto &c : cases) {
        set_day("2008-02-14", c.change);
        clock.set(("2008-02-14 " + std::string(c.now) + ":00").c_str());
        char holding[TAMBA_DATE_SIZE] = "untouched";
        EXPECT_EQ(timing_tamba(c.start, c.stop, holding, context(1)), c.inside)
            << c.start << " to " << c.stop << " at " << c.now << ", change " << c.change;
        EXPECT_STREQ(holding, c.holding) << c.start << ", change " << c.change;
    }
    for (const char *datum : {"?", "2008-02-1"}) {
        set_day(datum, "08:00");
        char holding[TAMBA_DATE_SIZE] = "old";
        timing_tamba("22:00", "23:30", holding, TraceContext{});
        EXPECT_STREQ(holding, "") << datum;
    }
    EXPECT_TRUE(holds(trace_text(), "INIT :  2008-02-14  08:00 \n"));
    EXPECT_TRUE(holds(trace_text(), "holding_time = 2008-02-15  07:00 \n"));
    EXPECT_TRUE(holds(trace_text(), "--- ZDL TIMING_TAMBA returns --> within start range\n"));
    EXPECT_TRUE(holds(trace_text(), "--- ZDL TIMING_TAMBA returns --> out of range\n"));
}

TEST_F(Timing, ARangeOfDateTimesLeavesTheHoldingDateAlone)
{
    set_day("2008-02-14", "08:00");
    clock.set("2008-02-14 10:30:00");
    // clang-format off
    const struct { const char *start, *stop; int32_t inside; } cases[] = {
        {"2008-02-14 10:30", "14.02.2008 10:30", 1}, {"2008-02-13 22:00", "2008-02-14 10:29", 0},
        {"14.02.2008 10:31", "2008-02-15 10:00", 0}, {"7:30", "11:00", 0}, // the third character is no ":"
        {"", "", 0}, {"NULL", "9999-12-31 00:00", 1},
    };
    // clang-format on
    for (const auto &c : cases) {
        char holding[TAMBA_DATE_SIZE] = "untouched";
        EXPECT_EQ(timing_tamba(c.start, c.stop, holding, context(1)), c.inside)
            << c.start << " to " << c.stop;
        EXPECT_STREQ(holding, "untouched");
    }
    EXPECT_TRUE(holds(trace_text(), "--- ZDL TIMING_TAMBA returns  1 \n"));
}

TEST_F(Timing, PartsOfATimeOfDayAreMinutes)
{
    // clang-format off
    const struct { const char *text; int32_t hours, minutes; } cases[] = {
        {"22:45", 1320, 45}, {"07:05:59", 420, 5}, {"7:30", 420, 0}, {"99:99", 5940, 99}, {"ab:cd", 0, 0},
        {" 7: 8", 420, 8}, {"1", 60, 0}, {"12:", 720, 0}, {"12:3", 720, 3}, {"", 0, 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(timing_hours(c.text), c.hours) << c.text;
        EXPECT_EQ(timing_minutes(c.text), c.minutes) << c.text;
    }
    EXPECT_EQ(timing_hours(nullptr) + timing_minutes(nullptr), 0);
}

TEST_F(Timing, TheNextDayKeepsTheSystemsOwnLeapYears)
{
    // clang-format off
    const char *const cases[][2] = {
        {"2008-02-28", "2008-02-29"}, {"2008-02-29", "2008-03-01"}, {"2007-02-28", "2007-03-01"},
        {"2100-02-28", "2100-02-29"}, {"2007-12-31", "2008-01-01"}, {"2008-04-30", "2008-05-01"},
        {"0998-12-31", " 999-01-01"}, {"9999-12-31", "10000-01-0"}, {"2008-00-10", "2008-00-10"},
        {"2008-13-10", "2008-13-10"}, {"2008-02", "2008-02"}, {"2008-02-40", "2008-03-01"}, {"???", "???"}, {"", ""},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(next_day(c[0]), c[1]);
    EXPECT_EQ(timing_add_day(nullptr), 1);
}

TEST_F(Timing, StampsAreTracedWithTheFormThatFitted)
{
    const char *const cases[][2] = {{"20080214103000", "[%Y%m%d%H%M%S]"},
                                    {"2008-02-14_10:30:00", "[%Y-%m-%d %H:%M:%S]"},
                                    {"2008-02-14 x", "[%Y-%m-%d]"},
                                    {"14.02.2008", "Could not convert timestring"}};
    for (const auto &c : cases) {
        char text[32];
        std::strcpy(text, c[0]);
        std::tm time;
        EXPECT_EQ(pszconvert_time(text, &time, context(1)) != nullptr, *c[1] == '[') << c[0];
        EXPECT_TRUE(holds(trace_text(), "--- CONVERT_TIME: " + std::string(c[1]) + "\n"));
    }
}

TEST_F(Timing, UsersTypeDatesOrDaysBeforeToday)
{
    clock.set("2008-03-01 23:59:00");
    // clang-format off
    const char *const cases[][2] = {
        {"", "2008-03-01 00:00:00"}, {"0", "2008-03-01 00:00:00"}, {"+", "2008-03-01 00:00:00"},
        {"-", "2008-03-01 00:00:00"}, {"-1", "2008-02-29 00:00:00"}, {"20080214103000", "2008-02-14 10:30:00"},
        {"2008-02-14", "2008-02-14 00:00:00"}, {"+5", "+5"}, {"14.02.2008", "14.02.2008"},
        {"-99999999999999999999999999", "2038-01-19 00:00:00"}, // stands for every day without a date
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(input(c[0]), c[1]) << c[0];
    EXPECT_EQ(i_CONVERT_DATE_INPUT(nullptr), 1);
}

// What a clock shows decides: an hour that comes twice is in the range twice, one that is left out never.
TEST_F(Timing, HoldsInTheNightsInWhichClocksChange)
{
    constexpr int64_t kAutumn = 1792886400, kSpring = 1774742400; // midnight UTC of 2026-10-25 and 2026-03-29
    // clang-format off
    const struct { int64_t now; const char *start, *stop; int32_t inside; } cases[] = {
        {kAutumn - 60, "02:00", "02:45", 0},           // 01:59 in summer
        {kAutumn + 30 * 60, "02:00", "02:45", 1},      // 02:30 in summer
        {kAutumn + 90 * 60, "02:00", "02:45", 1},      // 02:30 in winter
        {kAutumn + 120 * 60, "02:00", "02:45", 0},     // 03:00
        {kSpring + 59 * 60 + 59, "02:00", "03:00", 0}, // 01:59:59
        {kSpring + 60 * 60, "02:00", "03:00", 1},      // 03:00, a second later
        {kSpring + 60 * 60, "02:15", "02:45", 0},
        {kAutumn + 30 * 60, "2026-10-25 02:30", "25.10.2026 02:30", 1},
        {kAutumn + 90 * 60, "2026-10-25 02:30", "25.10.2026 02:30", 1},
    };
    // clang-format on
    clock.set_zone(kBerlin);
    set_day("2026-10-24", "08:00");
    for (const auto &c : cases) {
        clock.set(c.now);
        EXPECT_EQ(timing_tamba(c.start, c.stop, nullptr, TraceContext{}), c.inside)
            << c.start << " " << c.now;
    }
    clock.set("2026-03-30 00:30:00"); // the day before has 23 hours
    EXPECT_EQ(input("-1"), "2026-03-29 00:00:00");
    clock.set("2026-10-25 23:30:00"); // 25 hours
    EXPECT_EQ(input("-1"), "2026-10-24 00:00:00");
    EXPECT_EQ(input("0"), "2026-10-25 00:00:00");
}

} // namespace
