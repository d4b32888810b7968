// The last error of each thread, and the one table from errno to it.

#include "win32_error.h"

#include <cerrno>

#include <algorithm>
#include <iterator>

#include "plat_error.h"

static thread_local u32 lastError = ERROR_SUCCESS;

u32 GetLastError(void)
{
    return lastError;
}

void SetLastError(u32 Error)
{
    lastError = Error;
}

struct ErrnoRow {
    int Errno;
    u32 Error;
};

// Sorted by errno. The socket rows have the Winsock numbers, for WSAGetLastError is GetLastError.
static constexpr ErrnoRow errnoRows[] = {
    {0, ERROR_SUCCESS},
    {EPERM, ERROR_ACCESS_DENIED},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ESRCH, ERROR_INVALID_PARAMETER},
    {EIO, ERROR_IO_DEVICE},
    {ENXIO, ERROR_DEV_NOT_EXIST},
    {E2BIG, ERROR_FILENAME_EXCED_RANGE},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT},
    {EBADF, ERROR_INVALID_HANDLE},
    {ECHILD, ERROR_WAIT_NO_CHILDREN},
    {EAGAIN, ERROR_BUSY},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EACCES, ERROR_ACCESS_DENIED},
    {EFAULT, ERROR_NOACCESS},
    {EBUSY, ERROR_BUSY},
    {EEXIST, ERROR_FILE_EXISTS},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {ENODEV, ERROR_DEV_NOT_EXIST},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {ENOSPC, ERROR_DISK_FULL},
    {ESPIPE, ERROR_SEEK},
    {EROFS, ERROR_WRITE_PROTECT},
    {EPIPE, ERROR_NO_DATA},
    {ERANGE, ERROR_INSUFFICIENT_BUFFER},
    {EDEADLK, ERROR_POSSIBLE_DEADLOCK},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {ENOSYS, ERROR_CALL_NOT_IMPLEMENTED},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
    {EILSEQ, ERROR_NO_UNICODE_TRANSLATION},
    {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039},
    {EMSGSIZE, 10040},
    {EPROTOTYPE, 10041},
    {ENOPROTOOPT, 10042},
    {EPROTONOSUPPORT, 10043},
    {ESOCKTNOSUPPORT, 10044},
    {EOPNOTSUPP, 10045},
    {EPFNOSUPPORT, 10046},
    {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048},
    {EADDRNOTAVAIL, 10049},
    {ENETDOWN, 10050},
    {ENETUNREACH, 10051},
    {ENETRESET, 10052},
    {ECONNABORTED, 10053},
    {ECONNRESET, 10054},
    {ENOBUFS, 10055},
    {EISCONN, 10056},
    {ENOTCONN, 10057},
    {ESHUTDOWN, 10058},
    {ETIMEDOUT, ERROR_SEM_TIMEOUT},
    {ECONNREFUSED, 10061},
    {EHOSTDOWN, 10064},
    {EHOSTUNREACH, 10065},
    {EALREADY, 10037},
    {EINPROGRESS, 10036},
    {EDQUOT, ERROR_DISK_FULL},
};

static_assert(std::is_sorted(std::begin(errnoRows), std::end(errnoRows),
                             [](const ErrnoRow &Left, const ErrnoRow &Right) { return Left.Errno < Right.Errno; }),
              "the search below halves the table");

u32 Plat_ErrorFromErrno(int Errno)
{
    const ErrnoRow *const row = std::lower_bound(std::begin(errnoRows), std::end(errnoRows), Errno,
                                                 [](const ErrnoRow &Row, int Wanted) { return Row.Errno < Wanted; });
    return row != std::end(errnoRows) && row->Errno == Errno ? row->Error : ERROR_GEN_FAILURE;
}

i32 Plat_FailFromErrno()
{
    SetLastError(Plat_ErrorFromErrno(errno));
    return 0;
}
