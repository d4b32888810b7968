#ifndef SUPER_SYMPTOMS_H
#define SUPER_SYMPTOMS_H

/* Symptom records: the last word of a failing process, one stored per thread.
 *
 * A record is stored where the fault is found and written where the process or the task ends, as two lines and an empty
 * one on standard error:
 *
 *     SYMPTOMS = TIME/"05/31/26 12:00:00.000001000" REGION/... PROD/... LVLS/... MOD/"@(#)super, ..." FUNC/... LINE/...
 *         MS/057006 MSN/9 SRC/11 PRCS/99 ABCODE/ SRVID/0 PID/... TID/0 PROC/        (all on one line)
 *     SECONDARY SYMPTOMS = the diagnostic text
 *
 * SRVID, ABCODE, TID and PROC carry no information. */

#include "vela_types.h"

VELA_BEGIN

/* What kind of fault: the argument Source. */
#define SUPER_SOURCE_ASSERTION 11 /* assertion or internal check */
#define SUPER_SOURCE_OVERFLOW 12 /* buffer overflow in message handling */

/* As Secondary: keep the text that SupER_FormatDiag stored. */
#define SUPER_SECONDARY_MARKER "\xF1"

/**
 * Stores a symptom for this thread. One that still waits is written first.
 *
 * @param[in] Func        function, at most 30 characters are kept
 * @param[in] Level       build level, such as SupER_ServiceLevel57; at most 32 characters are kept
 * @param[in] Line        source line
 * @param[in] MesgNumber  message number; its six digits are shown
 * @param[in] MSN         serial number of the place
 * @param[in] Source      one of SUPER_SOURCE_*
 * @param[in] RetCode     exit or return code
 * @param[in] Abcode      abend code, 0 if none; only VELATRACE_DUMP_ON_ABEND looks at it
 * @param[in] Secondary   NULL for no text, SUPER_SECONDARY_MARKER for the text of the last SupER_FormatDiag of this
 *                        thread, or a text, of which 512 characters are kept
 *
 * Three environment variables, read at each call, ask for a dump of the trace ring, which is taken before the symptom
 * is stored and only while the master, system and buffer trace flags are on: VELATRACE_DUMP_ON_SYMREC (any value,
 * empty too), VELATRACE_DUMP_ON_ABEND (names of abend codes) and VELATRACE_DUMP_ON_MSN (serial numbers), both lists
 * separated by commas, of which the first 255 characters count.
 *
 * Any thread. Traces as SUPER, API entry.
 */
VELA_API void SupER_StoreSymptom(const char *Func, const char *Level, i32 Line, u32 MesgNumber, i32 MSN, i32 Source,
                                 i32 RetCode, u32 Abcode, const char *Secondary);

/**
 * Writes the symptom that this thread stored to standard error; nothing when none waits.
 *
 * The text is written under one lock of the process. A failed write or flush is logged as ERZ057026W or ERZ057022W, and
 * the symptom counts as written. Traces as SUPER, API entry.
 */
VELA_API void SupER_FlushSymptom(void);

VELA_END

#endif
