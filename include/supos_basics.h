#ifndef SUPOS_BASICS_H
#define SUPOS_BASICS_H

/* Basic services: clocks, byte order, the product notice. */

#include "vela_types.h"

VELA_BEGIN

/* NULL until InfTR_InitProcess has run; then the product notice. */
extern VELA_API char *copyRightStr;

VELA_API u32 SupOS_ClockSeconds(void);
VELA_API u32 SupOS_ClockNanoSeconds(void);
VELA_API void SupOS_ByteSwap(void *Value, i32 ShortValue);

VELA_END

#endif
