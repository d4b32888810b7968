// Users and groups by the calls of the network: what is told, and how a member is added. The system's own accounts are
// neither read nor written: they are files of the test, or calls that the test answers.

#include "win32_network.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_sys.h"
#include "scratch_root.h"
#include "unprivileged.h"
#include "win32_error.h"
#include "win32_security.h"

namespace
{

std::string groupFile()
{
    return Scratch_ReadFile(Scratch_Root() + "/accounts/group");
}

void makeAccounts(const std::string &groups)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/accounts/passwd", "alice:x:1001:2001::/home/alice:/x\nbob:x:1002:2002::/home/b\xc3\xb6"
                                                 "b:/x\n");
    Scratch_WriteFile(root + "/accounts/group", groups);
}

std::string userSid(u32 id)
{
    char bytes[16] = {1, 2, 0, 0, 0, 0, 0, 22, 1};
    memcpy(bytes + 12, &id, 4);
    return std::string(bytes, sizeof bytes);
}

u32 addMember(const char16_t *group, u32 user)
{
    return NetLocalGroupAddMember(nullptr, group, userSid(user).data());
}

// The system's accounts as the test has them.
std::string members, command;

int systemUserById(uid_t id, struct passwd *row, char *, size_t, struct passwd **found)
{
    static char name[] = "alice", none[] = "";
    *row = {name, none, id, 2001, none, none, none};
    *found = id == 1001 ? row : nullptr;
    return 0;
}

int systemGroup(const char *name, struct group *row, char *buffer, size_t size, struct group **found)
{
    *found = nullptr;
    if (strcmp(name, "crew") != 0 && strcmp(name, "a,b") != 0) return 0;
    char **const list = reinterpret_cast<char **>(buffer);
    char *const text = buffer + 2 * sizeof(char *);
    snprintf(text, size - 2 * sizeof(char *), "%s", members.c_str());
    list[0] = members.empty() ? nullptr : text;
    list[1] = nullptr;
    *row = {const_cast<char *>(name), nullptr, 2002, list};
    *found = row;
    return 0;
}

// Takes note of the command that would change the system's accounts.
template <bool Adds>
int noteCommand(pid_t *child, const char *path, const posix_spawn_file_actions_t *, const posix_spawnattr_t *,
                char *const *arguments, char *const *)
{
    command = path;
    for (char *const *argument = arguments; *argument != nullptr; ++argument) command += std::string(" ") + *argument;
    if (Adds) members = "alice";
    *child = 1;
    return 0;
}

void useSystemAccounts()
{
    unsetenv("SORREL_ACCOUNTS");
    members.clear();
    command.clear();
    Plat_Sys.Getpwuid = systemUserById;
    Plat_Sys.Getgrnam = systemGroup;
    Plat_Sys.PosixSpawn = noteCommand<true>;
    Plat_Sys.Waitid = [](idtype_t, id_t, siginfo_t *, int) {
        errno = ECHILD; // somebody else has reaped it
        return -1;
    };
}

} // namespace

TEST(NetUserGetInfo, TellsNameAndHome)
{
    makeAccounts("");
    u8 *answer = nullptr;
    ASSERT_EQ(NetUserGetInfo(nullptr, u"bob", 1, &answer), 0u);
    const USER_INFO_1 *const info = reinterpret_cast<USER_INFO_1 *>(answer);
    EXPECT_EQ(std::u16string(info->usri1_name), u"bob");
    EXPECT_EQ(std::u16string(info->usri1_home_dir), u"/home/b\u00f6"
                                                    u"b");
    EXPECT_EQ(NetApiBufferFree(answer), 0u);

    std::thread([&] { // each thread has its own answer
        u8 *other = nullptr;
        ASSERT_EQ(NetUserGetInfo(nullptr, u"alice", 1, &other), 0u);
        EXPECT_NE(other, answer);
    })
        .join();
    EXPECT_EQ(std::u16string(info->usri1_name), u"bob");
}

