// Edges of the routes that no delivered table or catalogue leads to: rows and tables that are missing, handles that stand
// for something else, and the four-byte layout of GB18030. Each answer is told here, and is the reference's as well.

#include <gtest/gtest.h>

#include "icnv_case.h"

using namespace std::string_literals;

namespace
{

Case_Bytes bytes(const std::string &Text)
{
    return Case_Bytes(Text.begin(), Text.end());
}

// One call in each way, all with the same answer.
Case_Answer run(const Case_Setup &Setup, const std::string &Source, size_t Room)
{
    const Case_Bytes source = bytes(Source);
    const Case_Bytes target(Room, 0xEE);
    Case_Answer answer;
    for (const Case_Way way : {Case_Plain, Case_Quick, Case_Straight}) {
        answer = Case_Run(Setup, source, target, 3, 5, way);
        EXPECT_EQ(Case_Compare(Setup, source, target, answer), "") << way;
    }
    return answer;
}

testing::AssertionResult isAnswer(const Case_Answer &Answer, i32 Code, size_t Consumed, const std::string &Written)
{
    const ptrdiff_t count = static_cast<ptrdiff_t>(Answer.Written);
    const std::string written(Answer.Target.begin(), Answer.Target.begin() + count);
    if (Answer.Code == Code && Answer.SourceMoved == Consumed && written == Written) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "code " << Answer.Code << ", " << Answer.SourceMoved
                                       << " bytes consumed, wrote " << testing::PrintToString(written);
}

void useUnicodeRoute(Case_Setup &Setup, u32 FromKind, u32 From, u32 ToKind, u32 To, u32 Table1)
{
    Setup.Descriptor.fromKind = FromKind;
    Setup.Descriptor.fromEncoding = From;
    Setup.Descriptor.toKind = ToKind;
    Setup.Descriptor.toEncoding = To;
    Setup.Descriptor.table1 = Table1;
    Setup.Use(3);
}

} // namespace

// Row 0 is built in: one range, all bytes.
TEST(IcnvEdges, EveryByteIsALeadByteOfRow0)
{
    Case_Setup setup;
    setup.Lead[0] = {1, {{0, 0xFF}, {0, 0}, {0, 0}}};
    setup.Descriptor.mode = ICNV_TO_HOST + ICNV_FROM_PC;
    setup.Descriptor.table1 = setup.Descriptor.table2 = ICNV_TBL_SAME;
    setup.Use(0);
    EXPECT_TRUE(isAnswer(run(setup, "ABCDEF", 64), ICNV_RC_OK, 6,
                         "\x0E"
                         "ABCDEF\x0F"));
    EXPECT_TRUE(isAnswer(run(setup, "ABC", 64), ICNV_RC_BADSRC, 2,
                         "\x0E"
                         "AB\x0F"));
    const std::string run100(100, 'x');
    EXPECT_TRUE(isAnswer(run(setup, run100, 200), ICNV_RC_OK, 100, "\x0E" + run100 + "\x0F"));
    EXPECT_TRUE(isAnswer(run(setup, "ABCD", 5), ICNV_RC_FULL, 2,
                         "\x0E"
                         "AB\x0F\0"s));
}

TEST(IcnvEdges, AHostNewLineNeedsATable)
{
    Case_Setup setup;
    setup.Descriptor.mode = ICNV_TO_PC + ICNV_FROM_HOST;
    setup.Descriptor.table1 = ICNV_TBL_SAME;
    setup.Data[0] = Case_Bytes(256, 'n');
    setup.Data[0][0x25] = 0x0A;
    setup.Use(1);
    EXPECT_TRUE(isAnswer(run(setup, "\x15\x25", 64), ICNV_RC_OK, 2, "\x15\x25"));
    setup.Descriptor.table1 = 1;
    setup.Use(1);
    EXPECT_TRUE(isAnswer(run(setup, "\x15\x25\x40", 64), ICNV_RC_OK, 3, "\x0A\x0An"));
    setup.Descriptor.mode = ICNV_TO_HOST + ICNV_FROM_PC;
    setup.Use(1);
    EXPECT_TRUE(isAnswer(run(setup, "\x15\x25", 64), ICNV_RC_OK, 2, "n\x0A")) << "only of a host source";
}

// The row before the first one: there is none, and it counts as one of no code sets.
TEST(IcnvEdges, AnEucSetWithoutARow)
{
    Case_Setup setup;
    useUnicodeRoute(setup, 3, ICNV_EUC, 1, ICNV_UCS2, 0);
    setup.Descriptor.index = 0;
    setup.Use(3);
    EXPECT_TRUE(isAnswer(run(setup, "AB", 64), ICNV_RC_OK, 2, "\0\0\0\0"s));
    EXPECT_TRUE(isAnswer(run(setup, "A\xA4\xA2", 64), ICNV_RC_BADSRC, 1, "\0\0"s));
    EXPECT_TRUE(isAnswer(run(setup, "A\x8E\xA2", 64), ICNV_RC_BADSRC, 1, "\0\0"s));
    EXPECT_TRUE(isAnswer(run(setup, "A\x8F\xA2", 64), ICNV_RC_BADSRC, 1, "\0\0"s));
}

