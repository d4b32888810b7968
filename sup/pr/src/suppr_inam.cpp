// The names table: 35 strings that every process of a region works out in the same way, from the region's name and the
// two paths of the registry.
//
// The table is written by SupPR_InitNames alone, in the process's first thread; afterwards all threads read it without
// a lock. Entries come into being in a fixed order, since most are built from earlier ones: the installation path (2),
// the regions path (14), the region (0) and its directory (1). A region in error empties every entry that speaks of a
// region; what belongs to the installation stays usable.

#include "suppr_names.h"

#include "suppr_int.h"

#include "crt.h"
#include "super_assert.h"
#include "supos_inner.h"
#include "supos_registry.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static const char sourceFile[] = "sup\\pr\\src\\suppr_inam";

// required: one table of a process, empty at load
static constinit char namesTable[SUPPR_NAME_COUNT][SUPPR_NAME_ENTRY_SIZE] = {};

static const char productWord[] = "vela";
static const char releaseText[] = "0620";
static const char maintenanceLevel[] = "ml13";
static const char fallbackInstallPath[] = "c:\\opt\\vela";
static const char fallbackDataPath[] = "\\var";

constexpr i32 readAndWrite = 6;

// An entry of the table: its number, and the format of its value.
struct nameRow {
    i32 Number;
    const char *Format;
};

// Entries built from the installation path, in the order in which they are written.
constexpr nameRow installRows[] = {
    {SUPPR_NAME_BIN_DIR, "%s\\bin"},         {SUPPR_NAME_LIB_DIR, "%s\\lib"},         {SUPPR_NAME_ETC_DIR, "%s\\etc"},
    {SUPPR_NAME_INCLUDE_DIR, "%s\\include"}, {SUPPR_NAME_DATA_DIR, "%s\\data"},       {SUPPR_NAME_MAPS_DIR, "%s\\maps"},
    {SUPPR_NAME_MSG_DIR, "%s\\msg"},         {SUPPR_NAME_ROM_DIR, "%s\\rom"},         {SUPPR_NAME_PRODUCT_DIR, "%s"},
    {SUPPR_NAME_CLASSES_DIR, "%s\\classes"}, {SUPPR_NAME_DEFAULT_DIR, "%s\\DEFAULT"},
};

// Entries built from the region's directory.
constexpr nameRow regionRows[] = {
    {SUPPR_NAME_REGION_BIN_DIR, "%s\\bin"},         {SUPPR_NAME_REGION_MAPS_DIR, "%s\\maps"},
    {SUPPR_NAME_REGION_DATA_DIR, "%s\\data"},       {SUPPR_NAME_REGION_DATABASE_DIR, "%s\\database"},
    {SUPPR_NAME_REGION_CLASSES_DIR, "%s\\classes"},
};

// Entries built from the data path.
constexpr nameRow dataRows[] = {
    {SUPPR_NAME_SERVERS_DIR, "%s\\vela_servers"},          {SUPPR_NAME_SERVERS_SSD_DIR, "%s\\vela_servers\\SSD"},
    {SUPPR_NAME_SERVERS_LSD_DIR, "%s\\vela_servers\\LSD"}, {SUPPR_NAME_SERVERS_GSD_DIR, "%s\\vela_servers\\GSD"},
    {SUPPR_NAME_SERVERS_SCD_DIR, "%s\\vela_servers\\SCD"}, {SUPPR_NAME_TMP_DIR, "%s\\vela_tmp"},
    {SUPPR_NAME_CLIENTS_DIR, "%s\\vela_clients"},
};

// Entries that are empty when the region is in error.
constexpr i32 regionEntries[] = {
    SUPPR_NAME_REGION,
    SUPPR_NAME_REGION_DIR,
    SUPPR_NAME_REGION_BIN_DIR,
    SUPPR_NAME_REGION_MAPS_DIR,
    SUPPR_NAME_REGION_DATA_DIR,
    SUPPR_NAME_REGION_CLASSES_DIR,
    SUPPR_NAME_REGION_DATABASE_DIR,
    SUPPR_NAME_SPARE_16,
    SUPPR_NAME_TS_NAME,
    SUPPR_NAME_TRPC_NAME,
    SUPPR_NAME_CDS_NAME,
};

