// Process and thread: what a start puts where, what the guard reads, and how threads and processes end.

#include <sys/mman.h>

#include "trace_case.h"

#include "tks_memory.h"

// Every field that leaves the process or that other modules reach.
static_assert(offsetof(InfTR_TraceHeader, DataLength) == 20 && offsetof(InfTR_TraceHeader, Class) == 52);
static_assert(sizeof(InfTR_TraceHeader) == 56 && sizeof(InfTR_RingHeader) == 36);
static_assert(sizeof(InfTR_MasterTraceArea.TraceSpecTable) == 2 * 1740);

static u8 &levelOf(u32 Component)
{
    const u32 table = InfTR_MasterTraceArea.SpecTableInUse == 1 ? 0 : 1;
    return InfTR_MasterTraceArea.TraceSpecTable[table][Component];
}

TEST(Trace, DoesNothingBeforeTheStart)
{
    if (InfTR_TracePtr != nullptr) GTEST_SKIP() << "this process has started its trace";
    EXPECT_EQ(InfTR_Guard(INFTR_COMPONENT_SUPOS, INFTR_CLASS_ERROR), 0);
    EXPECT_EQ(InfTR_EntryArgs("(void)"), nullptr);
    InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, nullptr);
    InfTR_TraceVoidExit(58, "F", 1);
    InfTR_TraceErrorExit(58, "F", 2, 1);
    u32 value = 3;
    InfTR_TraceTypedExit(58, "F", 4, &value, 1);
    InfTR_DumpRingBuffer(0, nullptr);
    InfTR_ThreadExit(58, "F", 1);
    InfTR_ProcessTerminate();
    EXPECT_EQ(InfTR_GetNextDumpIndex(), 0);
    EXPECT_EQ(InfTR_GetNextDumpIndex(), 0);
    EXPECT_EQ(InfTR_CachePtr, nullptr);
    EXPECT_EQ(InfTR_OptionRow(*InfTR_GetOption(&InfTR_TC_ActionList[1], "-n")).TakesValue, 1u);
}

TEST(InfTR_SInit, FillsTheMasterAreaWithTheDefaults)
{
    Case_Start(nullptr);
    const auto &master = InfTR_MasterTraceArea;
    EXPECT_EQ(InfTR_TracePtr, &InfTR_MasterTraceArea);
    EXPECT_EQ(memcmp(master.EyeCatcher, "ERZ49MST", 8), 0);
    EXPECT_EQ(master.TraceFlagAux, 0u);
    EXPECT_EQ(master.TraceFlagBuffer, 0u);
    EXPECT_EQ(master.TraceFlagExec, 0u);
    EXPECT_EQ(master.TraceFlagExternal, 0u);
    EXPECT_EQ(master.ReservedFlag, 0u);
    EXPECT_EQ(master.TraceFlagMaster, 0u);
    EXPECT_EQ(master.TraceFlagSystem, 0u);
    EXPECT_EQ(master.TraceFlagUser, 0u);
    EXPECT_EQ(master.TraceMaxSizeAux, 0);
    EXPECT_EQ(master.TraceMaxSizeBuffer, 131072);
    EXPECT_EQ(master.NextDumpIndex, 0);
    EXPECT_STREQ(master.TraceSystemSpec, "ALL=0");
    EXPECT_STREQ(master.TraceDirectorySystem, ".");
    EXPECT_STREQ(master.TraceDirectoryUser, ".");
    EXPECT_EQ(master.SpecTableInUse, 1u);
}

TEST(InfTR_InitProcess, FillsTheCache)
{
    Case_Start("-b 8192", "/usr/lib/program1");
    InfTR_ProcessCache *const cache = InfTR_CachePtr;
    ASSERT_NE(cache, nullptr);
    EXPECT_EQ(memcmp(cache->EyeCatcher, "ERZ49PRC", 8), 0);
    EXPECT_EQ(cache->RegionNamePtr, cache->RegionField);
    EXPECT_EQ(cache->ProcessId, static_cast<u32>(getpid()));
    EXPECT_EQ(cache->ProductIndex, 0);
    EXPECT_EQ(cache->StartWord, 0u);
    EXPECT_EQ(memcmp(cache->ProcessTag, "    ", 4), 0);
    EXPECT_EQ(cache->Unused, 0u);
    EXPECT_EQ(cache->TerminateFlag, 0u);
    EXPECT_EQ(cache->ZeroedWords[0], 0u);
    EXPECT_EQ(cache->ZeroedWords[1], 0u);
    EXPECT_EQ(cache->ThreadFileList, nullptr);
    for (TraceFile &file : cache->ProcessFiles) {
        EXPECT_EQ(file.FileStatus, INFTR_FILESTATUS_UNINIT);
        tks_MutexLock(&file.Lock);
        tks_MutexUnlock(&file.Lock);
    }
    EXPECT_STREQ(cache->RegionField, "TESTREG");
    EXPECT_STREQ(cache->ProgramField, "program1");
    EXPECT_EQ(memcmp(cache->Ring.RingEyeCatcher, "ERZ49RNG", 8), 0);
    EXPECT_EQ(cache->Ring.RingSize, 8192);
    EXPECT_EQ(cache->Ring.RingOffset, 0);
    EXPECT_EQ(cache->Ring.RingFree, 8192);
    EXPECT_EQ(memcmp(cache->Ring.RingRegion, "TESTREG ", 8), 0);
    EXPECT_EQ(memcmp(cache->Ring.RingProgram, "program1", 8), 0);
}

