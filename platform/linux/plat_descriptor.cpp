// Descriptors: above 2, closed on exec, never interrupted, never a signal.

#include "plat_descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>

#include "plat_share.h"
#include "plat_sys.h"

// Closes and keeps errno: for the ways out of a call that failed before.
static void closeQuietly(int Descriptor)
{
    const int reason = errno;
    Plat_Sys.Close(Descriptor);
    errno = reason;
}

int Plat_DescriptorAbove2(int Descriptor)
{
    if (Descriptor < 0 || Descriptor > 2) return Descriptor;
    const int moved = Plat_Sys.FcntlInt(Descriptor, F_DUPFD_CLOEXEC, 3);
    closeQuietly(Descriptor);
    return moved;
}

int Plat_OpenFile(const char *Path, int Flags, mode_t Mode)
{
    const int descriptor = Plat_DescriptorAbove2(PLAT_RETRY(Plat_Sys.Open(Path, Flags | O_CLOEXEC, Mode)));
    if (descriptor < 0) {
        if (errno == EISDIR) errno = EACCES;
        return -1;
    }
    struct stat file;
    if (Plat_Sys.Fstat(descriptor, &file) != 0) {
        closeQuietly(descriptor);
        return -1;
    }
    if (S_ISDIR(file.st_mode)) {
        closeQuietly(descriptor);
        errno = EACCES;
        return -1;
    }
    return descriptor;
}

// A write that may meet a pipe without reader. The signal of such a write goes to the writing thread, so it is blocked
// there and taken away again, unless one was already waiting for somebody else; that can only be on a thread that had it
// blocked before.
static ssize_t writeWithoutSignal(int Descriptor, const void *Data, size_t Size)
{
    sigset_t pipeSignal, before, pending;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
    const bool wasBlocked = sigismember(&before, SIGPIPE) == 1;
    bool wasPending = false;
    if (wasBlocked && sigpending(&pending) == 0) wasPending = sigismember(&pending, SIGPIPE) == 1;

    const ssize_t written = PLAT_RETRY(Plat_Sys.Write(Descriptor, Data, Size));
    const int reason = errno;
    if (written < 0 && reason == EPIPE && !wasPending) {
        const struct timespec now = {0, 0};
        PLAT_RETRY(sigtimedwait(&pipeSignal, nullptr, &now));
    }
    if (!wasBlocked) pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = reason;
    return written;
}

ssize_t Plat_WriteOnce(int Descriptor, const void *Data, size_t Size)
{
    if (Plat_ShareHas(Descriptor)) return PLAT_RETRY(Plat_Sys.Write(Descriptor, Data, Size));
    return writeWithoutSignal(Descriptor, Data, Size);
}

int Plat_WriteAll(int Descriptor, const void *Data, size_t Size, size_t *Written)
{
    size_t done = 0;
    int result = 0;
    do { // once for a length of 0 too: the descriptor is tested
        const ssize_t count = Plat_WriteOnce(Descriptor, static_cast<const u8 *>(Data) + done, Size - done);
        if (count < 0) {
            result = -1;
            break;
        }
        done += static_cast<size_t>(count);
        if (count == 0 && Size != 0) {
            errno = EIO;
            result = -1;
            break;
        }
    } while (done < Size);
    if (Written != nullptr) *Written = done;
    return result;
}

bool Plat_PipeIsBroken(int Descriptor)
{
    struct pollfd entry = {Descriptor, POLLIN, 0};
    return PLAT_RETRY(Plat_Sys.Poll(&entry, 1, 0)) > 0 && (entry.revents & POLLHUP) != 0 &&
           (entry.revents & POLLIN) == 0;
}
