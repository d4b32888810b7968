// Servers: endpoints, connections, threads.
//
// All threads wait on one poll set. A connection is armed for one event at a time (EPOLLONESHOT), so that the thread
// which gets it has it to itself until it arms it again; idle connections cost no thread. As long as at least half of
// the threads have nothing to do, a thread stays with its connection for a moment after an answer: the next request of a
// client that calls again and again then wakes the thread which waits for it, without a way through the poll set. To
// stop, the wake descriptor becomes readable for good, each thread sees it once and ends, and only then are connections
// freed.

#include "rpc_server.h"

#include "qrt_epmap.h"
#include "qrt_server_int.h"
#include "rpc_binding.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr u32 maxThreads = 64;
constexpr int sendSeconds = 30; // a client that takes nothing for so long is given up
constexpr size_t readSize = 16384;
constexpr int stayMilliseconds = 5;
constexpr u32 stayTurns = 256; // then the other connections have their turn

rpc_server *rpc_server_create(const rpc_server_options *Options, u32 *Status)
{
    rpc_server *server = static_cast<rpc_server *>(Plat_Sys.Malloc(sizeof(rpc_server)));
    *Status = rpc_s_no_memory;
    if (!server) return nullptr;
    memset(server, 0, sizeof *server);
    if (Options) server->Options = *Options;
    rpc_server_options *options = &server->Options;
    if (options->Threads == 0) options->Threads = 4;
    if (options->Connections == 0) options->Connections = 256;
    if (options->CallLimit == 0) options->CallLimit = 64u << 20;
    if (options->FragmentSize == 0) options->FragmentSize = QRT_FRAGMENT_SIZE;
    if (options->Threads > maxThreads || options->FragmentSize < QRT_FRAGMENT_MIN) {
        free(server);
        *Status = rpc_s_invalid_arg;
        return nullptr;
    }
    pthread_mutex_init(&server->Lock, nullptr);
    pthread_mutex_init(&server->PassLock, nullptr);
    server->PollSet = epoll_create1(EPOLL_CLOEXEC);
    server->Wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    server->NextNumber = 1;
    server->Interfaces[0] = {{QRT_MGMT_IF, 1, 0}, 5, Qrt_ManagementOperations, nullptr, nullptr};
    server->InterfaceCount = 1;
    if (server->PollSet < 0 || server->Wake < 0) {
        rpc_server_destroy(server);
        *Status = rpc_s_cannot_accept;
        return nullptr;
    }
    *Status = rpc_s_ok;
    return server;
}

void rpc_server_register_if(rpc_server *Server, const rpc_server_interface *Interface, u32 *Status)
{
    *Status = rpc_s_invalid_arg;
    if (Server->InterfaceCount == QRT_MAX_INTERFACES || Server->ThreadCount != 0) return;
    Server->Interfaces[Server->InterfaceCount++] = *Interface;
    *Status = rpc_s_ok;
}

// ---- endpoints

static Qrt_Endpoint *newEndpoint(rpc_server *server, Qrt_Protocol protocol, int family, u32 *status)
{
    *status = rpc_s_invalid_arg;
    if (server->EndpointCount == QRT_MAX_ENDPOINTS || server->ThreadCount != 0) return nullptr;
    Qrt_Endpoint *endpoint = &server->Endpoints[server->EndpointCount];
    memset(endpoint, 0, sizeof *endpoint);
    endpoint->Protocol = protocol;
    *status = rpc_s_cannot_accept;
    endpoint->Descriptor = Plat_Sys.Socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    return endpoint->Descriptor < 0 ? nullptr : endpoint;
}

static void useEndpoint(rpc_server *server, Qrt_Endpoint *endpoint, bool ready, u32 *status)
{
    if (ready && Plat_Sys.Listen(endpoint->Descriptor, SOMAXCONN) == 0) {
        ++server->EndpointCount;
        *status = rpc_s_ok;
    } else {
        *status = rpc_s_cannot_accept;
        close(endpoint->Descriptor);
    }
}

