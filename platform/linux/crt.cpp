// The runtime calls with an underscore.
//
// Every path passes Plat_MapPath, every descriptor is 3 or more and closed on exec, and no call is interrupted. Files
// that _open gives out are entered in the sharing table, and truncated only after that table has agreed.

#include "crt.h"

#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "plat_descriptor.h"
#include "plat_handles.h"
#include "plat_path.h"
#include "plat_share.h"
#include "plat_sys.h"

constexpr i32 accessMask = 3;
constexpr i32 acceptedFlags = accessMask | PLAT_O_APPEND | PLAT_O_NOINHERIT | PLAT_O_SEQUENTIAL | PLAT_O_RANDOM |
                              PLAT_O_CREAT | PLAT_O_TRUNC | PLAT_O_EXCL | PLAT_O_TEXT | PLAT_O_BINARY;
constexpr u32 permissionBits = 0777;

// The flags for the kernel, without truncation; -1 for a mixture that makes no sense.
static int kernelFlags(i32 Flags)
{
    const i32 access = Flags & accessMask;
    if ((Flags & ~acceptedFlags) != 0 || access == accessMask) return -1;
    if ((Flags & PLAT_O_TRUNC) != 0 && access == PLAT_O_RDONLY) return -1;
    int flags = access == PLAT_O_RDONLY ? O_RDONLY : access == PLAT_O_WRONLY ? O_WRONLY : O_RDWR;
    if (Flags & PLAT_O_APPEND) flags |= O_APPEND;
    if (Flags & PLAT_O_CREAT) flags |= O_CREAT;
    if ((Flags & PLAT_O_CREAT) && (Flags & PLAT_O_EXCL)) flags |= O_EXCL;
    return flags;
}

// Opens, asks the sharing table, truncates. Enter says whether the descriptor is kept in the table.
static int openShared(const char *Path, i32 Flags, u32 Mode, bool Enter)
{
    char mapped[PLAT_PATH_ROOM];
    const int flags = kernelFlags(Flags);
    if (flags < 0 || Path == nullptr) {
        errno = EINVAL;
        return -1;
    }
    if (Plat_MapPath(Path, mapped, sizeof mapped) == nullptr) return -1;
    const int descriptor = Plat_OpenFile(mapped, flags, Mode & permissionBits);
    if (descriptor < 0) return -1;

    struct stat file;
    if (Plat_Sys.Fstat(descriptor, &file) == 0) {
        if (!S_ISREG(file.st_mode)) return descriptor;
        const i32 access = Flags & accessMask;
        const u32 wants =
            (access != PLAT_O_WRONLY ? PLAT_SHARE_READ : 0) | (access != PLAT_O_RDONLY ? PLAT_SHARE_WRITE : 0);
        const u32 all = PLAT_SHARE_READ | PLAT_SHARE_WRITE;
        const i32 allowed =
            Enter ? Plat_ShareEnter(descriptor, &file, wants, all) : Plat_ShareAllows(&file, wants, all);
        if (!allowed) {
            errno = EACCES;
        } else if (!(Flags & PLAT_O_TRUNC) || PLAT_RETRY(Plat_Sys.Ftruncate(descriptor, 0)) == 0) {
            return descriptor;
        }
    }
    const int reason = errno;
    Plat_ShareForget(descriptor);
    Plat_Sys.Close(descriptor);
    errno = reason;
    return -1;
}

i32 _open(const char *Path, i32 Flags, u32 Mode)
{
    return openShared(Path, Flags, Mode, true);
}

i32 _write(i32 Descriptor, const void *Data, u32 Size)
{
    if (Size > INT_MAX) {
        errno = EINVAL;
        return -1;
    }
    if (Plat_ShareHas(Descriptor)) return static_cast<i32>(PLAT_RETRY(Plat_Sys.Write(Descriptor, Data, Size)));
    return static_cast<i32>(Plat_WriteOnce(Descriptor, Data, Size));
}

i32 _read(i32 Descriptor, void *Data, u32 Size)
{
    if (Size > INT_MAX) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<i32>(PLAT_RETRY(Plat_Sys.Read(Descriptor, Data, Size)));
}

