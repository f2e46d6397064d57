// Times of the schedule: which of two is later, what lies in a start range, which day follows.
#include <foundation/calendar.h>
#include <foundation/glbv.h>
#include <foundation/time_stamp.h>
#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <tamba/timing.h>

#include <cstdio>

namespace {

constexpr int32_t kMinutesOfHour = 60;
constexpr int32_t kMinutesOfDay = 24 * kMinutesOfHour;

// ---- comparison ----------------------------------------------------------------------------------------------

// The years of a dotted date: four digits in the first operand, any number in the second.  Nine cannot overflow.
constexpr char kDottedFirst[] = "%2d.%2d.%4d %2d:%2d";
constexpr char kDottedSecond[] = "%2d.%2d.%9d %2d:%2d";

char third_character(const char *text)
{
    return text[0] != '\0' && text[1] != '\0' ? text[2] : '\0';
}

// The fields as they stand in the text; those that cannot be read are 0 before month and year are counted from
// their bases.
std::tm scan_date_time(const char *text, const char *dotted_format)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0;
    if (third_character(text) == '.')
        std::sscanf(text, dotted_format, &day, &month, &year, &hour, &minute);
    else
        std::sscanf(text, "%4d-%2d-%2d %2d:%2d", &year, &month, &day, &hour, &minute);
    std::tm time = {};
    time.tm_year = year - kBaseYear;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    return time;
}

// Minutes on a calendar without end: some platforms' clocks stop at the year 3000, and media that are kept for
// ever carry 9999-12-31.  Fields outside their ranges carry over.
int64_t calendar_minutes(const std::tm &time)
{
    const int64_t months = (int64_t{time.tm_year} + kBaseYear) * 12 + time.tm_mon;
    const int64_t year = floor_div(months, 12);
    const int64_t days = days_since_1970(year, day_of_year(year, months - year * 12, time.tm_mday));
    return days * kMinutesOfDay + time.tm_hour * kMinutesOfHour + time.tm_min;
}

void trace_fields(TraceScope &scope, const char *name, const char *text, const std::tm &time)
{
    scope.note("%s %s Year %d month %d day %d hour %d min %d sec %d", name, text, time.tm_year, time.tm_mon,
               time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
}

// ---- start ranges --------------------------------------------------------------------------------------------

int32_t number_of_two(const char *text)
{
    const char two[] = {text[0], text[0] != '\0' ? text[1] : '\0', '\0'};
    return to_int32(two);
}

int32_t minutes_of_day(const char *text)
{
    return timing_hours(text) + timing_minutes(text);
}

// Minutes of the backup day: a time before its change belongs to the next calendar day.
int32_t minutes_of_backup_day(int32_t minutes, int32_t change)
{
    return minutes < change ? minutes + kMinutesOfDay : minutes;
}

// The date of a range's start.  Callers tell the two days apart by the form: the backup day's own date has the
// day first, the next day's the year.
void holding_date_of(const GlobalValue &day, bool next_day, FixedText<TAMBA_DATE_SIZE> *date)
{
    constexpr size_t length = TAMBA_DATE_SIZE - 1;
    if (day.length() < length) // no date, nor a variable
        return;
    date->assign(day.view().substr(0, length));
    if (next_day) {
        timing_add_day(date->data());
        return;
    }
    const char *const d = day.c_str();
    date->format("%c%c-%c%c-%c%c%c%c", d[8], d[9], d[5], d[6], d[0], d[1], d[2], d[3]);
}

bool now_is_between(const char *start, const char *stop, TraceScope &scope)
{
    const auto now = display_stamp_now();
    scope.note("start =  %s  stop =  %s ", start, stop);
    scope.note("actual time =  %s ", now.c_str());
    return time_compare(start, now.c_str(), scope.context()) != 1 &&
           time_compare(now.c_str(), stop, scope.context()) != 1;
}

bool now_is_in_hours(const char *start, const char *stop, char *holding_date, TraceScope &scope)
{
    constexpr size_t time_length = 5; // HH:MM
    GlobalValue day, change_time;
    const bool known = read_global("gv_datum", &day);
    const bool changes =
        read_global("gv_change_day_time", &change_time) && change_time.length() >= time_length;
    const int32_t change = changes ? minutes_of_day(change_time.c_str()) : 0;
    scope.note("INIT :  %s  %s ", day.c_str(), change_time.c_str());

    const int32_t first = minutes_of_day(start);
    FixedText<TAMBA_DATE_SIZE> date;
    if (known)
        holding_date_of(day, first < change, &date);
    copy_text(holding_date, TAMBA_DATE_SIZE, date.view());
    scope.note("holding_time = %s  %s ", date.c_str(), start);

    const std::tm local = local_time_now();
    FixedText<time_length + 1> now;
    cm_strftime(now.data(), now.capacity(), "%H:%M", &local);
    scope.note("actual time= %s ", now.c_str());
    const int32_t minutes = minutes_of_backup_day(minutes_of_day(now.c_str()), change);
    return minutes_of_backup_day(first, change) <= minutes &&
           minutes <= minutes_of_backup_day(minutes_of_day(stop), change);
}

} // namespace

