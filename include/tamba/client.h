/* Client hosts: is one alive, what did it answer, and listings of its savesets. */
#ifndef TAMBA_CLIENT_H
#define TAMBA_CLIENT_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_CLIENT_MSG_SIZE 512 /* least size of a message buffer of this family */
#define TAMBA_RSH_PATH_SIZE 1024  /* least size of a result file's path */
#define TAMBA_RSH_NAME_SIZE 512   /* least size of its name part */
#define TAMBA_ANSW_PATH_SIZE 512  /* least size of the path of this process's answer file */
#define TAMBA_RSH_WORD_SIZE 256   /* least size of the buffers of i_READ_RSHFILE */

/* Tests whether the agent "tbc" of a client host answers: one attempt and up to six more while the control client cannot
 * reach it (253).  Processes test a node one after the other (semaphore "alive_" and the node), threads of one process
 * side by side.
 *
 * msg  TAMBA_CLIENT_MSG_SIZE; receives the agent's version line from "VERSION:" on, "Node reachable: no tbc version
 *      found", "Node reachable; got " and a line with "tbc-3000:", or E020-HOSTS; where the semaphore cannot be had, its
 *      name and the reason.  E020-HOSTS is also written to the protocol whenever nothing was reached
 *
 * Returns 1 alive, 253 not reached by the control client, 0 any other failure.  Threads: as REMOTE_CMD; it sets up the
 * trace module "TB_ALIVE" and with it the language (v_set_log_main). */
TAMBA_API int32_t alive_test_tbc(const char *node, char *msg, TraceContext trace);

/* Tells whether a shutdown of a drive group is in progress (semaphore "shutdown_" and the group, which is only looked
 * at).  msg: TAMBA_CLIENT_MSG_SIZE; receives I015-BREAK when it is.  Returns 1 or 0; 1 also when the semaphore cannot be
 * examined.  Thread-safe. */
TAMBA_API int32_t i_CHECK_SHUTDOWN_IN_PROGRESS(const char *drive_group, char *msg, TraceContext trace);

/* Names a remote result file.
 *
 * path  TAMBA_RSH_PATH_SIZE; receives "rsh_<base>_<number>.tmp" in "gv_rw_work", the name alone when that variable is
 *       unknown
 * name  TAMBA_RSH_NAME_SIZE; receives "<base>_<number>"
 *
 * Thread-safe. */
TAMBA_API void BUILD_RSHFILE(char *path, char *name, const char *base, int32_t number);

/* Reads the status word and the message from a remote result file, up to its line with "MSG=".
 *
 * status, msg  TAMBA_RSH_WORD_SIZE; receive what was found, else "No tag [STATUS=] found in <file>" and "No tag [MSG=]
 *              found in <file>"; msg also says that the file cannot be opened or read.  A line counts up to its 255th
 *              character, what follows as a line of its own
 *
 * Returns 1 when one of them was found, 0 when none was or the file cannot be read to its end.  Thread-safe. */
TAMBA_API int32_t i_READ_RSHFILE(const char *file, char *status, char *msg, TraceContext trace);

/* Rewrites a text file: every control character but the line feed becomes a blank and, when the key
 * "lis_with_high_ascii" of the ini section "[PARAMS]" is NO, every byte from 128 on the substitute.  Zero bytes stay.
 * The file is written over in place: it keeps its length, mode and owner, links lead to it as before, and calls that
 * meet in one file do not disturb each other.
 *
 * Returns 1, or 0 when it could not be read or written to its end; what has been done up to there stays, no byte is
 * lost, and the next call does the rest.  A file that cannot be opened for reading and for writing ends the program
 * (trap_file_open_err).  Thread-safe. */
TAMBA_API int32_t ascii_filter(const char *file, char substitute, TraceContext trace);

/* Names this process's file for the answers of other hosts, "rsh_<process id>.tmp" in "gv_rw_work"; "" when that
 * variable is unknown or the path too long.  path: TAMBA_ANSW_PATH_SIZE.  Returns path.  Thread-safe, but one file for
 * each process: threads that use it take turns. */
TAMBA_API char *make_answ_file_name(char *path);

TAMBA_END

#endif
