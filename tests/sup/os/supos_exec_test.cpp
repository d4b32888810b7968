// Starting children: streams, command line, closing, exit codes, and every way to fail.

#include "supos_execute.h"

#include "supos_exec_int.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "capture.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "super_codes.h"
#include "tks_memory.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_hook.h"
#include "win32_pipe.h"
#include "win32_process.h"
#include "win32_sync.h"

namespace
{

const std::string testChild = VELA_TEST_BUILD_DIR "/bin/test_child";
const std::string tinyChild = VELA_TEST_BUILD_DIR "/bin/tiny_child";

// What the library asked the system to start.
struct Started {
    std::string Line;
    STARTUPINFOA Startup;
    u32 Flags;
    i32 Inherit;
    bool Attributes; // both are the same
};

Started started;

i32 remember(const char *application, const char *line, void *process, void *thread, i32 inherit, u32 flags,
             void *environment, const char *directory, const STARTUPINFOA *startup, PROCESS_INFORMATION *out)
{
    EXPECT_EQ(application, nullptr);
    EXPECT_EQ(environment, nullptr);
    EXPECT_EQ(directory, nullptr);
    started = {line, *startup, flags, inherit, process == thread && process != nullptr};
    return Hook_Real().CreateProcessA(application, line, process, thread, inherit, flags, environment, directory,
                                      startup, out);
}

std::vector<int> openDescriptors()
{
    std::vector<int> found;
    DIR *const list = opendir("/proc/self/fd");
    while (const dirent *entry = readdir(list))
        if (entry->d_name[0] != '.' && atoi(entry->d_name) != dirfd(list)) found.push_back(atoi(entry->d_name));
    closedir(list);
    return found;
}

std::string readAll(int descriptor)
{
    std::string text;
    char block[65536];
    for (ssize_t count; (count = TEMP_FAILURE_RETRY(read(descriptor, block, sizeof block))) > 0;)
        text.append(block, static_cast<size_t>(count));
    close(descriptor);
    return text;
}

// Whether all of a text went into a pipe, whatever signals come in between.
bool writeAll(int descriptor, const std::string &text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = TEMP_FAILURE_RETRY(write(descriptor, text.data() + done, text.size() - done));
        if (count < 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

struct ExecCase : testing::Test {
    SupOS_ExecRecord Record = {};
    SupOS_ExecResult Result = {};
    std::string Root;

    void SetUp() override
    {
        signal(SIGPIPE, SIG_IGN);
        for (const int mine : openDescriptors()) // what this test program itself was given is no matter of its own
            if (mine > 2) fcntl(mine, F_SETFD, FD_CLOEXEC);
        Ring_TraceOn("SUPOS=5");
        Root = Scratch_Root();
        std::filesystem::current_path(Root);
        Hook.CreateProcessA = remember;
        run(0, {"exit", "0"}); // handles, attributes and accounts are there now
        Record.InputFd = Record.OutputFd = Record.ErrorFd = -77;
        Result = {};
    }

    void TearDown() override { Hook = {}; }

    u32 start(const std::string &program, u32 flags, std::vector<std::string> words)
    {
        std::vector<char *> arguments;
        words.insert(words.begin(), "ignored");
        for (std::string &word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        Record.Flags = flags;
        return SupOS_Exec(program.c_str(), arguments.data(), &Record, &Result);
    }

    i32 wait()
    {
        i32 status = -77;
        EXPECT_EQ(SupOS_Wait(&status, 12, Result.ProcessHandle), 12);
        return status;
    }

    // Runs the test child to its end; its exit code.
    i32 run(u32 flags, std::vector<std::string> words)
    {
        EXPECT_EQ(start(testChild, flags, std::move(words)), ERZ_OK);
        return wait();
    }

    // A start that fails: the log, with nothing written to the caller's records.
    std::string failure(const std::string &program, u32 flags, u32 point)
    {
        const SupOS_ExecRecord before = Record;
        Result = {77, PLAT_INVALID_HANDLE};
        u32 code = 0;
        const std::string log = Capture_Stderr([&] { code = start(program, flags, {}); });
        EXPECT_EQ(code, SupOS_RC_SYSTEM);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_Exec"), point);
        EXPECT_EQ(Record.InputFd, before.InputFd);
        EXPECT_EQ(Record.OutputFd, before.OutputFd);
        EXPECT_EQ(Record.ErrorFd, before.ErrorFd);
        EXPECT_EQ(Result.ProcessId, 77u);
        EXPECT_EQ(Result.ProcessHandle, PLAT_INVALID_HANDLE);
        return log;
    }
};

void expectLog(const std::string &log, const std::string &identifier, const std::vector<std::string> &parts)
{
    size_t at = log.find(identifier);
    EXPECT_NE(at, std::string::npos) << identifier << "\n" << log;
    for (const std::string &part : parts) {
        at = log.find(part, at);
        EXPECT_NE(at, std::string::npos) << part << "\n" << log;
    }
}

} // namespace

// ---- streams ----

TEST_F(ExecCase, AFilterBetweenTwoPipes)
{
    for (const char *program : {"cat", "sort"}) {
        ASSERT_EQ(start(program, 0x022, {}), ERZ_OK);
        const std::string text = program == std::string("cat") ? "b\na\n" : "z\na\nm\n";
        EXPECT_TRUE(writeAll(Record.InputFd, text));
        close(Record.InputFd);
        EXPECT_EQ(readAll(Record.OutputFd), program == std::string("cat") ? "b\na\n" : "a\nm\nz\n");
        EXPECT_EQ(Record.ErrorFd, -77) << "written for a stream that was piped, and for no other";
        EXPECT_EQ(wait(), 0);
    }
}

TEST_F(ExecCase, TwoOutputsAtOnce)
{
    ASSERT_EQ(start(testChild, 0x220, {"flood", "1000000"}), ERZ_OK);
    std::string errors;
    std::thread reader([&] { errors = readAll(Record.ErrorFd); });
    const std::string output = readAll(Record.OutputFd);
    reader.join();
    EXPECT_EQ(output, std::string(1000000, 'x'));
    EXPECT_EQ(errors, output);
    EXPECT_EQ(Record.InputFd, -77);
    EXPECT_EQ(wait(), 0);
}

TEST_F(ExecCase, AChildThatClosesEarly)
{
    ASSERT_EQ(start(testChild, 0x022, {"shut"}), ERZ_OK);
    EXPECT_EQ(readAll(Record.OutputFd), "");
    EXPECT_EQ(wait(), 0);
    EXPECT_EQ(write(Record.InputFd, "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    close(Record.InputFd);
}

TEST_F(ExecCase, Files)
{
    Scratch_WriteFile(Root + "/in", "from a file\n");
    Scratch_WriteFile(Root + "/out", std::string(500, 'o'));
    Record.InputName = "in";
    Record.OutputName = "out";
    Record.ErrorName = "err";
    umask(077);
    chmod("out", 0640);
    EXPECT_EQ(run(0x044, {"copy"}), 0);
    EXPECT_EQ(Scratch_ReadFile("out"), "from a file\n") << "create-always";
    EXPECT_EQ(run(0x441, {"say", "one", "two"}), 0);
    EXPECT_EQ(Scratch_ReadFile("out"), "one");
    EXPECT_EQ(Scratch_ReadFile("err"), "two");
    struct stat found = {};
    ASSERT_EQ(stat("err", &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0666u) << "a new file is open to all, whatever the umask";
    ASSERT_EQ(stat("out", &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0640u) << "one that was there stays as it is";
}

TEST_F(ExecCase, AnEmptyErrorNameSharesTheOutput)
{
    const std::vector<int> before = openDescriptors();
    Record.OutputName = "out";
    Record.ErrorName = "";
    EXPECT_EQ(run(0x440, {"say", "one", "two"}), 0);
    EXPECT_EQ(started.Startup.hStdOutput, started.Startup.hStdError);
    const std::string both = Scratch_ReadFile("out");
    EXPECT_TRUE(both == "onetwo" || both == "twoone") << both;
    EXPECT_EQ(openDescriptors(), before) << "closed once, through the mark of the output";
}

TEST_F(ExecCase, NullDevices)
{
    EXPECT_EQ(run(0x111, {"streams", "seen"}), 0);
    EXPECT_EQ(Scratch_ReadFile("seen"), "read 0\nwrite 1 1\nopen 0\nopen 1\nopen 2\n");
}

TEST_F(ExecCase, TheCallersStreams)
{
    const std::string text = Capture_Both([&] { EXPECT_EQ(run(0x888, {"say", "one", "two"}), 0); });
    EXPECT_TRUE(text == "onetwo" || text == "twoone") << text;
    EXPECT_EQ(Capture_Stdout([&] { EXPECT_EQ(run(0, {"say", "one", ""}), 0); }), "one");
}

TEST_F(ExecCase, NoFlagsNoStreams)
{
    EXPECT_EQ(run(0, {"exit", "0"}), 0);
    EXPECT_EQ(started.Startup.dwFlags, 1u);
    EXPECT_EQ(started.Startup.cb, 0x44u);
    EXPECT_EQ(started.Startup.wShowWindow, 1);
    EXPECT_EQ(started.Startup.hStdInput, nullptr);
    EXPECT_EQ(started.Startup.hStdOutput, nullptr);
    EXPECT_EQ(started.Startup.hStdError, nullptr);
    EXPECT_EQ(started.Inherit, 1);
    EXPECT_TRUE(started.Attributes);

    EXPECT_EQ(run(0x010, {"exit", "0"}), 0);
    EXPECT_EQ(started.Startup.dwFlags, 0x101u);
    EXPECT_EQ(started.Startup.hStdInput, nullptr);
    EXPECT_NE(started.Startup.hStdOutput, nullptr);
}

TEST_F(ExecCase, AnyOtherValueLeavesAStreamAlone)
{
    for (const u32 value : {0x0u, 0x3u, 0x5u, 0x6u, 0x7u, 0x9u, 0xAu, 0xBu, 0xCu, 0xDu, 0xEu, 0xFu}) {
        EXPECT_EQ(run(value | value << 4 | value << 8, {"exit", "0"}), 0);
        EXPECT_EQ(started.Startup.dwFlags, 1u) << std::hex << value;
    }
    EXPECT_EQ(run(0x351, {"streams", "seen"}), 0);
    EXPECT_EQ(started.Startup.hStdOutput, nullptr);
    EXPECT_EQ(Scratch_ReadFile("seen"), "read 0\nwrite -1 -1\nopen 0\nopen 1\nopen 2\n") << "streams that do not work";
}

// The invalid handle counts as success, and the child has a stream on which every call fails.
TEST_F(ExecCase, AFileThatIsNotThere)
{
    Record.InputName = "missing";
    Record.OutputName = "no/such/directory";
    EXPECT_EQ(run(0x144, {"streams", "seen"}), 0);
    EXPECT_EQ(Scratch_ReadFile("seen"), "read -1\nwrite -1 1\nopen 0\nopen 1\nopen 2\n");
}

TEST_F(ExecCase, AChildHasItsThreeStreamsAndNothingElse)
{
    const int mine = open("/dev/null", O_RDONLY | O_CLOEXEC);
    SupOS_ExecRecord other = Record;
    ASSERT_EQ(start(testChild, 0x022, {"copy"}), ERZ_OK);
    const SupOS_ExecResult filter = Result;
    std::swap(other, Record);
    EXPECT_EQ(run(0x111, {"streams", "seen"}), 0);
    EXPECT_EQ(Scratch_ReadFile("seen"), "read 0\nwrite 1 1\nopen 0\nopen 1\nopen 2\n");
    close(other.InputFd);
    close(other.OutputFd);
    i32 status;
    SupOS_Wait(&status, 1, filter.ProcessHandle);
    close(mine);
}

// ---- the command line ----

TEST_F(ExecCase, NothingIsQuoted)
{
    EXPECT_EQ(run(0, {"args", "a b", "\"c d\""}), 0);
    EXPECT_EQ(started.Line, testChild + " args a b \"c d\" ");
    ASSERT_EQ(start(testChild, 0x020, {"args", "a b", "\"c d\"", ""}), ERZ_OK);
    EXPECT_EQ(started.Line, testChild + " args a b \"c d\"  ");
    EXPECT_EQ(readAll(Record.OutputFd), "[" + testChild + "]\n[args]\n[a]\n[b]\n[c d]\n");
    wait();

    EXPECT_EQ(run(0, {}), 0);
    EXPECT_EQ(started.Line, testChild + " ");
    char *none[] = {nullptr};
    Record.Flags = 0x111;
    EXPECT_EQ(SupOS_Exec(testChild.c_str(), none, &Record, &Result), ERZ_OK);
    EXPECT_EQ(started.Line, testChild + " ");
    wait();
}

TEST_F(ExecCase, TheLineComesFromTheHeapAt255)
{
    const auto startCounted = [&](size_t counted) {
        const std::string filler(counted - testChild.size() - 1 - 5 - 1, 'f'); // program, "exit", filler
        tks_TestFailMalloc(1);
        const u32 code = start(testChild, 0x111, {"exit", filler});
        tks_TestFailMalloc(0);
        return code;
    };
    ASSERT_LT(testChild.size(), 200u);
    EXPECT_EQ(startCounted(254), ERZ_OK);
    EXPECT_EQ(started.Line.size(), 254u);
    EXPECT_EQ(wait(), 0);
    EXPECT_EXIT(startCounted(255), testing::ExitedWithCode(99), "Error Allocating Command Line");
    EXPECT_EXIT(startCounted(255), testing::ExitedWithCode(99),
                "ERZ057002E/0168: .*\\(CommandLine != NULL\\).*SupOS_Exec.*863.*supos_exec.*58");
}

TEST_F(ExecCase, LongLines)
{
    for (const size_t size : {200u, 254u, 255u, 256u, 5000u, 100000u}) {
        ASSERT_EQ(start(testChild, 0x021, {"args", std::string(size, 'w')}), ERZ_OK);
        EXPECT_EQ(readAll(Record.OutputFd), "[" + testChild + "]\n[args]\n[" + std::string(size, 'w') + "]\n");
        EXPECT_EQ(wait(), 0);
    }
}

TEST_F(ExecCase, CreationFlags)
{
    run(0, {"exit", "0"});
    EXPECT_EQ(started.Flags, 8u);
    run(0x4000, {"exit", "0"});
    EXPECT_EQ(started.Flags, 0u);
    SupOS_Exec_Defaults(1);
    run(0x4000, {"exit", "0"});
    EXPECT_EQ(started.Flags, 8u);
    SupOS_Exec_Defaults(0xFFFFFFFE);
    run(0x4000, {"exit", "0"});
    EXPECT_EQ(started.Flags, 0u);

    start(testChild, 0x020, {"session"});
    EXPECT_EQ(readAll(Record.OutputFd), "own\n");
    wait();
    start(testChild, 0x4020, {"session"});
    EXPECT_EQ(readAll(Record.OutputFd), "caller's\n");
    wait();
}

// ---- closing ----

TEST_F(ExecCase, WhatIsClosedBehindAStart)
{
    const std::vector<int> before = openDescriptors();
    Record.InputName = Record.OutputName = "plain";
    Record.ErrorName = "plain2";
    Scratch_WriteFile(Root + "/plain", "");
    for (const u32 flags : {0x111u, 0x110u, 0x100u, 0x444u, 0x800u}) {
        run(flags, {"exit", "0"});
        EXPECT_EQ(openDescriptors(), before) << std::hex << flags;
    }
    // Odd and required: standard input is closed by the mark of standard output, and stays open without it.
    run(0x001, {"exit", "0"});
    EXPECT_EQ(openDescriptors().size(), before.size() + 1);
    run(0x181, {"exit", "0"});
    EXPECT_EQ(openDescriptors().size(), before.size() + 2);

    EXPECT_EQ(start(testChild, 0x222, {"exit", "0"}), ERZ_OK);
    EXPECT_EQ(openDescriptors().size(), before.size() + 2 + 3 + 1) << "three pipe ends of the caller, the process";
    for (const int end : {Record.InputFd, Record.OutputFd, Record.ErrorFd}) close(end);
    wait();
    EXPECT_EQ(openDescriptors().size(), before.size() + 2);
}

// Odd and required: the caller's own standard input goes with an output that was opened here.
TEST_F(ExecCase, TheCallersInputIsClosedWithAnOwnedOutput)
{
    EXPECT_EXIT(
        {
            const bool there = fcntl(0, F_GETFD) >= 0;
            run(0x118, {"exit", "0"});
            const bool gone = fcntl(0, F_GETFD) < 0;
            run(0x888, {"exit", "0"}); // and its handle is no longer there
            _exit(there && gone && started.Startup.hStdInput == PLAT_INVALID_HANDLE ? 5 : 6);
        },
        testing::ExitedWithCode(5), "");
    run(0x188, {"exit", "0"});
    EXPECT_GE(fcntl(0, F_GETFD), 0) << "it stays with one that was not";
}

// ---- waiting ----

TEST_F(ExecCase, ExitCodes)
{
    for (const i32 code : {0, 1, 3, 99, 255}) EXPECT_EQ(run(0x111, {"exit", std::to_string(code)}), code);
    EXPECT_EQ(static_cast<u32>(run(0x111, {"signal", "11"})), 0xC0000005u);
    EXPECT_EQ(run(0x111, {"signal", "15"}), 128 + 15);
}

TEST_F(ExecCase, WaitGivesItsPidBack)
{
    start(testChild, 0x111, {"exit", "4"});
    i32 status = -77;
    EXPECT_EQ(SupOS_Wait(&status, -123456, Result.ProcessHandle), -123456);
    EXPECT_EQ(status, 4);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Wait"), 1u);
    EXPECT_EQ(CloseHandle(Result.ProcessHandle), 0) << "the wait has closed it";
}

TEST_F(ExecCase, AWaitThatFails)
{
    const handle event = CreateEventA(nullptr, 1, 0, nullptr);
    for (const u32 answer : {0xFFFFFFFFu, 0x80u, 0x102u}) {
        static u32 given;
        given = answer;
        Hook.WaitForSingleObject = [](handle, u32) { return given; };
        i32 status = -77;
        EXPECT_EQ(SupOS_Wait(&status, 7, event), -1);
        EXPECT_EQ(status, -1);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_Wait"), 2u);
    }
    Hook.WaitForSingleObject = nullptr;
    EXPECT_EQ(CloseHandle(event), 1) << "it stays open";
}

TEST_F(ExecCase, NoHandleForACallerThatWillNotWait)
{
    ASSERT_EQ(start(testChild, 0x2111, {"exit", "0"}), ERZ_OK);
    EXPECT_EQ(Result.ProcessHandle, nullptr);
    EXPECT_NE(Result.ProcessId, 0u);
}

// ---- failures ----

TEST_F(ExecCase, PipesThatCannotBeMade)
{
    const struct {
        u32 Flags, Point;
        const char *Msn, *Operation, *Object;
    } rows[] = {
        {0x002, 10, "0150", "CreatePipe", "stdin"},
        {0x020, 11, "0151", "CreateFile", "stdout"},
        {0x200, 12, "0152", "CreateFile", "stderr"},
    };
    const std::vector<int> before = openDescriptors();
    for (const auto &row : rows) {
        Plat_Sys.Pipe2 = [](int *, int) {
            errno = EMFILE;
            return -1;
        };
        expectLog(failure(testChild, row.Flags, row.Point), std::string("ERZ058406E/") + row.Msn,
                  {row.Operation, row.Object, "4"});
        Plat_Sys.Pipe2 = pipe2;
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(ExecCase, DescriptorsThatCannotBeMade)
{
    const struct {
        u32 Flags, Point;
        const char *Msn, *Object;
    } rows[] = {{0x002, 31, "0155", "stdin"}, {0x020, 33, "0159", "stdout"}, {0x200, 35, "0164", "stderr"}};
    for (const auto &row : rows) {
        Hook.OpenOsHandle = [](handle, i32) {
            errno = EMFILE;
            return -1;
        };
        expectLog(failure(testChild, row.Flags, row.Point), std::string("ERZ058406E/") + row.Msn,
                  {"open_osfhandle", row.Object, std::to_string(EMFILE)});
    }
}

TEST_F(ExecCase, FilesThatGiveNoHandle)
{
    Record.InputName = "in file";
    Record.OutputName = "out file";
    Record.ErrorName = "err file";
    const struct {
        u32 Flags, Point;
        const char *Msn, *Object;
    } rows[] = {
        {0x001, 31, "0156", "NUL"},      {0x004, 31, "0157", "in file"}, {0x010, 33, "0160", "NUL"},
        {0x040, 33, "0161", "out file"}, {0x100, 35, "0165", "NUL"},     {0x400, 35, "0166", "err file"},
    };
    Hook.CreateFileA = [](const char *, u32, u32, void *, u32, u32, handle) -> handle {
        SetLastError(ERROR_DISK_FULL);
        return nullptr;
    };
    for (const auto &row : rows)
        expectLog(failure(testChild, row.Flags, row.Point), std::string("ERZ058406E/") + row.Msn,
                  {"CreateFile", row.Object, "112"});
}

TEST_F(ExecCase, HowFilesAreOpened)
{
    struct Opened {
        std::string Name;
        u32 Access, Share, Creation, Flags;
        bool Attributes;
        bool operator==(const Opened &) const = default;
    };
    static std::vector<Opened> opened;
    Hook.CreateFileA = [](const char *name, u32 access, u32 share, void *security, u32 creation, u32 flags,
                          handle model) {
        opened.push_back({name, access, share, creation, flags, security != nullptr});
        return Hook_Real().CreateFileA(name, access, share, security, creation, flags, model);
    };
    Scratch_WriteFile(Root + "/in", "");
    Record.InputName = "in";
    Record.OutputName = "out";
    Record.ErrorName = "err";
    run(0x111, {"exit", "0"});
    run(0x444, {"exit", "0"});
    EXPECT_EQ(opened, (std::vector<Opened>{{"NUL", 0x80000000, 3, 3, 0x80, false},
                                           {"NUL", 0x40000000, 3, 3, 0x80, false},
                                           {"NUL", 0x40000000, 3, 3, 0x80, false},
                                           {"in", 0x80000000, 3, 3, 0x80, false},
                                           {"out", 0x40000000, 3, 2, 0x80, true},
                                           {"err", 0x40000000, 3, 2, 0x80, true}}));
}

TEST_F(ExecCase, LaterSteps)
{
    // A failure leaves out what follows; what was opened is closed by its marks, a descriptor of the caller stays.
    const std::vector<int> before = openDescriptors();
    static u32 calls;
    calls = 0;
    Hook.OpenOsHandle = [](handle file, i32 flags) {
        if (++calls == 1) return Hook_Real().OpenOsHandle(file, flags);
        errno = EMFILE;
        return -1;
    };
    started.Line = "";
    failure(testChild, 0x222, 33);
    EXPECT_EQ(started.Line, "") << "no child";
    EXPECT_EQ(calls, 2u) << "no third stream";
    EXPECT_EQ(openDescriptors().size(), before.size() + 1);
}

TEST_F(ExecCase, AProgramThatIsNotThere)
{
    const std::vector<int> before = openDescriptors();
    expectLog(failure("no_such_program", 0x111, 22), "ERZ058405E/0161", {"no_such_program", "2"});
    EXPECT_EQ(openDescriptors(), before);
    Plat_Sys.PosixSpawn = [](pid_t *, const char *, const posix_spawn_file_actions_t *, const posix_spawnattr_t *,
                             char *const *, char *const *) { return ENOMEM; };
    expectLog(failure(testChild, 0x222, 22), "ERZ058405E/0161", {testChild, "8"});
}

TEST_F(ExecCase, Traces)
{
    Ring_Clear();
    char expected[160];
    char name[] = "x";
    char *arguments[] = {name, nullptr};
    Record.Flags = 0x111;
    SupOS_Exec(testChild.c_str(), arguments, &Record, &Result);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Exec"), 1u);
    SupOS_Exec_Defaults(0x17);
    wait();
    const std::vector<Ring_Record> records = Ring_Records();
    ASSERT_GE(records.size(), 2u);
    snprintf(expected, sizeof expected, "(%p, %p, %p, %p)", static_cast<const void *>(testChild.c_str()),
             static_cast<void *>(arguments), static_cast<void *>(&Record), static_cast<void *>(&Result));
    EXPECT_EQ(records[0].Function, "SupOS_Exec");
    EXPECT_EQ(records[0].Text, expected);
    EXPECT_EQ(records[0].Header.Class, 0x80u);
    for (const Ring_Record &record : records) {
        const bool isEntry = record.Header.Class == 0x80;
        EXPECT_TRUE(!isEntry || record.Function != "SupOS_Exec_Defaults" || record.Text == "(17)");
        EXPECT_TRUE(!isEntry || record.Function != "SupOS_Wait" || record.Text.find(", 12, ") != std::string::npos);
    }
    EXPECT_EQ(Ring_Count("SupOS_Exec_Defaults"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Exec_Defaults"), 1u);
    EXPECT_EQ(Ring_Count("SupOS_Wait"), 2u);
}

// ---- the companion ----

TEST_F(ExecCase, TheCompanion)
{
    const std::string log = Capture_Stderr([] { SupOS_StartArt(); });
    expectLog(log, "ERZ058405E/0161", {"velaart.exe", "2"});
    EXPECT_EQ(Ring_LastExitPoint("SupOS_StartArt"), 1u);

    Scratch_WriteFile(Root + "/velaart", "#!/bin/sh\necho \"$0 $#\" > \"" + Root + "/art.new\"; mv \"" + Root +
                                             "/art.new\" \"" + Root + "/art\"\n");
    std::filesystem::permissions(Root + "/velaart", std::filesystem::perms(0755));
    EXPECT_EQ(Capture_Stderr([] { SupOS_StartArt(); }), "");
    EXPECT_EQ(started.Line, "velaart.exe ");
    EXPECT_EQ(started.Flags, 8u);
    EXPECT_EQ(started.Startup.dwFlags, 0x101u);
    for (int tries = 0; tries < 500 && Scratch_ReadFile(Root + "/art").empty(); ++tries) Sleep(10);
    EXPECT_NE(Scratch_ReadFile(Root + "/art").find("velaart 0\n"), std::string::npos);
}

// ---- many ----

TEST_F(ExecCase, TenThousandStartsLeaveNothing)
{
    Ring_TraceOff();
    Hook = {};
    const size_t before = openDescriptors().size();
    for (u32 i = 0; i < 10000; ++i) ASSERT_EQ(start(tinyChild, 0x2111, {}), ERZ_OK) << i;
    siginfo_t info = {};
    int tries = 0;
    while (waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && tries++ < 1000) Sleep(10);
    EXPECT_EQ(errno, ECHILD) << "no child and no zombie is left";
    const size_t queue = 1; // of the thread that reaps, once in a process
    while (openDescriptors().size() > before + queue && tries++ < 1000) Sleep(10);
    EXPECT_LE(openDescriptors().size(), before + queue);
}

TEST_F(ExecCase, ThreadsStartAtOnce)
{
    Ring_TraceOff();
    Hook = {};
    std::vector<std::thread> threads;
    std::atomic<u32> good = 0;
    for (u32 which = 0; which < 4; ++which)
        threads.emplace_back([&good, which] {
            for (u32 round = 0; round < 25; ++round) {
                SupOS_ExecRecord record = {};
                SupOS_ExecResult result = {};
                std::string text = std::to_string(which) + ":" + std::to_string(round);
                char name[] = "x", word[] = "copy";
                char *arguments[] = {name, word, nullptr};
                record.Flags = 0x122;
                if (SupOS_Exec(testChild.c_str(), arguments, &record, &result) != ERZ_OK) continue;
                if (!writeAll(record.InputFd, text)) continue;
                close(record.InputFd);
                i32 status = 1;
                const bool same = readAll(record.OutputFd) == text; // ends, though other starts run beside it
                if (same && SupOS_Wait(&status, 1, result.ProcessHandle) == 1 && status == 0) ++good;
            }
        });
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(good, 100u);
}
