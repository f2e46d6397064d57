// Threads that are known by a handle.
#pragma once

#include <platform/handle.h>

#include <cstdint>

// stop: an event (event.h) that is set when the thread is asked to end; it is there as long as the thread runs.
using PlThreadFn = uint32_t (*)(void *argument, TB_HANDLE stop);

// Starts a thread; the handle stays valid until pl_close and can be waited for with pl_wait.  Closing it lets
// the thread run on.  The handle's value fits 31 bits, because process references carry it negated in an
// int32_t.  Signal handlers of the program do not run in it.
[[nodiscard]] bool pl_thread_start(PlThreadFn fn, void *argument, TB_HANDLE *thread);

// Asks a thread to end, by its event, and does not wait for it.
bool pl_thread_stop(TB_HANDLE thread);

// The number by which the system's own tools know the thread; 0 for an unknown handle.
uint32_t pl_thread_id(TB_HANDLE thread);

// Result of an ended thread; false while it runs.
[[nodiscard]] bool pl_thread_exit_code(TB_HANDLE thread, uint32_t *code);

// Ends a thread from outside with that result.  It is asked first and has its time to answer: what it holds is then
// given back.  A thread that does not answer counts as ended all the same: on Linux it stops in the next wait of the
// seam, where it holds no lock of the library's; Windows takes it away wherever it is.  True also when it had
// ended before; unknown handles fail with PL_INVALID_HANDLE and touch nothing.  A thread that means itself is only
// asked.
bool pl_thread_end(TB_HANDLE thread, uint32_t code);

// The time to answer.  A test shortens what it would have to sit out.
inline uint32_t pl_thread_patience_ms = 3000;
