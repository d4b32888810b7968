// Functions that break the promise of the guard, each in its way: scripts/check_guard_code.py must find each of them.

#include "inftr_guard.h"

extern "C" {
i32 GuardCalls(i32 Value);
i32 GuardLocks(i32 Value);
i32 GuardMissing(i32 Value);
i32 GuardFormatsFirst(i32 Value);
int GuardAsFunction(u32 Component, u32 Class);
}

// The test has become a function.
i32 GuardCalls(i32 Value)
{
    if (GuardAsFunction(58, INFTR_CLASS_VOID_EXIT)) InfTR_TraceVoidExit(58, "GuardCalls", 1);
    return Value + 1;
}

// The test takes a lock.
i32 GuardLocks(i32 Value)
{
    static u32 uses;
    __atomic_fetch_add(&uses, 1, __ATOMIC_SEQ_CST);
    if (InfTR_Guard(58, INFTR_CLASS_VOID_EXIT)) InfTR_TraceVoidExit(58, "GuardLocks", 1);
    return Value + 1;
}

// There is no test.
i32 GuardMissing(i32 Value)
{
    InfTR_TraceVoidExit(58, "GuardMissing", 1);
    return Value + 1;
}

// Something is formatted before the test.
i32 GuardFormatsFirst(i32 Value)
{
    TraceRecord *const record = InfTR_EntryArgs("(%d)", Value);
    if (InfTR_Guard(58, INFTR_CLASS_ENTRY)) InfTR_TraceFnEntry(58, "GuardFormatsFirst", INFTR_CLASS_ENTRY, record);
    return Value + 1;
}
