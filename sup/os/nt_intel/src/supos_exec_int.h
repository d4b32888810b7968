#ifndef SUPOS_EXEC_INT_H
#define SUPOS_EXEC_INT_H

#include "supos_execute.h"

VELA_BEGIN

// Bit 0 of Options sets or clears the detached-process flag of the process-wide default.
void SupOS_Exec_Defaults(u32 Options);

// Waits without limit. Pid with the exit code in *Status and the handle closed; -1 with -1 in *Status on failure.
i32 SupOS_Wait(i32 *Status, i32 Pid, handle Process);

// Starts the companion process of a region, all streams at the null device.
void SupOS_StartArt(void);

VELA_END

#endif
