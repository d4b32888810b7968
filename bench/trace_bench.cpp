// What a trace point costs: while it leaves no record, which decides whether the guard may stand in every function; when
// it leaves one, beside a general tracer and a logger's ring with the same payload; and what a whole traced call costs
// at each level, which decides what a region can leave switched on.
//
// Ours and the peer take turns in rounds, so that both meet the same machine; shown are the medians and their ratio.
// Times are CPU times of the measuring thread, and of two threads also what the clock on the wall says.

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench_screens.h"
#include "bench_start.h"
#include "inftr_guard.h"
#include "trace_peers.h"

namespace
{

constexpr int rounds = 31;

using Loop = std::function<void(u32)>;

double nanoseconds(clockid_t clock)
{
    struct timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

// The time of one turn of a loop.
double timed(const Loop &loop, u32 times, clockid_t clock = CLOCK_THREAD_CPUTIME_ID)
{
    const double start = nanoseconds(clock);
    loop(times);
    return (nanoseconds(clock) - start) / times;
}

// A loop in two threads at once: the CPU time of a turn in one of them, or the time on the wall.
double timedInTwo(const Loop &loop, u32 times, bool onTheWall)
{
    std::atomic<int> ready = 0;
    double spent[2];
    const auto body = [&](int number) {
        loop(16); // what a thread's first record costs does not count
        ++ready;
        while (ready < 2) {
        }
        spent[number] = timed(loop, times, onTheWall ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID);
        InfTR_ThreadExit(INFTR_COMPONENT_SUPOS, "timedInTwo", 1);
    };
    std::thread other(body, 1);
    std::thread one(body, 0);
    one.join();
    other.join();
    return (spent[0] + spent[1]) / 2;
}

void show(const char *name, const std::function<double()> &ours, const char *peerName,
          const std::function<double()> &peer, double goal)
{
    std::vector<double> mine, theirs;
    ours();
    peer();
    for (int round = 0; round < rounds; ++round) {
        mine.push_back(ours());
        theirs.push_back(peer());
    }
    const double a = median(mine), b = median(theirs);
    if (goal == 0) // nothing is wanted
        printf("%-36s %8.2f ns   %-34s %8.2f ns   %.2f more\n", name, a, peerName, b, a - b);
    else if (goal < 1) // wanted so many times faster
        printf("%-36s %8.2f ns   %-34s %8.2f ns   %.2f times as fast (goal %.1f)\n", name, a, peerName, b, b / a,
               1 / goal);
    else
        printf("%-36s %8.2f ns   %-34s %8.2f ns   %.2f of it (goal %.2f)\n", name, a, peerName, b, a / b, goal);
    fflush(stdout);
}

void compare(const char *name, const Loop &ours, const char *peerName, const Loop &peer, u32 times, double goal)
{
    show(
        name, [&] { return timed(ours, times); }, peerName, [&] { return timed(peer, times); }, goal);
}

// ---- our loops ----

void setFlags(u32 master, u32 buffer, u32 aux, u8 level)
{
    auto *const area = InfTR_TracePtr;
    const u32 table = area->SpecTableInUse == 1 ? 0 : 1;
    memset(area->TraceSpecTable[table], level, INFTR_COMPONENT_COUNT);
    area->TraceFlagBuffer = buffer;
    area->TraceFlagAux = aux;
    area->TraceFlagMaster = master;
}

INFTR_FUNCTION(SUPOS, "guardedCall");

const char text[] = "a text";

void leave(u32 times)
{
    for (u32 i = 0; i < times; ++i) INFTR_EXIT_VOID(i);
}

void enter(u32 times)
{
    for (u32 i = 0; i < times; ++i)
        INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %s, %d)", static_cast<const void *>(&times), text, static_cast<i32>(i));
}

void call(u32 times)
{
    for (u32 i = 0; i < times; ++i) {
        INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %s, %d)", static_cast<const void *>(&times), text, static_cast<i32>(i));
        INFTR_EXIT_VOID(i);
    }
}

// The same function without a guard and with one.
__attribute__((noinline)) i32 bare(i32 value)
{
    return value * 3 + 1;
}

__attribute__((noinline)) i32 guarded(i32 value)
{
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d)", value);
    const i32 result = value * 3 + 1;
    INFTR_RETURN_VALUE(1, result);
}

template <i32 Function(i32)>
void callEach(u32 times)
{
    i32 value = 1;
    for (u32 i = 0; i < times; ++i) {
        value = Function(value);
        asm volatile("" : "+r"(value));
    }
}

// ---- what is compared ----

void guardAlone()
{
    setFlags(0, 0, 0, 0);
    compare("function of two points, master off", callEach<guarded>, "the same without a guard", callEach<bare>, 400000,
            0);
}

void guards()
{
    setFlags(0, 0, 0, 0);
    compare("guard, master off", leave, "LTTng trace point, disabled", Peers_LttngOff, 400000, 2.0);
    setFlags(1, 1, 0, 1);
    compare("guard, on, class not selected", leave, "LTTng trace point, disabled", Peers_LttngOff, 400000, 8.0);
}

