#ifndef TKS_MEMORY_H
#define TKS_MEMORY_H

/* Base services: the heap with source locations. */

#include "plat_types.h"

PLAT_BEGIN

/* Plain heap block of Size bytes, not cleared; NULL with errno ENOMEM without memory. File (may be NULL) and Line name
 * the caller, for a debugger that stops here. Safe from any thread, as is tks_trace_Free. */
PLAT_API void *tks_trace_Malloc(size_t Size, const char *File, i32 Line);

/* Frees a block of tks_trace_Malloc; NULL is allowed. */
PLAT_API void tks_trace_Free(void *Block);

/* For tests: the Nth tks_trace_Malloc from now on (1 = the next) gives NULL, once; 0 switches this off.
 * Process-wide. */
PLAT_API void tks_TestFailMalloc(u32 Nth);

PLAT_END_C

#endif
