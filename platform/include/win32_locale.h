#ifndef WIN32_LOCALE_H
#define WIN32_LOCALE_H

/* The code page of the system. */

#include "plat_types.h"

PLAT_BEGIN

/* The OEM code page: the value OEMCP of the registry below SYSTEM\CurrentControlSet\Control\Nls\CodePage, when it is a
 * number from 1 to 65535. Without it the locale decides, that of the process or, while that is "C", the one that the
 * environment names: 1208 for a UTF-8 locale, else the page of its language and country (437 for United States English,
 * 850 for western Europe, 932 for Japan, ...), 850 when there is none.
 *
 * Safe from any thread, as long as none changes the locale. */
PLAT_API u32 GetOEMCP(void);

PLAT_END_C

#endif
