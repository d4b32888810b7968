#ifndef WIN32_ERROR_H
#define WIN32_ERROR_H

/* The calling thread's last error, in the numbers of the Win32 API. Socket calls leave the numbers of Winsock (10004 and
 * above) in the same place. */

#include "plat_types.h"

PLAT_BEGIN

#define ERROR_SUCCESS 0u
#define ERROR_FILE_NOT_FOUND 2u
#define ERROR_PATH_NOT_FOUND 3u
#define ERROR_TOO_MANY_OPEN_FILES 4u
#define ERROR_ACCESS_DENIED 5u
#define ERROR_INVALID_HANDLE 6u
#define ERROR_NOT_ENOUGH_MEMORY 8u
#define ERROR_NOT_SAME_DEVICE 17u
#define ERROR_WRITE_PROTECT 19u
#define ERROR_SEEK 25u
#define ERROR_GEN_FAILURE 31u
#define ERROR_SHARING_VIOLATION 32u
#define ERROR_DEV_NOT_EXIST 55u
#define ERROR_FILE_EXISTS 80u
#define ERROR_INVALID_PARAMETER 87u
#define ERROR_BROKEN_PIPE 109u
#define ERROR_BUFFER_OVERFLOW 111u
#define ERROR_DISK_FULL 112u
#define ERROR_CALL_NOT_IMPLEMENTED 120u
#define ERROR_SEM_TIMEOUT 121u
#define ERROR_INSUFFICIENT_BUFFER 122u
#define ERROR_INVALID_NAME 123u
#define ERROR_WAIT_NO_CHILDREN 128u
#define ERROR_DIR_NOT_EMPTY 145u
#define ERROR_BAD_PATHNAME 161u
#define ERROR_BUSY 170u
#define ERROR_ALREADY_EXISTS 183u
#define ERROR_BAD_EXE_FORMAT 193u
#define ERROR_FILENAME_EXCED_RANGE 206u
#define ERROR_FILE_TOO_LARGE 223u
#define ERROR_PIPE_BUSY 231u
#define ERROR_NO_DATA 232u
#define ERROR_MORE_DATA 234u
#define ERROR_NO_MORE_ITEMS 259u
#define ERROR_NOT_OWNER 288u
#define ERROR_INVALID_ADDRESS 487u
#define ERROR_NOACCESS 998u
#define ERROR_INVALID_FLAGS 1004u
#define ERROR_KEY_DELETED 1018u
#define ERROR_NO_UNICODE_TRANSLATION 1113u
#define ERROR_IO_DEVICE 1117u
#define ERROR_POSSIBLE_DEADLOCK 1131u
#define ERROR_NONE_MAPPED 1332u
#define ERROR_INVALID_SID 1337u
#define ERROR_ALLOTTED_SPACE_EXCEEDED 1344u
#define ERROR_MEMBER_IN_ALIAS 1378u
#define RPC_S_SERVER_TOO_BUSY 1723u
#define ERROR_CANT_RESOLVE_FILENAME 1921u

/* 0 until a call of the platform fails on this thread. A call that succeeds leaves it as it was, unless its
 * contract says otherwise. */
PLAT_API u32 GetLastError(void);
PLAT_API void SetLastError(u32 Error);

PLAT_END_C

#endif
