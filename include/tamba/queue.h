/* Job queues: each operation is one run of the queue manager tb_qm and takes its answer from the line with
 * "STATUS=".
 *
 * Words go to tb_qm as they stand: a queue, job or entry name must not hold blanks or quotes.  A command line of more
 * than 255 characters (511 in que_submit and que_sho_job) is not run: the operation returns 0, and E008-BASICS names
 * the lengths (que_block: only the trace).  Answer lines are cut to 255 (511 in que_sho_job).
 *
 * All operations return 1 when tb_qm reported success, else 0: a status other than SUCCESS is written to the
 * protocol as E008-BASICS with the command and tb_qm's message (que_block writes nothing), a tb_qm that cannot be
 * started as E013-DATABAS.  They wait until tb_qm has answered, without a limit, and up to 4 seconds more for a tb_qm
 * that does not end behind its answer.  They may run in parallel, que_submit with one list in one thread at a time. */
#ifndef TAMBA_QUEUE_H
#define TAMBA_QUEUE_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_QUE_MSG_SIZE 512 /* least size of the message buffer of que_sho_job */

/* Keeps a queue from starting jobs. */
TAMBA_API int32_t que_block(const char *queue, TraceContext trace);

/* Makes a queue; what parameter means is tb_qm's business. */
TAMBA_API int32_t que_init(const char *queue, const char *parameter, TraceContext trace);

/* Starts and stops a queue. */
TAMBA_API int32_t que_start(const char *queue, TraceContext trace);
TAMBA_API int32_t que_stop(const char *queue, TraceContext trace);

/* Stops a queue, then deletes it.  The delete runs whatever became of the stop, and 1 means that one of the two
 * succeeded: after a stop that went well a failing delete still returns 1 and writes nothing.  Only a tb_qm that
 * cannot be started ends the operation at once, with 0. */
TAMBA_API int32_t que_delete(const char *queue, TraceContext trace);

/* Asks for the state of a queue.  A warning is written as W003-BASICS and returns 0. */
TAMBA_API int32_t que_sho(const char *queue, TraceContext trace);

/* Looks a job up.
 *
 * mode   exactly "name": value is a job's name; any other word: value is a position in the queue
 * msg    TAMBA_QUE_MSG_SIZE; receives tb_qm's whole answer line, or on failure that there is no such job
 *
 * Only the first line of the answer counts; a status other than SUCCESS is not written to the protocol.  A tb_qm
 * that cannot be started is also reported on standard error. */
TAMBA_API int32_t que_sho_job(const char *queue, const char *mode, const char *value, char *msg,
                              TraceContext trace);

/* Puts a job into a queue.
 *
 * start_time     hh:mm, or "now": the present minute and day, whatever start_date says
 * start_date     yyyy-mm-dd, or "today"
 * job_name       used up to its first "/"
 * job_parameter  passed through
 * program        name of the job's program in the directory "gv_ro_bin"; without a "." it gets the ending of a
 *                program
 * list_type      what follows, the job's arguments; each is put in double quotes, so it must hold none and must not
 *                end in a backslash, which would take the closing quote for its own:
 *                  'L'  one list of texts (lists.h)
 *                  'A'  texts, closed by (char *)0
 *                  'C'  an int32_t, then that many texts
 *                any other: nothing
 */
TAMBA_API int32_t que_submit(TraceContext trace, const char *queue, const char *start_time,
                             const char *start_date, const char *job_name, const char *job_parameter,
                             const char *program, int32_t list_type, ...);

/* Takes an entry out of its queue. */
TAMBA_API int32_t que_del_entry(const char *entry, TraceContext trace);

TAMBA_END

#endif
