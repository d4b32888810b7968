#ifndef SUPER_MESSAGES_H
#define SUPER_MESSAGES_H

/* Messages: numbers, return codes, and text for a caller.
 *
 * All text lies in the message catalogue "vela.cat", which each thread opens at its first message. A body there names
 * its inserts as FormatMessage does: %1 is a char pointer, %2!d! an int. */

#include "vela_types.h"

VELA_BEGIN

/* A message number:
 *
 *     BITS      FIELD
 *     31 to 22  set: the component number, also the set in the catalogue
 *     21 to 12  catalogue number within the set
 *     11 to  2  display number
 *      1 to  0  severity: 1 E, 2 W, any other value I
 *
 * Its identifier is "ERZ%6.6d%c" of set * 1000 + display number and the letter: 0x0E402009 is ERZ057002E. */
#define SUPER_MSG_SET(Number) ((u32)(Number) >> 22)
#define SUPER_MSG_CATALOG_NUMBER(Number) (((u32)(Number) >> 12) & 0x3FFu)
#define SUPER_MSG_DISPLAY_NUMBER(Number) (((u32)(Number) >> 2) & 0x3FFu)
#define SUPER_MSG_LETTER(Number) (((Number)&3u) == 1 ? 'E' : ((Number)&3u) == 2 ? 'W' : 'I')

/* The six digits of an identifier. */
#define SUPER_MSG_DIGITS(Number) (SUPER_MSG_SET(Number) * 1000u + SUPER_MSG_DISPLAY_NUMBER(Number))

/* A number whose set is above 127 is a GTI: a text without identifier, which can be fetched but never logged. */
#define SUPER_IS_GTI(Number) (SUPER_MSG_SET(Number) > 127u)

/* Recipients. */
#define SUPER_SYSTEM_LOG 8u
#define SUPER_END_USER 16u

#define SUPER_MSG_TEXT_OFFSET 17u /* room left before a text for the serial number */
#define SUPER_MSG_NAME_SIZE 10u /* length of an identifier */

/* Forms of a message, the argument Format. */
#define SUPER_FORMAT_WHOLE 0 /* ERZ057002E: text, or ERZ057002E/0009: text with serial number 9 */
#define SUPER_FORMAT_BODY 1 /* text */
#define SUPER_FORMAT_SEVERITY 2 /* E: text */

/* Return codes; the buffer holds a readable text with both. */
#define SUPER_ERR_CATALOG 0x1CC00003u /* catalogue unreadable, or the message is missing or corrupted there */
#define SUPER_ERR_FORMAT 0x1CA0000Au /* the inserts could not be expanded, or the text is empty */

/**
 * Fetches a message for the end user, without serial number.
 *
 * @param[out]    Buffer         receives the message with its terminator; not NULL
 * @param[in,out] Size           in: bytes of room in Buffer; out: length of the message without its terminator
 * @param[in]     Format         one of SUPER_FORMAT_*; any other value ends the process with exit code 99. A GTI always
 *                               comes whole
 * @param[in]     MessageNumber  any message or GTI number
 *
 * The inserts follow as the message needs them, each a char pointer or an int.
 *
 * Returns ERZ_OK, SUPER_ERR_CATALOG or SUPER_ERR_FORMAT. A Buffer that cannot hold the message and its terminator ends
 * the process: the symptom tells the room and the length needed, the exit code is what would have been returned.
 * Safe from any thread, before InfTR_SInit too. Traces as SUPER, API entry.
 */
VELA_API u32 SupER_GetMessage(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, ...);

/**
 * Fetches a message with its serial number for a recipient.
 *
 * @param[out]    Buffer         receives the message with its terminator: *Size + 1 bytes, one more than is stated
 * @param[in,out] Size           in: the longest message, above 17; out: length of the message and its terminator
 * @param[in]     Format         as for SupER_GetMessage; only the whole form shows the serial number
 * @param[in]     Destination    SUPER_END_USER or SUPER_SYSTEM_LOG (the first wins where both are set), with or without
 *                               SUPER_CONSOLE, which adds a line end behind a message with a serial number
 * @param[in]     MessageNumber  any message or GTI number
 * @param[in]     MSN            serial number, 0 for none
 *
 * Inserts, returns, ends and threads as for SupER_GetMessage. A NULL pointer, a *Size of 17 or less and a Destination
 * without recipient end the process with exit code 99.
 */
VELA_API u32 SupER_FormatMessage(char *Buffer, u32 *Size, i32 Format, u16 Destination, u32 MessageNumber, i32 MSN, ...);

VELA_END

#endif
