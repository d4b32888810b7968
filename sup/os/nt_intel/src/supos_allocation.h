#ifndef SUPOS_ALLOCATION_H
#define SUPOS_ALLOCATION_H

// The layer's heap: the runtime's, with an entry in the trace for each block. All trace as SUPOS, entry.

#include "vela_types.h"

/* A block of Size bytes, not cleared, into *Block. Returns ERZ_OK, or SupOS_RC_NOMEM with *Block NULL. */
u32 SupOS_Allocate(u32 Size, void **Block);

/* Makes *Block, which may be NULL, Size bytes long; it may move. Returns ERZ_OK, or SupOS_RC_REALLOC with *Block as it
 * was. */
u32 SupOS_Reallocate(void **Block, u32 Size);

/* Frees a block of SupOS_Allocate or SupOS_Reallocate; NULL is allowed. Returns ERZ_OK. */
u32 SupOS_Deallocate(void *Block);

/* As the three above, with the block cleared at first. Label, not NULL, tells the block's purpose in the trace and
 * nowhere else. What SupOS_ReallocateRE adds to a block is not cleared. */
u32 SupOS_AllocateRE(u32 Size, const char *Label, void **Block);
u32 SupOS_ReallocateRE(void **Block, u32 Size);
u32 SupOS_DeallocateRE(void *Block);

#endif
