// Command lines of the trace utilities: the tables of their actions and options, and the parser that fills in a copy.
//
// A command line is an action of no or more words and then options, each with a value or without. The answer is one
// heap block, so that the caller frees it in one call: the action's row, a copy of its option table with a value in the
// row of each given option, and behind the rows all texts that they point at.

#include <cstring>

#include "inftr_int.h"
#include "supos_services.h"
#include "tks_memory.h"

static const char sourceFile[] = "inf\\tr\\src\\inftr_ipc";
static const char separators[] = " \t\n";

// Rows hold writable texts, since those of an answer are; the texts of the tables are never written.
static constexpr char *text(const char *Literal)
{
    return const_cast<char *>(Literal);
}

static constexpr InfTR_OptionRow withValue(const char *Name)
{
    return {text(Name), 1, nullptr};
}

static constexpr InfTR_OptionRow withoutValue(const char *Name)
{
    return {text(Name), 0, nullptr};
}

static constexpr InfTR_OptionRow endOfOptions = {nullptr, 0, nullptr};

static constinit InfTR_OptionRow helpOptions[] = {withoutValue("-h"), withoutValue("-?"), endOfOptions};

static constinit InfTR_OptionRow dumpOptions[] = {
    withValue("-region"), withValue("-p"), withValue("-n"), withValue("-t"), withValue("-d"), endOfOptions,
};

static constinit InfTR_OptionRow setOptions[] = {
    withValue("-region"), withValue("-d"), withValue("-u"), withValue("-A"), withValue("-F"), withValue("-B"),
    withValue("-E"),      withValue("-X"), withValue("-L"), withValue("-M"), withValue("-S"), withValue("-U"),
    withValue("-a"),      withValue("-b"), withValue("-s"), withValue("-p"), endOfOptions,
};

static constinit InfTR_OptionRow formatOptions[] = {
    withValue("-i"), withValue("-o"), withoutValue("-h"), withoutValue("-?"), endOfOptions,
};

constinit InfTR_ActionRow InfTR_TC_ActionList[] = {
    {1, text(""), helpOptions},
    {2, text("dump"), dumpOptions},
    {3, text("set"), setOptions},
    {0, nullptr, nullptr},
};

constinit InfTR_ActionRow InfTR_FormatActionList[] = {
    {1, text(""), formatOptions},
    {0, nullptr, nullptr},
};

InfTR_OptionRow *InfTR_GetOption(const InfTR_ActionRow *Action, const char *Name)
{
    INFTR_FUNCTION(INFTR, "InfTR_GetOption");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p)", static_cast<const void *>(Action), static_cast<const void *>(Name));

    InfTR_OptionRow *row = Action->Options;
    while (row->Name != nullptr && strcmp(row->Name, Name) != 0) ++row;
    if (row->Name == nullptr) row = nullptr;
    INFTR_RETURN_VALUE(1, row);
}

// Joins the words before the first option by one blank, in place at the start of Line. Returns that option, or nullptr.
static char *takeActionName(char *Line, char **Context)
{
    char *out = Line;
    char *word = SupOS_strtok_r(Line, separators, Context);
    while (word != nullptr && word[0] != '-') {
        if (out != Line) *out++ = ' ';
        const size_t length = strlen(word);
        memmove(out, word, length); // never ahead of the scanner: a joined text is no longer than what it came from
        out += length;
        word = SupOS_strtok_r(nullptr, separators, Context);
    }
    if (word != nullptr && word == Line) return word; // no name: Line begins with the option itself
    *out = '\0';
    return word;
}

static const InfTR_ActionRow *findAction(const InfTR_ActionRow *List, const char *Name)
{
    for (const InfTR_ActionRow *row = List; row->Name != nullptr; ++row) {
        if (strcmp(row->Name, Name) == 0) return row;
    }
    return nullptr;
}

// A command line being worked on: two copies, one for each pass, which the scanner cuts.
struct CommandCopies {
    char *First;
    char *Second;
};

static void freeCopies(const CommandCopies *Copies)
{
    tks_trace_Free(Copies->First);
    tks_trace_Free(Copies->Second);
}

// First pass over the options: checks each and adds up the room for their texts.
static u32 checkOptions(const InfTR_ActionRow *Action, char *Option, char **Context, size_t *Room)
{
    while (Option != nullptr) {
        const InfTR_OptionRow *const row = InfTR_GetOption(Action, Option);
        if (row == nullptr) return INFTR_ERR_NO_OPTION;
        *Room += strlen(Option) + 1;
        if (row->TakesValue != 0) {
            const char *const value = SupOS_strtok_r(nullptr, separators, Context);
            if (value == nullptr) return INFTR_ERR_NO_VALUE;
            *Room += strlen(value) + 1;
        }
        Option = SupOS_strtok_r(nullptr, separators, Context);
    }
    return ERZ_OK;
}

