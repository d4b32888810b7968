// Keys of the registry.

#include "win32_registry.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "plat_faults.h"
#include "registry_support.h"
#include "win32_error.h"
#include "win32_file.h"

namespace fs = std::filesystem;

TEST(Plat_RegistryRoot, IsNamedByTheEnvironment)
{
    char out[300];
    setenv("SORREL_REGISTRY", "/some/where", 1);
    EXPECT_EQ(Plat_RegistryRoot(out, sizeof out), out);
    EXPECT_STREQ(out, "/some/where");
    Plat_RegistryRoot(out, 6);
    EXPECT_STREQ(out, "/some");
    unsetenv("SORREL_REGISTRY");
    Plat_RegistryRoot(out, sizeof out);
    EXPECT_TRUE(std::string(out).ends_with("/sorrel/registry")) << out;
    setenv("SORREL_REGISTRY", "", 1);
    EXPECT_TRUE(std::string(Plat_RegistryRoot(out, sizeof out)).ends_with("/sorrel/registry")) << out;
}

TEST(RegOpenKeyExA, OpensWhatIsThere)
{
    const std::string root = Registry_Empty();
    fs::create_directories(root + "/SOFTWARE/Maker/Product");

    HKEY key = Registry_Open("SOFTWARE\\Maker");
    HKEY below = nullptr;
    EXPECT_EQ(RegOpenKeyExA(key, "Product", 0, KEY_READ, &below), 0);
    EXPECT_EQ(RegCloseKey(below), 0);
    EXPECT_EQ(RegOpenKeyExA(key, nullptr, 0, KEY_READ, &below), 0) << "the key itself";
    EXPECT_EQ(RegCloseKey(below), 0);
    EXPECT_EQ(RegOpenKeyExA(key, "", 0, KEY_READ, &below), 0);
    EXPECT_EQ(RegCloseKey(below), 0);
    EXPECT_EQ(RegCloseKey(key), 0);
}

TEST(RegOpenKeyExA, ComparesWithoutCase)
{
    const std::string root = Registry_Empty();
    fs::create_directories(root + "/Software/MAKER");
    EXPECT_EQ(Registry_OpenResult("SOFTWARE\\maker"), 0);
    EXPECT_EQ(Registry_OpenResult("software\\Maker"), 0);
    EXPECT_EQ(Registry_OpenResult("softwares\\Maker"), 2);
}

TEST(RegOpenKeyExA, PrefersTheExactCase)
{
    const std::string root = Registry_Empty();
    for (const char *name : {"one", "ONE", "One"}) Scratch_WriteFile(root + "/" + name + "/v.value", name);
    for (const char *name : {"one", "ONE", "One"}) EXPECT_EQ(Registry_Get(Registry_Open(name), "v"), name);
    EXPECT_EQ(Registry_Get(Registry_Open("oNe"), "v"), "ONE") << "else the first in byte order";
}

TEST(RegOpenKeyExA, ReadsPathsByTheirRules)
{
    const std::string root = Registry_Empty();
    fs::create_directories(root + "/a/b");
    EXPECT_EQ(Registry_OpenResult("a\\b\\"), 0) << "a trailing backslash falls away";
    EXPECT_EQ(Registry_OpenResult("\\a"), 161);
    EXPECT_EQ(Registry_OpenResult("\\"), 161);
    EXPECT_EQ(Registry_OpenResult("a\\\\b"), 161);
    EXPECT_EQ(Registry_OpenResult("a\\b\\\\"), 161);
    EXPECT_EQ(Registry_OpenResult("a/b"), 2) << "a slash is part of a name";
    EXPECT_EQ(Registry_OpenResult("a\\.."), 2);
    EXPECT_EQ(Registry_OpenResult("."), 2);
    EXPECT_EQ(Registry_OpenResult(std::string(300, 'x').c_str()), 206);
}

TEST(RegOpenKeyExA, TellsOfAMissingRegistry)
{
    Registry_Empty();
    EXPECT_EQ(Registry_OpenResult("SOFTWARE"), 2);
    EXPECT_EQ(Registry_OpenResult(""), 2);
    setenv("SORREL_REGISTRY", "/dev/null", 1);
    EXPECT_EQ(Registry_OpenResult("SOFTWARE"), 2);
}

TEST(RegOpenKeyExA, RefusesBadArguments)
{
    Registry_Empty();
    Registry_Make("a");
    HKEY key = PLAT_INVALID_HANDLE;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "a", 0, KEY_READ, nullptr), 87);
    EXPECT_EQ(RegOpenKeyExA(nullptr, "a", 0, KEY_READ, &key), 6);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(RegOpenKeyExA(GetStdHandle(STD_ERROR_HANDLE), "a", 0, KEY_READ, &key), 6);
    EXPECT_EQ(RegOpenKeyExA(reinterpret_cast<HKEY>(uintptr_t{0x80000001u}), "a", 0, KEY_READ, &key), 6);
}

