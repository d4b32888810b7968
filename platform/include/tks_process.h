#ifndef TKS_PROCESS_H
#define TKS_PROCESS_H

/* Base services: the end of the process. */

#include "plat_types.h"

PLAT_BEGIN

/* Ends the process; streams are flushed, atexit routines run. Of Code the low 8 bits reach the parent.
 * Within a fault handler streams get one bounded flush and nothing else runs. When two threads call it, the first ends
 * the process and the other waits for that; a call out of an atexit routine flushes and ends at once. */
PLAT_API __attribute__((noreturn)) void tks_Exit(i32 Code);

PLAT_END_C

#endif
