// Media from inside: the texts of this family with their bounds, and what its functions share.
#pragma once

#include <foundation/text.h>
#include <tamba/media.h>

#include <string_view>

using DriveText = FixedText<TAMBA_DRIVE_SIZE>;
using DriveList = FixedText<TAMBA_DRIVE_LIST_SIZE>;
using LabelText = FixedText<TAMBA_LABEL_SIZE>;
using MediaMessage = FixedText<TAMBA_MEDIA_MSG_SIZE>;

// A media info, taken apart.
struct SplitLabel {
    LabelText pool;
    int32_t number = 0;
    bool is_label = false;
};
SplitLabel split_label(std::string_view media_info);

// A list of drives is a text with a comma in it; "1,2," is the same list as "1,2".
bool is_drive_list(std::string_view drives);
std::string_view without_trailing_comma(std::string_view drives);
std::string_view first_drive(std::string_view drives);

// True for the ways in which the catalogue says that a drive has no loader: NULL, nothing, and 0.
bool is_no_loader(std::string_view loader_num);

// False for a word that would not reach a program as one argument: it is empty, holds a blank, or a character
// that one of the command interpreters acts on.
bool is_plain_word(std::string_view word);
