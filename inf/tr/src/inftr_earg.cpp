// Arguments of entry and mid-point records, formatted straight into the thread's record.
//
// The writers' room ends with the record, so the formatter is bounded by it; a text that would not have fitted ends the
// process, since a caller that prints unbounded text into a trace has a defect. A format without a conversion, "(void)"
// above all, is copied without the formatter.

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "inftr_int.h"
#include "super_assert.h"

constexpr size_t ENTRY_TEXT = 89;
constexpr size_t MID_TEXT = 94;
constexpr i32 ENTRY_TEXT_MAX = 4006;
constexpr i32 MID_TEXT_MAX = 4000;

static_assert(ENTRY_TEXT + ENTRY_TEXT_MAX + 1 == INFTR_MAXSIZE_RECORD);
static_assert(MID_TEXT + MID_TEXT_MAX + 1 < INFTR_MAXSIZE_RECORD);

// Formats at Offset of the record. Returns the length that the whole text has, which may be more than there was room.
static i32 formatText(TraceRecord *Record, size_t Offset, const char *Format, va_list Args)
{
    char *const out = reinterpret_cast<char *>(Record->Data) + (Offset - INFTR_HEADER_SIZE);
    const size_t room = INFTR_MAXSIZE_RECORD - Offset;
    if (strchr(Format, '%') == nullptr) {
        const size_t length = strlen(Format);
        if (length < room) {
            memcpy(out, Format, length + 1);
            return static_cast<i32>(length);
        }
    }
    const i32 length = vsnprintf(out, room, Format, Args);
    if (length >= 0) return length;
    out[0] = '\0'; // a character that the locale cannot show
    return 0;
}

TraceRecord *InfTR_EntryArgs(const char *Format, ...)
{
    if (!InfTR_SinkIsOn()) return nullptr;
    TraceRecord *const record = InfTR_GetRecord();
    if (record == nullptr) return nullptr;

    va_list args;
    va_start(args, Format);
    const i32 length = formatText(record, ENTRY_TEXT, Format, args);
    va_end(args);
    if (length > ENTRY_TEXT_MAX) {
        SUPER_ASSERT_EXIT_UNTRACED(INFTR, "InfTR_EntryArgs", "FALSE", __LINE__, "inf\\tr\\src\\inftr_earg", 201,
                                   "Formatted entry args, exceeded buffer allocation");
    }
    record->Data[88 - INFTR_HEADER_SIZE] = static_cast<u8>(length); // required: the low 8 bits
    return record;
}

TraceRecord *InfTR_MidArgs(const char *Format, ...)
{
    if (!InfTR_SinkIsOn()) return nullptr;
    TraceRecord *const record = InfTR_GetRecord();
    if (record == nullptr) return nullptr;

    va_list args;
    va_start(args, Format);
    const i32 length = formatText(record, MID_TEXT, Format, args);
    va_end(args);
    if (length > MID_TEXT_MAX) {
        fprintf(stderr, "Len=%d FormatString=<%s>\n", length, Format);
        fflush(stderr);
        SUPER_ASSERT_EXIT_UNTRACED(INFTR, "InfTR_MidArgs", "FALSE", __LINE__, "inf\\tr\\src\\inftr_earg", 202,
                                   "Formatted entry args, exceeded buffer allocation");
    }
    const u16 stored = static_cast<u16>(length);
    memcpy(record->Data + (92 - INFTR_HEADER_SIZE), &stored, sizeof stored);
    return record;
}
