// The end of the process.
//
// exit() may be called once: a second thread that ends the process waits for the first to do it, and a call out of an
// exit routine ends at once. Inside a fault handler no lock of libc can be trusted, so there the streams get one flush
// that an alarm cuts short, and no exit routine runs.

#include "tks_process.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "plat_fault.h"
#include "tks_thread.h"

constexpr unsigned flushSeconds = 2;

static thread_local u32 faultDepth = 0;

void Plat_FaultEnter()
{
    ++faultDepth;
}

void Plat_FaultLeave()
{
    if (faultDepth != 0) --faultDepth;
}

i32 Plat_InFault()
{
    return faultDepth != 0;
}

static constinit std::atomic<int> faultStatus = 0; // what the alarm ends the process with

static void flushTookTooLong(int)
{
    _exit(faultStatus.load(std::memory_order_relaxed));
}

[[noreturn]] static void endFromFault(int Status)
{
    faultStatus.store(Status, std::memory_order_relaxed);
    struct sigaction action = {};
    action.sa_handler = flushTookTooLong;
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarmSignal;
    sigemptyset(&alarmSignal);
    sigaddset(&alarmSignal, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarmSignal, nullptr);
    alarm(flushSeconds);
    fflush(nullptr);
    _exit(Status);
}

void tks_Exit(i32 Code)
{
    static constinit std::atomic<u32> endingThread = 0;

    const int status = Code & 0xFF;
    if (Plat_InFault()) endFromFault(status);

    u32 expected = 0;
    const u32 self = tks_ThreadSelf();
    if (endingThread.compare_exchange_strong(expected, self)) exit(status);
    if (expected == self) {
        fflush(nullptr);
        _exit(status);
    }
    for (;;) pause();
}
