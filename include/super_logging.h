#ifndef SUPER_LOGGING_H
#define SUPER_LOGGING_H

/* Logging: the one way in which this library tells people of a failure. */

#include "vela_types.h"

VELA_BEGIN

#define SUPER_CONSOLE 1u
#define SUPER_STDOUT 2u

/* Logs a message: errors to the event log, then to the streams that Destination names. Inserts as the message needs,
 * each a char pointer or an int. Always returns 0. A GTI ends the process with exit code 99. */
VELA_API u32 SupER_Log(u16 Destination, u32 MessageNumber, i32 MSN, ...);

/* Stores the diagnostic text of this thread's next symptom; text beyond 511 bytes is cut. Returns 0. */
VELA_API u32 SupER_FormatDiag(const char *Format, ...) VELA_PRINTF(1, 2);

/* Build levels of the components: "@(#)", component, time, date, release. */
extern VELA_API const char *SupER_ServiceLevel11;
extern VELA_API const char *SupER_ServiceLevel45;
extern VELA_API const char *SupER_ServiceLevel49;
extern VELA_API const char *SupER_ServiceLevel56;
extern VELA_API const char *SupER_ServiceLevel57;
extern VELA_API const char *SupER_ServiceLevel58;
extern VELA_API const char *SupER_ServiceLevel62;

VELA_END

#endif
