#ifndef WIN32_TEXT_H
#define WIN32_TEXT_H

/* Message texts with inserts. */

#include <stdarg.h>

#include "plat_types.h"

PLAT_BEGIN

#define FORMAT_MESSAGE_FROM_STRING 0x400u

/* Expands the inserts of a text: %1 to %99, %n!printf form!, %% %n %r %t %b %. %! %0.
 *
 * Flags     FORMAT_MESSAGE_FROM_STRING
 * Source    the text; MessageId and Language are not used
 * Out       receives the text, cut to Size - 1 bytes, with a terminator
 * Args      the inserts, each one word: a char pointer, or an integer where a form is given
 *
 * Returns the length that the whole text needs, so a result of Size or more means that it was cut; 0 on failure and
 * for an empty text. Differs from Win32: there a small room gives 0. */
PLAT_API u32 FormatMessageA(u32 Flags, const void *Source, u32 MessageId, u32 Language, char *Out, u32 Size,
                            va_list *Args);

PLAT_END_C

#endif
