// The wall clock and the counter, by one reading of the processor's time-stamp counter.
//
// The C library takes over 20 ns for a clock, and a trace record wants two. So each thread looks at both system clocks
// together with the processor's counter, and for half a millisecond tells both from the ticks that have passed since.
// The rate of the ticks is measured from look to look and believed once two measures in a row agree, which no suspend,
// no move to another machine and no counter that was set anew lets them do. Until then, and where a look took so long
// that nobody knows what moment it saw, the system's own readings are handed out.
//
// Nothing is shared among threads, so nothing is locked. A counter that jumps ends its window by the same compare as one
// that has gone on for too long. Half a millisecond keeps the error below 50 us even while the system's clock is slewed
// by a tenth, and a step of the wall clock is seen at the next look. No reading is behind the one before it in its
// thread, unless the system's wall clock was set back.

#include "tks_time.h"

#include <cpuid.h>
#include <x86intrin.h>

#include <atomic>

#include "plat_clock.h"
#include "plat_sys.h"

constexpr i64 second = 1'000'000'000;
constexpr i64 lookHolds = 500'000; // nanoseconds
constexpr i64 shortestSpan = 400'000; // nanoseconds from look to look that give a rate: 20 of them are 50 ppm
constexpr u64 longestLook = 1024; // ticks, 0.2 to 0.5 us: a thread that lost its processor meanwhile takes longer
constexpr int lookTries = 3;
constexpr i64 smallestStep = 20'000; // nanoseconds by which a wall clock goes back that was set back

struct ThreadClock {
    u64 Ticks; // the processor's counter at the last look
    i64 Counter; // CLOCK_MONOTONIC at that moment
    u64 Window; // ticks for which the look holds; 0 = the system is asked
    u64 Rate; // nanoseconds a tick, times 2^32
    i64 Last; // counter handed out last
    i64 WallAhead; // what the wall clock is ahead of the counter
    i64 SecondBegan; // counter at the beginning of the wall clock's second
    u32 Second;
};

static constinit thread_local ThreadClock threadClock __attribute__((tls_model("initial-exec"))) = {};

static bool askSystem(clockid_t Clock, i64 *NanoSeconds)
{
    struct timespec now;
    if (Plat_Sys.ClockGettime(Clock, &now) != 0) return false;
    *NanoSeconds = static_cast<i64>(now.tv_sec) * second + now.tv_nsec;
    return true;
}

// Whether the processor's counter runs at one rate in all states of the processor, as CPUID tells.
static bool ticksAreInvariant()
{
    static constinit std::atomic<i32> answer = -1;
    i32 known = answer.load(std::memory_order_relaxed);
    if (known < 0) {
        u32 eax, ebx, ecx, edx;
        known = __get_cpuid(0x80000007, &eax, &ebx, &ecx, &edx) != 0 && (edx & 1u << 8) != 0 ? 1 : 0;
        answer.store(known, std::memory_order_relaxed);
    }
    return known == 1;
}

// Enters the second of the wall clock in which the last reading lies.
static __attribute__((noinline)) void enterSecond(ThreadClock *Clock)
{
    const u64 wall = static_cast<u64>(Clock->Last + Clock->WallAhead);
    Clock->Second = static_cast<u32>(wall / second);
    Clock->SecondBegan = Clock->Last - static_cast<i64>(wall % second);
}

// Makes a pair of readings the one handed out last, moved on to where it is behind neither reading before it.
static void handOut(ThreadClock *Clock, i64 Counter, i64 WallAhead)
{
    const i64 lastWall = Clock->Last + Clock->WallAhead;
    if (Counter < Clock->Last) Counter = Clock->Last;
    const i64 behind = lastWall - (Counter + WallAhead);
    if (behind > 0 && behind < smallestStep) Counter += behind;
    Clock->Last = Counter;
    Clock->WallAhead = WallAhead;
    enterSecond(Clock);
}

// The rate of the ticks between the last look and this one; 0 for a span that cannot be.
static u64 rateOf(u64 Ticks, i64 Span)
{
    const double rate = static_cast<double>(Span) / static_cast<double>(Ticks) * 0x1p32;
    return rate > 0 && rate < 0x1p40 ? static_cast<u64>(rate) : 0;
}

