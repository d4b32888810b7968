// Mutexes, per-thread data, thread ids, cancellation.

#include "tks_thread.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

template <class Body>
void inManyThreads(int Count, Body body)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < Count; ++i) threads.emplace_back(body);
    for (std::thread &thread : threads) thread.join();
}

tks_Mutex staticMutex;

} // namespace

TEST(tks_Mutex, HasItsSize)
{
    EXPECT_EQ(sizeof(tks_Mutex), 48u);
}

TEST(tks_MutexLock, WorksInZeroedStaticStorage)
{
    int counter = 0;
    inManyThreads(4, [&] {
        for (int i = 0; i < 5000; ++i) {
            tks_MutexLock(&staticMutex);
            ++counter;
            tks_MutexUnlock(&staticMutex);
        }
    });
    EXPECT_EQ(counter, 20000);
}

TEST(tks_MutexLock, IsRecursive)
{
    tks_Mutex mutex;
    memset(&mutex, 0xAA, sizeof mutex);
    tks_MutexInit(&mutex);
    for (int i = 0; i < 3; ++i) tks_MutexLock(&mutex);
    for (int i = 0; i < 2; ++i) tks_MutexUnlock(&mutex);

    std::atomic<bool> entered = false;
    std::thread other([&] {
        tks_MutexLock(&mutex);
        entered = true;
        tks_MutexUnlock(&mutex);
    });
    usleep(50000);
    EXPECT_FALSE(entered) << "locked three times, given up twice";
    tks_MutexUnlock(&mutex);
    other.join();
    EXPECT_TRUE(entered);
}

TEST(tks_MutexLock, CountsRightlyWhileOwnersSleepAndOthersWait)
{
    tks_Mutex mutex = {};
    int counter = 0;
    inManyThreads(8, [&] {
        for (int i = 0; i < 400; ++i) {
            errno = EXDEV;
            tks_MutexLock(&mutex);
            const int before = counter;
            if (i % 40 == 0) usleep(200); // longer than a waiter looks for
            counter = before + 1;
            tks_MutexUnlock(&mutex);
            if (i % 40 != 0) {
                EXPECT_EQ(errno, EXDEV);
            }
        }
    });
    EXPECT_EQ(counter, 3200);
}

TEST(tks_MutexLock, WakesASleeperForEachUnlock)
{
    tks_Mutex mutex = {};
    std::atomic<int> through = 0;
    tks_MutexLock(&mutex);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            tks_MutexLock(&mutex);
            ++through;
            tks_MutexUnlock(&mutex);
        });
    }
    usleep(100000); // all of them sleep by now
    EXPECT_EQ(through, 0);
    tks_MutexUnlock(&mutex);
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(through, 4);
}

TEST(tks_MutexInitOnce, LeavesALockedMutexLocked)
{
    tks_Mutex mutex = {};
    tks_MutexInitOnce(&mutex);
    tks_MutexLock(&mutex);
    std::atomic<bool> entered = false;
    std::thread other([&] {
        tks_MutexInitOnce(&mutex);
        tks_MutexLock(&mutex);
        entered = true;
        tks_MutexUnlock(&mutex);
    });
    usleep(50000);
    EXPECT_FALSE(entered);
    tks_MutexUnlock(&mutex);
    other.join();
}

TEST(tks_MutexInitOnce, MayBeRaced)
{
    for (int round = 0; round < 200; ++round) {
        tks_Mutex mutex = {};
        int counter = 0;
        inManyThreads(4, [&] {
            tks_MutexInitOnce(&mutex);
            tks_MutexLock(&mutex);
            ++counter;
            tks_MutexUnlock(&mutex);
        });
        ASSERT_EQ(counter, 4);
    }
}

TEST(tks_ThreadAllocDataSlot, GivesSixteenSlots)
{
    for (u32 i = 0; i < TKS_THREAD_SLOTS; ++i) EXPECT_EQ(tks_ThreadAllocDataSlot(), i);
    EXPECT_EQ(tks_ThreadAllocDataSlot(), 0xFFFFFFFFu);
    EXPECT_EQ(tks_ThreadAllocDataSlot(), 0xFFFFFFFFu);
}

