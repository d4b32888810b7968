// Process and thread: the trace state that every guard reads, its start and its end.
//
// A start publishes its parts in the order in which a guard reads them backwards: first cache, ring and slots are
// complete, then InfTR_CachePtr is set, last InfTR_TracePtr. A guard that comes too early finds a NULL and says no.
//
// The end of a thread poisons its slots before it frees what they held, so a late trace point gives up instead of
// building a record in a freed block. There is no end of the process: cache and master area live as long as it does.

#include <cstring>

#include "crt.h"
#include "inftr_int.h"
#include "super_logging.h"
#include "supos_inner.h"
#include "suppr_names.h"
#include "tks_memory.h"

static const char sourceFile[] = "inf\\tr\\src\\inftr_iprc";

struct InfTR_MasterTraceArea InfTR_MasterTraceArea;
struct InfTR_MasterTraceArea *InfTR_TracePtr = nullptr;
struct InfTR_ProcessCache *InfTR_CachePtr = nullptr;

const u32 InfTR_ProductMaskTable[INFTR_LEVEL_COUNT] = {
    0, // nothing
    INFTR_LEVEL_MASK_1, // errors, exceptions, class 0x20
    INFTR_LEVEL_MASK_2, // and class 0x4
    INFTR_LEVEL_MASK_3, // and events, classes 0x1 and 0x800
    INFTR_LEVEL_MASK_4, // and entries and exits
    INFTR_LEVEL_MASK_5, // and mid points and hex data
};

constexpr u32 NO_SLOT = 0xFFFFFFFFu;

u32 InfTR_RecordSlot = NO_SLOT;
u32 InfTR_FileSlot = NO_SLOT;

// The ring: a dump is a copy of header and data in one piece.
static_assert(sizeof(InfTR_RingHeader) == 36);
static_assert(offsetof(InfTR_RingHeader, RingSize) == 8);
static_assert(offsetof(InfTR_RingHeader, RingOffset) == 12);
static_assert(offsetof(InfTR_RingHeader, RingFree) == 16);
static_assert(offsetof(InfTR_RingHeader, RingRegion) == 20);
static_assert(offsetof(InfTR_RingHeader, RingProgram) == 28);
static_assert(offsetof(InfTR_ProcessCache, RingData) == offsetof(InfTR_ProcessCache, Ring) + sizeof(InfTR_RingHeader));
static_assert(offsetof(struct InfTR_MasterTraceArea, TraceSystemSpec) ==
              offsetof(struct InfTR_MasterTraceArea, TraceSpecTable) + 2 * 1740 + 9);

void InfTR_PadName(char *Out, const char *Text)
{
    const size_t length = strnlen(Text, 8);
    memcpy(Out, Text, length);
    memset(Out + length, ' ', 8 - length);
}

// The part of a path behind its last separator.
static const char *baseName(const char *Path)
{
    const char *base = Path;
    for (const char *at = Path; *at != '\0'; ++at) {
        if (*at == '\\' || *at == '/') base = at + 1;
    }
    return base;
}

static void initialiseFile(TraceFile *File)
{
    tks_MutexInit(&File->Lock);
    File->FileStatus = INFTR_FILESTATUS_UNINIT;
}

static void fillCache(InfTR_ProcessCache *Cache, const char *ProgramPath, const char *RegionName, i32 RingSize)
{
    static char eightBlanks[] = "        ";

    memcpy(Cache->EyeCatcher, "ERZ49PRC", sizeof Cache->EyeCatcher);
    memcpy(Cache->Ring.RingEyeCatcher, "ERZ49RNG", sizeof Cache->Ring.RingEyeCatcher);

    Cache->RegionNamePtr = eightBlanks;
    memcpy(Cache->RegionField, RegionName, strnlen(RegionName, 8));
    Cache->RegionNamePtr = Cache->RegionField;
    const char *const program = baseName(ProgramPath);
    memcpy(Cache->ProgramField, program, strnlen(program, 8));

    Cache->ProcessId = static_cast<u32>(_getpid());
    memset(Cache->ProcessTag, ' ', sizeof Cache->ProcessTag);

    for (TraceFile &file : Cache->ProcessFiles) initialiseFile(&file);
    tks_MutexInit(&Cache->ThreadFileLock);
    tks_MutexInit(&Cache->ProcessFileLock);
    tks_MutexInit(&Cache->RingLock);
    Cache->ThreadFileList = nullptr;

    Cache->Ring.RingSize = RingSize;
    Cache->Ring.RingOffset = 0;
    Cache->Ring.RingFree = RingSize;
    InfTR_PadName(Cache->Ring.RingRegion, Cache->RegionField);
    InfTR_PadName(Cache->Ring.RingProgram, Cache->ProgramField);
}

