/* Named semaphores between the processes of one host. */
#ifndef TAMBA_SEMAPHORE_H
#define TAMBA_SEMAPHORE_H

#include <tamba/handle.h>
#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_SEMA_NAME_SIZE 32
#define TAMBA_SEMA_REQUESTER_SIZE 1024
#define TAMBA_SEMA_MESSAGE_SIZE 1032

/* One user's view of a semaphore, zeroed before the first use and kept between lock and release. */
typedef struct SemaRecord {
    char name[TAMBA_SEMA_NAME_SIZE];           /* names the semaphore; \ / : * ? " < > | count as "_" */
    char requester[TAMBA_SEMA_REQUESTER_SIZE]; /* who wants it, for others to read */
    char message[TAMBA_SEMA_MESSAGE_SIZE];     /* result of the last operation in words */
    TB_HANDLE handle;                          /* of the open file; stays after the release */
} SemaRecord;

/* Takes, releases or inquires a semaphore.  The semaphore is the lock on the first byte of the file
 * "<name>.sem" in the directory "sem" below "[Pathes]" "gv_rw_work" of the ini file (created when missing; the
 * reading of the ini file may be 5 ms old);
 * the file holds process id and requester of its present or last holder.  The lock ends with the release or
 * with the process, whichever is first, and does not pass to programs that the holder starts.
 *
 * operation  '+' or 'S'  take; waits without a limit.  1 held, 0 error.
 *            '*'         take without waiting.  1 held, 0 not obtained or error.
 *            '-' or 'R'  release.  Always 1; on a record that never held it only an inquiry, on one that has
 * been released already only a line in the trace.
 *            '?'         inquire.  1 somebody holds it or that cannot be found out, 0 free.
 *            any other   0
 * record     the message says, after a take: what was written where, or the system's error; after an inquiry:
 * process id and requester of the present or last holder, or that the semaphore is free when there is no file
 * yet; otherwise the error.  A NULL record gives 0.
 *
 * A semaphore that this process holds already is not taken again: the second take returns 1 at once with a
 * warning in the message, and the first record's release ends the hold.  Threads of one process therefore do
 * not exclude each other.  A take by a record whose last take failed closes the file of that one.
 *
 * Every call sets up the trace module "TB_SEM" (file "tb_sem_<name>.lgc") and with it the language
 * (v_set_log_main). Threads: a record belongs to one thread at a time. */
TAMBA_API int32_t i_SEMA(char operation, SemaRecord *record, TraceContext trace);

TAMBA_END

#endif
