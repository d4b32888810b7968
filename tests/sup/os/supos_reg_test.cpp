// The registry tree: single values, entries of regions and servers, and what a process does without its registry.

#include "supos_registry.h"

#include "supos_reg_int.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "unprivileged.h"
#include "vela_types.h"
#include "win32_registry.h"

namespace
{

// The bytes of a stored value, its terminator included.
std::string storedValue(const std::string &key, const char *name)
{
    HKEY open = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &open), 0);
    char data[300];
    u32 size = sizeof data;
    EXPECT_EQ(RegQueryValueExA(open, name, nullptr, nullptr, reinterpret_cast<u8 *>(data), &size), 0);
    RegCloseKey(open);
    return std::string(data, size);
}

// Stores bytes as they are: the registry takes a zero byte behind a text along, so another one stands there.
void storeBytes(const char *name, const std::string &bytes)
{
    const std::string guarded = bytes + "#";
    HKEY open = nullptr;
    ASSERT_EQ(
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, SCRATCH_PRODUCT_KEY, 0, nullptr, 0, KEY_WRITE, nullptr, &open, nullptr), 0);
    ASSERT_EQ(RegSetValueExA(open, name, 0, REG_SZ, reinterpret_cast<const u8 *>(guarded.data()),
                             static_cast<u32>(bytes.size())),
              0);
    RegCloseKey(open);
}

// An entry with texts, and one with rooms.
struct entryTexts {
    entryTexts() = default;
    entryTexts(const entryTexts &) = delete; // its pointers lead into itself
    char Name[32] = "vela.TESTREG";
    char Texts[6][SUPOS_REGISTRY_VALUE_SIZE] = {"c:\\bin\\server.exe", "-r TESTREG", "vela",
                                                "velagroup",           "out.log",    "err.log"};
    SupOS_ServerEntry Entry = {SUPOS_SERVER_REGION, Name, Texts[0], Texts[1], Texts[2], Texts[3], Texts[4], Texts[5]};
};

struct entryRooms : entryTexts {
    entryRooms() { memset(Texts, '#', sizeof Texts); }
};

const char *const valueNames[] = {"ExecutablePath", "Arguments", "UserId", "GroupId", "StdOut", "StdErr"};

} // namespace

TEST(SupOS_GetRegistry, ReadsAValue)
{
    const std::string root = Scratch_MakeRoot();
    char value[SUPOS_REGISTRY_VALUE_SIZE];
    memset(value, '#', sizeof value);
    EXPECT_EQ(SupOS_GetRegistry("DataPath", value), 1);
    EXPECT_EQ(value, root + "/data");

    EXPECT_EQ(SupOS_GetRegistry("INSTALLPATH", value), 1); // names have no case
    EXPECT_EQ(value, root + "/install");
}

TEST(SupOS_GetRegistry, EndsATextThatWasStoredWithoutItsEnd)
{
    Scratch_MakeRoot();
    char value[SUPOS_REGISTRY_VALUE_SIZE + 1];

    for (const size_t length : {1u, 3u, 253u, 254u}) {
        memset(value, '#', sizeof value);
        storeBytes("Raw", std::string(length, 'x'));
        EXPECT_EQ(SupOS_GetRegistry("Raw", value), 1);
        EXPECT_STREQ(value, std::string(length, 'x').c_str());
        EXPECT_EQ(value[SUPOS_REGISTRY_VALUE_SIZE], '#');
    }
    storeBytes("Raw", std::string(255, 'x')); // fills the room; the last byte gives way to the terminator
    EXPECT_EQ(SupOS_GetRegistry("Raw", value), 1);
    EXPECT_STREQ(value, std::string(254, 'x').c_str());
    EXPECT_EQ(value[SUPOS_REGISTRY_VALUE_SIZE], '#');
}