i32 _close(i32 Descriptor)
{
    Plat_ShareForget(Descriptor);
    // An interrupted close has closed: a second one could hit a descriptor of another thread.
    const int result = Plat_Sys.Close(Descriptor);
    return result == 0 || errno == EINTR ? 0 : -1;
}

i32 _chsize(i32 Descriptor, i32 Size)
{
    return PLAT_RETRY(Plat_Sys.Ftruncate(Descriptor, Size));
}

i32 _lseek(i32 Descriptor, i32 Offset, i32 Origin)
{
    if (Origin < 0 || Origin > 2) {
        errno = EINVAL;
        return -1;
    }
    const off_t before = Plat_Sys.Lseek(Descriptor, 0, SEEK_CUR);
    if (before < 0) return -1;
    const off_t after = Plat_Sys.Lseek(Descriptor, Offset, Origin);
    if (after <= INT_MAX) return static_cast<i32>(after);
    Plat_Sys.Lseek(Descriptor, before, SEEK_SET);
    errno = EOVERFLOW;
    return -1;
}

i32 _commit(i32 Descriptor)
{
    return PLAT_RETRY(Plat_Sys.Fdatasync(Descriptor));
}

i32 _mkdir(const char *Path)
{
    char mapped[PLAT_PATH_ROOM];
    if (Plat_MapSeparators(Path, mapped, sizeof mapped) == nullptr) return -1;
    return Plat_Sys.Mkdir(mapped, 0777);
}

i32 _stat32(const char *Path, struct plat_stat32 *Out)
{
    char mapped[PLAT_PATH_ROOM];
    struct stat found;
    if (Plat_MapPath(Path, mapped, sizeof mapped) == nullptr || Plat_Sys.Stat(mapped, &found) != 0) return -1;
    Out->st_mode = found.st_mode;
    Out->st_size = found.st_size;
    Out->st_mtime_seconds = found.st_mtime;
    return 0;
}

i32 _access(const char *Path, i32 Mode)
{
    char mapped[PLAT_PATH_ROOM];
    if ((Mode & ~6) != 0) {
        errno = EINVAL;
        return -1;
    }
    if (Plat_MapPath(Path, mapped, sizeof mapped) == nullptr) return -1;
    static_assert(R_OK == 4 && W_OK == 2 && F_OK == 0, "the mode bits are the system's own");
    return Plat_Sys.Faccessat(AT_FDCWD, mapped, Mode, AT_EACCESS);
}

// Copies the parts of Path behind the Length bytes in Out; "." falls away, ".." takes one part back. The new length,
// or 0 when it does not fit.
static size_t appendParts(const char *Path, char *Out, size_t Length, size_t Size)
{
    for (const char *part = Path; *part != '\0';) {
        const size_t size = strcspn(part, "/");
        if (size == 2 && memcmp(part, "..", 2) == 0) {
            while (Length > 0 && Out[--Length] != '/') continue;
        } else if (size != 0 && !(size == 1 && *part == '.')) {
            if (Length + 1 + size >= Size) return 0;
            Out[Length++] = '/';
            memcpy(Out + Length, part, size);
            Length += size;
        }
        part += size + strspn(part + size, "/");
    }
    if (Length == 0) Out[Length++] = '/';
    if (Length >= Size) return 0;
    Out[Length] = '\0';
    return Length;
}

char *_fullpath(char *Out, const char *Path, size_t Size)
{
    char mapped[PLAT_PATH_ROOM], start[PLAT_PATH_ROOM], full[2 * PLAT_PATH_ROOM];
    if (Plat_MapSeparators(Path != nullptr ? Path : "", mapped, sizeof mapped) == nullptr) return nullptr;
    size_t length = 0;
    if (mapped[0] != '/') {
        if (Plat_Sys.Getcwd(start, sizeof start) == nullptr) return nullptr;
        length = appendParts(start, full, 0, sizeof full);
        if (length == 1) length = 0; // the root itself: its slash comes with the next part
    }
    length = appendParts(mapped, full, length, sizeof full);
    if (length == 0 || (Out != nullptr && length >= Size)) {
        errno = ERANGE;
        return nullptr;
    }
    char *const target = Out != nullptr ? Out : static_cast<char *>(Plat_Sys.Malloc(length + 1));
    if (target != nullptr) memcpy(target, full, length + 1);
    return target;
}

