// Accounts: identifiers of users and groups, membership, and adding a member. All accounts are the test's own.

#include "supos_sec_int.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "capture.h"
#include "no_memory.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "supos_env_int.h"
#include "unprivileged.h"
#include "vela_types.h"

namespace
{

std::string sidText(const SID *sid)
{
    const u8 *const bytes = reinterpret_cast<const u8 *>(sid);
    std::string text = "S-" + std::to_string(bytes[0]) + "-" + std::to_string(bytes[7]);
    for (u32 i = 0; i < bytes[1]; ++i) {
        u32 sub;
        memcpy(&sub, bytes + 8 + 4 * i, 4);
        text += "-" + std::to_string(sub);
    }
    return text;
}

// A root with these accounts.
std::string makeAccounts(const std::string &users, const std::string &groups)
{
    if (Scratch_Root().empty()) Scratch_MakeRoot();
    Scratch_WriteFile(Scratch_Root() + "/accounts/passwd", users);
    Scratch_WriteFile(Scratch_Root() + "/accounts/group", groups);
    return Scratch_Root();
}

std::string makeAccounts()
{
    return makeAccounts("alice:x:1001:2001::/home/alice:/x\nbob:x:1002:2002::/home/bob:/x\n",
                        "staff:x:2001:bob\ncrew:x:2002:\n");
}

const char *hostName = "node";
int hostNameCalls;

// The name of the look-up is found at its second try, as rooms begin empty: twice the domain, then the computer.
void nameDomainThenComputer()
{
    hostNameCalls = 0;
    Plat_Sys.Gethostname = [](char *out, size_t size) {
        strncpy(out, ++hostNameCalls % 3 == 0 ? "node" : "domain", size);
        return 0;
    };
}

void useHostName()
{
    Plat_Sys.Gethostname = [](char *out, size_t size) {
        strncpy(out, hostName, size);
        return 0;
    };
}

// Answers of the system's look-up one after another.
int answers[16];
int answerCount;

int answerInTurn(const char *, struct passwd *, char *, size_t, struct passwd **found)
{
    *found = nullptr;
    return answers[answerCount++];
}

// A clock an hour behind: every sleep is over at once.
int lateClock(clockid_t clock, timespec *out)
{
    const int result = clock_gettime(clock, out);
    out->tv_sec = out->tv_sec > 3600 ? out->tv_sec - 3600 : 0;
    return result;
}

} // namespace

