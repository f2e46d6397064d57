// Relaying the streams of a command that a control daemon runs.
#pragma once

#include <platform/socket.h>

#include <cstdio>

struct RelayStreams {
    FILE *input;           // null: the process's standard input; closed here
    FILE *output, *errors; // may be one
};

// Relays until the command has ended: output and errors to the streams, input to the first socket.  Closes the sockets.
// With a time-out a call-back that outlives the first socket and says nothing is given up.  Returns the command's exit
// code, 253 without one or when an output could not be written.
int32_t relay_streams(PlSocket first, PlSocket second, const RelayStreams &streams, int32_t timeout,
                      const char *host);
