#include <foundation/line_search.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

constexpr size_t kLetters = 256;

// How often a byte stands in logs, roughly: the less, the better to look for.
uint8_t frequency(char c)
{
    constexpr std::string_view kOften = " e0t1a2irnos-l:.cd3u45678m9p/_=hgfbvyw";
    const size_t place = kOften.find(c);
    if (place != std::string_view::npos)
        return static_cast<uint8_t>(kLetters - 1 - place);
    if (c >= 'a' && c <= 'z')
        return 100;
    return c >= 'A' && c <= 'Z' ? 80 : 60;
}

size_t rarest(std::string_view text)
{
    size_t best = 0;
    for (size_t i = 1; i < text.size(); ++i)
        if (frequency(text[i]) < frequency(text[best]))
            best = i;
    return best;
}

} // namespace

TextFinder::TextFinder(std::string_view text) : text_(text), rare_(rarest(text)) {}

const char *TextFinder::find(const char *begin, const char *end) const
{
    const size_t length = text_.size();
    if (length == 0)
        return begin;
    if (static_cast<size_t>(end - begin) < length)
        return nullptr;
    const char *const last = end - length + rare_ + 1;
    for (const char *at = begin + rare_; at < last; ++at) {
        at = static_cast<const char *>(std::memchr(at, text_[rare_], static_cast<size_t>(last - at)));
        if (!at)
            return nullptr;
        if (std::memcmp(at - rare_, text_.data(), length) == 0)
            return at - rare_;
    }
    return nullptr;
}

LinePattern::LinePattern(std::string_view pattern) : LinePattern(taken_apart(pattern)) {}

LinePattern::LinePattern(std::string_view pattern, size_t at, std::string_view word, Join join)
    : join_(join), first_(pattern.substr(0, at)),
      second_(at == std::string_view::npos ? std::string_view() : pattern.substr(at + word.size()))
{
}

LinePattern LinePattern::taken_apart(std::string_view pattern)
{
    constexpr std::string_view kAnd = "|AND|", kOr = "|OR|";
    if (const size_t at = pattern.find(kAnd); at != std::string_view::npos)
        return LinePattern(pattern, at, kAnd, both);
    if (const size_t at = pattern.find(kOr); at != std::string_view::npos)
        return LinePattern(pattern, at, kOr, either);
    return LinePattern(pattern, std::string_view::npos, "", single);
}

const char *LinePattern::Walk::next(const TextFinder &finder, const char *begin, const char **place) const
{
    if (!*place || *place < begin) {
        *place = finder.find(begin, end_);
        if (!*place)
            *place = end_;
    }
    return *place;
}

const char *LinePattern::Walk::next(const char *begin)
{
    const char *const first = next(pattern_.first_.finder, begin, &first_);
    if (pattern_.join_ != either)
        return first;
    return std::min(first, next(pattern_.second_.finder, begin, &second_));
}

bool LinePattern::matches(std::string_view line) const
{
    const bool first = first_.stands_in(line);
    if (join_ == single)
        return first;
    return join_ == both ? first && second_.stands_in(line) : first || second_.stands_in(line);
}
