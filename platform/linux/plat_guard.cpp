// Guards, and the dispatcher's first look at a fault.
//
// A thread's guards form a chain on its stack. The dispatcher copies what happened into the innermost one, takes it out and
// jumps to it; it may do so out of a handler, for the handler blocks no signal and the signal stack is known by its addresses.

#include "plat_guard.h"

#include <pthread.h>
#include <sys/uio.h>
#include <ucontext.h>

#include <cerrno>
#include <cstring>

#include "plat_descriptor.h"
#include "plat_exception.h"
#include "plat_signal_int.h"
#include "plat_sys.h"

// Reached from signal handlers: no lazy allocation of thread data there.
static thread_local Plat_Guard *innermost __attribute__((tls_model("initial-exec"))) = nullptr;

static i32 onFault(int Signal, siginfo_t *Info, void *Native)
{
    EXCEPTION_RECORD record;
    CONTEXT context;
    Plat_FillException(Signal, Info, Native, &record, &context);
    Plat_RaiseToGuard(&record, &context);

    switch (Plat_OfferException(Signal, &record, &context)) {
    case EXCEPTION_CONTINUE_SEARCH: return 0;
    case EXCEPTION_CONTINUE_EXECUTION: Plat_RestoreContext(&context, Native); return 1;
    }
    Plat_SignalDefault(Signal, Info);
    return 1;
}

static constinit int watchResult = 0;

static void watch()
{
    Plat_OnFault.store(onFault, std::memory_order_release);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP})
        if (Plat_SignalWatch(fault) != 0) watchResult = errno;
}

int Plat_WatchFaults()
{
    static constinit pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, watch);
    if (watchResult == 0) return 0;
    errno = watchResult;
    return -1;
}

void Plat_GuardEnter(Plat_Guard *Guard)
{
    Plat_WatchFaults();
    Guard->Outer = innermost;
    innermost = Guard;
}

void Plat_GuardLeave(Plat_Guard *Guard)
{
    innermost = Guard->Outer;
}

void Plat_RaiseToGuard(const EXCEPTION_RECORD *Record, const CONTEXT *Context)
{
    Plat_Guard *const guard = innermost;
    if (guard == nullptr) return;
    innermost = guard->Outer;
    guard->Exception = *Record;
    guard->Context = *Context;
    siglongjmp(guard->Place, 1);
}

// ---- reading memory that may not be there ----

// Through a pipe, in pieces that it takes without a reader: a write from a bad address fails and raises nothing.
static bool readByPipe(u8 *to, const u8 *from, size_t size)
{
    constexpr size_t piece = 4096;
    int ends[2];
    if (Plat_Sys.Pipe2(ends, O_CLOEXEC) != 0) return false;
    ends[0] = Plat_DescriptorAbove2(ends[0]);
    ends[1] = Plat_DescriptorAbove2(ends[1]);
    bool good = ends[0] >= 0 && ends[1] >= 0;
    for (size_t done = 0; good && done < size;) {
        const size_t wanted = size - done < piece ? size - done : piece;
        const ssize_t count = PLAT_RETRY(write(ends[1], from + done, wanted));
        good = count > 0 && PLAT_RETRY(read(ends[0], to + done, static_cast<size_t>(count))) == count;
        if (good) done += static_cast<size_t>(count);
    }
    for (const int end : ends)
        if (end >= 0) Plat_Sys.Close(end);
    return good;
}

i32 plat_safe_read(void *To, const void *From, size_t Size)
{
    if (Size == 0) return 1;
    if (reinterpret_cast<uintptr_t>(From) + Size < Size) return 0;
    const int errnoBefore = errno;
    struct iovec local = {To, Size};
    struct iovec remote = {const_cast<void *>(From), Size};
    const ssize_t count = Plat_Sys.ProcessVmReadv(getpid(), &local, 1, &remote, 1, 0);
    bool good = count == static_cast<ssize_t>(Size);
    if (count < 0 && errno != EFAULT) good = readByPipe(static_cast<u8 *>(To), static_cast<const u8 *>(From), Size);
    errno = errnoBefore;
    return good;
}

i32 IsBadReadPtr(const void *From, size_t Size)
{
    constexpr uintptr_t page = 4096;
    if (Size == 0) return 0;
    const uintptr_t first = reinterpret_cast<uintptr_t>(From);
    const uintptr_t last = first + (Size - 1);
    if (last < first) return 1;
    for (uintptr_t at = first;; at = (at | (page - 1)) + 1) { // one byte of each page
        u8 byte;
        if (!plat_safe_read(&byte, reinterpret_cast<const void *>(at), 1)) return 1;
        if ((at | (page - 1)) >= last) return 0;
    }
}
