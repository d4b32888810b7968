// A function with the guard as every function of the library carries it, for scripts/check_guard_code.py to look at.

#include "inftr_guard.h"

extern "C" i32 GuardSample(i32 Value);

i32 GuardSample(i32 Value)
{
    INFTR_FUNCTION(SUPOS, "GuardSample");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d)", Value);
    const i32 result = Value + 1;
    INFTR_RETURN_VALUE(1, result);
}
