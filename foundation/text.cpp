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

void append_text(char *out, size_t size, std::string_view text)
{
    if (!out || size == 0)
        return;
    const size_t used = strnlen(out, size - 1);
    copy_text(out + used, size - used, text);
}

size_t format_text_v(char *out, size_t size, const char *format, va_list arguments)
{
    const int needed = std::vsnprintf(out, size, format, arguments);
    if (needed >= 0)
        return static_cast<size_t>(needed);
    copy_text(out, size, "");
    return 0;
}

size_t format_text(char *out, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const size_t needed = format_text_v(out, size, format, arguments);
    va_end(arguments);
    return needed;
}

void drop_incomplete_conversion(char *format)
{
    char *at = format;
    while ((at = std::strchr(at, '%')) != nullptr) {
        char *const end = at + 1 + std::strspn(at + 1, "-+ #0123456789.*'hlLqjzt");
        if (*end == '\0') {
            *at = '\0';
            return;
        }
        at = end + 1;
    }
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
