// Searching texts for lines that match.
#pragma once

#include <string>
#include <string_view>

// One text to be found in many others: memchr looks for the character of it that is likely to be the rarest.
class TextFinder {
public:
    explicit TextFinder(std::string_view text);

    // The first occurrence in [begin, end), or null.  The empty text is found at begin.
    const char *find(const char *begin, const char *end) const;

    bool stands_in(std::string_view line) const
    {
        return find(line.data(), line.data() + line.size()) != nullptr;
    }

private:
    const std::string text_;
    const size_t rare_; // position of the character that is looked for
};

// A search pattern taken apart; "a|AND|b", "a|OR|b" or one text.
class LinePattern {
public:
    explicit LinePattern(std::string_view pattern);

    // The first place in [begin, end) where a line may match, or null.
    const char *candidate(const char *begin, const char *end) const;
    bool matches(std::string_view line) const;

private:
    enum Join : char { single = ' ', both = 'a', either = 'o' };
    LinePattern(std::string_view pattern, size_t at, std::string_view word, Join join);
    static LinePattern taken_apart(std::string_view pattern);

    Join join_;
    TextFinder first_, second_;
};