TEST(RegOpenKeyExA, LeavesTheLastErrorAlone)
{
    Registry_Empty();
    SetLastError(1234);
    Registry_OpenResult("nothing");
    RegCloseKey(nullptr);
    RegCloseKey(Registry_Make("a"));
    HKEY key = nullptr;
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "a", 0, KEY_READ, &key), 8);
    EXPECT_EQ(GetLastError(), 1234u);
}

TEST(RegOpenKeyExA, FailsAsTheSystemDoes)
{
    Registry_Empty();
    RegCloseKey(Registry_Make("abc"));
    const Plat_SysTable real = Plat_Sys;

    Plat_Sys.Stat = Fault_With<EACCES>{};
    EXPECT_EQ(Registry_OpenResult("abc"), 5);
    Plat_Sys = real;
    Plat_Sys.Opendir = Fault_With<EMFILE>{};
    EXPECT_EQ(Registry_OpenResult("ABC"), 4);
    Plat_Sys = real;
    Plat_Sys.Faccessat = Fault_With<EACCES>{};
    EXPECT_EQ(Registry_OpenResult("abc"), 5);
    Plat_Sys = real;
    Plat_Sys.Open = Fault_With<EMFILE>{};
    EXPECT_EQ(Registry_OpenResult("abc"), 4);
}

TEST(RegCreateKeyExA, MakesAllOfAPath)
{
    const std::string root = Registry_Empty();
    HKEY key = nullptr;
    u32 disposition = 0;
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "a\\b\\c\\", 0, nullptr, 0, KEY_WRITE, nullptr, &key, &disposition),
              0);
    EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
    EXPECT_TRUE(fs::is_directory(root + "/a/b/c")) << "the root is made too";
    EXPECT_EQ(RegCloseKey(key), 0);
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "A\\B\\C", 0, nullptr, 0, KEY_WRITE, nullptr, &key, &disposition), 0);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    EXPECT_EQ(std::distance(fs::directory_iterator(root), {}), 1) << "no second key in another case";
}

TEST(RegCreateKeyExA, WritesHostileNamesSafely)
{
    const std::string root = Registry_Empty();
    const struct {
        const char *Name, *File;
    } rows[] = {{".", "%2E"},
                {"..", "%2E."},
                {".hidden", "%2Ehidden"},
                {"a/b", "a%2Fb"},
                {"100%", "100%25"},
                {"%2F", "%252F"},
                {"x.value", "x%2Evalue"},
                {"y.VALUE", "y%2EVALUE"},
                {"tab\tend", "tab%09end"},
                {"\x01\x7F", "%01%7F"},
                {"v1.2", "v1.2"},
                {"\xC3\xA4 b", "\xC3\xA4 b"}};
    for (const auto &row : rows) {
        RegCloseKey(Registry_Make((std::string("base\\") + row.Name).c_str()));
        EXPECT_TRUE(fs::is_directory(root + "/base/" + row.File)) << row.File;
        EXPECT_EQ(Registry_OpenResult((std::string("base\\") + row.Name).c_str()), 0) << row.Name;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(root + "/base"), {}), std::ssize(rows));
    EXPECT_EQ(std::distance(fs::directory_iterator(root), {}), 1);
}

TEST(RegCreateKeyExA, FindsNamesMadeByHand)
{
    const std::string root = Registry_Empty();
    fs::create_directories(root + "/100%");
    fs::create_directories(root + "/a%2fb");
    fs::create_directories(root + "/50%zz");
    for (const char *name : {"100%", "a/B", "50%ZZ"}) {
        RegCloseKey(Registry_Make(name));
        EXPECT_EQ(Registry_OpenResult(name), 0) << name;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(root), {}), 3);
}

TEST(RegCreateKeyExA, NeedsAParentOpenedForWriting)
{
    Registry_Empty();
    const HKEY readOnly = Registry_Make("a", KEY_READ), forWriting = Registry_Make("a", KEY_WRITE);
    HKEY key;
    EXPECT_EQ(RegCreateKeyExA(readOnly, "new", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 5);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(RegCreateKeyExA(forWriting, "new", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 0);
    EXPECT_EQ(RegCreateKeyExA(readOnly, "new", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 0)
        << "opening an existing one does not";
}

TEST(RegCreateKeyExA, RefusesBadArguments)
{
    Registry_Empty();
    HKEY key;
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "a", 1, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 87);
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "a", 0, nullptr, 1, KEY_WRITE, nullptr, &key, nullptr), 87);
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "a", 0, nullptr, 0, KEY_WRITE, nullptr, nullptr, nullptr), 87);
    EXPECT_EQ(RegCreateKeyExA(nullptr, "a", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 6);
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "\\a", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 161);
}

