// Look-ups of hosts and services. The resolver is the test's own: nothing asks a network.

#include "supos_services.h"

#include "supos_services_int.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_sys.h"
#include "ring_reader.h"
#include "win32_error.h"

namespace
{

char hostName[] = "host.example", addressBytes[] = {127, 1, 2, 3};
char *noAliases[] = {nullptr};
char *addresses[] = {addressBytes, nullptr};
hostent hostAnswer = {hostName, noAliases, AF_INET, 4, addresses};

char serviceName[] = "velad", protocolName[] = "tcp";
servent serviceAnswer = {serviceName, noAliases, htons(1435), protocolName};

struct lookUp {
    std::string Name;
    int Length, Type;
} last;

hostent *answerByAddress(const void *address, socklen_t length, int type)
{
    last = {std::string(static_cast<const char *>(address), length), static_cast<int>(length), type};
    return &hostAnswer;
}

hostent *answerByName(const char *name)
{
    last = {name, 0, 0};
    return &hostAnswer;
}

template <int Reason, int Errno = 0>
hostent *failByAddress(const void *, socklen_t, int)
{
    h_errno = Reason;
    errno = Errno;
    return nullptr;
}

template <int Reason>
hostent *failByName(const char *)
{
    h_errno = Reason;
    return nullptr;
}

} // namespace

TEST(SupOS_gethostbyaddr_r, CopiesTheAnswer)
{
    Plat_Sys.Gethostbyaddr = answerByAddress;
    hostent host = {};
    EXPECT_EQ(SupOS_gethostbyaddr_r(addressBytes, 4, 2, &host, 77), 0);
    EXPECT_EQ(last.Name, std::string(addressBytes, 4));
    EXPECT_EQ(last.Type, AF_INET);
    EXPECT_EQ(memcmp(&host, &hostAnswer, sizeof host), 0); // its pointers lead to the resolver's own memory
    EXPECT_EQ(host.h_name, hostName);
}

TEST(SupOS_gethostbyaddr_r, RefusesAnyOtherType)
{
    Plat_Sys.Gethostbyaddr = answerByAddress;
    for (const i32 type : {23, 0, 1, 3, -2, 10}) {
        hostent host = {};
        errno = 0;
        EXPECT_EQ(SupOS_gethostbyaddr_r(addressBytes, 4, type, &host, 0), -1);
        EXPECT_EQ(errno, 22);
        EXPECT_EQ(host.h_name, nullptr);
    }
}

TEST(SupOS_gethostbyaddr_r, HasTheResolversReasonInErrno)
{
    hostent host = {};
    Plat_Sys.Gethostbyaddr = failByAddress<HOST_NOT_FOUND>;
    EXPECT_EQ(SupOS_gethostbyaddr_r(addressBytes, 4, 2, &host, 0), -1);
    EXPECT_EQ(errno, 11001);
    Plat_Sys.Gethostbyaddr = failByAddress<TRY_AGAIN>;
    EXPECT_EQ(SupOS_gethostbyaddr_r(addressBytes, 4, 2, &host, 0), -1);
    EXPECT_EQ(errno, 11002);
    Plat_Sys.Gethostbyaddr = failByAddress<NO_RECOVERY>;
    EXPECT_EQ(SupOS_gethostbyaddr_r(addressBytes, 4, 2, &host, 0), -1);
    EXPECT_EQ(errno, 11003);
    Plat_Sys.Gethostbyaddr = failByAddress<NO_DATA>;
    EXPECT_EQ(SupOS_gethostbyaddr_r(addressBytes, 4, 2, &host, 0), -1);
    EXPECT_EQ(errno, 11004);
    Plat_Sys.Gethostbyaddr = failByAddress<NETDB_INTERNAL, EINVAL>;
    EXPECT_EQ(SupOS_gethostbyaddr_r(addressBytes, 3, 2, &host, 0), -1);
    EXPECT_EQ(errno, 10022);
    EXPECT_EQ(host.h_name, nullptr);
}

