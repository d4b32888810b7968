#ifndef PLAT_PROCESS_H
#define PLAT_PROCESS_H

// Processes as objects: a child or another process, known by a descriptor that the system sets when it ends.

#include <sys/types.h>

#include "plat_handles.h"

// Waits for the end of a process object. WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED.
PLAT_API u32 Plat_ProcessWait(Plat_Object *Object, u32 Milliseconds);

#endif
