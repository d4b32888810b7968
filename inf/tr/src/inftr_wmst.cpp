// Options and specification: how the master trace area is filled at process start and changed on the run.
//
// An option takes effect at once, so of two the later wins. Levels are different: a guard must never see half a table,
// so a specification is worked out in the table that no guard reads, and one word store at the end makes it the table in
// use. Nothing here ends a process: what cannot be understood is logged and skipped.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crt.h"
#include "inftr_int.h"
#include "super_assert.h"
#include "supos_inner.h"
#include "supos_services.h"
#include "tks_memory.h"

constexpr i32 SMALLEST_AUX = INFTR_MAXSIZE_RECORD + INFTR_AUX_HEADER_SIZE;
constexpr i32 LARGEST_BUFFER = 0x7FFFFFFC;

enum class ValueKind { FLAG, AUX_SIZE, BUFFER_SIZE, DIRECTORY, SPECIFICATION };

// One option. Of the serial numbers a flag uses all; the others report Set and TooLong.
struct OptionRule {
    char Letter;
    ValueKind Kind;
    const char *Attribute;
    size_t Offset; // of the attribute in the master area
    i32 Off, On, Bad;
    i32 Set, TooLong;
    const char *Fallback; // of a directory
};

#define ATTRIBUTE(Name) #Name, offsetof(struct InfTR_MasterTraceArea, Name)

// clang-format off
static constexpr OptionRule optionRules[] = {
    // letter  kind                   attribute                       off  on   bad  set  long fallback
    {'A', ValueKind::FLAG,          ATTRIBUTE(TraceFlagAux),         818, 819, 820,   0,   0, nullptr},
    {'B', ValueKind::FLAG,          ATTRIBUTE(TraceFlagBuffer),      824, 825, 826,   0,   0, nullptr},
    {'E', ValueKind::FLAG,          ATTRIBUTE(TraceFlagExec),        827, 828, 829,   0,   0, nullptr},
    {'X', ValueKind::FLAG,          ATTRIBUTE(TraceFlagExternal),    830, 831, 832,   0,   0, nullptr},
    {'M', ValueKind::FLAG,          ATTRIBUTE(TraceFlagMaster),      833, 833, 833,   0,   0, nullptr},
    {'S', ValueKind::FLAG,          ATTRIBUTE(TraceFlagSystem),      836, 837, 838,   0,   0, nullptr},
    {'U', ValueKind::FLAG,          ATTRIBUTE(TraceFlagUser),        839, 840, 841,   0,   0, nullptr},
    {'a', ValueKind::AUX_SIZE,      ATTRIBUTE(TraceMaxSizeAux),        0,   0,   0, 842,   0, nullptr},
    {'b', ValueKind::BUFFER_SIZE,   ATTRIBUTE(TraceMaxSizeBuffer),     0,   0,   0, 843,   0, nullptr},
    {'d', ValueKind::DIRECTORY,     ATTRIBUTE(TraceDirectorySystem),   0,   0,   0, 815, 814, "."},
    {'u', ValueKind::DIRECTORY,     ATTRIBUTE(TraceDirectoryUser),     0,   0,   0, 817, 816, "C:\\TEMP"},
    {'t', ValueKind::SPECIFICATION, ATTRIBUTE(TraceSystemSpec),        0,   0,   0, 845, 844, nullptr},
};
// clang-format on

static const char defaultOptions[] =
    "-d . -u . -A OFF -B OFF -E OFF -X OFF -M OFF -S OFF -U OFF -a 0 -b 131072 -t ALL=0";

// ---- the start ----

// The options that the environment adds to the defaults. Text receives VELATRACE's own, or nullptr.
static const char *environmentOptions(const char **Text)
{
    const char *const trace = getenv("VELATRACE");
    const bool external = getenv("VELAEXTERNALTRACE") != nullptr;
    *Text = nullptr;
    if (trace != nullptr && strcmp(trace, "1") != 0) {
        *Text = trace;
        return "";
    }
    if (trace != nullptr && external) return " -A ON -X ON -M ON -S ON -t ALL=5";
    if (trace != nullptr) return " -A ON -M ON -S ON -t ALL=5";
    if (external) return " -X ON -M ON -S ON -t ALL=5";
    return "";
}

