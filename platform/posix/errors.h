// How the Linux side of the seam reports failures.
#pragma once

#include <platform/error.h>

// Record the thread's last error and return false, so that a failing function ends with `return
// pl_fail(errno);`.
bool pl_fail(int errno_value);
bool pl_fail(PlKind kind, int32_t number);

// The resolver's errors are negative numbers beside errno's: they are counted from here on.
constexpr int32_t kResolverErrors = 0x10000;

// For a failed open of path: ENOENT is told apart into a missing file and a missing directory.
bool pl_fail_path(int errno_value, const char *path);
