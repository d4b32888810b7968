// The names table: every entry, every way to a region, every error of one.

#include "suppr_names.h"

#include "suppr_int.h"

#include <sys/stat.h>

#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ring_reader.h"
#include "scratch_root.h"
#include "unprivileged.h"
#include "vela_types.h"

namespace
{

const std::set<int> regionEntries = {0, 1, 9, 10, 11, 12, 15, 16, 22, 23, 24};

// The whole table as it must be for a region of a root; for an empty region with the marked entries empty.
std::vector<std::string> expectedNames(const std::string &root, const std::string &region)
{
    const std::string install = root + "/install", data = root + "/data", regions = data + "\\vela_regions",
                      directory = regions + "\\" + region, servers = data + "\\vela_servers";
    std::vector<std::string> names = {
        /*  0 */ region,
        /*  1 */ directory,
        /*  2 */ install,
        /*  3 */ install + "\\bin",
        /*  4 */ install + "\\lib",
        /*  5 */ install + "\\etc",
        /*  6 */ install + "\\include",
        /*  7 */ install + "\\data",
        /*  8 */ install + "\\maps",
        /*  9 */ directory + "\\bin",
        /* 10 */ directory + "\\maps",
        /* 11 */ directory + "\\data",
        /* 12 */ directory + "\\classes",
        /* 13 */ "0620",
        /* 14 */ regions,
        /* 15 */ directory + "\\database",
        /* 16 */ "",
        /* 17 */ install + "\\rom",
        /* 18 */ install,
        /* 19 */ install + "\\msg",
        /* 20 */ install + "\\DEFAULT",
        /* 21 */ "vela/profile/vela_profile",
        /* 22 */ "vela/" + region + "/ts",
        /* 23 */ "vela/" + region + "/trpc",
        /* 24 */ "/.:/vela/" + region,
        /* 25 */ "",
        /* 26 */ servers,
        /* 27 */ servers + "\\SSD",
        /* 28 */ servers + "\\LSD",
        /* 29 */ servers + "\\GSD",
        /* 30 */ servers + "\\SCD",
        /* 31 */ data + "\\vela_clients",
        /* 32 */ "ml13",
        /* 33 */ data + "\\vela_tmp",
        /* 34 */ install + "\\classes",
    };
    if (region.empty())
        for (const int number : regionEntries) names[static_cast<size_t>(number)].clear();
    return names;
}

std::vector<std::string> presentNames()
{
    std::vector<std::string> names;
    for (i32 number = 0; number < 35; ++number) names.emplace_back(SupPR_GetNames(number));
    return names;
}

std::string makeRegion(const std::string &root, const char *name)
{
    const std::string directory = root + "/data/vela_regions/" + name;
    mkdir(directory.c_str(), 0755);
    return directory;
}

} // namespace

TEST(SupPR_GetNames, IsEmptyAtFirst)
{
    EXPECT_EQ(presentNames(), std::vector<std::string>(35));
}

TEST(SupPR_GetNames, GivesNullBeyondTheTable)
{
    EXPECT_NE(SupPR_GetNames(0), nullptr);
    EXPECT_NE(SupPR_GetNames(34), nullptr);
    EXPECT_EQ(SupPR_GetNames(34) - SupPR_GetNames(0), 34 * 256);
    for (const i32 number : {35, 36, 2147483647, -1, -35, -2147483647 - 1}) EXPECT_EQ(SupPR_GetNames(number), nullptr);
}

TEST(SupPR_InitNames, FillsTheTableForARegion)
{
    const std::string root = Scratch_MakeRoot();
    EXPECT_EQ(SupPR_InitNames("TESTREG"), ERZ_OK);
    EXPECT_EQ(presentNames(), expectedNames(root, "TESTREG"));
}

TEST(SupPR_InitNames, TakesTheRegionOfTheEnvironment)
{
    const std::string root = Scratch_MakeRoot();
    setenv("VELAREGION", "TESTREG", 1);
    EXPECT_EQ(SupPR_InitNames(nullptr), ERZ_OK);
    EXPECT_EQ(presentNames(), expectedNames(root, "TESTREG"));
    EXPECT_EQ(SupPR_InitNames(""), ERZ_OK);
    EXPECT_EQ(presentNames(), expectedNames(root, "TESTREG"));

    makeRegion(root, "OTHER"); // a name that is given goes first
    EXPECT_EQ(SupPR_InitNames("OTHER"), ERZ_OK);
    EXPECT_EQ(presentNames(), expectedNames(root, "OTHER"));
}

