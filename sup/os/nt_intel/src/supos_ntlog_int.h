#ifndef SUPOS_NTLOG_INT_H
#define SUPOS_NTLOG_INT_H

/* The line of a message for operators. */

#include "vela_types.h"

VELA_BEGIN

/* Forms a line of columns, blank-padded up to the text:
 *
 *     WIDTH  COLUMN
 *     any    the message's identifier, up to the first colon
 *     1      blank
 *     date   the system's short date; 8 where it cannot be told
 *     9      " %02d:%02d:%02d", local time
 *     9      " %-8.8s", Region, "(null)" for NULL
 *     5      blanks
 *     any    the rest of the message, from its colon on
 *
 * Message has MessageLength bytes. *OutSize comes in as the room of Out and goes out as the offset of the text. Two
 * bytes of the room stay free, the text is cut for them. Returns the length of the line, which has a terminator. */
u32 SupOS_NTFormatMessage(const char *Region, const char *Message, u32 MessageLength, char *Out, u32 *OutSize);

VELA_END

#endif
