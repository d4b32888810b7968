#ifndef PLAT_TEXT_H
#define PLAT_TEXT_H

/* Multibyte characters in the current locale, each call from a fresh shift state. In the C locale every byte from 0x80
 * up is a character of its own. */

#include <wchar.h>

#include "plat_types.h"

PLAT_BEGIN

/* As mblen, mbtowc and wctomb of ISO C with a fresh state: bytes used, 0 for a NUL, -1 for an invalid or incomplete
 * character, and for a Size of 0. Text and Out are not NULL; Wide may be. Out of plat_wctomb has room for 16 bytes.
 *
 * Safe from any thread, as long as none changes the locale.
 *
 * Differ from the C library's own: those refuse the bytes from 0x80 up in the C locale, and mbtowc of glibc stays in a
 * broken state after an incomplete character. */
PLAT_API i32 plat_mblen(const char *Text, size_t Size);
PLAT_API i32 plat_mbtowc(wchar_t *Wide, const char *Text, size_t Size);
PLAT_API i32 plat_wctomb(char *Out, wchar_t Wide);

PLAT_END_C

#endif
