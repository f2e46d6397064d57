// The program's standard input, for a thread that must be able to stop waiting for it.
#pragma once

#include <platform/event.h>

#include <cstddef>

enum class PlInput { data, end, stopped };

// Waits for input, its end or the event, and takes what is there.  An input that is not open is at its end.  Where the
// system cannot wait for both (Windows: some kinds of pipes) the call goes on until input comes: let it happen in a
// thread that nobody waits for.
[[nodiscard]] PlInput pl_input_read(TB_HANDLE stop, void *buffer, size_t size, size_t *got);
