// Beside ICU, through the exported calls: every byte of every single-byte pair, every character of every pair with
// Unicode, and text of ten languages there and back.
//
// What may differ is stated in each test: characters that one of the two does not have, the equivalents that single
// bytes fall back on, 5C and 7E in Japanese and Korean sets, graphic characters that ICU puts on control bytes, and the
// rows that Korean sets and 1386 have no room for.

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include "icnv_root.h"
#include "icu_reference.h"

namespace
{

struct Set {
    u32 Ccsid;
    std::string Name;
    u32 Kind, Encoding;
    u32 Sub1;
    std::string Source; // for Icu_Open; empty where ICU has no converter for the set
};

// The sets of the catalogue that can be opened by name.
std::vector<Set> readSets()
{
    std::ifstream file(std::string(VELA_TEST_SOURCE_DIR) + "/data/codesets/codesets.tsv");
    std::vector<Set> sets;
    for (std::string line; std::getline(file, line);) {
        std::vector<std::string> field;
        std::istringstream columns(line);
        for (std::string text; std::getline(columns, text, '\t');) field.push_back(text);
        if (field.size() < 13 || field[1] != "set") continue;
        Set set;
        set.Ccsid = static_cast<u32>(std::stoul(field[0]));
        set.Name = field[2].substr(0, field[2].find(','));
        set.Kind = static_cast<u32>(std::stoul(field[4]));
        set.Encoding = static_cast<u32>(std::stoul(field[5]));
        set.Sub1 = field[10] == "-" ? 0 : static_cast<u32>(std::stoul(field[10], nullptr, 16));
        const size_t colon = field[12].find(':');
        const std::string how = field[12].substr(0, colon);
        if (how == "alias" || how == "number") set.Source = field[12].substr(colon + 1);
        if (set.Ccsid != 25488 && set.Ccsid != 25491) sets.push_back(set); // second numbers of a name
    }
    return sets;
}

std::vector<Set> setsWhere(auto &&Test)
{
    std::vector<Set> sets = readSets();
    EXPECT_GT(sets.size(), 90u);
    std::erase_if(sets, [&](const Set &set) { return !Test(set); });
    return sets;
}

bool isSingle(const Set &S)
{
    return S.Kind == 1;
}

bool hasIcu(const Set &S)
{
    return !S.Source.empty();
}

bool isControl(u32 Character)
{
    return Character < 0x20 || (Character >= 0x7F && Character < 0xA0);
}

// ICU's one byte for a character, as the tables take it: none for a graphic character on a control byte.
u32 byteOf(UConverter *Converter, const Set &S, u32 Character)
{
    const u32 code = Icu_Code(Converter, Character);
    if (code > 0xFF) return IcuNone;
    if (S.Encoding != 1 && (code < 0x20 || code == 0x7F) && !isControl(Character)) return IcuNone;
    return code;
}

std::string unitsOf(const std::vector<u32> &Characters)
{
    std::string text;
    for (const u32 c : Characters) {
        text += static_cast<char>(c);
        text += static_cast<char>(c >> 8);
    }
    return text;
}

u32 unitAt(const std::string &Text, size_t Place)
{
    return static_cast<u8>(Text[2 * Place]) | static_cast<u32>(static_cast<u8>(Text[2 * Place + 1])) << 8;
}

std::string allBytes()
{
    std::string text;
    for (int i = 0; i < 256; ++i) text += static_cast<char>(i);
    return text;
}

std::string utf8Of(u32 Unit)
{
    const char16_t unit = static_cast<char16_t>(Unit);
    char bytes[8];
    i32 length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(bytes, sizeof bytes, &length, &unit, 1, &status);
    return std::string(bytes, static_cast<size_t>(length));
}

// What a character falls back on in a single-byte set: one that stands for it, in its compatibility form.
std::u16string plainForm(u32 Character)
{
    static const std::map<u32, u32> standIns = {{0x203E, 0xAF}, {0x2022, 0xB7}, {0x2219, 0xB7},
                                                {0x110, 0xD0},  {0xA0, 0x20},   {0x2014, 0x2015}};
    const auto row = standIns.find(Character);
    const char16_t unit = static_cast<char16_t>(row == standIns.end() ? Character : row->second);
    UErrorCode status = U_ZERO_ERROR;
    char16_t out[32];
    const i32 length = unorm2_normalize(unorm2_getNFKCInstance(&status), &unit, 1, out, 32, &status);
    return std::u16string(out, static_cast<size_t>(length));
}

bool areEquivalent(u32 First, u32 Second)
{
    return plainForm(First) == plainForm(Second);
}

} // namespace

