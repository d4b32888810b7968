// The conversion catalogue: every kind of line, good and bad, and the ways in which a reading ends the process.

#include "supos_icnv_int.h"

#include "supos_allocation.h"
#include "supos_conversion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "capture.h"
#include "failing_malloc.h"
#include "no_memory.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "suppr_names.h"
#include "unprivileged.h"

namespace
{

const char localLine[] = "850 850 0 850 1 2 1 QMX-850\n";

std::string cataloguePath()
{
    return Scratch_Root() + "/install/etc/ccsid.tbl";
}

// A root whose system has code page 850, and its catalogue.
void makeRoot(const std::string &Text)
{
    if (Scratch_Root().empty()) Scratch_MakeRoot();
    Scratch_SetValue("SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage", "OEMCP", "850");
    Scratch_WriteFile(cataloguePath(), Text);
    EXPECT_EQ(SupPR_InitNames("TESTREG"), 0u);
}

// Reads a catalogue; what was logged comes back. The catalogues that a second reading drops stay known here, or a leak
// checker would report what is required.
std::string readText(const std::string &Text)
{
    static std::vector<IcnvCatalogue *> *const dropped = new std::vector<IcnvCatalogue *>;
    makeRoot(Text);
    const std::string log = Capture_Stderr([] { SupOS_IcnvInit(); });
    dropped->push_back(IcnvRoot);
    return log;
}

// Reads one line behind the local one (and what stands before it); 1 when it was told as bad.
int isBad(const std::string &Line, const std::string &Before = "")
{
    const std::string log = readText(localLine + Before + Line + "\n");
    return log.find("ERZ058235W") != std::string::npos;
}

const IcnvNode *node(i32 Ccsid)
{
    return SupOS_IcnvFindNode(IcnvRoot->root, Ccsid);
}

std::string fields(const IcnvNode *Node)
{
    if (Node == nullptr) return "none";
    std::string text;
    for (const u32 n : {Node->base, Node->dbcs, Node->sbcs, Node->kind, Node->encoding, Node->index})
        text += (text.empty() ? "" : " ") + std::to_string(n);
    return text;
}

} // namespace

TEST(SupOS_IcnvInit, ReadsTheDeliveredCatalogue)
{
    Scratch_MakeRoot();
    makeRoot(Scratch_ReadFile(VELA_TEST_BUILD_DIR "/etc/ccsid.tbl"));
    const std::string log = Capture_Stderr([] { SupOS_IcnvInit(); });
    EXPECT_EQ(log, "");
    ASSERT_NE(IcnvRoot, nullptr);
    EXPECT_EQ(IcnvRoot->nodeCount, 97u);
    EXPECT_EQ(IcnvRoot->localCcsid, 850u);
    EXPECT_EQ(IcnvRoot->defaultHost, 0u);
    EXPECT_EQ(IcnvRoot->defaultPC, 0u);
    EXPECT_EQ(IcnvRoot->tableCount, 0u);
    EXPECT_EQ(IcnvRoot->tables, nullptr);
    EXPECT_EQ(fields(node(943)), "943 941 897 3 2 2");
    EXPECT_EQ(fields(node(1208)), "13488 1208 1208 3 5 0");
    EXPECT_EQ(fields(node(25491)), "920 0 920 1 3 1");
    EXPECT_EQ(fields(node(0)), "none");
    EXPECT_EQ(IcnvRoot->leadRanges[2].count, 2u);
    EXPECT_EQ(IcnvRoot->leadRanges[2].ranges[1].low, 0xE0u);
    EXPECT_EQ(IcnvRoot->eucWidths[0].count, 4u);
    EXPECT_EQ(IcnvRoot->eucWidths[0].widths[3], 2u);
    EXPECT_EQ(IcnvRoot->nextNode, IcnvRoot->poolEnd);
    // Every number that a name leads to, but for the empty one, has a node.
    for (const IcnvCodeSet &row : IcnvCodeSets)
        EXPECT_TRUE(row.ccsid == 0 || node(static_cast<i32>(row.ccsid)) != nullptr) << row.name;
}

