// Cancellation of threads, and the locale that a utility starts with.

#include "suppr_utility.h"

#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "capture.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "vela_types.h"

TEST(SupTM_tks_SetCancel, SwitchesAndTellsTheStateBefore)
{
    i32 previous = -7;
    EXPECT_EQ(SupTM_tks_SetCancel(0, &previous), 0u);
    EXPECT_EQ(previous, 1); // a thread starts with cancellation on
    EXPECT_EQ(SupTM_tks_SetCancel(0, &previous), 0u);
    EXPECT_EQ(previous, 0);
    EXPECT_EQ(SupTM_tks_SetCancel(1, &previous), 0u);
    EXPECT_EQ(previous, 0);
    EXPECT_EQ(SupTM_tks_SetCancel(1, nullptr), 0u);
}

TEST(SupTM_tks_SetCancel, RefusesAnyOtherState)
{
    for (const i32 state : {2, -1, 3, 0x7FFFFFFF}) {
        i32 previous = -7;
        EXPECT_EQ(SupTM_tks_SetCancel(state, &previous), 0x706BC011u) << state;
        EXPECT_EQ(SupTM_tks_SetCancel(state, nullptr), 0x706BC011u) << state;
    }
}

TEST(SupPR_SetCancel, RestoresWithTwo)
{
    i32 before = -7, now = -7;
    EXPECT_EQ(SupPR_SetCancel(SUPPR_CANCEL_OFF, &before), 0u);
    EXPECT_EQ(before, 1);
    EXPECT_EQ(SupPR_SetCancel(SUPPR_CANCEL_RESTORE, &before), 0u);
    EXPECT_EQ(before, 1); // only read
    EXPECT_EQ(SupPR_SetCancel(SUPPR_CANCEL_OFF, &now), 0u);
    EXPECT_EQ(now, 1);

    before = 0;
    EXPECT_EQ(SupPR_SetCancel(SUPPR_CANCEL_RESTORE, &before), 0u);
    EXPECT_EQ(SupPR_SetCancel(SUPPR_CANCEL_ON, &now), 0u);
    EXPECT_EQ(now, 0);
}

TEST(SupPR_SetCancel, RefusesWhatTheThreadRefuses)
{
    i32 previous = 5;
    EXPECT_EQ(SupPR_SetCancel(SUPPR_CANCEL_RESTORE, &previous), 0x706BC011u);
    EXPECT_EQ(SupPR_SetCancel(7, &previous), 0x706BC011u);
    EXPECT_EQ(SupPR_SetCancel(7, nullptr), 0x706BC011u);
}

namespace
{

struct cancelled {
    sem_t Ready, Pending;
    std::atomic<bool> CameBack = false;
};

void *switchOnWhilePending(void *argument)
{
    cancelled *const state = static_cast<cancelled *>(argument);
    SupTM_tks_SetCancel(0, nullptr);
    sem_post(&state->Ready);
    while (sem_wait(&state->Pending) != 0) {
    }
    SupTM_tks_SetCancel(1, nullptr);
    state->CameBack = true;
    return nullptr;
}

} // namespace

TEST(SupTM_tks_SetCancel, DeliversAPendingCancellation)
{
    cancelled state;
    sem_init(&state.Ready, 0, 0);
    sem_init(&state.Pending, 0, 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, switchOnWhilePending, &state), 0);
    while (sem_wait(&state.Ready) != 0) {
    }
    ASSERT_EQ(pthread_cancel(thread), 0);
    sem_post(&state.Pending);

    void *result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_FALSE(state.CameBack);
}

TEST(SupPR_Cancel, Traces)
{
    Ring_TraceOn();
    i32 previous;
    SupPR_SetCancel(5, &previous);
    EXPECT_EQ(Ring_LastExitPoint("SupTM_tks_SetCancel"), 1u);
    SupPR_SetCancel(1, &previous);
    EXPECT_EQ(Ring_LastExitPoint("SupTM_tks_SetCancel"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_SetCancel"), 1u);
    for (const Ring_Record &record : Ring_Records()) {
        if (!record.Function.ends_with("SetCancel")) continue;
        EXPECT_TRUE(record.Header.Class == 0x40u || record.Header.Class == 0x100u) << record.Header.Class;
    }
}

namespace
{

std::string toldBySetUtilLocale(const char *locale, i32 *result)
{
    return Capture_Stderr([&] { *result = SupPR_SetUtilLocale(locale); });
}

} // namespace

TEST(SupPR_SetUtilLocale, SetsALocale)
{
    Scratch_MakeRoot();
    setenv("LANG", "C.UTF-8", 1);
    i32 result = -1;
    EXPECT_EQ(toldBySetUtilLocale("C.UTF-8", &result), "");
    EXPECT_EQ(result, 1);
    EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C.UTF-8");
    for (const char *environment : {static_cast<const char *>(nullptr), ""}) { // the one of the environment
        setlocale(LC_ALL, "C");
        EXPECT_EQ(toldBySetUtilLocale(environment, &result), "");
        EXPECT_EQ(result, 1);
        EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C.UTF-8");
    }
}

TEST(SupPR_SetUtilLocale, TellsThatThereIsNone)
{
    Scratch_MakeRoot(); // clears LANG, without which no locale is set
    i32 result = -1;
    EXPECT_EQ(toldBySetUtilLocale("En_US", &result),
              "ERZ056020E/0057: Unable to set locale as 'En_US' Please check if NLSPATH and LANG variable are set\n");
    EXPECT_EQ(result, 0);
    for (const char *environment : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(toldBySetUtilLocale(environment, &result),
                  "ERZ056020E/0057: Unable to set locale as 'defined in environment' Please check if NLSPATH and LANG "
                  "variable are set\n");
        EXPECT_EQ(result, 0);
    }
    setenv("LANG", "C.UTF-8", 1);
    EXPECT_NE(toldBySetUtilLocale("no-such-locale", &result), "");
    EXPECT_EQ(result, 0);
}

TEST(SupPR_SetUtilLocale, ClearsOneValueOfLcMessages)
{
    Scratch_MakeRoot();
    i32 result;
    setenv("LC_MESSAGES", "C@lft", 1);
    toldBySetUtilLocale("C.UTF-8", &result);
    EXPECT_EQ(getenv("LC_MESSAGES"), nullptr);
    for (const char *other : {"C", "C@lf", "C@lftx", "c@lft", ""}) {
        setenv("LC_MESSAGES", other, 1);
        toldBySetUtilLocale("C.UTF-8", &result);
        EXPECT_STREQ(getenv("LC_MESSAGES"), other);
    }
}

TEST(SupPR_SetUtilLocale, Traces)
{
    Ring_TraceOn();
    i32 result;
    unsetenv("LANG");
    toldBySetUtilLocale("En_US", &result);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_SetUtilLocale"), 2u);
    setenv("LANG", "C.UTF-8", 1);
    toldBySetUtilLocale("C.UTF-8", &result);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_SetUtilLocale"), 1u);
    for (const Ring_Record &record : Ring_Records())
        if (record.Function == "SupPR_SetUtilLocale" && record.Header.Class < 0x100) {
            EXPECT_EQ(record.Header.Class, 0x80u);
        }
}
