// Byte streams behind handles: the ends of child pipes and of named pipes.
#pragma once

#include <platform/handle.h>

#include <cstddef>

// One read: waits until there is something and takes at most size bytes of it.  True with *got = 0 for a read that
// succeeds without a byte.  False and the last error: PL_BROKEN_PIPE at the end of the data (the other side has
// closed), PL_PIPE_LISTENING on a named pipe that nobody has opened yet.
[[nodiscard]] bool pl_read(TB_HANDLE stream, void *buffer, size_t size, size_t *got);

// One byte, through a buffer of the handle's own that pl_read empties first: reading a line costs no system call per
// byte.  Results as pl_read.
[[nodiscard]] bool pl_read_byte(TB_HANDLE stream, char *byte, size_t *got);

// One write: waits until the other side has taken everything, or the system has.  False and the last error:
// PL_NO_DATA when the reader has gone (never a signal), PL_PIPE_LISTENING when nobody has connected yet.
[[nodiscard]] bool pl_write(TB_HANDLE stream, const void *data, size_t size, size_t *put);