TEST(SupOS_gethostbyname_r, CopiesTheAnswer)
{
    Plat_Sys.Gethostbyname = answerByName;
    hostent host = {};
    EXPECT_EQ(SupOS_gethostbyname_r("host", &host, 0), 0);
    EXPECT_EQ(last.Name, "host");
    EXPECT_EQ(memcmp(&host, &hostAnswer, sizeof host), 0);

    Plat_Sys.Gethostbyname = failByName<HOST_NOT_FOUND>;
    EXPECT_EQ(SupOS_gethostbyname_r("host", &host, 0), -1);
    EXPECT_EQ(errno, 11001);
}

TEST(SupOS_gethostbyname_r, KnowsThisHost)
{
    hostent host = {};
    ASSERT_EQ(SupOS_gethostbyname_r("localhost", &host, 0), 0);
    ASSERT_EQ(host.h_length, 4);
    EXPECT_EQ(static_cast<u8>(host.h_addr_list[0][0]), 127);
}

TEST(SupOS_getservbyname_r, GivesThePortInHostOrder)
{
    Plat_Sys.Getservbyname = [](const char *name, const char *protocol) {
        last = {std::string(name) + "/" + (protocol == nullptr ? "any" : protocol), 0, 0};
        return &serviceAnswer;
    };
    servent service = {};
    EXPECT_EQ(SupOS_getservbyname_r("velad", "tcp", &service, 0), 0);
    EXPECT_EQ(last.Name, "velad/tcp");
    EXPECT_EQ(service.s_port, 1435);
    EXPECT_EQ(service.s_name, serviceName);
    EXPECT_EQ(service.s_proto, protocolName);
    EXPECT_EQ(service.s_aliases, noAliases);
    EXPECT_EQ(serviceAnswer.s_port, htons(1435)); // the resolver's own answer stays

    serviceAnswer.s_port = htons(0xFFFE);
    EXPECT_EQ(SupOS_getservbyname_r("velad", nullptr, &service, 0), 0);
    EXPECT_EQ(last.Name, "velad/any");
    EXPECT_EQ(service.s_port, 0xFFFE);
}

TEST(SupOS_getservbyname_r, LeavesErrnoAloneWhenItFails)
{
    Plat_Sys.Getservbyname = [](const char *, const char *) -> servent * {
        errno = ENOENT;
        return nullptr;
    };
    servent service = {};
    errno = 77;
    EXPECT_EQ(SupOS_getservbyname_r("velad", "tcp", &service, 0), -1);
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(service.s_name, nullptr);
}

// A look-up and its copy are one step: an answer is never mixed from two.
TEST(SupOS_Netdb, LooksUpOneByOne)
{
    static hostent shared;
    static char names[2][2] = {"A", "B"};
    Plat_Sys.Gethostbyname = [](const char *name) {
        shared.h_name = names[name[0] - 'A'];
        shared.h_addrtype = name[0];
        std::this_thread::yield();
        shared.h_length = name[0];
        return &shared;
    };
    std::vector<std::thread> threads;
    for (const char *const name : {"A", "B", "A", "B"})
        threads.emplace_back([name] {
            for (int i = 0; i < 500; ++i) {
                hostent host;
                ASSERT_EQ(SupOS_gethostbyname_r(name, &host, 0), 0);
                ASSERT_EQ(host.h_name[0], name[0]);
                ASSERT_EQ(host.h_addrtype, name[0]);
                ASSERT_EQ(host.h_length, name[0]);
            }
        });
    for (std::thread &thread : threads) thread.join();
}

TEST(SupOS_Netdb, Traces)
{
    Ring_TraceOn();
    hostent host;
    servent service;
    Plat_Sys.Gethostbyaddr = answerByAddress;
    Plat_Sys.Gethostbyname = answerByName;
    Plat_Sys.Getservbyname = [](const char *, const char *) { return &serviceAnswer; };
    SupOS_gethostbyaddr_r(addressBytes, 4, 23, &host, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_gethostbyaddr_r"), 1u);
    SupOS_gethostbyaddr_r(addressBytes, 4, 2, &host, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_gethostbyaddr_r"), 2u);
    SupOS_gethostbyname_r("host", &host, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_gethostbyname_r"), 1u);
    SupOS_getservbyname_r("velad", nullptr, &service, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_getservbyname_r"), 1u);
}
