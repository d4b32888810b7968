#ifndef PLAT_CLOCK_H
#define PLAT_CLOCK_H

// The clock of tks_time.cpp for other files of the platform.

#include "plat_types.h"

// The counter of QueryPerformanceCounter in nanoseconds. False with errno when the system does not tell it.
bool Plat_ReadCounter(i64 *Counter);

#endif
