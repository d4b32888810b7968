// The trace of the 3270 streams: component, classes, each way out, the two events.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "capture.h"
#include "ring_reader.h"
#include "terbm_int.h"
#include "terbm_support.h"

namespace
{

constexpr u16 terbm = INFTR_COMPONENT_TERBM;
constexpr u32 eventClass = INFTR_CLASS_EVENT;

Ref_Arguments toAscii()
{
    Ref_Arguments arguments;
    arguments.DoubleByteMode = 1;
    return arguments;
}

Ref_Converted failing(u32, const Ter_Bytes &, u16)
{
    return {77, {}};
}

// The newest record of a class that names the function.
Ring_Record newest(const std::string &function, u32 recordClass)
{
    Ring_Record found = {};
    for (const Ring_Record &record : Ring_Records())
        if (record.Function == function && record.Header.Class == recordClass) found = record;
    return found;
}

std::vector<Ring_Record> events()
{
    std::vector<Ring_Record> found;
    for (const Ring_Record &record : Ring_Records())
        if (record.Header.Class == eventClass && record.Header.Component == terbm) found.push_back(record);
    return found;
}

} // namespace

TEST(TerBM_Trace, NumbersTheWaysOutOfTranslate)
{
    Ring_TraceOn("TERBM=5");
    const auto point = [] { return Ring_LastExitPoint("TerBM_Translate"); };
    const Ter_Bytes stream = Ter_Hex("C1 C2");
    for (const u32 number : {1u, 2u, 3u}) {
        Ref_Arguments arguments = toAscii();
        arguments.FailedAllocation = number;
        Ter_Translate(stream, arguments);
        EXPECT_EQ(point(), number == 3 ? 6u : number);
    }
    Capture_Stderr([] { Ter_Translate(Ter_Hex("C1 11"), toAscii()); });
    EXPECT_EQ(point(), 3u);
    Ref_Arguments asIs = toAscii();
    asIs.Descriptor = -2;
    Ter_Translate(stream, asIs, failing);
    EXPECT_EQ(point(), 4u);
    Capture_Stderr([&] { Ter_Translate(stream, toAscii(), failing); });
    EXPECT_EQ(point(), 5u);
    Ter_Translate(stream, toAscii());
    EXPECT_EQ(point(), 7u);
}

TEST(TerBM_Trace, TellsTheCodeOfAFailure)
{
    Ring_TraceOn("TERBM=5");
    Capture_Stderr([] { Ter_Translate(Ter_Hex("C1 11"), toAscii()); });
    const Ring_Record exit = newest("TerBM_Translate", INFTR_CLASS_ERROR_EXIT);
    EXPECT_EQ(exit.Header.Component, terbm);
    EXPECT_EQ(exit.Code, 1u) << "the low 21 bits";
    EXPECT_EQ(newest("TerBM_SkipControl", INFTR_CLASS_ERROR_EXIT).Code, 1u);
    Ter_Bytes map = Ter_EmptyMap();
    Ter_Scan(Ter_Hex("31 40 1D 40"), &map, 1, 1);
    EXPECT_EQ(newest("TerBM_ParseTIOA", INFTR_CLASS_ERROR_EXIT).Code, 0x0Bu);
}

TEST(TerBM_Trace, NumbersTheWaysOutOfTheScan)
{
    Ring_TraceOn("TERBM=5");
    Ter_Bytes map = Ter_EmptyMap();
    Ter_Scan({}, &map, 0);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ParseTIOA"), 1u);
    Ter_Scan(Ter_Hex("31 40 41"), &map, 0);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ParseTIOA"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_EraseCommand"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ASCIICountToControl"), 3u) << "the end of the stream";
    Ter_Scan(Ter_Hex("31 40 41 1D 40"), &map, 0);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ASCIICountToControl"), 2u) << "an order";
    u16 offset = 3;
    TerBM_ASCIICountToControl(map.data(), 2, &offset, nullptr, 0);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ASCIICountToControl"), 1u) << "nothing is left";
    TerBM_ExamineScreen(nullptr, 1);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ExamineScreen"), 1u);
    TerBM_ExamineScreen(map.data(), 1);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ExamineScreen"), 2u);
    TerBM_ParseAttributePair(map.data(), 0);
    EXPECT_EQ(Ring_LastExitPoint("TerBM_ParseAttributePair"), 1u);
}

