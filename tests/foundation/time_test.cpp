#include "tests/support/text.h"
#include "tests/support/zones.h"

#include <foundation/time_stamp.h>
#include <platform/clock.h>

#include <limits>
#include <string>

namespace {

constexpr int64_t kThursday = 1202985000; // 2008-02-14 10:30:00 UTC
// 2008-03-09 12:00:00 in New York, ten hours after the clocks changed
constexpr int64_t kChangeDay = 1205078400;

int64_t g_now = kThursday;
uint64_t g_slept = 0;

// The clock stands and pauses are only counted.
class Time : public ::testing::Test {
protected:
    void SetUp() override
    {
        pl_set_zone(&kUtc);
        g_slept = 0;
        g_now = kThursday;
        pl_set_clock_hooks({[] { return PlTime{g_now, 123456}; }, [](uint32_t ms) { g_slept += ms; }});
    }
    void TearDown() override
    {
        pl_set_zone(nullptr);
        pl_set_clock_hooks({nullptr, nullptr});
    }
};

std::string at(const char *request)
{
    return in_place(time_get, request);
}

std::string formatted(const char *format, const std::tm &time)
{
    char buffer[512];
    const size_t length = cm_strftime(buffer, sizeof buffer, format, &time);
    EXPECT_EQ(length, std::strlen(buffer)) << format;
    return buffer;
}

// The parsed time in ISO form with week day and day of the year, the rest of the text behind "|"; "null" on failure.
std::string parsed(const char *text, const char *format)
{
    std::tm time = {};
    const char *const end = cm_strptime(text, format, &time);
    return end ? formatted("%Y-%m-%d %H:%M:%S %a %j", time) + "|" + end : "null";
}

} // namespace

