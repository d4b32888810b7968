// Scanning a stream in its ASCII form.
//
// The scan follows the screen position from order to order. What makes it hard is text: a multibyte character takes as
// many positions as its encoding has bytes, and in a single-byte field two more for the shifts around its run. Fields
// are recorded in the caller's screen map. A field order without an address directly before it can be given one; then,
// and not earlier, the stream is rebuilt in a buffer of its own, which grows in steps that hold 99 addresses each.
//
// Positions are 16-bit and may run past the screen. The map is looked at and written below TERBM_SCREEN_MAP_SIZE alone.

#include "terbm_int.h"

#include "inftr_guard.h"
#include "plat_text.h"
#include "terbm_stream.h"

#include <string.h>

namespace
{

constexpr u32 screenPositions = 4000; // cleared by an erasing command
constexpr u32 repeatClearEnd = 0xFA1; // required: RA clears one position more than the screen has
constexpr u32 rebuildStep = 300; // bytes that each new buffer has beyond what is known to be needed
constexpr u16 insertionsPerStep = 99; // three bytes each; the step's last three stay spare
constexpr u32 addressOrderLength = 3;
constexpr size_t longestCharacter = 5; // bytes of text that are looked at for one character

struct Scan {
    const u8 *Stream;
    u16 Length;
    u8 *ScreenMap;
    TerBM_AllocateRoutine Allocate;
    TerBM_FreeRoutine Free;
    bool InsertAddresses;

    u16 Offset; // of the next byte
    u16 Position; // on the screen
    bool Addressed; // the previous order was an SBA

