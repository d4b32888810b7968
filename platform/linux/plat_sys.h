#ifndef PLAT_SYS_H
#define PLAT_SYS_H

// The system calls of the platform that can fail, as one table of pointers. Only tests write it, to make a call fail
// that would not; everything below platform/linux calls through it.

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>

#include "plat_types.h"

struct Plat_SysTable {
    // files
    int (*Open)(const char *Path, int Flags, mode_t Mode);
    ssize_t (*Read)(int Descriptor, void *Data, size_t Size);
    ssize_t (*Write)(int Descriptor, const void *Data, size_t Size);
    int (*Close)(int Descriptor);
    off_t (*Lseek)(int Descriptor, off_t Offset, int Origin);
    int (*Ftruncate)(int Descriptor, off_t Size);
    int (*Fsync)(int Descriptor);
    int (*Fdatasync)(int Descriptor);
    int (*Fchmod)(int Descriptor, mode_t Mode);
    int (*Fchown)(int Descriptor, uid_t Owner, gid_t Group);
    int (*Flock)(int Descriptor, int Operation);
    int (*Fstat)(int Descriptor, struct stat *Out);
    int (*Stat)(const char *Path, struct stat *Out);
    int (*Lstat)(const char *Path, struct stat *Out);
    int (*Faccessat)(int Directory, const char *Path, int Mode, int Flags);
    int (*FcntlInt)(int Descriptor, int Command, int Argument);
    int (*FcntlLock)(int Descriptor, int Command, struct flock *Range);
    int (*Poll)(struct pollfd *Entries, nfds_t Count, int Milliseconds);
    int (*Ioctl)(int Descriptor, unsigned long Request, void *Argument);
    // directories
    int (*Mkdir)(const char *Path, mode_t Mode);
    int (*Rmdir)(const char *Path);
    int (*Unlink)(const char *Path);
    int (*Rename)(const char *From, const char *To);
    DIR *(*Opendir)(const char *Path);
    char *(*Getcwd)(char *Out, size_t Size);
    // sockets
    int (*Socket)(int Family, int Type, int Protocol);
    int (*Connect)(int Descriptor, const struct sockaddr *Address, socklen_t Size);
    ssize_t (*Sendto)(int Descriptor, const void *Data, size_t Size, int Flags, const struct sockaddr *Address,
                      socklen_t AddressSize);
    ssize_t (*Sendmsg)(int Descriptor, const struct msghdr *Message, int Flags);
    ssize_t (*Recv)(int Descriptor, void *Data, size_t Size, int Flags);
    int (*Accept)(int Descriptor, struct sockaddr *Address, socklen_t *AddressSize);
    int (*Accept4)(int Descriptor, struct sockaddr *Address, socklen_t *AddressSize, int Flags);
    int (*Bind)(int Descriptor, const struct sockaddr *Address, socklen_t Size);
    int (*Listen)(int Descriptor, int Backlog);
    const char *LogSocket; // path of the local log socket
    // resolver
    struct hostent *(*Gethostbyaddr)(const void *Address, socklen_t Length, int Family);
    struct hostent *(*Gethostbyname)(const char *Name);
    struct servent *(*Getservbyname)(const char *Name, const char *Protocol);
    int (*Getaddrinfo)(const char *Host, const char *Service, const struct addrinfo *Hints, struct addrinfo **Found);
    // signals and the system's name
    int (*Sigaction)(int Signal, const struct sigaction *Action, struct sigaction *Before);
    int (*Uname)(struct utsname *Out);
    int (*Gethostname)(char *Out, size_t Size);
    // pipes, processes and threads
    int (*Pipe2)(int Ends[2], int Flags);
    int (*PosixSpawn)(pid_t *Pid, const char *Path, const posix_spawn_file_actions_t *Actions,
                      const posix_spawnattr_t *Attributes, char *const *Arguments, char *const *Environment);
    int (*PidfdOpen)(pid_t Pid, unsigned Flags);
    int (*Waitid)(idtype_t Kind, id_t Id, siginfo_t *Out, int Options);
    int (*PthreadCreate)(pthread_t *Thread, const pthread_attr_t *Attributes, void *(*Start)(void *), void *Word);
    // accounts
    int (*Getpwnam)(const char *Name, struct passwd *Row, char *Buffer, size_t Size, struct passwd **Found);
    int (*Getpwuid)(uid_t Id, struct passwd *Row, char *Buffer, size_t Size, struct passwd **Found);
    int (*Getgrnam)(const char *Name, struct group *Row, char *Buffer, size_t Size, struct group **Found);
    int (*Getgroups)(int Room, gid_t *Out);
    u32 GroupUse; // kind of account that a group is reported as: 4, a local group
    u32 ServerType; // kind of server that this machine is: 0, none
    const char *DomainController; // controller of every domain, "\\\\NAME"; null: there are none
    // faults: memory that may not be there, libraries that may not be there
    ssize_t (*ProcessVmReadv)(pid_t Pid, const struct iovec *Local, unsigned long LocalCount,
                              const struct iovec *Remote, unsigned long RemoteCount, unsigned long Flags);
    void *(*Dlopen)(const char *Name, int Flags);
    // clock and memory
    int (*ClockGettime)(clockid_t Clock, struct timespec *Out);
    // the ClockGettime between whose readings the processor's counter may tell the time; any other is always asked
    int (*TickedClock)(clockid_t Clock, struct timespec *Out);
    void *(*Malloc)(size_t Size);
    void *(*Realloc)(void *Block, size_t Size);
};

extern PLAT_API Plat_SysTable Plat_Sys;

#endif
