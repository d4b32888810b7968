// Trace points: the writers of each kind of record.
//
// A thread has one record, reused for each; a writer sets the fields of its kind and no other, so depth, sequence
// number, and what an earlier record left behind the data carry over. The layout of every kind stands in
// docs/formats.md; the offsets below are those of the record.
//
// No memory for a record is told through the log, whose own trace points want a record too. gettingRecord stops that
// circle: inside it there is no record.

#include <cerrno>
#include <cstring>

#include "inftr_int.h"
#include "super_logging.h"
#include "tks_memory.h"

static const char sourceFile[] = "inf\\tr\\src\\inftr_trce";

constexpr u8 NAME_MARK = 0x1F;
constexpr u32 HEX_CHUNK = 2048;
constexpr u32 EVENT_ROOM = INFTR_MAXSIZE_DATA - 8;

const u8 InfTR_RecordEyeCatcher[4] = {0x06, 0x0A, 0x19, 0x68};

static_assert(sizeof(InfTR_TraceHeader) == 56);
static_assert(offsetof(InfTR_TraceHeader, SequenceNumber) == 4 && offsetof(InfTR_TraceHeader, ProcessId) == 8);
static_assert(offsetof(InfTR_TraceHeader, ThreadId) == 12 && offsetof(InfTR_TraceHeader, ProcessTag) == 16);
static_assert(offsetof(InfTR_TraceHeader, DataLength) == 20 && offsetof(InfTR_TraceHeader, Component) == 22);
static_assert(offsetof(InfTR_TraceHeader, Depth) == 24 && offsetof(InfTR_TraceHeader, RecordType) == 26);
static_assert(offsetof(InfTR_TraceHeader, Seconds) == 28 && offsetof(InfTR_TraceHeader, NanoSeconds) == 32);
static_assert(offsetof(InfTR_TraceHeader, TimeZone) == 36 && offsetof(InfTR_TraceHeader, Daylight) == 40);
static_assert(offsetof(InfTR_TraceHeader, CounterHigh) == 44 && offsetof(InfTR_TraceHeader, CounterLow) == 48);
static_assert(offsetof(InfTR_TraceHeader, Class) == 52);

static thread_local bool gettingRecord __attribute__((tls_model("initial-exec"))) = false;

// The record's bytes from Offset on.
static u8 *bytesAt(TraceRecord *Record, size_t Offset)
{
    return Record->Data + (Offset - offsetof(TraceRecord, Data));
}

static void putWord(TraceRecord *Record, size_t Offset, u32 Value)
{
    memcpy(bytesAt(Record, Offset), &Value, sizeof Value);
}

static void putHalf(TraceRecord *Record, size_t Offset, u16 Value)
{
    memcpy(bytesAt(Record, Offset), &Value, sizeof Value);
}

// The mark and at most Width characters of a name, zero-filled to the end of a field of Size bytes.
template <size_t Size>
static inline void putName(TraceRecord *Record, size_t Offset, const char *Name, size_t Width)
{
    u8 *const out = bytesAt(Record, Offset);
    memset(out, 0, Size);
    out[0] = NAME_MARK;
    if (Name != nullptr) InfTR_CopyShort(reinterpret_cast<char *>(out + 1), Name, strnlen(Name, Width));
}

// Makes the thread's record buffer. Nullptr without memory, which the log then tells.
static InfTR_TraceThreadBuffer *makeBuffer(const InfTR_ProcessCache *Cache)
{
    void *const block = tks_trace_Malloc(sizeof(InfTR_TraceThreadBuffer), sourceFile, __LINE__);
    if (block == nullptr) {
        gettingRecord = true;
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_NO_MEMORY, 903);
        gettingRecord = false;
        return nullptr;
    }
    tks_ThreadSetData(InfTR_RecordSlot, block, nullptr);
    memset(block, 0, sizeof(InfTR_TraceThreadBuffer));
    InfTR_TraceThreadBuffer *const buffer = static_cast<InfTR_TraceThreadBuffer *>(block);
    InfTR_TraceHeader *const header = &buffer->Record.TraceHeader;
    memcpy(header->EyeCatcher, InfTR_RecordEyeCatcher, sizeof header->EyeCatcher);
    header->ProcessId = Cache->ProcessId;
    header->ThreadId = tks_ThreadSelf();
    return buffer;
}

