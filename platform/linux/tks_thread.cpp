// Per-thread data, thread ids, cancellation.
//
// The data of a thread is one array of its own, at a fixed place behind the thread's register. One POSIX key exists for the sake of its destructor, which runs over
// that array at the end of the thread; it is armed by the first value that has a destructor.

#include "tks_thread.h"

#include <pthread.h>

#include <atomic>

#include "plat_thread.h"

#define AT_FIXED_PLACE __attribute__((tls_model("initial-exec")))

__thread tks_ThreadValue tks_ThreadValues[TKS_THREAD_SLOTS] AT_FIXED_PLACE;
static thread_local tks_ThreadValue innerValues[PLAT_INNER_SLOTS] AT_FIXED_PLACE;
static thread_local bool threadEndArmed AT_FIXED_PLACE = false;

static constinit std::atomic<u32> nextSlot = 0;

static constinit pthread_once_t endKeyOnce = PTHREAD_ONCE_INIT;
static constinit pthread_key_t endKey = 0;
static constinit bool endKeyMade = false;

static void destroy(tks_ThreadValue *Entry)
{
    const tks_ThreadValue old = *Entry;
    *Entry = {};
    const bool isPointer = old.Value != nullptr && old.Value != reinterpret_cast<void *>(-1);
    if (isPointer && old.Destructor != nullptr) old.Destructor(old.Value);
}

// Runs the destructors, the public slots before the inner ones. A destructor may store a value again, which arms the
// key again: the C library then calls a second time, at most PTHREAD_DESTRUCTOR_ITERATIONS in all.
static void atThreadEnd(void *)
{
    threadEndArmed = false;
    for (tks_ThreadValue &entry : tks_ThreadValues) destroy(&entry);
    for (tks_ThreadValue &entry : innerValues) destroy(&entry);
}

static void makeEndKey()
{
    endKeyMade = pthread_key_create(&endKey, atThreadEnd) == 0;
}

static void armThreadEnd()
{
    if (threadEndArmed) return;
    pthread_once(&endKeyOnce, makeEndKey);
    if (endKeyMade && pthread_setspecific(endKey, tks_ThreadValues) == 0) threadEndArmed = true;
}

static void setValue(tks_ThreadValue *Entry, void *Value, tks_ThreadDestructor Destructor)
{
    *Entry = {Value, Destructor};
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
    return Slot < TKS_THREAD_SLOTS ? tks_ThreadValues[Slot].Value : nullptr;
}

void tks_ThreadSetData(u32 Slot, void *Value, tks_ThreadDestructor Destructor)
{
    if (Slot < TKS_THREAD_SLOTS) setValue(&tks_ThreadValues[Slot], Value, Destructor);
}

void *Plat_ThreadGetInner(Plat_InnerSlot Slot)
{
    return innerValues[Slot].Value;
}

void Plat_ThreadSetInner(Plat_InnerSlot Slot, void *Value, tks_ThreadDestructor Destructor)
{
    setValue(&innerValues[Slot], Value, Destructor);
}

u32 tks_ThreadSelf(void)
{
    static constinit std::atomic<u32> lastId = 0;
    static thread_local u32 self AT_FIXED_PLACE = 0;
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
