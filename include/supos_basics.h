#ifndef SUPOS_BASICS_H
#define SUPOS_BASICS_H

/* Basic services: clocks, byte order, the product notice. */

#include "vela_types.h"

VELA_BEGIN

/** The product notice: NULL until InfTR_InitProcess has run, then a text that lives as long as the process. It stays
 * NULL when there was no memory for it. Callers read it and leave it as it is. */
extern VELA_API char *copyRightStr;

/**
 * Reads the wall clock's whole seconds.
 *
 * @return seconds since 1970-01-01 00:00 UTC; they wrap in 2106
 *
 * Never fails, takes no lock, leaves no trace record. Safe from any thread. Two calls are two readings: a pair of
 * seconds and nanoseconds that belong together is not to be had from SupOS_ClockSeconds and SupOS_ClockNanoSeconds.
 */
VELA_API u32 SupOS_ClockSeconds(void);

/**
 * Reads the wall clock's nanoseconds within the second.
 *
 * @return 0 to 999999000, a multiple of 1000
 *
 * Never fails, takes no lock, leaves no trace record. Safe from any thread.
 */
VELA_API u32 SupOS_ClockNanoSeconds(void);

/**
 * Turns the byte order of one value, in place.
 *
 * @param[in,out] Value       not NULL, of any alignment; 4 bytes where ShortValue is 0, else 2
 * @param[in]     ShortValue  0 reverses 4 bytes; any other value exchanges bytes 0 and 1 and touches no more
 *
 * Traces as SUPOS. Safe from any thread as long as the value is the caller's own.
 */
VELA_API void SupOS_ByteSwap(void *Value, i32 ShortValue);

VELA_END

#endif
