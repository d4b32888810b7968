#ifndef PLAT_DESCRIPTOR_H
#define PLAT_DESCRIPTOR_H

// Rules that hold for every descriptor of the platform: none is below 3, none outlives an exec unless told so, no call
// is interrupted, and a write to a pipe without reader is an error and not a signal.

#include <sys/types.h>

#include "plat_types.h"

// Repeats a system call while it is interrupted.
#define PLAT_RETRY(Call)                                                                                               \
    ({                                                                                                                 \
        decltype(Call) platResult;                                                                                     \
        do platResult = (Call);                                                                                        \
        while (platResult == -1 && errno == EINTR);                                                                    \
        platResult;                                                                                                    \
    })

// Moves a new descriptor above the standard ones; closes the old number. -1 with errno, and then it is closed too.
// A Descriptor of -1 is handed through.
PLAT_API int Plat_DescriptorAbove2(int Descriptor);

// Opens a file closed on exec, at 3 or above. -1 with errno; a directory gives EACCES whatever the flags.
PLAT_API int Plat_OpenFile(const char *Path, int Flags, mode_t Mode);

// One write that raises no SIGPIPE; the count, or -1 with errno.
PLAT_API ssize_t Plat_WriteOnce(int Descriptor, const void *Data, size_t Size);

// Writes all; 0, or -1 with errno. *Written (may be null) receives the count in both cases.
PLAT_API int Plat_WriteAll(int Descriptor, const void *Data, size_t Size, size_t *Written);

// Whether a pipe is empty and has no writer any more.
bool Plat_PipeIsBroken(int Descriptor);

#endif