TEST(SupOS_IcnvInit, TakesColumnsInTheOrderOfTheFile)
{
    readText(std::string(localLine) + "930 1 300 290 3 1 7 QMX-930\n");
    EXPECT_EQ(fields(node(930)), "1 300 290 3 1 7");
}

TEST(SupOS_IcnvInit, CcsidLinesKeepTheirRanges)
{
    EXPECT_EQ(isBad("0 0 0 1 1 1 0 X"), 0);
    EXPECT_EQ(isBad("65534 65534 0 65534 1 1 0 X"), 0);
    EXPECT_EQ(isBad("-1 1 0 1 1 1 0 X"), 1);
    EXPECT_EQ(isBad("65535 1 0 1 1 1 0 X"), 1);
    EXPECT_EQ(isBad("99 65535 0 1 1 1 0 X"), 1);
    EXPECT_EQ(isBad("99 -1 0 1 1 1 0 X"), 1);
    EXPECT_EQ(isBad("99 1 0 65535 1 1 0 X"), 1);
    EXPECT_EQ(isBad("99 1 65535 0 2 1 0 X"), 1);
    EXPECT_EQ(isBad("99 1 0 1 0 1 0 X"), 1);
    EXPECT_EQ(isBad("99 1 1 1 4 1 0 X"), 1);
    EXPECT_EQ(isBad("99 1 0 1 1 0 0 X"), 1);
    EXPECT_EQ(isBad("99 1 0 1 1 99 0 X"), 0) << "the encoding has no upper limit";
    EXPECT_EQ(node(99)->encoding, 99u);
    EXPECT_EQ(isBad("words"), 1);
    EXPECT_EQ(isBad("99"), 1);
    EXPECT_EQ(isBad("99 1 0 1 1"), 1) << "five numbers";
    EXPECT_EQ(isBad("99 1 0 1 1 1"), 0) << "six numbers";
    EXPECT_EQ(isBad("99 1 0 1 1 1 NAME"), 0) << "six numbers and a name";
    EXPECT_EQ(node(99)->index, 0u);
    EXPECT_EQ(isBad("99 1 0 1 1 1 5"), 0);
    EXPECT_EQ(node(99)->index, 5u);
}

TEST(SupOS_IcnvInit, CcsidLinesKeepTheirCrossRules)
{
    EXPECT_EQ(isBad("99 1 5 1 1 1 0 X"), 1) << "kind 1 with a double-byte part";
    EXPECT_EQ(isBad("99 1 0 0 1 1 0 X"), 1) << "kind 1 without a single-byte part";
    for (const char *encoding : {"1", "2"}) {
        EXPECT_EQ(isBad(std::string("99 1 5 0 2 ") + encoding + " 0 X"), 0);
        EXPECT_EQ(isBad(std::string("99 1 0 0 2 ") + encoding + " 0 X"), 1);
        EXPECT_EQ(isBad(std::string("99 1 5 5 2 ") + encoding + " 0 X"), 1);
    }
    EXPECT_EQ(isBad("99 1 0 0 2 3 0 X"), 0) << "kind 2 of other encodings is free";
    EXPECT_EQ(isBad("99 1 13488 5 2 4 0 X"), 0);
    EXPECT_EQ(isBad("99 1 5 6 3 1 0 X"), 0);
    for (const char *encoding : {"1", "2", "3"}) {
        EXPECT_EQ(isBad(std::string("99 1 0 6 3 ") + encoding + " 1 X"), 1);
        EXPECT_EQ(isBad(std::string("99 1 5 0 3 ") + encoding + " 1 X"), 1);
        EXPECT_EQ(isBad(std::string("99 1 5 6 3 ") + encoding + " 1 X"), 0);
    }
    EXPECT_EQ(isBad("99 1 0 0 3 5 0 X"), 0) << "kind 3 of encodings 4 and up is free";
    EXPECT_EQ(isBad("99 1 5 6 3 2 0 X"), 1);
    EXPECT_EQ(isBad("99 1 5 6 3 2 20 X"), 0);
    EXPECT_EQ(isBad("99 1 5 6 3 2 21 X"), 1);
    EXPECT_EQ(isBad("99 1 5 6 3 2 -1 X"), 1);
    EXPECT_EQ(isBad("99 1 5 6 3 3 0 X"), 1);
    EXPECT_EQ(isBad("99 1 5 6 3 3 10 X"), 0);
    EXPECT_EQ(isBad("99 1 5 6 3 3 11 X"), 1);
    EXPECT_EQ(isBad("99 1 5 6 3 6 0 X"), 0) << "no test for EUC";
}

