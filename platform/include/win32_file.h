#ifndef WIN32_FILE_H
#define WIN32_FILE_H

/* Handles of files and streams. All calls are safe from any thread; a handle may be closed while another thread uses
 * it, and what it stands for then lives until that call returns. */

#include "plat_types.h"

PLAT_BEGIN

#define STD_INPUT_HANDLE 0xFFFFFFF6u
#define STD_OUTPUT_HANDLE 0xFFFFFFF5u
#define STD_ERROR_HANDLE 0xFFFFFFF4u

/* One of the three standard streams, descriptors 0, 1 and 2. Each has one handle for the life of the process.
 *
 * Returns PLAT_INVALID_HANDLE with error 87 for another number, with error 6 for a stream that is not open or whose
 * handle was closed. */
PLAT_API handle GetStdHandle(u32 Stream);

/* Writes all of Size bytes to a file, pipe or standard stream, waiting while a pipe is full.
 *
 * Data        may be NULL when Size is 0
 * Written     receives the count, also on failure; may be NULL
 * Overlapped  must be NULL, else error 87
 *
 * Returns nonzero, or 0 with the reason in GetLastError: 232 for a pipe whose readers are gone, for 0 bytes too. Raises
 * no SIGPIPE, is not interrupted by signals. */
PLAT_API i32 WriteFile(handle File, const void *Data, u32 Size, u32 *Written, void *Overlapped);

/* Gives up a handle of any kind. The handle of a standard stream closes its descriptor.
 *
 * Returns nonzero, or 0 with ERROR_INVALID_HANDLE. Differs from Win32: the pseudo handles of the own process and thread
 * are no handles here either. */
PLAT_API i32 CloseHandle(handle Object);

PLAT_END_C

#endif
