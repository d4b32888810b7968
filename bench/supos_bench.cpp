// The operating-system layer beside the plain calls of the system: starting a program and waiting for it, a message there
// and back through two pipes, a relayed connection to its first byte. Ours and the peer take turns in many short rounds, so
// that both meet the same machine; shown are the lower quartiles and their ratio, for whatever else the machine does can only
// make a round longer.

#include <arpa/inet.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bench_start.h"
#include "supos_execute.h"
#include "supos_msgpipe.h"
#include "supos_relay.h"
#include "win32_file.h"
#include "win32_pipe.h"
#include "win32_process.h"
#include "win32_sync.h"

extern char **environ;

namespace
{

using Clock = std::chrono::steady_clock;

void require(bool holds, const char *what)
{
    if (holds) return;
    perror(what);
    exit(1);
}

double lowerQuartile(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 4), values.end());
    return values[values.size() / 4];
}

template <class Call>
double microseconds(Call &&call, int times)
{
    const auto start = Clock::now();
    for (int i = 0; i < times; ++i) call();
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / times;
}

// Rounds of both in turns, after one of each that does not count.
template <class Ours, class Peer>
void compare(const char *name, const char *peerName, double goal, int rounds, int times, Ours &&ours, Peer &&peer)
{
    std::vector<double> oursTimes, peerTimes;
    for (int round = -1; round < rounds; ++round) {
        const double mine = microseconds(ours, times), theirs = microseconds(peer, times);
        if (round < 0) continue;
        oursTimes.push_back(mine);
        peerTimes.push_back(theirs);
    }
    const double mine = lowerQuartile(oursTimes), theirs = lowerQuartile(peerTimes);
    printf("%-34s %9.1f us   %-28s %9.1f us   ratio %.2f (goal %.1f)\n", name, mine, peerName, theirs, mine / theirs,
           goal);
    fflush(stdout);
}

// ---- processes ----

void startOurs(u32 flags)
{
    char name[] = "x";
    char *arguments[] = {name, nullptr};
    SupOS_ExecRecord record = {};
    SupOS_ExecResult result = {};
    record.Flags = flags;
    require(SupOS_Exec("/bin/true", arguments, &record, &result) == 0, "SupOS_Exec");
    u32 code = 1;
    require(WaitForSingleObject(result.ProcessHandle, PLAT_INFINITE) == WAIT_OBJECT_0 &&
                GetExitCodeProcess(result.ProcessHandle, &code) && code == 0,
            "wait");
    CloseHandle(result.ProcessHandle);
}

void startPeer(short flags)
{
    char program[] = "/bin/true";
    char *arguments[] = {program, nullptr};
    posix_spawnattr_t attributes;
    pid_t child = 0;
    int status = 1;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, flags);
    require(posix_spawn(&child, program, nullptr, &attributes, arguments, environ) == 0, "posix_spawn");
    posix_spawnattr_destroy(&attributes);
    require(waitpid(child, &status, 0) == child && status == 0, "waitpid");
}

