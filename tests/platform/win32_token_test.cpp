// Accounts by name, the token of the process, and the lists that a process sets.

#include "win32_security.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plat_security.h"
#include "plat_sys.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_process.h"
#include "win32_system.h"

namespace
{

void makeAccounts()
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/accounts/passwd", "# a comment\n\nalice:x:1001:2001::/home/alice:/x\n"
                                                 "both:x:0x:1::/:/x\nboth:x:1003:2003::/:/x\n");
    Scratch_WriteFile(root + "/accounts/group", "staff:x:2001:\nboth:x:2003:\n");
}

struct found {
    u8 Sid[16];
    char Domain[32];
    u32 SidSize = sizeof Sid, DomainSize = sizeof Domain, Use = 0;
    i32 Result;

    explicit found(const char *name) : found(name, sizeof Sid, sizeof Domain) {}
    found(const char *name, u32 sidRoom, u32 domainRoom) : SidSize(sidRoom), DomainSize(domainRoom)
    {
        memset(Sid, '#', sizeof Sid);
        memset(Domain, '#', sizeof Domain);
        Result = LookupAccountNameA(nullptr, name, reinterpret_cast<SID *>(Sid), &SidSize, Domain, &DomainSize, &Use);
    }
};

std::string unixSid(u32 kind, u32 id)
{
    char bytes[16] = {1, 2, 0, 0, 0, 0, 0, 22};
    memcpy(bytes + 8, &kind, 4);
    memcpy(bytes + 12, &id, 4);
    return std::string(bytes, sizeof bytes);
}

std::string bytesOf(const void *sid)
{
    return std::string(static_cast<const char *>(sid), 16);
}

std::string computerName()
{
    char name[16];
    u32 size = sizeof name;
    EXPECT_NE(GetComputerNameA(name, &size), 0);
    return name;
}

handle openToken()
{
    handle token = nullptr;
    EXPECT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token), 0);
    return token;
}

} // namespace

TEST(LookupAccountNameA, FindsUsersThenGroups)
{
    makeAccounts();
    const found user("alice");
    EXPECT_NE(user.Result, 0);
    EXPECT_EQ(bytesOf(user.Sid), unixSid(1, 1001));
    EXPECT_EQ(user.Use, SidTypeUser);
    EXPECT_EQ(user.Domain, computerName());
    EXPECT_EQ(user.SidSize, 16u);
    EXPECT_EQ(user.DomainSize, computerName().size()); // without its terminator

    const found group("staff");
    EXPECT_NE(group.Result, 0);
    EXPECT_EQ(bytesOf(group.Sid), unixSid(2, 2001));
    EXPECT_EQ(group.Use, SidTypeAlias);
    const found both("both");
    EXPECT_EQ(bytesOf(both.Sid), unixSid(1, 1003)); // the user, at the line that can be read
}

TEST(LookupAccountNameA, TellsTheRoomsThatItNeeds)
{
    makeAccounts();
    const u32 length = static_cast<u32>(computerName().size());
    struct {
        u32 Sid, Domain;
    } const rows[] = {{0, 0}, {15, 32}, {16, length}, {0, 32}};
    for (const auto &row : rows) {
        const found none("alice", row.Sid, row.Domain);
        EXPECT_EQ(none.Result, 0);
        EXPECT_EQ(GetLastError(), 122u);
        EXPECT_EQ(none.SidSize, 16u);
        EXPECT_EQ(none.DomainSize, length + 1); // with it
        EXPECT_EQ(none.Domain[0], '#');
        EXPECT_EQ(none.Sid[0], '#');
    }
    EXPECT_NE(found("alice", 16, length + 1).Result, 0);
}

