// Code sets that no converter of ICU has, built from sets that it has.
//
// The double-byte ones lie on a grid: 188 codes a lead byte from 81 on, with the trail bytes 40 to 7E and 80 to FC.
// Only codes whose source is assigned exist.

#include "charmap.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "charmap_lists.h"

namespace
{

using Codes = std::vector<std::pair<u32, u16>>;

// The characters of a list; CHARMAP_NONE where it has a hyphen.
std::vector<u32> expand(const char *Text)
{
    std::vector<u32> characters;
    std::istringstream words(Text);
    for (std::string word; words >> word;) {
        if (word == "-") {
            characters.push_back(CHARMAP_NONE);
            continue;
        }
        const size_t hyphen = word.find('-');
        const u32 first = static_cast<u32>(std::stoul(word, nullptr, 16));
        const u32 last =
            hyphen == std::string::npos ? first : static_cast<u32>(std::stoul(word.substr(hyphen + 1), nullptr, 16));
        for (u32 c = first; c <= last; ++c) characters.push_back(c);
    }
    return characters;
}

// Codes by place on the grid, and back.
u32 gridCode(u32 Place)
{
    const u32 trail = Place % 188;
    return (0x81 + Place / 188) << 8 | (trail < 63 ? 0x40 + trail : 0x41 + trail);
}

u32 gridPlace(u32 Code)
{
    const u32 trail = Code & 0xFF;
    return ((Code >> 8) - 0x81) * 188 + trail - 0x40 - (trail > 0x7F ? 1 : 0);
}

void add(Codes &Out, u32 Code, u32 Character)
{
    if (Character != CHARMAP_NONE) Out.emplace_back(Code, static_cast<u16>(Character));
}

// Consecutive codes of the grid.
void addRun(Codes &Out, u32 Code, const std::vector<u32> &Characters)
{
    const u32 place = gridPlace(Code);
    for (u32 i = 0; i < Characters.size(); ++i) add(Out, gridCode(place + i), Characters[i]);
}

void set(Charmap &Map, u32 Code, u16 Character)
{
    std::erase_if(Map.to, [&](const auto &pair) { return pair.first == Code; });
    Map.to.emplace_back(Code, Character);
    std::sort(Map.to.begin(), Map.to.end());
    Map.from[Character] = Code;
}

void setAll(Charmap &Map, const Codes &Pairs)
{
    for (const auto &[code, character] : Pairs) set(Map, code, character);
}

// A set that shows other characters on 5C and 7E takes the ASCII ones there all the same.
void takeAscii(Charmap &Map)
{
    for (const u32 code : {0x5Cu, 0x7Eu})
        if (Map.from[code] == CHARMAP_NONE) Map.from[code] = code;
}

// ASCII with the PC rotation of the controls.
Charmap lowerHalf(CharmapStore &Store)
{
    Codes codes;
    for (const auto &pair : Charmap_Source(Store, "singles alias:cp950").to)
        if (pair.first < 0x80) codes.push_back(pair);
    return Charmap_FromCodes(codes);
}

// Characters that the set lacks and the host set of its family writes as another one that the set has.
Charmap withHostFallbacks(CharmapStore &Store, Charmap Map, u32 HostPart)
{
    const Charmap &host = Charmap_Of(Store, Codesets_Row(*Store.plan, HostPart));
    const std::vector<u32> own = Map.from;
    for (u32 c = 0; c < 0x10000; ++c) {
        if (own[c] != CHARMAP_NONE || host.from[c] == CHARMAP_NONE) continue;
        const u32 other = Charmap_Character(host, host.from[c]);
        if (other != CHARMAP_NONE && own[other] != CHARMAP_NONE) Map.from[c] = own[other];
    }
    return Map;
}

Charmap ruleR924(CharmapStore &Store)
{
    Codes codes = Charmap_Source(Store, "alias:cp1047").to;
    Charmap map = Charmap_FromCodes(codes);
    for (const u32 code : {0x4Au, 0x6Au, 0x9Du, 0x9Fu, 0xB0u, 0xB7u, 0xB8u, 0xB9u, 0xBAu, 0xBBu, 0xBEu})
        std::erase_if(codes, [&](const auto &pair) { return pair.first == code; });
    map = Charmap_FromCodes(codes);
    setAll(map, {{0x4A, 0xDD},
                 {0x6A, 0x160},
                 {0x9D, 0x17E},
                 {0x9F, 0x20AC},
                 {0xB0, 0xA2},
                 {0xB7, 0x152},
                 {0xB8, 0x153},
                 {0xB9, 0x178},
                 {0xBA, 0xAC},
                 {0xBB, 0x161},
                 {0xBE, 0x17D}});
    return map;
}

Charmap ruleR897(CharmapStore &Store)
{
    Charmap map = Charmap_Source(Store, "singles alias:cp943");
    takeAscii(map);
    return map;
}

Charmap ruleR1041(CharmapStore &Store)
{
    Charmap map = ruleR897(Store);
    setAll(map, {{0x80, 0xA2}, {0xA0, 0xA3}, {0xFD, 0xAC}, {0xFE, 0x5C}, {0xFF, 0x7E}});
    return map;
}

Charmap koreanSingles(CharmapStore &Store)
{
    Codes codes = lowerHalf(Store).to;
    for (auto &[code, character] : codes) {
        if (code == 0x5C) character = 0x20A9;
        if (code == 0x7E) character = 0x203E;
    }
    for (const auto &[first, last] :
         {std::pair{0xC0u, 0xDEu}, {0xE2u, 0xE7u}, {0xEAu, 0xEFu}, {0xF2u, 0xF7u}, {0xFAu, 0xFCu}})
        for (u32 code = first; code <= last; ++code) add(codes, code, 0xFFA0 + (code - 0xC0));
    return Charmap_FromCodes(codes);
}

Charmap ruleR891(CharmapStore &Store)
{
    Charmap map = koreanSingles(Store);
    takeAscii(map);
    return map;
}

Charmap ruleR1040(CharmapStore &Store)
{
    Charmap map = koreanSingles(Store);
    setAll(map, {{0x80, 0xA2}, {0xDF, 0xA6}, {0xFD, 0xAC}, {0xFE, 0x5C}, {0xFF, 0x7E}});
    return map;
}

Charmap ruleR1042(CharmapStore &Store)
{
    Codes codes = lowerHalf(Store).to;
    for (auto &[code, character] : codes) {
        if (code == 0x5C) character = 0xA5;
        if (code == 0x7E) character = 0x203E;
    }
    Charmap map = Charmap_FromCodes(codes);
    setAll(map, {{0x80, 0xA3}, {0xFD, 0xAC}, {0xFE, 0x5C}, {0xFF, 0x7E}});
    return map;
}

Charmap ruleR1043(CharmapStore &Store)
{
    Charmap map = lowerHalf(Store);
    setAll(map, {{0x80, 0xA2}, {0xFD, 0xAC}, {0xFE, 0xA6}});
    return map;
}

Charmap ruleR1115(CharmapStore &Store)
{
    Charmap map = lowerHalf(Store);
    setAll(map, {{0x80, 0xA3}, {0x81, 0xAC}, {0x82, 0xA5}, {0x83, 0x203E}, {0x84, 0xA6}});
    return map;
}

Charmap ruleR1046(CharmapStore &)
{
    Codes codes;
    for (u32 code = 0; code < 0x80; ++code) add(codes, code, code);
    const std::vector<u32> upper = expand(GEN_R1046_CHARACTERS);
    for (u32 i = 0; i < upper.size(); ++i) add(codes, 0x80 + i, upper[i]);
    Charmap map = Charmap_FromCodes(codes);
    map.from[0xFE88] = 0x80; // of its two codes, 80 and A3, the first

    std::istringstream words(GEN_R1046_FALLBACKS);
    for (std::string word; words >> word;)
        map.from[std::stoul(word.substr(0, 4), nullptr, 16)] =
            static_cast<u32>(std::stoul(word.substr(5), nullptr, 16));
    return map;
}

// The characters of R1380 behind the set proper: 1880 user-defined ones, then a list.
constexpr u32 USER_FIRST = 0xE000;
constexpr u32 USER_LAST = 0xE757;

Codes codesOfR1380(CharmapStore &Store)
{
    Codes codes;
    for (const auto &[code, character] : Charmap_Source(Store, "alias:cp1383").to)
        if (code >= 0xA1A1 && code <= 0xF7FE && (character < 0xE000 || character > 0xF8FF))
            codes.emplace_back(code, character);
    for (u32 c = USER_FIRST; c <= USER_LAST; ++c) {
        const u32 place = c - USER_FIRST;
        add(codes, (0x8D + place / 94) << 8 | (0xA1 + place % 94), c);
    }
    const std::vector<u32> tail = expand(GEN_R1380_TAIL);
    for (u32 i = 0; i < tail.size(); ++i) add(codes, 0x8CE0 + i, tail[i]);
    return codes;
}

Charmap ruleR1380(CharmapStore &Store)
{
    return withHostFallbacks(Store, Charmap_FromCodes(codesOfR1380(Store)), 837);
}

Charmap ruleR928(CharmapStore &Store)
{
    Codes codes;
    for (const auto &[code, character] : codesOfR1380(Store))
        if (code >= 0xA1A1) codes.emplace_back(gridCode(((code >> 8) - 0xA1) * 94 + (code & 0xFF) - 0xA1), character);
    for (u32 c = USER_FIRST; c <= USER_LAST; ++c) add(codes, gridCode(gridPlace(0xF040) + c - USER_FIRST), c);

    const std::vector<u32> tail = expand(GEN_R1380_TAIL);
    u32 next = 0;
    for (const auto &[first, last] :
         {std::pair{0xFA41u, 0xFA4Au}, {0xFA50u, 0xFA52u}, {0xFA60u, 0xFA65u}, {0xFA70u, 0xFA7Bu}})
        for (u32 code = first; code <= last; ++code) add(codes, code, tail.at(next++));
    return withHostFallbacks(Store, Charmap_FromCodes(codes), 837);
}

// Index of a code of the converter cp950, 157 codes a lead byte from A1 on, and back.
u32 codeOfIndex(u32 Index)
{
    const u32 trail = Index % 157;
    return (0xA1 + Index / 157) << 8 | (trail < 63 ? 0x40 + trail : 0xA1 + trail - 63);
}

Codes codesOfR927(CharmapStore &Store)
{
    const Charmap &source = Charmap_Source(Store, "doubles alias:cp950");
    Codes codes;
    // Blocks whose places run along with the index of the source.
    struct Block {
        u32 first, last, distance;
    };
    for (const Block &b : {Block{0x8C40, 0xA8C9, 1597},
                           {0xA940, 0xA9C1, 1240},
                           {0xA9CC, 0xD1C4, 1240},
                           {0xA9C3, 0xA9CB, 1241},
                           {0xDB40, 0xDF60, 2947},
                           {0xFBD4, 0xFBFC, 9151}})
        for (u32 g = gridPlace(b.first); g <= gridPlace(b.last); ++g)
            add(codes, gridCode(g), Charmap_Character(source, codeOfIndex(g - b.distance)));
    add(codes, 0xA9C2, Charmap_Character(source, 0xC9EC));

    // Blocks that take the codes of the source in order, assigned or not.
    const auto inOrder = [&](u32 First, u32 Last, u32 SourceLead, bool Low) {
        u32 lead = SourceLead;
        u32 trail = Low ? 0x40 : 0x81;
        for (u32 g = gridPlace(First); g <= gridPlace(Last); ++g) {
            add(codes, gridCode(g), Charmap_Character(source, lead << 8 | trail));
            ++trail;
            if (Low && trail == 0x7F) trail = 0xA1;
            if (trail == (Low ? 0xFFu : 0xA1u)) {
                trail = Low ? 0x40 : 0x81;
                ++lead;
            }
        }
    };
    inOrder(0xDF61, 0xEF47, 0x8E, true);
    inOrder(0xEF48, 0xF9E9, 0x81, true);
    inOrder(0xF9EA, 0xFBD3, 0x81, false);
    return codes;
}

Charmap ruleR927(CharmapStore &Store)
{
    Codes codes = codesOfR927(Store);
    for (const auto &[code, character] : Charmap_Of(Store, Codesets_Row(*Store.plan, 941)).to)
        if (code >= 0x8240 && code <= 0x849E) codes.emplace_back(code, character);

    std::vector<u32> radicals;
    for (u32 c = 0x2F00; c <= 0x2FD5; ++c)
        if (c != 0x2F21) radicals.push_back(c == 0x2FAD ? 0x9752 : Charmap_Nfkc(static_cast<u16>(c)).at(0));
    addRun(codes, 0x8740, radicals);
    for (const GenCodeRun &run : GEN_R927_RUNS) addRun(codes, run.code, expand(run.characters));
    return withHostFallbacks(Store, Charmap_FromCodes(codes), 835);
}

// Half rows of 94 places, four hundred and more: the first ones hold symbols, Latin, kana and so on.
void addHalfRows(Codes &Out, const Charmap &Host)
{
    for (u32 i = 0; i < 94; ++i) {
        add(Out, gridCode(i), i == 0 ? 0x3000 : Charmap_Character(Host, 0x4100 | (0x40 + i)));
        add(Out, gridCode(94 + i), 0xFF01 + i);
        for (u32 k = 2; k <= 9; ++k)
            add(Out, gridCode(94 * k + i), Charmap_Character(Host, (0x41 + k) << 8 | (0x41 + i)));
    }
}

// Consecutive codes of the grid from host codes in order, trail bytes 41 to FE.
void addHostRun(Codes &Out, const Charmap &Host, u32 Code, u32 HostCode, u32 Count)
{
    const u32 place = gridPlace(Code);
    const u32 host = (HostCode >> 8) * 190 + (HostCode & 0xFF) - 0x41;
    for (u32 i = 0; i < Count; ++i)
        add(Out, gridCode(place + i), Charmap_Character(Host, (host + i) / 190 << 8 | ((host + i) % 190 + 0x41)));
}

Charmap ruleR926(CharmapStore &Store)
{
    const Charmap &host = Charmap_Source(Store, "doubles alias:cp933");
    Codes codes;
    addHalfRows(codes, host);

    const std::vector<u32> jamo = expand(GEN_R926_JAMO);
    Codes later{{0x814C, 0x301C}, {0x816A, 0xFFE0}, {0x818C, 0xFFE2},
                {0x818D, 0xFFE4}, {0x81DA, 0xFFE6}, {0x81FC, 0xFFE3}};
    addRun(later, 0x825F, jamo);

    addHostRun(later, host, 0x9540, 0x5041, 4500);
    addHostRun(later, host, 0xBA40, 0x6841, 765);
    addHostRun(later, host, 0xAF40, 0x4B41, 94);
    addHostRun(later, host, 0xAF9F, 0x4BA0, 94);
    for (u32 g = gridPlace(0xB040); g <= gridPlace(0xB9FC); ++g) {
        const u32 code = gridCode(g);
        add(later, code, Charmap_Character(host, ((code >> 8) - 0xB0 + 0xD4) << 8 | ((code & 0xFF) + 1)));
    }

    const std::vector<u32> some = expand(GEN_R926_SYLLABLES);
    std::set<u32> others;
    for (const auto &[code, character] : host.to)
        if (character >= 0xAC00 && character <= 0xD7A3) others.insert(character);
    for (const u32 character : some) others.erase(character);
    addRun(later, 0x9340, some);
    addRun(later, 0x8640, std::vector<u32>(others.begin(), others.end()));

    // What is said of single codes holds against what is said of rows.
    std::map<u32, u16> merged(codes.begin(), codes.end());
    for (const auto &[code, character] : later) merged[code] = character;
    return withHostFallbacks(Store, Charmap_FromCodes(Codes(merged.begin(), merged.end())), 834);
}

struct Rule {
    const char *name;
    Charmap (*make)(CharmapStore &Store);
};

constexpr Rule RULES[] = {
    {"R891", ruleR891},   {"R897", ruleR897},   {"R924", ruleR924},   {"R926", ruleR926},   {"R927", ruleR927},
    {"R928", ruleR928},   {"R1040", ruleR1040}, {"R1041", ruleR1041}, {"R1042", ruleR1042}, {"R1043", ruleR1043},
    {"R1046", ruleR1046}, {"R1115", ruleR1115}, {"R1380", ruleR1380},
};

} // namespace

Charmap Charmap_Rule(CharmapStore &Store, const std::string &Name)
{
    for (const Rule &rule : RULES)
        if (Name == rule.name) return rule.make(Store);
    throw GenError("no rule " + Name);
}
