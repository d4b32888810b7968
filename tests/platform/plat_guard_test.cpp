// Guarded blocks, and reads of memory that may not be there.

#include "plat_guard.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "fault_makers.h"
#include "plat_faults.h"

namespace
{

u32 codeOf(void (*fault)())
{
    u32 code = 0;
    PLAT_TRY
    {
        fault();
    }
    PLAT_EXCEPT
    {
        code = platGuard.Exception.ExceptionCode;
    }
    PLAT_END
    return code;
}

// Two pages of which only the first can be read.
u8 *halfPages()
{
    void *const block = mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(block, MAP_FAILED);
    u8 *const pages = static_cast<u8 *>(block);
    memset(pages, 0x5A, 4096);
    EXPECT_EQ(mprotect(pages + 4096, 4096, PROT_NONE), 0);
    return pages;
}

} // namespace

TEST(Guards, TakesEveryFault)
{
    for (u32 round = 0; round < 3; ++round) {
        EXPECT_EQ(codeOf([] { Make_Write(0); }), 0xC0000005u);
        EXPECT_EQ(codeOf([] { Make_Division(); }), 0xC0000094u);
        EXPECT_EQ(codeOf([] { Make_IllegalInstruction(); }), 0xC000001Du);
        EXPECT_EQ(codeOf([] { Make_Breakpoint(); }), 0x80000003u);
        EXPECT_EQ(codeOf([] { raise(SIGBUS); }), 0xC0000006u);
        EXPECT_EQ(codeOf([] {}), 0u);
    }
}

TEST(Guards, TakesAnOverflowOfTheStack)
{
    plat_FaultStack();
    EXPECT_EQ(codeOf([] { Make_StackOverflow(0); }), 0xC00000FDu);
    EXPECT_EQ(codeOf([] { Make_StackOverflow(0); }), 0xC00000FDu);
}

TEST(Guards, TellsWhereItWas)
{
    PLAT_TRY
    {
        Make_Write(0x4440);
    }
    PLAT_EXCEPT
    {
        EXPECT_EQ(platGuard.Exception.ExceptionInformation[0], 1u);
        EXPECT_EQ(platGuard.Exception.ExceptionInformation[1], 0x4440u);
        EXPECT_EQ(platGuard.Context.Eax, 0x4440u);
    }
    PLAT_END
}

static std::vector<int> steps;

static void faultsAgainInItsHandler()
{
    PLAT_TRY
    {
        Make_Write(0);
    }
    PLAT_EXCEPT
    {
        steps.push_back(1);
        Make_Division(); // the next guard's
    }
    PLAT_END
    steps.push_back(99);
}

TEST(Guards, Nest)
{
    PLAT_TRY
    {
        faultsAgainInItsHandler();
    }
    PLAT_EXCEPT
    {
        steps.push_back(platGuard.Exception.ExceptionCode == 0xC0000094 ? 2 : 98);
    }
    PLAT_END
    EXPECT_EQ(steps, (std::vector<int>{1, 2}));
}

TEST(Guards, AnInnerBlockThatEndsWellLeavesTheOuterOne)
{
    static int taken;
    taken = 0;
    PLAT_TRY
    {
        EXPECT_EQ(codeOf([] {}), 0u);
        Make_Write(0);
    }
    PLAT_EXCEPT
    {
        taken = 1;
    }
    PLAT_END
    EXPECT_EQ(taken, 1);
}

TEST(Guards, BelongsToItsThread)
{
    std::vector<std::thread> threads;
    std::vector<u32> taken(4, 0);
    for (size_t i = 0; i < taken.size(); ++i)
        threads.emplace_back([&taken, i] {
            for (u32 round = 0; round < 500; ++round)
                taken[i] += codeOf(i % 2 == 0 ? [] { Make_Write(0); } : [] { Make_Division(); }) ==
                            (i % 2 == 0 ? 0xC0000005u : 0xC0000094u);
        });
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(taken, std::vector<u32>(4, 500));
}

TEST(Guards, AFaultOutsideEndsTheProcess)
{
    EXPECT_EXIT(
        {
            Make_PlainFaults();
            codeOf([] {});
            Make_Write(0);
        },
        testing::KilledBySignal(SIGSEGV), "");
    EXPECT_EXIT(
        {
            Make_PlainFaults();
            codeOf([] {});
            Make_Breakpoint();
        },
        testing::KilledBySignal(SIGTRAP), "");
}

TEST(plat_safe_read, ReadsOrSaysNo)
{
    for (const bool byPipe : {false, true}) {
        if (byPipe) Plat_Sys.ProcessVmReadv = Fault_With<ENOSYS>{};
        u8 *const pages = halfPages();
        u8 copy[8192] = {};
        errno = 77;
        EXPECT_EQ(plat_safe_read(copy, pages, 4096), 1);
        EXPECT_EQ(memcmp(copy, pages, 4096), 0);
        EXPECT_EQ(plat_safe_read(copy, pages, 4097), 0);
        EXPECT_EQ(plat_safe_read(copy, pages + 4095, 1), 1);
        EXPECT_EQ(plat_safe_read(copy, pages + 4096, 1), 0);
        EXPECT_EQ(plat_safe_read(copy, nullptr, 1), 0);
        EXPECT_EQ(plat_safe_read(copy, nullptr, 0), 1);
        EXPECT_EQ(plat_safe_read(copy, reinterpret_cast<void *>(UINTPTR_MAX - 2), 8), 0);
        EXPECT_EQ(plat_safe_read(copy, reinterpret_cast<void *>(0x9000000000000000u), 8), 0);
        EXPECT_EQ(errno, 77);
    }
    Plat_Sys.Pipe2 = Fault_With<EMFILE>{};
    u8 byte;
    EXPECT_EQ(plat_safe_read(&byte, &byte, 1), 0);
}

TEST(IsBadReadPtr, LooksAtEveryPage)
{
    u8 *const pages = halfPages();
    EXPECT_EQ(IsBadReadPtr(pages, 4096), 0);
    EXPECT_EQ(IsBadReadPtr(pages + 4095, 1), 0);
    EXPECT_NE(IsBadReadPtr(pages + 4095, 2), 0);
    EXPECT_NE(IsBadReadPtr(pages + 4096, 1), 0);
    EXPECT_EQ(IsBadReadPtr(pages + 4096, 0), 0);
    EXPECT_NE(IsBadReadPtr(nullptr, 1), 0);
    EXPECT_EQ(IsBadReadPtr(nullptr, 0), 0);
    EXPECT_NE(IsBadReadPtr(reinterpret_cast<void *>(UINTPTR_MAX), 2), 0);
    EXPECT_NE(IsBadReadPtr(reinterpret_cast<void *>(UINTPTR_MAX - 0x1F), 0x60), 0);
}
