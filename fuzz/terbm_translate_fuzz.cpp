// TerBM_Translate on any stream, with any arguments and any answer of the conversion.
//
// Input: four bytes (1: command, 2: prefix, 4: EBCDIC source, 8: descriptor -2, 16: with a map; the mode of double-byte
// text; what Convert answers; a seed of the map), then a stream of at most 65535 bytes.
// Must hold: nothing outside of stream and map is touched; a call that fails leaves Buffer and Length as they were; every
// work buffer is released; Convert is told of no more than it may write. Left out by contract: descriptor -2 with a
// result longer than the caller's block, so there the block is as large as any result.

#include "fuzz_support.h"
#include "terbm_stream.h"

namespace
{

u8 temper;

u32 convert(u32, u8 *source, u16 sourceLength, u8 *target, u16 targetSize, u16 *outLength)
{
    FUZZ_REQUIRE(sourceLength > 0);
    u32 wanted = sourceLength;
    switch (temper % 8) {
    case 0: break;
    case 1: wanted += 2; break; // framed
    case 2: wanted *= 2; break;
    case 3: wanted /= 3; break;
    case 4: wanted = targetSize; break;
    case 5: wanted = 0xFFFF; break; // whatever it was told
    case 6: return sourceLength % 3 == 0 ? 77 : 0; // refuses some, drops the others
    case 7: wanted = sourceLength % 5; break;
    }
    if (wanted > targetSize && temper % 8 != 5) return 78;
    for (u32 at = 0; at < wanted; ++at) target[at] = source[at % sourceLength];
    if (temper % 8 == 1) {
        target[0] = 0x0E;
        target[wanted - 1] = 0x0F;
    }
    *outLength = static_cast<u16>(wanted);
    return 0;
}

u8 *makeMap(u8 seed)
{
    void *block = nullptr;
    Fuzz_Allocate(TERBM_SCREEN_MAP_SIZE, &block);
    u8 *const map = static_cast<u8 *>(block);
    std::memset(map, 0, TERBM_SCREEN_MAP_SIZE);
    for (u32 at = seed; seed != 0 && at < TERBM_SCREEN_MAP_SIZE; at += seed)
        map[at] = at / seed % 2 ? TERBM_MAP_DOUBLE_BYTE : TERBM_MAP_SINGLE_BYTE;
    return map;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size)
{
    if (Size < 4 || Size > 0x10003) return 0;
    Fuzz_BeQuiet(); // failing streams leave symptoms

    const u8 switches = Data[0];
    const i32 mode = Data[1] % 5;
    temper = Data[2];
    const u16 oldLength = static_cast<u16>(Size - 4);
    const bool asIs = (switches & 8) != 0;
    u8 *const map = switches & 16 ? makeMap(Data[3]) : nullptr;

    u8 *stream;
    if (asIs) {
        void *block = nullptr;
        Fuzz_Allocate(0x10000, &block);
        stream = static_cast<u8 *>(block);
        if (oldLength > 0) std::memcpy(stream, Data + 4, oldLength);
    } else {
        stream = Fuzz_ExactCopy(Data + 4, oldLength);
    }
    u8 *buffer = stream;
    u16 length = oldLength;
    const u32 code = TerBM_Translate(&buffer, &length, switches & 1, (switches & 2) == 0, (switches & 4) != 0,
                                     Fuzz_Allocate, Fuzz_Free, convert, asIs ? -2 : 5, mode, map);
    if (code != ERZ_OK) FUZZ_REQUIRE(buffer == stream && length == oldLength);
    FUZZ_REQUIRE((buffer != stream) == (code == ERZ_OK && !asIs));
    if (buffer != stream) Fuzz_Free(buffer);
    Fuzz_Free(stream);
    if (map != nullptr) Fuzz_Free(map);
    FUZZ_REQUIRE(Fuzz_Blocks.empty());
    return 0;
}
