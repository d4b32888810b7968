// Arguments of entry and mid-point records, formatted straight into the thread's record.
//
// The writers' room ends with the record, so the formatter is bounded by it; a text that would not have fitted ends the
// process, since a caller that prints unbounded text into a trace has a defect.

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

static inline char *textAt(TraceRecord *Record, size_t Offset)
{
    return reinterpret_cast<char *>(Record->Data) + (Offset - INFTR_HEADER_SIZE);
}

// Formats the text of an Args function at Offset of the record. The length is that of the whole text, which may be more
// than there was room, and 0 for a text that the locale cannot show.
#define FORMAT_TEXT(Length, Record, Offset, Format)                                                                    \
    do {                                                                                                               \
        InfTR_Arguments arguments;                                                                                     \
        va_start(arguments.List, Format);                                                                              \
        (Length) = InfTR_Format(textAt(Record, Offset), INFTR_MAXSIZE_RECORD - (Offset), Format, &arguments);          \
        va_end(arguments.List);                                                                                        \
        if (__builtin_expect((Length) != INFTR_NOT_FORMATTED, 1)) break;                                               \
        va_start(arguments.List, Format);                                                                              \
        (Length) = InfTR_FormatBySystem(textAt(Record, Offset), INFTR_MAXSIZE_RECORD - (Offset), Format, &arguments);  \
        va_end(arguments.List);                                                                                        \
        if ((Length) >= 0) break;                                                                                      \
        *textAt(Record, Offset) = '\0';                                                                                \
        (Length) = 0;                                                                                                  \
    } while (0)

TraceRecord *InfTR_EntryArgs(const char *Format, ...)
{
    if (!InfTR_SinkIsOn()) return nullptr;
    TraceRecord *const record = InfTR_GetRecord();
    if (record == nullptr) return nullptr;

    i32 length;
    FORMAT_TEXT(length, record, ENTRY_TEXT, Format);
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

    i32 length;
    FORMAT_TEXT(length, record, MID_TEXT, Format);
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
