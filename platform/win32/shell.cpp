#include <platform/process.h>

#include <platform/child_pipe.h>

#include <platform/fault.h>
#include <platform/win32/child_process.h>
#include <platform/win32/errors.h>

#include <cstdio>
#include <string>

// What system() does, but under the lock of all program starts: system() would hand a child the pipe ends that are
// inheritable for another one's sake.
int32_t pl_shell(const char *command)
{
    if (pl_fault())
        return -1;
    std::fflush(nullptr);
    const std::string text = pl_script_command(command ? command : "");
    uint32_t pid = 0;
    OwnedHandle child = start_program(nullptr, text.c_str(), &pid);
    DWORD code = 0;
    if (!child)
        return -1;
    if (WaitForSingleObject(child.get(), INFINITE) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(child.get(), &code)) {
        pl_fail_last();
        return -1;
    }
    return static_cast<int32_t>(code);
}

std::string pl_sort_command(const char *input, const char *output)
{
    char command[4096];
    std::snprintf(command, sizeof command, "sort /L C %s /O %s", input, output);
    return command;
}

std::string pl_script_command(const char *command)
{
    const char *const configured = pl_getenv("COMSPEC");
    return std::string(configured && *configured ? configured : "cmd.exe") + " /c " + command;
}
