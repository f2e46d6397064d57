#include <platform/process.h>

#include <platform/child_pipe.h>

#include <platform/fault.h>
#include <platform/posix/child_process.h>
#include <platform/posix/command_line.h>
#include <platform/posix/descriptor.h>

#include <algorithm>
#include <cstdio>

namespace {

// One word for sh, whatever stands in it.  Redirections are looked for outside double quotes only.
std::string quoted(const char *path)
{
    std::string word = "'";
    for (const char c : native_path(path)) {
        if (c == '\'')
            word += "'\\''";
        else if (c == '<' || c == '>')
            word.append("'\"").append(1, c).append("\"'");
        else
            word += c;
    }
    return word + "'";
}

} // namespace

std::string pl_shell_word(const char *file)
{
    const std::string name = std::string(*file == '-' ? "./" : "") + file;
    return !name.empty() && std::all_of(name.begin(), name.end(), pl_is_plain) ? native_path(name.c_str())
                                                                               : quoted(name.c_str());
}

// Unlike system() it leaves the program's signals alone: a ctrl-c has to reach the program's own handler
// while a command runs, as it does on Windows.
int32_t pl_shell(const char *command)
{
    if (pl_fault())
        return -1;
    std::fflush(nullptr);
    const auto shell = ChildProcess::start({"/bin/sh", "-c", "--", shell_command(command ? command : "")});
    int32_t code = 0;
    if (!shell || shell->wait(kPlForever) != PlWait::ended || !shell->exit_code(&code))
        return -1;
    return code;
}

std::string pl_sort_command(const char *input, const char *output)
{
    return "LC_ALL=C sort -o " + pl_shell_word(output) + " " + pl_shell_word(input);
}

// One word of a command line: quotes in it are marked, and the backslashes in front of them.
std::string pl_script_command(const char *command)
{
    std::string line = "/bin/sh -c \"";
    size_t backslashes = 0;
    for (const char c : shell_command(command)) {
        if (c == '"')
            line.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        line += c;
    }
    return line.append(backslashes, '\\') + "\"";
}
