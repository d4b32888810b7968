// Sockets and the resolver: Winsock's behaviour over the system's calls. Loopback alone.

#include "win32_socket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "plat_sys.h"
#include "win32_error.h"

namespace
{

using Clock = std::chrono::steady_clock;

int millisSince(Clock::time_point start)
{
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

struct listener {
    u32 Socket;
    sockaddr_in Address = {};

    listener()
    {
        Socket = static_cast<u32>(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        Address.sin_family = AF_INET;
        Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof Address;
        EXPECT_EQ(bind(static_cast<int>(Socket), reinterpret_cast<sockaddr *>(&Address), size), 0);
        EXPECT_EQ(listen(static_cast<int>(Socket), 8), 0);
        EXPECT_EQ(getsockname(static_cast<int>(Socket), reinterpret_cast<sockaddr *>(&Address), &size), 0);
    }
    ~listener() { close(static_cast<int>(Socket)); }

    int Connect() const
    {
        const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(client, reinterpret_cast<const sockaddr *>(&Address), sizeof Address), 0);
        return client;
    }
};

} // namespace

TEST(ioctlsocket, SwitchesBlocking)
{
    listener server;
    const int descriptor = static_cast<int>(server.Socket);
    u32 on = 1, off = 0;
    EXPECT_EQ(ioctlsocket(server.Socket, FIONBIO, &on), 0);
    EXPECT_TRUE(fcntl(descriptor, F_GETFL) & O_NONBLOCK);
    EXPECT_EQ(plat_accept(server.Socket, nullptr, nullptr), PLAT_INVALID_SOCKET);
    EXPECT_EQ(WSAGetLastError(), 10035);
    EXPECT_EQ(ioctlsocket(server.Socket, FIONBIO, &off), 0);
    EXPECT_FALSE(fcntl(descriptor, F_GETFL) & O_NONBLOCK);
}

TEST(ioctlsocket, Fails)
{
    listener server;
    u32 on = 1;
    EXPECT_EQ(ioctlsocket(server.Socket, 0x4004667F, &on), PLAT_SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), 10022);
    EXPECT_EQ(ioctlsocket(9999, FIONBIO, &on), PLAT_SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), 10038);
    EXPECT_EQ(GetLastError(), 10038u);
    Plat_Sys.FcntlInt = [](int, int command, int) {
        errno = EACCES;
        return command == F_GETFL ? 0 : -1;
    };
    EXPECT_EQ(ioctlsocket(server.Socket, FIONBIO, &on), PLAT_SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), 10013);
}

TEST(plat_select, WaitsForItsTimeAndLeavesItAlone)
{
    listener server;
    plat_SocketSet set = {1, {server.Socket}};
    timeval limit = {0, 60000};
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(plat_select(&set, &limit), 0);
    EXPECT_GE(millisSince(start), 60);
    EXPECT_EQ(set.Count, 0u);
    EXPECT_EQ(limit.tv_sec, 0);
    EXPECT_EQ(limit.tv_usec, 60000);
}

TEST(plat_select, TellsWhichSocketsAreReady)
{
    listener first, second, third;
    const int a = first.Connect(), c = third.Connect();
    plat_SocketSet set = {3, {first.Socket, second.Socket, third.Socket}};
    const timeval limit = {5, 0};
    const timeval look = {0, 0};
    EXPECT_EQ(plat_select(&set, &limit), 2);
    ASSERT_EQ(set.Count, 2u);
    EXPECT_EQ(set.Sockets[0], first.Socket);
    EXPECT_EQ(set.Sockets[1], third.Socket);
    set = {1, {second.Socket}};
    EXPECT_EQ(plat_select(&set, &look), 0);

    const u32 connected = plat_accept(first.Socket, nullptr, nullptr);
    close(a);
    set = {1, {connected}};
    EXPECT_EQ(plat_select(&set, nullptr), 1); // the end of a stream can be read
    closesocket(connected);
    close(c);
}

TEST(plat_select, GoesOnAfterASignal)
{
    static std::atomic<int> polls;
    polls = 0;
    Plat_Sys.Poll = [](pollfd *entries, nfds_t count, int limit) {
        if (++polls <= 3) {
            usleep(20000);
            errno = EINTR;
            return -1;
        }
        return poll(entries, count, limit);
    };
    listener server;
    plat_SocketSet set = {1, {server.Socket}};
    const timeval limit = {0, 100000};
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(plat_select(&set, &limit), 0);
    EXPECT_GE(millisSince(start), 100);
    EXPECT_LT(millisSince(start), 1000); // the limit did not begin anew
    EXPECT_GE(polls, 4);
}

TEST(plat_select, Fails)
{
    listener server;
    const timeval look = {0, 0};
    plat_SocketSet none = {0, {}}, many = {65, {}}, closed = {2, {server.Socket, 9999}}, one = {1, {server.Socket}};
    for (plat_SocketSet *const set : {&none, &many}) {
        EXPECT_EQ(plat_select(set, &look), PLAT_SOCKET_ERROR);
        EXPECT_EQ(WSAGetLastError(), 10022);
    }
    EXPECT_EQ(plat_select(nullptr, &look), PLAT_SOCKET_ERROR);
    EXPECT_EQ(plat_select(&closed, &look), PLAT_SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), 10038);
    const timeval negative = {-1, 0};
    EXPECT_EQ(plat_select(&one, &negative), PLAT_SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), 10022);
    Plat_Sys.Poll = [](pollfd *, nfds_t, int) {
        errno = ENOMEM;
        return -1;
    };
    EXPECT_EQ(plat_select(&one, &look), PLAT_SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), 10055);
}

