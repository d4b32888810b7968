// Character maps from the converters of ICU.
//
// Each code and each character is asked for alone, with callbacks that stop: a converter then says "not there"
// instead of writing a substitute, and drops nothing without our seeing it. A result counts when it is exactly one
// 16-bit unit; an empty one is what ICU gives for ignorable characters, and counts as not there.

#include "charmap.h"

#include <algorithm>
#include <memory>

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/unorm2.h>

namespace
{

struct CloseConverter {
    void operator()(UConverter *Converter) const { ucnv_close(Converter); }
};
using ConverterPtr = std::unique_ptr<UConverter, CloseConverter>;

constexpr u8 SHIFT_OUT = 0x0E;
constexpr u8 SHIFT_IN = 0x0F;

ConverterPtr openConverter(const std::string &Source)
{
    UErrorCode status = U_ZERO_ERROR;
    ConverterPtr converter;
    if (Source.starts_with("alias:"))
        converter.reset(ucnv_open(Source.c_str() + 6, &status));
    else
        converter.reset(ucnv_openCCSID(std::stoi(Source.substr(7)), static_cast<UConverterPlatform>(0), &status));
    if (U_FAILURE(status) || !converter) throw GenError("ICU has no converter for " + Source);

    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFallback(converter.get(), true);
    if (U_FAILURE(status)) throw GenError("ICU: " + Source + " takes no callbacks");
    return converter;
}

// The one character that these bytes are, or CHARMAP_NONE.
u32 toCharacter(UConverter *Converter, const u8 *Bytes, size_t Count)
{
    char16_t units[8] = {};
    char16_t *out = units;
    const char *in = reinterpret_cast<const char *>(Bytes);
    UErrorCode status = U_ZERO_ERROR;
    ucnv_resetToUnicode(Converter);
    ucnv_toUnicode(Converter, &out, units + 8, &in, in + Count, nullptr, true, &status);
    if (U_FAILURE(status) || out - units != 1 || units[0] == 0xFFFD) return CHARMAP_NONE;
    return units[0];
}

// The code of a character, or CHARMAP_NONE. Shifts around a double-byte code are left out.
u32 toCode(UConverter *Converter, u16 Character, bool Shifted)
{
    u8 bytes[16] = {};
    char *out = reinterpret_cast<char *>(bytes);
    char *const start = out;
    const char16_t unit = static_cast<char16_t>(Character);
    const char16_t *in = &unit;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_resetFromUnicode(Converter);
    ucnv_fromUnicode(Converter, &out, start + sizeof bytes, &in, in + 1, nullptr, true, &status);
    if (U_FAILURE(status)) return CHARMAP_NONE;

    u32 code = 0;
    u32 width = 0;
    for (const char *at = start; at != out; ++at) {
        const u8 byte = static_cast<u8>(*at);
        if (Shifted && (byte == SHIFT_OUT || byte == SHIFT_IN)) continue;
        code = code << 8 | byte;
        ++width;
    }
    return width >= 1 && width <= 4 ? code : CHARMAP_NONE;
}

struct CodeWalk {
    UConverter *converter;
    std::vector<std::pair<u32, u16>> *codes;
};

void addCode(const CodeWalk &Walk, const u8 *Bytes, size_t Count, bool Shifted)
{
    u8 text[6];
    size_t length = 0;
    if (Shifted) text[length++] = SHIFT_OUT;
    for (size_t i = 0; i < Count; ++i) text[length++] = Bytes[i];
    if (Shifted) text[length++] = SHIFT_IN;
    const u32 character = toCharacter(Walk.converter, text, length);
    if (character == CHARMAP_NONE) return;

    u32 code = 0;
    for (size_t i = 0; i < Count; ++i) code = code << 8 | Bytes[i];
    Walk.codes->emplace_back(code, static_cast<u16>(character));
}

// All codes that a converter can have: one byte, two bytes, and the three and four bytes of EUC.
std::vector<std::pair<u32, u16>> allCodes(UConverter *Converter)
{
    std::vector<std::pair<u32, u16>> codes;
    const CodeWalk walk{Converter, &codes};
    const UConverterType type = ucnv_getType(Converter);
    const bool shifted = type == UCNV_EBCDIC_STATEFUL;
    const bool euc = ucnv_getMaxCharSize(Converter) > 2 && !shifted;

    for (u32 b = 0; b < 256; ++b) {
        const u8 byte = static_cast<u8>(b);
        if (!shifted || (b != SHIFT_OUT && b != SHIFT_IN)) addCode(walk, &byte, 1, false);
    }
    if (type == UCNV_SBCS || ucnv_getMaxCharSize(Converter) == 1) return codes;
    for (u32 high = shifted ? 0x40 : 0x80; high < 256; ++high) {
        for (u32 low = 0x21; low < 256; ++low) {
            const u8 bytes[2] = {static_cast<u8>(high), static_cast<u8>(low)};
            addCode(walk, bytes, 2, shifted);
        }
    }
    if (!euc) return codes;
    for (u32 high = 0xA1; high < 256; ++high) {
        for (u32 low = 0xA1; low < 256; ++low) {
            const u8 three[3] = {0x8F, static_cast<u8>(high), static_cast<u8>(low)};
            addCode(walk, three, 3, false);
            for (u32 plane = 0xA1; plane <= 0xB0; ++plane) {
                const u8 four[4] = {0x8E, static_cast<u8>(plane), static_cast<u8>(high), static_cast<u8>(low)};
                addCode(walk, four, 4, false);
            }
        }
    }
    return codes;
}

Charmap fromConverter(const std::string &Source)
{
    const ConverterPtr converter = openConverter(Source);
    const bool shifted = ucnv_getType(converter.get()) == UCNV_EBCDIC_STATEFUL;
    Charmap map;
    map.to = allCodes(converter.get());
    std::sort(map.to.begin(), map.to.end());
    map.from.assign(0x10000, CHARMAP_NONE);
    for (u32 c = 0; c < 0x10000; ++c)
        if (c < 0xD800 || c > 0xDFFF) map.from[c] = toCode(converter.get(), static_cast<u16>(c), shifted);
    return map;
}

// A set whose codes are too many to ask for: what its converter makes of every character.
Charmap fromUnicodeOnly(const std::string &Source)
{
    const ConverterPtr converter = openConverter(Source);
    Charmap map;
    map.from.assign(0x10000, CHARMAP_NONE);
    for (u32 c = 0; c < 0x10000; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF) continue;
        map.from[c] = toCode(converter.get(), static_cast<u16>(c), false);
        if (map.from[c] != CHARMAP_NONE) map.to.emplace_back(map.from[c], static_cast<u16>(c));
    }
    std::sort(map.to.begin(), map.to.end());
    return map;
}

