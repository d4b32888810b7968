#ifndef TERBM_STREAM_H
#define TERBM_STREAM_H

/* 3270 data streams: scanning the ASCII form, translating between the EBCDIC and the ASCII form.
 *
 * The EBCDIC form is the 3270 data stream of a device, as the 3270 Information Display System's data stream reference
 * (GA23-0059) describes it, with two differences: a stream that starts with a command has the local command code, and
 * addresses are of the 12-bit form. The ASCII form is this library's own: the same orders, each byte of an order sent
 * through one fixed table, and text in a code page that the caller chooses.
 *
 * No call keeps state of its own: any number of threads may call at once, each with its own stream and screen map. */

#include "vela_types.h"

VELA_BEGIN

/* The stream ends inside an order, or a control byte that is no order stands where the scan expects one. */
#define TERBM_ERR_INCOMPLETE_ORDER 0x1F200001u

/* No storage: Allocate refused, or a length would not fit its 16 bits, or converted text its buffer. */
#define TERBM_ERR_NO_STORAGE 0x1F20000Bu

/* Bytes that a screen map must have: one for every address of the 12-bit form, though a screen has 4000 positions. */
#define TERBM_SCREEN_MAP_SIZE 4096

/* What a screen map holds at a position. */
#define TERBM_MAP_NOTHING 0x00
#define TERBM_MAP_SINGLE_BYTE 0x10 /* a field starts here */
#define TERBM_MAP_DOUBLE_BYTE 0x14 /* a double-byte field starts here */

/* Sets *Block to Size bytes, aligned for any use, and returns 0; any other result says that there is no storage.
 * Size may be 0 and, for the work buffers of a translation, up to 81920. */
typedef u32 (*TerBM_AllocateRoutine)(u32 Size, void **Block);

/* Releases what the TerBM_AllocateRoutine beside it handed out. Nobody looks at the result. */
typedef u32 (*TerBM_FreeRoutine)(void *Block);

/* Converts SourceLength bytes of text, writes at most TargetSize bytes, sets *OutLength to their number and returns 0.
 * Any other result ends the translation, which hands it on. *OutLength is 0 at the call. */
typedef u32 (*TerBM_ConvertRoutine)(u32 Descriptor, u8 *Source, u16 SourceLength, u8 *Target, u16 TargetSize,
                                    u16 *OutLength);

/* The address character of each 6-bit value, in the ASCII form. */
extern VELA_API const u8 TerBM_BinaryToGraphic[64];

/**
 * Scans a stream in its ASCII form: keeps the screen map, and on request gives every field an address of its own.
 *
 * The map's entries at field starts say which fields are double-byte. Text moves the screen position by the width that
 * it will have on the screen: a character of more than one byte takes as many positions as its encoding in the current
 * locale has bytes, and a run of such characters in a single-byte field two more, for shift-out and shift-in. The
 * locale is thus to be an EUC, Shift-JIS, Big5 or GB18030 one; in UTF-8 most double-byte characters would count 3.
 *
 * @param[in,out] Buffer     the stream; replaced by the rebuilt one when an address was inserted, and the old stream has
 *                           then gone to Free
 * @param[in,out] Length     bytes in the stream. With a rebuilt stream: its length. Without one, after an error: the
 *                           offset of the order that could not be scanned, or the end of the one that found no storage
 * @param[in,out] ScreenMap  TERBM_SCREEN_MAP_SIZE bytes of the terminal, zero before its first stream; the caller lets
 *                           one call at a time use it. Null: nothing is recorded
 * @param[in]     Allocate   obtains the rebuilt stream; not called while no address is missing
 * @param[in]     Free       releases the stream that a rebuilt one replaces
 * @param[in]     InsertAddresses  1: a field order without an SBA directly before it gets one; other values: no stream
 *                                 is rebuilt
 *
 * @return 0; TERBM_ERR_INCOMPLETE_ORDER; TERBM_ERR_NO_STORAGE when Allocate failed or the rebuilt stream would need a
 *         buffer of more than 65535 bytes (300 bytes stand ready for each 99 insertions). After an error the part in
 *         front of the failing order has been scanned: the map has its fields, a rebuilt stream its bytes.
 *
 * An empty stream is left alone. Writes no message. Traces as TERBM.
 */
