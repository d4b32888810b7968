#ifndef WIN32_FILE_H
#define WIN32_FILE_H

/* Handles of files and streams. */

#include "plat_types.h"

PLAT_BEGIN

#define STD_INPUT_HANDLE 0xFFFFFFF6u
#define STD_OUTPUT_HANDLE 0xFFFFFFF5u
#define STD_ERROR_HANDLE 0xFFFFFFF4u

/* One of the three standard streams; PLAT_INVALID_HANDLE for another number or a stream that was closed. */
PLAT_API handle GetStdHandle(u32 Stream);

/* Writes all of Size bytes. Returns nonzero, or 0 with the reason in GetLastError. Overlapped must be NULL. */
PLAT_API i32 WriteFile(handle File, const void *Data, u32 Size, u32 *Written, void *Overlapped);

/* Gives up a handle. Returns nonzero, or 0 with ERROR_INVALID_HANDLE. */
PLAT_API i32 CloseHandle(handle Object);

PLAT_END_C

#endif
