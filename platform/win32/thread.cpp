#include <platform/thread.h>

#include <platform/event.h>
#include <platform/fault.h>
#include <platform/win32/child_process.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>

#include <cerrno>
#include <process.h>
#include <utility>

namespace {

// A thread of the seam's own.  Its handle comes once it has been started.
struct Thread {
    PlThreadFn fn;
    void *argument;
    OwnedHandle begun{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
    TB_HANDLE stop = pl_event_create(); // the last, so that the reason of its failure stays
    std::mutex mutex;
    bool has_code = false;
    uint32_t code = 0;

    ~Thread()
    {
        if (stop)
            pl_close(stop);
    }
    // The first code counts: that of whoever ends the thread, or its own.
    uint32_t set_code(uint32_t wanted)
    {
        const std::lock_guard lock(mutex);
        if (!std::exchange(has_code, true))
            code = wanted;
        return code;
    }
};

struct ThreadObject : HandleObject {
    ThreadObject(OwnedHandle handle, std::shared_ptr<Thread> the_thread)
        : HandleObject(std::move(handle), HandleKind::thread), thread(std::move(the_thread))
    {
    }
    const std::shared_ptr<Thread> thread;
};

unsigned __stdcall thread_main(void *passed)
{
    const std::unique_ptr<std::shared_ptr<Thread>> own(static_cast<std::shared_ptr<Thread> *>(passed));
    Thread &thread = **own;
    SetEvent(thread.begun.get());
    return thread.set_code(thread.fn(thread.argument, thread.stop));
}

std::shared_ptr<ThreadObject> thread_of(TB_HANDLE handle)
{
    return std::static_pointer_cast<ThreadObject>(handle_find(handle, HandleKind::thread));
}

} // namespace

bool pl_thread_start(PlThreadFn fn, void *argument, TB_HANDLE *thread)
{
    *thread = nullptr;
    if (pl_fault())
        return false;
    const auto object = std::make_shared<Thread>(fn, argument);
    if (!object->stop)
        return false;
    if (!object->begun)
        return pl_fail(ERROR_NOT_ENOUGH_MEMORY);
    auto *const passed = new std::shared_ptr<Thread>(object);
    const uintptr_t started = _beginthreadex(nullptr, 0, thread_main, passed, 0, nullptr);
    if (started == 0) {
        delete passed;
        return pl_fail(errno == EAGAIN ? ERROR_MAX_THRDS_REACHED : ERROR_NOT_ENOUGH_MEMORY);
    }
    // A thread that is ended while the system still sets it up takes the loader's lock with it, and the process hangs.
    WaitForSingleObject(object->begun.get(), INFINITE);
    *thread =
        handle_add(std::make_shared<ThreadObject>(OwnedHandle(reinterpret_cast<HANDLE>(started)), object));
    return true;
}

bool pl_thread_stop(TB_HANDLE thread)
{
    const auto object = thread_of(thread);
    return object && pl_event_set(object->thread->stop);
}

uint32_t pl_thread_id(TB_HANDLE thread)
{
    const auto object = thread_of(thread);
    return object ? GetThreadId(object->system.get()) : 0;
}

bool pl_thread_exit_code(TB_HANDLE thread, uint32_t *code)
{
    const auto object = thread_of(thread);
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
    const auto object = thread_of(thread);
    if (!object || pl_fault())
        return false;
    const HANDLE system = object->system.get();
    object->thread->set_code(code);
    pl_event_set(object->thread->stop);
    if (GetThreadId(system) == GetCurrentThreadId() ||
        WaitForSingleObject(system, pl_thread_patience_ms) == WAIT_OBJECT_0)
        return true;
    // Not while it holds one of the seam's own locks.
    const auto table = handle_table_lock();
    const std::lock_guard spawns(spawn_lock());
    return TerminateThread(system, code) || pl_fail_last();
}
