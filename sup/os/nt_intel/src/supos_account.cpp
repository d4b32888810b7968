// Accounts: the security identifiers of users, groups and well-known identities, and membership in a group.
//
// A look-up is repeated while its rooms are too small and while the service of accounts is busy, ten times at most. A
// group counts as found only when it is valid on this machine: its own local group, or one of its domain.

#include "supos_sec_int.h"

#include "inftr_guard.h"
#include "super_logging.h"
#include "supos_env_int.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_network.h"
#include "win32_process.h"
#include "win32_sync.h"
#include "win32_system.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr u32 wrongAccountType = 0x0E897F65; // ERZ058985E
constexpr i32 wrongAccountTypeMSN = 500;
constexpr u32 domainsDiffer = 0x0E873ED1; // ERZ058948E
constexpr i32 domainsDifferMSN = 325;

constexpr int lookUpRounds = 10;
constexpr u32 busyWait = 1000; // milliseconds
constexpr u32 computerNameSize = 16;
constexpr i32 wideServerSize = 32;
constexpr i32 wideNameSize = 100;

u32 SupOS_GetLocalSids(SID **System, SID **Administrators, SID **World)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetLocalSids");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %p)", static_cast<void *>(System), static_cast<void *>(Administrators),
                static_cast<void *>(World));

    static constexpr SID_IDENTIFIER_AUTHORITY nt = {{0, 0, 0, 0, 0, 5}}, world = {{0, 0, 0, 0, 0, 1}};
    const struct {
        SID **Out;
        const SID_IDENTIFIER_AUTHORITY *Authority;
        u8 Count;
        u32 Sub0, Sub1;
    } rows[] = {{System, &nt, 1, 18, 0}, {Administrators, &nt, 2, 32, 544}, {World, &world, 1, 0, 0}};

    SID *made[3] = {};
    for (u32 i = 0; i < 3; ++i) {
        if (rows[i].Out == nullptr || AllocateAndInitializeSid(rows[i].Authority, rows[i].Count, rows[i].Sub0,
                                                               rows[i].Sub1, 0, 0, 0, 0, 0, 0, &made[i]))
            continue;
        for (SID *const sid : made)
            if (sid != nullptr) FreeSid(sid);
        INFTR_RETURN_CODE(1, SupOS_RC_NOMEM);
    }
    for (u32 i = 0; i < 3; ++i)
        if (rows[i].Out != nullptr) *rows[i].Out = made[i];
    INFTR_RETURN_CODE(2, ERZ_OK);
}

// The answer of a look-up; both rooms are the heap's.
struct account {
    SID *Sid;
    char *Domain;
    u32 SidSize, DomainSize; // rooms
    u32 Use;
};

// Ways out of a look-up, the exit points of both functions that use it.
enum lookUpPoint : u32 {
    FOUND = 1,
    NO_SID_MEMORY = 3,
    NO_DOMAIN_MEMORY = 4,
    ROUNDS_USED_UP = 5,
    NO_SUCH_ACCOUNT = 6,
    LOOK_UP_FAILED = 7,
};

// Makes a room as large as wanted, where that has changed; false without memory, and then it is as it was.
template <class Type>
static bool growRoom(Type **Room, u32 *Size, u32 Wanted)
{
    if (Wanted == *Size) return true;
    Type *const grown = static_cast<Type *>(realloc(*Room, Wanted));
    if (grown == nullptr) return false;
    *Room = grown;
    *Size = Wanted;
    return true;
}

static lookUpPoint lookUpAccount(const char *Name, account *Found)
{
    for (int round = 0; round < lookUpRounds; ++round) {
        u32 sidSize = Found->SidSize, domainSize = Found->DomainSize;
        if (LookupAccountNameA(nullptr, Name, Found->Sid, &sidSize, Found->Domain, &domainSize, &Found->Use))
            return FOUND;
        switch (GetLastError()) {
        case ERROR_INSUFFICIENT_BUFFER:
            if (!growRoom(&Found->Sid, &Found->SidSize, sidSize)) return NO_SID_MEMORY;
            if (!growRoom(&Found->Domain, &Found->DomainSize, domainSize)) return NO_DOMAIN_MEMORY;
            break;
        case RPC_S_SERVER_TOO_BUSY: Sleep(busyWait); break;
        case ERROR_NONE_MAPPED: return NO_SUCH_ACCOUNT;
        default: return LOOK_UP_FAILED;
        }
    }
    return ROUNDS_USED_UP;
}

static u32 codeOf(lookUpPoint Point)
{
    if (Point == FOUND) return ERZ_OK;
    return Point == NO_SID_MEMORY || Point == NO_DOMAIN_MEMORY ? SupOS_RC_NOMEM : SupOS_RC_SYSTEM;
}

static void releaseAccount(const account *Found)
{
    free(Found->Sid);
    free(Found->Domain);
}

static void copyText(char *Out, size_t Size, const char *Text)
{
    if (Out != nullptr) snprintf(Out, Size, "%s", Text);
}

