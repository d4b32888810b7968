// The heap with source locations.

#include "tks_memory.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "plat_faults.h"

TEST(tks_trace_Malloc, GivesBlocks)
{
    char *const block = static_cast<char *>(tks_trace_Malloc(1000, __FILE__, __LINE__));
    ASSERT_NE(block, nullptr);
    memset(block, 1, 1000);
    tks_trace_Free(block);
    tks_trace_Free(nullptr);

    void *const empty = tks_trace_Malloc(0, nullptr, 0);
    EXPECT_NE(empty, nullptr);
    tks_trace_Free(empty);
}

TEST(tks_trace_Malloc, GivesNullWithoutMemory)
{
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(tks_trace_Malloc(10, "file", 1), nullptr);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(tks_TestFailMalloc, FailsTheNthCallOnce)
{
    for (const u32 nth : {1u, 2u, 5u}) {
        tks_TestFailMalloc(nth);
        for (u32 call = 1; call <= 8; ++call) {
            errno = 0;
            void *const block = tks_trace_Malloc(10, "file", 1);
            EXPECT_EQ(block == nullptr, call == nth) << nth << " " << call;
            EXPECT_EQ(errno, call == nth ? ENOMEM : 0);
            tks_trace_Free(block);
        }
    }
}

TEST(tks_TestFailMalloc, IsSwitchedOffByZero)
{
    tks_TestFailMalloc(1);
    tks_TestFailMalloc(0);
    void *const block = tks_trace_Malloc(10, "file", 1);
    EXPECT_NE(block, nullptr);
    tks_trace_Free(block);
}
