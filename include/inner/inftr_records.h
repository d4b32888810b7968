#ifndef INFTR_RECORDS_H
#define INFTR_RECORDS_H

/* Record writers that only this library calls. Each stands behind the guard of its class. */

#include "inftr.h"

VELA_BEGIN

TraceRecord *InfTR_MidArgs(const char *Format, ...) VELA_PRINTF(1, 2);
void InfTR_TraceMid(u16 Component, const char *FunctionName, u32 Id, TraceRecord *Record);
void InfTR_TraceEvent(u16 Component, u32 Id, u32 Length, const void *Data);
void InfTR_TraceException(u16 Component, u32 Id, u32 Length, const void *Data);
void InfTR_TraceError(u16 Component, u32 MessageNumber, u32 MSN);
void InfTR_TraceHex(u16 Component, const char *FunctionName, u32 Id, const void *Data, u32 Length, u32 Flag);

VELA_END

#endif