void InfTR_InitProcess(char *ProgramPath, char *RegionName, u32 Word, u32, i32 ProductIndex)
{
    INFTR_FUNCTION(INFTR, "InfTR_InitProcess");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %u, %d)", static_cast<void *>(ProgramPath),
                static_cast<void *>(RegionName), Word, ProductIndex);

    char empty[] = "";
    if (ProgramPath == nullptr) ProgramPath = empty;
    if (RegionName == nullptr) RegionName = empty;

    SupOS_SetCopyRightStr();
    SupPR_InitNames(RegionName); // a name that cannot be used shows in the table, not here

    i32 ringSize = InfTR_MasterTraceArea.TraceMaxSizeBuffer;
    if (ringSize < INFTR_MAXSIZE_RECORD) ringSize = INFTR_MAXSIZE_RECORD;
    size_t size = offsetof(InfTR_ProcessCache, RingData) + static_cast<size_t>(ringSize) + 4;
    if (size < sizeof(InfTR_ProcessCache)) size = sizeof(InfTR_ProcessCache);
    void *const block = tks_trace_Malloc(size, sourceFile, __LINE__);
    if (block == nullptr) {
        InfTR_Write(InfTR_CachePtr, static_cast<InfTR_ProcessCache *>(nullptr));
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_NO_MEMORY, 452);
        INFTR_RETURN(1);
    }
    memset(block, 0, size);
    InfTR_ProcessCache *const cache = static_cast<InfTR_ProcessCache *>(block);
    cache->ProductIndex = ProductIndex;
    cache->StartWord = Word;
    fillCache(cache, ProgramPath, RegionName, ringSize);

    if (InfTR_RecordSlot == NO_SLOT) InfTR_RecordSlot = tks_ThreadAllocDataSlot();
    if (InfTR_FileSlot == NO_SLOT) InfTR_FileSlot = tks_ThreadAllocDataSlot();

    InfTR_Write(InfTR_CachePtr, cache);
    InfTR_Write(InfTR_TracePtr, &InfTR_MasterTraceArea);
    INFTR_RETURN(2);
}

// Takes a thread's file off the process's list. False when the process is ending, which leaves everything in place.
static bool unlinkFile(InfTR_ProcessCache *Cache, const TraceFile *File)
{
    tks_MutexLock(&Cache->ThreadFileLock);
    const bool ending = InfTR_Read(Cache->TerminateFlag) != 0;
    if (!ending) {
        TraceFile **link = &Cache->ThreadFileList;
        while (*link != nullptr && *link != File) link = &(*link)->Next;
        if (*link != nullptr) *link = File->Next;
    }
    tks_MutexUnlock(&Cache->ThreadFileLock);
    return !ending;
}

void InfTR_ThreadExit(u16 Component, const char *FunctionName, u32 Point)
{
    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (InfTR_Read(InfTR_TracePtr) == nullptr || cache == nullptr) return;

    // required: the level of this component decides, the record shows the caller's
    if (InfTR_Guard(INFTR_COMPONENT_INFTR, INFTR_CLASS_VOID_EXIT)) InfTR_TraceVoidExit(Component, FunctionName, Point);

    void *const slot = tks_ThreadGetData(InfTR_FileSlot);
    if (slot != nullptr && slot != INFTR_SLOT_DEAD) {
        TraceFile *const file = static_cast<TraceFile *>(slot);
        if (!unlinkFile(cache, file)) return;
        tks_MutexLock(&file->Lock);
        if (file->FileStatus == INFTR_FILESTATUS_OPEN) InfTR_TempCloseTraceFile(file);
        file->FileStatus = INFTR_FILESTATUS_DEAD;
        tks_MutexUnlock(&file->Lock);
        tks_ThreadSetData(InfTR_FileSlot, INFTR_SLOT_DEAD, nullptr);
        tks_trace_Free(file);
    }

    void *const buffer = tks_ThreadGetData(InfTR_RecordSlot);
    if (buffer != nullptr && buffer != INFTR_SLOT_DEAD) {
        tks_ThreadSetData(InfTR_RecordSlot, INFTR_SLOT_DEAD, nullptr);
        tks_trace_Free(buffer);
    }
}

void InfTR_ProcessTerminate(void)
{
    if (InfTR_Read(InfTR_TracePtr) == nullptr) return;
    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr); // NULL after a start that failed half-way
    if (cache != nullptr && InfTR_Read(cache->TerminateFlag) != 0) return;
    InfTR_ControlAux(INFTR_COMMAND_TERMINATE);
}

i32 InfTR_GetNextDumpIndex(void)
{
    struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    if (master == nullptr) return 0;
    tks_MutexLock(&master->MasterLock);
    const i32 index = master->NextDumpIndex;
    master->NextDumpIndex = static_cast<i32>(static_cast<u32>(index) + 1);
    tks_MutexUnlock(&master->MasterLock);
    return index;
}
