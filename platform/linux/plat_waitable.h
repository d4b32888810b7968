#ifndef PLAT_WAITABLE_H
#define PLAT_WAITABLE_H

// Objects that are set or not, and the threads that wait for them: events, and threads that have ended.
//
// Setting one costs a lock and a store; the system is asked only to wake somebody. One lock guards all of these objects,
// for it is held for a few instructions and a wait has to look at several objects at once.

#include "plat_handles.h"

struct Plat_WaitEntry;

struct Plat_Waitable {
    Plat_Object Head;
    bool Set; // guarded by the one lock, as the list
    Plat_WaitEntry *Waiters;
};

PLAT_API void Plat_WaitableSet(Plat_Waitable *Object);
PLAT_API void Plat_WaitableReset(Plat_Waitable *Object);

// Waits until one of Count objects is set. Returns the lowest index, or -1 when the time is over.
PLAT_API i32 Plat_WaitableWait(Plat_Waitable **Objects, u32 Count, u32 Milliseconds);

// The moment that many milliseconds from now, on CLOCK_MONOTONIC.
PLAT_API struct timespec Plat_Deadline(u32 Milliseconds);

#endif
