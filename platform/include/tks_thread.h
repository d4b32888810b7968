#ifndef TKS_THREAD_H
#define TKS_THREAD_H

/* Base services: mutexes, per-thread data, thread ids, cancellation. No call here logs or traces. */

#include "plat_types.h"

PLAT_BEGIN

/* A mutex that can stand in static storage: all zero bytes are a mutex that was not used yet. Recursive: the owner may
 * lock it again and unlocks it as often. A thread that waits looks for a short while, then sleeps; who waits longest is
 * not served first. Never copied, never released. */
typedef struct tks_Mutex {
    u64 Opaque[6];
} tks_Mutex;

/* Initialises a mutex, whatever its bytes were. No other thread may use it yet. */
PLAT_API void tks_MutexInit(tks_Mutex *Mutex);

/* Initialises a zeroed mutex at the first call; later calls and racing threads find it ready. A mutex of this platform
 * is ready when it is zeroed. */
PLAT_API void tks_MutexInitOnce(tks_Mutex *Mutex);

/* Waits without limit; no result. The mutex was initialised or is all zero. */
PLAT_API void tks_MutexLock(tks_Mutex *Mutex);

/* Gives up one lock. The caller must own the mutex. */
PLAT_API void tks_MutexUnlock(tks_Mutex *Mutex);

/* Largest number of data slots of a process. */
#define TKS_THREAD_SLOTS 16

typedef void (*tks_ThreadDestructor)(void *Value);

/* Gives out the next data slot, 0 upward; all ones when all TKS_THREAD_SLOTS are taken. Slots are never given back. */
PLAT_API u32 tks_ThreadAllocDataSlot(void);

/* The calling thread's value of a slot; NULL until set, and for a slot number out of range. */
PLAT_API void *tks_ThreadGetData(u32 Slot);

/* The data of the calling thread, by slot; for tks_ThreadDataOf alone. */
typedef struct tks_ThreadValue {
    void *Value;
    tks_ThreadDestructor Destructor;
} tks_ThreadValue;

extern PLAT_API __thread tks_ThreadValue tks_ThreadValues[TKS_THREAD_SLOTS] __attribute__((tls_model("initial-exec")));

/* As tks_ThreadGetData without a call, of a slot that was given out. */
static inline void *tks_ThreadDataOf(u32 Slot)
{
    return tks_ThreadValues[Slot].Value;
}

/* Stores the calling thread's value of a slot. Destructor (may be NULL) belongs to this value: it runs at the end of
 * the thread with the value then stored, unless that is NULL or all ones; it does not run at process exit, nor for a
 * value that another has replaced. While it runs the slot is NULL, and a value that it stores is destroyed in its turn,
 * for a bounded number of rounds. A slot number out of range is ignored. */
PLAT_API void tks_ThreadSetData(u32 Slot, void *Value, tks_ThreadDestructor Destructor);

/* The calling thread's id: a small number from 1, given at the first call, never used twice in a process. */
PLAT_API u32 tks_ThreadSelf(void);

/* Switches cancellation of the calling thread: State 1 on, 0 off; Previous (may be NULL) receives the old state.
 * Returns 0, or -1 for any other State. */
PLAT_API i32 tks_SetCancel(i32 State, i32 *Previous);

/* A cancellation point. Does not return when a cancellation is pending and switched on. */
PLAT_API void tks_TestCancel(void);

PLAT_END_C

#endif
