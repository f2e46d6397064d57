// Programs, processes and the shell.
#pragma once

#include <platform/handle.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Starts a program.  command_line holds program and arguments as on Windows: words separated by blanks,
// grouped by double quotes, "\"" is a quote.  The program's name is taken as it stands: no ending is added,
// and without a separator it is searched on PATH.  The child inherits standard input, output and error and
// what the calling program itself has left inheritable, never anything that the seam has opened.  False and
// the last error when the program cannot be started (also when the system finds out only while executing it).
// The handle may be closed while the child runs: nothing of the child stays behind when it ends.
[[nodiscard]] bool pl_process_start(const char *command_line, TB_HANDLE *process, uint32_t *pid);

// Opens a process by id, for waiting; null and the last error when there is none (0 names none).  A process
// that has ended but is not yet forgotten by the system opens too, and has ended.
[[nodiscard]] TB_HANDLE pl_process_open(uint32_t pid);

enum class PlWait { ended, timed_out, abandoned, failed };
constexpr uint32_t kPlForever = 0xFFFFFFFFu;

// Waits for the end of a process or thread handle, at most the given time (0: only looks).  Several threads
// may wait for one handle.  failed: not a handle that can be waited for, with PL_INVALID_HANDLE.
PlWait pl_wait(TB_HANDLE process_or_thread, uint32_t milliseconds);

// Exit code of an ended process: Windows its 32 bits, Linux 0..255 or 128 + signal.  False while it runs or
// when the code is not ours to read.
[[nodiscard]] bool pl_process_exit_code(TB_HANDLE process, int32_t *code);

// Ends a process at once, without a chance to clean up; its locks and handles are gone when a wait for it
// returns.  False for an id that names no process or one that is not ours to end.
bool pl_process_kill(uint32_t pid);

uint32_t pl_process_id();

// Full path of the running program.
bool pl_program_path(char *out, size_t size);
void pl_parent_process_name(char *out, size_t size); // "unknown" when the system does not tell

// Runs a command through the command interpreter and returns its exit code, -1 when the interpreter cannot be
// started.  Flushes all output streams first; the program goes on receiving its interrupts.  Command texts
// are written for the Windows interpreter; on Linux the few constructs that only it understands ("2>>&1", a
// quoted whole command, "\" in the program's path, "nul") are rewritten for sh.
int32_t pl_shell(const char *command);

// A file name as one word of a command for pl_shell: in quotes unless it consists of letters, digits and these, and never
// to be taken for an option; "" when it cannot stand in a command.
constexpr bool pl_is_plain(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           std::string_view("_-./\\:~+,@=").find(c) != std::string_view::npos;
}
std::string pl_shell_word(const char *file);

// The command for pl_shell that sorts the lines of a text file into another file; "" when one of the names cannot
// stand in a command.
std::string pl_sort_command(const char *input, const char *output);

// Host name of this machine.
bool pl_host_name(char *out, size_t size);

// Environment.  pl_getenv returns null when unset; the text is valid until the next change of the
// environment.
const char *pl_getenv(const char *name);
bool pl_setenv(const char *name, const char *text);
bool pl_unsetenv(const char *name);
