// Access policies: which kind of object gets which, what the lists hold, and what happens when they cannot be built.

#include "supos_security.h"

#include "supos_sec_int.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "no_memory.h"
#include "plat_security.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "supos_env_int.h"
#include "unprivileged.h"
#include "vela_types.h"
#include "win32_file.h"

namespace
{

std::string unixGroupSid(u32 group)
{
    char bytes[16] = {1, 2, 0, 0, 0, 0, 0, 22, 2};
    memcpy(bytes + 12, &group, 4);
    return std::string(bytes, sizeof bytes);
}

const std::string systemSid("\1\1\0\0\0\0\0\5\x12\0\0\0", 12), worldSid("\1\1\0\0\0\0\0\1\0\0\0\0", 12);

std::string allow(u32 mask, const std::string &sid)
{
    char head[8] = {0, 0, static_cast<char>(8 + sid.size()), 0};
    memcpy(head + 4, &mask, 4);
    return std::string(head, sizeof head) + sid;
}

// A list of two entries in its published bytes.
std::string list(const std::string &first, const std::string &second)
{
    const u16 size = static_cast<u16>(8 + first.size() + second.size());
    char head[8] = {2, 0, 0, 0, 2, 0, 0, 0};
    memcpy(head + 2, &size, 2);
    return std::string(head, sizeof head) + first + second;
}

std::string groupList()
{
    return list(allow(0x10000000, systemSid), allow(0x10000000, unixGroupSid(getegid())));
}

std::string sharedList()
{
    return list(allow(0x100040, worldSid), allow(0x10000000, unixGroupSid(getegid())));
}

// The list of attributes: "open" for a present null one, "none" without a descriptor.
std::string listOf(const SECURITY_ATTRIBUTES &attributes)
{
    const SECURITY_DESCRIPTOR *const descriptor =
        static_cast<const SECURITY_DESCRIPTOR *>(attributes.lpSecurityDescriptor);
    if (descriptor == nullptr) return "none";
    EXPECT_EQ(descriptor->Revision, 1);
    EXPECT_EQ(descriptor->Control, SE_DACL_PRESENT);
    if (descriptor->Dacl == nullptr) return "open";
    return std::string(reinterpret_cast<const char *>(descriptor->Dacl), descriptor->Dacl->AclSize);
}

std::string keptList(Plat_KeptList which)
{
    char bytes[256];
    return std::string(bytes, Plat_KeptAcl(which, bytes, sizeof bytes));
}

// Fails the nth allocation of the platform from now on.
int allocationsLeft;

void failAllocation(int nth)
{
    allocationsLeft = nth;
    Plat_Sys.Malloc = [](size_t size) { return --allocationsLeft == 0 ? nullptr : malloc(size); };
}

} // namespace

// Calls of the build that nothing on this system makes fail stand here in front of the real ones, and fail by number.
static int buildCallsLeft = 0; // the call that fails, counted down; 0: none
static bool exhaustAtLength = false; // the heap goes when the length of a SID is asked for

template <class Call>
static Call realCall(Call, const char *name)
{
    return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name));
}

static bool buildCallFails()
{
    return buildCallsLeft != 0 && --buildCallsLeft == 0;
}

#define PASS(Name, ...) return buildCallFails() ? 0 : realCall(&Name, #Name)(__VA_ARGS__)

i32 InitializeSecurityDescriptor(SECURITY_DESCRIPTOR *Descriptor, u32 Revision)
{
    PASS(InitializeSecurityDescriptor, Descriptor, Revision);
}

i32 SetSecurityDescriptorDacl(SECURITY_DESCRIPTOR *Descriptor, i32 Present, ACL *List, i32 Defaulted)
{
    PASS(SetSecurityDescriptorDacl, Descriptor, Present, List, Defaulted);
}

i32 InitializeAcl(ACL *List, u32 Size, u32 Revision)
{
    PASS(InitializeAcl, List, Size, Revision);
}

i32 AddAccessAllowedAce(ACL *List, u32 Revision, u32 Mask, const SID *Sid)
{
    PASS(AddAccessAllowedAce, List, Revision, Mask, Sid);
}

u32 GetLengthSid(const SID *Sid)
{
    if (exhaustAtLength) NoMemory_Exhaust();
    return realCall(&GetLengthSid, "GetLengthSid")(Sid);
}

TEST(SupOS_BuildSecurityAttributes, TellsWhichCallFailed)
{
    Ring_TraceOn();
    for (int call = 1; call <= 12; ++call) {
        buildCallsLeft = call;
        EXPECT_EQ(SupOS_BuildSecurityAttributes(), SupOS_RC_SYSTEM);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_BuildSecurityAttributes"), static_cast<u32>(call) + 4);
        EXPECT_EQ(keptList(PLAT_KEPT_PROCESS), "");
    }
    buildCallsLeft = 13; // there are twelve
    EXPECT_EQ(SupOS_BuildSecurityAttributes(), 0u);
    EXPECT_EQ(buildCallsLeft, 1);
}