// Formats an entry; what does not fit into it is cut.
static void setName(i32 Number, const char *Format, ...) VELA_PRINTF(2, 3);

static void setName(i32 Number, const char *Format, ...)
{
    va_list args;
    va_start(args, Format);
    vsnprintf(namesTable[Number], SUPPR_NAME_ENTRY_SIZE, Format, args);
    va_end(args);
}

template <size_t Count>
static void setRows(const nameRow (&Rows)[Count], const char *Base)
{
    for (const nameRow &row : Rows) snprintf(namesTable[row.Number], SUPPR_NAME_ENTRY_SIZE, row.Format, Base);
}

char *SupPR_GetNames(i32 Number)
{
    INFTR_FUNCTION(SUPPR, "SupPR_GetNames");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d)", Number);

    char *entry = nullptr;
    if (static_cast<u32>(Number) >= SUPPR_NAME_COUNT) INFTR_RETURN_VALUE(1, entry);
    entry = namesTable[Number];
    INFTR_RETURN_VALUE(2, entry);
}

void SupPR_FallbackInstallPath(char *Buffer)
{
    const char *const path = getenv("VELAPATH");
    if (path == nullptr || _fullpath(Buffer, path, SUPPR_NAME_ENTRY_SIZE) == nullptr)
        memcpy(Buffer, fallbackInstallPath, sizeof fallbackInstallPath);
}

void SupPR_FallbackDataPath(char *Buffer)
{
    memcpy(Buffer, fallbackDataPath, sizeof fallbackDataPath);
}

char *SupPR_GetPath(u32 PathType, char *Buffer)
{
    static constinit char emptyText[1] = {};

    INFTR_FUNCTION(SUPPR, "SupPR_GetPath");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%u, %p)", PathType, static_cast<void *>(Buffer));

    if (Buffer == nullptr) {
        char *const nothing = emptyText;
        INFTR_RETURN_VALUE(1, nothing);
    }

    // The registry ends the process rather than answer with an empty text; one that answers falls back here.
    Buffer[0] = 0;
    if (PathType == SUPPR_PATH_INSTALL) {
        SupOS_GetRegistry("InstallPath", Buffer);
        if (Buffer[0] == 0) SupPR_FallbackInstallPath(Buffer);
        INFTR_RETURN_VALUE(2, Buffer);
    }

    SupOS_GetRegistry("DataPath", Buffer);
    if (Buffer[0] == 0) SupPR_FallbackDataPath(Buffer);
    const size_t length = strlen(Buffer);
    snprintf(Buffer + length, SUPPR_NAME_ENTRY_SIZE - length, "\\vela_regions");
    INFTR_RETURN_VALUE(3, Buffer);
}

char *SupPR_ReadDefault(char *Path)
{
    INFTR_FUNCTION(SUPPR, "SupPR_ReadDefault");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s)", Path);

    char *result = nullptr;
    plat_stat32 status;
    if (_stat32(Path, &status) != 0) INFTR_RETURN_VALUE(1, result);
    if ((status.st_mode & PLAT_S_IFMT) == PLAT_S_IFDIR) result = Path;
    INFTR_RETURN_VALUE(2, result);
}

// The region that VELAREGION names, if it has a directory; else NULL. An empty variable names no region.
static const char *regionOfEnvironment()
{
    const char *const name = getenv("VELAREGION");
    if (name == nullptr || name[0] == 0) return nullptr;

    char path[4096];
    const int length = snprintf(path, sizeof path, "%s\\%s", namesTable[SUPPR_NAME_REGIONS_DIR], name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) return nullptr;
    return SupPR_ReadDefault(path) != nullptr ? name : nullptr;
}

// Tests and stores the name of the region; the result code of the region so far.
static u32 setRegion(const char *Name)
{
    if (Name == nullptr) return SUPPR_ERR_NO_REGION;

    char region[SUPPR_REGION_NAME_SIZE + 1]; // Name may lie in the table itself
    const size_t length = strnlen(Name, sizeof region);
    if (length == sizeof region) return SUPPR_ERR_REGION_NAME_LONG;
    memcpy(region, Name, length);
    region[length] = 0;
    setName(SUPPR_NAME_REGION, "%s", region);
    return ERZ_OK;
}

