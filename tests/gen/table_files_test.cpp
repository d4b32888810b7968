// The table files of this build, byte by byte, against ICU's own converters and the plain lookup formulas.
//
// Every byte of every pair of single-byte sets and every character of every Unicode pair is looked at. Where the files
// depart from a converter the departure is one of a few kinds, each named here; anything else fails.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include <unicode/unorm2.h>

#include "codesets.h"
#include "icu_reference.h"
#include "table_set.h"

namespace
{

const std::string folder = VELA_TEST_BUILD_DIR "/etc/";
constexpr u32 unicode = 13488;

const CodesetPlan &plan()
{
    static const CodesetPlan *const read = new CodesetPlan(Codesets_Read(VELA_TEST_SOURCE_DIR "/data/codesets"));
    return *read;
}

std::vector<u8> table(u32 From, u32 To)
{
    return TableSet_ReadFile(folder + TableSet_FileName(From, To));
}

// The converters of this test: by number where a name would open another form, else by name. Sets that ICU does not
// have (891, 924, 926 to 928, 1040 to 1043, 1046, 1115, 1380 and what is made of them) are not in it.
std::string converterName(const CodesetRow &Row)
{
    const std::string number = std::to_string(Row.ccsid);
    const std::set<u32> byNumber{942, 954};
    if (byNumber.contains(Row.ccsid) || (Row.ccsid >= 1250 && Row.ccsid <= 1258) ||
        (Row.ccsid >= 5346 && Row.ccsid <= 5354))
        return number;
    const std::set<u32> none{891,  897,  904,  924,  931,  932,  934,  938,  944,  946,   948,  1040,
                             1041, 1042, 1043, 1046, 1088, 1114, 1115, 1126, 1381, 25488, 25491};
    if (none.contains(Row.ccsid)) return {};
    const std::map<u32, std::string> others{{943, "sjis"}, {949, "cp949c"}, {290, "cp290"}};
    const auto other = others.find(Row.ccsid);
    if (other != others.end()) return other->second;
    if (Row.isPart) return {};
    return "cp" + number;
}

bool isControl(u32 Character)
{
    return Character < 0x20 || (Character >= 0x7F && Character <= 0x9F);
}

// ICU's code of a character as these files use it: no graphic character on a control byte of a PC or ISO set.
u32 wantedCode(UConverter *Converter, const CodesetRow &Row, u32 Character)
{
    const u32 code = Icu_Code(Converter, Character);
    const bool bytes = Row.encoding == 2 || Row.encoding == 3;
    if (bytes && !isControl(Character) && (code < 0x20 || code == 0x7F)) return IcuNone;
    if (Row.encoding == 1 && Row.kind == 3 && (Character == 0x0E || Character == 0x0F)) return IcuNone;
    return code;
}

std::u16string nfkc(u32 Character)
{
    UErrorCode status = U_ZERO_ERROR;
    const char16_t unit = static_cast<char16_t>(Character);
    char16_t out[32];
    const i32 length = unorm2_normalize(unorm2_getNFKCInstance(&status), &unit, 1, out, 32, &status);
    return std::u16string(out, static_cast<size_t>(length));
}

// Codes of the characters that may stand for another one in a single-byte target: listed pairs, and those of the same
// compatibility form.
std::set<u32> codesOfStandIns(UConverter *Converter, const CodesetRow &Row, u32 Character)
{
    static const std::pair<u32, u32> pairs[] = {
        {0x203E, 0xAF}, {0x2022, 0xB7}, {0x2219, 0xB7}, {0x110, 0xD0}, {0x2014, 0x2015}};
    std::set<u32> codes;
    for (const auto &[a, b] : pairs) {
        if (a == Character) codes.insert(wantedCode(Converter, Row, b));
        if (b == Character) codes.insert(wantedCode(Converter, Row, a));
    }
    if (Character == 0xA0) codes.insert(wantedCode(Converter, Row, 0x20));
    for (u32 b = 0; b < 256; ++b) {
        const u32 own = Icu_Character(Converter, b);
        if (own != IcuNone && own >= 0x80 && nfkc(own) == nfkc(Character)) codes.insert(b);
    }
    codes.erase(IcuNone);
    return codes;
}

struct SingleSet {
    const CodesetRow *row;
    IcuConverter converter;
};

std::vector<SingleSet> singleSets()
{
    std::vector<SingleSet> sets;
    for (const CodesetRow &row : plan().rows) {
        if (row.kind != GEN_SINGLE || row.encoding > GEN_ISO) continue;
        const std::string name = converterName(row);
        if (name.empty()) continue;
        sets.push_back({&row, Icu_Open(name)});
        EXPECT_TRUE(sets.back().converter) << name;
    }
    return sets;
}

TEST(TableFiles, SingleBytePairsAreThoseOfIcu)
{
    const std::vector<SingleSet> sets = singleSets();
    ASSERT_EQ(sets.size(), 69u); // 70 sets less 924 and 1046, and part 290
    size_t pairs = 0;
    size_t exact = 0;
    size_t stands = 0;
    for (const SingleSet &from : sets) {
        for (const SingleSet &to : sets) {
            const u32 low = std::min(from.row->ccsid, to.row->ccsid);
            const u32 high = std::max(from.row->ccsid, to.row->ccsid);
            if (low == high || (low >= 1250 && low <= 1258 && high == low + 4096)) continue;
            const std::vector<u8> data = table(from.row->ccsid, to.row->ccsid);
            ASSERT_EQ(data.size(), 256u);
            ++pairs;
            for (u32 b = 0; b < 256; ++b) {
                const u32 character = Icu_Character(from.converter.get(), b);
                const u32 code = character == IcuNone ? IcuNone : wantedCode(to.converter.get(), *to.row, character);
                if (code != IcuNone) {
                    ++exact;
                    ASSERT_EQ(data[b], code) << from.row->ccsid << " to " << to.row->ccsid << std::hex << " " << b;
                    continue;
                }
                if (data[b] == to.row->sub1) continue;
                ++stands;
                ASSERT_NE(character, IcuNone) << "an unassigned code became a character";
                ASSERT_TRUE(codesOfStandIns(to.converter.get(), *to.row, character).contains(data[b]))
                    << from.row->ccsid << " to " << to.row->ccsid << std::hex << " " << b;
            }
        }
    }
    EXPECT_EQ(pairs, 69u * 68u - 18u);
    EXPECT_GT(exact, pairs * 150);
    EXPECT_GT(stands, 1000u);
}

TEST(TableFiles, SingleByteSetsAndUnicodeAreThoseOfIcu)
{
    for (const SingleSet &set : singleSets()) {
        if (set.row->isPart) continue;
        const std::vector<u8> to = table(set.row->base, unicode);
        const std::vector<u8> from = table(unicode, set.row->base);
        ASSERT_EQ(to.size(), 512u);
        for (u32 b = 0; b < 256; ++b) {
            const u32 character = Icu_Character(set.converter.get(), b);
            ASSERT_EQ(Table_Lookup(to, TableLayout::S2, b).value, character == IcuNone ? 0x1A : character)
                << set.row->ccsid << std::hex << " " << b;
        }
        for (u32 c = 0; c < 0x10000; ++c) {
            const u32 code = wantedCode(set.converter.get(), *set.row, c);
            const TableAnswer answer = Table_Lookup(from, TableLayout::D1, c);
            ASSERT_TRUE(answer.inside);
            ASSERT_EQ(answer.value, code == IcuNone ? set.row->sub1 : code) << set.row->ccsid << std::hex << " " << c;
        }
    }
}

// What a table could not hold: characters that read as the substitute, and code points that read as another character.
struct Shared {
    size_t lost;
    size_t falseCodes;
};

const std::map<std::pair<u32, u32>, Shared> &sharedTables()
{
    static const auto *const tables = new std::map<std::pair<u32, u32>, Shared>{
        {{933, unicode}, {31, 270}},    {{unicode, 933}, {1525, 1630}}, {{unicode, 949}, {872, 1630}},
        {{unicode, 1363}, {243, 1337}}, {{unicode, 1386}, {0, 6}},      {{unicode, 970}, {55, 1337}},
    };
    return *tables;
}

struct Differences {
    size_t lost = 0;
    size_t falseCodes = 0;
    size_t exact = 0;
};

void compare(Differences &Found, u32 Got, u32 Wanted, u32 Substitute)
{
    if (Wanted != IcuNone && Got == Wanted)
        ++Found.exact;
    else if (Wanted != IcuNone && Got == Substitute)
        ++Found.lost;
    else if (Got != Substitute)
        ++Found.falseCodes;
}

void expectExplained(u32 From, u32 To, const Differences &Found)
{
    const auto known = sharedTables().find({From, To});
    const Shared wanted = known == sharedTables().end() ? Shared{0, 0} : known->second;
    EXPECT_EQ(Found.lost, wanted.lost) << From << " to " << To;
    EXPECT_EQ(Found.falseCodes, wanted.falseCodes) << From << " to " << To;
    EXPECT_GT(Found.exact, 8000u) << From << " to " << To;
}

bool comesUp(const CodesetRow &Row, u32 First)
{
    return Row.encoding == GEN_HOST || First == 0 || Codesets_IsLead(plan(), Row.index, First);
}

TEST(TableFiles, MixedSetsAndUnicodeAreThoseOfIcu)
{
    size_t sets = 0;
    for (const CodesetRow &row : plan().rows) {
        if (row.isPart || row.kind != GEN_MIXED || row.encoding > GEN_ISO || converterName(row).empty()) continue;
        const IcuConverter converter = Icu_Open(converterName(row));
        ASSERT_TRUE(converter);
        ++sets;
        const std::vector<u8> to = table(row.base, unicode);
        Differences toFound;
        for (u32 code = 0; code < 0x10000; ++code) {
            if (!comesUp(row, code >> 8)) continue;
            const TableAnswer answer = Table_Lookup(to, TableLayout::D2, code);
            ASSERT_TRUE(answer.inside);
            u32 wanted = Icu_Character(converter.get(), code);
            if (row.encoding == GEN_HOST && (code == 0x0E || code == 0x0F)) wanted = code; // a shift that stands alone
            if (row.encoding == GEN_HOST && code >= 0x100 && code < 0x4000)
                wanted = IcuNone; // to ICU controls and shifts
            compare(toFound, answer.value, wanted, code < 0x100 ? 0x1A : 0xFFFD);
        }
        expectExplained(row.base, unicode, toFound);

        const std::vector<u8> from = table(unicode, row.base);
        Differences fromFound;
        for (u32 c = 0; c < 0x10000; ++c) {
            const TableAnswer answer = Table_Lookup(from, TableLayout::D2, c);
            ASSERT_TRUE(answer.inside);
            compare(fromFound, answer.value, wantedCode(converter.get(), row, c), c < 0x100 ? row.sub1 : row.sub2);
        }
        expectExplained(unicode, row.base, fromFound);
    }
    EXPECT_EQ(sets, 11u); // 930 933 935 937 939 942 943 949 950 1363 1386
}

TEST(TableFiles, EucSetsAndUnicodeAreThoseOfIcu)
{
    for (const u32 ccsid : {954u, 964u, 970u, 1383u}) {
        const CodesetRow &row = Codesets_Row(plan(), ccsid);
        const IcuConverter converter = Icu_Open(converterName(row));
        ASSERT_TRUE(converter);
        const std::vector<u8> from = table(unicode, row.base);
        const std::vector<u8> to = table(row.base, unicode);
        Differences fromFound;
        size_t back = 0;
        for (u32 c = 0; c < 0x10000; ++c) {
            const TableAnswer answer = Table_Lookup(from, TableLayout::E4, c);
            ASSERT_TRUE(answer.inside);
            const u32 wanted = wantedCode(converter.get(), row, c);
            compare(fromFound, answer.value, wanted, c < 0x100 ? row.sub1 : row.sub2);
            if (wanted == IcuNone) continue;
            const u32 character = Icu_Character(converter.get(), wanted);
            ASSERT_EQ(Table_Lookup(to, TableLayout::T4, wanted).value, character) << ccsid << std::hex << " " << wanted;
            ++back;
        }
        expectExplained(unicode, row.base, fromFound);
        EXPECT_GT(back, 8000u);
        for (u32 code = 0; code < 0x10000; ++code) {
            const bool can = code < 0x8E || (code >= 0x90 && code < 0xA0) || (code >= 0xA1A1 && (code & 0xFF) >= 0xA1);
            if (!can) continue;
            const u32 character = Icu_Character(converter.get(), code);
            ASSERT_EQ(Table_Lookup(to, TableLayout::T4, code).value, character == IcuNone ? 0xFFFD : character)
                << ccsid << std::hex << " " << code;
        }
    }
}

// Host sets are one to one with the ISO sets of the same letters.
TEST(TableFiles, HostAndIsoPairsAreOneToOne)
{
    for (const auto &[a, b] : {std::pair{37u, 819u},
                               {819u, 37u},
                               {924u, 923u},
                               {923u, 924u},
                               {1112u, 921u},
                               {1122u, 922u},
                               {37u, 500u},
                               {500u, 37u},
                               {1047u, 500u}}) {
        const std::vector<u8> data = table(a, b);
        EXPECT_EQ(std::set<u8>(data.begin(), data.end()).size(), 256u) << a << " to " << b;
    }
}

TEST(TableFiles, ThirtyTwoHostControlsAreLostInPcSets)
{
    const std::vector<u8> data = table(37, 850);
    EXPECT_EQ(std::count(data.begin(), data.end(), u8{0x7F}), 33); // and the substitute itself, 3F
}

// Double-byte parts: what comes back is what went, but for characters with two codes.
TEST(TableFiles, DoubleBytePartsComeBack)
{
    for (const auto &[host, pc] : {std::pair{300u, 941u}, {834u, 951u}, {835u, 947u}, {837u, 1380u}}) {
        const std::vector<u8> there = table(host, pc);
        const std::vector<u8> back = table(pc, host);
        const u32 sub = Codesets_Row(plan(), pc).sub2;
        size_t same = 0;
        size_t other = 0;
        for (u32 code = 0x4040; code < 0x10000; ++code) {
            const u32 result = Table_Lookup(there, TableLayout::D2, code).value;
            if (result == sub) continue;
            ++(Table_Lookup(back, TableLayout::D2, result).value == code ? same : other);
        }
        EXPECT_GT(same, 9000u) << host;
        EXPECT_LT(other, 1200u) << host;
    }
}

TEST(TableFiles, PairsOfAFamilyKeepItsForms)
{
    // The wave dash of 943 is FF5E in Unicode and 301C in EUC; both name the same character of the Japanese sets.
    EXPECT_EQ(Table_Lookup(table(943, 954), TableLayout::F4, 0x8160).value, 0xA1C1u);
    EXPECT_EQ(Table_Lookup(table(954, 943), TableLayout::T4, 0xA1C1).value, 0x8160u);
    EXPECT_EQ(Table_Lookup(table(941, 300), TableLayout::D2, 0x8160).value, 0x43A1u);
}

TEST(TableFiles, WithoutADoubleBytePartAllIsSubstituted)
{
    for (const u32 part : {300u, 301u, 834u, 1380u}) {
        const std::vector<u8> to = table(part, 0);
        const std::vector<u8> from = table(0, part);
        const u32 sub = Codesets_Row(plan(), part).sub2;
        for (u32 code = 0; code < 0x10000; ++code) {
            ASSERT_EQ(Table_Lookup(to, TableLayout::D2, code).value, 0x1A1Au);
            ASSERT_EQ(Table_Lookup(from, TableLayout::D2, code).value, sub);
        }
    }
}

TEST(TableFiles, GermanTextPassesBetweenHostAndPc)
{
    const std::vector<u8> data = table(37, 850);
    const u8 host[] = {0xC7, 0x99, 0xFC, 0xDC, 0x40, 0xE7}; // Gr..
    EXPECT_EQ(data[host[0]], 'G');
    EXPECT_EQ(data[host[1]], 'r');
    EXPECT_EQ(data[0xDC], 0x81) << "u with diaeresis";
    EXPECT_EQ(data[0x40], ' ');
}

} // namespace