TEST(SupOS_GetRegistry, EndsTheProcessWithoutTheValue)
{
    Scratch_MakeRoot();
    char value[SUPOS_REGISTRY_VALUE_SIZE] = "untouched";
    EXPECT_EXIT(SupOS_GetRegistry("NoSuchValue", value), testing::ExitedWithCode(99),
                "ERZ057002E/1410: .*\\(rc == TRUE\\).*SupOS_GetRegistry.*140.*supos_reg");
    EXPECT_EXIT(SupOS_GetRegistry("NoSuchValue", value), testing::ExitedWithCode(99),
                "FUNC/SupOS_GetRegistry LINE/140 MS/057006 MSN/1410 SRC/11 PRCS/99");
    EXPECT_EXIT(SupOS_GetRegistry("NoSuchValue", value), testing::ExitedWithCode(99),
                "SECONDARY SYMPTOMS = Failed to access registry key "
                "SOFTWARE\\\\QMX\\\\Corvanta-VELA\\\\CurrentVersion\\\\NoSuchValue");
    EXPECT_STREQ(value, "untouched");
}

TEST(SupOS_GetRegistry, EndsTheProcessWithoutTheKey)
{
    Scratch_MakeRoot();
    Scratch_DeleteKey(SCRATCH_PRODUCT_KEY);
    char value[SUPOS_REGISTRY_VALUE_SIZE];
    EXPECT_EXIT(SupOS_GetRegistry("DataPath", value), testing::ExitedWithCode(99),
                "Failed to access registry key SOFTWARE\\\\QMX\\\\Corvanta-VELA\\\\CurrentVersion\\\\DataPath");
}

TEST(SupOS_GetRegistry, EndsTheProcessForAnEmptyValue)
{
    Scratch_MakeRoot();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "Empty", "");
    storeBytes("Nothing", "");
    char value[SUPOS_REGISTRY_VALUE_SIZE];
    EXPECT_EXIT(SupOS_GetRegistry("Empty", value), testing::ExitedWithCode(99),
                "ERZ057002E/1412: .*\\(Drive\\[0\\] != 0\\)");
    EXPECT_EXIT(SupOS_GetRegistry("Empty", value), testing::ExitedWithCode(99), "LINE/144 MS/057006 MSN/1412 SRC/11");
    EXPECT_EXIT(SupOS_GetRegistry("Empty", value), testing::ExitedWithCode(99),
                "Registry value SOFTWARE\\\\QMX\\\\Corvanta-VELA\\\\CurrentVersion\\\\Empty is null");
    EXPECT_EXIT(SupOS_GetRegistry("Nothing", value), testing::ExitedWithCode(99), "Nothing is null");
}

TEST(SupOS_GetRegistry, EndsTheProcessForAValueThatDoesNotFit)
{
    Scratch_MakeRoot();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "Long", std::string(255, 'x')); // 256 bytes
    char value[SUPOS_REGISTRY_VALUE_SIZE];
    EXPECT_EXIT(SupOS_GetRegistry("Long", value), testing::ExitedWithCode(99), "Failed to access registry key .*Long");
    EXPECT_EXIT(SupOS_GetRegistry("DataPath", nullptr), testing::ExitedWithCode(99), "Failed to access registry key");

    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "Long", std::string(254, 'x'));
    EXPECT_EQ(SupOS_GetRegistry("Long", value), 1);
    EXPECT_EQ(strlen(value), 254u);
}

TEST(SupOS_GetRegistry, EndsTheProcessWhenTheTreeCannotBeRead)
{
    Scratch_MakeRoot();
    char value[SUPOS_REGISTRY_VALUE_SIZE];
    EXPECT_EXIT(
        {
            Plat_Sys.Open = [](const char *, int, mode_t) {
                errno = EACCES;
                return -1;
            };
            SupOS_GetRegistry("DataPath", value);
        },
        testing::ExitedWithCode(99), "Failed to access registry key");
}

