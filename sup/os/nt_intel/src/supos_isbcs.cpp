// The byte route: which loop a descriptor's tables ask for, and the single-byte loop.

#include <string.h>

#include "inftr_guard.h"
#include "supos_ikern_int.h"
#include "supos_imixed_int.h"

// Whether quick forms may be used: they read blocks before they write them, which is the same as byte by byte unless
// the target begins inside the source.
static bool isApart(const u8 *Source, u32 Length, const u8 *Target, u32 Room)
{
    return Target <= Source ? Target == Source || Target + Room <= Source : Source + Length <= Target;
}

i32 TranSBCS(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode)
{
    INFTR_FUNCTION(SUPOS, "TranSBCS");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %p, %u)", static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp, static_cast<const void *>(conv), mode);

    const u32 count = *slenp < *tlenp ? *slenp : *tlenp;
    const u8 *const source = *srcpp;
    u8 *const target = *tgtpp;
    if (conv->quick) {
        SupOS_IcnvKernels()->mapBytes(source, target, count, conv->map);
    } else {
        for (u32 i = 0; i < count; ++i) IcnvTranslate(&conv->sbcs, mode, source[i], &target[i]);
    }

    const i32 code = count < *slenp ? ICNV_RC_FULL : ICNV_RC_OK;
    *srcpp = source + count;
    *tgtpp = target + count;
    *tlenp = count;
    INFTR_RETURN_CODE(1, code);
}

i32 SupOS_CodeConv(const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, u32 table1, u32 table2, u32 mode, u32 index,
                   const IcnvPlan *Plan)
{
    INFTR_FUNCTION(SUPOS, "SupOS_CodeConv");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %u, %u, %u, %u)", static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp, table1, table2, mode, index);

    IcnvConv conv = {};
    if (table2 != 0) {
        conv.index = index;
        if (table2 != ICNV_TBL_SAME && table2 != ICNV_TBL_SUBST) conv.dbcs = SupOS_IcnvLookupOf(table2, index);
    }
    if (table1 != 0 && table1 != ICNV_TBL_SAME) conv.sbcs = SupOS_IcnvLookupOf(table1, index);
    if (Plan != nullptr && Plan->map != nullptr) {
        conv.map = Plan->map;
        conv.flat = Plan->flat != nullptr ? Plan->flat->words : nullptr;
        conv.quick = isApart(*srcpp, *slenp, *tgtpp, *tlenp) && (conv.flat != nullptr || conv.dbcs.table == nullptr);
        if (table2 != 0 && *srcpp == *tgtpp) conv.quick = false; // only a byte for a byte may be done in place
    }
    // Each double-byte character has trace points of its own, which a quick pass would leave out.
    if (table2 != 0 && InfTR_Guard(INFTR_COMPONENT_SUPOS, INFTR_CLASS_ENTRY | INFTR_CLASS_VOID_EXIT))
        conv.quick = false;

    const bool fromHost = (mode & ICNV_FROM_HOST) != 0;
    i32 code;
    if (table2 == 0) {
        code = TranSBCS(srcpp, slenp, tgtpp, tlenp, &conv, mode);
        INFTR_RETURN_CODE(1, code);
    }
    if (table2 == ICNV_TBL_SUBST) {
        code = fromHost ? HostPCMS(srcpp, slenp, tgtpp, tlenp, &conv, mode)
                        : PCHostMS(srcpp, slenp, tgtpp, tlenp, &conv, mode);
        INFTR_RETURN_CODE(2, code);
    }
    code = fromHost ? HostPCMM(srcpp, slenp, tgtpp, tlenp, &conv, mode)
                    : PCHostMM(srcpp, slenp, tgtpp, tlenp, &conv, mode);
    INFTR_RETURN_CODE(3, code);
}
