#ifndef PLAT_SHARE_H
#define PLAT_SHARE_H

// Who has which file open in this process, for the sharing rules of _open and CreateFileA: an open file refuses the
// accesses that its opener did not share, in both directions.
//
// Files are known by device and inode. Descriptors that the host closes behind our back are found out by a look at
// what the descriptor is now.

#include <sys/stat.h>

#include <atomic>

#include "plat_types.h"

constexpr u32 PLAT_SHARE_READ = 1;
constexpr u32 PLAT_SHARE_WRITE = 2;

// Enters an open regular file. Access and Share are sums of PLAT_SHARE_*: what this opener does, and what it lets
// others do. Returns 1; 0 when the file is open in a way that forbids it, and then nothing is entered.
PLAT_API i32 Plat_ShareEnter(int Descriptor, const struct stat *File, u32 Access, u32 Share);

// The same test with nothing entered.
PLAT_API i32 Plat_ShareAllows(const struct stat *File, u32 Access, u32 Share);

// Takes a descriptor out, before it is closed or handed on. One that is not in is allowed.
PLAT_API void Plat_ShareForget(int Descriptor);

// Which descriptors were entered, for the ones that a process commonly has.
constexpr int PLAT_SHARE_KNOWN = 1024;
extern std::atomic<u8> Plat_ShareKnown[PLAT_SHARE_KNOWN];

// Whether a descriptor was entered: a regular file, whose writes raise no signal. Takes no lock.
static inline bool Plat_ShareHas(int Descriptor)
{
    return Descriptor >= 0 && Descriptor < PLAT_SHARE_KNOWN &&
           Plat_ShareKnown[Descriptor].load(std::memory_order_relaxed) != 0;
}

// The same for the tests.
PLAT_API i32 Plat_ShareKnows(int Descriptor);

#endif