TEST(InfTR_InitProcess, TakesTheProgramsNameBehindTheLastSeparator)
{
    const char *const rows[][2] = {
        {"prog", "prog"},
        {"C:\\opt\\vela\\bin\\short", "short"},
        {"/opt/vela/bin/longprogramname", "longprog"},
        {"a/b\\c", "c"},
        {"a\\b/c", "c"},
        {"ends\\", ""},
        {"exactly8", "exactly8"},
        {"", ""},
    };
    for (const auto &row : rows) {
        Case_Start(nullptr, row[0]);
        EXPECT_STREQ(InfTR_CachePtr->ProgramField, row[1]) << row[0];
        char padded[9];
        snprintf(padded, sizeof padded, "%-8s", row[1]);
        EXPECT_EQ(memcmp(InfTR_CachePtr->Ring.RingProgram, padded, 8), 0) << row[0];
    }
}

TEST(InfTR_InitProcess, CutsTheRegionToEightAndTakesNullsAsEmpty)
{
    Case_Start(nullptr, "p", "REGION789");
    EXPECT_STREQ(InfTR_CachePtr->RegionField, "REGION78");
    EXPECT_EQ(memcmp(InfTR_CachePtr->Ring.RingRegion, "REGION78", 8), 0);

    Case_KeepCache();
    InfTR_InitProcess(nullptr, nullptr, 7, 99, 0);
    EXPECT_STREQ(InfTR_CachePtr->RegionField, "");
    EXPECT_STREQ(InfTR_CachePtr->ProgramField, "");
    EXPECT_EQ(memcmp(InfTR_CachePtr->Ring.RingRegion, "        ", 8), 0);
    EXPECT_EQ(InfTR_CachePtr->StartWord, 7u);
}

TEST(InfTR_InitProcess, WorksOnAMasterAreaThatTheCallerFilled)
{
    Scratch_MakeRoot();
    Case_KeepCache();
    auto &master = InfTR_MasterTraceArea;
    memset(static_cast<void *>(&master), 0, sizeof master);
    memcpy(master.EyeCatcher, "ERZ49MST", 8);
    tks_MutexInit(&master.MasterLock);
    master.TraceFlagBuffer = master.TraceFlagMaster = master.TraceFlagSystem = 1;
    master.TraceMaxSizeBuffer = 4096;
    memset(master.TraceSpecTable[1], 4, INFTR_COMPONENT_COUNT);
    char program[] = "own";
    char region[] = "TESTREG";
    InfTR_InitProcess(program, region, 1, 2, 0);
    EXPECT_EQ(InfTR_TracePtr, &master);
    EXPECT_EQ(Ring_LastExitPoint("InfTR_InitProcess"), 2u);
    EXPECT_EQ(InfTR_GetNextDumpIndex(), 0);
    EXPECT_EQ(InfTR_GetNextDumpIndex(), 1);
}

TEST(InfTR_InitProcess, LaterSizeLeavesTheRing)
{
    Case_Start("-b 8192");
    char options[] = "-b 65536";
    InfTR_UpdateMasterTrace(InfTR_TracePtr, options, 0);
    EXPECT_EQ(InfTR_MasterTraceArea.TraceMaxSizeBuffer, 65536);
    EXPECT_EQ(InfTR_CachePtr->Ring.RingSize, 8192);
}

static void *failLarge(size_t Size)
{
    return Size > 100000 ? nullptr : malloc(Size);
}

