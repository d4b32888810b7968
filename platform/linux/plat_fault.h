#ifndef PLAT_FAULT_H
#define PLAT_FAULT_H

// Whether the calling thread works inside the handler of a memory fault or the like. There locks of libc may be held
// for ever, so the end of the process must do less.

#include "plat_types.h"

// Entered and left by the dispatcher of faults; calls nest.
PLAT_API void Plat_FaultEnter();
PLAT_API void Plat_FaultLeave();

// Nonzero between the two, on this thread.
PLAT_API i32 Plat_InFault();

#endif
