#ifndef SUPER_CODES_H
#define SUPER_CODES_H

/* Abend codes as text and back. */

#include "vela_types.h"

VELA_BEGIN

VELA_API u32 SupER_StrToAb(const char *Text, u32 Flag);
VELA_API void SupER_InitAssertData(void);

VELA_END

#endif
