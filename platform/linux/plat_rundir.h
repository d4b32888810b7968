#ifndef PLAT_RUNDIR_H
#define PLAT_RUNDIR_H

// The directory of this user's local sockets and their locks.

#include <cstddef>

#include "plat_types.h"

// Makes the run directory where it is missing and writes its path, without a slash at its end. 0, or -1 with errno:
// ENAMETOOLONG when the path does not fit, ENOTDIR when something else stands there, EPERM when SORREL_RUNDIR is not set
// and the directory belongs to somebody else.
PLAT_API int Plat_RunDirectory(char *Out, size_t Size);

#endif