u32 SupPR_InitNames(const char *RegionName)
{
    INFTR_FUNCTION(SUPPR, "SupPR_InitNames");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s)", RegionName);

    SupPR_GetPath(SUPPR_PATH_INSTALL, namesTable[SUPPR_NAME_INSTALL_DIR]);
    setName(SUPPR_NAME_RELEASE, "%s", releaseText);
    setName(SUPPR_NAME_SPARE_25, "%s", "");
    setRows(installRows, namesTable[SUPPR_NAME_INSTALL_DIR]);
    SupPR_GetPath(SUPPR_PATH_REGIONS, namesTable[SUPPR_NAME_REGIONS_DIR]);

    const bool fromEnvironment = RegionName == nullptr || RegionName[0] == 0;
    u32 result = setRegion(fromEnvironment ? regionOfEnvironment() : RegionName);

    if (result != ERZ_OK) {
        for (const i32 number : regionEntries) setName(number, "%s", "");
    } else {
        char *const directory = namesTable[SUPPR_NAME_REGION_DIR];
        const char *const region = namesTable[SUPPR_NAME_REGION];
        setName(SUPPR_NAME_REGION_DIR, "%s\\%s", namesTable[SUPPR_NAME_REGIONS_DIR], region);
        setName(SUPPR_NAME_SPARE_16, "%s", "");
        const i32 rights = SupOS_CheckEffectiveRights(directory, readAndWrite);
        setRows(regionRows, directory);

        setName(SUPPR_NAME_TS_NAME, "%s/%s/ts", productWord, region);
        if (strlen(SUPPR_GETDIR(SUPPR_NAME_TS_NAME)) > SUPPR_TS_NAME_SIZE)
            SUPER_ASSERT_EXIT(SUPPR, 0, "strlen(SUPPR_GETDIR(SUPPR_NAME_TS_NAME)) <= SUPPR_TS_NAME_SIZE", 651,
                              sourceFile, 51, "TS name exceeds %d in length", SUPPR_TS_NAME_SIZE);

        setName(SUPPR_NAME_TRPC_NAME, "%s/%s/trpc", productWord, region);
        if (strlen(SUPPR_GETDIR(SUPPR_NAME_TRPC_NAME)) > SUPPR_TRPC_NAME_SIZE)
            SUPER_ASSERT_EXIT(SUPPR, 0, "strlen(SUPPR_GETDIR(SUPPR_NAME_TRPC_NAME)) <= SUPPR_TRPC_NAME_SIZE", 662,
                              sourceFile, 52, "TRPC name exceeds %d in length", SUPPR_TRPC_NAME_SIZE);

        setName(SUPPR_NAME_CDS_NAME, "/.:/%s/%s", productWord, region);
        if (rights != 0) result = fromEnvironment ? SUPPR_ERR_ENV_REGION_ACCESS : SUPPR_ERR_REGION_ACCESS;
    }

    setName(SUPPR_NAME_TS_PROFILE, "%s/profile/vela_profile", productWord);
    if (strlen(SUPPR_GETDIR(SUPPR_NAME_TS_PROFILE)) > SUPPR_PROFILE_NAME_SIZE)
        SUPER_ASSERT_EXIT(SUPPR, 0, "strlen(SUPPR_GETDIR(SUPPR_NAME_TS_PROFILE)) <= SUPPR_PROFILE_NAME_SIZE", 725,
                          sourceFile, 50, "TS profile name exceeds %d in length", SUPPR_PROFILE_NAME_SIZE);

    char dataPath[SUPPR_NAME_ENTRY_SIZE] = {};
    SupOS_GetRegistry("DataPath", dataPath);
    if (dataPath[0] == 0) SupPR_FallbackDataPath(dataPath);
    setRows(dataRows, dataPath);
    setName(SUPPR_NAME_ML_LEVEL, "%s", maintenanceLevel);
    INFTR_RETURN_CODE(1, result);
}
