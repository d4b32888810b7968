// Mutexes, events and waits.

#include "win32_sync.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_process.h"
#include "win32_thread.h"

namespace
{

u32 waitElsewhere(handle object, u32 milliseconds)
{
    u32 result = 0;
    std::thread([&] { result = WaitForSingleObject(object, milliseconds); }).join();
    return result;
}

u32 returnWord(void *word)
{
    return *static_cast<u32 *>(word);
}

} // namespace

TEST(Mutex, KeepsOthersOutAndIsRecursive)
{
    const handle mutex = CreateMutexA(nullptr, 0, nullptr);
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex, PLAT_INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(waitElsewhere(mutex, 0), WAIT_TIMEOUT);
    EXPECT_EQ(waitElsewhere(mutex, 20), WAIT_TIMEOUT);
    EXPECT_EQ(ReleaseMutex(mutex), 1);
    EXPECT_EQ(waitElsewhere(mutex, 0), WAIT_TIMEOUT);
    EXPECT_EQ(ReleaseMutex(mutex), 1);
    EXPECT_EQ(ReleaseMutex(mutex), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    EXPECT_EQ(CloseHandle(mutex), 1);
}

TEST(Mutex, BelongsToItsCreatorWhenAsked)
{
    const handle mutex = CreateMutexA(nullptr, 1, nullptr);
    EXPECT_EQ(waitElsewhere(mutex, 0), WAIT_TIMEOUT);
    EXPECT_EQ(ReleaseMutex(mutex), 1);
}

TEST(Mutex, IsAbandonedOnceAndThenOwned)
{
    const handle mutex = CreateMutexA(nullptr, 0, nullptr);
    std::thread([&] { WaitForSingleObject(mutex, 0); }).join(); // ends while it owns the mutex

    EXPECT_EQ(ReleaseMutex(mutex), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    EXPECT_EQ(WaitForSingleObject(mutex, 100), WAIT_ABANDONED); // the refused release left it so
    EXPECT_EQ(ReleaseMutex(mutex), 1);
    EXPECT_EQ(ReleaseMutex(mutex), 0);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(ReleaseMutex(mutex), 1);
    CloseHandle(mutex);
}

TEST(Mutex, CanBeClosedWhileAThreadOwnsIt)
{
    const handle mutex = CreateMutexA(nullptr, 1, nullptr);
    EXPECT_EQ(CloseHandle(mutex), 1); // owned by this thread, with a robust list that must not dangle
    const handle other = CreateMutexA(nullptr, 0, nullptr);
    std::thread([&] {
        WaitForSingleObject(other, 0);
        std::thread([&] { CloseHandle(other); }).join(); // owned by another thread
    }).join();
    EXPECT_EQ(WaitForSingleObject(other, 0), WAIT_FAILED);
}

TEST(Mutex, RefusesNamesAndHasNoMemory)
{
    EXPECT_EQ(CreateMutexA(nullptr, 0, "name"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(CreateMutexA(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(CreateEventA(nullptr, 1, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

// Setting an event lets go every thread that waits at that moment, though it is reset at once.
TEST(Event, SetAndResetAtOnceSatisfiesItsWaiters)
{
    const handle other = CreateEventA(nullptr, 1, 0, nullptr), event = CreateEventA(nullptr, 1, 0, nullptr);
    const handle events[] = {other, event};
    std::atomic<u32> single = 9, both = 9;
    std::thread first([&] { single = WaitForSingleObject(event, 20000); });
    std::thread second([&] { both = WaitForMultipleObjects(2, events, 0, 20000); });
    Sleep(200);
    SetEvent(event);
    ResetEvent(event);
    first.join();
    second.join();
    EXPECT_EQ(single, WAIT_OBJECT_0);
    EXPECT_EQ(both, WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    CloseHandle(event);
    CloseHandle(other);
}

TEST(Event, StaysSetUntilItIsReset)
{
    const handle event = CreateEventA(nullptr, 1, 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    EXPECT_EQ(SetEvent(event), 1);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, PLAT_INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(ResetEvent(event), 1);
    EXPECT_EQ(WaitForSingleObject(event, 1), WAIT_TIMEOUT);
    CloseHandle(event);
    EXPECT_EQ(SetEvent(event), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(CreateEventA(nullptr, 0, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    const handle set = CreateEventA(nullptr, 1, 1, nullptr);
    EXPECT_EQ(WaitForSingleObject(set, 0), WAIT_OBJECT_0);
}

TEST(Event, WakesEveryWaiter)
{
    const handle event = CreateEventA(nullptr, 1, 0, nullptr);
    std::atomic<int> woken = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] { woken += WaitForSingleObject(event, 10000) == WAIT_OBJECT_0; });
    Sleep(20);
    SetEvent(event);
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(woken, 4);
}

// Whether a thread of this process sleeps, or is gone.
static bool sleeps(pid_t thread)
{
    const std::string state = Scratch_ReadFile("/proc/self/task/" + std::to_string(thread) + "/stat");
    const size_t name = state.rfind(')');
    return name == std::string::npos || state.compare(name, 3, ") S") == 0;
}

TEST(Event, MayBeClosedDuringAWait)
{
    const handle event = CreateEventA(nullptr, 1, 0, nullptr);
    u32 result = 0;
    std::atomic<pid_t> thread = 0;
    std::thread waiter([&] {
        thread = gettid();
        result = WaitForSingleObject(event, 200);
    });
    while (thread == 0 || !sleeps(thread)) Sleep(1);
    CloseHandle(event);
    waiter.join();
    EXPECT_EQ(result, WAIT_TIMEOUT);
}

TEST(WaitForSingleObject, TakesItsTime)
{
    const handle event = CreateEventA(nullptr, 1, 0, nullptr);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(event, 50), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST(WaitForSingleObject, RefusesWhatIsNoObject)
{
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(WaitForSingleObject(GetStdHandle(STD_OUTPUT_HANDLE), 0), WAIT_FAILED);
    EXPECT_EQ(WaitForSingleObject(GetCurrentProcess(), 1), WAIT_TIMEOUT); // the own process runs
}

TEST(WaitForMultipleObjects, NamesTheLowestThatIsSet)
{
    const handle events[2] = {CreateEventA(nullptr, 1, 0, nullptr), CreateEventA(nullptr, 1, 0, nullptr)};
    EXPECT_EQ(WaitForMultipleObjects(2, events, 0, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForMultipleObjects(2, events, 0, 10), WAIT_TIMEOUT);
    SetEvent(events[1]);
    EXPECT_EQ(WaitForMultipleObjects(2, events, 0, 0), WAIT_OBJECT_0 + 1);
    SetEvent(events[0]);
    EXPECT_EQ(WaitForMultipleObjects(2, events, 0, PLAT_INFINITE), WAIT_OBJECT_0);
    ResetEvent(events[0]);
    ResetEvent(events[1]);

    u32 result = 0;
    std::thread waiter([&] { result = WaitForMultipleObjects(2, events, 0, PLAT_INFINITE); });
    Sleep(10);
    SetEvent(events[1]);
    waiter.join();
    EXPECT_EQ(result, WAIT_OBJECT_0 + 1);
}

TEST(WaitForMultipleObjects, RefusesBadLists)
{
    handle objects[65] = {CreateEventA(nullptr, 1, 1, nullptr), nullptr};
    EXPECT_EQ(WaitForMultipleObjects(2, objects, 0, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(WaitForMultipleObjects(0, objects, 0, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WaitForMultipleObjects(65, objects, 0, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WaitForMultipleObjects(1, objects, 1, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_CALL_NOT_IMPLEMENTED);
    objects[1] = CreateMutexA(nullptr, 0, nullptr);
    EXPECT_EQ(WaitForMultipleObjects(2, objects, 0, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_CALL_NOT_IMPLEMENTED);
}

TEST(CreateThread, IsSetAtTheEndOfTheThread)
{
    u32 word = 7, id = 0;
    const handle thread = CreateThread(nullptr, 0, returnWord, &word, 0, &id);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(WaitForSingleObject(thread, PLAT_INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(CloseHandle(thread), 1);
    EXPECT_EQ(CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    Plat_Sys.PthreadCreate = [](pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) { return EAGAIN; };
    EXPECT_EQ(CreateThread(nullptr, 0, returnWord, &word, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(CreateThread, OutlivesItsHandle)
{
    static std::atomic<bool> go = false, done = false;
    const handle thread = CreateThread(
        nullptr, 0,
        [](void *) -> u32 {
            while (!go) Sleep(1);
            done = true;
            return 0;
        },
        nullptr, 0, nullptr);
    CloseHandle(thread);
    go = true;
    while (!done) Sleep(1);
    EXPECT_TRUE(done);
}
