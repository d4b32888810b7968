#ifndef INFTR_INT_H
#define INFTR_INT_H

// What the trace facility shares among its own files: the thread's record buffer, the road of a record (getting it,
// stamping, both sinks), the files below it, and the name tables of the specification language.
//
// Nothing on the road of a record carries a guard: a record made while another is being built would overwrite it.

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstring>

#include "crt.h"
#include "inftr_control.h"
#include "inftr_guard.h"
#include "inftr_records.h"
#include "tks_time.h"

VELA_BEGIN

// ---- messages ----

#define INFTR_MSG_BAD_TERM 0x0C401005u // ERZ049001E
#define INFTR_MSG_UNKNOWN_PROCESS 0x0C402009u // ERZ049002E
#define INFTR_MSG_UNKNOWN_DEBUG 0x0C40300Du // ERZ049003E
#define INFTR_MSG_BAD_LEVEL 0x0C404011u // ERZ049004E
#define INFTR_MSG_UNKNOWN_GROUP 0x0C405015u // ERZ049005E
#define INFTR_MSG_UNKNOWN_KEY 0x0C406019u // ERZ049006E
#define INFTR_MSG_DUMP_FAILED 0x0C40701Du // ERZ049007E
#define INFTR_MSG_DUMPED 0x0C408020u // ERZ049008I
#define INFTR_MSG_NO_MEMORY 0x0C409029u // ERZ049010E
#define INFTR_MSG_CHANGED 0x0C40A02Cu // ERZ049011I
#define INFTR_MSG_BAD_OPTION 0x0C421089u // ERZ049034E
#define INFTR_MSG_OPTION_NO_VALUE 0x0C42208Du // ERZ049035E
#define INFTR_MSG_VALUE_TOO_LONG 0x0C423091u // ERZ049036E
#define INFTR_MSG_BAD_VALUE 0x0C424095u // ERZ049037E

// ---- state ----

// Stores a word that other threads read through InfTR_Read.
#define InfTR_Write(Word, Value) __atomic_store_n(&(Word), (Value), __ATOMIC_RELEASE)

// A slot's value in a thread that has ended its trace; NULL is "nothing yet".
#define INFTR_SLOT_DEAD (reinterpret_cast<void *>(static_cast<intptr_t>(-1)))

// External trace is built out; the test of its flag stays where it was.
#define INFTR_EXTERNAL_TRACE false

constexpr size_t INFTR_RECORD_OFFSET = 20;
constexpr i32 INFTR_AUX_HEADER_SIZE = 16;
constexpr i32 INFTR_HEADER_SIZE = 56;

// What RecordSlot holds: the one record of a thread, reused for each. Spare takes what the writers of the longest texts
// put behind the record proper.
struct InfTR_TraceThreadBuffer {
    u8 Zero[INFTR_RECORD_OFFSET];
    TraceRecord Record;
    u8 Spare[8];
};
static_assert(offsetof(InfTR_TraceThreadBuffer, Record) == INFTR_RECORD_OFFSET);
static_assert(sizeof(TraceRecord) == INFTR_MAXSIZE_RECORD);
static_assert(offsetof(TraceRecord, Data) == INFTR_HEADER_SIZE);

// Set once by InfTR_InitProcess, before InfTR_CachePtr is; all ones until then.
extern u32 InfTR_RecordSlot;
extern u32 InfTR_FileSlot;

extern const u8 InfTR_RecordEyeCatcher[4];

// Copies a short text without a call: its first and its last bytes, which may overlap. Nothing beyond it is touched.
static inline void InfTR_CopyShort(char *Out, const char *From, size_t Length)
{
    if (Length > 32) {
        memcpy(Out, From, Length);
    } else if (Length >= 16) {
        char ends[2][16];
        memcpy(ends[0], From, 16);
        memcpy(ends[1], From + Length - 16, 16);
        memcpy(Out, ends[0], 16);
        memcpy(Out + Length - 16, ends[1], 16);
    } else if (Length >= 8) {
        char ends[2][8];
        memcpy(ends[0], From, 8);
        memcpy(ends[1], From + Length - 8, 8);
        memcpy(Out, ends[0], 8);
        memcpy(Out + Length - 8, ends[1], 8);
    } else {
        for (size_t at = 0; at < Length; ++at) Out[at] = From[at];
    }
}

// The arguments of a text. A structure, so that they are handed on where they lie.
struct InfTR_Arguments {
    va_list List;
};

constexpr i32 INFTR_NOT_FORMATTED = -2;

// What vsnprintf writes and returns, or INFTR_NOT_FORMATTED for a text that InfTR_FormatBySystem has to write, with
// arguments started afresh. That one is vsnprintf with errno left as it was; below 0 for a character that the locale
// cannot show.
i32 InfTR_Format(char *Out, size_t Room, const char *Format, InfTR_Arguments *From);
i32 InfTR_FormatBySystem(char *Out, size_t Room, const char *Format, InfTR_Arguments *From);

