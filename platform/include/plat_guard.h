#ifndef PLAT_GUARD_H
#define PLAT_GUARD_H

/* Guarded blocks: a fault inside one goes on behind it, as with structured exceptions.
 *
 *     PLAT_TRY
 *     {
 *         printObject(object);
 *     }
 *     PLAT_EXCEPT
 *     {
 *         printf("exception %x\n", platGuard.Exception.ExceptionCode);
 *     }
 *     PLAT_END
 *
 * A fault is SIGSEGV, SIGBUS, SIGFPE, SIGILL or SIGTRAP on this thread. What the block had begun stays as it was:
 * nothing is unwound, no destructor runs, locks stay locked. So the block holds little more than a call, keeps nothing that
 * needs an end, and is not left by return, goto, break or a C++ exception. Locals that it changes are volatile.
 *
 * Guards of a thread nest, one in a function; the innermost gets the fault, and a fault in its PLAT_EXCEPT part is the next one's. The
 * dispatcher of faults is installed by the first guard of a process. */

#include <setjmp.h>

#include "win32_debug.h"

PLAT_BEGIN

typedef struct Plat_Guard {
    struct Plat_Guard *Outer;
    jmp_buf Place; /* without the signal mask */
    EXCEPTION_RECORD Exception; /* what happened; for the PLAT_EXCEPT part */
    CONTEXT Context;
} Plat_Guard;

/* Used by the macros. */
PLAT_API void Plat_GuardEnter(Plat_Guard *Guard);
PLAT_API void Plat_GuardLeave(Plat_Guard *Guard);

#define PLAT_TRY                                                                                                       \
    {                                                                                                                  \
        Plat_Guard platGuard;                                                                                          \
        Plat_GuardEnter(&platGuard);                                                                                   \
        if (setjmp(platGuard.Place) == 0) {
#define PLAT_EXCEPT                                                                                                    \
    Plat_GuardLeave(&platGuard);                                                                                       \
    }                                                                                                                  \
    else                                                                                                               \
    {
#define PLAT_END                                                                                                       \
    }                                                                                                                  \
    }

/* Copies memory that may not be there, without a fault. Returns 1 when all Size bytes were copied, else 0, and then To
 * holds anything. Safe from any thread and in fault handlers. */
PLAT_API i32 plat_safe_read(void *To, const void *From, size_t Size);

PLAT_END_C

#endif
