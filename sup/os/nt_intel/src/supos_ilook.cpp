// The lookups of the Unicode and EUC route: a form through a table of one of the layouts.
//
//     layout  index                                  cell, at byte offset
//     S2      -                                      2 * byte                                            2 bytes
//     D2      signed byte at first                   512 * row + 2 * second                              2 bytes
//     D1      signed byte at first                   256 * row + second                                  1 byte
//     E4      signed byte at first                   1024 * (row + 1) + 4 * second                       4 bytes
//     F4      signed byte at first                   256 + 1024 * row + 4 * second                       4 bytes
//     G4      big-endian word at 2 * first           1024 * row + 4 * second                             4 bytes
//     T4      trie of three steps, below             512 * leaf + 2 * last                               2 bytes
//     Q4      flag at first, 0 = no mapping          5120 + sum of four big-endian longs                 2 bytes
//
// A file can hold anything, so every offset is compared with its size; what lies outside leaves the output alone.

#include <string.h>

#include "supos_istream_int.h"

// Copies Count bytes at Offset, if the table holds all of them.
static void fetch(const IcnvLookup *Lookup, i64 Offset, u32 Count, u8 *Out)
{
    if (Offset < 0 || Offset + Count > Lookup->size) return;
    memcpy(Out, Lookup->table + Offset, Count);
}

static bool holds(const IcnvLookup *Lookup, i64 Offset, u32 Count)
{
    return Lookup->table != nullptr && Offset >= 0 && Offset + Count <= Lookup->size;
}

static i64 signedAt(const IcnvLookup *Lookup, u32 Offset)
{
    return static_cast<i8>(Lookup->table[Offset]);
}

void SupOS_IcnvSame(const IcnvLookup *, const u8 *In, u8 *Out)
{
    Out[0] = In[0];
    Out[1] = In[1];
}

void SupOS_IcnvOneToTwo(const IcnvLookup *Lookup, const u8 *In, u8 *Out)
{
    if (Lookup->table == nullptr) return;
    fetch(Lookup, i64{In[0]} * 2, 2, Out);
}

void SupOS_IcnvTwoToTwo(const IcnvLookup *Lookup, const u8 *In, u8 *Out)
{
    if (!holds(Lookup, In[0], 1)) return;
    fetch(Lookup, signedAt(Lookup, In[0]) * 512 + In[1] * 2, 2, Out);
}

void SupOS_IcnvTwoToOne(const IcnvLookup *Lookup, const u8 *In, u8 *Out)
{
    if (!holds(Lookup, In[0], 1)) return;
    fetch(Lookup, signedAt(Lookup, In[0]) * 256 + In[1], 1, Out);
}

void SupOS_IcnvToEucE4(const IcnvLookup *Lookup, const u8 *In, u8 *Out)
{
    if (!holds(Lookup, In[0], 1)) return;
    fetch(Lookup, (signedAt(Lookup, In[0]) + 1) * 1024 + In[1] * 4, 4, Out);
}

void SupOS_IcnvToEucF4(const IcnvLookup *Lookup, const u8 *In, u8 *Out)
{
    if (!holds(Lookup, In[0], 1)) return;
    fetch(Lookup, 256 + signedAt(Lookup, In[0]) * 1024 + In[1] * 4, 4, Out);
}

void SupOS_IcnvToGb(const IcnvLookup *Lookup, const u8 *In, u8 *Out)
{
    const u32 index = In[0] * 2u;
    if (!holds(Lookup, index, 2)) return;
    const i64 row = Lookup->table[index] << 8 | Lookup->table[index + 1];
    fetch(Lookup, row * 1024 + In[1] * 4, 4, Out);
}

// Rows of 512 bytes: a base as four hexadecimal digits, one a byte, the highest first; then 256 signed deltas.
constexpr u32 ICNV_TRIE_ROW = 512;
constexpr u32 ICNV_TRIE_DELTAS = 4;

// The row that a row leads to by one byte of the character; false when the row does not lie in the table.
static bool trieStep(const u8 *Table, u32 Size, i64 Row, u8 Byte, i64 *Next)
{
    const i64 offset = Row * ICNV_TRIE_ROW;
    if (offset < 0 || offset + ICNV_TRIE_DELTAS + Byte + 1 > Size) return false;
    const u8 *const row = Table + offset;
    const i64 base = row[0] * 4096 + row[1] * 256 + row[2] * 16 + row[3];
    *Next = base + static_cast<i8>(row[ICNV_TRIE_DELTAS + Byte]);
    return true;
}

i64 SupOS_IcnvTrieLeaf(const u8 *Table, u32 Size, const u8 *Character)
{
    if (Character[0] >= Size) return -1;
    i64 row = i64{static_cast<i8>(Table[Character[0]])} + 1;
    if (!trieStep(Table, Size, row, Character[1], &row)) return -1;
    if (!trieStep(Table, Size, row, Character[2], &row)) return -1;
    return row * ICNV_TRIE_ROW;
}

void SupOS_IcnvEucToTwo(const IcnvLookup *Lookup, const u8 *In, u8 *Out)
{
    if (Lookup->table == nullptr) return;
    const i64 leaf = SupOS_IcnvTrieLeaf(Lookup->table, Lookup->size, In);
    if (leaf >= 0) fetch(Lookup, leaf + In[3] * 2, 2, Out);
}

constexpr u32 ICNV_QUAD_BLOCKS = 1024; // four blocks of 256 longs
constexpr u32 ICNV_QUAD_CELLS = 5120;

void SupOS_IcnvGbFour(const IcnvLookup *Lookup, const u8 *In, u8 *Out, u8 Unused)
{
    static_cast<void>(Unused != 0); // required: tested, and without effect
    if (!holds(Lookup, In[0], 1)) return;
    if (Lookup->table[In[0]] == 0) {
        Out[0] = 0xFE;
        Out[1] = 0xFE;
        return;
    }
    i64 offset = ICNV_QUAD_CELLS;
    for (u32 i = 0; i < 4; ++i) {
        const u32 place = ICNV_QUAD_BLOCKS * (i + 1) + In[i] * 4u;
        if (!holds(Lookup, place, 4)) return;
        const u8 *const value = Lookup->table + place;
        offset += u32{value[0]} << 24 | u32{value[1]} << 16 | u32{value[2]} << 8 | value[3];
    }
    fetch(Lookup, offset, 2, Out);
}
