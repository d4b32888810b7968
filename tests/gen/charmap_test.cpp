// Characters of the code sets: where the generator departs from a converter, and the sets that have none.

#include <gtest/gtest.h>

#include <iconv.h>

#include <set>

#include "charmap.h"
#include "icu_reference.h"

namespace
{

struct Maps {
    CodesetPlan plan = Codesets_Read(VELA_TEST_SOURCE_DIR "/data/codesets");
    CharmapStore store{&plan, {}};

    const Charmap &of(u32 Ccsid) { return Charmap_Of(store, Codesets_Row(plan, Ccsid)); }
};

u32 from(const Charmap &Map, u32 Character)
{
    return Map.from[Character];
}

size_t mapped(const Charmap &Map)
{
    size_t count = 0;
    for (const u32 code : Map.from) count += code != CHARMAP_NONE;
    return count;
}

// Published sizes of the sets that have no converter.
TEST(CharmapRules, HaveTheSizesOfTheirSets)
{
    Maps maps;
    const std::pair<u32, size_t> sizes[] = {{924, 256},  {1046, 255},  {891, 180},  {1040, 185},  {1041, 196},
                                            {1042, 132}, {1043, 131},  {1115, 133}, {926, 10757}, {927, 20264},
                                            {928, 9356}, {1380, 9356}, {897, 191}};
    for (const auto &[ccsid, size] : sizes) EXPECT_EQ(maps.of(ccsid).to.size(), size) << ccsid;
}

TEST(CharmapRules, EveryCodeStandsOnce)
{
    Maps maps;
    for (const CodesetRow &row : maps.plan.rows) {
        if (row.source == "none") continue;
        u32 before = CHARMAP_NONE;
        for (const auto &[code, character] : maps.of(row.ccsid).to) {
            EXPECT_NE(code, before) << row.ccsid << " has a code twice";
            before = code;
        }
    }
}

// A double-byte part without a converter has the characters of its family's host part.
TEST(CharmapRules, PcPartsHoldTheHostCharacters)
{
    Maps maps;
    for (const auto &[pc, host] : {std::pair{926u, 834u}, {927u, 835u}, {928u, 837u}, {1380u, 837u}}) {
        std::set<u16> own;
        std::set<u16> others;
        for (const auto &[code, character] : maps.of(pc).to) own.insert(character);
        for (const auto &[code, character] : maps.of(host).to) others.insert(character);
        EXPECT_EQ(own, others) << pc;
    }
}

TEST(CharmapRules, KnowsCodesOfEachGrid)
{
    Maps maps;
    EXPECT_EQ(Charmap_Character(maps.of(926), 0x8140), 0x3000u);
    EXPECT_EQ(Charmap_Character(maps.of(926), 0x8640), 0xAC00u);
    EXPECT_EQ(Charmap_Character(maps.of(926), 0x9340), 0xAC3Cu);
    EXPECT_EQ(Charmap_Character(maps.of(926), 0x947E), 0xD77Du);
    EXPECT_EQ(Charmap_Character(maps.of(926), 0x825F), 0x3164u);
    EXPECT_EQ(Charmap_Character(maps.of(927), 0x8140), 0x3000u);
    EXPECT_EQ(Charmap_Character(maps.of(927), 0x8C40), 0x4E00u);
    EXPECT_EQ(Charmap_Character(maps.of(927), 0x8740), 0x4E00u);
    EXPECT_EQ(Charmap_Character(maps.of(927), 0x8950), 0x02C9u);
    EXPECT_EQ(from(maps.of(927), 0x4E00), 0x8C40u) << "of two codes the higher";
    EXPECT_EQ(Charmap_Character(maps.of(928), 0x8140), 0x3000u);
    EXPECT_EQ(Charmap_Character(maps.of(928), 0xF040), 0xE000u);
    EXPECT_EQ(Charmap_Character(maps.of(1380), 0xB0A1), 0x554Au);
    EXPECT_EQ(Charmap_Character(maps.of(1380), 0x8DA1), 0xE000u);
    EXPECT_EQ(Charmap_Character(maps.of(1380), 0xA0FE), 0xE757u);
    EXPECT_EQ(Charmap_Character(maps.of(1380), 0x8CE0), 0x2170u);
    EXPECT_EQ(Charmap_Character(maps.of(1380), 0x8CFE), 0x25BCu);
    EXPECT_EQ(Charmap_Character(maps.of(928), 0xFA7B), 0x25BCu);
}

TEST(CharmapRules, R1046IsTheCLibrarysSet)
{
    const iconv_t converter = iconv_open("UTF-16BE", "CP1046");
    if (converter == reinterpret_cast<iconv_t>(-1)) GTEST_SKIP() << "the C library has no CP1046";
    Maps maps;
    for (u32 b = 0; b < 256; ++b) {
        char in = static_cast<char>(b);
        u8 out[4] = {};
        char *inAt = &in;
        char *outAt = reinterpret_cast<char *>(out);
        size_t inLeft = 1;
        size_t outLeft = sizeof out;
        const bool known = iconv(converter, &inAt, &inLeft, &outAt, &outLeft) == 0;
        const u32 wanted = known ? static_cast<u32>(out[0] << 8 | out[1]) : CHARMAP_NONE;
        EXPECT_EQ(Charmap_Character(maps.of(1046), b), wanted) << std::hex << b;
    }
    iconv_close(converter);
    EXPECT_EQ(from(maps.of(1046), 0xFE88), 0x80u);
    EXPECT_EQ(from(maps.of(1046), 0xFEB1), 0x83u);
    EXPECT_EQ(from(maps.of(1046), 0xFEB2), 0xD3u) << "a form without a code takes the letter's";
}

TEST(CharmapOf, SetsWithCurrencySignsHaveTwoForms)
{
    Maps maps;
    for (const u32 part : {897u, 1041u, 1042u}) {
        EXPECT_EQ(Charmap_Character(maps.of(part), 0x5C), 0xA5u) << part;
        EXPECT_EQ(Charmap_Character(maps.of(part), 0x7E), 0x203Eu) << part;
    }
    for (const u32 part : {891u, 1040u, 1088u, 1126u})
        EXPECT_EQ(Charmap_Character(maps.of(part), 0x5C), 0x20A9u) << part;
    for (const u32 set : {932u, 934u, 942u, 943u, 944u, 946u, 949u, 1363u}) {
        EXPECT_EQ(Charmap_Character(maps.of(set), 0x5C), 0x5Cu) << set;
        EXPECT_EQ(Charmap_Character(maps.of(set), 0x7E), 0x7Eu) << set;
        EXPECT_EQ(from(maps.of(set), 0x5C), 0x5Cu) << set;
        EXPECT_EQ(from(maps.of(set), 0x7E), 0x7Eu) << set;
    }
    EXPECT_EQ(from(maps.of(897), 0x5C), 0x5Cu);
    EXPECT_EQ(from(maps.of(1041), 0x5C), 0xFEu) << "it has a code of its own";
    EXPECT_EQ(from(maps.of(1042), 0x7E), 0xFFu);
}

TEST(CharmapOf, ShiftsAreCharactersOfPartsAndNeverWrittenInMixedText)
{
    Maps maps;
    for (const u32 part : {290u, 833u, 836u, 1027u, 28709u, 37u}) {
        EXPECT_EQ(Charmap_Character(maps.of(part), 0x0E), 0x0Eu) << part;
        EXPECT_EQ(from(maps.of(part), 0x0F), 0x0Fu) << part;
    }
    for (const u32 set : {930u, 931u, 933u, 935u, 937u, 939u}) {
        EXPECT_EQ(Charmap_Character(maps.of(set), 0x0E), 0x0Eu) << set;
        EXPECT_EQ(from(maps.of(set), 0x0E), CHARMAP_NONE) << set;
        EXPECT_EQ(from(maps.of(set), 0x0F), CHARMAP_NONE) << set;
    }
}

TEST(CharmapOf, NoGraphicCharacterBecomesAControlByte)
{
    Maps maps;
    size_t dropped = 0;
    for (const CodesetRow &row : maps.plan.rows) {
        if (row.source == "none" || (row.encoding != GEN_PC && row.encoding != GEN_ISO)) continue;
        const Charmap &map = maps.of(row.ccsid);
        for (u32 c = 0x20; c < 0x10000; ++c) {
            if (c >= 0x7F && c <= 0x9F) continue;
            EXPECT_FALSE(map.from[c] < 0x20 || map.from[c] == 0x7F) << row.ccsid << std::hex << " " << c;
        }
        dropped += mapped(Charmap_Source(maps.store, row.source)) - mapped(map);
    }
    EXPECT_GT(dropped, 0u) << "converters have such entries; this test would see nothing otherwise";
}

TEST(CharmapOf, PcSetsKeepTheRotationOfControls)
{
    Maps maps;
    EXPECT_EQ(Charmap_Character(maps.of(850), 0x1A), 0x1Cu);
    EXPECT_EQ(Charmap_Character(maps.of(850), 0x1C), 0x7Fu);
    EXPECT_EQ(Charmap_Character(maps.of(850), 0x7F), 0x1Au);
    EXPECT_EQ(Charmap_Character(maps.of(819), 0x1A), 0x1Au);
    EXPECT_EQ(Charmap_Character(maps.of(1046), 0x7F), 0x7Fu);
    EXPECT_EQ(Charmap_Character(maps.of(37), 0x15), 0x85u);
    EXPECT_EQ(Charmap_Character(maps.of(37), 0x25), 0x0Au);
    EXPECT_EQ(Charmap_Character(maps.of(1047), 0x15), 0x85u);
}

// Converters whose name opens another set than the number says.
TEST(CharmapOf, TakesTheFormThatIsMeant)
{
    Maps maps;
    EXPECT_EQ(from(maps.of(1252), 0x20AC), CHARMAP_NONE);
    EXPECT_EQ(from(maps.of(5348), 0x20AC), 0x80u);
    EXPECT_EQ(from(maps.of(813), 0x20AC), CHARMAP_NONE);
    EXPECT_EQ(from(maps.of(1140), 0x20AC), 0x9Fu);
    EXPECT_EQ(from(maps.of(858), 0x20AC), 0xD5u);
    EXPECT_EQ(Charmap_Character(maps.of(931), 0x5A), 0x21u) << "931 has the Latin part 37, not 1027";
}

TEST(CharmapSource, UnknownSourcesAreNamed)
{
    Maps maps;
    for (const char *source : {"alias:no-such-set", "number:1", "rule:R0", "none", "parts:897", "other"})
        EXPECT_THROW(Charmap_Source(maps.store, source), GenError) << source;
}

TEST(CharmapWidth, CountsBytes)
{
    EXPECT_EQ(Charmap_Width(0), 1u);
    EXPECT_EQ(Charmap_Width(0xFF), 1u);
    EXPECT_EQ(Charmap_Width(0x100), 2u);
    EXPECT_EQ(Charmap_Width(0xFFFF), 2u);
    EXPECT_EQ(Charmap_Width(0x8FA2AF), 3u);
    EXPECT_EQ(Charmap_Width(0x8EA2A1A1), 4u);
}

} // namespace
