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

static void runHandler(const signalRow *Row, plat_SignalHandler Handler)
{
    static constinit std::atomic<u32> running = 0;

    struct sigaction before = {};
    unsigned remaining = 0;
    const bool outermost = running.fetch_add(1, std::memory_order_relaxed) == 0;
    if (outermost) {
        alarmStatus.store(128 + Row->Native, std::memory_order_relaxed);
        struct sigaction action = {};
        action.sa_handler = handlerHangs;
        Plat_Sys.Sigaction(SIGALRM, &action, &before);
        sigset_t alarmSignal;
        sigemptyset(&alarmSignal);
        sigaddset(&alarmSignal, SIGALRM);
        pthread_sigmask(SIG_UNBLOCK, &alarmSignal, nullptr);
        remaining = alarm(handlerSeconds);
    }

    Plat_FaultEnter();
    Handler(Row->Number);
    Plat_FaultLeave();

    running.fetch_sub(1, std::memory_order_relaxed);
    if (outermost) {
        alarm(remaining);
        Plat_Sys.Sigaction(SIGALRM, &before, nullptr);
    }
}

static void dispatch(int Native, siginfo_t *Info, void *Context)
{
    const int errnoBefore = errno;
    const bool fault = isFault(Native);
    const Plat_FaultFilter filter = fault ? Plat_OnFault.load(std::memory_order_acquire) : nullptr;
    if (filter != nullptr && filter(Native, Info, Context)) {
        errno = errnoBefore;
        return;
    }

    signalRow *const row = rowOfNative(Native);
    const plat_SignalHandler handler =
        row == nullptr ? PLAT_SIG_DFL : row->Handler.exchange(PLAT_SIG_DFL, std::memory_order_acq_rel);
    if (handler != PLAT_SIG_DFL && handler != PLAT_SIG_IGN) {
        runHandler(row, handler);
        errno = errnoBefore;
        return;
    }

    // The default: a fault happens again as soon as this returns; a signal that was sent is sent again.
    setAction(Native, SIG_DFL);
    if (!fault || Info->si_code <= 0) raise(Native);
    errno = errnoBefore;
}

int Plat_SignalWatch(int Signal)
{
    struct sigaction action = {};
    action.sa_sigaction = dispatch;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART | SA_NODEFER; // a second one meets the default at once
    return Plat_Sys.Sigaction(Signal, &action, nullptr);
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
