// Where the system's programs lie, and their names.
#pragma once

#include <foundation/glbv.h>

#include <string>

// The program directory; "" when it is not set.
inline std::string program_directory()
{
    return global_or("gv_ro_bin", "");
}

// A name without any "." gets the ending of a program.
inline std::string exe_file_name(const std::string &name)
{
    return name.find('.') == std::string::npos ? name + ".exe" : name;
}
