// Calls of the library, with storage from the heap and the conversion of screen_text.

#include "screen_library.h"

#include "screen_text.h"
#include "terbm_stream.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

u32 allocate(u32 size, void **block)
{
    *block = std::malloc(size != 0 ? size : 1);
    return *block == nullptr ? TERBM_ERR_NO_STORAGE : ERZ_OK;
}

u32 release(void *block)
{
    std::free(block);
    return ERZ_OK;
}

// A block that the library may replace.
u8 *copyOf(const std::string &stream)
{
    void *block = nullptr;
    if (allocate(static_cast<u32>(stream.size()), &block) != ERZ_OK) throw std::bad_alloc();
    std::memcpy(block, stream.data(), stream.size());
    return static_cast<u8 *>(block);
}

std::string textOf(const u8 *bytes, u16 length)
{
    return std::string(reinterpret_cast<const char *>(bytes), length);
}

} // namespace

Screen_Translated Screen_Translate(const std::string &Stream, const Screen_TranslateOptions &Options)
{
    u8 *const source = copyOf(Stream);
    u8 *buffer = source;
    u16 length = static_cast<u16>(Stream.size());
    int mode = Options.DoubleByteMode;
    i32 descriptor = Options.ToAscii ? Screen_FromEbcdic : Screen_ToEbcdic;
    if (mode == 0 && Options.KeepFraming) {
        mode = Options.ToAscii ? 2 : 1;
    } else if (mode == 0) {
        mode = 2;
        descriptor += Screen_Unframed;
    }
    const u32 code = TerBM_Translate(&buffer, &length, Options.HasCommand, !Options.HasPrefix, Options.ToAscii,
                                     allocate, release, Screen_Convert, descriptor, mode, nullptr);
    Screen_Translated result = {code, code == ERZ_OK ? textOf(buffer, length) : ""};
    if (buffer != source) release(buffer);
    release(source);
    return result;
}

Screen_Scanned Screen_Scan(const std::string &Stream, bool InsertAddresses)
{
    u8 *buffer = copyOf(Stream);
    u16 length = static_cast<u16>(Stream.size());
    Screen_Scanned result = {0, "", std::vector<u8>(TERBM_SCREEN_MAP_SIZE)};
    result.Code = TerBM_ParseTIOA(&buffer, &length, result.Map.data(), allocate, release, InsertAddresses ? 1 : 0);
    result.Stream = textOf(buffer, length);
    release(buffer);
    return result;
}

std::string Screen_CodeText(u32 Code)
{
    switch (Code) {
    case TERBM_ERR_INCOMPLETE_ORDER:
        return "TERBM_ERR_INCOMPLETE_ORDER (0x1F200001), an incomplete order or a control byte that is none";
    case TERBM_ERR_NO_STORAGE: return "TERBM_ERR_NO_STORAGE (0x1F20000B), no storage";
    case Screen_NoRoom: return "the text conversion found no room";
    case Screen_BadText: return "a text is none of its code set, or ends inside a character";
    }
    char text[32];
    std::snprintf(text, sizeof text, "code 0x%08X", Code);
    return text;
}
