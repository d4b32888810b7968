// Mutexes.
//
// A mutex is one word: free, held, or held while others sleep. All zero bytes are a free one, so a mutex in static
// storage needs no initialiser. Taking a free one is one exchange, and so is giving it up.
//
// Who finds it held looks at it again for a short while before it sleeps, for most locks here are held for less than a
// sleep costs. The looks get rarer: each takes the word's cache line from the owner, who needs it to go on.

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "tks_thread.h"

enum : u32 { FREE, HELD, HELD_WITH_SLEEPERS };

constexpr u32 firstPause = 16; // turns of the processor's pause between the first two looks
constexpr u32 longestPause = 256;

struct __attribute__((may_alias)) MutexBody {
    u32 Word;
    u32 Depth; // locks of the owner beyond the first
    const void *Owner; // the thread that holds it; others read it only to find that it is not theirs
};

static_assert(sizeof(tks_Mutex) == 48);
static_assert(sizeof(MutexBody) <= sizeof(tks_Mutex));

// Its address tells threads apart.
static thread_local char threadMark __attribute__((tls_model("initial-exec")));

static MutexBody *bodyOf(tks_Mutex *Mutex)
{
    return reinterpret_cast<MutexBody *>(Mutex);
}

void tks_MutexInit(tks_Mutex *Mutex)
{
    *Mutex = {};
}

void tks_MutexInitOnce(tks_Mutex *)
{
}

static bool take(u32 *Word)
{
    u32 expected = FREE;
    return __atomic_compare_exchange_n(Word, &expected, HELD, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
}

static bool takeAfterAWhile(u32 *Word)
{
    for (u32 pause = firstPause; pause <= longestPause; pause *= 2) {
        for (u32 turn = 0; turn < pause; ++turn) __builtin_ia32_pause();
        if (__atomic_load_n(Word, __ATOMIC_RELAXED) == FREE && take(Word)) return true;
    }
    return false;
}

static void waitFor(u32 *Word)
{
    if (takeAfterAWhile(Word)) return;
    const int callersErrno = errno;
    while (__atomic_exchange_n(Word, HELD_WITH_SLEEPERS, __ATOMIC_ACQUIRE) != FREE) {
        syscall(SYS_futex, Word, FUTEX_WAIT_PRIVATE, HELD_WITH_SLEEPERS, nullptr, nullptr, 0);
    }
    errno = callersErrno;
}

static __attribute__((noinline)) void wakeOne(u32 *Word)
{
    const int callersErrno = errno;
    syscall(SYS_futex, Word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    errno = callersErrno;
}

// A lock that was not free: the owner's own once more, or somebody else's.
static __attribute__((noinline)) void lockTaken(MutexBody *Body)
{
    if (__atomic_load_n(&Body->Owner, __ATOMIC_RELAXED) == &threadMark) {
        ++Body->Depth;
        return;
    }
    waitFor(&Body->Word);
    __atomic_store_n(&Body->Owner, &threadMark, __ATOMIC_RELAXED);
}

void tks_MutexLock(tks_Mutex *Mutex)
{
    MutexBody *const body = bodyOf(Mutex);
    if (__builtin_expect(!take(&body->Word), 0)) return lockTaken(body);
    __atomic_store_n(&body->Owner, &threadMark, __ATOMIC_RELAXED);
}

void tks_MutexUnlock(tks_Mutex *Mutex)
{
    MutexBody *const body = bodyOf(Mutex);
    if (__builtin_expect(body->Depth != 0, 0)) {
        --body->Depth;
        return;
    }
    __atomic_store_n(&body->Owner, nullptr, __ATOMIC_RELAXED);
    const u32 before = __atomic_exchange_n(&body->Word, FREE, __ATOMIC_RELEASE);
    if (__builtin_expect(before == HELD_WITH_SLEEPERS, 0)) return wakeOne(&body->Word);
}
