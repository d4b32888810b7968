// Mutexes and events, and the waits on every kind of object.

#include "win32_sync.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>
#include <new>

#include "plat_process.h"
#include "plat_sys.h"
#include "plat_waitable.h"
#include "win32_error.h"

struct Mutex {
    Plat_Object Head;
    pthread_mutex_t Lock; // robust, so that the end of its owner shows
    Mutex *NextKept;
};

// Mutexes that were closed while another thread owned them, until that thread has ended.
static constinit pthread_mutex_t keptLock = PTHREAD_MUTEX_INITIALIZER;
static constinit Mutex *kept = nullptr;

static Mutex *mutexOf(Plat_Object *object)
{
    return reinterpret_cast<Mutex *>(object);
}

// Frees a mutex. False when another thread owns it: a robust mutex stands in a list of its owner's as long as it is
// owned, and such a block must not be freed.
static bool freeMutex(Mutex *mutex)
{
    const int result = pthread_mutex_trylock(&mutex->Lock);
    if (result == EOWNERDEAD) pthread_mutex_consistent(&mutex->Lock);
    if (result != 0 && result != EOWNERDEAD) return false;
    while (pthread_mutex_unlock(&mutex->Lock) == 0) {
    }
    pthread_mutex_destroy(&mutex->Lock);
    free(mutex);
    return true;
}

static void destroyMutex(Plat_Object *object)
{
    pthread_mutex_lock(&keptLock);
    Mutex *next = mutexOf(object);
    next->NextKept = kept;
    kept = nullptr;
    while (next != nullptr) { // this one and those of before: what cannot go yet stays
        Mutex *const mutex = next;
        next = mutex->NextKept;
        if (freeMutex(mutex)) continue;
        mutex->NextKept = kept;
        kept = mutex;
    }
    pthread_mutex_unlock(&keptLock);
}

static const Plat_ObjectOps mutexOps = {PLAT_KIND_MUTEX, nullptr, destroyMutex};

