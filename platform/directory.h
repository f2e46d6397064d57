// Directories.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class PlEntryKind {
    file,      // a plain file, or a link to one
    directory, // no link: a walk that follows those may never end
    other,
};

struct PlEntry {
    std::string name;
    PlEntryKind kind;
};

// The entries of a directory but "." and "..", in the order of the bytes of their names; names that the seam could not
// open by (Linux: with "\" in them) are left out.  False and the last error when it cannot be read to its end; there are
// none then.
[[nodiscard]] bool pl_list_entries(const char *directory, std::vector<PlEntry> *entries);

// The names of the plain files among them.
[[nodiscard]] bool pl_list_files(const char *directory, std::vector<std::string> *names);

// Bytes that this user can still write to the file system of a directory.
[[nodiscard]] bool pl_free_space(const char *directory, uint64_t *bytes);

// Whether names that differ in letter case only are one file.
bool pl_names_ignore_case();
