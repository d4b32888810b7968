// Cancellation of threads.

#include "suppr_utility.h"

#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <atomic>

#include <gtest/gtest.h>

#include "ring_reader.h"
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