void rpc_server_use_tcp(rpc_server *Server, const char *Address, u16 Port, u16 *BoundPort, u32 *Status)
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(Port);
    if (inet_pton(AF_INET, Address ? Address : "127.0.0.1", &address.sin_addr) != 1) {
        *Status = rpc_s_inval_net_addr;
        return;
    }
    Qrt_Endpoint *endpoint = newEndpoint(Server, QRT_TCP, AF_INET, Status);
    if (!endpoint) return;
    static constexpr int on = 1;
    setsockopt(endpoint->Descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    struct sockaddr *generic = reinterpret_cast<struct sockaddr *>(&address);
    socklen_t size = sizeof address;
    const bool ready = Plat_Sys.Bind(endpoint->Descriptor, generic, size) == 0 &&
                       getsockname(endpoint->Descriptor, generic, &size) == 0;
    memcpy(endpoint->Address, &address.sin_addr, sizeof endpoint->Address);
    endpoint->Port = ntohs(address.sin_port);
    useEndpoint(Server, endpoint, ready, Status);
    if (BoundPort) *BoundPort = *Status == rpc_s_ok ? endpoint->Port : 0;
}

// Nobody listens at a socket file that a server left behind when it was killed.
static bool isDeadSocket(const struct sockaddr_un *address)
{
    struct stat found;
    if (lstat(address->sun_path, &found) != 0 || !S_ISSOCK(found.st_mode)) return false;
    const int probe = Plat_Sys.Socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (probe < 0) return false;
    const int result = Plat_Sys.Connect(probe, reinterpret_cast<const struct sockaddr *>(address), sizeof *address);
    const bool dead = result != 0 && errno == ECONNREFUSED;
    close(probe);
    return dead;
}

void rpc_server_use_local(rpc_server *Server, const char *Name, u32 *Status)
{
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (*Name == '\0' || !Qrt_LocalPath(Name, address.sun_path, sizeof address.sun_path)) {
        *Status = rpc_s_invalid_endpoint_format;
        return;
    }
    Qrt_Endpoint *endpoint = newEndpoint(Server, QRT_LOCAL, AF_UNIX, Status);
    if (!endpoint) return;
    const struct sockaddr *generic = reinterpret_cast<const struct sockaddr *>(&address);
    bool ready = Plat_Sys.Bind(endpoint->Descriptor, generic, sizeof address) == 0;
    if (!ready && errno == EADDRINUSE && isDeadSocket(&address) && unlink(address.sun_path) == 0)
        ready = Plat_Sys.Bind(endpoint->Descriptor, generic, sizeof address) == 0;
    struct stat own;
    if (ready && lstat(address.sun_path, &own) == 0) {
        endpoint->Device = own.st_dev;
        endpoint->Inode = own.st_ino;
    }
    memcpy(endpoint->Path, address.sun_path, sizeof endpoint->Path);
    useEndpoint(Server, endpoint, ready, Status);
}

unsigned_char_p_t rpc_server_inq_binding(rpc_server *Server, u32 Nth, u32 *Status)
{
    *Status = rpc_s_no_more_bindings;
    if (Nth >= Server->EndpointCount) return nullptr;
    const Qrt_Endpoint *endpoint = &Server->Endpoints[Nth];
    char host[16] = "";
    char port[8];
    if (endpoint->Protocol == QRT_TCP) inet_ntop(AF_INET, endpoint->Address, host, sizeof host);
    snprintf(port, sizeof port, "%u", endpoint->Port);
    unsigned_char_p_t text;
    rpc_string_binding_compose(nullptr, Qrt_Text(Qrt_ProtocolName[endpoint->Protocol]), Qrt_Text(host),
                               Qrt_Text(endpoint->Protocol == QRT_TCP ? port : endpoint->Path), nullptr, &text, Status);
    return text;
}

// ---- the poll set

static bool arm(rpc_server *server, int operation, int descriptor, u32 events, void *what)
{
    struct epoll_event event = {};
    event.events = events;
    event.data.ptr = what;
    return epoll_ctl(server->PollSet, operation, descriptor, &event) == 0;
}

static void armEndpoints(rpc_server *server, bool on)
{
    for (u32 at = 0; at < server->EndpointCount; ++at) {
        Qrt_Endpoint *endpoint = &server->Endpoints[at];
        arm(server, EPOLL_CTL_MOD, endpoint->Descriptor, on ? EPOLLIN | EPOLLONESHOT : EPOLLONESHOT, endpoint);
    }
}

static void freeConnection(Qrt_Connection *connection)
{
    if (connection->Descriptor >= 0) close(connection->Descriptor);
    free(connection->In);
    free(connection->Stub);
    free(connection);
}

