// The end of a process by a signal.

#include "supos_services.h"

#include "supos_services_int.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plat_signal.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"

namespace
{

void raiseAfterInit(int signal)
{
    SupOS_SigInit();
    raise(signal);
}

} // namespace

TEST(SupOS_SignalHandler, ReportsEveryFaultAndEndsWith99)
{
    Scratch_MakeRoot();
    struct {
        int Native;
        const char *Number;
    } const rows[] = {{SIGABRT, "22"}, {SIGFPE, "8"}, {SIGILL, "4"}, {SIGSEGV, "11"}, {SIGTERM, "15"}};
    for (const auto &row : rows) {
        EXPECT_EXIT(raiseAfterInit(row.Native), testing::ExitedWithCode(99),
                    std::string("SECONDARY SYMPTOMS = Unexpected signal ") + row.Number + " caught")
            << row.Number;
        EXPECT_EXIT(raiseAfterInit(row.Native), testing::ExitedWithCode(99),
                    std::string("ERZ058916E/0001: .*") + row.Number)
            << row.Number;
    }
    EXPECT_EXIT(raiseAfterInit(SIGABRT), testing::ExitedWithCode(99),
                "FUNC/SupOS_SignalHandler LINE/118 MS/058916 MSN/1 SRC/11 PRCS/0 ");
}

TEST(SupOS_SignalHandler, EndsAbortItself)
{
    Scratch_MakeRoot();
    EXPECT_EXIT(
        {
            SupOS_SigInit();
            abort();
        },
        testing::ExitedWithCode(99), "Unexpected signal 22 caught");
}

TEST(SupOS_SignalHandler, EndsARealFault)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer checks the access itself";
#endif
    Scratch_MakeRoot();
    EXPECT_EXIT(
        {
            SupOS_SigInit();
            *reinterpret_cast<volatile int *>(static_cast<uintptr_t>(getpid() < 0 ? 0x100000 : 8)) = 1;
        },
        testing::ExitedWithCode(99), "Unexpected signal 11 caught");
}

TEST(SupOS_SignalHandler, SaysNothingOfAnInterrupt)
{
    Scratch_MakeRoot();
    EXPECT_EXIT(raiseAfterInit(SIGINT), testing::ExitedWithCode(99), "^$");
    EXPECT_EQ(Scratch_EventLog(), "");
}

TEST(SupOS_SignalHandler, IsAnErrorOfTheEventLog)
{
    Scratch_MakeRoot();
    EXPECT_EXIT(raiseAfterInit(SIGTERM), testing::ExitedWithCode(99), "ERZ058916E");
    EXPECT_NE(Scratch_EventLog().find("ERZ058916E"), std::string::npos);
}

TEST(SupOS_SignalHandler, FlushesTheStreams)
{
    Scratch_MakeRoot();
    EXPECT_EXIT(
        {
            SupOS_SigInit();
            dup2(2, 1);
            setvbuf(stdout, nullptr, _IOFBF, 4096);
            printf("still in the buffer\n");
            raise(SIGINT);
        },
        testing::ExitedWithCode(99), "still in the buffer");
}

TEST(SupOS_SigInit, InstallsTheHandlerInItsOrder)
{
    static std::vector<int> installed;
    installed.clear();
    Plat_Sys.Sigaction = [](int signal, const struct sigaction *, struct sigaction *) {
        installed.push_back(signal);
        return 0;
    };
    SupOS_SigInit();
    EXPECT_EQ(installed, (std::vector<int>{SIGABRT, SIGFPE, SIGILL, SIGINT, SIGSEGV, SIGTERM}));
    for (const i32 signal : {22, 8, 4, 2, 11, 15}) EXPECT_EQ(plat_signal(signal, PLAT_SIG_DFL), SupOS_SignalHandler);
}

TEST(SupOS_SigInit, Traces)
{
    Ring_TraceOn();
    SupOS_SigInit();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SigInit"), 1u);
}