TraceRecord *InfTR_MakeRecord(void)
{
    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (gettingRecord || cache == nullptr || tks_ThreadGetData(InfTR_RecordSlot) == INFTR_SLOT_DEAD) return nullptr;
    const int callersErrno = errno;
    InfTR_TraceThreadBuffer *const buffer = makeBuffer(cache);
    errno = callersErrno;
    if (buffer == nullptr) return nullptr;
    InfTR_CopyProcessTag(buffer->Record.TraceHeader.ProcessTag, cache);
    return &buffer->Record;
}

// A writer's first step: its record, with class and component in place. Nullptr without a sink, and without a record,
// of which a mark is then left.
static inline TraceRecord *openRecord(u16 Component, u32 Class)
{
    if (!InfTR_SinkIsOn()) return nullptr;
    TraceRecord *const record = InfTR_GetRecord();
    if (record == nullptr) {
        InfTR_TraceInfTRError(Component, Class);
        return nullptr;
    }
    record->TraceHeader.Component = Component;
    record->TraceHeader.Class = Class;
    return record;
}

void InfTR_TraceInfTRError(u16, u32 Class)
{
    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (cache == nullptr || tks_ThreadGetData(InfTR_RecordSlot) == INFTR_SLOT_DEAD) return;

    // required: class and DataLength of the header stay 0, so the bare header is all that reaches a sink
    alignas(8) u8 block[64] = {};
    InfTR_TraceHeader *const header = reinterpret_cast<InfTR_TraceHeader *>(block);
    header->ProcessId = cache->ProcessId;
    InfTR_CopyProcessTag(header->ProcessTag, cache);
    memcpy(block + 60, &Class, sizeof Class);
    InfTR_SysTrcgen(reinterpret_cast<TraceRecord *>(block));
}

void InfTR_TraceFnEntry(u16, const char *FunctionName, u32 Class, TraceRecord *Record)
{
    if (Record == nullptr) {
        InfTR_TraceInfTRError(0, Class);
        return;
    }
    const tks_Moment now = tks_Now();
    // required: the component field is left as the thread's previous record had it
    Record->TraceHeader.Class = Class;
    putName<32>(Record, 56, FunctionName, 30);
    Record->TraceHeader.DataLength = static_cast<u16>(*bytesAt(Record, 88) + 34);
    InfTR_StampAndWrite(Record, now);
}

void InfTR_TraceMid(u16, const char *FunctionName, u32 Id, TraceRecord *Record)
{
    if (Record == nullptr) {
        InfTR_TraceInfTRError(0, INFTR_CLASS_MID);
        return;
    }
    u16 length;
    memcpy(&length, bytesAt(Record, 92), sizeof length);
    Record->TraceHeader.Class = INFTR_CLASS_MID;
    putWord(Record, 56, Id);
    putName<31>(Record, 60, FunctionName, 30);
    *bytesAt(Record, 87) = 0; // required: cuts the name to 26 characters
    Record->TraceHeader.DataLength = static_cast<u16>(length + 40);
    InfTR_SysTrcgen(Record);
}

// What all exits begin with: point and name.
static inline TraceRecord *openExit(u16 Component, u32 Class, const char *FunctionName, u32 Point)
{
    TraceRecord *const record = openRecord(Component, Class);
    if (record == nullptr) return nullptr;
    putWord(record, 56, Point);
    putName<32>(record, 60, FunctionName, 31);
    return record;
}

void InfTR_TraceVoidExit(u16 Component, const char *FunctionName, u32 Point)
{
    const tks_Moment now = tks_Now();
    TraceRecord *const record = openExit(Component, INFTR_CLASS_VOID_EXIT, FunctionName, Point);
    if (record == nullptr) return;
    record->TraceHeader.DataLength = 36;
    InfTR_StampAndWrite(record, now);
}

void InfTR_TraceErrorExit(u16 Component, const char *FunctionName, u32 Code, u32 Point)
{
    const tks_Moment now = tks_Now();
    TraceRecord *const record = openExit(Component, INFTR_CLASS_ERROR_EXIT, FunctionName, Point);
    if (record == nullptr) return;
    putWord(record, 92, Code);
    record->TraceHeader.DataLength = 40;
    InfTR_StampAndWrite(record, now);
}

