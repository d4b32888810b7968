// Reading the ring: it is turned so that the oldest byte comes first, then records are taken one behind another. Where
// none stands, as at the start of an overwritten one, the next eye-catcher is looked for.

#include "ring_reader.h"

#include <cstdlib>
#include <cstring>

#include "inftr_control.h"
#include "scratch_root.h"

static const u8 eyeCatcher[4] = {0x06, 0x0A, 0x19, 0x68};

static u32 wordAt(const Ring_Record &Record, size_t Offset)
{
    u32 value = 0;
    const size_t at = Offset - sizeof Record.Header;
    if (at + sizeof value <= Record.Data.size()) memcpy(&value, Record.Data.data() + at, sizeof value);
    return value;
}

static std::string textAt(const Ring_Record &Record, size_t Offset, size_t Most)
{
    const size_t at = Offset - sizeof Record.Header;
    if (at >= Record.Data.size()) return "";
    const char *const from = reinterpret_cast<const char *>(Record.Data.data()) + at;
    return std::string(from, strnlen(from, std::min(Most, Record.Data.size() - at)));
}

static void decode(Ring_Record *Record)
{
    Record->Point = wordAt(*Record, 56);
    switch (Record->Header.Class) {
    case INFTR_CLASS_ENTRY:
    case INFTR_CLASS_API_ENTRY:
        Record->Point = 0;
        Record->Function = textAt(*Record, 57, 30);
        Record->Text = textAt(*Record, 89, Record->Data[88 - 56]);
        break;
    case INFTR_CLASS_ERROR_EXIT:
        Record->Function = textAt(*Record, 61, 31);
        Record->Code = wordAt(*Record, 92);
        break;
    case INFTR_CLASS_TYPED_EXIT:
        Record->Function = textAt(*Record, 61, 31);
        Record->Value = wordAt(*Record, 96);
        break;
    case INFTR_CLASS_VOID_EXIT: Record->Function = textAt(*Record, 61, 31); break;
    case INFTR_CLASS_ERROR:
        Record->Code = __builtin_bswap32(Record->Point);
        Record->Value = wordAt(*Record, 60);
        break;
    case INFTR_CLASS_MID:
        Record->Function = textAt(*Record, 61, 30);
        Record->Text = textAt(*Record, 94, 4001);
        break;
    case INFTR_CLASS_HEX: Record->Function = textAt(*Record, 61, 30); break;
    default: break;
    }
}

// The record at Bytes, if one stands there. Mark allows the mark of a lost record, which nothing but its place shows.
static bool takeRecord(const u8 *Bytes, size_t Size, bool Mark, Ring_Record *Record)
{
    if (Size < sizeof(InfTR_TraceHeader)) return false;
    InfTR_TraceHeader header;
    memcpy(&header, Bytes, sizeof header);
    const bool caught = memcmp(header.EyeCatcher, eyeCatcher, sizeof eyeCatcher) == 0;
    const bool mark = Mark && memcmp(header.EyeCatcher, "\0\0\0\0", 4) == 0 && header.ProcessId != 0 &&
                      header.DataLength == 0 && header.RecordType == 1409;
    if (!caught && !mark) return false;
    if (header.DataLength % 4 != 0 || header.DataLength > INFTR_MAXSIZE_DATA) return false;
    if (header.RecordType < 1409 || header.RecordType > 1416) return false;
    if (sizeof header + header.DataLength > Size) return false;

    *Record = Ring_Record{};
    Record->Header = header;
    Record->Lost = mark;
    Record->Data.assign(Bytes + sizeof header, Bytes + sizeof header + header.DataLength);
    if (caught && !Record->Data.empty()) decode(Record);
    return true;
}

static std::vector<Ring_Record> takeAll(const u8 *Bytes, size_t Size, bool AtRecord)
{
    std::vector<Ring_Record> records;
    size_t at = 0;
    while (at < Size) {
        Ring_Record record;
        AtRecord = takeRecord(Bytes + at, Size - at, AtRecord, &record);
        if (AtRecord) records.push_back(record);
        at += AtRecord ? sizeof record.Header + record.Header.DataLength : 1;
    }
    return records;
}

