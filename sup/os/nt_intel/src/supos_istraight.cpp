// Straight loops: which one takes whole texts of a pair, past the layers that only pass them on.

#include "supos_icnv_engine.h"
#include "supos_ikern_int.h"

static i32 byLayers(u32 cd, const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvPlan *)
{
    return SupOS_IcnvCodeByLayers(cd, srcpp, slenp, tgtpp, tlenp);
}

IcnvStraight *SupOS_IcnvStraightOf(const IcnvPlan *Plan, const IcnvDescriptor *Descriptor)
{
    const IcnvKernels *const kernels = SupOS_IcnvKernels();
    if (Descriptor->mode == ICNV_MODE_COPY) return byLayers;
    if (Descriptor->mode != 0) return Descriptor->table2 == 0 && Plan->map != nullptr ? kernels->mapStraight : byLayers;

    const u32 from = Descriptor->fromEncoding;
    const u32 to = Descriptor->toEncoding;
    if (from == ICNV_UTF8 && to == ICNV_UCS2) return kernels->utfToUcs;
    if (from == ICNV_UCS2 && to == ICNV_UTF8) return kernels->ucsToUtf;
    const IcnvFlatKind layout = SupOS_IcnvFlatKindOf(Descriptor->fromKind, from, Descriptor->toKind, to);
    if (Plan->flat == nullptr || Plan->flat->kind != layout) return byLayers;
    if (layout == ICNV_FLAT_S2) return to == ICNV_UCS2 ? kernels->bytesToUcs : kernels->bytesToUtf8;
    if (layout == ICNV_FLAT_D1) return from == ICNV_UCS2 ? kernels->ucsToNarrow : kernels->utfToNarrow;
    return byLayers;
}