TEST(SupOS_SetRegistry, StoresThreeBytes)
{
    Scratch_MakeRoot();
    struct {
        const char *Text;
        std::string Stored;
    } const rows[] = {
        {"abcd", "abc"},
        {"abcdefgh", "abc"},
        {"abc", std::string("abc\0", 4)},
        {"ab", std::string("ab\0", 3)},
        {"a", std::string("a\0\0", 3)},
        {"", std::string("\0\0\0", 3)},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(SupOS_SetRegistry("Drive", row.Text), 1);
        EXPECT_EQ(storedValue(SCRATCH_PRODUCT_KEY, "Drive"), row.Stored) << row.Text;
    }
}

TEST(SupOS_SetRegistry, IsReadBackAsThreeCharacters)
{
    Scratch_MakeRoot();
    char value[SUPOS_REGISTRY_VALUE_SIZE];
    memset(value, '#', sizeof value);
    EXPECT_EQ(SupOS_SetRegistry("Drive", "c:\\opt"), 1);
    EXPECT_EQ(SupOS_GetRegistry("Drive", value), 1);
    EXPECT_STREQ(value, "c:\\");
}

TEST(SupOS_SetRegistry, TellsThatNothingWasStored)
{
    const std::string root = Scratch_MakeRoot();
    setenv("SORREL_REGISTRY", "/proc/no/such/place", 1);
    EXPECT_EQ(SupOS_SetRegistry("Drive", "c:"), 0);

    setenv("SORREL_REGISTRY", (root + "/registry").c_str(), 1);
    Plat_Sys.Rename = [](const char *, const char *) {
        errno = ENOSPC;
        return -1;
    };
    EXPECT_EQ(SupOS_SetRegistry("Drive", "c:"), 0);
}

TEST(SupOS_RegGetSorrelPath, GivesThePath)
{
    const std::string root = Scratch_MakeRoot();
    EXPECT_EQ(SupOS_RegGetSorrelPath(), root + "/install");
}

TEST(SupOS_RegGetSorrelPath, IsEmptyWithoutValueOrKey)
{
    Scratch_MakeRoot();
    char *const path = SupOS_RegGetSorrelPath();
    EXPECT_NE(path[0], 0);

    Scratch_DeleteValue(SCRATCH_SORREL_KEY, "PathName");
    EXPECT_EQ(SupOS_RegGetSorrelPath(), path); // cleared, though nothing was read
    for (int i = 0; i < SUPOS_REGISTRY_VALUE_SIZE; ++i) ASSERT_EQ(path[i], 0);
    Scratch_DeleteKey(SCRATCH_SORREL_KEY);
    EXPECT_STREQ(SupOS_RegGetSorrelPath(), "");
}

TEST(SupOS_RegGetSorrelPath, HasABufferForEachThread)
{
    Scratch_MakeRoot();
    const char *const mine = SupOS_RegGetSorrelPath();
    std::thread([&] { EXPECT_NE(SupOS_RegGetSorrelPath(), mine); }).join();
}

TEST(SupOS_RegServerEntry, GoesThereAndBack)
{
    Scratch_MakeRoot();
    const char *const kinds[] = {"VELARegions", "RFSServers", "XGWGateways", "LOGServers"};
    for (u32 kind = 0; kind < 4; ++kind) {
        entryTexts texts;
        texts.Entry.Kind = kind;
        EXPECT_EQ(SupOS_RegCreateServerEntry(&texts.Entry), 0u);

        const std::string key = std::string(SCRATCH_PRODUCT_KEY "\\") + kinds[kind] + "\\vela.TESTREG";
        for (int i = 0; i < 6; ++i) // with the terminator
            EXPECT_EQ(storedValue(key, valueNames[i]), std::string(texts.Texts[i], strlen(texts.Texts[i]) + 1));

        entryRooms rooms;
        rooms.Entry.Kind = kind;
        EXPECT_EQ(SupOS_RegGetServerEntry(&rooms.Entry), 0u);
        for (int i = 0; i < 6; ++i) EXPECT_STREQ(rooms.Texts[i], texts.Texts[i]);

        EXPECT_EQ(SupOS_RegDestroyServerEntry(&rooms.Entry), 0u);
        EXPECT_EQ(SupOS_RegGetServerEntry(&rooms.Entry), SupOS_RC_SYSTEM);
        EXPECT_EQ(SupOS_RegDestroyServerEntry(&rooms.Entry), SupOS_RC_SYSTEM);
    }
}

