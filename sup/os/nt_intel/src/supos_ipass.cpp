// The quick way over a stream of the Unicode and EUC route: read, map and write many characters at a time.
//
// Six readers and five writers meet in one form, an array of 16-bit units on the stack, so each of them has to be quick
// only once. A pass takes no more characters than the target holds in the worst case, and none that a reader has doubts
// about; so nothing can go wrong in it, and the plain loop goes on behind it as if it had done the work.

#include <emmintrin.h>
#include <string.h>

#include "supos_ikern_int.h"
#include "supos_istream_int.h"

constexpr size_t ICNV_PASS_UNITS = 512;
constexpr u32 ICNV_TRIE_SECOND = 65536; // the second half of a trie's flat form: characters behind 0x8F

static size_t sourceLeft(const IcnvStream *Stream)
{
    return Stream->length - Stream->consumed;
}

static size_t roomLeft(const IcnvStream *Stream)
{
    return Stream->room - Stream->written;
}

static size_t least(size_t First, size_t Second)
{
    return First < Second ? First : Second;
}

static u32 move(IcnvStream *Stream, size_t Used, size_t Written)
{
    Stream->source += Used;
    Stream->consumed += static_cast<u32>(Used);
    Stream->target += Written;
    Stream->written += static_cast<u32>(Written);
    return static_cast<u32>(Used);
}

// Single bytes, straight from source to target.
static u32 passBytes(IcnvWriterKind Writer, IcnvStream *Stream, const IcnvByteFlat *Flat)
{
    const IcnvKernels *const kernels = SupOS_IcnvKernels();
    const size_t left = sourceLeft(Stream);
    if (Writer == ICNV_WRITE_UCS) {
        const size_t count = least(left, roomLeft(Stream) / 2);
        kernels->bytesToUnits(Stream->source, Stream->target, count, Flat);
        return move(Stream, count, 2 * count);
    }
    const size_t count = least(left, roomLeft(Stream) / (Flat->simple ? 2 : 3));
    const size_t written = kernels->bytesToUtf(Stream->source, Stream->target, count, Flat);
    return move(Stream, count, written);
}

// Between forms of Unicode, or from one to single bytes, straight from source to target.
static u32 passUnicode(const IcnvJoin *Join, IcnvStream *Stream, const IcnvFlat *Flat)
{
    const IcnvKernels *const kernels = SupOS_IcnvKernels();
    const size_t left = sourceLeft(Stream);
    const size_t room = roomLeft(Stream);
    size_t made = 0;
    if (Join->reader == ICNV_READ_UTF && Join->writer == ICNV_WRITE_UCS) {
        const size_t used = kernels->utfToUnits(Stream->source, left, Stream->target, room / 2, &made);
        return move(Stream, used, 2 * made);
    }
    if (Join->reader == ICNV_READ_UTF) {
        const size_t used = kernels->utfToBytes(Stream->source, left, Stream->target, room, Flat->narrow, &made);
        return move(Stream, used, made);
    }
    if (Join->writer == ICNV_WRITE_UTF) {
        const size_t count = least(left / 2, room / 3);
        const size_t written = kernels->unitsToUtf(Stream->source, count, Stream->target);
        return move(Stream, 2 * count, written);
    }
    const size_t count = least(left / 2, room);
    kernels->unitsToBytes(Stream->source, count, Stream->target, Flat->narrow);
    return move(Stream, 2 * count, count);
}

// EUC needs a row in which two-byte characters have two bytes.
static bool isPaired(const IcnvEucWidths *Row)
{
    return Row->widths[1] == 2;
}

// Eight at a time: fetches that do not wait for each other, and one store for all.
static void mapWords(const u16 *Units, size_t Count, u8 *Target, const u16 *Flat)
{
    size_t i = 0;
    for (; i + 8 <= Count; i += 8) {
        const u16 *const in = Units + i;
        __m128i first = _mm_cvtsi32_si128(Flat[in[0]]);
        __m128i second = _mm_cvtsi32_si128(Flat[in[4]]);
        first = _mm_insert_epi16(first, Flat[in[1]], 1);
        second = _mm_insert_epi16(second, Flat[in[5]], 1);
        first = _mm_insert_epi16(first, Flat[in[2]], 2);
        second = _mm_insert_epi16(second, Flat[in[6]], 2);
        first = _mm_insert_epi16(first, Flat[in[3]], 3);
        second = _mm_insert_epi16(second, Flat[in[7]], 3);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(Target + 2 * i), _mm_unpacklo_epi64(first, second));
    }
    for (; i < Count; ++i) memcpy(Target + 2 * i, &Flat[Units[i]], 2);
}