TEST(IcnvAgainstIcu, EveryByteToUnicode)
{
    Icnv_UseTables();
    size_t compared = 0;
    for (const Set &set : setsWhere([](const Set &s) { return isSingle(s) && hasIcu(s); })) {
        const IcuConverter icu = Icu_Open(set.Source);
        ASSERT_NE(icu, nullptr) << set.Source;
        const std::string ucs = Icnv_Text("UCS-2", set.Name.c_str(), allBytes());
        const std::string utf = Icnv_Text("UTF-8", set.Name.c_str(), allBytes());
        std::string wantedUtf;
        for (u32 byte = 0; byte < 256; ++byte) {
            u32 wanted = Icu_Character(icu.get(), byte);
            if (wanted == IcuNone) wanted = 0x1A;
            EXPECT_EQ(unitAt(ucs, byte), wanted) << set.Name << " byte " << byte;
            wantedUtf += utf8Of(wanted);
            ++compared;
        }
        EXPECT_EQ(utf, wantedUtf) << set.Name;
    }
    printf("%zu codes compared\n", compared);
    EXPECT_GT(compared, 65u * 256);
}

TEST(IcnvAgainstIcu, EveryCharacterToSingleBytes)
{
    Icnv_UseTables();
    std::vector<u32> characters;
    for (u32 c = 0; c <= 0xFFFF; ++c) characters.push_back(c);
    const std::string ucs = unitsOf(characters);
    size_t mapped = 0;
    for (const Set &set : setsWhere([](const Set &s) { return isSingle(s) && hasIcu(s); })) {
        const IcuConverter icu = Icu_Open(set.Source);
        const std::string bytes = Icnv_Text(set.Name.c_str(), "UCS-2", ucs);
        ASSERT_EQ(bytes.size(), 65536u);
        size_t differing = 0;
        for (const u32 c : characters) {
            const u32 code = byteOf(icu.get(), set, c);
            mapped += code != IcuNone;
            if (static_cast<u8>(bytes[c]) == (code == IcuNone ? set.Sub1 : code)) continue;
            if (++differing < 4) ADD_FAILURE() << set.Name << " character " << std::hex << c;
        }
        EXPECT_EQ(differing, 0u) << set.Name;
        // The same through UTF-8, for what can be written in it.
        std::string utf, wanted;
        for (const u32 c : characters) {
            if (c >= 0xD800 && c <= 0xDFFF) continue;
            utf += utf8Of(c);
            wanted += bytes[c];
        }
        EXPECT_EQ(Icnv_Text(set.Name.c_str(), "UTF-8", utf), wanted) << set.Name;
    }
    printf("%zu mapped characters compared\n", mapped);
}