TEST(SupOS_IcnvInit, ABadLineIsToldAndCostsItsNodeOnly)
{
    const std::string log =
        readText(std::string("\n# comment\n") + localLine + "99 1 0 1 4 1 0 X\n37 37 0 37 1 1 0 Y\n");
    EXPECT_EQ(log, "ERZ058235W/0148: Line 4 of the code-set catalogue '" +
                       std::string(SupPR_GetNames(SUPPR_NAME_ETC_DIR)) +
                       "\\ccsid.tbl' is not valid and has been passed over\n");
    EXPECT_EQ(IcnvRoot->nodeCount, 3u);
    EXPECT_EQ(IcnvRoot->poolEnd - IcnvRoot->nextNode, 1) << "its node stays unused";
    EXPECT_EQ(fields(node(99)), "none");
    EXPECT_EQ(fields(node(37)), "37 0 37 1 1 0");
}

TEST(SupOS_IcnvInit, TheLastLineOfANumberWins)
{
    EXPECT_EQ(readText(std::string(localLine) + "99 1 0 1 1 1 0 A\n99 2 5 6 3 2 3 B\n"), "");
    EXPECT_EQ(fields(node(99)), "2 5 6 3 2 3");
    EXPECT_EQ(IcnvRoot->nodeCount, 3u);
}

TEST(SupOS_IcnvInit, TheFirstLineOfTheLocalNameCounts)
{
    readText("99 1 0 1 1 1 0 QMX-850\n850 850 0 850 1 2 1 QMX-850\n99 2 0 2 1 1 0 OTHER\n");
    EXPECT_EQ(IcnvRoot->localCcsid, 99u);
    EXPECT_EQ(node(99)->base, 2u);
}

TEST(SupOS_IcnvInit, ABadLineDoesNotGiveTheLocalName)
{
    readText("99 1 0 1 9 1 0 QMX-850\n850 850 0 850 1 2 1 QMX-850 and more\n");
    EXPECT_EQ(IcnvRoot->localCcsid, 850u) << "a name ends at white space";
}

TEST(SupOS_IcnvInit, CommentsAndBlankLinesArePassedOver)
{
    EXPECT_EQ(readText(std::string("# 1 1\n#default\n \t \r\n\v\f\n##other\n") + localLine), "");
    EXPECT_EQ(IcnvRoot->nodeCount, 1u);
    EXPECT_EQ(isBad(" # behind a blank no comment"), 1);
}

TEST(SupOS_IcnvInit, SectionsCannotBeLeftForTheFirst)
{
    EXPECT_EQ(readText(std::string(localLine) + "##P\n2 1 81 9F\n##EUCX\n1 1 1\n##PX\n3 1 81 9F\n# plain\n4 1 40 41\n"),
              "");
    EXPECT_EQ(IcnvRoot->nodeCount, 1u);
    EXPECT_EQ(IcnvRoot->leadRanges[3].count, 1u);
    EXPECT_EQ(IcnvRoot->leadRanges[4].ranges[0].high, 0x41u);
    EXPECT_EQ(IcnvRoot->eucWidths[0].count, 1u);
    EXPECT_EQ(isBad("99 1 0 1 1 1 0 X", "##P\n"), 1) << "a code set among lead bytes: its index is none";
}

TEST(SupOS_IcnvInit, OtherSectionsAreReadOver)
{
    EXPECT_EQ(readText(std::string(localLine) + "##TCP\nany words\n##MSC\nmore\ndefault 0 37 0 1 0\n"), "");
    EXPECT_EQ(IcnvRoot->defaultHost, 37u) << "a default line counts there too";
    EXPECT_EQ(IcnvRoot->nodeCount, 1u);
}