TEST(InfTR_InitProcess, LogsMissingMemory)
{
    Case_Start(nullptr);
    Case_KeepCache();
    Case_Faults faults;
    Plat_Sys.Malloc = failLarge;
    char program[] = "p";
    char region[] = "TESTREG";
    const std::string said = Case_Stderr([&] { InfTR_InitProcess(program, region, 0, 0, 0); });
    EXPECT_THAT(said, HasSubstr("ERZ049010E/0452"));
    EXPECT_EQ(InfTR_CachePtr, nullptr);
    InfTR_ProcessTerminate(); // a start that failed half-way
    EXPECT_EQ(InfTR_Guard(INFTR_COMPONENT_SUPOS, INFTR_CLASS_ERROR), 0);
}

TEST(InfTR_SInitDeathTest, EndsTheProcessWithoutACache)
{
    Scratch_MakeRoot();
    const auto start = [] {
        Plat_Sys.Malloc = failLarge;
        Case_Start(nullptr);
    };
    EXPECT_EXIT(start(), testing::ExitedWithCode(99),
                "ERZ049010E/0452(.|\n)*ERZ057002E/0802(.|\n)*\\(InfTR_CachePtr != NULL\\)(.|\n)*"
                "InfTR_InitProcess failed to set the InfTR_TracePtr(.|\n)*ERZ057006E/0802");
}

static bool sawMasterWithoutCache;

static void *lookAtStart(size_t Size)
{
    if (InfTR_TracePtr != nullptr && InfTR_CachePtr == nullptr) {
        sawMasterWithoutCache = InfTR_Guard(INFTR_COMPONENT_SUPOS, INFTR_CLASS_ERROR) == 0;
    }
    return malloc(Size);
}

TEST(InfTR_Guard, FindsLevelZeroWhileTheCacheIsMissing)
{
    Scratch_MakeRoot();
    Case_KeepCache();
    InfTR_CachePtr = nullptr;
    Case_Faults faults;
    Plat_Sys.Malloc = lookAtStart;
    sawMasterWithoutCache = false;
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    EXPECT_TRUE(sawMasterWithoutCache);
    EXPECT_NE(InfTR_Guard(INFTR_COMPONENT_SUPOS, INFTR_CLASS_ERROR), 0);
}

TEST(InfTR_Guard, LetsThroughWhatTheLevelsMaskHolds)
{
    const u32 masks[] = {0x00000, 0x00038, 0x0003C, 0x0083F, 0x00FFF, 0x18FFF};
    Case_Start("-B ON -M ON -S ON");
    for (u32 level = 0; level < 6; ++level) {
        EXPECT_EQ(InfTR_ProductMaskTable[level], masks[level]);
        levelOf(INFTR_COMPONENT_SUPOS) = static_cast<u8>(level);
        for (u32 bit = 0; bit < 32; ++bit) {
            const bool taken = InfTR_Guard(INFTR_COMPONENT_SUPOS, 1u << bit) != 0;
            EXPECT_EQ(taken, (masks[level] >> bit & 1) != 0) << "level " << level << " bit " << bit;
            EXPECT_EQ(InfTR_Guard(INFTR_COMPONENT_SUPPR, 1u << bit), 0);
        }
    }
}

TEST(InfTR_Guard, ComparesFlagsWithOne)
{
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    auto &master = InfTR_MasterTraceArea;
    for (u32 value : {0u, 1u, 2u, 3u, 0xFFFFFFFFu}) {
        master.TraceFlagMaster = value;
        EXPECT_EQ(InfTR_Guard(58, INFTR_CLASS_ERROR) != 0, value == 1);
        master.TraceFlagMaster = 1;
        master.TraceFlagSystem = value;
        EXPECT_EQ(InfTR_Guard(58, INFTR_CLASS_ERROR) != 0, value == 1);
        master.TraceFlagSystem = 1;
    }
}

TEST(InfTR_Guard, ReadsTheTableInUse)
{
    Case_Start("-B ON -M ON -S ON");
    auto &master = InfTR_MasterTraceArea;
    master.TraceSpecTable[0][58] = 5;
    for (u32 inUse : {0u, 1u, 2u, 3u}) {
        master.SpecTableInUse = inUse;
        EXPECT_EQ(InfTR_Guard(58, INFTR_CLASS_HEX) != 0, inUse == 1);
    }
    master.TraceSpecTable[1][58] = 5;
    master.TraceSpecTable[0][58] = 0;
    for (u32 inUse : {0u, 1u, 2u, 3u}) {
        master.SpecTableInUse = inUse;
        EXPECT_EQ(InfTR_Guard(58, INFTR_CLASS_HEX) != 0, inUse != 1);
    }
}