TEST(SupOS_BuildSecurityAttributes, FailsWithoutMemoryForItsBlock)
{
    NO_MEMORY_SKIP();
    Scratch_MakeRoot();
    EXPECT_EQ(NoMemory_RunInChild([] {
                  SECURITY_ATTRIBUTES attributes;
                  exhaustAtLength = true;
                  return SupOS_GetSecurityAttributes(1, 1, &attributes) == SupOS_RC_NOMEM &&
                         attributes.lpSecurityDescriptor == nullptr;
              }),
              1);
}

TEST(SupOS_GetSecurityAttributes, ChoosesThePolicyByTheKind)
{
    Scratch_MakeRoot();
    const std::string policies[] = {"open", groupList(), sharedList()};
    const int wanted[] = {0, 1, 2, 2, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 0};
    for (u32 kind = 0; kind < 16; ++kind) {
        for (const u32 inherit : {0u, 1u}) {
            SECURITY_ATTRIBUTES attributes;
            memset(&attributes, '#', sizeof attributes);
            EXPECT_EQ(SupOS_GetSecurityAttributes(kind, inherit, &attributes), 0u);
            EXPECT_EQ(attributes.nLength, 12u);
            EXPECT_EQ(attributes.bInheritHandle, static_cast<i32>(inherit));
            EXPECT_EQ(listOf(attributes), policies[wanted[kind]]) << kind;
        }
    }
    SECURITY_ATTRIBUTES attributes;
    EXPECT_EQ(SupOS_GetSecurityAttributes(0xFFFFFFFF, 0, &attributes), 0u);
    EXPECT_EQ(listOf(attributes), "open");
}

TEST(SupOS_GetSecurityAttributes, HandsOutOneBlock)
{
    Scratch_MakeRoot();
    SECURITY_ATTRIBUTES group, shared, open, again;
    SupOS_GetSecurityAttributes(1, 0, &group);
    SupOS_GetSecurityAttributes(3, 1, &shared);
    SupOS_GetSecurityAttributes(4, 0, &open);
    SupOS_GetSecurityAttributes(13, 1, &again);
    EXPECT_EQ(group.lpSecurityDescriptor, again.lpSecurityDescriptor);

    const auto at = [](const void *place) { return static_cast<const u8 *>(place); };
    const SECURITY_DESCRIPTOR *const groupDescriptor = static_cast<SECURITY_DESCRIPTOR *>(group.lpSecurityDescriptor);
    const SECURITY_DESCRIPTOR *const sharedDescriptor = static_cast<SECURITY_DESCRIPTOR *>(shared.lpSecurityDescriptor);
    const u8 *const block = at(open.lpSecurityDescriptor) - offsetof(SupOS_SecurityBlock, OpenDescriptor);
    EXPECT_EQ(at(groupDescriptor), block + offsetof(SupOS_SecurityBlock, GroupDescriptor));
    EXPECT_EQ(at(sharedDescriptor), block + offsetof(SupOS_SecurityBlock, SharedDescriptor));
    EXPECT_EQ(at(groupDescriptor->Dacl), block + sizeof(SupOS_SecurityBlock));
    EXPECT_EQ(at(sharedDescriptor->Dacl), at(groupDescriptor->Dacl) + 12 + 16 + 24);
    EXPECT_EQ(groupDescriptor->Dacl->AclSize, 12 + 16 + 24);
    EXPECT_EQ(sharedDescriptor->Dacl->AclSize, 12 + 16 + 24);
}

TEST(SupOS_GetSecurityAttributes, AppliesThePolicyToTheProcess)
{
    Scratch_MakeRoot();
    EXPECT_EQ(keptList(PLAT_KEPT_PROCESS), "");
    SECURITY_ATTRIBUTES attributes;
    ASSERT_EQ(SupOS_GetSecurityAttributes(4, 0, &attributes), 0u);
    EXPECT_EQ(keptList(PLAT_KEPT_PROCESS), sharedList());
    EXPECT_EQ(keptList(PLAT_KEPT_DEFAULT), groupList());
}

