// The handle table.

#include "plat_handles.h"

#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "win32_error.h"
#include "win32_file.h"

namespace
{

struct Probe {
    Plat_Object Head;
    int Value;
};

std::atomic<int> closings = 0, destroyed = 0;

void closing(Plat_Object *)
{
    ++closings;
}

void destroy(Plat_Object *Object)
{
    ++destroyed;
    delete reinterpret_cast<Probe *>(Object);
}

const Plat_ObjectOps probeOps = {PLAT_KIND_EVENT, closing, destroy};

handle makeProbe(int Value)
{
    Probe *const probe = new Probe{};
    probe->Value = Value;
    const handle made = Plat_HandleCreate(&probe->Head, &probeOps);
    if (made == nullptr) delete probe;
    return made;
}

uintptr_t valueOf(handle Handle)
{
    return reinterpret_cast<uintptr_t>(Handle);
}

} // namespace

TEST(Plat_HandleCreate, GivesMultiplesOfFourFromTheLowestFreeSlot)
{
    const handle first = makeProbe(1), second = makeProbe(2), third = makeProbe(3);

    EXPECT_EQ(valueOf(first), 4u);
    EXPECT_EQ(valueOf(second), 8u);
    EXPECT_EQ(valueOf(third), 12u);
    ASSERT_EQ(CloseHandle(second), 1);
    EXPECT_EQ(makeProbe(4), second);
    EXPECT_EQ(valueOf(makeProbe(5)), 16u);
}

TEST(Plat_HandleCreate, GrowsTheTable)
{
    std::vector<handle> all;
    for (int i = 0; i < 1000; ++i) all.push_back(makeProbe(i));

    for (int i = 0; i < 1000; ++i) {
        Plat_Object *const object = Plat_HandleAcquire(all[static_cast<size_t>(i)], PLAT_KIND_EVENT);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(reinterpret_cast<Probe *>(object)->Value, i);
        Plat_HandleRelease(object);
        EXPECT_LT(valueOf(all[static_cast<size_t>(i)]), 1u << 31);
    }
    for (const handle each : all) EXPECT_EQ(CloseHandle(each), 1);
    EXPECT_EQ(destroyed, 1000);
}

TEST(Plat_HandleCreate, FailsWithoutMemory)
{
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};

    EXPECT_EQ(makeProbe(1), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Plat_StreamCreate(PLAT_KIND_FILE, 50), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(Plat_HandleCreate, EndsAtAMillion)
{
    static Probe shared[2] = {};
    const Plat_ObjectOps keptOps = {PLAT_KIND_EVENT, nullptr, [](Plat_Object *) {}};
    for (u32 i = 0; i < 1u << 20; ++i) ASSERT_NE(Plat_HandleCreate(&shared[0].Head, &keptOps), nullptr) << i;

    EXPECT_EQ(Plat_HandleCreate(&shared[1].Head, &keptOps), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_TOO_MANY_OPEN_FILES);
    const handle some = reinterpret_cast<handle>(uintptr_t{4 * 777});
    EXPECT_EQ(Plat_HandleClose(some, PLAT_KIND_ANY), 1);
    EXPECT_EQ(Plat_HandleCreate(&shared[1].Head, &keptOps), some);
}

TEST(Plat_HandleAcquire, TakesTheKindsItIsAskedFor)
{
    const handle probe = makeProbe(1);
    SetLastError(0);

    EXPECT_EQ(Plat_HandleAcquire(probe, PLAT_KIND_MUTEX), nullptr);
    EXPECT_EQ(Plat_HandleClose(probe, PLAT_KIND_MUTEX), 0);
    Plat_Object *const object = Plat_HandleAcquire(probe, PLAT_KIND_MUTEX | PLAT_KIND_EVENT);
    ASSERT_NE(object, nullptr);
    Plat_HandleRelease(object);
    EXPECT_EQ(GetLastError(), 0u) << "the table leaves the last error to its callers";
}

TEST(CloseHandle, RefusesWhatIsNoHandle)
{
    const handle probe = makeProbe(1);
    const uintptr_t bad[] = {0,
                             1,
                             5,
                             6,
                             8,
                             4 * 100000,
                             0x80000002u,
                             static_cast<uintptr_t>(-1),
                             static_cast<uintptr_t>(-2),
                             static_cast<uintptr_t>(-4)};
    for (const uintptr_t value : bad) {
        SetLastError(0);
        EXPECT_EQ(CloseHandle(reinterpret_cast<handle>(value)), 0) << value;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(CloseHandle(probe), 1);
    EXPECT_EQ(CloseHandle(probe), 0) << "a second close";
}

TEST(CloseHandle, LeavesTheObjectToItsLastUser)
{
    const handle probe = makeProbe(7);
    Plat_Object *const object = Plat_HandleAcquire(probe, PLAT_KIND_ANY);

    ASSERT_EQ(CloseHandle(probe), 1);
    EXPECT_EQ(closings, 1) << "the object is told at once";
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(reinterpret_cast<Probe *>(object)->Value, 7);
    EXPECT_EQ(Plat_HandleAcquire(probe, PLAT_KIND_ANY), nullptr);
    Plat_HandleRelease(object);
    EXPECT_EQ(destroyed, 1);
}

// Users and closers of the same handle values at once: every object is destroyed once, none is used after that.
TEST(CloseHandle, IsSafeDuringAUse)
{
    constexpr int rounds = 2000;
    std::atomic<handle> current = nullptr;
    std::atomic<bool> done = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> users;
    for (int i = 0; i < 3; ++i) {
        users.emplace_back([&] {
            while (!done) {
                Plat_Object *const object = Plat_HandleAcquire(current, PLAT_KIND_EVENT);
                if (object == nullptr) continue;
                if (reinterpret_cast<Probe *>(object)->Value != 42) ++wrong;
                Plat_HandleRelease(object);
            }
        });
    }
    for (int i = 0; i < rounds; ++i) {
        current = makeProbe(42);
        CloseHandle(current);
    }
    done = true;
    for (std::thread &user : users) user.join();

    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(destroyed, rounds);
}

TEST(CloseHandle, OneOfManyClosersWins)
{
    for (int round = 0; round < 200; ++round) {
        const handle probe = makeProbe(1);
        std::atomic<int> won = 0;
        std::vector<std::thread> closers;
        for (int i = 0; i < 4; ++i) closers.emplace_back([&] { won += CloseHandle(probe); });
        for (std::thread &closer : closers) closer.join();
        ASSERT_EQ(won, 1);
    }
    EXPECT_EQ(destroyed, 200);
}
