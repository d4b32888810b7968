// Accounts and servers of the network, as far as one machine has them: its own users and groups, and no domain.

#include "win32_network.h"

#include <cstdlib>
#include <cstring>

#include "plat_accounts.h"
#include "plat_security.h"
#include "plat_sys.h"
#include "plat_thread.h"
#include "win32_error.h"

// What a call hands out, until the thread's next call. It lives on the heap: thread-local variables of this library
// take from the little room that a process keeps for libraries which it loads when it runs already.
struct Answers {
    USER_INFO_1 User;
    SERVER_INFO_101 Server;
    plat_char16 Controller[PLAT_NETWORK_NAME_SIZE];
};

// The thread's own; NULL without memory.
static Answers *answersOfThread()
{
    auto *answers = static_cast<Answers *>(Plat_ThreadGetInner(PLAT_INNER_NETWORK));
    if (answers != nullptr) return answers;
    answers = static_cast<Answers *>(Plat_Sys.Malloc(sizeof(Answers)));
    if (answers == nullptr) return nullptr;
    memset(answers, 0, sizeof *answers);
    Plat_ThreadSetInner(PLAT_INNER_NETWORK, answers, free);
    return answers;
}

// A name from UTF-16; empty, and so no account's, when it does not fit.
static void narrow(const plat_char16 *Name, char (&Out)[Plat_AccountNameSize])
{
    if (WideCharToMultiByte(CP_UTF8, 0, Name, -1, Out, sizeof Out, nullptr, nullptr) == 0) Out[0] = 0;
}

u32 NetGetDCName(const plat_char16 *, const plat_char16 *, u8 **Name)
{
    if (Plat_Sys.DomainController == nullptr) return NERR_DCNotFound;
    Answers *const answers = answersOfThread();
    if (answers == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    if (MultiByteToWideChar(CP_UTF8, 0, Plat_Sys.DomainController, -1, answers->Controller, PLAT_NETWORK_NAME_SIZE) ==
        0)
        return GetLastError();
    *Name = reinterpret_cast<u8 *>(answers->Controller);
    return NERR_Success;
}

u32 NetServerGetInfo(const plat_char16 *Server, u32 Level, u8 **Info)
{
    if (Server != nullptr || Level != 101) return ERROR_INVALID_PARAMETER;
    Answers *const answers = answersOfThread();
    if (answers == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    answers->Server.sv101_type = Plat_Sys.ServerType;
    *Info = reinterpret_cast<u8 *>(&answers->Server);
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

    Answers *const answers = answersOfThread();
    if (answers == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    USER_INFO_1 *const info = &answers->User;
    if (MultiByteToWideChar(CP_UTF8, 0, user.Name, -1, info->usri1_name, PLAT_NETWORK_NAME_SIZE) == 0)
        info->usri1_name[PLAT_NETWORK_NAME_SIZE - 1] = 0;
    if (MultiByteToWideChar(CP_UTF8, 0, user.Home, -1, info->usri1_home_dir, PLAT_NETWORK_PATH_SIZE) == 0)
        return GetLastError();
    *Info = reinterpret_cast<u8 *>(info);
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