TEST(IcnvAgainstIcu, EveryByteOfEverySingleBytePair)
{
    Icnv_UseTables();
    const std::vector<Set> sets = setsWhere([](const Set &s) { return isSingle(s) && hasIcu(s); });
    std::map<u32, IcuConverter> icu;
    std::map<u32, std::vector<u32>> toUnicode;
    std::map<u32, std::map<u32, u32>> fromUnicode;
    std::set<u32> all;
    for (const Set &set : sets) {
        icu[set.Ccsid] = Icu_Open(set.Source);
        for (u32 b = 0; b < 256; ++b) toUnicode[set.Ccsid].push_back(Icu_Character(icu[set.Ccsid].get(), b));
        all.insert(toUnicode[set.Ccsid].begin(), toUnicode[set.Ccsid].end());
    }
    for (const Set &set : sets)
        for (const u32 c : all)
            if (c != IcuNone) fromUnicode[set.Ccsid][c] = byteOf(icu[set.Ccsid].get(), set, c);

    size_t compared = 0, equivalents = 0;
    for (const Set &from : sets) {
        for (const Set &to : sets) {
            const std::string text = Icnv_Text(to.Name.c_str(), from.Name.c_str(), allBytes());
            ASSERT_EQ(text.size(), 256u);
            const bool copies = from.Ccsid == to.Ccsid || ((from.Ccsid ^ to.Ccsid) & 0xFFF) == 0 ||
                                from.Ccsid + 4096 == to.Ccsid || to.Ccsid + 4096 == from.Ccsid;
            for (u32 b = 0; b < 256; ++b) {
                const u8 got = static_cast<u8>(text[b]);
                if (copies) {
                    ASSERT_EQ(got, b) << from.Name << " to " << to.Name;
                    continue;
                }
                const u32 c = toUnicode[from.Ccsid][from.Encoding == 1 && b == 0x15 ? 0x25 : b];
                const u32 code = c == IcuNone ? IcuNone : fromUnicode[to.Ccsid][c];
                if (code != IcuNone) {
                    EXPECT_EQ(got, code) << from.Name << " to " << to.Name << " byte " << b;
                    ++compared;
                } else if (got != to.Sub1) {
                    const u32 there = toUnicode[to.Ccsid][got];
                    EXPECT_TRUE(c != IcuNone && there != IcuNone && areEquivalent(c, there))
                        << from.Name << " to " << to.Name << " byte " << b << " gave " << int{got};
                    ++equivalents;
                }
            }
        }
    }
    printf("%zu codes compared, %zu equivalents of characters that ICU's target lacks\n", compared, equivalents);
}

namespace
{

// Characters that the two sides of a Japanese or Korean set take for another.
bool isContested(u32 Character)
{
    return Character == 0x5C || Character == 0x7E || Character == 0xA5 || Character == 0x203E || Character == 0x20A9 ||
           Character == 0xAF;
}

// From Unicode these have more rows than a table can hold: so many characters are lost or come out as another's.
const std::map<u32, size_t> narrow = {{933, 1525}, {934, 1525}, {944, 1525}, {949, 872},
                                      {1363, 243}, {970, 55},   {1386, 0}};

std::string codeBytes(u32 Code, bool Host)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        if (const u32 byte = Code >> shift & 0xFF; byte != 0 || !bytes.empty() || shift == 0)
            bytes += static_cast<char>(byte);
    return Host && bytes.size() == 2 ? "\x0E" + bytes + "\x0F" : bytes;
}

} // namespace

