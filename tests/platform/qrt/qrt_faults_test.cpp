// System calls that fail while a call is made: each becomes the status of its meaning, and nothing is left behind.

#include <gtest/gtest.h>

#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "plat_faults.h"
#include "qrt_int.h"
#include "qrt_stream.h"
#include "raw_server.h"
#include "rpc_binding.h"
#include "rpc_call.h"
#include "rpc_server.h"

constexpr rpc_if_rep_t record = {68, {0x6b1e0a01, 0x3c5d, 0x4c1e, 0x9a, 0x10, {1, 2, 3, 4, 5, 6}}, 1, QRT_NDR_SYNTAX, 2,
                                 {}};

static int openDescriptors()
{
    int count = 0;
    DIR *const list = opendir("/proc/self/fd");
    while (readdir(list) != nullptr) ++count;
    closedir(list);
    return count;
}

// One call with these octets; gives its status. The answer has to be the octets again.
static u32 callOnce(rpc_binding_handle_t binding, const Octets &input = Octets(100, 7))
{
    rpc_call_handle_t call;
    u32 status, fault, user;
    rpc_call_start(binding, 0, &record, 0, &call, nullptr, &status);
    if (status == rpc_s_ok) {
        const rpc_iovector_t send = {input.data(), input.size()};
        rpc_iovector_t received;
        ndr_format_t format;
        rpc_call_transceive(call, &send, &format, &received, &status);
        if (status == rpc_s_ok) {
            EXPECT_EQ(Octets(received.Data, received.Data + received.Size), input);
        }
    }
    rpc_ss_call_end_2(&call, &fault, &user, &status);
    return status;
}

static Raw_Server::Serve echoing()
{
    return Raw_Answering([](u32 callId, u16, const Octets &stub) { return Raw_Response(callId, stub); });
}

// A port on which connections are made and never looked at, so that only the client's descriptors count.
struct DeafPort {
    int Listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in Address = {};
    DeafPort()
    {
        Address.sin_family = AF_INET;
        Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof Address;
        struct sockaddr *const generic = reinterpret_cast<struct sockaddr *>(&Address);
        if (bind(Listener, generic, size) != 0 || listen(Listener, 64) != 0 ||
            getsockname(Listener, generic, &size) != 0)
            abort();
    }
    ~DeafPort() { close(Listener); }
    std::string Binding() const { return "ncacn_ip_tcp:127.0.0.1[" + std::to_string(ntohs(Address.sin_port)) + "]"; }
};

// ---- errors become statuses

TEST(StatusOfConnect, HasARowForEachError)
{
    static const struct {
        int Error;
        u32 Status;
    } rows[] = {
        {ECONNREFUSED, rpc_s_connect_rejected},
        {ETIMEDOUT, rpc_s_connect_timed_out},
        {EAGAIN, rpc_s_connect_rejected},
        {ENETUNREACH, rpc_s_network_unreachable},
        {ENETDOWN, rpc_s_network_unreachable},
        {EHOSTUNREACH, rpc_s_host_unreachable},
        {EHOSTDOWN, rpc_s_rem_host_down},
        {ENOENT, rpc_s_no_rem_endpoint},
        {ENOTDIR, rpc_s_no_rem_endpoint},
        {EMFILE, rpc_s_max_descs_exceeded},
        {ENFILE, rpc_s_max_descs_exceeded},
        {ENOBUFS, rpc_s_connect_no_resources},
        {ENOMEM, rpc_s_no_memory},
        {EADDRNOTAVAIL, rpc_s_connect_no_resources},
        {ECONNRESET, rpc_s_connect_closed_by_rem},
        {EACCES, rpc_s_cannot_connect},
    };
    for (const auto &row : rows) EXPECT_EQ(Qrt_StatusOfConnect(row.Error), row.Status) << strerror(row.Error);
}

TEST(StatusOfTransfer, HasARowForEachError)
{
    static const struct {
        int Error;
        u32 Status;
    } rows[] = {
        {ECONNRESET, rpc_s_connect_closed_by_rem},
        {EPIPE, rpc_s_connect_closed_by_rem},
        {ETIMEDOUT, rpc_s_rem_host_crashed},
        {ENETDOWN, rpc_s_rem_network_shutdown},
        {ENETUNREACH, rpc_s_rem_network_shutdown},
        {EHOSTUNREACH, rpc_s_rem_network_shutdown},
        {ENOMEM, rpc_s_no_memory},
        {ENOBUFS, rpc_s_no_memory},
        {EIO, rpc_s_comm_failure},
    };
    for (const auto &row : rows) EXPECT_EQ(Qrt_StatusOfTransfer(row.Error), row.Status) << strerror(row.Error);
}

