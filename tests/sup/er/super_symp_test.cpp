// Symptom records: what is stored, the exact text, the dump decision, failing streams, and the abnormal end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "capture.h"
#include "catalog_hook.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "super_assert.h"
#include "super_int.h"
#include "suppr_names.h"

static constexpr u32 someMessage = 0x0C40701D; // ERZ049007E
static char someLevel[] = "@(#)super, 12:00:00, May 31 2026, 620";

class SupER_Symptom : public testing::Test
{
protected:
    void SetUp() override
    {
        Scratch_MakeRoot();
        Hook_Reset();
        SupER_ClearSymptom();
        for (const char *name : {"VELATRACE_DUMP_ON_SYMREC", "VELATRACE_DUMP_ON_ABEND", "VELATRACE_DUMP_ON_MSN"})
            unsetenv(name);
    }
};

static void store(i32 MSN, u32 Abcode, const char *Secondary)
{
    SupER_StoreSymptom("someFunction", someLevel, 10, someMessage, MSN, SUPER_SOURCE_ASSERTION, 99, Abcode, Secondary);
}

// The text with its time and process, which are tested here, taken out.
static std::string steady(std::string Text)
{
    const std::string time = Text.substr(Text.find("TIME/") + 5, 29);
    EXPECT_THAT(time, testing::MatchesRegex("\"[0-9]{2}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{9}\""));
    const std::string process = "PID/" + std::to_string(getpid()) + " ";
    Text.replace(Text.find(time), time.size(), "T");
    Text.replace(Text.find(process), process.size(), "PID/P ");
    return Text;
}

TEST_F(SupER_Symptom, TextIsExact)
{
    store(77, 0, "the reason");
    const std::string text = Capture_Stderr([] { SupER_FlushSymptom(); });
    EXPECT_EQ(steady(text),
              "SYMPTOMS = TIME/T REGION/ PROD/8831QX470 LVLS/620 MOD/\"@(#)super, 12:00:00, May 31 2026\" "
              "FUNC/someFunction LINE/10 MS/049007 MSN/77 SRC/11 PRCS/99 ABCODE/ SRVID/0 PID/P TID/0 "
              "PROC/\nSECONDARY SYMPTOMS = the reason\n\n");
}

TEST_F(SupER_Symptom, RegionIsThatOfTheProcess)
{
    Ring_TraceOn("ALL=0");
    store(1, 0, nullptr);
    EXPECT_NE(Capture_Stderr([] { SupER_FlushSymptom(); }).find(" REGION/TESTREG PROD/"), std::string::npos);
}

TEST_F(SupER_Symptom, FlushWithNothingStoredWritesNothing)
{
    EXPECT_EQ(Capture_Stderr([] { SupER_FlushSymptom(); }), "");
    store(1, 0, "once");
    Capture_Stderr([] { SupER_FlushSymptom(); });
    EXPECT_EQ(Capture_Stderr([] { SupER_FlushSymptom(); }), "");
}

TEST_F(SupER_Symptom, ClearForgets)
{
    store(1, 0, "gone");
    SupER_ClearSymptom();
    EXPECT_EQ(Capture_Stderr([] { SupER_FlushSymptom(); }), "");
}

TEST_F(SupER_Symptom, SecondStoreWritesTheFirst)
{
    store(1, 0, "first");
    const std::string text = Capture_Stderr([] { store(2, 0, "second"); });
    EXPECT_NE(text.find("MSN/1 "), std::string::npos);
    EXPECT_NE(text.find("SECONDARY SYMPTOMS = first\n"), std::string::npos);
    EXPECT_EQ(text.find("second"), std::string::npos);
    EXPECT_EQ(SupER_GetData()->Stored, 1u);
    EXPECT_NE(Capture_Stderr([] { SupER_FlushSymptom(); }).find("= second\n"), std::string::npos);
}