TEST(SupPR_InitNames, WithoutAnyRegionFillsTheRest)
{
    const std::string root = Scratch_MakeRoot();
    EXPECT_EQ(SupPR_InitNames(nullptr), 0x1C200001u);
    EXPECT_EQ(presentNames(), expectedNames(root, ""));
    EXPECT_EQ(SupPR_InitNames(""), 0x1C200001u);
    EXPECT_EQ(presentNames(), expectedNames(root, ""));
}

TEST(SupPR_InitNames, WantsADirectoryForTheRegionOfTheEnvironment)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/data/vela_regions/FILE", "");
    for (const std::string &name :
         {std::string("NOWHERE"), std::string("FILE"), std::string(""), std::string(5000, 'x')}) {
        setenv("VELAREGION", name.c_str(), 1);
        EXPECT_EQ(SupPR_InitNames(nullptr), 0x1C200001u) << name;
        EXPECT_EQ(presentNames(), expectedNames(root, ""));
    }
}

TEST(SupPR_InitNames, TakesEightCharactersAndNotNine)
{
    const std::string root = Scratch_MakeRoot();
    makeRegion(root, "EIGHTCHR");
    makeRegion(root, "NINECHARS");
    EXPECT_EQ(SupPR_InitNames("EIGHTCHR"), ERZ_OK);
    EXPECT_EQ(presentNames(), expectedNames(root, "EIGHTCHR"));
    EXPECT_EQ(strlen(SupPR_GetNames(22)), 16u);
    EXPECT_EQ(strlen(SupPR_GetNames(23)), 18u);

    EXPECT_EQ(SupPR_InitNames("NINECHARS"), 0x1C200009u);
    EXPECT_EQ(presentNames(), expectedNames(root, "")); // nothing of the region before stays
    setenv("VELAREGION", "NINECHARS", 1);
    EXPECT_EQ(SupPR_InitNames(nullptr), 0x1C200009u);
    EXPECT_EQ(SupPR_InitNames(std::string(10000, 'x').c_str()), 0x1C200009u);
    EXPECT_EQ(presentNames(), expectedNames(root, ""));
}

TEST(SupPR_InitNames, FillsTheTableForARegionWithoutADirectory)
{
    const std::string root = Scratch_MakeRoot();
    EXPECT_EQ(SupPR_InitNames("NOWHERE"), 0x1C200002u);
    EXPECT_EQ(presentNames(), expectedNames(root, "NOWHERE"));
}

TEST(SupPR_InitNames, TellsAMissingRightByWhereTheNameComesFrom)
{
    const std::string root = Scratch_MakeRoot();
    for (const mode_t mode : {0555u, 0333u}) { // reading and writing are both wanted
        chmod((root + "/data/vela_regions/TESTREG").c_str(), mode);
        setenv("VELAREGION", "TESTREG", 1);
        EXPECT_EQ(Unprivileged_Run([&] {
                      return SupPR_InitNames("TESTREG") == 0x1C200002u &&
                             presentNames() == expectedNames(root, "TESTREG");
                  }),
                  1);
        EXPECT_EQ(Unprivileged_Run([&] {
                      return SupPR_InitNames(nullptr) == 0x1C200013u &&
                             presentNames() == expectedNames(root, "TESTREG");
                  }),
                  1);
    }
    chmod((root + "/data/vela_regions/TESTREG").c_str(), 0777);
    EXPECT_EQ(Unprivileged_Run([&] { return SupPR_InitNames("TESTREG") == ERZ_OK; }), 1);
}

TEST(SupPR_InitNames, MayTakeItsNameFromTheTableItself)
{
    const std::string root = Scratch_MakeRoot();
    ASSERT_EQ(SupPR_InitNames("TESTREG"), ERZ_OK);
    EXPECT_EQ(SupPR_InitNames(SupPR_GetNames(SUPPR_NAME_REGION)), ERZ_OK);
    EXPECT_EQ(presentNames(), expectedNames(root, "TESTREG"));
}

TEST(SupPR_InitNames, CutsPathsThatDoNotFit)
{
    Scratch_MakeRoot();
    const std::string longest(254, 'p'); // the longest value that the registry gives
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "InstallPath", longest);
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "DataPath", longest);
    EXPECT_EQ(SupPR_InitNames("TESTREG"), 0x1C200002u);
    EXPECT_EQ(SupPR_GetNames(2), longest);
    EXPECT_EQ(SupPR_GetNames(3), longest + "\\");
    EXPECT_EQ(SupPR_GetNames(14), longest + "\\");
    EXPECT_EQ(SupPR_GetNames(1), longest + "\\"); // no room for the region
    EXPECT_EQ(SupPR_GetNames(27), longest + "\\");
    EXPECT_STREQ(SupPR_GetNames(13), "0620");
    EXPECT_STREQ(SupPR_GetNames(0), "TESTREG");
    EXPECT_STREQ(SupPR_GetNames(28) + 255, "");
}

