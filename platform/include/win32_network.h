#ifndef WIN32_NETWORK_H
#define WIN32_NETWORK_H

/* Accounts and servers of the network, as far as one machine has them. Names are UTF-16 with a terminator. All return
 * 0 or an error number. What they hand out lies in memory of the calling thread until its next call of the same
 * function; NetApiBufferFree is allowed and does nothing. */

#include "plat_types.h"
#include "win32_codepage.h"

PLAT_BEGIN

#define NERR_Success 0u
#define NERR_GroupNotFound 2220u
#define NERR_UserNotFound 2221u
#define NERR_UserInGroup 2236u
#define NERR_DCNotFound 2453u
#define ERROR_NO_SUCH_MEMBER 1387u

/* Bit of SERVER_INFO_101's type: a backup domain controller. */
#define SV_TYPE_DOMAIN_BAKCTRL 0x10u

#define PLAT_NETWORK_NAME_SIZE 64
#define PLAT_NETWORK_PATH_SIZE 1024

typedef struct USER_INFO_1 {
    plat_char16 usri1_name[PLAT_NETWORK_NAME_SIZE]; /* cut */
    plat_char16 usri1_home_dir[PLAT_NETWORK_PATH_SIZE];
} USER_INFO_1;

typedef struct SERVER_INFO_101 {
    u32 sv101_type; /* 0: no controller */
} SERVER_INFO_101;

/* The name of a domain's controller, "\\NAME". There are no domains here: always NERR_DCNotFound. */
PLAT_API u32 NetGetDCName(const plat_char16 *Server, const plat_char16 *Domain, u8 **Name);

/* This machine as a server; Server NULL, Level 101. */
PLAT_API u32 NetServerGetInfo(const plat_char16 *Server, u32 Level, u8 **Info);

/* A user; Server NULL, Level 1. NERR_UserNotFound, or 1723 when the accounts cannot be read now. A path that does not
 * fit: ERROR_INSUFFICIENT_BUFFER. Accounts as in LookupAccountNameA. No memory for a thread's first answer, of any of
 * these three calls: ERROR_NOT_ENOUGH_MEMORY. */
PLAT_API u32 NetUserGetInfo(const plat_char16 *Server, const plat_char16 *User, u32 Level, u8 **Info);

PLAT_API u32 NetApiBufferFree(void *Block);

/* Makes a user a member of a group; Server NULL. Member is the SID of LookupAccountNameA.
 *
 * Returns 0; ERROR_MEMBER_IN_ALIAS for a member already, by the group's list or as the user's own group;
 * NERR_GroupNotFound; ERROR_NO_SUCH_MEMBER; 5 without the rights; 1723 when the accounts cannot be read now.
 *
 * With SORREL_ACCOUNTS the file group there is written anew in one step. Without it root has usermod(8) do it, and
 * anybody else is refused. */
PLAT_API u32 NetLocalGroupAddMember(const plat_char16 *Server, const plat_char16 *Group, const void *Member);

/* The same by the user's name; a member already gives NERR_UserInGroup, an unknown user NERR_UserNotFound. */
PLAT_API u32 NetGroupAddUser(const plat_char16 *Server, const plat_char16 *Group, const plat_char16 *User);

PLAT_END_C

#endif
