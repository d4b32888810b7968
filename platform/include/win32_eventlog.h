#ifndef WIN32_EVENTLOG_H
#define WIN32_EVENTLOG_H

/* The system's event log: the local log socket in the form of RFC 3164, or the file named by SORREL_EVENTLOG. */

#include "plat_types.h"

PLAT_BEGIN

#define EVENTLOG_ERROR_TYPE 1u
#define EVENTLOG_WARNING_TYPE 2u
#define EVENTLOG_INFORMATION_TYPE 4u

/* Server must be NULL. Returns a source, NULL when there is neither socket nor file. */
PLAT_API handle RegisterEventSourceA(const char *Server, const char *Source);

/* Reports one event of one string. Returns nonzero, or 0 with the reason in GetLastError. */
PLAT_API i32 ReportEventA(handle Source, u16 Type, u16 Category, u32 EventId, void *UserSid, u16 StringCount,
                          u32 DataSize, const char **Strings, void *Data);

PLAT_API i32 DeregisterEventSource(handle Source);

/* Copies Text to Out, at most 8191 characters and a terminator; the two character sets are one here. Returns 1. */
PLAT_API i32 OemToCharA(const char *Text, char *Out);

PLAT_END_C

#endif
