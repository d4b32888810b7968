// Command lines of the trace utilities: the tables row by row, and every way out of the parser.

#include "trace_case.h"

#include "tks_memory.h"

struct OptionCheck {
    const char *Name;
    u32 TakesValue;
};

static void checkAction(const InfTR_ActionRow &Action, i32 Number, const char *Name,
                        const std::vector<OptionCheck> &Options)
{
    EXPECT_EQ(Action.Number, Number);
    EXPECT_STREQ(Action.Name, Name);
    size_t at = 0;
    for (const OptionCheck &check : Options) {
        const InfTR_OptionRow &row = Action.Options[at++];
        EXPECT_STREQ(row.Name, check.Name);
        EXPECT_EQ(row.TakesValue, check.TakesValue) << check.Name;
        EXPECT_EQ(row.Value, nullptr);
    }
    EXPECT_EQ(Action.Options[at].Name, nullptr);
}

TEST(InfTR_TC_ActionList, HoldsTheThreeActions)
{
    checkAction(InfTR_TC_ActionList[0], 1, "", {{"-h", 0}, {"-?", 0}});
    checkAction(InfTR_TC_ActionList[1], 2, "dump", {{"-region", 1}, {"-p", 1}, {"-n", 1}, {"-t", 1}, {"-d", 1}});
    checkAction(InfTR_TC_ActionList[2], 3, "set",
                {{"-region", 1},
                 {"-d", 1},
                 {"-u", 1},
                 {"-A", 1},
                 {"-F", 1},
                 {"-B", 1},
                 {"-E", 1},
                 {"-X", 1},
                 {"-L", 1},
                 {"-M", 1},
                 {"-S", 1},
                 {"-U", 1},
                 {"-a", 1},
                 {"-b", 1},
                 {"-s", 1},
                 {"-p", 1}});
    EXPECT_EQ(InfTR_TC_ActionList[3].Name, nullptr);
    checkAction(InfTR_FormatActionList[0], 1, "", {{"-i", 1}, {"-o", 1}, {"-h", 0}, {"-?", 0}});
    EXPECT_EQ(InfTR_FormatActionList[1].Name, nullptr);
}

struct Action : testing::Test {
    void SetUp() override { Case_Start("-B ON -M ON -S ON -t INFTR=4"); }

    // Parses a line; the code is compared with the one that the exit record shows.
    u32 Get(const char *Line, const InfTR_ActionRow *List = InfTR_TC_ActionList)
    {
        Release();
        const u32 code = InfTR_GetAction(Line, List, &Result);
        for (const Ring_Record &record : Ring_Records()) {
            if (record.Function == "InfTR_GetAction" && record.Header.RecordType == 1414) {
                EXPECT_EQ(record.Code, code & 0x1fffff);
                Point = record.Point;
            }
        }
        Ring_Clear();
        return code;
    }

    const char *Value(const char *Name)
    {
        InfTR_OptionRow *const row = InfTR_GetOption(Result, Name);
        return row == nullptr ? "no such option" : row->Value;
    }

    void Release()
    {
        tks_trace_Free(Result);
        Result = nullptr;
    }

    void TearDown() override { Release(); }

    InfTR_ActionRow *Result = nullptr;
    u32 Point = 0;
};

TEST_F(Action, FindsActionOptionsAndValues)
{
    ASSERT_EQ(Get("set -B ON -t SUPOS=4"), INFTR_ERR_NO_OPTION); // no -t for this action
    EXPECT_EQ(Point, 4u);
    ASSERT_EQ(Get("set -B ON -b 5000 -region REG1"), ERZ_OK);
    EXPECT_EQ(Point, 8u);
    EXPECT_EQ(Result->Number, 3);
    EXPECT_STREQ(Result->Name, "set");
    EXPECT_STREQ(Value("-B"), "ON");
    EXPECT_STREQ(Value("-b"), "5000");
    EXPECT_STREQ(Value("-region"), "REG1");
    EXPECT_EQ(Value("-A"), nullptr);
    EXPECT_EQ(InfTR_GetOption(Result, "-t"), nullptr);
    EXPECT_NE(Result->Options, InfTR_TC_ActionList[2].Options);
    EXPECT_EQ(InfTR_TC_ActionList[2].Options[5].Value, nullptr);
}

