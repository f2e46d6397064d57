/* Housekeeping: what a medium held is removed when it is used again; files compressed, copied, deleted on clients. */
#ifndef TAMBA_HOUSEKEEPING_H
#define TAMBA_HOUSEKEEPING_H

#include <tamba/lists.h>
#include <tamba/trace.h>

TAMBA_BEGIN

/* Removes what belongs to the savesets of a medium that is used again: their listings, client logs and pre/post logs
 * (directories "gv_rw_lis", "gv_rw_lgc", "gv_rw_prepost"), and their rows.
 *
 * label      the medium
 * prefix     stands in front of the messages
 * drive_num  the drive on whose line of the info board I004-MEDIA is shown
 * keep_rows  'y': files go, the medium's rows stay
 *
 * Migrated savesets (saveset_exist above 0) are marked with 'M', and their rows stay; from the first of them on no file
 * of this medium is deleted.  A saveset that was migrated from another one cleans that up as iDELETE_ORIG_LIS does.  A
 * NULL counter is that of the row before.  Rows of any medium marked 'd' go, too.
 *
 * Writes I004-MEDIA, and I005-MEDIA for each saveset.  Failing statements are reported (E018-DATABAS), and the next one
 * runs; when the savesets cannot be read, or a migrated one cannot be marked, nothing of the rows is deleted.  A pattern
 * that a name, date or saveset would make match other files is skipped (the trace tells).  Returns 1.  Threads: as info. */
TAMBA_API int32_t iDELETE_OLD_LIS(const char *label, const char *prefix, const char *drive_num,
                                  char keep_rows, TraceContext trace);

/* Removes files and rows of an original saveset when one row is left that was migrated from it; that row's medium is
 * about to go.  Writes I006-MEDIA and I005-MEDIA.  A catalogue that cannot be read is reported, and nothing is removed.
 * Returns 1.  Thread-safe. */
TAMBA_API int32_t iDELETE_ORIG_LIS(const char *original_saveset, const char *prefix, TraceContext trace);

/* Returns the number of savesets that were migrated from the given one, 0 also when the catalogue cannot be read
 * (E018-DATABAS).  Thread-safe. */
TAMBA_API int32_t iCHECK_LAST_SAVESET(const char *original_saveset, TraceContext trace);

/* Marks a saveset as migrated.  Returns 1, also when the catalogue could not be changed (E018-DATABAS).  Thread-safe. */
TAMBA_API int32_t iUPDATE_MIGRATION_FLAG(const char *saveset, TraceContext trace);

/* Uncompresses "<path>.gz" with gunzip when path does not exist and that does.  A leading global variable of path is
 * replaced by its value; gunzip is found on PATH.
 *
 * Returns 1, also when there was nothing to do, or 0: gunzip failed, or the name cannot stand in a command.  Threads: as
 * start_system. */
TAMBA_API int32_t i_UNCOMPRESS_FILE(const char *path, TraceContext trace);

/* Compresses a file into "<path>.gz" with gzip, replacing that.  path as in i_UNCOMPRESS_FILE.
 *
 * Returns gzip's exit code, 0 when it succeeded or path does not exist; -1 when it could not be started or the name cannot
 * stand in a command.  Threads: as start_system. */
TAMBA_API int32_t COMPRESS_FILE(const char *path, TraceContext trace);

/* The functions below run the client's programs through REMOTE_CMD.  The name of a client or a file that the client's
 * command interpreter would not take as one word is refused.  They answer through a file of this process in "gv_rw_work",
 * which goes below trace level 3; one call at a time in a process. */

/* Copies a file between this host and a client with the agent's own transfer.
 *
 * mode  'g' get from the client, 'p' put there
 * file  its path; the agents use the part behind the last "\", or without one behind the last "/"
 *
 * Returns 1, or 0 after E016-HOSTS (the agent does not confirm), E017-HOSTS (the command failed, with its reason) or
 * E018-HOSTS (mode). */
TAMBA_API int32_t REMOTE_COPY(char mode, const char *client, const char *file, TraceContext trace);

/* Copies a file to or from a client with the client's file service "tb_client"; it has the same path on both sides.  'g'
 * appends to the local file where the way to the client appends (REMOTE_CMD).
 *
 * Returns 1, or 0 when the command failed (the trace tells why) and after E018-HOSTS (mode). */
TAMBA_API int32_t REMOTE_COPY_CLIENT(char mode, const char *client, const char *file, TraceContext trace);

/* Fetches files of a client with REMOTE_COPY_CLIENT, each to the same path here; one that fails does not keep the next
 * ones from being tried.
 *
 * files  paths, terminated within their elements or by their ends
 *
 * Returns how many were fetched: all when that is CountLL(files).  */
TAMBA_API int32_t i_GET_REMOTE_FILES(const char *client, const LLHead *files, TraceContext trace);

/* Deletes a file on a client with its file service.  Returns 1 when that says so, else 0. */
TAMBA_API int32_t REMOTE_FILE_DELETE(const char *client, const char *file, TraceContext trace);

TAMBA_END

#endif
