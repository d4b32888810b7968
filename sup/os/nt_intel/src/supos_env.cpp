// Environment and identities: a region's own environment variables, and the account and group that it runs under.
//
// The two names are found once and then stand for the life of the process, whether the registry answered or not. They
// are plain words: two threads that look at once write equal values.

#include "supos_environment.h"

#include "supos_env_int.h"

#include "crt.h"
#include "inftr_guard.h"
#include "supos_reg_int.h"
#include "supos_registry.h"
#include "suppr_names.h"
#include "tks_memory.h"
#include "tks_process.h"
#include "win32_codepage.h"
#include "win32_environment.h"
#include "win32_network.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static const char sourceFile[] = "sup\\os\\nt_intel\\src\\supos_env";

constexpr i32 allocationLine = 223;
constexpr int lineSize = 512;
constexpr u32 assignmentSize = 4096;
constexpr size_t pathSize = 1024;

static constinit char VelaUserName[SUPOS_ACCOUNT_NAME_SIZE] = "vela";
static constinit char VelaGroupName[SUPOS_ACCOUNT_NAME_SIZE] = "velagroup";
static constinit u32 VelaNamesResolved = 0;

static bool isNameCharacter(char Letter)
{
    return isalnum(static_cast<u8>(Letter)) || Letter == '_';
}

// Takes a pair of quotes off a value: two different characters of it, of one kind.
static void stripQuotes(char *Value)
{
    const size_t length = strlen(Value);
    if (length < 2 || (Value[0] != '"' && Value[0] != '\'') || Value[length - 1] != Value[0]) return;
    memmove(Value, Value + 1, length - 2);
    Value[length - 2] = 0;
}

// Finds the assignment of a line, without blanks around it and quotes around its value; null when there is none.
static char *assignmentOf(char *Line)
{
    while (isspace(static_cast<u8>(*Line))) ++Line;
    size_t length = strlen(Line);
    while (length != 0 && isspace(static_cast<u8>(Line[length - 1]))) Line[--length] = 0;

    char *at = Line;
    while (isNameCharacter(*at)) ++at;
    if (at == Line || *at != '=') return nullptr; // a comment, an empty line, or something else
    stripQuotes(at + 1);
    return Line;
}

void SupOS_Environment(const char *Region)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Environment");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s)", Region);

    char dataPath[SUPOS_REGISTRY_VALUE_SIZE] = {};
    SupOS_GetRegistry("DataPath", dataPath);
    char path[pathSize];
    const int size = snprintf(path, sizeof path, "%s\\vela_regions\\%s\\environment", dataPath, Region);
    FILE *const file = size >= 0 && static_cast<size_t>(size) < sizeof path ? plat_fopen(path, "r") : nullptr;
    if (file == nullptr) INFTR_RETURN(1); // a region need not have one

    char line[lineSize];
    while (fgets(line, sizeof line, file) != nullptr) {
        const char *const assignment = assignmentOf(line);
        if (assignment == nullptr) continue;
        char expanded[assignmentSize];
        if (ExpandEnvironmentStringsA(assignment, expanded, sizeof expanded) > sizeof expanded) continue;

        const size_t room = strlen(expanded) + 1;
        char *const copy = static_cast<char *>(tks_trace_Malloc(room, sourceFile, allocationLine));
        if (copy == nullptr) {
            INFTR_EXIT_CODE(2, 1);
            InfTR_ProcessTerminate();
            tks_Exit(1);
        }
        memcpy(copy, expanded, room);
        _putenv(copy);
        tks_trace_Free(copy); // the environment has its own
    }
    fclose(file);
    INFTR_RETURN(3);
}

static void copyName(char (&Out)[SUPOS_ACCOUNT_NAME_SIZE], const char *Name)
{
    if (Name != nullptr && Name != Out) snprintf(Out, sizeof Out, "%s", Name);
}

u32 SupOS_GetUserName(u32, char *Name)
{
    if (VelaNamesResolved == 0) SupOS_GetRegionIds();
    memcpy(Name, VelaUserName, sizeof VelaUserName);
    return ERZ_OK;
}

u32 SupOS_GetGroupName(u32, char *Name)
{
    if (VelaNamesResolved == 0) SupOS_GetRegionIds();
    memcpy(Name, VelaGroupName, sizeof VelaGroupName);
    return ERZ_OK;
}

void SupOS_SetVelaNames(const char *User, const char *Group)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SetVelaNames");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.51s, %.51s)", User, Group);

    copyName(VelaUserName, User);
    copyName(VelaGroupName, Group);
    VelaNamesResolved = 1;
    INFTR_RETURN(1);
}

u32 SupOS_GetRegionIds(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetRegionIds");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    char texts[7][SUPOS_REGISTRY_VALUE_SIZE] = {};
    SupOS_ServerEntry entry = {
        SUPOS_SERVER_REGION, texts[0], texts[1], texts[2], texts[3], texts[4], texts[5], texts[6]};
    const char *const region = SupPR_GetNames(SUPPR_NAME_REGION);
    u32 answer;
    if (region[0] != 0) {
        snprintf(texts[0], sizeof texts[0], "vela.%s", region);
        answer = SupOS_RegGetServerEntry(&entry);
    } else {
        answer = SupOS_RegGetDefaultEntry(&entry);
    }
    if (answer == ERZ_OK) {
        copyName(VelaUserName, entry.UserId);
        copyName(VelaGroupName, entry.GroupId);
    }
    VelaNamesResolved = 1; // required: after a failure too, and then the names stay as they are
    INFTR_RETURN_CODE(1, ERZ_OK);
}

u32 SupOS_GetHomeDirectory(const char *User, char **Home)
{
    constexpr i32 userRoom = 510, homeRoom = 255;

    INFTR_FUNCTION(SUPOS, "SupOS_GetHomeDirectory()");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %p)", User, static_cast<void *>(Home));

    u32 result = 1;
    plat_char16 user[userRoom];
    u8 *answer = nullptr; // belongs to the platform
    if (MultiByteToWideChar(CP_ACP, 0, User, -1, user, userRoom) == 0 ||
        NetUserGetInfo(nullptr, user, 1, &answer) != NERR_Success)
        INFTR_RETURN_CODE(1, result);

    char home[homeRoom];
    const USER_INFO_1 *const info = reinterpret_cast<const USER_INFO_1 *>(answer);
    if (WideCharToMultiByte(CP_ACP, 0, info->usri1_home_dir, -1, home, homeRoom, nullptr, nullptr) == 0)
        INFTR_RETURN_CODE(2, result);

    char *const copy = static_cast<char *>(malloc(strlen(home) + 1));
    if (copy == nullptr) INFTR_RETURN_CODE(3, result);
    strcpy(copy, home);
    *Home = copy;
    result = 0;
    INFTR_RETURN_CODE(4, result);
}

u32 SupOS_NormalisePath(char *Path)
{
    INFTR_FUNCTION(SUPOS, "SupOS_NormalisePath");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s)", Path);

    u32 result = 1;
    if (Path == nullptr) INFTR_RETURN_CODE(1, result);
    for (char *at = strchr(Path, '\\'); at != nullptr; at = strchr(at + 1, '\\')) *at = '/';
    result = 0;
    INFTR_RETURN_CODE(2, result);
}

char *SupOS_TempFilePath(const char *Name)
{
    static constinit char path[pathSize] = {};

    snprintf(path, sizeof path, "%s\\%s", SupPR_GetNames(SUPPR_NAME_TMP_DIR), Name);
    return path;
}
