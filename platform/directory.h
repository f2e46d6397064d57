// Directories.
#pragma once

#include <string>
#include <vector>

// The names of a directory's plain files, links to such included, in the order of their bytes; names that the seam
// could not open by (Linux: with "\" in them) are left out.  False and the last error when the directory cannot be read
// to its end; names is empty then.
[[nodiscard]] bool pl_list_files(const char *directory, std::vector<std::string> *names);

// Whether names that differ in letter case only are one file.
bool pl_names_ignore_case();
