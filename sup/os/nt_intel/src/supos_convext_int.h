#ifndef SUPOS_CONVEXT_INT_H
#define SUPOS_CONVEXT_INT_H

// Conversions with 16-bit lengths and return codes, for code built with the library. No other source calls the first
// two.

#include "vela_types.h"

// Converts a block into one of the same size, byte position for byte position; a byte that cannot be converted passes
// as it is. Returns the last return code of SupOS_ExtdIConv that stopped it, or 0.
u32 SupOS_BinaryIConv(u32 cd, const char *source, u16 length, char *target);

// Opens a pair: *Forward from Code1 to Code2, *Backward from Code2 to Code1. Returns 0, or SupOS_ConvNoOpen with
// neither open and message ERZ058009E logged.
u32 SupOS_ExtdIConvInit(const char *Code1, const char *Code2, u32 *Forward, u32 *Backward);

// SupOS_IConvWrap with 16-bit lengths: 0, SupOS_ConvTruncated or SupOS_ConvInvalid; *written (may be null) receives
// the bytes written.
u32 SupOS_ExtdIConv(u32 cd, const char *source, u16 sourceLength, char *target, u16 targetLength, u16 *written);

#endif
