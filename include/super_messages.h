#ifndef SUPER_MESSAGES_H
#define SUPER_MESSAGES_H

/* Messages: numbers, return codes, and text for a caller. */

#include "vela_types.h"

VELA_BEGIN

/* The four fields of a message number. */
#define SUPER_MSG_SET(Number) ((u32)(Number) >> 22)
#define SUPER_MSG_CATALOG_NUMBER(Number) (((u32)(Number) >> 12) & 0x3FFu)
#define SUPER_MSG_DISPLAY_NUMBER(Number) (((u32)(Number) >> 2) & 0x3FFu)
#define SUPER_MSG_LETTER(Number) (((Number)&3u) == 1 ? 'E' : ((Number)&3u) == 2 ? 'W' : 'I')

/* A number whose set is above 127 is a text without identifier, which can be fetched but never logged. */
#define SUPER_IS_GTI(Number) (SUPER_MSG_SET(Number) > 127u)

#define SUPER_SYSTEM_LOG 8u
#define SUPER_END_USER 16u
#define SUPER_MSG_TEXT_OFFSET 17u
#define SUPER_MSG_NAME_SIZE 10u

#define SUPER_ERR_CATALOG 0x1CC00003u
#define SUPER_ERR_FORMAT 0x1CA0000Au

VELA_API u32 SupER_GetMessage(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, ...);
VELA_API u32 SupER_FormatMessage(char *Buffer, u32 *Size, i32 Format, u16 Destination, u32 MessageNumber, i32 MSN, ...);

VELA_END

#endif