u32 SupOS_GetUserSid(const char *User, SID **Sid, char *Domain)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetUserSid");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %p, %p)", User, static_cast<void *>(Sid), static_cast<void *>(Domain));

    account found = {};
    const lookUpPoint point = lookUpAccount(User, &found);
    if (point != FOUND) {
        releaseAccount(&found);
        INFTR_RETURN_CODE(point, codeOf(point));
    }
    if (found.Use != SidTypeUser) {
        releaseAccount(&found);
        SupER_Log(SUPER_CONSOLE, wrongAccountType, wrongAccountTypeMSN, User, static_cast<int>(found.Use), 1);
        INFTR_RETURN_CODE(2, SupOS_RC_SYSTEM);
    }
    copyText(Domain, SUPOS_DOMAIN_SIZE, found.Domain);
    *Sid = found.Sid;
    free(found.Domain);
    INFTR_RETURN_CODE(FOUND, ERZ_OK);
}

static void upperCase(char *Text)
{
    for (; *Text != 0; ++Text) *Text = static_cast<char>(toupper(static_cast<u8>(*Text)));
}

// The controller of a domain (NULL: the machine's own), without its leading backslashes; false when there is none.
static bool domainController(const char *Domain, char (&Server)[SUPOS_SERVER_SIZE])
{
    plat_char16 wideDomain[SUPOS_DOMAIN_SIZE];
    if (Domain != nullptr && MultiByteToWideChar(CP_ACP, 0, Domain, -1, wideDomain, SUPOS_DOMAIN_SIZE) == 0)
        return false;
    u8 *answer = nullptr;
    if (NetGetDCName(nullptr, Domain != nullptr ? wideDomain : nullptr, &answer) != NERR_Success) return false;

    char name[SUPOS_SERVER_SIZE + 2] = {};
    const i32 length = WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<const plat_char16 *>(answer), -1, name,
                                           sizeof name, nullptr, nullptr);
    NetApiBufferFree(answer);
    if (length == 0) return false;
    copyText(Server, sizeof Server, name + strspn(name, "\\"));
    return true;
}

// Whether a local group of another server is ours all the same: this machine is a backup controller of that server.
static bool isBackupOf(const char *Server)
{
    u8 *answer = nullptr;
    if (NetServerGetInfo(nullptr, 101, &answer) != NERR_Success) return false;
    const bool backup = (reinterpret_cast<const SERVER_INFO_101 *>(answer)->sv101_type & SV_TYPE_DOMAIN_BAKCTRL) != 0;
    NetApiBufferFree(answer);

    char primary[SUPOS_SERVER_SIZE];
    return backup && domainController(nullptr, primary) && strcmp(primary, Server) == 0;
}

// Decides whether a group that was found is valid here; Server receives the machine that it belongs to.
// Returns FOUND, or the exit point of the refusal.
static u32 judgeGroup(const account *Found, char (&Server)[SUPOS_SERVER_SIZE])
{
    char computer[SUPOS_SERVER_SIZE];
    u32 size = sizeof computer;
    if (!GetComputerNameA(computer, &size)) return 8;
    upperCase(Found->Domain);
    upperCase(computer);

    if (strcmp(Found->Domain, computer) == 0)
        copyText(Server, sizeof Server, computer);
    else if (!domainController(Found->Domain, Server))
        return 9;

    if (Found->Use == SidTypeGroup) return FOUND;
    if (Found->Use != SidTypeAlias) return 11;
    if (strcmp(Server, computer) == 0) return FOUND;
    return isBackupOf(Server) ? u32(FOUND) : 10;
}

u32 SupOS_GetGroupSid(const char *Group, SID **Sid, u32 *Use, char *Server, char *Domain)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetGroupSid");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %p, %p, %p, %p)", Group, static_cast<void *>(Sid),
                static_cast<void *>(Use), static_cast<void *>(Server), static_cast<void *>(Domain));

    account found = {};
    const lookUpPoint point = lookUpAccount(Group, &found);
    if (point != FOUND) {
        releaseAccount(&found);
        INFTR_RETURN_CODE(point, codeOf(point));
    }
    char server[SUPOS_SERVER_SIZE];
    const u32 verdict = judgeGroup(&found, server);
    if (verdict != FOUND) {
        releaseAccount(&found);
        INFTR_RETURN_CODE(verdict, SupOS_RC_SYSTEM);
    }
    if (Use != nullptr) *Use = found.Use;
    copyText(Server, SUPOS_SERVER_SIZE, server);
    copyText(Domain, SUPOS_DOMAIN_SIZE, found.Domain);
    *Sid = found.Sid;
    free(found.Domain);
    INFTR_RETURN_CODE(FOUND, ERZ_OK);
}

// The groups of this process, on the heap; NULL when they cannot be read.
static TOKEN_GROUPS *tokenGroups()
{
    handle token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return nullptr;

    TOKEN_GROUPS *groups = nullptr;
    u32 size = 0;
    bool done = false;
    for (int round = 0; round < lookUpRounds && !done; ++round) {
        u32 wanted = 0;
        done = GetTokenInformation(token, TokenGroups, groups, size, &wanted) != 0;
        if (done || GetLastError() != ERROR_INSUFFICIENT_BUFFER || wanted == size || !growRoom(&groups, &size, wanted))
            break;
    }
    CloseHandle(token);
    if (done) return groups;
    free(groups);
    return nullptr;
}

