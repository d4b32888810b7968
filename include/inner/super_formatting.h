#ifndef SUPER_FORMATTING_H
#define SUPER_FORMATTING_H

/* Message text and service messages, for the folders beside the message facility. */

#include <stdarg.h>

#include "super_messages.h"

VELA_BEGIN

/* The routine behind every message: fetches the text of MessageNumber, expands its inserts and puts it into Buffer.
 *
 * Buffer       room of *Size bytes
 * Size         in: the room; out: the length of the message without its terminator. A message that does not leave room
 *              for its terminator ends the process with the code that would have been returned
 * Recipient    exactly SUPER_SYSTEM_LOG or SUPER_END_USER; anything else ends the process with exit code 99
 * Destination  1 adds a line end to a message with a serial number
 * Format       SUPER_FORMAT_*; a GTI always comes whole
 * MSN          put behind the identifier as "/%.4d" when Format is SUPER_FORMAT_WHOLE; 0 for none
 * Args         the inserts; the caller's list is not moved
 *
 * Returns ERZ_OK, SUPER_ERR_CATALOG (the text is a recovery text), SUPER_ERR_FORMAT (the text says so). Any thread. */
u32 SupER_IGetMessage(char *Buffer, u32 *Size, u16 Recipient, u16 Destination, i32 Format, u32 MessageNumber, i32 MSN,
                      va_list Args);

/* Puts a serial number into a message: "ERZ057002E: text" becomes "ERZ057002E/0009: text".
 *
 * Message     the message, Length bytes or up to a terminator; may lie SUPER_MSG_TEXT_OFFSET bytes behind FmtMessage
 * FmtMessage  receives the result with a terminator
 * Size        in: the room of FmtMessage, above SUPER_MSG_TEXT_OFFSET; out: where the colon stands in it
 *
 * Returns the length of the result. Bad arguments, an identifier of more than 11 characters and too little room end
 * the process with exit code 99. */
u32 SupER_IFormatMessage(const char *Message, u32 Length, u16 Destination, i32 MSN, char *FmtMessage, u32 *Size);

/* As SupER_GetMessage, for the system's log. */
u32 SupER_GetMessageLog(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, ...);

/* As SupER_GetMessage and SupER_FormatMessage, with an argument list. */
u32 SupER_GetMessageVar(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, va_list Args);
u32 SupER_FormatMessageVar(char *Buffer, u32 *Size, i32 Format, u16 Destination, u32 MessageNumber, i32 MSN,
                           va_list Args);

/* Writes one line for support staff to descriptor 2, past the streams: "SERVICE_MESSAGE ", date and time, region,
 * process and thread, then the text of the printf format and a line end. Needs no catalogue. A line is cut to 1031
 * bytes. The two differ in name alone. */
void SupER_ServiceLog(const char *Format, ...) VELA_PRINTF(1, 2);
void SupER_ServiceLogSafe(const char *Format, ...) VELA_PRINTF(1, 2);

VELA_END

#endif
