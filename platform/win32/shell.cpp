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

// A file name as one word of a command.
std::string file_word(const char *name)
{
    std::string word = name;
    std::replace(word.begin(), word.end(), '/', '\\');
    if (!word.empty() && word.find_first_of(" \t&()[]{}^=;!'+,`~<>|@") == std::string::npos)
        return word;
    // A backslash in front of the closing quote would mark it.
    return '"' + word + (word.ends_with('\\') ? "\\\"" : "\"");
}

} // namespace

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

// "\" for "/", which would begin an option.  Within quotes the interpreter leaves everything but "%" alone.
std::string pl_sort_command(const char *input, const char *output)
{
    std::string command = "sort /L C " + file_word(input) + " /O " + file_word(output);
    const bool impossible = std::strpbrk(input, "\"\r\n") || std::strpbrk(output, "\"\r\n") ||
                            std::count(command.begin(), command.end(), '%') > 1 ||
                            command.size() > kLongestCommand;
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
