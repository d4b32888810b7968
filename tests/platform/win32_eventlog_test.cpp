// The event log.

#include "win32_eventlog.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_file.h"

namespace
{

i32 report(handle Source, u16 Type, u32 Id, const char *Text)
{
    return ReportEventA(Source, Type, 0, Id, nullptr, 1, 0, &Text, nullptr);
}

std::string pidText()
{
    return "[" + std::to_string(getpid()) + "]: ";
}

// A socket that takes the place of the local log; its path is set in Plat_Sys.
int listenAsLog()
{
    static std::string path;
    path = Scratch_MakeRoot(nullptr) + "/log";
    unsetenv("SORREL_EVENTLOG");
    Plat_Sys.LogSocket = path.c_str();
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, path.c_str());
    const int server = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(server, reinterpret_cast<struct sockaddr *>(&address), sizeof address), 0);
    return server;
}

std::string receive(int Server)
{
    static char data[20000];
    const ssize_t count = recv(Server, data, sizeof data, MSG_DONTWAIT);
    return count < 0 ? "nothing" : std::string(data, static_cast<size_t>(count));
}

} // namespace

TEST(ReportEventA, AppendsALineToTheFile)
{
    Scratch_MakeRoot(nullptr);
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 0xC00015B3, "ERZ057002E/0009: text"), 1);
    EXPECT_EQ(report(source, EVENTLOG_WARNING_TYPE, 0x800015B4, "second"), 1);
    EXPECT_EQ(report(source, EVENTLOG_INFORMATION_TYPE, 0x15, ""), 1);
    EXPECT_EQ(DeregisterEventSource(source), 1);

    EXPECT_EQ(Scratch_EventLog(), "VELATS" + pidText() + "0xC00015B3 ERZ057002E/0009: text\n" + "VELATS" + pidText() +
                                      "0x800015B4 second\n" + "VELATS" + pidText() + "0x00000015 \n");
}

TEST(ReportEventA, MakesOneLineOfAText)
{
    Scratch_MakeRoot(nullptr);
    const handle source = RegisterEventSourceA(nullptr, "A\nB");
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, "one\ntwo\r\nthree\tfour\x1B[0m\x7F\n\n"), 1);
    EXPECT_EQ(Scratch_EventLog(), "A B" + pidText() + "0x00000001 one two  three four [0m\n");
}

TEST(ReportEventA, CutsLongTexts)
{
    Scratch_MakeRoot(nullptr);
    const handle source = RegisterEventSourceA(nullptr, std::string(100, 'S').c_str());
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, std::string(20000, 'x').c_str()), 1);
    EXPECT_EQ(Scratch_EventLog(), std::string(63, 'S') + pidText() + "0x00000001 " + std::string(8191, 'x') + "\n");
}

TEST(ReportEventA, SendsToTheLocalLog)
{
    const int server = listenAsLog();
    setenv("TZ", "UTC", 1);
    Plat_Sys.ClockGettime = [](clockid_t, struct timespec *Out) {
        *Out = {1699174987, 0}; // 2023-11-05 09:03:07
        return 0;
    };
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    ASSERT_NE(source, nullptr);
    const std::string rest = "Nov  5 09:03:07 VELATS" + pidText();

    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 0xC00015B3, "one\ntwo\n"), 1);
    EXPECT_EQ(receive(server), "<11>" + rest + "0xC00015B3 one two");
    EXPECT_EQ(report(source, EVENTLOG_WARNING_TYPE, 0x800015B4, "w"), 1);
    EXPECT_EQ(receive(server), "<12>" + rest + "0x800015B4 w");
    EXPECT_EQ(report(source, EVENTLOG_INFORMATION_TYPE, 0x400015B5, "i"), 1);
    EXPECT_EQ(receive(server), "<14>" + rest + "0x400015B5 i");
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, std::string(8191, 'x').c_str()), 1);
    EXPECT_EQ(receive(server), "<11>" + rest + "0x00000001 " + std::string(8191, 'x'));
    EXPECT_EQ(DeregisterEventSource(source), 1);
}

