// Finding servers by annotation, listing regions, names of exceptions.

#include "suppr_endpoints.h"

#include <gtest/gtest.h>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "comrl_stubs.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "rpc_binding.h"
#include "rpc_mapper.h"
#include "rpc_mgmt.h"
#include "rpc_room.h"
#include "rpc_server.h"
#include "scratch_root.h"
#include "suppr_bindings.h"
#include "suppr_exceptions.h"
#include "tks_memory.h"
#include "ts_scheduler.h"

constexpr rpc_if_id_t listener = {{0x00939856, 0xb996, 0x1cb2, 0xa1, 0xd2, {0x10, 0, 0x5a, 0x4f, 0xa4, 0x41}}, 1, 0};

static std::string localName()
{
    char name[257] = {};
    gethostname(name, 256);
    return name;
}

// ---- host list

static std::vector<std::string> hostList(const char *hosts)
{
    std::vector<std::string> names;
    SupPR_HostList *list = SupPR_GetHostList(hosts);
    for (u32 at = 0; list && at < list->Count; ++at) names.emplace_back(list->Names[at]);
    tks_trace_Free(list);
    return names;
}

TEST(GetHostList, IsTheLocalHostAloneWithoutAList)
{
    unsetenv("VELA_HOSTS");
    EXPECT_EQ(hostList(nullptr), std::vector<std::string>{localName()});
    EXPECT_EQ(hostList(""), std::vector<std::string>{localName()});
    EXPECT_EQ(hostList("   "), std::vector<std::string>{localName()});
}

TEST(GetHostList, KeepsTheOrderAndLeavesTheLocalNameOut)
{
    const std::string local = localName();
    EXPECT_EQ(hostList(("beta " + local + "  alpha " + local).c_str()),
              (std::vector<std::string>{local, "beta", "alpha"}));
    setenv("VELA_HOSTS", "one two", 1);
    EXPECT_EQ(hostList(nullptr), (std::vector<std::string>{local, "one", "two"}));
    EXPECT_EQ(hostList("three"), (std::vector<std::string>{local, "three"})) << "an argument goes before the variable";
}

TEST(GetHostList, WithoutStorage)
{
    const std::string local = localName();
    tks_TestFailMalloc(1); // the text
    EXPECT_EQ(SupPR_GetHostList("a b"), nullptr);
    tks_TestFailMalloc(2); // the copy of the list
    EXPECT_EQ(hostList("a b"), std::vector<std::string>{local});
    tks_TestFailMalloc(3); // the block
    EXPECT_EQ(SupPR_GetHostList("a b"), nullptr);
    tks_TestFailMalloc(0);
}

// ---- servers in a map

struct Listener {
    rpc_server *Server;
    Listener(const char *annotation, bool tcp, bool local, const uuid_t *object = nullptr, const char *name = "srv")
    {
        u32 status;
        Server = rpc_server_create(nullptr, &status);
        const rpc_server_interface service = {listener, 0, nullptr, nullptr, nullptr};
        rpc_server_register_if(Server, &service, &status);
        if (tcp) rpc_server_use_tcp(Server, nullptr, 0, nullptr, &status);
        if (local) rpc_server_use_local(Server, name, &status);
        rpc_server_start(Server, &status);
        rpc_server_register_ep(Server, &listener, object, annotation, &status);
        EXPECT_EQ(status, rpc_s_ok);
    }
    ~Listener() { rpc_server_destroy(Server); }
};

struct Told {
    std::vector<i32> States;
    std::vector<u32> Statuses;
    std::string Host;
};

static void tell(void *argument, const char *host, i32 state, u32 status)
{
    Told *told = static_cast<Told *>(argument);
    told->States.push_back(state);
    told->Statuses.push_back(status);
    told->Host = host;
}

static u32 list(u16 *count, SupPR_RegionEntry *entries, i32 all, Told *told, rpc_if_handle_t spec = ComRL_v1_0_c_ifspec)
{
    return SupPR_ListRegionNames("not used", spec, count, entries, all, told ? tell : nullptr, told);
}

static u32 findServer(const char *hosts, const char *annotation, std::string *text, const uuid_t *object = nullptr)
{
    char buffer[512] = "untouched";
    const u32 code = SupPR_BindingStringFromAnnotation(hosts, ComRL_v1_0_c_ifspec, object, annotation, buffer);
    *text = buffer;
    return code;
}

TEST(ResultCodes, HaveTheirValues)
{
    EXPECT_EQ(SUPPR_ERR_NOT_FOUND, 0x1C20000Au);
    EXPECT_EQ(SUPPR_ERR_NO_ANNOTATION, 0x1C200011u);
    EXPECT_EQ(SUPPR_ERR_NO_HOST_LIST, 0x1C200012u);
    EXPECT_EQ(rpc_c_ep_match_by_if, 1u);
    EXPECT_EQ(rpc_c_ep_match_by_both, 3u);
    EXPECT_EQ(rpc_c_vers_compatible, 2u);
    EXPECT_EQ(rpc_c_binding_default_timeout, 5u);
    EXPECT_EQ(rpc_s_no_more_elements, 0x0DCE60A7u);
}

