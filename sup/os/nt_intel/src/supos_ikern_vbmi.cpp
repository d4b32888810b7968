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

// What one block of UTF-8 holds: whole characters of up to three bytes, from its first byte on.
struct Utf512 {
    __m512i units[2]; // the second only where count is above 32
    size_t bytes; // consumed; 0 when the block begins with something else
    size_t count; // characters
};

// The same for characters below 0x100 only.
struct Latin512 {
    __m512i chars; // one byte each
    size_t bytes; // 0 when there are others in the block
    size_t count;
};

// Where in a block the whole and well-formed characters end. Lead, Lead3 and Trail tell the bytes by their top bits,
// Bad the leads of four bytes and more.
static ICNV_INLINE size_t wholeUpTo(u64 Lead, u64 Lead3, u64 Trail, u64 Bad, size_t Count)
{
    const u64 expected = Lead << 1 | Lead3 << 2;
    const u64 wrong = ((expected ^ Trail) & bytesUpTo(Count)) | Bad;
    if (wrong == 0) {
        if (Lead >> (Count - 1) & 1) return Count - 1;
        return Count > 1 && (Lead3 >> (Count - 2) & 1) ? Count - 2 : Count;
    }
    const u32 at = static_cast<u32>(__builtin_ctzll(wrong));
    if (!(expected >> at & 1) || (Trail >> at & 1)) return at;
    return Lead >> (at - 1) & 1 ? at - 1 : at - 2;
}

// Bytes C2 and C3 lead the characters 80 to FF: the second byte is the character itself, or it less 40.
static ICNV_INLINE Latin512 decodeLatin(__m512i Bytes, u64 High, size_t Count)
{
    const u64 lead = High & _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x40));
    const __m512i pair = _mm512_and_si512(Bytes, _mm512_set1_epi8(static_cast<char>(0xFE)));
    const u64 latin = _mm512_cmpeq_epi8_mask(pair, _mm512_set1_epi8(static_cast<char>(0xC2)));
    const u64 trail = High & ~lead;
    Latin512 out;
    out.bytes = 0;
    if (lead != latin || ((lead << 1 ^ trail) & bytesUpTo(Count)) != 0) return out;
    out.bytes = Count - (lead >> (Count - 1) & 1);
    const u64 upper = _mm512_cmpeq_epi8_mask(Bytes, _mm512_set1_epi8(static_cast<char>(0xC3)));
    const __m512i chars = _mm512_mask_add_epi8(Bytes, upper << 1, Bytes, _mm512_set1_epi8(0x40));
    const u64 keep = ~lead & bytesUpTo(out.bytes);
    out.count = static_cast<size_t>(_mm_popcnt_u64(keep));
    out.chars = _mm512_maskz_compress_epi8(keep, chars);
    return out;
}

static ICNV_INLINE __m512i unitsOf(__m256i Last, __m256i Middle, __m256i First)
{
    const __m512i last = _mm512_cvtepu8_epi16(Last);
    const __m512i middle = _mm512_slli_epi16(_mm512_cvtepu8_epi16(Middle), 6);
    const __m512i first = _mm512_slli_epi16(_mm512_cvtepu8_epi16(First), 12);
    return _mm512_ternarylogic_epi32(last, middle, first, 0xFE);
}

static ICNV_INLINE __m512i numbers(void)
{
    return _mm512_set_epi8(63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47, 46, 45, 44, 43, 42, 41,
                           40, 39, 38, 37, 36, 35, 34, 33, 32, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18,
                           17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

static ICNV_INLINE Utf512 decodeUtf(__m512i Bytes, u64 High, size_t Count)
{
    const u64 second = _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x40));
    const u64 lead = High & second;
    const u64 trail = High & ~second;
    const u64 lead3 = lead & _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x20));
    const u64 bad = lead3 & _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x10));

    Utf512 out;
    out.bytes = wholeUpTo(lead, lead3, trail, bad, Count);
    if (out.bytes == 0) return out;
    const u64 starts = ~trail & bytesUpTo(out.bytes);
    const u64 ends = starts >> 1 | u64{1} << (out.bytes - 1);
    out.count = static_cast<size_t>(_mm_popcnt_u64(starts));

    // The places of last bytes, closed up; from them the last, middle and first byte of each character. What stands
    // in a place before the character is masked: its middle byte counts only behind a high last byte, its first byte
    // only where the middle one is no lead.
    const __m512i six = _mm512_set1_epi8(0x3F);
    const __m512i place = _mm512_maskz_compress_epi8(ends, numbers());
    const __m512i last = _mm512_permutexvar_epi8(place, Bytes);
    const __m512i before = _mm512_permutexvar_epi8(_mm512_sub_epi8(place, _mm512_set1_epi8(1)), Bytes);
    const __m512i first = _mm512_permutexvar_epi8(_mm512_sub_epi8(place, _mm512_set1_epi8(2)), Bytes);
    const __mmask64 wide = _mm512_movepi8_mask(last);
    const __mmask64 wider = _mm512_mask_testn_epi8_mask(wide, before, _mm512_set1_epi8(0x40));
    const __m512i lastBits = _mm512_mask_mov_epi8(last, wide, _mm512_and_si512(last, six));
    const __m512i middleBits = _mm512_maskz_mov_epi8(wide, _mm512_and_si512(before, six));
    const __m512i firstBits = _mm512_maskz_mov_epi8(wider, first); // its marks are shifted out
    out.units[0] = unitsOf(_mm512_castsi512_si256(lastBits), _mm512_castsi512_si256(middleBits),
                           _mm512_castsi512_si256(firstBits));
    if (out.count > 32) {
        out.units[1] = unitsOf(_mm512_extracti64x4_epi64(lastBits, 1), _mm512_extracti64x4_epi64(middleBits, 1),
                               _mm512_extracti64x4_epi64(firstBits, 1));
    }
    return out;
}

