// Code page 037, the line-drawing part of the graphic-escape set, and text of other code sets through the engine.

#include "screen_text.h"

#include <array>
#include <cstring>
#include <cwchar>
#include <langinfo.h>
#include <locale.h>
#include <string_view>
#include <vector>

#include "supos_conversion.h"

namespace
{

// ISO 8859-1 characters of code page 037. Every value stands here once, so text survives the way there and back.
// clang-format off
constexpr u8 latinOfEbcdic[256] = {
    // 0  1     2     3     4     5     6     7     8     9     A     B     C     D     E     F
    0x00, 0x01, 0x02, 0x03, 0x9C, 0x09, 0x86, 0x7F, 0x97, 0x8D, 0x8E, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, // 00
    0x10, 0x11, 0x12, 0x13, 0x9D, 0x85, 0x08, 0x87, 0x18, 0x19, 0x92, 0x8F, 0x1C, 0x1D, 0x1E, 0x1F, // 10
    0x80, 0x81, 0x82, 0x83, 0x84, 0x0A, 0x17, 0x1B, 0x88, 0x89, 0x8A, 0x8B, 0x8C, 0x05, 0x06, 0x07, // 20
    0x90, 0x91, 0x16, 0x93, 0x94, 0x95, 0x96, 0x04, 0x98, 0x99, 0x9A, 0x9B, 0x14, 0x15, 0x9E, 0x1A, // 30
    0x20, 0xA0, 0xE2, 0xE4, 0xE0, 0xE1, 0xE3, 0xE5, 0xE7, 0xF1, 0xA2, 0x2E, 0x3C, 0x28, 0x2B, 0x7C, // 40
    0x26, 0xE9, 0xEA, 0xEB, 0xE8, 0xED, 0xEE, 0xEF, 0xEC, 0xDF, 0x21, 0x24, 0x2A, 0x29, 0x3B, 0xAC, // 50
    0x2D, 0x2F, 0xC2, 0xC4, 0xC0, 0xC1, 0xC3, 0xC5, 0xC7, 0xD1, 0xA6, 0x2C, 0x25, 0x5F, 0x3E, 0x3F, // 60
    0xF8, 0xC9, 0xCA, 0xCB, 0xC8, 0xCD, 0xCE, 0xCF, 0xCC, 0x60, 0x3A, 0x23, 0x40, 0x27, 0x3D, 0x22, // 70
    0xD8, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0xAB, 0xBB, 0xF0, 0xFD, 0xFE, 0xB1, // 80
    0xB0, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x6F, 0x70, 0x71, 0x72, 0xAA, 0xBA, 0xE6, 0xB8, 0xC6, 0xA4, // 90
    0xB5, 0x7E, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0xA1, 0xBF, 0xD0, 0xDD, 0xDE, 0xAE, // A0
    0x5E, 0xA3, 0xA5, 0xB7, 0xA9, 0xA7, 0xB6, 0xBC, 0xBD, 0xBE, 0x5B, 0x5D, 0xAF, 0xA8, 0xB4, 0xD7, // B0
    0x7B, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0xAD, 0xF4, 0xF6, 0xF2, 0xF3, 0xF5, // C0
    0x7D, 0x4A, 0x4B, 0x4C, 0x4D, 0x4E, 0x4F, 0x50, 0x51, 0x52, 0xB9, 0xFB, 0xFC, 0xF9, 0xFA, 0xFF, // D0
    0x5C, 0xF7, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0xB2, 0xD4, 0xD6, 0xD2, 0xD3, 0xD5, // E0
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0xB3, 0xDB, 0xDC, 0xD9, 0xDA, 0x9F, // F0
};

struct Line {
    const char *Utf8;
    u8 Code;
    char Ascii;
};

constexpr Line lines[] = {
    {"│", 0x85, '|'}, {"─", 0xA2, '-'}, {"└", 0xC4, '+'}, {"┌", 0xC5, '+'}, {"├", 0xC6, '+'}, {"┴", 0xC7, '+'},
    {"┼", 0xD3, '+'}, {"┘", 0xD4, '+'}, {"┐", 0xD5, '+'}, {"┤", 0xD6, '+'}, {"┬", 0xD7, '+'},
};
// clang-format on

constexpr std::array<u8, 256> invert(const u8 (&table)[256])
{
    std::array<u8, 256> inverse{};
    for (u32 code = 0; code < 256; ++code) inverse[table[code]] = static_cast<u8>(code);
    return inverse;
}
constexpr std::array<u8, 256> ebcdicOfLatin = invert(latinOfEbcdic);

constexpr u8 shiftOut = 0x0E;
constexpr u8 shiftIn = 0x0F;

// The code set in use, once there is one, and its single-byte glyphs.
struct InUse {
    Screen_Codeset Set;
    std::string Glyphs[256];
};
const InUse *inUse;

// The locale of the environment where it reads UTF-8, else null.
locale_t utf8Locale()
{
    static const locale_t answer = [] {
        const locale_t user = newlocale(LC_CTYPE_MASK, "", nullptr);
        if (user == nullptr || std::string_view(nl_langinfo_l(CODESET, user)) == "UTF-8") return user;
        freelocale(user);
        return locale_t{};
    }();
    return answer;
}

bool isUtf8()
{
    return utf8Locale() != nullptr;
}

// Columns of a character on a UTF-8 terminal.
int columnsOf(char32_t character)
{
    const locale_t before = uselocale(utf8Locale());
    const int columns = wcwidth(static_cast<wchar_t>(character));
    uselocale(before);
    return columns;
}

// The only character of a text in UTF-8, which has at most three bytes of it; 0 for more or none.
char32_t onlyCharacter(const std::string &text)
{
    const auto bits = [&](size_t at) { return static_cast<char32_t>(static_cast<u8>(text[at])) & 0x3F; };
    const u8 lead = text.empty() ? 0 : static_cast<u8>(text[0]);
    if (text.size() == 1 && lead < 0x80) return lead;
    if (text.size() == 2 && lead >= 0xC0 && lead < 0xE0) return (lead & 0x1Fu) << 6 | bits(1);
    if (text.size() == 3 && lead >= 0xE0) return (lead & 0x0Fu) << 12 | bits(1) << 6 | bits(2);
    return 0;
}

// Controls are blanks; so is a blank that binds, and a hyphen that a terminal may not draw is a plain one.
std::string singleGlyph(const std::string &text)
{
    const char32_t character = onlyCharacter(text);
    if (character < 0x20 || (character >= 0x7F && character <= 0xA0)) return " ";
    if (character == 0xAD) return "-";
    if (character < 0x7F) return text;
    return isUtf8() && columnsOf(character) == 1 ? text : "?";
}

u32 convertByEngine(u32 cd, const u8 *source, u16 length, u8 *target, u16 size, u16 *outLength)
{
    const char *in = reinterpret_cast<const char *>(source);
    char *out = reinterpret_cast<char *>(target);
    u32 left = length;
    u32 room = size;
    *outLength = 0;
    if (length == 0) return 0;
    const i32 code = SupOS_IcnvCode(cd, &in, &left, &out, &room);
    if (code == ICNV_RC_FULL || code == ICNV_RC_COPYFULL) return Screen_NoRoom;
    if (code != ICNV_RC_OK) return Screen_BadText;
    *outLength = static_cast<u16>(size - room);
    return 0;
}

std::string toUtf8(std::string host)
{
    u8 room[32];
    u16 length = 0;
    const u32 code = convertByEngine(inUse->Set.ToUtf8, reinterpret_cast<const u8 *>(host.data()),
                                     static_cast<u16>(host.size()), room, sizeof room, &length);
    return code == 0 ? std::string(reinterpret_cast<const char *>(room), length) : "";
}

bool isFramed(const u8 *text, u16 length)
{
    return length >= 2 && text[0] == shiftOut && text[length - 1] == shiftIn;
}

// A mixed host text needs the framing of a double-byte run, one of another set must not have it.
u32 convertText(bool toAscii, bool framed, const u8 *source, u16 length, u8 *target, u16 size, u16 *outLength)
{
    const bool mixed = inUse->Set.IsMixed;
    if (framed && !(toAscii && mixed)) {
        ++source;
        length = static_cast<u16>(length - 2);
    }
    const u32 cd = toAscii ? inUse->Set.ToAscii : inUse->Set.ToEbcdic;
    const u32 code = convertByEngine(cd, source, length, target, size, outLength);
    if (code == 0 && framed && !toAscii && mixed && isFramed(target, *outLength)) {
        *outLength = static_cast<u16>(*outLength - 2);
        std::memmove(target, target + 1, *outLength);
    }
    return code;
}

} // namespace