TEST(SupOS_RegServerEntry, RefusesABadKind)
{
    Scratch_MakeRoot();
    for (const u32 kind : {4u, 5u, 0xFFFFFFFFu}) {
        entryRooms rooms;
        rooms.Entry.Kind = kind;
        EXPECT_EQ(SupOS_RegGetServerEntry(&rooms.Entry), 1u);
        EXPECT_EQ(SupOS_RegCreateServerEntry(&rooms.Entry), 1u);
        EXPECT_EQ(SupOS_RegDestroyServerEntry(&rooms.Entry), 1u);
        for (const auto &text : rooms.Texts)
            for (const char byte : text) ASSERT_EQ(byte, '#');
    }
}

TEST(SupOS_RegServerEntry, DeliversTheOthersOfAMissingValue)
{
    Scratch_MakeRoot();
    for (int missing = 0; missing < 6; ++missing) {
        entryTexts texts;
        ASSERT_EQ(SupOS_RegCreateServerEntry(&texts.Entry), 0u);
        Scratch_DeleteValue(SCRATCH_PRODUCT_KEY "\\VELARegions\\vela.TESTREG", valueNames[missing]);

        entryRooms rooms;
        EXPECT_EQ(SupOS_RegGetServerEntry(&rooms.Entry), SupOS_RC_SYSTEM);
        for (int i = 0; i < 6; ++i) {
            if (i == missing)
                EXPECT_EQ(rooms.Texts[i][0], '#') << i;
            else
                EXPECT_STREQ(rooms.Texts[i], texts.Texts[i]) << i;
        }
    }
}

TEST(SupOS_RegServerEntry, WritesTheOthersOfAFailedValue)
{
    Scratch_MakeRoot();
    entryTexts texts;
    texts.Entry.UserId = nullptr; // a text that is not there cannot be stored
    EXPECT_EQ(SupOS_RegCreateServerEntry(&texts.Entry), SupOS_RC_SYSTEM);

    entryRooms rooms;
    EXPECT_EQ(SupOS_RegGetServerEntry(&rooms.Entry), SupOS_RC_SYSTEM);
    EXPECT_STREQ(rooms.Entry.Arguments, texts.Entry.Arguments);
    EXPECT_EQ(rooms.Entry.UserId[0], '#');
    EXPECT_STREQ(rooms.Entry.StdErr, texts.Entry.StdErr);

    // the first value cannot be moved into its place, the five others can
    static int renames;
    renames = 0;
    entryTexts again;
    SupOS_RegDestroyServerEntry(&again.Entry);
    Plat_Sys.Rename = [](const char *From, const char *To) {
        if (renames++ != 0) return rename(From, To);
        errno = EIO;
        return -1;
    };
    EXPECT_EQ(SupOS_RegCreateServerEntry(&again.Entry), SupOS_RC_SYSTEM);
    EXPECT_EQ(renames, 6);
    EXPECT_EQ(storedValue(SCRATCH_PRODUCT_KEY "\\VELARegions\\vela.TESTREG", "Arguments").c_str(),
              std::string(texts.Entry.Arguments));
}

TEST(SupOS_RegServerEntry, WithSubkeysStays)
{
    Scratch_MakeRoot();
    entryTexts texts;
    ASSERT_EQ(SupOS_RegCreateServerEntry(&texts.Entry), 0u);
    Scratch_SetValue(SCRATCH_PRODUCT_KEY "\\VELARegions\\vela.TESTREG\\Below", "Value", "x");
    EXPECT_EQ(SupOS_RegDestroyServerEntry(&texts.Entry), SupOS_RC_SYSTEM);

    entryRooms rooms;
    EXPECT_EQ(SupOS_RegGetServerEntry(&rooms.Entry), 0u);
}