TEST(tks_ThreadAllocDataSlot, GivesEachSlotOnce)
{
    std::atomic<u32> taken[TKS_THREAD_SLOTS] = {};
    std::atomic<int> refused = 0;
    inManyThreads(20, [&] {
        const u32 slot = tks_ThreadAllocDataSlot();
        if (slot == 0xFFFFFFFFu)
            ++refused;
        else
            ++taken[slot];
    });
    for (const auto &count : taken) EXPECT_EQ(count, 1u);
    EXPECT_EQ(refused, 4);
}

TEST(tks_ThreadGetData, IsOfItsThreadAndNullAtFirst)
{
    const u32 slot = tks_ThreadAllocDataSlot();
    int mine, theirs;
    EXPECT_EQ(tks_ThreadGetData(slot), nullptr);
    tks_ThreadSetData(slot, &mine, nullptr);
    std::thread([&] {
        EXPECT_EQ(tks_ThreadGetData(slot), nullptr);
        tks_ThreadSetData(slot, &theirs, nullptr);
        EXPECT_EQ(tks_ThreadGetData(slot), &theirs);
    }).join();

    EXPECT_EQ(tks_ThreadGetData(slot), &mine);
    EXPECT_EQ(tks_ThreadDataOf(slot), &mine);
    void *const allOnes = reinterpret_cast<void *>(-1);
    tks_ThreadSetData(slot, allOnes, nullptr);
    EXPECT_EQ(tks_ThreadGetData(slot), allOnes);
}

