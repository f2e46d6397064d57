// Names of pipes.
#pragma once

#include <foundation/text.h>

using PipeName = FixedText<1025>;

// The full name: with the prefix of pipes in front, unless it is there.
inline PipeName full_pipe_name(const char *name)
{
    constexpr std::string_view kPrefix = "\\\\.\\pipe\\";
    const std::string_view given = text_or_empty(name);
    PipeName full(given.substr(0, kPrefix.size()) == kPrefix ? "" : kPrefix);
    full.append(given);
    return full;
}
