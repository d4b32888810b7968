// The registry tree: installation facts, and the entries of regions and servers.
//
// Every call opens its own key and closes it again; there is no state. Values are texts, stored with or without a
// terminator, and read into rooms of 255 bytes: all reading goes through one function that reads into a cleared room
// of its own, so that no caller ever gets a text without an end.

#include "supos_registry.h"

#include "supos_reg_int.h"

#include "super_assert.h"
#include "win32_error.h"
#include "win32_registry.h"

#include <cstdio>
#include <cstring>

static const char sourceFile[] = "sup\\os\\nt_intel\\src\\supos_reg";

static const char installationKey[] = "SOFTWARE\\QMX\\Corvanta-VELA\\CurrentVersion\\";
static const char sorrelKey[] = "SOFTWARE\\QMX\\Corvanta-Sorrel\\CurrentVersion\\";

// Keys of the entries below the installation's key, by Kind.
constexpr const char *kindKey[] = {"VELARegions\\", "RFSServers\\", "XGWGateways\\", "LOGServers\\"};
constexpr u32 kindCount = sizeof kindKey / sizeof kindKey[0];

constexpr size_t keyPathSize = 255;

// The values of an entry, in the order in which they are written and read.
struct entryRow {
    const char *Name;
    char *SupOS_ServerEntry::*Field;
};

constexpr entryRow entryRows[] = {
    {"ExecutablePath", &SupOS_ServerEntry::ExecutablePath},
    {"Arguments", &SupOS_ServerEntry::Arguments},
    {"UserId", &SupOS_ServerEntry::UserId},
    {"GroupId", &SupOS_ServerEntry::GroupId},
    {"StdOut", &SupOS_ServerEntry::StdOut},
    {"StdErr", &SupOS_ServerEntry::StdErr},
};

// Reads a value into a room of 255 bytes and sees to its end; Value is untouched when the read fails.
static bool readText(HKEY Key, const char *Name, char *Value)
{
    u8 room[SUPOS_REGISTRY_VALUE_SIZE + 1] = {};
    u32 size = SUPOS_REGISTRY_VALUE_SIZE;
    if (Value == nullptr || RegQueryValueExA(Key, Name, nullptr, nullptr, room, &size) != ERROR_SUCCESS) return false;
    room[SUPOS_REGISTRY_VALUE_SIZE - 1] = 0;
    memcpy(Value, room, size < SUPOS_REGISTRY_VALUE_SIZE ? size + 1 : SUPOS_REGISTRY_VALUE_SIZE);
    return true;
}

static bool writeText(HKEY Key, const char *Name, const char *Value)
{
    if (Value == nullptr) return false;
    const u8 *data = reinterpret_cast<const u8 *>(Value);
    return RegSetValueExA(Key, Name, 0, REG_SZ, data, static_cast<u32>(strlen(Value) + 1)) == ERROR_SUCCESS;
}

static bool openForReading(const char *Path, HKEY *Key)
{
    return RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path, 0, KEY_READ, Key) == ERROR_SUCCESS;
}

static bool openForWriting(const char *Path, HKEY *Key)
{
    u32 disposition = 0;
    return RegCreateKeyExA(HKEY_LOCAL_MACHINE, Path, 0, nullptr, 0, KEY_WRITE, nullptr, Key, &disposition) ==
           ERROR_SUCCESS;
}

// The key of an entry, or with Name empty the key that holds its kind; false when the path is too long to be a key's.
static bool entryPath(u32 Kind, const char *Name, char (&Path)[keyPathSize])
{
    const int length = snprintf(Path, sizeof Path, "%s%s%s", installationKey, kindKey[Kind], Name);
    return length >= 0 && static_cast<size_t>(length) < sizeof Path;
}

i32 SupOS_GetRegistry(const char *ValueName, char *Value)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetRegistry");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %p)", ValueName, static_cast<void *>(Value));

    HKEY key = nullptr;
    bool found = openForReading(installationKey, &key);
    if (found) {
        found = readText(key, ValueName, Value);
        RegCloseKey(key);
    }
    if (!found)
        SUPER_ASSERT_EXIT(SUPOS, 0, "(rc == TRUE)", 140, sourceFile, 1410, "Failed to access registry key %s%s",
                          installationKey, ValueName);
    if (Value[0] == 0)
        SUPER_ASSERT_EXIT(SUPOS, 0, "(Drive[0] != 0)", 144, sourceFile, 1412, "Registry value %s%s is null",
                          installationKey, ValueName);

    const i32 done = 1;
    INFTR_RETURN_VALUE(1, done);
}

i32 SupOS_SetRegistry(const char *ValueName, const char *Value)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SetRegistry");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %.255s)", ValueName, Value);

    i32 done = 0;
    HKEY key = nullptr;
    if (!openForWriting(installationKey, &key)) INFTR_RETURN_VALUE(1, done);

    // required: three bytes are stored, whatever the length. The registry looks at the byte behind them as well: where
    // the third byte ends no text and the fourth does, it stores four.
    u8 text[4] = {};
    memcpy(text, Value, strnlen(Value, sizeof text));
    done = RegSetValueExA(key, ValueName, 0, REG_SZ, text, 3) == ERROR_SUCCESS;
    RegCloseKey(key);
    INFTR_RETURN_VALUE(2, done);
}

