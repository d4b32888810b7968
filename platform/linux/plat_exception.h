#ifndef PLAT_EXCEPTION_H
#define PLAT_EXCEPTION_H

// Faults of the system as exception records, and the way that one takes: guards of the thread, filter of the process.

#include <signal.h>

#include "win32_debug.h"

// Installs the dispatcher of faults, once. 0, or -1 with errno.
PLAT_API int Plat_WatchFaults();

// What a signal and its machine context tell.
PLAT_API void Plat_FillException(int Signal, const siginfo_t *Info, const void *Native, EXCEPTION_RECORD *Record,
                                 CONTEXT *Context);

// Puts the registers of a context back into a machine context.
PLAT_API void Plat_RestoreContext(const CONTEXT *Context, void *Native);

// Hands a fault to the innermost guard of this thread, and does not return then.
PLAT_API void Plat_RaiseToGuard(const EXCEPTION_RECORD *Record, const CONTEXT *Context);

// Offers a fault to the filter of the process; its answer, or EXCEPTION_CONTINUE_SEARCH without one. A fault inside the
// filter is answered with EXCEPTION_EXECUTE_HANDLER, so that the process ends. Signal is what the process ends with when
// the filter hangs.
PLAT_API u32 Plat_OfferException(int Signal, EXCEPTION_RECORD *Record, CONTEXT *Context);

// Whether a filter is set.
PLAT_API i32 Plat_HasFilter();

// The runtime of exception objects names the routine that finds them: inside std::terminate it gives the address of the
// object that was raised and not caught, NULL when the exception is none of that kind.
typedef const void *(*Plat_UncaughtObject)(void);
PLAT_API void Plat_SetUncaughtObject(Plat_UncaughtObject Find);

#endif
