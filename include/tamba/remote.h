/* Commands on other hosts. */
#ifndef TAMBA_REMOTE_H
#define TAMBA_REMOTE_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TB_REMOTE_CMD_SIZE 1024 /* least size of the command buffer */

/* Runs a command on a client host, or on this one, and collects its output in a file.  How the host is reached stands in
 * the catalogue: access mode C its control daemon, J jrsh, R rsh.  This host's own name runs the command with its own
 * command interpreter.
 *
 * node  one of
 *         node|outfile|errfile|stdinfile   files may be missing or empty; output is appended; without errfile errors go
 *                                          to outfile; outfile "STDOUT" or "-" is this process's standard output
 *         node/id, node                    output goes to rsh_<id>.tmp (rsh_<node>.tmp) in "gv_rw_work", replaced
 * cmd   TB_REMOTE_CMD_SIZE; the command; after a failure it holds the reason, and when the host is configured more than
 *       once a text that says so; otherwise a success leaves it as it is
 * sync  1 waits; more: waits, with so many seconds for the connection (access mode C); 0 returns at once
 *
 * Returns 1 success, 0 failure: host not configured (W001-HOSTS), not reached (E014-HOSTS), invalid access mode
 * (E019-HOSTS), or the command failed.  A host that is configured more than once is reported (W002-HOSTS) and its first
 * row used.  rsh itself does not hand on a command's exit code, and some rsh clients not even a refusal: a command of
 * access mode R has to say in its output what became of it.  Clients of platform NETWARE run nothing: a fixed version
 * line goes to cmd and to the output.
 * Threads: may run in parallel; the environment is changed as i_setenv_tamba changes it. */
TAMBA_API int32_t REMOTE_CMD(const char *node, char *cmd, int32_t sync, TraceContext trace);

/* Runs REMOTE_CMD in a thread of its own, with copies of its arguments; nobody learns what became of the command but
 * through its output file.  Returns 1 started, 0 not. */
TAMBA_API int32_t ASYNC_REMOTE_CMD(const char *node, const char *cmd, TraceContext trace);

/* Builds the redirection of a command's streams for the command interpreter: "1>>out 2>>err", "1>>out 2>>&1" when both
 * are one file or errfile is "", and " <in".  outfile "STDOUT" redirects no output.
 *
 * Returns the text's length, 0 for no redirection, or -1 (buffer "", E005-BASICS) when it does not fit.
 * Thread-safe. */
TAMBA_API int32_t HAL_REDIR(const char *stdinfile, const char *outfile, const char *errfile, char *buffer,
                            int32_t size);

TAMBA_END

#endif
