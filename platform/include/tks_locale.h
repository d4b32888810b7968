#ifndef TKS_LOCALE_H
#define TKS_LOCALE_H

/* Base services: the locale of the process, by native names. */

#include "plat_types.h"

PLAT_BEGIN

#define TKS_LC_ALL 0
#define TKS_LC_COLLATE 1
#define TKS_LC_CTYPE 2
#define TKS_LC_MONETARY 3
#define TKS_LC_NUMERIC 4
#define TKS_LC_TIME 5

/* Sets the locale of the process, or asks for it.
 *
 * Category  TKS_LC_*
 * Name      a native name "Language_Country.codepage" such as "Japanese_Japan.932"; a name of this system such as
 *           "ja_JP.UTF-8" or "C"; empty for the locale that the environment names, or the nearest to it
 *           that is installed; NULL only asks
 *
 * A native name is looked for on this system in that code page, then in UTF-8, and gives way to C.UTF-8 when its language
 * is not installed: the name is in force all the same.
 *
 * Returns the native name now in force: the one that was asked for, or the one of a system's name where there is one
 * ("ja_JP.UTF-8" gives "Japanese_Japan.932", "C.UTF-8" gives "C"), else the system's name itself. For TKS_LC_ALL the
 * name of TKS_LC_CTYPE stands for all. It lives until the next call. NULL for an unknown category, and for a name that
 * is neither native nor known to the system: nothing changes then.
 *
 * For process start: other threads must not use the locale meanwhile. What a host sets by the C library's own setlocale
 * is not noticed here. */
PLAT_API const char *tks_setlocale(i32 Category, const char *Name);

PLAT_END_C

#endif
