#include <platform/process.h>

#include <platform/fault.h>
#include <platform/win32/child_process.h>
#include <platform/win32/errors.h>
#include <platform/win32/handle_table.h>

#include <string>

std::mutex &spawn_lock()
{
    static std::mutex *const lock = new std::mutex;
    return *lock;
}

OwnedHandle start_program(const char *program, const char *command_line, uint32_t *pid)
{
    std::string text(command_line); // the system writes into it
    STARTUPINFOA start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION child = {};
    const std::lock_guard lock(spawn_lock());
    if (!CreateProcessA(program, text.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &child)) {
        pl_fail_last();
        return {};
    }
    CloseHandle(child.hThread);
    *pid = child.dwProcessId;
    return OwnedHandle(child.hProcess);
}

bool pl_process_start(const char *command_line, TB_HANDLE *process, uint32_t *pid)
{
    *process = nullptr;
    if (pl_fault())
        return false;
    OwnedHandle child = start_program(nullptr, command_line ? command_line : "", pid);
    if (!child)
        return false;
    *process = handle_add(std::move(child), HandleKind::process);
    return true;
}

TB_HANDLE pl_process_open(uint32_t pid)
{
    if (pl_fault())
        return nullptr;
    OwnedHandle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid));
    if (!process) // waiting needs less than the exit code
        process = OwnedHandle(OpenProcess(SYNCHRONIZE, FALSE, pid));
    if (!process) {
        pl_fail_last();
        return nullptr;
    }
    // The system ignores the lowest two bits of an id.
    const DWORD opened = GetProcessId(process.get());
    if (opened != 0 && opened != pid) {
        pl_fail(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return handle_add(std::move(process), HandleKind::process);
}

PlWait pl_wait(TB_HANDLE process_or_thread, uint32_t milliseconds)
{
    const auto object = handle_find(process_or_thread);
    if (!object || pl_fault())
        return PlWait::failed;
    if (object->kind != HandleKind::process && object->kind != HandleKind::thread &&
        object->kind != HandleKind::child_thread) {
        pl_fail(ERROR_INVALID_HANDLE);
        return PlWait::failed;
    }
    switch (WaitForSingleObject(object->system.get(), milliseconds)) {
    case WAIT_OBJECT_0:
        return PlWait::ended;
    case WAIT_TIMEOUT:
        return PlWait::timed_out;
    case WAIT_ABANDONED:
        return PlWait::abandoned;
    default:
        pl_fail_last();
        return PlWait::failed;
    }
}

bool pl_process_exit_code(TB_HANDLE process, int32_t *code)
{
    const auto object = handle_find(process, HandleKind::process);
    DWORD number = 0;
    if (!object || pl_fault())
        return false;
    if (!GetExitCodeProcess(object->system.get(), &number))
        return pl_fail_last();
    // The number that means "still running" can also be the code of a program that has ended.
    if (number == STILL_ACTIVE && WaitForSingleObject(object->system.get(), 0) == WAIT_TIMEOUT)
        return pl_fail(ERROR_BUSY);
    *code = static_cast<int32_t>(number);
    return true;
}
