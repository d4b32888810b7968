// The straight loops, compiled once for each form of the inner loops: not a header of its own, but the common text of the
// sources that include it behind their mapBytes, bytesToUnits and so on. ICNV_TARGET names the instruction sets.
//
// A call by way of the layers costs more than the conversion of a short text. Without trace those layers leave nothing
// behind, so where one inner loop does all the work the exported call jumps here. A loop that meets anything unusual
// hands the text to the layers from its start: what was written is written again, the same. That costs the work twice,
// so long texts, which do not feel the layers, do not stay here; but for single bytes, where nothing unusual exists.

constexpr u32 ICNV_STRAIGHT_LIMIT = 2048;

static inline bool areApart(const u8 *Source, u32 Length, const u8 *Target, u32 Room)
{
    return Source + Length <= Target || Target + Room <= Source;
}

static inline bool mayTry(const u8 *Source, u32 Length, const u8 *Target, u32 Room)
{
    return Length - 1 < ICNV_STRAIGHT_LIMIT && areApart(Source, Length, Target, Room);
}

// All of the source is converted, and Written bytes stand in the target.
static inline i32 allDone(const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, size_t Written)
{
    *srcpp += *slenp;
    *slenp = 0;
    *tgtpp += Written;
    *tlenp -= static_cast<u32>(Written);
    return ICNV_RC_OK;
}

#define ICNV_STRAIGHT(Name)                                                                                            \
    static ICNV_TARGET i32 Name(u32 cd, const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvPlan *Plan)
#define ICNV_BY_LAYERS SupOS_IcnvCodeByLayers(cd, srcpp, slenp, tgtpp, tlenp)

ICNV_STRAIGHT(mapStraight)
{
    const u8 *const source = *srcpp;
    u8 *const target = *tgtpp;
    const u32 length = *slenp;
    if (length > *tlenp || length == 0 || (source != target && !areApart(source, length, target, length)))
        return ICNV_BY_LAYERS;
    mapBytes(source, target, length, Plan->map);
    return allDone(srcpp, slenp, tgtpp, tlenp, length);
}

ICNV_STRAIGHT(bytesToUcsStraight)
{
    const u32 length = *slenp;
    if (length > *tlenp / 2 || !mayTry(*srcpp, length, *tgtpp, *tlenp)) return ICNV_BY_LAYERS;
    bytesToUnits(*srcpp, *tgtpp, length, Plan->flat->bytes);
    return allDone(srcpp, slenp, tgtpp, tlenp, 2 * length);
}

ICNV_STRAIGHT(bytesToUtf8Straight)
{
    const u32 length = *slenp;
    const IcnvByteFlat *const flat = Plan->flat->bytes;
    if (u64{length} * (flat->simple ? 2 : 3) > *tlenp || !mayTry(*srcpp, length, *tgtpp, *tlenp)) return ICNV_BY_LAYERS;
    return allDone(srcpp, slenp, tgtpp, tlenp, bytesToUtf(*srcpp, *tgtpp, length, flat));
}

ICNV_STRAIGHT(utfToUcsStraight)
{
    const u32 length = *slenp;
    if (!mayTry(*srcpp, length, *tgtpp, *tlenp)) return ICNV_BY_LAYERS;
    size_t units = 0;
    if (utfToUnits(*srcpp, length, *tgtpp, *tlenp / 2, &units) != length) return ICNV_BY_LAYERS;
    static_cast<void>(Plan);
    return allDone(srcpp, slenp, tgtpp, tlenp, 2 * units);
}

ICNV_STRAIGHT(utfToNarrowStraight)
{
    const u32 length = *slenp;
    if (!mayTry(*srcpp, length, *tgtpp, *tlenp)) return ICNV_BY_LAYERS;
    size_t bytes = 0;
    if (utfToBytes(*srcpp, length, *tgtpp, *tlenp, Plan->flat->narrow, &bytes) != length) return ICNV_BY_LAYERS;
    return allDone(srcpp, slenp, tgtpp, tlenp, bytes);
}

ICNV_STRAIGHT(ucsToUtfStraight)
{
    const u32 length = *slenp;
    if (length % 2 != 0 || u64{length} / 2 * 3 > *tlenp || !mayTry(*srcpp, length, *tgtpp, *tlenp))
        return ICNV_BY_LAYERS;
    static_cast<void>(Plan);
    return allDone(srcpp, slenp, tgtpp, tlenp, unitsToUtf(*srcpp, length / 2, *tgtpp));
}

ICNV_STRAIGHT(ucsToNarrowStraight)
{
    const u32 length = *slenp;
    if (length % 2 != 0 || length / 2 > *tlenp || !mayTry(*srcpp, length, *tgtpp, *tlenp)) return ICNV_BY_LAYERS;
    unitsToBytes(*srcpp, length / 2, *tgtpp, Plan->flat->narrow);
    return allDone(srcpp, slenp, tgtpp, tlenp, length / 2);
}

#define ICNV_STRAIGHT_LOOPS                                                                                            \
    mapStraight, bytesToUcsStraight, bytesToUtf8Straight, utfToUcsStraight, utfToNarrowStraight, ucsToUtfStraight,     \
        ucsToNarrowStraight
