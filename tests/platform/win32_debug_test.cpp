// Faults as exceptions: what the record says of each, and the way it takes through guard, filter, handler and default.

#include "win32_debug.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <cfenv>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "fault_makers.h"
#include "plat_exception.h"
#include "plat_guard.h"
#include "plat_signal.h"
#include "plat_sys.h"
#include "tks_process.h"
#include "win32_sync.h"
#include "win32_thread.h"

namespace
{

// What a child's filter saw, in memory that both share.
struct Seen {
    u32 Calls;
    EXCEPTION_RECORD Record;
    CONTEXT Context;
    u8 *Stack; // of the filter
};

Seen *seen;
u32 answer = EXCEPTION_EXECUTE_HANDLER;

u32 remember(EXCEPTION_POINTERS *pointers)
{
    u8 here;
    ++seen->Calls;
    seen->Record = *pointers->ExceptionRecord;
    seen->Context = *pointers->ContextRecord;
    seen->Stack = &here;
    return answer;
}

struct Exceptions : testing::Test {
    void SetUp() override
    {
        Make_PlainFaults();
        void *const shared = mmap(nullptr, sizeof(Seen), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(shared, MAP_FAILED);
        seen = static_cast<Seen *>(shared);
    }

    // Runs a fault in a child under the filter; its wait status.
    template <class Call>
    static int childStatus(Call &&fault)
    {
        *seen = {};
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            SetUnhandledExceptionFilter(remember);
            fault();
            _exit(0);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return status;
    }

    template <class Call>
    static void expectFault(int signal, u32 code, Call &&fault)
    {
        const int status = childStatus(fault);
        EXPECT_TRUE(WIFSIGNALED(status)) << std::hex << code << " status " << status;
        EXPECT_EQ(WTERMSIG(status), signal) << std::hex << code;
        EXPECT_EQ(seen->Calls, 1u) << std::hex << code;
        EXPECT_EQ(seen->Record.ExceptionCode, code);
    }
};

} // namespace

TEST_F(Exceptions, AccessesSayWhereAndHow)
{
    expectFault(SIGSEGV, 0xC0000005, [] { Make_Write(0); });
    EXPECT_EQ(seen->Record.NumberParameters, 2u);
    EXPECT_EQ(seen->Record.ExceptionInformation[0], 1u);
    EXPECT_EQ(seen->Record.ExceptionInformation[1], 0u);
    EXPECT_EQ(seen->Record.ExceptionAddress, reinterpret_cast<void *>(seen->Context.Eip));
    EXPECT_EQ(seen->Context.Eax, 0u);

    expectFault(SIGSEGV, 0xC0000005, [] { Make_Read(0x1230); });
    EXPECT_EQ(seen->Record.ExceptionInformation[0], 0u);
    EXPECT_EQ(seen->Record.ExceptionInformation[1], 0x1230u);
    EXPECT_EQ(seen->Context.Eax, 0x1230u);

    expectFault(SIGSEGV, 0xC0000005, [] { Make_Read(0x9000000000000000u); });
    EXPECT_EQ(seen->Record.NumberParameters, 2u);
    EXPECT_EQ(seen->Record.ExceptionInformation[0], 0u);
    EXPECT_EQ(seen->Record.ExceptionInformation[1], UINTPTR_MAX);
}

TEST_F(Exceptions, ASignalThatWasSentHasNoParameters)
{
    expectFault(SIGSEGV, 0xC0000005, [] { raise(SIGSEGV); });
    EXPECT_EQ(seen->Record.NumberParameters, 0u);
}

TEST_F(Exceptions, InstructionsThatCannotBe)
{
    expectFault(SIGFPE, 0xC0000094, [] { Make_Division(); });
    expectFault(SIGILL, 0xC000001D, [] { Make_IllegalInstruction(); });
    expectFault(SIGTRAP, 0x80000003, [] { Make_Breakpoint(); });
    EXPECT_EQ(reinterpret_cast<u64>(seen->Record.ExceptionAddress), seen->Context.Eip - 1);
}

TEST_F(Exceptions, FloatingPoint)
{
    struct {
        int Exception;
        u32 Code;
        double Left, Right;
        char Operation;
    } const rows[] = {
        {FE_DIVBYZERO, 0xC000008E, 1, 0, '/'},
        {FE_OVERFLOW, 0xC0000091, 1e300, 1e300, '*'},
        {FE_UNDERFLOW, 0xC0000093, 1e-300, 1e-300, '*'},
        {FE_INEXACT, 0xC000008F, 1, 3, '/'},
        {FE_INVALID, 0xC0000090, 0, 0, '/'},
    };
    for (const auto &row : rows)
        expectFault(SIGFPE, row.Code, [&] {
            feenableexcept(row.Exception);
            if (row.Operation == '/')
                asm volatile("divsd %1, %0" : : "x"(row.Left), "x"(row.Right));
            else
                asm volatile("mulsd %1, %0" : : "x"(row.Left), "x"(row.Right));
        });
}

TEST_F(Exceptions, PagesThatCannotComeIn)
{
    expectFault(SIGBUS, 0xC0000006, [] {
        const int file = memfd_create("short", MFD_CLOEXEC);
        void *const page = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
        Make_Read(reinterpret_cast<uintptr_t>(page));
    });
}

TEST_F(Exceptions, TheEndOfTheStack)
{
    expectFault(SIGSEGV, 0xC00000FD, [] { Make_StackOverflow(0); });
    expectFault(SIGSEGV, 0xC00000FD, [] {
        const auto overflow = [](void *) { return Make_StackOverflow(0); };
        const handle thread = CreateThread(nullptr, 0, overflow, nullptr, 0, nullptr);
        WaitForSingleObject(thread, PLAT_INFINITE);
    });
    expectFault(SIGSEGV, 0xC00000FD, [] {
        std::thread([] {
            plat_FaultStack();
            Make_StackOverflow(0);
        }).join();
    });
}

// Every row, from a made-up signal.
TEST(Plat_FillException, KnowsEveryReason)
{
    struct {
        int Signal, Reason;
        u32 Code;
    } const rows[] = {
        {SIGSEGV, SEGV_MAPERR, 0xC0000005}, {SIGSEGV, SEGV_ACCERR, 0xC0000005}, {SIGBUS, BUS_ADRALN, 0x80000002},
        {SIGBUS, BUS_ADRERR, 0xC0000006},   {SIGBUS, BUS_OBJERR, 0xC0000006},   {SIGFPE, FPE_INTDIV, 0xC0000094},
        {SIGFPE, FPE_INTOVF, 0xC0000095},   {SIGFPE, FPE_FLTDIV, 0xC000008E},   {SIGFPE, FPE_FLTOVF, 0xC0000091},
        {SIGFPE, FPE_FLTUND, 0xC0000093},   {SIGFPE, FPE_FLTRES, 0xC000008F},   {SIGFPE, FPE_FLTINV, 0xC0000090},
        {SIGFPE, FPE_FLTSUB, 0xC000008C},   {SIGILL, ILL_PRVOPC, 0xC0000096},   {SIGILL, ILL_ILLOPC, 0xC000001D},
        {SIGILL, ILL_ILLOPN, 0xC000001D},   {SIGTRAP, TRAP_BRKPT, 0x80000003},  {SIGTRAP, TRAP_TRACE, 0x80000004},
        {SIGTRAP, SI_KERNEL, 0x80000003},   {SIGTRAP, TRAP_HWBKPT, 0x80000004},
    };
    ucontext_t native = {};
    native.uc_mcontext.gregs[REG_RSP] = reinterpret_cast<greg_t>(&native);
    native.uc_mcontext.gregs[REG_RIP] = 0x1234;
    for (const auto &row : rows) {
        siginfo_t info = {};
        info.si_signo = row.Signal;
        info.si_code = row.Reason;
        EXCEPTION_RECORD record;
        CONTEXT context;
        Plat_FillException(row.Signal, &info, &native, &record, &context);
        EXPECT_EQ(record.ExceptionCode, row.Code) << row.Signal << ' ' << row.Reason;
        EXPECT_EQ(record.ExceptionAddress, reinterpret_cast<void *>(0x1234));
        EXPECT_EQ(record.ExceptionFlags, 0u);
        EXPECT_EQ(record.ExceptionRecord, nullptr);
    }
}

TEST(Plat_FillException, CarriesTheRegisters)
{
    constexpr int order[] = {REG_RAX, REG_RBX, REG_RCX, REG_RDX, REG_RSI, REG_RDI, REG_RBP, REG_RSP, REG_RIP,
                             REG_R8,  REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15, REG_EFL};
    constexpr u64 CONTEXT::*fields[] = {&CONTEXT::Eax, &CONTEXT::Ebx, &CONTEXT::Ecx,   &CONTEXT::Edx, &CONTEXT::Esi,
                                        &CONTEXT::Edi, &CONTEXT::Ebp, &CONTEXT::Esp,   &CONTEXT::Eip, &CONTEXT::R8,
                                        &CONTEXT::R9,  &CONTEXT::R10, &CONTEXT::R11,   &CONTEXT::R12, &CONTEXT::R13,
                                        &CONTEXT::R14, &CONTEXT::R15, &CONTEXT::EFlags};
    ucontext_t native = {}, back = {};
    for (size_t i = 0; i < std::size(order); ++i)
        native.uc_mcontext.gregs[order[i]] = static_cast<greg_t>(0x1000000010 + i);
    const siginfo_t info = {};
    EXCEPTION_RECORD record;
    CONTEXT context;
    Plat_FillException(SIGILL, &info, &native, &record, &context);
    for (size_t i = 0; i < std::size(order); ++i) EXPECT_EQ(context.*fields[i], 0x1000000010 + i);
    Plat_RestoreContext(&context, &back);
    EXPECT_EQ(memcmp(&native.uc_mcontext.gregs, &back.uc_mcontext.gregs, sizeof back.uc_mcontext.gregs), 0);
}

// ---- the way of an exception ----

TEST_F(Exceptions, SettingAFilterGivesTheOneBefore)
{
    EXPECT_EQ(SetUnhandledExceptionFilter(remember), nullptr);
    EXPECT_EQ(SetUnhandledExceptionFilter(nullptr), remember);
    EXPECT_EQ(SetUnhandledExceptionFilter(nullptr), nullptr);
}

TEST_F(Exceptions, TheThreadMayGoOn)
{
    static u32 target;
    answer = EXCEPTION_CONTINUE_EXECUTION;
    SetUnhandledExceptionFilter([](EXCEPTION_POINTERS *pointers) {
        pointers->ContextRecord->Eax = reinterpret_cast<u64>(&target);
        return remember(pointers);
    });
    for (u32 round = 1; round <= 3; ++round) {
        target = 0;
        Make_Write(8);
        EXPECT_EQ(target, 1u);
        EXPECT_EQ(seen->Calls, round);
    }
}

TEST_F(Exceptions, TheSearchGoesOnToTheHandlers)
{
    answer = EXCEPTION_CONTINUE_SEARCH;
    const int handled = childStatus([] {
        plat_signal(PLAT_SIGSEGV, [](i32) { tks_Exit(7); });
        Make_Write(0);
    });
    EXPECT_EQ(seen->Calls, 1u);
    EXPECT_TRUE(WIFEXITED(handled));
    EXPECT_EQ(WEXITSTATUS(handled), 7);

    const int unhandled = childStatus([] { Make_Write(0); });
    EXPECT_EQ(seen->Calls, 1u);
    EXPECT_TRUE(WIFSIGNALED(unhandled));
    EXPECT_EQ(WTERMSIG(unhandled), SIGSEGV);
}

TEST_F(Exceptions, ATakenOnePassesTheHandlers)
{
    const int status = childStatus([] {
        plat_signal(PLAT_SIGSEGV, [](i32) { tks_Exit(7); });
        Make_Write(0);
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGSEGV);
}

TEST_F(Exceptions, AFaultInTheFilterEndsTheProcess)
{
    const int status = childStatus([] {
        SetUnhandledExceptionFilter([](EXCEPTION_POINTERS *pointers) {
            remember(pointers);
            Make_Division();
            return EXCEPTION_CONTINUE_EXECUTION;
        });
        Make_Write(0);
    });
    EXPECT_EQ(seen->Calls, 1u);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGFPE);
}

TEST_F(Exceptions, AGuardComesFirst)
{
    const int status = childStatus([] {
        PLAT_TRY
        {
            Make_Write(0);
        }
        PLAT_EXCEPT
        {
            _exit(platGuard.Exception.ExceptionCode == 0xC0000005 ? 3 : 4);
        }
        PLAT_END
    });
    EXPECT_EQ(seen->Calls, 0u);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(Exceptions, TheFilterHasAStackOfItsOwn)
{
    u8 here;
    const int status = childStatus([] { Make_Write(0); });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_GT(seen->Stack > &here ? seen->Stack - &here : &here - seen->Stack, 1 << 20);
}

// A handler that the host had installed gets what nobody here takes.
TEST_F(Exceptions, ADisplacedHandlerComesBack)
{
    answer = EXCEPTION_CONTINUE_SEARCH;
    *seen = {};
    EXPECT_EXIT(
        {
            struct sigaction action = {};
            action.sa_handler = [](int) { _exit(9); };
            sigaction(SIGSEGV, &action, nullptr);
            SetUnhandledExceptionFilter(remember);
            Make_Write(0);
        },
        testing::ExitedWithCode(9), "");
    EXPECT_EQ(seen->Calls, 1u);
}

TEST_F(Exceptions, TheEndInsideAFilterRunsNoExitRoutine)
{
    EXPECT_EXIT(
        {
            atexit([] { _exit(1); });
            SetUnhandledExceptionFilter([](EXCEPTION_POINTERS *) -> u32 {
                tks_Exit(5);
                return 1;
            });
            Make_Write(0);
        },
        testing::ExitedWithCode(5), "");
}

// ---- C++ exceptions that nobody catches ----

namespace
{

struct Raised {
    const void *Object;
};

const u32 raisedObject[2] = {1, 2};

const void *findRaised()
{
    try {
        throw;
    } catch (const Raised &raised) {
        return raised.Object;
    } catch (...) {
        return nullptr;
    }
}

[[noreturn]] __attribute__((noinline)) void throwEither(bool object)
{
    if (object) throw Raised{raisedObject};
    throw std::runtime_error("nobody");
}

// The test runner above would catch it.
void throwUncaught(bool object) noexcept
{
    throwEither(object);
}

} // namespace

TEST_F(Exceptions, AnExceptionObjectThatNobodyCaught)
{
    Plat_SetUncaughtObject(findRaised);
    expectFault(SIGABRT, 0xE0646365, [] { throwUncaught(true); });
    EXPECT_EQ(seen->Record.NumberParameters, 1u);
    EXPECT_EQ(seen->Record.ExceptionInformation[0], reinterpret_cast<uintptr_t>(raisedObject));
    EXPECT_EQ(seen->Record.ExceptionFlags, 1u);
    EXPECT_NE(seen->Context.Eip, 0u);

    expectFault(SIGABRT, 0xE06D7363, [] { throwUncaught(false); });
    EXPECT_EQ(seen->Record.NumberParameters, 0u);
}

TEST_F(Exceptions, WithoutAFilterTheTerminateHandlerRuns)
{
    EXPECT_EXIT(
        {
            std::set_terminate([] { _exit(11); });
            SetUnhandledExceptionFilter(remember);
            SetUnhandledExceptionFilter(nullptr);
            throwUncaught(true);
        },
        testing::ExitedWithCode(11), "");
    answer = EXCEPTION_CONTINUE_SEARCH;
    EXPECT_EXIT(
        {
            std::set_terminate([] { _exit(12); });
            SetUnhandledExceptionFilter(remember);
            throwUncaught(true);
        },
        testing::ExitedWithCode(12), "");
    EXPECT_EXIT(
        {
            std::set_terminate([] { _exit(13); });
            SetUnhandledExceptionFilter(remember);
            std::terminate(); // no exception at all
        },
        testing::ExitedWithCode(13), "");
}
