// Accounts and servers of the network, as far as one machine has them: its own users and groups, and no domain.

#include "win32_network.h"

#include <cstring>

#include "plat_accounts.h"
#include "plat_security.h"
#include "plat_sys.h"
#include "win32_error.h"

// What a call hands out, until the thread's next call.
static thread_local USER_INFO_1 userInfo;
static thread_local SERVER_INFO_101 serverInfo;
static thread_local plat_char16 controllerName[PLAT_NETWORK_NAME_SIZE];

// A name from UTF-16; empty, and so no account's, when it does not fit.
static void narrow(const plat_char16 *Name, char (&Out)[Plat_AccountNameSize])
{
    if (WideCharToMultiByte(CP_UTF8, 0, Name, -1, Out, sizeof Out, nullptr, nullptr) == 0) Out[0] = 0;
}

u32 NetGetDCName(const plat_char16 *, const plat_char16 *, u8 **Name)
{
    if (Plat_Sys.DomainController == nullptr) return NERR_DCNotFound;
    if (MultiByteToWideChar(CP_UTF8, 0, Plat_Sys.DomainController, -1, controllerName, PLAT_NETWORK_NAME_SIZE) == 0)
        return GetLastError();
    *Name = reinterpret_cast<u8 *>(controllerName);
    return NERR_Success;
}

u32 NetServerGetInfo(const plat_char16 *Server, u32 Level, u8 **Info)
{
    if (Server != nullptr || Level != 101) return ERROR_INVALID_PARAMETER;
    serverInfo.sv101_type = Plat_Sys.ServerType;
    *Info = reinterpret_cast<u8 *>(&serverInfo);
    return NERR_Success;
}

u32 NetUserGetInfo(const plat_char16 *Server, const plat_char16 *User, u32 Level, u8 **Info)
{
    if (Server != nullptr || User == nullptr || Level != 1) return ERROR_INVALID_PARAMETER;

    char name[Plat_AccountNameSize];
    narrow(User, name);
    Plat_User user;
    const u32 error = Plat_FindUser(name, &user);
    if (error != ERROR_SUCCESS) return error == ERROR_NONE_MAPPED ? NERR_UserNotFound : error;

    if (MultiByteToWideChar(CP_UTF8, 0, user.Name, -1, userInfo.usri1_name, PLAT_NETWORK_NAME_SIZE) == 0)
        userInfo.usri1_name[PLAT_NETWORK_NAME_SIZE - 1] = 0;
    if (MultiByteToWideChar(CP_UTF8, 0, user.Home, -1, userInfo.usri1_home_dir, PLAT_NETWORK_PATH_SIZE) == 0)
        return GetLastError();
    *Info = reinterpret_cast<u8 *>(&userInfo);
    return NERR_Success;
}

u32 NetApiBufferFree(void *)
{
    return NERR_Success; // nothing of it is the heap's
}

// Adds a user who exists to a group; Already is the answer for one who is in it.
static u32 addMember(const plat_char16 *Group, const Plat_User &User, u32 Already)
{
    char name[Plat_AccountNameSize];
    narrow(Group, name);
    Plat_Group group;
    const u32 error = Plat_FindGroup(name, User.Name, &group);
    if (error != ERROR_SUCCESS) return error == ERROR_NONE_MAPPED ? NERR_GroupNotFound : error;
    if (group.HasMember || group.Id == User.Group) return Already;
    return Plat_AddMember(group.Name, User.Name);
}

u32 NetLocalGroupAddMember(const plat_char16 *Server, const plat_char16 *Group, const void *Member)
{
    if (Server != nullptr || Group == nullptr || Member == nullptr) return ERROR_INVALID_PARAMETER;
    u32 id;
    if (!Plat_UnixId(Plat_UnixUser, Member, &id)) return ERROR_NO_SUCH_MEMBER;
    Plat_User user;
    const u32 error = Plat_FindUserById(id, &user);
    if (error != ERROR_SUCCESS) return error == ERROR_NONE_MAPPED ? ERROR_NO_SUCH_MEMBER : error;
    return addMember(Group, user, ERROR_MEMBER_IN_ALIAS);
}

u32 NetGroupAddUser(const plat_char16 *Server, const plat_char16 *Group, const plat_char16 *User)
{
    if (Server != nullptr || Group == nullptr || User == nullptr) return ERROR_INVALID_PARAMETER;
    char name[Plat_AccountNameSize];
    narrow(User, name);
    Plat_User user;
    const u32 error = Plat_FindUser(name, &user);
    if (error != ERROR_SUCCESS) return error == ERROR_NONE_MAPPED ? NERR_UserNotFound : error;
    return addMember(Group, user, NERR_UserInGroup);
}
