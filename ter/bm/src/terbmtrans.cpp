// Translating a stream from one form into the other.
//
// The stream goes through in one pass: command, prefix, then orders and text in turn, each turn first rewriting a run of
// orders and then converting the text behind it. Two work buffers are taken at the start. The first receives the output;
// the second frames double-byte text with shift-out and shift-in. How far the source has come is counted twice: Done is
// what the length and the messages go by, Position where the source really stands; the two differ in one case (below).
//
// A caller's Convert may be told of more room than there is, and may answer with more than it was told. So it writes into
// a block that holds any 16-bit answer, and what does not fit behind the output is a conversion error.

#include "terbm_int.h"

#include "inftr_guard.h"
#include "inftr_records.h"
#include "super_logging.h"
#include "super_symptoms.h"
#include "terbm_stream.h"

#include <string.h>

namespace
{

constexpr u32 longestStream = 0xFFFF;
constexpr u32 largeStream = 0x4000; // from here on both work buffers have the largest size, which is less
constexpr u32 outputGrowth = 5;
constexpr u32 secondGrowth = 3;
constexpr u16 prefixLength = 3; // AID and cursor address
constexpr u16 framingLength = 2;
constexpr i32 descriptorNone = -2;

constexpr u32 eventBefore = 24;
constexpr u32 eventAfter = 25;

// How double-byte text is framed.
enum DoubleByteMode : i32 { framedByConvert = 1, framedForConvert = 2, framedBothWays = 3 };

struct Command {
    u8 InEbcdic; // in an EBCDIC source
    u8 InAscii; // in the ASCII form
    u8 ToEbcdic; // written when the output is EBCDIC
    bool HasWcc; // which an ASCII source's command takes along
    bool Erases; // the screen map no longer holds
};

// clang-format off
constexpr Command commands[] = {
    {0x01, 0x31, 0xF1, true,  false}, // Write
    {0x02, 0x32, 0xF2, false, false}, // Read Buffer
    {0x05, 0x35, 0xF5, true,  true},  // Erase/Write
    {0x06, 0x36, 0xF6, false, false}, // Read Modified
    {0x0D, 0x3D, 0x7E, true,  true},  // Erase/Write Alternate
    {0x0E, 0x3E, 0x6E, false, false}, // Read Modified All
    {0x0F, 0x3F, 0x6F, false, false}, // Erase All Unprotected
    {0x11, 0x88, 0xF3, false, false}, // Write Structured Field
};
// clang-format on

// An EBCDIC source may also begin with these: they stay in the stream.
constexpr u8 snaEraseWrite = 0xF5;
constexpr u8 snaEraseWriteAlternate = 0x7E;

struct Translation {
    TerBM_ConvertRoutine Convert;
    u8 *Scratch; // room for any 16-bit answer of Convert
    i32 Descriptor;
    i32 DoubleByteMode;
    bool SourceIsEbcdic;
    bool TextMode;
    bool TranslateOrders;

    u8 *Source;
    u32 Length; // of the source
    u32 Done; // source bytes by the count
    u32 Position; // source bytes in truth

    u8 *Output;
    u32 OutputSize;
    u32 Written;
    u8 *Second;
    u32 SecondSize;

