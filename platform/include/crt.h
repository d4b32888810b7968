#ifndef PLAT_CRT_H
#define PLAT_CRT_H

/* The runtime calls with an underscore: files by descriptor, environment, time zone. Every path goes through the path
 * map: a backslash is a separator, a drive letter falls away, NUL is the null device, and a name that ends in .exe and
 * does not exist is tried without it. Failures leave errno as libc set it. */

#include <stdio.h>

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
    u32 st_mode;
    i64 st_size;
    i64 st_mtime_seconds;
};

/* A descriptor of 3 or more, or -1. Closed on exec. Mode holds the permission bits of a new file. */
PLAT_API i32 _open(const char *Path, i32 Flags, u32 Mode);
/* The count written or read (a short write stays short), or -1. Interrupted calls are repeated. */
PLAT_API i32 _write(i32 Descriptor, const void *Data, u32 Size);
PLAT_API i32 _read(i32 Descriptor, void *Data, u32 Size);
PLAT_API i32 _close(i32 Descriptor);
PLAT_API i32 _chsize(i32 Descriptor, i32 Size);
/* Origin 0 start, 1 current, 2 end; the new offset or -1. */
PLAT_API i32 _lseek(i32 Descriptor, i32 Offset, i32 Origin);
PLAT_API i32 _commit(i32 Descriptor);
PLAT_API i32 _mkdir(const char *Path);
PLAT_API i32 _stat32(const char *Path, struct plat_stat32 *Out);
/* Effective rights: Mode 0 exists, 2 write, 4 read, 6 both; 0 or -1. */
PLAT_API i32 _access(const char *Path, i32 Mode);
PLAT_API char *_fullpath(char *Out, const char *Path, size_t Size);
PLAT_API char *_getcwd(char *Out, i32 Size);
PLAT_API i32 _getpid(void);
/* "NAME=VALUE" sets, "NAME=" removes; -1 without '=' or with an empty name. At start-up only: not thread safe. */
PLAT_API i32 _putenv(const char *Text);
PLAT_API void _tzset(void);
PLAT_API i32 Plat_Timezone(void);
PLAT_API i32 Plat_Daylight(void);

#define _timezone Plat_Timezone()
#define _daylight Plat_Daylight()

/* The descriptor of a file, pipe end or standard stream; the handle is gone then. -1 with errno EBADF for any other
 * handle. Flags must be 0. */
PLAT_API i32 _open_osfhandle(handle File, i32 Flags);

#define PLAT_HEAP_OK -2

/* Always PLAT_HEAP_OK: this heap has no check that is safe in a failing process. */
PLAT_API i32 _heapchk(void);

/* The longest character of the current locale, in bytes. */
PLAT_API i32 ___mb_cur_max_func(void);

/* fopen through the path map; the stream is closed on exec. */
PLAT_API FILE *plat_fopen(const char *Path, const char *Mode);

/* The path as this system opens it: separators, drive letter, NUL and .exe resolved. Returns Out; NULL with errno
 * ENAMETOOLONG when it does not fit. */
PLAT_API char *Plat_MapPath(const char *Path, char *Out, size_t Size);

PLAT_END_C

#endif
