// The status reporter of the semaphores.
#pragma once

#include <tamba/trace.h>

enum class SemaSeverity : int32_t { success, warning, error, fatal };

// Writes severity, text and the C library's present error (errno) into both traces as far as their levels are
// above 0. fatal also prints a STATUS line on standard output and ends the process with exit code 3.
void sema_report(SemaSeverity severity, const char *text, TraceContext &caller, TraceContext &semaphore);
