// Processes: command lines, streams, exit codes, reaping.

#include "win32_process.h"

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plat_cmdline.h"
#include "plat_faults.h"
#include "plat_path.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_pipe.h"
#include "win32_sync.h"

namespace
{

PROCESS_INFORMATION start(const std::string &line, handle in = nullptr, handle out = nullptr, handle error = nullptr)
{
    STARTUPINFOA startup;
    GetStartupInfoA(&startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in;
    startup.hStdOutput = out;
    startup.hStdError = error;
    PROCESS_INFORMATION child = {};
    EXPECT_EQ(CreateProcessA(nullptr, line.c_str(), nullptr, nullptr, 1, 0, nullptr, nullptr, &startup, &child), 1)
        << line << ": error " << GetLastError();
    return child;
}

u32 startError(const std::string &line)
{
    STARTUPINFOA startup;
    GetStartupInfoA(&startup);
    PROCESS_INFORMATION child = {};
    EXPECT_EQ(CreateProcessA(nullptr, line.c_str(), nullptr, nullptr, 1, 0, nullptr, nullptr, &startup, &child), 0);
    return GetLastError();
}

u32 exitCode(const PROCESS_INFORMATION &child)
{
    EXPECT_EQ(WaitForSingleObject(child.hProcess, 20000), WAIT_OBJECT_0);
    u32 code = 0;
    EXPECT_EQ(GetExitCodeProcess(child.hProcess, &code), 1);
    CloseHandle(child.hProcess);
    CloseHandle(child.hThread);
    return code;
}

std::string outputOf(const std::string &line)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    CreatePipe(&readEnd, &writeEnd, nullptr, 0);
    const PROCESS_INFORMATION child = start(line, nullptr, writeEnd, nullptr);
    CloseHandle(writeEnd);
    std::string text;
    char buffer[256];
    u32 count = 0;
    while (ReadFile(readEnd, buffer, sizeof buffer, &count, nullptr)) text.append(buffer, count);
    CloseHandle(readEnd);
    exitCode(child);
    return text;
}

std::vector<std::string> argumentsOf(const std::string &line)
{
    char program[PLAT_PATH_ROOM];
    Plat_Arguments arguments = {};
    EXPECT_EQ(Plat_ParseCommandLine(line.c_str(), program, &arguments), ERROR_SUCCESS) << line;
    std::vector<std::string> list(arguments.List, arguments.List + arguments.Count);
    free(arguments.List);
    return list;
}

void makeProgram(const std::string &path, const std::string &text)
{
    Scratch_WriteFile(path, text);
    chmod(path.c_str(), 0755);
}

void killChild(const PROCESS_INFORMATION &child)
{
    if (child.dwProcessId != 0) kill(static_cast<pid_t>(child.dwProcessId), SIGKILL);
}

int zombies()
{
    siginfo_t info = {};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

using Words = std::vector<std::string>;

} // namespace

TEST(CommandLine, IsCutByThePublishedRules)
{
    EXPECT_EQ(argumentsOf("true"), (Words{"true"}));
    EXPECT_EQ(argumentsOf("  true  "), (Words{"true"}));
    EXPECT_EQ(argumentsOf("true a\tb  c "), (Words{"true", "a", "b", "c"}));
    EXPECT_EQ(argumentsOf("true \"a b\" c\"d e\"f"), (Words{"true", "a b", "cd ef"}));
    EXPECT_EQ(argumentsOf("true \"\""), (Words{"true", ""}));
    EXPECT_EQ(argumentsOf(R"(true a\b c\\d \\)"), (Words{"true", R"(a\b)", R"(c\\d)", R"(\\)"}));
    EXPECT_EQ(argumentsOf(R"(true a\"b)"), (Words{"true", "a\"b"}));
    EXPECT_EQ(argumentsOf(R"(true a\\"b c")"), (Words{"true", R"(a\b c)"}));
    EXPECT_EQ(argumentsOf(R"(true a\\\"b)"), (Words{"true", R"(a\"b)"}));
    EXPECT_EQ(argumentsOf(R"(true "a""b" c)"), (Words{"true", "a\"b", "c"}));
    EXPECT_EQ(argumentsOf("\"true\" x"), (Words{"true", "x"}));
    EXPECT_EQ(argumentsOf("true \"open end"), (Words{"true", "open end"}));
}

TEST(CommandLine, FindsProgramsAndPrefixes)
{
    const std::string root = Scratch_MakeRoot();
    makeProgram(root + "/one two", "#!/bin/sh\nexit 3\n");
    EXPECT_EQ(argumentsOf(root + "/one two three"), (Words{root + "/one two", "three"}));
    makeProgram(root + "/one", "#!/bin/sh\nexit 4\n");
    EXPECT_EQ(argumentsOf(root + "/one two three"), (Words{root + "/one", "two", "three"})); // the shortest first
    EXPECT_EQ(argumentsOf("\"" + root + "/one two\" three"), (Words{root + "/one two", "three"}));
    EXPECT_EQ(argumentsOf("c:" + root + "\\one"), (Words{"c:" + root + "\\one"}));

    char program[PLAT_PATH_ROOM];
    Plat_Arguments arguments = {};
    ASSERT_EQ(Plat_ParseCommandLine((root + "\\one.exe x").c_str(), program, &arguments), 0u);
    EXPECT_EQ(program, root + "/one"); // the ending gives way where the file has none
    free(arguments.List);
    makeProgram(root + "/tool.exe", "#!/bin/sh\n");
    ASSERT_EQ(Plat_ParseCommandLine((root + "/tool").c_str(), program, &arguments), 0u);
    EXPECT_EQ(program, root + "/tool.exe");
    free(arguments.List);

    setenv("PATH", (root + "/install:" + root + "::/usr/bin:/bin").c_str(), 1);
    ASSERT_EQ(Plat_ParseCommandLine("tool", program, &arguments), 0u);
    EXPECT_EQ(program, root + "/tool.exe");
    free(arguments.List);
    EXPECT_EQ(Plat_ParseCommandLine("data", program, &arguments), ERROR_FILE_NOT_FOUND); // a directory is passed over
    EXPECT_EQ(Plat_ParseCommandLine("", program, &arguments), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Plat_ParseCommandLine(std::string(9000, 'x').c_str(), program, &arguments), ERROR_FILE_NOT_FOUND);
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(Plat_ParseCommandLine("tool", program, &arguments), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(CreateProcessA, GivesTheChildItsStreams)
{
    handle inRead, inWrite, outRead, outWrite;
    CreatePipe(&inRead, &inWrite, nullptr, 0);
    CreatePipe(&outRead, &outWrite, nullptr, 0);
    const PROCESS_INFORMATION child = start("cat", inRead, outWrite, nullptr);
    CloseHandle(inRead);
    CloseHandle(outWrite);
    u32 count = 0;
    WriteFile(inWrite, "through", 7, &count, nullptr);
    CloseHandle(inWrite); // the child has no copy of this end, so it sees the end of its input
    char text[16] = {};
    EXPECT_EQ(ReadFile(outRead, text, sizeof text, &count, nullptr), 1);
    EXPECT_STREQ(text, "through");
    EXPECT_EQ(exitCode(child), 0u);
}

TEST(CreateProcessA, PassesNothingElse)
{
    handle readEnd, writeEnd;
    CreatePipe(&readEnd, &writeEnd, nullptr, 0);
    const int inherited = dup(writeEnd == nullptr ? 0 : 1); // not closed on exec
    EXPECT_EQ(outputOf("sh -c \"ls /proc/self/fd | wc -l\""), "4\n"); // three streams and the one that ls opens
    close(inherited);
}

TEST(CreateProcessA, MakesUnusableStreamsOfMissingHandles)
{
    EXPECT_EQ(exitCode(start("sh -c \"echo x; test $? -ne 0\"", nullptr, PLAT_INVALID_HANDLE, nullptr)), 0u);
    EXPECT_EQ(exitCode(start("sh -c \"read x; test $? -ne 0\"", PLAT_INVALID_HANDLE, nullptr, nullptr)), 0u);
}

TEST(CreateProcessA, SwapsStandardStreams)
{
    // Output of the child to our standard error and the other way round: neither overwrites the other on the way.
    const PROCESS_INFORMATION child = start("sh -c \"test -e /proc/self/fd/1 -a -e /proc/self/fd/2\"", nullptr,
                                            GetStdHandle(STD_ERROR_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE));
    EXPECT_EQ(exitCode(child), 0u);
}

TEST(CreateProcessA, DetachesIntoASessionOfItsOwn)
{
    STARTUPINFOA startup;
    GetStartupInfoA(&startup);
    PROCESS_INFORMATION child = {};
    ASSERT_EQ(
        CreateProcessA(nullptr, "sleep 5", nullptr, nullptr, 1, DETACHED_PROCESS, nullptr, nullptr, &startup, &child),
        1);
    EXPECT_EQ(getsid(static_cast<pid_t>(child.dwProcessId)), static_cast<pid_t>(child.dwProcessId));
    killChild(child);
    EXPECT_EQ(exitCode(child), 128u + SIGKILL);
}

// A child that writes to a pipe nobody reads must end, though servers ignore the signal of it for themselves.
TEST(CreateProcessA, StartsWithPlainSignals)
{
    signal(SIGPIPE, SIG_IGN);
    signal(SIGHUP, SIG_IGN);
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    EXPECT_EQ(exitCode(start("sh -c \"kill -PIPE $$; exit 7\"")), 128u + SIGPIPE);
    EXPECT_EQ(exitCode(start("sh -c \"kill -TERM $$; exit 7\"")), 128u + SIGTERM);
    EXPECT_EQ(exitCode(start("sh -c \"kill -HUP $$; exit 7\"")), 7u) << "what is ignored stays so";
}

TEST(CreateProcessA, SaysWhyItCouldNot)
{
    const std::string root = Scratch_MakeRoot();
    EXPECT_EQ(startError("no-such-program-anywhere"), ERROR_FILE_NOT_FOUND);
    Scratch_WriteFile(root + "/plain", "#!/bin/sh\n");
    EXPECT_EQ(startError(root + "/plain"), ERROR_ACCESS_DENIED);
    makeProgram(root + "/garbage", std::string("\x7F\x45\x4C\x46\0\0", 6));
    EXPECT_EQ(startError(root + "/garbage"), ERROR_BAD_EXE_FORMAT);
    PROCESS_INFORMATION child = {};
    STARTUPINFOA startup;
    GetStartupInfoA(&startup);
    EXPECT_EQ(CreateProcessA("x", "x", nullptr, nullptr, 1, 0, nullptr, nullptr, &startup, &child), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    Plat_Sys.PosixSpawn = [](pid_t *, const char *, const posix_spawn_file_actions_t *, const posix_spawnattr_t *,
                             char *const *, char *const *) { return EAGAIN; };
    EXPECT_NE(startError("true"), 0u);
}

// A host that has no descriptor left: the child runs, and is waited for all the same.
TEST(WaitForSingleObject, WaitsForAChildWithoutADescriptor)
{
    Plat_Sys.PidfdOpen = [](pid_t, unsigned) {
        errno = EMFILE;
        return -1;
    };
    PROCESS_INFORMATION child = start("sh -c \"sleep 0.2; exit 7\"");
    u32 code = 0;
    EXPECT_EQ(WaitForSingleObject(child.hProcess, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(child.hProcess, 12), WAIT_TIMEOUT);
    EXPECT_EQ(GetExitCodeProcess(child.hProcess, &code), 1);
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(child.hProcess, PLAT_INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(exitCode(child), 7u);

    child = start("sleep 0.1"); // its handle is closed first, and by then there is a descriptor again
    Plat_Sys.PidfdOpen = [](pid_t pid, unsigned flags) {
        return static_cast<int>(syscall(SYS_pidfd_open, pid, flags));
    };
    CloseHandle(child.hProcess);
    CloseHandle(child.hThread);
    siginfo_t info = {};
    for (int tries = 0; waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && tries < 1000; ++tries) Sleep(5);
    EXPECT_EQ(errno, ECHILD);
}

TEST(GetExitCodeProcess, TellsHowAChildEnded)
{
    EXPECT_EQ(exitCode(start("sh -c \"exit 7\"")), 7u);
    EXPECT_EQ(exitCode(start("sh -c \"kill -SEGV $$\"")), 0xC0000005u);
    EXPECT_EQ(exitCode(start("sh -c \"kill -FPE $$\"")), 0xC0000094u);
    EXPECT_EQ(exitCode(start("sh -c \"kill -ILL $$\"")), 0xC000001Du);
    EXPECT_EQ(exitCode(start("sh -c \"kill -TRAP $$\"")), 0x80000003u);
    EXPECT_EQ(exitCode(start("sh -c \"kill -TERM $$\"")), 128u + SIGTERM);
    u32 code = 0;
    const PROCESS_INFORMATION running = start("sleep 5");
    EXPECT_EQ(GetExitCodeProcess(running.hProcess, &code), 1);
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(running.hProcess, 5), WAIT_TIMEOUT);
    killChild(running);
    exitCode(running);
    EXPECT_EQ(GetExitCodeProcess(nullptr, &code), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(OpenProcess, LooksWithoutReaping)
{
    const PROCESS_INFORMATION child = start("sh -c \"exit 9\"");
    const handle other = OpenProcess(SYNCHRONIZE, 0, child.dwProcessId);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(WaitForSingleObject(other, 10000), WAIT_OBJECT_0);
    u32 code = 0;
    EXPECT_EQ(GetExitCodeProcess(other, &code), 1);
    EXPECT_EQ(code, 9u);
    CloseHandle(other);
    EXPECT_EQ(exitCode(child), 9u); // still there for the one who started it

    const handle parent = OpenProcess(SYNCHRONIZE, 0, static_cast<u32>(getppid()));
    ASSERT_NE(parent, nullptr);
    EXPECT_EQ(WaitForSingleObject(parent, 0), WAIT_TIMEOUT);
    CloseHandle(parent);
    EXPECT_EQ(OpenProcess(SYNCHRONIZE, 0, 0x7FFFFFFF), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(GetCurrentProcessId(), static_cast<u32>(getpid()));
}

TEST(CloseHandle, LeavesNoZombieOfARunningChild)
{
    for (int i = 0; i < 50; ++i) {
        const PROCESS_INFORMATION child = start(i % 2 ? "true" : "sleep 0.05");
        CloseHandle(child.hProcess);
        CloseHandle(child.hThread);
    }
    for (int i = 0; i < 400; ++i) {
        siginfo_t info = {};
        if (waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD) break;
        Sleep(5);
    }
    EXPECT_EQ(zombies(), 0);
    siginfo_t info = {};
    EXPECT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT), -1); // no child at all is left
    EXPECT_EQ(errno, ECHILD);
}
