// The bytes of each table layout.
//
// Two-level layouts have a row index by first byte and rows by second byte. A row number is one signed byte; a
// negative one would point before the file, so 127 or 128 rows are all there are, and Rows_Plan shares them out.
// The trie has no such limit.

#include "table_layouts.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include "codesets.h"

namespace
{

struct RowShape {
    u32 firstRow;
    u32 capacity;
    u32 start; // offset of row 0
    u32 rowSize;
};

RowShape shapeOf(TableLayout Layout)
{
    switch (Layout) {
    case TableLayout::D1: return {1, 127, 0, 256};
    case TableLayout::D2: return {1, 127, 0, 512};
    case TableLayout::E4: return {0, 128, 1024, 1024};
    case TableLayout::F4: return {0, 128, 256, 1024};
    case TableLayout::G4: return {1, 65535, 0, 1024};
    default: throw GenError("layout without rows");
    }
}

void put(std::vector<u8> &Data, size_t Offset, u32 Width, u32 Value)
{
    for (u32 i = 0; i < Width; ++i) Data[Offset + i] = static_cast<u8>(Value >> (8 * (Width - 1 - i)));
}

void putRowNumber(std::vector<u8> &Data, TableLayout Layout, u32 First, u32 Row)
{
    if (Layout == TableLayout::G4)
        put(Data, First * 2, 2, Row);
    else
        Data[First] = static_cast<u8>(Row);
}

TableFile buildSingle(const TableDraft &Draft)
{
    const u32 width = Table_OutputWidth(Draft.layout);
    TableFile file{std::vector<u8>(256 * width), 0, 0, {}, false};
    for (u32 b = 0; b < 256; ++b) put(file.data, b * width, width, Draft.unmappedSingle);
    for (const TableEntry &entry : Draft.entries) put(file.data, entry.input * width, width, entry.output);
    return file;
}

// Inputs without a character that read as a character of another first byte.
u32 countFalse(const RowGroup &Group, const std::set<u32> &Housed, const TableDraft &Draft)
{
    u32 count = 0;
    std::vector<u32> firsts(Group.firsts.begin(), Group.firsts.end());
    if (Group.isUnmapped)
        for (u32 f = 0; f < 256; ++f)
            if (!Housed.contains(f) && Draft.canOccur(f)) firsts.push_back(f);
    for (const u32 first : firsts)
        for (u32 s = 0; s < 256; ++s)
            if (Group.owner[s] >= 0 && static_cast<u32>(Group.owner[s]) != first) ++count;
    return count;
}

TableFile buildRows(const TableDraft &Draft)
{
    std::vector<RowCell> cells;
    std::set<u32> mapped;
    std::unordered_map<u32, const TableEntry *> byInput;
    for (const TableEntry &entry : Draft.entries) {
        const u8 first = static_cast<u8>(entry.input >> 8);
        cells.push_back({first, static_cast<u8>(entry.input), entry.character});
        mapped.insert(first);
        byInput[entry.input] = &entry;
    }
    bool spare = false;
    for (u32 f = 0; f < 256; ++f) spare = spare || (Draft.canOccur(f) && !mapped.contains(f));

    const RowShape shape = shapeOf(Draft.layout);
    const RowPlan plan = Rows_Plan(cells, shape.capacity, Draft.fromUnicode, spare);
    const u32 width = Table_OutputWidth(Draft.layout);
    const u32 rows = static_cast<u32>(plan.groups.size()) + (plan.unmappedRow ? 1 : 0);
    TableFile file{std::vector<u8>(shape.start + shape.rowSize * (shape.firstRow + rows)), rows, 0, {}, false};

    u32 row = shape.firstRow;
    u32 home = shape.firstRow; // row of first bytes that have nothing mapped
    const auto fill = [&](u32 Unmapped) {
        for (u32 s = 0; s < 256; ++s) put(file.data, shape.start + shape.rowSize * row + s * width, width, Unmapped);
    };
    if (plan.unmappedRow) {
        fill(Draft.unmappedOther);
        ++row;
    }
    std::set<u32> housed; // first bytes with a row of their own or a shared one
    for (const RowGroup &group : plan.groups) housed.insert(group.firsts.begin(), group.firsts.end());
    for (const RowGroup &group : plan.groups) {
        fill(group.firsts[0] == 0 ? Draft.unmappedSingle : Draft.unmappedOther);
        for (u32 s = 0; s < 256; ++s)
            if (group.owner[s] >= 0)
                put(file.data, shape.start + shape.rowSize * row + s * width, width,
                    byInput.at(static_cast<u32>(group.owner[s]) << 8 | s)->output);
        if (group.isUnmapped) home = row;
        file.falseCodes += countFalse(group, housed, Draft);
        file.shared = file.shared || group.firsts.size() > 1 || group.isUnmapped;
        ++row;
    }
    for (u32 f = 0; f < 256; ++f) putRowNumber(file.data, Draft.layout, f, home);
    row = shape.firstRow + (plan.unmappedRow ? 1 : 0);
    for (const RowGroup &group : plan.groups) {
        for (const u8 f : group.firsts) putRowNumber(file.data, Draft.layout, f, row);
        ++row;
    }
    for (const RowCell &cell : plan.lost) file.lost.push_back(*byInput.at(u32{cell.first} << 8 | cell.second));
    file.shared = file.shared || !file.lost.empty();
    return file;
}

// A trie while it is laid out: numbers of rows in the order index, A rows, B rows, leaves.
struct Trie {
    std::map<u8, std::map<u8, std::map<u8, std::vector<const TableEntry *>>>> nodes;
    u32 aRows;
    u32 bRows;
    std::vector<u8> data;
};

void putBase(std::vector<u8> &Data, u32 Row, u32 Base)
{
    if (Base > 0xFFFF) throw GenError("a trie of more than 65535 rows");
    for (u32 i = 0; i < 4; ++i) Data[Row * 512 + i] = static_cast<u8>((Base >> (12 - 4 * i)) & 0xF);
}

void putDelta(std::vector<u8> &Data, u32 Row, u32 Column, i32 Delta)
{
    if (Delta < -128 || Delta > 127) throw GenError("a trie row with children too far apart");
    Data[Row * 512 + 4 + Column] = static_cast<u8>(Delta);
}

// Adds a leaf that holds the unmapped value everywhere, and returns its number.
u32 addLeaf(Trie &T, const TableDraft &Draft)
{
    const u32 row = static_cast<u32>(T.data.size() / 512);
    T.data.resize(T.data.size() + 512);
    for (u32 c3 = 0; c3 < 256; ++c3) put(T.data, row * 512 + c3 * 2, 2, Draft.unmappedOther);
    return row;
}

// The leaves of one B row lie side by side, an unmapped one in their middle as base: the deltas stay small.
void layLeaves(Trie &T, const TableDraft &Draft, u32 RowB,
               const std::map<u8, std::vector<const TableEntry *>> &Children)
{
    const u32 first = static_cast<u32>(T.data.size() / 512);
    const u32 base = first + static_cast<u32>(Children.size() / 2);
    std::map<u8, u32> leaf;
    for (const auto &[c2, entries] : Children) {
        if (T.data.size() / 512 == base) addLeaf(T, Draft);
        leaf[c2] = addLeaf(T, Draft);
        for (const TableEntry *entry : entries)
            put(T.data, leaf[c2] * 512 + (entry->input & 0xFF) * 2, 2, entry->output);
    }
    if (T.data.size() / 512 == base) addLeaf(T, Draft);
    putBase(T.data, RowB, base);
    for (u32 c2 = 0; c2 < 256; ++c2) putDelta(T.data, RowB, c2, 0);
    for (const auto &[c2, row] : leaf) putDelta(T.data, RowB, c2, static_cast<i32>(row) - static_cast<i32>(base));
}

TableFile buildTrie(const TableDraft &Draft)
{
    Trie trie{};
    for (const TableEntry &entry : Draft.entries)
        trie.nodes[static_cast<u8>(entry.input >> 24)][static_cast<u8>(entry.input >> 16)]
                  [static_cast<u8>(entry.input >> 8)]
                      .push_back(&entry);
    trie.aRows = static_cast<u32>(trie.nodes.size()) + 1;
    trie.bRows = 1;
    for (const auto &[c0, children] : trie.nodes) trie.bRows += static_cast<u32>(children.size());

    const u32 unmappedA = 1;
    const u32 unmappedB = 1 + trie.aRows;
    trie.data.resize(512 * (1 + trie.aRows + trie.bRows));
    for (u32 c0 = 0; c0 < 256; ++c0) trie.data[c0] = unmappedA - 1;
    putBase(trie.data, unmappedA, unmappedB);
    layLeaves(trie, Draft, unmappedB, {});

    u32 rowA = unmappedA;
    u32 rowB = unmappedB;
    for (const auto &[c0, children] : trie.nodes) {
        ++rowA;
        trie.data[c0] = static_cast<u8>(rowA - 1);
        putBase(trie.data, rowA, unmappedB);
        for (const auto &[c1, leaves] : children) {
            ++rowB;
            putDelta(trie.data, rowA, c1, static_cast<i32>(rowB) - static_cast<i32>(unmappedB));
            layLeaves(trie, Draft, rowB, leaves);
        }
    }
    const u32 rows = static_cast<u32>(trie.data.size() / 512);
    return {std::move(trie.data), rows, 0, {}, false};
}

TableFile buildFourBlocks(const TableDraft &Draft)
{
    constexpr u32 LEADS = 4;
    TableFile file{std::vector<u8>(5120 + LEADS * 25200), 0, 0, {}, false};
    for (u32 i = 0; i < LEADS; ++i) file.data[0x81 + i] = 1;
    const auto block = [&](u32 Number, u32 First, u32 Last, u32 Step) {
        for (u32 b = First; b <= Last; ++b) put(file.data, 1024 * Number + b * 4, 4, (b - First) * Step);
    };
    block(1, 0x81, 0x84, 25200);
    block(2, 0x30, 0x39, 2520);
    block(3, 0x81, 0xFE, 20);
    block(4, 0x30, 0x39, 2);
    for (size_t at = 5120; at < file.data.size(); at += 2) put(file.data, at, 2, Draft.unmappedOther);
    for (const TableEntry &entry : Draft.entries) {
        const u32 offset = ((entry.input >> 24) - 0x81) * 25200 + (((entry.input >> 16) & 0xFF) - 0x30) * 2520 +
                           (((entry.input >> 8) & 0xFF) - 0x81) * 20 + ((entry.input & 0xFF) - 0x30) * 2;
        put(file.data, 5120 + offset, 2, entry.output);
    }
    return file;
}

// Every input that a layout can be asked for. The trie's are the entries and their neighbours: all would be 2^32.
std::vector<u32> inputsOf(const TableDraft &Draft)
{
    std::vector<u32> inputs;
    if (Draft.layout == TableLayout::S1 || Draft.layout == TableLayout::S2) {
        for (u32 b = 0; b < 256; ++b) inputs.push_back(b);
    } else if (Draft.layout == TableLayout::T4) {
        std::set<u32> leads{0, 0x7F0000, 0x8E0000, 0x8F0000, 0xFF0000, 0x8E000000, 0x8EFF0000, 0xFF000000};
        for (const TableEntry &entry : Draft.entries) leads.insert(entry.input & 0xFFFF0000);
        for (const u32 lead : leads)
            for (u32 low = 0; low < 0x10000; ++low) inputs.push_back((lead & 0xFFFF0000) | low);
    } else if (Draft.layout == TableLayout::Q4) {
        for (u32 i = 0; i < 4 * 12600; ++i)
            inputs.push_back((0x81 + i / 12600) << 24 | (0x30 + i / 1260 % 10) << 16 | (0x81 + i / 10 % 126) << 8 |
                             (0x30 + i % 10));
    } else {
        for (u32 c = 0; c < 0x10000; ++c)
            if (Draft.canOccur(c >> 8)) inputs.push_back(c);
    }
    return inputs;
}

std::string fault(const char *What, u32 Input, u32 Got)
{
    char text[120];
    std::snprintf(text, sizeof text, "%s at %X: %X", What, Input, Got);
    return text;
}

} // namespace

