// Names of the system's programs.
#pragma once

#include <string>

// A name without any "." gets the ending of a program.
std::string exe_file_name(const char *name);
