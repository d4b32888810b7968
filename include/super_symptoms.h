#ifndef SUPER_SYMPTOMS_H
#define SUPER_SYMPTOMS_H

/* Symptom records: the last word of a failing process, one stored per thread. */

#include "vela_types.h"

VELA_BEGIN

#define SUPER_SOURCE_ASSERTION 11
#define SUPER_SOURCE_OVERFLOW 12

/* As Secondary: keep the text that SupER_FormatDiag stored. */
#define SUPER_SECONDARY_MARKER "\xF1"

VELA_API void SupER_StoreSymptom(const char *Func, const char *Level, i32 Line, u32 MesgNumber, i32 MSN, i32 Source,
                                 i32 RetCode, u32 Abcode, const char *Secondary);
VELA_API void SupER_FlushSymptom(void);

VELA_END

#endif