void recordsBesideLttng()
{
    compare("exit record", leave, "LTTng event", Peers_LttngLeave, 20000, 1 / 4.0);
    compare("entry record, (%p, %s, %d)", enter, "LTTng event", Peers_LttngEnter, 20000, 1 / 2.2);
    compare("entry and exit", call, "two LTTng events", Peers_LttngCall, 20000, 1 / 3.0);
    for (const bool onTheWall : {false, true}) {
        show(
            onTheWall ? "exit record, two threads, wall" : "exit record, two threads, each",
            [&] { return timedInTwo(leave, 100000, onTheWall); },
            onTheWall ? "LTTng event, two threads, wall" : "LTTng event, two threads, each",
            [&] { return timedInTwo(Peers_LttngLeave, 100000, onTheWall); }, 1.0);
    }
}

void records()
{
    setFlags(1, 1, 0, 4);
    if (Peers_LttngRecords())
        recordsBesideLttng();
    else
        printf("LTTng events: left out, no session records this program (scripts/bench.sh starts one)\n");
    if (Peers_HaveSpdlog())
        compare("entry record, (%p, %s, %d)", enter, "spdlog message in its ring", Peers_SpdlogEnter, 20000, 1 / 3.0);
    else
        printf("spdlog: left out, its headers were not found at build time\n");
}

void files()
{
    const std::string path = std::string(Bench_Root()) + "/plain";
    const int plain = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (plain < 0) {
        perror(path.c_str());
        exit(1);
    }
    setFlags(1, 0, 1, 4);
    const char bytes[92] = {}; // an exit record
    const auto writePlain = [&](u32 times) {
        for (u32 i = 0; i < times; ++i) {
            if (write(plain, bytes, sizeof bytes) != sizeof bytes) abort();
        }
    };
    compare("exit record to the file", leave, "write(2) of as many bytes", writePlain, 5000, 1.10);
    setFlags(0, 0, 0, 0);
    close(plain);
}

// ---- a whole call ----

// A screen with fields and colours.
Bench_Bytes screen(std::string *name)
{
    std::map<std::string, Bench_Bytes> all = Bench_Screens();
    const auto wanted = all.find("s15_ra_sfe_12bit");
    const auto found = wanted != all.end() ? wanted : all.begin();
    *name = found->first;
    return found->second;
}

void translate(const Bench_Bytes &stream, u32 times)
{
    Bench_Bytes room(stream.size());
    for (u32 i = 0; i < times; ++i) {
        memcpy(room.data(), stream.data(), stream.size());
        u8 *buffer = room.data();
        u16 length = static_cast<u16>(stream.size());
        if (Bench_Translate(&buffer, &length, true) != 0) abort();
        if (buffer != room.data()) free(buffer);
    }
}

// Records that one translation leaves, as the file of a thread counts them.
u32 recordsOf(const Bench_Bytes &stream, u8 level)
{
    u32 count = 0;
    std::thread([&] {
        setFlags(1, 0, 1, level);
        translate(stream, 1);
        setFlags(1, 0, 1, 4);
        InfTR_TraceVoidExit(INFTR_COMPONENT_SUPOS, "recordsOf", 1); // the newest record has the number of all
        const InfTR_ProcessCache *const cache = InfTR_CachePtr;
        count = cache->ThreadFileList->SequenceNumber - 1;
        InfTR_ThreadExit(INFTR_COMPONENT_SUPOS, "recordsOf", 1);
    }).join();
    return count;
}

void levels()
{
    std::string name;
    const Bench_Bytes stream = screen(&name);
    printf("\nTranslation of the screen %s, %zu bytes, to ASCII, records to the ring\n", name.c_str(), stream.size());
    std::vector<double> times[7];
    for (int round = 0; round < rounds; ++round) {
        for (u8 level = 0; level < 7; ++level) {
            setFlags(level < 6, 1, 0, level % 6);
            times[level].push_back(timed([&](u32 count) { translate(stream, count); }, 100));
        }
    }
    const double off = median(times[6]);
    printf("%-24s %8.0f ns\n", "master switch off", off);
    for (u8 level = 0; level < 6; ++level) {
        const double spent = median(times[level]);
        printf("level %-18u %8.0f ns   %5u records   %5.2f times off\n", level, spent, recordsOf(stream, level),
               spent / off);
    }
    setFlags(0, 0, 0, 0);
}

} // namespace

int main()
{
    Bench_Start(nullptr);
    const std::string options = "-S ON -t ALL=0 -a 0 -d " + std::string(Bench_Root());
    Bench_Start(options.c_str());
    guardAlone();
    if (Peers_HaveLttng())
        guards();
    else
        printf("LTTng: left out, its headers were not found at build time\n");
    records();
    files();
    levels();
    return 0;
}
