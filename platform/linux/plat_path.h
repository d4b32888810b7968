#ifndef PLAT_PATH_H
#define PLAT_PATH_H

// The path map: the one place where a path of the system's own form becomes one that this machine opens.

#include <cstddef>

#include "plat_types.h"

// Room for any path that the kernel takes, with its terminator.
constexpr size_t PLAT_PATH_ROOM = 4096;

// Plat_MapPath without a look at the disk: separators, drive letter and NUL, but an ".exe" stays.
PLAT_API char *Plat_MapSeparators(const char *Path, char *Out, size_t Size);

// The name behind "\\.\pipe\" (any case, either separator), NULL for any other path.
PLAT_API const char *Plat_PipeName(const char *Path);

#endif
