#ifndef TER_REFERENCE_H
#define TER_REFERENCE_H

// A second implementation of the 3270 streams: slow, obvious, every access through a checked index. It shares no code
// and no table with the library; what both say of a stream must be the same to the byte.

#include <array>
#include <functional>
#include <optional>
#include <vector>

#include "plat_types.h"

using Ref_Bytes = std::vector<u8>;

// Ends a test program that reads or writes where nothing is.
inline constexpr size_t Ref_MapSize = 4096;

// Tables, by their rows.
const Ref_Bytes &Ref_BinaryToGraphic(); // 64
const Ref_Bytes &Ref_AsciiToEbcdic(); // 256
const Ref_Bytes &Ref_EbcdicToAscii(); // 256
u8 Ref_GraphicToBinary(u8 Character);
u8 Ref_OrderLength(u8 Code);

// --- Scan ---

struct Ref_Scan {
    u32 Code = 0;
    bool Rebuilt = false;
    Ref_Bytes Stream; // what the caller's buffer holds afterwards, cut to the length
    u32 Allocations = 0;
    u32 Releases = 0;
};

// The map is changed; without one nothing is recorded. FailedAllocation: the number, from 1, of the one that fails.
Ref_Scan Ref_ParseTIOA(const Ref_Bytes &Stream, Ref_Bytes *Map, bool InsertAddresses, u32 FailedAllocation);

u32 Ref_CountToControl(const Ref_Bytes &Stream, u16 *Offset, const Ref_Bytes *Map, u16 Position);
bool Ref_ExamineScreen(const Ref_Bytes *Map, u16 Position);

// --- Translation ---

// The caller's conversion: a result and what it wrote. Size is what it was told of.
struct Ref_Converted {
    u32 Code = 0;
    Ref_Bytes Text;
};
using Ref_Convert = std::function<Ref_Converted(u32 Descriptor, const Ref_Bytes &Text, u16 Size)>;

struct Ref_Arguments {
    i32 HasCommand = 0;
    i32 NoPrefix = 1;
    i32 SourceIsEbcdic = 1;
    i32 Descriptor = 7;
    i32 DoubleByteMode = 0;
    const Ref_Bytes *Map = nullptr;
    u32 FailedAllocation = 0;
};

struct Ref_Symptom {
    int Line;
    int Msn;
    std::array<int, 3> Inserts; // of the first message the first two
};

struct Ref_Translation {
    u32 Code = 0;
    Ref_Bytes Source; // as it was left
    Ref_Bytes Result; // on success
    u16 Length = 0; // as it was left
    std::vector<u32> Asked; // sizes, in order
    std::optional<Ref_Symptom> Symptom;
};

Ref_Translation Ref_Translate(const Ref_Bytes &Stream, const Ref_Arguments &Arguments, const Ref_Convert &Convert);

#endif
