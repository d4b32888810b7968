#ifndef TKS_CATALOG_H
#define TKS_CATALOG_H

/* Base services: message catalogues, in the file format of gencat (POSIX). */

#include "plat_types.h"

PLAT_BEGIN

#define TKS_CAT_FAILED 0xFFFFFFFFu

/* Opens a catalogue by name.
 *
 * Name   file name such as "vela.cat"; one that holds a slash is a path
 * Flag   1 = the locale of messages decides (LC_ALL, LC_MESSAGES, LANG), 0 = LANG alone
 *
 * Search: the templates of NLSPATH (%N %L %l %t %c %%), then msg/LOCALE and msg/C below the installation directory of
 * the registry, then the msg directory beside the directory of this library.
 *
 * Returns a descriptor, TKS_CAT_FAILED when no file is found or it is no catalogue. Threads share one loaded
 * catalogue; it is never closed. */
PLAT_API u32 tks_catopen(const char *Name, i32 Flag);

/* A text of a catalogue, or Default itself when it is not there (compare the pointers).
 *
 * The text lies in memory of the calling thread that the caller may write, of at least 128 bytes, and lives until the
 * thread's next call. */
PLAT_API char *tks_catgets(u32 Catalog, u32 Set, u32 Number, char *Default);

PLAT_END_C

#endif
