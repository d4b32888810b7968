// The region's environment file line by line, the two names, home directories and paths.

#include "supos_environment.h"

#include "supos_env_int.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "no_memory.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "supos_reg_int.h"
#include "suppr_names.h"
#include "tks_memory.h"
#include "vela_types.h"
#include "win32_network.h"

namespace
{

void readEnvironment(const std::string &text)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/data/vela_regions/TESTREG/environment", text);
    SupOS_Environment("TESTREG");
}

std::string variable(const char *name)
{
    const char *const value = getenv(name);
    return value == nullptr ? "(unset)" : value;
}

std::string userName()
{
    char name[52];
    EXPECT_EQ(SupOS_GetUserName(77, name), 0u);
    return name;
}

std::string groupName()
{
    char name[52];
    EXPECT_EQ(SupOS_GetGroupName(77, name), 0u);
    return name;
}

void createRegionEntry(const char *user, const char *group)
{
    char name[] = "vela.TESTREG", empty[] = "x";
    std::string userText = user, groupText = group;
    SupOS_ServerEntry entry = {0, name, empty, empty, userText.data(), groupText.data(), empty, empty};
    ASSERT_EQ(SupOS_RegCreateServerEntry(&entry), 0u);
}

} // namespace

TEST(SupOS_Environment, SetsVariables)
{
    readEnvironment("VELA_TEST_A=one\nVELA_TEST_B=two words\nVELA_TEST_3=x=y\nvela_test_c=\xc3\xa9");
    EXPECT_EQ(variable("VELA_TEST_A"), "one");
    EXPECT_EQ(variable("VELA_TEST_B"), "two words");
    EXPECT_EQ(variable("VELA_TEST_3"), "x=y");
    EXPECT_EQ(variable("vela_test_c"), "\xc3\xa9"); // the last line needs no end
}

TEST(SupOS_Environment, DropsBlanksAroundTheLine)
{
    readEnvironment(" \t VELA_TEST_A=one \t \r\n\v\fVELA_TEST_B= two\n\n   \n");
    EXPECT_EQ(variable("VELA_TEST_A"), "one");
    EXPECT_EQ(variable("VELA_TEST_B"), " two"); // blanks behind the sign belong to the value
}

TEST(SupOS_Environment, PassesOverWhatIsNoAssignment)
{
    setenv("VELA_TEST_OLD", "old", 1);
    readEnvironment("# VELA_TEST_A=1\n"
                    "   #VELA_TEST_B=1\n"
                    "VELA-TEST-C=1\n"
                    "VELA_TEST_D =1\n"
                    "VELA TEST_E=1\n"
                    "VELA_TEST_F\n"
                    "=1\n"
                    "export VELA_TEST_G=1\n"
                    "VELA.TEST.H=1\n"
                    "VELA_TEST_I=1\n");
    for (const char *name : {"VELA_TEST_A", "VELA_TEST_B", "VELA-TEST-C", "VELA_TEST_D", "VELA_TEST_E", "VELA TEST_E",
                             "VELA_TEST_F", "VELA_TEST_G", "VELA.TEST.H"})
        EXPECT_EQ(variable(name), "(unset)") << name;
    EXPECT_EQ(variable("VELA_TEST_I"), "1");
}

TEST(SupOS_Environment, TakesAPairOfQuotesAway)
{
    readEnvironment("VELA_TEST_A=\"two words\"\n"
                    "VELA_TEST_B='two words'  \n"
                    "VELA_TEST_C=\"open\n"
                    "VELA_TEST_D=open'\n"
                    "VELA_TEST_E=\"mixed'\n"
                    "VELA_TEST_F=\"\n"
                    "VELA_TEST_G='\n"
                    "VELA_TEST_H=\"\"x\"\"\n"
                    "VELA_TEST_I=a\"b\"\n"
                    "VELA_TEST_J= \"x\"\n");
    EXPECT_EQ(variable("VELA_TEST_A"), "two words");
    EXPECT_EQ(variable("VELA_TEST_B"), "two words");
    EXPECT_EQ(variable("VELA_TEST_C"), "\"open");
    EXPECT_EQ(variable("VELA_TEST_D"), "open'");
    EXPECT_EQ(variable("VELA_TEST_E"), "\"mixed'");
    EXPECT_EQ(variable("VELA_TEST_F"), "\"");
    EXPECT_EQ(variable("VELA_TEST_G"), "'");
    EXPECT_EQ(variable("VELA_TEST_H"), "\"x\""); // one pair
    EXPECT_EQ(variable("VELA_TEST_I"), "a\"b\"");
    EXPECT_EQ(variable("VELA_TEST_J"), " \"x\""); // the value begins with a blank
}

