/* Media: which drive and which medium a backup uses.
 *
 * Drives are decimal numbers.  Where several may be given they are separated by commas; a comma behind the last one
 * changes nothing, so what i_GET_DRIVES_OF_POOL returns can be handed on.  A function that works on one drive takes
 * the first of several.
 *
 * A catalogue that cannot be read (locked, missing, damaged) is reported in the protocol (E018-DATABAS) and is never
 * taken for an answer: i_CHECK_MEDIUM_FOR_BACKUP then fails with the catalogue's text, and nothing is changed, closed
 * or initialised. */
#ifndef TAMBA_MEDIA_H
#define TAMBA_MEDIA_H

#include <tamba/trace.h>

TAMBA_BEGIN

/* Least sizes of the buffers of this family. */
#define TAMBA_MEDIA_MSG_SIZE 512  /* message */
#define TAMBA_LABEL_SIZE 64       /* label, pool name, media info */
#define TAMBA_DRIVE_SIZE 16       /* drive number, as text */
#define TAMBA_DRIVE_LIST_SIZE 256 /* drive numbers, each followed by a comma */
#define TAMBA_GROUP_SIZE 64       /* name of a drive group */

/* Splits a media info: a full label is a pool name and exactly five decimal digits, anything else is a pool
 * name.
 *
 * text    the media info
 * pool    TAMBA_LABEL_SIZE; receives the pool's name; may be text itself
 * number  receives the label's number, 0 for a pool name; may be NULL
 *
 * Returns 1 for a full label, 0 for a pool name; a text of five digits or less is a pool name.  Thread-safe. */
TAMBA_API int32_t i_SPLIT_LABEL(const char *text, char *pool, int32_t *number);

/* Decides which drive and which medium a backup uses: a prepared medium of the pool, the most recently
 * written first, or a new one that tb_init prepares.
 *
 * drive_num   TAMBA_DRIVE_SIZE; the wanted drive, several, or "" for any drive of the pool; receives the drive as soon
 *             as a medium was found, also when the call then fails
 * media_info  TAMBA_LABEL_SIZE; a label, a pool, or "" for the default pool of the drive; receives the label
 *             to write to, on success only
 * job         the backup's name, for the trace
 * msg         TAMBA_MEDIA_MSG_SIZE; receives the reason of a failure, else what is known of the medium
 *
 * Returns 1, or 0: neither medium nor drive given (E004-TBC_COM), no default pool, the catalogue cannot be read, the
 * semaphore cannot be had, or no medium could be prepared (E022-TBC_COM in place of a medium that was closed).  A
 * prepared medium that turns out not to be available is closed in the catalogue ("close_tape") and a new one
 * takes its place.  Waits for a running end-of-media handling of the drive (semaphore "tbs_eom_" and drive_num as
 * given), holds that semaphore until it returns, and waits for tb_init.
 * Threads: as i_setenv_tamba. */
TAMBA_API int32_t i_CHECK_MEDIUM_FOR_BACKUP(char *drive_num, char *media_info, const char *job, char *msg,
                                            TraceContext trace);

/* Fetches a medium into a drive for a backup (i_GET_VOLUME for a backup), and takes another one instead where that is
 * allowed: a prepared medium, a spare or a known medium behind its end of life by the site's switches, or one without a
 * known label, which "tb_init" then labels for the pool.  A medium that may not be used is unloaded and the volume
 * requested again.
 *
 * label      TAMBA_LABEL_SIZE; the required medium; receives the label to write to, on success only
 * drive_num  the drive
 * job        the backup's name, for the trace
 * msg        TAMBA_MEDIA_MSG_SIZE; receives the reason of a failure, "" on success
 *
 * Returns 1, or 0: interrupted (gcInterrupt; W002-BASICS), or "Error during fetching the media: " and the reason, e.g. a
 * catalogue that cannot be read - nothing is then unloaded or initialised - or another medium whose label is no full one.  One at a time for a drive (semaphore
 * "get_backup_medium_<drive>"); waits as i_GET_VOLUME does.  Threads: as i_GET_VOLUME. */
