// The runtime calls with an underscore: files.

#include "crt.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "plat_handles.h"
#include "plat_share.h"
#include "scratch_root.h"
#include "win32_file.h"

namespace
{

constexpr i32 create = PLAT_O_WRONLY | PLAT_O_CREAT | PLAT_O_BINARY;

std::string backslashed(std::string Path)
{
    for (char &character : Path) {
        if (character == '/') character = '\\';
    }
    return "c:" + Path;
}

// A fresh directory; its path ends in a slash.
std::string freshDirectory()
{
    return Scratch_MakeRoot(nullptr) + "/";
}

u32 permissionsOf(const std::string &Path)
{
    struct stat found = {};
    return stat(Path.c_str(), &found) == 0 ? found.st_mode & 0777 : 0xFFFF;
}

} // namespace

TEST(_open, MakesAFileThroughThePathMap)
{
    const std::string path = freshDirectory() + "trace.out";
    umask(022);
    const i32 file = _open(backslashed(path).c_str(), create, 0600);

    ASSERT_GE(file, 3);
    EXPECT_EQ(fcntl(file, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(_write(file, "text\r\n", 6), 6);
    EXPECT_EQ(_close(file), 0);
    EXPECT_EQ(Scratch_ReadFile(path), "text\r\n") << "text passes as it is";
    EXPECT_EQ(permissionsOf(path), 0600u);
    const i32 other = _open((path + "2").c_str(), 0x4101, 0777);
    EXPECT_GE(other, 3);
    EXPECT_EQ(permissionsOf(path + "2"), 0755u) << "less the umask";
}

TEST(_open, NeverGivesAStandardDescriptor)
{
    const std::string path = freshDirectory() + "f";
    close(0);
    const i32 first = _open(path.c_str(), create, 0600);
    EXPECT_GE(first, 3);
    EXPECT_EQ(fcntl(first, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(0, F_GETFD), -1) << "the low number is free again";
    FILE *const stream = plat_fopen(path.c_str(), "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_GE(fileno(stream), 3);
    fclose(stream);
}

TEST(_open, TruncatesAppendsAndExcludes)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "0123456789");

    i32 file = _open(path.c_str(), PLAT_O_WRONLY | PLAT_O_APPEND, 0);
    EXPECT_EQ(_write(file, "ab", 2), 2);
    _close(file);
    EXPECT_EQ(Scratch_ReadFile(path), "0123456789ab");
    EXPECT_EQ(_open(path.c_str(), create | PLAT_O_EXCL, 0600), -1);
    EXPECT_EQ(errno, EEXIST);
    file = _open(path.c_str(), create, 0600);
    EXPECT_EQ(_write(file, "X", 1), 1);
    _close(file);
    EXPECT_EQ(Scratch_ReadFile(path), "X123456789ab");
    file = _open(path.c_str(), create | PLAT_O_TRUNC, 0600);
    EXPECT_EQ(_write(file, "Y", 1), 1);
    _close(file);
    EXPECT_EQ(Scratch_ReadFile(path), "Y");
}

TEST(_open, OpensTheNullDevice)
{
    const i32 file = _open("NUL", PLAT_O_RDWR | PLAT_O_TRUNC, 0);
    char byte;
    ASSERT_GE(file, 3);
    EXPECT_EQ(_write(file, "x", 1), 1);
    EXPECT_EQ(_read(file, &byte, 1), 0);
    EXPECT_EQ(_close(file), 0);
}

TEST(_open, RefusesADirectoryInEveryMode)
{
    const std::string directory = freshDirectory();
    for (const i32 flags : {PLAT_O_RDONLY, PLAT_O_WRONLY, PLAT_O_RDWR, create, create | PLAT_O_TRUNC}) {
        errno = 0;
        EXPECT_EQ(_open(directory.c_str(), flags, 0600), -1);
        EXPECT_EQ(errno, EACCES) << flags;
    }
}

TEST(_open, RefusesWhatMakesNoSense)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "kept");
    for (const i32 flags : {3, 0x40, 0x100000, PLAT_O_RDONLY | PLAT_O_TRUNC}) {
        errno = 0;
        EXPECT_EQ(_open(path.c_str(), flags, 0600), -1);
        EXPECT_EQ(errno, EINVAL) << flags;
    }
    EXPECT_EQ(_open(nullptr, PLAT_O_RDONLY, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(_open((path + "x").c_str(), PLAT_O_RDONLY, 0), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(_open(std::string(5000, 'x').c_str(), PLAT_O_RDONLY, 0), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(Scratch_ReadFile(path), "kept");
}

TEST(_open, LeavesNothingOpenWhenItFails)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "kept");
    const int before = dup(2);
    close(before);

    Plat_Sys.Fstat = Fault_With<EIO>{};
    EXPECT_EQ(_open(path.c_str(), PLAT_O_RDONLY, 0), -1);
    EXPECT_EQ(errno, EIO);
    Plat_Sys.Fstat = fstat;
    Plat_Sys.Ftruncate = Fault_With<EFBIG>{};
    EXPECT_EQ(_open(path.c_str(), PLAT_O_WRONLY | PLAT_O_TRUNC, 0), -1);
    EXPECT_EQ(errno, EFBIG);
    close(0);
    Plat_Sys.FcntlInt = Fault_With<EMFILE>{};
    EXPECT_EQ(_open(path.c_str(), PLAT_O_RDONLY, 0), -1);
    EXPECT_EQ(errno, EMFILE);

    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0);
    EXPECT_EQ(dup(2), before) << "the lowest free number is still the same";
}

TEST(_open, IsNotInterrupted)
{
    const std::string path = freshDirectory() + "f";
    Plat_Sys.Open = [](const char *Path, int Flags, mode_t Mode) {
        static int calls = 0;
        if (calls++ < 3) {
            errno = EINTR;
            return -1;
        }
        return open(Path, Flags, Mode);
    };
    EXPECT_GE(_open(path.c_str(), create, 0600), 3);
}

TEST(_open, RespectsAFileThatIsNotShared)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "kept");
    const int exclusive = open(path.c_str(), O_RDWR | O_CLOEXEC);
    struct stat file;
    ASSERT_EQ(fstat(exclusive, &file), 0);
    ASSERT_EQ(Plat_ShareEnter(exclusive, &file, PLAT_SHARE_READ | PLAT_SHARE_WRITE, 0), 1);

    EXPECT_EQ(_open(path.c_str(), PLAT_O_RDONLY, 0), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(_open(path.c_str(), create | PLAT_O_TRUNC, 0600), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(plat_fopen(path.c_str(), "w"), nullptr);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(Scratch_ReadFile(path), "kept") << "a refused open truncates nothing";

    Plat_ShareForget(exclusive);
    const i32 shared = _open(path.c_str(), PLAT_O_RDONLY, 0);
    EXPECT_GE(shared, 3);
    EXPECT_EQ(Plat_ShareEnter(exclusive, &file, PLAT_SHARE_READ, 0), 0) << "the other direction";
    _close(shared);
    EXPECT_EQ(Plat_ShareEnter(exclusive, &file, PLAT_SHARE_READ, 0), 1);
}

TEST(Plat_ShareEnter, FindsOutAboutDescriptorsClosedElsewhere)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "");
    const i32 file = _open(path.c_str(), PLAT_O_RDONLY, 0);
    EXPECT_EQ(Plat_ShareKnows(file), 1);
    struct stat found;
    ASSERT_EQ(fstat(file, &found), 0);
    close(file); // not through _close

    EXPECT_EQ(Plat_ShareEnter(900, &found, PLAT_SHARE_READ, 0), 1);
    EXPECT_EQ(Plat_ShareKnows(file), 0);
}