TEST(ReportEventA, CutsWhatTheLogDoesNotTake)
{
    const int server = listenAsLog();
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    Plat_Sys.Sendto = [](int Descriptor, const void *Data, size_t Size, int Flags, const struct sockaddr *,
                         socklen_t) -> ssize_t {
        EXPECT_TRUE(Flags & MSG_NOSIGNAL);
        if (Size > 1024) {
            errno = EMSGSIZE;
            return -1;
        }
        return send(Descriptor, Data, Size, Flags);
    };
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, std::string(2000, 'x').c_str()), 1);
    EXPECT_EQ(receive(server).size(), 1024u);
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, "short"), 1);
    EXPECT_TRUE(receive(server).ends_with("short"));
}

TEST(ReportEventA, LosesTheEventWhenTheLogIsGone)
{
    const int server = listenAsLog();
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    close(server);
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, "text"), 0);
    EXPECT_EQ(GetLastError(), 10061u);
}

TEST(ReportEventA, FailsAsTheSystemDoes)
{
    Scratch_MakeRoot(nullptr);
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    Plat_Sys.Write = Fault_With<ENOSPC>{};
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, "text"), 0);
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
    Plat_Sys.Write = [](int, const void *, size_t) { return ssize_t{3}; };
    SetLastError(0);
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, "text"), 0) << "a part of a line is no line";
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
}

