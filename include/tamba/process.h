/* Starting programs, watching and stopping processes, single-instance locks. */
#ifndef TAMBA_PROCESS_H
#define TAMBA_PROCESS_H

#include <tamba/trace.h>

TAMBA_BEGIN

/* Runs a command through the command interpreter, with the environment that i_setenv_tamba prepares for it,
 * and waits for its end.  A preparation that fails is traced and reported on standard error; the command runs
 * all the same.
 *
 * cmd  as for the Windows interpreter.  On Linux sh runs it, after the few constructs have been rewritten
 * that only the Windows interpreter understands: a command that begins with a quote loses its first and its
 * last quote unless it is one quoted file name and nothing else in quotes, "\" in the program's path,
 * "2>>&1", and the device "nul".
 *
 * Returns the interpreter's exit code (Linux: 128 + signal for a command that was killed), -1 when it could
 * not be started, when its code cannot be read, or for a command that the interpreter would cut or refuse: more than
 * 8100 characters on Windows, 128 KiB on Linux (the trace tells).  Threads: changes the process's environment; call it from one thread at a time. */
TAMBA_API int32_t start_system(const char *cmd);

/* Runs a command as start_system does, in the environment as it is.  The two are one function under two
 * names. Thread-safe. */
TAMBA_API int32_t i_cm_system(const char *cmd);
TAMBA_API int32_t i_cm_exec(const char *cmd);

/* Starts a program of the system and waits for its end, without a limit.
 *
 * cmd  the program's name and its arguments.  A name without "." means a file in the directory of the global
 * variable "gv_ro_bin": name.exe, started as a process, or else name.cmd, run through the command
 * interpreter.  A name with a "." is started as it stands and found as the operating system finds programs.
 * Arguments are separated by blanks and grouped by double quotes.
 *
 * Returns the exit code (Linux: 0..255, or 128 + signal), or
 *   -1  the wait failed or the code cannot be read (Linux: this program ignores SIGCHLD)
 *   -2  the program could not be started
 *   -3  there is no such program in "gv_ro_bin"; also for an empty command
 * A program's own code may be one of these numbers too.  Thread-safe. */
TAMBA_API int32_t start_proc(const char *cmd);

/* Starts a program of the system, found as start_proc finds it, and does not wait for it.  It exists when the call
 * returns and goes on when this process ends; it inherits nothing, its three streams are the null device.
 *
 * Returns 1 started, 0 not (the trace tells).  Thread-safe. */
TAMBA_API int32_t iCREATE_ASYNC_SUBPROCESS(const char *cmd, TraceContext trace);

/* Runs a command of the site through the command interpreter (as for start_system), with the null device for its input,
 * and waits until its output has ended and it has.  Every line that it writes, errors too, is traced.
 *
 * Returns its exit code (Linux: 128 + signal for a command that was killed), -1 when it could not be started or its code
 * cannot be read.  Threads: as start_system. */
TAMBA_API int32_t i_EXECUTE_USER_COMMAND(const char *cmd, TraceContext trace);

/* start_proc with entry and exit in the trace. */
TAMBA_API int32_t start_exe(const char *cmd, TraceContext trace);

/* Tells whether a process or a thread is still running.
 *
 * ref  positive: a process id; negative: the negated handle of a thread that the library started (the handle
 * stays open); 0 names nothing
 *
 * Returns 1 running, 0 ended, unknown or not to be waited for.  Thread-safe. */
TAMBA_API int32_t pid_exist(int32_t ref, TraceContext trace);

/* Stops a process or a thread.
 *
 * ref_text  a process reference in decimal (blanks and a sign may lead): a process id is stopped by the
 * program "tb_kill", which must be on PATH; the negated handle of a thread ends that thread with exit code 0.  The
 * thread is asked first; after 3 seconds without an answer it is ended all the same, and what it owned is not
 * cleaned up (Linux: it stops at its next wait, so that it takes no lock with it).  0, and any text that is not one number of 32 bits, stops
 * nothing.
 *
 * Returns 1 always. */
TAMBA_API int32_t i_KILL_PROCESS(const char *ref_text);

/* Makes sure that a program runs once.  Returns only when this process now holds the named lock, until it
 * ends. Otherwise prints "STATUS=ERROR MSG=MUTEX <name> is yet occupied" (with the system's text when the
 * lock could not be made at all) on standard output and ends the process with exit code 1.
 *
 * name  at most 260 characters; letter case counts; no "\" but behind "Global" or "Local".  On Windows a plain name is one per logon
 * session and a name that begins with "Global\" one per machine; on Linux every name is one per machine (or
 * container with a network of its own).  An
 * empty name is never occupied. */
TAMBA_API void AVOID_MULTI_PROCESS(const char *name);

/* Takes or tests a single-instance lock (names as in AVOID_MULTI_PROCESS).
 *
 * mode  '+' keeps the lock until the process ends; any other gives it back at once
 * name  a lock that this process holds counts as occupied, too
 * msg   receives the outcome in words
 *
 * Returns 1 the lock was free, 0 it is occupied or cannot be made.  After a 0 this process keeps the name
 * taken, even if the holder ends: callers are expected to end as well.  Thread-safe. */
TAMBA_API int32_t i_GET_LOCK_FOR_PROCESS(char mode, const char *name, char *msg, int32_t size);

TAMBA_END

#endif