TEST_F(Time, RequestsMoveTheTimeByTheirCommand)
{
    // clang-format off
    const struct { const char *request, *stamp; } cases[] = {
        {"", "2008-02-14 10:30:00 Thu"}, {"I", "20080214103000"}, {"D -1", "2008-02-13 10:30:00 Wed"},
        {"D5", "2008-02-19 10:30:00 Tue"}, {"D   +5", "2008-02-19 10:30:00 Tue"},
        {"D +-3", "2008-02-14 10:30:00 Thu"}, {"d 1", "2008-02-14 10:30:00 Thu"},
        {"H 14", "2008-02-15 00:30:00 Fri"}, {"M 90", "2008-02-14 12:00:00 Thu"},
        {"S -1", "2008-02-14 10:29:59 Thu"}, {"T", "2008-02-15 10:30:00 Fri"},
        {"Y", "2008-02-13 10:30:00 Wed"}, {"2008-02-29 10:00:00 D 1 H 1", "2008-03-01 10:00:00 Sat"},
        {"2008-02-29 10:00:00 I", "20080229100000"}, {"2008-02-29 10:00:00 ", "2008-02-29 10:00:00 Fri"},
        {"2008-02-30 10:60:00 ", "2008-03-01 11:00:00 Sat"},
        {"2009-03-xx 10:00:00 ", "2009-03-14 10:30:00 Sat"}, // what cannot be read stays as it is now
        {"2008-02-29 10:00:00", "2008-02-14 10:30:00 Thu"}, // nothing behind it: no start time
        {"0008-02-29 10:00:00 ", "2008-02-14 10:30:00 Thu"},
        {"2008-02-14 10:30:00 Thu", "2008-02-15 10:30:00 Fri"}, // the week day reads as "T"
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(at(c.request), c.stamp) << c.request;
    EXPECT_EQ(display_stamp_now().view(), "2008-02-14 10:30:00 Thu");
}

TEST_F(Time, ATimeOutsideTheCalendarReadsTheLastSecondOf32Bits)
{
    for (const char *request :
         {"D 2147483647", "D -2147483648", "D 99999999999999999999", "1969-12-31 23:59:58 ",
          "1000-01-01 00:00:00 Y", "9999-12-31 23:59:59 S 1", "H -2147483648"})
        EXPECT_EQ(at(request), "2038-01-19 03:14:07 Tue") << request;
    EXPECT_EQ(at("2008-02-29 10:00:00 S 2147483647"), "2076-03-18 13:14:07 Wed");
    g_now = std::numeric_limits<int64_t>::max(); // a clock without a calendar date
    EXPECT_EQ(at("I"), "20380119031407");
}

TEST_F(Time, YesterdayIsTheSameTimeOfDayOverAChangeOfClocks)
{
    pl_set_zone(&kNewYork);
    g_now = kChangeDay;
    EXPECT_EQ(at(""), "2008-03-09 12:00:00 Sun");
    EXPECT_EQ(at("D -1"), "2008-03-08 12:00:00 Sat");
    EXPECT_EQ(at("2008-03-08 12:00:00 T"), "2008-03-09 12:00:00 Sun");
    EXPECT_EQ(at("2008-07-01 12:00:00 D 180"), "2008-12-28 12:00:00 Sun");
}

TEST_F(Time, ClocksChangeByTheRulesOfTheZone)
{
    const struct {
        const PlZone &zone;
        int64_t seconds;
        const char *local;
        int summer;
    } cases[] = {
        {kNewYork, 1205045999, "2008-03-09 01:59:59", 0}, {kNewYork, 1205046000, "2008-03-09 03:00:00", 1},
        {kNewYork, 1225605599, "2008-11-02 01:59:59", 1}, {kNewYork, 1225609200, "2008-11-02 02:00:00", 0},
        {kBerlin, 1206838799, "2008-03-30 01:59:59", 0},  {kBerlin, 1206838800, "2008-03-30 03:00:00", 1},
        {kBerlin, 1224982800, "2008-10-26 02:00:00", 0},  {kBerlin, 1230764400, "2009-01-01 00:00:00", 0},
        {kSydney, 1207411199, "2008-04-06 02:59:59", 1},  {kSydney, 1207411200, "2008-04-06 02:00:00", 0},
        {kSydney, 1223135999, "2008-10-05 01:59:59", 0},  {kSydney, 1223136000, "2008-10-05 03:00:00", 1},
        {kSydney, 1230728400, "2009-01-01 00:00:00", 1},  {kKathmandu, kThursday, "2008-02-14 16:15:00", 0},
        {kNewYork, 951782400, "2000-02-28 19:00:00", 0},  {kBerlin, -86400 * 365, "1969-01-01 01:00:00", 0},
        {kBerlin, 32503680000, "3000-01-01 01:00:00", 0}, {kBerlin, 253402297199, "9999-12-31 23:59:59", 0},
    };
    for (const auto &c : cases) {
        pl_set_zone(&c.zone);
        std::tm time = {};
        ASSERT_TRUE(pl_local_time(c.seconds, &time));
        EXPECT_EQ(formatted(kIsoFormat, time), c.local);
        EXPECT_EQ(time.tm_isdst, c.summer) << c.local;
        EXPECT_EQ(pl_make_time(&time), c.seconds) << c.local;
    }
    for (const int claimed : {0, 1}) { // what the record says of summer time counts
        std::tm time = {};
        ASSERT_NE(cm_strptime("2008-07-01 12:00:00", kIsoFormat, &time), nullptr);
        time.tm_isdst = claimed;
        pl_set_zone(&kNewYork);
        EXPECT_EQ(pl_make_time(&time), 1214931600 - 3600 * claimed);
        EXPECT_EQ(formatted(kIsoFormat, time), claimed ? "2008-07-01 12:00:00" : "2008-07-01 13:00:00");
    }
}

TEST_F(Time, StampsConvertBetweenTheirForms)
{
    // clang-format off
    const struct { const char *text, *compact, *iso; } cases[] = {
        {"20071221143625", "20071221143625", "2007-12-21 14:36:25"},
        {"2007-12-21 14:36:25", "20071221143625", "2007-12-21 14:36:25"},
        {"2007-12-21_14:36:25", "20071221143625", "2007-12-21 14:36:25"},
        {"2007-12-21 14:36:25 Fri", "20071221143625", "2007-12-21 14:36:25"},
        {"2007-12-21", "20071221000000", "2007-12-21 00:00:00"},
        {"2007-12-21 14:36", "20071221143600", "2007-12-21 14:36:00"},
        {"2007-12-21 25:00:00", "20071221000000", "2007-12-21 00:00:00"},
        {"2007-13-21 14:36:25", "2007-13-21 14:36:25", "2007-13-21 14:36:25"},
        {"200712211436", "200712211436", "200712211436"},
        {"2007-12_21 14:36:25", "2007-12_21 14:36:25", "2007-12_21 14:36:25"},
        {"no_stamp_at_all", "no_stamp_a _all", "no_stamp_a _all"}, {"_", "_", "_"}, {"", "", ""},
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(in_place(cm_time_iso2stamp, c.text), c.compact) << c.text;
        EXPECT_EQ(in_place(cm_time_stamp2iso, c.text), c.iso) << c.text;
    }
}

TEST_F(Time, ConvertingNeverTouchesWhatLiesBehindTheText)
{
    char text[] = "2007_12_21\0behind";
    std::tm time;
    EXPECT_EQ(cm_convert_time(text, &time), nullptr);
    EXPECT_EQ(std::string(text, sizeof text), std::string("2007_12_21\0behind", sizeof text));

    char stamp[] = "2007-12-21_14:36:25 and more";
    EXPECT_STREQ(cm_convert_time(stamp, &time), " and more");
    EXPECT_STREQ(cm_convert_time(stamp, nullptr), " and more");
    EXPECT_EQ(cm_convert_time(nullptr, &time), nullptr);
    EXPECT_EQ(time.tm_year, 0);
}

TEST_F(Time, FormattingFollowsThePosixLocale)
{
    std::tm time = {};
    ASSERT_NE(cm_strptime("2008-12-29 00:05:09", "%Y-%m-%d %H:%M:%S", &time), nullptr);
    // clang-format off
    const struct { const char *format, *text; } cases[] = {
        {"%a %A %b %B %h", "Mon Monday Dec December Dec"}, {"%c", "Mon Dec 29 00:05:09 2008"},
        {"%D|%x|%F", "12/29/08|12/29/08|2008-12-29"}, {"%T|%X|%R|%r", "00:05:09|00:05:09|00:05|12:05:09 AM"},
        {"%C %y %Y %G %g", "20 08 2008 2009 09"}, // the Monday of the first week of 2009
        {"%d %e %j %H %I %m %M %p %S", "29 29 364 00 12 12 05 AM 09"}, {"%u %w %U %V %W", "1 1 52 01 52"},
        {"%z %Ey %Od %%%n%t", "+0000 08 29 %\n\t"}, {"100%Q and %", "100%Q and %"}, {"", ""},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(formatted(c.format, time), c.text);

    time.tm_mday = 3;
    EXPECT_EQ(formatted("%e", time), " 3");
    pl_set_zone(&kNewYork);
    EXPECT_EQ(formatted("%z", time), "-0500");
    time.tm_isdst = -1;
    EXPECT_EQ(formatted("%z%Z", time), "");
}

TEST_F(Time, FormattingSurvivesAnyRecordAndAnySize)
{
    for (const int value : {std::numeric_limits<int>::min(), -1, 12, std::numeric_limits<int>::max()}) {
        std::tm time = {};
        time.tm_sec = time.tm_min = time.tm_hour = time.tm_mday = time.tm_mon = time.tm_year = value;
        time.tm_wday = time.tm_yday = time.tm_isdst = value;
        EXPECT_EQ(formatted("%a %B", time), "? ?");
        EXPECT_NE(formatted("%c %C %D %e %F %g %G %I %j %p %r %R %T %u %U %V %w %W %y %Y %z", time), "");
    }
    std::tm epoch = {};
    epoch.tm_year = 70;
    epoch.tm_mday = 1;
    const std::string whole = "1970-01-01 00:00:00";
    for (size_t size = 0; size <= whole.size() + 2; ++size) {
        char buffer[32] = "untouched";
        const size_t length = cm_strftime(buffer, size, kIsoFormat, &epoch);
        EXPECT_EQ(length, size > whole.size() ? whole.size() : 0);
        EXPECT_EQ(buffer, size == 0 ? "untouched" : whole.substr(0, size - 1));
    }
}

TEST_F(Time, ParsingChecksRangesAndComputesTheDay)
{
    // clang-format off
    const struct { const char *text, *format, *result; } cases[] = {
        {"2008-02-29 23:59:60", "%Y-%m-%d %T", "2008-02-29 23:59:60 Fri 060|"},
        {"2000-12-31", "%F", "2000-12-31 00:00:00 Sun 366|"},
        {"1900-03-01x", "%F", "1900-03-01 00:00:00 Thu 060|x"},
        {"0000-01-01", "%F", "0000-01-01 00:00:00 Sat 001|"},
        {"  MONDAY,21 december 99 11:05 pm", " %A,%d %b %y %I:%M %p", "1999-12-21 23:05:00 Tue 355|"},
        {"PM 12 AM", "%p %I AM", "1900-01-00 12:00:00 Sun 001|"},
        {"Thu Feb  7 10:30:00 2008", "%c", "2008-02-07 10:30:00 Thu 038|"},
        {"19 68 3 1", "%C %y %m %d", "1968-03-01 00:00:00 Fri 061|"},
        {"68/3/1", "%y/%m/%d", "2068-03-01 00:00:00 Thu 061|"},
        {"5% 12+0130 CET!", "%M%% %H%z %Z", "1900-01-00 12:05:00 Sun 001|!"},
        {"100 6 53", "%j %w %U", "1900-01-00 00:00:00 Sat 100|"}, {"2008 - 02", "%Y-%m", "null"},
        {"2008-+2", "%Y-%m", "null"}, {"2008- 2", "%Y-%m", "null"}, {"13", "%m", "null"}, {"0", "%d", "null"},
        {"24", "%H", "null"}, {"61", "%S", "null"}, {"Mo", "%a", "null"}, {"x", "%Q", "null"},
        {"x", "x%", "null"}, {"", "%Y", "null"}, {"", "", "1900-01-00 00:00:00 Sun 001|"},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(parsed(c.text, c.format), c.result) << c.text << " by " << c.format;
}

// Four centuries hold every combination of week day and leap year.
TEST_F(Time, EveryDayOfFourCenturiesSurvivesTheRoundTrip)
{
    int weekday = 6; // 2000-01-01 was a Saturday
    for (int64_t day = 0; day < 146097; ++day, weekday = (weekday + 1) % 7) {
        std::tm time;
        ASSERT_TRUE(pl_local_time(946684800 + day * 86400, &time));
        const std::string stamp = formatted(kDisplayFormat, time);
        std::tm back = {};
        ASSERT_NE(cm_strptime(stamp.c_str(), kIsoFormat, &back), nullptr);
        ASSERT_EQ(formatted(kDisplayFormat, back), stamp);
        ASSERT_EQ(back.tm_wday, weekday) << stamp;
        ASSERT_EQ(back.tm_yday, time.tm_yday) << stamp;
    }
}

TEST_F(Time, TheClockIsHandedOutInItsPartsAndPausesLastAsLongAsAskedFor)
{
    int64_t seconds = 0;
    int32_t ms = 0, zone = 0, summer = 0;
    EXPECT_EQ(i_MY_FTIME(&seconds, &ms, &zone, &summer), 1);
    EXPECT_TRUE(seconds == kThursday && ms == 123 && zone == 0 && summer == 0);
    pl_set_zone(&kNewYork);
    g_now = kChangeDay;
    EXPECT_EQ(i_MY_FTIME(nullptr, nullptr, &zone, &summer), 1);
    EXPECT_TRUE(zone == 300 && summer == 1) << zone << " " << summer;
    wait_msec(250);
    wait_sec(std::numeric_limits<int32_t>::max());
    wait_msec(-1);
    wait_sec(-1);
    EXPECT_EQ(g_slept, 250u + 2147483647000u);
}
