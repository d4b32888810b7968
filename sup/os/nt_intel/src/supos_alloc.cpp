// The layer's heap: the runtime's own, seen through the trace. There is no state and no list of blocks.

#include "supos_allocation.h"

#include "inftr_guard.h"

#include <cstdlib>
#include <cstring>

// A block of no bytes counts as one of a byte: for that the runtime may answer NULL, which is no failure here.
static size_t sizeOf(u32 Size)
{
    return Size == 0 ? 1 : Size;
}

// On failure *Block keeps the old block.
static bool resize(void **Block, u32 Size)
{
    void *const moved = realloc(*Block, sizeOf(Size));
    if (moved == nullptr) return false;
    *Block = moved;
    return true;
}

u32 SupOS_Allocate(u32 Size, void **Block)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Allocate");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%lu, %p)", static_cast<unsigned long>(Size), static_cast<void *>(Block));

    *Block = malloc(sizeOf(Size));
    if (*Block == nullptr) INFTR_RETURN_CODE(2, SupOS_RC_NOMEM);
    INFTR_RETURN_CODE(1, ERZ_OK);
}

u32 SupOS_Reallocate(void **Block, u32 Size)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Reallocate");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %lu)", static_cast<void *>(Block), static_cast<unsigned long>(Size));

    if (!resize(Block, Size)) INFTR_RETURN_CODE(2, SupOS_RC_REALLOC);
    INFTR_RETURN_CODE(1, ERZ_OK);
}

u32 SupOS_Deallocate(void *Block)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Deallocate");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", Block);

    free(Block);
    INFTR_RETURN_CODE(1, ERZ_OK);
}

u32 SupOS_AllocateRE(u32 Size, const char *Label, void **Block)
{
    INFTR_FUNCTION(SUPOS, "SupOS_AllocateRE");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%lu, %s, %p)", static_cast<unsigned long>(Size), Label,
                static_cast<void *>(Block));

    *Block = malloc(sizeOf(Size));
    if (*Block == nullptr) INFTR_RETURN_CODE(2, SupOS_RC_NOMEM); // before the block is cleared: there is none
    memset(*Block, 0, sizeOf(Size));
    INFTR_RETURN_CODE(1, ERZ_OK);
}

u32 SupOS_ReallocateRE(void **Block, u32 Size)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ReallocateRE");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %lu)", static_cast<void *>(Block), static_cast<unsigned long>(Size));

    if (!resize(Block, Size)) INFTR_RETURN_CODE(2, SupOS_RC_REALLOC);
    INFTR_RETURN_CODE(1, ERZ_OK);
}

u32 SupOS_DeallocateRE(void *Block)
{
    INFTR_FUNCTION(SUPOS, "SupOS_DeallocateRE");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", Block);

    free(Block);
    INFTR_RETURN_CODE(1, ERZ_OK);
}