TAMBA_API int32_t i_GET_BACKUP_MEDIUM(char *label, const char *drive_num, const char *job, char *msg,
                                      TraceContext trace);

/* Finds a prepared medium: not full, closed, write-protected or being initialised, and with its end of life
 * ahead.  The one written last is taken, among equals the one with the highest continuation number.
 *
 * drive       TAMBA_DRIVE_SIZE; a drive (media of all drives of the same device name fit), several, or "" for any;
 *             receives the medium's drive when none or several were given
 * media_info  TAMBA_LABEL_SIZE; label or pool; receives the label found
 * is_label    non-zero when media_info is a full label
 * msg         TAMBA_MEDIA_MSG_SIZE; receives the reason of a 0: W001-TBC_COM when there is none
 *
 * Returns 1 found, 0 none found or catalogue not readable (msg then holds its text); drive and media_info are then
 * unchanged.
 * Thread-safe. */
TAMBA_API int32_t GET_PREPARED_MEDIA(char *drive, char *media_info, int32_t is_label, char *msg,
                                     TraceContext trace);

/* Checks the state of one medium: in the loader of the drive (when the drive has one), not full,
 * write-protected, closed or being initialised.
 *
 * drive      drive number
 * label      the medium
 * pool, job  for the trace
 * msg        TAMBA_MEDIA_MSG_SIZE; receives the finding, in English, or the catalogue's text
 *
 * Returns 1 available, 0 not available, unknown or catalogue not readable.  Thread-safe. */
TAMBA_API int32_t CHECK_AVAILABILITY_OF_MEDIUM(const char *drive, const char *label, const char *pool,
                                               const char *job, char *msg, TraceContext trace);

/* Runs tb_init for a drive and waits for its end.
 *
 * drive       drive number
 * job         for the trace
 * media_info  the label to initialise, or the pool that a medium is wanted of
 * msg         TAMBA_MEDIA_MSG_SIZE; receives what tb_init left in the global variable "gv_init_msg_<drive>":
 *             the label on success, else the reason
 *
 * Returns 1, or 0: tb_init failed or could not be run, no drive was given (E005-TBC_COM), or an argument does not fit
 * its size, begins with "-", "#" or "~", or holds a blank or a character that must not reach the command interpreter;
 * then nothing is started.  Holds the semaphore "ctrl_init_<drive>" while
 * tb_init runs; announces the start in the protocol (I006-BACKUP).  Threads: as i_setenv_tamba. */
TAMBA_API int32_t RESTART_INIT(const char *drive, const char *job, const char *media_info, char *msg,
                               TraceContext trace);

/* Lists the drives of the group that serves a pool.
 *
 * pool        the pool's name
 * drives_out  TAMBA_DRIVE_LIST_SIZE; receives the drive numbers, each followed by a comma, as many whole numbers as fit
 *
 * Returns the number of drives; 0, with the protocol message E005-TBC_COM, when there are none, and 0 when
 * the catalogue is not readable.  Thread-safe. */
TAMBA_API int32_t i_GET_DRIVES_OF_POOL(const char *pool, char *drives_out, TraceContext trace);

/* Names the drive group of a pool or, without a pool, of a drive.
 *
 * media_pool    the pool's name, or ""
 * drive_num     the drive's number; used when media_pool is ""
 * grp_name_out  TAMBA_GROUP_SIZE; receives the name, "" when there is none
 *
 * Returns the number of groups found; 0 when there is none, both arguments are "" or the catalogue is not
 * readable.  Thread-safe. */
TAMBA_API int32_t i_GET_DRIVE_GROUP(const char *media_pool, const char *drive_num, char *grp_name_out,
                                    TraceContext trace);

TAMBA_END

#endif