TEST(SupOS_IcnvInit, PLinesKeepTheirRules)
{
    const std::string p = "##P\n";
    EXPECT_EQ(isBad("1 1 81 9F", p), 0);
    EXPECT_EQ(isBad("0 1 81 9F", p), 1) << "row 0 is built in";
    EXPECT_EQ(isBad("20 1 81 9F", p), 0);
    EXPECT_EQ(IcnvRoot->leadRanges[20].ranges[0].low, 0x81u) << "it has room";
    EXPECT_EQ(isBad("21 1 81 9F", p), 1);
    EXPECT_EQ(isBad("-1 1 81 9F", p), 1);
    EXPECT_EQ(isBad("1 0 81 9F", p), 1);
    EXPECT_EQ(isBad("1 4 81 9F 81 9F 81 9F", p), 1);
    EXPECT_EQ(isBad("1 3 81 9F A0 A1 E0 FC", p), 0);
    EXPECT_EQ(IcnvRoot->leadRanges[1].count, 3u);
    EXPECT_EQ(IcnvRoot->leadRanges[1].ranges[2].high, 0xFCu);
    EXPECT_EQ(isBad("1 2 81 9F E0", p), 1) << "a number is missing";
    EXPECT_EQ(isBad("1 1 81", p), 1);
    EXPECT_EQ(isBad("1", p), 1);
    EXPECT_EQ(isBad("1 1 100 101", p), 1);
    EXPECT_EQ(isBad("1 1 81 100", p), 1);
    EXPECT_EQ(isBad("1 1 9F 81", p), 1);
    EXPECT_EQ(isBad("1 1 81 81", p), 0);
    EXPECT_EQ(isBad("1 1 81 9F 9F 81", p), 0) << "ranges beyond the count are not looked at";
    EXPECT_EQ(isBad("1 1 0x81 9f", p), 0);
}

TEST(SupOS_IcnvInit, EucLinesKeepTheirRules)
{
    const std::string e = "##EUC\n";
    EXPECT_EQ(isBad("1 1 1", e), 0);
    EXPECT_EQ(isBad("0 1 1", e), 1);
    EXPECT_EQ(isBad("10 1 1", e), 0);
    EXPECT_EQ(IcnvRoot->eucWidths[9].count, 1u) << "it has room";
    EXPECT_EQ(isBad("11 1 1", e), 1);
    EXPECT_EQ(isBad("1 0 1", e), 1);
    EXPECT_EQ(isBad("1 5 1 2 1 2", e), 1);
    for (const char *width : {"0", "4", "-1"}) {
        EXPECT_EQ(isBad(std::string("1 1 ") + width, e), 1);
        EXPECT_EQ(isBad(std::string("1 2 1 ") + width, e), 1);
        EXPECT_EQ(isBad(std::string("1 3 1 2 ") + width, e), 1);
    }
    EXPECT_EQ(isBad("1 2 1", e), 1) << "a number is missing";
    EXPECT_EQ(isBad("1 3 1 2", e), 1);
    EXPECT_EQ(isBad("1 4 1 2 3 77", e), 0) << "the fourth width has no test";
    EXPECT_EQ(IcnvRoot->eucWidths[0].widths[3], 77u);
    EXPECT_EQ(isBad("1 4 1 2 3", e), 0) << "nor need it be there";
    EXPECT_EQ(IcnvRoot->eucWidths[0].widths[3], 99999u);
    EXPECT_EQ(isBad("1 2 1 2 3 3", e), 0);
    EXPECT_EQ(IcnvRoot->eucWidths[0].count, 2u);
    EXPECT_EQ(IcnvRoot->eucWidths[0].widths[2], 0u) << "not stored";
    EXPECT_EQ(isBad("words", e), 1);
}

