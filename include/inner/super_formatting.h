#ifndef SUPER_FORMATTING_H
#define SUPER_FORMATTING_H

/* Message text and service messages, for the folders beside the message facility. */

#include <stdarg.h>

#include "super_messages.h"

VELA_BEGIN

u32 SupER_IGetMessage(char *Buffer, u32 *Size, u16 Recipient, u16 Destination, i32 Format, u32 MessageNumber, i32 MSN,
                      va_list Args);

/* Writes a service message for support staff to descriptor 2; needs no catalogue. */
void SupER_ServiceLog(const char *Format, ...) VELA_PRINTF(1, 2);
void SupER_ServiceLogSafe(const char *Format, ...) VELA_PRINTF(1, 2);

VELA_END

#endif
