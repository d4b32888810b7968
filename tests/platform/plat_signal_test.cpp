// Signals under the numbers of the Win32 runtime, the one dispatcher behind them, and signal stacks.

#include "plat_signal.h"

#include "plat_signal_int.h"

#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "plat_fault.h"
#include "plat_sys.h"
#include "tks_process.h"

namespace
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

std::atomic<i32> lastSignal = 0;
std::atomic<int> calls = 0;
std::atomic<bool> inFault = false;

void remember(i32 signal)
{
    lastSignal = signal;
    inFault = Plat_InFault() != 0;
    ++calls;
}

void endWith7(i32)
{
    tks_Exit(7);
}

struct pair {
    i32 Number;
    int Native;
};

constexpr pair pairs[] = {{2, SIGINT}, {4, SIGILL}, {8, SIGFPE}, {11, SIGSEGV}, {15, SIGTERM}, {22, SIGABRT}};

bool isDefault(int native)
{
    struct sigaction action;
    sigaction(native, nullptr, &action);
    return !(action.sa_flags & SA_SIGINFO) && action.sa_handler == SIG_DFL;
}

} // namespace

TEST(plat_signal, HandsTheRuntimesNumberToTheHandler)
{
    for (const pair &row : pairs) {
        lastSignal = 0;
        EXPECT_EQ(plat_signal(row.Number, remember), PLAT_SIG_DFL);
        raise(row.Native);
        EXPECT_EQ(lastSignal, row.Number);
        EXPECT_TRUE(inFault); // the end of the process does less meanwhile
        EXPECT_FALSE(Plat_InFault());
    }
}

TEST(plat_signal, GoesBackToTheDefaultAtDelivery)
{
    plat_signal(PLAT_SIGTERM, remember);
    raise(SIGTERM);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(plat_signal(PLAT_SIGTERM, PLAT_SIG_DFL), PLAT_SIG_DFL);

    EXPECT_EXIT(
        {
            plat_signal(PLAT_SIGTERM, remember);
            raise(SIGTERM);
            raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "");
}

TEST(plat_signal, MeetsTheDefaultWithinItsHandler)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer puts a signal off until the handler is done";
#endif
    EXPECT_EXIT(
        {
            plat_signal(PLAT_SIGINT, [](i32) {
                raise(SIGINT);
                _exit(3);
            });
            raise(SIGINT);
        },
        testing::KilledBySignal(SIGINT), "");
}

TEST(plat_signal, ReturnsTheHandlerBefore)
{
    EXPECT_EQ(plat_signal(PLAT_SIGINT, remember), PLAT_SIG_DFL);
    EXPECT_EQ(plat_signal(PLAT_SIGINT, PLAT_SIG_IGN), remember);
    raise(SIGINT);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(plat_signal(PLAT_SIGINT, endWith7), PLAT_SIG_IGN);
    EXPECT_EQ(plat_signal(PLAT_SIGINT, PLAT_SIG_DFL), endWith7);
    EXPECT_TRUE(isDefault(SIGINT));
}

