/* Logs of the client agent: what a backup or a restore came to. */
#ifndef TAMBA_JOBLOG_H
#define TAMBA_JOBLOG_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_JOBLOG_MSG_SIZE 512   /* size of the messages of this family */
#define TAMBA_JOBLOG_STATUS_SIZE 20 /* size of the status texts of this family */

/* What a backup's log says.  Belongs to the caller, who sets status, message and the counters before the analysis. */
typedef struct BackupLogResult {
    char status
        [TAMBA_JOBLOG_STATUS_SIZE]; /* the caller's; "0" says that the saveset's listing is empty; "3" after an
                                              abort */
    char message
        [TAMBA_JOBLOG_MSG_SIZE]; /* in: may be the full name of a variable "gv_tbs_eom_..."; out: status,
                                              saveset, start time and text, joined by "/"; without the start time where
                                              the log could not be judged */
    char state[4];               /* one character: '0' successful, '1' with warnings, '2' nothing was saved,
                                              '3' aborted, 'X' failed; for failures that a repetition may mend 'E' (data
                                              connection), 'L' (login), 'R' (tape or control connection) */
    char ndmp_info[TAMBA_JOBLOG_MSG_SIZE];        /* changed only by a log that holds such information */
    int32_t processed_items, not_processed_items; /* changed only by a log that counts them */
} BackupLogResult;

/* Analyses the logging file of a saveset.
 *
 * result    must not be NULL
 * saveset   its second character tells the kind of the backup: an empty listing is a warning for 'I' and 'D', an error
 *           for any other
 * not_file  the log; a leading global variable is replaced by its value.  Lines of code 3998 are appended to the file of
 *           this name with "sgm" in place of its last three characters
 * source    what was to be saved, for the message about a source that does not exist
 *
 * The variable named in message is read first: with the value "BREAK" it is deleted, and the backup has failed.  A log
 * that cannot be opened, or not be read to its end, is a failure.  A line holds 510 characters; what follows is a line of
 * its own.
 *
 * Returns 1 when the log ends well ('0' or '1' before an empty listing is judged: the state can then be '2'), else 0.
 * Thread-safe. */
TAMBA_API int32_t i_ANALYSE_BACKUP_LOG(BackupLogResult *result, const char *saveset, const char *not_file,
                                       const char *source, TraceContext trace);

/* Analyses the last run in a restore protocol, and appends "TBC-STATUS: " and a message to it.
 *
 * prot_file  the protocol; a leading global variable is replaced by its value
 * saveset, start  for the trace
 * status     TAMBA_JOBLOG_STATUS_SIZE; "0" successful, "1" with warnings, "X" failed, "c" aborted by the user
 * message    TAMBA_JOBLOG_MSG_SIZE; in: "not_overwrite" when existing files were to be left alone; out: the outcome.  It
 *            can be more cautious than the line in the protocol, which is written before the counts are judged
 *
 * Returns 1 when the protocol could be judged, whatever the status; 0 when it could not be read to its end or not be
 * appended to (status "X"), and after an abort.  Thread-safe, but one protocol belongs to one thread. */
TAMBA_API int32_t i_ANALYSE_RESTORE_LOG(const char *prot_file, const char *saveset, const char *start,
                                        char *status, char *message, TraceContext trace);

TAMBA_END

#endif
