// Single facts of the routes, through the exported calls: what a text with an edge comes out as.

#include "icnv_root.h"
#include "supos_icnv_engine.h"
#include "supos_istream_int.h"

using namespace std::string_literals;

TEST(TranSBCS, StopsAtAFullTargetWithoutPadding)
{
    Icnv_UseTables();
    const Icnv_Answer a = Icnv_Convert("QMX-850", "QMX-037", "\xC1\xC2\xC3", 2);
    EXPECT_EQ(a.Code, -63);
    EXPECT_EQ(a.Text, "AB");
    EXPECT_EQ(a.Consumed, 2u);
    EXPECT_EQ(a.Moved, 2u);
    EXPECT_EQ(a.Left, 0u);
}

TEST(TranSBCS, GivesNewLineTheEntryOfLineFeed)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("QMX-850", "QMX-037", "\x15\x25").Text, "\x0A\x0A");
    EXPECT_EQ(Icnv_Convert("UCS-2", "QMX-037", "\x15\x25").Text, "\x85\x00\x0A\x00"s) << "not on the other route";
}

TEST(TranSBCS, KnowsNoShifts)
{
    Icnv_UseTables();
    const Icnv_Answer a = Icnv_Convert("QMX-850", "QMX-037", "\x0E\xC1\x0F");
    EXPECT_EQ(a.Code, 0);
    EXPECT_EQ(a.Text, "\x0E\x41\x0F");
}

TEST(HostPCMM, ConvertsRunsAndDropsTheirShifts)
{
    Icnv_UseTables();
    const Icnv_Answer a = Icnv_Convert("QMX-943", "QMX-930", "\xC1\x0E\x43\x81\x43\x82\x0F\xC2");
    EXPECT_EQ(a.Code, 0);
    EXPECT_EQ(a.Text, "A\x83\x41\x83\x43"
                      "B");
}

TEST(HostPCMM, CarriesAnEmptyRunAsTwoCharacters)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("QMX-943", "QMX-930", "\x0E\x0F\xC1").Text, "\x0E\x0F\x41");
    const Icnv_Answer a = Icnv_Convert("QMX-943", "QMX-930", "\xC1\x0E\x0F", 2);
    EXPECT_EQ(a.Code, -63);
    EXPECT_EQ(a.Text, "A\x00"s);
    EXPECT_EQ(a.Consumed, 1u);
    EXPECT_EQ(a.Moved, 1u) << "padding does not move the pointer";
}

TEST(HostPCMM, RefusesARunThatDoesNotEnd)
{
    Icnv_UseTables();
    Icnv_Answer a = Icnv_Convert("QMX-943", "QMX-930", "\x0E\x43\x81");
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Text, "\x83\x41");
    EXPECT_EQ(a.Consumed, 3u);
    a = Icnv_Convert("QMX-943", "QMX-930", "\xC1\x0E");
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Text, "A");
    EXPECT_EQ(a.Consumed, 2u);
    a = Icnv_Convert("QMX-943", "QMX-930", "\x0E\x43\x0F\xC1");
    EXPECT_EQ(a.Code, -68) << "half a character before the shift-in";
    EXPECT_EQ(a.Consumed, 2u) << "the byte that ended the run is stepped over";
}

TEST(HostPCMM, KeepsShiftsForAHostTarget)
{
    Icnv_UseTables();
    Icnv_Answer a = Icnv_Convert("QMX-939", "QMX-930", "\xC1\x0E\x43\x81\x0F");
    EXPECT_EQ(a.Text, "\xC1\x0E\x43\x81\x0F");
    a = Icnv_Convert("QMX-939", "QMX-930", "\x0E\x43\x81\x43\x82\x0F", 5);
    EXPECT_EQ(a.Code, -63);
    EXPECT_EQ(a.Text, "\x0E\x43\x81\x0F\x00"s);
    EXPECT_EQ(a.Consumed, 4u) << "the first byte of the character that did not fit";
}

TEST(PCHostMM, AddsShifts)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("QMX-930", "QMX-943",
                           "A\x83\x41\x83\x43"
                           "B")
                  .Text,
              "\xC1\x0E\x43\x81\x43\x82\x0F\xC2");
    Icnv_Answer a = Icnv_Convert("QMX-930", "QMX-943", "A\x83");
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Text, "\xC1");
    EXPECT_EQ(a.Consumed, 1u) << "on the lead byte";
    a = Icnv_Convert("QMX-930", "QMX-943", "\x83\x41", 3);
    EXPECT_EQ(a.Code, -63);
    EXPECT_EQ(a.Text, "\x0E\x0F\x00"s) << "an empty run: never left shifted";
    EXPECT_EQ(a.Consumed, 0u);
}