char *_getcwd(char *Out, i32 Size)
{
    if (Out == nullptr || Size <= 0) {
        errno = EINVAL;
        return nullptr;
    }
    return Plat_Sys.Getcwd(Out, static_cast<size_t>(Size));
}

i32 _getpid(void)
{
    return getpid();
}

i32 _putenv(const char *Text)
{
    const char *const equals = Text != nullptr ? strchr(Text, '=') : nullptr;
    if (equals == nullptr || equals == Text) {
        errno = EINVAL;
        return -1;
    }
    const size_t length = static_cast<size_t>(equals - Text);
    char *const name = static_cast<char *>(Plat_Sys.Malloc(length + 1));
    if (name == nullptr) return -1;
    memcpy(name, Text, length);
    name[length] = '\0';
    const int result = equals[1] == '\0' ? unsetenv(name) : setenv(name, equals + 1, 1);
    free(name);
    return result;
}

void _tzset(void)
{
    tzset();
}

i32 _open_osfhandle(handle File, i32 Flags)
{
    Plat_Object *const object = Flags == 0 ? Plat_HandleAcquire(File, PLAT_KIND_STREAM) : nullptr;
    if (object == nullptr) {
        errno = Flags == 0 ? EBADF : EINVAL;
        return -1;
    }
    Plat_Stream *const stream = reinterpret_cast<Plat_Stream *>(object);
    const int descriptor = __atomic_exchange_n(&stream->Descriptor, -1, __ATOMIC_ACQ_REL);
    Plat_HandleClose(File, PLAT_KIND_STREAM);
    Plat_HandleRelease(object);
    if (descriptor < 0) {
        errno = EBADF;
        return -1;
    }
    Plat_Sys.FcntlInt(descriptor, F_SETFD, FD_CLOEXEC);
    return descriptor;
}

i32 _heapchk(void)
{
    return PLAT_HEAP_OK;
}

i32 ___mb_cur_max_func(void)
{
    return static_cast<i32>(MB_CUR_MAX);
}

// The flags of an fopen mode: r, w or a, then + b t in any order. -1 for another text.
static i32 flagsOfMode(const char *Mode)
{
    i32 flags = PLAT_O_BINARY;
    switch (Mode[0]) {
    case 'r': flags |= PLAT_O_RDONLY; break;
    case 'w': flags |= PLAT_O_WRONLY | PLAT_O_CREAT | PLAT_O_TRUNC; break;
    case 'a': flags |= PLAT_O_WRONLY | PLAT_O_CREAT | PLAT_O_APPEND; break;
    default: return -1;
    }
    for (const char *at = Mode + 1; *at != '\0'; ++at) {
        if (*at == '+')
            flags = (flags & ~accessMask) | PLAT_O_RDWR;
        else if (*at != 'b' && *at != 't')
            return -1;
    }
    return flags;
}

FILE *plat_fopen(const char *Path, const char *Mode)
{
    const i32 flags = Mode != nullptr ? flagsOfMode(Mode) : -1;
    if (flags < 0) {
        errno = EINVAL;
        return nullptr;
    }
    const int descriptor = openShared(Path, flags, 0666, false);
    if (descriptor < 0) return nullptr;
    const bool update = (flags & PLAT_O_RDWR) != 0;
    const char *const mode = Mode[0] == 'r'   ? (update ? "r+" : "r")
                             : Mode[0] == 'w' ? (update ? "w+" : "w")
                                              : (update ? "a+" : "a");
    FILE *const stream = fdopen(descriptor, mode);
    if (stream == nullptr) {
        const int reason = errno;
        Plat_Sys.Close(descriptor);
        errno = reason;
    }
    return stream;
}