TEST(Opening, EachSystemCallMayFail)
{
    const DeafPort port;
    rpc_binding_handle_t binding = Raw_Bind(port.Binding());
    const int before = openDescriptors();
    const Plat_SysTable real = Plat_Sys;
    Plat_Sys.Socket = Fault_With<EMFILE>{};
    EXPECT_EQ(callOnce(binding), rpc_s_max_descs_exceeded);
    Plat_Sys = real;
    Plat_Sys.Connect = Fault_With<ENETUNREACH>{};
    EXPECT_EQ(callOnce(binding), rpc_s_network_unreachable);
    Plat_Sys.Connect = Fault_With<EHOSTUNREACH>{};
    EXPECT_EQ(callOnce(binding), rpc_s_host_unreachable);
    Plat_Sys = real;
    Plat_Sys.Poll = Fault_With<ENOMEM>{};
    EXPECT_EQ(callOnce(binding), rpc_s_no_memory);
    Plat_Sys.Poll = [](struct pollfd *, nfds_t, int) { return 0; };
    EXPECT_EQ(callOnce(binding), rpc_s_connect_timed_out);
    Plat_Sys = real;
    Plat_Sys.Sendmsg = Fault_With<EPIPE>{};
    EXPECT_EQ(callOnce(binding), rpc_s_connect_closed_by_rem);
    Plat_Sys = real;
    Plat_Sys.Poll = [](struct pollfd *, nfds_t, int) { return 1; };
    Plat_Sys.Recv = Fault_With<ECONNRESET>{};
    EXPECT_EQ(callOnce(binding), rpc_s_connect_closed_by_rem);
    Plat_Sys = real;
    EXPECT_EQ(openDescriptors(), before) << "a failed call leaves no descriptor";
    Raw_Free(binding);
}

TEST(Opening, AHostNameMayNotResolve)
{
    static int error;
    Plat_Sys.Getaddrinfo = [](const char *, const char *, const struct addrinfo *, struct addrinfo **) {
        return error;
    };
    rpc_binding_handle_t binding = Raw_Bind("ncacn_ip_tcp:alpha[5151]");
    error = EAI_NONAME;
    EXPECT_EQ(callOnce(binding), rpc_s_inval_net_addr);
    error = EAI_AGAIN;
    EXPECT_EQ(callOnce(binding), rpc_s_host_unreachable);
    error = EAI_MEMORY;
    EXPECT_EQ(callOnce(binding), rpc_s_no_memory);
    Raw_Free(binding);
}

// ---- interrupted and partial transfers

static int interruptions;

TEST(Transfer, GoesOnAfterAnInterruptionAndInPieces)
{
    Raw_Server server(echoing());
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    Plat_Sys.Recv = [](int descriptor, void *data, size_t size, int flags) -> ssize_t {
        if (++interruptions % 3 == 0) {
            errno = EINTR;
            return -1;
        }
        return recv(descriptor, data, (flags & MSG_PEEK) || size < 5 ? size : 5, flags);
    };
    Plat_Sys.Sendmsg = [](int descriptor, const struct msghdr *message, int flags) -> ssize_t {
        if (++interruptions % 3 == 0) {
            errno = interruptions % 2 ? EINTR : EAGAIN;
            return -1;
        }
        const struct iovec *part = message->msg_iov;
        while (part->iov_len == 0) ++part;
        return send(descriptor, part->iov_base, part->iov_len < 7 ? part->iov_len : 7, flags);
    };
    for (size_t size : {size_t{0}, size_t{1}, size_t{100}, size_t{20000}})
        EXPECT_EQ(callOnce(binding, Octets(size, 0x5A)), rpc_s_ok) << size;
    EXPECT_GT(interruptions, 100);
    Raw_Free(binding);
}

// ---- no memory, wherever

static int failAt, asked;

static void *countedMalloc(size_t size)
{
    return ++asked == failAt ? nullptr : malloc(size);
}
static void *countedRealloc(void *block, size_t size)
{
    return ++asked == failAt ? nullptr : realloc(block, size);
}

TEST(NoMemory, IsAStatusWhereverItHappens)
{
    // The answer comes in two fragments, so that it has to be joined.
    Raw_Server server(Raw_Answering([](u32 callId, u16, const Octets &stub) {
        const long half = static_cast<long>(stub.size() / 2 & ~size_t{7});
        Octets out = Raw_Response(callId, Octets(stub.begin(), stub.begin() + half), 0, 1);
        const Octets rest = Raw_Response(callId, Octets(stub.begin() + half, stub.end()), 0, 2);
        out.insert(out.end(), rest.begin(), rest.end());
        return out;
    }));
    const Octets input(40000, 3);
    bool whole = false;
    for (failAt = 1; failAt < 50 && !whole; ++failAt) {
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        asked = 0;
        Plat_Sys.Malloc = countedMalloc;
        Plat_Sys.Realloc = countedRealloc;
        const u32 status = callOnce(binding, input);
        Plat_Sys.Malloc = malloc;
        Plat_Sys.Realloc = realloc;
        whole = asked < failAt;
        EXPECT_EQ(status, whole ? rpc_s_ok : rpc_s_no_memory) << failAt;
        Raw_Free(binding);
    }
    EXPECT_GT(failAt, 5) << "a call asks several times";
    EXPECT_TRUE(whole);
}

