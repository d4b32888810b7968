// The connection relay: command lines, what each connection starts, its ends and its failures.

#include "supos_relay.h"

#include "supos_inetd_int.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "capture.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_hook.h"
#include "win32_pipe.h"
#include "win32_sync.h"

namespace
{

const std::string testChild = VELA_TEST_BUILD_DIR "/bin/test_child";
constexpr char relayPipe[] = "\\\\.\\pipe\\velateldiTEST";

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr u32 manyConnections = 200;
#else
constexpr u32 manyConnections = 1000;
#endif

std::string lineOf(std::vector<const char *> words)
{
    char *const line = SupOS_InetdCommandLine("prog", 42, static_cast<i32>(words.size()), words.data());
    const std::string text = line;
    free(line);
    return text;
}

int connectTo(u16 port)
{
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const int connected = connect(client, reinterpret_cast<struct sockaddr *>(&address), sizeof address);
    if (connected != 0 && errno == EINTR) { // goes on by itself
        struct pollfd entry = {client, POLLOUT, 0};
        EXPECT_EQ(TEMP_FAILURE_RETRY(poll(&entry, 1, 10000)), 1);
        return client;
    }
    EXPECT_EQ(connected, 0) << strerror(errno);
    return client;
}

// One line to a handler, and what it says until it is gone.
std::string ask(u16 port, const std::string &text)
{
    const int client = connectTo(port);
    const std::string line = text + "\n";
    EXPECT_EQ(send(client, line.data(), line.size(), MSG_NOSIGNAL), static_cast<ssize_t>(line.size()));
    std::string answer;
    char block[512];
    for (ssize_t count; (count = recv(client, block, sizeof block, 0)) != 0;) {
        if (count < 0 && errno != EINTR) break;
        if (count > 0) answer.append(block, static_cast<size_t>(count));
    }
    close(client);
    return answer;
}

bool requestStop()
{
    const handle client = CreateFileA(relayPipe, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (client == PLAT_INVALID_HANDLE) return false;
    CloseHandle(client);
    return true;
}

size_t openDescriptors()
{
    size_t count = 0;
    DIR *const list = opendir("/proc/self/fd");
    while (readdir(list) != nullptr) ++count;
    closedir(list);
    return count;
}

// A listening socket on loopback, and a relay that serves it on a thread.
struct RelayCase : testing::Test {
    int Listener = -1;
    u16 Port = 0;
    std::thread Relay;
    std::atomic<u32> Result = 0xFFFFFFFFu;

    void SetUp() override
    {
        Ring_TraceOn("ALL=5"); // the end of a thread is traced at the level of the trace facility
        Listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        ASSERT_EQ(bind(Listener, reinterpret_cast<struct sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(Listener, 128), 0);
        ASSERT_EQ(getsockname(Listener, reinterpret_cast<struct sockaddr *>(&address), &size), 0);
        Port = ntohs(address.sin_port);
    }

    void TearDown() override
    {
        stop();
        if (Listener >= 0) close(Listener);
    }

    u32 serve(const std::string &program, std::vector<const char *> words)
    {
        words.insert(words.begin(), "ignored");
        return SupOS_Inetd(program.c_str(), static_cast<u32>(Listener), "TEST", static_cast<i32>(words.size()),
                           words.data());
    }

    void start(std::vector<const char *> words, const std::string &program = testChild)
    {
        Relay = Ring_Thread([this, program, words] { Result = serve(program, words); });
        for (int tries = 0; tries < 5000 && !WaitNamedPipeA(relayPipe, 1) && Result == 0xFFFFFFFFu; ++tries) Sleep(1);
    }

    // Asks the relay to stop, and wakes it with a connection that it does not serve any more.
    void stop()
    {
        if (!Relay.joinable()) return;
        requestStop();
        while (Ring_LastExitPoint("SupOS_InetdConnect") != 1 && Result == 0xFFFFFFFFu) Sleep(1);
        if (Result == 0xFFFFFFFFu) close(connectTo(Port));
        Relay.join();
    }

    // Serves on this thread until something ends the relay.
    u32 serveOnce(const std::string &program = testChild) { return serve(program, {"serve"}); }
};

size_t countOf(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

void expectEvent(const std::vector<std::string> &parts)
{
    const std::string log = Scratch_EventLog();
    size_t at = 0;
    for (const std::string &part : parts) {
        at = log.find(part, at);
        ASSERT_NE(at, std::string::npos) << part << "\n" << log;
    }
}

void expectNoChildren()
{
    siginfo_t info;
    int tries = 0;
    while (waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && tries++ < 2000) Sleep(5);
    EXPECT_EQ(errno, ECHILD);
}

} // namespace

// ---- the handler's command line ----

TEST(SupOS_InetdCommandLine, PutsTheSocketInPlaceOfTheOption)
{
    EXPECT_EQ(lineOf({}), "prog -u 42");
    EXPECT_EQ(lineOf({"name"}), "prog -u 42");
    EXPECT_EQ(lineOf({"name", "-u", "17", "-x"}), "prog -u 42 -x");
    EXPECT_EQ(lineOf({"name", "-u17", "-x"}), "prog -u 42 -x");
    EXPECT_EQ(lineOf({"name", "-a", "b"}), "prog -a b -u 42");
    EXPECT_EQ(lineOf({"name", "-u"}), "prog -u 42");
    EXPECT_EQ(lineOf({"name", "-unix", "-u", "-u", "z"}), "prog -u 42 -u 42 z");
    EXPECT_EQ(lineOf({"name", "-U", "x-u"}), "prog -U x-u -u 42");
    EXPECT_EQ(lineOf({"name", "", "a b"}), "prog  a b -u 42");
    EXPECT_EQ(lineOf({"name", "-u", "-u"}), "prog -u 42");
}

TEST(SupOS_InetdCommandLine, HoldsTheLongest)
{
    const std::string word(100000, 'w');
    char *const line = SupOS_InetdCommandLine(word.c_str(), 0xFFFFFFFFu, 0, nullptr);
    EXPECT_EQ(line, word + " -u 4294967295");
    free(line);
    EXPECT_EQ(lineOf({"name", word.c_str(), "-u", "-u", "-u"}), "prog " + word + " -u 42 -u 42");
}

// ---- serving ----

TEST_F(RelayCase, StartsAHandlerForEachConnection)
{
    start({"serve", "-u", "17", "-x"});
    EXPECT_EQ(ask(Port, "hello"), "[-u][SOCKET][-x] hello\n");
    EXPECT_EQ(ask(Port, "again"), "[-u][SOCKET][-x] again\n");
    expectEvent({"VELATS", "0x400015B5", "ERZ058416I", "TEST"});
    stop();
    EXPECT_EQ(Result, 4u);
    expectEvent({"ERZ058416I", "0x400015B5", "ERZ058417I"});
    EXPECT_EQ(Ring_Count("SupOS_InetdConnect"), 2u);
    expectNoChildren();
}

TEST_F(RelayCase, ServesConnectionsThatOverlap)
{
    start({"serve"});
    const int slow = connectTo(Port); // its handler waits for a line
    EXPECT_EQ(ask(Port, "quick"), "[-u][SOCKET] quick\n");
    ASSERT_EQ(send(slow, "slow\n", 5, MSG_NOSIGNAL), 5);
    char answer[64] = "";
    EXPECT_GT(TEMP_FAILURE_RETRY(recv(slow, answer, sizeof answer - 1, MSG_WAITALL)), 0);
    EXPECT_STREQ(answer, "[-u][SOCKET] slow\n");
    close(slow);
}

TEST_F(RelayCase, TellsNobodyButTheEventLog)
{
    const std::string told = Capture_Both([&] {
        start({"serve"});
        ask(Port, "x");
        stop();
    });
    EXPECT_EQ(told, "");
    EXPECT_EQ(countOf(Scratch_EventLog(), "ERZ058416I"), 1u);
    EXPECT_EQ(countOf(Scratch_EventLog(), "ERZ058417I"), 1u);
}

TEST_F(RelayCase, ManyConnectionsLeaveNothing)
{
    start({"serve"});
    EXPECT_EQ(ask(Port, "first"), "[-u][SOCKET] first\n");
    expectNoChildren();
    const size_t before = openDescriptors();
    for (u32 i = 0; i < manyConnections; ++i)
        ASSERT_EQ(ask(Port, std::to_string(i)), "[-u][SOCKET] " + std::to_string(i) + "\n");
    expectNoChildren();
    const size_t queue = 1; // of the thread that reaps, once in a process; the first handler may have needed none
    for (int tries = 0; openDescriptors() > before + queue && tries < 1000; ++tries) Sleep(5);
    EXPECT_LE(openDescriptors(), before + queue);
}

TEST_F(RelayCase, ATimerSignalDisturbsNothing)
{
    static std::atomic<u32> signals = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { signals.fetch_add(1, std::memory_order_relaxed); };
    sigaction(SIGALRM, &action, nullptr); // without SA_RESTART
    start({"serve"});
    const struct itimerval interval = {{0, 100}, {0, 100}};
    setitimer(ITIMER_REAL, &interval, nullptr);
    sigset_t alarmSignal; // the relay gets them, not this client
    sigemptyset(&alarmSignal);
    sigaddset(&alarmSignal, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarmSignal, nullptr);
    for (u32 i = 0; i < 50; ++i) EXPECT_EQ(ask(Port, "storm"), "[-u][SOCKET] storm\n");
    const struct itimerval none = {};
    setitimer(ITIMER_REAL, &none, nullptr);
    EXPECT_GT(signals, 50u);
    EXPECT_EQ(Result, 0xFFFFFFFFu) << "it still runs";
}

// ---- names and stopping ----

TEST_F(RelayCase, ASecondOneOfTheNameEndsAtOnce)
{
    start({"serve"});
    EXPECT_EQ(serveOnce(), 4u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Inetd"), 1u);
    expectEvent({"0x800015B4", "ERZ058419W/0001", "TEST"});
    EXPECT_EQ(ask(Port, "still"), "[-u][SOCKET] still\n");
}

TEST_F(RelayCase, AnotherProcessMayHoldTheName)
{
    start({"serve"});
    const pid_t other = fork();
    if (other == 0) _exit(serveOnce() == 4 ? 0 : 1);
    int status = 1;
    ASSERT_EQ(TEMP_FAILURE_RETRY(waitpid(other, &status, 0)), other);
    EXPECT_EQ(status, 0);
}

TEST_F(RelayCase, ABusyPipeOfTheName)
{
    const handle pipe = CreateNamedPipeA(relayPipe, PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, 9, 9, 10000, nullptr);
    std::thread watcher([&] { ConnectNamedPipe(pipe, nullptr); });
    while (!requestStop()) Sleep(1);
    watcher.join(); // it has its client: the wait fails, and there is one instance only
    EXPECT_EQ(serveOnce(), 5u);
    expectEvent({"0xC00015B3", "ERZ058420E", "CreateNamedPipe", "231", "TEST"});
    CloseHandle(pipe);
}

TEST_F(RelayCase, AStopIsServedBeforeAConnection)
{
    start({"serve"});
    ASSERT_TRUE(requestStop());
    while (Ring_LastExitPoint("SupOS_InetdConnect") != 1) Sleep(1);
    const int client = connectTo(Port);
    Relay.join();
    EXPECT_EQ(Result, 4u);
    char byte;
    EXPECT_EQ(recv(client, &byte, 1, MSG_DONTWAIT), -1) << "nobody took it";
    close(client);
    expectEvent({"ERZ058417I/0006", "TEST"});
}

TEST_F(RelayCase, AnIdleRelayStopsWithinTenSeconds)
{
    start({"serve"});
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(requestStop());
    Relay.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(10900));
    EXPECT_EQ(Result, 4u);
}

// Odd and required: the word that asks for a stop is never cleared.
TEST_F(RelayCase, AfterAStopTheNextOneStopsToo)
{
    start({"serve"});
    stop();
    EXPECT_EQ(Result, 4u);
    const int client = connectTo(Port);
    EXPECT_EQ(serveOnce(), 4u);
    close(client);
    EXPECT_EQ(countOf(Scratch_EventLog(), "ERZ058416I"), 2u);
    EXPECT_EQ(countOf(Scratch_EventLog(), "ERZ058417I"), 2u);
}

TEST_F(RelayCase, TheNameIsFreeAtTheEnd)
{
    start({"serve"});
    stop();
    EXPECT_EQ(WaitNamedPipeA(relayPipe, 1), 0);
    const handle pipe = CreateNamedPipeA(relayPipe, PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, 9, 9, 10000, nullptr);
    EXPECT_NE(pipe, PLAT_INVALID_HANDLE);
    CloseHandle(pipe);
    EXPECT_GE(fcntl(Listener, F_GETFD), 0) << "the socket is the caller's";
}

TEST_F(RelayCase, AConnectionThatWasGivenUp)
{
    start({"serve"});
    for (int i = 0; i < 20; ++i) { // reset before anybody takes them
        const int client = connectTo(Port);
        const struct linger none = {1, 0};
        setsockopt(client, SOL_SOCKET, SO_LINGER, &none, sizeof none);
        close(client);
    }
    EXPECT_EQ(ask(Port, "after"), "[-u][SOCKET] after\n");
}

TEST_F(RelayCase, ALongName)
{
    const std::string name(900, 'n');
    const std::string path = "\\\\.\\pipe\\velateldi" + name;
    std::thread relay =
        Ring_Thread([&] { SupOS_Inetd(testChild.c_str(), static_cast<u32>(Listener), name.c_str(), 0, nullptr); });
    while (!WaitNamedPipeA(path.c_str(), 1)) Sleep(1);
    CloseHandle(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    while (Ring_LastExitPoint("SupOS_InetdConnect") != 1) Sleep(1);
    close(connectTo(Port));
    relay.join();
}

// ---- failures ----

TEST_F(RelayCase, APipeThatCannotBeMade)
{
    Plat_Sys.Listen = [](int, int) {
        errno = EMFILE;
        return -1;
    };
    EXPECT_EQ(serveOnce(), 5u);
    expectEvent({"0xC00015B3", "ERZ058420E/0002", "CreateNamedPipe", "4", "TEST"});
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Inetd"), 2u);
}

TEST_F(RelayCase, AThreadThatCannotBeStarted)
{
    Plat_Sys.PthreadCreate = [](pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) { return EAGAIN; };
    EXPECT_EQ(serveOnce(), 7u);
    expectEvent({"ERZ058420E/0003", "CreateThread", "TEST"});
    EXPECT_EQ(WaitNamedPipeA(relayPipe, 1), 0) << "the pipe is closed";
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Inetd"), 3u);
}

TEST_F(RelayCase, ASelectThatFails)
{
    const int open = std::exchange(Listener, 100000); // no descriptor of this process
    EXPECT_EQ(serveOnce(), 1u);
    Listener = open;
    expectEvent({"ERZ058416I/0005", "ERZ058420E/0004", "select", "10038", "TEST"});
    EXPECT_EQ(WaitNamedPipeA(relayPipe, 1), 0);
}

TEST_F(RelayCase, AnAcceptThatFails)
{
    static int listener;
    listener = Listener;
    static auto real = Plat_Sys.Accept;
    Plat_Sys.Accept = [](int descriptor, struct sockaddr *address, socklen_t *size) {
        if (descriptor != listener) return real(descriptor, address, size);
        EXPECT_EQ(*size, 16u);
        errno = EMFILE;
        return -1;
    };
    const int client = connectTo(Port);
    EXPECT_EQ(serveOnce(), 1u);
    close(client);
    expectEvent({"ERZ058420E/0005", "accept", "10024", "TEST"});
    EXPECT_EQ(fcntl(Listener, F_GETFL) & O_NONBLOCK, 0) << "the socket blocks again";
}

TEST_F(RelayCase, AHandlerThatCannotBeStarted)
{
    const size_t before = openDescriptors();
    const int client = connectTo(Port);
    EXPECT_EQ(serveOnce("no_such_handler"), 2u);
    expectEvent({"ERZ058420E/0007", "CreateProcess", "2", "TEST"});
    char byte;
    EXPECT_EQ(TEMP_FAILURE_RETRY(recv(client, &byte, 1, 0)), 0) << "the connection is closed";
    close(client);
    EXPECT_EQ(WaitNamedPipeA(relayPipe, 1), 0);
    EXPECT_LE(openDescriptors(), before + 1) << "the watcher still waits on its socket";
}

TEST_F(RelayCase, Traces)
{
    const int client = connectTo(Port);
    serveOnce("no_such_handler");
    close(client);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Inetd"), 4u);
    for (const Ring_Record &record : Ring_Records()) {
        const bool isEntry = record.Function == "SupOS_Inetd" && (record.Header.Class & INFTR_CLASS_API_ENTRY) != 0;
        const std::string start = "(no_such_handler," + std::to_string(Listener) + ",TEST,2,0x";
        EXPECT_TRUE(!isEntry || record.Text.starts_with(start)) << record.Text;
    }
}