TEST(SupOS_RegServerEntry, HasNoNameThatMakesTheKeyTooLong)
{
    Scratch_MakeRoot();
    const std::string above = std::string(SCRATCH_PRODUCT_KEY "\\VELARegions\\");
    std::string name(255 - above.size(), 'n'); // one character too many
    entryTexts texts;
    texts.Entry.EntryName = name.data();
    EXPECT_EQ(SupOS_RegCreateServerEntry(&texts.Entry), SupOS_RC_SYSTEM);
    EXPECT_EQ(SupOS_RegGetServerEntry(&texts.Entry), SupOS_RC_SYSTEM);
    EXPECT_EQ(SupOS_RegDestroyServerEntry(&texts.Entry), SupOS_RC_SYSTEM);

    name.pop_back();
    texts.Entry.EntryName = name.data();
    EXPECT_EQ(SupOS_RegCreateServerEntry(&texts.Entry), 0u);
    EXPECT_EQ(SupOS_RegGetServerEntry(&texts.Entry), 0u);
    EXPECT_EQ(SupOS_RegDestroyServerEntry(&texts.Entry), 0u);
}

TEST(SupOS_RegGetDefaultEntry, ReadsTheTwoNamesAlone)
{
    Scratch_MakeRoot();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", "operator");
    entryRooms rooms;
    rooms.Entry.Kind = 77; // not looked at
    rooms.Entry.EntryName = nullptr;
    EXPECT_EQ(SupOS_RegGetDefaultEntry(&rooms.Entry), 0u);
    EXPECT_STREQ(rooms.Entry.UserId, "operator");
    EXPECT_STREQ(rooms.Entry.GroupId, "velagroup");
    for (const char *text : {rooms.Entry.ExecutablePath, rooms.Entry.Arguments, rooms.Entry.StdOut, rooms.Entry.StdErr})
        EXPECT_EQ(text[0], '#');
}

TEST(SupOS_RegGetDefaultEntry, DeliversOneOfTwo)
{
    Scratch_MakeRoot();
    Scratch_DeleteValue(SCRATCH_PRODUCT_KEY, "UserId");
    entryRooms rooms;
    EXPECT_EQ(SupOS_RegGetDefaultEntry(&rooms.Entry), SupOS_RC_SYSTEM);
    EXPECT_EQ(rooms.Entry.UserId[0], '#');
    EXPECT_STREQ(rooms.Entry.GroupId, "velagroup");

    Scratch_DeleteKey(SCRATCH_PRODUCT_KEY);
    EXPECT_EQ(SupOS_RegGetDefaultEntry(&rooms.Entry), SupOS_RC_SYSTEM);
}