    const u8 *ScreenMap; // null once the stream has erased the screen
};

// What the orders of a turn say of the text behind them.
struct Orders {
    u16 Length;
    u16 Address; // 0 without one
    bool DoubleByte;
};

// What a conversion error tells.
struct Attempt {
    u32 InSize;
    u32 Room;
    u16 OutLength;
};

u32 workSize(u32 length, u32 growth)
{
    return length < largeStream ? (length + 1) * growth : longestStream;
}

// Source bytes that are left, by the count but never beyond the true end.
u16 sourceLeft(const Translation &translation)
{
    const u32 gone = translation.Done > translation.Position ? translation.Done : translation.Position;
    return static_cast<u16>(gone < translation.Length ? translation.Length - gone : 0);
}

// Bytes that may still be written: all of the output has to be told in 16 bits.
u32 outputLeft(const Translation &translation)
{
    const u32 size = translation.OutputSize < longestStream ? translation.OutputSize : longestStream;
    return size - translation.Written;
}

const u8 *currentByte(const Translation &translation)
{
    return translation.Source + translation.Position;
}

void write(Translation *translation, const u8 *bytes, u32 count)
{
    memcpy(translation->Output + translation->Written, bytes, count);
    translation->Written += count;
}

void step(Translation *translation, u32 count)
{
    translation->Done += count;
    translation->Position += count;
}

void copyPrefix(Translation *translation)
{
    const u32 count = translation->Length < prefixLength ? translation->Length : prefixLength;
    write(translation, translation->Source, count);
    step(translation, count);
}

void translateEbcdicCommand(Translation *translation)
{
    const u8 first = *currentByte(*translation);
    if (first == snaEraseWrite || first == snaEraseWriteAlternate) translation->ScreenMap = nullptr;
    for (const Command &command : commands) {
        if (command.InEbcdic != first) continue;
        write(translation, &command.InAscii, 1);
        ++translation->Position;
        translation->Done = 1; // required: set, not added to; behind a copied prefix the count falls behind the source
        if (command.Erases) translation->ScreenMap = nullptr;
        return;
    }
}

void translateAsciiCommand(Translation *translation)
{
    for (const Command &command : commands) {
        if (command.InAscii != *currentByte(*translation)) continue;
        write(translation, &command.ToEbcdic, 1);
        step(translation, 1);
        if (command.HasWcc && sourceLeft(*translation) > 0) {
            write(translation, currentByte(*translation), 1);
            step(translation, 1);
        }
        if (command.Erases) translation->ScreenMap = nullptr;
        return;
    }
}

void translateCommand(Translation *translation)
{
    if (sourceLeft(*translation) == 0) return;
    if (translation->SourceIsEbcdic)
        translateEbcdicCommand(translation);
    else
        translateAsciiCommand(translation);
}

void translatePrefix(Translation *translation)
{
    for (u16 i = 0; i < prefixLength && sourceLeft(*translation) > 0; ++i) {
        write(translation, &TerBM_EbcdicToAscii[*currentByte(*translation)], 1);
        step(translation, 1);
    }
}

// The address of a run of orders; without an SBA in it, or with one whose first byte is 0, 0.
u16 screenAddress(const Translation &translation, const u8 *address)
{
    if (address[0] == 0) return 0;
    if (!translation.SourceIsEbcdic) return TerBM_AddressOf(address);
    const u8 inAscii[2] = {TerBM_EbcdicToAscii[address[0]], TerBM_EbcdicToAscii[address[1]]};
    return TerBM_AddressOf(inAscii);
}

// Descriptor -2. Convert is told of the whole buffer, not of what is left of it.
u32 convertAsIs(Translation *translation, u16 run)
{
    // That the source has not moved behind the call needs no look: Convert has a copy of the pointer.
    u8 *const source = translation->Source + translation->Position;
    u16 outLength = 0;
    const u32 result = translation->Convert(0, source, run, translation->Scratch,
                                            static_cast<u16>(translation->OutputSize), &outLength);
    if (result != ERZ_OK) return result;
    if (outLength > outputLeft(*translation)) return TERBM_ERR_NO_STORAGE;
    write(translation, translation->Scratch, outLength);
    return ERZ_OK;
}

// The source in the second work buffer, between shift-out and shift-in. A double-byte run has an order of three bytes or
// more in front of it, so its length and these two fit both the buffer and 16 bits.
void frameSource(const Translation &translation, const u8 *source, u16 run)
{
    translation.Second[0] = TERBM_SHIFT_OUT;
    memcpy(translation.Second + 1, source, run);
    translation.Second[run + 1] = TERBM_SHIFT_IN;
}

// Writes `outLength` bytes of a framed text without their framing. Bytes beyond the text's room count as zero.
void writeStripped(Translation *translation, u8 *framed, u32 size, u16 outLength)
{
    if (outLength <= framingLength) return;

    for (u32 at = outLength - 1u < size ? outLength - 1u : size - 1; at > 0; --at) {
        if (framed[at] != TERBM_SHIFT_IN) continue;
        framed[at] = 0;
        break;
    }
    const u32 count = outLength - framingLength;
    const u32 held = count < size - 1 ? count : size - 1;
    write(translation, framed + 1, held);
    memset(translation->Output + translation->Written, 0, count - held);
    translation->Written += count - held;
}

u32 convertText(Translation *translation, u16 run, bool doubleByte, Attempt *attempt)
{
    const i32 mode = doubleByte ? translation->DoubleByteMode : 0;
    u8 *source = translation->Source + translation->Position;
    u32 length = run;
    u32 room = translation->OutputSize - translation->Written;
    u32 limit = outputLeft(*translation);
    if (mode == framedByConvert) {
        room += framingLength;
        limit += framingLength;
    } else if (mode == framedForConvert || mode == framedBothWays) {
        frameSource(*translation, source, run);
        source = translation->Second;
        length += framingLength;
    }

    u16 outLength = 0;
    u32 result = translation->Convert(static_cast<u32>(translation->Descriptor), source, static_cast<u16>(length),
                                      translation->Scratch, static_cast<u16>(room), &outLength);
    *attempt = {length, room, outLength};
    if (result == ERZ_OK && outLength > limit) result = TERBM_ERR_NO_STORAGE;
    if (result != ERZ_OK) return result;

    if (mode == framedByConvert)
        writeStripped(translation, translation->Scratch, longestStream, outLength);
    else if (mode == framedBothWays) // required: what Convert was given overwrites what it returned
        writeStripped(translation, translation->Second, translation->SecondSize, outLength);
    else
        write(translation, translation->Scratch, outLength);
    return ERZ_OK;
}

// Measures the orders of a turn and rewrites them in place.
u32 readOrders(Translation *translation, Orders *orders)
{
    u8 address[2];
    u8 characterSet;
    *orders = {};
    const u32 result =
        TerBM_SkipControl(translation->Source + translation->Position, sourceLeft(*translation), &orders->Length,
                          address, &characterSet, translation->SourceIsEbcdic, translation->TranslateOrders);
    orders->Address = screenAddress(*translation, address);
    orders->DoubleByte = characterSet == TERBM_DOUBLE_BYTE_ASCII || characterSet == TERBM_DOUBLE_BYTE_EBCDIC;
    return result;
}

// Copies the orders of a turn, then converts the text behind them.
u32 writeTurn(Translation *translation, const Orders &orders, Attempt *attempt)
{
    if (orders.Length > outputLeft(*translation)) {
        *attempt = {orders.Length, translation->OutputSize - translation->Written, 0};
        return TERBM_ERR_NO_STORAGE;
    }
    write(translation, currentByte(*translation), orders.Length);
    step(translation, orders.Length);

    u16 run = 0;
    TerBM_GetControl(currentByte(*translation), sourceLeft(*translation), &run, translation->SourceIsEbcdic,
                     orders.DoubleByte);
    if (run == 0) return ERZ_OK;

    u32 result;
    if (translation->TextMode) {
        const bool doubleByte = orders.DoubleByte || (translation->ScreenMap != nullptr &&
                                                      TerBM_ExamineScreen(translation->ScreenMap, orders.Address));
        result = convertText(translation, run, doubleByte, attempt);
    } else {
        result = convertAsIs(translation, run);
    }
    if (result == ERZ_OK) step(translation, run);
    return result;
}

void storeSymptom(const char *function, i32 line, i32 msn, u32 result)
{
    SupER_StoreSymptom(function, SupER_ServiceLevel62, line, 0, msn, SUPER_SOURCE_ASSERTION, static_cast<i32>(result),
                       0, SUPER_SECONDARY_MARKER);
    SupER_FlushSymptom();
}

void reportIncompleteOrder(const char *function, const Translation &translation, u32 result)
{
    SupER_FormatDiag("Supplied data ends with incomplete 3270 order: in-size %d, bytes converted before error %d.",
                     static_cast<int>(translation.Length), static_cast<int>(translation.Done));
    storeSymptom(function, 644, 1, result);
}

void reportConversion(const char *function, const Attempt &attempt, u32 result)
{
    SupER_FormatDiag("TIOA conversion error: in-size %d, remaining out-size %d, bytes converted before error %d.",
                     static_cast<int>(attempt.InSize), static_cast<int>(attempt.Room), attempt.OutLength);
    storeSymptom(function, 605, 78, result);
}

void traceStream(u32 event, const u8 *stream, u16 length)
{
    if (InfTR_Guard(INFTR_COMPONENT_TERBM, INFTR_CLASS_EVENT))
        InfTR_TraceEvent(INFTR_COMPONENT_TERBM, event, length, stream);
}

void releaseWork(const Translation &translation, TerBM_FreeRoutine release)
{
    release(translation.Output);
    release(translation.Second);
}

} // namespace