static void endConnection(Qrt_Connection *connection)
{
    rpc_server *server = connection->Server;
    for (u32 at = 0; at < server->InterfaceCount; ++at) {
        const rpc_server_interface *interface = &server->Interfaces[at];
        if (interface->RunDown) interface->RunDown(interface->Context, connection->Number);
    }
    pthread_mutex_lock(&server->Lock);
    if (connection->Next) connection->Next->Before = connection->Before;
    if (connection->Before)
        connection->Before->Next = connection->Next;
    else
        server->Connections = connection->Next;
    --server->ConnectionCount;
    const bool wasFull = server->Full;
    server->Full = false;
    pthread_mutex_unlock(&server->Lock);
    freeConnection(connection);
    if (wasFull) armEndpoints(server, true);
}

// ---- connections

// Hands the connection to whichever thread the poll set wakes next. That thread first takes the same lock once, so that
// it has all that was written here and we are done with the descriptor before it may close it.
static bool pass(Qrt_Connection *connection, int operation)
{
    rpc_server *server = connection->Server;
    pthread_mutex_lock(&server->PassLock);
    const bool armed = arm(server, operation, connection->Descriptor, EPOLLIN | EPOLLONESHOT, connection);
    pthread_mutex_unlock(&server->PassLock);
    return armed;
}

static void receivePassed(rpc_server *server)
{
    pthread_mutex_lock(&server->PassLock);
    pthread_mutex_unlock(&server->PassLock);
}

static bool isLoopback(const Qrt_Endpoint *endpoint, const struct sockaddr_in *peer)
{
    return endpoint->Protocol == QRT_LOCAL || (ntohl(peer->sin_addr.s_addr) >> 24) == 127;
}

static void addConnection(rpc_server *server, const Qrt_Endpoint *endpoint, int descriptor,
                          const struct sockaddr_in *peer)
{
    Qrt_Connection *connection = static_cast<Qrt_Connection *>(Plat_Sys.Malloc(sizeof(Qrt_Connection)));
    if (!connection) {
        close(descriptor);
        return;
    }
    memset(connection, 0, sizeof *connection);
    connection->Server = server;
    connection->Descriptor = descriptor;
    connection->Local = isLoopback(endpoint, peer);
    connection->Fragment = QRT_FRAGMENT_MIN;
    if (endpoint->Protocol == QRT_TCP) {
        snprintf(connection->Port, sizeof connection->Port, "%u", endpoint->Port);
        static constexpr int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    }
    pthread_mutex_lock(&server->Lock);
    connection->Number = server->NextNumber++;
    connection->Next = server->Connections;
    if (connection->Next) connection->Next->Before = connection;
    server->Connections = connection;
    server->Full = ++server->ConnectionCount >= server->Options.Connections;
    pthread_mutex_unlock(&server->Lock);
    if (!pass(connection, EPOLL_CTL_ADD)) endConnection(connection);
}

