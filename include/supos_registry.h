#ifndef SUPOS_REGISTRY_H
#define SUPOS_REGISTRY_H

/* The registry tree of an installation: paths, and the entries of regions and servers. */

#include "vela_types.h"

VELA_BEGIN

/* Room that every value buffer of a caller must have. */
#define SUPOS_REGISTRY_VALUE_SIZE 255

#define SUPOS_SERVER_REGION 0u
#define SUPOS_SERVER_RFS 1u
#define SUPOS_SERVER_XGW 2u
#define SUPOS_SERVER_LOG 3u

typedef struct SupOS_ServerEntry {
    u32 Kind;
    char *EntryName;
    char *ExecutablePath;
    char *Arguments;
    char *UserId;
    char *GroupId;
    char *StdOut;
    char *StdErr;
} SupOS_ServerEntry;

VELA_API i32 SupOS_GetRegistry(const char *ValueName, char *Value);
VELA_API u32 SupOS_RegGetServerEntry(SupOS_ServerEntry *Entry);

VELA_END

#endif
