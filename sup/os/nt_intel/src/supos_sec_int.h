#ifndef SUPOS_SEC_INT_H
#define SUPOS_SEC_INT_H

// Security calls that stay within the operating-system layer. Results are return codes where nothing else is told.

#include "supos_security.h"

VELA_BEGIN

/* Rooms of texts, their terminators included. */
#define SUPOS_DOMAIN_SIZE 64
#define SUPOS_SERVER_SIZE 18

/* Everything that the policies are made of, one heap block that lives as long as the process. The two lists stand
 * behind the structure in the same block. */
typedef struct SupOS_SecurityBlock {
    SECURITY_ATTRIBUTES OpenAttributes;
    SECURITY_ATTRIBUTES GroupAttributes;
    SECURITY_ATTRIBUTES SharedAttributes;
    SECURITY_DESCRIPTOR OpenDescriptor; /* a present, null list */
    SECURITY_DESCRIPTOR GroupDescriptor; /* on GroupAcl */
    SECURITY_DESCRIPTOR SharedDescriptor; /* on SharedAcl */
    /* GroupAcl: local system and the group, all rights */
    /* SharedAcl: everyone 0x100040, the group all rights */
} SupOS_SecurityBlock;

/* Applies the shared policy to this process, and the group list as the default of what it makes from now on; with
 * KeepDefault not 0 no default list. SupOS_RC_SYSTEM when the policies do not stand. */
u32 SupOS_SetProcessSecurity(i32 KeepDefault);

/* Builds the policies and publishes them. */
u32 SupOS_BuildSecurityAttributes(void);

/* The SIDs of local system, local administrators and everyone, each released with FreeSid; NULL for one that is not
 * wanted. Either all that were asked for, or none. */
u32 SupOS_GetLocalSids(SID **System, SID **Administrators, SID **World);

/* The SID of a user, on the heap and released with free. Domain (SUPOS_DOMAIN_SIZE bytes) may be NULL. A group of that
 * name is logged as ERZ058985E. */
u32 SupOS_GetUserSid(const char *User, SID **Sid, char *Domain);

/* The SID of a group that is valid on this machine, on the heap and released with free. Use (its kind), Server (the
 * machine it belongs to, SUPOS_SERVER_SIZE bytes) and Domain (SUPOS_DOMAIN_SIZE bytes) may be NULL. */
u32 SupOS_GetGroupSid(const char *Group, SID **Sid, u32 *Use, char *Server, char *Domain);

/* 1 when this process belongs to the region's group and, with GroupOnly 0, to the administrators too; else 0, after any
 * failure as well. */
i32 SupOS_AmIMember(i32 GroupOnly);

/* Makes a user a member of a group; one who is already counts as done. Two different domains are logged as
 * ERZ058948E. */
u32 SupOS_AddUserToGroup(const char *User, const char *Group);

/* Adds User (NULL: the present account) to Group and makes the two the names of this process. SupOS_RC_SYSTEM, and
 * nothing is changed, once the policies stand. Not traced. */
u32 SupOS_SetDefaultIds(const char *User, const char *Group);

VELA_END

#endif
