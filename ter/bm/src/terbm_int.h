#ifndef TERBM_INT_H
#define TERBM_INT_H

/* What the scan, the order walk and the translation of 3270 streams share. */

#include "vela_types.h"

#include <string.h>

VELA_BEGIN

/* Orders by their code in the ASCII form. */
enum TerBM_Order : u8 {
    TERBM_NUL = 0x00,
    TERBM_GE = 0x08,
    TERBM_NL = 0x0A,
    TERBM_FF = 0x0C,
    TERBM_CR = 0x0D,
    TERBM_SFE = 0x10,
    TERBM_SBA = 0x11,
    TERBM_RA = 0x14,
    TERBM_EM = 0x19,
    TERBM_MF = 0x1A,
    TERBM_DUP = 0x1C,
    TERBM_SF = 0x1D,
    TERBM_FM = 0x1E,
    TERBM_SA = 0x1F,
};

#define TERBM_SHIFT_OUT 0x0E
#define TERBM_SHIFT_IN 0x0F

/* The highest control byte of each form. */
#define TERBM_LAST_CONTROL_ASCII 0x1F
#define TERBM_LAST_CONTROL_EBCDIC 0x3F

/* Attribute pairs: the type that selects a character set, and the double-byte set's value in each form. */
#define TERBM_TYPE_CHARACTER_SET 0x43
#define TERBM_LAST_TRANSLATED_TYPE 0xC0
#define TERBM_DOUBLE_BYTE_ASCII 0x38
#define TERBM_DOUBLE_BYTE_EBCDIC 0xF8

/* RA that repeats a graphic-escape character is longer than the plain one, which leaves its character to the text. */
#define TERBM_RA_LENGTH 3
#define TERBM_RA_GE_LENGTH 5

/* terbmtabl: constant tables, indexed by unsigned byte. */
extern const u8 TerBM_GraphicToBinary[128];
extern const u8 TerBM_OrderLength[32];
extern const u8 TerBM_AsciiToEbcdic[256];
extern const u8 TerBM_EbcdicToAscii[256];

/* Length of an order, by its code in the ASCII form; 0 for a byte that is none, those from 32 up included. */
static inline u8 TerBM_LengthOf(u8 Code)
{
    return Code <= TERBM_LAST_CONTROL_ASCII ? TerBM_OrderLength[Code] : 0;
}

/* The address in two bytes of the ASCII form, 0 to 4095; a byte that is no address character counts as 0. */
static inline u16 TerBM_AddressOf(const u8 *Bytes)
{
    const u32 high = Bytes[0] < 128 ? TerBM_GraphicToBinary[Bytes[0]] : 0;
    const u32 low = Bytes[1] < 128 ? TerBM_GraphicToBinary[Bytes[1]] : 0;
    return (u16)(high * 64 + low);
}

/* Most of a stream is text, which is passed eight bytes at a time: a byte from 20 up has one of its high three bits set,
 * one from 40 up one of its high two. Shifted up, these bits meet in the high bit of their byte. */
#define TERBM_HIGH_BITS 0x8080808080808080ull
#define TERBM_LOW_BITS 0x0101010101010101ull

static inline u64 TerBM_EightBytes(const u8 *Bytes)
{
    u64 word;
    memcpy(&word, Bytes, sizeof word);
    return word;
}

static inline int TerBM_AllFrom40(u64 Word)
{
    return ((Word | Word << 1) & TERBM_HIGH_BITS) == TERBM_HIGH_BITS;
}

static inline int TerBM_AllFrom20(u64 Word)
{
    return ((Word | Word << 1 | Word << 2) & TERBM_HIGH_BITS) == TERBM_HIGH_BITS;
}

/* Bytes 20 to 7E: one more would reach the high bit from 7F. */
static inline int TerBM_AllPrintableAscii(u64 Word)
{
    return TerBM_AllFrom20(Word) && ((Word | (Word + TERBM_LOW_BITS)) & TERBM_HIGH_BITS) == 0;
}

/* terbmparse: the scan. */
i32 TerBM_ParseAttributePair(const u8 *Data, u16 Count);
i32 TerBM_EraseCommand(const u8 *Data, u16 Length, u16 *Offset);
u32 TerBM_ASCIICountToControl(const u8 *Data, u16 Length, u16 *Offset, const u8 *ScreenMap, u16 Position);

/* 1 when Position lies in a double-byte field. A null map has no fields; positions outside of it neither. */
i32 TerBM_ExamineScreen(const u8 *ScreenMap, u16 Position);

/* terbmorder: walks a run of orders, rewriting it in place when Translate is set; Address receives the two bytes of the
 * first SBA as they stood, CharacterSet the last one named. Consumed counts on from its value at the call. */
u32 TerBM_SkipControl(u8 *Data, u16 Length, u16 *Consumed, u8 *Address, u8 *CharacterSet, i32 SourceIsEbcdic,
                      i32 Translate);
void TerBM_ConvertAttributePair(u8 *Pairs, u16 Count, i32 SourceIsEbcdic, u8 *CharacterSet, const u8 *Table,
                                i32 Translate);

/* terbmorder: move Offset to the next order, or to Length. */
void TerBM_GetControl(const u8 *Data, u16 Length, u16 *Offset, i32 SourceIsEbcdic, i32 DoubleByte);
void TerBM_GetControlASCII(const u8 *Data, u16 Length, u16 *Offset);
void TerBM_GetControlEBCDIC(const u8 *Data, u16 Length, u16 *Offset);

VELA_END

#endif