    u8 *Rebuilt; // null until the first insertion
    u8 *Write; // next byte of it
    u16 Capacity;
    u16 Inserted; // since the buffer was taken
    u16 CopiedUpTo; // offset of the first stream byte that is not in the rebuilt stream
};

void markField(const Scan &scan, u8 kind)
{
    if (scan.ScreenMap != nullptr && scan.Position < TERBM_SCREEN_MAP_SIZE) scan.ScreenMap[scan.Position] = kind;
}

u8 fieldKind(const u8 *pairs, u16 count)
{
    return TerBM_ParseAttributePair(pairs, count) ? TERBM_MAP_DOUBLE_BYTE : TERBM_MAP_SINGLE_BYTE;
}

// Empties the map from `first` up to, and without, `end`.
void clearMap(const Scan &scan, u32 first, u32 end)
{
    if (scan.ScreenMap != nullptr && first < end) memset(scan.ScreenMap + first, TERBM_MAP_NOTHING, end - first);
}

// Copies stream bytes up to the present offset behind what the rebuilt stream has.
void catchUp(Scan *scan)
{
    const u16 count = static_cast<u16>(scan->Offset - scan->CopiedUpTo);
    memcpy(scan->Write, scan->Stream + scan->CopiedUpTo, count);
    scan->Write += count;
    scan->CopiedUpTo = scan->Offset;
}

// Takes a buffer 300 bytes larger than before, or than the stream, and moves the rebuilt bytes into it.
bool enlarge(Scan *scan)
{
    const u32 capacity = (scan->Rebuilt == nullptr ? scan->Length : scan->Capacity) + rebuildStep;
    void *block = nullptr;
    if (capacity > 0xFFFF || scan->Allocate(capacity, &block) != 0) return false;

    u8 *const rebuilt = static_cast<u8 *>(block);
    size_t written = 0;
    if (scan->Rebuilt != nullptr) {
        written = static_cast<size_t>(scan->Write - scan->Rebuilt);
        memcpy(rebuilt, scan->Rebuilt, written);
        scan->Free(scan->Rebuilt);
    }
    scan->Rebuilt = rebuilt;
    scan->Write = rebuilt + written;
    scan->Capacity = static_cast<u16>(capacity);
    scan->Inserted = 0;
    return true;
}

u32 insertAddress(Scan *scan)
{
    if ((scan->Rebuilt == nullptr || scan->Inserted == insertionsPerStep) && !enlarge(scan))
        return TERBM_ERR_NO_STORAGE;

    catchUp(scan);
    const u8 order[addressOrderLength] = {TERBM_SBA, TerBM_BinaryToGraphic[scan->Position >> 6 & 0x3F],
                                          TerBM_BinaryToGraphic[scan->Position & 0x3F]};
    memcpy(scan->Write, order, sizeof order);
    scan->Write += sizeof order;
    ++scan->Inserted;
    return ERZ_OK;
}

// Behind every order that starts a field: the attribute takes a position.
u32 startField(Scan *scan, u8 kind)
{
    markField(*scan, kind);
    u32 result = ERZ_OK;
    if (!scan->Addressed && scan->InsertAddresses) result = insertAddress(scan);
    ++scan->Position;
    scan->Addressed = false;
    return result;
}

u32 scanCountedOrder(Scan *scan, const u8 *order, u16 remaining, u16 *length)
{
    *length = 0;
    if (remaining < 3) return TERBM_ERR_INCOMPLETE_ORDER;
    const u16 counted = static_cast<u16>(order[1] * 2 + 2);
    if (counted > remaining) return TERBM_ERR_INCOMPLETE_ORDER;

    *length = counted;
    return startField(scan, fieldKind(order + 2, order[1]));
}

u32 scanRepeatToAddress(Scan *scan, const u8 *order, u16 remaining, u16 *length)
{
    scan->Addressed = false;
    *length = 0;
    const u16 needed = remaining > 3 && order[3] == TERBM_GE ? TERBM_RA_GE_LENGTH : TERBM_RA_LENGTH;
    if (needed > remaining) return TERBM_ERR_INCOMPLETE_ORDER;

    const u16 target = TerBM_AddressOf(order + 1);
    if (target > scan->Position) {
        clearMap(*scan, scan->Position, target);
    } else {
        clearMap(*scan, 0, target);
        clearMap(*scan, scan->Position, repeatClearEnd);
    }
    scan->Position = target;
    *length = needed;
    return ERZ_OK;
}

// One order or control byte. The scan goes on behind its length, which is 0 when an incomplete order ends it.
u32 scanOrder(Scan *scan, u16 *length)
{
    const u8 *const order = scan->Stream + scan->Offset;
    const u16 remaining = static_cast<u16>(scan->Length - scan->Offset);
    *length = TerBM_LengthOf(*order);
    if (*length > remaining) {
        *length = 0;
        return TERBM_ERR_INCOMPLETE_ORDER;
    }

    switch (*order) {
    case TERBM_NUL:
    case TERBM_NL:
    case TERBM_FF:
    case TERBM_CR:
    case TERBM_EM:
    case TERBM_DUP:
    case TERBM_FM:
        *length = 1;
        ++scan->Position;
        scan->Addressed = false;
        return ERZ_OK;
    case TERBM_SBA:
        scan->Position = TerBM_AddressOf(order + 1);
        scan->Addressed = true;
        return ERZ_OK;
    case TERBM_SF: return startField(scan, TERBM_MAP_SINGLE_BYTE);
    case TERBM_SFE:
    case TERBM_MF: return scanCountedOrder(scan, order, remaining, length);
    case TERBM_SA:
        markField(*scan, fieldKind(order + 1, 1));
        scan->Addressed = false;
        return ERZ_OK;
    case TERBM_RA: return scanRepeatToAddress(scan, order, remaining, length);
    }
    // GE, PT, EUA and IC leave the position alone; a control byte without a length is no order.
    scan->Addressed = false;
    return *length > 0 ? ERZ_OK : TERBM_ERR_INCOMPLETE_ORDER;
}

u32 scanStream(Scan *scan)
{
    while (scan->Offset < scan->Length) {
        if (scan->Stream[scan->Offset] > TERBM_LAST_CONTROL_ASCII) {
            const u32 width =
                TerBM_ASCIICountToControl(scan->Stream, scan->Length, &scan->Offset, scan->ScreenMap, scan->Position);
            scan->Position = static_cast<u16>(scan->Position + width);
            scan->Addressed = false;
            continue;
        }
        u16 length = 0;
        const u32 result = scanOrder(scan, &length);
        scan->Offset = static_cast<u16>(scan->Offset + length);
        if (result != ERZ_OK) return result;
    }
    return ERZ_OK;
}

constexpr u32 emptyStep = sizeof(u64);

// ASCII is single-byte in every locale, and a NUL is not; other bytes are asked for.
bool isSingleByte(const u8 *text)
{
    if (*text == TERBM_NUL) return false;
    return (*text >= 0x20 && *text < 0x7F) || plat_mblen(reinterpret_cast<const char *>(text), 1) == 1;
}

} // namespace

i32 TerBM_ParseAttributePair(const u8 *Data, u16 Count)
{
    INFTR_FUNCTION(TERBM, "TerBM_ParseAttributePair");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u)", static_cast<const void *>(Data), Count);

    i32 doubleByte = 0;
    for (const u8 *pair = Data, *const end = Data + Count * 2; pair < end; pair += 2)
        if (pair[0] == TERBM_TYPE_CHARACTER_SET) doubleByte = pair[1] == TERBM_DOUBLE_BYTE_ASCII;
    INFTR_RETURN_VALUE(1, doubleByte);
}

i32 TerBM_EraseCommand(const u8 *Data, u16 Length, u16 *Offset)
{
    INFTR_FUNCTION(TERBM, "TerBM_EraseCommand");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %u)", static_cast<const void *>(Data), Length, *Offset);

    // required: 88, Write Structured Field, is no command here, for the byte counts as negative.
    i32 erases = 0;
    u16 passed = 2; // command and WCC
    switch (Data[0]) {
    case 0x31: break;
    case 0x35:
    case 0x3D: erases = 1; break;
    default: passed = 1;
    }
    *Offset = static_cast<u16>(*Offset + passed);
    INFTR_RETURN_VALUE(1, erases);
}