TEST(BindingFromAnnotation, NeedsAnAnnotation)
{
    std::string text;
    EXPECT_EQ(findServer(nullptr, nullptr, &text), SUPPR_ERR_NO_ANNOTATION);
    EXPECT_EQ(findServer(nullptr, "", &text), SUPPR_ERR_NO_ANNOTATION);
    EXPECT_EQ(text, "untouched");
    rpc_binding_handle_t binding = reinterpret_cast<rpc_binding_handle_t>(1);
    SupPR_BindingFromAnnotation(nullptr, nullptr, nullptr, "", &binding, nullptr, 0, nullptr);
    EXPECT_EQ(binding, reinterpret_cast<rpc_binding_handle_t>(1));
}

TEST(BindingFromAnnotation, WithoutAHostList)
{
    rpc_binding_handle_t binding;
    tks_TestFailMalloc(1);
    EXPECT_EQ(SupPR_BindingFromAnnotation(nullptr, nullptr, nullptr, "X", &binding, nullptr, 0, nullptr),
              SUPPR_ERR_NO_HOST_LIST);
    EXPECT_EQ(binding, nullptr);
}

TEST(BindingFromAnnotation, WithoutAMapperFindsNothing)
{
    Rpc_Room room(false);
    std::string text;
    EXPECT_EQ(findServer(nullptr, "ABC", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer("127.0.0.1", "ABC", &text), SUPPR_ERR_NOT_FOUND);
}

TEST(BindingFromAnnotation, MatchesTheRegionOrTheWholePath)
{
    Rpc_Room room;
    Listener server("/.:/vela/ABC/ts the region of tests", true, true);
    std::string text;
    EXPECT_EQ(findServer(nullptr, "ABC", &text), ERZ_OK);
    EXPECT_EQ(text, std::string("ncacn_vela_ipc:[") + room.Directory + "/srv]");
    EXPECT_EQ(findServer(nullptr, "/.:/vela/ABC/ts", &text), ERZ_OK);
    EXPECT_EQ(findServer(nullptr, "/.:/vela/ABC", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer(nullptr, "abc", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer(nullptr, "ts", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer(nullptr, "ABC/ts", &text), SUPPR_ERR_NOT_FOUND);
}

TEST(BindingFromAnnotation, APathWithFewSlashesIsTheRegionItself)
{
    Rpc_Room room;
    Listener none("PLAIN words", false, true, nullptr, "a");
    Listener one("LEFT/leaf", false, true, nullptr, "b");
    Listener two("vela/MID/ts", false, true, nullptr, "c");
    std::string text;
    EXPECT_EQ(findServer(nullptr, "PLAIN", &text), ERZ_OK);
    EXPECT_EQ(findServer(nullptr, "LEFT", &text), ERZ_OK);
    EXPECT_EQ(findServer(nullptr, "leaf", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer(nullptr, "MID", &text), ERZ_OK);
}

TEST(BindingFromAnnotation, AWholePathIsComparedUpToTheFirstBlank)
{
    Rpc_Room room;
    Listener server("/.:/vela/ABC words behind it", false, true, nullptr, "a");
    Listener region("vela/ABD/ts", false, true, nullptr, "b");
    std::string text;
    EXPECT_EQ(findServer(nullptr, "/.:/vela/ABC", &text), ERZ_OK);
    EXPECT_EQ(findServer(nullptr, "/.:/vela/ABC words", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer(nullptr, "/.:/vela/AB", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer(nullptr, "vela", &text), ERZ_OK) << "the last component but one";
    EXPECT_EQ(findServer(nullptr, "ABC", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_EQ(findServer(nullptr, "ABD", &text), ERZ_OK);
    EXPECT_EQ(findServer(nullptr, "vela/ABD/ts", &text), SUPPR_ERR_NOT_FOUND) << "without a slash in front no path";
}

TEST(BindingFromAnnotation, HostsAreAskedInTheirOrderAndADeadOneIsPassedOver)
{
    Rpc_Room room;
    Listener server("vela/FAR/ts", true, false);
    static std::vector<std::string> asked;
    Plat_Sys.Getaddrinfo = [](const char *host, const char *service, const struct addrinfo *hints,
                              struct addrinfo **found) {
        asked.emplace_back(host);
        return strncmp(host, "dead", 4) == 0 ? EAI_NONAME : getaddrinfo("127.0.0.1", service, hints, found);
    };
    std::string text;
    EXPECT_EQ(findServer("deadone alpha beta", "FAR", &text), ERZ_OK);
    ASSERT_GE(asked.size(), 2u);
    EXPECT_EQ(asked[0], "deadone");
    EXPECT_EQ(asked[1], "alpha");
    for (const std::string &host : asked) EXPECT_NE(host, "beta") << "the search has ended by then";

    asked.clear();
    unsetenv("VELA_HOSTS");
    EXPECT_EQ(findServer(nullptr, "FAR", &text), SUPPR_ERR_NOT_FOUND);
    EXPECT_TRUE(asked.empty()) << "this host alone, through its own socket";
    setenv("VELA_HOSTS", ("gamma " + localName()).c_str(), 1);
    EXPECT_EQ(findServer(nullptr, "FAR", &text), ERZ_OK);
    ASSERT_FALSE(asked.empty());
    EXPECT_EQ(asked[0], "gamma");
    for (const std::string &host : asked) EXPECT_NE(host, localName());
}

// The walk gives up on a host that takes the connection and says nothing: three seconds by its time-out of 2.
TEST(BindingFromAnnotation, ASilentHostCostsThreeSeconds)
{
    Rpc_Room room(false);
    const int silent = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    struct sockaddr *const generic = reinterpret_cast<struct sockaddr *>(&address);
    ASSERT_EQ(bind(silent, generic, size), 0);
    ASSERT_EQ(listen(silent, 8), 0);
    ASSERT_EQ(getsockname(silent, generic, &size), 0);
    setenv("QRT_EPMAP_PORT", std::to_string(ntohs(address.sin_port)).c_str(), 1);
    u16 count = 0;
    Told told;
    const auto before = std::chrono::steady_clock::now();
    list(&count, nullptr, 1, &told);
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
    EXPECT_GE(took, 2.9);
    EXPECT_LE(took, 5.0);
    EXPECT_EQ(told.States, (std::vector<i32>{SUPPR_WALK_STARTS, SUPPR_WALK_BROKEN}));
    EXPECT_EQ(told.Statuses[1], rpc_s_connect_timed_out);
    close(silent);
}

TEST(BindingFromAnnotation, TheTestsTimeOutIsTheCallersAndThenTheDefault)
{
    Rpc_Room room;
    Listener server("vela/TIM/ts", false, true);
    rpc_binding_handle_t binding;
    u32 status, timeout = 3;
    ASSERT_EQ(SupPR_BindingFromAnnotation(nullptr, ComRL_v1_0_c_ifspec, nullptr, "TIM", &binding, nullptr, 1, &timeout),
              ERZ_OK);
    rpc_mgmt_inq_com_timeout(binding, &timeout, &status);
    EXPECT_EQ(timeout, 5u) << "the first match is not tested and so not touched";
    rpc_binding_free(&binding, &status);
    timeout = 11; // no such time-out: the call that sets it fails, and that is not looked at
    ASSERT_EQ(SupPR_BindingFromAnnotation(nullptr, ComRL_v1_0_c_ifspec, nullptr, "TIM", &binding, nullptr, 0, &timeout),
              ERZ_OK);
    rpc_binding_free(&binding, &status);
}

TEST(BindingFromAnnotation, TheTimeOutBoundsTheTestOfAServer)
{
    Rpc_Room room;
    const std::string path = std::string(room.Directory) + "/mute";
    const int mute = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, path.c_str());
    {
        Listener real("vela/MUT/ts", false, true, nullptr, "mute");
        unlink(path.c_str()); // the entry stays, and behind it stands a socket that says nothing
        ASSERT_EQ(bind(mute, reinterpret_cast<struct sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(mute, 8), 0);
        rpc_binding_handle_t binding;
        const u32 timeout = 0;
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(
            SupPR_BindingFromAnnotation(nullptr, ComRL_v1_0_c_ifspec, nullptr, "MUT", &binding, nullptr, 0, &timeout),
            SUPPR_ERR_NOT_FOUND);
        const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
        EXPECT_GE(took, 0.9);
        EXPECT_LE(took, 3.0) << "one second, not the twenty of the default";
        EXPECT_EQ(binding, nullptr);
    }
    close(mute);
    unlink(path.c_str());
}

TEST(BindingFromAnnotation, TheLocalHostCountsOnlyOverItsLocalProtocol)
{
    Rpc_Room room;
    Listener server("vela/NET/ts", true, false);
    std::string text;
    EXPECT_EQ(findServer(nullptr, "NET", &text), SUPPR_ERR_NOT_FOUND) << "a network server of this host";
    EXPECT_EQ(findServer("127.0.0.1", "NET", &text), ERZ_OK) << "the same one as another host's";
    EXPECT_EQ(text.rfind("ncacn_ip_tcp:127.0.0.1[", 0), 0u);
}

TEST(BindingFromAnnotation, OtherHostsCountOnlyOverTheNetwork)
{
    Rpc_Room room;
    Listener server("vela/LOC/ts", false, true);
    std::string text;
    rpc_mapper *const mapper = room.Mapper;
    EXPECT_EQ(findServer("127.0.0.1", "LOC", &text), ERZ_OK); // found at home
    EXPECT_EQ(text.rfind("ncacn_vela_ipc:", 0), 0u);
    EXPECT_EQ(rpc_mapper_entry_count(mapper), 1u);
    setenv("SORREL_RUNDIR", "/dev/null/none", 1); // this host has no mapper socket, and its loopback one is asked
    EXPECT_EQ(findServer(nullptr, "LOC", &text), ERZ_OK);
    setenv("SORREL_RUNDIR", room.Directory, 1);
}

TEST(BindingFromAnnotation, AServerThatDoesNotListenIsPassedOver)
{
    Rpc_Room room;
    std::string text;
    Listener dead("vela/DUE/ts", false, true, nullptr, "dead");
    Listener live("vela/DUE/ts", false, true, nullptr, "live");
    unlink((std::string(room.Directory) + "/dead").c_str());
    EXPECT_EQ(findServer(nullptr, "DUE", &text), ERZ_OK);
    EXPECT_EQ(text, std::string("ncacn_vela_ipc:[") + room.Directory + "/live]");

    rpc_binding_handle_t binding;
    u32 status;
    EXPECT_EQ(SupPR_BindingFromAnnotation(nullptr, ComRL_v1_0_c_ifspec, nullptr, "DUE", &binding, nullptr, 1, nullptr),
              ERZ_OK);
    unsigned_char_p_t first;
    rpc_binding_to_string_binding(binding, &first, &status);
    EXPECT_EQ(reinterpret_cast<char *>(first), std::string("ncacn_vela_ipc:[") + room.Directory + "/dead]")
        << "the first match, untested";
    rpc_string_free(&first, &status);
    rpc_binding_free(&binding, &status);
}

TEST(BindingFromAnnotation, AsksForAnObjectAndTellsIt)
{
    Rpc_Room room;
    uuid_t wanted, other, found = {};
    u32 status;
    uuid_create(&wanted, &status);
    uuid_create(&other, &status);
    Listener first("vela/OBJ/ts", false, true, &other, "a");
    Listener second("vela/OBJ/ts", false, true, &wanted, "b");
    rpc_binding_handle_t binding;
    const u32 timeout = 1;
    ASSERT_EQ(SupPR_BindingFromAnnotation(nullptr, ComRL_v1_0_c_ifspec, &wanted, "OBJ", &binding, &found, 0, &timeout),
              ERZ_OK);
    EXPECT_TRUE(uuid_equal(&found, &wanted, &status));
    u32 restored;
    rpc_mgmt_inq_com_timeout(binding, &restored, &status);
    EXPECT_EQ(restored, 5u);
    rpc_binding_free(&binding, &status);
}

TEST(BindingFromAnnotation, LeavesThroughItsExitPoints)
{
    Scratch_MakeRoot();
    Rpc_Room room;
    Ring_TraceOn("SUPPR=5");
    std::string text;
    findServer(nullptr, nullptr, &text);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_BindingFromAnnotation"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_BindingStringFromAnnotation"), 1u);
    tks_TestFailMalloc(1);
    findServer(nullptr, "X", &text);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_BindingFromAnnotation"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_GetHostList"), 1u);
    findServer(nullptr, "X", &text);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_BindingFromAnnotation"), 3u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_GetHostList"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_BeginEndpointEnumeration"), 2u);
    rpc_ep_inq_handle_t walk;
    SupPR_BeginEndpointEnumeration("bad host", nullptr, nullptr, 1, 2, &walk);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_BeginEndpointEnumeration"), 1u);
    EXPECT_EQ(walk, nullptr) << "never a walk over the local map instead";
    u16 count = 0;
    SupPR_ListRegionNames(nullptr, nullptr, &count, nullptr, 1, nullptr, nullptr);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_ListRegionNames"), 1u);
    SupPR_ExceptionToString(&rpc_x_no_memory);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_ExceptionToString"), 1u);
}

// ---- regions

TEST(ListRegionNames, ListsEachRegionOnceWithItsDescription)
{
    Rpc_Room room;
    Listener one("/.:/vela/ONE/ts the first region", true, true, nullptr, "a");
    Listener two("/.:/vela/TWO/ts", false, true, nullptr, "b");
    SupPR_RegionEntry entries[4];
    memset(entries, 0xEE, sizeof entries);
    u16 count = 4;
    Told told;
    EXPECT_EQ(list(&count, entries, 1, &told), 0u);
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(entries[0].Name, "ONE");
    EXPECT_STREQ(entries[0].Description, "the first region");
    EXPECT_STREQ(entries[1].Name, "TWO");
    EXPECT_STREQ(entries[1].Description, "");
    EXPECT_EQ(static_cast<u8>(entries[2].Name[0]), 0xEE);
    EXPECT_EQ(told.States, (std::vector<i32>{0, 2}));
    EXPECT_EQ(told.Statuses, (std::vector<u32>{0, 0}));
    EXPECT_EQ(told.Host, localName());
    count = 4;
    EXPECT_EQ(list(&count, entries, 1, nullptr, nullptr), 0u);
    EXPECT_EQ(count, 2) << "any interface";
}

TEST(ListRegionNames, StopsWhenFullUnlessAllAreWanted)
{
    Rpc_Room room;
    std::vector<std::unique_ptr<Listener>> servers;
    for (int at = 0; at < 5; ++at) {
        const std::string name = "R" + std::to_string(at);
        servers.push_back(
            std::make_unique<Listener>(("vela/" + name + "/ts").c_str(), false, true, nullptr, name.c_str()));
    }
    SupPR_RegionEntry entries[3];
    u16 count = 3;
    Told told;
    list(&count, entries, 0, &told);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(told.States, (std::vector<i32>{0, 1})) << "it was stopped";
    EXPECT_EQ(told.Statuses[1], 0u);
    count = 3;
    list(&count, entries, 1, nullptr);
    EXPECT_EQ(count, 5) << "more than there is room for";
    count = 0;
    list(&count, nullptr, 0, nullptr);
    EXPECT_EQ(count, 5) << "a room of 0 never stops the walk";
}

TEST(ListRegionNames, FieldsMayBeFullWithoutATerminator)
{
    Rpc_Room room;
    const std::string text = "vela/LONGNAMED/t " + std::string(46, 'd');
    Listener server(text.c_str(), false, true);
    SupPR_RegionEntry entry;
    u16 count = 1;
    list(&count, &entry, 1, nullptr);
    EXPECT_EQ(std::string(entry.Name, 9), "LONGNAMED");
    EXPECT_EQ(std::string(entry.Description), std::string(46, 'd'));
    static_assert(sizeof(SupPR_RegionEntry) == 70);
}

TEST(ListRegionNames, ADescriptionOf61CharactersHasNoTerminator)
{
    Rpc_Room room;
    const std::string words(61, 'w');
    Listener server(("R " + words).c_str(), false, true);
    struct {
        SupPR_RegionEntry Entry;
        char Behind;
    } out = {{}, 'x'};
    u16 count = 1;
    list(&count, &out.Entry, 1, nullptr);
    EXPECT_STREQ(out.Entry.Name, "R");
    EXPECT_EQ(std::string(out.Entry.Description, 61), words);
    EXPECT_EQ(out.Behind, 'x');
    static_assert(offsetof(SupPR_RegionEntry, Name) == 0 && offsetof(SupPR_RegionEntry, Description) == 9);
}

TEST(ListRegionNames, ShortTextsFillTheirFieldsWithZeros)
{
    Rpc_Room room;
    Listener server("vela/AB/ts xyz", false, true);
    SupPR_RegionEntry entry;
    memset(&entry, 0xEE, sizeof entry);
    u16 count = 1;
    list(&count, &entry, 1, nullptr);
    EXPECT_EQ(memcmp(entry.Name, "AB\0\0\0\0\0\0", 9), 0);
    EXPECT_EQ(std::string(entry.Description, 61), "xyz" + std::string(58, '\0'));
}

TEST(ListRegionNames, ARegionBeyondTheRoomCountsEachTime)
{
    Rpc_Room room;
    Listener one("vela/ONE/ts", true, true, nullptr, "a"); // two entries each
    Listener two("vela/TWO/ts", true, true, nullptr, "b");
    SupPR_RegionEntry entries[2] = {};
    u16 count = 1;
    list(&count, entries, 1, nullptr);
    EXPECT_EQ(count, 3) << "one that is stored, and two that cannot be told apart";
    EXPECT_STREQ(entries[0].Name, "ONE");
    EXPECT_EQ(entries[1].Name[0], 0);
    count = 2;
    list(&count, entries, 0, nullptr);
    EXPECT_EQ(count, 2);
}

TEST(ListRegionNames, OtherInterfacesDoNotCount)
{
    Rpc_Room room;
    Listener one("vela/ONE/ts", false, true);
    SupPR_RegionEntry entry;
    u16 count = 1;
    list(&count, &entry, 1, nullptr, ts_v1_0_c_ifspec);
    EXPECT_EQ(count, 0);
    count = 1;
    list(&count, &entry, 1, nullptr, ComRL_v1_1_c_ifspec);
    EXPECT_EQ(count, 0) << "a server of version 1.0 is not compatible with a client of 1.1";
}

TEST(ListRegionNames, TellsWhenTheMapCannotBeRead)
{
    Rpc_Room room(false);
    u16 count = 2;
    Told told;
    SupPR_RegionEntry entries[2];
    EXPECT_EQ(list(&count, entries, 1, &told), 0u);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(told.States, (std::vector<i32>{0, 1}));
    EXPECT_EQ(told.Statuses[1], rpc_s_connect_rejected);
}

// ---- look-up of a listener

TEST(LookUpBinding, TakesTheFirstMatch)
{
    Rpc_Room room;
    rpc_binding_handle_t binding = reinterpret_cast<rpc_binding_handle_t>(1);
    u32 status;
    EXPECT_EQ(ComRL_LookUpBinding(ComRL_v1_0_c_ifspec, "ANY", &binding), 0);
    EXPECT_EQ(binding, nullptr);
    Listener server("vela/ANY/ts", true, false);
    ASSERT_EQ(ComRL_LookUpBinding(ComRL_v1_0_c_ifspec, "ANY", &binding), 1);
    char *address;
    ComRL_GetNetworkAdd(binding, &address);
    EXPECT_STREQ(address, "127.0.0.1");
    unsigned_char_p_t text = reinterpret_cast<unsigned_char_p_t>(address);
    rpc_string_free(&text, &status);
    rpc_binding_free(&binding, &status);
    address = reinterpret_cast<char *>(1);
    ComRL_GetNetworkAdd(nullptr, &address);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(ComRL_LookUpBinding(ComRL_v1_1_c_ifspec, "ANY", &binding), 0) << "the server has version 1.0 only";
}

TEST(LookUpBinding, TracesAndTheStubsDoNot)
{
    Scratch_MakeRoot();
    Rpc_Room room;
    Ring_TraceOn("ALL=5");
    rpc_binding_handle_t binding;
    EXPECT_EQ(ComRL_LookUpBinding(ComRL_v1_0_c_ifspec, "ANY", &binding), 0);
    EXPECT_EQ(Ring_LastExitPoint("ComRL_LookUpBinding"), 1u);
    char *address;
    ComRL_GetNetworkAdd(nullptr, &address);
    EXPECT_EQ(Ring_LastExitPoint("ComRL_GetNetworkAdd"), 1u);
    SupPR_ExceptionToString(&rpc_x_no_memory);
    u32 seen = 0;
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.Class < INFTR_CLASS_ERROR_EXIT) continue; // an entry does not tell its component
        if (record.Function.rfind("ComRL_", 0) == 0) {
            EXPECT_EQ(record.Header.Component, 41);
            ++seen;
        } else if (record.Function.rfind("SupPR_", 0) == 0) {
            EXPECT_EQ(record.Header.Component, 56) << record.Function;
            ++seen;
        }
    }
    EXPECT_GE(seen, 6u);

    Ring_Clear();
    EXPECT_THROW(ComRL_v1_1_c_epv.Op1(nullptr, 7), exc_Raised);
    EXPECT_TRUE(Ring_Records().empty()) << "a stub leaves no record";
}

// ---- exceptions

TEST(ExceptionToString, NamesTheObjectsOfTheTable)
{
    EXPECT_STREQ(SupPR_ExceptionToString(&pthread_cancel_e), "pthread_cancel_e");
    EXPECT_STREQ(SupPR_ExceptionToString(&exc_SIGEMT_e), "exc_e_SIGEMT");
    EXPECT_STREQ(SupPR_ExceptionToString(&exc_uninitexc_e), "exc_e_uninitexc");
    EXPECT_STREQ(SupPR_ExceptionToString(&rpc_x_assoc_grp_not_found), "rpc_x_assoc_grp_not_found");
    EXPECT_STREQ(SupPR_ExceptionToString(&uuid_x_no_address), "uuid_x_no_address");
    EXPECT_STREQ(SupPR_ExceptionToString(&rpc_x_ss_wrong_es_version), "rpc_x_ss_wrong_es_version");
}

TEST(ExceptionToString, NamesEveryRow)
{
    static const struct {
        const exc_Object *Object;
        const char *Name;
    } rows[] = {
        {&pthread_cancel_e, "pthread_cancel_e"},
        {&pthread_badparam_e, "pthread_badparam_e"},
        {&pthread_exit_thread_e, "pthread_exit_thread_e"},
        {&pthread_existence_e, "pthread_existence_e"},
        {&pthread_in_use_e, "pthread_in_use_e"},
        {&pthread_use_error_e, "pthread_use_error_e"},
        {&pthread_nostackmem_e, "pthread_nostackmem_e"},
        {&exc_SIGEMT_e, "exc_e_SIGEMT"},
        {&exc_SIGIOT_e, "exc_e_SIGIOT"},
        {&exc_SIGPIPE_e, "exc_e_SIGPIPE"},
        {&exc_SIGSYS_e, "exc_e_SIGSYS"},
        {&exc_SIGTRAP_e, "exc_e_SIGTRAP"},
        {&exc_aritherr_e, "exc_e_aritherr"},
        {&exc_decovf_e, "exc_e_decovf"},
        {&exc_excpu_e, "exc_e_excpu"},
        {&exc_exfilsiz_e, "exc_e_exfilsiz"},
        {&exc_exquota_e, "exc_e_exquota"},
        {&exc_fltdiv_e, "exc_e_fltdiv"},
        {&exc_fltovf_e, "exc_e_fltovf"},
        {&exc_fltund_e, "exc_e_fltund"},
        {&exc_illaddr_e, "exc_e_illaddr"},
        {&exc_illinstr_e, "exc_e_illinstr"},
        {&exc_insfmem_e, "exc_e_insfmem"},
        {&exc_intdiv_e, "exc_e_intdiv"},
        {&exc_intovf_e, "exc_e_intovf"},
        {&exc_nopriv_e, "exc_e_nopriv"},
        {&exc_privinst_e, "exc_e_privinst"},
        {&exc_resaddr_e, "exc_e_resaddr"},
        {&exc_resoper_e, "exc_e_resoper"},
        {&exc_subrng_e, "exc_e_subrng"},
        {&exc_uninitexc_e, "exc_e_uninitexc"},
        {&rpc_x_assoc_grp_not_found, "rpc_x_assoc_grp_not_found"},
        {&rpc_x_cancel_timeout, "rpc_x_cancel_timeout"},
        {&rpc_x_coding_error, "rpc_x_coding_error"},
        {&rpc_x_comm_failure, "rpc_x_comm_failure"},
        {&rpc_x_context_id_not_found, "rpc_x_context_id_not_found"},
        {&rpc_x_endpoint_not_found, "rpc_x_endpoint_not_found"},
        {&rpc_x_in_args_too_big, "rpc_x_in_args_too_big"},
        {&rpc_x_invalid_binding, "rpc_x_invalid_binding"},
        {&rpc_x_invalid_bound, "rpc_x_invalid_bound"},
        {&rpc_x_invalid_call_opt, "rpc_x_invalid_call_opt"},
        {&rpc_x_invalid_naf_id, "rpc_x_invalid_naf_id"},
        {&rpc_x_invalid_rpc_protseq, "rpc_x_invalid_rpc_protseq"},
        {&rpc_x_invalid_tag, "rpc_x_invalid_tag"},
        {&rpc_x_invalid_timeout, "rpc_x_invalid_timeout"},
        {&rpc_x_manager_not_entered, "rpc_x_manager_not_entered"},
        {&rpc_x_max_descs_exceeded, "rpc_x_max_descs_exceeded"},
        {&rpc_x_no_fault, "rpc_x_no_fault"},
        {&rpc_x_no_memory, "rpc_x_no_memory"},
        {&rpc_x_not_rpc_tower, "rpc_x_not_rpc_tower"},
        {&rpc_x_object_not_found, "rpc_x_object_not_found"},
        {&rpc_x_op_rng_error, "rpc_x_op_rng_error"},
        {&rpc_x_protocol_error, "rpc_x_protocol_error"},
        {&rpc_x_protseq_not_supported, "rpc_x_protseq_not_supported"},
        {&rpc_x_rpcd_comm_failure, "rpc_x_rpcd_comm_failure"},
        {&rpc_x_server_too_busy, "rpc_x_server_too_busy"},
        {&rpc_x_unknown_if, "rpc_x_unknown_if"},
        {&rpc_x_unknown_error, "rpc_x_unknown_error"},
        {&rpc_x_unknown_mgr_type, "rpc_x_unknown_mgr_type"},
        {&rpc_x_unknown_reject, "rpc_x_unknown_reject"},
        {&rpc_x_unknown_remote_fault, "rpc_x_unknown_remote_fault"},
        {&rpc_x_unsupported_type, "rpc_x_unsupported_type"},
        {&rpc_x_who_are_you_failed, "rpc_x_who_are_you_failed"},
        {&rpc_x_wrong_boot_time, "rpc_x_wrong_boot_time"},
        {&rpc_x_wrong_kind_of_binding, "rpc_x_wrong_kind_of_binding"},
        {&uuid_x_getconf_failure, "uuid_x_getconf_failure"},
        {&uuid_x_internal_error, "uuid_x_internal_error"},
        {&uuid_x_no_address, "uuid_x_no_address"},
        {&uuid_x_socket_failure, "uuid_x_socket_failure"},
        {&rpc_x_access_control_info_inv, "rpc_x_access_control_info_inv"},
        {&rpc_x_assoc_grp_max_exceeded, "rpc_x_assoc_grp_max_exceeded"},
        {&rpc_x_assoc_shutdown, "rpc_x_assoc_shutdown"},
        {&rpc_x_cannot_accept, "rpc_x_cannot_accept"},
        {&rpc_x_cannot_connect, "rpc_x_cannot_connect"},
        {&rpc_x_cant_inq_socket, "rpc_x_cant_inq_socket"},
        {&rpc_x_connect_closed_by_rem, "rpc_x_connect_closed_by_rem"},
        {&rpc_x_connect_no_resources, "rpc_x_connect_no_resources"},
        {&rpc_x_connect_rejected, "rpc_x_connect_rejected"},
        {&rpc_x_connect_timed_out, "rpc_x_connect_timed_out"},
        {&rpc_x_connection_aborted, "rpc_x_connection_aborted"},
        {&rpc_x_connection_closed, "rpc_x_connection_closed"},
        {&rpc_x_host_unreachable, "rpc_x_host_unreachable"},
        {&rpc_x_invalid_endpoint_format, "rpc_x_invalid_endpoint_format"},
        {&rpc_x_loc_connect_aborted, "rpc_x_loc_connect_aborted"},
        {&rpc_x_network_unreachable, "rpc_x_network_unreachable"},
        {&rpc_x_no_rem_endpoint, "rpc_x_no_rem_endpoint"},
        {&rpc_x_rem_host_crashed, "rpc_x_rem_host_crashed"},
        {&rpc_x_rem_host_down, "rpc_x_rem_host_down"},
        {&rpc_x_rem_network_shutdown, "rpc_x_rem_network_shutdown"},
        {&rpc_x_rpc_prot_version_mismatch, "rpc_x_rpc_prot_version_mismatch"},
        {&rpc_x_string_too_long, "rpc_x_string_too_long"},
        {&rpc_x_too_many_rem_connects, "rpc_x_too_many_rem_connects"},
        {&rpc_x_tsyntaxes_unsupported, "rpc_x_tsyntaxes_unsupported"},
        {&rpc_x_binding_vector_full, "rpc_x_binding_vector_full"},
        {&rpc_x_entry_not_found, "rpc_x_entry_not_found"},
        {&rpc_x_group_not_found, "rpc_x_group_not_found"},
        {&rpc_x_incomplete_name, "rpc_x_incomplete_name"},
        {&rpc_x_invalid_arg, "rpc_x_invalid_arg"},
        {&rpc_x_invalid_import_context, "rpc_x_invalid_import_context"},
        {&rpc_x_invalid_inquiry_context, "rpc_x_invalid_inquiry_context"},
        {&rpc_x_invalid_inquiry_type, "rpc_x_invalid_inquiry_type"},
        {&rpc_x_invalid_lookup_context, "rpc_x_invalid_lookup_context"},
        {&rpc_x_invalid_name_syntax, "rpc_x_invalid_name_syntax"},
        {&rpc_x_invalid_object, "rpc_x_invalid_object"},
        {&rpc_x_invalid_vers_option, "rpc_x_invalid_vers_option"},
        {&rpc_x_name_service_unavailable, "rpc_x_name_service_unavailable"},
        {&rpc_x_no_env_setup, "rpc_x_no_env_setup"},
        {&rpc_x_no_more_bindings, "rpc_x_no_more_bindings"},
        {&rpc_x_no_more_elements, "rpc_x_no_more_elements"},
        {&rpc_x_not_found, "rpc_x_not_found"},
        {&rpc_x_not_rpc_entry, "rpc_x_not_rpc_entry"},
        {&rpc_x_obj_uuid_not_found, "rpc_x_obj_uuid_not_found"},
        {&rpc_x_profile_not_found, "rpc_x_profile_not_found"},
        {&rpc_x_unsupported_name_syntax, "rpc_x_unsupported_name_syntax"},
        {&rpc_x_auth_bad_integrity, "rpc_x_auth_bad_integrity"},
        {&rpc_x_auth_badaddr, "rpc_x_auth_badaddr"},
        {&rpc_x_auth_baddirection, "rpc_x_auth_baddirection"},
        {&rpc_x_auth_badkeyver, "rpc_x_auth_badkeyver"},
        {&rpc_x_auth_badmatch, "rpc_x_auth_badmatch"},
        {&rpc_x_auth_badorder, "rpc_x_auth_badorder"},
        {&rpc_x_auth_badseq, "rpc_x_auth_badseq"},
        {&rpc_x_auth_badversion, "rpc_x_auth_badversion"},
        {&rpc_x_auth_field_toolong, "rpc_x_auth_field_toolong"},
        {&rpc_x_auth_inapp_cksum, "rpc_x_auth_inapp_cksum"},
        {&rpc_x_auth_method, "rpc_x_auth_method"},
        {&rpc_x_auth_msg_type, "rpc_x_auth_msg_type"},
        {&rpc_x_auth_modified, "rpc_x_auth_modified"},
        {&rpc_x_auth_mut_fail, "rpc_x_auth_mut_fail"},
        {&rpc_x_auth_nokey, "rpc_x_auth_nokey"},
        {&rpc_x_auth_not_us, "rpc_x_auth_not_us"},
        {&rpc_x_auth_repeat, "rpc_x_auth_repeat"},
        {&rpc_x_auth_skew, "rpc_x_auth_skew"},
        {&rpc_x_auth_tkt_expired, "rpc_x_auth_tkt_expired"},
        {&rpc_x_auth_tkt_nyv, "rpc_x_auth_tkt_nyv"},
        {&rpc_x_call_id_not_found, "rpc_x_call_id_not_found"},
        {&rpc_x_credentials_too_large, "rpc_x_credentials_too_large"},
        {&rpc_x_invalid_checksum, "rpc_x_invalid_checksum"},
        {&rpc_x_invalid_crc, "rpc_x_invalid_crc"},
        {&rpc_x_invalid_credentials, "rpc_x_invalid_credentials"},
        {&rpc_x_key_id_not_found, "rpc_x_key_id_not_found"},
        {&rpc_x_ss_char_trans_open_fail, "rpc_x_ss_char_trans_open_fail"},
        {&rpc_x_ss_char_trans_short_file, "rpc_x_ss_char_trans_short_file"},
        {&rpc_x_ss_context_damaged, "rpc_x_ss_context_damaged"},
        {&rpc_x_ss_context_mismatch, "rpc_x_ss_context_mismatch"},
        {&rpc_x_ss_in_null_context, "rpc_x_ss_in_null_context"},
        {&rpc_x_ss_pipe_closed, "rpc_x_ss_pipe_closed"},
        {&rpc_x_ss_pipe_comm_error, "rpc_x_ss_pipe_comm_error"},
        {&rpc_x_ss_pipe_discipline_error, "rpc_x_ss_pipe_discipline_error"},
        {&rpc_x_ss_pipe_empty, "rpc_x_ss_pipe_empty"},
        {&rpc_x_ss_pipe_memory, "rpc_x_ss_pipe_memory"},
        {&rpc_x_ss_pipe_order, "rpc_x_ss_pipe_order"},
        {&rpc_x_ss_remote_comm_failure, "rpc_x_ss_remote_comm_failure"},
        {&rpc_x_ss_remote_no_memory, "rpc_x_ss_remote_no_memory"},
        {&rpc_x_ss_bad_buffer, "rpc_x_ss_bad_buffer"},
        {&rpc_x_ss_bad_es_action, "rpc_x_ss_bad_es_action"},
        {&rpc_x_ss_wrong_es_version, "rpc_x_ss_wrong_es_version"},
    };
    static_assert(sizeof rows / sizeof rows[0] == 156);
    for (const auto &row : rows) {
        const exc_Object copy = *row.Object;
        EXPECT_STREQ(SupPR_ExceptionToString(&copy), row.Name);
    }
}

TEST(ExceptionToString, ComparesTheFirstTwoWords)
{
    const exc_Object alike = rpc_x_comm_failure;
    EXPECT_STREQ(SupPR_ExceptionToString(&alike), "rpc_x_comm_failure");
    const exc_Object nobody = {0x1234, 5};
    EXPECT_STREQ(SupPR_ExceptionToString(&nobody), "kind=0x1234");
    const exc_Object half = {0, 7};
    EXPECT_STREQ(SupPR_ExceptionToString(&half), "kind=0");
    const exc_Object zero = {0, 0};
    EXPECT_STREQ(SupPR_ExceptionToString(&zero), "SUPPR_EXCEPTION_PROCESS");
    SUPPR_EXCEPTION_PROCESS = {77, 1};
    EXPECT_STREQ(SupPR_ExceptionToString(&zero), "SUPPR_EXCEPTION_REGION");
    SUPPR_EXCEPTION_PROCESS = {};
}

TEST(ExceptionToString, AKindIsTheFirstWordInHexadecimal)
{
    const exc_Object large = {0xFEDCBA98, 0};
    EXPECT_STREQ(SupPR_ExceptionToString(&large), "kind=0xfedcba98");
    const exc_Object status = {2, 0x0DCE6FFF}; // of the statuses' kind, and none of them
    EXPECT_STREQ(SupPR_ExceptionToString(&status), "kind=0x2");
    static_assert(SUPPR_EXCEPTION_TEXT_SIZE == 200);
}

TEST(ExceptionToString, TheRegionsOwnObjectsAreZeroFilled)
{
    EXPECT_EQ(SUPPR_EXCEPTION_PROCESS.Kind, 0u);
    EXPECT_EQ(SUPPR_EXCEPTION_PROCESS.Value, 0u);
    EXPECT_EQ(SUPPR_EXCEPTION_REGION.Kind, 0u);
    EXPECT_EQ(SUPPR_EXCEPTION_REGION.Value, 0u);
    SUPPR_EXCEPTION_REGION = {2, rpc_x_no_memory.Value};
    EXPECT_STREQ(SupPR_ExceptionToString(&rpc_x_no_memory), "SUPPR_EXCEPTION_REGION") << "the first rows go before all";
    SUPPR_EXCEPTION_REGION = {};
}

TEST(ExceptionToString, HasOneBuffer)
{
    char *first = SupPR_ExceptionToString(&rpc_x_comm_failure);
    EXPECT_EQ(SupPR_ExceptionToString(&rpc_x_no_memory), first);
    EXPECT_STREQ(first, "rpc_x_no_memory");
}
