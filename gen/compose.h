#ifndef GEN_COMPOSE_H
#define GEN_COMPOSE_H

// What one code set makes of the characters of another.

#include <string>
#include <unordered_map>

#include "charmap.h"

// A target, with what is worked out of it once: the code that each character ends in.
struct ComposeTarget {
    const CodesetPlan *plan;
    const Charmap *map;
    bool singleByte; // its stand-ins are those of single-byte sets, and compatibility forms count
    std::string family; // stand-ins of the family, or empty

    std::unordered_map<u16, u32> known; // answers so far
    std::unordered_map<std::u16string, u16> nfkc; // lowest own non-ASCII character of each compatibility form
    bool nfkcReady;
};

ComposeTarget Compose_Target(const CodesetPlan &Plan, const Charmap &Map, bool SingleByte, const std::string &Family);

// The target's code of a character of the source, or CHARMAP_NONE. Tried in order: the form that the family writes,
// the character itself, its stand-ins, and for single-byte targets the characters of the same compatibility form.
u32 Compose_Code(ComposeTarget &Target, u16 Character);

#endif
