// Stamping a record and writing it to the ring.
//
// The ring is a plain byte ring: a record may be split over its end, nothing marks where one begins, and old records
// are overwritten in their middle. A reader scans for the eye-catcher from RingOffset on.
//
// A record costs one reading of the clock, one of the counter, and a copy under RingLock. The time zone is looked up
// once an hour, which shows the daylight switch soon enough and keeps _tzset away from the records.

#include <cerrno>
#include <cstring>

#include "crt.h"
#include "inftr_int.h"
#include "super_assert.h"
#include "supos_inner.h"
#include "win32_time.h"

constexpr u16 TYPE_OTHER = 1409;

// The record type of a class. A class of several bits, which no writer makes, counts as other.
static u16 recordTypeOf(u32 Class)
{
    switch (Class) {
    case INFTR_CLASS_ENTRY:
    case INFTR_CLASS_API_ENTRY: return 1413;
    case INFTR_CLASS_ERROR_EXIT:
    case INFTR_CLASS_TYPED_EXIT:
    case INFTR_CLASS_VOID_EXIT:
    case 0x800: return 1414;
    case INFTR_CLASS_ERROR:
    case INFTR_CLASS_EXCEPTION: return 1415;
    case 0x20: return 1416;
    case 0x1000: return 1412;
    case 0x2000: return 1410;
    case 0x4000: return 1411;
    default: return TYPE_OTHER;
    }
}

// Looks the time zone up again when the clock has entered a new hour since the last look.
static void refreshTimeZone(u32 Seconds)
{
    static u32 nextHour = 0; // the hour last looked up, plus 1; 0 before the first record
    const u32 hour = Seconds / 3600;
    if (__builtin_expect(hour < __atomic_load_n(&nextHour, __ATOMIC_RELAXED), 1)) return;
    __atomic_store_n(&nextHour, hour + 1, __ATOMIC_RELAXED);
    _tzset();
}

static void stamp(InfTR_TraceHeader *Header)
{
    SupOS_ClockNano(&Header->Seconds, &Header->NanoSeconds);
    i64 counter;
    QueryPerformanceCounter(&counter);
    Header->CounterHigh = static_cast<u32>(static_cast<u64>(counter) >> 32);
    Header->CounterLow = static_cast<u32>(counter);
    refreshTimeZone(Header->Seconds);
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
    for (u32 at = length; at < padded; ++at) Record->Data[at] = 0;
    Record->TraceHeader.DataLength = static_cast<u16>(padded);
}

void InfTR_SysTrcgen(TraceRecord *Record)
{
    const int callersErrno = errno; // a traced function may have set it for its own caller
    InfTR_TraceHeader *const header = &Record->TraceHeader;
    const u32 recordClass = header->Class; // a message on the way to a sink may use the record for itself
    if (recordClass == INFTR_CLASS_ENTRY || recordClass == INFTR_CLASS_API_ENTRY) ++header->Depth;
    padData(Record);
    header->RecordType = recordTypeOf(recordClass);
    stamp(header);

    struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    if (master != nullptr && InfTR_Read(master->TraceFlagBuffer) == 1) InfTR_WriteTraceToBuffer(Record);
    if (master != nullptr && InfTR_Read(master->TraceFlagAux) == 1) InfTR_WriteTraceToAuxFile(Record);

    // An entry shows its own depth, and so does the exit: it counts down only when it is written.
    const bool leaves = recordClass == INFTR_CLASS_ERROR_EXIT || recordClass == INFTR_CLASS_TYPED_EXIT ||
                        recordClass == INFTR_CLASS_VOID_EXIT;
    if (leaves && header->Depth > 0) --header->Depth;
    errno = callersErrno;
}

void InfTR_WriteTraceToBuffer(TraceRecord *Record)
{
    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (cache == nullptr) return;
    const u8 *const from = reinterpret_cast<const u8 *>(Record);
    const i32 total = Record->TraceHeader.DataLength + INFTR_HEADER_SIZE;

    tks_MutexLock(&cache->RingLock);
    InfTR_RingHeader *const ring = &cache->Ring;
    u8 *const data = cache->RingData;
    const i32 first = ring->RingFree < total ? ring->RingFree : total;
    const i32 rest = total - first;
    if (first > 0) {
        memcpy(data + ring->RingOffset, from, static_cast<size_t>(first));
        ring->RingOffset += first;
        ring->RingFree -= first;
    }
    if (rest > 0) {
        memcpy(data, from + first, static_cast<size_t>(rest));
        ring->RingOffset = rest;
        ring->RingFree = ring->RingSize - rest;
    }
    tks_MutexUnlock(&cache->RingLock);
}
