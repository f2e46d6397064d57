// What programs report: a status behind "STATUS=" and a text behind "MSG=", on one line or on two.
#pragma once

#include <foundation/text.h>

class ResultLines {
public:
    using Word = FixedText<256>;

    // Takes the next line of a program's output or of a result file.  Returns false when nothing more counts: the
    // line with "MSG=" has come.  A later status replaces an earlier one.
    bool take(std::string_view line);

    bool has_status() const { return has_status_; }
    bool has_message() const { return has_message_; }
    bool found() const { return has_status_ || has_message_; }

    const Word &status() const { return status_; }   // "" without one
    const Word &message() const { return message_; } // as it stands, quotes included

private:
    Word status_, message_;
    bool has_status_ = false, has_message_ = false;
};
