#include <foundation/text.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

void copy_text(char *out, size_t size, std::string_view text)
{
    if (!out || size == 0)
        return;
    const size_t length = std::min(text.size(), size - 1);
    if (length > 0)
        std::memmove(out, text.data(), length);
    out[length] = '\0';
}

namespace {

// A width or precision of so many digits: C libraries fail on it, some with an overflow of the stack.
bool asks_too_much(std::string_view format)
{
    constexpr int kMostDigits = 5;
    for (Conversion found = find_conversion(format, 0); found; found = find_conversion(format, found.end)) {
        int digits = 0;
        for (const char c : format.substr(found.begin, found.end - found.begin)) {
            digits = is_digit(c) ? digits + 1 : 0;
            if (digits > kMostDigits)
                return true;
        }
    }
    return false;
}

} // namespace

void append_text(char *out, size_t size, std::string_view text)
{
    if (!out || size == 0)
        return;
    const size_t used = strnlen(out, size - 1);
    copy_text(out + used, size - used, text);
}

size_t format_text_v(char *out, size_t size, const char *format, va_list arguments, const char *instead)
{
    const bool foreign = *instead != '\0'; // not a format of ours
    const int needed =
        foreign && asks_too_much(format) ? -1 : std::vsnprintf(out, out ? size : 0, format, arguments);
    if (needed >= 0)
        return static_cast<size_t>(needed);
    copy_text(out, size, instead);
    return std::strlen(instead);
}

size_t format_text(char *out, size_t size, const char *format, ...)
{
    size_t needed = 0;
    TAMBA_WITH_ARGUMENTS(format, needed = format_text_v(out, size, format, arguments));
    return needed;
}

std::string format_string(const char *format, ...)
{
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    std::string text(format_text_v(nullptr, 0, format, arguments), '\0');
    format_text_v(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    return text;
}

void drop_incomplete_conversion(char *format)
{
    Conversion last{0, 0, '%'};
    while (last && last.letter)
        last = find_conversion(format, last.end);
    if (last)
        format[last.begin] = '\0';
}

bool begins_ignoring_case(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char a, char b) { return ascii_lower(a) == ascii_lower(b); });
}

bool equal_ignoring_case(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && begins_ignoring_case(a, b);
}

int32_t to_int32(const char *text, bool *taken)
{
    char *end = nullptr;
    const int saved = errno;
    const long long number = std::strtoll(text, &end, 10);
    errno = saved;
    if (taken)
        *taken = end != text;
    using Limits = std::numeric_limits<int32_t>;
    return static_cast<int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}
