#ifndef WIN32_SYSTEM_H
#define WIN32_SYSTEM_H

/* The system's version and name. */

#include "plat_types.h"

PLAT_BEGIN

#define MAX_COMPUTERNAME_LENGTH 15

typedef struct OSVERSIONINFOA {
    u32 dwOSVersionInfoSize; /* in: 148 */
    u32 dwMajorVersion;
    u32 dwMinorVersion;
    u32 dwBuildNumber;
    u32 dwPlatformId; /* 2 */
    char szCSDVersion[128]; /* what stands behind the three numbers of the release, cut */
} OSVERSIONINFOA;

/* The version of the running kernel, the first three numbers of its release. Returns nonzero; 0 with
 * ERROR_INSUFFICIENT_BUFFER for another size, or with the reason that the system gives. */
PLAT_API i32 GetVersionExA(OSVERSIONINFOA *Version);

/* This computer's name: the host name up to its first point, in capitals, at most MAX_COMPUTERNAME_LENGTH bytes.
 *
 * Size  in: bytes of room; out: length of the name, or with ERROR_BUFFER_OVERFLOW the room that it needs with its
 *       terminator
 *
 * Returns nonzero, or 0 with the reason in GetLastError. */
PLAT_API i32 GetComputerNameA(char *Out, u32 *Size);

PLAT_END_C

#endif
