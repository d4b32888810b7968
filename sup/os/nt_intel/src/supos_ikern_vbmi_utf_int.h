// UTF-8 as a source, with AVX-512: not a header of its own, but a part of the source that includes it behind the small pieces
// that it uses (loads, stores, maps).
//
// A block is decoded side by side in wider lanes: each character at the place of its last byte, then a compress takes
// these places together. Blocks of single bytes, and of characters below U+0100, take shorter roads.

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
