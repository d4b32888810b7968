// The wall clock.

#include "tks_time.h"

#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "win32_time.h"

namespace
{

i64 microseconds(const tks_Time &Time)
{
    return i64{Time.Seconds} * 1'000'000 + Time.MicroSeconds;
}

} // namespace

TEST(tks_GetTime, AgreesWithTheSystem)
{
    struct timeval before, after;
    tks_Time now;
    gettimeofday(&before, nullptr);
    tks_GetTime(&now);
    gettimeofday(&after, nullptr);

    EXPECT_LT(now.MicroSeconds, 1'000'000u);
    EXPECT_GE(microseconds(now), i64{before.tv_sec} * 1'000'000 + before.tv_usec);
    EXPECT_LE(microseconds(now), i64{after.tv_sec} * 1'000'000 + after.tv_usec);
}

TEST(tks_GetTime, DoesNotGoBackwards)
{
    tks_Time last, now;
    tks_GetTime(&last);
    for (int i = 0; i < 100000; ++i) {
        tks_GetTime(&now);
        ASSERT_GE(microseconds(now), microseconds(last));
        last = now;
    }
}

TEST(tks_GetTime, CutsToMicroseconds)
{
    Plat_Sys.ClockGettime = [](clockid_t, struct timespec *Out) {
        *Out = {0x1'0000'0005, 999'999'999}; // behind 2106 the seconds wrap
        return 0;
    };
    tks_Time now;
    tks_GetTime(&now);
    EXPECT_EQ(now.Seconds, 5u);
    EXPECT_EQ(now.MicroSeconds, 999'999u);
}

namespace
{

i64 nanoseconds(const struct timespec &Time)
{
    return i64{Time.tv_sec} * 1'000'000'000 + Time.tv_nsec;
}

i64 systemNow(clockid_t Clock)
{
    struct timespec now;
    clock_gettime(Clock, &now);
    return nanoseconds(now);
}

// How far a reading lies outside what the system told before and behind it.
i64 outside(i64 Reading, i64 Before, i64 After)
{
    return Reading < Before ? Before - Reading : Reading > After ? Reading - After : 0;
}

// A clock of the system that tests move. The ticks may tell it too.
u32 systemReadings = 0;
i64 wallStep = 0; // nanoseconds that the wall clock is moved by
i64 slewFrom = 0; // counter from which both clocks run faster by a tenth; 0 = they do not

int movedClock(clockid_t Clock, struct timespec *Out)
{
    ++systemReadings;
    i64 now = systemNow(Clock);
    if (slewFrom != 0) now += (systemNow(CLOCK_MONOTONIC) - slewFrom) / 12;
    if (Clock == CLOCK_REALTIME) now += wallStep;
    *Out = {now / 1'000'000'000, now % 1'000'000'000};
    return 0;
}

void moveTheClock()
{
    Plat_Sys.ClockGettime = movedClock;
    Plat_Sys.TickedClock = movedClock;
}

// Reads until the ticks tell the time, so that a reading asks the system no more. False where they never do: the
// processor's counter cannot be used here.
bool waitForTicks()
{
    tks_Time now;
    const i64 end = systemNow(CLOCK_MONOTONIC) + 2'000'000'000;
    while (systemNow(CLOCK_MONOTONIC) < end) {
        const u32 before = systemReadings;
        for (int i = 0; i < 100; ++i) tks_GetTime(&now);
        if (systemReadings == before) return true;
    }
    return false;
}

} // namespace

#define NEEDS_TICKS()                                                                                                  \
    if (!waitForTicks()) GTEST_SKIP() << "the processor's counter cannot tell the time here"

// VELA_TEST_SECONDS says for how long.
TEST(tks_Now, StaysWithin50MicrosecondsOfBothClocks)
{
    const char *const asked = getenv("VELA_TEST_SECONDS");
    const i64 end = systemNow(CLOCK_MONOTONIC) + (asked != nullptr ? atoi(asked) : 2) * i64{1'000'000'000};
    i64 worst = 0, lastCounter = 0, lastWall = 0, after = 0;
    while (after < end) {
        const i64 wallBefore = systemNow(CLOCK_REALTIME), before = systemNow(CLOCK_MONOTONIC);
        const tks_Moment now = tks_Now();
        after = systemNow(CLOCK_MONOTONIC);
        const i64 wallAfter = systemNow(CLOCK_REALTIME);
        worst = std::max(worst, outside(now.Counter, before, after));
        worst = std::max(worst, outside(microseconds(now.Time), wallBefore / 1000, wallAfter / 1000) * 1000);
        ASSERT_LT(worst, 50'000);
        ASSERT_GE(now.Counter, lastCounter);
        ASSERT_GE(microseconds(now.Time), lastWall);
        lastCounter = now.Counter;
        lastWall = microseconds(now.Time);
    }
}

TEST(tks_Now, TellsBothClocksAsTheyAreToldAlone)
{
    for (int i = 0; i < 200000; ++i) {
        tks_Time before, after;
        i64 first, last;
        tks_GetTime(&before);
        QueryPerformanceCounter(&first);
        const tks_Moment now = tks_Now();
        QueryPerformanceCounter(&last);
        tks_GetTime(&after);
        ASSERT_EQ(outside(now.Counter, first, last), 0);
        ASSERT_EQ(outside(microseconds(now.Time), microseconds(before), microseconds(after)), 0);
    }
}

TEST(tks_Now, AsksTheSystemHardlyEver)
{
    moveTheClock();
    NEEDS_TICKS();
    tks_Moment now;
    systemReadings = 0;
    const i64 start = systemNow(CLOCK_MONOTONIC);
    u32 readings = 0;
    for (; systemNow(CLOCK_MONOTONIC) < start + 200'000'000; ++readings) now = tks_Now();
    EXPECT_GT(now.Counter, start);
    EXPECT_LT(systemReadings, readings / 10 + 5000);
}

TEST(tks_Now, ShowsAStepOfTheWallClockWithin10Milliseconds)
{
    moveTheClock();
    NEEDS_TICKS();
    for (const i64 step : {i64{3600}, i64{-7200}, i64{86400}}) {
        const i64 counterBefore = tks_Now().Counter;
        wallStep += step * 1'000'000'000;
        const i64 stepped = systemNow(CLOCK_MONOTONIC);
        i64 apart, taken;
        do {
            const tks_Moment now = tks_Now();
            const i64 wall = systemNow(CLOCK_REALTIME) + wallStep;
            apart = std::abs(microseconds(now.Time) - wall / 1000);
            taken = systemNow(CLOCK_MONOTONIC) - stepped;
            ASSERT_GE(now.Counter, counterBefore);
        } while (apart > 50 && taken < 1'000'000'000);
        EXPECT_LT(taken, 10'000'000) << step;
    }
}

TEST(tks_Now, KeepsUpWithASlewedClock)
{
    moveTheClock();
    NEEDS_TICKS();
    slewFrom = systemNow(CLOCK_MONOTONIC);
    const i64 end = slewFrom + 300'000'000;
    struct timespec before, after;
    i64 last = 0;
    do {
        movedClock(CLOCK_MONOTONIC, &before);
        const tks_Moment now = tks_Now();
        movedClock(CLOCK_MONOTONIC, &after);
        ASSERT_LT(outside(now.Counter, nanoseconds(before), nanoseconds(after)), 50'000);
        ASSERT_GE(now.Counter, last);
        last = now.Counter;
    } while (nanoseconds(after) < end);
}

// A test that moves the clock under the platform's feet, as a table of calls does, is obeyed at once.
TEST(tks_Now, AsksAClockThatTheTicksMayNotTellEachTime)
{
    NEEDS_TICKS();
    Plat_Sys.ClockGettime = movedClock;
    for (u32 i = 1; i < 50; ++i) {
        systemReadings = 0;
        wallStep = i64{i} * 1'000'000'000'000;
        tks_Time now;
        tks_GetTime(&now);
        EXPECT_EQ(systemReadings, 1u);
        EXPECT_NEAR(static_cast<double>(now.Seconds), static_cast<double>(time(nullptr)) + i * 1000.0, 2.0);
    }
    Plat_Sys.ClockGettime = Fault_With<EINVAL>{};
    const tks_Moment now = tks_Now();
    EXPECT_EQ(now.Counter, 0);
    EXPECT_EQ(now.Time.Seconds, 0u);
}

TEST(tks_Now, EveryThreadTellsTheSameTime)
{
    std::vector<std::thread> threads;
    std::atomic<i64> worst = 0;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100000; ++i) {
                const i64 before = systemNow(CLOCK_MONOTONIC);
                const i64 counter = tks_Now().Counter;
                const i64 apart = outside(counter, before, systemNow(CLOCK_MONOTONIC));
                if (apart > worst) worst = apart;
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_LT(worst, 50'000);
}

TEST(tks_TimeToANSI, GivesTheSeconds)
{
    const tks_Time time = {0xFFFFFFFFu, 1};
    EXPECT_EQ(tks_TimeToANSI(&time), 4294967295);
}
