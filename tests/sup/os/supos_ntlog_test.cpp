// Messages to the event log: the line's columns, type and id by severity, and what is not reported.

#include "supos_eventlog.h"

#include <dlfcn.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <ctime>

#include "capture.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "supos_inner.h"
#include "supos_ntlog_int.h"
#include "win32_time.h"

static constexpr u32 relayRunning = 0x0E83A680; // ERZ058416I, one text
static constexpr u32 relayTaken = 0x0E83D68E; // ERZ058419W, one text
static constexpr u32 relayFailed = 0x0E83E691; // ERZ058420E, text, integer, text
static constexpr u32 noSuchNumber = 0x0EBFF691;

static const char datePattern[] = "[0-9]{2}/[0-9]{2}/[0-9]{2}";
static const char timePattern[] = "[0-9]{2}:[0-9]{2}:[0-9]{2}";

static std::string lineOf(const char *Region, const char *Message, u32 Length, u32 Room, u32 *TextOffset)
{
    std::string out(Room, '~');
    *TextOffset = Room;
    const u32 length = SupOS_NTFormatMessage(Region, Message, Length, out.data(), TextOffset);
    EXPECT_LT(length, Room);
    EXPECT_EQ(strlen(out.c_str()), length);
    return out.substr(0, length);
}

static void expectLine(const std::string &Line, const std::string &Head, const std::string &Tail)
{
    EXPECT_THAT(Line, testing::MatchesRegex(Head + " " + datePattern + " " + timePattern + Tail));
}

// The platform's call passes through here, so that it can be made to fail.
static bool dateFails;
i32 GetDateFormatA(u32 Locale, u32 Flags, const SYSTEMTIME *Date, const char *Format, char *Out, i32 Size)
{
    if (dateFails) return 0;
    static auto *const next = reinterpret_cast<decltype(&GetDateFormatA)>(dlsym(RTLD_NEXT, "GetDateFormatA"));
    return next(Locale, Flags, Date, Format, Out, Size);
}

class SupOS_EventLog : public testing::Test
{
protected:
    void SetUp() override { Scratch_MakeRoot(); }
};

TEST(SupOS_NTFormatMessage, PutsColumnsBeforeTheText)
{
    u32 offset = 0;
    const std::string line = lineOf("REGION", "ERZ058416I/0005: text: more", 27, 256, &offset);
    expectLine(line, "ERZ058416I/0005", " REGION       : text: more");
    EXPECT_EQ(offset, 15u + 1 + 8 + 9 + 9 + 5);
    EXPECT_EQ(line.substr(offset), ": text: more");
}

TEST(SupOS_NTFormatMessage, CutsOrPadsTheRegion)
{
    u32 offset = 0;
    expectLine(lineOf("REGIONTOOLONG", "E: t", 4, 256, &offset), "E", " REGIONTO     : t");
    expectLine(lineOf("", "E: t", 4, 256, &offset), "E", "              : t");
    expectLine(lineOf(nullptr, "E: t", 4, 256, &offset), "E", " \\(null\\)       : t");
}

TEST(SupOS_NTFormatMessage, WithoutColonTakesAllAsIdentifier)
{
    u32 offset = 0;
    const std::string line = lineOf("R", "no colon here", 13, 256, &offset);
    expectLine(line, "no colon here", " R            ");
    EXPECT_EQ(offset, line.size());
    expectLine(lineOf("R", "no colon here: text", 8, 256, &offset), "no colon", " R            ");
}

TEST(SupOS_NTFormatMessage, StopsAtLength)
{
    u32 offset = 0;
    expectLine(lineOf("R", "E: text", 5, 256, &offset), "E", " R            : te");
    expectLine(lineOf("R", "", 0, 256, &offset), "", " R            ");
}

TEST(SupOS_NTFormatMessage, KeepsTwoBytesFree)
{
    const std::string message = "ERZ058416I: " + std::string(300, 'x');
    for (u32 room = 60; room < 100; ++room) {
        u32 offset = 0;
        const std::string line = lineOf("R", message.c_str(), 312, room, &offset);
        EXPECT_EQ(line.size(), room - 2);
        EXPECT_EQ(line.substr(offset), message.substr(10, room - 2 - offset));
    }
}

