#include <db/client_answer.h>

namespace {

constexpr size_t kMostText = size_t{256} << 20; // an answer beyond that is damaged, not large

constexpr std::string_view kColumns = "Columns: ", kRows = "Rows ",
                           kMessage = "Message:", kElapsed = "Elapsed time";

bool begins(std::string_view line, std::string_view word)
{
    return line.substr(0, word.size()) == word;
}

// Values are written with "\n", "\r", "\\", and "\s" for the blank in front of a word that marks an error.
char unescaped(char c)
{
    return c == 'n' ? '\n' : c == 'r' ? '\r' : c == 's' ? ' ' : c;
}

} // namespace

void ClientAnswer::take(std::string_view line)
{
    const size_t error = line.find(" Error: ");
    if (error != std::string_view::npos && line.find(" Invalid nested ") == std::string_view::npos) {
        if (error_.empty())
            error_.assign(line.substr(error + 1));
    } else if (begins(line, kColumns)) {
        take_columns(line.substr(kColumns.size()));
    } else if (begins(line, "=")) {
        take_value(line.substr(1));
    } else if (line == "NULL") {
        values_.push_back(kNull);
    } else if (begins(line, kRows)) {
        rows_.assign(line.substr(kRows.size()));
    } else if (begins(line, kMessage)) {
        has_message_ = true;
    } else if (begins(line, kElapsed)) {
        has_elapsed_ = true;
    } // anything else is for people to read
}

void ClientAnswer::take_columns(std::string_view names)
{
    damaged_ = damaged_ || has_columns_;
    has_columns_ = true;
    for (;;) {
        const size_t end = names.find('|');
        add_text(names.substr(0, end), &names_);
        if (end == std::string_view::npos)
            return;
        names.remove_prefix(end + 1);
    }
}

void ClientAnswer::take_value(std::string_view text)
{
    std::string value;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size())
            value += unescaped(text[++i]);
        else
            value += text[i];
    }
    add_text(value, &values_);
}

void ClientAnswer::add_text(std::string_view text, std::vector<size_t> *places)
{
    if (text_.size() + text.size() >= kMostText) {
        damaged_ = true;
        return;
    }
    places->push_back(text_.size());
    text_.append(text);
    text_ += '\0';
}

bool ClientAnswer::counts_agree() const
{
    bool is_number = false;
    const int32_t count = to_int32(rows_.c_str(), &is_number);
    if (!is_number || count < 0)
        return false;
    return !has_columns_ || values_.size() == static_cast<size_t>(count) * names_.size();
}

bool ClientAnswer::complete() const
{
    return has_message_ && has_elapsed_ && !damaged_ && counts_agree() && (has_columns_ || values_.empty());
}

ResultTable ClientAnswer::table()
{
    name_pointers_.clear();
    value_pointers_.clear();
    for (const size_t place : names_)
        name_pointers_.push_back(text_.data() + place);
    for (const size_t place : values_)
        value_pointers_.push_back(place == kNull ? nullptr : text_.data() + place);
    const size_t columns = names_.size(), rows = columns == 0 ? 0 : values_.size() / columns;
    return {static_cast<int32_t>(columns), static_cast<int32_t>(rows), name_pointers_.data(),
            value_pointers_.data()};
}
