#ifndef PLAT_ERROR_H
#define PLAT_ERROR_H

// From the system's errno to the error numbers of the Win32 API.

#include "plat_types.h"

// The Win32 number of an errno value; ERROR_GEN_FAILURE for one that has none. 0 stays 0.
PLAT_API u32 Plat_ErrorFromErrno(int Errno);

// Sets the last error from errno and returns 0, for the last line of a call that failed.
PLAT_API i32 Plat_FailFromErrno();

#endif
