// cm_strftime: the conversions of strftime in the POSIX locale.  The runtime's own follows the locale of the
// program, and the one of Windows ends the program on a field out of range.
#include <foundation/calendar.h>
#include <foundation/text.h>
#include <platform/clock.h>
#include <tamba/time_stamp.h>

#include <algorithm>
#include <ctime>

namespace {

class StampWriter {
public:
    StampWriter(char *out, size_t size, const std::tm &time) : out_(out), size_(size), time_(time) {}

    void write(const char *format);
    size_t finish()
    {
        out_[used_] = '\0';
        return fits_ ? used_ : 0;
    }

private:
    void put(std::string_view text);
    void put_number(int64_t value, int width, char pad = '0');
    template <size_t Count>
    void put_name(const std::array<const char *, Count> &names, int index,
                  size_t length = std::string_view::npos);
    bool plain_number(char letter);
    bool derived_number(char letter);
    bool text(char letter);
    bool composite(char letter);

    char *const out_;
    const size_t size_;
    const std::tm &time_;
    size_t used_ = 0;
    bool fits_ = true;
};

void StampWriter::put(std::string_view text)
{
    const size_t length = std::min(size_ - 1 - used_, text.size());
    fits_ &= length == text.size();
    for (size_t i = 0; i < length; ++i)
        out_[used_++] = text[i];
}

// Every trace line begins with a stamp, so this does without printf.
void StampWriter::put_number(int64_t value, int width, char pad)
{
    char digits[24];
    char *const end = digits + sizeof digits;
    char *start = end;
    for (int64_t rest = value < 0 ? -value : value; rest > 0 || start == end; rest /= 10)
        *--start = static_cast<char>('0' + rest % 10);
    if (value < 0)
        put("-");
    for (int64_t missing = width - (end - start) - (value < 0 ? 1 : 0); missing > 0; --missing)
        put({&pad, 1});
    put({start, static_cast<size_t>(end - start)});
}

template <size_t Count>
void StampWriter::put_name(const std::array<const char *, Count> &names, int index, size_t length)
{
    const bool known = index >= 0 && static_cast<size_t>(index) < Count;
    put(known ? std::string_view(names[static_cast<size_t>(index)]).substr(0, length) : "?");
}

// Fields that are written as they stand.
bool StampWriter::plain_number(char letter)
{
    switch (letter) {
    case 'd':
        put_number(time_.tm_mday, 2);
        return true;
    case 'e':
        put_number(time_.tm_mday, 2, ' ');
        return true;
    case 'H':
        put_number(time_.tm_hour, 2);
        return true;
    case 'j':
        put_number(int64_t{time_.tm_yday} + 1, 3);
        return true;
    case 'm':
        put_number(int64_t{time_.tm_mon} + 1, 2);
        return true;
    case 'M':
        put_number(time_.tm_min, 2);
        return true;
    case 'S':
        put_number(time_.tm_sec, 2);
        return true;
    case 'w':
        put_number(time_.tm_wday, 1);
        return true;
    case 'Y':
        put_number(int64_t{time_.tm_year} + kBaseYear, 4);
        return true;
    default:
        return false;
    }
}

struct IsoWeek {
    int64_t year;
    int64_t week;
};

// A week belongs to the year that its Thursday lies in.
IsoWeek iso_week(const std::tm &time)
{
    int64_t year = int64_t{time.tm_year} + kBaseYear;
    const int64_t days_after_monday = (int64_t{time.tm_wday} + 6) % 7;
    int64_t thursday = time.tm_yday - days_after_monday + 3;
    if (thursday < 0) {
        --year;
        thursday += days_in_year(year);
    } else if (thursday >= days_in_year(year)) {
        thursday -= days_in_year(year);
        ++year;
    }
    return {year, thursday / 7 + 1};
}

int64_t two_digits(int64_t year)
{
    return (year % 100 + 100) % 100;
}

bool StampWriter::derived_number(char letter)
{
    const int64_t year = int64_t{time_.tm_year} + kBaseYear;
    const int64_t yday = time_.tm_yday;
    const int64_t wday = time_.tm_wday;
    switch (letter) {
    case 'C':
        put_number((year - two_digits(year)) / 100, 2);
        return true;
    case 'g':
        put_number(two_digits(iso_week(time_).year), 2);
        return true;
    case 'G':
        put_number(iso_week(time_).year, 4);
        return true;
    case 'I':
        put_number(time_.tm_hour % 12 == 0 ? 12 : time_.tm_hour % 12, 2);
        return true;
    case 'u':
        put_number(wday == 0 ? 7 : wday, 1);
        return true;
    case 'U':
        put_number((yday + 7 - wday) / 7, 2);
        return true;
    case 'V':
        put_number(iso_week(time_).week, 2);
        return true;
    case 'W':
        put_number((yday + 7 - (wday + 6) % 7) / 7, 2);
        return true;
    case 'y':
        put_number(two_digits(year), 2);
        return true;
    default:
        return false;
    }
}

// Minutes east of UTC at a local time.
int64_t utc_offset_minutes(const std::tm &time)
{
    std::tm copy = time;
    const int64_t seconds = pl_make_time(&copy);
    if (seconds == -1)
        return -int64_t{pl_timezone_minutes()};
    const int64_t year = int64_t{copy.tm_year} + kBaseYear;
    const int64_t minutes =
        days_since_1970(year, copy.tm_yday) * 1440 + int64_t{copy.tm_hour} * 60 + copy.tm_min;
    return minutes - (seconds - copy.tm_sec) / 60;
}

// "+0100", and nothing when the record does not say whether daylight saving holds.
FixedText<16> utc_offset(const std::tm &time)
{
    FixedText<16> text;
    if (time.tm_isdst < 0)
        return text;
    const int64_t offset = utc_offset_minutes(time);
    const int minutes = static_cast<int>(offset < 0 ? -offset : offset);
    text.format("%c%02d%02d", offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
    return text;
}

// The runtime's name of the time zone.  Only the daylight-saving flag is handed on: a caller's record need
// not hold a valid zone pointer.
FixedText<64> zone_name(int daylight_saving)
{
    FixedText<64> name;
    std::tm time = {};
    time.tm_mday = 1;
    time.tm_isdst = daylight_saving;
    if (daylight_saving < 0 || std::strftime(name.data(), name.capacity(), "%Z", &time) == 0)
        name.assign("");
    return name;
}

bool StampWriter::text(char letter)
{
    switch (letter) {
    case 'a':
        put_name(kWeekdayNames, time_.tm_wday, kShortNameLength);
        return true;
    case 'A':
        put_name(kWeekdayNames, time_.tm_wday);
        return true;
    case 'b':
    case 'h':
        put_name(kMonthNames, time_.tm_mon, kShortNameLength);
        return true;
    case 'B':
        put_name(kMonthNames, time_.tm_mon);
        return true;
    case 'p':
        put(time_.tm_hour >= 12 ? "PM" : "AM");
        return true;
    case 'z':
        put(utc_offset(time_).view());
        return true;
    case 'Z':
        put(zone_name(time_.tm_isdst).view());
        return true;
    case 'n':
        put("\n");
        return true;
    case 't':
        put("\t");
        return true;
    case '%':
        put("%");
        return true;
    default:
        return false;
    }
}

bool StampWriter::composite(char letter)
{
    const char *const format = composite_format(letter);
    if (format)
        write(format);
    return format != nullptr;
}

void StampWriter::write(const char *format)
{
    while (*format && fits_) {
        if (*format != '%') {
            put({format++, 1});
            continue;
        }
        const char *const start = format++;
        if (*format == 'E' || *format == 'O') // alternative forms, which the POSIX locale does not have
            ++format;
        const char letter = *format;
        if (letter)
            ++format;
        if (!plain_number(letter) && !derived_number(letter) && !text(letter) && !composite(letter))
            put({start, static_cast<size_t>(format - start)});
    }
}

} // namespace

size_t cm_strftime(char *buffer, size_t size, const char *format, const std::tm *tm)
{
    if (!buffer || size == 0)
        return 0;
    const std::tm cleared = {};
    StampWriter writer(buffer, size, tm ? *tm : cleared);
    writer.write(text_or_empty(format));
    return writer.finish();
}