TEST(SupOS_GetLocalSids, GivesTheWellKnownIdentities)
{
    SID *system = nullptr, *administrators = nullptr, *world = nullptr;
    EXPECT_EQ(SupOS_GetLocalSids(&system, &administrators, &world), 0u);
    EXPECT_EQ(sidText(system), "S-1-5-18");
    EXPECT_EQ(sidText(administrators), "S-1-5-32-544");
    EXPECT_EQ(sidText(world), "S-1-1-0");
    FreeSid(system);
    FreeSid(administrators);
    FreeSid(world);

    Ring_TraceOn();
    EXPECT_EQ(SupOS_GetLocalSids(nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetLocalSids"), 2u);
    EXPECT_EQ(SupOS_GetLocalSids(nullptr, &administrators, nullptr), 0u);
    EXPECT_EQ(sidText(administrators), "S-1-5-32-544");
    FreeSid(administrators);
}

TEST(SupOS_GetLocalSids, GivesAllOrNone)
{
    Ring_TraceOn();
    static int left;
    for (int failing = 1; failing <= 3; ++failing) {
        left = failing;
        Plat_Sys.Malloc = [](size_t size) { return --left == 0 ? nullptr : malloc(size); };
        SID *sids[3] = {};
        EXPECT_EQ(SupOS_GetLocalSids(&sids[0], &sids[1], &sids[2]), SupOS_RC_NOMEM);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_GetLocalSids"), 1u);
        for (const SID *const sid : sids) EXPECT_EQ(sid, nullptr);
    }
}

TEST(SupOS_GetUserSid, FindsAUser)
{
    makeAccounts();
    useHostName();
    SID *sid = nullptr;
    char domain[SUPOS_DOMAIN_SIZE];
    EXPECT_EQ(SupOS_GetUserSid("alice", &sid, domain), 0u);
    EXPECT_EQ(sidText(sid), "S-1-22-1-1001");
    EXPECT_STREQ(domain, "NODE");
    free(sid);
    EXPECT_EQ(SupOS_GetUserSid("bob", &sid, nullptr), 0u);
    EXPECT_EQ(sidText(sid), "S-1-22-1-1002");
    free(sid);
}

// A group is no user, and that is told by a message and not as an account that is missing.
TEST(SupOS_GetUserSid, LogsAGroup)
{
    Ring_TraceOn();
    makeAccounts();
    SID *sid = nullptr;
    const std::string told =
        Capture_Stderr([&] { EXPECT_EQ(SupOS_GetUserSid("staff", &sid, nullptr), SupOS_RC_SYSTEM); });
    EXPECT_NE(told.find("ERZ058985E/0500"), std::string::npos) << told;
    EXPECT_NE(told.find("staff"), std::string::npos) << told;
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetUserSid"), 2u);
    EXPECT_EQ(sid, nullptr);
}

TEST(SupOS_GetUserSid, TellsAMissingAccountFromAFailure)
{
    Ring_TraceOn();
    makeAccounts();
    SID *sid = nullptr;
    EXPECT_EQ(Capture_Stderr([&] { EXPECT_EQ(SupOS_GetUserSid("nobody", &sid, nullptr), SupOS_RC_SYSTEM); }), "");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetUserSid"), 6u);

    unsetenv("SORREL_ACCOUNTS");
    answerCount = 0;
    answers[0] = EIO;
    Plat_Sys.Getpwnam = answerInTurn;
    EXPECT_EQ(SupOS_GetUserSid("alice", &sid, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetUserSid"), 7u);
    EXPECT_EQ(sid, nullptr);
}

TEST(SupOS_GetUserSid, WaitsForABusyService)
{
    Ring_TraceOn();
    unsetenv("SORREL_ACCOUNTS");
    Plat_Sys.ClockGettime = lateClock;
    Plat_Sys.Getpwnam = answerInTurn;
    Plat_Sys.Getgrnam = [](const char *, struct group *, char *, size_t, struct group **found) {
        *found = nullptr;
        return 0;
    };
    SID *sid = nullptr;
    answerCount = 0;
    answers[0] = EAGAIN;
    answers[1] = EMFILE;
    answers[2] = ENOENT;
    EXPECT_EQ(SupOS_GetUserSid("alice", &sid, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(answerCount, 3);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetUserSid"), 6u);

    answerCount = 0;
    for (int &answer : answers) answer = EAGAIN;
    EXPECT_EQ(SupOS_GetUserSid("alice", &sid, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(answerCount, 10); // rounds
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetUserSid"), 5u);
}

TEST(SupOS_GetUserSid, WaitsASecondEachTime)
{
    makeAccounts();
    unsetenv("SORREL_ACCOUNTS");
    Plat_Sys.Getpwnam = answerInTurn;
    answerCount = 0;
    answers[0] = EAGAIN;
    answers[1] = EIO;
    timespec before, after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    SID *sid = nullptr;
    EXPECT_EQ(SupOS_GetUserSid("alice", &sid, nullptr), SupOS_RC_SYSTEM);
    clock_gettime(CLOCK_MONOTONIC, &after);
    const double seconds =
        static_cast<double>(after.tv_sec - before.tv_sec) + static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9;
    EXPECT_GE(seconds, 1.0);
    EXPECT_LT(seconds, 5.0);
}

// A domain that grows at every look ends after ten rounds.
TEST(SupOS_GetUserSid, EndsARoomThatNeverFits)
{
    Ring_TraceOn();
    makeAccounts();
    hostNameCalls = 0;
    Plat_Sys.Gethostname = [](char *out, size_t) {
        strcpy(out, std::string(static_cast<size_t>(++hostNameCalls), 'x').c_str());
        return 0;
    };
    SID *sid = nullptr;
    EXPECT_EQ(SupOS_GetUserSid("alice", &sid, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(hostNameCalls, 10);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetUserSid"), 5u);
}

// The look-up gets the one block that is left, and gives it back to the system and not to the heap.
TEST(SupOS_GetUserSid, FailsWithoutMemory)
{
    NO_MEMORY_SKIP();
    Scratch_MakeRoot();
    unsetenv("SORREL_ACCOUNTS");
    static void *reserve;
    reserve = malloc(4 << 20);
    Plat_Sys.Malloc = [](size_t) { return reserve; };
    Plat_Sys.Getpwnam = [](const char *, struct passwd *row, char *, size_t, struct passwd **found) {
        static char name[] = "alice", none[] = "";
        *row = {name, none, 1001, 2001, none, none, none};
        *found = row;
        return 0;
    };
    EXPECT_EQ(NoMemory_Run([] {
                  SID *sid = nullptr;
                  return SupOS_GetUserSid("alice", &sid, nullptr) == SupOS_RC_NOMEM && sid == nullptr;
              }),
              1);
}

TEST(SupOS_GetGroupSid, FindsALocalGroup)
{
    Ring_TraceOn();
    makeAccounts();
    useHostName();
    SID *sid = nullptr;
    u32 use = 0;
    char server[SUPOS_SERVER_SIZE], domain[SUPOS_DOMAIN_SIZE];
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, &use, server, domain), 0u);
    EXPECT_EQ(sidText(sid), "S-1-22-2-2002");
    EXPECT_EQ(use, 4u);
    EXPECT_STREQ(server, "NODE");
    EXPECT_STREQ(domain, "NODE");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetGroupSid"), 1u);
    free(sid);
    EXPECT_EQ(SupOS_GetGroupSid("staff", &sid, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(sidText(sid), "S-1-22-2-2001");
    free(sid);
}

TEST(SupOS_GetGroupSid, RefusesAUser)
{
    Ring_TraceOn();
    makeAccounts();
    SID *sid = nullptr;
    EXPECT_EQ(SupOS_GetGroupSid("alice", &sid, nullptr, nullptr, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetGroupSid"), 11u);
    EXPECT_EQ(sid, nullptr);
    EXPECT_EQ(SupOS_GetGroupSid("none", &sid, nullptr, nullptr, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetGroupSid"), 6u);
}

TEST(SupOS_GetGroupSid, AcceptsAGlobalGroup)
{
    makeAccounts();
    Plat_Sys.GroupUse = 2;
    SID *sid = nullptr;
    u32 use = 0;
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, &use, nullptr, nullptr), 0u);
    EXPECT_EQ(use, 2u);
    free(sid);
    Plat_Sys.GroupUse = 5; // any other kind
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, &use, nullptr, nullptr), SupOS_RC_SYSTEM);
}

TEST(SupOS_GetGroupSid, NeedsTheControllerOfAnotherDomain)
{
    Ring_TraceOn();
    makeAccounts();
    nameDomainThenComputer();
    SID *sid = nullptr;
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, nullptr, nullptr, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetGroupSid"), 9u);

    char server[SUPOS_SERVER_SIZE], domain[SUPOS_DOMAIN_SIZE];
    Plat_Sys.DomainController = "\\\\PRIMARY";
    Plat_Sys.GroupUse = 2;
    nameDomainThenComputer();
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, nullptr, server, domain), 0u);
    EXPECT_STREQ(server, "PRIMARY");
    EXPECT_STREQ(domain, "DOMAIN");
    free(sid);
}

TEST(SupOS_GetGroupSid, RefusesALocalGroupOfAnotherServer)
{
    Ring_TraceOn();
    makeAccounts();
    Plat_Sys.DomainController = "\\\\PRIMARY";
    nameDomainThenComputer();
    SID *sid = nullptr;
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, nullptr, nullptr, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetGroupSid"), 10u);
    EXPECT_EQ(sid, nullptr);

    Plat_Sys.ServerType = 0x10; // a backup controller of just that server
    nameDomainThenComputer();
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, nullptr, nullptr, nullptr), 0u);
    free(sid);

    Plat_Sys.DomainController = "\\\\NODE"; // the group lies on this machine after all
    Plat_Sys.ServerType = 0;
    nameDomainThenComputer();
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, nullptr, nullptr, nullptr), 0u);
    free(sid);
}

TEST(SupOS_GetGroupSid, NeedsTheNameOfThisComputer)
{
    Ring_TraceOn();
    makeAccounts();
    hostNameCalls = 0;
    Plat_Sys.Gethostname = [](char *out, size_t size) {
        if (++hostNameCalls == 3) {
            errno = EPERM;
            return -1;
        }
        strncpy(out, "node", size);
        return 0;
    };
    SID *sid = nullptr;
    EXPECT_EQ(SupOS_GetGroupSid("crew", &sid, nullptr, nullptr, nullptr), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetGroupSid"), 8u);
}

namespace
{

int heldGroups(int room, gid_t *out)
{
    const gid_t held[] = {2001, 0};
    if (room >= 2) memcpy(out, held, sizeof held);
    return 2;
}

int oneGroup(int room, gid_t *out)
{
    if (room >= 1) out[0] = 2001;
    return 1;
}

void useGroup(const char *name)
{
    SupOS_SetVelaNames("alice", name);
}

} // namespace

TEST(SupOS_AmIMember, AsksForTheGroupAndTheAdministrators)
{
    makeAccounts();
    useGroup("staff");
    Plat_Sys.Getgroups = heldGroups; // the group 0 makes administrators
    EXPECT_EQ(SupOS_AmIMember(1), 1);
    EXPECT_EQ(SupOS_AmIMember(0), 1);
}

TEST(SupOS_AmIMember, TakesTheGroupOfTheRegistry)
{
    makeAccounts();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "GroupId", "staff");
    Plat_Sys.Getgroups = heldGroups;
    EXPECT_EQ(SupOS_AmIMember(1), 1);
}

TEST(SupOS_AmIMember, IsNoMemberOfAnotherGroup)
{
    makeAccounts();
    useGroup("crew");
    Plat_Sys.Getgroups = heldGroups;
    EXPECT_EQ(SupOS_AmIMember(1), 0);
    EXPECT_EQ(SupOS_AmIMember(0), 0);
}

TEST(SupOS_AmIMember, IsNoAdministratorWithTheGroupAlone)
{
    makeAccounts();
    useGroup("staff");
    Plat_Sys.Getgroups = oneGroup;
    EXPECT_EQ(Unprivileged_Run([] { return SupOS_AmIMember(1) == 1 && SupOS_AmIMember(0) == 0; }), 1);
}

TEST(SupOS_AmIMember, SaysNoAfterAnyFailure)
{
    Ring_TraceOn();
    makeAccounts();
    useGroup("staff");
    Plat_Sys.Getgroups = heldGroups;
    EXPECT_EQ(SupOS_AmIMember(0), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AmIMember"), 3u);

    Plat_Sys.Getgroups = [](int, gid_t *) {
        errno = EINVAL;
        return -1;
    };
    EXPECT_EQ(Capture_Stderr([] { EXPECT_EQ(SupOS_AmIMember(1), 0); }), "");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AmIMember"), 1u);

    Plat_Sys.Getgroups = heldGroups;
    static int left;
    left = 1; // the token
    Plat_Sys.Malloc = [](size_t size) { return --left == 0 ? nullptr : malloc(size); };
    EXPECT_EQ(SupOS_AmIMember(0), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AmIMember"), 1u);
    left = 4; // the token, its groups twice, then the administrators
    EXPECT_EQ(SupOS_AmIMember(0), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AmIMember"), 2u);
    Plat_Sys.Malloc = malloc;

    makeAccounts("", "");
    EXPECT_EQ(SupOS_AmIMember(1), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AmIMember"), 3u);
}

TEST(SupOS_AddUserToGroup, AddsAUser)
{
    Ring_TraceOn();
    const std::string root = makeAccounts();
    EXPECT_EQ(SupOS_AddUserToGroup("alice", "crew"), 0u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AddUserToGroup"), 6u);
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "staff:x:2001:bob\ncrew:x:2002:alice\n");
}

TEST(SupOS_AddUserToGroup, IsDoneForAMember)
{
    const std::string root = makeAccounts();
    EXPECT_EQ(SupOS_AddUserToGroup("bob", "staff"), 0u); // in the list
    EXPECT_EQ(SupOS_AddUserToGroup("bob", "crew"), 0u); // the user's own group
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "staff:x:2001:bob\ncrew:x:2002:\n");
    Plat_Sys.GroupUse = 2;
    EXPECT_EQ(SupOS_AddUserToGroup("bob", "staff"), 0u);
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "staff:x:2001:bob\ncrew:x:2002:\n");
}

TEST(SupOS_AddUserToGroup, AddsToAGlobalGroup)
{
    const std::string root = makeAccounts();
    Plat_Sys.GroupUse = 2;
    EXPECT_EQ(SupOS_AddUserToGroup("alice", "crew"), 0u);
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "staff:x:2001:bob\ncrew:x:2002:alice\n");
}

TEST(SupOS_AddUserToGroup, LogsTwoDomainsOfAGlobalGroup)
{
    Ring_TraceOn();
    const std::string root = makeAccounts();
    Plat_Sys.GroupUse = 2;
    Plat_Sys.DomainController = "\\\\PRIMARY";
    hostNameCalls = 0;
    Plat_Sys.Gethostname = [](char *out, size_t size) { // the user's domain, then the group's, then this computer
        const int call = ++hostNameCalls;
        strncpy(out, call <= 2 ? "node" : call <= 4 ? "domain" : "node", size);
        return 0;
    };
    const std::string told = Capture_Stderr([] { EXPECT_EQ(SupOS_AddUserToGroup("alice", "crew"), SupOS_RC_SYSTEM); });
    EXPECT_NE(told.find("ERZ058948E/0325"), std::string::npos) << told;
    EXPECT_NE(told.find("alice"), std::string::npos) << told;
    EXPECT_NE(told.find("crew"), std::string::npos) << told;
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AddUserToGroup"), 4u);
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "staff:x:2001:bob\ncrew:x:2002:\n");
}

TEST(SupOS_AddUserToGroup, Fails)
{
    Ring_TraceOn();
    const std::string root = makeAccounts();
    EXPECT_EQ(SupOS_AddUserToGroup("none", "crew"), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AddUserToGroup"), 1u);
    EXPECT_EQ(SupOS_AddUserToGroup("alice", "none"), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AddUserToGroup"), 2u);

    useHostName();
    hostNameCalls = 0;
    Plat_Sys.Gethostname = [](char *out, size_t size) {
        if (++hostNameCalls == 6) { // two look-ups of two rounds, the group's judgement, and then
            errno = EPERM;
            return -1;
        }
        strncpy(out, "node", size);
        return 0;
    };
    EXPECT_EQ(SupOS_AddUserToGroup("alice", "crew"), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AddUserToGroup"), 3u);

    Plat_Sys.Rename = [](const char *, const char *) {
        errno = EACCES;
        return -1;
    };
    EXPECT_EQ(SupOS_AddUserToGroup("alice", "crew"), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AddUserToGroup"), 5u);
    EXPECT_EQ(Scratch_ReadFile(root + "/accounts/group"), "staff:x:2001:bob\ncrew:x:2002:\n");
}

// Names are handed on as at most 100 wide characters.
TEST(SupOS_AddUserToGroup, RefusesALongName)
{
    Ring_TraceOn();
    const std::string longest(99, 'g'), tooLong(100, 'h');
    makeAccounts("alice:x:1001:2001::/:/x\n", longest + ":x:5:\n" + tooLong + ":x:6:\n");
    EXPECT_EQ(SupOS_AddUserToGroup("alice", longest.c_str()), 0u);
    EXPECT_EQ(SupOS_AddUserToGroup("alice", tooLong.c_str()), SupOS_RC_SYSTEM);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_AddUserToGroup"), 5u);
}
