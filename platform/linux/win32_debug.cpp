// The filter of exceptions that nobody handles.
//
// It runs inside the failing thread, which may hold any lock, so three things bound it: a thread that faults in its filter
// again has no second try, an alarm ends a filter that hangs, and the end of the process inside it runs no exit routine.

#include "win32_debug.h"

#include <signal.h>
#include <ucontext.h>

#include <atomic>
#include <cstdlib>
#include <exception>

#include "plat_exception.h"
#include "plat_fault.h"
#include "plat_signal_int.h"
#include "plat_sys.h"

static constinit std::atomic<PTOP_LEVEL_EXCEPTION_FILTER> unhandled = nullptr;
static constinit std::atomic<Plat_UncaughtObject> findUncaught = nullptr;
static constinit std::atomic<std::terminate_handler> terminateBefore = nullptr;

static thread_local bool inFilter __attribute__((tls_model("initial-exec"))) = false;

i32 Plat_HasFilter()
{
    return unhandled.load(std::memory_order_acquire) != nullptr;
}

void Plat_SetUncaughtObject(Plat_UncaughtObject Find)
{
    findUncaught.store(Find, std::memory_order_release);
}

u32 Plat_OfferException(int Signal, EXCEPTION_RECORD *Record, CONTEXT *Context)
{
    const PTOP_LEVEL_EXCEPTION_FILTER filter = unhandled.load(std::memory_order_acquire);
    if (filter == nullptr) return EXCEPTION_CONTINUE_SEARCH;
    if (inFilter) return EXCEPTION_EXECUTE_HANDLER;

    EXCEPTION_POINTERS pointers = {Record, Context};
    Plat_HandlerTime time;
    inFilter = true;
    Plat_HandlerBegin(Signal, &time);
    const u32 answer = filter(&pointers);
    Plat_HandlerEnd(&time);
    inFilter = false;
    return answer;
}

// Ends the process as an exception does that nobody wants: by SIGABRT, past every handler.
[[noreturn]] static void endByAbort()
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    Plat_Sys.Sigaction(SIGABRT, &action, nullptr);
    abort();
}

// The exception is still where it was thrown: a search that found no handler unwinds nothing.
__attribute__((noinline)) static void onTerminate()
{
    const std::terminate_handler before = terminateBefore.load(std::memory_order_acquire);
    if (std::current_exception() != nullptr && Plat_HasFilter()) {
        const Plat_UncaughtObject find = findUncaught.load(std::memory_order_acquire);
        const void *const object = find != nullptr ? find() : nullptr;
        EXCEPTION_RECORD record = {};
        record.ExceptionCode = object != nullptr ? PLAT_EXCEPTION_OBJECT : PLAT_EXCEPTION_LANGUAGE;
        record.ExceptionFlags = 1;
        record.ExceptionAddress = __builtin_return_address(0);
        record.NumberParameters = object != nullptr ? 1 : 0;
        record.ExceptionInformation[0] = reinterpret_cast<uintptr_t>(object);

        // The frame of the caller: its place is known exactly, its other registers as far as they still hold.
        ucontext_t native;
        getcontext(&native);
        const siginfo_t none = {};
        EXCEPTION_RECORD unused;
        CONTEXT context;
        Plat_FillException(SIGABRT, &none, &native, &unused, &context);
        context.Eip = reinterpret_cast<u64>(record.ExceptionAddress);
        context.Esp = reinterpret_cast<u64>(__builtin_dwarf_cfa());
        if (Plat_OfferException(SIGABRT, &record, &context) != EXCEPTION_CONTINUE_SEARCH) endByAbort();
    }
    if (before != nullptr) before();
    abort();
}

PTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(PTOP_LEVEL_EXCEPTION_FILTER Filter)
{
    const PTOP_LEVEL_EXCEPTION_FILTER before = unhandled.exchange(Filter, std::memory_order_acq_rel);
    if (Filter == nullptr) return before;
    plat_FaultStack();
    Plat_WatchFaults();
    if (std::get_terminate() != onTerminate)
        terminateBefore.store(std::set_terminate(onTerminate), std::memory_order_release);
    return before;
}

i32 plat_FaultStack(void)
{
    return Plat_AlternateStack();
}