// Whether all wanted SIDs (a NULL is not wanted) are among the groups.
static bool hasAll(const TOKEN_GROUPS *Groups, const SID *First, const SID *Second)
{
    bool first = false, second = Second == nullptr;
    for (u32 i = 0; i < Groups->GroupCount && !(first && second); ++i) {
        first = first || EqualSid(Groups->Groups[i].Sid, First);
        second = second || EqualSid(Groups->Groups[i].Sid, Second);
    }
    return first && second;
}

i32 SupOS_AmIMember(i32 GroupOnly)
{
    INFTR_FUNCTION(SUPOS, "SupOS_AmIMember");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%d)", GroupOnly);

    i32 answer = 0;
    TOKEN_GROUPS *const groups = tokenGroups();
    if (groups == nullptr) INFTR_RETURN_VALUE(1, answer);

    SID *administrators = nullptr, *group = nullptr;
    if (GroupOnly == 0 && SupOS_GetLocalSids(nullptr, &administrators, nullptr) != ERZ_OK) {
        free(groups);
        INFTR_RETURN_VALUE(2, answer);
    }
    char name[SUPOS_ACCOUNT_NAME_SIZE];
    SupOS_GetGroupName(0, name);
    if (SupOS_GetGroupSid(name, &group, nullptr, nullptr, nullptr) == ERZ_OK)
        answer = hasAll(groups, group, administrators);

    free(groups);
    free(group);
    if (administrators != nullptr) FreeSid(administrators);
    INFTR_RETURN_VALUE(3, answer);
}

// Both ends of a membership.
struct membership {
    const char *User, *Group;
    SID *UserSid, *GroupSid;
    u32 Use;
    char UserDomain[SUPOS_DOMAIN_SIZE], GroupDomain[SUPOS_DOMAIN_SIZE];
    char Server[SUPOS_SERVER_SIZE];
    char Computer[computerNameSize];
};

// Finds both ends; the exit point of the call that failed, 0 when all are done, and *Result is the code.
static u32 findEnds(membership *Ends, u32 *Result)
{
    *Result = SupOS_GetUserSid(Ends->User, &Ends->UserSid, Ends->UserDomain);
    if (*Result != ERZ_OK) return 1;
    *Result = SupOS_GetGroupSid(Ends->Group, &Ends->GroupSid, &Ends->Use, Ends->Server, Ends->GroupDomain);
    if (*Result != ERZ_OK) return 2;
    u32 size = sizeof Ends->Computer;
    *Result = GetComputerNameA(Ends->Computer, &size) ? ERZ_OK : SupOS_RC_SYSTEM;
    return *Result != ERZ_OK ? 3 : 0;
}

// Joins the two; nonzero when the user is a member now.
static bool join(const membership *Ends)
{
    char address[SUPOS_SERVER_SIZE + 2];
    snprintf(address, sizeof address, "\\\\%s", Ends->Server);
    plat_char16 server[wideServerSize], group[wideNameSize], user[wideNameSize];
    if (MultiByteToWideChar(CP_ACP, 0, address, -1, server, wideServerSize) == 0 ||
        MultiByteToWideChar(CP_ACP, 0, Ends->Group, -1, group, wideNameSize) == 0 ||
        MultiByteToWideChar(CP_ACP, 0, Ends->User, -1, user, wideNameSize) == 0)
        return false;

    const plat_char16 *const where = strcmp(Ends->Server, Ends->Computer) == 0 ? nullptr : server;
    if (Ends->Use != SidTypeGroup) {
        const u32 answer = NetLocalGroupAddMember(where, group, Ends->UserSid);
        return answer == NERR_Success || answer == ERROR_MEMBER_IN_ALIAS;
    }
    const u32 answer = NetGroupAddUser(where, group, user);
    return answer == NERR_Success || answer == NERR_UserInGroup;
}

// The way out of SupOS_AddUserToGroup, 6 where all went well.
static u32 addUser(membership *Ends, u32 *Result)
{
    const u32 failed = findEnds(Ends, Result);
    if (failed != 0) return failed;

    *Result = SupOS_RC_SYSTEM;
    if (Ends->Use == SidTypeGroup && strcmp(Ends->UserDomain, Ends->GroupDomain) != 0) {
        SupER_Log(SUPER_CONSOLE, domainsDiffer, domainsDifferMSN, Ends->User, Ends->Group);
        return 4;
    }
    if (!join(Ends)) return 5;
    *Result = ERZ_OK;
    return 6;
}

u32 SupOS_AddUserToGroup(const char *User, const char *Group)
{
    INFTR_FUNCTION(SUPOS, "SupOS_AddUserToGroup");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%.255s, %.255s)", User, Group);

    membership ends = {};
    ends.User = User;
    ends.Group = Group;
    u32 result = ERZ_OK;
    const u32 point = addUser(&ends, &result);
    free(ends.UserSid);
    free(ends.GroupSid);
    INFTR_RETURN_CODE(point, result);
}