namespace
{

// The mode of a new file that gets the policy of a kind of object; 0 when it cannot be made.
u32 fileMode(u32 kind, const std::string &path)
{
    SECURITY_ATTRIBUTES attributes;
    if (SupOS_GetSecurityAttributes(kind, 0, &attributes) != 0) return 0;
    const handle file =
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    struct stat found = {};
    if (file == PLAT_INVALID_HANDLE || stat(path.c_str(), &found) != 0 || found.st_gid != getegid()) return 0;
    CloseHandle(file);
    return found.st_mode & 07777;
}

// Files under the three policies: open, the group, and the group with an everybody who may not read.
int badPolicy(const std::string &directory)
{
    umask(027);
    if (fileMode(4, directory + "/open") != 0666) return 1;
    if (fileMode(1, directory + "/group") != 0660) return 2;
    if (fileMode(3, directory + "/shared") != 0660) return 3;
    return 0;
}

} // namespace

TEST(SupOS_GetSecurityAttributes, BecomesTheModeOfAFile)
{
    EXPECT_EQ(badPolicy(Scratch_MakeRoot()), 0);
}

TEST(SupOS_GetSecurityAttributes, BecomesTheModeOfAFileForAnyUser)
{
    EXPECT_EQ(Unprivileged_Run([] { return badPolicy(Scratch_MakeRoot()); }), 0);
}

TEST(SupOS_GetSecurityAttributes, DoesNotRetryAFailure)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", "nobody-of-that-name");
    SECURITY_ATTRIBUTES attributes;
    memset(&attributes, '#', sizeof attributes);
    EXPECT_EQ(SupOS_GetSecurityAttributes(1, 1, &attributes), SupOS_RC_SYSTEM);
    EXPECT_EQ(attributes.nLength, 12u);
    EXPECT_EQ(attributes.lpSecurityDescriptor, nullptr);
    EXPECT_EQ(attributes.bInheritHandle, 1);

    static int lookUps;
    lookUps = 0;
    unsetenv("SORREL_ACCOUNTS");
    Plat_Sys.Getpwnam = [](const char *, struct passwd *, char *, size_t, struct passwd **) {
        ++lookUps;
        return 0;
    };
    EXPECT_EQ(SupOS_GetSecurityAttributes(4, 0, &attributes), SupOS_RC_SYSTEM);
    EXPECT_EQ(attributes.lpSecurityDescriptor, nullptr);
    EXPECT_EQ(attributes.bInheritHandle, 0);
    EXPECT_EQ(lookUps, 0);
    EXPECT_EQ(SupOS_SetProcessSecurity(0), SupOS_RC_SYSTEM);
}

TEST(SupOS_GetSecurityAttributes, HandsOnTheFailureOfTheBuild)
{
    Scratch_MakeRoot();
    char name[52];
    SupOS_GetUserName(0, name); // the registry is read by now
    failAllocation(1); // of the first SID
    SECURITY_ATTRIBUTES attributes;
    EXPECT_EQ(SupOS_GetSecurityAttributes(4, 0, &attributes), SupOS_RC_NOMEM);
    EXPECT_EQ(attributes.lpSecurityDescriptor, nullptr);
    EXPECT_EQ(SupOS_GetSecurityAttributes(4, 0, &attributes), SupOS_RC_SYSTEM);
}

