// Signals of ISO C under the numbers of the Win32 runtime.
//
// Handlers lie in a table of ours, and the system knows one dispatcher for all of them. So a fault can be offered to
// the filter of unhandled exceptions first, and "back to the default at delivery" is one exchange of a word.
//
// A handler may log, and the thread that it interrupted may hold the very lock that logging needs. Nothing can be done
// about that within the process, so an alarm bounds the time of a handler.

#include "plat_signal.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "plat_fault.h"
#include "plat_signal_int.h"
#include "plat_sys.h"
#include "plat_thread.h"

constexpr unsigned handlerSeconds = 30;
constexpr size_t stackSize = 1u << 20;
constexpr size_t stackGuard = 4096;

constinit std::atomic<Plat_FaultFilter> Plat_OnFault = nullptr;

struct signalRow {
    i32 Number; // of the Win32 runtime
    int Native;
    std::atomic<plat_SignalHandler> Handler;
};

static constinit signalRow signalRows[] = {
    {PLAT_SIGINT, SIGINT, {}},   {PLAT_SIGILL, SIGILL, {}},   {PLAT_SIGFPE, SIGFPE, {}},
    {PLAT_SIGSEGV, SIGSEGV, {}}, {PLAT_SIGTERM, SIGTERM, {}}, {PLAT_SIGABRT, SIGABRT, {}},
};

static bool isFault(int Native)
{
    return Native == SIGSEGV || Native == SIGBUS || Native == SIGFPE || Native == SIGILL || Native == SIGTRAP;
}

static signalRow *rowOfNumber(i32 Number)
{
    for (signalRow &row : signalRows)
        if (row.Number == Number) return &row;
    return nullptr;
}

static signalRow *rowOfNative(int Native)
{
    for (signalRow &row : signalRows)
        if (row.Native == Native) return &row;
    return nullptr;
}

static int setAction(int Native, void (*Action)(int))
{
    struct sigaction action = {};
    action.sa_handler = Action;
    return Plat_Sys.Sigaction(Native, &action, nullptr);
}

static constinit std::atomic<int> alarmStatus = 0; // what a handler that hangs ends the process with

static void handlerHangs(int)
{
    _exit(alarmStatus.load(std::memory_order_relaxed));
}

static constinit std::atomic<u32> handlersRunning = 0;

void Plat_HandlerBegin(int Signal, Plat_HandlerTime *Time)
{
    *Time = {};
    Time->Outermost = handlersRunning.fetch_add(1, std::memory_order_relaxed) == 0;
    if (Time->Outermost) {
        alarmStatus.store(128 + Signal, std::memory_order_relaxed);
        struct sigaction action = {};
        action.sa_handler = handlerHangs;
        Plat_Sys.Sigaction(SIGALRM, &action, &Time->Before);
        sigset_t alarmSignal;
        sigemptyset(&alarmSignal);
        sigaddset(&alarmSignal, SIGALRM);
        pthread_sigmask(SIG_UNBLOCK, &alarmSignal, nullptr);
        Time->Remaining = alarm(handlerSeconds);
    }
    Plat_FaultEnter();
}

void Plat_HandlerEnd(const Plat_HandlerTime *Time)
{
    Plat_FaultLeave();
    handlersRunning.fetch_sub(1, std::memory_order_relaxed);
    if (!Time->Outermost) return;
    alarm(Time->Remaining);
    Plat_Sys.Sigaction(SIGALRM, &Time->Before, nullptr);
}

static void dispatch(int Native, siginfo_t *Info, void *Context)
{
    const int errnoBefore = errno;
    const Plat_FaultFilter filter = isFault(Native) ? Plat_OnFault.load(std::memory_order_acquire) : nullptr;
    if (filter != nullptr && filter(Native, Info, Context)) {
        errno = errnoBefore;
        return;
    }

    signalRow *const row = rowOfNative(Native);
    const plat_SignalHandler handler =
        row == nullptr ? PLAT_SIG_DFL : row->Handler.exchange(PLAT_SIG_DFL, std::memory_order_acq_rel);
    if (handler == PLAT_SIG_DFL || handler == PLAT_SIG_IGN) {
        Plat_SignalDefault(Native, Info);
    } else {
        Plat_HandlerTime time;
        Plat_HandlerBegin(Native, &time);
        handler(row->Number);
        Plat_HandlerEnd(&time);
    }
    errno = errnoBefore;
}

