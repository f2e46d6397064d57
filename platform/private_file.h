// Files that nobody else may read.
#pragma once

#include <cstddef>

enum class PlPrivate {
    read,
    unreadable, // the last error tells
    exposed,    // somebody but its owner can read it, or its owner is neither this user nor the administrator
};

// Reads at most size bytes of such a file.  Windows: the administrators and the system itself may have rights, too.
PlPrivate pl_read_private_file(const char *path, char *out, size_t size, size_t *length);