void Screen_UseCodeset(const Screen_Codeset &Set)
{
    static InUse use;
    use.Set = Set;
    inUse = &use;
    for (u32 code = 0; code < 256; ++code) {
        const bool isShift = Set.IsMixed && (code == shiftOut || code == shiftIn);
        use.Glyphs[code] = isShift ? " " : singleGlyph(toUtf8(std::string(1, static_cast<char>(code))));
    }
}

u32 Screen_Convert(u32 Descriptor, u8 *Source, u16 SourceLength, u8 *Target, u16 TargetSize, u16 *OutLength)
{
    const bool toAscii = (Descriptor & Screen_FromEbcdic) != 0;
    const bool framed = (Descriptor & Screen_Unframed) && isFramed(Source, SourceLength);
    if (inUse != nullptr) return convertText(toAscii, framed, Source, SourceLength, Target, TargetSize, OutLength);

    if (framed) {
        ++Source;
        SourceLength = static_cast<u16>(SourceLength - 2);
    }
    if (SourceLength > TargetSize) return Screen_NoRoom;
    for (u16 at = 0; at < SourceLength; ++at)
        Target[at] = toAscii ? latinOfEbcdic[Source[at]] : ebcdicOfLatin[Source[at]];
    *OutLength = SourceLength;
    return 0;
}