// What faults had before they were watched, where that was a handler of the host's.
struct displacedRow {
    int Native;
    std::atomic<bool> Displaced;
    struct sigaction Before;
};

static constinit displacedRow displacedRows[] = {
    {SIGSEGV, {}, {}}, {SIGBUS, {}, {}}, {SIGFPE, {}, {}}, {SIGILL, {}, {}}, {SIGTRAP, {}, {}},
};

static displacedRow *displacedOf(int Native)
{
    for (displacedRow &row : displacedRows)
        if (row.Native == Native) return &row;
    return nullptr;
}

void Plat_SignalDefault(int Signal, const siginfo_t *Info)
{
    displacedRow *const row = displacedOf(Signal);
    if (row != nullptr && row->Displaced.load(std::memory_order_acquire))
        Plat_Sys.Sigaction(Signal, &row->Before, nullptr);
    else
        setAction(Signal, SIG_DFL);
    if (!isFault(Signal) || Signal == SIGTRAP || Info->si_code <= 0) raise(Signal);
}

int Plat_SignalWatch(int Signal)
{
    struct sigaction action = {}, before = {};
    action.sa_sigaction = dispatch;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART | SA_NODEFER; // a second one meets the default at once
    if (Plat_Sys.Sigaction(Signal, &action, &before) != 0) return -1;
    displacedRow *const row = displacedOf(Signal);
    const bool foreign = (before.sa_flags & SA_SIGINFO) != 0
                             ? before.sa_sigaction != dispatch
                             : before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN;
    if (row != nullptr && foreign && !row->Displaced.load(std::memory_order_acquire)) {
        row->Before = before;
        row->Displaced.store(true, std::memory_order_release);
    }
    return 0;
}

plat_SignalHandler plat_signal(i32 Signal, plat_SignalHandler Handler)
{
    signalRow *const row = rowOfNumber(Signal);
    if (row == nullptr || Handler == PLAT_SIG_ERR) {
        errno = EINVAL;
        return PLAT_SIG_ERR;
    }

    const bool watched = isFault(row->Native) && Plat_OnFault.load(std::memory_order_acquire) != nullptr;
    const plat_SignalHandler before = row->Handler.exchange(Handler, std::memory_order_acq_rel);
    int result;
    if (Handler != PLAT_SIG_DFL && Handler != PLAT_SIG_IGN) {
        Plat_AlternateStack();
        result = Plat_SignalWatch(row->Native);
    } else {
        result = watched ? Plat_SignalWatch(row->Native)
                         : setAction(row->Native, Handler == PLAT_SIG_IGN ? SIG_IGN : SIG_DFL);
    }
    if (result == 0) return before;
    row->Handler.store(before, std::memory_order_release);
    return PLAT_SIG_ERR;
}

// A thread's signal stack: the guard page, then the stack, and what the thread had before.
struct alternateStack {
    void *Block;
    stack_t Before;
};

static void dropAlternateStack(void *Value)
{
    alternateStack *const stack = static_cast<alternateStack *>(Value);
    void *const block = stack->Block;
    sigaltstack(&stack->Before, nullptr);
    munmap(block, stackGuard + stackSize); // the structure lies in it too
}

int Plat_AlternateStack()
{
    stack_t present = {};
    sigaltstack(nullptr, &present);
    if ((present.ss_flags & SS_DISABLE) == 0 && present.ss_size >= stackSize / 2) return 0;

    void *const block =
        mmap(nullptr, stackGuard + stackSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (block == MAP_FAILED) return -1;
    u8 *const base = static_cast<u8 *>(block) + stackGuard;

    constexpr size_t usable = stackSize - sizeof(alternateStack);
    alternateStack *const stack =
        reinterpret_cast<alternateStack *>(base + usable); // above the stack, which grows down
    stack_t wanted = {};
    wanted.ss_sp = base;
    wanted.ss_size = usable;
    if (mprotect(base, stackSize, PROT_READ | PROT_WRITE) != 0 || sigaltstack(&wanted, nullptr) != 0) {
        munmap(block, stackGuard + stackSize);
        return -1;
    }
    *stack = {block, present};
    stack->Before.ss_flags &= SS_DISABLE;
    Plat_ThreadSetInner(PLAT_INNER_SIGNAL_STACK, stack, dropAlternateStack);
    return 0;
}