int32_t time_compare(const char *a, const char *b, TraceContext trace)
{
    a = text_or_empty(a);
    b = text_or_empty(b);
    TraceScope scope(trace, kTraceMain, "+++ ZDL TIME_COMPARE in %s  %s  %s", kLibraryVersion, a, b);
    const std::tm time_a = scan_date_time(a, kDottedFirst), time_b = scan_date_time(b, kDottedSecond);
    trace_fields(scope, "tmA", a, time_a);
    trace_fields(scope, "tmB", b, time_b);
    const int64_t minutes_a = calendar_minutes(time_a), minutes_b = calendar_minutes(time_b);
    const int32_t result = minutes_a == minutes_b ? 0 : minutes_a > minutes_b ? 1 : 2;
    return scope.leave(
        result,
        "--- ZDL TIME_COMPARE returns %d   0=> equal;  1=> A later than B;  2=> B later than A;  3=> error",
        result);
}

int32_t timing_tamba(const char *start, const char *stop, char *holding_date, TraceContext trace)
{
    start = text_or_empty(start);
    stop = text_or_empty(stop);
    TraceScope scope(trace, kTraceMain, "+++ ZDL TIMING_TAMBA in %s  %s  %s", kLibraryVersion, start, stop);
    if (third_character(start) != ':') {
        const int32_t result = now_is_between(start, stop, scope) ? 1 : 0;
        return scope.leave(result, "--- ZDL TIMING_TAMBA returns  %d ", result);
    }
    if (now_is_in_hours(start, stop, holding_date, scope))
        return scope.leave(1, "--- ZDL TIMING_TAMBA returns --> within start range");
    return scope.leave(0, "--- ZDL TIMING_TAMBA returns --> out of range");
}

int32_t timing_hours(const char *text)
{
    return number_of_two(text_or_empty(text)) * kMinutesOfHour;
}

int32_t timing_minutes(const char *text)
{
    constexpr size_t position = 3; // behind "HH:"
    const std::string_view all = text_or_empty(text);
    return all.size() > position ? number_of_two(all.data() + position) : 0;
}

int32_t timing_add_day(char *date)
{
    constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int year = 0, month = 0, day = 0;
    if (std::sscanf(text_or_empty(date), "%4d-%2d-%2d", &year, &month, &day) != 3 || month < 1 || month > 12)
        return 1;
    // Centuries are leap years here: the other programs of the system count in the same way.
    const int length = lengths[month - 1] + (month == 2 && year % 4 == 0 ? 1 : 0);
    if (++day > length) {
        day = 1;
        ++month;
    }
    if (month > 12) {
        month = 1;
        ++year;
    }
    format_text(date, TAMBA_DATE_SIZE, "%4d-%02d-%02d", year, month, day);
    return 1;
}

char *pszconvert_time(char *text, std::tm *calendar, TraceContext trace)
{
    TraceScope scope(trace, kTraceMain, "+++ CONVERT_TIME: [%s]", text_or_empty(text));
    const char *format = nullptr;
    char *const end = read_stamp(text, calendar, &format);
    if (end)
        scope.leave(1, "--- CONVERT_TIME: [%s]", format);
    else
        scope.leave(0, "--- CONVERT_TIME: Could not convert timestring");
    return end;
}

int32_t i_CONVERT_DATE_INPUT(char *text)
{
    constexpr size_t date_length = TAMBA_DATE_SIZE - 1;
    if (!text)
        return 1;
    const std::string_view input = text;
    if (input.empty() || input.front() == '-' || input == "+" || input == "0") {
        FixedText<TAMBA_TIME_SIZE> day;
        day.format("D %s", text); // an offset that is cut is none that a calendar knows
        time_get(day.data());
        copy_text(text, TAMBA_DATE_INPUT_SIZE, day.view().substr(0, date_length));
    }
    cm_time_stamp2iso(text);
    return 1;
}
