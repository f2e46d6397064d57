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

bool pl_lock_open(const char *path, PlLockOpen mode, TB_HANDLE *handle);

// Locks byte 0 exclusively; without wait it fails with PL_LOCK_VIOLATION when somebody holds it.  The handle
// must be open for writing.
bool pl_lock(TB_HANDLE handle, bool wait);
bool pl_unlock(TB_HANDLE handle);

// True when nobody holds byte 0; false with PL_LOCK_VIOLATION when somebody does.  Works on read-only
// handles.  On Windows the inquiry holds the lock for an instant.
bool pl_lock_probe(TB_HANDLE handle);

// Reads from offset 1 (byte 0 is unreadable for others on Windows while it is locked).
bool pl_lock_read(TB_HANDLE handle, char *out, size_t size, size_t *got);

// Writes text from offset 0 and cuts the file behind it.
bool pl_lock_write(TB_HANDLE handle, const char *text, size_t length);