// Two parts together. Where both have a code for a character, the one that comes back wins, then the single byte.
Charmap joined(const Charmap &Singles, const Charmap &Doubles)
{
    Charmap map;
    map.to = Singles.to;
    map.to.insert(map.to.end(), Doubles.to.begin(), Doubles.to.end());
    std::sort(map.to.begin(), map.to.end());
    map.from = Singles.from;
    for (u32 c = 0; c < 0x10000; ++c) {
        const bool comesBack = map.from[c] != CHARMAP_NONE && Charmap_Character(Singles, map.from[c]) == c;
        const bool doubleComesBack =
            Doubles.from[c] != CHARMAP_NONE && Charmap_Character(Doubles, Doubles.from[c]) == c;
        if (map.from[c] == CHARMAP_NONE || (!comesBack && doubleComesBack)) map.from[c] = Doubles.from[c];
    }
    return map;
}

void setPair(Charmap &Map, u32 Code, u16 Character)
{
    const auto at = std::lower_bound(Map.to.begin(), Map.to.end(), std::make_pair(Code, u16{0}));
    if (at != Map.to.end() && at->first == Code)
        at->second = Character;
    else
        Map.to.insert(at, {Code, Character});
    Map.from[Character] = Code;
}

Charmap fromParts(CharmapStore &Store, const std::string &Text)
{
    const size_t plus = Text.find('+');
    if (plus == std::string::npos) throw GenError("source parts:" + Text + " names one part");
    const u32 singles = static_cast<u32>(std::stoul(Text));
    const u32 doubles = static_cast<u32>(std::stoul(Text.substr(plus + 1)));
    Charmap map = joined(Charmap_Of(Store, Codesets_Row(*Store.plan, singles)),
                         Charmap_Of(Store, Codesets_Row(*Store.plan, doubles)));
    if (Text.ends_with(":ascii")) {
        setPair(map, 0x5C, 0x5C);
        setPair(map, 0x7E, 0x7E);
    }
    return map;
}