void InfTR_TraceTypedExit(u16 Component, const char *FunctionName, i32 Size, const void *Value, u32 Point)
{
    const tks_Moment now = tks_Now();
    TraceRecord *const record = openExit(Component, INFTR_CLASS_TYPED_EXIT, FunctionName, Point);
    if (record == nullptr) return;
    if (Size > 4) Size = 4;
    putWord(record, 92, static_cast<u32>(Size));
    if (Size > 0 && Value != nullptr) memcpy(bytesAt(record, 96), Value, static_cast<size_t>(Size));
    record->TraceHeader.DataLength = 44;
    InfTR_StampAndWrite(record, now);
}

void InfTR_TraceError(u16 Component, u32 MessageNumber, u32 MSN)
{
    TraceRecord *const record = openRecord(Component, INFTR_CLASS_ERROR);
    if (record == nullptr) return;
    const u8 number[4] = {static_cast<u8>(MessageNumber >> 24), static_cast<u8>(MessageNumber >> 16),
                          static_cast<u8>(MessageNumber >> 8), static_cast<u8>(MessageNumber)};
    memcpy(bytesAt(record, 56), number, sizeof number);
    putWord(record, 60, MSN);
    record->TraceHeader.DataLength = 8;
    InfTR_SysTrcgen(record);
}

static void traceData(u16 Component, u32 Class, u32 Id, u32 Length, const void *Data)
{
    TraceRecord *const record = openRecord(Component, Class);
    if (record == nullptr) return;
    if (Data == nullptr) Length = 0;
    if (Length > EVENT_ROOM) Length = EVENT_ROOM;
    putWord(record, 56, Id);
    if (Length != 0) memcpy(bytesAt(record, 60), Data, Length);
    record->TraceHeader.DataLength = static_cast<u16>(Length + 4);
    InfTR_SysTrcgen(record);
}

void InfTR_TraceEvent(u16 Component, u32 Id, u32 Length, const void *Data)
{
    traceData(Component, INFTR_CLASS_EVENT, Id, Length, Data);
}

void InfTR_TraceException(u16 Component, u32 Id, u32 Length, const void *Data)
{
    traceData(Component, INFTR_CLASS_EXCEPTION, Id, Length, Data);
}

// One chunk of hex data. Address is that of the caller's data, Chunk where its bytes now lie.
static void putHexChunk(TraceRecord *Record, const char *FunctionName, u32 Id, u32 Flag, const void *Address,
                        u32 Offset, const u8 *Chunk, u32 Length)
{
    Record->TraceHeader.Class = INFTR_CLASS_HEX;
    putWord(Record, 56, Id);
    putName<31>(Record, 60, FunctionName, 30);
    *bytesAt(Record, 87) = 0; // required: cuts the name to 26 characters
    putHalf(Record, 92, Flag != 0 ? 1 : 0);
    putWord(Record, 96, static_cast<u32>(reinterpret_cast<uintptr_t>(Address)));
    putWord(Record, 100, Offset);
    putHalf(Record, 104, static_cast<u16>(Length));
    memcpy(bytesAt(Record, 106), Chunk, Length);
    Record->TraceHeader.DataLength = static_cast<u16>(Length + 51);
}

void InfTR_TraceHex(u16 Component, const char *FunctionName, u32 Id, const void *Data, u32 Length, u32 Flag)
{
    if (Length == 0 || Data == nullptr || !InfTR_SinkIsOn()) return;
    TraceRecord *const record = InfTR_GetRecord();
    if (record == nullptr) {
        InfTR_TraceInfTRError(0, INFTR_CLASS_HEX);
        return;
    }

    const u8 *from = static_cast<const u8 *>(Data);
    void *copy = nullptr;
    if (Length > HEX_CHUNK) { // all chunks show the data at one moment
        copy = tks_trace_Malloc(Length, sourceFile, __LINE__);
        if (copy == nullptr) {
            InfTR_TraceInfTRError(0, INFTR_CLASS_HEX);
            return;
        }
        memcpy(copy, Data, Length);
        from = static_cast<const u8 *>(copy);
    }
    for (u64 offset = 0; offset < Length; offset += HEX_CHUNK) {
        const u32 rest = Length - static_cast<u32>(offset);
        record->TraceHeader.Component = Component;
        putHexChunk(record, FunctionName, Id, Flag, Data, static_cast<u32>(offset), from + offset,
                    rest < HEX_CHUNK ? rest : HEX_CHUNK);
        InfTR_SysTrcgen(record);
    }
    tks_trace_Free(copy);
}
