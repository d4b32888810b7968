// The last error and the table from errno to it.

#include "win32_error.h"

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

#include "plat_error.h"

TEST(GetLastError, IsZeroAtFirstAndOfItsThread)
{
    u32 other = 1;
    SetLastError(ERROR_MORE_DATA);
    std::thread([&] {
        other = GetLastError();
        SetLastError(ERROR_DISK_FULL);
    }).join();

    EXPECT_EQ(other, ERROR_SUCCESS);
    EXPECT_EQ(GetLastError(), ERROR_MORE_DATA);
}

TEST(Plat_ErrorFromErrno, KnowsTheErrorsThatCallersLookAt)
{
    const struct {
        int Errno;
        u32 Error;
    } rows[] = {{0, 0},
                {EPERM, 5},
                {ENOENT, 2},
                {EIO, 1117},
                {EBADF, 6},
                {ENOMEM, 8},
                {EACCES, 5},
                {EFAULT, 998},
                {EBUSY, 170},
                {EEXIST, 80},
                {ENOTDIR, 3},
                {EISDIR, 5},
                {EINVAL, 87},
                {ENFILE, 4},
                {EMFILE, 4},
                {ENOSPC, 112},
                {EDQUOT, 112},
                {EROFS, 19},
                {EPIPE, 232},
                {ENOSYS, 120},
                {ENOTEMPTY, 145},
                {ENAMETOOLONG, 206},
                {ELOOP, 1921},
                {ETIMEDOUT, 121},
                {ENOTSOCK, 10038},
                {EADDRINUSE, 10048},
                {ECONNRESET, 10054},
                {ECONNREFUSED, 10061}};
    for (const auto &row : rows) EXPECT_EQ(Plat_ErrorFromErrno(row.Errno), row.Error) << "errno " << row.Errno;
}

TEST(Plat_ErrorFromErrno, HasADefault)
{
    EXPECT_EQ(Plat_ErrorFromErrno(-1), ERROR_GEN_FAILURE);
    EXPECT_EQ(Plat_ErrorFromErrno(EOWNERDEAD), ERROR_GEN_FAILURE);
    EXPECT_EQ(Plat_ErrorFromErrno(100000), ERROR_GEN_FAILURE);
}

TEST(Plat_FailFromErrno, SetsTheLastErrorAndGivesZero)
{
    errno = ENOSPC;
    EXPECT_EQ(Plat_FailFromErrno(), 0);
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
}
