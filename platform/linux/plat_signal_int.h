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

// Gives the calling thread a stack of 1 MiB for its signal handlers, once; freed at the end of the thread. 0, or -1 with
// errno, and then handlers run on the thread's own stack.
PLAT_API int Plat_AlternateStack();

#endif
