// Values of the registry.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "plat_faults.h"
#include "registry_support.h"
#include "win32_error.h"
#include "win32_registry.h"

namespace fs = std::filesystem;

TEST(RegSetValueExA, StoresBytesAsTheyAre)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("k");

    EXPECT_EQ(Registry_Set(key, "Text", "hello"), 0);
    EXPECT_EQ(Scratch_ReadFile(root + "/k/Text.value"), std::string("hello\0", 6));
    EXPECT_EQ(Registry_Get(key, "TEXT"), Registry_Bytes("hello"));
    EXPECT_EQ(Registry_SetBytes(key, "Text", "no end"), 0);
    EXPECT_EQ(Scratch_ReadFile(root + "/k/Text.value"), "no end");
    EXPECT_EQ(Registry_Get(key, "Text"), "no end");
    EXPECT_EQ(Registry_SetBytes(key, "Empty", ""), 0);
    EXPECT_EQ(Registry_Get(key, "Empty"), "");
    EXPECT_EQ(RegSetValueExA(key, "Empty", 0, REG_SZ, nullptr, 0), 0);
    EXPECT_EQ(Registry_Get(key, "Empty"), "");
    const std::string binary("a\0b\x80\xFF\r", 6);
    EXPECT_EQ(Registry_SetBytes(key, "Binary", binary), 0);
    EXPECT_EQ(Registry_Get(key, "Binary"), binary);
}

// A length of 3, whatever the text: what callers that state a fixed length get.
TEST(RegSetValueExA, LooksAtTheByteBehindTheText)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    const auto store = [&](const char *Text) {
        EXPECT_EQ(RegSetValueExA(key, "v", 0, REG_SZ, reinterpret_cast<const u8 *>(Text), 3), 0);
        return Registry_Get(key, "v");
    };
    EXPECT_EQ(store("abc"), Registry_Bytes("abc"));
    EXPECT_EQ(store("abcd"), "abc");
    EXPECT_EQ(store("ab"), Registry_Bytes("ab"));
}

TEST(RegSetValueExA, KeepsANewlineThatIsPartOfTheText)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    EXPECT_EQ(Registry_Set(key, "v", "line\n"), 0);
    EXPECT_EQ(Registry_Get(key, "v"), Registry_Bytes("line\n"));
    EXPECT_EQ(Registry_SetBytes(key, "v", "line\n"), 0);
    EXPECT_EQ(Registry_Get(key, "v"), Registry_Bytes("line\n")) << "else it would come back as the terminator";
}

TEST(RegSetValueExA, LeavesOneFileForAValueInAnyCase)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("k");
    EXPECT_EQ(Registry_Set(key, "Name", "1"), 0);
    EXPECT_EQ(Registry_Set(key, "NAME", "2"), 0);
    EXPECT_EQ(Registry_Set(key, "name", "3"), 0);
    EXPECT_EQ(Registry_Get(key, "Name"), Registry_Bytes("3"));
    EXPECT_EQ(std::distance(fs::directory_iterator(root + "/k"), {}), 1);
    EXPECT_TRUE(fs::exists(root + "/k/Name.value"));
}

TEST(RegSetValueExA, WritesHostileNamesSafely)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("k");
    const struct {
        const char *Name, *File;
    } rows[] = {{"", "%00.value"},
                {".", "%2E.value"},
                {"..", "%2E..value"},
                {"a/b\\c", "a%2Fb\\c.value"},
                {"x.value", "x.value.value"},
                {"%41", "%2541.value"},
                {"\n", "%0A.value"}};
    for (const auto &row : rows) {
        EXPECT_EQ(Registry_Set(key, row.Name, row.Name), 0);
        EXPECT_TRUE(fs::is_regular_file(root + "/k/" + row.File)) << row.File;
        EXPECT_EQ(Registry_Get(key, row.Name), Registry_Bytes(row.Name));
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(root + "/k"), {}), std::ssize(rows));
    EXPECT_EQ(Registry_Get(key, nullptr), Registry_Bytes("")) << "no name is the empty name";
    EXPECT_EQ(Registry_Set(key, std::string(250, 'x').c_str(), ""), 206);
    EXPECT_EQ(Registry_Set(key, std::string(249, 'x').c_str(), ""), 0);
}

