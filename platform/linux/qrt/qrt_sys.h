#ifndef QRT_SYS_H
#define QRT_SYS_H

// The system calls of this runtime that can fail, as one table of pointers. Only tests write it, to make a call fail
// that would not; every other file of this folder calls through it.

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

#include "plat_types.h"

struct Qrt_SysTable {
    int (*Socket)(int Family, int Type, int Protocol);
    int (*Connect)(int Descriptor, const struct sockaddr *Address, socklen_t Size);
    int (*Bind)(int Descriptor, const struct sockaddr *Address, socklen_t Size);
    int (*Listen)(int Descriptor, int Backlog);
    int (*Accept4)(int Descriptor, struct sockaddr *Address, socklen_t *Size, int Flags);
    ssize_t (*Recv)(int Descriptor, void *Data, size_t Size, int Flags);
    ssize_t (*Sendmsg)(int Descriptor, const struct msghdr *Message, int Flags);
    int (*Poll)(struct pollfd *Entries, nfds_t Count, int Milliseconds);
    int (*Getaddrinfo)(const char *Host, const char *Service, const struct addrinfo *Hints, struct addrinfo **Found);
    void *(*Malloc)(size_t Size);
    void *(*Realloc)(void *Block, size_t Size);
};

extern PLAT_API Qrt_SysTable Qrt_Sys;

#endif
