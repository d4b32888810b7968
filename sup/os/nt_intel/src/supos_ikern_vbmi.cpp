// The inner loops for AVX-512 with VBMI and VBMI2: blocks of 64 bytes.
//
// A table of 256 bytes lives in four registers: two permutes of 128 entries each, and the top bit of the byte chooses
// between them. Characters of several bytes are put together side by side in wider lanes, and a compress closes the
// gaps (or, the other way, leaves only the last byte of each character). Compress goes to a register and is stored from
// there: straight to memory it is many times slower. The ends of a text go through the same code with masks.

#if defined(__GNUC__) && !defined(__clang__)
// This compiler's own intrinsics begin with a register left undefined on purpose, and it warns of them.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include "supos_ikern_plain_int.h"

#define ICNV_TARGET                                                                                                    \
    __attribute__((target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,avx512vbmi2,avx2,bmi,bmi2,popcnt,lzcnt")))

// Pieces of a loop: a call would carry its registers through memory.
#define ICNV_INLINE inline __attribute__((always_inline)) ICNV_TARGET

// From this size on the target goes past the caches.
constexpr size_t ICNV_STREAM_FROM = size_t{6} << 20;
// From this size on a store more pays for stores that begin at a line.
constexpr size_t ICNV_ALIGN_FROM = 512;

static ICNV_INLINE __mmask64 bytesUpTo(size_t Count)
{
    return Count >= 64 ? ~u64{0} : _bzhi_u64(~u64{0}, static_cast<u32>(Count));
}

static ICNV_INLINE __mmask32 unitsUpTo(size_t Count)
{
    return Count >= 32 ? ~u32{0} : _bzhi_u32(~u32{0}, static_cast<u32>(Count));
}

static inline size_t least(size_t First, size_t Second)
{
    return First < Second ? First : Second;
}

struct Map256 {
    __m512i quarter[4];
};

static ICNV_INLINE Map256 loadMap(const u8 *Map)
{
    return {{_mm512_loadu_si512(Map), _mm512_loadu_si512(Map + 64), _mm512_loadu_si512(Map + 128),
             _mm512_loadu_si512(Map + 192)}};
}

static ICNV_INLINE __m512i mapped(const Map256 *Map, __m512i Bytes)
{
    const __m512i below = _mm512_permutex2var_epi8(Map->quarter[0], Bytes, Map->quarter[1]);
    const __m512i above = _mm512_permutex2var_epi8(Map->quarter[2], Bytes, Map->quarter[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(Bytes), below, above);
}

static ICNV_INLINE __m512i mappedAscii(const Map256 *Map, __m512i Bytes)
{
    return _mm512_permutex2var_epi8(Map->quarter[0], Bytes, Map->quarter[1]);
}

static ICNV_INLINE __m512i loadUpTo(const u8 *Source, size_t Count)
{
    return Count >= 64 ? _mm512_loadu_si512(Source) : _mm512_maskz_loadu_epi8(bytesUpTo(Count), Source);
}

static ICNV_INLINE void storeUpTo(u8 *Target, size_t Count, __m512i Bytes)
{
    if (Count >= 64)
        _mm512_storeu_si512(Target, Bytes);
    else
        _mm512_mask_storeu_epi8(Target, bytesUpTo(Count), Bytes);
}

static ICNV_TARGET void streamMapped(const u8 *Source, u8 *Target, size_t Blocks, const Map256 *Map)
{
    for (size_t i = 0; i < Blocks; ++i) {
        const __m512i bytes = _mm512_loadu_si512(Source + 64 * i);
        _mm512_stream_si512(reinterpret_cast<__m512i *>(Target + 64 * i), mapped(Map, bytes));
    }
    _mm_sfence();
}

// Where the text is converted in place a block must not be mapped twice; else its ends overlap their neighbours.
static ICNV_TARGET void mapBytes(const u8 *Source, u8 *Target, size_t Count, const u8 *Map)
{
    const Map256 map = loadMap(Map);
    if (Count < 64) {
        storeUpTo(Target, Count, mapped(&map, loadUpTo(Source, Count)));
        return;
    }
    const bool apart = Source != Target;
    size_t i = 0;
    const size_t behindLine = reinterpret_cast<uintptr_t>(Target) & 63;
    if (apart && Count >= ICNV_ALIGN_FROM && behindLine != 0) { // stores that do not cross lines
        _mm512_storeu_si512(Target, mapped(&map, _mm512_loadu_si512(Source)));
        i = 64 - behindLine;
    }
    if (apart && Count >= ICNV_STREAM_FROM) {
        const size_t blocks = (Count - i) / 64;
        streamMapped(Source + i, Target + i, blocks, &map);
        i += 64 * blocks;
    }
    for (; i + 256 <= Count; i += 256) {
        const __m512i a = _mm512_loadu_si512(Source + i);
        const __m512i b = _mm512_loadu_si512(Source + i + 64);
        const __m512i c = _mm512_loadu_si512(Source + i + 128);
        const __m512i d = _mm512_loadu_si512(Source + i + 192);
        _mm512_storeu_si512(Target + i, mapped(&map, a));
        _mm512_storeu_si512(Target + i + 64, mapped(&map, b));
        _mm512_storeu_si512(Target + i + 128, mapped(&map, c));
        _mm512_storeu_si512(Target + i + 192, mapped(&map, d));
    }
    for (; i + 64 <= Count; i += 64) _mm512_storeu_si512(Target + i, mapped(&map, _mm512_loadu_si512(Source + i)));
    if (i == Count) return;
    if (apart)
        _mm512_storeu_si512(Target + Count - 64, mapped(&map, _mm512_loadu_si512(Source + Count - 64)));
    else
        storeUpTo(Target + i, Count - i, mapped(&map, loadUpTo(Source + i, Count - i)));
}

// Two vectors of bytes to one of pairs: element i of First before element i of Second, for the first or last 32.
struct Pair512 {
    __m512i half[2];
};

static ICNV_INLINE Pair512 interleave(__m512i First, __m512i Second)
{
    const __m512i order = _mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7); // unpacking works within lanes of 16 bytes
    const __m512i first = _mm512_permutexvar_epi64(order, First);
    const __m512i second = _mm512_permutexvar_epi64(order, Second);
    return {{_mm512_unpacklo_epi8(first, second), _mm512_unpackhi_epi8(first, second)}};
}

static ICNV_TARGET void bytesToUnits(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    const Map256 low = loadMap(Flat->low);
    const Map256 high = loadMap(Flat->high);
    size_t i = 0;
    if (2 * Count >= ICNV_STREAM_FROM && (reinterpret_cast<uintptr_t>(Target) & 1) == 0) {
        i = (64 - (reinterpret_cast<uintptr_t>(Target) & 63)) / 2 & 31;
        const Pair512 start =
            interleave(mapped(&low, _mm512_loadu_si512(Source)), mapped(&high, _mm512_loadu_si512(Source)));
        storeUpTo(Target, 2 * i, start.half[0]);
        for (; i + 64 <= Count; i += 64) {
            const __m512i bytes = _mm512_loadu_si512(Source + i);
            const Pair512 units = interleave(mapped(&low, bytes), mapped(&high, bytes));
            _mm512_stream_si512(reinterpret_cast<__m512i *>(Target + 2 * i), units.half[0]);
            _mm512_stream_si512(reinterpret_cast<__m512i *>(Target + 2 * i + 64), units.half[1]);
        }
        _mm_sfence();
    }
    for (; i + 64 <= Count; i += 64) {
        const __m512i bytes = _mm512_loadu_si512(Source + i);
        const Pair512 units = interleave(mapped(&low, bytes), mapped(&high, bytes));
        _mm512_storeu_si512(Target + 2 * i, units.half[0]);
        _mm512_storeu_si512(Target + 2 * i + 64, units.half[1]);
    }
    if (i == Count) return;
    const size_t rest = 2 * (Count - i);
    const __m512i bytes = loadUpTo(Source + i, Count - i);
    const Pair512 units = interleave(mapped(&low, bytes), mapped(&high, bytes));
    storeUpTo(Target + 2 * i, rest, units.half[0]);
    if (rest > 64) storeUpTo(Target + 2 * i + 64, rest - 64, units.half[1]);
}

// Stores the first Count bytes; whole when the caller knows that the bytes behind them are still to be written.
static ICNV_INLINE u8 *storeNext(u8 *Target, size_t Count, __m512i Bytes, bool Whole)
{
    if (Whole)
        _mm512_storeu_si512(Target, Bytes);
    else
        _mm512_mask_storeu_epi8(Target, bytesUpTo(Count), Bytes);
    return Target + Count;
}

// Up to 32 units, none of them above 0x7FF, to UTF-8.
static ICNV_INLINE u8 *putTwoBytes(u8 *Target, __m512i Units, __mmask32 Valid, __mmask32 Wide, bool Whole)
{
    const __m512i shifts = _mm512_set1_epi64(0x3036202610160006); // bits 6 and 0 of each unit
    const __m512i parts = _mm512_multishift_epi64_epi8(shifts, Units);
    const __m512i both = _mm512_ternarylogic_epi32(parts, _mm512_set1_epi16(0x3F1F),
                                                   _mm512_set1_epi16(static_cast<i16>(0x80C0)), 0xEA); // and, or
    const __m512i words = _mm512_mask_mov_epi16(Units, Wide, both);
    const u64 keep = _pdep_u64(Valid, 0x5555555555555555u) | _pdep_u64(Wide, 0xAAAAAAAAAAAAAAAAu);
    const size_t count = static_cast<size_t>(_mm_popcnt_u64(keep));
    return storeNext(Target, count, _mm512_maskz_compress_epi8(keep, words), Whole);
}

// Up to 16 units in words to UTF-8 of any length: the bytes of each lie in a lane of four, the last in the third place.
static ICNV_INLINE u8 *putThreeBytes(u8 *Target, __m256i Units, u32 Valid, u32 Wide, u32 Wider, bool Whole)
{
    const __m512i shifts = _mm512_set1_epi64(0x0020262C0000060C); // bits 12, 6 and 0 of each lane
    const __m512i lanes = _mm512_cvtepu16_epi32(Units);
    if (Wider == 0xFFFF) {
        const __m512i all = _mm512_ternarylogic_epi32(_mm512_multishift_epi64_epi8(shifts, lanes),
                                                      _mm512_set1_epi32(0x003F3F0F), _mm512_set1_epi32(0x008080E0),
                                                      0xEA); // and, or
        const __m512i order =
            _mm512_set_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 62, 61, 60, 58, 57, 56, 54, 53, 52, 50, 49,
                            48, 46, 45, 44, 42, 41, 40, 38, 37, 36, 34, 33, 32, 30, 29, 28, 26, 25, 24, 22, 21, 20, 18,
                            17, 16, 14, 13, 12, 10, 9, 8, 6, 5, 4, 2, 1, 0);
        return storeNext(Target, 48, _mm512_permutexvar_epi8(order, all), Whole);
    }
    const __m512i parts = _mm512_and_si512(_mm512_multishift_epi64_epi8(shifts, lanes), _mm512_set1_epi32(0x003F3F0F));
    __m512i marks = _mm512_maskz_set1_epi32(static_cast<__mmask16>(Wide), 0x0080C000);
    marks = _mm512_mask_set1_epi32(marks, static_cast<__mmask16>(Wider), 0x008080E0);
    const __m512i narrow = _mm512_slli_epi32(lanes, 16);
    const __m512i bytes = _mm512_mask_mov_epi32(narrow, static_cast<__mmask16>(Wide), _mm512_or_si512(parts, marks));
    const u64 keep = _pdep_u64(Valid, 0x4444444444444444u) | _pdep_u64(Wide, 0x2222222222222222u) |
                     _pdep_u64(Wider, 0x1111111111111111u);
    const size_t count = static_cast<size_t>(_mm_popcnt_u64(keep));
    return storeNext(Target, count, _mm512_maskz_compress_epi8(keep, bytes), Whole);
}

// Up to 32 units to UTF-8. Whole: 64 more bytes behind these are still to be written.
static ICNV_INLINE u8 *putUnits(u8 *Target, __m512i Units, size_t Count, bool Whole)
{
    const __mmask32 valid = unitsUpTo(Count);
    const __mmask32 wide = _mm512_mask_cmpge_epu16_mask(valid, Units, _mm512_set1_epi16(0x80));
    if (wide == 0) {
        const __m256i bytes = _mm512_cvtepi16_epi8(Units);
        if (Count == 32)
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(Target), bytes);
        else
            _mm256_mask_storeu_epi8(Target, valid, bytes);
        return Target + Count;
    }
    const __mmask32 wider = _mm512_mask_cmpge_epu16_mask(valid, Units, _mm512_set1_epi16(0x800));
    if (wider == 0) return putTwoBytes(Target, Units, valid, wide, Whole);
    Target = putThreeBytes(Target, _mm512_castsi512_si256(Units), valid & 0xFFFF, wide & 0xFFFF, wider & 0xFFFF, Whole);
    if (Count <= 16) return Target;
    return putThreeBytes(Target, _mm512_extracti64x4_epi64(Units, 1), valid >> 16, wide >> 16, wider >> 16, Whole);
}

