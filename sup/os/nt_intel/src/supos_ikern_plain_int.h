#ifndef SUPOS_IKERN_PLAIN_INT_H
#define SUPOS_IKERN_PLAIN_INT_H

// One character at a time: the plain steps that every form of the inner loops falls back to.

#include <string.h>

#include "supos_ikern_int.h"
#include "supos_istream_int.h"

static inline u16 IcnvUnitAt(const u8 *Place)
{
    u16 unit;
    memcpy(&unit, Place, 2);
    return unit;
}

static inline void IcnvPlainBytesToUnits(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    for (size_t i = 0; i < Count; ++i) {
        Target[2 * i] = Flat->low[Source[i]];
        Target[2 * i + 1] = Flat->high[Source[i]];
    }
}

static inline size_t IcnvPlainBytesToUtf(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    u8 *out = Target;
    for (size_t i = 0; i < Count; ++i) {
        const u8 byte = Source[i];
        const u32 length = Flat->utfLength[byte];
        out[0] = Flat->utf[0][byte];
        if (length > 1) out[1] = Flat->utf[1][byte];
        if (length > 2) out[2] = Flat->utf[2][byte];
        out += length;
    }
    return static_cast<size_t>(out - Target);
}

// The next character, if it is whole and its continuation bytes look like such; moves *In behind it.
static inline bool IcnvPlainUtf(const u8 **In, const u8 *End, u16 *Unit)
{
    const u8 *const in = *In;
    const ptrdiff_t left = End - in;
    if (left < 1) return false;
    const u32 lead = in[0];
    if (lead < 0x80) {
        *Unit = static_cast<u16>(lead);
        *In = in + 1;
        return true;
    }
    if ((lead & 0xE0) == 0xC0) {
        if (left < 2) return false;
        *Unit = static_cast<u16>((lead & 0x1F) << 6 | (in[1] & 0x3Fu));
        *In = in + 2;
        return true;
    }
    if ((lead & 0xF0) != 0xE0 || left < 3) return false;
    *Unit = static_cast<u16>((lead & 0x0F) << 12 | (in[1] & 0x3Fu) << 6 | (in[2] & 0x3Fu));
    *In = in + 3;
    return true;
}

static inline size_t IcnvPlainUnitsToUtf(const u8 *Source, size_t Count, u8 *Target)
{
    u8 *out = Target;
    for (size_t i = 0; i < Count; ++i) {
        const u32 unit = IcnvUnitAt(Source + 2 * i);
        if (unit < 0x80) {
            *out++ = static_cast<u8>(unit);
        } else if (unit < 0x800) {
            *out++ = static_cast<u8>(0xC0 | unit >> 6);
            *out++ = static_cast<u8>(0x80 | (unit & 0x3F));
        } else {
            *out++ = static_cast<u8>(0xE0 | unit >> 12);
            *out++ = static_cast<u8>(0x80 | (unit >> 6 & 0x3F));
            *out++ = static_cast<u8>(0x80 | (unit & 0x3F));
        }
    }
    return static_cast<size_t>(out - Target);
}

static inline void IcnvPlainUnitsToBytes(const u8 *Source, size_t Count, u8 *Target, const u8 *Narrow)
{
    for (size_t i = 0; i < Count; ++i) Target[i] = Narrow[IcnvUnitAt(Source + 2 * i)];
}

static inline bool IcnvIsLead(const IcnvLeadRanges *Row, u32 Byte)
{
    for (u32 i = 0; i < Row->count; ++i)
        if (Byte >= Row->ranges[i].low && Byte <= Row->ranges[i].high) return true;
    return false;
}

static inline size_t IcnvPlainPairs(const u8 *Source, size_t Length, u16 *Target, size_t Room, const IcnvPairs *Pairs,
                                    size_t *Units)
{
    size_t used = 0;
    size_t made = 0;
    while (made < Room && used < Length) {
        const u32 byte = Source[used];
        if (!IcnvIsLead(&Pairs->lead, byte)) {
            if (Pairs->stopsAtShifts && (byte & 0xFE) == 0x8E) break;
            Target[made++] = static_cast<u16>(byte);
            ++used;
            continue;
        }
        if (Length - used < 2) break;
        Target[made++] = static_cast<u16>(byte << 8 | Source[used + 1]);
        used += 2;
    }
    *Units = made;
    return used;
}

static inline size_t IcnvPlainHost(const u8 *Source, size_t Length, u16 *Target, size_t Room, u32 *Shift, size_t *Units)
{
    size_t used = 0;
    size_t made = 0;
    u32 shift = *Shift;
    while (made < Room && used < Length) {
        if (shift == ICNV_SHIFT_OUTSIDE && Source[used] != ICNV_SHIFT_OUT) {
            Target[made++] = Source[used++];
            continue;
        }
        // A run is entered with its first character; a shift-in goes with the character before it.
        const size_t at = used + (shift == ICNV_SHIFT_OUTSIDE);
        if (Length - used < 4 || Source[at] == ICNV_SHIFT_IN) break;
        Target[made++] = static_cast<u16>(Source[at] << 8 | Source[at + 1]);
        used = at + 2;
        shift = ICNV_SHIFT_INSIDE;
        if (Source[used] == ICNV_SHIFT_IN) {
            ++used;
            shift = ICNV_SHIFT_OUTSIDE;
        }
    }
    *Shift = shift;
    *Units = made;
    return used;
}

static inline size_t IcnvPlainUnitsToPairs(const u16 *Source, size_t Count, u8 *Target)
{
    u8 *out = Target;
    for (size_t i = 0; i < Count; ++i) {
        const u32 unit = Source[i];
        if (unit > 0xFF) *out++ = static_cast<u8>(unit >> 8);
        *out++ = static_cast<u8>(unit);
    }
    return static_cast<size_t>(out - Target);
}

// One double-byte character of a mixed text. Returns the target behind it.
static inline u8 *IcnvPlainDouble(const u8 *Source, u8 *Target, const IcnvMixedRule *Rule)
{
    if (Rule->doubles == ICNV_DOUBLES_ONE) {
        *Target = Rule->substitute;
        return Target + 1;
    }
    u16 unit = IcnvUnitAt(Source);
    if (Rule->doubles == ICNV_DOUBLES_TABLE) unit = __builtin_bswap16(Rule->flat[__builtin_bswap16(unit)]);
    memcpy(Target, &unit, 2);
    return Target + 2;
}

#endif
