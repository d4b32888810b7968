// Stamping and the ring: record types, padding, clock and zone, and how the ring is filled, split and overwritten.

#include <ctime>

#include "trace_case.h"

#include "win32_time.h"

struct Ring : testing::Test {
    void SetUp() override
    {
        Case_Start("-b 8192 -B ON -M ON -S ON -t ALL=0");
        Ring_Clear();
    }
};

static TraceRecord plainRecord(u32 Class, u16 Length, u8 Fill = 0xEE)
{
    TraceRecord record = {};
    memcpy(record.TraceHeader.EyeCatcher, InfTR_RecordEyeCatcher, 4);
    record.TraceHeader.ProcessId = 1;
    record.TraceHeader.Class = Class;
    record.TraceHeader.DataLength = Length;
    memset(record.Data, Fill, sizeof record.Data);
    return record;
}

TEST_F(Ring, TheClassGivesTheRecordType)
{
    const u32 rows[][2] = {
        {0x0, 1409},   {0x1, 1409},    {0x2, 1409},        {0x4, 1409},    {0x8, 1415},    {0x10, 1415},
        {0x20, 1416},  {0x40, 1413},   {0x80, 1413},       {0x100, 1414},  {0x200, 1414},  {0x400, 1414},
        {0x800, 1414}, {0x1000, 1412}, {0x2000, 1410},     {0x4000, 1411}, {0x8000, 1409}, {0x10000, 1409},
        {0x140, 1409}, {0x18, 1409},   {0x80000000, 1409},
    };
    for (const auto &row : rows) {
        TraceRecord record = plainRecord(row[0], 4);
        InfTR_SysTrcgen(&record);
        EXPECT_EQ(record.TraceHeader.RecordType, row[1]) << std::hex << row[0];
    }
}

TEST_F(Ring, DataIsPaddedWithZeros)
{
    for (u16 length = 0; length <= 4040; ++length) {
        TraceRecord record = plainRecord(0x2, length);
        InfTR_SysTrcgen(&record);
        const u32 padded = (length + 3u) & ~3u;
        ASSERT_EQ(record.TraceHeader.DataLength, padded);
        for (u32 at = 0; at < padded; ++at) ASSERT_EQ(record.Data[at], at < length ? 0xEE : 0) << length;
        if (padded < 4040) {
            ASSERT_EQ(record.Data[padded], 0xEE);
        }
    }
}

TEST(RingDeathTest, DataBeyondTheLimitEndsTheProcess)
{
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    for (u16 length : {u16{4041}, u16{4044}, u16{65535}}) {
        TraceRecord record = plainRecord(0x2, length);
        EXPECT_EXIT(InfTR_SysTrcgen(&record), testing::ExitedWithCode(99),
                    "ERZ057002E/0351: .*\\(TraceRecPtr->TraceHeader.DataLength <= INFTR_MAXSIZE_DATA\\)(.|\n)*"
                    "Trace data length [0-9]+ > 4040 bytes");
    }
    TraceRecord largest = plainRecord(0x2, 4040);
    InfTR_SysTrcgen(&largest);
    EXPECT_EQ(largest.TraceHeader.DataLength, 4040);
}

TEST_F(Ring, DepthCountsEntriesUpAndExitsDown)
{
    for (u32 recordClass : {0x1u, 0x2u, 0x8u, 0x10u, 0x20u, 0x800u, 0x1000u, 0x8000u, 0x10000u}) {
        TraceRecord record = plainRecord(recordClass, 0);
        record.TraceHeader.Depth = 3;
        InfTR_SysTrcgen(&record);
        EXPECT_EQ(record.TraceHeader.Depth, 3) << recordClass;
    }
    for (u32 recordClass : {0x100u, 0x200u, 0x400u}) {
        TraceRecord record = plainRecord(recordClass, 0);
        record.TraceHeader.Depth = 3;
        InfTR_SysTrcgen(&record);
        EXPECT_EQ(Case_LastRecord().Header.Depth, 3);
        EXPECT_EQ(record.TraceHeader.Depth, 2);
    }
    for (u32 recordClass : {0x40u, 0x80u}) {
        TraceRecord record = plainRecord(recordClass, 40);
        InfTR_SysTrcgen(&record);
        EXPECT_EQ(Case_LastRecord().Header.Depth, 1);
        EXPECT_EQ(record.TraceHeader.Depth, 1);
    }
}

