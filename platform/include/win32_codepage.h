#ifndef WIN32_CODEPAGE_H
#define WIN32_CODEPAGE_H

/* Text of this system, UTF-8, to and from UTF-16. */

#include "plat_types.h"

#ifdef __cplusplus
typedef char16_t plat_char16;
#else
typedef uint16_t plat_char16;
#endif

PLAT_BEGIN

#define CP_ACP 0u /* the system's own */
#define CP_UTF8 65001u

/* Both convert Size units of Source, with -1 up to its terminator and that too, and return the units written. With Room
 * 0 they return the room that it takes and write nothing. 0 is a failure: error 122 for a room that is too small (what
 * it holds is not told), 87 for another code page or a Size of 0. What is no character becomes U+FFFD.
 *
 * CodePage  CP_ACP or CP_UTF8; Flags is not looked at */
PLAT_API i32 MultiByteToWideChar(u32 CodePage, u32 Flags, const char *Source, i32 Size, plat_char16 *Out, i32 Room);

/* Default and UsedDefault must be NULL. */
PLAT_API i32 WideCharToMultiByte(u32 CodePage, u32 Flags, const plat_char16 *Source, i32 Size, char *Out, i32 Room,
                                 const char *Default, i32 *UsedDefault);

PLAT_END_C

#endif
