#ifndef SUPOS_SECURITY_H
#define SUPOS_SECURITY_H

/* The access policies of a region's processes. Each object that a process makes gets one of three:
 *
 *     open    everybody, all rights
 *     group   local system and the region's group, all rights
 *     shared  everybody may wait for the object and duplicate handles from it, the group has all rights
 *
 * Account and group come from the registry, by default "vela" and "velagroup"; both must exist. How the policies look on
 * this system is told in docs/platform.md. */

#include "vela_types.h"
#include "win32_security.h"

VELA_BEGIN

/* Kinds of objects; the odd ones from 5 on share the policy of 1, the even ones that of 4. */
#define SUPOS_OBJECT_GROUP 1u
#define SUPOS_OBJECT_PROCESS 3u
#define SUPOS_OBJECT_OPEN 4u

/**
 * Gives the security attributes for an object about to be made.
 *
 * @param[in]  ObjectKind  1, 5, 7, 9, 11, 13: group; 2, 3: shared; any other value: open
 * @param[in]  Inherit     stored as the inherit word
 * @param[out] Out         may be used whatever the result; its descriptor belongs to the library and lives as long as
 *                         the process
 *
 * @return ERZ_OK; SupOS_RC_SYSTEM or SupOS_RC_NOMEM when the policies could not be built: Out then has no descriptor,
 *         and the object gets the default protection. After the first failure nothing is tried again.
 *
 * The first call builds the policies, once for the process, and gives the process itself the shared one. It looks up the
 * two accounts, which can take 20 seconds while the service of accounts is busy. No lock: the first call comes before
 * threads. Traces as SUPOS, API entry.
 */
VELA_API u32 SupOS_GetSecurityAttributes(u32 ObjectKind, u32 Inherit, SECURITY_ATTRIBUTES *Out);

VELA_END

#endif