// ---- how much memory

static size_t requested;
static int requests;

static void countRequests()
{
    requested = 0;
    requests = 0;
    Plat_Sys.Malloc = [](size_t size) {
        requested += size;
        ++requests;
        return malloc(size);
    };
    Plat_Sys.Realloc = [](void *block, size_t size) {
        requested += size;
        ++requests;
        return realloc(block, size);
    };
}

TEST(MemoryOfACall, IsBoundedByItsArguments)
{
    static std::atomic<u32> hint;
    Raw_Server server(Raw_Answering([](u32 callId, u16, const Octets &stub) {
        Octets out;
        size_t at = 0;
        do { // 1000 octets of the answer in a fragment
            const size_t end = std::min(at + 1000, stub.size());
            const u8 flags = static_cast<u8>((at == 0 ? 1 : 0) | (end == stub.size() ? 2 : 0));
            Octets part = Raw_Response(
                callId, Octets(stub.begin() + static_cast<long>(at), stub.begin() + static_cast<long>(end)), 0, flags);
            const u32 value = hint;
            memcpy(&part[16], &value, sizeof value);
            out.insert(out.end(), part.begin(), part.end());
            at = end;
        } while (at < stub.size());
        return out;
    }));
    for (const u32 told : {0u, 0xFFFFFFF0u}) { // what a server says of the octets to come is not believed
        hint = told;
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        countRequests();
        EXPECT_EQ(callOnce(binding), rpc_s_ok);
        EXPECT_LT(requested, 16000u) << "the first one opens a connection";
        countRequests();
        EXPECT_EQ(callOnce(binding), rpc_s_ok);
        EXPECT_EQ(requests, 1) << "the call itself";
        EXPECT_LT(requested, 512u);
        for (const size_t size : {size_t{10000}, size_t{100000}, size_t{1000000}}) {
            countRequests();
            EXPECT_EQ(callOnce(binding, Octets(size, 9)), rpc_s_ok);
            EXPECT_LT(requested, 4 * size + 512) << "all steps of an answer that grows by doubling, together";
        }
        Raw_Free(binding);
    }
}

// ---- the server's side

TEST(ServerEndpoints, SayWhyTheyCannotBe)
{
    u32 status;
    rpc_server *server = rpc_server_create(nullptr, &status);
    ASSERT_EQ(status, rpc_s_ok);
    const int before = openDescriptors();
    const Plat_SysTable real = Plat_Sys;
    Plat_Sys.Socket = Fault_With<EMFILE>{};
    rpc_server_use_tcp(server, nullptr, 0, nullptr, &status);
    EXPECT_NE(status, rpc_s_ok);
    Plat_Sys = real;
    Plat_Sys.Bind = Fault_With<EADDRINUSE>{};
    rpc_server_use_tcp(server, nullptr, 0, nullptr, &status);
    EXPECT_NE(status, rpc_s_ok);
    Plat_Sys = real;
    Plat_Sys.Listen = Fault_With<EADDRINUSE>{};
    rpc_server_use_tcp(server, nullptr, 0, nullptr, &status);
    EXPECT_NE(status, rpc_s_ok);
    Plat_Sys = real;
    EXPECT_EQ(openDescriptors(), before);
    rpc_server_use_tcp(server, nullptr, 0, nullptr, &status);
    EXPECT_EQ(status, rpc_s_ok);
    rpc_server_destroy(server);
}

// ---- where local endpoints live

TEST(LocalPath, IsAPathOrANameBelowTheRunDirectory)
{
    char scratch[] = "/tmp/qrtXXXXXX";
    ASSERT_NE(mkdtemp(scratch), nullptr);
    setenv("SORREL_RUNDIR", (std::string(scratch) + "/").c_str(), 1);
    char path[QRT_PATH_SIZE];
    ASSERT_TRUE(Qrt_LocalPath("name", path, sizeof path));
    EXPECT_EQ(path, std::string(scratch) + "/name");
    ASSERT_TRUE(Qrt_LocalPath("/a/b", path, sizeof path));
    EXPECT_STREQ(path, "/a/b");
    EXPECT_FALSE(Qrt_LocalPath(std::string(108, 'n').c_str(), path, sizeof path)) << "no room in a socket's address";
    setenv("SORREL_RUNDIR", "/dev/null/none", 1);
    EXPECT_FALSE(Qrt_LocalPath("name", path, sizeof path));
    EXPECT_TRUE(Qrt_LocalPath("./name", path, sizeof path)) << "a path needs no run directory";
    rmdir(scratch);
}
