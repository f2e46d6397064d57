// Global variables for the library's own callers.
#pragma once

#include <foundation/ini.h>
#include <tamba/config.h>

using GlobalValue = FixedText<TAMBA_GLBV_SIZE>;

// Reads a variable; false when it is unknown (value then begins with "?").
bool read_global(const char *name, GlobalValue *value);

// Joins a directory variable and a file name ("%s%s").  False when the variable is unknown: the name would
// then begin with "???", which one platform refuses and the other would create in the working directory.
bool path_below_global(const char *directory_name, const char *file_name, char *path, size_t path_size);

// resolve_path with a bound: rewrites text within size.  The second form looks into a reading of the ini file
// that the caller has already.
void resolve_path_n(char *text, size_t size);
void resolve_path_n(char *text, size_t size, const IniFile &ini);
