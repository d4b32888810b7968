// Connections. Sockets stay blocking: a wait without limit is one system call, and every other wait is a poll first.

#include "qrt_stream.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

constexpr size_t firstCapacity = 8192;

struct ErrorRow {
    int Error;
    u32 Status;
};

static constexpr ErrorRow connectRows[] = {
    {ECONNREFUSED, rpc_s_connect_rejected},
    {ETIMEDOUT, rpc_s_connect_timed_out},
    {EAGAIN, rpc_s_connect_rejected}, // a local socket whose backlog is full
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
};

u32 Qrt_StatusOfConnect(int Error)
{
    for (const ErrorRow &row : connectRows) {
        if (row.Error == Error) return row.Status;
    }
    return rpc_s_cannot_connect;
}

u32 Qrt_StatusOfTransfer(int Error)
{
    switch (Error) {
    case ECONNRESET:
    case EPIPE: return rpc_s_connect_closed_by_rem;
    case ETIMEDOUT: return rpc_s_rem_host_crashed; // keep-alive found nobody
    case ENETDOWN:
    case ENETUNREACH:
    case EHOSTUNREACH: return rpc_s_rem_network_shutdown;
    case ENOMEM:
    case ENOBUFS: return rpc_s_no_memory;
    default: return rpc_s_comm_failure;
    }
}

// ---- opening

// Waits until a descriptor is ready for Events: 1, 0 when the deadline passed, -1 with errno.
static int waitFor(int descriptor, short events, i64 deadline, short *seen)
{
    struct pollfd entry = {descriptor, events, 0};
    for (;;) {
        const int count = Plat_Sys.Poll(&entry, 1, Qrt_Remaining(deadline));
        if (count < 0 && errno == EINTR) continue;
        if (seen) *seen = entry.revents;
        return count;
    }
}

static u32 finishConnect(int descriptor, i64 deadline)
{
    const int ready = waitFor(descriptor, POLLOUT, deadline, nullptr);
    if (ready == 0) return rpc_s_connect_timed_out;
    if (ready < 0) return Qrt_StatusOfConnect(errno);
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    return error == 0 ? rpc_s_ok : Qrt_StatusOfConnect(error);
}

// Keep-alive tells within two minutes that the host of a long call is gone.
static void tuneTcp(int descriptor)
{
    static constexpr int on = 1, idleSeconds = 60, probeSeconds = 15, probes = 4;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &idleSeconds, sizeof idleSeconds);
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, &probeSeconds, sizeof probeSeconds);
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
}