static bool agree(u64 Rate, u64 Before)
{
    const u64 apart = Rate > Before ? Rate - Before : Before - Rate;
    return Rate != 0 && apart <= Before / 8;
}

// Looks at both clocks of the system. False when it does not tell them.
static __attribute__((noinline)) bool look(ThreadClock *Clock)
{
    u64 before, between, after;
    i64 counter, wall;
    int tries = 0;
    do {
        before = __rdtsc();
        if (!askSystem(CLOCK_MONOTONIC, &counter)) return false;
        between = __rdtsc();
        if (!askSystem(CLOCK_REALTIME, &wall)) return false;
        after = __rdtsc();
    } while (after - before > longestLook && ++tries < lookTries);

    Clock->Window = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst); // a handler that reads the clock meanwhile asks the system
    const i64 span = counter - Clock->Counter;
    if (after - before > longestLook || (span >= 0 && span < shortestSpan)) {
        handOut(Clock, counter, wall - counter);
        return true;
    }
    // Each clock was read half-way between two ticks, and half of the whole look lies between the clocks.
    const u64 ticks = before + (between - before) / 2;
    const u64 rate = rateOf(ticks - Clock->Ticks, span);
    const bool believed = agree(rate, Clock->Rate);
    if (believed) wall -= static_cast<i64>((after - before) / 2 * rate >> 32);
    Clock->Ticks = ticks;
    Clock->Counter = counter;
    Clock->Rate = rate;
    handOut(Clock, counter, wall - counter);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (believed) Clock->Window = (static_cast<u64>(lookHolds) << 32) / rate;
    return true;
}

// Tells both clocks from the ticks. False where the window has ended or the system wants to be asked.
static inline __attribute__((always_inline)) bool tick(ThreadClock *Clock)
{
    const u64 passed = __rdtsc() - Clock->Ticks;
    if (__builtin_expect(passed >= Clock->Window, 0)) return false;
    if (__builtin_expect(Plat_Sys.ClockGettime != Plat_Sys.TickedClock, 0)) return false;
    const i64 now = Clock->Counter + static_cast<i64>(passed * Clock->Rate >> 32);
    if (now > Clock->Last) Clock->Last = now;
    return true;
}

static bool mayLook()
{
    return Plat_Sys.ClockGettime == Plat_Sys.TickedClock && ticksAreInvariant();
}

static inline __attribute__((always_inline)) tks_Time wallOf(ThreadClock *Clock)
{
    if (__builtin_expect(static_cast<u64>(Clock->Last - Clock->SecondBegan) >= second, 0)) enterSecond(Clock);
    return {Clock->Second, static_cast<u32>(Clock->Last - Clock->SecondBegan) / 1000};
}

static __attribute__((noinline)) tks_Time askWall()
{
    struct timespec now = {};
    Plat_Sys.ClockGettime(CLOCK_REALTIME, &now); // fails for no clock that exists; then the time is 0
    return {static_cast<u32>(now.tv_sec), static_cast<u32>(now.tv_nsec / 1000)};
}

// A reading that the ticks do not tell.
static __attribute__((noinline)) tks_Moment readBoth()
{
    ThreadClock *const clock = &threadClock;
    if (mayLook() && look(clock)) return {wallOf(clock), clock->Last};
    tks_Moment now = {askWall(), 0};
    if (!askSystem(CLOCK_MONOTONIC, &now.Counter)) now.Counter = 0;
    return now;
}

tks_Moment tks_Now(void)
{
    ThreadClock *const clock = &threadClock;
    if (__builtin_expect(!tick(clock), 0)) return readBoth();
    return {wallOf(clock), clock->Last};
}

void tks_GetTime(tks_Time *Time)
{
    ThreadClock *const clock = &threadClock;
    *Time = tick(clock) || (mayLook() && look(clock)) ? wallOf(clock) : askWall();
}

bool Plat_ReadCounter(i64 *Counter)
{
    ThreadClock *const clock = &threadClock;
    if (!tick(clock) && !(mayLook() && look(clock))) return askSystem(CLOCK_MONOTONIC, Counter);
    *Counter = clock->Last;
    return true;
}

time_t tks_TimeToANSI(const tks_Time *Time)
{
    return static_cast<time_t>(Time->Seconds);
}
