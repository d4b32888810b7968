// Flat forms of tables: the same answers, at a place that follows from the character alone.
//
// The layouts of table files choose a row by the first byte and then a cell; each step is a fetch that waits for the
// one before, and each needs a bound, for a file can hold anything. A flat form is made once of a table in which no
// character can lead outside the file. It costs 64 to 256 KiB a table (D1 64, D2 128, E4, F4, G4, T4 256) and turns
// a character into one fetch without a test.

#include <string.h>

#include "supos_allocation.h"
#include "supos_icnv_engine.h"
#include "supos_istream_int.h"

#define ICNV_FLAT_LABEL "ERZ58FLT"

constexpr u32 ICNV_CHARACTERS = 65536;
constexpr size_t ICNV_LINE = 64;

static void *newBlock(size_t Size)
{
    void *block = nullptr;
    return SupOS_AllocateRE(static_cast<u32>(Size), ICNV_FLAT_LABEL, &block) == ERZ_OK ? block : nullptr;
}

static u16 wordAt(const u8 *Place)
{
    return static_cast<u16>(Place[0] << 8 | Place[1]);
}

static u32 longAt(const u8 *Place)
{
    return u32{Place[0]} << 24 | u32{Place[1]} << 16 | u32{Place[2]} << 8 | Place[3];
}

// The bytes of one character in UTF-8, as the writer puts them out; returns their number.
static u8 utfForm(u8 High, u8 Low, u8 *Out)
{
    const u32 unit = u32{High} << 8 | Low;
    if (unit < 0x80) {
        Out[0] = Low;
        return 1;
    }
    if (unit < 0x800) {
        Out[0] = static_cast<u8>(0xC0 | unit >> 6);
        Out[1] = static_cast<u8>(0x80 | (unit & 0x3F));
        return 2;
    }
    Out[0] = static_cast<u8>(0xE0 | unit >> 12);
    Out[1] = static_cast<u8>(0x80 | (unit >> 6 & 0x3F));
    Out[2] = static_cast<u8>(0x80 | (unit & 0x3F));
    return 3;
}

static bool fillBytes(const IcnvTable *Table, IcnvByteFlat *Out)
{
    if (Table->size < 512) return false;
    Out->simple = 1;
    for (u32 i = 0; i < 256; ++i) {
        Out->high[i] = Table->data[2 * i];
        Out->low[i] = Table->data[2 * i + 1];
        u8 utf[3] = {0, 0, 0};
        Out->utfLength[i] = utfForm(Out->high[i], Out->low[i], utf);
        for (u32 k = 0; k < 3; ++k) Out->utf[k][i] = utf[k];
        if (Out->utfLength[i] == 3) Out->simple = 0;
    }
    return true;
}

// Where the row of a first byte begins; false when it does not lie inside the table with all its cells.
static bool rowOf(const IcnvTable *Table, IcnvFlatKind Kind, u32 First, i64 *Offset, u32 *Width)
{
    const u8 *const data = Table->data;
    const i64 size = Table->size;
    if (size < 512) return false; // holds the index of every layout
    const i64 row = static_cast<i8>(data[First]);
    switch (Kind) {
    case ICNV_FLAT_D2: *Offset = row * 512, *Width = 2; break;
    case ICNV_FLAT_D1: *Offset = row * 256, *Width = 1; break;
    case ICNV_FLAT_E4: *Offset = (row + 1) * 1024, *Width = 4; break;
    case ICNV_FLAT_F4: *Offset = 256 + row * 1024, *Width = 4; break;
    case ICNV_FLAT_G4: *Offset = i64{wordAt(data + 2 * First)} * 1024, *Width = 4; break;
    default: return false;
    }
    return *Offset >= 0 && *Offset + 256 * *Width <= size;
}

static bool fillRows(const IcnvTable *Table, IcnvFlatKind Kind, IcnvFlat *Out)
{
    for (u32 first = 0; first < 256; ++first) {
        i64 offset;
        u32 width;
        if (!rowOf(Table, Kind, first, &offset, &width)) return false;
        const u8 *const cells = Table->data + offset;
        const u32 at = first * 256;
        for (u32 second = 0; second < 256; ++second) {
            if (width == 1) Out->narrow[at + second] = cells[second];
            if (width == 2) Out->words[at + second] = wordAt(cells + 2 * second);
            if (width == 4) Out->longs[at + second] = longAt(cells + 4 * second);
        }
    }
    return true;
}

// The characters 00 Second xx yy of a trie.
static bool fillTrie(const IcnvTable *Table, u8 Second, u16 *Out)
{
    for (u32 third = 0; third < 256; ++third) {
        const u8 character[4] = {0, Second, static_cast<u8>(third), 0};
        const i64 offset = SupOS_IcnvTrieLeaf(Table->data, Table->size, character);
        if (offset < 0 || offset + 512 > Table->size) return false;
        for (u32 last = 0; last < 256; ++last) Out[third * 256 + last] = wordAt(Table->data + offset + 2 * last);
    }
    return true;
}

static size_t sizeOf(IcnvFlatKind Kind)
{
    switch (Kind) {
    case ICNV_FLAT_S2: return sizeof(IcnvByteFlat);
    case ICNV_FLAT_D1: return ICNV_CHARACTERS;
    case ICNV_FLAT_D2: return ICNV_CHARACTERS * sizeof(u16);
    case ICNV_FLAT_T4: return 2 * ICNV_CHARACTERS * sizeof(u16);
    case ICNV_FLAT_E4:
    case ICNV_FLAT_F4:
    case ICNV_FLAT_G4: return ICNV_CHARACTERS * sizeof(u32);
    case ICNV_FLAT_NONE: break;
    }
    return 0;
}

static bool fill(const IcnvTable *Table, IcnvFlatKind Kind, IcnvFlat *Out)
{
    if (Kind == ICNV_FLAT_S2) return fillBytes(Table, Out->bytes);
    if (Kind != ICNV_FLAT_T4) return fillRows(Table, Kind, Out);
    return fillTrie(Table, 0, Out->words) && fillTrie(Table, 0x8F, Out->words + ICNV_CHARACTERS);
}

IcnvFlat *SupOS_IcnvMakeFlat(const IcnvTable *Table, IcnvFlatKind Kind)
{
    const size_t size = sizeOf(Kind);
    if (size == 0 || Table->data == nullptr) return nullptr;
    u8 *const block = static_cast<u8 *>(newBlock(sizeof(IcnvFlat) + ICNV_LINE + size));
    if (block == nullptr) return nullptr;

    IcnvFlat *const flat = reinterpret_cast<IcnvFlat *>(block);
    flat->kind = Kind;
    const uintptr_t behind = reinterpret_cast<uintptr_t>(block) + sizeof(IcnvFlat);
    flat->words = reinterpret_cast<u16 *>((behind + ICNV_LINE - 1) / ICNV_LINE * ICNV_LINE);
    if (fill(Table, Kind, flat)) return flat;
    SupOS_DeallocateRE(block);
    return nullptr;
}
