// The time-stamp calculator, conversions between the forms of a stamp, and pauses.
#include <foundation/calendar.h>
#include <foundation/time_stamp.h>
#include <platform/clock.h>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace {

constexpr int64_t kLastTime = 2147483647; // stands for every time that cannot be computed
constexpr int kLastYear = 9999;           // four digits
constexpr size_t kIsoLength = 19;

std::tm local_time_or_last(int64_t seconds)
{
    std::tm time = {};
    if (!pl_local_time(seconds, &time))
        pl_local_time(kLastTime, &time);
    return time;
}

bool begins_with_start_time(std::string_view text)
{
    return text.size() > kIsoLength && text[0] >= '1' && text[0] <= '9' && text[4] == '-' && text[7] == '-' &&
           text[10] == ' ' && text[13] == ':';
}

// Fields that cannot be read keep the present time's values.
void read_start_time(std::string_view text, std::tm &time)
{
    const FixedText<kIsoLength + 1> stamp(text);
    int year = time.tm_year + kBaseYear;
    int month = time.tm_mon + 1;
    std::sscanf(stamp.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &year, &month, &time.tm_mday, &time.tm_hour,
                &time.tm_min, &time.tm_sec);
    time.tm_year = year - kBaseYear;
    time.tm_mon = month - 1;
}

// What a command adds to the time of day and to the date.
struct Shift {
    int64_t days;
    int64_t seconds;
};

// One command at the start of the text: a letter and, for D, H, M and S, a number that blanks may lead.
Shift command_shift(const char *text)
{
    bool taken = false;
    const int64_t count = text[0] ? to_int32(text + 1, &taken) : 0;
    switch (text[0]) {
    case 'T':
        return {1, 0};
    case 'Y':
        return {-1, 0};
    case 'D':
        return {taken ? count : 0, 0};
    case 'H':
        return {0, taken ? count * 3600 : 0};
    case 'M':
        return {0, taken ? count * 60 : 0};
    case 'S':
        return {0, taken ? count : 0};
    default:
        return {0, 0};
    }
}

// Shifts by the clock on the wall: the same time yesterday stays the same over a change of clocks.  Whole
// days go into the date first, so that no field can overflow.
bool shift_and_normalise(std::tm &time, const Shift &shift)
{
    constexpr int64_t seconds_per_day = 86400;
    const int64_t day = time.tm_mday + shift.days + shift.seconds / seconds_per_day;
    if (day < std::numeric_limits<int>::min() || day > std::numeric_limits<int>::max())
        return false;
    time.tm_mday = static_cast<int>(day);
    time.tm_sec += static_cast<int>(shift.seconds % seconds_per_day);
    time.tm_isdst = -1;
    return pl_make_time(&time) >= 0 && time.tm_year + kBaseYear <= kLastYear;
}

} // namespace

std::tm local_time_now()
{
    return local_time_or_last(pl_now().seconds);
}

FixedText<TAMBA_TIME_SIZE> display_stamp_now()
{
    FixedText<TAMBA_TIME_SIZE> stamp;
    const std::tm now = local_time_now();
    cm_strftime(stamp.data(), stamp.capacity(), kDisplayFormat, &now);
    return stamp;
}

char *time_get(char *buffer)
{
    if (!buffer)
        return buffer;
    std::tm time = local_time_now();
    const char *command = buffer;
    if (begins_with_start_time(buffer)) {
        read_start_time(buffer, time);
        command += kIsoLength + 1;
    }
    const char *const format = *command == 'I' ? kCompactFormat : kDisplayFormat;
    // The rest of a display stamp is a weekday, and "Tue" and "Thu" read as "T": a caller that feeds a stamp
    // back cuts it to its ISO form and adds a blank first.
    if (!shift_and_normalise(time, command_shift(command)))
        time = local_time_or_last(kLastTime);
    cm_strftime(buffer, TAMBA_TIME_SIZE, format, &time);
    return buffer;
}

char *read_stamp(char *text, std::tm *tm, const char **format)
{
    constexpr size_t separator = 10; // between date and time
    std::tm ignored = {};
    std::tm &time = tm ? *tm : ignored;
    time = {};
    if (!text)
        return nullptr;
    // Position 10 is meant wherever the "_" stands; a text that ends there has no time part.
    if (std::strchr(text, '_') && std::strlen(text) > separator)
        text[separator] = ' ';
    // The record is not cleared between the attempts: of "2007-12-21 14:36" the second one leaves hour and
    // minute, and the third accepts the date.
    for (const char *tried : {kCompactFormat, kIsoFormat, kDateFormat})
        if (char *const end = cm_strptime(text, tried, &time)) {
            if (format)
                *format = tried;
            return end;
        }
    return nullptr;
}

char *cm_convert_time(char *text, std::tm *tm)
{
    return read_stamp(text, tm, nullptr);
}

static char *convert_in_place(char *text, const char *format)
{
    std::tm time;
    if (cm_convert_time(text, &time))
        cm_strftime(text, TAMBA_STAMP_SIZE, format, &time);
    return text;
}

char *cm_time_iso2stamp(char *text)
{
    return convert_in_place(text, kCompactFormat);
}

char *cm_time_stamp2iso(char *text)
{
    return convert_in_place(text, kIsoFormat);
}

int32_t i_MY_FTIME(int64_t *seconds, int32_t *milliseconds, int32_t *timezone_minutes, int32_t *dstflag)
{
    const PlTime now = pl_now();
    if (seconds)
        *seconds = now.seconds;
    if (milliseconds)
        *milliseconds = now.microseconds / 1000;
    if (timezone_minutes)
        *timezone_minutes = pl_timezone_minutes();
    if (dstflag)
        *dstflag = local_time_or_last(now.seconds).tm_isdst > 0 ? 1 : 0;
    return 1;
}

void wait_msec(int32_t ms)
{
    if (ms >= 0)
        pl_sleep_ms(static_cast<uint32_t>(ms));
}

void wait_sec(int32_t s)
{
    constexpr int32_t longest_step = 1000000; // milliseconds of a step fit 32 bits
    for (int32_t left = s; left > 0; left -= std::min(left, longest_step))
        pl_sleep_ms(static_cast<uint32_t>(std::min(left, longest_step)) * 1000);
}
