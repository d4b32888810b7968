#ifndef FUZZ_SUPPORT_H
#define FUZZ_SUPPORT_H

// What the fuzz targets share: blocks of exactly their size, storage that knows what it handed out, requirements.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "plat_types.h"

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size);

// Ends the program where a property does not hold: the fuzzer then keeps the input.
#define FUZZ_REQUIRE(Condition)                                                                                        \
    do {                                                                                                               \
        if (Condition) break;                                                                                          \
        dprintf(2, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #Condition);                                      \
        std::abort();                                                                                                  \
    } while (0)

// Sends what the library writes to standard error away; the fuzzer and the sanitizers keep the descriptor.
inline void Fuzz_BeQuiet()
{
    static FILE *const away = std::fopen("/dev/null", "w");
    if (away != nullptr) stderr = away;
}

// Blocks in hand. A block that is released twice, or was never handed out, ends the program.
inline std::set<void *> Fuzz_Blocks;

inline u32 Fuzz_Allocate(u32 Size, void **Block)
{
    *Block = std::malloc(Size);
    FUZZ_REQUIRE(*Block != nullptr);
    Fuzz_Blocks.insert(*Block);
    return 0;
}

inline u32 Fuzz_Free(void *Block)
{
    FUZZ_REQUIRE(Fuzz_Blocks.erase(Block) == 1);
    std::free(Block);
    return 0;
}

// A copy in a block of just that size: a sanitizer sees one byte too far.
inline u8 *Fuzz_ExactCopy(const u8 *Data, size_t Size)
{
    void *block = nullptr;
    Fuzz_Allocate(static_cast<u32>(Size), &block);
    if (Size > 0) std::memcpy(block, Data, Size);
    return static_cast<u8 *>(block);
}

#endif
