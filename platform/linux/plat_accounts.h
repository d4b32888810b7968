#ifndef PLAT_ACCOUNTS_H
#define PLAT_ACCOUNTS_H

// Users and groups: the system's, or where SORREL_ACCOUNTS names a directory, those of its files passwd and group.

#include "plat_types.h"

constexpr size_t Plat_AccountNameSize = 256;
constexpr size_t Plat_HomeSize = 1024;

struct Plat_User {
    char Name[Plat_AccountNameSize];
    char Home[Plat_HomeSize];
    u32 Id;
    u32 Group;
};

struct Plat_Group {
    char Name[Plat_AccountNameSize];
    u32 Id;
    bool HasMember; // the member asked for is in its list
};

// All return 0 or a Win32 error number: 1332 none of that name or id, 1723 the accounts cannot be read just now.
u32 Plat_FindUser(const char *Name, Plat_User *Out);
u32 Plat_FindUserById(u32 Id, Plat_User *Out);
u32 Plat_FindGroup(const char *Name, const char *Member, Plat_Group *Out); // Member may be null

// Makes a user a member of a group that does not list it. Both exist.
u32 Plat_AddMember(const char *Group, const char *User);

#endif
