#ifndef PLAT_RUNDIR_H
#define PLAT_RUNDIR_H

// The directory of this user's local sockets and their locks.

#include <cstddef>

#include "plat_types.h"

// Makes the run directory where it is missing and writes its path. 0, or -1 with errno: EPERM when it belongs to
// somebody else, ENAMETOOLONG when it does not fit.
PLAT_API int Plat_RunDirectory(char *Out, size_t Size);

#endif