TEST(NetUserGetInfo, Fails)
{
    makeAccounts("");
    u8 *answer = nullptr;
    EXPECT_EQ(NetUserGetInfo(nullptr, u"none", 1, &answer), 2221u);
    EXPECT_EQ(NetUserGetInfo(nullptr, std::u16string(300, u'x').c_str(), 1, &answer), 2221u);
    EXPECT_EQ(NetUserGetInfo(u"server", u"bob", 1, &answer), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(NetUserGetInfo(nullptr, nullptr, 1, &answer), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(NetUserGetInfo(nullptr, u"bob", 2, &answer), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(answer, nullptr);

    const std::string longName(100, 'u'); // the name is cut, the home is not
    Scratch_WriteFile(Scratch_Root() + "/accounts/passwd", longName + ":x:1:1::/h:/x\n");
    ASSERT_EQ(NetUserGetInfo(nullptr, std::u16string(100, u'u').c_str(), 1, &answer), 0u);
    EXPECT_EQ(std::u16string(reinterpret_cast<USER_INFO_1 *>(answer)->usri1_name), std::u16string(63, u'u'));
}

TEST(NetUserGetInfo, NeedsMemoryForAThreadsFirstAnswer)
{
    makeAccounts("");
    u8 *answer = nullptr;
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(NetServerGetInfo(nullptr, 101, &answer), ERROR_NOT_ENOUGH_MEMORY);
    Plat_Sys.DomainController = "controller";
    EXPECT_EQ(NetGetDCName(nullptr, nullptr, &answer), ERROR_NOT_ENOUGH_MEMORY);
    static u32 blocks;
    blocks = 1;
    Plat_Sys.Malloc = [](size_t Size) { return blocks-- != 0 ? malloc(Size) : nullptr; }; // the look-up takes one
    EXPECT_EQ(NetUserGetInfo(nullptr, u"bob", 1, &answer), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(answer, nullptr);

    blocks = 2;
    EXPECT_EQ(NetUserGetInfo(nullptr, u"bob", 1, &answer), 0u);
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(NetServerGetInfo(nullptr, 101, &answer), 0u); // the room is there
    EXPECT_EQ(NetGetDCName(nullptr, nullptr, &answer), 0u);
}

TEST(NetGetDCName, KnowsNoDomain)
{
    u8 *answer = nullptr;
    EXPECT_EQ(NetGetDCName(nullptr, u"DOMAIN", &answer), 2453u);
    EXPECT_EQ(NetGetDCName(nullptr, nullptr, &answer), 2453u);
    EXPECT_EQ(answer, nullptr);
}

TEST(NetServerGetInfo, IsNoController)
{
    u8 *answer = nullptr;
    ASSERT_EQ(NetServerGetInfo(nullptr, 101, &answer), 0u);
    EXPECT_EQ(reinterpret_cast<SERVER_INFO_101 *>(answer)->sv101_type, 0u);
    EXPECT_EQ(NetServerGetInfo(nullptr, 100, &answer), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(NetServerGetInfo(u"x", 101, &answer), ERROR_INVALID_PARAMETER);
}

TEST(NetLocalGroupAddMember, WritesTheFileAnew)
{
    makeAccounts("# groups\nstaff:x:2001:bob\ncrew:x:2002:\ncrewmates:x:2004:");
    chmod((Scratch_Root() + "/accounts/group").c_str(), 0640);
    EXPECT_EQ(addMember(u"crew", 1001), 0u);
    EXPECT_EQ(groupFile(), "# groups\nstaff:x:2001:bob\ncrew:x:2002:alice\ncrewmates:x:2004:");
    EXPECT_EQ(addMember(u"crewmates", 1001), 0u); // the last line needs no end
    EXPECT_EQ(addMember(u"crewmates", 1002), 0u);
    EXPECT_EQ(groupFile(), "# groups\nstaff:x:2001:bob\ncrew:x:2002:alice\ncrewmates:x:2004:alice,bob");
    struct stat status;
    ASSERT_EQ(stat((Scratch_Root() + "/accounts/group").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST(NetLocalGroupAddMember, KnowsAMemberAlready)
{
    makeAccounts("staff:x:2001:bob\ncrew:x:2002:\n");
    EXPECT_EQ(addMember(u"staff", 1002), 1378u); // in the list
    EXPECT_EQ(addMember(u"crew", 1002), 1378u); // the user's own group
    EXPECT_EQ(NetGroupAddUser(nullptr, u"staff", u"bob"), 2236u);
    EXPECT_EQ(groupFile(), "staff:x:2001:bob\ncrew:x:2002:\n");
}

TEST(NetGroupAddUser, AddsByName)
{
    makeAccounts("crew:x:2002:\n");
    EXPECT_EQ(NetGroupAddUser(nullptr, u"crew", u"alice"), 0u);
    EXPECT_EQ(groupFile(), "crew:x:2002:alice\n");
    EXPECT_EQ(NetGroupAddUser(nullptr, u"crew", u"none"), 2221u);
    EXPECT_EQ(NetGroupAddUser(nullptr, u"none", u"alice"), 2220u);
    EXPECT_EQ(NetGroupAddUser(u"server", u"crew", u"alice"), ERROR_INVALID_PARAMETER);
}

TEST(NetLocalGroupAddMember, Fails)
{
    makeAccounts("crew:x:2002:\n");
    EXPECT_EQ(addMember(u"none", 1001), 2220u);
    EXPECT_EQ(addMember(u"crew", 9999), 1387u);
    const std::string world("\1\1\0\0\0\0\0\1\0\0\0\0", 12);
    EXPECT_EQ(NetLocalGroupAddMember(nullptr, u"crew", world.data()), 1387u);
    EXPECT_EQ(NetLocalGroupAddMember(u"server", u"crew", userSid(1001).data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(NetLocalGroupAddMember(nullptr, nullptr, userSid(1001).data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(NetLocalGroupAddMember(nullptr, u"crew", nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(groupFile(), "crew:x:2002:\n");
}

// Whatever call fails, the file is as it was and nothing is left beside it.
TEST(NetLocalGroupAddMember, LosesNothingWhenACallFails)
{
    makeAccounts("crew:x:2002:\nstaff:x:2003:\n");
    const Plat_SysTable working = Plat_Sys;
    struct {
        void (*Break)();
        u32 Error;
    } const rows[] = {
        {[] {
             Plat_Sys.Rename = [](const char *, const char *) {
                 errno = EACCES;
                 return -1;
             };
         },
         5},
        {[] {
             Plat_Sys.Fsync = [](int) {
                 errno = ENOSPC;
                 return -1;
             };
         },
         112},
        {[] {
             Plat_Sys.Write = [](int, const void *, size_t) -> ssize_t {
                 errno = ENOSPC;
                 return -1;
             };
         },
         112},
        {[] {
             Plat_Sys.Open = [](const char *, int, mode_t) {
                 errno = EACCES;
                 return -1;
             };
         },
         5},
        {[] {
             Plat_Sys.Flock = [](int, int) {
                 errno = ENOLCK;
                 return -1;
             };
         },
         31},
    };
    for (const auto &row : rows) {
        row.Break();
        EXPECT_EQ(addMember(u"crew", 1001), row.Error);
        Plat_Sys = working;
        EXPECT_EQ(groupFile(), "crew:x:2002:\nstaff:x:2003:\n");
        EXPECT_EQ(access((Scratch_Root() + "/accounts/group.new").c_str(), F_OK), -1);
    }
    EXPECT_EQ(addMember(u"crew", 1001), 0u);
}

TEST(NetLocalGroupAddMember, LosesNoneOfSeveralAtOnce)
{
    makeAccounts("crew:x:2002:\n");
    std::string users;
    for (int i = 0; i < 8; ++i) users += "user" + std::to_string(i) + ":x:" + std::to_string(3000 + i) + ":1::/:/x\n";
    Scratch_WriteFile(Scratch_Root() + "/accounts/passwd", users);
    std::vector<std::thread> threads;
    for (u32 i = 0; i < 8; ++i) threads.emplace_back([i] { EXPECT_EQ(addMember(u"crew", 3000 + i), 0u); });
    for (std::thread &thread : threads) thread.join();
    for (int i = 0; i < 8; ++i) EXPECT_NE(groupFile().find("user" + std::to_string(i)), std::string::npos);
}

TEST(NetLocalGroupAddMember, HasTheSystemDoItForRoot)
{
    useSystemAccounts();
    if (geteuid() != 0) GTEST_SKIP() << "only root may";
    EXPECT_EQ(addMember(u"crew", 1001), 0u);
    EXPECT_EQ(command, "/usr/sbin/usermod usermod -a -G crew -- alice");
    EXPECT_EQ(addMember(u"crew", 1001), 1378u);

    useSystemAccounts();
    Plat_Sys.PosixSpawn = noteCommand<false>; // it ran, and the user is no member
    EXPECT_EQ(addMember(u"crew", 1001), ERROR_GEN_FAILURE);

    useSystemAccounts();
    Plat_Sys.PosixSpawn = [](pid_t *, const char *, const posix_spawn_file_actions_t *, const posix_spawnattr_t *,
                             char *const *, char *const *) { return ENOENT; };
    EXPECT_EQ(addMember(u"crew", 1001), ERROR_FILE_NOT_FOUND);

    useSystemAccounts();
    EXPECT_EQ(addMember(u"a,b", 1001), ERROR_INVALID_PARAMETER); // would be two groups
    EXPECT_EQ(command, "");
}

TEST(NetLocalGroupAddMember, RefusesAnybodyElse)
{
    useSystemAccounts();
    EXPECT_EQ(Unprivileged_Run([] { return addMember(u"crew", 1001) == ERROR_ACCESS_DENIED && command.empty(); }), 1);
}
