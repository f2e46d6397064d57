/* Searching files, and texts for error numbers. */
#ifndef TAMBA_FILES_H
#define TAMBA_FILES_H

#include <tamba/lists.h>
#include <tamba/trace.h>

#include <stdint.h>
#include <stdio.h>

TAMBA_BEGIN

#define TAMBA_PATTERN_SIZE 512 /* least size of a search pattern that ends with "^" */

/* Find the first and the last line of a file that matches a pattern.
 *
 * file     path; a leading global variable ("gv_rw_lgc:tamba.lgc") is replaced by its value
 * pattern  a text that must stand in the line, letter case counts; or two texts joined by "|AND|" (both must) or by
 *          "|OR|" (either); "|AND|" is looked for first, and only its first occurrence joins.  An empty text stands
 *          in every line.  A "^" at the end is no part of the pattern: on success the line, without its last
 *          character (its line end), takes the pattern's place.  The buffer is then TAMBA_PATTERN_SIZE, never a
 *          literal
 *
 * A line is read up to 511 characters, the rest counts as a line of its own; its text ends at a zero byte.  CR LF
 * ends a line as LF does.
 *
 * Return 1 found, 0 not found or not readable to its end; pattern is unchanged then.  Thread-safe. */
TAMBA_API int32_t file_search(const char *file, char *pattern);
TAMBA_API int32_t file_rev_search(const char *file, char *pattern);

/* Reads lines of a stream until one matches.
 *
 * line    512; receives the last line read, with its line end: one line feed, also where the file has CR LF
 * mode    'a': first and second must stand in the line, 'o': either, any other: first
 *
 * Returns 1, or 0 at the end of the file.  A stream belongs to one thread. */
TAMBA_API int32_t i_SEEK_STRING(FILE *stream, char *line, const char *first, const char *second, char mode);

/* Sorts the lines of a text file with the system's sorting program, which must be on PATH: by their bytes on Linux;
 * Windows' own ignores the case of letters.  input and output may be the same file.
 *
 * Returns the program's exit code, 0 when it succeeded, or -1: it could not be started, or a name cannot stand in a
 * command (Windows: a quote, a line end, two "%", more than 8100 characters in all); nothing was sorted then. */
TAMBA_API int32_t sort_file(const char *input, const char *output);

/* Does nothing and returns 0: rights are the site's own business. */
TAMBA_API int32_t cm_chmod(const char *path, int32_t mode);

/* Hands the C library's present error number to i_FILE_CLOSE.  Closes nothing: the caller does that, before.
 * Returns 0. */
TAMBA_API int32_t iCM_FCLOSE(FILE *stream);

/* The text of an error number of the database backup client, of the RPC runtime or of the system (Linux: of the
 * system), in one line.
 *
 * text  receives at most size - 1 characters; always a readable text
 *
 * Returns 1, or 0 with "ESE: Unknown error code".  Thread-safe. */
TAMBA_API int32_t ErrorCodeText(uint32_t code, int32_t size, char *text);

/* ---- directories; a leading global variable of directory is replaced by its value ----
 *
 * Failures are traced with the system's text. */

/* Bytes that this user can still write to the file system of a directory.  Returns 1, or 0 with 0 bytes: the
 * directory cannot be looked at.  Thread-safe. */
TAMBA_API int32_t i_GET_FREE_SPACE_OF_DIR(const char *directory, int64_t *bytes, TraceContext trace);

/* Appends the names of a directory's plain files, links to such included, in the order of their bytes.
 *
 * names  each element receives a terminated text; see lists.h
 *
 * Returns how many, or -1 with names unchanged: the directory cannot be read to its end.  Thread-safe. */
TAMBA_API int32_t i_GET_DIR(const char *directory, LLHead *names, TraceContext trace);

/* Writes a directory tree into the trace, one line for each entry, indented by its depth, directories with "/" behind
 * them.  Links are not followed.
 *
 * depth  levels below the directory, at most 32; 0 or less: as many as may be
 *
 * Ends with a line that says so after 10000 entries.  Thread-safe. */
TAMBA_API void vShowTree(const char *directory, int32_t depth, TraceContext trace);

TAMBA_END

#endif
