// Handles of files and streams.
//
// The three standard streams become objects when they are first asked for. A stream that was closed through its handle
// stays closed here, even if its number comes to stand for something else.

#include "win32_file.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>

#include <cerrno>

#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_handles.h"
#include "plat_sys.h"
#include "win32_error.h"

i32 CloseHandle(handle Object)
{
    if (Plat_HandleClose(Object, PLAT_KIND_ANY)) return 1;
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
}

static constinit pthread_mutex_t standardLock = PTHREAD_MUTEX_INITIALIZER;
static constinit handle standardHandles[3] = {nullptr, nullptr,
                                              nullptr}; // guarded by standardLock; NULL until asked for

static handle standardHandle(int Descriptor)
{
    if (standardHandles[Descriptor] == nullptr) {
        standardHandles[Descriptor] = Plat_StreamCreate(PLAT_KIND_STANDARD, Descriptor);
        return standardHandles[Descriptor]; // NULL without memory, and the last error says so
    }
    // The slot may be free by now, or hold another object.
    Plat_Object *const object = Plat_HandleAcquire(standardHandles[Descriptor], PLAT_KIND_STANDARD);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    const bool mine = reinterpret_cast<Plat_Stream *>(object)->Descriptor == Descriptor;
    Plat_HandleRelease(object);
    if (mine) return standardHandles[Descriptor];
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

handle GetStdHandle(u32 Stream)
{
    // The numbers run down: -10 input, -11 output, -12 error.
    const u32 descriptor = STD_INPUT_HANDLE - Stream;
    if (descriptor > 2) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return PLAT_INVALID_HANDLE;
    }
    if (Plat_Sys.FcntlInt(static_cast<int>(descriptor), F_GETFD, 0) < 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return PLAT_INVALID_HANDLE;
    }
    pthread_mutex_lock(&standardLock);
    const handle found = standardHandle(static_cast<int>(descriptor));
    pthread_mutex_unlock(&standardLock);
    return found != nullptr ? found : PLAT_INVALID_HANDLE;
}

// Nothing of length 0 reaches a pipe, so whether a reader is left must be asked.
static bool hasNoReader(const Plat_Stream *Stream)
{
    struct pollfd entry = {Stream->Descriptor, POLLOUT, 0};
    return PLAT_RETRY(Plat_Sys.Poll(&entry, 1, 0)) > 0 && (entry.revents & POLLERR) != 0;
}

i32 WriteFile(handle File, const void *Data, u32 Size, u32 *Written, void *Overlapped)
{
    if (Written != nullptr) *Written = 0;
    if (Overlapped != nullptr || (Data == nullptr && Size != 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    Plat_Object *const object = Plat_HandleAcquire(File, PLAT_KIND_STREAM);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    const Plat_Stream *const stream = reinterpret_cast<Plat_Stream *>(object);

    size_t done = 0;
    int result = Plat_WriteAll(stream->Descriptor, Data, Size, &done);
    if (result == 0 && Size == 0 && hasNoReader(stream)) {
        errno = EPIPE;
        result = -1;
    }
    if (result != 0) Plat_FailFromErrno();
    if (Written != nullptr) *Written = static_cast<u32>(done);
    Plat_HandleRelease(object);
    return result == 0;
}
