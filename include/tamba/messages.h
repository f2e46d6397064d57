/* Messages for operators: protocol file, day file, info board, event log, traps that end a program. */
#ifndef TAMBA_MESSAGES_H
#define TAMBA_MESSAGES_H

#include <tamba/trace.h>

TAMBA_BEGIN

/* Language of every user-visible message: 0 English, 1 German, 2 Bavarian, 3 French, 4 fourth slot; any
 * other value selects English.  Set by v_set_log_main, read each time a message is made. */
TAMBA_API extern int32_t eLang;

/* Interrupt flag: 'n', or 'y' to end waiting loops.  Set by the program's interrupt handler or by a detected
 * shutdown; the library never resets it. */
TAMBA_API extern volatile char gcInterrupt;

/* Writes a message to the protocol file (global variable "gv_prot").
 *
 * format  a 12-character tag such as "E003-BASICS ", one blank, and the printf-style text.  Text lines
 *         become lines of their own, each with time, tag and process id.  A format is cut at 2559, a
 *         finished message at 5119 characters, each with its time, tag and process id; a line says so.  A
 *         message that cannot be made (a width of six digits) is its format
 *
 * Returns 1; the result carries no meaning.  Failures are not reported to the caller: an unknown "gv_prot"
 * is said on standard error, a file that cannot be opened or written is skipped.  Thread-safe; processes share the file
 * by whole messages. */
TAMBA_API int32_t PROT(const char *format, ...) TAMBA_PRINTF(1, 2);

/* Appends the line of a finished job to the day file (global variable "gv_dayfile").
 *
 * type    one-character job type           name    filled with blanks to 30 characters, never cut
 * start   time stamps "YYYY-MM-DD HH:MM:SS" or "HH:MM"; HH:MM is shown       end  likewise
 * state   one-character state              number  right-aligned in two places
 * text    filled to 20 characters          rest    free text
 *
 * An unknown "gv_dayfile" is said on standard output, a file that cannot be opened is skipped; a failed write
 * goes to i_FILE_CLOSE.  Thread-safe. */
TAMBA_API void PROT_DAYFILE(char type, const char *name, const char *start, const char *end, char state,
                            int32_t number, const char *text, const char *rest);

/* Sets the line of a slot on the info board "info.dat" (directory "gv_rw_info").
 *
 * kind  'S' or 's': status line (marker "."); any other: drive line (marker ":")
 * slot  -99 to 999, the board's sort key
 * text  line ends become blanks.  A text of more than 102 characters breaks before the last blank among its 94th to 103rd
 *       characters, else behind the 102nd; the second line takes 149 more, so that at most 251 survive
 *
 * Returns 1, or 0 when "gv_rw_info" is unknown; a board that cannot be read or written stays as it is, which the result
 * does not tell.  The board is rewritten under the semaphore "ctrl_info", or without it when it cannot be had; a failed
 * write then goes to i_FILE_CLOSE.  Sets up the module TB_INFO with v_set_log_main, which sets eLang.  Threads: as
 * v_set_log_main. */
TAMBA_API int32_t info(char kind, int32_t slot, const char *text);

/* Reports an unexpected database result (E018-DATABAS).  fatal non-zero: prints a STATUS=ERROR line and ends
 * the program with exit code 1. */
TAMBA_API void trap_db_err(const char *statement, const char *result, TraceContext ctx, int32_t fatal);

/* Reports a file that cannot be opened (E002-BASICS), prints a STATUS=ERROR line and ends the program with
 * exit code 1. */
TAMBA_NORETURN TAMBA_API void trap_file_open_err(const char *file, const char *program, const char *mode,
                                                 TraceContext ctx);

/* Reports missing parameters of a program (E015-BASICS).  fatal non-zero: prints a STATUS=ERROR line and
 * ends the program with exit code 0, because a usage error is no failure of the system. */
TAMBA_API void trap_par_err(const char *program, int32_t fatal);

/* Writes an entry to the system's event log (source "tamba"; system log on Linux).
 *
 * type      0 information, 1 warning, 2 and 3 error; any other is reported and logged as error
 * category  ignored
 * event_id  event number
 * text      cut at 254 characters
 *
 * A source that cannot be registered switches event logging off for the process, with a line on standard
 * error. */
TAMBA_API void cm_syslog(int32_t type, int32_t category, uint32_t event_id, const char *text);

/* Handles a failed write or close of the day file or the info board: says the error on standard error and, for a full or
 * exhausted file system (23, 28, 36 and the platform's deadlock number), runs tb_alarm, stops the system with
 * tb_os_startup and waits for both; inside these two (they inherit TAMBA_ALARM_RAISED) it only says the error.
 * error_number is a C library error number.  Returns 0. */
TAMBA_API int32_t i_FILE_CLOSE(int32_t error_number);

TAMBA_END

#endif
