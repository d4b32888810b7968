#ifndef SUPOS_EVENTLOG_H
#define SUPOS_EVENTLOG_H

/* Messages to the system's event log. */

#include "vela_types.h"

VELA_BEGIN

/**
 * Reports a message of the catalogue to the event log under the source "VELATS": severity I as information, W as a
 * warning, any other as an error.
 *
 * @param[in] Source         words separated by dots; the second one is the region shown in the line, "(null)" where
 *                           there is none; may be NULL
 * @param[in] CopyToStderr   not 0: the line goes to standard error too, past the streams
 * @param[in] MessageNumber  the message
 * @param[in] MSN            serial number of the place, 0 for none
 *
 * The inserts follow as the message needs them, each a char pointer or an int. The line holds identifier, date, time,
 * region and text; the event log keeps 8191 bytes of it. A message that the catalogue does not give is not reported, and
 * a failing event log loses the event; neither is told. Takes no lock; needs 40 KiB of stack. Any thread.
 * Traces as SUPOS, entry.
 */
VELA_API void SupOS_NTLog(const char *Source, u32 CopyToStderr, u32 MessageNumber, i32 MSN, ...);

VELA_END

#endif