static ICNV_TARGET size_t unitsToUtf(const u8 *Source, size_t Count, u8 *Target)
{
    u8 *out = Target;
    size_t i = 0;
    while (i + 64 <= Count) {
        const __m512i a = _mm512_loadu_si512(Source + 2 * i);
        const __m512i b = _mm512_loadu_si512(Source + 2 * i + 64);
        // With 64 units behind these, at least 64 bytes follow whatever is stored too much.
        const bool whole = i + 128 <= Count;
        const __m512i either = _mm512_or_si512(a, b);
        if (_mm512_test_epi16_mask(either, _mm512_set1_epi16(static_cast<i16>(0xFF80))) == 0) {
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), _mm512_cvtepi16_epi8(a));
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + 32), _mm512_cvtepi16_epi8(b));
            out += 64;
        } else if (_mm512_test_epi16_mask(either, _mm512_set1_epi16(static_cast<i16>(0xF800))) == 0) {
            const __m512i limit = _mm512_set1_epi16(0x80);
            out = putTwoBytes(out, a, ~u32{0}, _mm512_cmpge_epu16_mask(a, limit), true); // b overwrites
            out = putTwoBytes(out, b, ~u32{0}, _mm512_cmpge_epu16_mask(b, limit), whole);
        } else {
            out = putUnits(out, a, 32, whole);
            out = putUnits(out, b, 32, whole);
        }
        i += 64;
    }
    for (; i < Count; i += 32) {
        const size_t count = Count - i < 32 ? Count - i : 32;
        out = putUnits(out, _mm512_maskz_loadu_epi16(unitsUpTo(count), Source + 2 * i), count, false);
    }
    return static_cast<size_t>(out - Target);
}