TEST(SupOS_BuildSecurityAttributes, NeedsBothAccounts)
{
    Ring_TraceOn();
    const std::string root = Scratch_Root();
    const std::string users = Scratch_ReadFile(root + "/accounts/passwd"),
                      groups = Scratch_ReadFile(root + "/accounts/group");
    Scratch_WriteFile(root + "/accounts/passwd", "");
    EXPECT_EQ(SupOS_BuildSecurityAttributes(), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_BuildSecurityAttributes"), 2u);
    Scratch_WriteFile(root + "/accounts/passwd", users);
    Scratch_WriteFile(root + "/accounts/group", "");
    EXPECT_EQ(SupOS_BuildSecurityAttributes(), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_BuildSecurityAttributes"), 3u);
    Scratch_WriteFile(root + "/accounts/group", groups);
    EXPECT_EQ(SupOS_BuildSecurityAttributes(), 0u); // alone it is not the one that remembers
    EXPECT_EQ(Ring_LastExitPoint("SupOS_BuildSecurityAttributes"), 17u);

    failAllocation(1);
    EXPECT_EQ(SupOS_BuildSecurityAttributes(), SupOS_RC_NOMEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_BuildSecurityAttributes"), 1u);
}

// What the process itself gets does not decide about the block.
TEST(SupOS_BuildSecurityAttributes, StandsWithoutTheProcessPolicy)
{
    Scratch_MakeRoot();
    Plat_Sys.PidfdOpen = [](pid_t, unsigned) {
        errno = EMFILE;
        return -1;
    };
    SECURITY_ATTRIBUTES attributes;
    EXPECT_EQ(SupOS_GetSecurityAttributes(1, 0, &attributes), 0u);
    EXPECT_EQ(listOf(attributes), groupList());
    EXPECT_EQ(keptList(PLAT_KEPT_PROCESS), "");
}

TEST(SupOS_SetProcessSecurity, SetsOrTakesAwayTheDefaultList)
{
    Ring_TraceOn();
    EXPECT_EQ(SupOS_SetProcessSecurity(0), SupOS_RC_SYSTEM); // nothing stands yet
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetProcessSecurity"), 5u);

    ASSERT_EQ(SupOS_BuildSecurityAttributes(), 0u);
    EXPECT_EQ(SupOS_SetProcessSecurity(1), 0u);
    EXPECT_EQ(keptList(PLAT_KEPT_DEFAULT), "");
    EXPECT_EQ(keptList(PLAT_KEPT_PROCESS), sharedList());
    EXPECT_EQ(SupOS_SetProcessSecurity(0), 0u);
    EXPECT_EQ(keptList(PLAT_KEPT_DEFAULT), groupList());
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetProcessSecurity"), 6u);
}

TEST(SupOS_SetProcessSecurity, TellsWhichCallFailed)
{
    Ring_TraceOn();
    ASSERT_EQ(SupOS_BuildSecurityAttributes(), 0u);
    const u32 points[] = {4, 1, 3, 2}; // the process, its list, its token, its default list: an allocation each
    for (int call = 1; call <= 4; ++call) {
        failAllocation(call);
        EXPECT_EQ(SupOS_SetProcessSecurity(0), SupOS_RC_SYSTEM);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_SetProcessSecurity"), points[call - 1]);
    }
    Plat_Sys.Malloc = malloc;
    EXPECT_EQ(SupOS_SetProcessSecurity(0), 0u);
}

TEST(SupOS_GetSecurityAttributes, Traces)
{
    Ring_TraceOn();
    SECURITY_ATTRIBUTES attributes;
    SupOS_GetSecurityAttributes(4, 0, &attributes);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetSecurityAttributes"), 2u);
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.Class > 0x80 || !record.Function.starts_with("SupOS_")) continue;
        const bool api =
            record.Function == "SupOS_GetSecurityAttributes" || record.Function == "SupOS_SetProcessSecurity";
        EXPECT_EQ(record.Header.Class, api ? 0x80u : 0x40u) << record.Function;
    }
    EXPECT_EQ(Ring_Count("SupOS_SetDefaultIds"), 0u);
}

TEST(SupOS_GetSecurityAttributes, TracesItsFailure)
{
    Ring_TraceOn();
    Scratch_WriteFile(Scratch_Root() + "/accounts/passwd", "");
    SECURITY_ATTRIBUTES attributes;
    SupOS_GetSecurityAttributes(4, 0, &attributes);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetSecurityAttributes"), 1u);
}

TEST(SupOS_SetDefaultIds, AddsAndRemembers)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/accounts/passwd", "vela:x:10:10::/:/x\nother:x:11:11::/:/x\n");
    Scratch_WriteFile(root + "/accounts/group", "velagroup:x:20:vela\nothers:x:21:\n");
    EXPECT_EQ(SupOS_SetDefaultIds("other", "others"), 0u);
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "velagroup:x:20:vela\nothers:x:21:other\n");
    char name[52];
    SupOS_GetUserName(0, name);
    EXPECT_STREQ(name, "other");
    SupOS_GetGroupName(0, name);
    EXPECT_STREQ(name, "others");

    EXPECT_EQ(SupOS_SetDefaultIds(nullptr, "velagroup"), 0u); // the present account
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "velagroup:x:20:vela,other\nothers:x:21:other\n");
    SupOS_GetUserName(0, name);
    EXPECT_STREQ(name, "other");
    SupOS_GetGroupName(0, name);
    EXPECT_STREQ(name, "velagroup");
}

TEST(SupOS_SetDefaultIds, LeavesTheNamesWhenItFails)
{
    Scratch_MakeRoot();
    EXPECT_EQ(SupOS_SetDefaultIds("none", "velagroup"), SupOS_RC_SYSTEM);
    EXPECT_EQ(SupOS_SetDefaultIds("vela", "none"), SupOS_RC_SYSTEM);
    char name[52];
    SupOS_GetGroupName(0, name);
    EXPECT_STREQ(name, "velagroup");
}

TEST(SupOS_SetDefaultIds, ComesTooLateOnceThePoliciesStand)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/accounts/group", "velagroup:x:20:\nothers:x:21:\n");
    SECURITY_ATTRIBUTES attributes;
    ASSERT_EQ(SupOS_GetSecurityAttributes(4, 0, &attributes), 0u);
    EXPECT_EQ(SupOS_SetDefaultIds("vela", "others"), SupOS_RC_SYSTEM);
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "velagroup:x:20:\nothers:x:21:\n");
    char name[52];
    SupOS_GetGroupName(0, name);
    EXPECT_STREQ(name, "velagroup");
}
