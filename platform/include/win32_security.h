#ifndef WIN32_SECURITY_H
#define WIN32_SECURITY_H

/* Security identifiers, access lists, descriptors, tokens. SIDs, lists and entries have the published bytes
 * ([MS-DTYP] 2.4.2, 2.4.4, 2.4.5); descriptors and attributes have native pointers.
 *
 * The accounts of this system are the authority 22: S-1-22-1-uid a user, S-1-22-2-gid a group. The platform keeps what
 * a process sets as its policy; rights between processes are the system's own business. */

#include "plat_types.h"

PLAT_BEGIN

#define SID_MAX_SUB_AUTHORITIES 8
#define SECURITY_DESCRIPTOR_REVISION 1u
#define ACL_REVISION 2u
#define ACCESS_ALLOWED_ACE_TYPE 0u
#define DACL_SECURITY_INFORMATION 4u

#define GENERIC_ALL 0x10000000u

/* Kinds of accounts. Only users and local groups are ever found here. */
#define SidTypeUser 1u
#define SidTypeGroup 2u
#define SidTypeAlias 4u

typedef struct SID_IDENTIFIER_AUTHORITY {
    u8 Value[6]; /* big-endian */
} SID_IDENTIFIER_AUTHORITY;

typedef struct SID {
    u8 Revision; /* 1 */
    u8 SubAuthorityCount;
    SID_IDENTIFIER_AUTHORITY IdentifierAuthority;
    u32 SubAuthority[1]; /* SubAuthorityCount of them: 8 bytes and 4 for each in all */
} SID;

typedef struct ACL {
    u8 AclRevision;
    u8 Sbz1;
    u16 AclSize; /* of the whole room */
    u16 AceCount;
    u16 Sbz2;
} ACL;

/* An entry; the SID lies where its last word is. */
typedef struct ACCESS_ALLOWED_ACE {
    u8 AceType;
    u8 AceFlags;
    u16 AceSize; /* 8 and the length of the SID */
    u32 Mask;
    u32 SidStart;
} ACCESS_ALLOWED_ACE;

#define SE_DACL_PRESENT 0x0004u
#define SE_DACL_DEFAULTED 0x0008u

typedef struct SECURITY_DESCRIPTOR {
    u8 Revision;
    u8 Sbz1;
    u16 Control;
    SID *Owner;
    SID *Group;
    ACL *Sacl;
    ACL *Dacl; /* with SE_DACL_PRESENT: NULL is open to all */
} SECURITY_DESCRIPTOR;

typedef struct SECURITY_ATTRIBUTES {
    u32 nLength; /* 12, a number of the interface and not the size of this structure */
    void *lpSecurityDescriptor;
    i32 bInheritHandle;
} SECURITY_ATTRIBUTES;

typedef struct SID_AND_ATTRIBUTES {
    SID *Sid;
    u32 Attributes;
} SID_AND_ATTRIBUTES;

typedef struct TOKEN_GROUPS {
    u32 GroupCount;
    SID_AND_ATTRIBUTES Groups[1]; /* GroupCount of them; their SIDs stand in the same block */
} TOKEN_GROUPS;

typedef struct TOKEN_DEFAULT_DACL {
    ACL *DefaultDacl;
} TOKEN_DEFAULT_DACL;

#define TOKEN_QUERY 0x0008u
#define TokenGroups 2u
#define TokenDefaultDacl 6u

/* All calls below return nonzero, or 0 with the reason in GetLastError, where nothing else is told. */

/* Makes a SID of Count sub-authorities on the heap, released with FreeSid. More than 8: error 1337. */
PLAT_API i32 AllocateAndInitializeSid(const SID_IDENTIFIER_AUTHORITY *Authority, u8 Count, u32 Sub0, u32 Sub1, u32 Sub2,
                                      u32 Sub3, u32 Sub4, u32 Sub5, u32 Sub6, u32 Sub7, SID **Out);
/* Returns NULL. */
PLAT_API void *FreeSid(SID *Sid);
/* In bytes. */
PLAT_API u32 GetLengthSid(const SID *Sid);
/* Nonzero when the two are equal byte for byte. */
PLAT_API i32 EqualSid(const SID *First, const SID *Second);

/* Makes a room of Size bytes an empty list. Revision is ACL_REVISION; a room below 8 bytes: error 122. */
PLAT_API i32 InitializeAcl(ACL *List, u32 Size, u32 Revision);
/* Appends an entry. A list without room for it: error 1344, and the list is as it was. */
PLAT_API i32 AddAccessAllowedAce(ACL *List, u32 Revision, u32 Mask, const SID *Sid);

/* An empty descriptor, and its access list. Revision is SECURITY_DESCRIPTOR_REVISION; the list is not copied. */
PLAT_API i32 InitializeSecurityDescriptor(SECURITY_DESCRIPTOR *Descriptor, u32 Revision);
PLAT_API i32 SetSecurityDescriptorDacl(SECURITY_DESCRIPTOR *Descriptor, i32 Present, ACL *List, i32 Defaulted);

/* Finds an account by its name: a user first, then a group.
 *
 * System      NULL
 * Sid         receives the SID; may be NULL where its size is 0
 * SidSize     in: room; out: the size of the SID
 * Domain      receives this computer's name
 * DomainSize  in: room; out: the length of the name, with error 122 the room that it needs with its terminator
 * Use         receives SidTypeUser or SidTypeAlias
 *
 * Errors: 122 a room is too small (both sizes are set), 1332 no such account, 1723 the accounts cannot be read now. The
 * accounts are those of the system; where SORREL_ACCOUNTS names a directory, those of the files passwd and group in it,
 * in the forms of passwd(5) and group(5). */
PLAT_API i32 LookupAccountNameA(const char *System, const char *Account, SID *Sid, u32 *SidSize, char *Domain,
                                u32 *DomainSize, u32 *Use);

/* Opens the token of the calling process. Process is GetCurrentProcess() or a handle of OpenProcess; any other handle:
 * error 6. Access is not looked at. CloseHandle gives it up. */
PLAT_API i32 OpenProcessToken(handle Process, u32 Access, handle *Token);

/* The groups of a token, Class TokenGroups: the process's groups, and S-1-5-32-544 (administrators) for root and for
 * members of the group 0. Needed receives the size in any case; error 122 when Size is below it, 87 for another Class. */
PLAT_API i32 GetTokenInformation(handle Token, u32 Class, void *Out, u32 Size, u32 *Needed);

/* Keeps a copy of a TOKEN_DEFAULT_DACL, Class TokenDefaultDacl, as the process's default list; a NULL list takes it
 * away. Error 87 for another Class. */
PLAT_API i32 SetTokenInformation(handle Token, u32 Class, const void *In, u32 Size);

/* Keeps a copy of a descriptor's access list as the process's own. Object as in OpenProcessToken; Information is
 * DACL_SECURITY_INFORMATION, else error 87. */
PLAT_API i32 SetKernelObjectSecurity(handle Object, u32 Information, const SECURITY_DESCRIPTOR *Descriptor);

PLAT_END_C

#endif