TEST(TerBM_Trace, UsesTheClassesOfItsKinds)
{
    Ring_TraceOn("TERBM=5");
    Ter_Bytes map = Ter_EmptyMap();
    map[1] = TERBM_MAP_DOUBLE_BYTE;
    Ref_Arguments arguments = toAscii();
    arguments.Map = &map;
    Ter_Translate(Ter_Hex("11 40 C1 29 01 42 F2 C1"), arguments);
    arguments.SourceIsEbcdic = 0;
    Ter_Translate(Ter_Hex("11 20 41 58"), arguments);
    Ter_Scan(Ter_Hex("31 40 10 01 43 38 41"), &map, 1);

    const std::vector<Ring_Record> records = Ring_Records();
    const auto classes = [&](const char *function) {
        std::set<u32> found;
        for (const Ring_Record &record : records)
            if (record.Function == function) found.insert(record.Header.Class);
        return found;
    };
    EXPECT_EQ(classes("TerBM_Translate"), std::set<u32>({0x80, 0x100})) << "the API entry";
    EXPECT_EQ(classes("TerBM_ParseTIOA"), std::set<u32>({0x40, 0x100}));
    EXPECT_EQ(classes("TerBM_SkipControl"), std::set<u32>({0x40, 0x100}));
    for (const char *function :
         {"TerBM_ConvertAttributePair", "TerBM_GetControl", "TerBM_GetControlASCII", "TerBM_GetControlEBCDIC"})
        EXPECT_EQ(classes(function), std::set<u32>({0x40, 0x400})) << function;
    for (const char *function :
         {"TerBM_ParseAttributePair", "TerBM_EraseCommand", "TerBM_ASCIICountToControl", "TerBM_ExamineScreen"})
        EXPECT_EQ(classes(function), std::set<u32>({0x40, 0x200})) << function;
    for (const Ring_Record &record : records)
        if (record.Header.Class != 0x40 && record.Header.Class != 0x80) {
            EXPECT_EQ(record.Header.Component, terbm) << record.Function;
        }
    EXPECT_EQ(newest("TerBM_ParseAttributePair", INFTR_CLASS_TYPED_EXIT).Value, 1u);
    EXPECT_EQ(newest("TerBM_ExamineScreen", INFTR_CLASS_TYPED_EXIT).Value, 1u);
}

TEST(TerBM_Trace, ShowsTheStreamBeforeAndAfter)
{
    Ring_TraceOn("TERBM=3");
    Ring_Clear();
    Ter_Translate(Ter_Hex("11 40 C1 C1"), toAscii());
    const std::vector<Ring_Record> found = events();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].Point, 24u);
    EXPECT_EQ(found[1].Point, 25u);
    const auto data = [](const Ring_Record &event) {
        return Ter_Bytes(event.Data.begin() + 4, event.Data.begin() + 8);
    };
    EXPECT_EQ(data(found[0]), Ter_Hex("11 40 C1 C1"));
    EXPECT_EQ(data(found[1]), Ter_Hex("11 20 41 C1"));
    EXPECT_EQ(found[0].Header.DataLength, 8);

    Ring_Clear();
    Capture_Stderr([] { Ter_Translate(Ter_Hex("C1 11"), toAscii()); });
    EXPECT_EQ(events().size(), 1u) << "a failure has no second one";
}

TEST(TerBM_Trace, LeavesNothingOnceItIsOff)
{
    Ring_TraceOn("TERBM=0");
    Ring_Clear();
    Ter_Translate(Ter_Hex("11 40 C1 C1"), toAscii());
    EXPECT_EQ(Ring_Records().size(), 0u);
    Ring_TraceOn("ALL=2");
    Ring_Clear();
    Ter_Translate(Ter_Hex("11 40 C1 C1"), toAscii());
    EXPECT_EQ(events().size(), 0u);
}