u32 TerBM_Translate(u8 **Buffer, u16 *Length, i32 HasCommand, i32 NoPrefix, i32 SourceIsEbcdic,
                    TerBM_AllocateRoutine Allocate, TerBM_FreeRoutine Free, TerBM_ConvertRoutine Convert,
                    i32 Descriptor, i32 DoubleByteMode, u8 *ScreenMap)
{
    INFTR_FUNCTION(TERBM, "TerBM_Translate");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %u, %d, %d, %d, %d, %d, %p)", static_cast<void *>(*Buffer), *Length,
                HasCommand, NoPrefix, SourceIsEbcdic, Descriptor, DoubleByteMode, static_cast<void *>(ScreenMap));
    traceStream(eventBefore, *Buffer, *Length);

    u8 scratch[longestStream];
    Translation translation = {};
    translation.Convert = Convert;
    translation.Scratch = scratch;
    translation.Descriptor = Descriptor;
    translation.DoubleByteMode = DoubleByteMode;
    translation.SourceIsEbcdic = SourceIsEbcdic == 1;
    translation.TextMode = Descriptor != descriptorNone;
    translation.TranslateOrders =
        translation.TextMode && (DoubleByteMode == framedByConvert || DoubleByteMode == framedForConvert);
    translation.Source = *Buffer;
    translation.Length = *Length;
    translation.ScreenMap = ScreenMap;
    translation.OutputSize = workSize(*Length, outputGrowth);
    translation.SecondSize = workSize(*Length, secondGrowth);

    void *block = nullptr;
    u32 result = Allocate(translation.OutputSize, &block);
    if (result != ERZ_OK) INFTR_RETURN_CODE(1, result);
    translation.Output = static_cast<u8 *>(block);

    result = Allocate(translation.SecondSize, &block);
    if (result != ERZ_OK) {
        Free(translation.Output);
        INFTR_RETURN_CODE(2, result);
    }
    translation.Second = static_cast<u8 *>(block);
    if (DoubleByteMode == framedBothWays)
        memset(translation.Second, 0, translation.SecondSize); // may be read unwritten

    if (!translation.TextMode && NoPrefix == 0) copyPrefix(&translation);
    if (HasCommand == 1) translateCommand(&translation);
    if (HasCommand == 0 && translation.SourceIsEbcdic && NoPrefix == 0) translatePrefix(&translation);

    while (sourceLeft(translation) > 0) {
        Orders orders;
        result = readOrders(&translation, &orders);
        if (result != ERZ_OK) {
            reportIncompleteOrder(inftrFunction, translation, result);
            releaseWork(translation, Free);
            INFTR_RETURN_CODE(3, result);
        }
        Attempt attempt = {};
        result = writeTurn(&translation, orders, &attempt);
        if (result != ERZ_OK && !translation.TextMode) {
            releaseWork(translation, Free);
            INFTR_RETURN_CODE(4, result);
        }
        if (result != ERZ_OK) {
            reportConversion(inftrFunction, attempt, result);
            releaseWork(translation, Free);
            INFTR_RETURN_CODE(5, result);
        }
    }

    *Length = static_cast<u16>(translation.Written);
    if (translation.TextMode) {
        result = Allocate(*Length, &block);
        if (result != ERZ_OK) {
            releaseWork(translation, Free);
            INFTR_RETURN_CODE(6, result);
        }
        *Buffer = static_cast<u8 *>(block);
    }
    if (*Length > 0) memcpy(*Buffer, translation.Output, *Length);
    releaseWork(translation, Free);
    traceStream(eventAfter, *Buffer, *Length);
    INFTR_RETURN_CODE(7, result);
}