TEST(RegSetValueExA, SharesANameWithAKey)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_Make("k\\same");
    Registry_Make("k\\same.value");
    EXPECT_EQ(Registry_Set(key, "same", "text"), 0);
    EXPECT_EQ(Registry_Get(key, "same"), Registry_Bytes("text"));
    EXPECT_EQ(Registry_OpenResult("k\\same"), 0);
    EXPECT_EQ(Registry_OpenResult("k\\same.value"), 0);
}

TEST(RegSetValueExA, RefusesBadArguments)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k"), readOnly = Registry_Open("k", KEY_READ);
    const u8 data[2] = {'x', 0};
    EXPECT_EQ(RegSetValueExA(key, "v", 1, REG_SZ, data, 2), 87);
    EXPECT_EQ(RegSetValueExA(key, "v", 0, 4, data, 2), 87);
    EXPECT_EQ(RegSetValueExA(key, "v", 0, REG_SZ, nullptr, 2), 87);
    EXPECT_EQ(RegSetValueExA(readOnly, "v", 0, REG_SZ, data, 2), 5);
    EXPECT_EQ(RegSetValueExA(nullptr, "v", 0, REG_SZ, data, 2), 6);
    EXPECT_EQ(Registry_Get(key, "v"), "error 2");
    EXPECT_EQ(RegSetValueExA(HKEY_LOCAL_MACHINE, "v", 0, REG_SZ, data, 2), 0) << "the hive holds values too";
    EXPECT_EQ(Registry_Get(HKEY_LOCAL_MACHINE, "v"), Registry_Bytes("x"));
}

TEST(RegSetValueExA, KeepsTheModeOfTheOldFile)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_Set(key, "v", "1");
    ASSERT_EQ(chmod((root + "/k/v.value").c_str(), 0640), 0);
    EXPECT_EQ(Registry_Set(key, "v", "2"), 0);
    struct stat found;
    ASSERT_EQ(stat((root + "/k/v.value").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0640u);
}

TEST(RegSetValueExA, LosesNothingWhenItFails)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_Set(key, "v", "old");
    ASSERT_EQ(chmod((root + "/k/v.value").c_str(), 0640), 0);
    const Plat_SysTable real = Plat_Sys;
    const auto failsWith = [&](auto member, auto fault, i32 error) {
        Plat_Sys = real;
        Plat_Sys.*member = fault;
        EXPECT_EQ(Registry_Set(key, "v", "new"), error);
        Plat_Sys = real;
        EXPECT_EQ(Registry_Get(key, "v"), Registry_Bytes("old"));
        EXPECT_EQ(std::distance(fs::directory_iterator(root + "/k"), {}), 1) << "nothing is left lying about";
    };
    failsWith(&Plat_SysTable::Write, Fault_With<ENOSPC>{}, 112);
    failsWith(&Plat_SysTable::Fsync, Fault_With<EIO>{}, 1117);
    failsWith(&Plat_SysTable::Rename, Fault_With<EACCES>{}, 5);
    failsWith(&Plat_SysTable::Fchmod, Fault_With<EPERM>{}, 5);
    failsWith(&Plat_SysTable::Flock, Fault_With<ENOLCK>{}, 31);
    failsWith(&Plat_SysTable::Open, Fault_With<EMFILE>{}, 4);
    failsWith(
        &Plat_SysTable::Close,
        [](int Descriptor) {
            close(Descriptor);
            errno = EIO;
            return -1;
        },
        1117);
}

TEST(RegSetValueExA, GoesOnAfterInterruptionsAndShortWrites)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    Plat_Sys.Write = [](int Descriptor, const void *Data, size_t) -> ssize_t {
        static int calls = 0;
        if (calls++ % 2 == 0) {
            errno = EINTR;
            return -1;
        }
        return write(Descriptor, Data, 1);
    };
    Plat_Sys.Flock = [](int, int) {
        static int calls = 0;
        errno = EINTR;
        return calls++ < 2 ? -1 : 0;
    };
    EXPECT_EQ(Registry_Set(key, "v", "some text"), 0);
    EXPECT_EQ(Registry_Get(key, "v"), Registry_Bytes("some text"));
}