TEST(HostPCMS, SubstitutesAndLetsTheShiftInThrough)
{
    Icnv_UseTables();
    Icnv_Answer a = Icnv_Convert("QMX-850", "QMX-930", "\xC1\x0E\x43\x81\x43\x82\x0F\xC2");
    EXPECT_EQ(a.Code, 0);
    EXPECT_EQ(a.Text, "A\x7F\x7F\x0F"
                      "B");
    a = Icnv_Convert("QMX-850", "QMX-930", "\x0E\x43\x81\x43\x82\x0F", 1);
    EXPECT_EQ(a.Code, -63);
    EXPECT_EQ(a.Text, "\x7F") << "not padded from inside a run";
    EXPECT_EQ(Icnv_Convert("QMX-037", "QMX-930", "\x0E\x43\x81\x0F").Text, "\x3F\x0F");
}

TEST(PCHostMS, SubstitutesEachLeadAndTrail)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("QMX-037", "QMX-943",
                           "A\x83\x41\x83\x43"
                           "B")
                  .Text,
              "\xC1\x3F\x3F\xC2");
    const Icnv_Answer a = Icnv_Convert("QMX-037", "QMX-943", "A\x83\x41", 2);
    EXPECT_EQ(a.Code, -63) << "the first of a run wants two bytes";
    EXPECT_EQ(a.Text, "\xC1\x00"s);
}

TEST(UnicodeRoute, RefusesHalfAUnit)
{
    Icnv_UseTables();
    const Icnv_Answer a = Icnv_Convert("UTF-8", "UCS-2", "A\0B"s);
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Text, "A");
    EXPECT_EQ(a.Consumed, 2u);
}

TEST(UnicodeRoute, TakesSurrogatesForUnits)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("UTF-8", "UCS-2", "\x3D\xD8\x00\xDE"s).Text, "\xED\xA0\xBD\xED\xB8\x80");
}

TEST(UnicodeRoute, ReadsUtf8ByItsLeadBytesAlone)
{
    Icnv_UseTables();
    Icnv_Answer a = Icnv_Convert("UCS-2", "UTF-8", "A\xF0\x9F\x98\x80");
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Consumed, 1u);
    EXPECT_EQ(a.Text, "A\0"s);
    EXPECT_EQ(Icnv_Convert("UCS-2", "UTF-8", "\xC0\x80").Text, "\0\0"s) << "overlong";
    EXPECT_EQ(Icnv_Convert("UCS-2", "UTF-8", "\xC3\x28").Text, "\xE8\0"s) << "28 for a continuation byte";
    a = Icnv_Convert("UCS-2", "UTF-8", "\x80");
    EXPECT_EQ(a.Code, -68);
    a = Icnv_Convert("UCS-2", "UTF-8", "A\xE2\x82");
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Consumed, 1u);
}

TEST(UnicodeRoute, PadsAFullTargetBehindTheLostCharacter)
{
    Icnv_UseTables();
    const Icnv_Answer a = Icnv_Convert("UTF-8", "UCS-2", "A\0\xAC\x20"s, 3);
    EXPECT_EQ(a.Code, -63);
    EXPECT_EQ(a.Text, "A\0\0"s);
    EXPECT_EQ(a.Consumed, 4u) << "behind the character that did not fit";
    EXPECT_EQ(a.Moved, 1u);
}

TEST(UnicodeRoute, ClosesRunsOfAHostTarget)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("QMX-930", "UCS-2", "\xA2\x30\xA4\x30").Text, "\x0E\x43\x81\x43\x82\x0F");
    const Icnv_Answer a = Icnv_Convert("QMX-930", "UCS-2", "\xA2\x30\xA4\x30", 5);
    EXPECT_EQ(a.Code, -63);
    EXPECT_EQ(a.Text, "\x0E\x43\x81\x0F\x00"s) << "no half character";
}

