// Counter, local time and date.

#include "win32_time.h"

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "win32_error.h"

namespace
{

// 2023-11-05 09:03:07.25 UTC, a Sunday.
int fixedClock(clockid_t, struct timespec *Out)
{
    *Out = {1699174987, 250'999'999};
    return 0;
}

} // namespace

TEST(QueryPerformanceCounter, GoesForwardInNanoseconds)
{
    i64 before = 0, after = 0;
    ASSERT_EQ(QueryPerformanceCounter(&before), 1);
    usleep(20000);
    ASSERT_EQ(QueryPerformanceCounter(&after), 1);
    EXPECT_GE(after - before, 20'000'000);
    EXPECT_LT(after - before, 10'000'000'000);
    for (int i = 0; i < 10000; ++i) {
        QueryPerformanceCounter(&before);
        ASSERT_GE(before, after);
        after = before;
    }
}

TEST(QueryPerformanceCounter, Fails)
{
    i64 counter = 5;
    EXPECT_EQ(QueryPerformanceCounter(nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOACCESS);
    Plat_Sys.ClockGettime = Fault_With<EINVAL>{};
    EXPECT_EQ(QueryPerformanceCounter(&counter), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(counter, 5);
}

TEST(GetLocalTime, FillsEveryField)
{
    Plat_Sys.ClockGettime = fixedClock;
    setenv("TZ", "XYZ-2", 1);
    SYSTEMTIME now;
    memset(&now, 0xFF, sizeof now);
    GetLocalTime(&now);
    EXPECT_EQ(now.wYear, 2023);
    EXPECT_EQ(now.wMonth, 11);
    EXPECT_EQ(now.wDayOfWeek, 0);
    EXPECT_EQ(now.wDay, 5);
    EXPECT_EQ(now.wHour, 11);
    EXPECT_EQ(now.wMinute, 3);
    EXPECT_EQ(now.wSecond, 7);
    EXPECT_EQ(now.wMilliseconds, 250);
    EXPECT_EQ(sizeof now, 16u);
}

TEST(GetDateFormatA, GivesTheShortDate)
{
    Plat_Sys.ClockGettime = fixedClock;
    setenv("TZ", "UTC", 1);
    char out[20];
    memset(out, '~', sizeof out);
    EXPECT_EQ(GetDateFormatA(0x800, 1, nullptr, nullptr, out, sizeof out), 9);
    EXPECT_STREQ(out, "11/05/23");
    EXPECT_EQ(out[9], '~');
}

TEST(GetDateFormatA, KeepsItsBound)
{
    Plat_Sys.ClockGettime = fixedClock;
    char out[20] = "kept";
    EXPECT_EQ(GetDateFormatA(0x800, 1, nullptr, nullptr, out, 8), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_STREQ(out, "kept");
    EXPECT_EQ(GetDateFormatA(0x800, 1, nullptr, nullptr, out, 9), 9);
    EXPECT_EQ(GetDateFormatA(0x800, 1, nullptr, nullptr, nullptr, 0), 9);
}

TEST(GetDateFormatA, RefusesWhatIsNotOffered)
{
    char out[20] = "kept";
    const SYSTEMTIME date = {};
    const auto refused = [](i32 Result) { return Result == 0 && GetLastError() == ERROR_INVALID_PARAMETER; };
    EXPECT_TRUE(refused(GetDateFormatA(0x400, 1, nullptr, nullptr, out, 20)));
    EXPECT_TRUE(refused(GetDateFormatA(0x800, 2, nullptr, nullptr, out, 20)));
    EXPECT_TRUE(refused(GetDateFormatA(0x800, 1, &date, nullptr, out, 20)));
    EXPECT_TRUE(refused(GetDateFormatA(0x800, 1, nullptr, "yy", out, 20)));
    EXPECT_TRUE(refused(GetDateFormatA(0x800, 1, nullptr, nullptr, nullptr, 20)));
    EXPECT_TRUE(refused(GetDateFormatA(0x800, 1, nullptr, nullptr, out, -1)));
    EXPECT_STREQ(out, "kept");
}
