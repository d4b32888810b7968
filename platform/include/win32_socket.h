#ifndef WIN32_SOCKET_H
#define WIN32_SOCKET_H

/* Sockets and the resolver. A socket is a descriptor of the system; addresses, hostent, servent and ntohs are the
 * system's own (POSIX). Names that POSIX gives another behaviour have a prefix. Errors are Winsock's numbers: 10038 no
 * socket, 10035 would block, 10024 too many open, 10022 invalid argument, 11001 no such host ... */

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h> /* gethostname */

#include "plat_types.h"

PLAT_BEGIN

#define PLAT_INVALID_SOCKET 0xFFFFFFFFu
#define PLAT_SOCKET_ERROR (-1)

/* Option of ioctlsocket: a nonzero Value makes a socket non-blocking, 0 blocking. */
#define FIONBIO ((i32)0x8004667E)

#define PLAT_SELECT_ROOM 64

typedef struct plat_SocketSet {
    u32 Count;
    u32 Sockets[PLAT_SELECT_ROOM];
} plat_SocketSet;

/* The calling thread's last error, the same word as GetLastError. */
PLAT_API i32 WSAGetLastError(void);

/* Switches a socket to non-blocking and back. Returns 0, or PLAT_SOCKET_ERROR with the reason in WSAGetLastError. */
PLAT_API i32 ioctlsocket(u32 Socket, i32 Option, u32 *Value);

/* Waits until a socket can be read, or accepts; ends of streams and broken sockets count as readable.
 *
 * Readable  the sockets to wait for, at least one; receives those that are ready, in their order
 * Limit     how long; NULL without limit. Is left as it was. Interrupted waits go on for the rest of it
 *
 * Returns the count of ready sockets, 0 when the time is up, PLAT_SOCKET_ERROR with the reason in WSAGetLastError. */
PLAT_API i32 plat_select(plat_SocketSet *Readable, const struct timeval *Limit);

/* Takes the next connection of a listening socket; waits for it while the socket blocks. A connection that was given
 * up before it could be taken is passed over.
 *
 * Address  may be NULL; else receives the other end's address, Size in and out as in POSIX
 *
 * Returns a socket that processes started from now on inherit under its own number, or PLAT_INVALID_SOCKET with the
 * reason in WSAGetLastError. */
PLAT_API u32 plat_accept(u32 Socket, struct sockaddr *Address, socklen_t *Size);

/* Returns 0, or PLAT_SOCKET_ERROR with the reason in WSAGetLastError. */
PLAT_API i32 closesocket(u32 Socket);

/* The look-ups of POSIX; a failure leaves its reason in WSAGetLastError. The answer lies in memory of the C library
 * that the next look-up overwrites: callers that share it hold a lock. */
PLAT_API struct hostent *plat_gethostbyaddr(const void *Address, u32 Length, i32 Type);
PLAT_API struct hostent *plat_gethostbyname(const char *Name);
PLAT_API struct servent *plat_getservbyname(const char *Name, const char *Protocol);

PLAT_END_C

#endif
