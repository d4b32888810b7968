#ifndef SUPOS_LOCALES_H
#define SUPOS_LOCALES_H

/* The locale of the process, by portable names such as En_US. */

#include "vela_types.h"

VELA_BEGIN

/* Categories; other numbers fail. */
#define SUPOS_LOCALE_ALL 0
#define SUPOS_LOCALE_COLLATE 1
#define SUPOS_LOCALE_CTYPE 2
#define SUPOS_LOCALE_MONETARY 3
#define SUPOS_LOCALE_NUMERIC 4
#define SUPOS_LOCALE_TIME 5

/**
 * Sets the locale of the process.
 *
 * @param[in] Category  one of SUPOS_LOCALE_*
 * @param[in] Locale    a portable name ("En_US", "ja_JP"), or any name that the platform itself takes ("Japanese_Japan.932",
 *                      "ja_JP.UTF-8"); empty takes the platform's default; NULL only asks
 *
 * With LANG not set nothing is done. A LANG of ZHTW950 or ZHCN936 takes the platform's default, whatever Locale is.
 *
 * Returns the portable name of the locale now in force, a constant text: "En_US" for one that has none. NULL when LANG
 * is not set, and for a locale that the platform does not have. For process start, before threads: the locale is the
 * whole process's and no lock is taken. Logs nothing. Traces as SUPOS, entry.
 */
VELA_API const char *SupOS_SetLocale(i32 Category, const char *Locale);

VELA_END

#endif
