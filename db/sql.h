// How values enter statements.
#pragma once

#include <foundation/text.h>

#include <string>

// A value for the place between two single quotes, whole however long it is: a value that lost its end would mean
// other rows.
//
//   select, insert, delete   quotes are doubled, the rest as in db_string
//   update                   CLEANUP_QUOTA would take doubled quotes apart; quotes become the acute accent,
//                            double quotes "_", as it would make them
class SqlText {
public:
    enum Use { query, update };

    explicit SqlText(const char *text, Use use = query)
    {
        const std::string_view value = text_or_empty(text);
        for (const char c : value) {
            if (c == '\'')
                text_ += use == query ? "''" : "\264";
            else if (c == '"')
                text_ += use == query ? ' ' : '_';
            else
                text_ += c;
        }
        if (use == query && value.ends_with('\\'))
            text_.back() = ' ';
    }
    const char *c_str() const { return text_.c_str(); }

private:
    std::string text_;
};

// Whether a text may stand unquoted as a number or a list of numbers ("3", "1,2,10").
inline bool is_number_list(std::string_view text)
{
    bool digit_before = false;
    for (const char c : text) {
        if (!is_digit(c) && !(c == ',' && digit_before))
            return false;
        digit_before = is_digit(c);
    }
    return digit_before;
}

// Whether a column held no value.
inline bool is_null(std::string_view value)
{
    return value.empty() || value == "NULL";
}
