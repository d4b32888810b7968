// Logging: streams and their order, the event log, calls within calls, service messages, diagnostics, build levels.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

#include "capture.h"
#include "catalog_hook.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "super_codes.h"
#include "super_int.h"
#include "super_logging.h"
#include "super_symptoms.h"
#include "suppr_names.h"

static constexpr u32 errorNumber = 0x0C409029; // ERZ049010E, no inserts
static constexpr u32 infoNumber = 0x0C408020; // ERZ049008I, one text
static constexpr u32 warningNumber = 0x0E40C05A; // ERZ057022W, text and integer

static const char errorLine[] = "ERZ049010E/0452: Not enough memory for the trace facility\n";
static const char infoLine[] = "ERZ049008I/0202: The trace buffer has been dumped to file 'f'\n";

class SupER_Logging : public testing::Test
{
protected:
    void SetUp() override
    {
        Scratch_MakeRoot();
        Hook_Reset();
    }
};

TEST_F(SupER_Logging, ConsoleIsStandardError)
{
    std::string err;
    const std::string out = Capture_Stdout(
        [&] { err = Capture_Stderr([] { EXPECT_EQ(SupER_Log(SUPER_CONSOLE, infoNumber, 202, "f"), 0u); }); });
    EXPECT_EQ(err, infoLine);
    EXPECT_EQ(out, "");
}

TEST_F(SupER_Logging, StandardOutputAlone)
{
    std::string err;
    const std::string out = Capture_Stdout(
        [&] { err = Capture_Stderr([] { EXPECT_EQ(SupER_Log(SUPER_STDOUT, infoNumber, 202, "f"), 0u); }); });
    EXPECT_EQ(out, infoLine);
    EXPECT_EQ(err, "");
}

TEST_F(SupER_Logging, StandardOutputIsNotFlushed)
{
    const std::string out = Capture_Stdout([] {
        setvbuf(stdout, nullptr, _IOFBF, 4096);
        SupER_Log(SUPER_STDOUT, infoNumber, 202, "f");
        EXPECT_EQ(lseek(1, 0, SEEK_END), 0);
    });
    EXPECT_EQ(out, infoLine);
}

// A stream that notes its name at each write.
static std::string writeOrder;
static FILE *notingStream(const char *Name)
{
    const cookie_io_functions_t calls = {nullptr,
                                         [](void *Cookie, const char *, size_t Size) {
                                             writeOrder += static_cast<const char *>(Cookie);
                                             return static_cast<ssize_t>(Size);
                                         },
                                         nullptr, nullptr};
    FILE *const stream = fopencookie(const_cast<char *>(Name), "w", calls);
    setvbuf(stream, nullptr, _IOLBF, 4096);
    return stream;
}

TEST_F(SupER_Logging, StandardOutputComesBeforeStandardError)
{
    FILE *const savedOut = stdout;
    FILE *const savedErr = stderr;
    stdout = notingStream("out ");
    stderr = notingStream("err ");
    SupER_Log(SUPER_CONSOLE | SUPER_STDOUT, infoNumber, 202, "f");
    fclose(stdout);
    fclose(stderr);
    stdout = savedOut;
    stderr = savedErr;
    EXPECT_EQ(writeOrder, "out err ");
}

TEST_F(SupER_Logging, StandardErrorIsFlushedAtOnce)
{
    const std::string err = Capture_Stderr([] {
        setvbuf(stderr, nullptr, _IOFBF, 4096);
        SupER_Log(SUPER_CONSOLE, infoNumber, 202, "f");
        EXPECT_EQ(lseek(2, 0, SEEK_END), static_cast<off_t>(strlen(infoLine)));
        setvbuf(stderr, nullptr, _IONBF, 0);
    });
    EXPECT_EQ(err, infoLine);
}