static ICNV_INLINE void storeUnits(u8 *Target, const Utf512 *Block)
{
    const size_t count = Block->count;
    _mm512_mask_storeu_epi16(Target, unitsUpTo(count), Block->units[0]);
    if (count > 32) _mm512_mask_storeu_epi16(Target + 64, unitsUpTo(count - 32), Block->units[1]);
}

// Up to 64 bytes to as many units.
static ICNV_INLINE void storeWidened(u8 *Target, __m512i Bytes, size_t Count)
{
    const __m512i low = _mm512_cvtepu8_epi16(_mm512_castsi512_si256(Bytes));
    if (Count < 32) {
        _mm512_mask_storeu_epi16(Target, unitsUpTo(Count), low);
        return;
    }
    _mm512_storeu_si512(Target, low);
    const __m512i high = _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(Bytes, 1));
    _mm512_mask_storeu_epi16(Target + 64, unitsUpTo(Count - 32), high);
}

// The stride over UTF-8: blocks of 64 bytes at fixed places, so that no load has to wait for the block before it. A
// character belongs to the block of its last byte; its earlier bytes are loaded again from one and two places before.
struct Stride {
    u64 owed; // trail bytes that the blocks before still wait for, from the first byte of the next
    u64 ending; // those of them that end their character
    u32 pending; // bytes of an unfinished character before the next block
    bool general; // take the next block for one of any characters
    bool begun; // there is a block before the next one
};

// A block from one or two places before. Before the first one nothing may be read, and nothing there belongs to it.
static ICNV_INLINE __m512i loadBefore(const u8 *Place, u32 Back, const Stride *At)
{
    if (At->begun) return _mm512_loadu_si512(Place - Back);
    return _mm512_maskz_loadu_epi8(~u64{0} << Back, Place - Back);
}

// Takes a block's characters into account. Returns their last bytes, 0 when the block is not well formed.
static ICNV_INLINE u64 takeBlock(__m512i Bytes, u64 High, Stride *At)
{
    const u64 second = _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x40));
    const u64 lead = High & second;
    const u64 trail = High & ~second;
    const u64 lead3 = lead & _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x20));
    const u64 bad = lead3 & _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x10));
    if (((lead << 1 | lead3 << 2 | At->owed) ^ trail) | bad) return 0;
    const u64 lead2 = lead & ~lead3;
    const u64 ends = ~High | lead2 << 1 | lead3 << 2 | At->ending;
    At->owed = lead >> 63 | lead3 >> 62;
    At->ending = lead2 >> 63 | lead3 >> 62;
    At->pending = static_cast<u32>(lead >> 63 ? 1 : (lead3 >> 62 & 1) * 2);
    At->general = (lead3 | At->pending) != 0;
    return ends;
}

// The same for a block whose leads are all C2 and C3: the bytes 80 to BF are the character itself behind C2, and it less
// 40 behind C3. Returns the number of characters, 0 when other ones stand in the block.
static ICNV_INLINE size_t takeLatin(__m512i Bytes, const u8 *Place, u64 High, Stride *At, __m512i *Chars)
{
    const u64 lead = High & _mm512_test_epi8_mask(Bytes, _mm512_set1_epi8(0x40));
    const __m512i pair = _mm512_and_si512(Bytes, _mm512_set1_epi8(static_cast<char>(0xFE)));
    const u64 latin = _mm512_cmpeq_epi8_mask(pair, _mm512_set1_epi8(static_cast<char>(0xC2)));
    const u64 wrong = (lead ^ latin) | ((lead << 1 | At->owed) ^ (High & ~lead));
    if (wrong != 0) return 0;
    const __m512i before = loadBefore(Place, 1, At);
    const __mmask64 upper = _mm512_cmpeq_epi8_mask(before, _mm512_set1_epi8(static_cast<char>(0xC3)));
    const __m512i chars = _mm512_mask_add_epi8(Bytes, upper, Bytes, _mm512_set1_epi8(0x40));
    *Chars = _mm512_maskz_compress_epi8(~lead, chars);
    At->owed = lead >> 63;
    At->ending = At->owed;
    At->pending = static_cast<u32>(At->owed);
    return static_cast<size_t>(_mm_popcnt_u64(~lead));
}

