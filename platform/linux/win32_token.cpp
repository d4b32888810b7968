// Accounts by name, the token of the process, and the access lists that the process has set.
//
// There is one token: what the process is, it is as a whole. A list that the process sets for itself, or as the default
// of what it makes, is kept here as a copy; files made with a list of their own get owner, group and mode from it.

#include "win32_security.h"

#include <grp.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "plat_accounts.h"
#include "plat_error.h"
#include "plat_handles.h"
#include "plat_security.h"
#include "plat_sys.h"
#include "win32_error.h"
#include "win32_system.h"

constexpr u32 worldAuthority = 1;
constexpr u32 systemAuthority = 5;
constexpr u32 allReads = 0x80000000u | GENERIC_ALL;

static i32 fail(u32 Error)
{
    SetLastError(Error);
    return 0;
}

// The bytes of a SID whose authority fits the last byte.
static u32 writeSid(u32 Authority, u8 Count, const u32 *Subs, void *Out)
{
    const u8 head[8] = {1, Count, 0, 0, 0, 0, 0, static_cast<u8>(Authority)};
    memcpy(Out, head, sizeof head);
    memcpy(static_cast<u8 *>(Out) + sizeof head, Subs, 4u * Count);
    return static_cast<u32>(sizeof head) + 4u * Count;
}

void Plat_UnixSid(u32 Kind, u32 Id, void *Out)
{
    const u32 subs[] = {Kind, Id};
    writeSid(Plat_UnixAuthority, 2, subs, Out);
}

bool Plat_UnixId(u32 Kind, const void *Sid, u32 *Id)
{
    u8 bytes[Plat_UnixSidSize], wanted[Plat_UnixSidSize];
    if (static_cast<const u8 *>(Sid)[1] != 2) return false;
    memcpy(bytes, Sid, sizeof bytes);
    memcpy(Id, bytes + 12, sizeof *Id);
    Plat_UnixSid(Kind, *Id, wanted);
    return memcmp(bytes, wanted, sizeof bytes) == 0;
}

i32 LookupAccountNameA(const char *System, const char *Account, SID *Sid, u32 *SidSize, char *Domain, u32 *DomainSize,
                       u32 *Use)
{
    if (System != nullptr || Account == nullptr) return fail(ERROR_INVALID_PARAMETER);

    u8 sid[Plat_UnixSidSize];
    u32 use = SidTypeUser;
    Plat_User user;
    u32 error = Plat_FindUser(Account, &user);
    if (error == ERROR_SUCCESS) {
        Plat_UnixSid(Plat_UnixUser, user.Id, sid);
    } else if (error == ERROR_NONE_MAPPED) {
        Plat_Group group;
        error = Plat_FindGroup(Account, nullptr, &group);
        use = Plat_Sys.GroupUse;
        if (error == ERROR_SUCCESS) Plat_UnixSid(Plat_UnixGroup, group.Id, sid);
    }
    if (error != ERROR_SUCCESS) return fail(error);

    char name[MAX_COMPUTERNAME_LENGTH + 1];
    u32 length = sizeof name;
    if (!GetComputerNameA(name, &length)) return 0;

    const bool fits = *SidSize >= sizeof sid && *DomainSize > length;
    *SidSize = sizeof sid;
    *DomainSize = fits ? length : length + 1;
    if (!fits) return fail(ERROR_INSUFFICIENT_BUFFER);
    memcpy(Sid, sid, sizeof sid);
    memcpy(Domain, name, length + 1);
    *Use = use;
    return 1;
}

struct tokenObject {
    Plat_Object Head;
};

static void destroyToken(Plat_Object *Object)
{
    free(Object);
}

static const Plat_ObjectOps tokenOps = {PLAT_KIND_TOKEN, nullptr, destroyToken};

// Nonzero for the pseudo handle of the own process and for a process.
static bool isProcess(handle Process)
{
    if (Process == PLAT_INVALID_HANDLE) return true;
    Plat_Object *const object = Plat_HandleAcquire(Process, PLAT_KIND_PROCESS);
    if (object == nullptr) return false;
    Plat_HandleRelease(object);
    return true;
}