TEST(plat_select, TakesAVeryLongLimit)
{
    listener server;
    const int client = server.Connect();
    plat_SocketSet set = {1, {server.Socket}};
    const timeval limit = {0x7FFFFFFFFFFFFFFF, 999999};
    EXPECT_EQ(plat_select(&set, &limit), 1);
    close(client);
}

TEST(plat_accept, GivesASocketThatChildrenInherit)
{
    listener server;
    const int client = server.Connect();
    sockaddr_in peer = {};
    socklen_t size = sizeof peer;
    const u32 taken = plat_accept(server.Socket, reinterpret_cast<sockaddr *>(&peer), &size);
    ASSERT_NE(taken, PLAT_INVALID_SOCKET);
    EXPECT_GE(taken, 3u);
    EXPECT_EQ(fcntl(static_cast<int>(taken), F_GETFD), 0);
    EXPECT_EQ(peer.sin_family, AF_INET);
    EXPECT_EQ(ntohl(peer.sin_addr.s_addr), INADDR_LOOPBACK);

    EXPECT_EQ(write(client, "x", 1), 1);
    char byte = 0;
    EXPECT_EQ(read(static_cast<int>(taken), &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(closesocket(taken), 0);
    EXPECT_EQ(closesocket(taken), PLAT_SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), 10038);
    close(client);
}

TEST(plat_accept, GivesNoStandardDescriptor)
{
    listener server;
    const int client = server.Connect();
    const int kept = dup(0);
    close(0);
    const u32 taken = plat_accept(server.Socket, nullptr, nullptr);
    dup2(kept, 0);
    EXPECT_GE(taken, 3u);
    EXPECT_NE(taken, PLAT_INVALID_SOCKET);
    EXPECT_EQ(fcntl(static_cast<int>(taken), F_GETFD), 0);
    closesocket(taken);
    close(kept);
    close(client);
}

TEST(plat_accept, PassesOverWhatWasGivenUp)
{
    static int tries;
    tries = 0;
    Plat_Sys.Accept = [](int descriptor, sockaddr *address, socklen_t *size) {
        if (++tries > 2) return accept(descriptor, address, size);
        errno = tries == 1 ? EINTR : ECONNABORTED;
        return -1;
    };
    listener server;
    const int client = server.Connect();
    const u32 taken = plat_accept(server.Socket, nullptr, nullptr);
    EXPECT_NE(taken, PLAT_INVALID_SOCKET);
    EXPECT_EQ(tries, 3);
    closesocket(taken);
    close(client);
}

TEST(plat_accept, HasWinsocksErrors)
{
    static int reason;
    Plat_Sys.Accept = [](int, sockaddr *, socklen_t *) {
        errno = reason;
        return -1;
    };
    struct {
        int Errno, Error;
    } const rows[] = {{EBADF, 10038},  {ENOTSOCK, 10038},   {EMFILE, 10024},     {ENFILE, 10024},  {EINVAL, 10022},
                      {EFAULT, 10014}, {EOPNOTSUPP, 10045}, {EAGAIN, 10035},     {ENOBUFS, 10055}, {ENOMEM, 10055},
                      {EACCES, 10013}, {ETIMEDOUT, 10060},  {ECONNRESET, 10054}, {ENETDOWN, 10050}};
    for (const auto &row : rows) {
        reason = row.Errno;
        EXPECT_EQ(plat_accept(0, nullptr, nullptr), PLAT_INVALID_SOCKET);
        EXPECT_EQ(WSAGetLastError(), row.Error) << row.Errno;
    }
}

TEST(plat_resolver, LeavesItsReasonInTheLastError)
{
    static int reason, behind;
    Plat_Sys.Gethostbyname = [](const char *) -> hostent * {
        h_errno = reason;
        errno = behind;
        return nullptr;
    };
    Plat_Sys.Gethostbyaddr = [](const void *, socklen_t, int) -> hostent * {
        h_errno = reason;
        errno = behind;
        return nullptr;
    };
    struct {
        int Reason, Errno, Error;
    } const rows[] = {{HOST_NOT_FOUND, 0, 11001}, {TRY_AGAIN, 0, 11002},           {NO_RECOVERY, 0, 11003},
                      {NO_DATA, 0, 11004},        {NETDB_INTERNAL, EINVAL, 10022}, {NETDB_INTERNAL, EMFILE, 10024}};
    for (const auto &row : rows) {
        reason = row.Reason;
        behind = row.Errno;
        SetLastError(0);
        EXPECT_EQ(plat_gethostbyname("none"), nullptr);
        EXPECT_EQ(WSAGetLastError(), row.Error);
        SetLastError(0);
        EXPECT_EQ(plat_gethostbyaddr("\x7f\0\0\1", 4, AF_INET), nullptr);
        EXPECT_EQ(WSAGetLastError(), row.Error);
    }
    Plat_Sys.Getservbyname = [](const char *, const char *) -> servent * { return nullptr; };
    EXPECT_EQ(plat_getservbyname("none", nullptr), nullptr);
    EXPECT_EQ(WSAGetLastError(), 11004);
}

TEST(plat_resolver, KnowsThisHost)
{
    const hostent *const host = plat_gethostbyname("localhost");
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(host->h_addrtype, AF_INET);
}