TEST_F(SupER_Symptom, WaitingSymptomLosesItsTextToALaterDiagnostic)
{
    store(1, 0, "first");
    SupER_FormatDiag("second");
    const std::string text = Capture_Stderr([] { store(2, 0, SUPER_SECONDARY_MARKER); });
    EXPECT_NE(text.find("MSN/1 "), std::string::npos);
    EXPECT_NE(text.find("SECONDARY SYMPTOMS = second\n"), std::string::npos);
}

TEST_F(SupER_Symptom, SecondaryHasThreeForms)
{
    SymptomRecord *const symptom = &SupER_GetData()->Symptom;
    SupER_FormatDiag("kept %d", 1);
    store(1, 0, "\xF1");
    EXPECT_STREQ(symptom->Secondary, "kept 1");
    SupER_ClearSymptom();
    store(1, 0, "\xF1 is a text");
    EXPECT_STREQ(symptom->Secondary, "\xF1 is a text");
    SupER_ClearSymptom();
    store(1, 0, SUPER_SECONDARY_MARKER); // shows what the field held before
    EXPECT_STREQ(symptom->Secondary, "\xF1 is a text");
    SupER_ClearSymptom();
    store(1, 0, nullptr);
    EXPECT_STREQ(symptom->Secondary, "");
}

TEST_F(SupER_Symptom, MarkerOnAFreshThreadShowsNothing)
{
    onNewThread([] {
        store(1, 0, SUPER_SECONDARY_MARKER);
        EXPECT_STREQ(SupER_GetData()->Symptom.Secondary, "");
    });
}

TEST_F(SupER_Symptom, FieldsAreCut)
{
    const std::string longText(1000, 'x');
    SupER_StoreSymptom(longText.c_str(), longText.c_str(), -1, 0xFFFFFFFF, -2, 12, -3, 0x41424344, longText.c_str());
    const SymptomRecord *const symptom = &SupER_GetData()->Symptom;
    EXPECT_EQ(std::string(symptom->Func), longText.substr(0, 30));
    EXPECT_EQ(std::string(symptom->Level), longText.substr(0, 32));
    EXPECT_EQ(std::string(symptom->Secondary), longText.substr(0, 512));
    EXPECT_EQ(symptom->Line, -1);
    EXPECT_EQ(symptom->MesgNumber, 0xFFFFFFFFu);
    EXPECT_EQ(symptom->MSN, -2);
    EXPECT_EQ(symptom->Source, 12);
    EXPECT_EQ(symptom->RetCode, -3);
    EXPECT_EQ(symptom->Abcode, 0x41424344u);
    EXPECT_EQ(symptom->ProcessId, getpid());
    EXPECT_EQ(symptom->ThreadId, 0);
    const std::string text = Capture_Stderr([] { SupER_FlushSymptom(); });
    EXPECT_NE(text.find(" LINE/-1 MS/1024023 MSN/-2 SRC/12 PRCS/-3 ABCODE/ SRVID/0 "), std::string::npos) << text;
}

TEST_F(SupER_Symptom, SerialNumberIsPrintedAsAShort)
{
    store(65536 + 5, 0, nullptr);
    EXPECT_NE(Capture_Stderr([] { SupER_FlushSymptom(); }).find(" MSN/5 "), std::string::npos);
    store(40000, 0, nullptr);
    EXPECT_NE(Capture_Stderr([] { SupER_FlushSymptom(); }).find(" MSN/-25536 "), std::string::npos);
}

TEST_F(SupER_Symptom, NullTextsCountAsEmpty)
{
    SupER_StoreSymptom(nullptr, nullptr, 0, 0, 0, 0, 0, 0, nullptr);
    EXPECT_NE(Capture_Stderr([] { SupER_FlushSymptom(); }).find(" MOD/\"\" FUNC/ LINE/0 MS/000000 MSN/0 SRC/0 "),
              std::string::npos);
}

