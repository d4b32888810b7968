// Mutexes, per-thread data, thread ids, cancellation.
//
// A tks_Mutex is a POSIX mutex with a word behind it that says whether it was initialised. Zeroed storage reads as
// "not yet", so a mutex in static storage needs no initialiser, and a lock of it initialises it on the way.
//
// The data of a thread is one array of its own. One POSIX key exists for the sake of its destructor, which runs over
// that array at the end of the thread; it is armed by the first value that has a destructor.

#include "tks_thread.h"

#include <pthread.h>

#include <atomic>

#include "plat_thread.h"

constexpr u32 mutexReady = 0x5259444Du;

struct __attribute__((may_alias)) MutexBody {
    pthread_mutex_t Lock;
    u32 State; // mutexReady once initialised
};

static_assert(sizeof(tks_Mutex) == 48);
static_assert(sizeof(MutexBody) <= sizeof(tks_Mutex));
static_assert(alignof(MutexBody) <= 8); // what a tks_Mutex has

static MutexBody *bodyOf(tks_Mutex *Mutex)
{
    return reinterpret_cast<MutexBody *>(Mutex);
}

void tks_MutexInit(tks_Mutex *Mutex)
{
    MutexBody *const body = bodyOf(Mutex);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&body->Lock, &attributes);
    pthread_mutexattr_destroy(&attributes);
    __atomic_store_n(&body->State, mutexReady, __ATOMIC_RELEASE);
}

static bool isReady(tks_Mutex *Mutex)
{
    return __atomic_load_n(&bodyOf(Mutex)->State, __ATOMIC_ACQUIRE) == mutexReady;
}

// Serialises first uses. Taken once in the life of a mutex.
static constinit pthread_mutex_t initLock = PTHREAD_MUTEX_INITIALIZER;

void tks_MutexInitOnce(tks_Mutex *Mutex)
{
    if (isReady(Mutex)) return;
    pthread_mutex_lock(&initLock);
    if (!isReady(Mutex)) tks_MutexInit(Mutex);
    pthread_mutex_unlock(&initLock);
}

void tks_MutexLock(tks_Mutex *Mutex)
{
    tks_MutexInitOnce(Mutex);
    pthread_mutex_lock(&bodyOf(Mutex)->Lock);
}

void tks_MutexUnlock(tks_Mutex *Mutex)
{
    pthread_mutex_unlock(&bodyOf(Mutex)->Lock);
}

struct ThreadValue {
    void *Value;
    tks_ThreadDestructor Destructor;
};

constexpr u32 allSlots = TKS_THREAD_SLOTS + PLAT_INNER_SLOTS;

static thread_local ThreadValue threadValues[allSlots];
static thread_local bool threadEndArmed = false;

static constinit std::atomic<u32> nextSlot = 0;

static constinit pthread_once_t endKeyOnce = PTHREAD_ONCE_INIT;
static constinit pthread_key_t endKey = 0;
static constinit bool endKeyMade = false;

// Runs the destructors, the public slots before the inner ones. A destructor may store a value again, which arms the
// key again: the C library then calls a second time, at most PTHREAD_DESTRUCTOR_ITERATIONS in all.
static void atThreadEnd(void *)
{
    threadEndArmed = false;
    for (ThreadValue &entry : threadValues) {
        const ThreadValue old = entry;
        entry = {};
        const bool isPointer = old.Value != nullptr && old.Value != reinterpret_cast<void *>(-1);
        if (isPointer && old.Destructor != nullptr) old.Destructor(old.Value);
    }
}

static void makeEndKey()
{
    endKeyMade = pthread_key_create(&endKey, atThreadEnd) == 0;
}

static void armThreadEnd()
{
    if (threadEndArmed) return;
    pthread_once(&endKeyOnce, makeEndKey);
    if (endKeyMade && pthread_setspecific(endKey, threadValues) == 0) threadEndArmed = true;
}

static void setValue(u32 Index, void *Value, tks_ThreadDestructor Destructor)
{
    threadValues[Index] = {Value, Destructor};
    if (Destructor != nullptr) armThreadEnd();
}

u32 tks_ThreadAllocDataSlot(void)
{
    u32 slot = nextSlot.load(std::memory_order_relaxed);
    do {
        if (slot >= TKS_THREAD_SLOTS) return 0xFFFFFFFFu;
    } while (!nextSlot.compare_exchange_weak(slot, slot + 1, std::memory_order_relaxed));
    return slot;
}

void *tks_ThreadGetData(u32 Slot)
{
    return Slot < TKS_THREAD_SLOTS ? threadValues[Slot].Value : nullptr;
}

void tks_ThreadSetData(u32 Slot, void *Value, tks_ThreadDestructor Destructor)
{
    if (Slot < TKS_THREAD_SLOTS) setValue(Slot, Value, Destructor);
}

void *Plat_ThreadGetInner(Plat_InnerSlot Slot)
{
    return threadValues[TKS_THREAD_SLOTS + Slot].Value;
}

void Plat_ThreadSetInner(Plat_InnerSlot Slot, void *Value, tks_ThreadDestructor Destructor)
{
    setValue(TKS_THREAD_SLOTS + Slot, Value, Destructor);
}

u32 tks_ThreadSelf(void)
{
    static constinit std::atomic<u32> lastId = 0;
    static thread_local u32 self = 0;
    if (self == 0) self = lastId.fetch_add(1, std::memory_order_relaxed) + 1;
    return self;
}

i32 tks_SetCancel(i32 State, i32 *Previous)
{
    if (State != 0 && State != 1) return -1;
    // The C library counts the other way round: enabled is 0 there.
    int before = PTHREAD_CANCEL_ENABLE;
    if (pthread_setcancelstate(State == 1 ? PTHREAD_CANCEL_ENABLE : PTHREAD_CANCEL_DISABLE, &before) != 0) return -1;
    if (Previous != nullptr) *Previous = before == PTHREAD_CANCEL_ENABLE ? 1 : 0;
    return 0;
}

void tks_TestCancel(void)
{
    pthread_testcancel();
}