// The EUC character of a shift byte, mapped; 0 bytes when it is not of two or three bytes, or not whole.
static size_t shiftedEuc(const IcnvStream *Stream, size_t Used, const u16 *Flat, u16 *Unit)
{
    const u8 *const in = Stream->source + Used;
    const size_t left = sourceLeft(Stream) - Used;
    const IcnvEucWidths *const row = &Stream->widths;
    if (left >= 2 && in[0] == 0x8E && row->count >= 3 && row->widths[2] == 1) {
        *Unit = Flat[in[0] << 8 | in[1]];
        return 2;
    }
    if (left >= 3 && in[0] == 0x8F && row->count >= 4 && row->widths[3] == 2) {
        *Unit = Flat[ICNV_TRIE_SECOND + (u32{in[1]} << 8 | in[2])];
        return 3;
    }
    return 0;
}

// EUC is mapped while it is read, for its characters behind shift bytes have a plane of their own. Out may be Units.
static size_t readEuc(IcnvStream *Stream, const u16 *Flat, u16 *Units, u8 *Out, size_t Room, size_t *Made)
{
    *Made = 0;
    if (!isPaired(&Stream->widths)) return 0;
    const IcnvPairs pairs = {{1, {{0xA0, 0xFF}, {0, 0}, {0, 0}}}, true};
    size_t used = 0;
    for (;;) {
        size_t made = 0;
        used += SupOS_IcnvKernels()->pairsToUnits(Stream->source + used, sourceLeft(Stream) - used, Units + *Made,
                                                  Room - *Made, &pairs, &made);
        mapWords(Units + *Made, made, Out + 2 * *Made, Flat);
        *Made += made;
        if (*Made == Room || used == sourceLeft(Stream)) return used;
        u16 unit = 0;
        const size_t shifted = shiftedEuc(Stream, used, Flat, &unit);
        if (shifted == 0) return used;
        memcpy(Out + 2 * *Made, &unit, 2);
        used += shifted;
        ++*Made;
    }
}

static size_t readUnits(const IcnvJoin *Join, IcnvStream *Stream, u16 *Units, size_t Room, size_t *Made)
{
    const IcnvKernels *const kernels = SupOS_IcnvKernels();
    const u8 *const source = Stream->source;
    const size_t left = sourceLeft(Stream);
    switch (Join->reader) {
    case ICNV_READ_UCS:
        *Made = least(left / 2, Room);
        memcpy(Units, source, 2 * *Made);
        return 2 * *Made;
    case ICNV_READ_UTF: return kernels->utfToUnits(source, left, reinterpret_cast<u8 *>(Units), Room, Made);
    case ICNV_READ_PC: {
        const IcnvPairs pairs = {Stream->lead, false};
        return kernels->pairsToUnits(source, left, Units, Room, &pairs, Made);
    }
    case ICNV_READ_HOST: return kernels->hostToUnits(source, left, Units, Room, &Stream->shift, Made);
    case ICNV_READ_EUC:
    case ICNV_READ_BYTE:
    case ICNV_READ_GB: break;
    }
    *Made = 0;
    return 0;
}