TEST(InfTR_Guard, LooksAtTheProductIndex)
{
    Case_Start("-B ON -M ON -S ON -t SUPOS=5");
    EXPECT_NE(InfTR_Guard(58, INFTR_CLASS_ENTRY), 0);
    InfTR_CachePtr->ProductIndex = 1;
    memset(InfTR_MasterTraceArea.TraceSpecTable, 5, sizeof InfTR_MasterTraceArea.TraceSpecTable);
    for (u32 component = 0; component < INFTR_COMPONENT_COUNT; ++component) {
        EXPECT_EQ(InfTR_Guard(component, INFTR_CLASS_ERROR), 0);
    }
    InfTR_CachePtr->ProductIndex = 14;
    EXPECT_EQ(InfTR_Guard(58, INFTR_CLASS_ERROR), 0);

    // a plain sum: one product further down reads the component one further down
    memset(InfTR_MasterTraceArea.TraceSpecTable, 0, sizeof InfTR_MasterTraceArea.TraceSpecTable);
    InfTR_MasterTraceArea.TraceSpecTable[0][57] = 5;
    InfTR_CachePtr->ProductIndex = -1;
    EXPECT_NE(InfTR_Guard(58, INFTR_CLASS_ENTRY), 0);
    EXPECT_EQ(InfTR_Guard(57, INFTR_CLASS_ENTRY), 0);
    EXPECT_EQ(InfTR_Guard(0, INFTR_CLASS_ENTRY), 0);
}

TEST(InfTR_ProcessCache, AProductOtherThanTheFirstTracesNothing)
{
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    Case_KeepCache();
    char program[] = "p";
    char region[] = "TESTREG";
    InfTR_InitProcess(program, region, 0, 0, 1);
    InfTR_ControlAux(4);
    EXPECT_EQ(InfTR_CachePtr->ProductIndex, 1);
    EXPECT_TRUE(Ring_Records().empty());
}

TEST(InfTR_ThreadExit, ShowsTheCallersComponentAtTheLevelOfTheTrace)
{
    Case_Start("-B ON -M ON -S ON -t INFTR=4");
    std::thread([] { InfTR_ThreadExit(62, "TerBM_Thread", 9); }).join();
    const Ring_Record record = Case_LastRecord();
    EXPECT_EQ(record.Function, "TerBM_Thread");
    EXPECT_EQ(record.Point, 9u);
    EXPECT_EQ(record.Header.Component, 62);
    EXPECT_EQ(record.Header.Class, INFTR_CLASS_VOID_EXIT);

    Case_Start("-B ON -M ON -S ON -t TERBM=5");
    std::thread([] { InfTR_ThreadExit(62, "TerBM_Thread", 9); }).join();
    EXPECT_TRUE(Ring_Records().empty());
}

static thread_local int allocations;

static void *countMalloc(size_t Size)
{
    ++allocations;
    return malloc(Size);
}

TEST(InfTR_ThreadExit, LeavesAThreadThatTracesNoMore)
{
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    Case_Faults faults;
    Plat_Sys.Malloc = countMalloc;
    std::thread([] {
        InfTR_TraceVoidExit(58, "F", 1);
        InfTR_ThreadExit(58, "F", 2);
        const size_t records = Ring_Records().size();
        EXPECT_EQ(tks_ThreadGetData(InfTR_RecordSlot), INFTR_SLOT_DEAD);
        allocations = 0;
        InfTR_TraceVoidExit(58, "F", 3);
        InfTR_TraceErrorExit(58, "F", 3, 3);
        InfTR_TraceEvent(58, 3, 0, nullptr);
        InfTR_TraceHex(58, "F", 1, "abc", 3, 0);
        EXPECT_EQ(InfTR_EntryArgs("(void)"), nullptr);
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        InfTR_TraceMid(58, "F", 1, InfTR_MidArgs("x"));
        InfTR_ThreadExit(58, "F", 4);
        EXPECT_EQ(allocations, 0);
        EXPECT_EQ(Ring_Records().size(), records);
    }).join();
}

