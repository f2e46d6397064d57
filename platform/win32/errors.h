// How the Windows side of the seam reports failures.
#pragma once

#include <platform/error.h>

#include <cstdint>

// Record the thread's last error and return false, so that a failing function ends with `return pl_fail_last();`.
bool pl_fail(uint32_t win32_number);
bool pl_fail(PlKind kind, uint32_t win32_number);

// The number of GetLastError, which every other call may change: first thing after the failing call.
bool pl_fail_last();

// The C library's number that says best what a number of the system means.
int32_t pl_c_error(uint32_t win32_number);
