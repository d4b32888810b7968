// Straight loops: a whole text of a plain pair in one call, past the layers that only pass it on.
//
// A call by way of the dispatcher and a routine costs more than the conversion of a short text. Without trace those
// layers leave nothing behind, so where one inner loop does all the work the code call goes to it at once. A loop that
// meets anything unusual says no, and the text goes through the layers from its start: what was written is written
// again, the same. That costs the work twice, so long texts, which do not feel the layers, never come here; but for
// single bytes, where nothing unusual exists.

#include "supos_icnv_engine.h"
#include "supos_ikern_int.h"

constexpr u32 ICNV_STRAIGHT_LIMIT = 2048;

static bool areApart(const u8 *Source, u32 Length, const u8 *Target, u32 Room)
{
    return Source + Length <= Target || Target + Room <= Source;
}

static bool mayTry(const u8 *Source, u32 Length, const u8 *Target, u32 Room)
{
    return Length <= ICNV_STRAIGHT_LIMIT && areApart(Source, Length, Target, Room);
}

static bool mapStraight(const IcnvPlan *Plan, const u8 *Source, u32 Length, u8 *Target, u32 Room, u32 *Written)
{
    if (Length > Room || (Source != Target && !areApart(Source, Length, Target, Room))) return false;
    SupOS_IcnvKernels()->mapBytes(Source, Target, Length, Plan->map);
    *Written = Length;
    return true;
}

static bool bytesToUcs(const IcnvPlan *Plan, const u8 *Source, u32 Length, u8 *Target, u32 Room, u32 *Written)
{
    if (Length > Room / 2 || !mayTry(Source, Length, Target, Room)) return false;
    SupOS_IcnvKernels()->bytesToUnits(Source, Target, Length, Plan->flat->bytes);
    *Written = 2 * Length;
    return true;
}

static bool bytesToUtf(const IcnvPlan *Plan, const u8 *Source, u32 Length, u8 *Target, u32 Room, u32 *Written)
{
    const u32 longest = Plan->flat->bytes->simple ? 2 : 3;
    if (Length > Room / longest || !mayTry(Source, Length, Target, Room)) return false;
    *Written = static_cast<u32>(SupOS_IcnvKernels()->bytesToUtf(Source, Target, Length, Plan->flat->bytes));
    return true;
}

static bool utfToUcs(const IcnvPlan *, const u8 *Source, u32 Length, u8 *Target, u32 Room, u32 *Written)
{
    if (!mayTry(Source, Length, Target, Room)) return false;
    size_t units = 0;
    if (SupOS_IcnvKernels()->utfToUnits(Source, Length, Target, Room / 2, &units) != Length) return false;
    *Written = static_cast<u32>(2 * units);
    return true;
}

static bool utfToBytes(const IcnvPlan *Plan, const u8 *Source, u32 Length, u8 *Target, u32 Room, u32 *Written)
{
    if (!mayTry(Source, Length, Target, Room)) return false;
    size_t bytes = 0;
    if (SupOS_IcnvKernels()->utfToBytes(Source, Length, Target, Room, Plan->flat->narrow, &bytes) != Length)
        return false;
    *Written = static_cast<u32>(bytes);
    return true;
}

static bool ucsToUtf(const IcnvPlan *, const u8 *Source, u32 Length, u8 *Target, u32 Room, u32 *Written)
{
    if (Length % 2 != 0 || Length / 2 > Room / 3 || !mayTry(Source, Length, Target, Room)) return false;
    *Written = static_cast<u32>(SupOS_IcnvKernels()->unitsToUtf(Source, Length / 2, Target));
    return true;
}

static bool ucsToBytes(const IcnvPlan *Plan, const u8 *Source, u32 Length, u8 *Target, u32 Room, u32 *Written)
{
    if (Length % 2 != 0 || Length / 2 > Room || !mayTry(Source, Length, Target, Room)) return false;
    SupOS_IcnvKernels()->unitsToBytes(Source, Length / 2, Target, Plan->flat->narrow);
    *Written = Length / 2;
    return true;
}

IcnvStraight *SupOS_IcnvStraightOf(const IcnvPlan *Plan, const IcnvDescriptor *Descriptor)
{
    if (Descriptor->mode == ICNV_MODE_COPY) return nullptr;
    if (Descriptor->mode != 0) return Descriptor->table2 == 0 && Plan->map != nullptr ? mapStraight : nullptr;

    const u32 from = Descriptor->fromEncoding;
    const u32 to = Descriptor->toEncoding;
    if (from == ICNV_UTF8 && to == ICNV_UCS2) return utfToUcs;
    if (from == ICNV_UCS2 && to == ICNV_UTF8) return ucsToUtf;
    const IcnvFlatKind layout = SupOS_IcnvFlatKindOf(Descriptor->fromKind, from, Descriptor->toKind, to);
    if (Plan->flat == nullptr || Plan->flat->kind != layout) return nullptr;
    if (layout == ICNV_FLAT_S2) return to == ICNV_UCS2 ? bytesToUcs : bytesToUtf;
    if (layout == ICNV_FLAT_D1) return from == ICNV_UCS2 ? ucsToBytes : utfToBytes;
    return nullptr;
}
