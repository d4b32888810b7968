#ifndef GEN_ROW_PLAN_H
#define GEN_ROW_PLAN_H

// Which first bytes share a row, where a table has more first bytes than rows.

#include <array>
#include <vector>

#include "vela_types.h"

// One mapped character of a two-level table.
struct RowCell {
    u8 first;
    u8 second;
    u16 character; // decides what losing it costs
};

// First bytes that share a row. A cell that two of them use, or that one lost, is dead: unmapped for all.
struct RowGroup {
    std::vector<u8> firsts; // ascending
    std::array<i16, 256> owner; // by second byte: the first byte whose character stands there, or ROW_FREE, ROW_DEAD
    std::array<u32, 256> weight;
    bool isUnmapped; // serves first bytes that have nothing mapped as well
};

constexpr i16 ROW_FREE = -1;
constexpr i16 ROW_DEAD = -2;

struct RowPlan {
    std::vector<RowGroup> groups; // by lowest first byte
    bool unmappedRow; // one more row, for first bytes that have nothing mapped
    std::vector<RowCell> lost;
};

// What a lost character costs: 1 private use, 10 ideographs and jamo, 100 all others.
u32 Rows_Weight(u16 Character);

// Cells        the mapped characters, no two with the same bytes
// Capacity     rows of the layout
// FromUnicode  the first byte is the high byte of a character; else of a code
// Spare        a first byte that can occur has nothing mapped
//
// While the rows do not suffice the cheapest step is taken: let a row serve as the unmapped one, fold two rows into
// one, or give a row up. From Unicode only rows of ideographs fold: there the price of a false character for a code
// point that the set does not have is least felt.
RowPlan Rows_Plan(const std::vector<RowCell> &Cells, u32 Capacity, bool FromUnicode, bool Spare);

#endif
