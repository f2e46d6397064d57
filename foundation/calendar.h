// The calendar without a locale: English names and day counts, shared by cm_strftime and cm_strptime.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

inline constexpr int kBaseYear = 1900; // std::tm counts years from here

inline constexpr std::array<const char *, 7> kWeekdayNames = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                              "Thursday", "Friday", "Saturday"};
inline constexpr std::array<const char *, 12> kMonthNames = {"January",   "February", "March",    "April",
                                                             "May",       "June",     "July",     "August",
                                                             "September", "October",  "November", "December"};
inline constexpr size_t kShortNameLength = 3;

// What a conversion stands for that only combines others; null for any other letter.
constexpr const char *composite_format(char letter)
{
    switch (letter) {
    case 'c':
        return "%a %b %e %H:%M:%S %Y";
    case 'D':
    case 'x':
        return "%m/%d/%y";
    case 'F':
        return "%Y-%m-%d";
    case 'r':
        return "%I:%M:%S %p";
    case 'R':
        return "%H:%M";
    case 'T':
    case 'X':
        return "%H:%M:%S";
    default:
        return nullptr;
    }
}

constexpr bool is_leap_year(int64_t year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}
constexpr int64_t days_in_year(int64_t year)
{
    return is_leap_year(year) ? 366 : 365;
}

// Days of the year before a date, month 0 to 11, day from 1; a day behind the month's end counts on.
constexpr int64_t day_of_year(int64_t year, int64_t month, int64_t day)
{
    constexpr std::array<int64_t, 12> before = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    return before[static_cast<size_t>(month)] + (month > 1 && is_leap_year(year) ? 1 : 0) + day - 1;
}

constexpr int64_t floor_div(int64_t a, int64_t b)
{
    return a / b - (a % b < 0);
}

// Days from 1970-01-01 to a day of a year; years before 0 count on backwards.
constexpr int64_t days_since_1970(int64_t year, int64_t yday)
{
    constexpr int64_t days_from_year_0 = 719528;
    const int64_t past = year - 1;
    const int64_t leap_days = floor_div(past, 4) - floor_div(past, 100) + floor_div(past, 400) + 1;
    return year * 365 + leap_days + yday - days_from_year_0;
}

// 0 Sunday to 6 Saturday.
constexpr int64_t weekday_of(int64_t days_since_1970)
{
    return ((days_since_1970 + 4) % 7 + 7) % 7;
}
