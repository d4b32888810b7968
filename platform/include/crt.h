#ifndef PLAT_CRT_H
#define PLAT_CRT_H

/* The runtime calls with an underscore: files by descriptor, environment, time zone.
 *
 * Every path goes through the path map: a backslash is a separator, a drive letter falls away, NUL (in any case) is the
 * null device, and a name that ends in .exe and does not exist is tried without it. Case is not folded.
 *
 * Every descriptor is 3 or more and closed on exec. Interrupted calls are repeated. Failures leave errno as libc set it;
 * the last error is not touched. Unless it says otherwise, a call is safe from any thread. */

#include <stdio.h>
#include <time.h>

#include "plat_types.h"

PLAT_BEGIN

#define PLAT_O_RDONLY 0x0000
#define PLAT_O_WRONLY 0x0001
#define PLAT_O_RDWR 0x0002
#define PLAT_O_APPEND 0x0008
#define PLAT_O_RANDOM 0x0010
#define PLAT_O_SEQUENTIAL 0x0020
#define PLAT_O_NOINHERIT 0x0080
#define PLAT_O_CREAT 0x0100
#define PLAT_O_TRUNC 0x0200
#define PLAT_O_EXCL 0x0400
#define PLAT_O_TEXT 0x4000
#define PLAT_O_BINARY 0x8000

#define PLAT_S_IFMT 0xF000u
#define PLAT_S_IFDIR 0x4000u

struct plat_stat32 {
    u32 st_mode; /* type and permission bits, with their POSIX values */
    i64 st_size; /* bytes */
    i64 st_mtime_seconds;
};

/* Opens a file.
 *
 * Flags  sum of PLAT_O_*; text mode changes no byte. An unknown flag, and truncation without write access: EINVAL.
 * Mode   permission bits of a new file, less the umask
 *
 * Returns a descriptor, or -1. A directory gives EACCES in every mode, and so does a file that this process has open
 * through CreateFileA without sharing it; nothing is truncated then. */
PLAT_API i32 _open(const char *Path, i32 Flags, u32 Mode);

/* One write. The count written (a short write stays short), or -1; EPIPE and no signal for a pipe without reader. */
PLAT_API i32 _write(i32 Descriptor, const void *Data, u32 Size);

/* One read. The count read, 0 at the end, or -1. */
PLAT_API i32 _read(i32 Descriptor, void *Data, u32 Size);

/* Closes any descriptor, the standard ones too. 0 or -1. */
PLAT_API i32 _close(i32 Descriptor);

/* Sets the length of a file; the position stays. 0 or -1. */
PLAT_API i32 _chsize(i32 Descriptor, i32 Size);

/* Moves the position: Origin 0 from the start, 1 from the position, 2 from the end. The new position or -1; one beyond
 * 2^31 - 1 gives EOVERFLOW and moves nothing. */
PLAT_API i32 _lseek(i32 Descriptor, i32 Offset, i32 Origin);

/* Waits until what was written is on disk. 0 or -1. */
PLAT_API i32 _commit(i32 Descriptor);

/* Makes a directory with all rights that the umask leaves. 0 or -1. */
PLAT_API i32 _mkdir(const char *Path);

/* Looks at a file; symbolic links are followed. 0 or -1. */
PLAT_API i32 _stat32(const char *Path, struct plat_stat32 *Out);

/* Tests the effective rights of the process: Mode 0 exists, 2 write, 4 read, 6 both; any other EINVAL. 0 or -1. The
 * super-user passes every test. */
PLAT_API i32 _access(const char *Path, i32 Mode);

/* The absolute form of a path, whether there is such a file or not: "." and ".." and repeated separators are resolved by
 * the text alone. NULL or an empty path is the current directory.
 *
 * Out   receives the path. NULL: the result is a heap block that the caller releases with free.
 *
 * Returns the path, or NULL with ERANGE when it does not fit into Size bytes. */
PLAT_API char *_fullpath(char *Out, const char *Path, size_t Size);

/* The current directory. Returns Out, or NULL with ERANGE when it does not fit into Size bytes; EINVAL for a NULL Out. */
PLAT_API char *_getcwd(char *Out, i32 Size);

PLAT_API i32 _getpid(void);

/* "NAME=VALUE" sets, "NAME=" removes; the text is copied. 0, or -1 without '=' or with an empty name. At start-up only:
 * the environment of this C library is not thread safe. */
PLAT_API i32 _putenv(const char *Text);

/* Reads the time zone from TZ. _timezone is seconds west of UTC, _daylight nonzero where summer time is known. */
PLAT_API void _tzset(void);

#define _timezone ((i32)__timezone)
#define _daylight ((i32)__daylight)

/* The descriptor of a file, pipe end or standard stream, closed on exec; the handle is gone then. Flags must be 0.
 * -1 with EBADF for any other handle. */
PLAT_API i32 _open_osfhandle(handle File, i32 Flags);

#define PLAT_HEAP_OK (-2)

/* Always PLAT_HEAP_OK: this heap has no check that is safe in a failing process. */
PLAT_API i32 _heapchk(void);

/* The longest character of the current locale, in bytes. */
PLAT_API i32 ___mb_cur_max_func(void);

/* fopen by the rules of _open; Mode is r, w or a, then + b t in any order. NULL with errno. For fclose. */
PLAT_API FILE *plat_fopen(const char *Path, const char *Mode);

/* The path as this system opens it. Returns Out; NULL with ENAMETOOLONG when it does not fit into Size bytes. errno is
 * not changed otherwise. */
PLAT_API char *Plat_MapPath(const char *Path, char *Out, size_t Size);

PLAT_END_C

#endif