static void initialise(pthread_mutex_t *lock)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(lock, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

handle CreateMutexA(void *, i32 InitialOwner, const char *Name)
{
    if (Name != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void *const block = Plat_Sys.Malloc(sizeof(Mutex));
    if (block == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    Mutex *const mutex = new (block) Mutex{};
    initialise(&mutex->Lock);
    if (InitialOwner != 0) pthread_mutex_lock(&mutex->Lock);
    const handle created = Plat_HandleCreate(&mutex->Head, &mutexOps);
    if (created == nullptr) destroyMutex(&mutex->Head);
    return created;
}

i32 ReleaseMutex(handle Mutex)
{
    Plat_Object *const object = Plat_HandleAcquire(Mutex, PLAT_KIND_MUTEX);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    const int result = pthread_mutex_unlock(&mutexOf(object)->Lock);
    if (result != 0) SetLastError(ERROR_NOT_OWNER);
    Plat_HandleRelease(object);
    return result == 0;
}

static int lockFor(pthread_mutex_t *lock, u32 milliseconds)
{
    const int result = pthread_mutex_trylock(lock);
    if (result != EBUSY || milliseconds == 0) return result;
    if (milliseconds == PLAT_INFINITE) return pthread_mutex_lock(lock);
    const struct timespec until = Plat_Deadline(milliseconds);
    return pthread_mutex_clocklock(lock, CLOCK_MONOTONIC, &until);
}

static u32 waitMutex(Mutex *mutex, u32 milliseconds)
{
    const int result = lockFor(&mutex->Lock, milliseconds);
    switch (result) {
    case 0: return WAIT_OBJECT_0;
    case EOWNERDEAD: pthread_mutex_consistent(&mutex->Lock); return WAIT_ABANDONED;
    case EBUSY:
    case ETIMEDOUT: return WAIT_TIMEOUT;
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

static void destroyEvent(Plat_Object *object)
{
    free(reinterpret_cast<Plat_Waitable *>(object));
}

static const Plat_ObjectOps eventOps = {PLAT_KIND_EVENT, nullptr, destroyEvent};

handle CreateEventA(void *, i32 ManualReset, i32 InitialState, const char *Name)
{
    if (Name != nullptr || ManualReset == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void *const block = Plat_Sys.Malloc(sizeof(Plat_Waitable));
    if (block == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    Plat_Waitable *const event = new (block) Plat_Waitable{};
    event->Set = InitialState != 0;
    const handle created = Plat_HandleCreate(&event->Head, &eventOps);
    if (created == nullptr) free(block);
    return created;
}

static i32 changeEvent(handle Event, void (*change)(Plat_Waitable *))
{
    Plat_Object *const object = Plat_HandleAcquire(Event, PLAT_KIND_EVENT);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    change(reinterpret_cast<Plat_Waitable *>(object));
    Plat_HandleRelease(object);
    return 1;
}

i32 SetEvent(handle Event)
{
    return changeEvent(Event, Plat_WaitableSet);
}

i32 ResetEvent(handle Event)
{
    return changeEvent(Event, Plat_WaitableReset);
}

static constexpr u32 setKinds = PLAT_KIND_EVENT | PLAT_KIND_THREAD;

u32 WaitForSingleObject(handle Object, u32 Milliseconds)
{
    if (Object == PLAT_INVALID_HANDLE) { // the own process
        Sleep(Milliseconds);
        return WAIT_TIMEOUT;
    }
    Plat_Object *const object = Plat_HandleAcquire(Object, setKinds | PLAT_KIND_MUTEX | PLAT_KIND_PROCESS);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    u32 result;
    if (object->Ops->Kind == PLAT_KIND_MUTEX) {
        result = waitMutex(mutexOf(object), Milliseconds);
    } else if (object->Ops->Kind == PLAT_KIND_PROCESS) {
        result = Plat_ProcessWait(object, Milliseconds);
    } else {
        Plat_Waitable *waitable = reinterpret_cast<Plat_Waitable *>(object);
        result = Plat_WaitableWait(&waitable, 1, Milliseconds) == 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }
    Plat_HandleRelease(object);
    return result;
}

// Takes a reference of each object; 0, or the error, and then none is held.
static u32 acquireAll(u32 count, const handle *handles, Plat_Waitable **objects)
{
    for (u32 i = 0; i < count; ++i) {
        Plat_Object *const object = Plat_HandleAcquire(handles[i], PLAT_KIND_ANY);
        const bool fits = object != nullptr && (object->Ops->Kind & setKinds) != 0;
        if (fits) {
            objects[i] = reinterpret_cast<Plat_Waitable *>(object);
            continue;
        }
        const bool waits = object != nullptr && (object->Ops->Kind & (PLAT_KIND_MUTEX | PLAT_KIND_PROCESS)) != 0;
        if (object != nullptr) Plat_HandleRelease(object);
        while (i-- > 0) Plat_HandleRelease(&objects[i]->Head);
        return waits ? ERROR_CALL_NOT_IMPLEMENTED : ERROR_INVALID_HANDLE;
    }
    return ERROR_SUCCESS;
}

u32 WaitForMultipleObjects(u32 Count, const handle *Objects, i32 WaitAll, u32 Milliseconds)
{
    u32 error = ERROR_SUCCESS;
    Plat_Waitable *objects[MAXIMUM_WAIT_OBJECTS];
    if (Count == 0 || Count > MAXIMUM_WAIT_OBJECTS || Objects == nullptr)
        error = ERROR_INVALID_PARAMETER;
    else if (WaitAll != 0)
        error = ERROR_CALL_NOT_IMPLEMENTED;
    else
        error = acquireAll(Count, Objects, objects);
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return WAIT_FAILED;
    }

    const i32 found = Plat_WaitableWait(objects, Count, Milliseconds);
    for (u32 i = 0; i < Count; ++i) Plat_HandleRelease(&objects[i]->Head);
    return found < 0 ? WAIT_TIMEOUT : WAIT_OBJECT_0 + static_cast<u32>(found);
}

void Sleep(u32 Milliseconds)
{
    if (Milliseconds == PLAT_INFINITE) {
        for (;;) Sleep(1000000);
    }
    const struct timespec until = Plat_Deadline(Milliseconds);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}
