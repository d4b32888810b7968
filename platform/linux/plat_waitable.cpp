// Waiting for several objects: a waiter hangs an entry into the list of each, sleeps on a condition of its own, and takes
// the entries out again. Whoever sets an object marks the waiters of its list and wakes them.

#include "plat_waitable.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>

#include "plat_sys.h"
#include "win32_sync.h"

struct Waiter {
    pthread_cond_t Condition;
    bool Woken;
};

struct Plat_WaitEntry {
    Waiter *Owner;
    Plat_WaitEntry *Next;
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

void Plat_WaitableSet(Plat_Waitable *Object)
{
    pthread_mutex_lock(&waitLock);
    Object->Set = true;
    for (Plat_WaitEntry *entry = Object->Waiters; entry != nullptr; entry = entry->Next) {
        entry->Owner->Woken = true;
        pthread_cond_signal(&entry->Owner->Condition);
    }
    pthread_mutex_unlock(&waitLock);
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

static void initialise(Waiter *waiter)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&waiter->Condition, &attributes);
    pthread_condattr_destroy(&attributes);
    waiter->Woken = false;
}

// Sleeps until one of the objects is set or the time is over. The lock is held.
static i32 sleepFor(Plat_Waitable **objects, u32 count, u32 milliseconds)
{
    Waiter waiter;
    initialise(&waiter);
    Plat_WaitEntry entries[MAXIMUM_WAIT_OBJECTS];
    for (u32 i = 0; i < count; ++i) {
        entries[i] = {&waiter, objects[i]->Waiters};
        objects[i]->Waiters = &entries[i];
    }

    const struct timespec until = Plat_Deadline(milliseconds == PLAT_INFINITE ? 0 : milliseconds);
    i32 found = -1;
    int result = 0;
    while (found < 0 && result != ETIMEDOUT) {
        waiter.Woken = false;
        while (!waiter.Woken && result != ETIMEDOUT)
            result = milliseconds == PLAT_INFINITE ? pthread_cond_wait(&waiter.Condition, &waitLock)
                                                   : pthread_cond_timedwait(&waiter.Condition, &waitLock, &until);
        found = lowestSet(objects, count); // an object may be reset again before we come to look
    }

    for (u32 i = 0; i < count; ++i) unhook(objects[i], &entries[i]);
    pthread_cond_destroy(&waiter.Condition);
    return found;
}

i32 Plat_WaitableWait(Plat_Waitable **Objects, u32 Count, u32 Milliseconds)
{
    pthread_mutex_lock(&waitLock);
    i32 found = lowestSet(Objects, Count);
    if (found < 0 && Milliseconds != 0) found = sleepFor(Objects, Count, Milliseconds);
    pthread_mutex_unlock(&waitLock);
    return found;
}
