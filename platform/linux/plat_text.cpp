// Multibyte characters, each call from a fresh shift state.
//
// The C library refuses the bytes from 0x80 up in the C locale. There they are characters of their own here, so that
// texts of a single-byte code page pass a program that has set no locale.

#include "plat_text.h"

#include <langinfo.h>
#include <wchar.h>

#include <cstring>

// True in the C locale, for the bytes that its code set does not have.
static bool isByteCharacter(u8 Byte)
{
    return Byte >= 0x80 && strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0;
}

i32 plat_mbtowc(wchar_t *Wide, const char *Text, size_t Size)
{
    if (Size == 0) return -1;
    const u8 first = static_cast<u8>(Text[0]);
    if (isByteCharacter(first)) {
        if (Wide != nullptr) *Wide = first;
        return 1;
    }
    mbstate_t state = {};
    const size_t used = mbrtowc(Wide, Text, Size, &state);
    return used == static_cast<size_t>(-1) || used == static_cast<size_t>(-2) ? -1 : static_cast<i32>(used);
}

i32 plat_mblen(const char *Text, size_t Size)
{
    return plat_mbtowc(nullptr, Text, Size);
}

i32 plat_wctomb(char *Out, wchar_t Wide)
{
    if (Wide >= 0x80 && Wide <= 0xFF && isByteCharacter(static_cast<u8>(Wide))) {
        *Out = static_cast<char>(Wide);
        return 1;
    }
    mbstate_t state = {};
    const size_t used = wcrtomb(Out, Wide, &state);
    return used == static_cast<size_t>(-1) ? -1 : static_cast<i32>(used);
}