TEST_F(SupER_Symptom, CallsAreTraced)
{
    Ring_TraceOn("SUPER=4");
    store(77, 5, nullptr);
    Capture_Stderr([] { SupER_FlushSymptom(); });
    SupER_ClearSymptom();
    bool entered = false;
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType != 1413 || record.Function != "SupER_StoreSymptom") continue;
        entered = true;
        EXPECT_EQ(record.Header.Class, INFTR_CLASS_API_ENTRY);
        EXPECT_EQ(record.Text, "(Func someFunction, Level @(#)super, 12:00:00, May 31 2026, 620, Line 10, MesgNumber "
                               "0x0c40701d, MSN 77, Source 11, RetCode 99, Abcode 5");
    }
    EXPECT_TRUE(entered);
    EXPECT_EQ(Ring_LastExitPoint("SupER_StoreSymptom"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_FlushSymptom"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_IFlushSymptom"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_ClearSymptom"), 1u);
}

TEST_F(SupER_Symptom, IFlushGivesTheBlockInATypedExit)
{
    Ring_TraceOn("SUPER=4");
    SupERData *const data = SupER_IFlushSymptom();
    EXPECT_EQ(data, SupER_GetData());
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType == 1414 && record.Function == "SupER_IFlushSymptom") {
            EXPECT_EQ(record.Header.Class, INFTR_CLASS_TYPED_EXIT);
            EXPECT_EQ(record.Value, static_cast<u32>(reinterpret_cast<uintptr_t>(data)));
        }
    }
}

// ---- the dump decision ----

// What storing writes; a dump tells its file there.
static std::string storeUnder(const char *Variable, const char *Value, i32 MSN, u32 Abcode = 0)
{
    setenv(Variable, Value, 1);
    const std::string text = Capture_Stderr([=] { store(MSN, Abcode, nullptr); });
    unsetenv(Variable);
    SupER_ClearSymptom();
    return text;
}

static void traceToRing()
{
    Ring_TraceOn("ALL=0,SUPER=4");
    char options[300];
    snprintf(options, sizeof options, "%s", Scratch_Root().c_str());
    strcpy(InfTR_MasterTraceArea.TraceDirectorySystem, options);
}

TEST_F(SupER_Symptom, DumpsForListedSerialNumbers)
{
    traceToRing();
    const std::string first = storeUnder("VELATRACE_DUMP_ON_MSN", "801,802", 802);
    EXPECT_NE(first.find("ERZ049008I/0202: "), std::string::npos) << first;
    EXPECT_NE(first.find(".000.veladmp"), std::string::npos) << first;
    const std::string second = storeUnder("VELATRACE_DUMP_ON_MSN", "801,802", 801);
    EXPECT_NE(second.find(".001.veladmp"), std::string::npos) << second;
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_MSN", "801,802", 803), "");
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_MSN", "", 0), "");
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_MSN", ",, -5x", -5), "");
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_MSN", "word", 0), "");
}

TEST_F(SupER_Symptom, DumpIsTakenBeforeAWaitingSymptomIsWritten)
{
    traceToRing();
    store(1, 0, "waiting");
    const std::string text = storeUnder("VELATRACE_DUMP_ON_SYMREC", "1", 2);
    EXPECT_LT(text.find("ERZ049008I"), text.find("SECONDARY SYMPTOMS = waiting"));
    EXPECT_NE(text.find("SECONDARY SYMPTOMS = waiting"), std::string::npos);
}

TEST_F(SupER_Symptom, DumpsForListedAbendCodes)
{
    traceToRing();
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_ABEND", "ABCD,UWXYZ", 1, 0x41424344), "");
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_ABEND", "ABCD,UWXYZ", 1, 0xD758595A), "");
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_ABEND", "ABCD", 1, 0x41C24344), ""); // the flag is no part of the name
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_ABEND", "ABCD,UWXYZ", 1, 0x5758595A), "");
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_ABEND", "ABCDE, ABCD,abcd", 1, 0x41424344), "");
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_ABEND", "", 1, 0), "");
}

TEST_F(SupER_Symptom, DumpsForEverySymptomEvenWithAnEmptyValue)
{
    traceToRing();
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_SYMREC", "1", 1), "");
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_SYMREC", "", 1), "");
}