// Up to 64 bytes to UTF-8, by the tables of the first and second byte; characters of three bytes go through units.
static ICNV_INLINE u8 *putBytes(u8 *Target, __m512i First, __m512i Second, size_t Count, bool Whole)
{
    const u64 valid = bytesUpTo(Count);
    const u64 wide = _mm512_movepi8_mask(Second) & valid;
    if (wide == 0) {
        storeUpTo(Target, Count, First);
        return Target + Count;
    }
    const Pair512 pairs = interleave(First, Second);
    u64 keep = _pdep_u64(valid, 0x5555555555555555u) | _pdep_u64(wide, 0xAAAAAAAAAAAAAAAAu);
    size_t count = static_cast<size_t>(_mm_popcnt_u64(keep));
    // The other 32 characters of a whole block overwrite what is stored too much of these.
    Target = storeNext(Target, count, _mm512_maskz_compress_epi8(keep, pairs.half[0]), Whole || Count == 64);
    if (Count <= 32) return Target;
    keep = _pdep_u64(valid >> 32, 0x5555555555555555u) | _pdep_u64(wide >> 32, 0xAAAAAAAAAAAAAAAAu);
    count = static_cast<size_t>(_mm_popcnt_u64(keep));
    return storeNext(Target, count, _mm512_maskz_compress_epi8(keep, pairs.half[1]), Whole);
}