TableFile Table_Build(const TableDraft &Draft)
{
    switch (Draft.layout) {
    case TableLayout::S1:
    case TableLayout::S2: return buildSingle(Draft);
    case TableLayout::T4: return buildTrie(Draft);
    case TableLayout::Q4: return buildFourBlocks(Draft);
    default: return buildRows(Draft);
    }
}

std::string Table_Check(const TableDraft &Draft, const TableFile &File)
{
    std::unordered_set<u32> lost;
    for (const TableEntry &entry : File.lost) lost.insert(entry.input);

    u32 falseCodes = 0;
    auto entry = Draft.entries.begin(); // both ascend
    for (const u32 input : inputsOf(Draft)) {
        const TableAnswer answer = Table_Lookup(File.data, Draft.layout, input);
        if (!answer.inside) return fault("a read outside the file", input, 0);
        while (entry != Draft.entries.end() && entry->input < input) ++entry;
        const bool mapped = entry != Draft.entries.end() && entry->input == input;
        if (mapped && !lost.contains(input)) {
            if (answer.value != entry->output) return fault("a wrong character", input, answer.value);
            continue;
        }
        const bool single = input < 0x100 && Draft.layout != TableLayout::T4;
        const bool substituted = answer.value == (single ? Draft.unmappedSingle : Draft.unmappedOther);
        if (mapped && !substituted) return fault("a lost character that reads as another", input, answer.value);
        if (!substituted) ++falseCodes;
    }
    if (falseCodes != File.falseCodes)
        return fault("false characters, other than counted", File.falseCodes, falseCodes);

    // First bytes that cannot occur still read inside the file.
    if (Draft.canOccur)
        for (u32 c = 0; c < 0x10000; ++c)
            if (!Table_Lookup(File.data, Draft.layout, c).inside) return fault("a read outside the file", c, 0);
    return {};
}
