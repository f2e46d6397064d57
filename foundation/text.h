// Bounded text: cuts what is too long, always terminates, never rejects.
#pragma once

#include <tamba/tamba_export.h>

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

// NULL counts as "".
inline const char *text_or_empty(const char *text)
{
    return text ? text : "";
}

// Copies text into out, cut to size - 1.  The two may overlap.  Size 0 or a null out writes nothing.
void copy_text(char *out, size_t size, std::string_view text);

// Appends text to the terminated text in out, cut to size - 1.
void append_text(char *out, size_t size, std::string_view text);

// Runs a statement with the arguments behind format, the last named one of a variadic function, as a va_list.
#define TAMBA_WITH_ARGUMENTS(format, statement)                                                              \
    do {                                                                                                     \
        va_list arguments;                                                                                   \
        va_start(arguments, format);                                                                         \
        statement;                                                                                           \
        va_end(arguments);                                                                                   \
    } while (false)

// Formats into out, cut and terminated; returns the length that was needed.  out must not be an argument; a null
// out only asks for the length.  A text that cannot be made is instead, as it stands: lines in formats of
// callers, who may ask for widths that no C library can serve, give their format.
size_t format_text(char *out, size_t size, const char *format, ...) TAMBA_PRINTF(3, 4);
size_t format_text_v(char *out, size_t size, const char *format, va_list arguments, const char *instead = "")
    TAMBA_PRINTF(3, 0);

// Formats a text of any length: for commands and paths, which must not be cut.
std::string format_string(const char *format, ...) TAMBA_PRINTF(1, 2);

// A text of at most Size - 1 characters that owns its buffer.
template <size_t Size> class FixedText {
public:
    FixedText() { buffer_[0] = '\0'; }
    explicit FixedText(std::string_view text) { copy_text(buffer_, Size, text); }

    void assign(std::string_view text) { copy_text(buffer_, Size, text); }
    void append(std::string_view text) { append_text(buffer_, Size, text); }
    void format(const char *format, ...) TAMBA_PRINTF(2, 3)
    {
        TAMBA_WITH_ARGUMENTS(format, format_text_v(buffer_, Size, format, arguments));
    }

    char *data() { return buffer_; }
    const char *c_str() const { return buffer_; }
    std::string_view view() const { return buffer_; }
    size_t length() const { return std::strlen(buffer_); }
    bool empty() const { return buffer_[0] == '\0'; }
    static constexpr size_t capacity() { return Size; } // bytes, the terminator included

private:
    char buffer_[Size];
};

// A conversion of a printf format; "%%" counts as one.
struct Conversion {
    size_t begin = std::string_view::npos; // npos: there is none
    size_t end = std::string_view::npos;   // behind its letter, or the end of a format that ends within it
    char letter = '\0';                    // 0 in a format that ends within it
    constexpr explicit operator bool() const { return begin != std::string_view::npos; }
};

// The first conversion of format at or behind a place.
constexpr Conversion find_conversion(std::string_view format, size_t from)
{
    const size_t begin = format.find('%', from);
    if (begin == std::string_view::npos)
        return {};
    const size_t letter = format.find_first_not_of("-+ #0123456789.*'hlLqjztI", begin + 1);
    if (letter == std::string_view::npos)
        return {begin, format.size(), '\0'};
    return {begin, letter + 1, format[letter]};
}

// Drops what an incomplete conversion at the end of a cut format would be ("%", "%l", "%-1"): printf would
// read arguments that are not there, or nothing at all.
void drop_incomplete_conversion(char *format);

// ASCII letter case, whatever the locale; Latin-1 bytes above 127 stay.
constexpr char ascii_lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
constexpr char ascii_upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}
constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}
bool equal_ignoring_case(std::string_view a, std::string_view b);
bool begins_ignoring_case(std::string_view text, std::string_view prefix);

// The number at the start of text (blanks and a sign may lead), clamped to int32; 0 when there is none.
// taken, if not null, receives whether there was a number.
int32_t to_int32(const char *text, bool *taken = nullptr);
