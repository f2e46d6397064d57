// Searching texts for lines that match.
#pragma once

#include <foundation/text.h>
#include <tamba/files.h>

#include <string_view>

// One text to be found in many others, which outlives its finder: memchr looks for the character of it that is likely
// to be the rarest.
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
    const std::string_view text_;
    const size_t rare_; // position of the character that is looked for
};

// A search pattern taken apart; "a|AND|b", "a|OR|b" or one text.  The pattern outlives it.
class LinePattern {
public:
    explicit LinePattern(std::string_view pattern);

    bool matches(std::string_view line) const;

    // Goes through the bytes of a file and names the places where a line may match.
    class Walk {
    public:
        Walk(const LinePattern &pattern, const char *end) : pattern_(pattern), end_(end) {}

        // The first such place in [begin, end), or end.  begin never goes back, so that every byte is looked at once for
        // each text, however rarely one of them is found.
        const char *next(const char *begin);

    private:
        const char *next(const TextFinder &finder, const char *begin, const char **place) const;

        const LinePattern &pattern_;
        const char *const end_;
        const char *first_ = nullptr, *second_ = nullptr; // where the texts stand, if not in front of begin
    };

private:
    enum Join : char { single = ' ', both = 'a', either = 'o' };
    // finder: for the bytes of a file, where a CR may stand in front of a line feed that the text asks for.
    struct Wanted {
        explicit Wanted(std::string_view word) : text(word), finder(word.substr(0, word.find('\n'))) {}
        bool stands_in(std::string_view line) const { return text.stands_in(line); }
        TextFinder text, finder;
    };
    LinePattern(std::string_view pattern, size_t at, std::string_view word, Join join);
    static LinePattern taken_apart(std::string_view pattern);

    Join join_;
    Wanted first_, second_;
};

// file_search with a pattern that may be a literal; line receives what matched, or the pattern.
bool find_line(const char *file, const char *pattern, FixedText<TAMBA_PATTERN_SIZE> *line);
