// The inner loops for AVX2: blocks of 32 bytes.
//
// A byte table is looked up in sixteen pieces of sixteen entries, each by one shuffle on the low four bits; the four
// bits above choose among the pieces in four rounds of blends. Text of several bytes a character goes one character at
// a time; what is plain ASCII, and the search for borders in mixed text, goes by blocks.

#include <immintrin.h>

#include "supos_ikern_plain_int.h"

#define ICNV_TARGET __attribute__((target("avx2,bmi,bmi2,popcnt")))

struct Map256 {
    __m256i piece[16]; // the same sixteen entries in both lanes
};

static inline ICNV_TARGET __m256i load(const u8 *Place)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(Place));
}

static inline ICNV_TARGET void store(u8 *Place, __m256i Bytes)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(Place), Bytes);
}

static inline ICNV_TARGET void loadMap(const u8 *Map, Map256 *Out)
{
    for (u32 i = 0; i < 16; ++i)
        Out->piece[i] = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(Map + 16 * i)));
}

static inline ICNV_TARGET __m256i mapped(const Map256 *Map, __m256i Bytes)
{
    const __m256i low = _mm256_and_si256(Bytes, _mm256_set1_epi8(0x0F));
    const __m256i bit4 = _mm256_slli_epi16(Bytes, 3); // each bit in turn to the top of its byte, where blends look
    const __m256i bit5 = _mm256_slli_epi16(Bytes, 2);
    const __m256i bit6 = _mm256_slli_epi16(Bytes, 1);
    __m256i four[4];
    for (u32 i = 0; i < 4; ++i) {
        const __m256i *const piece = &Map->piece[4 * i];
        const __m256i a =
            _mm256_blendv_epi8(_mm256_shuffle_epi8(piece[0], low), _mm256_shuffle_epi8(piece[1], low), bit4);
        const __m256i b =
            _mm256_blendv_epi8(_mm256_shuffle_epi8(piece[2], low), _mm256_shuffle_epi8(piece[3], low), bit4);
        four[i] = _mm256_blendv_epi8(a, b, bit5);
    }
    const __m256i below = _mm256_blendv_epi8(four[0], four[1], bit6);
    const __m256i above = _mm256_blendv_epi8(four[2], four[3], bit6);
    return _mm256_blendv_epi8(below, above, Bytes);
}

static ICNV_TARGET void mapBytes(const u8 *Source, u8 *Target, size_t Count, const u8 *Map)
{
    Map256 map;
    loadMap(Map, &map);
    size_t i = 0;
    for (; i + 32 <= Count; i += 32) store(Target + i, mapped(&map, load(Source + i)));
    for (; i < Count; ++i) Target[i] = Map[Source[i]];
}

static ICNV_TARGET void bytesToUnits(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    Map256 lowMap, highMap;
    loadMap(Flat->low, &lowMap);
    loadMap(Flat->high, &highMap);
    size_t i = 0;
    for (; i + 32 <= Count; i += 32) {
        const __m256i bytes = _mm256_permute4x64_epi64(load(Source + i), 0xD8); // unpacking works within lanes
        const __m256i low = mapped(&lowMap, bytes);
        const __m256i high = mapped(&highMap, bytes);
        store(Target + 2 * i, _mm256_unpacklo_epi8(low, high));
        store(Target + 2 * i + 32, _mm256_unpackhi_epi8(low, high));
    }
    IcnvPlainBytesToUnits(Source + i, Target + 2 * i, Count - i, Flat);
}

static ICNV_TARGET size_t bytesToUtf(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    Map256 map;
    loadMap(Flat->utf[0], &map);
    u8 *out = Target;
    size_t i = 0;
    while (i + 32 <= Count) {
        const __m256i first = mapped(&map, load(Source + i)); // the only byte, or a lead with the top bit set
        const u32 wide = static_cast<u32>(_mm256_movemask_epi8(first));
        if (wide == 0) {
            store(out, first);
            out += 32;
        } else {
            out += IcnvPlainBytesToUtf(Source + i, out, 32, Flat);
        }
        i += 32;
    }
    out += IcnvPlainBytesToUtf(Source + i, out, Count - i, Flat);
    return static_cast<size_t>(out - Target);
}

