// Lines of the agent's logs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// A message line: its code "-NNNN:" stands in column 24, in column 29 behind the mark of an Exchange agent.  Some agents
// write their time stamp without its colon; all columns of such a line lie one place to the left.
class LogLine {
public:
    explicit LogLine(std::string_view text);

    std::string_view text() const { return text_; }
    bool has_mark() const { return has_mark_; }
    bool has_code() const { return has_code_; } // of the form -NNNN:

    // The text at the place of the code, at most so many characters.
    std::string_view code(size_t length = 6) const { return from(code_column()).substr(0, length); }
    int32_t number() const; // of a code

    // The text from a column to the end, "" behind it.
    std::string_view from(size_t column) const
    {
        return text_.substr(column - shift_ < text_.size() ? column - shift_ : text_.size());
    }
    size_t code_column() const { return has_mark_ ? 29 : 24; }

private:
    const std::string_view text_;
    const bool has_mark_;
    size_t shift_ = 0;
    bool has_code_ = false;
};

// Reads "Items processed correctly: [n]. Not processed or incorrectly processed ... [n]" at the start of text.  Returns
// how many of the two numbers there were; numbers beyond 32 bits are clamped.
int scan_items(std::string_view text, int32_t *processed, int32_t *not_processed);
