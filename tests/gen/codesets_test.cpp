// The list of code sets: what is in it, and what a wrong line says.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "codesets.h"

namespace
{

const std::string dataFolder = VELA_TEST_SOURCE_DIR "/data/codesets";

// A copy of the data in which one file's text was changed.
struct Copy {
    std::string folder;

    Copy()
    {
        char name[] = "/tmp/codesets.XXXXXX";
        folder = mkdtemp(name);
        for (const auto &entry : std::filesystem::directory_iterator(dataFolder))
            std::filesystem::copy(entry.path(), folder / entry.path().filename());
    }
    ~Copy() { std::filesystem::remove_all(folder); }

    void change(const std::string &File, const std::string &From, const std::string &To) const
    {
        std::stringstream text;
        text << std::ifstream(folder + "/" + File).rdbuf();
        std::string all = text.str();
        const size_t at = all.find(From);
        ASSERT_NE(at, std::string::npos) << From;
        all.replace(at, From.size(), To);
        std::ofstream(folder + "/" + File) << all;
    }
};

std::string problemOf(const std::string &Folder)
{
    try {
        Codesets_Read(Folder);
    } catch (const GenError &problem) {
        return problem.what();
    }
    return {};
}

TEST(CodesetsRead, HoldsEverySetAndPart)
{
    const CodesetPlan plan = Codesets_Read(dataFolder);
    size_t sets = 0;
    size_t parts = 0;
    for (const CodesetRow &row : plan.rows) ++(row.isPart ? parts : sets);
    EXPECT_EQ(sets, 97u);
    EXPECT_EQ(parts, 30u);
    EXPECT_EQ(plan.leadBytes.size(), 7u);
    EXPECT_EQ(plan.eucWidths.size(), 3u);
}

TEST(CodesetsRead, KnowsAMixedSet)
{
    const CodesetPlan plan = Codesets_Read(dataFolder);
    const CodesetRow &row = Codesets_Row(plan, 943);
    EXPECT_EQ(row.names, std::vector<std::string>{"QMX-943"});
    EXPECT_EQ(row.kind, GEN_MIXED);
    EXPECT_EQ(row.encoding, GEN_PC);
    EXPECT_EQ(row.dbcs, 941u);
    EXPECT_EQ(row.sbcs, 897u);
    EXPECT_EQ(row.index, 2u);
    EXPECT_EQ(row.sub1, 0x7Fu);
    EXPECT_EQ(row.sub2, 0xFCFCu);
}

// The substitutes of the byte sets are those that the engine itself writes for their encoding.
TEST(CodesetsRead, SubstitutesFollowTheEncoding)
{
    for (const CodesetRow &row : Codesets_Read(dataFolder).rows) {
        if (row.kind == GEN_DOUBLE || row.encoding > GEN_ISO) continue;
        const u32 wanted[] = {0x3F, 0x7F, 0x1A};
        EXPECT_EQ(row.sub1, wanted[row.encoding - 1]) << row.ccsid;
    }
}

// Equal bases are allowed only where no table is ever opened between the two.
TEST(CodesetsRead, BasesAreDistinct)
{
    const CodesetPlan plan = Codesets_Read(dataFolder);
    for (const CodesetRow &a : plan.rows)
        for (const CodesetRow &b : plan.rows) {
            if (a.isPart || b.isPart || a.ccsid >= b.ccsid || a.base != b.base) continue;
            const bool unicode = a.ccsid == 1208 && b.ccsid == 13488;
            const bool second = b.ccsid == 25488 || b.ccsid == 25491;
            EXPECT_TRUE(unicode || second) << a.ccsid << " and " << b.ccsid;
        }
}

TEST(CodesetsRead, PartsExist)
{
    const CodesetPlan plan = Codesets_Read(dataFolder);
    for (const CodesetRow &row : plan.rows) {
        if (row.isPart || row.encoding > GEN_ISO) continue;
        EXPECT_TRUE(row.sbcs == 0 || Codesets_Row(plan, row.sbcs).kind == GEN_SINGLE) << row.ccsid;
        EXPECT_TRUE(row.dbcs == 0 || Codesets_Row(plan, row.dbcs).kind == GEN_DOUBLE) << row.ccsid;
    }
}

TEST(CodesetsRead, NamesTheFileThatIsMissing)
{
    const std::string folder = dataFolder + "/none";
    EXPECT_NE(problemOf(folder).find(folder + "/codesets.tsv: cannot be opened"), std::string::npos);
}

struct Wrong {
    const char *file;
    const char *from;
    const char *to;
    const char *says;
};

constexpr Wrong wrongLines[] = {
    {"codesets.tsv", "37\tset\tQMX-037\t", "37\tset\t", "13 fields, 14 wanted"},
    {"codesets.tsv", "37\tset\tQMX-037", "x7\tset\tQMX-037", "\"x7\" is no number"},
    {"codesets.tsv", "37\tset\tQMX-037", "65535\tset\tQMX-037", "up to 65534"},
    {"codesets.tsv", "37\tset\tQMX-037", "37\tother\tQMX-037", "neither set nor part"},
    {"codesets.tsv", "37\tset\tQMX-037", "273\tset\tQMX-037", "273 stands twice"},
    {"codesets.tsv", "37\tset\tQMX-037", "37\tset\t-", "a set has names"},
    {"codesets.tsv", "Latin-1\t1\t1\t0\t37", "Latin-1\t1\t1\t5\t37", "single-byte set has sbcs"},
    {"codesets.tsv", "Japanese\t2\t1\t300\t0", "Japanese\t2\t1\t300\t5", "double-byte set has"},
    {"codesets.tsv", "Japanese\t3\t1\t300\t290", "Japanese\t3\t1\t300\t0", "mixed set has both"},
    {"codesets.tsv", "Latin-1\t1\t2\t0\t437\t1", "Latin-1\t1\t2\t0\t437\t0", "needs a row of lead"},
    {"codesets.tsv", "Japanese\t3\t6\t952\t895\t1", "Japanese\t3\t6\t952\t895\t0", "euc_widths"},
    {"lead_bytes.tsv", "0E-0E", "0E", "is no range"},
    {"lead_bytes.tsv", "0E-0E", "0F-0E", "is no range"},
    {"lead_bytes.tsv", "0E-0E", "0E-1FF", "no number up to 255"},
    {"lead_bytes.tsv", "1\t0E-0E", "20\t0E-0E", "no number up to 19"},
    {"lead_bytes.tsv", "0E-0E", "0E-0E 10-11 12-13 14-15", "1 to 3 ranges"},
    {"euc_widths.tsv", "1\t1 2 1 2", "10\t1 2 1 2", "no number up to 9"},
    {"euc_widths.tsv", "1\t1 2 1 2", "1\t1 2 1 2 2", "1 to 4 widths"},
    {"equivalents.tsv", "FF5E\t301C", "FF5E\t1301C", "no number up to 65535"},
};

TEST(CodesetsRead, NamesEveryKindOfWrongLine)
{
    for (const Wrong &wrong : wrongLines) {
        const Copy copy;
        copy.change(wrong.file, wrong.from, wrong.to);
        const std::string problem = problemOf(copy.folder);
        EXPECT_NE(problem.find(wrong.says), std::string::npos) << wrong.to << ": " << problem;
        EXPECT_NE(problem.find(std::string(wrong.file) + ":"), std::string::npos) << problem;
    }
}

TEST(CodesetsIsLead, FollowsTheRanges)
{
    const CodesetPlan plan = Codesets_Read(dataFolder);
    EXPECT_FALSE(Codesets_IsLead(plan, 2, 0x80));
    EXPECT_TRUE(Codesets_IsLead(plan, 2, 0x81));
    EXPECT_TRUE(Codesets_IsLead(plan, 2, 0x9F));
    EXPECT_FALSE(Codesets_IsLead(plan, 2, 0xA0));
    EXPECT_TRUE(Codesets_IsLead(plan, 2, 0xFC));
    EXPECT_FALSE(Codesets_IsLead(plan, 2, 0xFD));
    EXPECT_FALSE(Codesets_IsLead(plan, 0, 0x81));
}

} // namespace
