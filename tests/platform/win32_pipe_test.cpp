// Anonymous and named pipes.

#include "win32_pipe.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "crt.h"
#include "plat_faults.h"
#include "plat_path.h"
#include "plat_rundir.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_sync.h"

namespace
{

constexpr char name[] = "\\\\.\\pipe\\velatest";

handle takeName()
{
    return CreateNamedPipeA(name, PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, 9, 9, 10000, nullptr);
}

int openDescriptors()
{
    int count = 0;
    DIR *const list = opendir("/proc/self/fd");
    while (readdir(list) != nullptr) ++count;
    closedir(list);
    return count;
}

} // namespace

TEST(CreatePipe, CarriesBytes)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    ASSERT_EQ(CreatePipe(&readEnd, &writeEnd, nullptr, 0), 1);
    u32 count = 0;
    EXPECT_EQ(PeekNamedPipe(readEnd, nullptr, 0, nullptr, &count, nullptr), 1);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(WriteFile(writeEnd, "hello", 5, &count, nullptr), 1);
    EXPECT_EQ(PeekNamedPipe(readEnd, nullptr, 0, nullptr, &count, nullptr), 1);
    EXPECT_EQ(count, 5u);
    char text[16] = {};
    EXPECT_EQ(ReadFile(readEnd, text, sizeof text, &count, nullptr), 1);
    EXPECT_EQ(count, 5u);
    EXPECT_STREQ(text, "hello");

    CloseHandle(writeEnd);
    EXPECT_EQ(PeekNamedPipe(readEnd, nullptr, 0, nullptr, &count, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_BROKEN_PIPE);
    EXPECT_EQ(ReadFile(readEnd, text, sizeof text, &count, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_BROKEN_PIPE);
    EXPECT_EQ(count, 0u);
}

TEST(CreatePipe, StillHoldsBytesOfAWriterThatIsGone)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    ASSERT_EQ(CreatePipe(&readEnd, &writeEnd, nullptr, 0), 1);
    u32 count = 0;
    WriteFile(writeEnd, "x", 1, &count, nullptr);
    CloseHandle(writeEnd);
    EXPECT_EQ(PeekNamedPipe(readEnd, nullptr, 0, nullptr, &count, nullptr), 1);
    EXPECT_EQ(count, 1u);
}