u32 TerBM_ASCIICountToControl(const u8 *Data, u16 Length, u16 *Offset, const u8 *ScreenMap, u16 Position)
{
    INFTR_FUNCTION(TERBM, "TerBM_ASCIICountToControl");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %u, %p, %u)", static_cast<const void *>(Data), Length, *Offset,
                static_cast<const void *>(ScreenMap), Position);

    u32 count = 0;
    if (*Offset >= Length) {
        *Offset = Length;
        INFTR_RETURN_VALUE(1, count);
    }

    const bool inField = TerBM_ExamineScreen(ScreenMap, Position) != 0; // asked once, at the head of the run
    bool shifted = false;
    u32 at = *Offset;
    while (at < Length) {
        const u8 *const text = Data + at;
        if (at + sizeof(u64) <= Length && TerBM_AllPrintableAscii(TerBM_EightBytes(text))) {
            shifted = false;
            count += sizeof(u64);
            at += sizeof(u64);
            continue;
        }
        if (TerBM_LengthOf(*text) != 0) {
            *Offset = static_cast<u16>(at);
            INFTR_RETURN_VALUE(2, count);
        }
        if (isSingleByte(text)) {
            shifted = false;
            ++count;
            ++at;
            continue;
        }
        // Neither a NUL nor what is no character ends a run of shifted ones. The end of the stream may cut one off.
        const size_t left = Length - at;
        wchar_t wide = 0;
        const i32 step = *text == TERBM_NUL ? 0
                                            : plat_mbtowc(&wide, reinterpret_cast<const char *>(text),
                                                          left < longestCharacter ? left : longestCharacter);
        if (step < 1) {
            ++count;
            ++at;
            continue;
        }
        char encoded[16];
        const i32 width = plat_wctomb(encoded, wide);
        count += static_cast<u32>(width > 0 ? width : step);
        if (!shifted && !inField) {
            count += 2; // shift-out and shift-in
            shifted = true;
        }
        at += static_cast<u32>(step);
    }
    *Offset = Length;
    INFTR_RETURN_VALUE(3, count);
}

i32 TerBM_ExamineScreen(const u8 *ScreenMap, u16 Position)
{
    INFTR_FUNCTION(TERBM, "TerBM_ExamineScreen");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u)", static_cast<const void *>(ScreenMap), Position);

    i32 doubleByte = 0;
    if (ScreenMap == nullptr) INFTR_RETURN_VALUE(1, doubleByte);

    // Downward to the field that holds the position; position 0 is never looked at. Most of a map is empty, so it is
    // passed eight positions at a time.
    u32 at = Position < TERBM_SCREEN_MAP_SIZE ? Position : TERBM_SCREEN_MAP_SIZE - 1;
    while (at > 0) {
        if (at >= emptyStep && TerBM_EightBytes(ScreenMap + at + 1 - emptyStep) == 0) {
            at -= emptyStep;
            continue;
        }
        if (ScreenMap[at] == TERBM_MAP_SINGLE_BYTE || ScreenMap[at] == TERBM_MAP_DOUBLE_BYTE) break;
        --at;
    }
    doubleByte = at > 0 && ScreenMap[at] == TERBM_MAP_DOUBLE_BYTE;
    INFTR_RETURN_VALUE(2, doubleByte);
}

u32 TerBM_ParseTIOA(u8 **Buffer, u16 *Length, u8 *ScreenMap, TerBM_AllocateRoutine Allocate, TerBM_FreeRoutine Free,
                    i32 InsertAddresses)
{
    INFTR_FUNCTION(TERBM, "TerBM_ParseTIOA");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %d)", static_cast<void *>(*Buffer), *Length,
                static_cast<void *>(ScreenMap), InsertAddresses);

    u32 result = ERZ_OK;
    if (*Length == 0) INFTR_RETURN_CODE(1, result);

    Scan scan = {};
    scan.Stream = *Buffer;
    scan.Length = *Length;
    scan.ScreenMap = ScreenMap;
    scan.Allocate = Allocate;
    scan.Free = Free;
    scan.InsertAddresses = InsertAddresses == 1;

    if (TerBM_EraseCommand(scan.Stream, scan.Length, &scan.Offset)) clearMap(scan, 0, screenPositions);
    result = scanStream(&scan);

    if (scan.Rebuilt != nullptr) {
        catchUp(&scan);
        Free(*Buffer);
        *Buffer = scan.Rebuilt;
        *Length = static_cast<u16>(scan.Write - scan.Rebuilt);
    } else if (result != ERZ_OK) {
        *Length = scan.Offset;
    }
    INFTR_RETURN_CODE(2, result);
}