TEST(plat_signal, RefusesOtherNumbers)
{
    for (const i32 number : {0, 1, 3, 6, 9, 21, 23, -1, 64}) {
        errno = 0;
        EXPECT_EQ(plat_signal(number, remember), PLAT_SIG_ERR);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(plat_signal(PLAT_SIGINT, PLAT_SIG_ERR), PLAT_SIG_ERR);
}

TEST(plat_signal, KeepsItsHandlerWhenTheSystemRefuses)
{
    plat_signal(PLAT_SIGINT, remember);
    Plat_Sys.Sigaction = [](int, const struct sigaction *, struct sigaction *) {
        errno = EINVAL;
        return -1;
    };
    EXPECT_EQ(plat_signal(PLAT_SIGINT, endWith7), PLAT_SIG_ERR);
    Plat_Sys.Sigaction = sigaction;
    EXPECT_EQ(plat_signal(PLAT_SIGINT, PLAT_SIG_DFL), remember);
}

TEST(plat_signal, EndsAProcessFromItsHandler)
{
    EXPECT_EXIT(
        {
            plat_signal(PLAT_SIGABRT, endWith7);
            abort();
        },
        testing::ExitedWithCode(7), "");
}

// A handler that comes back from abort has changed nothing.
TEST(plat_signal, CannotStopAnAbort)
{
    EXPECT_EXIT(
        {
            plat_signal(PLAT_SIGABRT, remember);
            abort();
        },
        testing::KilledBySignal(SIGABRT), "");
}

TEST(plat_signal, MeetsAFaultAgainThatItsHandlerReturnsFrom)
{
    if (sanitized) GTEST_SKIP() << "the sanitizer checks the access itself";
    EXPECT_EXIT(
        {
            plat_signal(PLAT_SIGSEGV, [](i32) { write(2, "once\n", 5); });
            *reinterpret_cast<volatile int *>(static_cast<uintptr_t>(getpid() < 0 ? 4096 : 8)) = 1;
        },
        testing::KilledBySignal(SIGSEGV), "^once\n$");
}

TEST(plat_signal, RunsOnAStackOfItsOwn)
{
    if (sanitized) GTEST_SKIP() << "the sanitizer has its own signal stack";
    static std::atomic<const char *> inside;
    plat_signal(PLAT_SIGTERM, [](i32) {
        char here = 0;
        inside = &here;
    });
    raise(SIGTERM);
    stack_t stack = {};
    ASSERT_EQ(sigaltstack(nullptr, &stack), 0);
    const char *const base = static_cast<const char *>(stack.ss_sp);
    EXPECT_GE(stack.ss_size, 1000000u);
    EXPECT_GE(inside.load(), base);
    EXPECT_LT(inside.load(), base + stack.ss_size);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winfinite-recursion"
static int runOutOfStack(int depth)
{
    volatile char room[4096];
    room[depth % 4096] = 1;
    return runOutOfStack(depth + 1) + room[0];
}
#pragma GCC diagnostic pop

static void limitStack()
{
    const rlimit small = {1 << 20, 1 << 20};
    setrlimit(RLIMIT_STACK, &small);
}

TEST(plat_signal, SurvivesAFullStackOnItsOwn)
{
    if (sanitized) GTEST_SKIP() << "the sanitizer checks the stack itself";
    EXPECT_EXIT(
        {
            limitStack();
            plat_signal(PLAT_SIGSEGV, endWith7);
            runOutOfStack(0);
        },
        testing::ExitedWithCode(7), "");
}

TEST(plat_signal, KeepsErrno)
{
    plat_signal(PLAT_SIGTERM, [](i32) { errno = EIO; });
    errno = 77;
    raise(SIGTERM);
    EXPECT_EQ(errno, 77);
}

// The alarm of a program goes on when a handler comes back.
TEST(plat_signal, GivesTheAlarmBack)
{
    signal(SIGALRM, SIG_IGN);
    alarm(100);
    plat_signal(PLAT_SIGTERM, remember);
    raise(SIGTERM);
    struct sigaction action;
    sigaction(SIGALRM, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    EXPECT_GE(alarm(0), 98u);
}

TEST(plat_signal, EndsAHandlerThatHangs)
{
    EXPECT_EXIT(
        {
            plat_signal(PLAT_SIGTERM, [](i32) {
                raise(SIGALRM); // what the system sends when the time is up
                _exit(3);
            });
            raise(SIGTERM);
        },
        testing::ExitedWithCode(128 + SIGTERM), "");
}

TEST(Plat_OnFault, SeesAFaultBeforeAnyHandler)
{
    if (sanitized) GTEST_SKIP() << "the sanitizer checks the access itself";
    EXPECT_EXIT(
        {
            Plat_OnFault = [](int signal, siginfo_t *info, void *) -> i32 {
                if (signal == SIGSEGV && reinterpret_cast<uintptr_t>(info->si_addr) == 8) _exit(5);
                return 0;
            };
            plat_signal(PLAT_SIGSEGV, endWith7);
            *reinterpret_cast<volatile int *>(static_cast<uintptr_t>(getpid() < 0 ? 4096 : 8)) = 1;
        },
        testing::ExitedWithCode(5), "");
}

TEST(Plat_OnFault, LeavesTheRestToTheHandler)
{
    EXPECT_EXIT(
        {
            Plat_OnFault = [](int, siginfo_t *, void *) -> i32 { return 0; };
            plat_signal(PLAT_SIGSEGV, endWith7);
            raise(SIGSEGV);
        },
        testing::ExitedWithCode(7), "");
}

TEST(Plat_OnFault, IsNotAskedAboutOtherSignals)
{
    Plat_OnFault = [](int, siginfo_t *, void *) -> i32 { _exit(5); };
    plat_signal(PLAT_SIGTERM, remember);
    raise(SIGTERM);
    EXPECT_EQ(calls, 1);
}

TEST(Plat_OnFault, StaysWhenAHandlerGoes)
{
    Plat_OnFault = [](int, siginfo_t *, void *) -> i32 { return 1; };
    plat_signal(PLAT_SIGSEGV, remember);
    plat_signal(PLAT_SIGSEGV, PLAT_SIG_DFL);
    raise(SIGSEGV); // dealt with by the filter
    EXPECT_EQ(calls, 0);
}

TEST(Plat_AlternateStack, BelongsToItsThread)
{
    if (sanitized) GTEST_SKIP() << "the sanitizer has its own signal stack";
    std::thread([] {
        ASSERT_EQ(Plat_AlternateStack(), 0);
        stack_t first = {}, second = {};
        sigaltstack(nullptr, &first);
        EXPECT_GE(first.ss_size, 1000000u);
        ASSERT_EQ(Plat_AlternateStack(), 0); // once
        sigaltstack(nullptr, &second);
        EXPECT_EQ(first.ss_sp, second.ss_sp);
    }).join();
    stack_t mine = {};
    sigaltstack(nullptr, &mine);
    EXPECT_TRUE(mine.ss_flags & SS_DISABLE);
}
