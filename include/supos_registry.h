#ifndef SUPOS_REGISTRY_H
#define SUPOS_REGISTRY_H

/* The registry tree of an installation: paths, and the entries of regions and servers.
 *
 * Below HKEY_LOCAL_MACHINE, all values texts (REG_SZ):
 *
 *     SOFTWARE\QMX\Corvanta-VELA\CurrentVersion\              InstallPath, DataPath, UserId, GroupId
 *     SOFTWARE\QMX\Corvanta-VELA\CurrentVersion\VELARegions\  a key per region, "vela." and its name
 *     ...                                       RFSServers\   a key per file server
 *     ...                                       XGWGateways\  a key per gateway
 *     ...                                       LOGServers\   a key per log server
 *     SOFTWARE\QMX\Corvanta-Sorrel\CurrentVersion\            PathName
 *
 * Where the tree lies on disk is told in win32_registry.h. */

#include "vela_types.h"

VELA_BEGIN

/* Room in bytes that every value buffer of a caller must have, the terminator included. */
#define SUPOS_REGISTRY_VALUE_SIZE 255

/* Kinds of entries. */
#define SUPOS_SERVER_REGION 0u
#define SUPOS_SERVER_RFS 1u
#define SUPOS_SERVER_XGW 2u
#define SUPOS_SERVER_LOG 3u

/* The entry of one region or server: how it is started, and under which identity. Of a write the pointers carry texts
 * with a terminator; of a read they are the caller's buffers of SUPOS_REGISTRY_VALUE_SIZE bytes each. */
typedef struct SupOS_ServerEntry {
    u32 Kind; /* SUPOS_SERVER_* */
    char *EntryName; /* name of the entry's key; a region's is "vela." and the region's name */
    char *ExecutablePath; /* program of the server */
    char *Arguments; /* its arguments */
    char *UserId; /* account it runs under */
    char *GroupId; /* group it runs under */
    char *StdOut; /* where standard output goes */
    char *StdErr; /* where standard error goes */
} SupOS_ServerEntry;

/* Returned for a Kind above SUPOS_SERVER_LOG. */
#define SUPOS_REGISTRY_BAD_KIND 1u

/**
 * Reads a value of the installation's key, SOFTWARE\QMX\Corvanta-VELA\CurrentVersion\.
 *
 * @param[in]  ValueName  such as "InstallPath"; compared without case
 * @param[out] Value      the caller's SUPOS_REGISTRY_VALUE_SIZE bytes; always terminated
 *
 * @return 1. A missing key, a missing value, a value that does not fit and an empty value end the process with exit
 *         code 99, after ERZ057002E and a symptom that names the key: without them no process can find its data.
 *
 * Keeps no state and takes no lock; safe from any thread. Traces as SUPOS.
 */
VELA_API i32 SupOS_GetRegistry(const char *ValueName, char *Value);

/**
 * Reads the six values of a region's or server's entry.
 *
 * @param[in,out] Entry  Kind and EntryName select the entry; the six other pointers are buffers of
 *                       SUPOS_REGISTRY_VALUE_SIZE bytes that receive the values
 *
 * @return 0 when all six were read;
 *         SupOS_RC_SYSTEM when there is no such entry (no buffer is touched), or when some of its values are missing:
 *         their buffers are left as they were, and the others are delivered all the same;
 *         SUPOS_REGISTRY_BAD_KIND for a Kind above 3, with nothing touched.
 *
 * Logs nothing. Keeps no state and takes no lock; safe from any thread. Traces as SUPOS.
 */
VELA_API u32 SupOS_RegGetServerEntry(SupOS_ServerEntry *Entry);

VELA_END

#endif
