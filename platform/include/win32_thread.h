#ifndef WIN32_THREAD_H
#define WIN32_THREAD_H

/* Threads with handles. */

#include "plat_types.h"

PLAT_BEGIN

typedef u32 (*PTHREAD_START_ROUTINE_)(void *Word);

/* Starts a thread.
 *
 * Security, StackSize  ignored: the stack is the system's default
 * Start                called with Word; its result is not kept
 * Flags                must be 0, else error 87
 * ThreadId             receives a number that tells threads of this process apart; may be NULL
 *
 * Returns a handle that is set once the thread has ended, or NULL with the reason in GetLastError. */
PLAT_API handle CreateThread(void *Security, size_t StackSize, PTHREAD_START_ROUTINE_ Start, void *Word, u32 Flags,
                             u32 *ThreadId);

/* The pseudo handle of the calling thread, -2, and its number, that of tks_ThreadSelf. */
PLAT_API handle GetCurrentThread(void);
PLAT_API u32 GetCurrentThreadId(void);

PLAT_END_C

#endif
