// The heap with source locations.

#include "tks_memory.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "plat_sys.h"

static constinit std::atomic<u32> failIn = 0; // calls until the one that fails; 0 = none

static bool mustFail()
{
    u32 left = failIn.load(std::memory_order_relaxed);
    while (left != 0) {
        if (failIn.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) return left == 1;
    }
    return false;
}

void *tks_trace_Malloc(size_t Size, const char *, i32)
{
    if (__builtin_expect(mustFail(), 0)) {
        errno = ENOMEM;
        return nullptr;
    }
    return Plat_Sys.Malloc(Size);
}

void tks_trace_Free(void *Block)
{
    free(Block);
}

void tks_TestFailMalloc(u32 Nth)
{
    failIn.store(Nth, std::memory_order_relaxed);
}
