#ifndef GEN_TABLE_LAYOUTS_H
#define GEN_TABLE_LAYOUTS_H

// Table files from characters: the bytes of each layout.

#include <functional>

#include "row_plan.h"
#include "table_lookup.h"

// One mapped character of a table.
struct TableEntry {
    u32 input; // bytes of the source character, right-aligned
    u32 output; // bytes of the target character, right-aligned in the layout's width
    u16 character; // what it stands for
};

// A table before it has bytes.
struct TableDraft {
    TableLayout layout;
    std::vector<TableEntry> entries; // by input
    u32 unmappedSingle; // output for first byte 00 (or one-byte input)
    u32 unmappedOther; // output for all others
    bool fromUnicode;
    std::function<bool(u32)> canOccur; // two-level layouts: whether a first byte comes up at all
};

struct TableFile {
    std::vector<u8> data;
    u32 rows; // rows used, 0 where a layout has none
    u32 falseCodes; // inputs without a character that read as another one's
    std::vector<TableEntry> lost; // characters that found no room
    bool shared; // some rows are shared or were given up
};

// Lays a draft out. Throws GenError when a layout cannot hold it.
TableFile Table_Build(const TableDraft &Draft);

// Reads a file back through the lookup formulas: every character but the lost ones gives its value, every other input
// an answer inside the file, and that one the draft's unmapped value but for FalseCodes of them. Returns an empty
// text, or what is wrong.
std::string Table_Check(const TableDraft &Draft, const TableFile &File);

#endif