TEST(RegCreateKeyExA, FailsAsTheSystemDoes)
{
    const std::string root = Registry_Empty();
    HKEY key;
    const Plat_SysTable real = Plat_Sys;
    const auto create = [&] {
        return RegCreateKeyExA(HKEY_LOCAL_MACHINE, "a", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
    };
    Plat_Sys.Mkdir = Fault_With<EACCES>{};
    EXPECT_EQ(create(), 5) << "the root cannot be made";
    Plat_Sys = real;
    fs::create_directories(root);
    Plat_Sys.Mkdir = Fault_With<ENOSPC>{};
    EXPECT_EQ(create(), 112);
    Plat_Sys = real;
    Plat_Sys.Flock = Fault_With<ENOLCK>{};
    EXPECT_EQ(create(), 31);
    Plat_Sys = real;
    Plat_Sys.Open = Fault_With<EMFILE>{};
    EXPECT_EQ(create(), 4);
}

TEST(RegCreateKeyExA, RespectsTheRightsOfTheTree)
{
    const std::string root = Registry_Empty();
    RegCloseKey(Registry_Make("a"));
    ASSERT_EQ(chmod((root + "/a").c_str(), 0555), 0);
    const auto look = [] {
        Fault_DropRoot();
        HKEY key;
        const bool right =
            RegOpenKeyExA(HKEY_LOCAL_MACHINE, "a", 0, KEY_READ, &key) == 0 &&
            RegOpenKeyExA(HKEY_LOCAL_MACHINE, "a", 0, KEY_WRITE, &key) == 5 &&
            RegCreateKeyExA(HKEY_LOCAL_MACHINE, "a\\b", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr) == 5;
        _exit(right ? 0 : 1);
    };
    EXPECT_EXIT(look(), testing::ExitedWithCode(0), "");
}

TEST(RegCloseKey, ClosesOnceAndOnlyKeys)
{
    Registry_Empty();
    const HKEY key = Registry_Make("a");
    EXPECT_EQ(RegCloseKey(key), 0);
    EXPECT_EQ(RegCloseKey(key), 6);
    EXPECT_EQ(RegCloseKey(nullptr), 6);
    EXPECT_EQ(RegCloseKey(GetStdHandle(STD_ERROR_HANDLE)), 6);
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), 0);
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), 0);
}

TEST(RegDeleteKeyA, RemovesAKeyWithItsValues)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("a\\b");
    EXPECT_EQ(Registry_Set(key, "one", "1"), 0);
    EXPECT_EQ(Registry_Set(key, nullptr, "2"), 0);
    Scratch_WriteFile(root + "/a/b/.new.1.1", "of a writer that died");
    const HKEY parent = Registry_Open("a", KEY_READ);

    EXPECT_EQ(RegDeleteKeyA(parent, "B"), 0) << "a parent opened for reading is enough";
    EXPECT_FALSE(fs::exists(root + "/a/b"));
    EXPECT_EQ(RegDeleteKeyA(parent, "b"), 2);
}

TEST(RegDeleteKeyA, RefusesAKeyWithSubkeys)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("a\\b");
    Registry_Set(key, "one", "1");
    Registry_Make("a\\b\\c");
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a\\b"), 5);
    EXPECT_EQ(Registry_Get(key, "one"), Registry_Bytes("1")) << "nothing is removed";
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a\\b\\c"), 0);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a\\b"), 0);
}

TEST(RegDeleteKeyA, LeavesFilesThatAreNoValues)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("a");
    Registry_Set(key, "one", "1");
    Scratch_WriteFile(root + "/a/README", "mine");
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a"), 5);
    EXPECT_EQ(Registry_Get(key, "one"), Registry_Bytes("1"));
    EXPECT_EQ(Scratch_ReadFile(root + "/a/README"), "mine");
}

TEST(RegDeleteKeyA, RefusesBadArguments)
{
    Registry_Empty();
    const HKEY key = Registry_Make("a");
    EXPECT_EQ(RegDeleteKeyA(key, nullptr), 87);
    EXPECT_EQ(RegDeleteKeyA(key, ""), 87);
    EXPECT_EQ(RegDeleteKeyA(nullptr, "a"), 6);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "\\a"), 161);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "none"), 2);
}