// Units to host text. Returns the bytes written, at most 3 a unit and 1 more.
static size_t writeHost(const u16 *Units, size_t Count, u8 *Target, u32 *Shift)
{
    u8 *out = Target;
    size_t i = 0;
    bool inside = *Shift == ICNV_SHIFT_INSIDE;
    while (i < Count) {
        if (inside != (Units[i] > 0xFF)) {
            inside = !inside;
            *out++ = inside ? ICNV_SHIFT_OUT : ICNV_SHIFT_IN;
        }
        if (inside) {
            for (; i < Count && Units[i] > 0xFF; ++i, out += 2) {
                const u16 swapped = __builtin_bswap16(Units[i]);
                memcpy(out, &swapped, 2);
            }
        } else {
            for (; i < Count && Units[i] <= 0xFF; ++i) *out++ = static_cast<u8>(Units[i]);
        }
    }
    *Shift = inside ? ICNV_SHIFT_INSIDE : ICNV_SHIFT_OUTSIDE;
    return static_cast<size_t>(out - Target);
}

// Four-byte forms through the flat table: one to four bytes of each, without the zeros in front.
static size_t writeEuc(const u16 *Units, size_t Count, u8 *Target, const u32 *Flat)
{
    u8 *out = Target;
    for (size_t i = 0; i < Count; ++i) {
        const u32 form = Flat[Units[i]];
        const u32 length = form > 0xFFFFFF ? 4 : form > 0xFFFF ? 3 : form > 0xFF ? 2 : 1;
        const u32 bytes = __builtin_bswap32(form << (32 - 8 * length));
        if (i + 4 <= Count) { // what is stored too much is still to be written
            memcpy(out, &bytes, 4);
        } else {
            for (u32 k = 0; k < length; ++k) out[k] = static_cast<u8>(bytes >> 8 * k);
        }
        out += length;
    }
    return static_cast<size_t>(out - Target);
}

static size_t writeUnits(const IcnvJoin *Join, IcnvStream *Stream, const IcnvFlat *Flat, u16 *Units, size_t Count)
{
    const IcnvKernels *const kernels = SupOS_IcnvKernels();
    u8 *const target = Stream->target;
    switch (Join->writer) {
    case ICNV_WRITE_UTF: return kernels->unitsToUtf(reinterpret_cast<const u8 *>(Units), Count, target);
    case ICNV_WRITE_PC: return kernels->unitsToPairs(Units, Count, target);
    case ICNV_WRITE_HOST: return writeHost(Units, Count, target, &Stream->shift);
    case ICNV_WRITE_EUC: return writeEuc(Units, Count, target, Flat->longs);
    case ICNV_WRITE_UCS:
    case ICNV_WRITE_BYTE: break;
    }
    return 0;
}

// The characters that a target of this size holds whatever they are.
static size_t unitsFor(IcnvWriterKind Writer, size_t Room)
{
    switch (Writer) {
    case ICNV_WRITE_BYTE: return Room;
    case ICNV_WRITE_UCS:
    case ICNV_WRITE_PC: return Room / 2;
    case ICNV_WRITE_UTF: return Room / 3;
    case ICNV_WRITE_EUC: return Room / 4;
    case ICNV_WRITE_HOST: return Room < 4 ? 0 : (Room - 4) / 3; // the writer wants three bytes free at each
    }
    return 0;
}

u32 SupOS_IcnvPass(const IcnvJoin *Join, IcnvStream *Stream, const IcnvFlat *Flat)
{
    if (Join->reader == ICNV_READ_BYTE) return passBytes(Join->writer, Stream, Flat->bytes);
    if (Join->layout == ICNV_FLAT_NONE || Join->layout == ICNV_FLAT_D1) return passUnicode(Join, Stream, Flat);

    u16 units[ICNV_PASS_UNITS];
    const size_t room = least(ICNV_PASS_UNITS, unitsFor(Join->writer, roomLeft(Stream)));
    // Mapped units go straight into a target of units.
    const bool toUnits = Join->writer == ICNV_WRITE_UCS;
    u8 *const mapped = toUnits ? Stream->target : reinterpret_cast<u8 *>(units);
    const bool isEuc = Join->reader == ICNV_READ_EUC;
    size_t count = 0;
    const size_t used = isEuc ? readEuc(Stream, Flat->words, units, mapped, room, &count)
                              : readUnits(Join, Stream, units, room, &count);
    if (count == 0) return 0;
    if (Join->layout == ICNV_FLAT_D2) mapWords(units, count, mapped, Flat->words);
    return move(Stream, used, toUnits ? 2 * count : writeUnits(Join, Stream, Flat, units, count));
}