TEST(CreatePipe, LeavesNothingOpenWhenItFails)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    CreatePipe(&readEnd, &writeEnd, nullptr, 0); // the handle table exists
    const int before = openDescriptors();
    static int calls = 0;
    Plat_Sys.Malloc = [](size_t size) -> void * { return ++calls == 2 ? nullptr : malloc(size); };
    EXPECT_EQ(CreatePipe(&readEnd, &writeEnd, nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(openDescriptors(), before);
    Plat_Sys.Malloc = malloc;
    Plat_Sys.Pipe2 = Fault_With<EMFILE>{};
    EXPECT_EQ(CreatePipe(&readEnd, &writeEnd, nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_TOO_MANY_OPEN_FILES);
}

TEST(PeekNamedPipe, SaysWhyItCouldNot)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    ASSERT_EQ(CreatePipe(&readEnd, &writeEnd, nullptr, 0), 1);
    char text[4];
    EXPECT_EQ(PeekNamedPipe(readEnd, text, 4, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(PeekNamedPipe(nullptr, nullptr, 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    Plat_Sys.Ioctl = Fault_With<EBADF>{};
    EXPECT_EQ(PeekNamedPipe(readEnd, nullptr, 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(ReadFile, OfNothingTellsTheEndAlone)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    ASSERT_EQ(CreatePipe(&readEnd, &writeEnd, nullptr, 0), 1);
    char byte = 0;
    u32 count = 9;
    EXPECT_EQ(ReadFile(readEnd, &byte, 0, &count, nullptr), 1); // empty, and nothing waits
    EXPECT_EQ(count, 0u);
    ASSERT_EQ(WriteFile(writeEnd, "x", 1, &count, nullptr), 1);
    EXPECT_EQ(ReadFile(readEnd, &byte, 0, &count, nullptr), 1);
    EXPECT_EQ(count, 0u);
    CloseHandle(writeEnd);
    EXPECT_EQ(ReadFile(readEnd, &byte, 0, &count, nullptr), 1) << "a byte is left";
    EXPECT_EQ(ReadFile(readEnd, &byte, 1, &count, nullptr), 1);
    EXPECT_EQ(ReadFile(readEnd, &byte, 0, &count, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_BROKEN_PIPE);
    CloseHandle(readEnd);
}

TEST(ReadFile, RefusesWhatItCannotDo)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    ASSERT_EQ(CreatePipe(&readEnd, &writeEnd, nullptr, 0), 1);
    char text[4];
    u32 count = 9;
    EXPECT_EQ(ReadFile(readEnd, text, 4, &count, text), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ReadFile(nullptr, text, 4, &count, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    Plat_Sys.Read = Fault_With<EIO>{};
    EXPECT_EQ(ReadFile(readEnd, text, 4, &count, nullptr), 0);
    EXPECT_EQ(count, 0u);
}

// A run directory that others may look into, made by hand, and no umask: the pipe is its owner's all the same.
TEST(NamedPipe, IsItsOwnersAlone)
{
    const std::string directory = Scratch_MakeRoot() + "/open";
    mkdir(directory.c_str(), 0700);
    chmod(directory.c_str(), 0777);
    setenv("SORREL_RUNDIR", directory.c_str(), 1);
    umask(0);
    const handle pipe = takeName();
    ASSERT_NE(pipe, PLAT_INVALID_HANDLE);
    u32 files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        struct stat found = {};
        EXPECT_EQ(stat(entry.path().c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777, 0600u) << entry.path();
        ++files;
    }
    EXPECT_EQ(files, 2u) << "the socket and its lock";
    CloseHandle(pipe);
}

TEST(NamedPipe, TakesItsNameOnce)
{
    Scratch_MakeRoot();
    EXPECT_EQ(WaitNamedPipeA(name, 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    const handle pipe = takeName();
    ASSERT_NE(pipe, PLAT_INVALID_HANDLE);
    EXPECT_EQ(WaitNamedPipeA(name, 1), 1);
    EXPECT_EQ(takeName(), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_PIPE_BUSY);
    CloseHandle(pipe);
    EXPECT_EQ(WaitNamedPipeA(name, 1), 0);
    const handle again = takeName();
    EXPECT_NE(again, PLAT_INVALID_HANDLE);
    CloseHandle(again);
}

TEST(NamedPipe, IsBusyFromItsClientToItsEnd)
{
    Scratch_MakeRoot();
    const handle pipe = takeName();
    i32 connected = 0;
    std::thread watcher([&] { connected = ConnectNamedPipe(pipe, nullptr); });
    handle client = PLAT_INVALID_HANDLE;
    client = CreateFileA(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(client, PLAT_INVALID_HANDLE);
    watcher.join();
    EXPECT_EQ(connected, 1);
    EXPECT_EQ(WaitNamedPipeA(name, 5), 0);
    EXPECT_EQ(GetLastError(), ERROR_SEM_TIMEOUT);
    EXPECT_EQ(CreateFileA(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_PIPE_BUSY);
    EXPECT_EQ(DisconnectNamedPipe(pipe), 1);
    EXPECT_EQ(WaitNamedPipeA(name, 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_SEM_TIMEOUT);
    CloseHandle(client);
    CloseHandle(pipe);
    EXPECT_EQ(WaitNamedPipeA(name, 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST(NamedPipe, TakesOneOfManyClients)
{
    Scratch_MakeRoot();
    for (int round = 0; round < 50; ++round) {
        const handle pipe = takeName(); // nobody waits for a client yet
        std::atomic<int> taken = 0, busy = 0;
        std::vector<std::thread> clients;
        for (int number = 0; number < 8; ++number) {
            clients.emplace_back([&] {
                const handle client = CreateFileA(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
                if (client == PLAT_INVALID_HANDLE) {
                    busy += GetLastError() == ERROR_PIPE_BUSY;
                    return;
                }
                ++taken;
                CloseHandle(client);
            });
        }
        for (std::thread &client : clients) client.join();
        ASSERT_EQ(taken, 1);
        ASSERT_EQ(busy, 7);
        EXPECT_EQ(ConnectNamedPipe(pipe, nullptr), 1);
        CloseHandle(pipe);
    }
}

TEST(NamedPipe, GoesWithItsProcess)
{
    Scratch_MakeRoot();
    const pid_t child = fork();
    if (child == 0) {
        takeName();
        _exit(0); // no handle is closed: socket and lock file stay behind
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WaitNamedPipeA(name, 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(CreateFileA(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_NE(takeName(), PLAT_INVALID_HANDLE);
}

TEST(NamedPipe, TakesLongAndOddNames)
{
    Scratch_MakeRoot();
    const std::string names[] = {"\\\\.\\pipe\\" + std::string(300, 'x'), "\\\\.\\pipe\\a\\b", "\\\\.\\PIPE\\.hidden"};
    for (const std::string &odd : names) {
        const handle pipe = CreateNamedPipeA(odd.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, 9, 9, 1, nullptr);
        ASSERT_NE(pipe, PLAT_INVALID_HANDLE) << odd;
        EXPECT_EQ(WaitNamedPipeA(odd.c_str(), 1), 1) << odd;
        CloseHandle(pipe);
    }
}

TEST(NamedPipe, RefusesBadArguments)
{
    Scratch_MakeRoot();
    EXPECT_EQ(CreateNamedPipeA("plain", PIPE_ACCESS_INBOUND, 0, 1, 9, 9, 1, nullptr), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
    EXPECT_EQ(CreateNamedPipeA(name, 3, 0, 1, 9, 9, 1, nullptr), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(CreateNamedPipeA(name, PIPE_ACCESS_INBOUND, 0, 2, 9, 9, 1, nullptr), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ConnectNamedPipe(nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(DisconnectNamedPipe(nullptr), 0);
    Plat_Sys.Bind = Fault_With<EACCES>{};
    EXPECT_EQ(takeName(), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    Plat_Sys.Bind = bind;
    EXPECT_NE(takeName(), PLAT_INVALID_HANDLE); // the lock was given back
}

TEST(RunDirectory, IsForItsOwnerAlone)
{
    const std::string root = Scratch_MakeRoot();
    setenv("SORREL_RUNDIR", (root + "/fresh").c_str(), 1);
    const handle pipe = takeName();
    ASSERT_NE(pipe, PLAT_INVALID_HANDLE);
    struct stat found;
    ASSERT_EQ(stat((root + "/fresh").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0700u);
    CloseHandle(pipe);

    Scratch_WriteFile(root + "/plain", "no directory");
    setenv("SORREL_RUNDIR", (root + "/plain").c_str(), 1);
    EXPECT_EQ(takeName(), PLAT_INVALID_HANDLE);
    unsetenv("SORREL_RUNDIR");
    setenv("XDG_RUNTIME_DIR", root.c_str(), 1);
    const handle session = takeName();
    EXPECT_NE(session, PLAT_INVALID_HANDLE);
    EXPECT_EQ(stat((root + "/sorrel").c_str(), &found), 0);
    unsetenv("XDG_RUNTIME_DIR");
    setenv("TMPDIR", root.c_str(), 1);
    const handle temporary = takeName();
    EXPECT_NE(temporary, PLAT_INVALID_HANDLE);
    CloseHandle(temporary);
    const std::string own = root + "/sorrel-" + std::to_string(geteuid());
    EXPECT_EQ(stat(own.c_str(), &found), 0);

    ASSERT_EQ(rename(own.c_str(), (root + "/elsewhere").c_str()), 0);
    ASSERT_EQ(symlink((root + "/elsewhere").c_str(), own.c_str()), 0);
    EXPECT_EQ(takeName(), PLAT_INVALID_HANDLE) << "a link that somebody may have put there";
    setenv("SORREL_RUNDIR", (own + "//").c_str(), 1);
    EXPECT_NE(takeName(), PLAT_INVALID_HANDLE) << "unless it was asked for";
}

TEST(RunDirectory, IsNotTakenFromAStranger)
{
    const std::string root = Scratch_MakeRoot();
    char path[PLAT_PATH_ROOM];
    unsetenv("SORREL_RUNDIR");
    setenv("XDG_RUNTIME_DIR", root.c_str(), 1);
    ASSERT_EQ(Plat_RunDirectory(path, sizeof path), 0);
    EXPECT_EQ(path, root + "/sorrel");
    EXPECT_EQ(Plat_RunDirectory(path, root.size() + 7), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);

    Plat_Sys.Lstat = [](const char *at, struct stat *out) {
        const int result = lstat(at, out);
        ++out->st_uid;
        return result;
    };
    EXPECT_EQ(Plat_RunDirectory(path, sizeof path), -1);
    EXPECT_EQ(errno, EPERM) << "for root as well";
    Plat_Sys.Stat = [](const char *at, struct stat *out) {
        const int result = stat(at, out);
        ++out->st_uid;
        return result;
    };
    setenv("SORREL_RUNDIR", (root + "/sorrel/").c_str(), 1);
    EXPECT_EQ(Plat_RunDirectory(path, sizeof path), 0) << "whoever set it answers for it";
    EXPECT_EQ(path, root + "/sorrel") << "without the slash";
    Plat_Sys.Mkdir = Fault_With<EACCES>{};
    EXPECT_EQ(Plat_RunDirectory(path, sizeof path), -1);
    EXPECT_EQ(errno, EACCES);
}

TEST(CreateFileA, OpensByTheFiveWords)
{
    const std::string path = Scratch_MakeRoot() + "\\data\\file";
    const u32 share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    const auto open = [&](u32 creation) {
        SetLastError(77);
        return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, creation, 0x80, nullptr);
    };
    EXPECT_EQ(open(OPEN_EXISTING), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    handle file = open(CREATE_NEW);
    ASSERT_NE(file, PLAT_INVALID_HANDLE);
    u32 count = 0;
    WriteFile(file, "text", 4, &count, nullptr);
    CloseHandle(file);
    EXPECT_EQ(open(CREATE_NEW), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
    file = open(OPEN_ALWAYS);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    CloseHandle(file);
    EXPECT_EQ(Scratch_ReadFile(path), "text");
    file = open(CREATE_ALWAYS);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    CloseHandle(file);
    EXPECT_EQ(Scratch_ReadFile(path), "");
    Scratch_WriteFile(path, "again");
    file = open(TRUNCATE_EXISTING);
    CloseHandle(file);
    EXPECT_EQ(Scratch_ReadFile(path), "");
}

TEST(CreateFileA, RefusesSharingBeforeItTruncates)
{
    const std::string path = Scratch_MakeRoot() + "/data/shared";
    Scratch_WriteFile(path, "keep");
    const i32 held = _open(path.c_str(), PLAT_O_WRONLY, 0);
    ASSERT_GE(held, 3);
    EXPECT_EQ(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0x80, nullptr), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(Scratch_ReadFile(path), "keep");
    _close(held);

    const handle alone = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0x80, nullptr);
    ASSERT_NE(alone, PLAT_INVALID_HANDLE);
    EXPECT_EQ(CreateFileA(path.c_str(), GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0x80, nullptr), PLAT_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    CloseHandle(alone);
    EXPECT_NE(CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0x80, nullptr), PLAT_INVALID_HANDLE);
}

TEST(CreateFileA, TellsWhatIsMissing)
{
    const std::string root = Scratch_MakeRoot();
    const auto error = [&](const std::string &path, u32 access, u32 creation) {
        EXPECT_EQ(CreateFileA(path.c_str(), access, 3, nullptr, creation, 0x80, nullptr), PLAT_INVALID_HANDLE);
        return GetLastError();
    };
    EXPECT_EQ(error(root + "/none/file", GENERIC_READ, OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(error(root + "/none/file", GENERIC_WRITE, CREATE_ALWAYS), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(error(root + "/file", GENERIC_READ, OPEN_EXISTING), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(error(root, GENERIC_READ, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error("", GENERIC_READ, OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(error(root + "/file", 0, OPEN_EXISTING), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error(root + "/file", GENERIC_READ, 9), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error(root + "/file", GENERIC_READ, TRUNCATE_EXISTING), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error(name, GENERIC_READ, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    Plat_Sys.Ftruncate = Fault_With<ENOSPC>{};
    EXPECT_EQ(error(root + "/full", GENERIC_WRITE, CREATE_ALWAYS), ERROR_DISK_FULL);
}

TEST(CreateFileA, OpensTheNullDevice)
{
    const handle null = CreateFileA("NUL", GENERIC_WRITE, 3, nullptr, OPEN_EXISTING, 0x80, nullptr);
    ASSERT_NE(null, PLAT_INVALID_HANDLE);
    u32 count = 0;
    EXPECT_EQ(WriteFile(null, "gone", 4, &count, nullptr), 1);
    EXPECT_EQ(count, 4u);
    const handle input = CreateFileA("nul", GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0x80, nullptr);
    char byte;
    EXPECT_EQ(ReadFile(input, &byte, 1, &count, nullptr), 1); // the end of a file is no failure
    EXPECT_EQ(count, 0u);
}
