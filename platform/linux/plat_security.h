#ifndef PLAT_SECURITY_H
#define PLAT_SECURITY_H

// What access lists and accounts come to on this system.

#include <sys/types.h>

#include "win32_security.h"

// Protection of a new file by the descriptor in a SECURITY_ATTRIBUTES.
struct Plat_Protection {
    mode_t Mode; // 0666 open to all, 0660 for a list with a group, 0600 for one without
    bool HasGroup;
    gid_t Group; // the group of the list
    bool HasOwner;
    uid_t Owner; // the owner in the descriptor; nobody else than who makes the file without one
};

// False when Security, its descriptor or the descriptor's list is not there: then the system's default holds.
PLAT_API bool Plat_ProtectionOf(const void *Security, Plat_Protection *Out);

// Gives a new file its protection, whatever the umask is. An owner or a group that may not be given is left out, and a
// group that was left out has no rights: its rights would be those of another group.
void Plat_Protect(int Descriptor, const Plat_Protection *Protection);

// The lists that the process has set, 0 bytes where it has none.
enum Plat_KeptList {
    PLAT_KEPT_PROCESS, // by SetKernelObjectSecurity
    PLAT_KEPT_DEFAULT, // by SetTokenInformation
    PLAT_KEPT_LISTS
};

// Copies a list into Size bytes; its length, 0 for none or one that does not fit.
PLAT_API u32 Plat_KeptAcl(Plat_KeptList Which, void *Out, u32 Size);

constexpr u32 Plat_UnixAuthority = 22;
constexpr u32 Plat_UnixUser = 1;
constexpr u32 Plat_UnixGroup = 2;
constexpr u32 Plat_UnixSidSize = 16;

// Writes S-1-22-Kind-Id, Plat_UnixSidSize bytes.
void Plat_UnixSid(u32 Kind, u32 Id, void *Out);

// The id of S-1-22-Kind-id; false for any other SID.
bool Plat_UnixId(u32 Kind, const void *Sid, u32 *Id);

#endif
