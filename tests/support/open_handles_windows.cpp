#include "tests/support/open_handles.h"

#include <windows.h>

uint32_t open_handles()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}
