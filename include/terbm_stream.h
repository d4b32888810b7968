#ifndef TERBM_STREAM_H
#define TERBM_STREAM_H

/* 3270 data streams: scanning the ASCII form, translating between the EBCDIC and the ASCII form. */

#include "vela_types.h"

VELA_BEGIN

#define TERBM_ERR_INCOMPLETE_ORDER 0x1F200001u
#define TERBM_ERR_NO_STORAGE 0x1F20000Bu

/* Positions that a screen map must have room for: every address of the 12-bit form. */
#define TERBM_SCREEN_MAP_SIZE 4096

typedef u32 (*TerBM_AllocateRoutine)(u32 Size, void **Block);
typedef u32 (*TerBM_FreeRoutine)(void *Block);
typedef u32 (*TerBM_ConvertRoutine)(u32 Descriptor, u8 *Source, u16 SourceLength, u8 *Target, u16 TargetSize,
                                    u16 *OutLength);

extern VELA_API const u8 TerBM_BinaryToGraphic[64];

VELA_API u32 TerBM_ParseTIOA(u8 **Buffer, u16 *Length, u8 *ScreenMap, TerBM_AllocateRoutine Allocate,
                             TerBM_FreeRoutine Free, i32 InsertAddresses);
VELA_API u32 TerBM_Translate(u8 **Buffer, u16 *Length, i32 HasCommand, i32 NoPrefix, i32 SourceIsEbcdic,
                             TerBM_AllocateRoutine Allocate, TerBM_FreeRoutine Free, TerBM_ConvertRoutine Convert,
                             i32 Descriptor, i32 DoubleByteMode, u8 *ScreenMap);

VELA_END

#endif
