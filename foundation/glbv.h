// Global variables for the library's own callers.
#pragma once

#include <foundation/ini.h>
#include <tamba/config.h>

using GlobalValue = FixedText<TAMBA_GLBV_SIZE>;

// Reads a variable; false when it is unknown (value then begins with "?": as a directory one platform refuses
// it, the other would create files of such names in the working directory).
bool read_global(const char *name, GlobalValue *value);

// Its value, or a replacement for an unknown one.
std::string global_or(const char *name, const char *replacement);

// glbv with the result in value itself, which is not null and of TAMBA_GLBV_SIZE; returns value.
char *serve_variable(char function, const char *name, char *value);

// The caller's buffer, or an emptied one of the thread for a caller that has none.
char *buffer_or_own(char *value);

// resolve_path with a bound: rewrites text within size.  The second form looks into a reading of the ini file
// that the caller has already.
void resolve_path_n(char *text, size_t size);
void resolve_path_n(char *text, size_t size, const IniFile &ini);