TEST(SupOS_IcnvInit, DefaultLinesChooseByTheirFourthNumber)
{
    EXPECT_EQ(readText(std::string("default 9 37 9 1 9\ndefault 0 850 0 2 0\n") + localLine), "");
    EXPECT_EQ(IcnvRoot->defaultHost, 37u);
    EXPECT_EQ(IcnvRoot->defaultPC, 850u);
    EXPECT_EQ(IcnvRoot->nodeCount, 1u);
    EXPECT_EQ(isBad("default 0 37 0 3 0"), 1);
    EXPECT_EQ(isBad("default 0 37 0"), 1);
    EXPECT_EQ(isBad("default"), 1);
    EXPECT_EQ(isBad("defaults 0 500 0 1 0"), 0) << "seven bytes are compared";
    EXPECT_EQ(IcnvRoot->defaultHost, 500u);
    EXPECT_EQ(isBad("default 0 37 0 1"), 0) << "the fifth number is not looked at";
    EXPECT_EQ(isBad("default 0 500 0 1 0", "##P\n"), 0) << "in any section";
    EXPECT_EQ(IcnvRoot->defaultHost, 500u);
}

TEST(SupOS_IcnvInit, WithoutSectionsTheRowsAreEmpty)
{
    readText(localLine);
    EXPECT_EQ(IcnvRoot->leadRanges[0].count, 1u);
    EXPECT_EQ(IcnvRoot->leadRanges[0].ranges[0].low, 0u);
    EXPECT_EQ(IcnvRoot->leadRanges[0].ranges[0].high, 0xFFu);
    for (u32 row = 1; row < ICNV_LEAD_ROWS; ++row) EXPECT_EQ(IcnvRoot->leadRanges[row].count, 0u) << row;
    for (u32 row = 0; row < ICNV_EUC_ROWS; ++row) EXPECT_EQ(IcnvRoot->eucWidths[row].count, 0u) << row;
}

// What stands behind 255 bytes of a line is a line of its own, in the count too.
TEST(SupOS_IcnvInit, LongLinesAreCut)
{
    const std::string head = "99 1 0 1 1 1 0 X";
    const std::string log =
        readText(localLine + head + std::string(255 - head.size(), ' ') + "98 1 0 1 1 1 0 Y\nbad\n");
    EXPECT_NE(log.find("Line 4 "), std::string::npos) << log;
    EXPECT_EQ(IcnvRoot->nodeCount, 4u);
    EXPECT_NE(node(99), nullptr);
    EXPECT_NE(node(98), nullptr);
}

TEST(SupOS_IcnvInit, TakesAFileWithoutALastNewLine)
{
    EXPECT_EQ(readText("850 850 0 850 1 2 1 QMX-850"), "");
    EXPECT_EQ(IcnvRoot->localCcsid, 850u);
    EXPECT_EQ(readText("850 850 0 850 1 2 1 QMX-850\r\n99 1 0 1 1 1 0 X\r\n"), "");
    EXPECT_NE(node(99), nullptr);
}

TEST(SupOS_IcnvInit, TakesAFileOfBytes)
{
    std::string bytes = localLine;
    for (int i = 0; i < 4096; ++i) bytes += static_cast<char>(i * 131 % 255 + 1);
    readText(bytes);
    EXPECT_EQ(IcnvRoot->localCcsid, 850u);
}

TEST(SupOS_IcnvInit, ASecondCallBuildsANewCatalogue)
{
    readText(localLine);
    IcnvCatalogue *const first = IcnvRoot;
    readText(std::string(localLine) + "99 1 0 1 1 1 0 X\n");
    EXPECT_NE(IcnvRoot, first);
    EXPECT_EQ(IcnvRoot->nodeCount, 2u);
    EXPECT_EQ(first->nodeCount, 1u) << "the first one stays";
}

TEST(SupOS_IcnvNeedCatalogue, ReadsOnceForManyThreads)
{
    makeRoot(localLine);
    Ring_TraceOn("SUPOS=5");
    EXPECT_EQ(IcnvRoot, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] {
            SupOS_IcnvNeedCatalogue();
            EXPECT_EQ(IcnvRoot->localCcsid, 850u);
            InfTR_ThreadExit(INFTR_COMPONENT_SUPOS, "opener", 1);
        });
    for (std::thread &thread : threads) thread.join();
    IcnvCatalogue *const only = IcnvRoot;
    SupOS_IcnvNeedCatalogue();
    EXPECT_EQ(IcnvRoot, only);
    EXPECT_EQ(Ring_Count("SupOS_IcnvInit"), 2u) << "one entry and one exit";
}

