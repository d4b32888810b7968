// Cancellation of threads, for region programs and utilities.

#include "suppr_utility.h"

#include "inftr_guard.h"
#include "tks_thread.h"

u32 SupTM_tks_SetCancel(i32 State, i32 *Previous)
{
    INFTR_FUNCTION(SUPPR, "SupTM_tks_SetCancel");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d, %p)", State, static_cast<void *>(Previous));

    if (tks_SetCancel(State, Previous) == -1) INFTR_RETURN_CODE(1, SUPTM_ERR_CANCEL);

    if (State == SUPPR_CANCEL_ON) tks_TestCancel(); // a cancellation that waited is delivered here
    INFTR_RETURN_CODE(2, ERZ_OK);
}

u32 SupPR_SetCancel(i32 State, i32 *Previous)
{
    INFTR_FUNCTION(SUPPR, "SupPR_SetCancel");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d, %p)", State, static_cast<void *>(Previous));

    const u32 result =
        State == SUPPR_CANCEL_RESTORE ? SupTM_tks_SetCancel(*Previous, nullptr) : SupTM_tks_SetCancel(State, Previous);
    INFTR_RETURN_CODE(1, result);
}
