#ifndef TAMBA_TIME_STAMP_H
#define TAMBA_TIME_STAMP_H

#include <tamba/tamba_export.h>
#include <time.h>

TAMBA_BEGIN

#define TAMBA_TIME_SIZE 25
#define TAMBA_STAMP_SIZE 20

TAMBA_API char *time_get(char *buffer);
TAMBA_API char *cm_convert_time(char *text, struct tm *tm);
TAMBA_API char *cm_time_iso2stamp(char *text);
TAMBA_API char *cm_time_stamp2iso(char *text);
TAMBA_API size_t cm_strftime(char *buffer, size_t size, const char *format, const struct tm *tm);
TAMBA_API char *cm_strptime(const char *text, const char *format, struct tm *tm);
TAMBA_API int32_t i_MY_FTIME(int64_t *seconds, int32_t *milliseconds, int32_t *timezone_minutes,
                             int32_t *dstflag);
TAMBA_API void wait_msec(int32_t ms);
TAMBA_API void wait_sec(int32_t s);

TAMBA_END

#endif
