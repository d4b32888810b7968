#ifndef GEN_CHARMAP_H
#define GEN_CHARMAP_H

// The characters of one code set: code to character and back.
//
// A code is a number with the bytes right-aligned: 41, 8140, 8FA2AF, 8EA2A1A1. A character is one 16-bit unit.

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "codesets.h"

constexpr u32 CHARMAP_NONE = 0xFFFFFFFFu;

struct Charmap {
    std::vector<std::pair<u32, u16>> to; // every assigned code with its character, by code
    std::vector<u32> from; // by character: its code or CHARMAP_NONE; holds fallbacks too
};

// Maps of one run, each made once.
struct CharmapStore {
    const CodesetPlan *plan;
    std::map<std::string, Charmap> maps;
};

// The map of a row's `source`, with what its kind and encoding ask for: no shifts in a mixed host set, no graphic
// character on a control byte in a PC or ISO set. Throws GenError when the source is none or not there.
const Charmap &Charmap_Of(CharmapStore &Store, const CodesetRow &Row);

// A source as column `source` writes it, without a row: as the converter has it.
const Charmap &Charmap_Source(CharmapStore &Store, const std::string &Source);

// The character of a code, or CHARMAP_NONE.
u32 Charmap_Character(const Charmap &Map, u32 Code);

// Makes a map from codes alone: from-direction is the inverse; of two codes of a character the higher one is taken.
Charmap Charmap_FromCodes(std::vector<std::pair<u32, u16>> Codes);

// Bytes of a code, 1 to 4.
u32 Charmap_Width(u32 Code);

// Keeps the codes of this many bytes.
Charmap Charmap_OfWidth(const Charmap &Map, u32 Width);

// The map of a rule of charmap_rules.cpp; throws GenError for an unknown name.
Charmap Charmap_Rule(CharmapStore &Store, const std::string &Name);

// NFKC form of a character, as 16-bit units.
std::u16string Charmap_Nfkc(u16 Character);

#endif
