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
 * Search, until a file is found that is a catalogue:
 *   the templates of NLSPATH, parted by colons: %N the name, %L the locale, %l %t %c its language, territory and code
 *   set, %% a percent sign; an empty template is %N;
 *   msg/LOCALE/NAME and msg/C/NAME below the installation directory that the registry names, if there is a registry;
 *   ../msg/C/NAME and msg/C/NAME as seen from the directory of this library.
 * The locale is "C" when no variable names one, and when the name holds a slash.
 *
 * Returns a descriptor, TKS_CAT_FAILED when nothing was found. Threads share one loaded catalogue of a path; it is never
 * closed, and a file that is replaced is not read again. Safe from any thread. A program that runs with the rights of
 * another user than its caller's does not look at the variables. */
PLAT_API u32 tks_catopen(const char *Name, i32 Flag);

/* A text of a catalogue, or Default itself (may be NULL) when it is not there, when the descriptor is none, or without
 * memory; compare the pointers.
 *
 * The text lies in memory of the calling thread that the caller may write, of at least 128 bytes, and lives until the
 * thread's next call. */
PLAT_API char *tks_catgets(u32 Catalog, u32 Set, u32 Number, char *Default);

PLAT_END_C

#endif
