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

/* Reads what is there, up to Size bytes, waiting while there is nothing.
 *
 * Count       receives the bytes read; may be NULL
 * Overlapped  must be NULL, else error 87
 *
 * Returns nonzero (a file's end gives 0 bytes), or 0 with the reason in GetLastError: 109 at the end of a pipe. With Size 0
 * nothing waits. */
PLAT_API i32 ReadFile(handle File, void *Data, u32 Size, u32 *Count, void *Overlapped);

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define FILE_SHARE_READ 1u
#define FILE_SHARE_WRITE 2u
#define CREATE_NEW 1u
#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u
#define TRUNCATE_EXISTING 5u
#define FILE_ATTRIBUTE_NORMAL 0x80u

/* Opens a file, the null device "NUL", or the client's end of a named pipe. The path goes through the path map.
 *
 * Access    GENERIC_READ, GENERIC_WRITE or both
 * Share     what others may do with the file meanwhile, FILE_SHARE_READ and FILE_SHARE_WRITE. Known for files that this
 *           process opened here or by _open; against other processes nothing is held.
 * Security  protection of a file that this call makes, may be NULL: its descriptor becomes owner, group and mode, and the
 *           umask has no part in it. A null list is 0666; a list is 0660 and the group that it names, 0600 without one.
 *           An owner or group that this process may not give is left out. A file that is there stays as it is. Without
 *           a descriptor the system's default holds, 0666 less the umask.
 * Creation  one of the five words above
 *
 * Returns PLAT_INVALID_HANDLE with the reason in GetLastError: 2 no file, 3 no directory for it, 5 a directory or no
 * right, 32 refused by a sharing rule (before anything is truncated), 80 there already, 231 a busy pipe. A successful
 * CREATE_ALWAYS or OPEN_ALWAYS over a file leaves 183 as the last error. */
PLAT_API handle CreateFileA(const char *Path, u32 Access, u32 Share, void *Security, u32 Creation, u32 Attributes,
                            handle Template);

/* Gives up a handle of any kind. The handle of a standard stream closes its descriptor.
 *
 * Returns nonzero, or 0 with ERROR_INVALID_HANDLE. Differs from Win32: the pseudo handles of the own process and thread
 * are no handles here either. */
PLAT_API i32 CloseHandle(handle Object);

PLAT_END_C

#endif
