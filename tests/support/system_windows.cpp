#include "tests/support/system.h"

#include <algorithm>
#include <windows.h>

uint32_t open_handles()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

void remove_registry(const std::string &name)
{
    if (name.empty())
        return;
    std::string key = name;
    std::replace(key.begin(), key.end(), '\\', '/');
    RegDeleteTreeA(HKEY_CURRENT_USER, ("Software\\Korvel\\tamba test kit\\" + key).c_str());
}

void suspend_this_process()
{
    SuspendThread(GetCurrentThread()); // its main thread is what counts
}

size_t large_size(size_t emulated, size_t)
{
    return emulated;
}

bool has_zombies()
{
    return false; // what remains of a process is a handle, and those are counted
}