TEST_F(SupER_Logging, ErrorsGoToTheEventLogToo)
{
    EXPECT_EQ(Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, errorNumber, 452); }), errorLine);
    EXPECT_NE(Scratch_EventLog().find("ERZ049010E/0452: Not enough memory for the trace facility"), std::string::npos);
    EXPECT_NE(Scratch_EventLog().find("0xC00015B3"), std::string::npos);
}

TEST_F(SupER_Logging, WarningsAndInformationDoNot)
{
    EXPECT_EQ(Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, warningNumber, 5, "stderr", 28); }),
              "ERZ057022W/0005: A symptom record could not be flushed to stderr: error 28\n");
    Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, infoNumber, 202, "f"); });
    EXPECT_EQ(Scratch_EventLog(), "");
}

TEST_F(SupER_Logging, WithoutDestinationGoesToEventLogAndTrace)
{
    Ring_TraceOn("SUPER=4");
    const std::string both = Capture_Both([] { EXPECT_EQ(SupER_Log(0, errorNumber, 452), 0u); });
    EXPECT_EQ(both, "");
    EXPECT_NE(Scratch_EventLog().find("ERZ049010E/0452"), std::string::npos);
    EXPECT_EQ(Ring_LastExitPoint("SupER_Log"), 2u);
}

TEST_F(SupER_Logging, OtherBitsOfTheDestinationDoNothing)
{
    EXPECT_EQ(Capture_Both([] { SupER_Log(0xFFFC, infoNumber, 202, "f"); }), "");
}

TEST_F(SupER_Logging, LeavesEntryErrorAndExitRecords)
{
    Ring_TraceOn("SUPER=4");
    Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, errorNumber, 452); });
    bool entered = false, told = false;
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.Class == INFTR_CLASS_API_ENTRY && record.Function == "SupER_Log") {
            entered = true;
            EXPECT_EQ(record.Text, "(dest (1), #0x0c409029, msn (452))");
        }
        if (record.Header.Class == INFTR_CLASS_ERROR) {
            told = true;
            EXPECT_EQ(record.Header.Component, 49);
            EXPECT_EQ(record.Code, errorNumber);
            EXPECT_EQ(record.Value, 452u);
        }
    }
    EXPECT_TRUE(entered);
    EXPECT_TRUE(told);
    EXPECT_EQ(Ring_LastExitPoint("SupER_Log"), 2u);
}

TEST_F(SupER_Logging, ErrorRecordNeedsLevelOneOfItsOwnComponent)
{
    Ring_TraceOn("ALL=0,SUPER=1");
    Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, errorNumber, 452); });
    EXPECT_EQ(Ring_Records().size(), 1u);
    Ring_Clear();
    Ring_TraceOn("ALL=5,SUPER=0");
    Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, errorNumber, 452); });
    for (const Ring_Record &record : Ring_Records()) EXPECT_NE(record.Header.Class, INFTR_CLASS_ERROR);
}

TEST_F(SupER_Logging, WorksBeforeTheProcessIsSetUp)
{
    ASSERT_EQ(InfTR_TracePtr, nullptr);
    EXPECT_EQ(Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, errorNumber, 452); }), errorLine);
}

TEST_F(SupER_Logging, WithoutCatalogGivesTheRecoveryText)
{
    Hook_FailOpens(0xFFFFFFFF);
    onNewThread([] {
        EXPECT_EQ(Capture_Stderr([] { EXPECT_EQ(SupER_Log(SUPER_CONSOLE, errorNumber, 452), 0u); }),
                  "ERZ057001E/0452: Cannot access message catalog vela.cat for message ERZ049010E\n"
                  "Please check if NLSPATH or LANG variable is set\n");
    });
    EXPECT_NE(Scratch_EventLog().find("ERZ057001E/0452"), std::string::npos);
}

TEST_F(SupER_Logging, WithoutSerialNumberShowsNone)
{
    EXPECT_EQ(Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, errorNumber, 0); }),
              "ERZ049010E: Not enough memory for the trace facility\n");
}

