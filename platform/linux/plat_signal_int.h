#ifndef PLAT_SIGNAL_INT_H
#define PLAT_SIGNAL_INT_H

// The one dispatcher of signals, which the handlers of plat_signal.h and the filter of unhandled exceptions share.

#include <signal.h>

#include <atomic>

#include "plat_types.h"

// Looks at a fault (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP) before any handler does. Nonzero: it has been dealt with,
// and the thread goes on where Context now says.
typedef i32 (*Plat_FaultFilter)(int Signal, siginfo_t *Info, void *Context);

// NULL while there is none. Set it before the first Plat_SignalWatch.
extern PLAT_API std::atomic<Plat_FaultFilter> Plat_OnFault;

// Installs the dispatcher for a signal of the system's numbering. 0, or -1 with errno.
PLAT_API int Plat_SignalWatch(int Signal);

// The default for a signal that nobody took: what a watched fault had before, else the system's own. A fault that was met
// happens again as soon as its handler returns; a signal that was sent, and a breakpoint, is sent again here.
PLAT_API void Plat_SignalDefault(int Signal, const siginfo_t *Info);

// The time of a handler of ours: between the two, tks_Exit ends the process at once, and after 30 seconds the process ends
// with 128 + Signal. Calls nest, in any threads; the first of them sets the alarm.
struct Plat_HandlerTime {
    bool Outermost;
    unsigned Remaining; // of an alarm of the host
    struct sigaction Before;
};
PLAT_API void Plat_HandlerBegin(int Signal, Plat_HandlerTime *Time);
PLAT_API void Plat_HandlerEnd(const Plat_HandlerTime *Time);

// Gives the calling thread a stack of 1 MiB for its signal handlers, once; freed at the end of the thread. 0, or -1 with
// errno, and then handlers run on the thread's own stack.
PLAT_API int Plat_AlternateStack();

#endif