TEST(SupOS_RegQueryKey, ReadsAnyKey)
{
    Scratch_MakeRoot();
    char value[16] = {};
    u32 size = sizeof value;
    EXPECT_EQ(SupOS_RegQueryKey("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "CurrentVersion", value, &size), 0u);
    EXPECT_STREQ(value, "6.3");
    EXPECT_EQ(size, 4u);

    EXPECT_EQ(SupOS_RegQueryKey(SCRATCH_PRODUCT_KEY "\\", nullptr, nullptr, nullptr), 0u); // is it there?
    EXPECT_EQ(SupOS_RegQueryKey("SOFTWARE\\None", nullptr, nullptr, nullptr), 0x1D200064u);
    EXPECT_EQ(SupOS_RegQueryKey("SOFTWARE\\None", "Value", value, &size), 0x1D200064u);
    size = sizeof value;
    EXPECT_EQ(SupOS_RegQueryKey(SCRATCH_PRODUCT_KEY, "NoSuchValue", value, &size), 0x1D200065u);
    size = 2; // the room is the caller's own
    EXPECT_EQ(SupOS_RegQueryKey(SCRATCH_PRODUCT_KEY, "UserId", value, &size), 0x1D200065u);
    EXPECT_EQ(size, 5u);
}

// Every call opens a key of its own and gives it up again.
TEST(SupOS_Registry, LeavesNoHandleBehind)
{
    Scratch_MakeRoot();
    const auto freshHandle = [] {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, &key), 0);
        RegCloseKey(key);
        return key;
    };
    const HKEY before = freshHandle();

    char value[SUPOS_REGISTRY_VALUE_SIZE];
    u32 size = sizeof value;
    entryTexts texts;
    SupOS_GetRegistry("DataPath", value);
    SupOS_SetRegistry("Drive", "c:");
    SupOS_RegGetSorrelPath();
    SupOS_RegCreateServerEntry(&texts.Entry);
    SupOS_RegGetServerEntry(&texts.Entry);
    SupOS_RegGetDefaultEntry(&texts.Entry);
    SupOS_RegDestroyServerEntry(&texts.Entry);
    SupOS_RegDestroyServerEntry(&texts.Entry);
    SupOS_RegQueryKey(SCRATCH_PRODUCT_KEY, "DataPath", value, &size);
    SupOS_RegQueryKey(SCRATCH_PRODUCT_KEY, "None", value, &size);
    SupOS_RegQueryKey(SCRATCH_PRODUCT_KEY, nullptr, nullptr, nullptr);
    EXPECT_EQ(freshHandle(), before);
}

TEST(SupOS_Registry, Traces)
{
    Ring_TraceOn();
    char value[SUPOS_REGISTRY_VALUE_SIZE];
    u32 size = sizeof value;
    entryTexts texts;

    SupOS_GetRegistry("DataPath", value);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetRegistry"), 1u);
    SupOS_SetRegistry("Drive", "c:");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetRegistry"), 2u);
    SupOS_RegGetSorrelPath();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegGetSorrelPath"), 2u);
    SupOS_RegCreateServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegCreateServerEntry"), 3u);
    SupOS_RegGetServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegGetServerEntry"), 3u);
    SupOS_RegDestroyServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegDestroyServerEntry"), 3u);
    SupOS_RegGetServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegGetServerEntry"), 2u);
    SupOS_RegGetDefaultEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegGetDefaultEntry"), 2u);
    SupOS_RegQueryKey(SCRATCH_PRODUCT_KEY, "DataPath", value, &size);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegQueryKey"), 2u);
    SupOS_RegQueryKey("None", nullptr, nullptr, nullptr);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegQueryKey"), 1u);
    texts.Entry.Kind = 4;
    SupOS_RegCreateServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegCreateServerEntry"), 1u);
    SupOS_RegGetServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegGetServerEntry"), 1u);
    SupOS_RegDestroyServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegDestroyServerEntry"), 1u);

    setenv("SORREL_REGISTRY", "/proc/none", 1);
    texts.Entry.Kind = 0;
    SupOS_SetRegistry("Drive", "c:");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetRegistry"), 1u);
    SupOS_RegGetSorrelPath();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegGetSorrelPath"), 1u);
    SupOS_RegCreateServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegCreateServerEntry"), 2u);
    SupOS_RegDestroyServerEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegDestroyServerEntry"), 2u);
    SupOS_RegGetDefaultEntry(&texts.Entry);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_RegGetDefaultEntry"), 1u);

    for (const Ring_Record &record : Ring_Records()) {
        if (!record.Function.starts_with("SupOS_Reg") && record.Function != "SupOS_GetRegistry") continue;
        EXPECT_NE(record.Header.Class, 0x80u);
        if (record.Header.Class >= 0x100) { // entries do not tell it
            EXPECT_EQ(record.Header.Component, 58u);
        }
    }
}