TEST_F(SupER_Logging, SurvivesClosedStreams)
{
    const std::string text = Capture_Stderr([] {
        const int saved = dup(2);
        close(2);
        EXPECT_EQ(SupER_Log(SUPER_CONSOLE, errorNumber, 452), 0u);
        dup2(saved, 2);
        close(saved);
    });
    EXPECT_EQ(text, "");
    EXPECT_NE(Scratch_EventLog().find("ERZ049010E/0452"), std::string::npos);
}

TEST_F(SupER_Logging, TakesAMessageOf16Kilobytes)
{
    const std::string longest(16384 - 62, 'x');
    const std::string err = Capture_Stderr([&] { SupER_Log(SUPER_CONSOLE, infoNumber, 202, longest.c_str()); });
    EXPECT_EQ(err, "ERZ049008I/0202: The trace buffer has been dumped to file '" + longest + "'\n");
}

TEST_F(SupER_Logging, LongerMessageEndsTheProcess)
{
    // The console is taken by the call that ends: only the symptom shows.
    const std::string tooLong(16401, 'x');
    EXPECT_EXIT(SupER_Log(SUPER_CONSOLE, infoNumber, 202, tooLong.c_str()), testing::ExitedWithCode(0),
                "^SYMPTOMS = .* MS/057006 MSN/19 SRC/12 PRCS/0 .*Message buffer overflow\n\n$");
}

TEST_F(SupER_Logging, GtiEndsTheProcess)
{
    EXPECT_EXIT(
        SupER_Log(SUPER_CONSOLE, 0x2E841000, 1), testing::ExitedWithCode(99),
        "^ERZ057002E/0009: Program check: condition '\\(!SUPER_IS_GTI\\(MessageNumber\\)\\)' failed in function "
        "SupER_Log, line [0-9]+ of file sup\\\\er\\\\src\\\\super_log, component 57\n"
        "SYMPTOMS = TIME/\"[0-9/]+ [0-9:]+\\.[0-9]{9}\" REGION/ PROD/8831QX470 LVLS/620 MOD/\"@\\(#\\)super, "
        "[^\"]*\" FUNC/SupER_Log LINE/[0-9]+ MS/057006 MSN/9 SRC/11 PRCS/99 ABCODE/ SRVID/0 PID/[0-9]+ TID/0 "
        "PROC/\nSECONDARY SYMPTOMS = GTIs cannot be logged\n\n"
        "ERZ057006E/0009: The process is ending abnormally\n$");
}

// ---- calls within calls ----
// The words of the block are set as an outer call would leave them; a call made from within one then meets them.

struct Nested {
    u32 Console, Stdout, Other;
    u16 Destination;
    const char *Out, *Err;
    u32 Point;
};

TEST_F(SupER_Logging, CallsWithinCalls)
{
    static const Nested cases[] = {
        {0, 0, 0, 1, "", infoLine, 2}, {1, 0, 0, 1, "", "", 1},
        {0, 1, 1, 1, "", infoLine, 2}, {0, 0, 0, 2, infoLine, "", 2},
        {1, 0, 0, 2, infoLine, "", 2}, {0, 1, 0, 2, "", infoLine, 2},
        {1, 1, 0, 2, "", "", 7},       {0, 1, 0, 3, infoLine, infoLine, 2},
        {1, 0, 0, 3, "", "", 1},       {0, 0, 0, 0, "", "", 2},
        {0, 0, 1, 0, "", infoLine, 2}, {1, 0, 1, 0, "", "", 2},
        {1, 0, 0, 0, "", "", 2},       {2, 2, 2, 1, "", infoLine, 2},
    };
    Ring_TraceOn("SUPER=4");
    SupERData *const data = SupER_GetData();
    for (const Nested &one : cases) {
        SCOPED_TRACE(testing::Message() << one.Console << one.Stdout << one.Other << " to " << one.Destination);
        data->ConsoleBusy = one.Console;
        data->StdoutBusy = one.Stdout;
        data->OtherBusy = one.Other;
        std::string err;
        const std::string out = Capture_Stdout(
            [&] { err = Capture_Stderr([&] { EXPECT_EQ(SupER_Log(one.Destination, infoNumber, 202, "f"), 0u); }); });
        EXPECT_EQ(out, one.Out);
        EXPECT_EQ(err, one.Err);
        EXPECT_EQ(Ring_LastExitPoint("SupER_Log"), one.Point);
    }
    data->ConsoleBusy = data->StdoutBusy = data->OtherBusy = 0;
}

