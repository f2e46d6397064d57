/* Pipes: programs whose output is read line by line, named pipes between processes, and a channel for short
 * messages. */
#ifndef TAMBA_PIPES_H
#define TAMBA_PIPES_H

#include <tamba/handle.h>
#include <tamba/trace.h>

TAMBA_BEGIN

/* ---- child processes ---- */

/* A program started by iPIPE_OPEN.  Belongs to the caller, who leaves it alone until iPIPE_CLOSE; the input handle is
 * written with iWriteNamedPipe and closed with iCloseNamedPipe. */
typedef struct PIPE {
    TB_HANDLE process;
    TB_HANDLE thread;
    uint32_t pid;
    uint32_t tid;
    TB_HANDLE control; /* the thread that watches the program */
    TB_HANDLE output;  /* the program's standard output is read here; NULL without "r" */
    TB_HANDLE input;   /* the program's standard input is written here; NULL without "w" */
} PIPE;

/* Starts a program with pipes.
 *
 * cmd   the program, in double quotes when its path holds blanks, and its arguments, separated by blanks and grouped
 *       by double quotes.  A path of more than 259 characters is refused.  One that is not absolute is relative to the directory "gv_ro_bin"; PATH is not
 *       searched.  A full path without any "." gets ".exe".  At the very end of the command "<nul" gives the program
 *       no input, and "2>&1" sends its standard error into the pipe; only one of the two is understood.
 * mode  holds "r" (read its output), "w" (write its input) or both
 * msg   receives "" or the reason of a failure
 * pipe  is filled; all zero after a failure
 *
 * Returns 1, or 0: nothing was started, but for a program whose watching thread could not be started, which runs
 * on.  Thread-safe. */
TAMBA_API int32_t iPIPE_OPEN(const char *cmd, const char *mode, char *msg, int32_t msg_size, PIPE *pipe);

/* Reads a line of the program's output, without its line feed; waits for it.
 *
 * line  receives at most size bytes.  A carriage return ends the text, what follows it up to the line feed is passed
 *       over.  When size bytes came without a line feed they fill the buffer, which is then not terminated, and the
 *       line goes on with the next call
 *
 * Returns 1, or 0 at the end of the output (what follows the last line feed is lost) or on an error. */
TAMBA_API int32_t iPIPE_READ(PIPE *pipe, char *line, int32_t size);

/* Ends the use of a program whose output was read to its end; does not wait for it to end, but up to a second for the
 * exit code behind the end of its output (Linux) and up to 3 seconds for the thread that watches it.  The input handle
 * stays open.
 *
 * Returns its exit code; 0 when it still runs or ends with 259; -1 when it has ended and the system does not tell its
 * code (Linux, where this program ignores SIGCHLD); 109 for an exit code of 0 when the program was found
 * suspended and made to go on: its output may have been cut, so callers run it again. */
TAMBA_API int32_t iPIPE_CLOSE(PIPE *pipe);

/* Reads a line from any handle of this family, as iPIPE_READ; a read that succeeds without a byte ends the input. */
TAMBA_API int32_t iReadLine(TB_HANDLE handle, char *line, int32_t size);

/* Puts the system's last error of this thread (errno, GetLastError) into words, where this library's failing calls leave
 * theirs as well: "<prefix>(<number>) <system's text>".  Returns the length of the system's text, 0 when it has none.
 * Thread-safe. */
TAMBA_API int32_t iGetErrorMsg(char *msg, int32_t msg_size, const char *prefix);

/* ---- named pipes ----
 *
 * Numbers of errors are those of Windows; Linux has its own for the same reasons.  One thread may read and another write. */

/* Creates a pipe that one other process at a time may open, whoever runs it.
 *
 * name  without regard to letter case; the prefix \\.\pipe\ is put in front unless it is there
 * mode  0 the other side writes, 1 it reads, 2 both
 * msg   receives the outcome
 *
 * Returns 1 and the handle, or 0: the name is taken (231), a mode out of range.  Thread-safe. */
TAMBA_API int32_t iCreateAndOpenNamedPipe(const char *name, int32_t mode, TB_HANDLE *handle, char *msg,
                                          int32_t msg_size);

/* Opens a pipe that another process has created.  While it has its client, tries again every 20 ms, 500 times.
 *
 * mode  0 read, 1 write, 2 both
 *
 * Returns 1 and the handle, or 0 with the reason in msg.  Thread-safe. */
TAMBA_API int32_t iOpenNamedPipe(const char *name, int32_t mode, TB_HANDLE *handle, char *msg,
                                 int32_t msg_size);

/* Reads once, after waiting for the other side to open the pipe and to write.
 *
 * buffer  zeroed, then filled with up to size bytes; callers that want a terminated text pass their size less 1
 *
 * Returns the number of bytes, 0 at the end of the data (the other side has closed), -1 on an error.  msg receives the
 * outcome. */
TAMBA_API int32_t iReadNamedPipe(TB_HANDLE handle, char *buffer, int32_t size, char *msg, int32_t msg_size);

/* Writes length bytes; -1: the text's length.  Windows: waits until they are read.  Returns the number written, or -1
 * with the reason in msg: the reader has gone (232), nobody has opened the pipe yet (536). */
TAMBA_API int32_t iWriteNamedPipe(TB_HANDLE handle, const char *buffer, int32_t length, char *msg,
                                  int32_t msg_size);

/* Closes any handle of this family.  Returns 1, or 0 for one that is not open. */
TAMBA_API int32_t iCloseNamedPipe(TB_HANDLE handle);

/* ---- message channel ---- */

/* What the system keeps of a running operation; not for callers. */
typedef struct TB_OVERLAPPED {
    uintptr_t internal[2];
    uint64_t offset;
    TB_HANDLE event;
} TB_OVERLAPPED;

/* One end of a channel.  Belongs to the caller and to one thread; not moved while it is open. */
typedef struct IPC {
    TB_OVERLAPPED overlapped;
    TB_HANDLE pipe;
    TB_HANDLE event;
    char buffer[512]; /* the message last received */
    char name[256];   /* as given */
    int32_t state;    /* 0 connecting, 1 reading */
    int32_t pending;  /* 1 while an operation runs */
} IPC;

/* Opens a channel.  mode 'r' creates the receiving end (one for each name), 'w' connects a sender: one at a time;
 * another waits up to 20 seconds for its turn.  Returns 1 or 0. */
TAMBA_API int32_t iIPC_OPEN(const char *name, IPC *ipc, char mode);

/* Receives a message, of at most 512 bytes with its terminator.
 *
 * out     size; receives the text, "" without one
 * length  bytes received, terminator included
 *
 * Returns 2 a message is in out (with an empty one, length 0, after a sender has gone); 1 nothing yet, call again;
 * 3 nothing for 3 seconds; 0 an error, or a message longer than out, which is lost.  A message of more than 512 bytes
 * is lost and its sender disconnected. */
TAMBA_API int32_t iIPC_RECEIVE(IPC *ipc, char *out, int32_t size, int32_t *length);

/* Sends a text with its terminator as one message.  Returns 1, or 0 when the receiver has gone. */
TAMBA_API int32_t iIPC_SEND(IPC *ipc, const char *text);

/* Disconnects and closes.  What was sent and not yet received can still be received.  Returns 1. */
TAMBA_API int32_t iIPC_CLOSE(IPC *ipc);

TAMBA_END

#endif