static size_t openDescriptors()
{
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

TEST(InfTR_ThreadExit, ClosesTheThreadsFileAndTakesItOffTheList)
{
    Case_Start(("-A ON -M ON -S ON -t INFTR=1 -d " + Case_Directory()).c_str());
    const size_t before = openDescriptors();
    std::thread([before] {
        InfTR_TraceVoidExit(58, "F", 1);
        EXPECT_EQ(openDescriptors(), before + 1);
        EXPECT_EQ(InfTR_CachePtr->ThreadFileList, tks_ThreadGetData(InfTR_FileSlot));
        InfTR_ThreadExit(58, "F", 2);
        EXPECT_EQ(openDescriptors(), before);
        EXPECT_EQ(InfTR_CachePtr->ThreadFileList, nullptr);
        EXPECT_EQ(tks_ThreadGetData(InfTR_FileSlot), INFTR_SLOT_DEAD);
    }).join();
}

TEST(InfTR_ThreadExit, TakesItsFileOutOfTheMiddleOfTheList)
{
    Case_Start(("-A ON -M ON -S ON -t INFTR=1 -d " + Case_Directory()).c_str());
    Case_InThread([] {
        InfTR_TraceVoidExit(58, "F", 1);
        TraceFile *const outer = InfTR_CachePtr->ThreadFileList;
        Case_InThread([outer] {
            InfTR_TraceVoidExit(58, "F", 1);
            TraceFile *const middle = InfTR_CachePtr->ThreadFileList;
            std::thread([middle] {
                InfTR_TraceVoidExit(58, "F", 1);
                EXPECT_EQ(InfTR_CachePtr->ThreadFileList->Next, middle);
                // the middle one cannot end from here; this one is first and goes first
                InfTR_ThreadExit(58, "F", 1);
            }).join();
            EXPECT_EQ(InfTR_CachePtr->ThreadFileList, middle);
            EXPECT_EQ(middle->Next, outer);
        });
        EXPECT_EQ(InfTR_CachePtr->ThreadFileList, outer);
    });
    EXPECT_EQ(InfTR_CachePtr->ThreadFileList, nullptr);
}

TEST(InfTR_ThreadExit, KeepsFileAndBufferWhenTheProcessIsEnding)
{
    Case_Start(("-A ON -B ON -M ON -S ON -t INFTR=1 -d " + Case_Directory()).c_str());
    std::thread([] {
        InfTR_TraceVoidExit(58, "F", 1);
        void *const file = tks_ThreadGetData(InfTR_FileSlot);
        void *const buffer = tks_ThreadGetData(InfTR_RecordSlot);
        InfTR_CachePtr->TerminateFlag = 1;
        InfTR_ThreadExit(58, "F", 2);
        EXPECT_EQ(tks_ThreadGetData(InfTR_FileSlot), file);
        EXPECT_EQ(tks_ThreadGetData(InfTR_RecordSlot), buffer);
        EXPECT_EQ(InfTR_CachePtr->ThreadFileList, file);
        InfTR_CachePtr->TerminateFlag = 0;
        InfTR_ThreadExit(58, "F", 3);
        EXPECT_EQ(InfTR_CachePtr->ThreadFileList, nullptr);
    }).join();
}

TEST(InfTR_ThreadExit, FreesTheBufferOfAThreadWithoutAFileEvenThen)
{
    Case_Start("-B ON -M ON -S ON -t INFTR=1");
    std::thread([] {
        InfTR_TraceVoidExit(58, "F", 1);
        InfTR_CachePtr->TerminateFlag = 1;
        InfTR_ThreadExit(58, "F", 2);
        EXPECT_EQ(tks_ThreadGetData(InfTR_RecordSlot), INFTR_SLOT_DEAD);
        EXPECT_EQ(tks_ThreadGetData(InfTR_FileSlot), nullptr);
        InfTR_CachePtr->TerminateFlag = 0;
    }).join();
}

TEST(InfTR_ProcessTerminate, LeavesOnlyTheRecordsOfItsCommand)
{
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    Ring_Clear();
    Case_InThread([] {
        InfTR_ProcessTerminate();
        const std::vector<Ring_Record> records = Ring_Records();
        ASSERT_EQ(records.size(), 2u);
        EXPECT_EQ(records[0].Function, "InfTR_ControlAux");
        EXPECT_EQ(records[0].Header.RecordType, 1413);
        EXPECT_EQ(records[0].Text, "(0x4)");
        EXPECT_EQ(records[1].Function, "InfTR_ControlAux");
        EXPECT_EQ(records[1].Header.RecordType, 1414);
        EXPECT_EQ(records[1].Header.Component, 49);

        InfTR_CachePtr->TerminateFlag = 1;
        InfTR_ProcessTerminate();
        EXPECT_EQ(Ring_Records().size(), 2u);
        InfTR_CachePtr->TerminateFlag = 0;
    });
}

TEST(InfTR_GetNextDumpIndex, CountsFromZero)
{
    Case_Start(nullptr);
    for (i32 index = 0; index < 5; ++index) EXPECT_EQ(InfTR_GetNextDumpIndex(), index);
    InfTR_MasterTraceArea.NextDumpIndex = 0x7FFFFFFF;
    EXPECT_EQ(InfTR_GetNextDumpIndex(), 0x7FFFFFFF);
    EXPECT_EQ(InfTR_GetNextDumpIndex(), static_cast<i32>(0x80000000));
}
