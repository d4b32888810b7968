// The front ends: open, code and close by name, the wrap with its probe, and the calls with 16-bit lengths.

#include "capture.h"
#include "icnv_root.h"
#include "ring_reader.h"
#include "supos_convext_int.h"
#include "supos_icnv_engine.h"

namespace
{

// The wrap on a text: what stands in the target, and what it left of the room.
struct Wrapped {
    std::string Target;
    u32 Room;
    u32 Remaining;
    i32 Error;
};

Wrapped wrap(u32 Cd, const std::string &Source, u32 Room)
{
    Wrapped result = {std::string(Room + 8, '\xEE'), Room, 99, 99};
    const u32 length = static_cast<u32>(Source.size());
    result.Remaining = SupOS_IConvWrap(Cd, Source.data(), &length, result.Target.data(), &result.Room, &result.Error);
    EXPECT_EQ(length, Source.size()) << "the source's length is not written back";
    return result;
}

} // namespace

TEST(SupOS_IcnvOpen, ConvertsBetweenHostAndPC)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Text("QMX-850", "QMX-037", "\xC8\x85\x93\x93\x96"), "Hello");
    EXPECT_EQ(Icnv_Text("QMX-037", "QMX-850", "Hello"), "\xC8\x85\x93\x93\x96");
}

TEST(SupOS_IcnvOpen, RefusesUnknownNamesWithErrno22)
{
    Icnv_UseTables();
    errno = 5;
    EXPECT_EQ(SupOS_IcnvOpen("QMX-850", "qmx-037"), 0xFFFFFFFFu);
    EXPECT_EQ(errno, 22);
    errno = 5;
    EXPECT_EQ(SupOS_IcnvOpen("037", "QMX-850"), 0xFFFFFFFFu);
    EXPECT_EQ(errno, 22);
}

TEST(SupOS_IcnvOpen, LeavesErrnoAloneWhenItSucceeds)
{
    Icnv_UseTables();
    errno = 5;
    EXPECT_NE(SupOS_IcnvOpen("QMX-850", "QMX-037"), 0xFFFFFFFFu);
    EXPECT_EQ(errno, 5);
}

TEST(SupOS_IcnvClose, ReturnsZeroAndGivesTheDescriptorBack)
{
    Icnv_UseTables();
    const u32 first = Icnv_Open("QMX-850", "QMX-037");
    EXPECT_EQ(SupOS_IcnvClose(first), 0);
    EXPECT_EQ(Icnv_Open("QMX-500", "QMX-850"), first) << "the last one closed is the next one opened";
}

TEST(SupOS_IConvWrap, AddsNothingToASingleByteTarget)
{
    Icnv_UseTables();
    const Wrapped w = wrap(Icnv_Open("QMX-850", "QMX-037"), "\xC1\xC2", 5);
    EXPECT_EQ(w.Target.substr(0, 3), "AB\xEE");
    EXPECT_EQ(w.Room, 3u);
    EXPECT_EQ(w.Remaining, 0u);
    EXPECT_EQ(w.Error, 0);
}

TEST(SupOS_IConvWrap, LeavesAStrayByteBehindATwoByteTarget)
{
    Icnv_UseTables();
    const Wrapped w = wrap(Icnv_Open("UCS-2", "QMX-850"), "AB", 10);
    EXPECT_EQ(w.Target.substr(0, 6), std::string("A\0B\0P\xEE", 6)); // required: the first byte of the probe's "P"
    EXPECT_EQ(w.Room, 5u);
}

TEST(SupOS_IConvWrap, EndsTheProcessOnAFullTwoByteTarget)
{
    Icnv_UseTables();
    const u32 cd = Icnv_Open("UCS-2", "QMX-850");
    EXPECT_EXIT(wrap(cd, "AB", 4), testing::ExitedWithCode(99),
                "TimesRoundLoop < 3.*\n?(.*\n)*.*Stuck in iconv MBCS loop");
    EXPECT_EXIT(wrap(cd, "ABC", 4), testing::ExitedWithCode(99), "supos_icnv");
    EXPECT_EXIT(wrap(cd, "AB", 0), testing::ExitedWithCode(99), "Stuck in iconv MBCS loop");
}

TEST(SupOS_IConvWrap, TakesAnEmptySourceForAFullTarget)
{
    Icnv_UseTables();
    const Wrapped w = wrap(Icnv_Open("QMX-850", "QMX-037"), "", 5);
    EXPECT_EQ(w.Room, 0u); // required: an empty source reports the room as gone
    EXPECT_EQ(w.Target, std::string(13, '\xEE'));
}

