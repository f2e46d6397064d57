// Threads that are known by a handle.
#pragma once

#include <platform/handle.h>

#include <cstdint>

using PlThreadFn = uint32_t (*)(void *);

// Starts a thread; the handle stays valid until pl_close and can be waited for with pl_wait.  The handle's
// value fits 31 bits on Linux, because process references carry it negated in an int32_t.
bool pl_thread_start(PlThreadFn fn, void *argument, TB_HANDLE *thread);

// Result of an ended thread; false while it runs.
bool pl_thread_exit_code(TB_HANDLE thread, uint32_t *code);

// Ends a thread from outside: the last resort, the thread cleans up nothing on Windows.  Unknown handles
// fail.
bool pl_thread_end(TB_HANDLE thread, uint32_t code);