static bool isToken(handle Token)
{
    Plat_Object *const object = Plat_HandleAcquire(Token, PLAT_KIND_TOKEN);
    if (object == nullptr) return false;
    Plat_HandleRelease(object);
    return true;
}

i32 OpenProcessToken(handle Process, u32, handle *Token)
{
    if (!isProcess(Process)) return fail(ERROR_INVALID_HANDLE);
    void *const block = Plat_Sys.Malloc(sizeof(tokenObject));
    if (block == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);
    tokenObject *const token = new (block) tokenObject{};
    *Token = Plat_HandleCreate(&token->Head, &tokenOps);
    if (*Token != nullptr) return 1;
    free(block);
    return 0;
}

// The process's groups without doubles; the count, or -1 with errno. Out has room for Room ids.
static int processGroups(gid_t *Out, int Room)
{
    int count = Plat_Sys.Getgroups(Room - 1, Out);
    if (count == -1) return -1;
    const gid_t own = getegid();
    for (int i = 0; i < count; ++i)
        if (Out[i] == own) return count;
    Out[count] = own;
    return count + 1;
}

// Fills a TOKEN_GROUPS: the row of pointers, then the SIDs behind it.
static void writeGroups(TOKEN_GROUPS *Out, const gid_t *Ids, u32 Count, bool Administrators)
{
    const u32 rows = Count + (Administrators ? 1 : 0);
    u8 *sids = reinterpret_cast<u8 *>(Out) + offsetof(TOKEN_GROUPS, Groups) + rows * sizeof(SID_AND_ATTRIBUTES);
    Out->GroupCount = rows;
    for (u32 i = 0; i < rows; ++i) {
        Out->Groups[i] = {reinterpret_cast<SID *>(sids), 0};
        if (i < Count) {
            Plat_UnixSid(Plat_UnixGroup, Ids[i], sids);
        } else {
            const u32 administrators[] = {32, 544};
            writeSid(systemAuthority, 2, administrators, sids);
        }
        sids += Plat_UnixSidSize; // an administrators' SID is as long
    }
}

i32 GetTokenInformation(handle Token, u32 Class, void *Out, u32 Size, u32 *Needed)
{
    constexpr int room = 65536 + 1; // NGROUPS_MAX and the effective group

    if (!isToken(Token)) return fail(ERROR_INVALID_HANDLE);
    if (Class != TokenGroups) return fail(ERROR_INVALID_PARAMETER);

    gid_t *const ids = static_cast<gid_t *>(Plat_Sys.Malloc(room * sizeof(gid_t)));
    if (ids == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);
    const int count = processGroups(ids, room);
    if (count == -1) {
        Plat_FailFromErrno();
        free(ids);
        return 0;
    }
    bool administrators = geteuid() == 0;
    for (int i = 0; i < count; ++i) administrators = administrators || ids[i] == 0;

    const u32 rows = static_cast<u32>(count) + (administrators ? 1 : 0);
    *Needed = static_cast<u32>(offsetof(TOKEN_GROUPS, Groups) + rows * (sizeof(SID_AND_ATTRIBUTES) + Plat_UnixSidSize));
    const bool fits = Out != nullptr && Size >= *Needed;
    if (fits) writeGroups(static_cast<TOKEN_GROUPS *>(Out), ids, static_cast<u32>(count), administrators);
    free(ids);
    return fits ? 1 : fail(ERROR_INSUFFICIENT_BUFFER);
}

static constinit pthread_mutex_t keptLock = PTHREAD_MUTEX_INITIALIZER;
static constinit ACL *keptLists[PLAT_KEPT_LISTS] = {}; // guarded by keptLock

// Keeps a copy of a list in the place of the one before; NULL takes it away.
static i32 keepList(Plat_KeptList Which, const ACL *List)
{
    ACL *copy = nullptr;
    if (List != nullptr) {
        copy = static_cast<ACL *>(Plat_Sys.Malloc(List->AclSize));
        if (copy == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);
        memcpy(copy, List, List->AclSize);
    }
    pthread_mutex_lock(&keptLock);
    ACL *const before = keptLists[Which];
    keptLists[Which] = copy;
    pthread_mutex_unlock(&keptLock);
    free(before);
    return 1;
}

