// Pipes.
//
// A named pipe is a listening local socket and a lock file beside it. The lock tells "this name is taken" without a
// connection, which would be a client; the byte in the file tells whether the pipe takes a client or is busy. The system
// drops the lock with the process, so a name never outlives its owner.

#include "win32_pipe.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_handles.h"
#include "plat_named.h"
#include "plat_path.h"
#include "plat_rundir.h"
#include "plat_sys.h"
#include "plat_waitable.h"
#include "win32_error.h"
#include "win32_sync.h"

i32 CreatePipe(handle *ReadEnd, handle *WriteEnd, void *, u32)
{
    int ends[2];
    if (Plat_Sys.Pipe2(ends, O_CLOEXEC) != 0) return Plat_FailFromErrno();
    ends[0] = Plat_DescriptorAbove2(ends[0]);
    ends[1] = Plat_DescriptorAbove2(ends[1]);

    handle readEnd = nullptr, writeEnd = nullptr;
    if (ends[0] < 0 || ends[1] < 0)
        Plat_FailFromErrno();
    else if ((readEnd = Plat_StreamCreate(PLAT_KIND_PIPE, ends[0])) != nullptr)
        writeEnd = Plat_StreamCreate(PLAT_KIND_PIPE, ends[1]);
    if (writeEnd != nullptr) {
        *ReadEnd = readEnd;
        *WriteEnd = writeEnd;
        return 1;
    }
    if (readEnd != nullptr)
        Plat_HandleClose(readEnd, PLAT_KIND_PIPE);
    else if (ends[0] >= 0)
        Plat_Sys.Close(ends[0]);
    if (ends[1] >= 0) Plat_Sys.Close(ends[1]);
    return 0;
}