// Fills the master area from the defaults and the environment. The value of VELATRACE may have any length: what does
// not fit the local buffer is worked on in a heap block, and without one the defaults hold.
static void applyStartOptions(struct InfTR_MasterTraceArea *Master)
{
    char local[1032];
    const char *value;
    const char *const added = environmentOptions(&value);

    const size_t size = sizeof defaultOptions + strlen(added) + (value == nullptr ? 0 : strlen(value) + 2);
    char *options = local;
    if (size > sizeof local)
        options = static_cast<char *>(tks_trace_Malloc(size, "inf\\tr\\src\\inftr_wmst", __LINE__));
    if (options == nullptr) {
        options = local;
        value = nullptr;
    }
    if (value != nullptr)
        snprintf(options, size, "%s %s ", defaultOptions, value);
    else
        snprintf(options, sizeof local, "%s%s", defaultOptions, added);
    InfTR_UpdateMasterTrace(Master, options, 0);
    if (options != local) tks_trace_Free(options);
}

void InfTR_SInit(char *ProgramPath, char *RegionName)
{
    INFTR_FUNCTION(INFTR, "InfTR_SInit");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p)", static_cast<void *>(ProgramPath), static_cast<void *>(RegionName));

    struct InfTR_MasterTraceArea *const master = &InfTR_MasterTraceArea;
    memset(static_cast<void *>(master), 0, sizeof *master);
    memcpy(master->EyeCatcher, "ERZ49MST", sizeof master->EyeCatcher);
    tks_MutexInit(&master->MasterLock);
    applyStartOptions(master);
    InfTR_Write(InfTR_TracePtr, master);
    InfTR_InitProcess(ProgramPath, RegionName, 0, 0, 0);

    static const char diagnostic[] = "InfTR_InitProcess failed to set the InfTR_TracePtr";
    if (InfTR_Read(InfTR_TracePtr) == nullptr) {
        SUPER_ASSERT_EXIT(INFTR, 0, "(InfTR_TracePtr != NULL)", __LINE__, "inf\\tr\\src\\inftr_wmst", 801, "%s",
                          diagnostic);
    }
    if (InfTR_Read(InfTR_CachePtr) == nullptr) {
        SUPER_ASSERT_EXIT(INFTR, 0, "(InfTR_CachePtr != NULL)", __LINE__, "inf\\tr\\src\\inftr_wmst", 802, "%s",
                          diagnostic);
    }
    INFTR_RETURN(1);
}

// ---- options ----

// An option string being scanned: Start and Length tell the whole, which the scanner has cut.
struct OptionText {
    const char *Start;
    size_t Length;
};

// Reports a word together with the whole string, as far as a message line holds it.
static void reportInString(u32 Message, i32 MSN, const char *Word, const OptionText *Text)
{
    char whole[1032];
    const size_t length = Text->Length < sizeof whole - 1 ? Text->Length : sizeof whole - 1;
    for (size_t at = 0; at < length; ++at) whole[at] = Text->Start[at] == '\0' ? ' ' : Text->Start[at];
    whole[length] = '\0';
    SupER_Log(SUPER_CONSOLE, Message, MSN, Word, whole);
}

static void reportChange(const OptionRule *Rule, i32 MSN, const char *Value, i32 LogChanges)
{
    if (LogChanges != 0) SupER_Log(SUPER_CONSOLE, INFTR_MSG_CHANGED, MSN, Rule->Attribute, Value);
}

// A decimal number as far as the text is one, held to the 32-bit range.
static i32 numberOf(const char *Text)
{
    const long number = strtol(Text, nullptr, 10);
    if (number > INT32_MAX) return INT32_MAX;
    return number < INT32_MIN ? INT32_MIN : static_cast<i32>(number);
}

static void applyFlag(u32 *Flag, const OptionRule *Rule, const char *Value, i32 LogChanges)
{
    const bool on = strcmp(Value, "ON") == 0 || strcmp(Value, "on") == 0;
    const bool off = strcmp(Value, "OFF") == 0 || strcmp(Value, "off") == 0;
    if (!on && !off) {
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_BAD_VALUE, Rule->Bad, Rule->Attribute, Value);
        return;
    }
    InfTR_Write(*Flag, on ? 1u : 0u);
    reportChange(Rule, on ? Rule->On : Rule->Off, Value, LogChanges);
}

static void applySize(i32 *Attribute, const OptionRule *Rule, i32 Size, i32 LogChanges)
{
    char text[16];
    InfTR_Write(*Attribute, Size);
    snprintf(text, sizeof text, "%d", Size);
    reportChange(Rule, Rule->Set, text, LogChanges);
}