TEST(tks_ThreadGetData, IgnoresASlotOutOfRange)
{
    int value;
    for (const u32 slot : {u32{TKS_THREAD_SLOTS}, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        tks_ThreadSetData(slot, &value, nullptr);
        EXPECT_EQ(tks_ThreadGetData(slot), nullptr);
    }
}

namespace
{

std::atomic<int> runs = 0;
std::atomic<void *> lastValue = nullptr;

void countRun(void *Value)
{
    ++runs;
    lastValue = Value;
}

u32 probedSlot;

void looksAtItsSlot(void *)
{
    ++runs;
    lastValue = tks_ThreadGetData(probedSlot);
}

void storesAgain(void *Value)
{
    ++runs;
    tks_ThreadSetData(probedSlot, Value, storesAgain);
}

} // namespace

TEST(tks_ThreadSetData, RunsTheDestructorOfTheLastValueAtThreadEnd)
{
    const u32 slot = tks_ThreadAllocDataSlot();
    int first, second;
    std::thread([&] {
        tks_ThreadSetData(slot, &first, countRun);
        tks_ThreadSetData(slot, &second, countRun);
        EXPECT_EQ(runs, 0);
    }).join();

    EXPECT_EQ(runs, 1);
    EXPECT_EQ(lastValue, &second);
}

TEST(tks_ThreadSetData, DestroysNeitherNullNorAllOnes)
{
    const u32 slot = tks_ThreadAllocDataSlot(), other = tks_ThreadAllocDataSlot();
    int value;
    std::thread([&] {
        tks_ThreadSetData(slot, &value, countRun);
        tks_ThreadSetData(slot, nullptr, countRun);
        tks_ThreadSetData(other, reinterpret_cast<void *>(-1), countRun);
    }).join();
    std::thread([&] {
        tks_ThreadSetData(slot, &value, countRun);
        tks_ThreadSetData(slot, &value, nullptr); // the destructor belongs to the value
    }).join();
    EXPECT_EQ(runs, 0);
}

TEST(tks_ThreadSetData, EmptiesTheSlotBeforeTheDestructor)
{
    probedSlot = tks_ThreadAllocDataSlot();
    int value;
    lastValue = &value;
    std::thread([&] { tks_ThreadSetData(probedSlot, &value, looksAtItsSlot); }).join();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(lastValue, nullptr);
}

TEST(tks_ThreadSetData, BoundsDestructorsThatStoreAgain)
{
    probedSlot = tks_ThreadAllocDataSlot();
    int value;
    std::thread([&] { tks_ThreadSetData(probedSlot, &value, storesAgain); }).join();
    EXPECT_GT(runs, 1);
    EXPECT_LE(runs, 8);
}

TEST(tks_ThreadSetData, RunsNothingAtProcessExit)
{
    const auto endWithValue = [] {
        static char value[] = "x";
        tks_ThreadSetData(tks_ThreadAllocDataSlot(), value, [](void *) { _exit(7); });
        exit(3);
    };
    EXPECT_EXIT(endWithValue(), testing::ExitedWithCode(3), "");
}

TEST(tks_ThreadSelf, CountsFromOneAndIsNeverReused)
{
    EXPECT_EQ(tks_ThreadSelf(), 1u);
    EXPECT_EQ(tks_ThreadSelf(), 1u);
    std::set<u32> seen = {1};
    for (int i = 0; i < 10; ++i) {
        u32 id = 0;
        std::thread([&] {
            id = tks_ThreadSelf();
            EXPECT_EQ(tks_ThreadSelf(), id);
        }).join();
        EXPECT_TRUE(seen.insert(id).second) << id;
    }
    EXPECT_EQ(*seen.rbegin(), 11u);
}

TEST(tks_ThreadSelf, DiffersInThreadsThatRunAtOnce)
{
    std::atomic<u32> taken[64] = {};
    inManyThreads(20, [&] { ++taken[tks_ThreadSelf()]; });
    u32 sum = 0;
    for (const auto &count : taken) {
        EXPECT_LE(count, 1u);
        sum += count;
    }
    EXPECT_EQ(sum, 20u);
}

TEST(tks_SetCancel, SwitchesAndTellsTheOldState)
{
    i32 previous = 99;
    EXPECT_EQ(tks_SetCancel(0, &previous), 0);
    EXPECT_EQ(previous, 1) << "on at first";
    EXPECT_EQ(tks_SetCancel(0, &previous), 0);
    EXPECT_EQ(previous, 0);
    EXPECT_EQ(tks_SetCancel(1, nullptr), 0);
    EXPECT_EQ(tks_SetCancel(1, &previous), 0);
    EXPECT_EQ(previous, 1);
}

TEST(tks_SetCancel, RefusesOtherStates)
{
    i32 previous = 99;
    for (const i32 state : {-1, 2, 3, 0x7FFFFFFF}) EXPECT_EQ(tks_SetCancel(state, &previous), -1) << state;
    EXPECT_EQ(previous, 99);
}

namespace
{

struct CancelRun {
    std::atomic<bool> Started, Cancelled, ReachedEnd;
    bool SwitchOn;
};

void *waitForCancel(void *Argument)
{
    CancelRun *const run = static_cast<CancelRun *>(Argument);
    tks_SetCancel(0, nullptr);
    run->Started = true;
    while (!run->Cancelled) usleep(1000);
    tks_TestCancel(); // switched off: nothing happens
    if (run->SwitchOn) tks_SetCancel(1, nullptr);
    tks_TestCancel();
    run->ReachedEnd = true;
    return nullptr;
}

void *runCancelled(CancelRun *Run)
{
    pthread_t thread;
    void *result = nullptr;
    pthread_create(&thread, nullptr, waitForCancel, Run);
    while (!Run->Started) usleep(1000);
    pthread_cancel(thread);
    Run->Cancelled = true;
    pthread_join(thread, &result);
    return result;
}

} // namespace

TEST(tks_TestCancel, DeliversAPendingCancellation)
{
    CancelRun run = {};
    run.SwitchOn = true;
    EXPECT_EQ(runCancelled(&run), PTHREAD_CANCELED);
    EXPECT_FALSE(run.ReachedEnd);
}

TEST(tks_TestCancel, ReturnsWhileCancellationIsOff)
{
    CancelRun run = {};
    EXPECT_EQ(runCancelled(&run), nullptr);
    EXPECT_TRUE(run.ReachedEnd);
}
