// The wall clock.

#include "tks_time.h"

#include <sys/time.h>

#include <gtest/gtest.h>

#include "plat_faults.h"

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

TEST(tks_TimeToANSI, GivesTheSeconds)
{
    const tks_Time time = {0xFFFFFFFFu, 1};
    EXPECT_EQ(tks_TimeToANSI(&time), 4294967295);
}
