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
        add_text(line.substr(1), '\\', &values_);
    } else if (line == "NULL") {
        damaged_ = !values_.add(kNull) || damaged_;
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
        add_text(names.substr(0, end), '\0', &names_);
        if (end == std::string_view::npos)
            return;
        names.remove_prefix(end + 1);
    }
}

void ClientAnswer::add_text(std::string_view text, char escape, Growing<size_t> *places)
{
    bool added = text_.size() + text.size() < kMostText && places->add(text_.size());
    for (size_t i = 0; added && i < text.size(); ++i) {
        const bool escaped = text[i] == escape && i + 1 < text.size();
        added = text_.add(escaped ? unescaped(text[++i]) : text[i]);
    }
    if (!added || !text_.add('\0'))
        damaged_ = true;
}

bool ClientAnswer::counts_agree() const
{
    bool is_number = false;
    const int32_t count = to_int32(rows_.c_str(), &is_number);
    if (!is_number || count < 0)
        return false;
    return !has_columns_ || values_.size() == static_cast<size_t>(count) * names_.size();
}

bool ClientAnswer::complete()
{
    return has_message_ && has_elapsed_ && !damaged_ && counts_agree() &&
           (has_columns_ || values_.size() == 0) && pointers_.reserve(names_.size() + values_.size());
}

ResultTable ClientAnswer::table()
{
    pointers_.clear();
    for (const Growing<size_t> *places : {&names_, &values_})
        for (size_t i = 0; i < places->size(); ++i) {
            const size_t place = places->data()[i];
            damaged_ = !pointers_.add(place == kNull ? nullptr : text_.data() + place) || damaged_;
        }
    if (damaged_)
        return {0, 0, nullptr, nullptr};
    const size_t columns = names_.size(), rows = columns == 0 ? 0 : values_.size() / columns;
    return {static_cast<int32_t>(columns), static_cast<int32_t>(rows), pointers_.data(),
            pointers_.data() + columns};
}
