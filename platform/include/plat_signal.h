#ifndef PLAT_SIGNAL_H
#define PLAT_SIGNAL_H

/* Signals of ISO C under the numbers of the Win32 runtime. */

#include "plat_types.h"

PLAT_BEGIN

#define PLAT_SIGINT 2 /* interrupt */
#define PLAT_SIGILL 4 /* illegal instruction */
#define PLAT_SIGFPE 8 /* arithmetic fault */
#define PLAT_SIGSEGV 11 /* segment violation */
#define PLAT_SIGTERM 15 /* termination request */
#define PLAT_SIGABRT 22 /* abort; the system's own number is 6 */

typedef void (*plat_SignalHandler)(i32 Signal);

#define PLAT_SIG_DFL ((plat_SignalHandler)0)
#define PLAT_SIG_IGN ((plat_SignalHandler)1)
#define PLAT_SIG_ERR ((plat_SignalHandler)-1)

/* Sets what happens at a signal.
 *
 * Signal   one of PLAT_SIG*
 * Handler  called with the number as above, on the thread that got the signal, on a stack of its own where the thread
 *          has one (the thread of the first plat_signal has); or PLAT_SIG_DFL, PLAT_SIG_IGN
 *
 * At its delivery a signal goes back to PLAT_SIG_DFL, before the handler runs; a second one then ends the process. A
 * handler that returns from a fault meets the same fault again. While a handler runs, tks_Exit ends the process at
 * once, without exit routines; a handler that is still at work after 30 seconds ends with its process.
 *
 * Of a fault on a thread the guard of that thread comes first, then the filter of unhandled exceptions, then this.
 *
 * Returns the handler before, or PLAT_SIG_ERR with errno EINVAL for another number. Safe from any thread. */
PLAT_API plat_SignalHandler plat_signal(i32 Signal, plat_SignalHandler Handler);

PLAT_END_C

#endif
