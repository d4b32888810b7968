// Cancellation of threads, and the locale that a utility starts with.

#include "suppr_utility.h"

#include "crt.h"
#include "inftr_guard.h"
#include "supos_locales.h"
#include "tks_thread.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr i32 noLocaleMSN = 57;

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

i32 SupPR_SetUtilLocale(const char *Locale)
{
    INFTR_FUNCTION(SUPPR, "SupPR_SetUtilLocale");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%.255s)", Locale);

    const char *const wanted = Locale != nullptr ? Locale : "";
    const char *const messages = getenv("LC_MESSAGES");
    if (messages != nullptr && strcmp(messages, "C@lft") == 0) _putenv("LC_MESSAGES=");

    i32 result = 1;
    if (SupOS_SetLocale(SUPOS_LOCALE_ALL, wanted) != nullptr) INFTR_RETURN_VALUE(1, result);

    // the catalogue may be what cannot be found, so this text is not of it
    fprintf(stderr, "ERZ056020E/%.4d: Unable to set locale as '%s' Please check if NLSPATH and LANG variable are set\n",
            noLocaleMSN, wanted[0] != 0 ? wanted : "defined in environment");
    result = 0;
    INFTR_RETURN_VALUE(2, result);
}
