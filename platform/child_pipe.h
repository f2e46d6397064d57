// Programs that are started with pipes for standard streams.
#pragma once

#include <platform/pipe.h>

#include <cstdint>
#include <string>

struct PlChildStreams {
    bool pipe_input = false;  // a pipe that the caller writes to, else the caller's own standard input
    bool null_input = false;  // the null device, also when a pipe is asked for
    bool pipe_output = false; // a pipe that the caller reads from, else the caller's own standard output
    bool pipe_error = false;  // the same for standard error
    bool join_error = false;  // standard error goes where standard output goes
};

// All handles are the caller's to close; null where there is none.  Nothing of the child stays behind when it ends,
// whether its handles are open or not.
struct PlChild {
    TB_HANDLE process, thread;
    uint32_t pid, tid;
    TB_HANDLE output, input, errors;
};

enum class PlChildStart {
    done,
    no_input_pipe,
    no_input_handle,
    no_output_pipe, // this and the next also for errors
    no_output_handle,
    not_started,
};

// Starts a program.  program: its path as it stands, or null for the first word of command_line, which is searched
// on PATH; command_line: its own name and its arguments, as pl_process_start takes them.  Our ends of the pipes reach
// no other program, the child's ends only this one.  On failure nothing is open, child is all zero and the last error
// tells.
[[nodiscard]] PlChildStart pl_child_start(const char *program, const char *command_line,
                                          const PlChildStreams &streams, PlChild *child);

// Another handle of the same object.
[[nodiscard]] TB_HANDLE pl_duplicate(TB_HANDLE handle);

// Waits until a program with windows has begun to wait for input; others count as ready at once.
void pl_child_wait_ready(TB_HANDLE process, uint32_t milliseconds);

// Where the system closes a program's streams before there is an exit code: waits for it when output, the handle of the
// program's output pipe or null, was read to its end.  Returns at once in all other cases.
void pl_child_wait_exit(TB_HANDLE process, TB_HANDLE output, uint32_t milliseconds);

// Lets a suspended child go on.  Returns how often it was suspended, 0 when it was not, -1 when it has ended.
// Once is enough on Linux; on Windows each call takes one suspension back.
int32_t pl_child_resume(TB_HANDLE thread);

// The full path of a program, which is relative to directory (itself relative to the working directory, with or
// without a separator at its end) unless it is absolute.  False and the last error when there is none.
[[nodiscard]] bool pl_full_path(const char *directory, const char *program, std::string *path);

// Starts a program that goes on when its starter has ended: null device for its three streams, nothing inherited,
// no signals of the starter's terminal.  False and the last error when it cannot be started.
[[nodiscard]] bool pl_process_start_background(const char *command_line, uint32_t *pid);

// The command line that runs a command of pl_shell as a program; "" and the last error for one that is too long for the
// interpreter (Windows: 8100 characters).
std::string pl_script_command(const char *command);