TEST(LookupAccountNameA, Fails)
{
    makeAccounts();
    EXPECT_EQ(found("none").Result, 0);
    EXPECT_EQ(GetLastError(), 1332u);
    EXPECT_EQ(found("").Result, 0);
    EXPECT_EQ(GetLastError(), 1332u);
    EXPECT_EQ(found(nullptr).Result, 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);

    Plat_Sys.Gethostname = [](char *, size_t) {
        errno = EPERM;
        return -1;
    };
    EXPECT_EQ(found("alice").Result, 0);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(found("alice").Result, 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(LookupAccountNameA, FindsNothingWithoutItsFiles)
{
    Scratch_MakeRoot();
    setenv("SORREL_ACCOUNTS", "/proc/none", 1); // and does not turn to the system's
    EXPECT_EQ(found("root").Result, 0);
    EXPECT_EQ(GetLastError(), 1332u);
    setenv("SORREL_ACCOUNTS", ("/" + std::string(5000, 'x')).c_str(), 1);
    EXPECT_EQ(found("root").Result, 0);
    EXPECT_EQ(GetLastError(), 1332u);
}

TEST(LookupAccountNameA, AsksTheSystem)
{
    unsetenv("SORREL_ACCOUNTS");
    const found root("root");
    EXPECT_NE(root.Result, 0);
    EXPECT_EQ(bytesOf(root.Sid), unixSid(1, 0));

    static int code;
    Plat_Sys.Getpwnam = [](const char *, struct passwd *, char *, size_t, struct passwd **none) {
        *none = nullptr;
        return code;
    };
    Plat_Sys.Getgrnam = [](const char *, struct group *, char *, size_t, struct group **none) {
        *none = nullptr;
        return 0;
    };
    struct {
        int Code;
        u32 Error;
    } const rows[] = {{0, 1332},      {ENOENT, 1332}, {ESRCH, 1332},  {EBADF, 1332}, {EPERM, 1332},
                      {EAGAIN, 1723}, {EMFILE, 1723}, {ENFILE, 1723}, {ENOMEM, 8}};
    for (const auto &row : rows) {
        code = row.Code;
        EXPECT_EQ(found("alice").Result, 0);
        EXPECT_EQ(GetLastError(), row.Error) << row.Code;
    }
}

TEST(LookupAccountNameA, GrowsItsBuffer)
{
    static size_t largest;
    unsetenv("SORREL_ACCOUNTS");
    largest = 0;
    Plat_Sys.Getpwnam = [](const char *, struct passwd *row, char *buffer, size_t size, struct passwd **got) {
        largest = size;
        *got = nullptr;
        if (size < 60000) return ERANGE;
        static char name[] = "alice";
        buffer[size - 1] = 0;
        *row = {name, name, 77, 78, name, name, name};
        *got = row;
        return 0;
    };
    const found user("alice");
    EXPECT_NE(user.Result, 0);
    EXPECT_EQ(bytesOf(user.Sid), unixSid(1, 77));
    EXPECT_EQ(largest, 65536u);

    Plat_Sys.Getpwnam = [](const char *, struct passwd *, char *, size_t size, struct passwd **got) {
        largest = size;
        *got = nullptr;
        return ERANGE;
    };
    EXPECT_EQ(found("alice").Result, 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(largest, 1u << 22);
}

TEST(LookupAccountNameA, ReadsALongLineOfAFile)
{
    makeAccounts();
    Scratch_WriteFile(Scratch_Root() + "/accounts/group", "staff:x:2001:" + std::string(20000, 'm') + "\nlast:x:5:\n");
    EXPECT_EQ(bytesOf(found("last").Sid), unixSid(2, 5));
    EXPECT_EQ(bytesOf(found("staff").Sid), unixSid(2, 2001));
}

TEST(OpenProcessToken, WantsAProcess)
{
    handle token = nullptr;
    EXPECT_EQ(OpenProcessToken(nullptr, TOKEN_QUERY, &token), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    const handle process = OpenProcess(PROCESS_ALL_ACCESS, 0, GetCurrentProcessId());
    ASSERT_NE(process, nullptr);
    EXPECT_NE(OpenProcessToken(process, TOKEN_QUERY, &token), 0);
    EXPECT_NE(CloseHandle(token), 0);
    EXPECT_EQ(CloseHandle(token), 0);
    CloseHandle(process);

    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(GetTokenInformation, ListsTheGroups)
{
    Plat_Sys.Getgroups = [](int room, gid_t *out) {
        const gid_t held[] = {2001, 0, 2003};
        EXPECT_GE(room, 3);
        memcpy(out, held, sizeof held);
        return 3;
    };
    const handle token = openToken();
    u32 needed = 0;
    EXPECT_EQ(GetTokenInformation(token, TokenGroups, nullptr, 0, &needed), 0);
    EXPECT_EQ(GetLastError(), 122u);

    std::vector<u64> room(needed / 8 + 2);
    TOKEN_GROUPS *const groups = reinterpret_cast<TOKEN_GROUPS *>(room.data());
    u32 again = 0;
    EXPECT_EQ(GetTokenInformation(token, TokenGroups, groups, needed - 1, &again), 0);
    EXPECT_EQ(again, needed);
    ASSERT_NE(GetTokenInformation(token, TokenGroups, groups, needed, &again), 0);
    EXPECT_EQ(again, needed);

    std::vector<std::string> wanted = {unixSid(2, 2001), unixSid(2, 0), unixSid(2, 2003)};
    if (getegid() != 0) wanted.push_back(unixSid(2, getegid()));
    wanted.push_back(std::string("\1\2\0\0\0\0\0\5\x20\0\0\0\x20\2\0\0", 16)); // the group 0 is held
    std::vector<std::string> got;
    for (u32 i = 0; i < groups->GroupCount; ++i) got.push_back(bytesOf(groups->Groups[i].Sid));
    EXPECT_EQ(got, wanted);
    CloseHandle(token);
}

TEST(GetTokenInformation, Fails)
{
    const handle token = openToken();
    u32 needed = 0;
    EXPECT_EQ(GetTokenInformation(GetStdHandle(STD_INPUT_HANDLE), TokenGroups, nullptr, 0, &needed), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(GetTokenInformation(token, 1, nullptr, 0, &needed), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    Plat_Sys.Getgroups = [](int, gid_t *) {
        errno = EINVAL;
        return -1;
    };
    EXPECT_EQ(GetTokenInformation(token, TokenGroups, nullptr, 0, &needed), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    CloseHandle(token);
}

namespace
{

// A list of one entry for a SID.
struct oneEntry {
    u8 Room[64];
    oneEntry(u32 mask, const std::string &sid)
    {
        EXPECT_NE(InitializeAcl(List(), sizeof Room, ACL_REVISION), 0);
        EXPECT_NE(AddAccessAllowedAce(List(), ACL_REVISION, mask, reinterpret_cast<const SID *>(sid.data())), 0);
    }
    ACL *List() { return reinterpret_cast<ACL *>(Room); }
};

const std::string worldSid("\1\1\0\0\0\0\0\1\0\0\0\0", 12), systemSid("\1\1\0\0\0\0\0\5\x12\0\0\0", 12);

// The protection of a file by a list: "default", or mode and group.
std::string protection(i32 present, ACL *list)
{
    SECURITY_DESCRIPTOR descriptor;
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, present, list, 0);
    const SECURITY_ATTRIBUTES attributes = {12, &descriptor, 0};
    Plat_Protection got;
    if (!Plat_ProtectionOf(&attributes, &got)) return "default";
    char text[64];
    snprintf(text, sizeof text, "%o", got.Mode);
    return got.HasGroup ? text + (" group " + std::to_string(got.Group)) : text;
}

} // namespace

TEST(SetTokenInformation, KeepsACopyOfTheList)
{
    const handle token = openToken();
    oneEntry entry(GENERIC_ALL, worldSid);
    const TOKEN_DEFAULT_DACL list = {entry.List()}, none = {nullptr};
    char kept[64];
    EXPECT_EQ(Plat_KeptAcl(PLAT_KEPT_DEFAULT, kept, sizeof kept), 0u);
    ASSERT_NE(SetTokenInformation(token, TokenDefaultDacl, &list, sizeof list), 0);
    EXPECT_EQ(Plat_KeptAcl(PLAT_KEPT_DEFAULT, kept, sizeof kept), 64u);
    EXPECT_EQ(memcmp(kept, entry.Room, 28), 0);
    EXPECT_EQ(Plat_KeptAcl(PLAT_KEPT_DEFAULT, kept, 63), 0u);
    ASSERT_NE(SetTokenInformation(token, TokenDefaultDacl, &none, sizeof none), 0);
    EXPECT_EQ(Plat_KeptAcl(PLAT_KEPT_DEFAULT, kept, sizeof kept), 0u);

    EXPECT_EQ(SetTokenInformation(token, 1, &list, sizeof list), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SetTokenInformation(token, TokenDefaultDacl, &list, 4), 0);
    EXPECT_EQ(SetTokenInformation(nullptr, TokenDefaultDacl, &list, sizeof list), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(SetTokenInformation(token, TokenDefaultDacl, &list, sizeof list), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    CloseHandle(token);
}

TEST(SetKernelObjectSecurity, KeepsACopyOfTheList)
{
    oneEntry entry(GENERIC_ALL, worldSid);
    SECURITY_DESCRIPTOR descriptor;
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, 1, entry.List(), 0);
    char kept[64];
    ASSERT_NE(SetKernelObjectSecurity(GetCurrentProcess(), DACL_SECURITY_INFORMATION, &descriptor), 0);
    EXPECT_EQ(Plat_KeptAcl(PLAT_KEPT_PROCESS, kept, sizeof kept), 64u);
    EXPECT_EQ(SetKernelObjectSecurity(GetCurrentProcess(), 1, &descriptor), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SetKernelObjectSecurity(nullptr, DACL_SECURITY_INFORMATION, &descriptor), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(Plat_ProtectionOf, TurnsListsIntoModes)
{
    EXPECT_EQ(protection(0, nullptr), "default");
    EXPECT_EQ(protection(1, nullptr), "666");
    EXPECT_EQ(protection(1, oneEntry(GENERIC_ALL, unixSid(2, 2001)).List()), "660 group 2001");
    EXPECT_EQ(protection(1, oneEntry(GENERIC_ALL, worldSid).List()), "666");
    EXPECT_EQ(protection(1, oneEntry(0x100040, worldSid).List()), "600"); // neither reads nor writes
    EXPECT_EQ(protection(1, oneEntry(GENERIC_ALL, systemSid).List()), "600");
    EXPECT_EQ(protection(1, oneEntry(GENERIC_ALL, unixSid(1, 1001)).List()), "600");

    Plat_Protection got;
    const SECURITY_ATTRIBUTES none = {12, nullptr, 0};
    EXPECT_FALSE(Plat_ProtectionOf(nullptr, &got));
    EXPECT_FALSE(Plat_ProtectionOf(&none, &got));
}
