#ifndef SUPOS_EVENTLOG_H
#define SUPOS_EVENTLOG_H

/* Messages to the system's event log. */

#include "vela_types.h"

VELA_BEGIN

VELA_API void SupOS_NTLog(const char *Source, u32 CopyToStderr, u32 MessageNumber, i32 MSN, ...);

VELA_END

#endif
