#ifndef WIN32_ENVIRONMENT_H
#define WIN32_ENVIRONMENT_H

/* References to environment variables within a text. */

#include "plat_types.h"

PLAT_BEGIN

/* Replaces each %NAME% by the value of the environment variable NAME.
 *
 * Source  a text; a name without a variable stays with its percent signs, and the second of them may open the next
 *         name; a single percent sign stays. Values are not looked at again.
 * Out     receives the text with its terminator; must not overlap Source
 * Size    room in bytes
 *
 * Returns the room that the whole text needs, its terminator included. Above Size nothing is told in Out but an empty
 * text. Names compare with case, as this system's do. */
PLAT_API u32 ExpandEnvironmentStringsA(const char *Source, char *Out, u32 Size);

PLAT_END_C

#endif
