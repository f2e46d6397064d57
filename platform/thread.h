// Threads that are known by a handle.
#pragma once

#include <platform/handle.h>

#include <cstdint>

using PlThreadFn = uint32_t (*)(void *);

// Starts a thread; the handle stays valid until pl_close and can be waited for with pl_wait.  Closing it lets
// the thread run on.  The handle's value fits 31 bits, because process references carry it negated in an
// int32_t.  Signal handlers of the program do not run in it.
bool pl_thread_start(PlThreadFn fn, void *argument, TB_HANDLE *thread);

// The number by which the system's own tools know the thread; 0 for an unknown handle.
uint32_t pl_thread_id(TB_HANDLE thread);

// Result of an ended thread; false while it runs.
bool pl_thread_exit_code(TB_HANDLE thread, uint32_t *code);

// Ends a thread from outside with that result: the last resort, the thread cleans up nothing.  On Linux it
// counts as ended at once and stops at its next waiting call.  True also when it had ended before; unknown
// handles fail with PL_INVALID_HANDLE and touch nothing.
bool pl_thread_end(TB_HANDLE thread, uint32_t code);