// An empty value removes the variable, as the runtime's call does.
TEST(SupOS_Environment, EmptiesWithTwoQuotesAlone)
{
    for (const char *text : {"VELA_TEST_A=\"\"\n", "VELA_TEST_A=''\n", "VELA_TEST_A=\n", "VELA_TEST_A=   \n"}) {
        Scratch_MakeRoot(); // clears VELA_*
        Scratch_WriteFile(Scratch_Root() + "/data/vela_regions/TESTREG/environment", text);
        setenv("VELA_TEST_A", "old", 1);
        SupOS_Environment("TESTREG");
        EXPECT_EQ(variable("VELA_TEST_A"), "(unset)") << text;
    }
}

TEST(SupOS_Environment, ExpandsReferences)
{
    setenv("OTHER_TEST_BASE", "/base", 1);
    unsetenv("OTHER_TEST_NONE");
    readEnvironment("VELA_TEST_A=x%OTHER_TEST_BASE%/y\n"
                    "VELA_TEST_B=\"%VELA_TEST_A%:%OTHER_TEST_NONE%:100%\"\n"
                    "VELA_TEST_C=%OTHER_TEST_BASE%%OTHER_TEST_BASE%\n");
    EXPECT_EQ(variable("VELA_TEST_A"), "x/base/y");
    EXPECT_EQ(variable("VELA_TEST_B"), "x/base/y:%OTHER_TEST_NONE%:100%");
    EXPECT_EQ(variable("VELA_TEST_C"), "/base/base");
}

TEST(SupOS_Environment, PassesOverWhatGrowsTooLong)
{
    setenv("OTHER_TEST_LONG", std::string(4095 - strlen("VELA_TEST_A="), 'x').c_str(), 1);
    readEnvironment("VELA_TEST_A=%OTHER_TEST_LONG%\nVELA_TEST_B=%OTHER_TEST_LONG%x\nVELA_TEST_C=%OTHER_TEST_LONG%%"
                    "OTHER_TEST_LONG%\nVELA_TEST_D=behind\n");
    EXPECT_EQ(variable("VELA_TEST_A"), std::string(4083, 'x'));
    EXPECT_EQ(variable("VELA_TEST_B"), "(unset)");
    EXPECT_EQ(variable("VELA_TEST_C"), "(unset)");
    EXPECT_EQ(variable("VELA_TEST_D"), "behind");
}

// A line that is too long arrives in pieces, and each of them is tried.
TEST(SupOS_Environment, ReadsLinesOf511Bytes)
{
    const std::string name = "VELA_TEST_A=";
    readEnvironment(name + std::string(511 - name.size(), 'x') + "VELA_TEST_B=y\n");
    EXPECT_EQ(variable("VELA_TEST_A"), std::string(511 - name.size(), 'x'));
    EXPECT_EQ(variable("VELA_TEST_B"), "y");
}

TEST(SupOS_Environment, NeedsNoFile)
{
    Scratch_MakeRoot();
    SupOS_Environment("TESTREG");
    SupOS_Environment("NOWHERE");
    SupOS_Environment(std::string(5000, 'x').c_str());
}

TEST(SupOS_Environment, EndsTheProcessWithoutItsDataPath)
{
    Scratch_MakeRoot();
    Scratch_DeleteValue(SCRATCH_PRODUCT_KEY, "DataPath");
    EXPECT_EXIT(SupOS_Environment("TESTREG"), testing::ExitedWithCode(99), "DataPath");
}