// ---- the road of a record ----

// Whether any sink is on.
static inline bool InfTR_SinkIsOn(void)
{
    struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    if (master == nullptr) return false;
    return InfTR_Read(master->TraceFlagBuffer) == 1 || InfTR_Read(master->TraceFlagAux) == 1 ||
           (INFTR_EXTERNAL_TRACE && InfTR_Read(master->TraceFlagExternal) == 1);
}

// Copies the tag that the process shows in its records.
static inline void InfTR_CopyProcessTag(char *Out, const InfTR_ProcessCache *Cache)
{
    typedef u32 __attribute__((may_alias)) tagWord;
    static_assert(offsetof(InfTR_ProcessCache, ProcessTag) % sizeof(tagWord) == 0);
    const u32 tag = InfTR_Read(*reinterpret_cast<const tagWord *>(Cache->ProcessTag));
    memcpy(Out, &tag, sizeof tag);
}

// The thread's record where its slot holds none yet. NULL when the thread has ended its trace or there is no memory.
TraceRecord *InfTR_MakeRecord(void);

// The thread's record, made at its first call; NULL as for InfTR_MakeRecord.
static inline TraceRecord *InfTR_GetRecord(void)
{
    const InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (cache == nullptr || InfTR_RecordSlot >= TKS_THREAD_SLOTS) return nullptr;
    void *const slot = tks_ThreadDataOf(InfTR_RecordSlot);
    if (__builtin_expect(slot == nullptr || slot == INFTR_SLOT_DEAD, 0)) return InfTR_MakeRecord();
    TraceRecord *const record = &static_cast<InfTR_TraceThreadBuffer *>(slot)->Record;
    InfTR_CopyProcessTag(record->TraceHeader.ProcessTag, cache);
    return record;
}

// Marks in the sinks that a record was lost. Component is not shown.
void InfTR_TraceInfTRError(u16 Component, u32 Class);

// Stamps a record and hands it to the sinks that are on. Only its header needs to exist when DataLength is 0.
void InfTR_SysTrcgen(TraceRecord *Record);

// The same at a moment that the writer took first of all: what builds the record runs beside the reading of the clock.
void InfTR_StampAndWrite(TraceRecord *Record, tks_Moment Now);

void InfTR_WriteTraceToBuffer(TraceRecord *Record);
void InfTR_WriteTraceToAuxFile(TraceRecord *Record);

// ---- files ----

constexpr i32 INFTR_FILETYPE_FORMATTED = 1;
constexpr i32 INFTR_FILETYPE_AUX = 2;
constexpr i32 INFTR_FILETYPE_DUMP = 3;
constexpr i32 INFTR_FILETYPE_PIPE = 7;

// Buffer has INFTR_FILENAME_SIZE bytes.
void InfTR_GetFileName(char *Buffer, i32 FileType, u32 DumpIndex);

// These three with the block locked.
void InfTR_OpenAuxTraceFile(TraceFile *File);
void InfTR_TempCloseTraceFile(TraceFile *File);
void InfTR_WriteAUXFileHeader(TraceFile *File);

// Ends a file for good, with the errno of the call that failed.
void InfTR_FailFile(TraceFile *File);

// _write of all Size bytes or false with errno: a short write fails too, with errno 28 where the system left none.
static inline bool InfTR_WriteAll(i32 Descriptor, const void *Data, u32 Size)
{
    errno = 0;
    if (_write(Descriptor, Data, Size) == static_cast<i32>(Size)) return true;
    if (errno == 0) errno = ENOSPC;
    return false;
}

// Eight characters of Text, blank-padded, no terminator.
void InfTR_PadName(char *Out, const char *Text);

// Guards the two directories of the master area against an update beside an open; a leaf.
void InfTR_LockDirectories(void);
void InfTR_UnlockDirectories(void);

// ---- names of the specification language ----

struct InfTR_MaskNameRow {
    u32 Word; // 0 in all rows
    const char *Name; // nullptr ends the table
};

struct InfTR_ComponentRow {
    u32 Number; // index of the level byte
    const char *Name; // five letters; nullptr ends the table
    const InfTR_MaskNameRow *MaskNames;
};

struct InfTR_GroupRow {
    const char *Prefix; // three letters; nullptr ends the table
    const InfTR_ComponentRow *Components;
};

struct InfTR_ProductRow {
    i32 Index;
    const char *Name;
    u32 Bit;
};

extern const InfTR_GroupRow InfTR_GroupTable[];
extern const InfTR_ProductRow InfTR_ProductTable[INFTR_PRODUCT_ROWS];

VELA_END

#endif
