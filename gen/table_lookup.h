#ifndef GEN_TABLE_LOOKUP_H
#define GEN_TABLE_LOOKUP_H

// The lookup formulas of the table layouts, plain and with bounds: what a reader of a table file computes.
//
// OFFSET / WIDTH / FIELD of every layout stands in docs/conversion.md.

#include <string>
#include <vector>

#include "vela_types.h"

enum class TableLayout { S1, S2, D1, D2, E4, F4, G4, T4, Q4 };

const char *Table_LayoutName(TableLayout Layout);

// Bytes of an output: 1, 2 or 4.
u32 Table_OutputWidth(TableLayout Layout);

struct TableAnswer {
    bool inside; // no byte was read outside the file
    u32 value; // the output, first byte highest
};

// Character: the bytes of the input, right-aligned (for Q4 the four bytes of the code).
TableAnswer Table_Lookup(const std::vector<u8> &Data, TableLayout Layout, u32 Character);

#endif