TEST(SupOS_Environment, EndsTheProcessWithoutMemory)
{
    Ring_TraceOn();
    Scratch_WriteFile(Scratch_Root() + "/data/vela_regions/TESTREG/environment", "VELA_TEST_A=x\n");
    EXPECT_EXIT(
        {
            SupOS_Environment("NOWHERE");
            tks_TestFailMalloc(1);
            atexit([] { // what the process left in its ring
                for (const Ring_Record &record : Ring_Records())
                    if (record.Function == "SupOS_Environment" && record.Header.Class == 0x100 && record.Code == 1)
                        fprintf(stderr, "error exit %u\n", record.Point);
            });
            SupOS_Environment("TESTREG");
        },
        testing::ExitedWithCode(1), "error exit 2");
}

TEST(SupOS_Environment, Traces)
{
    Ring_TraceOn();
    SupOS_Environment("NOWHERE");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Environment"), 1u);
    Scratch_WriteFile(Scratch_Root() + "/data/vela_regions/TESTREG/environment", "VELA_TEST_A=x\n");
    SupOS_Environment("TESTREG");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Environment"), 3u);
}

TEST(SupOS_Names, ComeFromTheInstallationWithoutARegion)
{
    Scratch_MakeRoot();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", "operator");
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "GroupId", "operators");
    createRegionEntry("regional", "regionals");
    EXPECT_EQ(userName(), "operator");
    EXPECT_EQ(groupName(), "operators");
}

TEST(SupOS_Names, ComeFromTheRegionsEntry)
{
    Scratch_MakeRoot();
    createRegionEntry("regional", "regionals");
    ASSERT_EQ(SupPR_InitNames("TESTREG"), 0u);
    EXPECT_EQ(groupName(), "regionals"); // either of the two asks the registry
    EXPECT_EQ(userName(), "regional");
}

TEST(SupOS_Names, AreTheDefaultsWithoutAnAnswer)
{
    Scratch_MakeRoot();
    ASSERT_EQ(SupPR_InitNames("TESTREG"), 0u); // the region has no entry; the installation's names are not its
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", "operator");
    EXPECT_EQ(userName(), "vela");
    EXPECT_EQ(groupName(), "velagroup");

    createRegionEntry("regional", "regionals"); // too late: it is asked once
    EXPECT_EQ(userName(), "vela");
    EXPECT_EQ(groupName(), "velagroup");
}

// A missing value leaves both names.
TEST(SupOS_Names, AreTheDefaultsWithoutTheUserId)
{
    Scratch_MakeRoot();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "GroupId", "operators");
    Scratch_DeleteValue(SCRATCH_PRODUCT_KEY, "UserId");
    EXPECT_EQ(userName(), "vela");
    EXPECT_EQ(groupName(), "velagroup");
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", "operator");
    EXPECT_EQ(userName(), "vela");
}

TEST(SupOS_Names, AreCutTo51Characters)
{
    Scratch_MakeRoot();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", std::string(200, 'u'));
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "GroupId", std::string(52, 'g'));
    EXPECT_EQ(userName(), std::string(51, 'u'));
    EXPECT_EQ(groupName(), std::string(51, 'g'));
}

TEST(SupOS_SetVelaNames, StandForTheProcess)
{
    Ring_TraceOn();
    SupOS_SetVelaNames("mine", "ours");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetVelaNames"), 1u);
    EXPECT_EQ(userName(), "mine"); // the registry is not asked
    EXPECT_EQ(groupName(), "ours");
    SupOS_SetVelaNames(std::string(60, 'x').c_str(), "ours2");
    EXPECT_EQ(userName(), std::string(51, 'x'));
    EXPECT_EQ(groupName(), "ours2");
}

