// The handles that are open.  A TB_HANDLE is the system's own HANDLE here, because records show it to their users; the
// table keeps a stale copy from reaching the system, where the number may mean something of the program's by now.
#pragma once

#include <platform/handle.h>
#include <platform/win32/system.h>

#include <cstdint>

enum class HandleKind : uint8_t { lock_file, mutex, process, thread, pipe, other };

// Enters what the seam hands out.
TB_HANDLE handle_add(OwnedHandle object, HandleKind kind);

// False with PL_INVALID_HANDLE for a stale or foreign handle, or one of another kind.
bool handle_is(TB_HANDLE handle, HandleKind kind);
bool handle_is_waitable(TB_HANDLE handle); // a process or a thread

// Whether byte 0 of a lock file is locked through this handle.
bool handle_is_locked(TB_HANDLE handle);
void handle_set_locked(TB_HANDLE handle, bool locked);
