/* Backup types, and the end of life of media: until when a medium must not be overwritten, and which one may.
 *
 * The date stands in the catalogue (table media, column eol) as "YYYY-MM-DD HH:MM:SS"; a medium may be
 * overwritten from the day after.  Retention is a number of days of the pool (table media_pools, column eol);
 * -1 marks a test pool, whose media are used in turn whatever their date. */
#ifndef TAMBA_EOL_H
#define TAMBA_EOL_H

#include <tamba/media.h>

TAMBA_BEGIN

#define TAMBA_EOL_SIZE 32            /* least size of the buffer of cp_COMPUTE_EOL */
#define TAMBA_BACKUP_TYPE_UNKNOWN 24 /* number of the backup type "unknown" */

/* Names a backup type: 0 "Path" (files) to 23 "OpenLDAP"; any other number is "unknown".  The text is constant.
 * Thread-safe. */
TAMBA_API const char *szBACKUP_TYPE(int32_t type);

/* Finds the number of a backup type by its name, letter case ignored.
 *
 * Returns TAMBA_BACKUP_TYPE_UNKNOWN, with a warning in the trace, for every other name.  Traces at level 2.
 * Thread-safe. */
TAMBA_API int32_t e_GET_BACKUP_TYPE(const char *name, TraceContext trace);

/* Computes the end of life of a medium that is written now: now plus the retention of its pool, at the same time of
 * day.
 *
 * id          names the query in traces and messages
 * eol_out     TAMBA_EOL_SIZE; receives "YYYY-MM-DD HH:MM:SS", at most 9999-12-31 23:59:59, or the word "NULL"
 *             when the catalogue cannot be read (E018-DATABAS in the protocol), or "" for a database type without
 *             a form for dates: never store those as a date
 * media_pool  the pool.  Without a row, and when its retention is no number of days, 7 days count; -1 means
 *             tomorrow
 *
 * Returns eol_out.  Thread-safe. */
TAMBA_API char *cp_COMPUTE_EOL(const char *id, char *eol_out, const char *media_pool, TraceContext trace);

/* Sets the end of life of the media of a saveset that has just been written, and moves on that of the media of
 * the backups it depends on, so that none of them can be overwritten before it.
 *
 * task        the backup's name, as in the results
 * media_pool  the pool that the saveset was written to; its retention decides
 * saveset     the saveset; its media get their new date unconditionally, also an earlier one.  When that write
 *             fails it is reported (E018-DATABAS) and the call goes on
 * fdi_type    'D' differential: the newest full backup counts.  'I' incremental: every backup back to the newest
 *             differential counts, that one too, and behind it the newest full backup only; without a differential
 *             all back to the newest full backup.  Anything else: no other media
 *
 * Backups that the other depends on are the results of the task in the states 0, 1 and 2, newest first; of a type
 * of several letters the first counts.  Their media are moved on, each with the protocol message I004-BACKUP, when
 * the new date is later to the minute; never back.  A label that is no medium is passed over.
 *
 * Returns 1, or 0 when the catalogue or the semaphore could not be had: nothing is written then when the new date
 * is not known, and what was moved on before stays.  Holds the semaphore "eol_med_<task>".  Threads: those of one
 * process do not exclude each other. */
TAMBA_API int32_t i_ADJUST_FDI_MEDIA_EOLS(const char *task, const char *media_pool, const char *saveset,
                                          char fdi_type, TraceContext trace);

/* Chooses the medium of a pool that may be overwritten: the one with the earliest end of life, among equals the one
 * that was entered first.
 *
 * It is writable ("sperrkz" '+'), not reserved ("init_flag"), in the loader of the drive when that has one, its end
 * of life is a day before today or it never had one, and it is not loaded in another drive position.  The search
 * ends at the first medium that is still protected.  A medium whose end of life cannot be read is protected, too,
 * and passed over.
 *
 * drive_num  number of the drive
 * pool       the pool; "<pool>/X" also reserves the chosen medium for the archive ("init_flag" 'y'); a name
 *            that holds "/X" ends at its first "/"
 * result     TAMBA_MEDIA_MSG_SIZE; receives the label, or the reason of a 0:
 *              "GET_OLDEST: mediapool <pool> not usable with drive <drive>"
 *              "? GET_OLDEST : ..." or "GET_OLDEST: ..." with the catalogue's error, or the semaphore's message
 *              E007-MEDIA no media; E008-MEDIA all are protected; E009-MEDIA those that are not are loaded elsewhere
 *              (which ones and where stands in the protocol)
 *
 * Returns 1, or 0.  A reservation that cannot be written is reported (E018-DATABAS) and leaves the result 1.
 * Holds the semaphore "get_oldest".  Threads: those of one process do not exclude each other. */
TAMBA_API int32_t ARCH_GET_OLDEST(const char *drive_num, const char *pool, char *result, TraceContext trace);

/* Looks up whether a medium type fits a drive type.
 *
 * Returns the capacity that is stored for the pair, 0 when there is none, -1 when the catalogue or the semaphore
 * "CheckCapac", which is held, could not be had.  Threads: those of one process do not exclude each other. */
TAMBA_API int32_t i_CHECK_CAPACITIES(const char *drive_typ, const char *media_typ, TraceContext trace);

TAMBA_END

#endif
