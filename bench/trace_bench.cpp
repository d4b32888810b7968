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
#include <string>
#include <thread>
#include <vector>

#include "bench_start.h"
#include "inftr_guard.h"
#include "terbm_stream.h"
#include "trace_peers.h"

namespace
{

constexpr int rounds = 31;
constexpr u32 screenLines = 24;

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
    if (goal < 1) // wanted so many times faster
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

// ---- what is compared ----

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

u32 allocate(u32 size, void **block)
{
    *block = malloc(size);
    return 0;
}

u32 release(void *block)
{
    free(block);
    return 0;
}

// As cheap as a conversion can be, so that what shows is the trace.
u32 copyText(u32, u8 *source, u16 length, u8 *target, u16, u16 *outLength)
{
    for (u16 at = 0; at < length; ++at) target[at] = static_cast<u8>((source[at] & 0x3F) + 0x20);
    *outLength = length;
    return 0;
}

// A screen as a menu has it: on each line a label in one colour and a field to type into.
std::vector<u8> screen()
{
    std::vector<u8> stream = {0xF5, 0xC3};
    for (u32 line = 0; line < screenLines; ++line) {
        const u8 place[] = {0x11, static_cast<u8>(0x40 + line), static_cast<u8>(0xC1 + line % 9)};
        const u8 label[] = {0x29, 0x02, 0xC0, 0xF0, 0x42, 0xF4};
        stream.insert(stream.end(), std::begin(place), std::end(place));
        stream.insert(stream.end(), std::begin(label), std::end(label));
        stream.insert(stream.end(), 20, 0xC1);
        stream.insert(stream.end(), {0x1D, 0x40});
        stream.insert(stream.end(), 40, 0xF1);
        stream.insert(stream.end(), {0x1D, 0x60});
    }
    return stream;
}

void translate(const std::vector<u8> &stream, u32 times)
{
    std::vector<u8> room(stream.size());
    for (u32 i = 0; i < times; ++i) {
        memcpy(room.data(), stream.data(), stream.size());
        u8 *buffer = room.data();
        u16 length = static_cast<u16>(stream.size());
        if (TerBM_Translate(&buffer, &length, 1, 1, 1, allocate, release, copyText, 1, 2, nullptr) != 0) abort();
        if (buffer != room.data()) free(buffer);
    }
}

// Records that one translation leaves, as the file of a thread counts them.
u32 recordsOf(const std::vector<u8> &stream, u8 level)
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
    const std::vector<u8> stream = screen();
    printf("\nTranslation of a screen of %zu bytes to ASCII, records to the ring\n", stream.size());
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
    if (Peers_HaveLttng())
        guards();
    else
        printf("LTTng: left out, its headers were not found at build time\n");
    records();
    files();
    levels();
    return 0;
}
