// Bounded copies, letter case, blanks, substrings and numbers as text.
#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <tamba/text.h>

#include <algorithm>
#include <cwchar>

namespace {

// Moves every character of text that keep(previous kept character, character) accepts to the front.
template <class Keep> char *compact(char *text, Keep keep)
{
    if (!text || !*text)
        return text;
    char *end = text + 1;
    for (const char *from = end; *from; ++from)
        if (keep(end[-1], *from))
            *end++ = *from;
    *end = '\0';
    return text;
}

char *convert(char *text, char (*conversion)(char))
{
    for (char *at = text; at && *at; ++at)
        *at = conversion(*at);
    return text;
}

size_t bounded_copy(char *to, const char *from, size_t size)
{
    const char *const source = text_or_empty(from);
    const size_t length = std::strlen(source);
    copy_text(to, size, {source, length});
    return length;
}

} // namespace

// The export marks are repeated here because some C libraries declare these three themselves.
extern "C" {

TAMBA_API size_t strlcpy(char *to, const char *from, size_t size)
{
    return bounded_copy(to, from, size);
}

TAMBA_API size_t strlcat(char *to, const char *from, size_t size)
{
    const size_t used = to ? strnlen(to, size) : 0;
    return used + bounded_copy(to ? to + used : nullptr, from, size - used);
}

TAMBA_API size_t wcslcpy(wchar_t *to, const wchar_t *from, size_t size)
{
    const wchar_t *const source = from ? from : L"";
    const size_t length = std::wcslen(source);
    if (to && size > 0) {
        const size_t copied = std::min(length, size - 1);
        std::wmemmove(to, source, copied);
        to[copied] = L'\0';
    }
    return length;
}

} // extern "C"

char *lowercase(char *text)
{
    return convert(text, ascii_lower);
}

char *uppercase(char *text)
{
    return convert(text, ascii_upper);
}

char *squeeze(char *text, char c)
{
    return compact(text, [c](char previous, char next) { return next != c || previous != c; });
}

char *str_compress(char *text)
{
    return squeeze(text, ' ');
}

char *str_trim(char *text)
{
    constexpr char blanks[] = " \t";
    if (!text)
        return text;
    const char *const start = text + std::strspn(text, blanks);
    size_t length = std::strlen(start);
    while (length > 0 && std::strchr(blanks, start[length - 1]))
        --length;
    std::memmove(text, start, length);
    text[length] = '\0';
    return text;
}

char *str_ext(int32_t start, int32_t length, const char *text)
{
    static char result[TAMBA_EXT_SIZE];
    constexpr int32_t longest = TAMBA_EXT_SIZE - 1;
    if (length > longest)
        own_trace("str_ext: ERROR: Given length %d > Max length %d", length, longest);

    const std::string_view source = text_or_empty(text); // may be the result of the call before
    const bool valid =
        start >= 0 && static_cast<size_t>(start) < source.size() && length >= 0 && length <= longest;
    copy_text(result, sizeof result,
              valid ? source.substr(static_cast<size_t>(start), static_cast<size_t>(length)) : "");
    return result;
}

char *longtoasc(long n)
{
    static char result[TAMBA_DIGITS_SIZE];
    format_text(result, sizeof result, "%ld", n);
    return result;
}

char *intoas(int n)
{
    static char result[TAMBA_DIGITS_SIZE];
    format_text(result, sizeof result, "%d", n);
    return result;
}
