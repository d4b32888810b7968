#ifndef SUPER_CODES_H
#define SUPER_CODES_H

/* Abend codes as text and back.
 *
 * An abend code packs a name of four characters, the first in the highest byte. Bit 31 says that the name is shown with
 * a leading "U"; bit 23 is a flag and no part of the name. So the second character of a name is a 7-bit one. */

#include "vela_types.h"

VELA_BEGIN

/**
 * The abend code of a name.
 *
 * @param[in] Text  four characters and a terminator, or five, of which the first is taken for the "U" unseen; at least
 *                  5 bytes are read
 * @param[in] Flag  bits to set in the code of a five-character name; ignored for four characters
 *
 * Returns the code: 0x41424344 for "ABCD", 0xC1424344 for "UABCD" with Flag 0. Any thread. Traces as SUPER, API entry.
 */
VELA_API u32 SupER_StrToAb(const char *Text, u32 Flag);

/** Does nothing; kept for programs that link against it. */
VELA_API void SupER_InitAssertData(void);

VELA_END

#endif
