#ifndef PLAT_NAMED_H
#define PLAT_NAMED_H

// The client's side of named pipes.

#include "plat_types.h"

// A descriptor connected to the pipe of that name (what stands behind "\\.\pipe\"), or -1 with errno: ENOENT when
// nobody has the name, EBUSY when it takes no client.
PLAT_API int Plat_NamedPipeOpen(const char *Name);

#endif
