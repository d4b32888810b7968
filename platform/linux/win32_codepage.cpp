// UTF-8 to and from UTF-16. A decoder takes one character from the front of a source, an encoder writes one to a sink;
// the two conversions differ in nothing else.

#include "win32_codepage.h"

#include <cstring>

#include "win32_error.h"

constexpr char32_t noCharacter = 0xFFFD;

static bool isSurrogate(char32_t Code)
{
    return Code >= 0xD800 && Code <= 0xDFFF;
}

// How many bytes a character has that begins with this one, 0 for none.
static u32 lengthByLead(u8 Lead)
{
    if (Lead < 0x80) return 1;
    if (Lead >= 0xC2 && Lead < 0xE0) return 2;
    if (Lead >= 0xE0 && Lead < 0xF0) return 3;
    return Lead >= 0xF0 && Lead < 0xF5 ? 4 : 0;
}

// Takes one character; what is none takes a byte.
static char32_t decode(const char *Source, u32 Left, u32 *Used)
{
    const u8 *const bytes = reinterpret_cast<const u8 *>(Source);
    const u32 length = lengthByLead(bytes[0]);
    *Used = 1;
    if (length == 1) return bytes[0];
    if (length == 0 || length > Left) return noCharacter;

    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    char32_t code = bytes[0] & (0x7Fu >> length);
    for (u32 i = 1; i < length; ++i) {
        if ((bytes[i] & 0xC0) != 0x80) return noCharacter;
        code = code << 6 | (bytes[i] & 0x3Fu);
    }
    if (code < smallest[length] || code > 0x10FFFF || isSurrogate(code)) return noCharacter;
    *Used = length;
    return code;
}

static char32_t decode(const plat_char16 *Source, u32 Left, u32 *Used)
{
    *Used = 1;
    if (!isSurrogate(Source[0])) return Source[0];
    if (Source[0] >= 0xDC00 || Left < 2 || Source[1] < 0xDC00 || Source[1] > 0xDFFF) return noCharacter;
    *Used = 2;
    return 0x10000 + ((Source[0] - 0xD800u) << 10) + (Source[1] - 0xDC00u);
}

// Writes one character; its length in units.
static u32 encode(char32_t Code, plat_char16 *Out)
{
    if (Code < 0x10000) {
        Out[0] = static_cast<plat_char16>(Code);
        return 1;
    }
    Out[0] = static_cast<plat_char16>(0xD800 + ((Code - 0x10000) >> 10));
    Out[1] = static_cast<plat_char16>(0xDC00 + ((Code - 0x10000) & 0x3FF));
    return 2;
}

static u32 encode(char32_t Code, char *Out)
{
    if (Code < 0x80) {
        Out[0] = static_cast<char>(Code);
        return 1;
    }
    const u32 length = Code < 0x800 ? 2 : Code < 0x10000 ? 3 : 4;
    for (u32 i = length - 1; i > 0; --i, Code >>= 6) Out[i] = static_cast<char>(0x80 | (Code & 0x3F));
    Out[0] = static_cast<char>((0xF00u >> length & 0xFF) | Code);
    return length;
}

template <class From, class To>
static i32 convert(const From *Source, i32 Size, To *Out, i32 Room)
{
    u32 written = 0;
    const u32 room = Room > 0 ? static_cast<u32>(Room) : 0;
    for (u32 at = 0; Size < 0 || at < static_cast<u32>(Size);) {
        // up to a terminator the units behind are looked at one by one, so none behind it is
        u32 left = 1, used;
        if (Size >= 0)
            left = static_cast<u32>(Size) - at;
        else
            while (left < 4 && Source[at + left - 1] != 0) ++left;
        const char32_t code = decode(Source + at, left, &used);

        To units[4];
        const u32 length = encode(code, units);
        if (room != 0) {
            if (length > room - written) {
                SetLastError(ERROR_INSUFFICIENT_BUFFER);
                return 0;
            }
            memcpy(Out + written, units, length * sizeof(To));
        }
        written += length;
        at += used;
        if (Size < 0 && code == 0) break;
    }
    return static_cast<i32>(written);
}

static bool refused(u32 CodePage, const void *Source, i32 Size, i32 Room)
{
    if ((CodePage == CP_ACP || CodePage == CP_UTF8) && Source != nullptr && Size != 0 && Size >= -1 && Room >= 0)
        return false;
    SetLastError(ERROR_INVALID_PARAMETER);
    return true;
}

i32 MultiByteToWideChar(u32 CodePage, u32, const char *Source, i32 Size, plat_char16 *Out, i32 Room)
{
    return refused(CodePage, Source, Size, Room) ? 0 : convert(Source, Size, Out, Room);
}

i32 WideCharToMultiByte(u32 CodePage, u32, const plat_char16 *Source, i32 Size, char *Out, i32 Room,
                        const char *Default, i32 *UsedDefault)
{
    if (Default != nullptr || UsedDefault != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return refused(CodePage, Source, Size, Room) ? 0 : convert(Source, Size, Out, Room);
}