static ICNV_TARGET size_t bytesToUtf(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat)
{
    const Map256 first = loadMap(Flat->utf[0]);
    const Map256 second = loadMap(Flat->utf[1]);
    const Map256 third = Flat->simple ? first : loadMap(Flat->utf[2]);
    u8 *out = Target;
    for (size_t i = 0; i < Count; i += 64) {
        const size_t count = Count - i < 64 ? Count - i : 64;
        const bool whole = i + 128 <= Count;
        const __m512i bytes = loadUpTo(Source + i, count);
        const u64 wider = Flat->simple ? 0 : _mm512_movepi8_mask(mapped(&third, bytes)) & bytesUpTo(count);
        if (wider == 0) {
            out = putBytes(out, mapped(&first, bytes), mapped(&second, bytes), count, whole);
            continue;
        }
        const Map256 low = loadMap(Flat->low);
        const Map256 high = loadMap(Flat->high);
        const Pair512 units = interleave(mapped(&low, bytes), mapped(&high, bytes));
        out = putUnits(out, units.half[0], count < 32 ? count : 32, whole);
        if (count > 32) out = putUnits(out, units.half[1], count - 32, whole);
    }
    return static_cast<size_t>(out - Target);
}

#include "supos_ikern_vbmi_utf_int.h"

