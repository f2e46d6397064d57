// How values enter statements.
#pragma once

#include <foundation/text.h>
#include <tamba/db.h>

// A value for the place between two single quotes.
//
//   select, insert, delete   quotes are doubled
//   update                   CLEANUP_QUOTA would take doubled quotes apart; quotes become the acute accent,
//                            double quotes "_", as it would make them
//
// At most 510 characters of the value are used.
class SqlText {
public:
    enum Use { query, update };

    explicit SqlText(const char *value, Use use = query)
    {
        copy_text(text_, kSourceSize, text_or_empty(value));
        if (use == query)
            db_string(text_, kLimit);
        else
            accent_quotes();
    }
    const char *c_str() const { return text_; }

private:
    static constexpr size_t kSourceSize = 511;
    static constexpr int32_t kLimit = 2 * (static_cast<int32_t>(kSourceSize) - 1);

    void accent_quotes()
    {
        for (char *at = text_; *at != '\0'; ++at)
            *at = *at == '\'' ? '\264' : *at == '"' ? '_' : *at;
    }

    char text_[kLimit + TAMBA_DB_STRING_SPARE];
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
