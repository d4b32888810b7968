#ifndef SUPOS_INNER_H
#define SUPOS_INNER_H

/* Calls of the operating-system layer that other folders of this library use. */

#include "vela_types.h"

VELA_BEGIN

/* One reading of the wall clock: seconds, and nanoseconds (a multiple of 1000) or microseconds within the second.
 * They run inside every trace record, so they carry no guard, take no lock and cannot fail. */
void SupOS_ClockNano(u32 *Seconds, u32 *NanoSeconds);
void SupOS_ClockMicro(u32 *Seconds, u32 *MicroSeconds);

/* Tests the effective rights of the caller on a path: 0, or -1 with errno.
 *
 * Path  names a file or directory; with Mode 1 a program without its extension
 * Mode  1 = execute, which is a read test of "PATH.exe"; any other Mode loses bit 0, and then
 *       0 exists, 2 write, 4 read, 6 both */
i32 SupOS_CheckEffectiveRights(const char *Path, i32 Mode);

/* Sets copyRightStr at the first call; later calls change nothing. For process start, before threads. */
void SupOS_SetCopyRightStr(void);

/* Reports Message to the event log when its tenth character is E. */
void SupOS_WriteNTEventLog(const char *Message, i32 MSN, u32 MessageNumber);

VELA_END

#ifdef __cplusplus

/* Turns the byte order of Count elements in place; a Count of zero or less does nothing. In a 4-byte element the two
 * halves change places and keep their own order (01 02 03 04 becomes 03 04 01 02), unlike SupOS_ByteSwap. */
void SupOS_SwapByteArray(u16 *Array, i32 Count);
void SupOS_SwapByteArray(u32 *Array, i32 Count);

#endif

#endif