TEST_F(Action, NoWordsAreTheEmptyAction)
{
    for (const char *line : {"", "   ", "\t\n", "-h", " -h", "\n-? -h"}) {
        ASSERT_EQ(Get(line), ERZ_OK) << line;
        EXPECT_EQ(Result->Number, 1);
        EXPECT_STREQ(Result->Name, "");
        EXPECT_EQ(Value("-h"), strchr(line, 'h') != nullptr ? INFTR_OPTION_GIVEN : nullptr);
        EXPECT_EQ(Value("-?"), strchr(line, '?') != nullptr ? INFTR_OPTION_GIVEN : nullptr);
    }
}

TEST_F(Action, WordsAreJoinedByOneBlank)
{
    InfTR_OptionRow none[] = {{nullptr, 0, nullptr}};
    char name[] = "two words here";
    const InfTR_ActionRow list[] = {{9, name, none}, {0, nullptr, nullptr}};
    ASSERT_EQ(Get("  two \t words\n\nhere  ", list), ERZ_OK);
    EXPECT_STREQ(Result->Name, "two words here");
    EXPECT_EQ(Result->Number, 9);
    EXPECT_EQ(Get("two wordshere", list), INFTR_ERR_NO_ACTION);
}

TEST_F(Action, WaysOut)
{
    EXPECT_EQ(Get("nothing -h"), 0x18A00002u);
    EXPECT_EQ(Point, 3u);
    EXPECT_EQ(Get("Set"), 0x18A00002u);
    EXPECT_EQ(Get("dump -x 1"), 0x18A00003u);
    EXPECT_EQ(Point, 4u);
    EXPECT_EQ(Get("dump -p 1 stray"), 0x18A00003u);
    EXPECT_EQ(Get("dump -p"), 0x18A00004u);
    EXPECT_EQ(Point, 5u);
    EXPECT_EQ(Get("dump -n 1 -p"), 0x18A00004u);
    EXPECT_EQ(Result, nullptr);
    const u32 points[] = {1, 2, 6};
    for (u32 nth = 1; nth <= 3; ++nth) {
        tks_TestFailMalloc(nth);
        EXPECT_EQ(Get("dump -p 1"), 0x18A00001u);
        EXPECT_EQ(Point, points[nth - 1]);
        EXPECT_EQ(Result, nullptr);
        tks_TestFailMalloc(0);
    }
    EXPECT_EQ(Get("dump -p 1"), ERZ_OK);
    EXPECT_EQ(Point, 8u);
}

TEST_F(Action, AValueMayLookLikeAnOption)
{
    ASSERT_EQ(Get("dump -p -n -n -p"), ERZ_OK);
    EXPECT_STREQ(Value("-p"), "-n");
    EXPECT_STREQ(Value("-n"), "-p");
    ASSERT_EQ(Get("dump -p 1 -p 22 -p 333"), ERZ_OK); // the last one counts
    EXPECT_STREQ(Value("-p"), "333");
}

TEST_F(Action, TheCommandLineIsNotChangedAndTheAnswerIsItsOwn)
{
    std::string line = "set -d " + std::string(5000, 'd') + " -u x";
    const std::string before = line;
    ASSERT_EQ(Get(line.c_str()), ERZ_OK);
    EXPECT_EQ(line, before);
    line.assign(line.size(), '!');
    EXPECT_EQ(Value("-d"), std::string(5000, 'd'));
    EXPECT_STREQ(Value("-u"), "x");
}

TEST_F(Action, AnOptionIsFoundByItsWholeName)
{
    EXPECT_EQ(InfTR_GetOption(&InfTR_TC_ActionList[2], "-region"), &InfTR_TC_ActionList[2].Options[0]);
    EXPECT_EQ(InfTR_GetOption(&InfTR_TC_ActionList[2], "-regio"), nullptr);
    EXPECT_EQ(InfTR_GetOption(&InfTR_TC_ActionList[2], ""), nullptr);
    EXPECT_EQ(InfTR_GetOption(&InfTR_TC_ActionList[0], "-?"), &InfTR_TC_ActionList[0].Options[1]);
    EXPECT_EQ(Case_LastRecord().Function, "InfTR_GetOption");
    EXPECT_EQ(Case_LastRecord().Header.Class, INFTR_CLASS_TYPED_EXIT);
}
