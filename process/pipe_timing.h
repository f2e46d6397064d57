// How long pipes wait.  A test shortens what it would have to sit out.
#pragma once

#include <cstdint>

struct PipeTiming {
    uint32_t watch_slice_ms = 120000; // a program that has not ended by then is looked at
    uint32_t ready_ms = 20000;        // for a program to wait for input
    uint32_t watcher_ms = 3000;       // for the thread that watches a program, at close
    uint32_t exit_ms = 1000;          // for the exit code behind the end of the output
    uint32_t busy_pause_ms = 20;      // between two tries to open a named pipe
    uint32_t busy_tries = 500;
    uint32_t receive_ms = 3000; // for a message
    uint32_t sender_ms = 20000; // for a sender's turn
};
inline PipeTiming pipe_timing;
