/* Time stamps and pauses.
 *
 * The forms of a stamp, all in local time with English names:
 *
 *   display  "2008-02-14 10:30:00 Thu"   protocol lines
 *   ISO      "2008-02-14 10:30:00"       database columns, day file; on input "_" may stand for the blank
 *   compact  "20080214103000"            file names, sorting
 *   date     "2008-02-14"                on input only
 */
#ifndef TAMBA_TIME_STAMP_H
#define TAMBA_TIME_STAMP_H

#include <tamba/tamba_export.h>
#include <time.h>

TAMBA_BEGIN

#define TAMBA_TIME_SIZE 25  /* least size of the buffer of time_get */
#define TAMBA_STAMP_SIZE 20 /* least size of a text that is converted in place */

/* Computes a time and writes its stamp.
 *
 * buffer  TAMBA_TIME_SIZE.  Holds the request, an optional start time and one command; receives the stamp.
 *         Start time: "YYYY-MM-DD HH:MM:SS" with one character behind it, beginning with 1 to 9; without one
 *         the present time counts.  A text of exactly 19 characters is no start time.
 *         Commands, in upper case: "D n" days, "H n" hours, "M n" minutes, "S n" seconds later (n negative:
 *         earlier), "T" tomorrow, "Y" yesterday, "I" no change; anything else leaves the time as it is.
 *
 * The stamp is compact after "I", otherwise the display form.  The shift goes by the local clock: a day later
 * is the same time of day over a change of clocks.  A time before 1970 or after 9999 reads
 * 2038-01-19 03:14:07 UTC.
 *
 * A display stamp is itself a request: the "Tue" or "Thu" behind the time begins with "T" and means a day
 * later.  Cut a stamp to 19 characters before a command or a blank is appended to it.
 *
 * Returns buffer.  Thread-safe. */
TAMBA_API char *time_get(char *buffer);

/* Reads a stamp of any form; text behind it is allowed.
 *
 * text  if it contains "_" and is longer than 10 characters, its character at position 10 becomes a blank
 * tm    receives the fields, cleared first (tm_isdst is 0); after a failure it may hold what could be read
 *
 * Returns the position in text behind what was read, or NULL.  Thread-safe. */
TAMBA_API char *cm_convert_time(char *text, struct tm *tm);

/* Convert a stamp of any form in place into the compact and the ISO form; a date gets the time 00:00:00.
 * A text that is no stamp stays, except for the blank that cm_convert_time may put into it.
 * text: TAMBA_STAMP_SIZE.  Return text.  Thread-safe. */
TAMBA_API char *cm_time_iso2stamp(char *text);
TAMBA_API char *cm_time_stamp2iso(char *text);

/* strftime with the results of the POSIX locale, whatever the locale of the program.
 *
 * format  all conversions of C11; the modifiers E and O are ignored, an unknown conversion is written as it
 *         stands
 * tm      any values: a weekday or month out of range is written as "?"; a year has at least four digits
 *
 * Returns the length written, or 0 when the text does not fit: then buffer holds its beginning, terminated.
 * Thread-safe. */
TAMBA_API size_t cm_strftime(char *buffer, size_t size, const char *format, const struct tm *tm);

/* strptime with the names of the POSIX locale, letter case ignored.
 *
 * format  the conversions of cm_strftime; white space matches any white space or none.  Numbers are digits
 *         without a sign, checked against their range; "%y" alone means 1969 to 2068; "%U", "%V", "%W",
 *         "%g", "%G", "%z" and "%Z" are read and passed over.
 * tm      receives each field as it is read; others stay, so that a failure may leave a part.  After year,
 *         month and day tm_wday and tm_yday are computed.
 *
 * Returns the position in text behind what was read, or NULL.  Thread-safe. */
TAMBA_API char *cm_strptime(const char *text, const char *format, struct tm *tm);

/* The present time in parts: seconds since 1970-01-01 UTC, milliseconds 0 to 999, minutes west of UTC of
 * local standard time, and 1 while daylight saving holds, else 0.  Any of them may be NULL.  Returns 1.
 * Thread-safe. */
TAMBA_API int32_t i_MY_FTIME(int64_t *seconds, int32_t *milliseconds, int32_t *timezone_minutes,
                             int32_t *dstflag);

/* Pause the calling thread for milliseconds or seconds.  A negative time returns at once. */
TAMBA_API void wait_msec(int32_t ms);
TAMBA_API void wait_sec(int32_t s);

TAMBA_END

#endif
