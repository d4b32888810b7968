#ifndef INFTR_RECORDS_H
#define INFTR_RECORDS_H

/* Record writers that only this library calls. Each stands behind the guard of its class, takes no decision on levels,
 * does nothing while no sink is on, and leaves the mark of a lost record when the thread has no memory for its record.
 * Any thread; none returns a failure. The layout of each record stands in docs/formats.md. */

#include "inftr.h"

VELA_BEGIN

/* As InfTR_EntryArgs, for InfTR_TraceMid. A text above 4000 bytes ends the process with exit code 99. */
TraceRecord *InfTR_MidArgs(const char *Format, ...) VELA_PRINTF(1, 2);

/* A point within a function, INFTR_CLASS_MID. Id tells the points of a function apart; Record is from InfTR_MidArgs. Of
 * FunctionName 26 characters show. Component does not reach the record. */
void InfTR_TraceMid(u16 Component, const char *FunctionName, u32 Id, TraceRecord *Record);

/* Caller's data, INFTR_CLASS_EVENT and INFTR_CLASS_EXCEPTION: Length bytes, cut to 4032; a NULL Data counts as none. */
void InfTR_TraceEvent(u16 Component, u32 Id, u32 Length, const void *Data);
void InfTR_TraceException(u16 Component, u32 Id, u32 Length, const void *Data);

/* A message that was logged, INFTR_CLASS_ERROR. Component is the message's set. */
void InfTR_TraceError(u16 Component, u32 MessageNumber, u32 MSN);

/* Memory, INFTR_CLASS_HEX: a record for each 2048 bytes. More than that is copied first, so that all show one moment.
 * Flag is stored as 1 or 0. A Length of 0 or a NULL Data leaves no record. */
void InfTR_TraceHex(u16 Component, const char *FunctionName, u32 Id, const void *Data, u32 Length, u32 Flag);

VELA_END

#endif