static ICNV_TARGET size_t utfToUnits(const u8 *Source, size_t Length, u8 *Target, size_t Room, size_t *Units)
{
    const u8 *in = Source;
    const u8 *const end = Source + Length;
    size_t made = 0;
    u16 unit;
    for (;;) {
        while (end - in >= 32 && Room - made >= 32) {
            const __m256i bytes = load(in);
            if (_mm256_movemask_epi8(bytes) != 0) break;
            store(Target + 2 * made, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(bytes)));
            store(Target + 2 * made + 32, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(bytes, 1)));
            in += 32;
            made += 32;
        }
        const u8 *const stretch = end - in > 32 ? in + 32 : end;
        while (made < Room && in < stretch && IcnvPlainUtf(&in, end, &unit)) {
            memcpy(Target + 2 * made, &unit, 2);
            ++made;
        }
        if (made == Room || in < stretch || in == end) break;
    }
    *Units = made;
    return static_cast<size_t>(in - Source);
}

static ICNV_TARGET size_t unitsToUtf(const u8 *Source, size_t Count, u8 *Target)
{
    u8 *out = Target;
    size_t i = 0;
    while (i + 32 <= Count) {
        const __m256i a = load(Source + 2 * i);
        const __m256i b = load(Source + 2 * i + 32);
        if (_mm256_testz_si256(_mm256_or_si256(a, b), _mm256_set1_epi16(static_cast<i16>(0xFF80)))) {
            store(out, _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8));
            out += 32;
        } else {
            out += IcnvPlainUnitsToUtf(Source + 2 * i, 32, out);
        }
        i += 32;
    }
    out += IcnvPlainUnitsToUtf(Source + 2 * i, Count - i, out);
    return static_cast<size_t>(out - Target);
}

static ICNV_TARGET size_t utfToBytes(const u8 *Source, size_t Length, u8 *Target, size_t Room, const u8 *Narrow,
                                     size_t *Bytes)
{
    Map256 map;
    loadMap(Narrow, &map);
    const u8 *in = Source;
    const u8 *const end = Source + Length;
    size_t made = 0;
    u16 unit;
    for (;;) {
        while (end - in >= 32 && Room - made >= 32) {
            const __m256i bytes = load(in);
            if (_mm256_movemask_epi8(bytes) != 0) break;
            store(Target + made, mapped(&map, bytes));
            in += 32;
            made += 32;
        }
        const u8 *const stretch = end - in > 32 ? in + 32 : end;
        while (made < Room && in < stretch && IcnvPlainUtf(&in, end, &unit)) Target[made++] = Narrow[unit];
        if (made == Room || in < stretch || in == end) break;
    }
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

static inline ICNV_TARGET u64 maskOf(__m256i First, __m256i Second)
{
    return static_cast<u32>(_mm256_movemask_epi8(First)) |
           static_cast<u64>(static_cast<u32>(_mm256_movemask_epi8(Second))) << 32;
}

static inline ICNV_TARGET u64 equalMask(const u8 *Place, u8 Byte)
{
    const __m256i wanted = _mm256_set1_epi8(static_cast<char>(Byte));
    return maskOf(_mm256_cmpeq_epi8(load(Place), wanted), _mm256_cmpeq_epi8(load(Place + 32), wanted));
}

static inline ICNV_TARGET __m256i within(__m256i Bytes, __m256i Low, __m256i High)
{
    return _mm256_and_si256(_mm256_cmpeq_epi8(_mm256_max_epu8(Bytes, Low), Bytes),
                            _mm256_cmpeq_epi8(_mm256_min_epu8(Bytes, High), Bytes));
}

static inline ICNV_TARGET u64 leadMask(const u8 *Place, const IcnvLeadRanges *Row)
{
    u64 leads = 0;
    for (u32 i = 0; i < Row->count; ++i) {
        const __m256i low = _mm256_set1_epi8(static_cast<char>(Row->ranges[i].low));
        const __m256i high = _mm256_set1_epi8(static_cast<char>(Row->ranges[i].high));
        leads |= maskOf(within(load(Place), low, high), within(load(Place + 32), low, high));
    }
    return leads;
}

static inline ICNV_TARGET void mapBlock(const u8 *Source, u8 *Target, size_t Count, const u8 *Map)
{
    for (size_t i = 0; i < Count; ++i) Target[i] = Map[Source[i]];
}

#include "supos_ikern_mixed_int.h"
#include "supos_ikern_straight_int.h"

const IcnvKernels IcnvKernelsAvx2 = {
    "avx2",       mapBytes,     bytesToUnits, bytesToUtf,   utfToUnits, unitsToUtf, utfToBytes,
    unitsToBytes, pairsToUnits, hostToUnits,  unitsToPairs, hostPass,   pcPass,     ICNV_STRAIGHT_LOOPS,
};
