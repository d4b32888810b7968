// The inner loops in plain code: for processors without AVX2, and as the pieces that the other forms end with.

#include "supos_ikern_plain_int.h"

static void mapBytes(const u8 *Source, u8 *Target, size_t Count, const u8 *Map)
{
    for (size_t i = 0; i < Count; ++i) Target[i] = Map[Source[i]];
}

static void bytesToUnits(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    IcnvPlainBytesToUnits(Source, Target, Count, Flat);
}

static size_t bytesToUtf(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    return IcnvPlainBytesToUtf(Source, Target, Count, Flat);
}

static size_t utfToUnits(const u8 *Source, size_t Length, u8 *Target, size_t Room, size_t *Units)
{
    const u8 *in = Source;
    const u8 *const end = Source + Length;
    u8 *out = Target;
    u8 *const full = Target + 2 * Room;
    u16 unit;
    while (out != full && IcnvPlainUtf(&in, end, &unit)) {
        memcpy(out, &unit, 2);
        out += 2;
    }
    *Units = static_cast<size_t>(out - Target) / 2;
    return static_cast<size_t>(in - Source);
}

static size_t unitsToUtf(const u8 *Source, size_t Count, u8 *Target)
{
    return IcnvPlainUnitsToUtf(Source, Count, Target);
}

static size_t utfToBytes(const u8 *Source, size_t Length, u8 *Target, size_t Room, const u8 *Narrow, size_t *Bytes)
{
    const u8 *in = Source;
    const u8 *const end = Source + Length;
    size_t made = 0;
    u16 unit;
    while (made < Room && IcnvPlainUtf(&in, end, &unit)) Target[made++] = Narrow[unit];
    *Bytes = made;
    return static_cast<size_t>(in - Source);
}

static void unitsToBytes(const u8 *Source, size_t Count, u8 *Target, const u8 *Narrow)
{
    IcnvPlainUnitsToBytes(Source, Count, Target, Narrow);
}

static size_t pairsToUnits(const u8 *Source, size_t Length, u16 *Target, size_t Room, const IcnvPairs *Pairs,
                           size_t *Units)
{
    return IcnvPlainPairs(Source, Length, Target, Room, Pairs, Units);
}

static size_t hostToUnits(const u8 *Source, size_t Length, u16 *Target, size_t Room, u32 *Shift, size_t *Units)
{
    return IcnvPlainHost(Source, Length, Target, Room, Shift, Units);
}

static size_t unitsToPairs(const u16 *Source, size_t Count, u8 *Target)
{
    return IcnvPlainUnitsToPairs(Source, Count, Target);
}

#define ICNV_TARGET
#include "supos_ikern_straight_int.h"

const IcnvKernels IcnvKernelsPlain = {
    "plain",      mapBytes,     bytesToUnits, bytesToUtf,   utfToUnits, unitsToUtf, utfToBytes,
    unitsToBytes, pairsToUnits, hostToUnits,  unitsToPairs, nullptr,    nullptr,    ICNV_STRAIGHT_LOOPS,
};
