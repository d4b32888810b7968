// The lookup formulas on files made by hand, and the builders read back.

#include <gtest/gtest.h>

#include "table_layouts.h"

namespace
{

TEST(TableLookup, S1AndS2TakeTheByteAsPlace)
{
    std::vector<u8> data(512);
    data[0x41] = 0xC1;
    EXPECT_EQ(Table_Lookup(data, TableLayout::S1, 0x41).value, 0xC1u);
    data[0x82] = 0x12;
    data[0x83] = 0x34;
    EXPECT_EQ(Table_Lookup(data, TableLayout::S2, 0x41).value, 0x1234u);
}

TEST(TableLookup, D2RowsAreFiveHundredAndTwelveBytes)
{
    std::vector<u8> data(512 * 3);
    data[0x81] = 2;
    data[1024 + 0x40 * 2] = 0x30;
    data[1024 + 0x40 * 2 + 1] = 0x01;
    EXPECT_EQ(Table_Lookup(data, TableLayout::D2, 0x8140).value, 0x3001u);
}

TEST(TableLookup, D1RowsAreTwoHundredAndFiftySixBytes)
{
    std::vector<u8> data(256 * 4);
    data[0x20] = 3;
    data[768 + 0xAC] = 0x9F;
    EXPECT_EQ(Table_Lookup(data, TableLayout::D1, 0x20AC).value, 0x9Fu);
}

TEST(TableLookup, E4RowsBeginBehindAnIndexOfOneRow)
{
    std::vector<u8> data(1024 * 3);
    data[0x4E] = 1;
    data[2048 + 4 * 0x01 + 2] = 0xB0;
    data[2048 + 4 * 0x01 + 3] = 0xEC;
    EXPECT_EQ(Table_Lookup(data, TableLayout::E4, 0x4E01).value, 0xB0ECu);
}

TEST(TableLookup, F4RowsBeginDirectlyBehindTheIndex)
{
    std::vector<u8> data(256 + 1024 * 2);
    data[0x81] = 1;
    data[256 + 1024 + 4 * 0x40 + 3] = 0xA1;
    EXPECT_EQ(Table_Lookup(data, TableLayout::F4, 0x8140).value, 0xA1u);
}

TEST(TableLookup, G4RowNumbersHaveTwoBytes)
{
    std::vector<u8> data(1024 * 301);
    data[0x4E * 2] = 0x01;
    data[0x4E * 2 + 1] = 0x2C; // row 300
    data[300 * 1024 + 4 * 0x02] = 0x81;
    data[300 * 1024 + 4 * 0x02 + 3] = 0x30;
    EXPECT_EQ(Table_Lookup(data, TableLayout::G4, 0x4E02).value, 0x81000030u);
}

TEST(TableLookup, T4WalksThreeRows)
{
    std::vector<u8> data(512 * 40);
    data[0x8E] = 1; // row A = 2
    data[2 * 512 + 2] = 1; // base 10h
    data[2 * 512 + 4 + 0xA2] = 0xFE; // row B = 16 - 2 = 14
    data[14 * 512 + 2] = 1;
    data[14 * 512 + 3] = 0xF; // base 31
    data[14 * 512 + 4 + 0xA1] = 3; // row C = 34
    data[34 * 512 + 2 * 0xA4] = 0x4E;
    data[34 * 512 + 2 * 0xA4 + 1] = 0x00;
    EXPECT_EQ(Table_Lookup(data, TableLayout::T4, 0x8EA2A1A4).value, 0x4E00u);
}

TEST(TableLookup, T4BaseDigitsAreBytes)
{
    std::vector<u8> data(512 * 0x1300);
    data[512] = 1; // base 1234h, a digit a byte
    data[513] = 2;
    data[514] = 3;
    data[515] = 4;
    data[0x1234 * 512 + 3] = 5;
    data[5 * 512 + 0x21 * 2] = 0xAB;
    EXPECT_EQ(Table_Lookup(data, TableLayout::T4, 0x21).value, 0xAB00u);
}

TEST(TableLookup, Q4AddsFourOffsets)
{
    std::vector<u8> data(5120 + 400);
    data[0x81] = 1;
    data[1024 + 4 * 0x81 + 3] = 100;
    data[2048 + 4 * 0x30 + 3] = 60;
    data[3072 + 4 * 0x82 + 3] = 20;
    data[4096 + 4 * 0x31 + 3] = 2;
    data[5120 + 182] = 0x00;
    data[5120 + 183] = 0x8A;
    EXPECT_EQ(Table_Lookup(data, TableLayout::Q4, 0x81308231).value, 0x008Au);
    EXPECT_EQ(Table_Lookup(data, TableLayout::Q4, 0x82308231).value, 0xFEFEu) << "first byte without a mark";
}

TEST(TableLookup, SaysWhenAFormulaLeavesTheFile)
{
    std::vector<u8> data(400);
    data[0x41] = 1;
    data[0x42] = 0x80; // row -128
    for (const TableLayout layout :
         {TableLayout::D1, TableLayout::D2, TableLayout::E4, TableLayout::F4, TableLayout::T4}) {
        EXPECT_FALSE(Table_Lookup(data, layout, layout == TableLayout::T4 ? 0x41000000 : 0x41FF).inside);
        EXPECT_FALSE(Table_Lookup(data, layout, layout == TableLayout::T4 ? 0x42000000 : 0x4200).inside);
    }
    EXPECT_FALSE(Table_Lookup({}, TableLayout::S1, 0).inside);
    EXPECT_FALSE(Table_Lookup({}, TableLayout::S2, 0).inside);
    EXPECT_FALSE(Table_Lookup({}, TableLayout::G4, 0).inside);
    EXPECT_FALSE(Table_Lookup({}, TableLayout::Q4, 0).inside);
}

bool anyByte(u32)
{
    return true;
}

// A few characters in every two-level layout.
TableDraft draftOf(TableLayout Layout)
{
    TableDraft draft{Layout, {}, 0x3F, 0x6F, true, anyByte};
    for (u32 c : {0x41u, 0x42u, 0x391u, 0x4E00u, 0x4E01u, 0x5F00u, 0xFF21u})
        draft.entries.push_back({c, c & 0x7F, static_cast<u16>(c)});
    return draft;
}

constexpr TableLayout rowLayouts[] = {TableLayout::D1, TableLayout::D2, TableLayout::E4, TableLayout::F4,
                                      TableLayout::G4};

TEST(TableBuild, ReadsBack)
{
    for (const TableLayout layout : rowLayouts) {
        SCOPED_TRACE(Table_LayoutName(layout));
        const TableDraft draft = draftOf(layout);
        const TableFile file = Table_Build(draft);
        EXPECT_EQ(Table_Check(draft, file), "");
        EXPECT_EQ(Table_Lookup(file.data, layout, 0x4E01).value, 0x01u);
        EXPECT_EQ(Table_Lookup(file.data, layout, 0x43).value, 0x3Fu);
        EXPECT_EQ(Table_Lookup(file.data, layout, 0x4E02).value, 0x6Fu);
        EXPECT_EQ(Table_Lookup(file.data, layout, 0xD800).value, 0x6Fu);
        EXPECT_EQ(file.rows, 6u);
    }
}

// The check of a build is worth something only when it sees damage.
TEST(TableBuild, CheckSeesEveryKindOfDamage)
{
    for (const TableLayout layout : rowLayouts) {
        SCOPED_TRACE(Table_LayoutName(layout));
        const TableDraft draft = draftOf(layout);
        const TableFile file = Table_Build(draft);
        TableFile damaged = file;
        damaged.data.pop_back();
        EXPECT_NE(Table_Check(draft, damaged).find("outside the file"), std::string::npos);

        damaged = file;
        damaged.data[layout == TableLayout::G4 ? 0x41 * 2 : 0x41] = 0x7F;
        EXPECT_NE(Table_Check(draft, damaged).find("outside the file"), std::string::npos);

        damaged = file;
        damaged.data[layout == TableLayout::G4 ? 0x4E * 2 + 1 : 0x4E] = damaged.data[0x20];
        EXPECT_NE(Table_Check(draft, damaged), "");

        for (const size_t fromEnd : {size_t{1}, damaged.data.size() / 4}) { // a substitute, a character or spare room
            damaged = file;
            damaged.data[damaged.data.size() - fromEnd] ^= 0x55;
            EXPECT_NE(Table_Check(draft, damaged), "") << fromEnd;
        }
    }
}

TEST(TableBuildTrie, ReadsBackCodesOfEveryLength)
{
    TableDraft draft{TableLayout::T4, {}, 0, 0xFFFD, false, {}};
    for (u32 code : {0x41u, 0x8EB1u, 0xB0A1u, 0xB0A2u, 0xF4FEu, 0x8FA2AFu, 0x8EA1A1A1u, 0x8EAFFEFEu})
        draft.entries.push_back({code, code & 0x7F7F, static_cast<u16>(code & 0x7F7F)});
    const TableFile file = Table_Build(draft);
    EXPECT_EQ(Table_Check(draft, file), "");
    EXPECT_EQ(Table_Lookup(file.data, TableLayout::T4, 0xB0A3).value, 0xFFFDu);
    EXPECT_EQ(Table_Lookup(file.data, TableLayout::T4, 0x12345678).value, 0xFFFDu);

    TableFile damaged = file;
    damaged.data.resize(damaged.data.size() - 512);
    EXPECT_NE(Table_Check(draft, damaged), "");
    damaged = file;
    damaged.data[0] = 0x80; // row -127
    EXPECT_NE(Table_Check(draft, damaged), "");
}

TEST(TableBuildRows, CountsFalseCharacters)
{
    TableDraft draft{TableLayout::D2, {}, 0x3F, 0x6F, true, anyByte};
    draft.entries.push_back({0x41, 0x41, 0x41});
    for (u32 first = 0x30; first < 0x30 + 126; ++first) // with 00 one row more than fit beside the unmapped one
        draft.entries.push_back({first << 8 | first, 0x4141, static_cast<u16>(first << 8 | first)});
    const TableFile file = Table_Build(draft);
    EXPECT_EQ(file.rows, 127u);
    EXPECT_TRUE(file.shared);
    EXPECT_TRUE(file.lost.empty());
    EXPECT_EQ(file.falseCodes, 2u);
    EXPECT_EQ(Table_Check(draft, file), "");

    TableFile miscounted = file;
    miscounted.falseCodes = 0;
    EXPECT_NE(Table_Check(draft, miscounted).find("false characters"), std::string::npos);
}

} // namespace
