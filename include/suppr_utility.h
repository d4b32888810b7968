#ifndef SUPPR_UTILITY_H
#define SUPPR_UTILITY_H

/* Services that region programs and utilities share: fixed text fields, cancellation, the locale of a utility. */

#include "vela_types.h"

VELA_BEGIN

#define SUPPR_CANCEL_OFF 0
#define SUPPR_CANCEL_ON 1
#define SUPPR_CANCEL_RESTORE 2

/* The state was none that there is. */
#define SUPTM_ERR_CANCEL 0x706BC011u

/**
 * Copies a text into a field of fixed size and leaves no half of a multibyte character behind.
 *
 * @param[out] Destination  the field
 * @param[in]  Source       a text with a terminator, in the encoding of the current locale; must not overlap
 * @param[in]  Size         full size of the field in bytes
 *
 * A shorter text is followed by zero bytes up to the field's end. A longer one is cut at the last whole character, with
 * a zero byte behind it where that leaves room. Required: a text that fills the field to its last byte with whole
 * characters has no terminator.
 *
 * @return Destination. With Destination or Source NULL, or Size 0, nothing is touched.
 *
 * Safe from any thread while no thread changes the locale. Traces as SUPPR, API entry.
 */
VELA_API char *SupPR_MBCSstrncpy(char *Destination, const char *Source, u32 Size);

/**
 * Switches cancellation of the calling thread.
 *
 * @param[in]     State     SUPPR_CANCEL_ON, SUPPR_CANCEL_OFF; SUPPR_CANCEL_RESTORE goes back to *Previous
 * @param[in,out] Previous  not NULL; receives the state before, except with SUPPR_CANCEL_RESTORE
 *
 * @return what SupTM_tks_SetCancel returns. Traces as SUPPR.
 */
VELA_API u32 SupPR_SetCancel(i32 State, i32 *Previous);

/**
 * Switches cancellation of the calling thread.
 *
 * @param[in]  State     SUPPR_CANCEL_ON or SUPPR_CANCEL_OFF
 * @param[out] Previous  receives the state before; may be NULL
 *
 * @return ERZ_OK, or SUPTM_ERR_CANCEL for any other State, with Previous undefined
 *
 * Switching it on while a cancellation is pending does not return: the thread ends here. Traces as SUPPR.
 */
VELA_API u32 SupTM_tks_SetCancel(i32 State, i32 *Previous);

/**
 * Sets the locale of a utility at its start.
 *
 * @param[in] Locale  as for SupOS_SetLocale, for all categories; NULL or empty takes the one of the environment
 *
 * An environment variable LC_MESSAGES with the value "C@lft" is removed first.
 *
 * @return 1; 0 when the locale could not be set, and that is told on stderr as ERZ056020E
 *
 * For process start, before threads. Traces as SUPPR, API entry.
 */
VELA_API i32 SupPR_SetUtilLocale(const char *Locale);

VELA_END

#endif