static ICNV_TARGET void unitsToBytes(const u8 *Source, size_t Count, u8 *Target, const u8 *Narrow)
{
    const Map256 map = loadMap(Narrow);
    for (size_t i = 0; i < Count; i += 32) {
        const size_t count = Count - i < 32 ? Count - i : 32;
        putNarrow(Target + i, _mm512_maskz_loadu_epi16(unitsUpTo(count), Source + 2 * i), count, &map, Narrow);
    }
}

static ICNV_INLINE u64 leadsIn(__m512i Bytes, const IcnvLeadRanges *Row)
{
    u64 leads = 0;
    for (u32 i = 0; i < Row->count; ++i) {
        const u32 low = Row->ranges[i].low;
        const __m512i distance = _mm512_sub_epi8(Bytes, _mm512_set1_epi8(static_cast<char>(low)));
        leads |= _mm512_cmple_epu8_mask(distance, _mm512_set1_epi8(static_cast<char>(Row->ranges[i].high - low)));
    }
    return leads;
}

// Which bytes are the second of a pair, from the bytes that could lead one: within a row of such bytes each other one,
// and the byte behind a row of odd length. The sum carries through each row, and so tells odd from even. Carry is 1
// when the block before ended in a lead byte.
static ICNV_INLINE u64 trailsBehind(u64 Leads, u64 Carry)
{
    constexpr u64 odd = 0xAAAAAAAAAAAAAAAAu;
    const u64 able = Leads & ~Carry;
    const u64 series = (able << 1 | odd) - able;
    return (series ^ odd) ^ (Leads | Carry);
}

static ICNV_INLINE u64 eucShiftsIn(__m512i Bytes)
{
    const __m512i pair = _mm512_and_si512(Bytes, _mm512_set1_epi8(static_cast<char>(0xFE)));
    return _mm512_cmpeq_epi8_mask(pair, _mm512_set1_epi8(static_cast<char>(0x8E)));
}

// Characters of a block by their last bytes; Before holds the byte in front of each. The target is a buffer of the
// library's own: what is stored behind the characters does not matter.
static ICNV_INLINE size_t putPairs(u16 *Target, __m512i Bytes, __m512i Before, u64 Trails, u64 Ends)
{
    const __m512i low = _mm512_maskz_compress_epi8(Ends, Bytes);
    const __m512i high = _mm512_maskz_compress_epi8(Ends, _mm512_maskz_mov_epi8(Trails, Before));
    const Pair512 units = interleave(low, high);
    _mm512_storeu_si512(Target, units.half[0]);
    _mm512_storeu_si512(Target + 32, units.half[1]);
    return static_cast<size_t>(_mm_popcnt_u64(Ends));
}

static ICNV_TARGET size_t pairsToUnits(const u8 *Source, size_t Length, u16 *Target, size_t Room,
                                       const IcnvPairs *Pairs, size_t *Units)
{
    size_t used = 0;
    size_t made = 0;
    u64 carry = 0; // the block before ended in a lead byte
    while (used < Length && Room - made >= 64) {
        size_t count = Length - used < 64 ? Length - used : 64;
        const __m512i bytes = loadUpTo(Source + used, count);
        const u64 candidates = leadsIn(bytes, &Pairs->lead) & bytesUpTo(count);
        const u64 trails = trailsBehind(candidates, carry);
        const u64 leads = candidates & ~trails;
        const u64 shifts = Pairs->stopsAtShifts ? eucShiftsIn(bytes) & ~trails & bytesUpTo(count) : 0;
        if (shifts != 0) count = static_cast<size_t>(__builtin_ctzll(shifts));
        const u64 ends = ~leads & bytesUpTo(count);
        const __m512i before = used != 0
                                   ? _mm512_mask_loadu_epi8(_mm512_setzero_si512(), bytesUpTo(count), Source + used - 1)
                                   : _mm512_permutexvar_epi8(_mm512_sub_epi8(numbers(), _mm512_set1_epi8(1)), bytes);
        made += putPairs(Target + made, bytes, before, trails, ends);
        used += count;
        carry = count != 0 ? leads >> (count - 1) & 1 : carry;
        if (shifts != 0) break;
    }
    *Units = made;
    return used - carry;
}

