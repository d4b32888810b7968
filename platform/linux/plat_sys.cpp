// The system calls behind the platform, in one table.
//
// Calls with a variable argument list get a plain front here, for a table of pointers cannot hold them.

#include "plat_sys.h"

#include <dlfcn.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>

#include <cstdio>
#include <cstdlib>

static int sysOpen(const char *Path, int Flags, mode_t Mode)
{
    return open(Path, Flags, Mode);
}

static int sysFcntlInt(int Descriptor, int Command, int Argument)
{
    return fcntl(Descriptor, Command, Argument);
}

static int sysFcntlLock(int Descriptor, int Command, struct flock *Range)
{
    return fcntl(Descriptor, Command, Range);
}

static int sysIoctl(int Descriptor, unsigned long Request, void *Argument)
{
    return ioctl(Descriptor, Request, Argument);
}

static int sysPidfdOpen(pid_t Pid, unsigned Flags)
{
    return static_cast<int>(syscall(SYS_pidfd_open, Pid, Flags));
}

constinit Plat_SysTable Plat_Sys = {
    .Open = sysOpen,
    .Read = read,
    .Write = write,
    .Close = close,
    .Lseek = lseek,
    .Ftruncate = ftruncate,
    .Fsync = fsync,
    .Fdatasync = fdatasync,
    .Fchmod = fchmod,
    .Fchown = fchown,
    .Flock = flock,
    .Fstat = fstat,
    .Stat = stat,
    .Lstat = lstat,
    .Faccessat = faccessat,
    .FcntlInt = sysFcntlInt,
    .FcntlLock = sysFcntlLock,
    .Poll = poll,
    .Ioctl = sysIoctl,
    .Mkdir = mkdir,
    .Rmdir = rmdir,
    .Unlink = unlink,
    .Rename = rename,
    .Opendir = opendir,
    .Getcwd = getcwd,
    .Socket = socket,
    .Connect = connect,
    .Sendto = sendto,
    .Sendmsg = sendmsg,
    .Recv = recv,
    .Accept = accept,
    .Accept4 = accept4,
    .Bind = bind,
    .Listen = listen,
    .LogSocket = "/dev/log",
    .Gethostbyaddr = gethostbyaddr,
    .Gethostbyname = gethostbyname,
    .Getservbyname = getservbyname,
    .Getaddrinfo = getaddrinfo,
    .Sigaction = sigaction,
    .Uname = uname,
    .Gethostname = gethostname,
    .Pipe2 = pipe2,
    .PosixSpawn = posix_spawn,
    .PidfdOpen = sysPidfdOpen,
    .Waitid = waitid,
    .PthreadCreate = pthread_create,
    .Getpwnam = getpwnam_r,
    .Getpwuid = getpwuid_r,
    .Getgrnam = getgrnam_r,
    .Getgroups = getgroups,
    .GroupUse = 4,
    .ServerType = 0,
    .DomainController = nullptr,
    .ProcessVmReadv = process_vm_readv,
    .Dlopen = dlopen,
    .ClockGettime = clock_gettime,
    .TickedClock = clock_gettime,
    .Malloc = malloc,
    .Realloc = realloc,
};
