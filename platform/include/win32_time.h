#ifndef WIN32_TIME_H
#define WIN32_TIME_H

/* Counter, local time and date of the system. */

#include "plat_types.h"

PLAT_BEGIN

typedef struct SYSTEMTIME {
    u16 wYear;
    u16 wMonth;
    u16 wDayOfWeek;
    u16 wDay;
    u16 wHour;
    u16 wMinute;
    u16 wSecond;
    u16 wMilliseconds;
} SYSTEMTIME;

/* A counter that only goes forward, in nanoseconds since some moment before the process. Returns 1, or 0 with the reason
 * in GetLastError. */
PLAT_API i32 QueryPerformanceCounter(i64 *Counter);

/* The local time now, by the time zone of TZ. */
PLAT_API void GetLocalTime(SYSTEMTIME *Time);

/* The short date of today in the current locale's form ("%x"), with its terminator.
 *
 * Locale        0x800, the system's default
 * Flags         1, the short form
 * Date, Format  NULL. Anything else in these four: error 87.
 * Out           may be NULL when Size is 0: then only the length is told
 *
 * Returns the length with its terminator, 0 with error 122 when it does not fit into Size bytes; then Out is as it was. */
PLAT_API i32 GetDateFormatA(u32 Locale, u32 Flags, const SYSTEMTIME *Date, const char *Format, char *Out, i32 Size);

PLAT_END_C

#endif