// Widths that no character has: the source moves all the same.
TEST(IcnvEdges, AnEucWidthOutOfRange)
{
    Case_Setup setup;
    setup.Widths[0] = {4, {1, 2, 1, 5}};
    useUnicodeRoute(setup, 3, ICNV_EUC, 1, ICNV_UCS2, 0);
    setup.Descriptor.index = 1;
    setup.Use(3);
    EXPECT_TRUE(isAnswer(run(setup,
                             "\x8F"
                             "abcdefg",
                             64),
                         ICNV_RC_BADSRC, 6, ""));
    EXPECT_TRUE(isAnswer(run(setup,
                             "\x8F"
                             "abcd",
                             64),
                         ICNV_RC_BADSRC, 0, ""));
    setup.Widths[0].widths[3] = 3;
    setup.Use(3);
    EXPECT_TRUE(isAnswer(run(setup,
                             "\x8F"
                             "abc",
                             64),
                         ICNV_RC_OK, 4, "\0\0"s));
}

// The handle of equal sets means nothing on this route: no such table, and so nothing is looked up.
TEST(IcnvEdges, TheHandleOfEqualSetsOnTheUnicodeRoute)
{
    Case_Setup setup;
    setup.Data[0] = Case_Bytes(512, 'x');
    useUnicodeRoute(setup, 1, ICNV_HOST, 1, ICNV_UCS2, ICNV_TBL_SAME);
    EXPECT_TRUE(isAnswer(run(setup, "\xC1\xC2", 64), ICNV_RC_OK, 2, "\0\0\0\0"s));
}

// The third record is that of the handle which the source's kind happens to be.
TEST(IcnvEdges, FourByteCodesGoThroughTheThirdRecord)
{
    Case_Setup setup;
    setup.Data[0] = Case_Bytes(512);
    for (size_t i = 0; i < 256; ++i) setup.Data[0][2 * i + 1] = static_cast<u8>(i);
    Case_Bytes &quad = setup.Data[2];
    quad = Case_Bytes(5120 + 64);
    quad[0x81] = 1;
    const auto put = [&quad](u32 block, u8 byte, u8 value) { quad[1024 * (block + 1) + byte * 4u + 3] = value; };
    put(0, 0x81, 16);
    put(1, 0x30, 8);
    put(2, 0x81, 4);
    put(3, 0x39, 2);
    quad[5120 + 30] = 0x4E;
    quad[5120 + 31] = 0x02;
    useUnicodeRoute(setup, 3, ICNV_GB18030, 1, ICNV_UCS2, 1);
    EXPECT_TRUE(isAnswer(run(setup, "A\x81\x30\x81\x39\x82\x30\x81\x39", 64), ICNV_RC_OK, 9, "A\0\x02\x4E\xFE\xFE"s));
    setup.Descriptor.toEncoding = ICNV_UTF8;
    setup.Use(3);
    EXPECT_TRUE(isAnswer(run(setup, "\x82\x30\x81\x39", 64), ICNV_RC_OK, 4, "\xEF\xBB\xBE"));
    setup.Descriptor.toEncoding = ICNV_HOST;
    setup.Use(3);
    EXPECT_TRUE(isAnswer(run(setup, "\x82\x30\x81\x39", 64), ICNV_RC_OK, 4, "\x0E\xFE\xFE\x0F"));
    EXPECT_TRUE(isAnswer(run(setup, "\x81\x20", 64), ICNV_RC_OK, 2, "\x3F\x20"));
    EXPECT_TRUE(isAnswer(run(setup, "\x81\x30\x81\x20", 64), ICNV_RC_OK, 4, "\x3F\x30\x3F\x20"))
        << "read again behind the lead byte";
}

TEST(IcnvEdges, AHostRunMayEndWithTheSourceOnTheWayToGb18030)
{
    Case_Setup setup;
    useUnicodeRoute(setup, 3, ICNV_HOST, 3, ICNV_GB18030, 0);
    EXPECT_TRUE(isAnswer(run(setup, "\x0E\x43\x81", 64), ICNV_RC_OK, 3, "\0"s));
    EXPECT_TRUE(isAnswer(run(setup, "\x0E\x43\x81\x43", 64), ICNV_RC_BADSRC, 3, "\0"s)) << "but not inside a character";
}

TEST(IcnvEdges, AFullTargetOfUnitsIsPadded)
{
    Case_Setup setup;
    useUnicodeRoute(setup, 1, ICNV_UTF8, 1, ICNV_UCS2, 0);
    EXPECT_TRUE(isAnswer(run(setup, "abc", 5), ICNV_RC_FULL, 3, "a\0b\0\0"s));
    EXPECT_TRUE(isAnswer(run(setup, "abc", 4), ICNV_RC_FULL, 2, "a\0b\0"s))
        << "a target that is just full loses no character";
    EXPECT_TRUE(isAnswer(run(setup, "abc", 0), ICNV_RC_FULL, 0, ""));
    EXPECT_TRUE(isAnswer(run(setup, "ab", 4), ICNV_RC_OK, 2, "a\0b\0"s));
}
