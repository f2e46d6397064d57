// Named pipes: byte streams between two processes of one machine, found by a name.  Reading and writing: pipe.h.
#pragma once

#include <platform/handle.h>

#include <cstdint>

// Names are compared without regard to letter case.  mode: 0 data flow to the creator, 1 from it, 2 both ways; for
// the one who opens 0 reads, 1 writes, 2 both.

enum class PlNamedPipe { done, no_descriptor, descriptor_not_initialised, descriptor_not_set, not_created };

// Creates the only instance of a pipe that every user may open.  The last error tells: PL_PIPE_BUSY for a name that
// is taken.
[[nodiscard]] PlNamedPipe pl_named_pipe_create(const char *name, int32_t mode, TB_HANDLE *pipe);

// Opens a pipe.  False and the last error: PL_PIPE_BUSY when it has its client, PL_FILE_NOT_FOUND without such a
// pipe, PL_ACCESS_DENIED when data flow the other way.
[[nodiscard]] bool pl_named_pipe_open(const char *name, int32_t mode, TB_HANDLE *pipe);

// Waits for the client.  True when it has come, also when it had come before.
[[nodiscard]] bool pl_named_pipe_wait(TB_HANDLE pipe);
