// cm_strptime: the counterpart of cm_strftime.  Windows has none.
#include <foundation/calendar.h>
#include <foundation/text.h>
#include <tamba/time_stamp.h>

#include <ctime>
#include <optional>

namespace {

// A number that goes into one field of the record; without a field it is read and passed over.
struct NumberField {
    char letter;
    int width;
    int low;
    int high;
    int std::tm::*field;
    int offset; // added before the number is stored
};

constexpr NumberField kNumberFields[] = {
    {'d', 2, 1, 31, &std::tm::tm_mday, 0},
    {'e', 2, 1, 31, &std::tm::tm_mday, 0},
    {'H', 2, 0, 23, &std::tm::tm_hour, 0},
    {'j', 3, 1, 366, &std::tm::tm_yday, -1},
    {'m', 2, 1, 12, &std::tm::tm_mon, -1},
    {'M', 2, 0, 59, &std::tm::tm_min, 0},
    {'S', 2, 0, 60, &std::tm::tm_sec, 0},
    {'w', 1, 0, 6, &std::tm::tm_wday, 0},
    {'Y', 4, 0, 9999, &std::tm::tm_year, -kBaseYear},
    {'g', 2, 0, 99, nullptr, 0},
    {'G', 4, 0, 9999, nullptr, 0},
    {'U', 2, 0, 53, nullptr, 0},
    {'V', 2, 1, 53, nullptr, 0},
    {'W', 2, 0, 53, nullptr, 0},
};

constexpr bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Stores each field as soon as it is read, so that a text that fits a format only in part leaves what did
// fit.
class StampReader {
public:
    StampReader(const char *text, std::tm &time) : at_(text), time_(time) {}

    bool read(const char *format);
    const char *finish();

private:
    void skip_space();
    bool literal(char c);
    bool number(int low, int high, int width, int &value);
    template <size_t Count> bool name(const std::array<const char *, Count> &names, int &index);
    bool field(const NumberField &field);
    bool year_part(char letter);
    bool half_of_day();
    bool utc_offset();
    bool conversion(char letter);

    const char *at_;
    std::tm &time_;
    std::optional<int> century_;
    std::optional<int> year_of_century_;
    std::optional<bool> afternoon_;
    bool has_year_ = false;
    bool has_month_ = false;
    bool has_day_ = false;
};

void StampReader::skip_space()
{
    while (is_space(*at_))
        ++at_;
}

bool StampReader::literal(char c)
{
    if (*at_ != c)
        return false;
    ++at_;
    return true;
}

// Digits only, no sign; as many as the width allows.
bool StampReader::number(int low, int high, int width, int &value)
{
    int result = 0;
    int digits = 0;
    for (; digits < width && is_digit(at_[digits]); ++digits)
        result = result * 10 + (at_[digits] - '0');
    if (digits == 0 || result < low || result > high)
        return false;
    at_ += digits;
    value = result;
    return true;
}

// A full or a three-letter name.
template <size_t Count> bool StampReader::name(const std::array<const char *, Count> &names, int &index)
{
    const std::string_view rest(at_);
    for (size_t i = 0; i < Count; ++i) {
        const std::string_view full(names[i]);
        if (!begins_ignoring_case(rest, full.substr(0, kShortNameLength)))
            continue;
        at_ += begins_ignoring_case(rest, full) ? full.size() : kShortNameLength;
        index = static_cast<int>(i);
        return true;
    }
    return false;
}

bool StampReader::field(const NumberField &field)
{
    int value = 0;
    if (field.letter == 'e') // written with a leading blank
        skip_space();
    if (!number(field.low, field.high, field.width, value))
        return false;
    if (field.field)
        time_.*field.field = value + field.offset;
    has_year_ |= field.field == &std::tm::tm_year;
    has_month_ |= field.field == &std::tm::tm_mon;
    has_day_ |= field.field == &std::tm::tm_mday;
    return true;
}

// Two digits alone mean 1969 to 2068.
bool StampReader::year_part(char letter)
{
    constexpr int first_of_last_century = 69;
    int value = 0;
    if (!number(0, 99, 2, value))
        return false;
    (letter == 'C' ? century_ : year_of_century_) = value;
    const int year = year_of_century_.value_or(0);
    const int century = century_.value_or(year < first_of_last_century ? 20 : 19);
    time_.tm_year = century * 100 + year - kBaseYear;
    has_year_ = true;
    return true;
}

bool StampReader::half_of_day()
{
    const std::string_view rest(at_);
    afternoon_ = begins_ignoring_case(rest, "PM");
    if (!*afternoon_ && !begins_ignoring_case(rest, "AM"))
        return false;
    at_ += 2;
    return true;
}

// "+0100", "+01:00", "+01" or "Z".  The record has no place for it.
bool StampReader::utc_offset()
{
    int value = 0;
    if (literal('Z'))
        return true;
    if ((!literal('+') && !literal('-')) || !number(0, 24, 2, value))
        return false;
    const bool colon = literal(':');
    return (!colon && !is_digit(*at_)) || number(0, 59, 2, value);
}

bool StampReader::conversion(char letter)
{
    for (const NumberField &entry : kNumberFields)
        if (entry.letter == letter)
            return field(entry);
    if (const char *const format = composite_format(letter))
        return read(format);
    switch (letter) {
    case 'a':
    case 'A':
        return name(kWeekdayNames, time_.tm_wday);
    case 'b':
    case 'B':
    case 'h':
        return has_month_ = name(kMonthNames, time_.tm_mon);
    case 'C':
    case 'y':
        return year_part(letter);
    case 'I':
        if (!number(1, 12, 2, time_.tm_hour))
            return false;
        time_.tm_hour %= 12;
        return true;
    case 'p':
        return half_of_day();
    case 'u':
        if (!number(1, 7, 1, time_.tm_wday))
            return false;
        time_.tm_wday %= 7;
        return true;
    case 'z':
        return utc_offset();
    case 'Z':
        while (ascii_lower(*at_) >= 'a' && ascii_lower(*at_) <= 'z')
            ++at_;
        return true;
    case 'n':
    case 't':
        skip_space();
        return true;
    case '%':
        return literal('%');
    default:
        return false;
    }
}

bool StampReader::read(const char *format)
{
    for (; *format; ++format) {
        if (is_space(*format)) {
            skip_space();
        } else if (*format != '%') {
            if (!literal(*format))
                return false;
        } else {
            ++format;
            if (*format == 'E' || *format == 'O')
                ++format;
            if (!conversion(*format)) // also the terminator behind a last "%"
                return false;
        }
    }
    return true;
}

const char *StampReader::finish()
{
    if (afternoon_ && time_.tm_hour >= 0 && time_.tm_hour < 24)
        time_.tm_hour = time_.tm_hour % 12 + (*afternoon_ ? 12 : 0);
    if (has_year_ && has_month_ && has_day_) {
        const int64_t year = int64_t{time_.tm_year} + kBaseYear;
        const int64_t yday = day_of_year(year, time_.tm_mon, time_.tm_mday);
        time_.tm_yday = static_cast<int>(yday);
        time_.tm_wday = static_cast<int>(weekday_of(days_since_1970(year, yday)));
    }
    return at_;
}

} // namespace

char *cm_strptime(const char *text, const char *format, std::tm *tm)
{
    std::tm ignored = {};
    StampReader reader(text_or_empty(text), tm ? *tm : ignored);
    if (!text || !reader.read(text_or_empty(format)))
        return nullptr;
    return const_cast<char *>(reader.finish()); // as the C library's: the text is the caller's
}
