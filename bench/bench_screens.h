#ifndef BENCH_SCREENS_H
#define BENCH_SCREENS_H

// Host screens for benchmarks, and their translation with a conversion that costs next to nothing.

#include <map>
#include <string>
#include <vector>

#include "vela_types.h"

using Bench_Bytes = std::vector<u8>;

// The recorded screens of at least 500 bytes by name, or one that is composed where they are absent.
std::map<std::string, Bench_Bytes> Bench_Screens();

// Lines of a field each, in EBCDIC form, up to a size.
Bench_Bytes Bench_ComposedScreen(size_t Size);

// Storage for the calls that want it, by malloc.
u32 Bench_Allocate(u32 Size, void **Block);
u32 Bench_Release(void *Block);

// TerBM_Translate on a stream, in place or into a new block of malloc.
u32 Bench_Translate(u8 **Buffer, u16 *Length, bool ToAscii);

#endif