static ICNV_INLINE __m512i swapped(__m512i Words)
{
    return _mm512_or_si512(_mm512_slli_epi16(Words, 8), _mm512_srli_epi16(Words, 8));
}

static ICNV_TARGET size_t hostToUnits(const u8 *Source, size_t Length, u16 *Target, size_t Room, u32 *Shift,
                                      size_t *Units)
{
    size_t used = 0;
    size_t made = 0;
    bool inside = *Shift == ICNV_SHIFT_INSIDE;
    while (used < Length && Room - made >= 64) {
        const size_t count = Length - used < 64 ? Length - used : 64;
        const __m512i bytes = loadUpTo(Source + used, count);
        if (!inside) {
            const u64 shifts = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(ICNV_SHIFT_OUT));
            const size_t singles = shifts != 0 ? static_cast<size_t>(__builtin_ctzll(shifts)) : count;
            _mm512_storeu_si512(Target + made, _mm512_cvtepu8_epi16(_mm512_castsi512_si256(bytes)));
            if (singles > 32)
                _mm512_storeu_si512(Target + made + 32, _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(bytes, 1)));
            used += singles;
            made += singles;
            if (shifts == 0) continue;
            // A run is entered with its first character, and where the byte behind that can be seen.
            if (Length - used < 4 || Source[used + 1] == ICNV_SHIFT_IN || made == Room) break;
            Target[made++] = static_cast<u16>(Source[used + 1] << 8 | Source[used + 2]);
            used += 3;
            inside = true;
        } else {
            const u64 even = 0x5555555555555555u;
            const u64 borders = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(ICNV_SHIFT_IN)) & even;
            const size_t border = borders != 0 ? static_cast<size_t>(__builtin_ctzll(borders)) : count & ~size_t{1};
            if (border == 0 && borders == 0) break; // one byte left
            _mm512_storeu_si512(Target + made, swapped(bytes));
            used += border;
            made += border / 2;
        }
        if (used < Length && Source[used] == ICNV_SHIFT_IN) { // goes with the character before it
            ++used;
            inside = false;
        }
    }
    *Shift = inside ? ICNV_SHIFT_INSIDE : ICNV_SHIFT_OUTSIDE;
    *Units = made;
    return used;
}

static ICNV_TARGET size_t unitsToPairs(const u16 *Source, size_t Count, u8 *Target)
{
    u8 *out = Target;
    for (size_t i = 0; i < Count; i += 32) {
        const size_t count = Count - i < 32 ? Count - i : 32;
        const __m512i units = _mm512_maskz_loadu_epi16(unitsUpTo(count), Source + i);
        const __mmask32 wide = _mm512_cmpgt_epu16_mask(units, _mm512_set1_epi16(0xFF));
        const u64 keep = _pdep_u64(unitsUpTo(count), 0xAAAAAAAAAAAAAAAAu) | _pdep_u64(wide, 0x5555555555555555u);
        const size_t bytes = static_cast<size_t>(_mm_popcnt_u64(keep));
        out = storeNext(out, bytes, _mm512_maskz_compress_epi8(keep, swapped(units)), i + 96 <= Count);
    }
    return static_cast<size_t>(out - Target);
}

static ICNV_INLINE u64 equalMask(const u8 *Place, u8 Byte)
{
    return _mm512_cmpeq_epi8_mask(_mm512_loadu_si512(Place), _mm512_set1_epi8(static_cast<char>(Byte)));
}

static ICNV_INLINE u64 leadMask(const u8 *Place, const IcnvLeadRanges *Row)
{
    return leadsIn(_mm512_loadu_si512(Place), Row);
}

static ICNV_INLINE void mapBlock(const u8 *Source, u8 *Target, size_t Count, const u8 *Map)
{
    const Map256 map = loadMap(Map);
    storeUpTo(Target, Count, mapped(&map, _mm512_loadu_si512(Source)));
}

#include "supos_ikern_mixed_int.h"
#include "supos_ikern_straight_int.h"

const IcnvKernels IcnvKernelsVbmi = {
    "vbmi",       mapBytes,     bytesToUnits, bytesToUtf,   utfToUnits, unitsToUtf, utfToBytes,
    unitsToBytes, pairsToUnits, hostToUnits,  unitsToPairs, hostPass,   pcPass,     ICNV_STRAIGHT_LOOPS,
};
