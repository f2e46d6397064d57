// The message table and the compile-time checks that keep its five variants alike.
#pragma once

#include <foundation/text.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

enum class Msg : uint8_t {
#define TAMBA_MESSAGE(name, german, bavarian, french, fourth, english) name,
#include <foundation/messages.def>
#undef TAMBA_MESSAGE
    count
};

// Variants by the value of eLang; 0 is English.
struct MessageRow {
    const char *variant[5];
};

inline constexpr MessageRow kMessages[] = {
#define TAMBA_MESSAGE(name, german, bavarian, french, fourth, english)                                       \
    {{english, german, bavarian, french, fourth}},
#include <foundation/messages.def>
#undef TAMBA_MESSAGE
};

constexpr size_t kTagLength = 12;

// The letter of the next conversion that takes an argument; '?' for one that is more than flags, width and precision,
// 0 at the end of the format.
constexpr char next_conversion(std::string_view format, size_t &at)
{
    while (const Conversion found = find_conversion(format, at)) {
        at = found.end;
        const std::string_view text = format.substr(found.begin, found.end - found.begin - 1);
        if (!found.letter || text.find_first_of("*'hlLqjztI") != std::string_view::npos)
            return '?';
        if (found.letter != '%')
            return found.letter;
    }
    at = format.size();
    return 0;
}

constexpr bool same_conversions(std::string_view a, std::string_view b)
{
    size_t at_a = 0, at_b = 0;
    for (;;) {
        const char letter_a = next_conversion(a, at_a), letter_b = next_conversion(b, at_b);
        if (letter_a != letter_b || letter_a == '?')
            return false;
        if (letter_a == 0)
            return true;
    }
}

constexpr bool has_tag(std::string_view text)
{
    const auto digit = [&](size_t i) { return text[i] >= '0' && text[i] <= '9'; };
    return text.size() > kTagLength && std::string_view("EWI").find(text[0]) != std::string_view::npos &&
           digit(1) && digit(2) && digit(3) && text[4] == '-' && text[kTagLength] == ' ';
}

constexpr bool ascii_or_latin1_only(std::string_view text)
{
    for (const char c : text) // 0x80..0x9F is no Latin-1 text: a sign of UTF-8 in the sources
        if (static_cast<unsigned char>(c) >= 0x80 && static_cast<unsigned char>(c) < 0xA0)
            return false;
    return true;
}

constexpr bool row_is_sound(const MessageRow &row)
{
    const std::string_view english = row.variant[0];
    for (const char *text : row.variant) {
        const std::string_view v = text;
        if (!same_conversions(v, english) || !ascii_or_latin1_only(v) || has_tag(v) != has_tag(english))
            return false;
        if (has_tag(english) && v.substr(0, kTagLength) != english.substr(0, kTagLength))
            return false;
    }
    return true;
}

static_assert(sizeof kMessages / sizeof kMessages[0] == static_cast<size_t>(Msg::count));
// One at a time: compilers bound the steps of each.
#define TAMBA_MESSAGE(name, german, bavarian, french, fourth, english)                                       \
    static_assert(row_is_sound({{english, german, bavarian, french, fourth}}),                               \
                  #name ": the variants differ in tag or conversions");
#include <foundation/messages.def>
#undef TAMBA_MESSAGE

template <class Argument> constexpr bool argument_fits(char conversion)
{
    using Plain = std::decay_t<Argument>;
    switch (conversion) {
    case 's':
        return std::is_same_v<Plain, const char *> || std::is_same_v<Plain, char *>;
    case 'd':
        return std::is_integral_v<Plain> && sizeof(Plain) <= sizeof(int);
    case 'c':
        return std::is_same_v<Plain, char> || std::is_same_v<Plain, int>;
    default:
        return false;
    }
}

template <class... Arguments> constexpr bool message_takes(Msg id)
{
    const std::string_view format = kMessages[static_cast<size_t>(id)].variant[0];
    size_t at = 0;
    const bool fit = (argument_fits<Arguments>(next_conversion(format, at)) && ... && true);
    return fit && next_conversion(format, at) == 0;
}
