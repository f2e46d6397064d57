// Time stamps from inside: the forms of the system and the present time, bounded.
#pragma once

#include <foundation/text.h>
#include <tamba/time_stamp.h>

#include <ctime>

inline constexpr char kDisplayFormat[] = "%Y-%m-%d %H:%M:%S %a";
inline constexpr char kIsoFormat[] = "%Y-%m-%d %H:%M:%S";
inline constexpr char kCompactFormat[] = "%Y%m%d%H%M%S";
inline constexpr char kDateFormat[] = "%Y-%m-%d";

// The present local time; the last 32-bit second when the clock shows a time without a calendar date.
std::tm local_time_now();

// The present time as a display stamp, "2008-02-14 10:30:00 Thu".
FixedText<TAMBA_TIME_SIZE> display_stamp_now();

// cm_convert_time; format, if not null, receives the form that fitted.
char *read_stamp(char *text, std::tm *tm, const char **format);