// The shifts are characters of a host part, and of a mixed host set where a stray one is read; never written there.
void settleShifts(Charmap &Map, bool Written)
{
    for (u32 &code : Map.from)
        if (code == SHIFT_OUT || code == SHIFT_IN) code = CHARMAP_NONE;
    for (const u8 shift : {SHIFT_OUT, SHIFT_IN}) {
        setPair(Map, shift, shift);
        if (!Written) Map.from[shift] = CHARMAP_NONE;
    }
}

// Fallbacks such as a bullet on 07 would turn text into control bytes.
void dropGraphicsOnControls(Charmap &Map)
{
    for (u32 c = 0x20; c < 0x10000; ++c) {
        const bool control = c >= 0x7F && c <= 0x9F;
        if (!control && (Map.from[c] < 0x20 || Map.from[c] == 0x7F)) Map.from[c] = CHARMAP_NONE;
    }
}

} // namespace

u32 Charmap_Character(const Charmap &Map, u32 Code)
{
    const auto at = std::lower_bound(Map.to.begin(), Map.to.end(), std::make_pair(Code, u16{0}));
    return at != Map.to.end() && at->first == Code ? at->second : CHARMAP_NONE;
}

Charmap Charmap_FromCodes(std::vector<std::pair<u32, u16>> Codes)
{
    Charmap map;
    std::sort(Codes.begin(), Codes.end());
    map.to = std::move(Codes);
    map.from.assign(0x10000, CHARMAP_NONE);
    for (const auto &[code, character] : map.to) map.from[character] = code;
    return map;
}

u32 Charmap_Width(u32 Code)
{
    return Code > 0xFFFFFF ? 4 : Code > 0xFFFF ? 3 : Code > 0xFF ? 2 : 1;
}

Charmap Charmap_OfWidth(const Charmap &Map, u32 Width)
{
    Charmap part;
    part.from.assign(0x10000, CHARMAP_NONE);
    for (const auto &pair : Map.to)
        if (Charmap_Width(pair.first) == Width) part.to.push_back(pair);
    for (u32 c = 0; c < 0x10000; ++c)
        if (Map.from[c] != CHARMAP_NONE && Charmap_Width(Map.from[c]) == Width) part.from[c] = Map.from[c];
    return part;
}

const Charmap &Charmap_Source(CharmapStore &Store, const std::string &Source)
{
    const auto known = Store.maps.find(Source);
    if (known != Store.maps.end()) return known->second;

    Charmap map;
    if (Source.starts_with("alias:") || Source.starts_with("number:"))
        map = fromConverter(Source);
    else if (Source.starts_with("unicode "))
        map = fromUnicodeOnly(Source.substr(8));
    else if (Source.starts_with("singles "))
        map = Charmap_OfWidth(Charmap_Source(Store, Source.substr(8)), 1);
    else if (Source.starts_with("doubles "))
        map = Charmap_OfWidth(Charmap_Source(Store, Source.substr(8)), 2);
    else if (Source.starts_with("parts:"))
        map = fromParts(Store, Source.substr(6));
    else if (Source.starts_with("rule:"))
        map = Charmap_Rule(Store, Source.substr(5));
    else
        throw GenError("no characters come from source \"" + Source + "\"");
    return Store.maps.emplace(Source, std::move(map)).first->second;
}

const Charmap &Charmap_Of(CharmapStore &Store, const CodesetRow &Row)
{
    const std::string key = "row " + std::to_string(Row.ccsid);
    const auto known = Store.maps.find(key);
    if (known != Store.maps.end()) return known->second;

    Charmap map = Charmap_Source(Store, Row.source);
    if (Row.encoding == GEN_HOST && Row.kind == GEN_MIXED) settleShifts(map, false);
    if (Row.encoding == GEN_HOST && Row.kind == GEN_SINGLE && Row.isPart) settleShifts(map, true);
    if (Row.encoding == GEN_PC || Row.encoding == GEN_ISO) dropGraphicsOnControls(map);
    return Store.maps.emplace(key, std::move(map)).first->second;
}

std::u16string Charmap_Nfkc(u16 Character)
{
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2 *const normalizer = unorm2_getNFKCInstance(&status);
    const char16_t unit = static_cast<char16_t>(Character);
    char16_t out[32];
    const i32 length = unorm2_normalize(normalizer, &unit, 1, out, 32, &status);
    if (U_FAILURE(status)) throw GenError("ICU cannot normalise a character");
    return std::u16string(out, static_cast<size_t>(length));
}
