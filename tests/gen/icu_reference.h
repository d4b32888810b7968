#ifndef ICU_REFERENCE_H
#define ICU_REFERENCE_H

// What ICU makes of one code or one character: the tests' own way to it, apart from the generator's.

#include <memory>
#include <string>

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include "vela_types.h"

constexpr u32 IcuNone = 0xFFFFFFFFu;

struct IcuClose {
    void operator()(UConverter *Converter) const { ucnv_close(Converter); }
};
using IcuConverter = std::unique_ptr<UConverter, IcuClose>;

// By name, or by number where Name is all digits.
inline IcuConverter Icu_Open(const std::string &Name)
{
    UErrorCode status = U_ZERO_ERROR;
    const bool number = Name.find_first_not_of("0123456789") == std::string::npos;
    IcuConverter converter(number ? ucnv_openCCSID(std::stoi(Name), static_cast<UConverterPlatform>(0), &status)
                                  : ucnv_open(Name.c_str(), &status));
    if (U_FAILURE(status)) return nullptr;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFallback(converter.get(), true);
    return converter;
}

// The character of a code, in host sets with shifts around two bytes; IcuNone when it is not one 16-bit unit.
inline u32 Icu_Character(UConverter *Converter, u32 Code)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        if (const u32 byte = Code >> shift & 0xFF; byte != 0 || !bytes.empty() || shift == 0)
            bytes += static_cast<char>(byte);
    if (ucnv_getType(Converter) == UCNV_EBCDIC_STATEFUL && bytes.size() == 2) bytes = "\x0E" + bytes + "\x0F";
    char16_t units[8];
    UErrorCode status = U_ZERO_ERROR;
    const i32 count = ucnv_toUChars(Converter, units, 8, bytes.data(), static_cast<i32>(bytes.size()), &status);
    return U_FAILURE(status) || count != 1 || units[0] == 0xFFFD ? IcuNone : units[0];
}

// The code of a character; IcuNone when it has none.
inline u32 Icu_Code(UConverter *Converter, u32 Character)
{
    if (Character >= 0xD800 && Character <= 0xDFFF) return IcuNone;
    const char16_t unit = static_cast<char16_t>(Character);
    char bytes[16];
    UErrorCode status = U_ZERO_ERROR;
    const i32 count = ucnv_fromUChars(Converter, bytes, sizeof bytes, &unit, 1, &status);
    if (U_FAILURE(status) || count == 0) return IcuNone;
    const bool shifted = ucnv_getType(Converter) == UCNV_EBCDIC_STATEFUL;
    u32 code = 0;
    u32 length = 0;
    for (i32 i = 0; i < count; ++i) {
        const u8 byte = static_cast<u8>(bytes[i]);
        if (shifted && (byte == 0x0E || byte == 0x0F)) continue;
        code = code << 8 | byte;
        ++length;
    }
    return length == 0 ? IcuNone : code;
}

#endif