static int clockReadings;
static int counterReadings;
static time_t clockNow;

static int testClock(clockid_t Clock, struct timespec *Out)
{
    ++(Clock == CLOCK_REALTIME ? clockReadings : counterReadings);
    if (Clock != CLOCK_REALTIME) return clock_gettime(Clock, Out);
    *Out = {clockNow, 987654321};
    return 0;
}

TEST_F(Ring, ARecordShowsClockCounterAndZone)
{
    setenv("TZ", "XST+3XDT", 1);
    tzset();
    i64 before;
    QueryPerformanceCounter(&before);
    const u32 now = static_cast<u32>(time(nullptr));
    TraceRecord record = plainRecord(0x2, 0);
    InfTR_SysTrcgen(&record);
    i64 after;
    QueryPerformanceCounter(&after);
    const InfTR_TraceHeader &header = record.TraceHeader;
    EXPECT_GE(header.Seconds, now);
    EXPECT_LE(header.Seconds, now + 5);
    EXPECT_LT(header.NanoSeconds, 1000000000u);
    EXPECT_EQ(header.NanoSeconds % 1000, 0u);
    EXPECT_EQ(header.TimeZone, 3 * 3600);
    EXPECT_EQ(header.Daylight, 1);
    const i64 counter = static_cast<i64>(static_cast<u64>(header.CounterHigh) << 32 | header.CounterLow);
    EXPECT_GE(counter, before);
    EXPECT_LE(counter, after);
    unsetenv("TZ");
    tzset();
}

TEST_F(Ring, TheZoneIsLookedUpOncePerHour)
{
    const auto zoneAt = [](time_t When) {
        clockNow = When;
        TraceRecord record = plainRecord(0x2, 0);
        InfTR_SysTrcgen(&record);
        return record.TraceHeader.TimeZone;
    };
    const time_t hour = 3600;
    const time_t start = (time(nullptr) / hour + 10) * hour; // later than any record of this process before
    {
        Case_Faults faults;
        Plat_Sys.ClockGettime = testClock;
        setenv("TZ", "AAA-1", 1);
        if (zoneAt(start) != -3600) GTEST_SKIP() << "the clock of records does not go through the table of calls";
        setenv("TZ", "BBB-2", 1);
        EXPECT_EQ(zoneAt(start + hour - 1), -3600); // still the same hour
        EXPECT_EQ(zoneAt(start - 5 * hour), -3600); // an earlier one
        EXPECT_EQ(zoneAt(start + hour), -7200);
        setenv("TZ", "CCC-3", 1);
        EXPECT_EQ(zoneAt(start + hour), -7200);
        EXPECT_EQ(zoneAt(start + 2 * hour), -10800);
    }
    unsetenv("TZ");
    tzset();
}

// ---- the ring ----

struct RingState {
    i32 Offset, Free;
};

static RingState ringState()
{
    return {InfTR_CachePtr->Ring.RingOffset, InfTR_CachePtr->Ring.RingFree};
}

TEST_F(Ring, ARecordIsSplitOverTheEnd)
{
    InfTR_ProcessCache *const cache = InfTR_CachePtr;
    cache->Ring.RingOffset = 8192 - 10;
    cache->Ring.RingFree = 10;
    TraceRecord record = plainRecord(0x2, 4040, 0x77);
    InfTR_WriteTraceToBuffer(&record);
    EXPECT_EQ(ringState().Offset, 4086);
    EXPECT_EQ(ringState().Free, 8192 - 4086);
    const u8 *const from = reinterpret_cast<const u8 *>(&record);
    EXPECT_EQ(memcmp(cache->RingData + 8182, from, 10), 0);
    EXPECT_EQ(memcmp(cache->RingData, from + 10, 4086), 0);
}