TEST(SupOS_IcnvInit, TracesItsExits)
{
    makeRoot(std::string(localLine) + "99 1 0 1 9 1 0 X\n98 1 0 1 1 1 0 X\n##P\n1 1 81 9F\n0 1 1 1\n1 9 1 1\n1 1 9 1\n"
                                      "##EUC\n1 1 1\n");
    Ring_TraceOn("SUPOS=5");
    Capture_Stderr([] { SupOS_IcnvInit(); });
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvInit"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessCCSIDLine"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessELine"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvCreateNode"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvInsertNode"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvFindNode"), 1u);
}

TEST(SupOS_ProcessPLine, TracesEachWayOut)
{
    readText(localLine);
    Ring_TraceOn("SUPOS=5");
    const std::pair<const char *, u32> lines[] = {
        {"1 1 81 9F", 1}, {"0 1 81 9F", 2}, {"1 9 81 9F", 3}, {"1 1 9F 81", 4}};
    for (const auto &[line, point] : lines) {
        EXPECT_EQ(SupOS_ProcessPLine(IcnvRoot, line, 1, 1), point == 1 ? 0 : 1);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessPLine"), point) << line;
    }
    const std::pair<const char *, u32> widths[] = {{"1 1 1", 1}, {"0 1 1", 2}, {"1 9 1", 3}, {"1 1 9", 4}};
    for (const auto &[line, point] : widths) {
        EXPECT_EQ(SupOS_ProcessELine(IcnvRoot, line, 1), point == 1 ? 0 : 1);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessELine"), point) << line;
    }
}