TEST(SupOS_NTFormatMessage, StaysInAnyRoom)
{
    const std::string message(64, 'm');
    for (u32 room = 1; room < 120; ++room) {
        const auto out = std::make_unique<char[]>(room); // of just that size: one byte too far is seen
        u32 offset = room;
        const u32 length = SupOS_NTFormatMessage("R", message.c_str(), 64, out.get(), &offset);
        EXPECT_LT(length, room);
        EXPECT_LE(offset, length);
        EXPECT_EQ(out[length], '\0');
    }
}

TEST(SupOS_NTFormatMessage, TellsDateAndTimeOfTheSystem)
{
    const time_t now = time(nullptr);
    u32 offset = 0;
    const std::string line = lineOf("R", "E: t", 4, 256, &offset);
    bool found = false;
    for (time_t second = now; second <= now + 2 && !found; ++second) {
        char text[64];
        strftime(text, sizeof text, "E %x %H:%M:%S R", localtime(&second));
        found = line.compare(0, strlen(text), text) == 0;
    }
    EXPECT_TRUE(found) << line;
}

TEST(SupOS_NTFormatMessage, LeavesEightBlanksWithoutADate)
{
    dateFails = true;
    u32 offset = 0;
    const std::string line = lineOf("R", "E: t", 4, 256, &offset);
    dateFails = false;
    EXPECT_THAT(line, testing::MatchesRegex("E          " + std::string(timePattern) + " R            : t"));
    EXPECT_EQ(offset, 1u + 1 + 8 + 9 + 9 + 5);
}

TEST(SupOS_NTFormatMessage, TraceNameEndsInABlank)
{
    Ring_TraceOn("SUPOS=4");
    u32 offset = 0;
    const u32 length = static_cast<u32>(lineOf("R", "E: t", 4, 256, &offset).size());
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NTFormatMessage "), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NTFormatMessage"), 0xFFFFFFFFu);
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType != 1414 || record.Function != "SupOS_NTFormatMessage ") continue;
        EXPECT_EQ(record.Value, length);
    }
}

// ---- SupOS_NTLog ----

TEST_F(SupOS_EventLog, TypeAndIdFollowTheSeverity)
{
    SupOS_NTLog("vela.REG1", 0, relayRunning, 5, "relay");
    const std::string information = Scratch_EventLog();
    EXPECT_NE(information.find("0x400015B5"), std::string::npos) << information;
    EXPECT_THAT(information, testing::ContainsRegex("ERZ058416I/0005 " + std::string(datePattern) + " " + timePattern +
                                                    " REG1         : Relay 'relay' is running\n"));

    Scratch_MakeRoot();
    SupOS_NTLog("vela.REG1", 0, relayTaken, 1, "relay");
    EXPECT_NE(Scratch_EventLog().find("0x800015B4"), std::string::npos) << Scratch_EventLog();

    Scratch_MakeRoot();
    SupOS_NTLog("vela.REG1", 0, relayFailed, 5, "accept", 10038, "relay");
    EXPECT_NE(Scratch_EventLog().find("0xC00015B3"), std::string::npos) << Scratch_EventLog();
    EXPECT_NE(Scratch_EventLog().find(": Operation accept failed with error 10038 in relay 'relay'"),
              std::string::npos);
}

TEST_F(SupOS_EventLog, TextWithoutIdentifierIsAnError)
{
    SupOS_NTLog("vela.REG1", 0, 0x2E841000, 0);
    EXPECT_NE(Scratch_EventLog().find("0xC00015B3"), std::string::npos) << Scratch_EventLog();
    EXPECT_NE(Scratch_EventLog().find("Permission denied "), std::string::npos);
}

TEST_F(SupOS_EventLog, RegionIsTheSecondWordOfTheSource)
{
    const struct {
        const char *Source;
        const char *Region;
    } cases[] = {{"vela.REG1", " REG1         :"},  {"VELA", " (null)       :"},
                 {"", " (null)       :"},           {"vela.REG1.x", " REG1         :"},
                 {"vela..REG1", " REG1         :"}, {".vela.REG1", " REG1         :"},
                 {nullptr, " (null)       :"},      {"vela.REGIONTOOLONG", " REGIONTO     :"}};
    for (const auto &one : cases) {
        Scratch_MakeRoot();
        SupOS_NTLog(one.Source, 0, relayRunning, 0, "relay");
        EXPECT_NE(Scratch_EventLog().find(one.Region), std::string::npos) << Scratch_EventLog();
    }
}

