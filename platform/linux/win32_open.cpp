// Reading from handles, and opening files by name.
//
// An open has its test of the sharing rules before anything is truncated: a refused open leaves the file as it was.

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "crt.h"
#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_handles.h"
#include "plat_named.h"
#include "plat_path.h"
#include "plat_security.h"
#include "plat_share.h"
#include "plat_sys.h"
#include "win32_error.h"
#include "win32_file.h"

i32 ReadFile(handle File, void *Data, u32 Size, u32 *Count, void *Overlapped)
{
    if (Count != nullptr) *Count = 0;
    if (Overlapped != nullptr || (Data == nullptr && Size != 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    Plat_Object *const object = Plat_HandleAcquire(File, PLAT_KIND_STREAM);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    const int descriptor = reinterpret_cast<Plat_Stream *>(object)->Descriptor;
    const ssize_t count = PLAT_RETRY(Plat_Sys.Read(descriptor, Data, Size));
    i32 result = 1;
    if (count < 0) {
        result = Plat_FailFromErrno();
    } else if (count == 0 && object->Ops->Kind == PLAT_KIND_PIPE && (Size != 0 || Plat_PipeIsBroken(descriptor))) {
        SetLastError(ERROR_BROKEN_PIPE);
        result = 0;
    } else if (Count != nullptr) {
        *Count = static_cast<u32>(count);
    }
    Plat_HandleRelease(object);
    return result;
}

static handle invalid(u32 error)
{
    SetLastError(error);
    return PLAT_INVALID_HANDLE;
}

// A missing parent directory is told apart from a missing file.
static u32 openError(const char *path)
{
    if (errno != ENOENT) return Plat_ErrorFromErrno(errno);
    char parent[PLAT_PATH_ROOM];
    const size_t length = strnlen(path, sizeof parent - 1);
    memcpy(parent, path, length);
    parent[length] = '\0';
    char *const slash = strrchr(parent, '/');
    if (slash == nullptr || slash == parent) return ERROR_FILE_NOT_FOUND;
    *slash = '\0';
    struct stat found;
    return Plat_Sys.Stat(parent, &found) == 0 ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

static int flagsOf(u32 access, u32 creation)
{
    int flags = O_RDONLY;
    if (access & GENERIC_WRITE) flags = access & GENERIC_READ ? O_RDWR : O_WRONLY;
    if (creation == CREATE_NEW) flags |= O_CREAT | O_EXCL;
    if (creation == CREATE_ALWAYS || creation == OPEN_ALWAYS) flags |= O_CREAT;
    return flags;
}

// Opens a file, and protects it if this very call has made it; until then it is its owner's alone. A file may come or go
// between two tries, and a name that leads nowhere cannot be made exclusively, so the last try takes what it gets.
static int openProtected(const char *path, int flags, const Plat_Protection *protection)
{
    constexpr int tries = 4;

    if ((flags & O_CREAT) == 0) return Plat_OpenFile(path, flags, 0);
    for (int i = 0; i <= tries; ++i) {
        const int made = Plat_OpenFile(path, i < tries ? flags | O_EXCL : flags, 0600);
        if (made >= 0) Plat_Protect(made, protection);
        if (made >= 0 || errno != EEXIST || (flags & O_EXCL)) return made;
        const int there = Plat_OpenFile(path, flags & ~O_CREAT, 0);
        if (there >= 0 || errno != ENOENT) return there;
    }
    return -1;
}

// Opens without truncating, tests the sharing rules, then truncates where that was asked for.
static int openShared(const char *path, u32 access, u32 share, u32 creation, const void *security)
{
    Plat_Protection protection;
    const int flags = flagsOf(access, creation);
    const int descriptor = Plat_ProtectionOf(security, &protection) ? openProtected(path, flags, &protection)
                                                                    : Plat_OpenFile(path, flags, 0666);
    if (descriptor < 0) {
        SetLastError(openError(path));
        return -1;
    }
    struct stat file;
    const u32 wanted = (access & GENERIC_READ ? PLAT_SHARE_READ : 0) | (access & GENERIC_WRITE ? PLAT_SHARE_WRITE : 0);
    u32 error = ERROR_SUCCESS;
    if (Plat_Sys.Fstat(descriptor, &file) != 0)
        error = Plat_ErrorFromErrno(errno);
    else if (S_ISREG(file.st_mode) && !Plat_ShareEnter(descriptor, &file, wanted, share))
        error = ERROR_SHARING_VIOLATION;
    else if (S_ISREG(file.st_mode) && (creation == CREATE_ALWAYS || creation == TRUNCATE_EXISTING) &&
             PLAT_RETRY(Plat_Sys.Ftruncate(descriptor, 0)) != 0)
        error = Plat_ErrorFromErrno(errno);
    if (error == ERROR_SUCCESS) return descriptor;
    Plat_ShareForget(descriptor);
    Plat_Sys.Close(descriptor);
    SetLastError(error);
    return -1;
}

static handle openPipe(const char *name, u32 access)
{
    if ((access & GENERIC_WRITE) == 0) return invalid(ERROR_ACCESS_DENIED); // such a pipe only takes data
    const int descriptor = Plat_NamedPipeOpen(name);
    if (descriptor < 0) return invalid(errno == EBUSY ? ERROR_PIPE_BUSY : Plat_ErrorFromErrno(errno));
    const handle created = Plat_StreamCreate(PLAT_KIND_PIPE, descriptor);
    if (created != nullptr) return created;
    Plat_Sys.Close(descriptor);
    return PLAT_INVALID_HANDLE;
}

handle CreateFileA(const char *Path, u32 Access, u32 Share, void *Security, u32 Creation, u32, handle)
{
    if (Path == nullptr || Path[0] == '\0') return invalid(ERROR_PATH_NOT_FOUND);
    if ((Access & (GENERIC_READ | GENERIC_WRITE)) == 0 || Creation < CREATE_NEW || Creation > TRUNCATE_EXISTING ||
        (Creation == TRUNCATE_EXISTING && (Access & GENERIC_WRITE) == 0))
        return invalid(ERROR_INVALID_PARAMETER);
    const char *const pipeName = Plat_PipeName(Path);
    if (pipeName != nullptr) return openPipe(pipeName, Access);

    char mapped[PLAT_PATH_ROOM];
    if (Plat_MapPath(Path, mapped, sizeof mapped) == nullptr) return invalid(ERROR_INVALID_NAME);
    struct stat before;
    const bool there = Plat_Sys.Stat(mapped, &before) == 0;
    const int descriptor = openShared(mapped, Access, Share, Creation, Security);
    if (descriptor < 0) return PLAT_INVALID_HANDLE;

    const handle created = Plat_StreamCreate(PLAT_KIND_FILE, descriptor);
    if (created == nullptr) {
        Plat_ShareForget(descriptor);
        Plat_Sys.Close(descriptor);
        return PLAT_INVALID_HANDLE;
    }
    if (Creation == CREATE_ALWAYS || Creation == OPEN_ALWAYS)
        SetLastError(there && S_ISREG(before.st_mode) ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return created;
}