TEST_F(SupER_Symptom, OneSymptomGivesOneDump)
{
    traceToRing();
    setenv("VELATRACE_DUMP_ON_SYMREC", "1", 1);
    const std::string text = storeUnder("VELATRACE_DUMP_ON_MSN", "5,5", 5);
    EXPECT_EQ(text.find("ERZ049008I"), text.rfind("ERZ049008I"));
    EXPECT_EQ(InfTR_GetNextDumpIndex(), 1);
}

TEST_F(SupER_Symptom, Only255CharactersOfAListCount)
{
    traceToRing();
    const std::string padding(252, ',');
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_MSN", (padding + "123").c_str(), 123), "");
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_MSN", (padding + "1234").c_str(), 123), "");
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_MSN", (padding + "1234").c_str(), 1234), "");
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_MSN", (padding + ",,,7").c_str(), 7), "");
}

TEST_F(SupER_Symptom, NoDumpWithAFlagOff)
{
    traceToRing();
    for (u32 *const flag : {&InfTR_MasterTraceArea.TraceFlagMaster, &InfTR_MasterTraceArea.TraceFlagSystem,
                            &InfTR_MasterTraceArea.TraceFlagBuffer}) {
        for (const u32 off : {0u, 2u}) {
            *flag = off;
            EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_SYMREC", "1", 1), "");
        }
        *flag = 1;
    }
    EXPECT_NE(storeUnder("VELATRACE_DUMP_ON_SYMREC", "1", 1), "");
}

TEST_F(SupER_Symptom, NoDumpBeforeTheProcessIsSetUp)
{
    ASSERT_EQ(InfTR_TracePtr, nullptr);
    EXPECT_EQ(storeUnder("VELATRACE_DUMP_ON_SYMREC", "1", 1), "");
}

// ---- failing streams ----

TEST_F(SupER_Symptom, FailedWriteIsLogged)
{
    // Standard error cannot take the symptom, nor the message about it: the event log would, but it is a warning.
    Ring_TraceOn("SUPER=1");
    Ring_Clear();
    store(1, 0, "lost");
    Capture_Stderr([] {
        const int saved = dup(2);
        close(2);
        SupER_FlushSymptom();
        dup2(saved, 2);
        close(saved);
    });
    const std::vector<Ring_Record> records = Ring_Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Code, 0x0E41006Au);
    EXPECT_EQ(records[0].Value, 36u);
    EXPECT_EQ(SupER_GetData()->Stored, 0u); // it counts as written
    EXPECT_EQ(Capture_Stderr([] { SupER_FlushSymptom(); }), "");
}

TEST_F(SupER_Symptom, FailedFlushIsLogged)
{
    Ring_TraceOn("SUPER=1");
    Ring_Clear();
    store(1, 0, "lost");
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    Capture_Stderr([=] {
        static char buffer[8192];
        setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
        const int saved = dup(2);
        dup2(full, 2);
        SupER_FlushSymptom();
        dup2(saved, 2);
        close(saved);
        setvbuf(stderr, nullptr, _IONBF, 0);
    });
    close(full);
    const std::vector<Ring_Record> records = Ring_Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Code, 0x0E40C05Au);
    EXPECT_EQ(records[0].Value, 5u);
    EXPECT_EQ(SupER_GetData()->Stored, 0u);
}

// A stream that refuses the first write and shows the rest, so that the message about it can be read.
static std::string shownText;
static u32 refusals;
static FILE *refusingStream(int Buffering)
{
    const cookie_io_functions_t calls = {nullptr,
                                         [](void *, const char *Text, size_t Size) -> ssize_t {
                                             if (refusals != 0) {
                                                 --refusals;
                                                 errno = EIO;
                                                 return 0;
                                             }
                                             shownText.append(Text, Size);
                                             return static_cast<ssize_t>(Size);
                                         },
                                         nullptr, nullptr};
    FILE *const stream = fopencookie(nullptr, "w", calls);
    setvbuf(stream, nullptr, Buffering, 4096);
    return stream;
}

static std::string flushThrough(int Buffering)
{
    store(1, 0, "lost");
    shownText.clear();
    refusals = 1;
    FILE *const saved = stderr;
    stderr = refusingStream(Buffering);
    SupER_FlushSymptom();
    fclose(stderr);
    stderr = saved;
    return shownText;
}

