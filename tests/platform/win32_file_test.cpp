// Standard streams and writing to handles.

#include "win32_file.h"

#include <fcntl.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "capture.h"
#include "plat_faults.h"
#include "plat_handles.h"
#include "win32_error.h"

namespace
{

struct Pipe {
    int ReadEnd;
    handle WriteEnd;
};

Pipe makePipe()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) abort();
    return {ends[0], Plat_StreamCreate(PLAT_KIND_PIPE, ends[1])};
}

} // namespace

TEST(GetStdHandle, GivesOneHandleForEachStream)
{
    const handle in = GetStdHandle(STD_INPUT_HANDLE), out = GetStdHandle(STD_OUTPUT_HANDLE),
                 error = GetStdHandle(STD_ERROR_HANDLE);

    EXPECT_NE(in, PLAT_INVALID_HANDLE);
    EXPECT_NE(out, in);
    EXPECT_NE(error, out);
    EXPECT_NE(error, in);
    EXPECT_EQ(GetStdHandle(STD_INPUT_HANDLE), in);
    EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), out);
    EXPECT_EQ(GetStdHandle(STD_ERROR_HANDLE), error);
}

TEST(GetStdHandle, RefusesOtherNumbers)
{
    for (const u32 number : {0u, 1u, 2u, STD_INPUT_HANDLE + 1, STD_ERROR_HANDLE - 1}) {
        SetLastError(0);
        EXPECT_EQ(GetStdHandle(number), PLAT_INVALID_HANDLE) << number;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
}

TEST(GetStdHandle, IsInvalidForAClosedDescriptor)
{
    close(0);
    EXPECT_EQ(GetStdHandle(STD_INPUT_HANDLE), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(GetStdHandle, StaysInvalidOnceItsHandleWasClosed)
{
    const handle in = GetStdHandle(STD_INPUT_HANDLE);
    ASSERT_EQ(CloseHandle(in), 1);
    EXPECT_EQ(fcntl(0, F_GETFD), -1) << "the descriptor is really closed";
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0) << "and its number is taken by somebody else";

    EXPECT_EQ(GetStdHandle(STD_INPUT_HANDLE), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    const Pipe other = makePipe();
    EXPECT_EQ(other.WriteEnd, in) << "its slot too";
    EXPECT_EQ(GetStdHandle(STD_INPUT_HANDLE), PLAT_INVALID_HANDLE);
}

TEST(GetStdHandle, IsNotConfusedByAnotherStreamInItsSlot)
{
    const handle in = GetStdHandle(STD_INPUT_HANDLE);
    ASSERT_EQ(CloseHandle(in), 1);
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0);
    EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), in) << "the same slot";

    EXPECT_EQ(GetStdHandle(STD_INPUT_HANDLE), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(GetStdHandle, FailsWithoutMemory)
{
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(WriteFile, WritesToTheErrorStream)
{
    u32 written = 0;
    const std::string text = Capture_Stderr(
        [&] { EXPECT_EQ(WriteFile(GetStdHandle(STD_ERROR_HANDLE), "a line\n", 7, &written, nullptr), 1); });
    EXPECT_EQ(text, "a line\n");
    EXPECT_EQ(written, 7u);
}

TEST(WriteFile, WaitsUntilAFullPipeHasTakenAll)
{
    const Pipe pipe = makePipe();
    const std::string sent(300000, 'x');
    std::string got;
    std::thread reader([&] {
        char part[4096];
        for (ssize_t count; (count = read(pipe.ReadEnd, part, sizeof part)) > 0;)
            got.append(part, static_cast<size_t>(count));
    });
    u32 written = 0;
    EXPECT_EQ(WriteFile(pipe.WriteEnd, sent.data(), static_cast<u32>(sent.size()), &written, nullptr), 1);
    EXPECT_EQ(written, sent.size());
    EXPECT_EQ(CloseHandle(pipe.WriteEnd), 1);
    reader.join();
    EXPECT_EQ(got, sent);
}

TEST(WriteFile, GoesOnAfterShortWrites)
{
    const Pipe pipe = makePipe();
    Plat_Sys.Write = [](int Descriptor, const void *Data, size_t Size) {
        return write(Descriptor, Data, Size < 3 ? Size : 3);
    };
    EXPECT_EQ(WriteFile(pipe.WriteEnd, "0123456789", 10, nullptr, nullptr), 1);
    char got[16] = {};
    EXPECT_EQ(read(pipe.ReadEnd, got, sizeof got), 10);
    EXPECT_STREQ(got, "0123456789");
}

TEST(WriteFile, IsNotInterrupted)
{
    const Pipe pipe = makePipe();
    Plat_Sys.Write = [](int Descriptor, const void *Data, size_t Size) -> ssize_t {
        static int calls = 0;
        if (calls++ % 2 == 0) {
            errno = EINTR;
            return -1;
        }
        return write(Descriptor, Data, Size);
    };
    EXPECT_EQ(WriteFile(pipe.WriteEnd, "ab", 2, nullptr, nullptr), 1);
}

TEST(WriteFile, TellsOfAPipeWithoutReaderAndRaisesNoSignal)
{
    const Pipe pipe = makePipe();
    close(pipe.ReadEnd);
    signal(SIGPIPE, SIG_DFL); // would end the process

    u32 written = 99;
    EXPECT_EQ(WriteFile(pipe.WriteEnd, "ab", 2, &written, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_NO_DATA);
    EXPECT_EQ(written, 0u);
    SetLastError(0);
    EXPECT_EQ(WriteFile(pipe.WriteEnd, nullptr, 0, nullptr, nullptr), 0) << "nothing to write, and nobody to read it";
    EXPECT_EQ(GetLastError(), ERROR_NO_DATA);

    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST(WriteFile, LeavesAnotherPendingSignalWhereItIs)
{
    sigset_t pipeSignal, pending;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
    raise(SIGPIPE);
    const Pipe pipe = makePipe();
    close(pipe.ReadEnd);

    EXPECT_EQ(WriteFile(pipe.WriteEnd, "ab", 2, nullptr, nullptr), 0);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
}

TEST(WriteFile, WritesNothingToAPipeWithAReader)
{
    const Pipe pipe = makePipe();
    u32 written = 99;
    EXPECT_EQ(WriteFile(pipe.WriteEnd, nullptr, 0, &written, nullptr), 1);
    EXPECT_EQ(written, 0u);
}

TEST(WriteFile, FailsAsTheSystemDoes)
{
    const Pipe pipe = makePipe();
    Plat_Sys.Write = [](int, const void *, size_t) { return ssize_t{0}; };
    EXPECT_EQ(WriteFile(pipe.WriteEnd, "ab", 2, nullptr, nullptr), 0) << "a device that takes nothing, for ever";
    EXPECT_EQ(GetLastError(), ERROR_IO_DEVICE);
    Plat_Sys.Write = Fault_With<ENOSPC>{};
    EXPECT_EQ(WriteFile(pipe.WriteEnd, "ab", 2, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
}

TEST(WriteFile, RefusesBadArguments)
{
    const Pipe pipe = makePipe();
    int overlapped = 0;

    EXPECT_EQ(WriteFile(pipe.WriteEnd, "a", 1, nullptr, &overlapped), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WriteFile(pipe.WriteEnd, nullptr, 1, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    for (const handle bad : {handle{nullptr}, PLAT_INVALID_HANDLE, reinterpret_cast<handle>(uintptr_t{4000})}) {
        SetLastError(0);
        EXPECT_EQ(WriteFile(bad, "a", 1, nullptr, nullptr), 0);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
}

// A writer that waits in a full pipe, and a close of its handle: the write ends whole, its descriptor stays its own.
TEST(CloseHandle, DoesNotDisturbAWriter)
{
    const Pipe pipe = makePipe();
    const std::string sent(200000, 'y');
    std::atomic<i32> result = -1;
    std::thread writer(
        [&] { result = WriteFile(pipe.WriteEnd, sent.data(), static_cast<u32>(sent.size()), nullptr, nullptr); });
    char part[4096];
    size_t got = static_cast<size_t>(read(pipe.ReadEnd, part, sizeof part)); // the writer is at work
    EXPECT_EQ(CloseHandle(pipe.WriteEnd), 1);
    for (ssize_t count; (count = read(pipe.ReadEnd, part, sizeof part)) > 0;) got += static_cast<size_t>(count);
    writer.join();

    EXPECT_EQ(result, 1);
    EXPECT_EQ(got, sent.size());
}