TEST(IcnvAgainstIcu, EveryCharacterOfMixedAndEucSets)
{
    Icnv_UseTables();
    size_t compared = 0;
    for (const Set &set : setsWhere([](const Set &s) { return s.Kind == 3 && s.Encoding != 5 && hasIcu(s); })) {
        const IcuConverter icu = Icu_Open(set.Source);
        ASSERT_NE(icu, nullptr) << set.Source;
        const u32 there = Icnv_Open(set.Name.c_str(), "UCS-2");
        const u32 back = Icnv_Open("UCS-2", set.Name.c_str());
        size_t differing = 0, lost = 0;
        for (u32 c = 0; c <= 0xFFFF; ++c) {
            const u32 code = Icu_Code(icu.get(), c);
            if (code == IcuNone || isContested(c) || c == 0x0E || c == 0x0F) continue;
            if (set.Encoding == 2 && (code < 0x20 || code == 0x7F) && !isControl(c)) continue;
            ++compared;
            const std::string bytes = Icnv_Code(there, unitsOf({c}), 16).Text;
            if (bytes == codeBytes(code, set.Encoding == 1)) {
                if (Icu_Character(icu.get(), code) != c) continue; // a fallback: not the way back
                const Icnv_Answer answer = Icnv_Code(back, bytes, 16);
                if (answer.Code == 0 && answer.Text == unitsOf({c})) continue;
                if (set.Ccsid == 933 && c >= 0xAC00 && c <= 0xD7A3) continue;
                if (set.Ccsid == 933 && c >= 0x3131 && c <= 0x318E) continue;
                if (++differing < 4) ADD_FAILURE() << set.Name << " code " << std::hex << code << " of " << c;
            } else if (narrow.contains(set.Ccsid)) {
                ++lost;
            } else if (++differing < 4) {
                ADD_FAILURE() << set.Name << " character " << std::hex << c << " code " << code;
            }
        }
        EXPECT_EQ(differing, 0u) << set.Name;
        if (narrow.contains(set.Ccsid)) {
            EXPECT_LE(lost, narrow.at(set.Ccsid)) << set.Name;
        }
        SupOS_IcnvClose(there);
        SupOS_IcnvClose(back);
    }
    printf("%zu characters compared\n", compared);
    EXPECT_GT(compared, 200000u);
}

TEST(IcnvRoundTrip, TenLanguages)
{
    Icnv_UseTables();
    const struct {
        const char *Text;
        std::vector<const char *> Sets;
    } rows[] = {
        {"The quick brown fox, 1234567890.", {"QMX-037", "QMX-850", "ISO8859-1", "QMX-1047", "QMX-500", "QMX-930"}},
        {"Größe, Straße, Übermut: schön wär's.", {"QMX-273", "QMX-850", "ISO8859-1", "QMX-1141", "QMX-1252"}},
        {"Où est la façade de l'hôtel où il naquit ?", {"QMX-297", "QMX-850", "ISO8859-1", "QMX-1147"}},
        {"Příliš žluťoučký kůň úpěl ďábelské ódy", {"QMX-870", "QMX-852", "QMX-912", "QMX-1250"}},
        {"Съешь же ещё этих мягких булок", {"QMX-1025", "QMX-866", "QMX-915", "QMX-1251"}},
        {"Ξεσκεπάζω την ψυχοφθόρα βδελυγμία", {"QMX-869", "QMX-813", "QMX-1253"}},
        {"דג סקרן שט בים מאוכזב", {"QMX-424", "QMX-856", "QMX-916", "QMX-1255"}},
        {"いろはにほへと 漢字カタカナ 123", {"QMX-930", "QMX-939", "QMX-943", "QMX-932", "QMX-942", "QMX-eucJP"}},
        {"키스의 고유조건은 입술 만남이다", {"QMX-933", "QMX-949", "QMX-eucKR", "QMX-1363"}},
        {"人人生而自由，在尊严和权利上一律平等。", {"QMX-935", "QMX-1381", "QMX-1386", "QMX-eucCN"}},
        {"人人生而自由，在尊嚴及權利上均各平等。", {"QMX-937", "QMX-950", "QMX-948", "QMX-eucTW"}},
    };
    for (const auto &row : rows) {
        const std::string ucs = Icnv_Text("UCS-2", "UTF-8", row.Text);
        for (const char *first : row.Sets) {
            const std::string text = Icnv_Text(first, "UTF-8", row.Text);
            EXPECT_EQ(Icnv_Text(first, "UCS-2", ucs), text) << first;
            EXPECT_EQ(Icnv_Text("UTF-8", first, text), row.Text) << first;
            EXPECT_EQ(Icnv_Text("UCS-2", first, text), ucs) << first;
            for (const char *second : row.Sets) {
                if (strncmp(first, "QMX-euc", 7) == 0 && strncmp(second, "QMX-euc", 7) == 0) continue;
                EXPECT_EQ(Icnv_Text(second, first, text), Icnv_Text(second, "UTF-8", row.Text))
                    << first << " to " << second;
            }
        }
    }
}
