// The run as a whole: which files it makes, that it makes the same ones again, and what it tells.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "catalogue.h"
#include "table_report.h"

namespace
{

const std::string built = VELA_TEST_BUILD_DIR "/etc";

CodesetPlan plan()
{
    return Codesets_Read(VELA_TEST_SOURCE_DIR "/data/codesets");
}

std::string text(const std::string &Path)
{
    const std::vector<u8> bytes = TableSet_ReadFile(Path);
    return std::string(bytes.begin(), bytes.end());
}

struct Folder {
    std::string path;
    Folder()
    {
        char name[] = "/tmp/tables.XXXXXX";
        path = mkdtemp(name);
    }
    ~Folder() { std::filesystem::remove_all(path); }
};

TEST(TableSetJobs, AreThePlannedFiles)
{
    const CodesetPlan sets = plan();
    std::map<TableClass, size_t> counts;
    for (const TableJob &job : TableSet_Jobs(sets)) ++counts[job.group];
    EXPECT_EQ(counts[TableClass::Singles], 7292u);
    EXPECT_EQ(counts[TableClass::Doubles], 36u);
    EXPECT_EQ(counts[TableClass::NoDoubles], 28u);
    EXPECT_EQ(counts[TableClass::SingleUnicode], 140u);
    EXPECT_EQ(counts[TableClass::MixedUnicode], 38u);
    EXPECT_EQ(counts[TableClass::EucUnicode], 8u);
    EXPECT_EQ(counts[TableClass::EucMixed], 38u);
    EXPECT_EQ(counts[TableClass::EucSingle], 240u);
}

TEST(TableSetJobs, LeaveOutTheEuroTwins)
{
    const CodesetPlan sets = plan();
    for (const TableJob &job : TableSet_Jobs(sets))
        EXPECT_FALSE(job.from >= 1250 && job.from <= 1258 && job.to == job.from + 4096) << job.from;
}

TEST(TableSetFileName, IsFourDigitsEach)
{
    EXPECT_EQ(TableSet_FileName(37, 850), "00250352.tbl");
    EXPECT_EQ(TableSet_FileName(13488, 28709), "34B07025.tbl");
    EXPECT_EQ(TableSet_FileName(0, 300), "0000012C.tbl");
}

// A run takes some seconds; this one stands for all that the build's run promises.
TEST(TableSetWrite, MakesTheFilesOfTheBuildAgain)
{
    const Folder folder;
    TableSet_WriteFile(folder.path + "/FFFFFFFF.tbl", "x", 1); // a table that no longer is one
    TableSet_WriteFile(folder.path + "/notes.txt", "x", 1);
    const CodesetPlan sets = plan();
    size_t steps = 0;
    const std::vector<TableRecord> records =
        TableSet_Write(sets, folder.path, [&](size_t Done, size_t All) { steps += Done <= All; });
    EXPECT_EQ(records.size(), 7820u);
    EXPECT_EQ(steps, records.size());
    for (const TableRecord &record : records) {
        const std::string name = "/" + TableSet_FileName(record.job.from, record.job.to);
        ASSERT_EQ(TableSet_ReadFile(folder.path + name), TableSet_ReadFile(built + name)) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path + "/FFFFFFFF.tbl"));
    EXPECT_TRUE(std::filesystem::exists(folder.path + "/notes.txt"));

    EXPECT_EQ(Report_Losses(records), text(built + "/LOSSES.txt"));
    EXPECT_EQ(Catalogue_Text(sets), text(built + "/ccsid.tbl"));

    // The guide tells the figures of this run: `ninja conversion_guide` renews it.
    const std::string guide = text(VELA_TEST_SOURCE_DIR "/docs/conversion.md");
    EXPECT_EQ(Report_ReplaceSection(guide, Report_Guide(records)), guide);
}

TEST(TableSetWriteOne, SaysWhenAFolderCannotBeWritten)
{
    const TableDraft draft{TableLayout::S1, {}, 0x3F, 0, false, {}};
    EXPECT_THROW(TableSet_WriteOne(draft, built + "/ccsid.tbl/00250352.tbl"), GenError);
}

TEST(TableSetReadFile, SaysWhenAFileIsMissing)
{
    EXPECT_THROW(TableSet_ReadFile("/nonexistent"), GenError);
}

TEST(TableSetWriteGb18030, HoldsEveryCharacter)
{
    const std::string folder = VELA_TEST_BUILD_DIR "/etc-gb18030/";
    const std::vector<u8> from = TableSet_ReadFile(folder + TableSet_FileName(13488, 1392));
    const std::vector<u8> to = TableSet_ReadFile(folder + TableSet_FileName(1392, 13488));
    EXPECT_EQ(from.size(), 256000u);
    EXPECT_EQ(to.size(), 105920u);
    EXPECT_EQ(Table_Lookup(from, TableLayout::G4, 0x4E00).value, 0xD2BBu);
    EXPECT_EQ(Table_Lookup(from, TableLayout::G4, 0x0080).value, 0x81308130u);
    EXPECT_EQ(Table_Lookup(to, TableLayout::S2, 0x41).value, 0x41u);
    size_t fourBytes = 0;
    for (u32 c = 0; c < 0x10000; ++c) {
        const u32 code = Table_Lookup(from, TableLayout::G4, c).value;
        // 82 and 84 read as first bytes without a mark: their marks are bytes of the single-byte part.
        const bool marked = code >> 24 == 0x81 || code >> 24 == 0x83;
        if (code <= 0xFFFF || !marked) continue;
        ++fourBytes;
        ASSERT_EQ(Table_Lookup(to, TableLayout::Q4, code).value, c);
    }
    EXPECT_GT(fourBytes, 20000u);
    EXPECT_EQ(Table_Lookup(to, TableLayout::Q4, 0x82308130).value, 0xFEFEu);
    EXPECT_EQ(TableSet_ReadFile(folder + TableSet_FileName(935, 1392)).size(), 58368u);
    EXPECT_EQ(TableSet_ReadFile(folder + TableSet_FileName(1392, 935)).size(), 512u);
    EXPECT_NE(text(folder + "ccsid.tbl").find("1381 1392 0 1392 1 7 0 GB18030"), std::string::npos);
}

TEST(ReportTableLine, TellsWhatWasLost)
{
    const TableRecord record{{TableClass::MixedUnicode, 13488, 933, nullptr, nullptr},
                             TableLayout::D2,
                             100,
                             65536,
                             127,
                             7,
                             {{0xE000, 0, 0xE000}, {0x4E00, 0, 0x4E00}},
                             true};
    EXPECT_EQ(Report_TableLine(record), "34B003A5.tbl  D2  Unicode to Unicode: 100 characters, 65536 bytes, 127 rows, "
                                        "lost 1 private-use and 1 other, false 7\n");
    const std::string losses = Report_Losses({record});
    EXPECT_NE(losses.find("    4E00 E000\n"), std::string::npos) << losses;
    EXPECT_NE(Report_Summary({record}).find("lost 2, false 7"), std::string::npos);
}

TEST(ReportReplaceSection, NeedsItsMarks)
{
    EXPECT_THROW(Report_ReplaceSection("no marks", "x"), GenError);
    const std::string guide = "a\n<!-- made by gen_tables from here on -->\nold\n"
                              "<!-- made by gen_tables up to here -->\nb\n";
    EXPECT_EQ(Report_ReplaceSection(guide, "new\n"), "a\n<!-- made by gen_tables from here on -->\nnew\n"
                                                     "<!-- made by gen_tables up to here -->\nb\n");
}

} // namespace
