#include <platform/process.h>

#include <platform/child_pipe.h>

#include <platform/fault.h>
#include <platform/win32/child_process.h>
#include <platform/win32/errors.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr size_t kLongestCommand = 8100; // the interpreter's limit, less its own name

// "\" for "/", which would begin an option.
std::string sort_word(std::string name)
{
    std::replace(name.begin(), name.end(), '/', '\\');
    return pl_shell_word(name.c_str());
}

} // namespace

// Within quotes the interpreter leaves everything but "%" alone.
std::string pl_shell_word(const char *file)
{
    const std::string name = std::string(*file == '-' ? ".\\" : "") + file;
    if (name.find_first_of("\"\r\n") != name.npos || std::count(name.begin(), name.end(), '%') > 1)
        return {};
    if (!name.empty() && std::all_of(name.begin(), name.end(), pl_is_plain))
        return name;
    // A backslash in front of the closing quote would mark it.
    return '"' + name + (name.ends_with('\\') ? "\\\"" : "\"");
}

// What system() does, but under the lock of all program starts: system() would hand a child the pipe ends that are
// inheritable for another one's sake.
int32_t pl_shell(const char *command)
{
    if (pl_fault())
        return -1;
    std::fflush(nullptr);
    const std::string text = pl_script_command(command ? command : "");
    if (text.empty())
        return -1;
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
    const std::string from = sort_word(input), to = sort_word(output);
    const std::string command = "sort /L C " + from + " /O " + to;
    const bool impossible = from.empty() || to.empty() || command.size() > kLongestCommand ||
                            std::count(command.begin(), command.end(), '%') > 1;
    return impossible ? "" : command;
}

std::string pl_script_command(const char *command)
{
    const char *const configured = pl_getenv("COMSPEC");
    if (std::strlen(command) > kLongestCommand) { // the interpreter would lose what is behind
        pl_fail(ERROR_FILENAME_EXCED_RANGE);
        return {};
    }
    return std::string(configured && *configured ? configured : "cmd.exe") + " /c " + command;
}
