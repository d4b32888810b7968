// TerBM_ParseTIOA on any stream.
//
// Input: one byte of switches (1: insert addresses, 2: with a map, 4: a map full of fields, 8: the second allocation
// fails), then a stream of at most 65535 bytes.
// Must hold: nothing outside of stream and map is touched; without an insertion the stream is the caller's own, its text
// unchanged and not longer than it was; with one the old block is gone and the new one is in hand; taking the insertions
// out again gives the old stream; a second scan of a complete result inserts nothing.

#include "fuzz_support.h"
#include "terbm_stream.h"

namespace
{

u32 allocations;
bool secondFails;

u32 allocate(u32 size, void **block)
{
    FUZZ_REQUIRE(size <= 0xFFFF);
    if (++allocations == 2 && secondFails) return 1;
    return Fuzz_Allocate(size, block);
}

bool isField(u8 byte)
{
    return byte == 0x10 || byte == 0x1A || byte == 0x1D;
}

// Walks both streams; each insertion stands where the old one has a field order.
void requireOnlyInsertions(const u8 *before, size_t oldLength, const u8 *after, size_t newLength)
{
    size_t at = 0;
    for (size_t now = 0; now < newLength;) {
        FUZZ_REQUIRE(at < oldLength);
        if (after[now] == before[at]) {
            ++now;
            ++at;
            continue;
        }
        FUZZ_REQUIRE(after[now] == 0x11 && isField(before[at]) && now + 3 < newLength);
        now += 3;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size)
{
    if (Size < 1 || Size > 0x10000) return 0;
    const u8 switches = Data[0];
    const u8 *const before = Data + 1;
    const u16 oldLength = static_cast<u16>(Size - 1);
    allocations = 0;
    secondFails = (switches & 8) != 0;

    u8 *map = nullptr;
    if (switches & 2) {
        void *block = nullptr;
        Fuzz_Allocate(TERBM_SCREEN_MAP_SIZE, &block);
        map = static_cast<u8 *>(block);
        std::memset(map, switches & 4 ? TERBM_MAP_DOUBLE_BYTE : TERBM_MAP_NOTHING, TERBM_SCREEN_MAP_SIZE);
    }
    u8 *const stream = Fuzz_ExactCopy(before, oldLength);
    u8 *buffer = stream;
    u16 length = oldLength;
    const u32 code = TerBM_ParseTIOA(&buffer, &length, map, allocate, Fuzz_Free, switches & 1);
    FUZZ_REQUIRE(code == ERZ_OK || code == TERBM_ERR_INCOMPLETE_ORDER || code == TERBM_ERR_NO_STORAGE);
    FUZZ_REQUIRE(Fuzz_Blocks.count(buffer) == 1);
    FUZZ_REQUIRE(Fuzz_Blocks.size() == (map != nullptr ? 2u : 1u));

    if (buffer == stream) {
        FUZZ_REQUIRE(length <= oldLength && (code != ERZ_OK || length == oldLength));
        FUZZ_REQUIRE(length == 0 || std::memcmp(buffer, before, length) == 0);
    } else {
        FUZZ_REQUIRE((switches & 1) != 0);
        requireOnlyInsertions(before, oldLength, buffer, length);
    }

    if (code == ERZ_OK && (switches & 1)) {
        u8 *const first = buffer;
        const u16 firstLength = length;
        const u32 again = TerBM_ParseTIOA(&buffer, &length, map, allocate, Fuzz_Free, 1);
        FUZZ_REQUIRE(again == ERZ_OK && buffer == first && length == firstLength);
    }
    Fuzz_Free(buffer);
    if (map != nullptr) Fuzz_Free(map);
    return 0;
}