TEST_F(SupER_Symptom, FailedWriteTellsTheStreamAndTheError)
{
    EXPECT_NE(flushThrough(_IONBF).find("ERZ057026W/0036: A symptom record could not be written to stderr: error 5\n"),
              std::string::npos)
        << shownText;
}

TEST_F(SupER_Symptom, FailedFlushTellsTheStreamAndTheError)
{
    EXPECT_NE(flushThrough(_IOFBF).find("ERZ057022W/0005: A symptom record could not be flushed to stderr: error 5\n"),
              std::string::npos)
        << shownText;
}

// ---- the abnormal end ----

static u32 failsTraced()
{
    INFTR_FUNCTION(SUPOS, "failsTraced");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");
    SUPER_ASSERT_EXIT(SUPOS, 4, "(some == 5)", 140, "sup\\os\\nt_intel\\src\\supos_some", 1410, "Some %s is %d",
                      "thing", 6);
    INFTR_RETURN_CODE(5, ERZ_OK);
}

static void failsUntraced()
{
    SUPER_ASSERT_EXIT_UNTRACED(TERBM, "failsUntraced", "FALSE", 7, "ter\\bm\\src\\terbmsome", 3, "Plain");
}

static void printRecords()
{
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType == 1414)
            fprintf(stderr, "[%s left at %u with %u]\n", record.Function.c_str(), record.Point, record.Code);
    }
}

TEST_F(SupER_Symptom, AssertionRunsItsSequence)
{
    EXPECT_EXIT(
        failsTraced(), testing::ExitedWithCode(99),
        "^ERZ057002E/1410: Program check: condition '\\(some == 5\\)' failed in function failsTraced, line 140 of "
        "file sup\\\\os\\\\nt_intel\\\\src\\\\supos_some, component 58\n"
        "SYMPTOMS = TIME/.* REGION/ PROD/8831QX470 LVLS/620 MOD/\"@\\(#\\)supos, [^\"]*\" FUNC/failsTraced "
        "LINE/140 MS/057006 MSN/1410 SRC/11 PRCS/99 ABCODE/ SRVID/0 PID/[0-9]+ TID/0 PROC/\n"
        "SECONDARY SYMPTOMS = Some thing is 6\n\n"
        "ERZ057006E/1410: The process is ending abnormally\n$");
}

TEST_F(SupER_Symptom, AssertionLeavesItsExitBeforeTheProcessTerminates)
{
    EXPECT_EXIT((Ring_TraceOn("ALL=0,SUPOS=4,INFTR=4"), atexit(printRecords), failsTraced()),
                testing::ExitedWithCode(99), "\\[failsTraced left at 4 with 99\\]\n\\[InfTR_ControlAux left at ");
}

TEST_F(SupER_Symptom, UntracedAssertionRunsTheSameWithoutAnExit)
{
    EXPECT_EXIT(
        (Ring_TraceOn("ALL=0,TERBM=4"), atexit(printRecords), failsUntraced()), testing::ExitedWithCode(99),
        "^ERZ057002E/0003: Program check: condition 'FALSE' failed in function failsUntraced, line 7 of file "
        "ter\\\\bm\\\\src\\\\terbmsome, component 62\n"
        "SYMPTOMS = .* MOD/\"@\\(#\\)terbm, [^\"]*\" FUNC/failsUntraced LINE/7 MS/057006 MSN/3 SRC/11 PRCS/99 .*\n"
        "SECONDARY SYMPTOMS = Plain\n\n"
        "ERZ057006E/0003: The process is ending abnormally\n$");
}

TEST_F(SupER_Symptom, AssertionDumpsTheRingOnItsSerialNumber)
{
    traceToRing();
    setenv("VELATRACE_DUMP_ON_MSN", "1410", 1);
    EXPECT_EXIT(failsTraced(), testing::ExitedWithCode(99), "ERZ057002E/1410.*ERZ049008I/0202.*SYMPTOMS = ");
}
