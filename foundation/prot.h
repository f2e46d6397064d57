// The protocol writer for callers that hold an argument list.
#pragma once

#include <cstdarg>
#include <tamba/tamba_export.h>

int32_t prot_v(const char *format, va_list arguments) TAMBA_PRINTF(1, 0);
