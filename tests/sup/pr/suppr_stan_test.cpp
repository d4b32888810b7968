// Stanza files: which file, which line, which part of it.

#include "suppr_int.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "ring_reader.h"
#include "scratch_root.h"
#include "vela_types.h"

namespace
{

constexpr u32 notFound = 0x1C20000A, noAccess = 0x1C200002;

struct stanzaFiles {
    std::string Path = Scratch_MakeRoot() + "/data/vela_regions/TESTREG";
    char Value[SUPPR_STANZA_VALUE_SIZE] = "untouched";

    void First(const std::string &text) const { Scratch_WriteFile(Path + "/database/RD/RD.TESTREG/RD.auto", text); }
    void Second(const std::string &text) const { Scratch_WriteFile(Path + "/database/RD/RD.stanza", text); }
    u32 Read(const char *attribute) { return SupPR_StanzaValue("TESTREG", Path.c_str(), attribute, Value); }
    u32 Search(const std::string &text, const char *attribute)
    {
        Scratch_WriteFile(Path + "/file", text);
        strcpy(Value, "untouched");
        return SupPR_SearchFile((Path + "/file").c_str(), attribute, Value);
    }
};

} // namespace

TEST(SupPR_StanzaValue, PrefersTheFirstFile)
{
    stanzaFiles files;
    files.First("Name=\"own\"\n");
    files.Second("Name=\"common\"\n");
    EXPECT_EQ(files.Read("Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "own");
}

TEST(SupPR_StanzaValue, GoesOnToTheSecondFile)
{
    stanzaFiles files;
    files.Second("Name=\"common\"\n");
    EXPECT_EQ(files.Read("Name"), ERZ_OK); // no first file
    EXPECT_STREQ(files.Value, "common");

    files.First("Other=\"own\"\n");
    strcpy(files.Value, "untouched");
    EXPECT_EQ(files.Read("Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "common");
}

TEST(SupPR_StanzaValue, TellsWhatTheSecondFileTells)
{
    stanzaFiles files;
    EXPECT_EQ(files.Read("Name"), noAccess);
    files.First("Other=\"own\"\n");
    EXPECT_EQ(files.Read("Name"), noAccess);
    files.Second("");
    EXPECT_EQ(files.Read("Name"), notFound);
    EXPECT_STREQ(files.Value, "untouched");
}

TEST(SupPR_StanzaValue, HasNoPathThatIsTooLong)
{
    stanzaFiles files;
    EXPECT_EQ(SupPR_StanzaValue("TESTREG", std::string(5000, 'x').c_str(), "Name", files.Value), noAccess);
}

TEST(SupPR_SearchFile, ComparesThePrefixAlone)
{
    stanzaFiles files;
    EXPECT_EQ(files.Search("NameSpace=\"x\"\nName=\"y\"\n", "Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "x");
    EXPECT_EQ(files.Search("name=\"x\"\n", "Name"), notFound);
    EXPECT_EQ(files.Search("A Name=\"x\"\n", "Name"), notFound);
    EXPECT_EQ(files.Search("Nam=\"x\"\n", "Name"), notFound);
    EXPECT_EQ(files.Search("Name \"x\"\n", "Name"), ERZ_OK); // nothing need stand behind the name
}

TEST(SupPR_SearchFile, SkipsLeadingWhiteSpace)
{
    stanzaFiles files;
    EXPECT_EQ(files.Search("\n \t\v\f\rName=\"x\"\n", "Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "x");
}

TEST(SupPR_SearchFile, TakesTheFirstMatchingLine)
{
    stanzaFiles files;
    EXPECT_EQ(files.Search("Name=\"one\"\nName=\"two\"\n", "Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "one");
}

TEST(SupPR_SearchFile, CutsBetweenTheFirstTwoQuotes)
{
    stanzaFiles files;
    EXPECT_EQ(files.Search("Name=\"a b\"c\"\n", "Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "a b");
    EXPECT_EQ(files.Search("Name=\"\"\n", "Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "");
    EXPECT_EQ(files.Search("Name=\"x\"", "Name"), ERZ_OK); // no line end
    EXPECT_STREQ(files.Value, "x");
    EXPECT_EQ(files.Search("Na\"me=\"x\"\n", "Na\"me"), ERZ_OK); // a quote within the name counts
    EXPECT_STREQ(files.Value, "me=");
}

// A line that matches and has no two quotes is no match, and the search goes on.
TEST(SupPR_SearchFile, PassesOverALineWithoutTwoQuotes)
{
    stanzaFiles files;
    EXPECT_EQ(files.Search("Name=x\nName=\"\nName=\"y\"\n", "Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "y");
    EXPECT_EQ(files.Search("Name=\"open\n\"\n", "Name"), notFound);
    EXPECT_STREQ(files.Value, "untouched");
}

TEST(SupPR_SearchFile, TriesThePiecesOfALongLine)
{
    stanzaFiles files;
    // 199 characters make a piece; the next piece begins with the attribute
    EXPECT_EQ(files.Search(std::string(199, 'x') + "Name=\"y\"\n", "Name"), ERZ_OK);
    EXPECT_STREQ(files.Value, "y");
    EXPECT_EQ(files.Search(std::string(198, 'x') + "Name=\"y\"\n", "Name"), notFound);

    const std::string longest(193, 'v'); // a line that just fits: Na="..." and the end of the piece
    EXPECT_EQ(files.Search("Na=\"" + longest + "\"\n", "Na"), ERZ_OK);
    EXPECT_EQ(files.Value, longest);
    EXPECT_EQ(files.Search("Na=\"" + longest + "vv\"\n", "Na"), notFound); // the second quote is in the next piece
}

TEST(SupPR_SearchFile, TellsThatItCannotOpen)
{
    stanzaFiles files;
    EXPECT_EQ(SupPR_SearchFile((files.Path + "/none").c_str(), "Name", files.Value), noAccess);
    EXPECT_EQ(files.Search("", "Name"), notFound);
    EXPECT_EQ(files.Search("Any=\"x\"\n", ""), ERZ_OK); // every line begins with nothing
}

TEST(SupPR_Stanza, Traces)
{
    Ring_TraceOn();
    stanzaFiles files;
    files.Read("Name");
    EXPECT_EQ(Ring_LastExitPoint("SupPR_SearchFile"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_StanzaValue"), 2u);
    files.First("Name=\"x\"\n");
    files.Read("Name");
    EXPECT_EQ(Ring_LastExitPoint("SupPR_SearchFile"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_StanzaValue"), 1u);
}