TEST(RegQueryValueExA, FollowsItsRulesOfRoom)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_SetBytes(key, "three", "abc");
    u8 data[256];
    u32 size = 255, type = 0;

    memset(data, '~', sizeof data);
    EXPECT_EQ(RegQueryValueExA(key, "three", nullptr, &type, data, &size), 0);
    EXPECT_EQ(size, 3u) << "the zero byte is not counted";
    EXPECT_EQ(memcmp(data, "abc\0~", 5), 0) << "and it is one";
    size = 3;
    memset(data, '~', sizeof data);
    EXPECT_EQ(RegQueryValueExA(key, "three", nullptr, nullptr, data, &size), 0);
    EXPECT_EQ(memcmp(data, "abc~", 4), 0) << "no room for it";
    size = 2;
    memset(data, '~', sizeof data);
    EXPECT_EQ(RegQueryValueExA(key, "three", nullptr, nullptr, data, &size), 234);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(data[0], '~') << "a short buffer stays as it was";
    size = 99;
    EXPECT_EQ(RegQueryValueExA(key, "three", nullptr, nullptr, nullptr, &size), 0);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(RegQueryValueExA(key, "three", nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(RegQueryValueExA(key, "three", nullptr, nullptr, data, nullptr), 87);
    u32 reserved = 0;
    EXPECT_EQ(RegQueryValueExA(key, "three", &reserved, nullptr, data, &size), 87);
    EXPECT_EQ(type, REG_SZ);
}

TEST(RegQueryValueExA, GivesAnEmptyValueAsEmpty)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_SetBytes(key, "empty", "");
    u8 data[4] = {'~', '~', '~', '~'};
    u32 size = 4;
    EXPECT_EQ(RegQueryValueExA(key, "empty", nullptr, nullptr, data, &size), 0);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(memcmp(data, "\0~~~", 4), 0);
    EXPECT_EQ(RegQueryValueExA(key, "empty", nullptr, nullptr, data, &size), 0) << "no room, and none needed";
}

TEST(RegQueryValueExA, ReadsFilesMadeByHand)
{
    const std::string root = Registry_Empty();
    Scratch_WriteFile(root + "/k/edited.value", "/opt/vela\n");
    Scratch_WriteFile(root + "/k/lines.value", "a\n\n");
    Scratch_WriteFile(root + "/k/newline.value", "\n");
    Scratch_WriteFile(root + "/k/raw.value", "raw");
    Scratch_WriteFile(root + "/k/none", "");
    const HKEY key = Registry_Open("k");
    EXPECT_EQ(Registry_Get(key, "edited"), Registry_Bytes("/opt/vela"));
    EXPECT_EQ(Registry_Get(key, "lines"), Registry_Bytes("a\n"));
    EXPECT_EQ(Registry_Get(key, "newline"), Registry_Bytes(""));
    EXPECT_EQ(Registry_Get(key, "raw"), "raw");
    EXPECT_EQ(Registry_Get(key, "none"), "error 2");
}

TEST(RegQueryValueExA, Fails)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k"), writeOnly = Registry_Open("k", KEY_WRITE);
    Registry_Set(key, "v", "text");
    EXPECT_EQ(Registry_Get(key, "other"), "error 2");
    EXPECT_EQ(Registry_Get(writeOnly, "v"), "error 5");
    EXPECT_EQ(Registry_Get(nullptr, "v"), "error 6");
    EXPECT_EQ(Registry_Get(key, std::string(300, 'x').c_str()), "error 206");

    const Plat_SysTable real = Plat_Sys;
    Plat_Sys.Open = Fault_With<EACCES>{};
    EXPECT_EQ(Registry_Get(key, "v"), "error 5");
    Plat_Sys = real;
    Plat_Sys.Read = Fault_With<EIO>{};
    EXPECT_EQ(Registry_Get(key, "v"), "error 1117");
    Plat_Sys = real;
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(Registry_Get(key, "v"), "error 8");
    Plat_Sys = real;
    Plat_Sys.Fstat = Fault_With<EIO>{};
    EXPECT_EQ(Registry_Get(key, "v"), "error 1117");
    Plat_Sys = real;
    EXPECT_EQ(Registry_Get(key, "v"), Registry_Bytes("text"));
}

TEST(RegDeleteValueA, RemovesAValue)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_Set(key, "v", "text");
    EXPECT_EQ(RegDeleteValueA(Registry_Open("k", KEY_READ), "v"), 5);
    EXPECT_EQ(RegDeleteValueA(key, "V"), 0);
    EXPECT_EQ(RegDeleteValueA(key, "v"), 2);
    EXPECT_EQ(RegDeleteValueA(nullptr, "v"), 6);
    EXPECT_TRUE(fs::is_empty(root + "/k"));
    Registry_Set(key, "v", "text");
    Plat_Sys.Unlink = Fault_With<EROFS>{};
    EXPECT_EQ(RegDeleteValueA(key, "v"), 19);
}