void benchProcesses()
{
    constexpr int rounds = 400, times = 1;
    const auto attached = [] { startOurs(SUPOS_EXEC_DEFAULTS); };
    const auto plain = [] { startPeer(0); };
    const auto session = [] { startPeer(POSIX_SPAWN_SETSID); };
    compare("start and wait", "posix_spawn, waitpid", 1.1, rounds, times, attached, plain);
    compare(
        "start detached and wait", "the same, with a session", 1.1, rounds, times, [] { startOurs(0); }, session);
    compare(
        "the same, three null devices", "without devices", 1.1, rounds, times, [] { startOurs(0x111); }, session);

    constexpr size_t resident = 256u << 20;
    void *const block = mmap(nullptr, resident, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(block != MAP_FAILED, "mmap");
    memset(block, 1, resident);
    compare("start and wait, 256 MiB resident", "posix_spawn, waitpid", 1.1, rounds, times, attached, plain);
    munmap(block, resident);
}

// ---- pipes ----

constexpr int roundTrips = 100;
constexpr char message[] = "thirty-two bytes are a message..";
constexpr u32 messageSize = 32;

void takeOurs(SupOS_Pipe *pipe)
{
    char bytes[messageSize];
    i32 outcome = 0;
    SupOS_PipeWait(pipe, nullptr, 0, nullptr, &outcome);
    require(outcome == SUPOS_PIPE_FIRST && SupOS_PipeRead(pipe, bytes, messageSize) == static_cast<i32>(messageSize),
            "pipe");
}

void takePeer(int socket)
{
    char bytes[messageSize];
    struct pollfd entry = {socket, POLLIN, 0};
    require(poll(&entry, 1, -1) == 1 && read(socket, bytes, messageSize) == static_cast<ssize_t>(messageSize),
            "socket");
}

// All threads on one processor: where the system happens to put a pair of them costs three times what the calls do.
void stayHere()
{
    cpu_set_t here;
    CPU_ZERO(&here);
    CPU_SET(static_cast<size_t>(sched_getcpu()), &here);
    require(sched_setaffinity(0, sizeof here, &here) == 0, "sched_setaffinity");
}

void benchPipes()
{
    stayHere();
    SupOS_Pipe there, back;
    require(SupOS_PipeCreate(&there) == 0 && SupOS_PipeCreate(&back) == 0, "SupOS_PipeCreate");
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    std::atomic<bool> over = false;
    std::thread ours([&] {
        for (;;) {
            takeOurs(&there);
            if (over) return;
            SupOS_PipeWrite(&back, message, messageSize);
        }
    });
    std::thread peer([&] {
        for (;;) {
            takePeer(ends[1]);
            if (over) return;
            require(write(ends[1], message, messageSize) == static_cast<ssize_t>(messageSize), "write");
        }
    });
    compare(
        "message there and back", "Unix socket, poll and read", 1.3, 300, roundTrips,
        [&] {
            SupOS_PipeWrite(&there, message, messageSize);
            takeOurs(&back);
        },
        [&] {
            require(write(ends[0], message, messageSize) == static_cast<ssize_t>(messageSize), "write");
            takePeer(ends[0]);
        });
    over = true;
    SupOS_PipeWrite(&there, message, messageSize);
    require(write(ends[0], message, messageSize) == static_cast<ssize_t>(messageSize), "write");
    ours.join();
    peer.join();
}

// ---- the relay ----

int listenAnywhere(u16 *port)
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in address = {};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(bind(listener, reinterpret_cast<struct sockaddr *>(&address), sizeof address) == 0 &&
                listen(listener, 64) == 0 &&
                getsockname(listener, reinterpret_cast<struct sockaddr *>(&address), &size) == 0,
            "listen");
    *port = ntohs(address.sin_port);
    return listener;
}

void firstByte(u16 port)
{
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    char byte = 0;
    require(connect(client, reinterpret_cast<struct sockaddr *>(&address), sizeof address) == 0 &&
                recv(client, &byte, 1, 0) == 1,
            "connection");
    close(client);
}

[[noreturn]] void servePlainly(int listener)
{
    char program[] = VELA_BENCH_HANDLER, option[] = "-u";
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        char number[16];
        snprintf(number, sizeof number, "%d", connection);
        char *arguments[] = {program, option, number, nullptr};
        pid_t child = 0;
        require(connection >= 0 && posix_spawn(&child, program, nullptr, nullptr, arguments, environ) == 0, "serve");
        close(connection);
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }
}

// Each server is a process of its own, so that neither reaps the other's children.
template <class Server>
pid_t inProcess(Server &&server)
{
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) {
        server();
        _exit(0);
    }
    return child;
}

void benchRelay()
{
    u16 ourPort = 0, peerPort = 0;
    const int ourListener = listenAnywhere(&ourPort), peerListener = listenAnywhere(&peerPort);
    const pid_t ours =
        inProcess([=] { SupOS_Inetd(VELA_BENCH_HANDLER, static_cast<u32>(ourListener), "BENCH", 0, nullptr); });
    const pid_t peer = inProcess([=] { servePlainly(peerListener); });
    compare(
        "relayed connection to first byte", "accept, posix_spawn", 1.3, 400, 1, [=] { firstByte(ourPort); },
        [=] { firstByte(peerPort); });
    for (const pid_t server : {ours, peer}) {
        kill(server, SIGTERM);
        waitpid(server, nullptr, 0);
    }
}

} // namespace

// A word of the command line selects one of the three: relay, processes, pipes.
int main(int argc, char **argv)
{
    const char *const only = argc > 1 && argv[1][0] != '-' ? argv[1] : nullptr;
    const auto wanted = [only](const char *part) { return only == nullptr || strcmp(only, part) == 0; };
    Bench_Start(nullptr);
    setenv("SORREL_RUNDIR", Bench_Root(), 1);
    setenv("SORREL_EVENTLOG", "/dev/null", 1);
    if (wanted("relay")) benchRelay(); // forks, so before any thread
    if (wanted("processes")) benchProcesses();
    if (wanted("pipes")) benchPipes();
    return 0;
}