// Appends a text to the block's string area.
static char *putText(char **Area, const char *Text)
{
    char *const at = *Area;
    const size_t size = strlen(Text) + 1;
    memcpy(at, Text, size);
    *Area = at + size;
    return at;
}

// Second pass: points the rows of the given options at texts of the block.
static u32 fillOptions(const InfTR_ActionRow *Action, char *Option, char **Context, char *Area)
{
    while (Option != nullptr) {
        InfTR_OptionRow *const row = InfTR_GetOption(Action, Option);
        if (row == nullptr) return INFTR_ERR_NO_OPTION;
        row->Name = putText(&Area, Option);
        row->Value = INFTR_OPTION_GIVEN;
        if (row->TakesValue != 0) {
            const char *const value = SupOS_strtok_r(nullptr, separators, Context);
            if (value == nullptr) return INFTR_ERR_NO_VALUE;
            row->Value = putText(&Area, value);
        }
        Option = SupOS_strtok_r(nullptr, separators, Context);
    }
    return ERZ_OK;
}

static size_t optionCount(const InfTR_ActionRow *Action)
{
    size_t count = 0;
    while (Action->Options[count].Name != nullptr) ++count;
    return count;
}

u32 InfTR_GetAction(const char *CommandLine, const InfTR_ActionRow *List, InfTR_ActionRow **Result)
{
    INFTR_FUNCTION(INFTR, "InfTR_GetAction");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %p)", static_cast<const void *>(CommandLine),
                static_cast<const void *>(List), static_cast<void *>(Result));

    *Result = nullptr;
    const size_t lineSize = strlen(CommandLine) + 1;
    CommandCopies copies = {};
    copies.First = static_cast<char *>(tks_trace_Malloc(lineSize, sourceFile, __LINE__));
    if (copies.First == nullptr) INFTR_RETURN_CODE(1, INFTR_ERR_NO_MEMORY);
    copies.Second = static_cast<char *>(tks_trace_Malloc(lineSize, sourceFile, __LINE__));
    if (copies.Second == nullptr) {
        freeCopies(&copies);
        INFTR_RETURN_CODE(2, INFTR_ERR_NO_MEMORY);
    }
    memcpy(copies.First, CommandLine, lineSize);
    memcpy(copies.Second, CommandLine, lineSize);

    char *context = nullptr;
    char *option = takeActionName(copies.First, &context);
    const char *const name = option == copies.First ? "" : copies.First;
    const InfTR_ActionRow *const action = findAction(List, name);
    if (action == nullptr) {
        freeCopies(&copies);
        INFTR_RETURN_CODE(3, INFTR_ERR_NO_ACTION);
    }

    size_t room = strlen(name) + 1;
    const u32 checked = checkOptions(action, option, &context, &room);
    if (checked != ERZ_OK) {
        freeCopies(&copies);
        if (checked == INFTR_ERR_NO_OPTION) INFTR_RETURN_CODE(4, checked);
        INFTR_RETURN_CODE(5, checked);
    }

    const size_t rows = optionCount(action) + 1;
    const size_t size = sizeof(InfTR_ActionRow) + rows * sizeof(InfTR_OptionRow) + room;
    void *const block = tks_trace_Malloc(size, sourceFile, __LINE__);
    if (block == nullptr) {
        freeCopies(&copies);
        INFTR_RETURN_CODE(6, INFTR_ERR_NO_MEMORY);
    }
    memset(block, 0, size);
    InfTR_ActionRow *const answer = static_cast<InfTR_ActionRow *>(block);
    InfTR_OptionRow *const table = reinterpret_cast<InfTR_OptionRow *>(answer + 1);
    char *area = reinterpret_cast<char *>(table + rows);
    *answer = *action;
    answer->Options = table;
    memcpy(table, action->Options, rows * sizeof(InfTR_OptionRow));
    answer->Name = putText(&area, name);

    option = takeActionName(copies.Second, &context);
    const u32 filled = fillOptions(answer, option, &context, area);
    freeCopies(&copies);
    if (filled != ERZ_OK) { // the first pass has seen the same words
        tks_trace_Free(block);
        INFTR_RETURN_CODE(7, filled);
    }
    *Result = answer;
    INFTR_RETURN_CODE(8, ERZ_OK);
}