static ICNV_INLINE Utf512 joinUtf(__m512i Bytes, const u8 *Place, u64 Ends, const Stride *At)
{
    const __m512i six = _mm512_set1_epi8(0x3F);
    const __m512i place = _mm512_maskz_compress_epi8(Ends, numbers());
    const __m512i last = _mm512_permutexvar_epi8(place, Bytes);
    const __m512i before = _mm512_permutexvar_epi8(place, loadBefore(Place, 1, At));
    const __m512i first = _mm512_permutexvar_epi8(place, loadBefore(Place, 2, At));
    const __mmask64 wide = _mm512_movepi8_mask(last);
    const __mmask64 wider = _mm512_mask_testn_epi8_mask(wide, before, _mm512_set1_epi8(0x40));
    const __m512i lastBits = _mm512_mask_mov_epi8(last, wide, _mm512_and_si512(last, six));
    const __m512i middleBits = _mm512_maskz_mov_epi8(wide, _mm512_and_si512(before, six));
    const __m512i firstBits = _mm512_maskz_mov_epi8(wider, first); // its marks are shifted out
    Utf512 out;
    out.bytes = 64;
    out.count = static_cast<size_t>(_mm_popcnt_u64(Ends));
    out.units[0] = unitsOf(_mm512_castsi512_si256(lastBits), _mm512_castsi512_si256(middleBits),
                           _mm512_castsi512_si256(firstBits));
    if (out.count > 32) {
        out.units[1] = unitsOf(_mm512_extracti64x4_epi64(lastBits, 1), _mm512_extracti64x4_epi64(middleBits, 1),
                               _mm512_extracti64x4_epi64(firstBits, 1));
    }
    return out;
}

// From a border between characters. Returns the bytes consumed, to such a border.
static ICNV_INLINE size_t strideToUnits(const u8 *Source, size_t Length, u8 *Target, size_t Room, size_t *Units)
{
    Stride at = {0, 0, 0, false, false};
    size_t used = 0;
    size_t made = 0;
    for (; used + 64 <= Length && made + 64 <= Room; used += 64, at.begun = true) {
        const __m512i bytes = _mm512_loadu_si512(Source + used);
        const u64 high = _mm512_movepi8_mask(bytes);
        u8 *const out = Target + 2 * made;
        if ((high | at.owed) == 0) {
            _mm512_storeu_si512(out, _mm512_cvtepu8_epi16(_mm512_castsi512_si256(bytes)));
            _mm512_storeu_si512(out + 64, _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(bytes, 1)));
            at.pending = 0;
            made += 64;
            continue;
        }
        __m512i latin;
        const size_t count = at.general ? 0 : takeLatin(bytes, Source + used, high, &at, &latin);
        if (count != 0) {
            storeWidened(out, latin, count);
            made += count;
            continue;
        }
        const u64 ends = takeBlock(bytes, high, &at);
        if (ends == 0) break;
        const Utf512 chars = joinUtf(bytes, Source + used, ends, &at);
        storeUnits(out, &chars);
        made += chars.count;
    }
    *Units = made;
    return used - at.pending;
}

static ICNV_TARGET size_t utfToUnits(const u8 *Source, size_t Length, u8 *Target, size_t Room, size_t *Units)
{
    size_t used = 0;
    size_t made = 0;
    while (used < Length && made < Room) {
        if (Length - used >= 128) { // a single block is better off by itself
            size_t more = 0;
            used += strideToUnits(Source + used, Length - used, Target + 2 * made, Room - made, &more);
            made += more;
            if (used == Length || made == Room) break;
        }
        const size_t count = Length - used < 64 ? Length - used : 64;
        const size_t room = Room - made;
        const __m512i bytes = loadUpTo(Source + used, count);
        const u64 high = _mm512_movepi8_mask(bytes);
        if (high == 0) {
            const size_t take = least(count, room);
            storeWidened(Target + 2 * made, bytes, take);
            used += take;
            made += take;
        } else if (const Latin512 latin = decodeLatin(bytes, high, count); latin.bytes != 0 && latin.count <= room) {
            storeWidened(Target + 2 * made, latin.chars, latin.count);
            used += latin.bytes;
            made += latin.count;
        } else if (const Utf512 block = decodeUtf(bytes, high, count); block.bytes != 0 && block.count <= room) {
            storeUnits(Target + 2 * made, &block);
            used += block.bytes;
            made += block.count;
        } else {
            const u8 *in = Source + used;
            u16 unit;
            if (!IcnvPlainUtf(&in, Source + Length, &unit)) break;
            memcpy(Target + 2 * made, &unit, 2);
            used = static_cast<size_t>(in - Source);
            ++made;
        }
    }
    *Units = made;
    return used;
}

