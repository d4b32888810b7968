// Tracked allocation: results, what a failure leaves, and what the trace shows.

#include "supos_allocation.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "failing_malloc.h"
#include "no_memory.h"
#include "ring_reader.h"

namespace
{

std::string entryText(const char *Function)
{
    std::string text;
    for (const Ring_Record &record : Ring_Records())
        if (record.Function == Function && !record.Text.empty()) text = record.Text;
    return text;
}

} // namespace

size_t FailingMalloc_Size;

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" void *__libc_malloc(size_t Size);
extern "C" void *__libc_realloc(void *Block, size_t Size);

extern "C" void *malloc(size_t Size)
{
    return FailingMalloc_Size != 0 && Size == FailingMalloc_Size ? nullptr : __libc_malloc(Size);
}

extern "C" void *realloc(void *Block, size_t Size)
{
    return FailingMalloc_Size != 0 && Size == FailingMalloc_Size ? nullptr : __libc_realloc(Block, Size);
}
#endif

TEST(SupOS_Allocate, GivesABlock)
{
    void *block = nullptr;
    EXPECT_EQ(SupOS_Allocate(100, &block), ERZ_OK);
    ASSERT_NE(block, nullptr);
    memset(block, 0x5A, 100);
    EXPECT_EQ(SupOS_Deallocate(block), ERZ_OK);
}

TEST(SupOS_Allocate, ABlockOfNoBytesIsABlock)
{
    void *block = nullptr;
    EXPECT_EQ(SupOS_Allocate(0, &block), ERZ_OK);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(SupOS_Deallocate(block), ERZ_OK);
}

TEST(SupOS_AllocateRE, ClearsTheBlock)
{
    void *dirty = nullptr; // the heap gives it out again
    ASSERT_EQ(SupOS_Allocate(200, &dirty), ERZ_OK);
    memset(dirty, 0x5A, 200);
    SupOS_Deallocate(dirty);

    void *block = nullptr;
    ASSERT_EQ(SupOS_AllocateRE(200, "ERZ58TST", &block), ERZ_OK);
    static const char zeros[200] = {};
    EXPECT_EQ(memcmp(block, zeros, sizeof zeros), 0);
    EXPECT_EQ(SupOS_DeallocateRE(block), ERZ_OK);
}

TEST(SupOS_Reallocate, KeepsTheBytes)
{
    void *block = nullptr;
    ASSERT_EQ(SupOS_Allocate(4, &block), ERZ_OK);
    memcpy(block, "abcd", 4);
    EXPECT_EQ(SupOS_Reallocate(&block, 4000), ERZ_OK);
    EXPECT_EQ(memcmp(block, "abcd", 4), 0);
    SupOS_Deallocate(block);
}

TEST(SupOS_Reallocate, MakesABlockOfNone)
{
    void *block = nullptr;
    EXPECT_EQ(SupOS_Reallocate(&block, 8), ERZ_OK);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(SupOS_ReallocateRE(&block, 16), ERZ_OK);
    SupOS_DeallocateRE(block);
}

TEST(SupOS_Reallocate, ShrunkToNothingIsStillABlock)
{
    void *block = nullptr;
    ASSERT_EQ(SupOS_Allocate(100, &block), ERZ_OK);
    EXPECT_EQ(SupOS_Reallocate(&block, 0), ERZ_OK);
    EXPECT_NE(block, nullptr);
    SupOS_Deallocate(block);
}

TEST(SupOS_Deallocate, TakesNull)
{
    EXPECT_EQ(SupOS_Deallocate(nullptr), ERZ_OK);
    EXPECT_EQ(SupOS_DeallocateRE(nullptr), ERZ_OK);
}

TEST(SupOS_Allocate, SaysWhenThereIsNoMemory)
{
    NO_MEMORY_SKIP();
    EXPECT_EQ(NoMemory_Run([] {
                  void *block = &block;
                  return SupOS_Allocate(1 << 20, &block) == SupOS_RC_NOMEM && block == nullptr ? 7 : 0;
              }),
              7);
    EXPECT_EQ(NoMemory_Run([] {
                  void *block = &block;
                  return SupOS_AllocateRE(1 << 20, "ERZ58TST", &block) == SupOS_RC_NOMEM && block == nullptr ? 7 : 0;
              }),
              7);
}

TEST(SupOS_Reallocate, LeavesTheBlockWhenThereIsNoMemory)
{
    NO_MEMORY_SKIP();
    void *block = nullptr;
    ASSERT_EQ(SupOS_Allocate(4, &block), ERZ_OK);
    memcpy(block, "abcd", 4);
    for (u32 (*resize)(void **, u32) : {SupOS_Reallocate, SupOS_ReallocateRE}) {
        EXPECT_EQ(NoMemory_Run([&] {
                      void *const before = block;
                      if (resize(&block, 1 << 20) != SupOS_RC_REALLOC || block != before) return 0;
                      return memcmp(block, "abcd", 4) == 0 ? 7 : 0;
                  }),
                  7);
    }
    SupOS_Deallocate(block);
}

TEST(SupOS_AllocateRE, ShowsSizeAndLabelInTheTrace)
{
    Ring_TraceOn();
    void *block = nullptr;
    SupOS_AllocateRE(321, "ERZ58TST", &block);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AllocateRE"), 1u);
    EXPECT_EQ(entryText("SupOS_AllocateRE").substr(0, 15), "(321, ERZ58TST,");
    SupOS_ReallocateRE(&block, 400);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ReallocateRE"), 1u);
    SupOS_DeallocateRE(block);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_DeallocateRE"), 1u);

    SupOS_Allocate(123, &block);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Allocate"), 1u);
    EXPECT_EQ(entryText("SupOS_Allocate").substr(0, 6), "(123, ");
    SupOS_Reallocate(&block, 456);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Reallocate"), 1u);
    EXPECT_NE(entryText("SupOS_Reallocate").find(", 456)"), std::string::npos);
    SupOS_Deallocate(block);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Deallocate"), 1u);
}

TEST(SupOS_Allocate, TracesItsFailure)
{
    NO_MEMORY_SKIP();
    constexpr u32 size = 123457;
    Ring_TraceOn();
    void *block = nullptr;
    FailingMalloc_Size = size;
    EXPECT_EQ(SupOS_Allocate(size, &block), SupOS_RC_NOMEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Allocate"), 2u);
    EXPECT_EQ(SupOS_AllocateRE(size, "ERZ58TST", &block), SupOS_RC_NOMEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AllocateRE"), 2u);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(SupOS_Reallocate(&block, size), SupOS_RC_REALLOC);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Reallocate"), 2u);
    EXPECT_EQ(SupOS_ReallocateRE(&block, size), SupOS_RC_REALLOC);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ReallocateRE"), 2u);
    FailingMalloc_Size = 0;
}