TEST_F(SupOS_EventLog, CopyGoesToStandardError)
{
    EXPECT_EQ(Capture_Stderr([] { SupOS_NTLog("vela.R", 0, relayRunning, 5, "relay"); }), "");
    const std::string copy = Capture_Stderr([] { SupOS_NTLog("vela.R", 1, relayRunning, 5, "relay"); });
    ASSERT_FALSE(copy.empty());
    EXPECT_EQ(copy.back(), '\n');
    expectLine(copy.substr(0, copy.size() - 1), "ERZ058416I/0005", " R            : Relay 'relay' is running");
}

TEST_F(SupOS_EventLog, CopyGoesOutWithoutAnEventLog)
{
    setenv("SORREL_EVENTLOG", (Scratch_Root() + "/no/such/folder/log").c_str(), 1);
    EXPECT_NE(Capture_Stderr([] { SupOS_NTLog("vela.R", 1, relayRunning, 5, "relay"); }), "");
}

TEST_F(SupOS_EventLog, FailedMessageIsNotReported)
{
    Ring_TraceOn("SUPOS=4");
    EXPECT_EQ(Capture_Stderr([] { SupOS_NTLog("vela.R", 1, noSuchNumber, 5); }), "");
    EXPECT_EQ(Scratch_EventLog(), "");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NTLog"), 1u);
    SupOS_NTLog("vela.R", 0, relayRunning, 5, "relay");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NTLog"), 2u);
    bool entered = false;
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.Class != INFTR_CLASS_ENTRY || record.Function != "SupOS_NTLog") continue;
        entered = entered || record.Text == "(ERZ058416I, 5)";
    }
    EXPECT_TRUE(entered);
}

TEST_F(SupOS_EventLog, LongMessageIsCutForTheEvent)
{
    const std::string name(16000, 'n');
    const std::string copy = Capture_Stderr([&] { SupOS_NTLog("vela.R", 1, relayRunning, 5, name.c_str()); });
    EXPECT_GT(copy.size(), 16000u);
    EXPECT_NE(Scratch_EventLog().find(name.substr(0, 8000)), std::string::npos);
    EXPECT_EQ(Scratch_EventLog().find(name.substr(0, 8192)), std::string::npos);
}

TEST_F(SupOS_EventLog, LongestLineHasRoomForItsEnd)
{
    const std::string name(16384 - 45, 'n'); // the message fills its buffer, the columns cut its end
    const std::string copy = Capture_Stderr([&] { SupOS_NTLog("vela.R", 1, relayRunning, 5, name.c_str()); });
    EXPECT_EQ(copy.size(), 16384u - 1);
    EXPECT_EQ(copy.back(), '\n');
}

// ---- SupOS_WriteNTEventLog ----

TEST_F(SupOS_EventLog, WriteTakesErrorsAlone)
{
    Ring_TraceOn("SUPOS=4");
    SupOS_WriteNTEventLog("ERZ058419W: warning", 1, relayTaken);
    SupOS_WriteNTEventLog("ERZ058416I: information", 1, relayRunning);
    SupOS_WriteNTEventLog("ERZ05842E: short by one", 1, relayFailed);
    SupOS_WriteNTEventLog("", 1, relayFailed);
    SupOS_WriteNTEventLog("ERZ058420", 1, relayFailed);
    EXPECT_EQ(Scratch_EventLog(), "");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_WriteNTEventLog"), 1u);

    SupOS_WriteNTEventLog("ERZ058420E/0001: error", 1, relayFailed);
    EXPECT_NE(Scratch_EventLog().find("0xC00015B3 ERZ058420E/0001: error"), std::string::npos) << Scratch_EventLog();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_WriteNTEventLog"), 2u);
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType != 1413 || record.Function != "SupOS_WriteNTEventLog") continue;
        EXPECT_EQ(record.Header.Class, INFTR_CLASS_API_ENTRY);
    }
}

TEST_F(SupOS_EventLog, WriteLosesTheEventWithoutALog)
{
    setenv("SORREL_EVENTLOG", (Scratch_Root() + "/no/such/folder/log").c_str(), 1);
    EXPECT_EQ(Capture_Both([] { SupOS_WriteNTEventLog("ERZ058420E: error", 1, relayFailed); }), "");
}
