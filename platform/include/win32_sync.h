#ifndef WIN32_SYNC_H
#define WIN32_SYNC_H

/* Mutexes, events and waits. All calls are safe from any thread. A handle may be closed while another thread waits on
 * it: that wait goes on with the object, which lives until the wait returns. */

#include "plat_types.h"

PLAT_BEGIN

#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED 0x80u
#define WAIT_ABANDONED_0 0x80u
#define WAIT_TIMEOUT 0x102u
#define WAIT_FAILED 0xFFFFFFFFu
#define PLAT_INFINITE 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64u

/* Makes a mutex of this process.
 *
 * Security      ignored
 * InitialOwner  nonzero: the calling thread owns it at once
 * Name          must be NULL, else error 87
 *
 * Recursive: its owner may wait on it again and releases it as often. When its owner ends, the next wait answers
 * WAIT_ABANDONED and owns it with a count of 1. Returns NULL with the reason in GetLastError. A mutex whose handle is
 * closed while a thread owns it is never given back to the heap. */
PLAT_API handle CreateMutexA(void *Security, i32 InitialOwner, const char *Name);

/* Returns nonzero, or 0: error 288 when the calling thread does not own the mutex, 6 for no mutex. */
PLAT_API i32 ReleaseMutex(handle Mutex);

/* Makes an event of this process.
 *
 * Security, Name  as above
 * ManualReset     must be nonzero, else error 87: an event stays set until ResetEvent
 * InitialState    nonzero: set from the start */
PLAT_API handle CreateEventA(void *Security, i32 ManualReset, i32 InitialState, const char *Name);

/* Sets an event and wakes all that wait on it; a system call only where somebody waits. Nonzero, or 0 with error 6. */
PLAT_API i32 SetEvent(handle Event);
PLAT_API i32 ResetEvent(handle Event);

/* Waits for a mutex, event, thread or process.
 *
 * Milliseconds  0 only looks, PLAT_INFINITE waits without limit
 *
 * Returns WAIT_OBJECT_0, WAIT_ABANDONED, WAIT_TIMEOUT, or WAIT_FAILED with the reason in GetLastError. The handle -1
 * stands for the own process, which never ends before the wait. Signals do not interrupt. */
PLAT_API u32 WaitForSingleObject(handle Object, u32 Milliseconds);

/* Waits until one of several events or threads is set.
 *
 * Count    1 to 64, else error 87
 * WaitAll  must be 0, else error 120
 *
 * Returns WAIT_OBJECT_0 plus the lowest index that is set, WAIT_TIMEOUT, or WAIT_FAILED: error 6 for a handle that is
 * none. Differs from Win32: mutexes and processes are refused with error 120. */
PLAT_API u32 WaitForMultipleObjects(u32 Count, const handle *Objects, i32 WaitAll, u32 Milliseconds);

/* Stops the calling thread for that long, 0 yields. */
PLAT_API void Sleep(u32 Milliseconds);

PLAT_END_C

#endif
