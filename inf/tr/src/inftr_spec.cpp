// The language of a trace specification: "ALL=1,SUPOS+TERBM=4". Terms apply from left to right, so a later one overrides
// an earlier one; a term that cannot be understood is logged and skipped.
//
// Guards read the table in use while the other one is written, and the last store swaps them. A guard may still hold the
// index of a table that was given up just now, so a specification is worked out aside and its bytes are stored one by
// one: such a guard sees an old or a new level, never one in between.

#include <cstdlib>
#include <cstring>

#include "inftr_int.h"
#include "super_logging.h"
#include "supos_services.h"

static void setLevel(u8 *Levels, u32 Component, u8 Level)
{
    if (Component < INFTR_COMPONENT_COUNT) Levels[Component] = Level;
}

static void setAllLevels(u8 *Levels, u8 Level)
{
    memset(Levels, Level, INFTR_COMPONENT_COUNT);
}

static void report(u32 Message, i32 MSN, const char *Text)
{
    SupER_Log(SUPER_CONSOLE, Message, MSN, Text);
}

// PROC: names are checked against the products in use. The selection is not kept anywhere.
static void checkProcesses(char *Names)
{
    char *context = nullptr;
    for (char *name = SupOS_strtok_r(Names, "+", &context); name != nullptr;
         name = SupOS_strtok_r(nullptr, "+", &context)) {
        bool known = strcmp(name, "ALL") == 0;
        for (u32 row = 0; row < INFTR_PRODUCT_COUNT; ++row) known |= strcmp(name, InfTR_ProductTable[row].Name) == 0;
        if (!known) report(INFTR_MSG_UNKNOWN_PROCESS, 104, name);
    }
}

// The component of that name, looked for in the groups whose prefix begins the name.
static const InfTR_ComponentRow *findComponent(const char *Name)
{
    for (const InfTR_GroupRow *group = InfTR_GroupTable; group->Prefix != nullptr; ++group) {
        if (strncmp(group->Prefix, Name, 3) != 0) continue;
        for (const InfTR_ComponentRow *row = group->Components; row->Name != nullptr; ++row) {
            if (strcmp(row->Name, Name) == 0) return row;
        }
    }
    return nullptr;
}

// DEBUG: a word must be a component and one of its mask names at once, which no name is, so every word is reported.
// The word of a mask name would be combined into the level byte; it is 0 in every row.
static void checkDebugNames(u8 *Levels, char *Names)
{
    char *context = nullptr;
    for (char *name = SupOS_strtok_r(Names, "+", &context); name != nullptr;
         name = SupOS_strtok_r(nullptr, "+", &context)) {
        const InfTR_ComponentRow *const component = findComponent(name);
        const InfTR_MaskNameRow *mask = component == nullptr ? nullptr : component->MaskNames;
        while (mask != nullptr && mask->Name != nullptr && strcmp(mask->Name, name) != 0) ++mask;
        if (mask == nullptr || mask->Name == nullptr) {
            report(INFTR_MSG_UNKNOWN_DEBUG, 105, name);
            continue;
        }
        setLevel(Levels, component->Number, static_cast<u8>(Levels[component->Number] | mask->Word));
    }
}

// required: the group is the first whose prefix differs from the key, so "ADM" reaches COM and any other key ADM
static const InfTR_GroupRow *selectGroup(const char *Key)
{
    const InfTR_GroupRow *group = InfTR_GroupTable;
    while (group->Prefix != nullptr && strcmp(group->Prefix, Key) == 0) ++group;
    return group->Prefix == nullptr ? nullptr : group;
}

static void applyKey(u8 *Levels, const char *Key, u8 Level)
{
    if (strcmp(Key, "ALL") == 0) {
        setAllLevels(Levels, Level);
        return;
    }
    if (strlen(Key) == 3) {
        const InfTR_GroupRow *const group = selectGroup(Key);
        if (group == nullptr) { // with more than one group there is always one
            report(INFTR_MSG_UNKNOWN_GROUP, 107, Key);
            return;
        }
        for (const InfTR_ComponentRow *row = group->Components; row->Name != nullptr; ++row) {
            setLevel(Levels, row->Number, Level);
        }
        return;
    }
    const InfTR_ComponentRow *const component = findComponent(Key);
    if (component == nullptr) {
        report(INFTR_MSG_UNKNOWN_KEY, 108, Key);
        return;
    }
    setLevel(Levels, component->Number, Level);
}

static void applyLevel(u8 *Levels, char *Keys, const char *Value)
{
    const long level = strtol(Value, nullptr, 10);
    if (level < 0 || level >= INFTR_LEVEL_COUNT) {
        report(INFTR_MSG_BAD_LEVEL, 106, Value);
        return;
    }
    char *context = nullptr;
    for (char *key = SupOS_strtok_r(Keys, "+", &context); key != nullptr;
         key = SupOS_strtok_r(nullptr, "+", &context)) {
        applyKey(Levels, key, static_cast<u8>(level));
    }
}

static void applyTerm(u8 *Levels, char *Term)
{
    char whole[256];
    strcpy(whole, Term);

    char *context = nullptr;
    char *const key = Term[0] == '=' ? nullptr : SupOS_strtok_r(Term, "=", &context);
    if (key == nullptr) {
        report(INFTR_MSG_BAD_TERM, 101, whole);
        return;
    }
    char *const value = SupOS_strtok_r(nullptr, "=", &context);
    if (value == nullptr) {
        report(INFTR_MSG_BAD_TERM, 102, whole);
        return;
    }
    if (SupOS_strtok_r(nullptr, "=", &context) != nullptr) {
        report(INFTR_MSG_BAD_TERM, 103, whole);
        return;
    }
    if (strcmp(key, "PROC") == 0)
        checkProcesses(value);
    else if (strcmp(key, "DEBUG") == 0)
        checkDebugNames(Levels, value);
    else
        applyLevel(Levels, key, value);
}

static void copyUpperCase(char (&Out)[256], const char *Text)
{
    size_t at = 0;
    for (; at < sizeof Out - 1 && Text[at] != '\0'; ++at) {
        const char c = Text[at];
        Out[at] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    Out[at] = '\0';
}

void InfTR_UpdateTraceSpecTable(struct InfTR_MasterTraceArea *Master)
{
    INFTR_FUNCTION(INFTR, "InfTR_UpdateTraceSpecTable");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Master));

    char specification[256];
    copyUpperCase(specification, Master->TraceSystemSpec);
    u8 levels[INFTR_COMPONENT_COUNT] = {};
    char *context = nullptr;
    for (char *term = SupOS_strtok_r(specification, ",", &context); term != nullptr;
         term = SupOS_strtok_r(nullptr, ",", &context)) {
        applyTerm(levels, term);
    }
    const u32 next = InfTR_Read(Master->SpecTableInUse) == 1 ? 2 : 1;
    u8 *const table = Master->TraceSpecTable[next - 1];
    for (u32 component = 0; component < INFTR_COMPONENT_COUNT; ++component) {
        __atomic_store_n(&table[component], levels[component], __ATOMIC_RELAXED);
    }
    InfTR_Write(Master->SpecTableInUse, next);
    INFTR_RETURN(1);
}