TEST(ReportEventA, RefusesBadArguments)
{
    Scratch_MakeRoot(nullptr);
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    const char *texts[2] = {"a", "b"}, *none[1] = {nullptr};
    const auto refused = [](i32 Result, u32 Error) { return Result == 0 && GetLastError() == Error; };
    EXPECT_TRUE(refused(ReportEventA(source, 1, 0, 1, nullptr, 2, 0, texts, nullptr), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(ReportEventA(source, 1, 0, 1, nullptr, 0, 0, texts, nullptr), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(ReportEventA(source, 1, 0, 1, nullptr, 1, 4, texts, texts), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(ReportEventA(source, 1, 0, 1, nullptr, 1, 0, nullptr, nullptr), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(ReportEventA(source, 1, 0, 1, nullptr, 1, 0, none, nullptr), ERROR_INVALID_PARAMETER));
    for (const u16 type : {u16{0}, u16{3}, u16{8}, u16{16}})
        EXPECT_TRUE(refused(ReportEventA(source, type, 0, 1, nullptr, 1, 0, texts, nullptr), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(ReportEventA(nullptr, 1, 0, 1, nullptr, 1, 0, texts, nullptr), ERROR_INVALID_HANDLE));
    EXPECT_TRUE(refused(report(GetStdHandle(STD_ERROR_HANDLE), 1, 1, "x"), ERROR_INVALID_HANDLE));
    EXPECT_EQ(Scratch_EventLog(), "");
}

TEST(RegisterEventSourceA, GivesNullWithoutAPlaceToLog)
{
    const std::string root = Scratch_MakeRoot(nullptr);
    const auto refused = [](const char *Server, const char *Source, u32 Error) {
        SetLastError(0);
        return RegisterEventSourceA(Server, Source) == nullptr && GetLastError() == Error;
    };
    EXPECT_TRUE(refused("other", "VELATS", ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(nullptr, nullptr, ERROR_INVALID_PARAMETER));
    setenv("SORREL_EVENTLOG", (root + "/no/such/file").c_str(), 1);
    EXPECT_TRUE(refused(nullptr, "VELATS", ERROR_FILE_NOT_FOUND));
    setenv("SORREL_EVENTLOG", root.c_str(), 1);
    EXPECT_TRUE(refused(nullptr, "VELATS", ERROR_ACCESS_DENIED));
    unsetenv("SORREL_EVENTLOG");
    const std::string socketPath = root + "/nobody";
    Plat_Sys.LogSocket = socketPath.c_str();
    EXPECT_TRUE(refused(nullptr, "VELATS", ERROR_FILE_NOT_FOUND));
    setenv("SORREL_EVENTLOG", "", 1);
    EXPECT_TRUE(refused(nullptr, "VELATS", ERROR_FILE_NOT_FOUND)) << "an empty name is none";
    Plat_Sys.Socket = Fault_With<EMFILE>{};
    EXPECT_TRUE(refused(nullptr, "VELATS", ERROR_TOO_MANY_OPEN_FILES));
    setenv("SORREL_EVENTLOG", (root + "/events").c_str(), 1);
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_TRUE(refused(nullptr, "VELATS", ERROR_NOT_ENOUGH_MEMORY));
}

TEST(RegisterEventSourceA, LeavesNothingOpenWhenItFails)
{
    const std::string root = Scratch_MakeRoot(nullptr);
    const int before = dup(2);
    close(before);
    unsetenv("SORREL_EVENTLOG");
    const std::string socketPath = root + "/nobody";
    Plat_Sys.LogSocket = socketPath.c_str();
    EXPECT_EQ(RegisterEventSourceA(nullptr, "VELATS"), nullptr);
    setenv("SORREL_EVENTLOG", (root + "/events").c_str(), 1);
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(RegisterEventSourceA(nullptr, "VELATS"), nullptr);
    EXPECT_EQ(dup(2), before);
}

TEST(RegisterEventSourceA, OpensAboveTheStandardStreamsAndClosedOnExec)
{
    Scratch_MakeRoot(nullptr);
    close(0);
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, "text"), 1);
    EXPECT_EQ(DeregisterEventSource(source), 1);
}

TEST(DeregisterEventSource, ClosesOnceAndOnlySources)
{
    Scratch_MakeRoot(nullptr);
    const handle source = RegisterEventSourceA(nullptr, "VELATS");
    EXPECT_EQ(DeregisterEventSource(source), 1);
    EXPECT_EQ(DeregisterEventSource(source), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(DeregisterEventSource(GetStdHandle(STD_ERROR_HANDLE)), 0);
}

TEST(ReportEventA, KeepsTheLinesOfManyThreadsWhole)
{
    Scratch_MakeRoot(nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const handle source = RegisterEventSourceA(nullptr, "VELATS");
            const std::string text(200, static_cast<char>('a' + i));
            for (int round = 0; round < 50; ++round) EXPECT_EQ(report(source, EVENTLOG_ERROR_TYPE, 1, text.c_str()), 1);
            DeregisterEventSource(source);
        });
    }
    for (std::thread &thread : threads) thread.join();

    const std::string head = "VELATS" + pidText() + "0x00000001 ", log = Scratch_EventLog();
    size_t lines = 0;
    for (size_t at = 0; at < log.size(); ++lines) {
        const size_t end = log.find('\n', at);
        ASSERT_NE(end, std::string::npos);
        ASSERT_EQ(log.substr(at, end - at), head + std::string(200, log[at + head.size()]));
        at = end + 1;
    }
    EXPECT_EQ(lines, 200u);
}

TEST(OemToCharA, CopiesWithABound)
{
    std::string out(9000, '~');
    EXPECT_EQ(OemToCharA("text \x80\xFF", out.data()), 1);
    EXPECT_STREQ(out.c_str(), "text \x80\xFF");
    EXPECT_EQ(OemToCharA(std::string(16384, 'x').c_str(), out.data()), 1);
    EXPECT_EQ(strlen(out.c_str()), 8191u);
    EXPECT_EQ(out[8192], '~');
    char inPlace[] = "same";
    EXPECT_EQ(OemToCharA(inPlace, inPlace), 1);
    EXPECT_STREQ(inPlace, "same");
    EXPECT_EQ(OemToCharA(nullptr, inPlace), 0);
    EXPECT_EQ(OemToCharA("x", nullptr), 0);
}
