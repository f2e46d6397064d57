// The message table's front: every user-visible message by name, in the language that is set.
#pragma once

#include <foundation/messages_table.h>
#include <foundation/text.h>
#include <tamba/messages.h>

// The variant of a message that eLang selects.
const char *message_format(Msg id);

// Sets eLang.
void set_language_number(int32_t language);

// The 0 behind the arguments is read by no conversion: compilers warn about a format without any argument.

// Writes a message to the protocol.  The compiler compares the arguments with the conversions of the text:
//   prot_message<Msg::kFileOpen>(program, file, mode);
template <Msg id, class... Arguments> void prot_message(Arguments... arguments)
{
    static_assert(message_takes<Arguments...>(id), "arguments do not fit the message's conversions");
    PROT(message_format(id), arguments..., 0);
}

// Formats a message into a buffer, cut and terminated.
template <Msg id, class... Arguments> void message_to(char *out, size_t size, Arguments... arguments)
{
    static_assert(message_takes<Arguments...>(id), "arguments do not fit the message's conversions");
    format_text(out, size, message_format(id), arguments..., 0);
}