TEST(RegDeleteKeyA, RemovesNothingWithoutTheRightTo)
{
    const std::string root = Registry_Empty();
    Registry_Set(Registry_Make("a\\b"), "one", "1");
    ASSERT_EQ(chmod((root + "/a").c_str(), 0555), 0);
    ASSERT_EQ(chmod((root + "/a/b").c_str(), 0777), 0);
    const auto look = [] {
        Fault_DropRoot();
        _exit(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a\\b"));
    };
    EXPECT_EXIT(look(), testing::ExitedWithCode(5), "");
    EXPECT_EQ(Registry_Get(Registry_Open("a\\b"), "one"), Registry_Bytes("1"));
    ASSERT_EQ(chmod((root + "/a").c_str(), 0755), 0);

    const Plat_SysTable real = Plat_Sys;
    Plat_Sys.Unlink = Fault_With<EPERM>{};
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a\\b"), 5);
    Plat_Sys = real;
    Plat_Sys.Rmdir = Fault_With<EBUSY>{};
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a\\b"), 170);
    Plat_Sys = real;
    Plat_Sys.Opendir = Fault_With<ENOMEM>{};
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a\\b"), 8);
}

TEST(RegDeleteKeyA, IsSeenByHandlesThatAreOpen)
{
    Registry_Empty();
    const HKEY key = Registry_Make("a");
    HKEY other;
    u32 size = 0;
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "a"), 0);

    EXPECT_EQ(Registry_Set(key, "v", "1"), 1018);
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, &size), 1018);
    EXPECT_EQ(RegOpenKeyExA(key, "b", 0, KEY_READ, &other), 1018);
    EXPECT_EQ(RegCreateKeyExA(key, "b", 0, nullptr, 0, KEY_READ, nullptr, &other, nullptr), 1018);
    EXPECT_EQ(RegDeleteKeyA(key, "b"), 1018);
    EXPECT_EQ(RegDeleteValueA(key, "v"), 1018);
    Registry_Make("a");
    EXPECT_EQ(Registry_Set(key, "v", "1"), 1018) << "another key of that name is another key";
    EXPECT_EQ(RegCloseKey(key), 0);
}

TEST(RegEnumKeyA, GoesThroughTheKeysByName)
{
    const std::string root = Registry_Empty();
    for (const char *name : {"base\\b", "base\\A", "base\\c/d", "base\\.x", "base\\y.value"}) Registry_Make(name);
    fs::create_directories(root + "/base/.hidden");
    Scratch_WriteFile(root + "/base/v.value", "");
    Scratch_WriteFile(root + "/base/file", "");
    const HKEY key = Registry_Open("base");
    std::vector<std::string> names;
    char name[64];
    for (u32 i = 0; RegEnumKeyA(key, i, name, sizeof name) == 0; ++i) names.push_back(name);

    EXPECT_EQ(names, (std::vector<std::string>{".x", "A", "b", "c/d", "y.value"}));
    EXPECT_EQ(RegEnumKeyA(key, 5, name, sizeof name), 259);
    EXPECT_EQ(RegEnumKeyA(key, 0xFFFFFFFF, name, sizeof name), 259);
    EXPECT_EQ(RegEnumKeyA(key, 3, name, 4), 0);
    EXPECT_EQ(RegEnumKeyA(key, 3, name, 3), 234);
    EXPECT_EQ(RegEnumKeyA(key, 0, nullptr, 64), 87);
    EXPECT_EQ(RegEnumKeyA(Registry_Open("base", KEY_WRITE), 0, name, 64), 5);
    EXPECT_EQ(RegEnumKeyA(nullptr, 0, name, 64), 6);
    EXPECT_EQ(RegEnumKeyA(HKEY_LOCAL_MACHINE, 0, name, 64), 0);
    EXPECT_STREQ(name, "base");
}

TEST(RegEnumKeyA, FailsWithoutMemory)
{
    Registry_Empty();
    for (int i = 0; i < 70; ++i) RegCloseKey(Registry_Make(("base\\k" + std::to_string(i)).c_str()));
    const HKEY key = Registry_Open("base");
    char name[64];
    EXPECT_EQ(RegEnumKeyA(key, 69, name, sizeof name), 0);
    EXPECT_STREQ(name, "k9");
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(RegEnumKeyA(key, 0, name, sizeof name), 8);
    Plat_Sys.Opendir = Fault_With<EMFILE>{};
    EXPECT_EQ(RegEnumKeyA(key, 0, name, sizeof name), 4);
}

// Threads that make one key in many spellings: there is one key in the end.
TEST(RegCreateKeyExA, MakesOneKeyForManyWriters)
{
    const std::string root = Registry_Empty();
    std::atomic<u32> created = 0;
    std::vector<std::thread> threads;
    for (const char *name : {"key", "KEY", "Key", "kEy"}) {
        threads.emplace_back([&created, name] {
            HKEY key;
            u32 disposition = 0;
            EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, name, 0, nullptr, 0, KEY_WRITE, nullptr, &key, &disposition),
                      0);
            created += disposition == REG_CREATED_NEW_KEY;
            RegCloseKey(key);
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(created, 1u);
    EXPECT_EQ(std::distance(fs::directory_iterator(root), {}), 1);
}
