// Named single-instance locks: the name is taken while any process has the mutex open.
#pragma once

#include <platform/handle.h>

enum class PlMutex { created, existed, failed };

// Creates the named mutex, or opens it when it exists already (PlMutex::existed, the handle then keeps the
// name taken too, also after the creator has ended).  Names are case-sensitive and hold no "\" but the one
// behind "Global" or "Local"; a name is one for all users on Linux (of one network name space), and one
// per logon session on Windows unless it begins with "Global\".  An empty name makes a mutex of its own.  failed: the last error tells,
// with PL_INVALID_HANDLE for a name that means another kind of object.
[[nodiscard]] PlMutex pl_mutex_create(const char *name, TB_HANDLE *handle);

// Gives up ownership and closes.  A handle that is not an open mutex fails with PL_INVALID_HANDLE.
bool pl_mutex_release(TB_HANDLE handle);
