// Symptom records: one stored in each thread's block, written to standard error when the thread's task fails for good.
//
// Storing and writing are apart so that the place which finds a fault fills the record in, and the common way out of
// the process writes it. A second symptom writes the first. Text and record are the thread's own; only the writing takes
// a lock, so that the two lines of one symptom stay together.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crt.h"
#include "inftr_guard.h"
#include "super_int.h"
#include "super_logging.h"
#include "super_symptoms.h"
#include "supos_inner.h"
#include "supos_services.h"
#include "suppr_names.h"
#include "tks_time.h"

size_t SupER_TimeText(char Out[SUPER_TIME_TEXT_ROOM])
{
    // One reading of the clock for both parts: the fraction belongs to the second in front of it.
    tks_Time now = {};
    u32 nanoSeconds = 0;
    SupOS_ClockNano(&now.Seconds, &nanoSeconds);
    const time_t seconds = tks_TimeToANSI(&now);

    struct tm local = {};
    localtime_r(&seconds, &local);
    const size_t length = strftime(Out, SUPER_TIME_TEXT_ROOM, "%m/%d/%y %H:%M:%S", &local);
    snprintf(Out + length, SUPER_TIME_TEXT_ROOM - length, ".%.9d", static_cast<i32>(nanoSeconds));
    return length + 10;
}

// Copies at most Room - 1 characters and a terminator; NULL counts as empty.
static void copyText(char *Out, const char *Text, size_t Room)
{
    const size_t length = Text == nullptr ? 0 : strnlen(Text, Room - 1);
    if (length != 0) memcpy(Out, Text, length);
    Out[length] = 0;
}

enum class ListKind { AbendNames, SerialNumbers };

// Whether one entry of a variable's list, of which 255 characters count, names this symptom.
static bool listed(const char *Variable, ListKind Kind, i32 MSN, u32 Abcode)
{
    const char *value = getenv(Variable);
    if (value == nullptr) return false;

    char list[256];
    copyText(list, value, sizeof list);
    char name[6];
    SupER_AbToStr(name, Abcode);
    char *rest = nullptr;
    for (char *word = SupOS_strtok_r(list, ",", &rest); word != nullptr; word = SupOS_strtok_r(nullptr, ",", &rest)) {
        if (Kind == ListKind::AbendNames ? strcmp(word, name) == 0 : atoi(word) == MSN) return true;
    }
    return false;
}

static bool dumpWanted(i32 MSN, u32 Abcode)
{
    struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    if (master == nullptr || InfTR_Read(master->TraceFlagMaster) != 1 || InfTR_Read(master->TraceFlagSystem) != 1 ||
        InfTR_Read(master->TraceFlagBuffer) != 1)
        return false;

    return getenv("VELATRACE_DUMP_ON_SYMREC") != nullptr ||
           listed("VELATRACE_DUMP_ON_ABEND", ListKind::AbendNames, MSN, Abcode) ||
           listed("VELATRACE_DUMP_ON_MSN", ListKind::SerialNumbers, MSN, Abcode);
}

void SupER_StoreSymptom(const char *Func, const char *Level, i32 Line, u32 MesgNumber, i32 MSN, i32 Source, i32 RetCode,
                        u32 Abcode, const char *Secondary)
{
    INFTR_FUNCTION(SUPER, "SupER_StoreSymptom");
    // required: the format ends without its parenthesis
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY,
                "(Func %s, Level %s, Line %ld, MesgNumber %#8.8x, MSN %d, Source %d, RetCode %d, Abcode %lu", Func,
                Level, static_cast<long>(Line), MesgNumber, MSN, Source, RetCode, static_cast<unsigned long>(Abcode));

    if (dumpWanted(MSN, Abcode)) InfTR_DumpRingBuffer(static_cast<u32>(InfTR_GetNextDumpIndex()), nullptr);

    // required: a waiting symptom shows the diagnostic of this one where SupER_FormatDiag has already replaced its own
    SupERData *const data = SupER_IFlushSymptom();
    SymptomRecord *const symptom = &data->Symptom;
    if (Secondary == nullptr || strcmp(Secondary, SUPER_SECONDARY_MARKER) != 0)
        copyText(symptom->Secondary, Secondary, SUPER_SECONDARY_SIZE + 1);
    copyText(symptom->Func, Func, sizeof symptom->Func);
    copyText(symptom->Level, Level, sizeof symptom->Level);
    symptom->Line = Line;
    symptom->MesgNumber = MesgNumber;
    symptom->MSN = MSN;
    symptom->Source = Source;
    symptom->RetCode = RetCode;
    symptom->Abcode = Abcode;
    symptom->ProcessId = _getpid();
    symptom->ThreadId = 0;
    data->Stored = 1;
    INFTR_RETURN(1);
}

void SupER_FlushSymptom(void)
{
    INFTR_FUNCTION(SUPER, "SupER_FlushSymptom");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(void)");

    SupER_IFlushSymptom();
    INFTR_RETURN(1);
}

void SupER_ClearSymptom(void)
{
    INFTR_FUNCTION(SUPER, "SupER_ClearSymptom");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    SupER_GetData()->Stored = 0;
    INFTR_RETURN(1);
}

// ABCODE and PROC are always empty, and no server number is known here.
static int printSymptom(const SymptomRecord *Symptom, const char *Time, const char *Region)
{
    return fprintf(
        stderr,
        "SYMPTOMS = TIME/\"%s\" REGION/%s PROD/%s LVLS/%s MOD/\"%s\" FUNC/%s LINE/%d MS/%6.6u MSN/%hd SRC/%d "
        "PRCS/%d ABCODE/%s SRVID/%d PID/%d TID/%d PROC/%s\nSECONDARY SYMPTOMS = %s\n\n",
        Time, Region, SUPER_PRODUCT, SUPER_RELEASE, Symptom->Level, Symptom->Func, Symptom->Line,
        SUPER_MSG_DIGITS(Symptom->MesgNumber), static_cast<i16>(Symptom->MSN), Symptom->Source, Symptom->RetCode, "", 0,
        Symptom->ProcessId, Symptom->ThreadId, "", Symptom->Secondary);
}

SupERData *SupER_IFlushSymptom(void)
{
    INFTR_FUNCTION(SUPER, "SupER_IFlushSymptom");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    SupERData *const data = SupER_GetData();
    if (data->Stored != 0) {
        char time[SUPER_TIME_TEXT_ROOM];
        SupER_TimeText(time);
        char region[SUPPR_NAME_ENTRY_SIZE];
        snprintf(region, sizeof region, "%s", SupPR_GetNames(SUPPR_NAME_REGION));

        if (data->OutputLock != nullptr) tks_MutexLock(data->OutputLock);
        if (printSymptom(&data->Symptom, time, region) < 0) {
            const i32 error = errno;
            SupER_Log(SUPER_CONSOLE, SUPER_MSG_SYMPTOM_WRITE, 36, "stderr", error);
        }
        if (data->OutputLock != nullptr) tks_MutexUnlock(data->OutputLock);

        if (fflush(stderr) != 0) {
            const i32 error = errno;
            SupER_Log(SUPER_CONSOLE, SUPER_MSG_SYMPTOM_FLUSH, 5, "stderr", error);
        }
    }
    data->Stored = 0;
    INFTR_RETURN_VALUE(1, data); // NOLINT(bugprone-sizeof-expression): the size of the pointer is meant
}
