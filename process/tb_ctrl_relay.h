// Relaying the streams of a command that a control daemon runs.
#pragma once

#include <platform/socket.h>

#include <cstdio>

// Relays until the command has ended: output and errors to the streams, which may be one, input (null: the process's
// standard input) to the first socket.  Closes the sockets.  Returns the command's exit code, 253 without one or when
// an output could not be written.
int32_t relay_streams(PlSocket first, PlSocket second, FILE *input, FILE *output, FILE *errors);