u32 Plat_KeptAcl(Plat_KeptList Which, void *Out, u32 Size)
{
    u32 length = 0;
    pthread_mutex_lock(&keptLock);
    const ACL *const list = keptLists[Which];
    if (list != nullptr && list->AclSize <= Size) {
        length = list->AclSize;
        memcpy(Out, list, length);
    }
    pthread_mutex_unlock(&keptLock);
    return length;
}

i32 SetTokenInformation(handle Token, u32 Class, const void *In, u32 Size)
{
    if (!isToken(Token)) return fail(ERROR_INVALID_HANDLE);
    if (Class != TokenDefaultDacl || Size < sizeof(TOKEN_DEFAULT_DACL)) return fail(ERROR_INVALID_PARAMETER);
    return keepList(PLAT_KEPT_DEFAULT, static_cast<const TOKEN_DEFAULT_DACL *>(In)->DefaultDacl);
}

i32 SetKernelObjectSecurity(handle Object, u32 Information, const SECURITY_DESCRIPTOR *Descriptor)
{
    if (!isProcess(Object)) return fail(ERROR_INVALID_HANDLE);
    if (Information != DACL_SECURITY_INFORMATION) return fail(ERROR_INVALID_PARAMETER);
    return keepList(PLAT_KEPT_PROCESS, Descriptor->Dacl);
}

// Adds what one allow entry gives to a file's protection.
static void addEntry(u32 Mask, const u8 *Sid, Plat_Protection *Out)
{
    const u32 everybody[] = {0};
    u8 world[12];
    writeSid(worldAuthority, 1, everybody, world);

    u32 group;
    if (Sid[1] == 1 && memcmp(Sid, world, sizeof world) == 0) {
        if (Mask & allReads) Out->Mode |= 0666;
    } else if (!Out->HasGroup && Plat_UnixId(Plat_UnixGroup, Sid, &group) && (Mask & allReads)) {
        Out->Mode |= 0060;
        Out->HasGroup = true;
        Out->Group = group;
    }
}

bool Plat_ProtectionOf(const void *Security, Plat_Protection *Out)
{
    const SECURITY_ATTRIBUTES *const attributes = static_cast<const SECURITY_ATTRIBUTES *>(Security);
    if (attributes == nullptr || attributes->lpSecurityDescriptor == nullptr) return false;
    const SECURITY_DESCRIPTOR *const descriptor =
        static_cast<const SECURITY_DESCRIPTOR *>(attributes->lpSecurityDescriptor);
    if (!(descriptor->Control & SE_DACL_PRESENT)) return false;

    *Out = {0600, false, 0, false, 0};
    u32 owner;
    if (descriptor->Owner != nullptr && Plat_UnixId(Plat_UnixUser, descriptor->Owner, &owner)) {
        Out->HasOwner = true;
        Out->Owner = owner;
    }
    const ACL *const list = descriptor->Dacl;
    if (list == nullptr) {
        Out->Mode = 0666;
        return true;
    }
    const u8 *at = reinterpret_cast<const u8 *>(list) + sizeof(ACL);
    for (u32 i = 0; i < list->AceCount; ++i) {
        ACCESS_ALLOWED_ACE entry;
        memcpy(&entry, at, sizeof entry);
        if (entry.AceType == ACCESS_ALLOWED_ACE_TYPE)
            addEntry(entry.Mask, at + offsetof(ACCESS_ALLOWED_ACE, SidStart), Out);
        at += entry.AceSize;
    }
    return true;
}

void Plat_Protect(int Descriptor, const Plat_Protection *Protection)
{
    constexpr uid_t sameOwner = static_cast<uid_t>(-1);
    constexpr gid_t sameGroup = static_cast<gid_t>(-1);

    mode_t mode = Protection->Mode;
    const bool grouped = Protection->HasGroup && Plat_Sys.Fchown(Descriptor, sameOwner, Protection->Group) == 0;
    if (!grouped && (mode & 0006) == 0) mode &= ~mode_t{0070};
    if (Protection->HasOwner) static_cast<void>(Plat_Sys.Fchown(Descriptor, Protection->Owner, sameGroup));
    Plat_Sys.Fchmod(Descriptor, mode);
}