TEST(SupPR_InitNames, EndsTheProcessWithoutItsPaths)
{
    Scratch_MakeRoot();
    Scratch_DeleteValue(SCRATCH_PRODUCT_KEY, "DataPath");
    EXPECT_EXIT(SupPR_InitNames("TESTREG"), testing::ExitedWithCode(99), "CurrentVersion.DataPath");
    Scratch_DeleteValue(SCRATCH_PRODUCT_KEY, "InstallPath");
    EXPECT_EXIT(SupPR_InitNames("TESTREG"), testing::ExitedWithCode(99), "CurrentVersion.InstallPath");
}

TEST(SupPR_GetPath, GivesTheTwoPaths)
{
    const std::string root = Scratch_MakeRoot();
    char path[256];
    memset(path, '#', sizeof path);
    EXPECT_EQ(SupPR_GetPath(0, path), path);
    EXPECT_EQ(path, root + "/install");
    for (const u32 type : {1u, 2u, 0xFFFFFFFFu}) {
        memset(path, '#', sizeof path);
        EXPECT_EQ(SupPR_GetPath(type, path), path);
        EXPECT_EQ(path, root + "/data\\vela_regions");
    }
}

TEST(SupPR_GetPath, WithoutABufferAsksNoRegistry)
{
    setenv("SORREL_REGISTRY", "/proc/none", 1); // a read would end the process
    EXPECT_STREQ(SupPR_GetPath(0, nullptr), "");
    EXPECT_STREQ(SupPR_GetPath(1, nullptr), "");
}

TEST(SupPR_GetPath, FallsBackWithoutAnAnswer)
{
    char path[256];
    unsetenv("VELAPATH");
    SupPR_FallbackInstallPath(path);
    EXPECT_STREQ(path, "c:\\opt\\vela");
    setenv("VELAPATH", "/opt/elsewhere", 1);
    SupPR_FallbackInstallPath(path);
    EXPECT_STREQ(path, "/opt/elsewhere");
    setenv("VELAPATH", ("/" + std::string(300, 'x')).c_str(), 1);
    SupPR_FallbackInstallPath(path);
    EXPECT_STREQ(path, "c:\\opt\\vela");
    SupPR_FallbackDataPath(path);
    EXPECT_STREQ(path, "\\var");
}

TEST(SupPR_ReadDefault, TakesDirectoriesAlone)
{
    const std::string root = Scratch_MakeRoot();
    std::string directory = root + "\\data\\vela_regions", file = root + "/file", none = root + "/none";
    Scratch_WriteFile(file, "");
    EXPECT_EQ(SupPR_ReadDefault(directory.data()), directory.data());
    EXPECT_EQ(SupPR_ReadDefault(file.data()), nullptr);
    EXPECT_EQ(SupPR_ReadDefault(none.data()), nullptr);
}

TEST(SupPR_Names, Trace)
{
    Ring_TraceOn();
    const std::string root = Scratch_Root();
    std::string directory = root, none = root + "/none";
    char path[256];

    SupPR_GetNames(35);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_GetNames"), 1u);
    SupPR_GetNames(0);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_GetNames"), 2u);
    SupPR_GetPath(0, nullptr);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_GetPath"), 1u);
    SupPR_GetPath(0, path);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_GetPath"), 2u);
    SupPR_GetPath(1, path);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_GetPath"), 3u);
    SupPR_ReadDefault(none.data());
    EXPECT_EQ(Ring_LastExitPoint("SupPR_ReadDefault"), 1u);
    SupPR_ReadDefault(directory.data());
    EXPECT_EQ(Ring_LastExitPoint("SupPR_ReadDefault"), 2u);

    EXPECT_EQ(SupPR_InitNames("NINECHARS"), 0x1C200009u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_InitNames"), 1u);
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Function != "SupPR_InitNames" || record.Header.Class != 0x100) continue;
        EXPECT_EQ(record.Header.Component, 56u);
        EXPECT_EQ(record.Code, 0x9u | (0x1C200000u & 0x1FFFFFu));
    }
}