// Accepts what waits, up to the limit; then the endpoint rests until a connection ends.
static void acceptAll(rpc_server *server, Qrt_Endpoint *endpoint)
{
    for (;;) {
        pthread_mutex_lock(&server->Lock);
        const bool full = server->Full;
        pthread_mutex_unlock(&server->Lock);
        if (full) break;
        struct sockaddr_in peer = {};
        socklen_t size = sizeof peer;
        const int descriptor = Plat_Sys.Accept4(endpoint->Descriptor, reinterpret_cast<struct sockaddr *>(&peer), &size,
                                                SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (descriptor >= 0) {
            addConnection(server, endpoint, descriptor, &peer);
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
            usleep(10000); // the backlog keeps the client; spinning would not help it
            break;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            break;
        }
    }
    // Armed under the lock, so that a connection that ends now arms it again behind us and not before.
    pthread_mutex_lock(&server->Lock);
    const u32 events = server->Full ? EPOLLONESHOT : EPOLLIN | EPOLLONESHOT;
    arm(server, EPOLL_CTL_MOD, endpoint->Descriptor, events, endpoint);
    pthread_mutex_unlock(&server->Lock);
}

// Reads what has come. False at the end of the connection.
static bool readSome(Qrt_Connection *connection)
{
    if (connection->InCapacity - connection->InSize < readSize) {
        const size_t capacity = connection->InSize + readSize;
        u8 *in = static_cast<u8 *>(Plat_Sys.Realloc(connection->In, capacity));
        if (!in) return false;
        connection->In = in;
        connection->InCapacity = capacity;
    }
    for (;;) {
        const ssize_t count = Plat_Sys.Recv(connection->Descriptor, connection->In + connection->InSize,
                                            connection->InCapacity - connection->InSize, MSG_DONTWAIT);
        if (count > 0) {
            connection->InSize += static_cast<size_t>(count);
            return true;
        }
        if (count == 0) return false;
        if (errno == EAGAIN) return true;
        if (errno != EINTR) return false;
    }
}

// Waits a moment for more of the client; false when nothing came, the server stops or threads are scarce.
static bool stays(const Qrt_Connection *connection)
{
    const rpc_server *server = connection->Server;
    if (__atomic_load_n(&server->Waiting, __ATOMIC_RELAXED) * 2 < server->Options.Threads) return false;
    struct pollfd entries[2] = {{connection->Descriptor, POLLIN, 0}, {server->Wake, POLLIN, 0}};
    return Plat_Sys.Poll(entries, 2, stayMilliseconds) > 0 && entries[1].revents == 0;
}

static void serve(Qrt_Connection *connection)
{
    bool open = readSome(connection) && Qrt_ServePdus(connection);
    for (u32 turn = 0; open && turn < stayTurns && stays(connection); ++turn)
        open = readSome(connection) && Qrt_ServePdus(connection);
    if (open && pass(connection, EPOLL_CTL_MOD)) return;
    endConnection(connection);
}

bool Qrt_ServerSend(Qrt_Connection *Connection, const void *Head, size_t HeadSize, const void *Body, size_t BodySize)
{
    struct iovec parts[2] = {{const_cast<void *>(Head), HeadSize}, {const_cast<void *>(Body), BodySize}};
    for (size_t first = 0; first < 2;) {
        if (parts[first].iov_len == 0) {
            ++first;
            continue;
        }
        struct msghdr message = {};
        message.msg_iov = parts + first;
        message.msg_iovlen = first == 0 && BodySize != 0 ? 2 : 1;
        ssize_t count = Plat_Sys.Sendmsg(Connection->Descriptor, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno == EAGAIN) {
            struct pollfd entries[2] = {{Connection->Descriptor, POLLOUT, 0}, {Connection->Server->Wake, POLLIN, 0}};
            const int ready = Plat_Sys.Poll(entries, 2, sendSeconds * 1000);
            if (ready == 0 || (entries[1].revents & POLLIN)) return false;
            continue;
        }
        if (count < 0 && errno != EINTR) return false;
        for (size_t at = first; at < 2 && count > 0; ++at) {
            const size_t step =
                static_cast<size_t>(count) < parts[at].iov_len ? static_cast<size_t>(count) : parts[at].iov_len;
            parts[at].iov_base = static_cast<u8 *>(parts[at].iov_base) + step;
            parts[at].iov_len -= step;
            count -= static_cast<ssize_t>(step);
        }
    }
    return true;
}

static void *threadMain(void *argument)
{
    rpc_server *server = static_cast<rpc_server *>(argument);
    const u8 *endpoints = reinterpret_cast<const u8 *>(server->Endpoints);
    while (!__atomic_load_n(&server->Stopping, __ATOMIC_ACQUIRE)) {
        struct epoll_event event;
        __atomic_add_fetch(&server->Waiting, 1, __ATOMIC_RELAXED);
        const int count = epoll_wait(server->PollSet, &event, 1, -1);
        __atomic_sub_fetch(&server->Waiting, 1, __ATOMIC_RELAXED);
        if (count <= 0 || event.data.ptr == nullptr) continue; // interrupted, or the wake descriptor
        const u8 *what = static_cast<const u8 *>(event.data.ptr);
        if (what >= endpoints && what < endpoints + sizeof server->Endpoints) {
            acceptAll(server, static_cast<Qrt_Endpoint *>(event.data.ptr));
        } else {
            receivePassed(server);
            serve(static_cast<Qrt_Connection *>(event.data.ptr));
        }
    }
    return nullptr;
}

void rpc_server_start(rpc_server *Server, u32 *Status)
{
    *Status = rpc_s_invalid_arg;
    if (Server->ThreadCount != 0 || Server->EndpointCount == 0) return;
    *Status = rpc_s_cannot_accept;
    if (!arm(Server, EPOLL_CTL_ADD, Server->Wake, EPOLLIN, nullptr)) return;
    for (u32 at = 0; at < Server->EndpointCount; ++at) {
        Qrt_Endpoint *endpoint = &Server->Endpoints[at];
        if (!arm(Server, EPOLL_CTL_ADD, endpoint->Descriptor, EPOLLIN | EPOLLONESHOT, endpoint)) return;
    }
    while (Server->ThreadCount < Server->Options.Threads) {
        if (pthread_create(&Server->Threads[Server->ThreadCount], nullptr, threadMain, Server) != 0) break;
        ++Server->ThreadCount;
    }
    *Status = Server->ThreadCount == 0 ? rpc_s_cannot_accept : rpc_s_ok;
}

// ---- the endpoint map

static Qrt_Registration registrationOf(const Qrt_MapEntry *entry)
{
    return {entry->Object, entry->Tower, entry->TowerSize, entry->Annotation};
}

void rpc_server_register_ep(rpc_server *Server, const rpc_if_id_t *Interface, const uuid_t *Object,
                            const char *Annotation, u32 *Status)
{
    *Status = rpc_s_string_too_long;
    if (strlen(Annotation) >= QRT_ANNOTATION_SIZE) return;
    for (u32 at = 0; at < Server->EndpointCount; ++at) {
        const Qrt_Endpoint *endpoint = &Server->Endpoints[at];
        Qrt_MapEntry *entry = static_cast<Qrt_MapEntry *>(Plat_Sys.Malloc(sizeof(Qrt_MapEntry)));
        *Status = rpc_s_no_memory;
        if (!entry) return;
        memset(entry, 0, sizeof *entry);
        if (Object) entry->Object = *Object;
        strcpy(entry->Annotation, Annotation);
        Qrt_Tower tower = {};
        tower.Interface = *Interface;
        tower.Protocol = endpoint->Protocol;
        tower.Port = endpoint->Port;
        memcpy(tower.Address, endpoint->Address, sizeof tower.Address);
        memcpy(tower.Path, endpoint->Path, sizeof tower.Path);
        entry->TowerSize = static_cast<u32>(Qrt_WriteTower(&tower, entry->Tower));
        const Qrt_Registration registration = registrationOf(entry);
        *Status = Qrt_EptChange(QRT_EPT_INSERT, &registration, false);
        if (*Status != rpc_s_ok) {
            free(entry);
            return;
        }
        entry->Next = Server->Entries;
        Server->Entries = entry;
    }
    *Status = rpc_s_ok;
}

// ---- the end

static void removeSocketFile(const Qrt_Endpoint *endpoint)
{
    struct stat found;
    if (endpoint->Protocol != QRT_LOCAL || lstat(endpoint->Path, &found) != 0) return;
    if (found.st_dev == endpoint->Device && found.st_ino == endpoint->Inode) unlink(endpoint->Path);
}

void rpc_server_destroy(rpc_server *Server)
{
    if (!Server) return;
    while (Qrt_MapEntry *entry = Server->Entries) {
        const Qrt_Registration registration = registrationOf(entry);
        Qrt_EptChange(QRT_EPT_DELETE, &registration, false);
        Server->Entries = entry->Next;
        free(entry);
    }
    __atomic_store_n(&Server->Stopping, true, __ATOMIC_RELEASE);
    static constexpr u64 one = 1;
    if (Server->Wake >= 0 && write(Server->Wake, &one, sizeof one) < 0) abort(); // an empty counter takes it always
    for (u32 at = 0; at < Server->ThreadCount; ++at) pthread_join(Server->Threads[at], nullptr);
    while (Qrt_Connection *connection = Server->Connections) {
        Server->Connections = connection->Next;
        freeConnection(connection);
    }
    for (u32 at = 0; at < Server->EndpointCount; ++at) {
        close(Server->Endpoints[at].Descriptor);
        removeSocketFile(&Server->Endpoints[at]);
    }
    if (Server->PollSet >= 0) close(Server->PollSet);
    if (Server->Wake >= 0) close(Server->Wake);
    pthread_mutex_destroy(&Server->PassLock);
    pthread_mutex_destroy(&Server->Lock);
    free(Server);
}
