// Signals as exception records.

#include "plat_exception.h"

#include <ucontext.h>

#include "plat_guard.h"

struct codeRow {
    int Signal;
    int Reason; // si_code; 0 for any other
    u32 Code;
};

// The first row that fits counts.
constexpr codeRow codeRows[] = {
    {SIGBUS, BUS_ADRALN, EXCEPTION_DATATYPE_MISALIGNMENT},
    {SIGBUS, 0, EXCEPTION_IN_PAGE_ERROR},
    {SIGFPE, FPE_INTDIV, EXCEPTION_INT_DIVIDE_BY_ZERO},
    {SIGFPE, FPE_INTOVF, EXCEPTION_INT_OVERFLOW},
    {SIGFPE, FPE_FLTDIV, EXCEPTION_FLT_DIVIDE_BY_ZERO},
    {SIGFPE, FPE_FLTOVF, EXCEPTION_FLT_OVERFLOW},
    {SIGFPE, FPE_FLTUND, EXCEPTION_FLT_UNDERFLOW},
    {SIGFPE, FPE_FLTRES, EXCEPTION_FLT_INEXACT_RESULT},
    {SIGFPE, FPE_FLTINV, EXCEPTION_FLT_INVALID_OPERATION},
    {SIGFPE, FPE_FLTSUB, EXCEPTION_ARRAY_BOUNDS_EXCEEDED},
    {SIGFPE, 0, EXCEPTION_FLT_INVALID_OPERATION},
    {SIGILL, ILL_PRVOPC, EXCEPTION_PRIV_INSTRUCTION},
    {SIGILL, ILL_PRVREG, EXCEPTION_PRIV_INSTRUCTION},
    {SIGILL, 0, EXCEPTION_ILLEGAL_INSTRUCTION},
    {SIGTRAP, TRAP_TRACE, EXCEPTION_SINGLE_STEP},
    {SIGTRAP, TRAP_HWBKPT, EXCEPTION_SINGLE_STEP},
    {SIGTRAP, 0, EXCEPTION_BREAKPOINT},
};

struct registerRow {
    u64 CONTEXT::*Field;
    int Native;
};

constexpr registerRow registerRows[] = {
    {&CONTEXT::Eax, REG_RAX}, {&CONTEXT::Ebx, REG_RBX},    {&CONTEXT::Ecx, REG_RCX}, {&CONTEXT::Edx, REG_RDX},
    {&CONTEXT::Esi, REG_RSI}, {&CONTEXT::Edi, REG_RDI},    {&CONTEXT::Ebp, REG_RBP}, {&CONTEXT::Esp, REG_RSP},
    {&CONTEXT::Eip, REG_RIP}, {&CONTEXT::R8, REG_R8},      {&CONTEXT::R9, REG_R9},   {&CONTEXT::R10, REG_R10},
    {&CONTEXT::R11, REG_R11}, {&CONTEXT::R12, REG_R12},    {&CONTEXT::R13, REG_R13}, {&CONTEXT::R14, REG_R14},
    {&CONTEXT::R15, REG_R15}, {&CONTEXT::EFlags, REG_EFL},
};

// Whether an access failed because the stack has no room left: it lies beside the stack pointer, or the stack pointer
// itself stands in memory that is not there.
static bool isStackOverflow(uintptr_t address, uintptr_t stack)
{
    constexpr uintptr_t reach = 65536;
    u8 byte;
    if (address - (stack - reach) < 2 * reach) return true;
    return !plat_safe_read(&byte, reinterpret_cast<const void *>(stack), 1);
}

static void fillAccess(const siginfo_t *info, const ucontext_t *native, EXCEPTION_RECORD *record)
{
    constexpr greg_t writeBit = 2;
    record->ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
    if (info->si_code <= 0) return; // sent, not met
    record->NumberParameters = 2;
    if (info->si_code == SI_KERNEL) { // no address of this machine
        record->ExceptionInformation[1] = UINTPTR_MAX;
        return;
    }
    const uintptr_t address = reinterpret_cast<uintptr_t>(info->si_addr);
    record->ExceptionInformation[0] = (native->uc_mcontext.gregs[REG_ERR] & writeBit) != 0;
    record->ExceptionInformation[1] = address;
    if (isStackOverflow(address, static_cast<uintptr_t>(native->uc_mcontext.gregs[REG_RSP])))
        record->ExceptionCode = EXCEPTION_STACK_OVERFLOW;
}

static u32 codeOf(int signal, int reason)
{
    for (const codeRow &row : codeRows)
        if (row.Signal == signal && (row.Reason == reason || row.Reason == 0)) return row.Code;
    return EXCEPTION_ACCESS_VIOLATION;
}

void Plat_FillException(int Signal, const siginfo_t *Info, const void *Native, EXCEPTION_RECORD *Record,
                        CONTEXT *Context)
{
    constexpr u8 breakpoint = 0xCC;
    const ucontext_t *const native = static_cast<const ucontext_t *>(Native);
    *Context = {};
    for (const registerRow &row : registerRows)
        Context->*row.Field = static_cast<u64>(native->uc_mcontext.gregs[row.Native]);

    *Record = {};
    Record->ExceptionAddress = reinterpret_cast<void *>(Context->Eip);
    if (Signal == SIGSEGV) {
        fillAccess(Info, native, Record);
        return;
    }
    Record->ExceptionCode = codeOf(Signal, Info->si_code);
    if (Signal == SIGBUS && Info->si_code > 0) {
        Record->NumberParameters = 2;
        Record->ExceptionInformation[1] = reinterpret_cast<uintptr_t>(Info->si_addr);
    }
    // The machine stands behind a breakpoint; the exception lies at it.
    u8 before = 0;
    if (Record->ExceptionCode == EXCEPTION_BREAKPOINT && Info->si_code > 0 &&
        plat_safe_read(&before, reinterpret_cast<const void *>(Context->Eip - 1), 1) && before == breakpoint)
        Record->ExceptionAddress = reinterpret_cast<void *>(Context->Eip - 1);
}

void Plat_RestoreContext(const CONTEXT *Context, void *Native)
{
    ucontext_t *const native = static_cast<ucontext_t *>(Native);
    for (const registerRow &row : registerRows)
        native->uc_mcontext.gregs[row.Native] = static_cast<greg_t>(Context->*row.Field);
}
