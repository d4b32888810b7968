// Recorded screens are read where they lie beside the project; the library takes all but those that are meant to be refused.

#include "bench_screens.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "terbm_stream.h"

namespace
{

constexpr i32 toAsciiDescriptor = 1;
constexpr i32 toEbcdicDescriptor = 2;

// As cheap as a conversion can be, so that what is measured is the translation. To ASCII it gives printable characters.
u32 copyText(u32 descriptor, u8 *source, u16 sourceLength, u8 *target, u16, u16 *outLength)
{
    if (descriptor == toAsciiDescriptor)
        for (u16 at = 0; at < sourceLength; ++at) target[at] = static_cast<u8>((source[at] & 0x3F) + 0x20);
    else
        std::memcpy(target, source, sourceLength);
    *outLength = sourceLength;
    return 0;
}

} // namespace

u32 Bench_Allocate(u32 Size, void **Block)
{
    *Block = std::malloc(Size);
    return 0;
}

u32 Bench_Release(void *Block)
{
    std::free(Block);
    return 0;
}

u32 Bench_Translate(u8 **Buffer, u16 *Length, bool ToAscii)
{
    return TerBM_Translate(Buffer, Length, 1, 1, ToAscii, Bench_Allocate, Bench_Release, copyText,
                           ToAscii ? toAsciiDescriptor : toEbcdicDescriptor, ToAscii ? 2 : 1, nullptr);
}

Bench_Bytes Bench_ComposedScreen(size_t Size)
{
    static const u8 graphic[] = {0x40, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7};
    Bench_Bytes stream = {0x05, 0xC3};
    for (size_t line = 0; stream.size() + 60 <= Size; ++line) {
        const u8 field[] = {0x11, graphic[line % 8], graphic[line / 8 % 8], 0x29, 0x02, 0xC0, 0xF0, 0x42, 0xF2};
        stream.insert(stream.end(), std::begin(field), std::end(field));
        stream.insert(stream.end(), 40, static_cast<u8>(0xC1 + line % 9));
        stream.insert(stream.end(), {0x1D, 0x40});
    }
    stream.resize(Size, 0xC1);
    return stream;
}

std::map<std::string, Bench_Bytes> Bench_Screens()
{
    std::map<std::string, Bench_Bytes> found;
    const std::filesystem::path folder = VELA_BENCH_RECORDS;
    std::error_code absent;
    for (const auto &entry : std::filesystem::directory_iterator(folder, absent)) {
        const std::string name = entry.path().filename().string();
        if (name.find(".ebc.bin") == std::string::npos || name.find("_in_") != std::string::npos ||
            name.find("_bad_") != std::string::npos || entry.file_size() < 500)
            continue;
        std::ifstream in(entry.path(), std::ios::binary);
        found[name.substr(0, name.find('.'))] = Bench_Bytes(std::istreambuf_iterator<char>(in), {});
    }
    if (found.empty()) found["composed"] = Bench_ComposedScreen(1900);
    return found;
}