i32 PeekNamedPipe(handle Pipe, void *Buffer, u32, u32 *, u32 *BytesAvailable, u32 *)
{
    if (Buffer != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    Plat_Object *const object = Plat_HandleAcquire(Pipe, PLAT_KIND_PIPE | PLAT_KIND_STANDARD);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    const int descriptor = reinterpret_cast<Plat_Stream *>(object)->Descriptor;
    int waiting = 0;
    i32 result = 1;
    if (Plat_Sys.Ioctl(descriptor, FIONREAD, &waiting) != 0) {
        result = Plat_FailFromErrno();
    } else if (waiting == 0 && Plat_PipeIsBroken(descriptor)) {
        SetLastError(ERROR_BROKEN_PIPE);
        result = 0;
    }
    if (result && BytesAvailable != nullptr) *BytesAvailable = static_cast<u32>(waiting);
    Plat_HandleRelease(object);
    return result;
}

// ---- named pipes ----

static constexpr char markListening = 'L';
static constexpr char markBusy = 'B';

struct NamedPipe {
    Plat_Object Head;
    int Listener; // stays open while a call waits on it
    int Client; // -1 without one
    int Lock; // -1 once the handle is closed
    struct sockaddr_un Address;
    char LockPath[PLAT_PATH_ROOM];
};

static NamedPipe *pipeOf(Plat_Object *object)
{
    return reinterpret_cast<NamedPipe *>(object);
}

// A name may be longer than the address of a socket: then its hash (FNV-1a) stands for it.
static int makePaths(const char *name, struct sockaddr_un *address, char *lockPath)
{
    char directory[PLAT_PATH_ROOM - 128];
    if (Plat_RunDirectory(directory, sizeof directory) != 0) return -1;

    char plain[64];
    bool fits = strlen(name) < sizeof plain && strchr(name, '/') == nullptr && name[0] != '.';
    if (fits) {
        snprintf(plain, sizeof plain, "%s", name);
    } else {
        u64 hash = 0xCBF29CE484222325u;
        for (const char *at = name; *at != '\0'; ++at) hash = (hash ^ static_cast<u8>(*at)) * 0x100000001B3u;
        snprintf(plain, sizeof plain, "pipe-%016llx", static_cast<unsigned long long>(hash));
    }
    address->sun_family = AF_UNIX;
    const int length = snprintf(address->sun_path, sizeof address->sun_path, "%s/%s.pipe", directory, plain);
    if (length < 0 || static_cast<size_t>(length) >= sizeof address->sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    snprintf(lockPath, PLAT_PATH_ROOM, "%s/%s.lock", directory, plain);
    return 0;
}

static void setMark(int lock, char mark)
{
    Plat_Sys.Lseek(lock, 0, SEEK_SET);
    PLAT_RETRY(Plat_Sys.Write(lock, &mark, 1));
}

// Opens and locks the lock file. A file that was unlinked between the two steps is nobody's, so the round is repeated;
// and a look from elsewhere holds the lock for a moment, so a taken one is tried for some milliseconds.
static int takeLock(const char *path)
{
    for (int tries = 0;;) {
        const int lock = Plat_OpenFile(path, O_RDWR | O_CREAT, 0600);
        if (lock < 0) return -1;
        struct stat ours, there;
        if (Plat_Sys.Flock(lock, LOCK_EX | LOCK_NB) != 0 || Plat_Sys.Fstat(lock, &ours) != 0) {
            const int reason = errno;
            Plat_Sys.Close(lock);
            if (reason == EWOULDBLOCK && ++tries < 20) {
                Sleep(1);
                continue;
            }
            errno = reason;
            return -1;
        }
        if (Plat_Sys.Stat(path, &there) == 0 && ours.st_ino == there.st_ino && ours.st_dev == there.st_dev) return lock;
        Plat_Sys.Close(lock);
    }
}

static int listenAt(const struct sockaddr_un *address)
{
    Plat_Sys.Unlink(address->sun_path); // what a process left that ended without closing
    const int listener = Plat_DescriptorAbove2(Plat_Sys.Socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (listener < 0) return -1;
    Plat_Sys.Fchmod(listener, 0600); // the name takes the socket's mode: no other user's client, whatever the umask
    if (Plat_Sys.Bind(listener, reinterpret_cast<const struct sockaddr *>(address), sizeof *address) == 0 &&
        Plat_Sys.Listen(listener, 1) == 0)
        return listener;
    const int reason = errno;
    Plat_Sys.Close(listener);
    errno = reason;
    return -1;
}

// The name is free again at once, even where a call still waits for a client.
static void closingNamed(Plat_Object *object)
{
    NamedPipe *const pipe = pipeOf(object);
    Plat_Sys.Unlink(pipe->Address.sun_path);
    Plat_Sys.Unlink(pipe->LockPath);
    const int lock = __atomic_exchange_n(&pipe->Lock, -1, __ATOMIC_ACQ_REL);
    if (lock >= 0) Plat_Sys.Close(lock);
}

static void destroyNamed(Plat_Object *object)
{
    NamedPipe *const pipe = pipeOf(object);
    if (pipe->Client >= 0) Plat_Sys.Close(pipe->Client);
    Plat_Sys.Close(pipe->Listener);
    free(pipe);
}

static const Plat_ObjectOps namedOps = {PLAT_KIND_NAMED_PIPE, closingNamed, destroyNamed};

// Lock and socket of a new pipe; false with errno, and then neither is left.
static bool openNamed(NamedPipe *pipe, const char *name)
{
    if (makePaths(name, &pipe->Address, pipe->LockPath) != 0) return false;
    pipe->Client = -1;
    pipe->Lock = takeLock(pipe->LockPath);
    if (pipe->Lock < 0) return false;
    setMark(pipe->Lock, markBusy); // until there is a socket to connect to
    pipe->Listener = listenAt(&pipe->Address);
    if (pipe->Listener >= 0) {
        setMark(pipe->Lock, markListening);
        return true;
    }
    const int reason = errno;
    Plat_Sys.Unlink(pipe->LockPath);
    Plat_Sys.Close(pipe->Lock);
    errno = reason;
    return false;
}

handle CreateNamedPipeA(const char *Name, u32 OpenMode, u32 PipeMode, u32 Instances, u32, u32, u32, void *)
{
    const char *const name = Plat_PipeName(Name);
    if (name == nullptr || name[0] == '\0') {
        SetLastError(ERROR_INVALID_NAME);
        return PLAT_INVALID_HANDLE;
    }
    if (OpenMode != PIPE_ACCESS_INBOUND || PipeMode != PIPE_TYPE_BYTE || Instances != 1) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return PLAT_INVALID_HANDLE;
    }
    void *const block = Plat_Sys.Malloc(sizeof(NamedPipe));
    if (block == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return PLAT_INVALID_HANDLE;
    }
    NamedPipe *const pipe = new (block) NamedPipe{};
    if (!openNamed(pipe, name)) {
        if (errno == EWOULDBLOCK)
            SetLastError(ERROR_PIPE_BUSY);
        else
            Plat_FailFromErrno();
        free(pipe);
        return PLAT_INVALID_HANDLE;
    }
    const handle created = Plat_HandleCreate(&pipe->Head, &namedOps);
    if (created != nullptr) return created;
    closingNamed(&pipe->Head);
    destroyNamed(&pipe->Head);
    return PLAT_INVALID_HANDLE;
}

static NamedPipe *acquireNamed(handle Pipe)
{
    Plat_Object *const object = Plat_HandleAcquire(Pipe, PLAT_KIND_NAMED_PIPE);
    if (object == nullptr) SetLastError(ERROR_INVALID_HANDLE);
    return object == nullptr ? nullptr : pipeOf(object);
}

i32 ConnectNamedPipe(handle Pipe, void *Overlapped)
{
    if (Overlapped != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    NamedPipe *const pipe = acquireNamed(Pipe);
    if (pipe == nullptr) return 0;

    int client;
    do client = Plat_Sys.Accept(pipe->Listener, nullptr, nullptr);
    while (client < 0 && (errno == EINTR || errno == ECONNABORTED));
    client = Plat_DescriptorAbove2(client);
    i32 result = 1;
    if (client < 0) {
        result = Plat_FailFromErrno();
    } else {
        Plat_Sys.FcntlInt(client, F_SETFD, FD_CLOEXEC);
        const int before = __atomic_exchange_n(&pipe->Client, client, __ATOMIC_ACQ_REL);
        if (before >= 0) Plat_Sys.Close(before);
        const int lock = __atomic_load_n(&pipe->Lock, __ATOMIC_ACQUIRE);
        if (lock >= 0) setMark(lock, markBusy);
    }
    Plat_HandleRelease(&pipe->Head);
    return result;
}

i32 DisconnectNamedPipe(handle Pipe)
{
    NamedPipe *const pipe = acquireNamed(Pipe);
    if (pipe == nullptr) return 0;
    const int client = __atomic_exchange_n(&pipe->Client, -1, __ATOMIC_ACQ_REL);
    if (client >= 0) Plat_Sys.Close(client);
    Plat_HandleRelease(&pipe->Head);
    return 1;
}

// What an open lock file tells: 0 the pipe takes a client, else the error number.
static u32 stateOfLock(int lock)
{
    char mark = markBusy; // so is one whose owner has not written it yet
    if (Plat_Sys.Flock(lock, LOCK_SH | LOCK_NB) == 0) return ERROR_FILE_NOT_FOUND;
    PLAT_RETRY(Plat_Sys.Read(lock, &mark, 1));
    return mark == markListening ? ERROR_SUCCESS : ERROR_SEM_TIMEOUT;
}

static u32 stateOf(const char *lockPath)
{
    const int lock = Plat_OpenFile(lockPath, O_RDWR, 0);
    if (lock < 0) return ERROR_FILE_NOT_FOUND;
    const u32 state = stateOfLock(lock);
    Plat_Sys.Close(lock);
    return state;
}

static bool isOver(const struct timespec &until)
{
    const struct timespec now = Plat_Deadline(0);
    return now.tv_sec > until.tv_sec || (now.tv_sec == until.tv_sec && now.tv_nsec >= until.tv_nsec);
}

i32 WaitNamedPipeA(const char *Name, u32 Milliseconds)
{
    const char *const name = Plat_PipeName(Name);
    struct sockaddr_un address = {};
    char lockPath[PLAT_PATH_ROOM];
    if (name == nullptr || makePaths(name, &address, lockPath) != 0) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return 0;
    }
    const struct timespec until = Plat_Deadline(Milliseconds == PLAT_INFINITE ? 0 : Milliseconds);
    u32 state = stateOf(lockPath);
    while (state == ERROR_SEM_TIMEOUT && (Milliseconds == PLAT_INFINITE || !isOver(until))) {
        Sleep(1);
        state = stateOf(lockPath);
    }
    if (state == ERROR_SUCCESS) return 1;
    SetLastError(state);
    return 0;
}

static int connectTo(const struct sockaddr_un *address)
{
    const int client = Plat_DescriptorAbove2(Plat_Sys.Socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (client < 0) return -1;
    if (PLAT_RETRY(Plat_Sys.Connect(client, reinterpret_cast<const struct sockaddr *>(address), sizeof *address)) == 0)
        return client;
    const int reason = errno == ECONNREFUSED ? ENOENT : errno;
    Plat_Sys.Close(client);
    errno = reason;
    return -1;
}

// Connects while the lock file is claimed (by a lock of another kind than its owner's), and marks the pipe as busy: of
// clients that come at once only one finds it listening, though the owner has not taken it yet.
static int connectAlone(int lock, const struct sockaddr_un *address)
{
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (PLAT_RETRY(Plat_Sys.FcntlLock(lock, F_OFD_SETLKW, &whole)) != 0) return -1;
    const u32 state = stateOfLock(lock);
    if (state != ERROR_SUCCESS) {
        errno = state == ERROR_SEM_TIMEOUT ? EBUSY : ENOENT;
        return -1;
    }
    const int client = connectTo(address);
    if (client >= 0) setMark(lock, markBusy);
    return client;
}

int Plat_NamedPipeOpen(const char *Name)
{
    struct sockaddr_un address = {};
    char lockPath[PLAT_PATH_ROOM];
    if (makePaths(Name, &address, lockPath) != 0) return -1;
    const int lock = Plat_OpenFile(lockPath, O_RDWR, 0);
    if (lock < 0) {
        errno = ENOENT;
        return -1;
    }
    const int client = connectAlone(lock, &address);
    const int reason = errno;
    Plat_Sys.Close(lock);
    errno = reason;
    return client;
}
