// Media from inside: the texts of this family with their bounds, and what its functions share.
#pragma once

#include <db/rows.h>
#include <foundation/text.h>
#include <tamba/media.h>

#include <string>
#include <string_view>

using LabelText = FixedText<TAMBA_LABEL_SIZE>;
using MediaMessage = FixedText<TAMBA_MEDIA_MSG_SIZE>;

// The drives that a caller names: none, one, or several separated by commas.  Every function that takes drives makes
// one of these at its entry.  "7," is drive 7, because lists of drives end with a comma; a function that works on one
// drive takes the first of several.
class Drives {
public:
    explicit Drives(std::string_view text) : text_(text.substr(0, text.find_last_not_of(',') + 1)) {}

    bool none() const { return text_.empty(); }
    bool several() const { return text_.find(',') != std::string::npos; }
    Drives first() const { return Drives(std::string_view(text_).substr(0, text_.find(','))); }
    const char *c_str() const { return text_.c_str(); }
    std::string_view view() const { return text_; }

private:
    std::string text_;
};

// A media info, taken apart.
struct SplitLabel {
    std::string pool;
    int32_t number = 0;
    bool is_label = false;
};
SplitLabel split_label(std::string_view media_info);

// True for the ways in which the catalogue says that a drive has no loader: NULL, nothing, and 0.
bool is_no_loader(std::string_view loader_num);

// False for a word that would not reach a program as one argument: it is empty, begins like an option, holds a blank,
// or a character that one of the command interpreters acts on.
bool is_plain_word(std::string_view word);

// What the exported functions do, for callers to whom a catalogue that could not be read is no answer; msg then holds
// its text.

// GET_PREPARED_MEDIA; drives and media_info receive what was found.
Found prepared_medium(Drives *drives, std::string *media_info, bool is_label, MediaMessage *msg,
                      TraceContext &trace);

// CHECK_AVAILABILITY_OF_MEDIUM.
Found medium_available(const Drives &drives, const std::string &label, const char *pool, const char *job,
                       MediaMessage *msg, TraceContext &trace);

// i_GET_DRIVES_OF_POOL; list receives the number of each drive, followed by a comma.
Found drives_of_pool(const char *pool, std::string *list, MediaMessage *msg, TraceContext &trace);

// i_GET_DRIVE_GROUP; count receives the number of groups.
Found drive_group(const char *pool, const char *drive_num, std::string *group, int32_t *count,
                  MediaMessage *msg, TraceContext &trace);
