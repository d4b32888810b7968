#ifndef SUPOS_TEXT_INT_H
#define SUPOS_TEXT_INT_H

// Locale names and multibyte text, as the layer itself needs them. All trace as SUPOS, entry; texts are in the code set
// of the process's locale.

#include "vela_types.h"

/* The full name of the system's own code set, by its OEM code page; "QMX-850" for a page that has no name. A constant
 * text. With page 850 and a locale in which byte 80 is the euro sign it is 858, unless VELA_USE_OEMCP is set. */
const char *SupOS_LangInfo(void);

/* Sets LANG of this process; En_GB and en_GB become En_US and en_US. The result of _putenv. For process start. */
i32 SupOS_SetLang(const char *Lang);

/* Copies Name up to its first blank into Out, which has room for SupOS_NativeLocaleLength plus 1; NULL for a NULL or
 * empty Name. */
char *SupOS_NativeLocale(char *Out, const char *Name);
i32 SupOS_NativeLocaleLength(const char *Name);

/* The bytes that the characters of Text take up in this locale, as far as it is valid and at most Length bytes. */
i32 SupOS_mbswidth(const char *Text, u32 Length);

/* The next character of Text; NULL for a NULL or empty Text. At an invalid character required: Text - 1. */
const char *SupOS_mbsadvance(const char *Text);

/* The first byte that begins no character, or NULL. */
const char *SupOS_mbsinvalid(const char *Text);

/* Whether an answer is a yes (1), a no (0) or neither (-1), by the patterns of the message catalogue; -1 without them.
 * -2 and -3: a pattern could not be kept. */
i32 SupOS_rpmatch(const char *Response);

#endif
