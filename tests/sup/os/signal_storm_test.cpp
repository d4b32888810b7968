// A storm of signals for the tests of this program: with VELA_TEST_STORM set, every thread of it is interrupted every
// 100 microseconds, by a handler without SA_RESTART, from the first test to the end. CTest runs the tests of pipes, of the
// relay and of child processes once more that way; what they expect is the same.

#include <dirent.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

namespace
{

constexpr int stormSignal = SIGUSR1;
constexpr long stormInterval = 100000; // nanoseconds

std::atomic<unsigned long> strokes = 0;
DIR *threads = nullptr; // of this process; stays open

pid_t threadId()
{
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// Interrupts every thread but the own one.
void strike(pid_t own)
{
    rewinddir(threads);
    while (const dirent *entry = readdir(threads)) {
        const pid_t thread = atoi(entry->d_name);
        if (thread > 0 && thread != own) syscall(SYS_tgkill, getpid(), thread, stormSignal);
    }
}

void storm()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    const pid_t own = threadId();
    struct timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (;;) {
        strike(own);
        next.tv_nsec += stormInterval;
        if (next.tv_nsec >= 1000000000) {
            next.tv_nsec -= 1000000000;
            ++next.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
}

struct Storm : testing::Environment {
    void SetUp() override
    {
        if (getenv("VELA_TEST_STORM") == nullptr) return;
        struct sigaction action = {};
        action.sa_handler = [](int) { strokes.fetch_add(1, std::memory_order_relaxed); };
        sigaction(stormSignal, &action, nullptr);
        threads = opendir("/proc/self/task");
        std::thread(storm).detach();
    }
};

[[maybe_unused]] testing::Environment *const environment = testing::AddGlobalTestEnvironment(new Storm);

} // namespace

TEST(Storm, InterruptsACallThatWaits)
{
    if (getenv("VELA_TEST_STORM") == nullptr) GTEST_SKIP() << "VELA_TEST_STORM is not set";
    for (int i = 0; i < 20; ++i) {
        const struct timespec span = {10, 0};
        struct timespec left = {};
        EXPECT_EQ(nanosleep(&span, &left), -1);
        EXPECT_EQ(errno, EINTR);
        EXPECT_GE(left.tv_sec, 9);
    }
    EXPECT_GE(strokes, 20u);
}