// The file may grow between its two readings: a line that no node was counted for is bad.
TEST(SupOS_ProcessCCSIDLine, NeverTakesMoreNodesThanWereCounted)
{
    readText(localLine);
    Ring_TraceOn("SUPOS=5");
    i32 found = 1;
    EXPECT_EQ(SupOS_ProcessCCSIDLine(IcnvRoot, "99 1 0 1 1 1 0 X", 2, "QMX-850", &found), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessCCSIDLine"), 3u);
    EXPECT_EQ(SupOS_ProcessCCSIDLine(IcnvRoot, "850 1 0 1 1 1 0 X", 2, "QMX-850", &found), 0);
    EXPECT_EQ(SupOS_ProcessCCSIDLine(IcnvRoot, "850 1 0 1 9 1 0 X", 2, "QMX-850", &found), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessCCSIDLine"), 2u);
}

TEST(SupOS_IcnvInsertNode, GoesLeftBelowAndRightAbove)
{
    IcnvNode pool[4] = {};
    IcnvNode *free = pool;
    IcnvNode *root = nullptr;
    for (const i32 key : {50, 30, 70, 50}) {
        const IcnvNodeData data = {key, static_cast<u32>(key), 1, 2, 3, 1, 4};
        SupOS_IcnvInsertNode(&root, &data, &free);
    }
    EXPECT_EQ(free, pool + 3) << "an equal key is dropped";
    EXPECT_EQ(root, pool);
    EXPECT_EQ(root->left, pool + 1);
    EXPECT_EQ(root->right, pool + 2);
    EXPECT_EQ(SupOS_IcnvFindNode(root, 70), pool + 2);
    EXPECT_EQ(SupOS_IcnvFindNode(root, 71), nullptr);
    EXPECT_EQ(SupOS_IcnvFindNode(nullptr, 1), nullptr);
    EXPECT_EQ(pool[2].base, 70u);
    EXPECT_EQ(pool[2].index, 4u);
}

TEST(SupOS_IcnvFreeNode, ReleasesChildrenOfTheirOwn)
{
    Ring_TraceOn("SUPOS=5");
    IcnvNode root = {};
    for (IcnvNode **link : {&root.left, &root.right}) {
        void *block = nullptr;
        ASSERT_EQ(SupOS_AllocateRE(sizeof(IcnvNode), "ERZ58TST", &block), ERZ_OK);
        *link = static_cast<IcnvNode *>(block);
    }
    void *block = nullptr;
    ASSERT_EQ(SupOS_AllocateRE(sizeof(IcnvNode), "ERZ58TST", &block), ERZ_OK);
    root.left->right = static_cast<IcnvNode *>(block);
    Ring_Clear();
    SupOS_IcnvFreeNode(&root); // a leak checker sees what it leaves
    EXPECT_EQ(Ring_Count("SupOS_DeallocateRE"), 6u) << "three entries and three exits";
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvFreeNode"), 1u);
}

// ---- endings

TEST(SupOS_IcnvInitDeathTest, EndsWithoutTheFile)
{
    makeRoot(localLine);
    std::filesystem::remove(cataloguePath());
    EXPECT_EXIT(SupOS_IcnvInit(), testing::ExitedWithCode(99),
                "ERZ058403E/0141: Cannot open the code-set catalogue '.*etc.ccsid.tbl'; the process is ending");
}

TEST(SupOS_IcnvInitDeathTest, EndsWithAFileThatCannotBeRead)
{
    makeRoot(localLine);
    std::filesystem::remove(cataloguePath());
    std::filesystem::create_symlink(cataloguePath(), cataloguePath()); // unreadable for root too
    EXPECT_EXIT(SupOS_IcnvInit(), testing::ExitedWithCode(99), "ERZ058403E/0141");
}

TEST(SupOS_IcnvInitDeathTest, EndsWithoutTheLocalCodeSet)
{
    makeRoot("37 37 0 37 1 1 0 QMX-037\n850 850 0 850 1 2 1 QMX-0850\n");
    EXPECT_EXIT(SupOS_IcnvInit(), testing::ExitedWithCode(99),
                "ERZ058236E/0149: The local code set 'QMX-850' is not in the code-set catalogue '.*'; the process");
    makeRoot("");
    EXPECT_EXIT(SupOS_IcnvInit(), testing::ExitedWithCode(99), "ERZ058236E/0149");
    makeRoot("850 850 0 850 1 2 1\n");
    EXPECT_EXIT(SupOS_IcnvInit(), testing::ExitedWithCode(99), "ERZ058236E/0149");
}

// Cut at every length: the reading comes to an end of its own each time, and only a catalogue with its local set lasts.
TEST(SupOS_IcnvInit, TakesAFileCutAnywhere)
{
    const std::string whole =
        std::string(localLine) + "943 943 941 897 3 2 2 QMX-943\n##P\n2 2 81 9F E0 FC\n##EUC\n1 2 1 2\n";
    for (size_t length = sizeof localLine - 1; length <= whole.size(); ++length) {
        readText(whole.substr(0, length));
        EXPECT_EQ(IcnvRoot->localCcsid, 850u) << length;
    }
}

TEST(SupOS_IcnvInitDeathTest, EndsWithoutMemory)
{
    NO_MEMORY_SKIP();
    makeRoot(localLine + std::string("99 1 0 1 1 1 0 X\n98 1 0 1 1 1 0 X\n97 1 0 1 1 1 0 X\n96 1 0 1 1 1 0 X\n"));
    const std::pair<size_t, const char *> sizes[] = {{sizeof(IcnvCatalogue), "ERZ058401E/0140"},
                                                     {5 * sizeof(IcnvNode), "ERZ058401E/0142"},
                                                     {ICNV_LEAD_ROWS * sizeof(IcnvLeadRanges), "ERZ058401E/0146"},
                                                     {ICNV_EUC_ROWS * sizeof(IcnvEucWidths), "ERZ058401E/0147"}};
    for (const auto &[size, text] : sizes) {
        EXPECT_EXIT(
            {
                FailingMalloc_Size = size;
                SupOS_IcnvInit();
            },
            testing::ExitedWithCode(10), std::string(text) + ": Not enough memory for the code-set catalogue");
    }
}