static u32 connectTo(const struct sockaddr *address, socklen_t size, i64 deadline, int *out)
{
    const int descriptor = Plat_Sys.Socket(address->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return Qrt_StatusOfConnect(errno);
    u32 status = rpc_s_ok;
    if (Plat_Sys.Connect(descriptor, address, size) != 0) {
        const bool underWay = errno == EINPROGRESS || errno == EINTR;
        status = underWay ? finishConnect(descriptor, deadline) : Qrt_StatusOfConnect(errno);
    }
    if (status == rpc_s_ok && fcntl(descriptor, F_SETFL, 0) != 0) status = rpc_s_cannot_connect;
    if (status != rpc_s_ok) {
        close(descriptor);
        return status;
    }
    if (address->sa_family != AF_UNIX) tuneTcp(descriptor);
    *out = descriptor;
    return rpc_s_ok;
}

static u32 openLocal(const char *endpoint, i64 deadline, int *out)
{
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (!Qrt_LocalPath(endpoint, address.sun_path, sizeof address.sun_path)) return rpc_s_invalid_endpoint_format;
    return connectTo(reinterpret_cast<struct sockaddr *>(&address), sizeof address, deadline, out);
}

static u32 statusOfResolver(int error)
{
    switch (error) {
    case EAI_AGAIN: return rpc_s_host_unreachable; // no name server answers
    case EAI_MEMORY: return rpc_s_no_memory;
    default: return rpc_s_inval_net_addr;
    }
}

// Each address of the host in turn; the status is that of the last one.
static u32 openTcp(const char *host, const char *endpoint, i64 deadline, int *out)
{
    struct addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    struct addrinfo *found = nullptr;
    const int error = Plat_Sys.Getaddrinfo(*host ? host : "127.0.0.1", endpoint, &hints, &found);
    if (error != 0) return statusOfResolver(error);
    u32 status = rpc_s_inval_net_addr;
    for (const struct addrinfo *at = found; at && status != rpc_s_ok; at = at->ai_next)
        status = connectTo(at->ai_addr, at->ai_addrlen, deadline, out);
    freeaddrinfo(found);
    return status;
}

u32 Qrt_StreamOpen(Qrt_Stream *Stream, Qrt_Protocol Protocol, const char *Host, const char *Endpoint, i64 Deadline)
{
    *Stream = {};
    Stream->Descriptor = -1;
    Stream->Buffer = static_cast<u8 *>(Plat_Sys.Malloc(firstCapacity));
    if (!Stream->Buffer) return rpc_s_no_memory;
    Stream->Capacity = firstCapacity;
    const u32 status = Protocol == QRT_LOCAL ? openLocal(Endpoint, Deadline, &Stream->Descriptor)
                                             : openTcp(Host, Endpoint, Deadline, &Stream->Descriptor);
    if (status != rpc_s_ok) Qrt_StreamClose(Stream);
    return status;
}

void Qrt_StreamClose(Qrt_Stream *Stream)
{
    if (Stream->Descriptor >= 0) close(Stream->Descriptor);
    free(Stream->Buffer);
    *Stream = {};
    Stream->Descriptor = -1;
}

bool Qrt_StreamIsQuiet(const Qrt_Stream *Stream)
{
    u8 octet;
    if (Stream->Next != Stream->End) return false;
    const ssize_t count = Plat_Sys.Recv(Stream->Descriptor, &octet, 1, MSG_PEEK | MSG_DONTWAIT);
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

// ---- sending

static i64 pauseEnd(const Qrt_Patience *patience)
{
    const i64 pause = Qrt_After(patience->Pause);
    if (!patience->WholeBy || patience->FirstBy == QRT_NEVER) return pause;
    return pause == QRT_NEVER || patience->FirstBy < pause ? patience->FirstBy : pause;
}

// The socket takes nothing more: waits for room, or for an answer that comes before the whole input is out.
static u32 awaitRoom(int descriptor, const Qrt_Patience *patience, bool *answered)
{
    short seen = 0;
    const short events = static_cast<short>(POLLOUT | (answered ? POLLIN : 0));
    const int ready = waitFor(descriptor, events, pauseEnd(patience), &seen);
    if (ready == 0) return rpc_s_comm_failure;
    if (ready < 0) return Qrt_StatusOfTransfer(errno);
    if (answered && (seen & POLLIN)) *answered = true;
    return rpc_s_ok;
}

u32 Qrt_StreamSend(Qrt_Stream *Stream, const void *Head, size_t HeadSize, const void *Body, size_t BodySize,
                   const Qrt_Patience *Patience, size_t *Taken, bool *Answered)
{
    struct iovec parts[2] = {{const_cast<void *>(Head), HeadSize}, {const_cast<void *>(Body), BodySize}};
    *Taken = 0;
    while (*Taken < HeadSize + BodySize) {
        struct msghdr message = {};
        const bool headDone = parts[0].iov_len == 0;
        message.msg_iov = headDone ? &parts[1] : parts;
        message.msg_iovlen = headDone || BodySize == 0 ? 1 : 2;
        const ssize_t count = Plat_Sys.Sendmsg(Stream->Descriptor, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            if (errno == EINTR) continue;
            if (errno != EAGAIN) return Qrt_StatusOfTransfer(errno);
            const u32 status = awaitRoom(Stream->Descriptor, Patience, Answered);
            if (status != rpc_s_ok) return status;
            if (Answered && *Answered) return rpc_s_ok;
            continue;
        }
        *Taken += static_cast<size_t>(count);
        size_t left = static_cast<size_t>(count);
        for (struct iovec &part : parts) {
            const size_t step = left < part.iov_len ? left : part.iov_len;
            part.iov_base = static_cast<u8 *>(part.iov_base) + step;
            part.iov_len -= step;
            left -= step;
        }
    }
    return rpc_s_ok;
}

// ---- receiving

static u32 awaitData(Qrt_Stream *stream, const Qrt_Patience *patience, bool begun, int *flags)
{
    const i64 deadline = begun ? pauseEnd(patience) : patience->FirstBy;
    *flags = 0;
    if (deadline == QRT_NEVER) return rpc_s_ok; // the receive itself waits
    *flags = MSG_DONTWAIT;
    const int ready = waitFor(stream->Descriptor, POLLIN, deadline, nullptr);
    if (ready < 0) return Qrt_StatusOfTransfer(errno);
    if (ready > 0) return rpc_s_ok;
    return begun && !(patience->WholeBy && Qrt_Remaining(patience->FirstBy) == 0) ? rpc_s_comm_failure
                                                                                  : patience->LateStatus;
}

// Goes on until Size octets stand from Begin on.
static u32 fill(Qrt_Stream *stream, size_t size, const Qrt_Patience *patience)
{
    while (stream->End - stream->Begin < size) {
        const bool begun = stream->End != stream->Begin || patience->Begun;
        int flags;
        const u32 status = awaitData(stream, patience, begun, &flags);
        if (status != rpc_s_ok) return status;
        const ssize_t count =
            Plat_Sys.Recv(stream->Descriptor, stream->Buffer + stream->End, stream->Capacity - stream->End, flags);
        if (count == 0) return begun ? rpc_s_comm_failure : rpc_s_connection_closed;
        if (count < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            return Qrt_StatusOfTransfer(errno);
        }
        stream->End += static_cast<size_t>(count);
    }
    return rpc_s_ok;
}

// Makes room for a PDU of Size octets at the start of the buffer, keeping what has come already.
static bool makeRoom(Qrt_Stream *stream, size_t size)
{
    if (stream->Begin != 0) {
        memmove(stream->Buffer, stream->Buffer + stream->Begin, stream->End - stream->Begin);
        stream->End -= stream->Begin;
        stream->Begin = 0;
    }
    if (size <= stream->Capacity) return true;
    u8 *buffer = static_cast<u8 *>(Plat_Sys.Realloc(stream->Buffer, size));
    if (!buffer) return false;
    stream->Buffer = buffer;
    stream->Capacity = size;
    return true;
}

u32 Qrt_StreamReceive(Qrt_Stream *Stream, const Qrt_Patience *Patience, Qrt_Header *Header, const u8 **Pdu)
{
    Stream->Begin = Stream->Next;
    if (Stream->Begin == Stream->End) Stream->Begin = Stream->End = 0;
    if (Stream->Capacity - Stream->Begin < QRT_HEADER_SIZE) makeRoom(Stream, QRT_HEADER_SIZE);
    u32 status = fill(Stream, QRT_HEADER_SIZE, Patience);
    if (status != rpc_s_ok) return status;
    if (!Qrt_ReadHeader(Stream->Buffer + Stream->Begin, Header)) return rpc_s_protocol_error;
    if (Stream->Capacity - Stream->Begin < Header->Length && !makeRoom(Stream, Header->Length)) return rpc_s_no_memory;
    status = fill(Stream, Header->Length, Patience);
    if (status != rpc_s_ok) return status;
    Stream->Next = Stream->Begin + Header->Length;
    *Pdu = Stream->Buffer + Stream->Begin;
    return rpc_s_ok;
}