std::vector<Ring_Record> Ring_RecordsOfBytes(const u8 *Bytes, size_t Size)
{
    return takeAll(Bytes, Size, true);
}

std::vector<Ring_Record> Ring_RecordsOfImage(const void *Image, size_t Size)
{
    InfTR_RingHeader header;
    if (Size < sizeof header) return {};
    memcpy(&header, Image, sizeof header);
    const u8 *const data = static_cast<const u8 *>(Image) + sizeof header;
    const size_t size = Size - sizeof header;
    const size_t offset = static_cast<size_t>(header.RingOffset);
    if (size != static_cast<size_t>(header.RingSize) || offset > size) return {};

    bool untouched = true; // behind RingOffset, while the ring has not been filled once
    for (size_t at = offset; at < size && untouched; ++at) untouched = data[at] == 0;
    if (untouched && offset < size) return takeAll(data, offset, true);

    std::vector<u8> turned(data + offset, data + size);
    turned.insert(turned.end(), data, data + offset);
    return takeAll(turned.data(), turned.size(), false);
}

void Ring_TraceOn(const char *Specification)
{
    std::string options = "-B ON -M ON -S ON -t " + std::string(Specification);
    if (InfTR_CachePtr != nullptr) {
        InfTR_UpdateMasterTrace(InfTR_TracePtr, options.data(), 0);
        return;
    }
    if (getenv("SORREL_REGISTRY") == nullptr) Scratch_MakeRoot();
    options = "-b 1048576 " + options;
    setenv("VELATRACE", options.c_str(), 1);
    char program[] = "tester";
    char region[] = "TESTREG";
    InfTR_SInit(program, region);
    unsetenv("VELATRACE");
}

void Ring_TraceOff()
{
    char options[] = "-M OFF";
    InfTR_UpdateMasterTrace(InfTR_TracePtr, options, 0);
}

std::vector<Ring_Record> Ring_Records()
{
    if (InfTR_CachePtr == nullptr) return {};
    InfTR_ProcessCache *const cache = InfTR_CachePtr;
    tks_MutexLock(&cache->RingLock);
    const u8 *const image = reinterpret_cast<const u8 *>(cache) + offsetof(InfTR_ProcessCache, Ring);
    const std::vector<u8> copy(image, image + sizeof(InfTR_RingHeader) + static_cast<size_t>(cache->Ring.RingSize));
    tks_MutexUnlock(&cache->RingLock);
    return Ring_RecordsOfImage(copy.data(), copy.size());
}

static bool namesFunction(const Ring_Record &Record, const char *Function)
{
    const size_t width = Record.Header.Class & (INFTR_CLASS_ENTRY | INFTR_CLASS_API_ENTRY) ? 30
                         : Record.Header.Class & (INFTR_CLASS_MID | INFTR_CLASS_HEX)       ? 26
                                                                                           : 31;
    return !Record.Function.empty() && Record.Function == std::string(Function, strnlen(Function, width));
}

u32 Ring_LastExitPoint(const char *Function)
{
    u32 point = 0xFFFFFFFFu;
    for (const Ring_Record &record : Ring_Records()) {
        const bool isExit = record.Header.RecordType == 1414;
        if (isExit && namesFunction(record, Function)) point = record.Point;
    }
    return point;
}

size_t Ring_Count(const char *Function)
{
    size_t count = 0;
    for (const Ring_Record &record : Ring_Records()) count += namesFunction(record, Function) ? 1 : 0;
    return count;
}

void Ring_Clear()
{
    if (InfTR_CachePtr == nullptr) return;
    InfTR_ProcessCache *const cache = InfTR_CachePtr;
    tks_MutexLock(&cache->RingLock);
    cache->Ring.RingOffset = 0;
    cache->Ring.RingFree = cache->Ring.RingSize;
    u8 *const data = cache->RingData;
    memset(data, 0, static_cast<size_t>(cache->Ring.RingSize));
    tks_MutexUnlock(&cache->RingLock);
}
