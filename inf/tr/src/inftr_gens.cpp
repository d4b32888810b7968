// Stamping a record and writing it to the ring.
//
// The ring is a plain byte ring: a record may be split over its end, nothing marks where one begins, and old records
// are overwritten in their middle. A reader scans for the eye-catcher from RingOffset on.
//
// A record costs one reading of the processor's counter, which tells both clocks, and a copy under RingLock. The time
// zone is looked up once an hour, which shows the daylight switch soon enough and keeps _tzset away from the records.
// Whatever may change errno on the way, which a traced function may have set for its own caller, puts it back.

#include <cerrno>
#include <cstring>

#include "crt.h"
#include "inftr_int.h"
#include "super_assert.h"
#include "tks_time.h"

// What a class, by the number of its bit, does to its record. A class of several bits, which no writer makes, counts as
// the last row.
struct ClassRow {
    u16 RecordType;
    u8 Enters; // the depth counts up before the record is written
    u8 Leaves; // and down behind it
};

constexpr u32 CLASS_ROWS = 18;
constexpr ClassRow OTHER = {1409, 0, 0};
constexpr ClassRow ENTRY = {1413, 1, 0};
constexpr ClassRow EXIT = {1414, 0, 1};

// clang-format off
static constexpr ClassRow classRows[CLASS_ROWS] = {
    OTHER, OTHER, OTHER,                      //     0x1 to 0x4
    {1415, 0, 0}, {1415, 0, 0}, {1416, 0, 0}, //     0x8 to 0x20: error, exception
    ENTRY, ENTRY,                             //    0x40 to 0x80
    EXIT, EXIT, EXIT, {1414, 0, 0},           //   0x100 to 0x800
    {1412, 0, 0}, {1410, 0, 0}, {1411, 0, 0}, //  0x1000 to 0x4000
    OTHER, OTHER,                             //  0x8000 to 0x10000: mid point, hex data
    OTHER,
};
// clang-format on
static_assert(INFTR_CLASS_ERROR == 1 << 3 && INFTR_CLASS_ENTRY == 1 << 6 && INFTR_CLASS_ERROR_EXIT == 1 << 8);

static inline const ClassRow &rowOf(u32 Class)
{
    const u32 bit = static_cast<u32>(__builtin_ctz(Class | 1u << (CLASS_ROWS - 1)));
    return classRows[Class == 1u << bit ? bit : CLASS_ROWS - 1];
}

static u64 zoneEnds = 0; // end of the hour in which the time zone was last looked up, in seconds; 0 before the first

static __attribute__((noinline)) void refreshTimeZone(u32 Seconds)
{
    const int callersErrno = errno;
    __atomic_store_n(&zoneEnds, (u64{Seconds} / 3600 + 1) * 3600, __ATOMIC_RELAXED);
    _tzset();
    errno = callersErrno;
}

static inline void stamp(InfTR_TraceHeader *Header, const tks_Moment &Now)
{
    const u32 seconds = Now.Time.Seconds;
    Header->Seconds = seconds;
    Header->NanoSeconds = Now.Time.MicroSeconds * 1000;
    Header->CounterHigh = static_cast<u32>(static_cast<u64>(Now.Counter) >> 32);
    Header->CounterLow = static_cast<u32>(Now.Counter);
    if (__builtin_expect(seconds >= __atomic_load_n(&zoneEnds, __ATOMIC_RELAXED), 0)) refreshTimeZone(seconds);
    Header->TimeZone = _timezone;
    Header->Daylight = _daylight;
}

// Rounds DataLength up to a multiple of 4 with zero bytes behind the data; a length above the limit ends the process.
static void padData(TraceRecord *Record)
{
    const u32 length = Record->TraceHeader.DataLength;
    const u32 padded = (length + 3) & ~3u;
    if (padded > INFTR_MAXSIZE_DATA) {
        SUPER_ASSERT_EXIT_UNTRACED(INFTR, "InfTR_SysTrcgen",
                                   "(TraceRecPtr->TraceHeader.DataLength <= INFTR_MAXSIZE_DATA)", __LINE__,
                                   "inf\\tr\\src\\inftr_gens", 351, "Trace data length %d > %d bytes",
                                   static_cast<int>(padded), INFTR_MAXSIZE_DATA);
    }
    switch (padded - length) {
    case 3: Record->Data[padded - 3] = 0; [[fallthrough]];
    case 2: Record->Data[padded - 2] = 0; [[fallthrough]];
    case 1: Record->Data[padded - 1] = 0; break;
    default: return;
    }
    Record->TraceHeader.DataLength = static_cast<u16>(padded);
}

// A record that comes to the end of the ring: its first part up to there, the rest at the start.
static __attribute__((noinline)) void putInTwoParts(InfTR_ProcessCache *Cache, const u8 *From, i32 Size)
{
    InfTR_RingHeader *const ring = &Cache->Ring;
    const i32 first = ring->RingFree < Size ? ring->RingFree : Size;
    const i32 rest = Size - first;
    if (first > 0) {
        memcpy(Cache->RingData + ring->RingOffset, From, static_cast<size_t>(first));
        ring->RingOffset += first;
        ring->RingFree -= first;
    }
    if (rest > 0) {
        memcpy(Cache->RingData, From + first, static_cast<size_t>(rest));
        ring->RingOffset = rest;
        ring->RingFree = ring->RingSize - rest;
    }
}

// Copies Size bytes into the ring, whose lock is held.
static inline void putBytes(InfTR_ProcessCache *Cache, const u8 *From, i32 Size)
{
    InfTR_RingHeader *const ring = &Cache->Ring;
    const i32 offset = ring->RingOffset;
    if (__builtin_expect(ring->RingFree < Size, 0)) return putInTwoParts(Cache, From, Size);
    ring->RingOffset = offset + Size;
    ring->RingFree -= Size;
    memcpy(Cache->RingData + offset, From, static_cast<size_t>(Size));
}

static inline void writeToRing(const TraceRecord *Record)
{
    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (cache == nullptr) return;
    tks_MutexLock(&cache->RingLock);
    putBytes(cache, reinterpret_cast<const u8 *>(Record), Record->TraceHeader.DataLength + INFTR_HEADER_SIZE);
    tks_MutexUnlock(&cache->RingLock);
}

void InfTR_SysTrcgen(TraceRecord *Record)
{
    InfTR_StampAndWrite(Record, tks_Now());
}

void InfTR_StampAndWrite(TraceRecord *Record, tks_Moment Now)
{
    InfTR_TraceHeader *const header = &Record->TraceHeader;
    const ClassRow &row = rowOf(header->Class); // a message on the way to a sink may use the record for itself
    header->Depth = static_cast<u16>(header->Depth + row.Enters);
    padData(Record);
    header->RecordType = row.RecordType;
    stamp(header, Now);

    struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    if (master != nullptr && InfTR_Read(master->TraceFlagBuffer) == 1) writeToRing(Record);
    if (master != nullptr && InfTR_Read(master->TraceFlagAux) == 1) InfTR_WriteTraceToAuxFile(Record);

    // An entry shows its own depth, and so does the exit: it counts down only when it is written.
    if (row.Leaves != 0 && header->Depth > 0) --header->Depth;
}

void InfTR_WriteTraceToBuffer(TraceRecord *Record)
{
    writeToRing(Record);
}
