// Sharing rows: the cheapest step first, and nothing lost while the rows suffice.

#include <gtest/gtest.h>

#include <algorithm>

#include "row_plan.h"

namespace
{

// Count cells of a first byte from a second byte on, each a character of its own there.
void add(std::vector<RowCell> &Cells, u32 First, u32 Second, u32 Count, u32 Character)
{
    for (u32 i = 0; i < Count; ++i)
        Cells.push_back({static_cast<u8>(First), static_cast<u8>(Second + i), static_cast<u16>(Character + i)});
}

TEST(RowsWeight, TellsKindsOfCharactersApart)
{
    EXPECT_EQ(Rows_Weight(0xDFFF), 100u);
    EXPECT_EQ(Rows_Weight(0xE000), 1u);
    EXPECT_EQ(Rows_Weight(0xF8FF), 1u);
    EXPECT_EQ(Rows_Weight(0xF900), 10u);
    EXPECT_EQ(Rows_Weight(0xFAFF), 10u);
    EXPECT_EQ(Rows_Weight(0xFB00), 100u);
    EXPECT_EQ(Rows_Weight(0x33FF), 100u);
    EXPECT_EQ(Rows_Weight(0x3400), 10u);
    EXPECT_EQ(Rows_Weight(0x9FFF), 10u);
    EXPECT_EQ(Rows_Weight(0xAC00), 100u);
    EXPECT_EQ(Rows_Weight(0x312F), 100u);
    EXPECT_EQ(Rows_Weight(0x3130), 10u);
    EXPECT_EQ(Rows_Weight(0x318F), 10u);
}

TEST(RowsPlan, KeepsEveryRowWhileTheySuffice)
{
    std::vector<RowCell> cells;
    for (u32 first = 0x41; first < 0x44; ++first) add(cells, first, 0x41, 5, 0x4E00);
    const RowPlan plan = Rows_Plan(cells, 4, false, true);
    EXPECT_EQ(plan.groups.size(), 3u);
    EXPECT_TRUE(plan.unmappedRow);
    EXPECT_TRUE(plan.lost.empty());
}

TEST(RowsPlan, NeedsNoUnmappedRowWhenAllFirstBytesHaveCharacters)
{
    std::vector<RowCell> cells;
    add(cells, 0x41, 0x41, 5, 0x4E00);
    EXPECT_FALSE(Rows_Plan(cells, 4, false, false).unmappedRow);
}

TEST(RowsPlan, AbsorbsTheUnmappedRowIntoTheSmallestOne)
{
    std::vector<RowCell> cells;
    add(cells, 0x41, 0x41, 50, 0x5000);
    add(cells, 0x42, 0x41, 3, 0x6000); // shares cells with 41, so folding costs characters
    const RowPlan plan = Rows_Plan(cells, 2, false, true);
    ASSERT_EQ(plan.groups.size(), 2u);
    EXPECT_FALSE(plan.unmappedRow);
    EXPECT_FALSE(plan.groups[0].isUnmapped);
    EXPECT_TRUE(plan.groups[1].isUnmapped);
    EXPECT_TRUE(plan.lost.empty());
}

TEST(RowsPlan, FoldsRowsWithoutCommonCells)
{
    std::vector<RowCell> cells;
    add(cells, 0x50, 0x00, 3, 0x5000);
    add(cells, 0x51, 0x10, 4, 0x5110);
    add(cells, 0x52, 0x00, 200, 0x5200);
    const RowPlan plan = Rows_Plan(cells, 3, true, true);
    ASSERT_EQ(plan.groups.size(), 2u);
    EXPECT_EQ(plan.groups[0].firsts, (std::vector<u8>{0x50, 0x51}));
    EXPECT_EQ(plan.groups[0].owner[0x00], 0x50);
    EXPECT_EQ(plan.groups[0].owner[0x10], 0x51);
    EXPECT_EQ(plan.groups[0].owner[0x20], ROW_FREE);
    EXPECT_TRUE(plan.lost.empty());
}

TEST(RowsPlan, LosesACellThatTwoFoldedRowsUse)
{
    std::vector<RowCell> cells;
    add(cells, 0x50, 0x00, 4, 0x5000);
    add(cells, 0x51, 0x03, 4, 0x5103);
    add(cells, 0x52, 0x00, 200, 0x5200);
    const RowPlan plan = Rows_Plan(cells, 3, true, true);
    ASSERT_EQ(plan.groups.size(), 2u);
    EXPECT_EQ(plan.groups[0].owner[0x03], ROW_DEAD);
    ASSERT_EQ(plan.lost.size(), 2u);
    EXPECT_EQ(plan.lost[0].character, 0x5003);
    EXPECT_EQ(plan.lost[1].character, 0x5103);
}

TEST(RowsPlan, FromUnicodeFoldsIdeographsOnly)
{
    std::vector<RowCell> cells;
    add(cells, 0xAC, 0x00, 1, 0xAC00); // syllables: must not fold, would cost least
    add(cells, 0xAD, 0x10, 1, 0xAD10);
    add(cells, 0x50, 0x00, 9, 0x5000);
    add(cells, 0x51, 0x10, 9, 0x5110);
    const RowPlan plan = Rows_Plan(cells, 4, true, true);
    ASSERT_EQ(plan.groups.size(), 3u);
    EXPECT_EQ(plan.groups[0].firsts, (std::vector<u8>{0x50, 0x51}));
}

TEST(RowsPlan, DropsPrivateUseBeforeText)
{
    std::vector<RowCell> cells;
    add(cells, 0x25, 0x00, 3, 0x2500);
    add(cells, 0xE0, 0x00, 200, 0xE000);
    add(cells, 0xE1, 0x00, 188, 0xE100);
    const RowPlan plan = Rows_Plan(cells, 3, true, true);
    EXPECT_EQ(plan.lost.size(), 188u);
    EXPECT_TRUE(std::all_of(plan.lost.begin(), plan.lost.end(), [](const RowCell &c) { return c.first == 0xE1; }));
}

TEST(RowsPlan, NeverDropsSingleBytes)
{
    std::vector<RowCell> cells;
    add(cells, 0x00, 0x41, 1, 0xE000); // worth least, but first byte 00
    add(cells, 0xE0, 0x00, 100, 0xE000);
    const RowPlan plan = Rows_Plan(cells, 2, true, true);
    ASSERT_EQ(plan.groups.size(), 1u);
    EXPECT_EQ(plan.groups[0].firsts, std::vector<u8>{0x00});
}

TEST(RowsPlan, ADropAsksForAnUnmappedRow)
{
    std::vector<RowCell> cells;
    for (u32 first = 0x20; first < 0x24; ++first) add(cells, first, 0, first, first << 8);
    const RowPlan plan = Rows_Plan(cells, 3, true, false);
    EXPECT_TRUE(plan.unmappedRow);
    EXPECT_EQ(plan.groups.size(), 2u); // 20 and 21 went: a row for what was dropped takes the place of one
    EXPECT_EQ(plan.lost.size(), 0x20u + 0x21u);
}

} // namespace
