// Files whose first byte is locked between processes.  The lock excludes other handles of the same process
// too, ends with the handle or the process, and does not pass to children.
#pragma once

#include <platform/handle.h>

#include <cstddef>
#include <cstdint>

enum class PlLockOpen {
    read,
    write,
    create
}; // existing read-only, existing read-write, read-write and create

// Opens a file for the functions below.  On failure *handle is null and the last error tells a missing file
// (PL_FILE_NOT_FOUND) from a missing directory (PL_PATH_NOT_FOUND).  Other processes may open, read, write
// and lock the file meanwhile.  A created file is open to all users as far as the process's mask allows.
[[nodiscard]] bool pl_lock_open(const char *path, PlLockOpen mode, TB_HANDLE *handle);

// Locks byte 0 exclusively; without wait it fails with PL_LOCK_VIOLATION when another handle holds it.  With
// wait there is no time limit, and signals do not end it.  The handle must be open for writing.
[[nodiscard]] bool pl_lock(TB_HANDLE handle, bool wait);

// Gives up the lock; true also when the handle held none.  pl_close does the same on its way.
bool pl_unlock(TB_HANDLE handle);

// True when nobody holds byte 0; false with PL_LOCK_VIOLATION when another handle does.  Works on read-only
// handles that hold no lock themselves.  On Windows the inquiry holds the lock for an instant.
[[nodiscard]] bool pl_lock_probe(TB_HANDLE handle);

// Reads at most size bytes from offset 1 (byte 0 is unreadable for others on Windows while it is locked). got
// is 0 for a file of one byte or none.
[[nodiscard]] bool pl_lock_read(TB_HANDLE handle, char *out, size_t size, size_t *got);

// Writes text from offset 0.  former_length is the file's length before, as the holder of the lock knows it:
// what stands behind the text is cut off when the file was longer.
bool pl_lock_write(TB_HANDLE handle, const char *text, size_t length, size_t former_length);
