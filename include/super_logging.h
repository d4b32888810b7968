#ifndef SUPER_LOGGING_H
#define SUPER_LOGGING_H

/* Logging: the one way in which this library tells people of a failure. */

#include "vela_types.h"

VELA_BEGIN

/* Streams that a message goes to, the argument Destination. */
#define SUPER_CONSOLE 1u /* standard error, flushed at once */
#define SUPER_STDOUT 2u /* standard output, not flushed */

/**
 * Logs a message.
 *
 * @param[in] Destination    SUPER_CONSOLE, SUPER_STDOUT, both (standard output comes first) or 0 for no stream
 * @param[in] MessageNumber  the message; a GTI ends the process with exit code 99
 * @param[in] MSN            serial number of the place, shown behind the identifier; 0 for none
 *
 * The inserts follow as the message needs them, each a char pointer or an int. A message of severity E also goes to the
 * event log, whatever Destination says. Without a catalogue a recovery text is logged. A message above 16400 bytes ends
 * the process.
 *
 * A call from inside another call of the same thread (a failure while a failure is logged) is dropped when the console
 * is taken, and goes to the console when only its own stream is.
 *
 * Always returns 0. Takes no lock of its own; needs 16 KiB of stack. Any thread, before InfTR_SInit too.
 * Traces as SUPER, API entry.
 */
VELA_API u32 SupER_Log(u16 Destination, u32 MessageNumber, i32 MSN, ...);

/**
 * Stores the diagnostic text of this thread's next symptom, see SUPER_SECONDARY_MARKER.
 *
 * @param[in] Format  printf format; the text is cut to 511 bytes
 *
 * Returns 0. Any thread. Traces as SUPER, API entry.
 */
VELA_API u32 SupER_FormatDiag(const char *Format, ...) VELA_PRINTF(1, 2);

/* Build levels of the components TERSH, REGSE, INFTR, SUPPR, SUPER, SUPOS and TERBM, such as
 * "@(#)super, 12:00:00, May 31 2026, 620": component, build time, build date, release. */
extern VELA_API const char *SupER_ServiceLevel11;
extern VELA_API const char *SupER_ServiceLevel45;
extern VELA_API const char *SupER_ServiceLevel49;
extern VELA_API const char *SupER_ServiceLevel56;
extern VELA_API const char *SupER_ServiceLevel57;
extern VELA_API const char *SupER_ServiceLevel58;
extern VELA_API const char *SupER_ServiceLevel62;

VELA_END

#endif