TEST_F(SupER_Logging, WordsThatACallOwnsAreFreeBehindIt)
{
    SupERData *const data = SupER_GetData();
    Capture_Both([] {
        for (const u16 destination : std::initializer_list<u16>{0, 1, 2, 3})
            SupER_Log(destination, infoNumber, 202, "f");
    });
    EXPECT_EQ(data->ConsoleBusy, 0u);
    EXPECT_EQ(data->StdoutBusy, 0u);
    EXPECT_EQ(data->OtherBusy, 0u);

    data->StdoutBusy = 1; // not owned by the call that falls back to the console
    Capture_Both([] { SupER_Log(SUPER_STDOUT, infoNumber, 202, "f"); });
    EXPECT_EQ(data->StdoutBusy, 1u);
    EXPECT_EQ(data->ConsoleBusy, 0u);
    data->StdoutBusy = 0;
}

TEST_F(SupER_Logging, BlockInTheMakingTakesNoCallWithoutStream)
{
    Ring_TraceOn("SUPER=4");
    SupERData *const data = SupER_GetData();
    tks_Mutex *const lock = data->OutputLock;
    data->OutputLock = nullptr;
    EXPECT_EQ(Capture_Both([] { SupER_Log(0, errorNumber, 452); }), "");
    EXPECT_EQ(Capture_Stderr([] { SupER_Log(SUPER_CONSOLE, infoNumber, 202, "f"); }), infoLine);
    data->OutputLock = lock;
    EXPECT_EQ(Scratch_EventLog(), "");
    EXPECT_EQ(Ring_LastExitPoint("SupER_Log"), 2u);
}

TEST_F(SupER_Logging, CallFromWithinACatalogFailureIsDropped)
{
    Ring_TraceOn("SUPER=4");
    const std::string err = Capture_Stderr([] {
        Hook_InNextGet([] { EXPECT_EQ(SupER_Log(SUPER_CONSOLE, errorNumber, 452), 0u); });
        SupER_Log(SUPER_CONSOLE, infoNumber, 202, "f");
    });
    EXPECT_EQ(err, infoLine);
    EXPECT_EQ(Scratch_EventLog(), "");
    std::vector<u32> points;
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType == 1414 && record.Function == "SupER_Log") points.push_back(record.Point);
    }
    EXPECT_EQ(points, (std::vector<u32>{1, 2}));
}

TEST_F(SupER_Logging, CallFromWithinStandardOutputGoesToTheConsole)
{
    std::string err;
    const std::string out = Capture_Stdout([&] {
        err = Capture_Stderr([] {
            Hook_InNextGet([] { SupER_Log(SUPER_STDOUT, errorNumber, 452); });
            SupER_Log(SUPER_STDOUT, infoNumber, 202, "f");
        });
    });
    EXPECT_EQ(out, infoLine);
    EXPECT_EQ(err, errorLine);
}

// ---- SupER_FormatDiag ----

TEST_F(SupER_Logging, FormatDiagFillsTheSecondaryText)
{
    Ring_TraceOn("SUPER=4");
    EXPECT_EQ(SupER_FormatDiag("Failed %s with %d", "it", 5), 0u);
    EXPECT_STREQ(SupER_GetData()->Symptom.Secondary, "Failed it with 5");
    EXPECT_EQ(Ring_LastExitPoint("SupER_FormatDiag"), 1u);
}

TEST_F(SupER_Logging, FormatDiagCutsALongText)
{
    const std::string text(3000, 'd');
    SupER_FormatDiag("%s", text.c_str());
    EXPECT_EQ(std::string(SupER_GetData()->Symptom.Secondary), text.substr(0, 511));
}

