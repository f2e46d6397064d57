#include <platform/mutex.h>

#include <platform/fault.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>

PlMutex pl_mutex_create(const char *name, TB_HANDLE *handle)
{
    *handle = nullptr;
    if (pl_fault())
        return PlMutex::failed;
    SetLastError(ERROR_SUCCESS);
    OwnedHandle mutex(CreateMutexA(nullptr, TRUE, name && *name ? name : nullptr));
    const DWORD error = GetLastError();
    if (!mutex) {
        pl_fail(error);
        return PlMutex::failed;
    }
    *handle = handle_add(std::move(mutex), HandleKind::mutex);
    return error == ERROR_ALREADY_EXISTS ? PlMutex::existed : PlMutex::created;
}

bool pl_mutex_release(TB_HANDLE handle)
{
    const auto object = handle_find(handle, HandleKind::mutex);
    if (!object)
        return false;
    // Fails for a handle that found the mutex existing, and in another thread than the creator's.  The name is what
    // counts, and that goes with the last handle.
    ReleaseMutex(object->system.get());
    return pl_close(handle);
}
