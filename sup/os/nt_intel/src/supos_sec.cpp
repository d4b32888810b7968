// Access policies: three descriptors in one block, built once per process, and applied to the process itself.
//
// The block is never released and a failed build never repeated: objects keep pointing into it, and a machine without
// the accounts pays for their look-up once. The words that tell so have no lock; a process makes its first secured
// object before it starts threads, and two that race each build a block, of which the later one stands.

#include "supos_security.h"

#include "supos_sec_int.h"

#include "inftr_guard.h"
#include "supos_env_int.h"
#include "win32_file.h"
#include "win32_process.h"

#include <cstdlib>
#include <cstring>

constexpr u32 attributesLength = 12; // by the interface
constexpr u32 processAccess = 0x1F0FFF;
constexpr u32 tokenAccess = 0x200E0;
constexpr u32 allRights = 0x10000000;
constexpr u32 waitAndDuplicate = 0x100040;
constexpr u32 entriesOverhead = 24; // the list's header, and of two entries all but the SIDs

// What stands: set once, in this order, read by any thread.
static constinit const SECURITY_ATTRIBUTES *openAttributes = nullptr;
static constinit const SECURITY_ATTRIBUTES *groupAttributes = nullptr;
static constinit const SECURITY_ATTRIBUTES *sharedAttributes = nullptr;
static constinit ACL *groupAcl = nullptr;
static constinit u32 SecurityBuilt = 0;
static constinit u32 SecurityFailed = 0;

template <class Word, class Value>
static void publish(Word *To, Value What)
{
    __atomic_store_n(To, static_cast<Word>(What), __ATOMIC_RELEASE);
}

// The policy of each kind of object from 1 on; every other kind is open.
enum policy { OPEN, GROUP, SHARED };
constexpr policy kindPolicy[] = {
    //  0     1      2       3       4     5      6     7      8     9      10    11     12    13
    OPEN, GROUP, SHARED, SHARED, OPEN, GROUP, OPEN, GROUP, OPEN, GROUP, OPEN, GROUP, OPEN, GROUP,
};
constexpr u32 kindCount = sizeof kindPolicy / sizeof kindPolicy[0];

static const SECURITY_ATTRIBUTES *attributesOf(u32 ObjectKind)
{
    switch (ObjectKind < kindCount ? kindPolicy[ObjectKind] : OPEN) {
    case GROUP: return InfTR_Read(groupAttributes);
    case SHARED: return InfTR_Read(sharedAttributes);
    case OPEN: break;
    }
    return InfTR_Read(openAttributes);
}

u32 SupOS_GetSecurityAttributes(u32 ObjectKind, u32 Inherit, SECURITY_ATTRIBUTES *Out)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetSecurityAttributes");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%u, %u, %p)", ObjectKind, Inherit, static_cast<void *>(Out));

    u32 result = ERZ_OK;
    if (InfTR_Read(SecurityBuilt) == 0)
        result = InfTR_Read(SecurityFailed) != 0 ? SupOS_RC_SYSTEM : SupOS_BuildSecurityAttributes();
    if (result != ERZ_OK) {
        *Out = {attributesLength, nullptr, static_cast<i32>(Inherit)};
        publish(&SecurityFailed, 1);
        INFTR_RETURN_CODE(1, result);
    }

    *Out = *attributesOf(ObjectKind);
    Out->bInheritHandle = static_cast<i32>(Inherit);
    INFTR_RETURN_CODE(2, result);
}

// What a build holds until it has succeeded.
struct buildParts {
    SID *System, *World; // released with FreeSid
    SID *User, *Group; // released with free
    SupOS_SecurityBlock *Block;
};

static void releaseSids(const buildParts *Parts)
{
    if (Parts->System != nullptr) FreeSid(Parts->System);
    if (Parts->World != nullptr) FreeSid(Parts->World);
    free(Parts->User);
    free(Parts->Group);
}

// The number of the call that failed, 0 when all are done; *Result is the code.
static u32 findIdentities(buildParts *Parts, u32 *Result)
{
    char user[SUPOS_ACCOUNT_NAME_SIZE] = "vela", group[SUPOS_ACCOUNT_NAME_SIZE] = "velagroup";
    SupOS_GetUserName(0, user);
    SupOS_GetGroupName(0, group);

    *Result = SupOS_GetLocalSids(&Parts->System, nullptr, &Parts->World);
    if (*Result != ERZ_OK) return 1;
    *Result = SupOS_GetUserSid(user, &Parts->User, nullptr); // in no list: it proves that the account is there
    if (*Result != ERZ_OK) return 2;
    *Result = SupOS_GetGroupSid(group, &Parts->Group, nullptr, nullptr, nullptr);
    return *Result != ERZ_OK ? 3 : 0;
}