// ---- service messages ----

TEST_F(SupER_Logging, ServiceMessageHasItsColumns)
{
    Ring_TraceOn("SUPER=4");
    char process[32];
    snprintf(process, sizeof process, "%6d/%.4d ", getpid(), static_cast<i32>(tks_ThreadSelf()));
    std::string column = " " + std::string(process);
    column.resize(13, ' ');
    const std::string text = Capture_Stderr([] { SupER_ServiceLog("No trace data in %s\n", "RingBuffers"); });

    EXPECT_THAT(
        text.substr(0, 43),
        testing::MatchesRegex("SERVICE_MESSAGE [0-9]{2}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}000"));
    EXPECT_EQ(text.substr(43), " TESTREG" + column + "     : No trace data in RingBuffers\n\n");
    EXPECT_EQ(Ring_LastExitPoint("SupER_ServiceLog"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_ServiceFormatMessage"), 1u);
}

TEST_F(SupER_Logging, ServiceLogSafeDoesTheSame)
{
    Ring_TraceOn("SUPER=4");
    const std::string text = Capture_Stderr([] { SupER_ServiceLogSafe("%d%%", 5); });
    EXPECT_EQ(text.substr(text.find("     : ")), "     : 5%\n");
    EXPECT_EQ(Ring_LastExitPoint("SupER_ServiceLogSafe"), 1u);
    EXPECT_EQ(Ring_Count("SupER_ServiceLog"), 0u);
}

TEST_F(SupER_Logging, ServiceMessageTellsLocalTime)
{
    setenv("TZ", "XXX-11:30", 1);
    tzset();
    const time_t now = time(nullptr);
    const std::string text = Capture_Stderr([] { SupER_ServiceLog("x"); });
    char early[32], late[32];
    const time_t next = now + 1;
    strftime(early, sizeof early, "%m/%d/%y %H:%M:%S", localtime(&now));
    strftime(late, sizeof late, "%m/%d/%y %H:%M:%S", localtime(&next));
    EXPECT_TRUE(text.substr(16, 17) == early || text.substr(16, 17) == late) << text;
    unsetenv("TZ");
    tzset();
}

TEST_F(SupER_Logging, LongRegionAndLongTextStayInTheLine)
{
    Ring_TraceOn("SUPER=4");
    char *const region = SupPR_GetNames(SUPPR_NAME_REGION);
    const std::string saved = region;
    memset(region, 'r', 255);
    region[255] = 0;
    const std::string filling(2000, 't');
    const std::string text = Capture_Stderr([&] { SupER_ServiceLog("%s", filling.c_str()); });
    strcpy(region, saved.c_str());

    EXPECT_EQ(text.size(), 1031u);
    EXPECT_EQ(text.substr(43, 256), " " + std::string(255, 'r'));
    EXPECT_EQ(text.substr(43 + 256 + 13, 8), "     : t");
    EXPECT_EQ(text.back(), '\n');
}

// ---- build levels ----

TEST(SupER_ServiceLevel, TellsComponentTimeDateAndRelease)
{
    const struct {
        const char *Text;
        const char *Component;
    } levels[] = {{SupER_ServiceLevel11, "tersh"}, {SupER_ServiceLevel45, "regse"}, {SupER_ServiceLevel49, "inftr"},
                  {SupER_ServiceLevel56, "suppr"}, {SupER_ServiceLevel57, "super"}, {SupER_ServiceLevel58, "supos"},
                  {SupER_ServiceLevel62, "terbm"}};
    for (const auto &level : levels) {
        EXPECT_THAT(level.Text, testing::MatchesRegex("@\\(#\\)" + std::string(level.Component) +
                                                      ", [0-9]{2}:[0-9]{2}:[0-9]{2}, [A-Z][a-z]{2} [ 0-9][0-9] "
                                                      "[0-9]{4}, 620"));
    }
}
