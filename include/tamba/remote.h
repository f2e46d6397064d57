/* Commands on other hosts. */
#ifndef TAMBA_REMOTE_H
#define TAMBA_REMOTE_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TB_REMOTE_CMD_SIZE 1024 /* least size of the command buffer; a command is shorter */

/* Runs a command on a client host, or on this one, and collects its output in a file.  How the host is reached stands in
 * the catalogue: access mode C its control daemon, J jrsh, R rsh.  This host's own name runs the command with its own
 * command interpreter.
 *
 * node  one of
 *         node|outfile|errfile|stdinfile   files may be missing or empty; output is appended; without errfile errors go
 *                                          to outfile; outfile "STDOUT" or "-" is this process's standard output
 *         node/id, node                    output goes to rsh_<id>.tmp (rsh_<node>.tmp) in "gv_rw_work", replaced
 * cmd   TB_REMOTE_CMD_SIZE; the command, at most 1023 characters: a longer one is refused (E014-HOSTS), nothing runs.
 *       After a failure it holds the reason, which is of this call even where its files hold older ones, and when the
 *       host is configured more than once a text that says so; otherwise a success leaves it as it is
 * sync  1 waits; more: waits, with so many seconds for the connection (access mode C, see ctrlc_lib_call); 0 returns at
 *       once: 1 then means that a thread was started (see ASYNC_REMOTE_CMD)
 *
 * Returns 1 success, 0 failure: host not configured (W001-HOSTS), not reached or refused (E014-HOSTS), invalid access
 * mode (E019-HOSTS), the catalogue cannot be read, the files' names are longer than a command line takes, or the command
 * failed.  A host that is configured more than once is reported (W002-HOSTS) and its first row used.  jrsh replaces
 * errfile and outfile by its output, and has failed also when that holds "not allowed" or "Excep".  rsh itself does not
 * hand on a command's exit code, and some rsh clients not even a refusal: a command of access mode R has to say in its
 * output what became of it.  Clients of platform NETWARE run nothing: a fixed version line goes to cmd and to the output.
 * Threads: may run in parallel; the environment is changed as i_setenv_tamba changes it. */
TAMBA_API int32_t REMOTE_CMD(const char *node, char *cmd, int32_t sync, TraceContext trace);

/* Runs REMOTE_CMD in a thread of its own, with copies of its arguments; nobody learns what became of the command but
 * through its output file.  Returns 1 started, 0 not: a command above 1023 characters, no thread to be had (E014-HOSTS
 * says which).  Thread-safe. */
TAMBA_API int32_t ASYNC_REMOTE_CMD(const char *node, const char *cmd, TraceContext trace);

/* Builds the redirection of a command's streams for the command interpreter: "1>>out 2>>err", "1>>out 2>>&1" when both
 * are one file or errfile is "", and " <in".  outfile "STDOUT" or "" redirects neither output nor errors.  A NULL is "".
 *
 * Returns the text's length, 0 for no redirection, or -1 (buffer "", E005-BASICS) when it does not fit.
 * Thread-safe. */
TAMBA_API int32_t HAL_REDIR(const char *stdinfile, const char *outfile, const char *errfile, char *buffer,
                            int32_t size);

TAMBA_END

#endif
