// Sockets and the resolver over their POSIX forms.

#include "win32_socket.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>

#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_passon.h"
#include "plat_sys.h"
#include "win32_error.h"

// Winsock's numbers where a socket has one and the general table gives another.
struct socketErrorRow {
    int Errno;
    u32 Error;
};

constexpr socketErrorRow socketErrorRows[] = {
    {EINTR, 10004},  {EBADF, 10038},  {EACCES, 10013},    {EFAULT, 10014},       {EINVAL, 10022}, {EMFILE, 10024},
    {ENFILE, 10024}, {EAGAIN, 10035}, {ETIMEDOUT, 10060}, {ENAMETOOLONG, 10063}, {ENOMEM, 10055}, {EPIPE, 10058},
};

static u32 socketError(int Errno)
{
    for (const socketErrorRow &row : socketErrorRows)
        if (row.Errno == Errno) return row.Error;
    return Plat_ErrorFromErrno(Errno);
}

static i32 failSocket()
{
    SetLastError(socketError(errno));
    return PLAT_SOCKET_ERROR;
}

i32 WSAGetLastError(void)
{
    return static_cast<i32>(GetLastError());
}

i32 ioctlsocket(u32 Socket, i32 Option, u32 *Value)
{
    if (Option != FIONBIO) {
        SetLastError(socketError(EINVAL));
        return PLAT_SOCKET_ERROR;
    }
    const int descriptor = static_cast<int>(Socket);
    const int flags = Plat_Sys.FcntlInt(descriptor, F_GETFL, 0);
    if (flags == -1) return failSocket();
    const int wanted = *Value != 0 ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    return Plat_Sys.FcntlInt(descriptor, F_SETFL, wanted) == -1 ? failSocket() : 0;
}

constexpr i64 nanosPerSecond = 1000000000;
constexpr i64 nanosPerMilli = 1000000;
constexpr i64 longestPoll = 0x7FFFFFFF;

static i64 nowNanos()
{
    struct timespec now;
    Plat_Sys.ClockGettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nanosPerSecond + now.tv_nsec;
}

// Milliseconds to wait until a deadline, rounded up so that a wait never ends early; 0 when it has passed.
static int pollLimit(i64 Deadline)
{
    const i64 left = Deadline - nowNanos();
    if (left <= 0) return 0;
    const i64 millis = (left + nanosPerMilli - 1) / nanosPerMilli;
    return static_cast<int>(millis < longestPoll ? millis : longestPoll);
}

// The end of a wait that begins now; a limit beyond the clock's reach counts as its last moment.
static i64 deadlineOf(const struct timeval *Limit)
{
    constexpr i64 longestSeconds = 1000000000;
    const i64 seconds = Limit->tv_sec < longestSeconds ? Limit->tv_sec : longestSeconds;
    return nowNanos() + seconds * nanosPerSecond + Limit->tv_usec * 1000;
}

i32 plat_select(plat_SocketSet *Readable, const struct timeval *Limit)
{
    if (Readable == nullptr || Readable->Count == 0 || Readable->Count > PLAT_SELECT_ROOM ||
        (Limit != nullptr && (Limit->tv_sec < 0 || Limit->tv_usec < 0))) {
        SetLastError(socketError(EINVAL));
        return PLAT_SOCKET_ERROR;
    }

    struct pollfd entries[PLAT_SELECT_ROOM];
    for (u32 i = 0; i < Readable->Count; ++i) entries[i] = {static_cast<int>(Readable->Sockets[i]), POLLIN, 0};

    const i64 deadline = Limit == nullptr ? 0 : deadlineOf(Limit);
    int ready;
    do ready = Plat_Sys.Poll(entries, Readable->Count, Limit == nullptr ? -1 : pollLimit(deadline));
    while (ready == -1 && errno == EINTR);
    if (ready == -1) return failSocket();

    u32 count = 0;
    for (u32 i = 0; i < Readable->Count; ++i) {
        if (entries[i].revents & POLLNVAL) {
            SetLastError(socketError(EBADF));
            return PLAT_SOCKET_ERROR;
        }
        if (entries[i].revents != 0) Readable->Sockets[count++] = Readable->Sockets[i];
    }
    Readable->Count = count;
    return static_cast<i32>(count);
}

u32 plat_accept(u32 Socket, struct sockaddr *Address, socklen_t *Size)
{
    int taken;
    do taken = Plat_Sys.Accept(static_cast<int>(Socket), Address, Size);
    while (taken == -1 && (errno == EINTR || errno == ECONNABORTED));

    taken = Plat_DescriptorAbove2(taken);
    if (taken == -1) {
        failSocket();
        return PLAT_INVALID_SOCKET;
    }
    // A handler program finds its connection by number, so this one descriptor outlives an exec.
    Plat_Sys.FcntlInt(taken, F_SETFD, 0);
    Plat_PassOn(taken);
    return static_cast<u32>(taken);
}

i32 closesocket(u32 Socket)
{
    Plat_PassOnNoMore(static_cast<int>(Socket));
    return Plat_Sys.Close(static_cast<int>(Socket)) == 0 ? 0 : failSocket();
}

// From the resolver's reasons 1 to 4 to 11001 to 11004; a failure of the system behind it has its errno.
static void setResolverError(int Reason)
{
    constexpr u32 resolverBase = 11000;
    SetLastError(Reason >= HOST_NOT_FOUND && Reason <= NO_DATA ? resolverBase + static_cast<u32>(Reason)
                                                               : socketError(errno));
}

struct hostent *plat_gethostbyaddr(const void *Address, u32 Length, i32 Type)
{
    errno = 0;
    struct hostent *const found = Plat_Sys.Gethostbyaddr(Address, Length, Type);
    if (found == nullptr) setResolverError(h_errno);
    return found;
}

struct hostent *plat_gethostbyname(const char *Name)
{
    errno = 0;
    struct hostent *const found = Plat_Sys.Gethostbyname(Name);
    if (found == nullptr) setResolverError(h_errno);
    return found;
}

struct servent *plat_getservbyname(const char *Name, const char *Protocol)
{
    struct servent *const found = Plat_Sys.Getservbyname(Name, Protocol);
    if (found == nullptr) SetLastError(11004); // the data base has no such entry
    return found;
}
