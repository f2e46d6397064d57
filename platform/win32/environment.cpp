#include <platform/process.h>

#include <platform/win32/errors.h>
#include <platform/win32/system.h>

#include <cstdio>
#include <cstdlib>
#include <tlhelp32.h>

namespace {

// What a killed child shows on the other platform: 128 and the number of the signal.
constexpr UINT kKilled = 137;

// Entry of a process in a snapshot; false when it is not there.
bool find_process(const OwnedHandle &snapshot, DWORD pid, PROCESSENTRY32 *entry)
{
    entry->dwSize = sizeof *entry;
    for (BOOL more = Process32First(snapshot.get(), entry); more; more = Process32Next(snapshot.get(), entry))
        if (entry->th32ProcessID == pid)
            return true;
    return false;
}

} // namespace

uint32_t pl_process_id()
{
    return GetCurrentProcessId();
}

bool pl_process_kill(uint32_t pid)
{
    const OwnedHandle process(OpenProcess(PROCESS_TERMINATE, FALSE, pid));
    return (process && TerminateProcess(process.get(), kKilled)) || pl_fail_last();
}

bool pl_program_path(char *out, size_t size)
{
    const DWORD length = GetModuleFileNameA(nullptr, out, static_cast<DWORD>(size));
    return (length > 0 && length < size) || pl_fail_last();
}

void pl_parent_process_name(char *out, size_t size)
{
    PROCESSENTRY32 self, parent;
    const OwnedHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    const bool found = snapshot && find_process(snapshot, GetCurrentProcessId(), &self) &&
                       find_process(snapshot, self.th32ParentProcessID, &parent);
    std::snprintf(out, size, "%s", found ? parent.szExeFile : "unknown");
}

bool pl_host_name(char *out, size_t size)
{
    // The name that gethostname gives, without the need to start Winsock.
    char name[256];
    DWORD length = sizeof name;
    if (size == 0)
        return pl_fail(ERROR_INVALID_PARAMETER);
    if (!GetComputerNameExA(ComputerNameDnsHostname, name, &length))
        return pl_fail_last();
    std::snprintf(out, size, "%s", name);
    return true;
}

const char *pl_getenv(const char *name)
{
    if (const char *const text = std::getenv(name))
        return text;
    // The C library keeps no empty variables, the system does.
    char nothing[1];
    SetLastError(ERROR_SUCCESS);
    const bool empty =
        GetEnvironmentVariableA(name, nothing, sizeof nothing) == 0 && GetLastError() == ERROR_SUCCESS;
    return empty ? "" : nullptr;
}

bool pl_setenv(const char *name, const char *text)
{
    // The C library's environment, which it hands to the system; an empty text means removal there.
    if (_putenv_s(name, text) != 0)
        return pl_fail(ERROR_INVALID_PARAMETER);
    return *text || SetEnvironmentVariableA(name, "") || pl_fail_last();
}

bool pl_unsetenv(const char *name)
{
    return _putenv_s(name, "") == 0 || pl_fail(ERROR_INVALID_PARAMETER);
}