std::string Screen_GraphicGlyph(u8 Code)
{
    for (const Line &line : lines)
        if (line.Code == Code) return isUtf8() ? std::string(line.Utf8) : std::string(1, line.Ascii);
    return "?";
}

std::string Screen_Glyph(u8 Code)
{
    if (inUse != nullptr) return inUse->Glyphs[Code];
    const u8 latin = latinOfEbcdic[Code];
    if (latin < 0x80) return singleGlyph(std::string(1, static_cast<char>(latin)));
    return singleGlyph({static_cast<char>(0xC0 | latin >> 6), static_cast<char>(0x80 | (latin & 0x3F))});
}

bool Screen_HasDoubleByte()
{
    return inUse != nullptr && inUse->Set.IsMixed;
}

std::string Screen_DoubleGlyph(u8 First, u8 Second)
{
    constexpr char32_t wideBlank = 0x3000;
    constexpr char32_t replacement = 0xFFFD;
    if (!Screen_HasDoubleByte()) return "";
    const std::string text = toUtf8({shiftOut, static_cast<char>(First), static_cast<char>(Second), shiftIn});
    const char32_t character = onlyCharacter(text);
    if (character == wideBlank) return "  ";
    if (character <= 0xA0 || character == replacement || !isUtf8()) return "";
    const int columns = columnsOf(character);
    return columns == 2 ? text : columns == 1 ? text + " " : "";
}

std::string Screen_TextGlyphs(const std::string &Text, bool IsDoubleByte)
{
    std::string out;
    bool inRun = IsDoubleByte && Screen_HasDoubleByte();
    for (size_t at = 0; at < Text.size(); ++at) {
        const u8 code = static_cast<u8>(Text[at]);
        if (Screen_HasDoubleByte() && (code == shiftOut || code == shiftIn)) {
            inRun = code == shiftOut;
            out += " ";
        } else if (!inRun || code < 0x40) {
            out += Screen_Glyph(code);
        } else if (at + 1 == Text.size() || static_cast<u8>(Text[at + 1]) < 0x40) {
            out += "#"; // half a character
        } else {
            const std::string glyph = Screen_DoubleGlyph(code, static_cast<u8>(Text[++at]));
            out += glyph.empty() ? "##" : glyph;
        }
    }
    return out;
}

std::string Screen_Quoted(std::string Text)
{
    constexpr size_t longest = 60;
    Text.erase(Text.find_last_not_of(" _") + 1);
    if (Text.size() > longest) {
        size_t end = longest;
        while (end > 0 && (static_cast<u8>(Text[end]) & 0xC0) == 0x80) --end; // not inside a character
        return "|" + Text.substr(0, end) + "|...";
    }
    return "|" + Text + "|";
}