TEST(SupOS_GetRegionIds, ReadsAnew)
{
    Ring_TraceOn();
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", "first");
    EXPECT_EQ(SupOS_GetRegionIds(), 0u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetRegionIds"), 1u);
}

TEST(SupOS_GetHomeDirectory, CopiesTheHome)
{
    const std::string root = Scratch_MakeRoot();
    char *home = nullptr;
    ASSERT_EQ(SupOS_GetHomeDirectory("vela", &home), 0u);
    EXPECT_EQ(home, root + "/home");
    free(home);
}

TEST(SupOS_GetHomeDirectory, Fails)
{
    Ring_TraceOn();
    const std::string root = Scratch_Root();
    Scratch_WriteFile(root + "/accounts/passwd", "short:x:10:10::/h:/x\nlong:x:11:11::/" + std::string(254, 'h') +
                                                     ":/x\nfits:x:12:12::/" + std::string(253, 'h') + ":/x\n");
    char *home = nullptr;
    EXPECT_EQ(SupOS_GetHomeDirectory("nobody-of-that-name", &home), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetHomeDirectory()"), 1u); // its trace name has the parentheses
    EXPECT_EQ(SupOS_GetHomeDirectory(std::string(510, 'u').c_str(), &home), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetHomeDirectory()"), 1u);
    EXPECT_EQ(SupOS_GetHomeDirectory("long", &home), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetHomeDirectory()"), 2u);
    EXPECT_EQ(home, nullptr);

    ASSERT_EQ(SupOS_GetHomeDirectory("fits", &home), 0u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetHomeDirectory()"), 4u);
    EXPECT_EQ(strlen(home), 254u);
    free(home);
}

TEST(SupOS_GetHomeDirectory, FailsWhenTheAccountsAreBusy)
{
    Scratch_MakeRoot();
    unsetenv("SORREL_ACCOUNTS");
    Plat_Sys.Getpwnam = [](const char *, struct passwd *, char *, size_t, struct passwd **) { return EAGAIN; };
    char *home = nullptr;
    EXPECT_EQ(SupOS_GetHomeDirectory("vela", &home), 1u);
    EXPECT_EQ(home, nullptr);
}

// The look-up gets the one block that is left, and gives it back to the system and not to the heap.
TEST(SupOS_GetHomeDirectory, FailsWithoutMemory)
{
    NO_MEMORY_SKIP();
    Scratch_MakeRoot();
    unsetenv("SORREL_ACCOUNTS");
    u8 *info = nullptr;
    ASSERT_EQ(NetServerGetInfo(nullptr, 101, &info), 0u); // this thread has its room for answers
    static void *reserve;
    reserve = malloc(4 << 20);
    Plat_Sys.Malloc = [](size_t) { return reserve; };
    Plat_Sys.Getpwnam = [](const char *, struct passwd *row, char *, size_t, struct passwd **found) {
        static char name[] = "alice", home[] = "/home/alice", none[] = "";
        *row = {name, none, 1001, 2001, none, home, none};
        *found = row;
        return 0;
    };
    EXPECT_EQ(NoMemory_Run([] {
                  char *home = nullptr;
                  return SupOS_GetHomeDirectory("alice", &home) == 1 && home == nullptr;
              }),
              1);
}

TEST(SupOS_NormalisePath, TurnsEveryBackslash)
{
    Ring_TraceOn();
    char path[] = "\\a\\\\b/c\\";
    EXPECT_EQ(SupOS_NormalisePath(path), 0u);
    EXPECT_STREQ(path, "/a//b/c/");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NormalisePath"), 2u);
    EXPECT_EQ(SupOS_NormalisePath(nullptr), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NormalisePath"), 1u);
    char empty[] = "";
    EXPECT_EQ(SupOS_NormalisePath(empty), 0u);
}

TEST(SupOS_TempFilePath, JoinsTheTemporaryDirectory)
{
    const std::string root = Scratch_MakeRoot();
    ASSERT_EQ(SupPR_InitNames("TESTREG"), 0u);
    char *const first = SupOS_TempFilePath("one");
    EXPECT_EQ(first, root + "/data\\vela_tmp\\one");
    EXPECT_EQ(SupOS_TempFilePath("two"), first); // one text for all
    EXPECT_EQ(first, root + "/data\\vela_tmp\\two");
    EXPECT_EQ(strlen(SupOS_TempFilePath(std::string(2000, 'x').c_str())), 1023u);
}

TEST(SupOS_TempFilePath, LeavesNoRecord)
{
    Ring_TraceOn();
    char name[52];
    SupOS_TempFilePath("x");
    SupOS_GetUserName(0, name);
    SupOS_GetGroupName(0, name);
    EXPECT_EQ(Ring_Count("SupOS_TempFilePath"), 0u);
    EXPECT_EQ(Ring_Count("SupOS_GetUserName"), 0u);
    EXPECT_EQ(Ring_Count("SupOS_GetGroupName"), 0u);
    EXPECT_EQ(Ring_Count("SupOS_GetRegionIds"), 2u); // entry and exit, once
}