// Room for the largest record and, of a file, its header; 0 = a file without limit.
static i32 auxSize(i32 Size)
{
    return Size != 0 && Size < SMALLEST_AUX ? SMALLEST_AUX : Size;
}

static i32 bufferSize(i32 Size)
{
    if (Size < INFTR_MAXSIZE_RECORD) return INFTR_MAXSIZE_RECORD;
    if (Size > LARGEST_BUFFER) return LARGEST_BUFFER;
    return (Size + 3) & ~3;
}

static bool directoryServes(const char *Directory)
{
    struct plat_stat32 state;
    return _stat32(Directory, &state) == 0 && SupOS_CheckEffectiveRights(Directory, 2) >= 0;
}

static void applyDirectory(char *Attribute, const OptionRule *Rule, const char *Value, i32 LogChanges)
{
    const bool tooLong = strlen(Value) > 255;
    if (tooLong) SupER_Log(SUPER_CONSOLE, INFTR_MSG_VALUE_TOO_LONG, Rule->TooLong, Rule->Attribute);
    const char *const taken = !tooLong && directoryServes(Value) ? Value : Rule->Fallback;
    InfTR_LockDirectories();
    strcpy(Attribute, taken);
    InfTR_UnlockDirectories();
    reportChange(Rule, Rule->Set, taken, LogChanges);
}

static bool applySpecification(char *Attribute, const OptionRule *Rule, const char *Value, i32 LogChanges)
{
    if (strlen(Value) > 255) {
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_VALUE_TOO_LONG, Rule->TooLong, Rule->Attribute);
        return false;
    }
    strcpy(Attribute, Value);
    reportChange(Rule, Rule->Set, Value, LogChanges);
    return true;
}

static const OptionRule *findRule(char Letter)
{
    for (const OptionRule &rule : optionRules) {
        if (rule.Letter == Letter) return &rule;
    }
    return nullptr;
}

// Applies one option. True when it was a specification that is accepted.
static bool applyOption(struct InfTR_MasterTraceArea *Master, const OptionRule *Rule, const char *Value, i32 LogChanges)
{
    char *const attribute = reinterpret_cast<char *>(Master) + Rule->Offset;
    switch (Rule->Kind) {
    case ValueKind::FLAG: applyFlag(reinterpret_cast<u32 *>(attribute), Rule, Value, LogChanges); break;
    case ValueKind::AUX_SIZE:
        applySize(reinterpret_cast<i32 *>(attribute), Rule, auxSize(numberOf(Value)), LogChanges);
        break;
    case ValueKind::BUFFER_SIZE:
        applySize(reinterpret_cast<i32 *>(attribute), Rule, bufferSize(numberOf(Value)), LogChanges);
        break;
    case ValueKind::DIRECTORY: applyDirectory(attribute, Rule, Value, LogChanges); break;
    case ValueKind::SPECIFICATION: return applySpecification(attribute, Rule, Value, LogChanges);
    }
    return false;
}

void InfTR_UpdateMasterTrace(struct InfTR_MasterTraceArea *Master, char *Options, i32 LogChanges)
{
    INFTR_FUNCTION(INFTR, "InfTR_UpdateMasterTrace");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %d)", static_cast<void *>(Master), static_cast<void *>(Options),
                LogChanges);

    const OptionText whole = {Options, strlen(Options)};
    bool newSpecification = false;
    char *context = nullptr;
    for (char *word = SupOS_strtok_r(Options, " ", &context); word != nullptr;
         word = SupOS_strtok_r(nullptr, " ", &context)) {
        if (word[0] != '-' || strlen(word) != 2) {
            reportInString(INFTR_MSG_BAD_OPTION, 812, word, &whole);
            continue;
        }
        const char *const value = SupOS_strtok_r(nullptr, " \t\n", &context);
        if (value == nullptr) {
            reportInString(INFTR_MSG_OPTION_NO_VALUE, 813, word, &whole);
            break;
        }
        const OptionRule *const rule = findRule(word[1]);
        if (rule == nullptr) {
            SupER_Log(SUPER_CONSOLE, INFTR_MSG_BAD_OPTION, 846, word);
            continue;
        }
        if (applyOption(Master, rule, value, LogChanges)) newSpecification = true;
    }
    if (newSpecification) InfTR_UpdateTraceSpecTable(Master);
    INFTR_RETURN(1);
}
