// Waiting for several objects: a waiter hangs an entry into the list of each, sleeps on a word of its own, and takes the
// entries out again. Whoever sets an object marks the waiters of its list under the lock and wakes them behind it, so that
// they do not run into the lock at once. A waiter may be gone by then: waking needs no more than the word's address, and
// a wake-up that meets somebody else is one that a sleeper must stand anyway. Setting satisfies every waiter that is there,
// even when the object is reset before they come to run.

#include "plat_waitable.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "plat_sys.h"
#include "win32_sync.h"

struct Waiter {
    u32 Woken; // the word of the sleep; set under the lock
    i32 Found; // guarded by the lock: the lowest index of an object that was set meanwhile, -1 for none
};

struct Plat_WaitEntry {
    Waiter *Owner;
    Plat_WaitEntry *Next;
    i32 Index; // of the object among those that the owner waits for
};

static constinit pthread_mutex_t waitLock = PTHREAD_MUTEX_INITIALIZER;

struct timespec Plat_Deadline(u32 Milliseconds)
{
    struct timespec at = {};
    Plat_Sys.ClockGettime(CLOCK_MONOTONIC, &at);
    at.tv_sec += Milliseconds / 1000;
    at.tv_nsec += static_cast<long>(Milliseconds % 1000) * 1000000;
    if (at.tv_nsec >= 1000000000) {
        at.tv_nsec -= 1000000000;
        ++at.tv_sec;
    }
    return at;
}

static void wake(u32 *word)
{
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// Sleeps while the word is 0. False when the time is over.
static bool sleepOn(u32 *word, const struct timespec *until)
{
    const long result = syscall(SYS_futex, word, FUTEX_WAIT_BITSET_PRIVATE, 0, until, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void Plat_WaitableSet(Plat_Waitable *Object)
{
    constexpr u32 room = 16;
    u32 *words[room];
    u32 count = 0;
    pthread_mutex_lock(&waitLock);
    Object->Set = true;
    for (Plat_WaitEntry *entry = Object->Waiters; entry != nullptr; entry = entry->Next) {
        Waiter *const owner = entry->Owner;
        if (owner->Found < 0 || entry->Index < owner->Found) owner->Found = entry->Index;
        u32 *const word = &owner->Woken;
        if (__atomic_exchange_n(word, 1, __ATOMIC_RELEASE) != 0) continue;
        if (count < room)
            words[count++] = word;
        else
            wake(word);
    }
    pthread_mutex_unlock(&waitLock);
    for (u32 i = 0; i < count; ++i) wake(words[i]);
}

void Plat_WaitableReset(Plat_Waitable *Object)
{
    pthread_mutex_lock(&waitLock);
    Object->Set = false;
    pthread_mutex_unlock(&waitLock);
}

// The lock is held.
static i32 lowestSet(Plat_Waitable **objects, u32 count)
{
    for (u32 i = 0; i < count; ++i)
        if (objects[i]->Set) return static_cast<i32>(i);
    return -1;
}

static void unhook(Plat_Waitable *object, Plat_WaitEntry *entry)
{
    Plat_WaitEntry **link = &object->Waiters;
    while (*link != entry) link = &(*link)->Next;
    *link = entry->Next;
}

// Sleeps until one of the objects is set or the time is over. The lock is held, but not while it sleeps.
static i32 sleepFor(Plat_Waitable **objects, u32 count, u32 milliseconds)
{
    Waiter waiter = {0, -1};
    Plat_WaitEntry entries[MAXIMUM_WAIT_OBJECTS];
    for (u32 i = 0; i < count; ++i) {
        entries[i] = {&waiter, objects[i]->Waiters, static_cast<i32>(i)};
        objects[i]->Waiters = &entries[i];
    }

    const struct timespec until = Plat_Deadline(milliseconds == PLAT_INFINITE ? 0 : milliseconds);
    const struct timespec *const limit = milliseconds == PLAT_INFINITE ? nullptr : &until;
    pthread_mutex_unlock(&waitLock);
    bool inTime = true;
    while (inTime && __atomic_load_n(&waiter.Woken, __ATOMIC_ACQUIRE) == 0) inTime = sleepOn(&waiter.Woken, limit);
    pthread_mutex_lock(&waitLock);

    for (u32 i = 0; i < count; ++i) unhook(objects[i], &entries[i]);
    return waiter.Found;
}

i32 Plat_WaitableWait(Plat_Waitable **Objects, u32 Count, u32 Milliseconds)
{
    pthread_mutex_lock(&waitLock);
    i32 found = lowestSet(Objects, Count);
    if (found < 0 && Milliseconds != 0) found = sleepFor(Objects, Count, Milliseconds);
    pthread_mutex_unlock(&waitLock);
    return found;
}