TEST(SupOS_ExtdIConv, CountsWhatWasWritten)
{
    Icnv_UseTables();
    char target[8] = {};
    u16 written = 0;
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    EXPECT_EQ(SupOS_ExtdIConv(cd, "\xC1\xC2\xC3", 3, target, 8, &written), ERZ_OK);
    EXPECT_EQ(written, 3);
    EXPECT_STREQ(target, "ABC");
    EXPECT_EQ(SupOS_ExtdIConv(cd, "\xC1", 1, target, 8, nullptr), ERZ_OK);
}

TEST(SupOS_BinaryIConv, ConvertsPositionForPosition)
{
    Icnv_UseTables();
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    char target[5] = {'-', '-', '-', '-', 0};
    EXPECT_EQ(SupOS_BinaryIConv(cd, "\xC1\xC2\xC3\xC4", 4, target), ERZ_OK);
    EXPECT_STREQ(target, "ABCD");
    char untouched = '-';
    EXPECT_EQ(SupOS_BinaryIConv(cd, nullptr, 0, &untouched), ERZ_OK);
    EXPECT_EQ(untouched, '-');
}

TEST(SupOS_ExtdIConvInit, OpensBothDirections)
{
    Icnv_UseTables();
    Ring_TraceOn();
    u32 forward, backward;
    EXPECT_EQ(SupOS_ExtdIConvInit("QMX-037", "QMX-850", &forward, &backward), ERZ_OK);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ExtdIConvInit"), 3u);
    EXPECT_EQ(Icnv_Code(forward, "\xC1").Text, "A");
    EXPECT_EQ(Icnv_Code(backward, "A").Text, "\xC1");
}

TEST(SupOS_ExtdIConvInit, TellsWhichDirectionFailed)
{
    const std::string folder = Icnv_UseCatalogue("819 819 0 819 1 3 1 ISO8859-1\n37 37 0 37 1 1 0 QMX-037\n"
                                                 "850 850 0 850 1 2 1 QMX-850\n");
    Ring_TraceOn();
    u32 forward, backward;
    u32 code = 0;
    std::string told = Capture_Stderr([&] { code = SupOS_ExtdIConvInit("QMX-037", "QMX-850", &forward, &backward); });
    EXPECT_EQ(code, SupOS_ConvNoOpen);
    EXPECT_NE(told.find("ERZ058009E/0020"), std::string::npos) << told;
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ExtdIConvInit"), 1u);

    Scratch_WriteFile(folder + "/00250352.tbl", std::string(256, 'x'));
    told = Capture_Stderr([&] { code = SupOS_ExtdIConvInit("QMX-037", "QMX-850", &forward, &backward); });
    EXPECT_EQ(code, SupOS_ConvNoOpen);
    EXPECT_NE(told.find("ERZ058009E/0021"), std::string::npos) << told;
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ExtdIConvInit"), 2u);
    EXPECT_EQ(Icnv_Open("QMX-850", "QMX-037"), forward) << "the forward one was closed";
}

TEST(FrontEnds, TraceTheirExitPoints)
{
    Icnv_UseTables();
    Ring_TraceOn();
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvOpen"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvOpen"), 5u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConversion"), 6u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConv"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetTable"), 2u);

    EXPECT_EQ(Icnv_Code(cd, "\xC1").Text, "A");
    for (const char *name : {"SupOS_IcnvCode", "SupOS_CodeConv", "TranSBCS"})
        EXPECT_EQ(Ring_LastExitPoint(name), 1u) << name;
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvCode"), 3u);
    Icnv_Code(cd, "");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvCode"), 1u);

    const u32 second = Icnv_Open("QMX-850", "QMX-037");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetTable"), 1u) << "a table found once is shared";
    SupOS_IcnvOpen("nothing", "QMX-037");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvOpen"), 1u);
    SupOS_IcnvOpen("QMX-037", "nothing");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvOpen"), 2u);
    SupOS_IcnvClose(second);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvClose"), 3u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvClose"), 1u);

    const u32 wide = Icnv_Open("UCS-2", "QMX-037");
    Icnv_Code(wide, "\xC1");
    EXPECT_EQ(Ring_LastExitPoint("SBCStoUCS"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NewCodeConv"), 2u);
    const u32 mixed = Icnv_Open("QMX-943", "QMX-930");
    Icnv_Code(mixed, "\x0E\x43\x81\x0F");
    EXPECT_EQ(Ring_LastExitPoint("HostPCMM"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("XltDBCS"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_CodeConv"), 3u);
}
