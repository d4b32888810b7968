#ifndef ICNV_REFERENCE_H
#define ICNV_REFERENCE_H

// A second implementation of code-page conversion, for tests alone: slow, obvious, written from the description of each
// loop with indexes into vectors, and sharing no code with the library.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

struct Ref_Range {
    uint32_t Low, High;
};

// An open conversion: all that the loops look at.
struct Ref_Conversion {
    using Table = std::optional<std::vector<uint8_t>>; // none: no table

    uint32_t Mode = 0; // 0: the Unicode and EUC route
    enum { DoublesNone, DoublesSame, DoublesSubstitute, DoublesTable } Doubles = DoublesNone;
    Table Single, Double; // the byte route
    Table Record[3]; // the other route
    uint32_t FromKind = 0, FromEncoding = 0, ToKind = 0, ToEncoding = 0;
    uint32_t LeadCount = 0;
    std::array<Ref_Range, 3> Lead = {};
    uint32_t EucCount = 0;
    std::array<uint32_t, 4> EucWidth = {};
};

struct Ref_Result {
    int Code = 0;
    size_t SourceMoved = 0; // how far the source pointer goes
    size_t TargetMoved = 0;
    size_t Written = 0; // padding included
    std::vector<uint8_t> Target; // of the same size as what was given
};

// Converts Source into Target, whose contents show where nothing is written.
Ref_Result Ref_Convert(const Ref_Conversion &Conversion, const std::vector<uint8_t> &Source,
                       const std::vector<uint8_t> &Target);

#endif