TEST(RegEnumValueA, GoesThroughTheValuesByName)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_Make("k\\sub");
    for (const char *name : {"b", "A", "", "c/d"}) Registry_Set(key, name, std::string("of ") + name);
    std::string all;
    for (u32 i = 0;; ++i) {
        char name[16];
        u8 data[32];
        u32 nameSize = sizeof name, size = sizeof data, type = 0;
        const i32 result = RegEnumValueA(key, i, name, &nameSize, nullptr, &type, data, &size);
        if (result != 0) {
            EXPECT_EQ(result, 259);
            break;
        }
        EXPECT_EQ(nameSize, strlen(name));
        EXPECT_EQ(type, REG_SZ);
        EXPECT_EQ(size, strlen(reinterpret_cast<char *>(data)) + 1);
        all += std::string(name) + "=" + reinterpret_cast<char *>(data) + ";";
    }
    EXPECT_EQ(all, "=of ;A=of A;b=of b;c/d=of c/d;");
}

TEST(RegEnumValueA, FollowsItsRulesOfRoom)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    Registry_Set(key, "name", "text");
    char name[8] = "~~~~~~~";
    u8 data[8];
    u32 nameSize = 4, size = 8;
    EXPECT_EQ(RegEnumValueA(key, 0, name, &nameSize, nullptr, nullptr, data, &size), 234);
    EXPECT_EQ(nameSize, 4u);
    EXPECT_STREQ(name, "~~~~~~~");
    nameSize = 5;
    size = 4;
    EXPECT_EQ(RegEnumValueA(key, 0, name, &nameSize, nullptr, nullptr, data, &size), 234);
    EXPECT_EQ(size, 5u);
    EXPECT_STREQ(name, "~~~~~~~");
    nameSize = 5;
    EXPECT_EQ(RegEnumValueA(key, 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_STREQ(name, "name");
    EXPECT_EQ(RegEnumValueA(key, 0, nullptr, &nameSize, nullptr, nullptr, nullptr, nullptr), 87);
    EXPECT_EQ(RegEnumValueA(key, 0, name, nullptr, nullptr, nullptr, nullptr, nullptr), 87);
    EXPECT_EQ(RegEnumValueA(key, 0, name, &nameSize, nullptr, nullptr, data, nullptr), 87);
    EXPECT_EQ(RegEnumValueA(Registry_Open("k", KEY_WRITE), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), 5);
}

// Writers in two processes and readers in threads: every read sees one of the texts, whole.
TEST(RegSetValueExA, IsOneStepForReadersAndWriters)
{
    const std::string root = Registry_Empty();
    const HKEY key = Registry_Make("k");
    const std::string texts[2] = {std::string(3000, 'a'), std::string(50, 'b')};
    Registry_Set(key, "v", texts[0]);
    pid_t writers[2];
    for (int i = 0; i < 2; ++i) {
        writers[i] = fork();
        if (writers[i] != 0) continue;
        i32 failed = 0;
        for (int round = 0; round < 100; ++round)
            failed |= Registry_Set(key, i == 0 ? "v" : "V", texts[(round + i) % 2]);
        _exit(failed != 0);
    }
    std::atomic<bool> done = false;
    std::atomic<int> reads = 0, torn = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] {
            do {
                const std::string got = Registry_Get(key, "v");
                if (got != texts[0] + '\0' && got != texts[1] + '\0') ++torn;
                ++reads;
            } while (!done);
        });
    }
    for (const pid_t writer : writers) {
        int status = -1;
        waitpid(writer, &status, 0);
        EXPECT_EQ(status, 0);
    }
    done = true;
    for (std::thread &reader : readers) reader.join();
    EXPECT_EQ(torn, 0);
    EXPECT_GT(reads, 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(root + "/k"), {}), 1);
}

TEST(RegSetValueExA, KeepsTheValuesOfManyThreadsApart)
{
    Registry_Empty();
    const HKEY key = Registry_Make("k");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 20; ++round)
                EXPECT_EQ(Registry_Set(key, ("v" + std::to_string(i)).c_str(), std::to_string(round)), 0);
        });
    }
    for (std::thread &thread : threads) thread.join();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(Registry_Get(key, ("v" + std::to_string(i)).c_str()), Registry_Bytes("19"));
}