TEST_F(Ring, ARecordThatJustFitsLeavesTheOffsetAtTheEnd)
{
    InfTR_ProcessCache *const cache = InfTR_CachePtr;
    TraceRecord record = plainRecord(0x2, 44);
    cache->Ring.RingOffset = 8092;
    cache->Ring.RingFree = 100;
    InfTR_WriteTraceToBuffer(&record);
    EXPECT_EQ(ringState().Offset, 8192);
    EXPECT_EQ(ringState().Free, 0);
    InfTR_WriteTraceToBuffer(&record);
    EXPECT_EQ(ringState().Offset, 100);
    EXPECT_EQ(ringState().Free, 8092);
    EXPECT_EQ(memcmp(cache->RingData, &record, 100), 0);
}

// A ring as plain as it can be: one byte at a time.
struct ModelRing {
    std::vector<u8> Bytes;
    size_t Next = 0;

    void Put(const void *From, size_t Size)
    {
        for (size_t at = 0; at < Size; ++at) {
            if (Next == Bytes.size()) Next = 0;
            Bytes[Next++] = static_cast<const u8 *>(From)[at];
        }
    }
};

TEST_F(Ring, EqualsAModelOverManyRecords)
{
    ModelRing model{std::vector<u8>(8192), 0};
    u32 random = 12345;
    for (int round = 0; round < 20000; ++round) {
        random = random * 1664525 + 1013904223;
        const u16 length = static_cast<u16>(((random >> 8) % 4044) & ~3u);
        TraceRecord record = plainRecord(0x2, length, static_cast<u8>(round));
        InfTR_WriteTraceToBuffer(&record);
        model.Put(&record, 56u + length);
        ASSERT_EQ(static_cast<size_t>(ringState().Offset), model.Next);
        ASSERT_EQ(static_cast<size_t>(ringState().Free), 8192 - model.Next);
        if (round % 64 == 0) {
            const u8 *const data = InfTR_CachePtr->RingData;
            ASSERT_EQ(memcmp(data, model.Bytes.data(), 8192), 0) << round;
        }
    }
}

TEST_F(Ring, AReaderFindsTheWholeRecordsFromTheOffsetOn)
{
    Case_InThread([] {
        for (u32 id = 0; id < 1000; ++id) InfTR_TraceEvent(58, id, id % 97, std::string(97, 'e').data());
    });
    const std::vector<Ring_Record> records = Ring_Records();
    ASSERT_GT(records.size(), 50u);
    for (size_t at = 1; at < records.size() - 1; ++at) {
        EXPECT_EQ(records[at].Header.Class, INFTR_CLASS_EVENT);
        EXPECT_EQ(records[at].Point, records[at - 1].Point + 1);
    }
}

TEST_F(Ring, TheSequenceNumberComesFromTheFile)
{
    Case_Start(("-b 8192 -A ON -B ON -M ON -S ON -t INFTR=1 -d " + Case_Directory()).c_str());
    Case_InThread([] {
        for (u32 number = 0; number < 5; ++number) {
            InfTR_TraceVoidExit(58, "F", 1);
            EXPECT_EQ(Case_LastRecord().Header.SequenceNumber, number); // that of the record before
        }
    });
    char off[] = "-A OFF";
    InfTR_UpdateMasterTrace(InfTR_TracePtr, off, 0);
    Case_InThread([] {
        for (int round = 0; round < 3; ++round) {
            InfTR_TraceVoidExit(58, "F", 1);
            EXPECT_EQ(Case_LastRecord().Header.SequenceNumber, 0u);
        }
    });
}
