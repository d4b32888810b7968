#include "table_lookup.h"

namespace
{

// Width bytes at an offset, first byte highest. Outside the data nothing is read.
TableAnswer bytesAt(const std::vector<u8> &Data, i64 Offset, u32 Width)
{
    if (Offset < 0 || Offset + Width > static_cast<i64>(Data.size())) return {false, 0};
    u32 value = 0;
    for (u32 i = 0; i < Width; ++i) value = value << 8 | Data[static_cast<size_t>(Offset) + i];
    return {true, value};
}

// A row number: one signed byte.
bool rowAt(const std::vector<u8> &Data, i64 Offset, i64 *Row)
{
    const TableAnswer byte = bytesAt(Data, Offset, 1);
    *Row = static_cast<i8>(byte.value);
    return byte.inside;
}

// The base of a trie row: four hexadecimal digits, a digit a byte.
bool baseOf(const std::vector<u8> &Data, i64 Row, i64 *Base)
{
    const TableAnswer digits = bytesAt(Data, Row * 512, 4);
    *Base = ((digits.value >> 24) & 0xFF) * 4096 + ((digits.value >> 16) & 0xFF) * 256 +
            ((digits.value >> 8) & 0xFF) * 16 + (digits.value & 0xFF);
    return digits.inside;
}

TableAnswer trie(const std::vector<u8> &Data, u32 Character)
{
    const i64 c1 = (Character >> 16) & 0xFF;
    const i64 c2 = (Character >> 8) & 0xFF;
    i64 rowA = 0;
    i64 base = 0;
    i64 delta = 0;
    if (!rowAt(Data, Character >> 24, &rowA)) return {false, 0};
    rowA += 1;
    if (!baseOf(Data, rowA, &base) || !rowAt(Data, rowA * 512 + 4 + c1, &delta)) return {false, 0};
    const i64 rowB = base + delta;
    if (!baseOf(Data, rowB, &base) || !rowAt(Data, rowB * 512 + 4 + c2, &delta)) return {false, 0};
    return bytesAt(Data, (base + delta) * 512 + i64{Character & 0xFF} * 2, 2);
}

TableAnswer fourBlocks(const std::vector<u8> &Data, u32 Character)
{
    const TableAnswer flag = bytesAt(Data, Character >> 24, 1);
    if (!flag.inside) return flag;
    if (flag.value == 0) return {true, 0xFEFE};
    i64 sum = 0;
    for (u32 i = 0; i < 4; ++i) {
        const i64 byte = (Character >> (24 - 8 * i)) & 0xFF;
        const TableAnswer part = bytesAt(Data, 1024 + 1024 * i64{i} + byte * 4, 4);
        if (!part.inside) return part;
        sum += part.value;
    }
    return bytesAt(Data, 5120 + sum, 2);
}

} // namespace

const char *Table_LayoutName(TableLayout Layout)
{
    switch (Layout) {
    case TableLayout::S1: return "S1";
    case TableLayout::S2: return "S2";
    case TableLayout::D1: return "D1";
    case TableLayout::D2: return "D2";
    case TableLayout::E4: return "E4";
    case TableLayout::F4: return "F4";
    case TableLayout::G4: return "G4";
    case TableLayout::T4: return "T4";
    case TableLayout::Q4: return "Q4";
    }
    return "?";
}

u32 Table_OutputWidth(TableLayout Layout)
{
    switch (Layout) {
    case TableLayout::S1:
    case TableLayout::D1: return 1;
    case TableLayout::E4:
    case TableLayout::F4:
    case TableLayout::G4: return 4;
    default: return 2;
    }
}

TableAnswer Table_Lookup(const std::vector<u8> &Data, TableLayout Layout, u32 Character)
{
    const i64 first = (Character >> 8) & 0xFF;
    const i64 second = Character & 0xFF;
    i64 row = 0;
    switch (Layout) {
    case TableLayout::S1: return bytesAt(Data, second, 1);
    case TableLayout::S2: return bytesAt(Data, second * 2, 2);
    case TableLayout::T4: return trie(Data, Character);
    case TableLayout::Q4: return fourBlocks(Data, Character);
    case TableLayout::G4: {
        const TableAnswer number = bytesAt(Data, first * 2, 2);
        return number.inside ? bytesAt(Data, i64{number.value} * 1024 + second * 4, 4) : number;
    }
    default: break;
    }
    if (!rowAt(Data, first, &row)) return {false, 0};
    switch (Layout) {
    case TableLayout::D1: return bytesAt(Data, row * 256 + second, 1);
    case TableLayout::D2: return bytesAt(Data, row * 512 + second * 2, 2);
    case TableLayout::E4: return bytesAt(Data, (row + 1) * 1024 + second * 4, 4);
    default: return bytesAt(Data, 256 + row * 1024 + second * 4, 4); // F4
    }
}