char *SupOS_RegGetSorrelPath(void)
{
    static constinit thread_local char path[SUPOS_REGISTRY_VALUE_SIZE];

    INFTR_FUNCTION(SUPOS, "SupOS_RegGetSorrelPath");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    memset(path, 0, sizeof path);
    char *const result = path;
    HKEY key = nullptr;
    if (!openForReading(sorrelKey, &key)) INFTR_RETURN_VALUE(1, result);

    readText(key, "PathName", path);
    RegCloseKey(key);
    INFTR_RETURN_VALUE(2, result);
}

u32 SupOS_RegCreateServerEntry(SupOS_ServerEntry *Entry)
{
    INFTR_FUNCTION(SUPOS, "SupOS_RegCreateServerEntry");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Entry));

    if (Entry->Kind >= kindCount) INFTR_RETURN_CODE(1, SUPOS_REGISTRY_BAD_KIND);

    char path[keyPathSize] = {};
    HKEY key = nullptr;
    if (!entryPath(Entry->Kind, Entry->EntryName, path) || !openForWriting(path, &key))
        INFTR_RETURN_CODE(2, SupOS_RC_SYSTEM);

    u32 result = ERZ_OK;
    for (const entryRow &row : entryRows)
        if (!writeText(key, row.Name, Entry->*row.Field)) result = SupOS_RC_SYSTEM; // the next ones are written still
    RegCloseKey(key);
    INFTR_RETURN_CODE(3, result);
}

u32 SupOS_RegDestroyServerEntry(SupOS_ServerEntry *Entry)
{
    INFTR_FUNCTION(SUPOS, "SupOS_RegDestroyServerEntry");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Entry));

    if (Entry->Kind >= kindCount) INFTR_RETURN_CODE(1, SUPOS_REGISTRY_BAD_KIND);

    char path[keyPathSize] = {};
    HKEY key = nullptr;
    if (!entryPath(Entry->Kind, "", path) || !openForReading(path, &key)) INFTR_RETURN_CODE(2, SupOS_RC_SYSTEM);

    const u32 result = RegDeleteKeyA(key, Entry->EntryName) == ERROR_SUCCESS ? ERZ_OK : SupOS_RC_SYSTEM;
    RegCloseKey(key);
    INFTR_RETURN_CODE(3, result);
}

u32 SupOS_RegGetServerEntry(SupOS_ServerEntry *Entry)
{
    INFTR_FUNCTION(SUPOS, "SupOS_RegGetServerEntry");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Entry));

    if (Entry->Kind >= kindCount) INFTR_RETURN_CODE(1, SUPOS_REGISTRY_BAD_KIND);

    char path[keyPathSize] = {};
    HKEY key = nullptr;
    if (!entryPath(Entry->Kind, Entry->EntryName, path) || !openForReading(path, &key))
        INFTR_RETURN_CODE(2, SupOS_RC_SYSTEM);

    u32 result = ERZ_OK;
    for (const entryRow &row : entryRows)
        if (!readText(key, row.Name, Entry->*row.Field)) result = SupOS_RC_SYSTEM; // the next ones are read still
    RegCloseKey(key);
    INFTR_RETURN_CODE(3, result);
}

u32 SupOS_RegGetDefaultEntry(SupOS_ServerEntry *Entry)
{
    INFTR_FUNCTION(SUPOS, "SupOS_RegGetDefaultEntry");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Entry));

    HKEY key = nullptr;
    if (!openForReading(installationKey, &key)) INFTR_RETURN_CODE(1, SupOS_RC_SYSTEM);

    u32 result = ERZ_OK;
    if (!readText(key, "UserId", Entry->UserId)) result = SupOS_RC_SYSTEM;
    if (!readText(key, "GroupId", Entry->GroupId)) result = SupOS_RC_SYSTEM;
    RegCloseKey(key);
    INFTR_RETURN_CODE(2, result);
}

u32 SupOS_RegQueryKey(const char *Key, const char *ValueName, void *Value, u32 *Size)
{
    INFTR_FUNCTION(SUPOS, "SupOS_RegQueryKey");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %.255s, %p, %p)", Key, ValueName, Value, static_cast<void *>(Size));

    HKEY key = nullptr;
    if (!openForReading(Key, &key)) INFTR_RETURN_CODE(1, SUPOS_REGISTRY_NO_KEY);

    u32 result = ERZ_OK;
    if (ValueName != nullptr &&
        RegQueryValueExA(key, ValueName, nullptr, nullptr, static_cast<u8 *>(Value), Size) != ERROR_SUCCESS)
        result = SUPOS_REGISTRY_NO_VALUE;
    RegCloseKey(key);
    INFTR_RETURN_CODE(2, result);
}
