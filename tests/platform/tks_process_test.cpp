// The end of the process.

#include "tks_process.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "plat_fault.h"

TEST(tks_Exit, KeepsTheLowByteOfTheCode)
{
    EXPECT_EXIT(tks_Exit(0), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(tks_Exit(99), testing::ExitedWithCode(99), "");
    EXPECT_EXIT(tks_Exit(0x1CC00003), testing::ExitedWithCode(3), "");
    EXPECT_EXIT(tks_Exit(-1), testing::ExitedWithCode(255), "");
}

// Output on descriptor 2, so that the death test sees it.
static void bufferedText(const char *Text)
{
    dup2(2, 1);
    printf("%s", Text);
}

TEST(tks_Exit, FlushesStreamsAndRunsExitRoutines)
{
    const auto end = [] {
        bufferedText("buffered ");
        atexit([] { printf("routine"); });
        tks_Exit(4);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(4), "buffered routine");
}

TEST(tks_Exit, EndsFromAnExitRoutine)
{
    const auto end = [] {
        bufferedText("");
        atexit([] { printf("never"); });
        atexit([] {
            printf("first ");
            tks_Exit(6);
        });
        tks_Exit(5);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(6), "^first $");
}

TEST(tks_Exit, LetsTheFirstOfTwoThreadsEnd)
{
    const auto end = [] {
        bufferedText("");
        atexit([] {
            std::thread([] { tks_Exit(9); }).detach();
            usleep(100000);
            printf("first alone");
        });
        tks_Exit(8);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(8), "first alone");
}

TEST(tks_Exit, DoesLessInsideAFault)
{
    const auto end = [] {
        bufferedText("flushed");
        atexit([] { printf(" and a routine"); });
        Plat_FaultEnter();
        tks_Exit(10);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(10), "^flushed$");
}

TEST(tks_Exit, DoesNotHangInAFaultOnALockedStream)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer holds signals back from a thread that waits inside the C library";
#endif
    const auto end = [] {
        std::thread([] {
            flockfile(stdout);
            for (;;) pause();
        }).detach();
        usleep(100000);
        Plat_FaultEnter();
        tks_Exit(11);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(11), "");
}

TEST(Plat_InFault, NestsAndIsOfItsThread)
{
    EXPECT_EQ(Plat_InFault(), 0);
    Plat_FaultLeave();
    EXPECT_EQ(Plat_InFault(), 0);
    Plat_FaultEnter();
    Plat_FaultEnter();
    Plat_FaultLeave();
    EXPECT_EQ(Plat_InFault(), 1);
    std::thread([] { EXPECT_EQ(Plat_InFault(), 0); }).join();
    Plat_FaultLeave();
    EXPECT_EQ(Plat_InFault(), 0);
}