// Up to 32 units through a table of 65536 bytes, by its first 256 where they suffice.
static ICNV_INLINE void putNarrow(u8 *Target, __m512i Units, size_t Count, const Map256 *Map, const u8 *Narrow)
{
    const __mmask32 valid = unitsUpTo(Count);
    if (_mm512_mask_cmpgt_epu16_mask(valid, Units, _mm512_set1_epi16(0xFF)) == 0) {
        const __m512i bytes = mapped(Map, _mm512_castsi256_si512(_mm512_cvtepi16_epi8(Units)));
        _mm256_mask_storeu_epi8(Target, valid, _mm512_castsi512_si256(bytes));
        return;
    }
    u16 units[32];
    _mm512_storeu_si512(units, Units);
    for (size_t i = 0; i < Count; ++i) Target[i] = Narrow[units[i]];
}

// Whole blocks to bytes; see strideToUnits.
static ICNV_INLINE size_t strideToBytes(const u8 *Source, size_t Length, u8 *Target, size_t Room, const Map256 *Map,
                                        const u8 *Narrow, size_t *Bytes)
{
    Stride at = {0, 0, 0, false, false};
    size_t used = 0;
    size_t made = 0;
    for (; used + 64 <= Length && made + 64 <= Room; used += 64, at.begun = true) {
        const __m512i bytes = _mm512_loadu_si512(Source + used);
        const u64 high = _mm512_movepi8_mask(bytes);
        u8 *const out = Target + made;
        if ((high | at.owed) == 0) {
            _mm512_storeu_si512(out, mappedAscii(Map, bytes));
            at.pending = 0;
            made += 64;
            continue;
        }
        __m512i latin;
        const size_t count = at.general ? 0 : takeLatin(bytes, Source + used, high, &at, &latin);
        if (count != 0) {
            storeUpTo(out, count, mapped(Map, latin));
            made += count;
            continue;
        }
        const u64 ends = takeBlock(bytes, high, &at);
        if (ends == 0) break;
        const Utf512 chars = joinUtf(bytes, Source + used, ends, &at);
        putNarrow(out, chars.units[0], least(chars.count, 32), Map, Narrow);
        if (chars.count > 32) putNarrow(out + 32, chars.units[1], chars.count - 32, Map, Narrow);
        made += chars.count;
    }
    *Bytes = made;
    return used - at.pending;
}

static ICNV_TARGET size_t utfToBytes(const u8 *Source, size_t Length, u8 *Target, size_t Room, const u8 *Narrow,
                                     size_t *Bytes)
{
    const Map256 map = loadMap(Narrow);
    size_t used = 0;
    size_t made = 0;
    while (used < Length && made < Room) {
        if (Length - used >= 128) { // a single block is better off by itself
            size_t more = 0;
            used += strideToBytes(Source + used, Length - used, Target + made, Room - made, &map, Narrow, &more);
            made += more;
            if (used == Length || made == Room) break;
        }
        const size_t count = Length - used < 64 ? Length - used : 64;
        const size_t room = Room - made;
        const __m512i bytes = loadUpTo(Source + used, count);
        const u64 high = _mm512_movepi8_mask(bytes);
        if (high == 0) {
            const size_t take = least(count, room);
            storeUpTo(Target + made, take, mappedAscii(&map, bytes));
            used += take;
            made += take;
        } else if (const Latin512 latin = decodeLatin(bytes, high, count); latin.bytes != 0 && latin.count <= room) {
            storeUpTo(Target + made, latin.count, mapped(&map, latin.chars));
            used += latin.bytes;
            made += latin.count;
        } else if (const Utf512 block = decodeUtf(bytes, high, count); block.bytes != 0 && block.count <= room) {
            putNarrow(Target + made, block.units[0], block.count < 32 ? block.count : 32, &map, Narrow);
            if (block.count > 32) putNarrow(Target + made + 32, block.units[1], block.count - 32, &map, Narrow);
            used += block.bytes;
            made += block.count;
        } else {
            const u8 *in = Source + used;
            u16 unit;
            if (!IcnvPlainUtf(&in, Source + Length, &unit)) break;
            Target[made++] = Narrow[unit];
            used = static_cast<size_t>(in - Source);
        }
    }
    *Bytes = made;
    return used;
}

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
