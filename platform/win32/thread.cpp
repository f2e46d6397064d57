#include <platform/thread.h>

#include <platform/fault.h>
#include <platform/win32/child_process.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>

#include <cerrno>
#include <process.h>

namespace {

struct ThreadCall {
    PlThreadFn fn;
    void *argument;
    HANDLE begun;
};

unsigned __stdcall thread_main(void *passed)
{
    const ThreadCall call = *static_cast<ThreadCall *>(passed);
    SetEvent(call.begun);
    return call.fn(call.argument);
}

} // namespace

bool pl_thread_start(PlThreadFn fn, void *argument, TB_HANDLE *thread)
{
    *thread = nullptr;
    if (pl_fault())
        return false;
    const OwnedHandle begun(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    if (!begun)
        return pl_fail_last();
    ThreadCall call = {fn, argument, begun.get()};
    const uintptr_t started = _beginthreadex(nullptr, 0, thread_main, &call, 0, nullptr);
    if (started == 0)
        return pl_fail(errno == EAGAIN ? ERROR_MAX_THRDS_REACHED : ERROR_NOT_ENOUGH_MEMORY);
    // A thread that is ended while the system still sets it up takes the loader's lock with it, and the process hangs.
    WaitForSingleObject(begun.get(), INFINITE);
    *thread = handle_add(OwnedHandle(reinterpret_cast<HANDLE>(started)), HandleKind::thread);
    return true;
}

uint32_t pl_thread_id(TB_HANDLE thread)
{
    const auto object = handle_find(thread, HandleKind::thread);
    return object ? GetThreadId(object->system.get()) : 0;
}

bool pl_thread_exit_code(TB_HANDLE thread, uint32_t *code)
{
    const auto object = handle_find(thread, HandleKind::thread);
    DWORD number = 0;
    if (!object || pl_fault())
        return false;
    if (!GetExitCodeThread(object->system.get(), &number))
        return pl_fail_last();
    if (number == STILL_ACTIVE && WaitForSingleObject(object->system.get(), 0) == WAIT_TIMEOUT)
        return pl_fail(ERROR_BUSY);
    *code = number;
    return true;
}

bool pl_thread_end(TB_HANDLE thread, uint32_t code)
{
    const auto object = handle_find(thread, HandleKind::thread);
    if (!object || pl_fault())
        return false;
    if (WaitForSingleObject(object->system.get(), 0) == WAIT_OBJECT_0)
        return true;
    // Not while it holds one of the seam's own locks.
    const auto table = handle_table_lock();
    const std::lock_guard spawns(spawn_lock());
    return TerminateThread(object->system.get(), code) || pl_fail_last();
}
