#ifndef TKS_TIME_H
#define TKS_TIME_H

/* Base services: the wall clock. */

#include <time.h>

#include "plat_types.h"

PLAT_BEGIN

/* Time since 1970-01-01 00:00 UTC, cut to whole microseconds. Seconds wrap in 2106. */
typedef struct tks_Time {
    u32 Seconds;
    u32 MicroSeconds;
} tks_Time;

/* Reads the wall clock; cannot fail, needs no lock and, where the kernel's clock page serves the machine, no system
 * call. Never goes backwards within a thread while the system's clock does not. On a processor with an invariant
 * time-stamp counter it is told from that counter between two looks at the system's clock: it is less than 50
 * microseconds off, and shows a step of the system's clock within a millisecond. */
PLAT_API void tks_GetTime(tks_Time *Time);

/* Both clocks at one moment. */
typedef struct tks_Moment {
    tks_Time Time; /* as of tks_GetTime */
    i64 Counter; /* as of QueryPerformanceCounter; 0 when the system does not tell it */
} tks_Moment;

/* Reads the wall clock and the counter, for little more than one of them costs. */
PLAT_API tks_Moment tks_Now(void);

/* The seconds of a reading as the C library's time value. */
PLAT_API time_t tks_TimeToANSI(const tks_Time *Time);

PLAT_END_C

#endif
