/* The end of the backup day. */
#ifndef TAMBA_COMPLETION_H
#define TAMBA_COMPLETION_H

#include <tamba/db.h>

TAMBA_BEGIN

#define TAMBA_DAY_MSG_SIZE 512 /* size of the day message */

/* Results of a day: all is the sum of the others. */
typedef struct DayTotals {
    int32_t all, error, cancelled, warning, success;
} DayTotals;

/* Tells whether the backup day is complete, and closes it then.  Called at the end of every backup job.
 *
 * stop_time  written into the closing updates, "YYYY-MM-DD HH:MM:SS"
 *
 * While backup, migration or group events that start before the next new day wait, are queued or run, it only traces
 * what is left: also when every one of them is suppressed because the same object has run with a higher priority.  Without
 * any, it classifies the results of the day in the global variable "gv_datum" and
 *   - writes E004-BACKUP (a failure; tb_alarm is started before it), I013-BACKUP (all successful) or W007-BACKUP with the
 *     totals and the amount, and starts tb_notify with the totals; not when the results cannot be read
 *   - stores state, day message and stop_time in the day's rows of type 'N', in results and in the calendar, and starts
 *     tb_notify with the day message.  Results that cannot be read are stored as a failure.
 * Programs are started in the background; they exist when the call returns.
 *
 * A catalogue that cannot be read is reported (E018-DATABAS with the name of this function).  When it does not tell whether
 * jobs are left, the day stays open: the next call closes it.  A catalogue without a waiting new day has no job left.
 * Threads: one call at a time for a catalogue. */
TAMBA_API void CHECK_IF_ALL_BACKUPS_DONE(const char *stop_time, TraceContext trace);

/* Classifies result rows.
 *
 * rows           have the columns task and state; are not freed.  NULL: no rows
 * row_count      of rows; negative when they could not be read
 * caller         for the trace
 * highest_state  one character, not terminated: '0' all successful, '1' warnings or unfinished jobs, '3' cancelled jobs,
 *                '2' empty listings, 'X' failures; in this order, the last one that was met
 * totals         receives the counts
 * message        TAMBA_DAY_MSG_SIZE; receives the counts in words and the jobs that were not successful as "task/state",
 *                in the order of the rows, cut with "..."; characters that a statement or a command could not hold are blanks
 *
 * States: '0' successful; '1', and no final state ('a', 'q', 'w', '*', none) warning; '3', 'c' cancelled; '2' error; 'd'
 * (to be deleted) is not counted; any other failed, an error.  Outputs may be NULL.
 *
 * Returns 1, or 0 when the rows cannot be read: 'X', no counts, and a message that says so.  Thread-safe. */
TAMBA_API int32_t i_CHECK_RESULTS_ROWS(DB_REC_LIST *rows, int32_t row_count, const char *caller,
                                       char *highest_state, DayTotals *totals, char *message,
                                       TraceContext trace);

TAMBA_END

#endif