TEST(Plat_ShareEnter, TellsAccessesApart)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "");
    struct stat file;
    const int reader = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(fstat(reader, &file), 0);
    ASSERT_EQ(Plat_ShareEnter(reader, &file, PLAT_SHARE_READ, PLAT_SHARE_READ), 1);

    EXPECT_EQ(Plat_ShareAllows(&file, PLAT_SHARE_READ, PLAT_SHARE_READ | PLAT_SHARE_WRITE), 1);
    EXPECT_EQ(Plat_ShareAllows(&file, PLAT_SHARE_READ, PLAT_SHARE_READ), 1);
    EXPECT_EQ(Plat_ShareAllows(&file, PLAT_SHARE_READ, PLAT_SHARE_WRITE), 0) << "it would forbid the first reader";
    EXPECT_EQ(Plat_ShareAllows(&file, PLAT_SHARE_WRITE, PLAT_SHARE_READ), 0) << "the first reader forbids it";
}

TEST(_write, KeepsShortWritesShort)
{
    const std::string path = freshDirectory() + "f";
    const i32 file = _open(path.c_str(), create, 0600);
    Plat_Sys.Write = [](int Descriptor, const void *Data, size_t) { return write(Descriptor, Data, 1); };
    EXPECT_EQ(_write(file, "abc", 3), 1);
    EXPECT_EQ(Scratch_ReadFile(path), "a");
    Plat_Sys.Write = Fault_With<ENOSPC>{};
    EXPECT_EQ(_write(file, "abc", 3), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(_write(file, "abc", 0x80000000u), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(_write(-1, "abc", 3), -1);
}

TEST(_write, RaisesNoSignalOnAPipeWithoutReader)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(_write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST(_write, IsNotInterrupted)
{
    const i32 file = _open((freshDirectory() + "f").c_str(), create, 0600);
    Plat_Sys.Write = [](int Descriptor, const void *Data, size_t Size) -> ssize_t {
        static int calls = 0;
        if (calls++ < 2) {
            errno = EINTR;
            return -1;
        }
        return write(Descriptor, Data, Size);
    };
    EXPECT_EQ(_write(file, "abc", 3), 3);
}

TEST(_read, ReadsAndTellsTheEnd)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "abc");
    const i32 file = _open(path.c_str(), PLAT_O_BINARY, 0);
    char data[8] = {};
    EXPECT_EQ(_read(file, data, 2), 2);
    EXPECT_EQ(_read(file, data + 2, 6), 1);
    EXPECT_STREQ(data, "abc");
    EXPECT_EQ(_read(file, data, 8), 0);
    EXPECT_EQ(_read(file, data, 0x80000000u), -1);
    EXPECT_EQ(errno, EINVAL);
    Plat_Sys.Read = Fault_With<EIO>{};
    EXPECT_EQ(_read(file, data, 8), -1);
    EXPECT_EQ(errno, EIO);
}

TEST(_close, ClosesStandardDescriptorsToo)
{
    EXPECT_EQ(_close(0), 0);
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    EXPECT_EQ(_close(0), -1);
    EXPECT_EQ(errno, EBADF);
    Plat_Sys.Close = Fault_With<EINTR>{};
    EXPECT_EQ(_close(5), 0) << "an interrupted close has closed";
}

TEST(_chsize, CutsAndGrowsAndKeepsThePosition)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "0123456789");
    const i32 file = _open(path.c_str(), PLAT_O_RDWR, 0);
    EXPECT_EQ(_lseek(file, 6, 0), 6);
    EXPECT_EQ(_chsize(file, 4), 0);
    EXPECT_EQ(_lseek(file, 0, 1), 6);
    EXPECT_EQ(Scratch_ReadFile(path), "0123");
    EXPECT_EQ(_chsize(file, 6), 0);
    EXPECT_EQ(Scratch_ReadFile(path), std::string("0123\0\0", 6));
    EXPECT_EQ(_chsize(file, -1), -1);
    EXPECT_EQ(errno, EINVAL);
    Plat_Sys.Ftruncate = Fault_With<ENOSPC>{};
    EXPECT_EQ(_chsize(file, 2), -1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST(_lseek, MovesFromEachOrigin)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "0123456789");
    const i32 file = _open(path.c_str(), PLAT_O_RDWR, 0);
    EXPECT_EQ(_lseek(file, 4, 0), 4);
    EXPECT_EQ(_lseek(file, 3, 1), 7);
    EXPECT_EQ(_lseek(file, -2, 2), 8);
    EXPECT_EQ(_lseek(file, 0, 3), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(_lseek(file, -20, 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(_lseek(999, 0, 0), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(_lseek, DoesNotGoWhereItsResultCannot)
{
    const std::string path = freshDirectory() + "f";
    const i32 file = _open(path.c_str(), create, 0600);
    ASSERT_EQ(lseek(file, 0x7FFFFFF0, SEEK_SET), 0x7FFFFFF0);
    EXPECT_EQ(_lseek(file, 0xF, 1), INT_MAX);
    EXPECT_EQ(_lseek(file, 1, 1), -1);
    EXPECT_EQ(errno, EOVERFLOW);
    EXPECT_EQ(_lseek(file, 0, 1), INT_MAX);
}

TEST(_commit, FlushesToDisk)
{
    const i32 file = _open((freshDirectory() + "f").c_str(), create, 0600);
    EXPECT_EQ(_commit(file), 0);
    EXPECT_EQ(_commit(999), -1);
    EXPECT_EQ(errno, EBADF);
    Plat_Sys.Fdatasync = Fault_With<EIO>{};
    EXPECT_EQ(_commit(file), -1);
    EXPECT_EQ(errno, EIO);
}

TEST(_mkdir, MakesADirectory)
{
    const std::string path = freshDirectory() + "sub";
    umask(022);
    EXPECT_EQ(_mkdir(backslashed(path).c_str()), 0);
    EXPECT_EQ(permissionsOf(path), 0755u);
    EXPECT_EQ(_mkdir(path.c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(_mkdir((path + "/a/b").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(_stat32, TellsTypeAndSize)
{
    const std::string directory = freshDirectory();
    Scratch_WriteFile(directory + "f", "12345");
    struct plat_stat32 found;

    ASSERT_EQ(_stat32(backslashed(directory + "f").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & PLAT_S_IFMT, 0x8000u);
    EXPECT_EQ(found.st_size, 5);
    struct stat other;
    ASSERT_EQ(stat((directory + "f").c_str(), &other), 0);
    EXPECT_EQ(found.st_mtime_seconds, other.st_mtime);
    ASSERT_EQ(_stat32(directory.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & PLAT_S_IFMT, PLAT_S_IFDIR);
    ASSERT_EQ(_stat32((directory + "f.exe").c_str(), &found), 0) << "a program without its extension";
    EXPECT_EQ(_stat32((directory + "g").c_str(), &found), -1);
    EXPECT_EQ(errno, ENOENT);
    Plat_Sys.Stat = Fault_With<EACCES>{};
    EXPECT_EQ(_stat32((directory + "f").c_str(), &found), -1);
    EXPECT_EQ(errno, EACCES);
}

TEST(_access, TestsExistence)
{
    const std::string directory = freshDirectory();
    Scratch_WriteFile(directory + "f", "");
    EXPECT_EQ(_access(backslashed(directory + "f").c_str(), 0), 0);
    EXPECT_EQ(_access((directory + "f.exe").c_str(), 4), 0);
    EXPECT_EQ(_access((directory + "g").c_str(), 0), -1);
    EXPECT_EQ(errno, ENOENT);
    for (const i32 mode : {1, 3, 7, 8, -1}) {
        errno = 0;
        EXPECT_EQ(_access((directory + "f").c_str(), mode), -1);
        EXPECT_EQ(errno, EINVAL) << mode;
    }
}

TEST(_access, TestsTheRightsOfTheEffectiveUser)
{
    const std::string path = freshDirectory() + "f";
    Scratch_WriteFile(path, "");
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    const auto look = [&] {
        Fault_DropRoot();
        const bool right = _access(path.c_str(), 4) == 0 && _access(path.c_str(), 0) == 0 &&
                           _access(path.c_str(), 2) == -1 && errno == EACCES && _access(path.c_str(), 6) == -1;
        _exit(right ? 0 : 1);
    };
    EXPECT_EXIT(look(), testing::ExitedWithCode(0), "");
}

TEST(plat_fopen, OpensByMode)
{
    const std::string path = freshDirectory() + "f";
    FILE *stream = plat_fopen(backslashed(path).c_str(), "wb");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fcntl(fileno(stream), F_GETFD), FD_CLOEXEC);
    fputs("one\n", stream);
    fclose(stream);
    stream = plat_fopen(path.c_str(), "at");
    fputs("two\n", stream);
    fclose(stream);
    stream = plat_fopen(path.c_str(), "r+");
    char line[16];
    ASSERT_NE(fgets(line, sizeof line, stream), nullptr);
    EXPECT_STREQ(line, "one\n");
    fseek(stream, 0, SEEK_SET);
    fputs("ONE", stream);
    fclose(stream);
    EXPECT_EQ(Scratch_ReadFile(path), "ONE\ntwo\n");
    stream = plat_fopen(path.c_str(), "w+");
    fclose(stream);
    EXPECT_EQ(Scratch_ReadFile(path), "");
    stream = plat_fopen(path.c_str(), "a+b");
    EXPECT_EQ(fputs("x", stream), 1);
    fclose(stream);
}

TEST(plat_fopen, Fails)
{
    const std::string directory = freshDirectory();
    for (const char *mode : {"", "x", "rx", "r,ccs=UTF-8"}) {
        errno = 0;
        EXPECT_EQ(plat_fopen((directory + "f").c_str(), mode), nullptr);
        EXPECT_EQ(errno, EINVAL) << mode;
    }
    EXPECT_EQ(plat_fopen((directory + "f").c_str(), nullptr), nullptr);
    EXPECT_EQ(plat_fopen((directory + "f").c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(plat_fopen(directory.c_str(), "r"), nullptr) << "a directory is no file";
    EXPECT_EQ(errno, EACCES);
}

TEST(_open_osfhandle, TakesTheDescriptorOut)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const handle writeEnd = Plat_StreamCreate(PLAT_KIND_PIPE, ends[1]);

    EXPECT_EQ(_open_osfhandle(writeEnd, 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(_open_osfhandle(writeEnd, 0), ends[1]);
    EXPECT_EQ(fcntl(ends[1], F_GETFD), FD_CLOEXEC) << "open, and closed on exec";
    EXPECT_EQ(CloseHandle(writeEnd), 0) << "the handle is gone";
    EXPECT_EQ(_open_osfhandle(writeEnd, 0), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(_open_osfhandle(nullptr, 0), -1);
    EXPECT_EQ(errno, EBADF);
}