// Fills the block's descriptors and lists; the number of the call that failed, 0 when all are done.
static u32 fillBlock(const buildParts *Parts, ACL *GroupAcl, u32 GroupSize, ACL *SharedAcl, u32 SharedSize)
{
    SupOS_SecurityBlock *const block = Parts->Block;
    if (!InitializeSecurityDescriptor(&block->OpenDescriptor, SECURITY_DESCRIPTOR_REVISION)) return 5;
    if (!SetSecurityDescriptorDacl(&block->OpenDescriptor, 1, nullptr, 0)) return 6;
    if (!InitializeSecurityDescriptor(&block->GroupDescriptor, SECURITY_DESCRIPTOR_REVISION)) return 7;
    if (!SetSecurityDescriptorDacl(&block->GroupDescriptor, 1, GroupAcl, 0)) return 8;
    if (!InitializeSecurityDescriptor(&block->SharedDescriptor, SECURITY_DESCRIPTOR_REVISION)) return 9;
    if (!SetSecurityDescriptorDacl(&block->SharedDescriptor, 1, SharedAcl, 0)) return 10;
    if (!InitializeAcl(GroupAcl, GroupSize, ACL_REVISION)) return 11;
    if (!AddAccessAllowedAce(GroupAcl, ACL_REVISION, allRights, Parts->System)) return 12;
    if (!AddAccessAllowedAce(GroupAcl, ACL_REVISION, allRights, Parts->Group)) return 13;
    if (!InitializeAcl(SharedAcl, SharedSize, ACL_REVISION)) return 14;
    if (!AddAccessAllowedAce(SharedAcl, ACL_REVISION, waitAndDuplicate, Parts->World)) return 15;
    if (!AddAccessAllowedAce(SharedAcl, ACL_REVISION, allRights, Parts->Group)) return 16;
    return 0;
}

static void publishBlock(SupOS_SecurityBlock *Block, ACL *GroupAcl)
{
    Block->OpenAttributes = {attributesLength, &Block->OpenDescriptor, 0};
    Block->GroupAttributes = {attributesLength, &Block->GroupDescriptor, 0};
    Block->SharedAttributes = {attributesLength, &Block->SharedDescriptor, 0};
    publish(&groupAcl, GroupAcl);
    publish(&openAttributes, &Block->OpenAttributes);
    publish(&groupAttributes, &Block->GroupAttributes);
    publish(&sharedAttributes, &Block->SharedAttributes);
    publish(&SecurityBuilt, 1);
}

// The whole build up to the block; the number of the call that failed, 0 when all are done.
static u32 buildBlock(buildParts *Parts, u32 *Result)
{
    const u32 point = findIdentities(Parts, Result);
    if (point != 0) return point;

    const u32 groupLength = GetLengthSid(Parts->Group);
    const u32 groupSize = GetLengthSid(Parts->System) + groupLength + entriesOverhead;
    const u32 sharedSize = GetLengthSid(Parts->World) + groupLength + entriesOverhead;
    Parts->Block = static_cast<SupOS_SecurityBlock *>(malloc(sizeof(SupOS_SecurityBlock) + groupSize + sharedSize));
    *Result = SupOS_RC_NOMEM;
    if (Parts->Block == nullptr) return 4;

    u8 *const lists = reinterpret_cast<u8 *>(Parts->Block + 1);
    ACL *const group = reinterpret_cast<ACL *>(lists), *const shared = reinterpret_cast<ACL *>(lists + groupSize);
    const u32 failed = fillBlock(Parts, group, groupSize, shared, sharedSize);
    *Result = failed != 0 ? SupOS_RC_SYSTEM : ERZ_OK;
    if (failed == 0) publishBlock(Parts->Block, group);
    return failed;
}

u32 SupOS_BuildSecurityAttributes(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_BuildSecurityAttributes");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    buildParts parts = {};
    u32 result = ERZ_OK;
    const u32 failed = buildBlock(&parts, &result);
    if (failed == 0) SupOS_SetProcessSecurity(0); // required: what it answers changes nothing
    releaseSids(&parts);
    if (failed != 0) {
        free(parts.Block);
        INFTR_RETURN_CODE(failed, result);
    }
    INFTR_RETURN_CODE(17, result);
}

// Applies both lists to the process; the exit point of the call that failed, or 6.
static u32 applyToProcess(i32 KeepDefault)
{
    const handle process = OpenProcess(processAccess, 0, GetCurrentProcessId());
    if (process == nullptr) return 4;

    u32 point = 6;
    handle token = nullptr;
    const SECURITY_DESCRIPTOR *const shared =
        static_cast<const SECURITY_DESCRIPTOR *>(InfTR_Read(sharedAttributes)->lpSecurityDescriptor);
    if (!SetKernelObjectSecurity(process, DACL_SECURITY_INFORMATION, shared)) {
        point = 1;
    } else if (!OpenProcessToken(process, tokenAccess, &token)) {
        point = 3;
    } else {
        const TOKEN_DEFAULT_DACL list = {KeepDefault == 0 ? InfTR_Read(groupAcl) : nullptr};
        if (!SetTokenInformation(token, TokenDefaultDacl, &list, sizeof list)) point = 2;
        CloseHandle(token);
    }
    CloseHandle(process);
    return point;
}

u32 SupOS_SetProcessSecurity(i32 KeepDefault)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SetProcessSecurity");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%d)", KeepDefault);

    if (InfTR_Read(SecurityBuilt) == 0 || InfTR_Read(SecurityFailed) != 0) INFTR_RETURN_CODE(5, SupOS_RC_SYSTEM);

    const u32 point = applyToProcess(KeepDefault);
    const u32 result = point == 6 ? ERZ_OK : SupOS_RC_SYSTEM;
    INFTR_RETURN_CODE(point, result);
}

u32 SupOS_SetDefaultIds(const char *User, const char *Group)
{
    char name[SUPOS_ACCOUNT_NAME_SIZE];
    if (User == nullptr) {
        SupOS_GetUserName(0, name);
        User = name;
    }
    if (InfTR_Read(SecurityBuilt) != 0) return SupOS_RC_SYSTEM; // the identities are in the block

    const u32 result = SupOS_AddUserToGroup(User, Group);
    if (result == ERZ_OK) SupOS_SetVelaNames(User, Group);
    return result;
}
