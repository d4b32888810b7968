// The per-thread block of the message facility, its catalogue, and abend codes.
//
// SupER_GetData stands on the path of every log call, before any other state of the library exists and also when the
// trace facility itself has run out of memory. So it carries no guard, and it gives a block even without memory: one on
// its own stack, which lives just long enough to report that and to end the process.
//
// The set-up is double-checked: setupState is read without the lock and becomes 2 only when slot and lock are ready.

#include <cstring>

#include "inftr_guard.h"
#include "super_codes.h"
#include "super_int.h"
#include "super_logging.h"
#include "super_symptoms.h"
#include "tks_catalog.h"
#include "tks_memory.h"
#include "tks_process.h"

static_assert(sizeof(SymptomRecord) == 612);
static_assert(offsetof(SymptomRecord, Func) == 24);
static_assert(offsetof(SymptomRecord, Level) == 55);
static_assert(offsetof(SymptomRecord, Secondary) == 88);
static_assert(offsetof(SymptomRecord, ProcessId) == 604);
static_assert(offsetof(SupERData, Catalog) == 4);
static_assert(offsetof(SupERData, Stored) == 8);
static_assert(offsetof(SupERData, Symptom) == 12);
static_assert(offsetof(SupERData, OtherBusy) == 624);
static_assert(offsetof(SupERData, ConsoleBusy) == 628);
static_assert(offsetof(SupERData, StdoutBusy) == 632);
static_assert(offsetof(SupERData, OutputLock) > offsetof(SupERData, StdoutBusy));
static_assert(offsetof(SupERData, ReservedEnd) > offsetof(SupERData, OutputLock));

static constexpr u32 setupDone = 2;

static constinit u32 setupState = 0;
static constinit tks_Mutex setupLock = {};
static constinit tks_Mutex outputLock = {};
static constinit u32 dataSlot = 0;

static void setUp()
{
    tks_MutexInitOnce(&setupLock);
    tks_MutexLock(&setupLock);
    if (setupState != setupDone) {
        dataSlot = tks_ThreadAllocDataSlot();
        tks_MutexInitOnce(&outputLock);
        __atomic_store_n(&setupState, setupDone, __ATOMIC_RELEASE);
    }
    tks_MutexUnlock(&setupLock);
}

// Makes Data the calling thread's block.
static void install(SupERData *Data, tks_ThreadDestructor Destructor)
{
    *Data = {};
    Data->Reserved = SUPER_NOT_OPEN;
    Data->Catalog = SUPER_NOT_OPEN;
    tks_ThreadSetData(dataSlot, Data, Destructor);
    Data->OutputLock = &outputLock;
    SupER_InitData(Data);
}

// Reports that there is no memory for a block, and ends the process.
[[noreturn]] static void endWithoutMemory()
{
    SupERData data;
    install(&data, nullptr); // on the stack: nothing frees it

    constexpr i32 msn = 8;
    SupER_FormatDiag("%s", "");
    SupER_StoreSymptom("SupER_GetData", SupER_ServiceLevel57, __LINE__, SUPER_MSG_NO_DATA, msn, SUPER_SOURCE_ASSERTION,
                       SUPER_EXIT_NO_DATA, 0, SUPER_SECONDARY_MARKER);
    SupER_FlushSymptom();
    SupER_Log(SUPER_CONSOLE, SUPER_MSG_NO_DATA, msn, "", 5);
    InfTR_ProcessTerminate();
    tks_Exit(SUPER_EXIT_NO_DATA);
}

SupERData *SupER_GetData(void)
{
    if (__atomic_load_n(&setupState, __ATOMIC_ACQUIRE) != setupDone) setUp();

    auto *data = static_cast<SupERData *>(tks_ThreadGetData(dataSlot));
    if (data != nullptr) return data;

    data = static_cast<SupERData *>(tks_trace_Malloc(sizeof *data, __FILE__, __LINE__));
    if (data == nullptr) endWithoutMemory();
    install(data, tks_trace_Free);
    return data;
}

void SupER_InitData(SupERData *Data)
{
    INFTR_FUNCTION(SUPER, "SupER_InitData");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Data));

    if (Data == nullptr) INFTR_RETURN(1);

    Data->Stored = 0;
    Data->OtherBusy = 0;
    Data->ConsoleBusy = 0;
    Data->StdoutBusy = 0;
    if (Data->Catalog == 0 || Data->Catalog == SUPER_NOT_OPEN) Data->Catalog = SupER_TKSCatOpen(SUPER_CATALOG_NAME, 1);
    Data->ReservedEnd = 0;
    INFTR_RETURN(2);
}

u32 SupER_TKSCatOpen(const char *Name, i32 Flag)
{
    INFTR_FUNCTION(SUPER, "SupER_TKSCatOpen");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%s, %d)", Name, Flag);

    u32 catalog = TKS_CAT_FAILED;
    for (int tries = 0; tries < SUPER_CATALOG_TRIES && catalog == TKS_CAT_FAILED; ++tries)
        catalog = tks_catopen(Name, Flag);
    INFTR_RETURN_VALUE(1, catalog);
}

void SupER_InitAssertData(void)
{
}

static constexpr u32 abendUser = 0x80000000u; // shown with a leading "U"
static constexpr u32 abendFlag = 0x00800000u; // no part of the name

char *SupER_AbToStr(char *Buffer, u32 Code)
{
    INFTR_FUNCTION(SUPER, "SupER_AbToStr");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %#8.8x)", static_cast<void *>(Buffer), Code);

    const u32 code = Code & ~(abendFlag | abendUser);
    memset(Buffer, 0, 6);
    Buffer[0] = 'U';
    char *name = Code & abendUser ? Buffer + 1 : Buffer;
    for (int i = 0; i < 4; ++i) {
        name[i] = static_cast<char>(code >> (24 - 8 * i));
        if (name[i] == 0) break;
    }
    INFTR_RETURN_VALUE(1, Buffer);
}

// Packs four characters, the first in the highest byte.
static u32 packName(const char *Name)
{
    u32 code = 0;
    for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<u8>(Name[i]);
    return code;
}

u32 SupER_StrToAb(const char *Text, u32 Flag)
{
    INFTR_FUNCTION(SUPER, "SupER_StrToAb");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%.5s, %#8.8x)", Text, Flag);

    if (Text[4] == 0) {
        const u32 code = packName(Text) & ~(abendUser | abendFlag);
        INFTR_RETURN_VALUE(1, code);
    }
    // required: the first of five characters is not looked at
    const u32 code = ((packName(Text + 1) | abendUser) & ~abendFlag) | Flag;
    INFTR_RETURN_VALUE(2, code);
}
