// Small services under their Unix names: options of a command line, tokens, time and error texts, the system's name,
// whether a process lives.

#include "supos_services.h"

#include "supos_services_int.h"

#include "inftr_guard.h"
#include "super_messages.h"
#include "win32_file.h"
#include "win32_process.h"
#include "win32_sync.h"
#include "win32_system.h"

#include <cstdio>
#include <cstring>

i32 optind = 1;
i32 opterr = 1;
char *optarg = nullptr;

// The scanner's place within the present argument; at the end of a text the next argument is looked at.
static constinit char noText[1] = {};
static constinit char *optionPlace = noText;

// The letter of the next option; 0 when the next argument is none.
static char nextOption(i32 Argc, char **Argv)
{
    if (*optionPlace == 0) {
        char *const argument = optind < Argc ? Argv[optind] : nullptr;
        if (argument == nullptr || argument[0] != '-' || argument[1] == 0) return 0;
        optionPlace = argument + 1;
    }
    return *optionPlace++;
}

// Sets optarg from the rest of the argument or from the next one; false when there is none.
static bool takeArgument(i32 Argc, char **Argv)
{
    if (*optionPlace != 0) {
        optarg = optionPlace;
    } else {
        ++optind;
        if (optind >= Argc) return false;
        optarg = Argv[optind];
    }
    if (optarg != nullptr && *optarg == ':') ++optarg; // required: one leading colon is no part of the argument
    return true;
}

i32 SupOS_Getopt(i32 Argc, char **Argv, const char *Options)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Getopt");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d, %p, %.255s)", Argc, static_cast<void *>(Argv), Options);

    i32 result = -1;
    const char letter = nextOption(Argc, Argv);
    if (letter == 0) INFTR_RETURN_VALUE(1, result);

    const char *const option = letter == ':' ? nullptr : strchr(Options, letter);
    if (option == nullptr) {
        if (*optionPlace == 0) ++optind;
        result = '?';
        INFTR_RETURN_VALUE(2, result);
    }

    result = static_cast<u8>(letter);
    if (option[1] != ':') {
        optarg = nullptr;
        if (*optionPlace == 0) ++optind;
        INFTR_RETURN_VALUE(3, result);
    }

    const bool taken = takeArgument(Argc, Argv);
    optionPlace = noText;
    if (!taken) {
        if (opterr != 0) fprintf(stderr, "option requires an argument -- %c\n", letter);
        result = '?';
        INFTR_RETURN_VALUE(4, result);
    }
    ++optind;
    INFTR_RETURN_VALUE(5, result);
}

char *SupOS_strtok_r(char *Text, const char *Delimiters, char **Context)
{
    INFTR_FUNCTION(SUPOS, "SupOS_strtok_r");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %p)", static_cast<void *>(Text), static_cast<const void *>(Delimiters),
                static_cast<void *>(Context));

    char *token = Text != nullptr ? Text : *Context;
    if (token == nullptr) INFTR_RETURN_VALUE(1, token);

    token += strspn(token, Delimiters);
    if (*token == 0) { // Context stays as it was
        token = nullptr;
        INFTR_RETURN_VALUE(2, token);
    }

    char *const end = token + strcspn(token, Delimiters);
    *Context = nullptr;
    if (*end != 0) {
        *end = 0;
        *Context = end + 1;
    }
    INFTR_RETURN_VALUE(3, token);
}

i32 SupOS_ctime_r(const time_t *Time, char *Out, u32 Length)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ctime_r");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p,%d)", static_cast<const void *>(Time), static_cast<int>(Length));

    char text[64] = {}; // 26 bytes for a year of four digits
    const char *const shown = ctime_r(Time, text);
    strncpy(Out, shown != nullptr ? shown : "", Length); // required: no terminator where the text fills Out
    const i32 done = 0;
    INFTR_RETURN_VALUE(1, done);
}

i32 SupOS_ProcessAlive(u32 Pid)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ProcessAlive");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%u)", Pid);

    i32 result = -1;
    const handle process = OpenProcess(SYNCHRONIZE, 0, Pid);
    if (process == nullptr) INFTR_RETURN_VALUE(1, result);

    if (WaitForSingleObject(process, 0) == WAIT_TIMEOUT) result = 0;
    CloseHandle(process);
    INFTR_RETURN_VALUE(2, result);
}

i32 SupOS_uname(SupOS_utsname *Out)
{
    INFTR_FUNCTION(SUPOS, "SupOS_uname");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Out));

    i32 result = -1;
    *Out = {};
    snprintf(Out->sysname, sizeof Out->sysname, "NT");

    OSVERSIONINFOA system = {};
    system.dwOSVersionInfoSize = sizeof system;
    if (!GetVersionExA(&system)) INFTR_RETURN_VALUE(1, result);
    snprintf(Out->release, sizeof Out->release, "%d", static_cast<int>(system.dwMinorVersion));
    snprintf(Out->version, sizeof Out->version, "%d", static_cast<int>(system.dwMajorVersion));

    u32 size = sizeof Out->nodename;
    if (!GetComputerNameA(Out->nodename, &size)) INFTR_RETURN_VALUE(2, result);
    result = 0;
    INFTR_RETURN_VALUE(3, result);
}

// Error numbers whose text stands in the catalogue.
struct errorTextRow {
    i32 Error;
    u32 Message;
};

constexpr errorTextRow errorTextRows[] = {
    {2, 0x2E840000}, // no such file
    {12, 0x2E842000}, // no memory
    {13, 0x2E841000}, // access denied
    {17, 0x2E844000}, // file exists
    {28, 0x2E843000}, // no space
};

static bool catalogueText(i32 Error, char *Out, u32 Length)
{
    for (const errorTextRow &row : errorTextRows) {
        if (row.Error != Error) continue;
        u32 size = Length;
        return SupER_GetMessage(Out, &size, 0, row.Message) == ERZ_OK;
    }
    return false;
}

i32 SupOS_GetErroString(i32 Error, char *Out, u32 Length)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetErroString");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%d,%p,%d)", Error, static_cast<void *>(Out), static_cast<int>(Length));

    i32 result = -1;
    if (Length == 0) INFTR_RETURN_VALUE(1, result);

    result = 0;
    if (catalogueText(Error, Out, Length)) INFTR_RETURN_VALUE(2, result);

    const char *const text = strerror(Error);
    if (text == nullptr) {
        result = -1;
        INFTR_RETURN_VALUE(3, result);
    }
    strncpy(Out, text, Length);
    if (strlen(text) >= Length) Out[Length - 1] = 0;
    INFTR_RETURN_VALUE(4, result);
}