TEST(UnicodeRoute, ReadsShiftsOfAHostSource)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("UCS-2", "QMX-930", "\x0E\x43\x81\x0F\xC1").Text, "\xA2\x30"
                                                                             "A\0"s);
    EXPECT_EQ(Icnv_Convert("UCS-2", "QMX-930", "\xC1\x0E\x0F").Code, 0);
    EXPECT_EQ(Icnv_Convert("UCS-2", "QMX-930", "\xC1\x0E\x0F").Text.size(), 6u) << "each a character of its own";
    EXPECT_EQ(Icnv_Convert("UCS-2", "QMX-930", "\xC1\x0E").Text.size(), 4u);
    Icnv_Answer a = Icnv_Convert("UCS-2", "QMX-930", "\x0E\x43\x81");
    EXPECT_EQ(a.Code, -68) << "the source ends inside a run";
    EXPECT_EQ(a.Text, "\xA2\x30");
    EXPECT_EQ(a.Consumed, 3u);
    a = Icnv_Convert("UTF-8", "QMX-930", "\x0E\x43");
    EXPECT_EQ(a.Code, -68);
    a = Icnv_Convert("QMX-eucJP", "QMX-930", "\x0E\x43\x81\x43\x82\x0F", 2);
    EXPECT_EQ(a.Code, -68) << "strict, whatever came before";
}

TEST(UnicodeRoute, ReadsEucByItsRow)
{
    Icnv_UseTables();
    EXPECT_EQ(Icnv_Convert("UCS-2", "QMX-eucJP", "A\xA4\xA2\x8E\xB1\x8F\xB0\xA1").Text, "A\0\x42\x30\x71\xFF\x02\x4E"s);
    Icnv_Answer a = Icnv_Convert("UCS-2", "QMX-eucKR", "A\x8E\xA1");
    EXPECT_EQ(a.Code, -68) << "its row has two code sets";
    EXPECT_EQ(a.Consumed, 1u);
    a = Icnv_Convert("UTF-8", "QMX-eucJP", "\xA4");
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Consumed, 0u);
}

TEST(UnicodeRoute, LeavesNoRoomForAPairWithoutARoutine)
{
    Icnv_UseCatalogue("850 850 0 850 1 2 1 QMX-850\n954 954 1 2 3 6 1 QMX-eucJP\n970 970 3 4 3 6 3 QMX-eucKR\n");
    Scratch_WriteFile(std::string(SupPR_GetNames(SUPPR_NAME_ETC_DIR)) + "/03BA03CA.tbl", "x");
    const Icnv_Answer a = Icnv_Convert("QMX-eucKR", "QMX-eucJP", "A", 8);
    EXPECT_EQ(a.Code, -66);
    EXPECT_EQ(a.Consumed, 0u);
    EXPECT_EQ(a.Text, std::string(8, '\xEE'));
}

TEST(Gb18030, SubstitutesMalformedCharacters)
{
    Icnv_UseTables("etc-gb18030");
    Icnv_Answer a = Icnv_Convert("UCS-2", "GB18030",
                                 "A\x81\x20"
                                 "B");
    EXPECT_EQ(a.Code, 0);
    EXPECT_EQ(a.Text, "A\0\x1A\0 \0B\0"s) << "one byte forward, the rest is read again";
    a = Icnv_Convert("UTF-8", "GB18030", "A\x81");
    EXPECT_EQ(a.Code, -68);
    EXPECT_EQ(a.Consumed, 1u);
    EXPECT_EQ(Icnv_Convert("UTF-8", "GB18030", "AB\xB0\xA1").Text, "ABB")
        << "required: no table for two bytes, the last stays";
    EXPECT_EQ(Icnv_Convert("GB18030", "UTF-8", "A\xE5\x95\x8A\xC2\x80").Text, "A\xB0\xA1\x81\x30\x81\x30");
}

TEST(Gb18030, KnowsSupplementaryPlanes)
{
    const u8 four[] = {0x90, 0x30, 0x81, 0x30};
    u8 pair[4];
    GbToSurrogates(four, pair);
    EXPECT_EQ(memcmp(pair, "\xD8\x00\xDC\x00", 4), 0);
    const u8 last[] = {0xE3, 0x32, 0x9A, 0x35};
    GbToSurrogates(last, pair);
    EXPECT_EQ(memcmp(pair, "\xDB\xFF\xDF\xFF", 4), 0);
    u8 back[4];
    EXPECT_EQ(SurrogatesToGb(pair, back, 4), 0);
    EXPECT_EQ(memcmp(back, last, 4), 0);
    EXPECT_EQ(SurrogatesToGb(pair, back, 3), -63);
}