VELA_API u32 TerBM_ParseTIOA(u8 **Buffer, u16 *Length, u8 *ScreenMap, TerBM_AllocateRoutine Allocate,
                             TerBM_FreeRoutine Free, i32 InsertAddresses);

/**
 * Translates a complete stream from one form into the other. Orders, addresses and attributes go through fixed tables,
 * each run of text between them through Convert.
 *
 * @param[in,out] Buffer      the stream. Its orders may be rewritten in place, even where the call then fails. On return
 *                            a block from Allocate with the translation; the old block stays the caller's, to release.
 *                            With Descriptor -2 the pointer stays and the result is written over the caller's block,
 *                            which must be large enough for it
 * @param[in,out] Length      bytes in the stream; on return, bytes in the translation. Unchanged after an error, except
 *                            that it is the new length already when only the last Allocate failed
 * @param[in]  HasCommand     1: the first byte is a command. In an EBCDIC source it is a local code (01 Write, 05
 *                            Erase/Write, 0D Erase/Write Alternate ...); F1 is no command; F5 and 7E stay where they are
 *                            and only say that the screen is erased. An EBCDIC result has the SNA code (F1, F5, 7E ...)
 * @param[in]  NoPrefix       0: the stream opens with AID and cursor address, three bytes, as a terminal sends it. They
 *                            are translated in an EBCDIC source when HasCommand is 0
 * @param[in]  SourceIsEbcdic 1: EBCDIC form to ASCII form; any other value: the other way
 * @param[in]  Allocate, Free storage: two work buffers at the start, of up to 81920 bytes each, and the result
 * @param[in]  Convert        converts text. The room that it is told is cut to 16 bits: for streams of 13107 to 16383
 *                            bytes, whose work buffer is larger than that, the first runs may find little room
 * @param[in]  Descriptor     handed to Convert; -2: text goes through Convert with descriptor 0, orders stay as they
 *                            are, a prefix of three bytes is copied. Not together with NoPrefix 0 and HasCommand 1 on
 *                            an EBCDIC source, whose last three bytes would go untranslated
 * @param[in]  DoubleByteMode what happens to text of a double-byte field:
 *                            1  Convert returns it framed with 0E and 0F, which are taken off
 *                            2  Convert receives it framed with 0E and 0F
 *                            3  both, with what Convert was given in place of what it returned; orders stay as they are
 *                            other values: nothing; orders stay as they are
 * @param[in]  ScreenMap      the map that TerBM_ParseTIOA keeps, as the screen stands before this stream, or null. It
 *                            is asked for text behind an SBA that no attribute makes double-byte, and no more once the
 *                            stream has erased the screen
 *
 * @return 0; the result of a failed Allocate or Convert; TERBM_ERR_INCOMPLETE_ORDER; TERBM_ERR_NO_STORAGE when the
 *         translation does not fit its work buffer or the 16 bits of *Length.
 *
 * An incomplete order and, unless Descriptor is -2, a failed conversion leave a symptom record on standard error. Work
 * buffers are released on every way out. Uses 64 KiB of stack. Traces as TERBM, API entry, with the stream as events 24
 * (before) and 25 (after).
 */
VELA_API u32 TerBM_Translate(u8 **Buffer, u16 *Length, i32 HasCommand, i32 NoPrefix, i32 SourceIsEbcdic,
                             TerBM_AllocateRoutine Allocate, TerBM_FreeRoutine Free, TerBM_ConvertRoutine Convert,
                             i32 Descriptor, i32 DoubleByteMode, u8 *ScreenMap);

VELA_END

#endif
