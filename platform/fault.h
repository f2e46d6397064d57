// Fault injection: the failure of any call of the seam, on demand.  In production the counter is idle and
// costs one relaxed load per call.
#pragma once

#include <platform/error.h>

// Lets the n-th guarded seam call from now on (1 = the next) fail with kind; 0 switches injection off.
// Process-wide.
void pl_fault_arm(int32_t nth, PlKind kind);

// How many guarded calls have been made since the last arming.
int32_t pl_fault_calls();

// For the seam's own functions: true when this call has to fail; the thread's last error is then set.
bool pl_fault();
