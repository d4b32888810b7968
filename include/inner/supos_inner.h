#ifndef SUPOS_INNER_H
#define SUPOS_INNER_H

/* Calls of the operating-system layer that other folders of this library use. */

#include "vela_types.h"

VELA_BEGIN

/* Clocks: seconds, and nanoseconds (in steps of 1000) or microseconds within the second. No guard. */
void SupOS_ClockNano(u32 *Seconds, u32 *NanoSeconds);
void SupOS_ClockMicro(u32 *Seconds, u32 *MicroSeconds);

/* The result of an access test: Mode 1 tests PATH.exe for reading, any other Mode loses bit 0; 2 write, 4 read. */
i32 SupOS_CheckEffectiveRights(const char *Path, i32 Mode);

/* Sets copyRightStr at the first call. */
void SupOS_SetCopyRightStr(void);

/* Reports Message to the event log when its tenth character is E. */
void SupOS_WriteNTEventLog(const char *Message, i32 MSN, u32 MessageNumber);

VELA_END

#endif
