#ifndef WIN32_EVENTLOG_H
#define WIN32_EVENTLOG_H

/* The system's event log: the local log socket in the form of RFC 3164, or the file named by SORREL_EVENTLOG.
 *
 * An event is one line, "SOURCE[pid]: 0xEVENTID text". On the socket "<priority>Mmm dd hh:mm:ss " stands in front of
 * it, with facility user and severity 3, 4 or 6 for error, warning and information; in the file a newline stands behind
 * it. Line ends and other control characters inside the text become blanks, those at its end fall away. Lines of
 * several threads and processes never mix.
 *
 * All calls are safe from any thread. A source may be used by several. */

#include "plat_types.h"

PLAT_BEGIN

#define EVENTLOG_ERROR_TYPE 1u
#define EVENTLOG_WARNING_TYPE 2u
#define EVENTLOG_INFORMATION_TYPE 4u

/* Opens the log under a source's name.
 *
 * Server  must be NULL: the log of this machine
 * Source  the name in front of each line, cut to 63 bytes
 *
 * Returns a source, for DeregisterEventSource; NULL with the reason in GetLastError when the file cannot be opened for
 * appending, or when no file is named and nobody listens on the log socket. */
PLAT_API handle RegisterEventSourceA(const char *Server, const char *Source);

/* Reports one event of one string.
 *
 * Type         EVENTLOG_*; decides the severity
 * Category     not looked at
 * EventId      stands in the line as 0x and eight hex digits
 * UserSid      not looked at
 * StringCount  1, else error 87
 * DataSize     0, else error 87
 * Strings      the text, cut to 8191 bytes
 *
 * Returns nonzero, or 0 with the reason in GetLastError: the event is lost then. */
PLAT_API i32 ReportEventA(handle Source, u16 Type, u16 Category, u32 EventId, void *UserSid, u16 StringCount,
                          u32 DataSize, const char **Strings, void *Data);

/* Gives up a source. Returns nonzero, or 0 with ERROR_INVALID_HANDLE. */
PLAT_API i32 DeregisterEventSource(handle Source);

/* Copies Text to Out, at most 8191 characters and a terminator; the two character sets are one here, and the two
 * buffers may be one. Returns 1; 0 for a NULL. Differs from Win32: there the copy has no bound. */
PLAT_API i32 OemToCharA(const char *Text, char *Out);

PLAT_END_C

#endif
