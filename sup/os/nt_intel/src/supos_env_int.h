#ifndef SUPOS_ENV_INT_H
#define SUPOS_ENV_INT_H

// Identities and paths of the operating-system layer. Result 0 is success.

#include "supos_environment.h"

VELA_BEGIN

/* Room of an account or group name, its terminator included; longer names are cut. */
#define SUPOS_ACCOUNT_NAME_SIZE 52

/* The account and the group of this process's region, out of the registry at the first call: Name has
 * SUPOS_ACCOUNT_NAME_SIZE bytes. "vela" and "velagroup" where the registry does not tell both. Always 0. Not traced. */
u32 SupOS_GetUserName(u32 Unused, char *Name);
u32 SupOS_GetGroupName(u32 Unused, char *Name);

/* Makes these the names for the rest of the process. */
void SupOS_SetVelaNames(const char *User, const char *Group);

/* Reads both names: of the region's entry where the process has a region, else those of the installation. A registry
 * that does not answer leaves the names as they are, and it is asked no more. Always 0. */
u32 SupOS_GetRegionIds(void);

/* The home directory of a user, on the heap for the caller to free; 1 when there is no such user, when the path is
 * longer than 254 bytes, and without memory. */
u32 SupOS_GetHomeDirectory(const char *User, char **Home);

/* Turns backslashes into slashes, in place; 1 for NULL. */
u32 SupOS_NormalisePath(char *Path);

/* A path in the directory for temporary files, cut to 1023 bytes. All threads share the text, and every call writes it
 * anew. Not traced. */
char *SupOS_TempFilePath(const char *Name);

VELA_END

#endif
