/* Times of the schedule: comparison, start ranges, the date of a backup day, dates as users type them.
 *
 * Backups belong to a backup day, which does not change at midnight but at the day-change time: the global
 * variable "gv_datum" is its date (YYYY-MM-DD), "gv_change_day_time" the time of the change (HH:MM).  All
 * texts are local time.
 *
 *   date-time    ISO "2008-02-14 10:30" or dotted "14.02.2008 10:30"; what follows the minutes is ignored.  The
 *                third character decides: "." means dotted
 *   time of day  "10:30"; the hours are the first two characters, the minutes the fourth and fifth, so that
 *                "7:30" is no time of day
 */
#ifndef TAMBA_TIMING_H
#define TAMBA_TIMING_H

#include <tamba/trace.h>
#include <time.h>

TAMBA_BEGIN

#define TAMBA_DATE_SIZE 11       /* least size of a date, "2008-02-14" */
#define TAMBA_DATE_INPUT_SIZE 20 /* least size of the text of i_CONVERT_DATE_INPUT */

/* Compares two date-times to the minute.
 *
 * a, b  each in the form of its own.  A field that cannot be read counts as 0, and so do those behind it: what
 *       is no date-time ("NULL", "") is earlier than every date, and equal to any other of its kind.  Between
 *       date and time stands a blank; behind "_" the time counts as 00:00.
 *
 * Returns 0 equal, 1 a is later than b, 2 b is later than a.  Every year has its place, also on platforms whose
 * clocks end earlier.  Thread-safe. */
TAMBA_API int32_t time_compare(const char *a, const char *b, TraceContext trace);

/* Decides whether the present time lies in a start range, ends included.
 *
 * start, stop   both times of day, of the present backup day: a stop before the day change is on the next calendar
 *               day, and so are a start and a present time before it.  A stop equal to the day change is not moved:
 *               with the change at 08:00 the range 22:00 to 08:00 holds no time at all.
 *               When the third character of start is not ":", both are date-times.
 * holding_date  TAMBA_DATE_SIZE, may be NULL.  For times of day it receives, whatever the result, the date of the
 *               range's start: DD-MM-YYYY when start is not before the day change, otherwise the day behind
 *               "gv_datum" as YYYY-MM-DD; callers know both forms.  "" when "gv_datum" holds no date.  Untouched
 *               for date-times.
 *
 * An unknown "gv_change_day_time" counts as midnight.  Returns 1 inside, 0 outside.  Thread-safe. */
TAMBA_API int32_t timing_tamba(const char *start, const char *stop, char *holding_date, TraceContext trace);

/* The parts of a time of day in minutes: hours times 60, and minutes.  Digits are taken as far as they go;
 * nothing is 0.  Thread-safe. */
TAMBA_API int32_t timing_hours(const char *text);
TAMBA_API int32_t timing_minutes(const char *text);

/* Moves a date on by one day.
 *
 * date  TAMBA_DATE_SIZE; YYYY-MM-DD.  Every year divisible by 4 is a leap year, 2100 too.  A text that is no
 *       date or whose month is none stays.
 *
 * Returns 1.  Thread-safe. */
TAMBA_API int32_t timing_add_day(char *date);

/* Reads a date and time: "20080214103000", "2008-02-14 10:30:00" or "2008-02-14".  As cm_convert_time, traced.
 *
 * text      changed: if it contains "_" and is longer than 10 characters, its character at position 10 becomes a
 *           blank
 * calendar  receives the fields, cleared first; after a failure it may hold what could be read
 *
 * Returns the position in text behind what was read, or NULL.  Thread-safe. */
TAMBA_API char *pszconvert_time(char *text, struct tm *calendar, TraceContext trace);

/* Turns a date as users type it into "YYYY-MM-DD HH:MM:SS", in place.
 *
 * text  TAMBA_DATE_INPUT_SIZE.  "", "0", "+" and "-" mean today, "-3" three days ago, each at 00:00:00.  Anything
 *       else is read as by pszconvert_time and stays as it is when it cannot be read ("+5" cannot).
 *
 * Returns 1.  Thread-safe. */
TAMBA_API int32_t i_CONVERT_DATE_INPUT(char *text);

TAMBA_END

#endif
