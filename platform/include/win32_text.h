#ifndef WIN32_TEXT_H
#define WIN32_TEXT_H

/* Message texts with inserts. */

#include <stdarg.h>

#include "plat_types.h"

PLAT_BEGIN

#define FORMAT_MESSAGE_FROM_STRING 0x400u

/* Expands the inserts of a text.
 *
 *     %1 to %99       the n-th word of Args, a text
 *     %1!form!        the word by a form of printf: flags, width, precision, length (h, l, ll, I32, I64), and one of
 *                     s c d i u o x X p. A width or precision of * takes the n-th word and the value the next one; with
 *                     both, the words are width, precision, value.
 *     %0              ends the text
 *     %n %r %t %b     line feed, carriage return, tab, blank
 *     %% %. %!        percent sign, point, exclamation mark; before any other character the percent sign falls away
 *
 * Flags      FORMAT_MESSAGE_FROM_STRING and nothing else
 * Source     the text
 * MessageId, Language   not looked at
 * Out        receives the text, cut to Size - 1 bytes, with a terminator; may be NULL when Size is 0
 * Args       a pointer to a va_list variable (of a va_list parameter take a va_copy first), NULL for a text without
 *            inserts. Each insert is one word: a char pointer, where NULL prints "(null)", or an integer, of which a
 *            form without a length and l take 32 bits, h takes 16. The list itself is not moved.
 *
 * Returns the length that the whole text needs, so a result of Size or more means that it was cut. 0 for an empty
 * result. 0 with error 87 and an untouched buffer for a text that ends in a percent sign, a form that is not closed or
 * not offered, and bad arguments. The words that the text names must have been passed: nobody can count them.
 *
 * Safe from any thread; calls printf and so follows the locale.
 *
 * Differs from Win32: a small room gives a cut text and the length needed, not 0; %n and line ends are a line feed
 * alone; wide texts and other flags are not offered. */
PLAT_API u32 FormatMessageA(u32 Flags, const void *Source, u32 MessageId, u32 Language, char *Out, u32 Size,
                            va_list *Args);

PLAT_END_C

#endif
