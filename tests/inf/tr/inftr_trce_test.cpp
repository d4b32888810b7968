// Records byte by byte: every field of every kind, cut names and texts, what carries over, and lost records.

#include <cerrno>

#include "trace_case.h"

#include "tks_memory.h"

static const char longName[] = "abcdefghijklmnopqrstuvwxyz0123456789";

struct Records : testing::Test {
    void SetUp() override
    {
        Case_Start("-b 65536 -B ON -M ON -S ON -t ALL=0");
        Ring_Clear();
    }
};

TEST_F(Records, EntryShowsNameAndArguments)
{
    Case_InThread([] {
        InfTR_TraceFnEntry(58, "SupOS_Call", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(%d, %s)", 42, "xy"));
        const Ring_Record record = Case_LastRecord();
        EXPECT_EQ(memcmp(record.Header.EyeCatcher, "\x06\x0A\x19\x68", 4), 0);
        EXPECT_EQ(record.Header.SequenceNumber, 0u);
        EXPECT_EQ(record.Header.ProcessId, static_cast<u32>(getpid()));
        EXPECT_EQ(record.Header.ThreadId, tks_ThreadSelf());
        EXPECT_EQ(memcmp(record.Header.ProcessTag, "    ", 4), 0);
        EXPECT_EQ(record.Header.DataLength, 44); // 34 + 8, then to a multiple of 4
        EXPECT_EQ(record.Header.Component, 0); // no record before it
        EXPECT_EQ(record.Header.Depth, 1);
        EXPECT_EQ(record.Header.RecordType, 1413);
        EXPECT_EQ(record.Header.Class, 0x40u);
        EXPECT_EQ(Case_Byte(record, 56), 0x1Fu);
        EXPECT_EQ(Case_Bytes(record, 57, 31), std::string("SupOS_Call") + std::string(21, '\0'));
        EXPECT_EQ(Case_Byte(record, 88), 8u);
        EXPECT_EQ(Case_Bytes(record, 89, 11), std::string("(42, xy)") + std::string(3, '\0'));
    });
}

TEST_F(Records, EntryKeepsTheComponentOfTheRecordBefore)
{
    Case_InThread([] {
        InfTR_TraceVoidExit(62, "F", 1);
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_API_ENTRY, InfTR_EntryArgs("(void)"));
        EXPECT_EQ(Case_LastRecord().Header.Component, 62);
        EXPECT_EQ(Case_LastRecord().Header.Class, 0x80u);
        InfTR_TraceMid(58, "F", 1, InfTR_MidArgs("mid"));
        EXPECT_EQ(Case_LastRecord().Header.Component, 62);
    });
}

TEST_F(Records, NamesAreCutToTheWidthOfTheirKind)
{
    Case_InThread([] {
        for (size_t length : {0u, 1u, 25u, 26u, 27u, 29u, 30u, 31u, 32u, 36u}) {
            const std::string name(longName, length);
            InfTR_TraceFnEntry(58, name.c_str(), INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
            EXPECT_EQ(Case_Bytes(Case_LastRecord(), 57, 30), (name + std::string(30, '\0')).substr(0, 30));
            EXPECT_EQ(Case_Byte(Case_LastRecord(), 87), 0u);
            InfTR_TraceVoidExit(58, name.c_str(), 1);
            EXPECT_EQ(Case_Byte(Case_LastRecord(), 60), 0x1Fu);
            EXPECT_EQ(Case_Bytes(Case_LastRecord(), 61, 31), (name + std::string(31, '\0')).substr(0, 31));
            InfTR_TraceMid(58, name.c_str(), 1, InfTR_MidArgs("m"));
            EXPECT_EQ(Case_LastRecord().Function, name.substr(0, 26));
            EXPECT_EQ(Case_Byte(Case_LastRecord(), 87), 0u);
            InfTR_TraceHex(58, name.c_str(), 1, "x", 1, 0);
            EXPECT_EQ(Case_LastRecord().Function, name.substr(0, 26));
            EXPECT_EQ(Case_Byte(Case_LastRecord(), 87), 0u);
        }
    });
}

TEST_F(Records, AnEntryTextAbove255ShowsTheLowBitsOfItsLength)
{
    Case_InThread([] {
        for (size_t length : {0u, 1u, 2u, 3u, 254u, 255u, 256u, 257u, 511u, 512u, 600u, 4005u, 4006u}) {
            const std::string text(length, 'x');
            TraceRecord *const entry = InfTR_EntryArgs("%s", text.c_str());
            EXPECT_EQ(memcmp(entry->Data + 33, text.c_str(), length + 1), 0); // complete in the buffer
            InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, entry);
            const Ring_Record record = Case_LastRecord();
            const size_t low = length & 0xFF;
            EXPECT_EQ(Case_Byte(record, 88), low);
            EXPECT_EQ(record.Header.DataLength, (low + 34 + 3) & ~3u);
            EXPECT_EQ(record.Text, text.substr(0, low));
        }
    });
}

TEST_F(Records, AFormatWithoutAConversionIsTakenAsItIs)
{
    Case_InThread([] {
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        EXPECT_EQ(Case_LastRecord().Text, "(void)");
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("100%%"));
        EXPECT_EQ(Case_LastRecord().Text, "100%");
    });
}

TEST_F(Records, ATextThatTheLocaleCannotShowIsEmpty)
{
    Case_InThread([] {
        const wchar_t strange[] = {0x20AC, 0};
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(%ls)", strange));
        EXPECT_EQ(Case_Byte(Case_LastRecord(), 88), 0u);
        EXPECT_EQ(Case_LastRecord().Text, "");
    });
}

TEST_F(Records, ExitsShowPointNameAndValue)
{
    Case_InThread([] {
        InfTR_TraceVoidExit(41, "ComRL_F", 0x01020304);
        Ring_Record record = Case_LastRecord();
        EXPECT_EQ(record.Header.DataLength, 36);
        EXPECT_EQ(record.Header.Class, 0x400u);
        EXPECT_EQ(record.Header.Component, 41);
        EXPECT_EQ(record.Header.RecordType, 1414);
        EXPECT_EQ(Case_Word(record, 56), 0x01020304u);
        EXPECT_EQ(Case_Bytes(record, 60, 32), "\x1F"
                                              "ComRL_F" +
                                                  std::string(24, '\0'));

        InfTR_TraceErrorExit(56, "SupPR_F", 0x1C2009 & 0x1fffff, 3);
        record = Case_LastRecord();
        EXPECT_EQ(record.Header.DataLength, 40);
        EXPECT_EQ(record.Header.Class, 0x100u);
        EXPECT_EQ(Case_Word(record, 92), 0x1C2009u);

        const u8 value[] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8};
        InfTR_TraceTypedExit(58, "SupOS_F", 8, value, 5);
        record = Case_LastRecord();
        EXPECT_EQ(record.Header.DataLength, 44);
        EXPECT_EQ(record.Header.Class, 0x200u);
        EXPECT_EQ(Case_Word(record, 92), 4u); // a pointer shows its low 4 bytes
        EXPECT_EQ(Case_Word(record, 96), 0xA4A3A2A1u);
    });
}

TEST_F(Records, ATypedExitCopiesAsManyBytesAsTheValueHas)
{
    Case_InThread([] {
        const u8 ones[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
        const u8 value[] = {1, 2, 3, 4, 5};
        const u32 after[] = {0xFFFFFFFF, 0xFFFFFF01, 0xFFFF0201, 0xFF030201, 0x04030201, 0x04030201};
        for (i32 size = 0; size <= 5; ++size) {
            InfTR_TraceTypedExit(58, "F", 4, ones, 1);
            InfTR_TraceTypedExit(58, "F", size, value, 1);
            EXPECT_EQ(Case_Word(Case_LastRecord(), 92), static_cast<u32>(size > 4 ? 4 : size));
            EXPECT_EQ(Case_Word(Case_LastRecord(), 96), after[size]);
        }
        InfTR_TraceTypedExit(58, "F", -1, value, 1); // the size is signed
        EXPECT_EQ(Case_Word(Case_LastRecord(), 92), 0xFFFFFFFFu);
        EXPECT_EQ(Case_Word(Case_LastRecord(), 96), 0x04030201u);
        InfTR_TraceTypedExit(58, "F", 4, nullptr, 1);
        EXPECT_EQ(Case_Word(Case_LastRecord(), 96), 0x04030201u);
    });
}

TEST_F(Records, AnErrorShowsTheMessageNumberBigEndian)
{
    Case_InThread([] {
        InfTR_TraceError(49, 0x0C409029, 903);
        const Ring_Record record = Case_LastRecord();
        EXPECT_EQ(record.Header.DataLength, 8);
        EXPECT_EQ(record.Header.Class, 0x8u);
        EXPECT_EQ(record.Header.RecordType, 1415);
        EXPECT_EQ(record.Header.Component, 49);
        EXPECT_EQ(Case_Bytes(record, 56, 4), "\x0C\x40\x90\x29");
        EXPECT_EQ(Case_Word(record, 60), 903u);
    });
}

TEST_F(Records, EventsAndExceptionsCarryTheCallersData)
{
    Case_InThread([] {
        std::string data(5000, '\0');
        for (size_t at = 0; at < data.size(); ++at) data[at] = static_cast<char>(at * 7);
        for (u32 length : {0u, 1u, 3u, 4u, 5u, 4031u, 4032u, 4033u, 5000u}) {
            InfTR_TraceEvent(62, 24, length, data.data());
            Ring_Record record = Case_LastRecord();
            const u32 kept = length < 4032 ? length : 4032;
            EXPECT_EQ(record.Header.DataLength, (kept + 4 + 3) & ~3u);
            EXPECT_EQ(record.Header.Class, 0x2u);
            EXPECT_EQ(record.Header.RecordType, 1409);
            EXPECT_EQ(Case_Word(record, 56), 24u);
            EXPECT_EQ(Case_Bytes(record, 60, kept), data.substr(0, kept));
            for (size_t at = 60 + kept; at < 56u + record.Header.DataLength; ++at) EXPECT_EQ(Case_Byte(record, at), 0u);

            InfTR_TraceException(62, 25, length, data.data());
            record = Case_LastRecord();
            EXPECT_EQ(record.Header.Class, 0x10u);
            EXPECT_EQ(record.Header.RecordType, 1415);
            EXPECT_EQ(Case_Word(record, 56), 25u);
            EXPECT_EQ(record.Header.DataLength, (kept + 4 + 3) & ~3u);
        }
        InfTR_TraceEvent(62, 1, 100, nullptr);
        EXPECT_EQ(Case_LastRecord().Header.DataLength, 4);
    });
}

TEST_F(Records, AMidPointShowsItsText)
{
    Case_InThread([] {
        for (size_t length : {0u, 1u, 2u, 3u, 4u, 255u, 256u, 1000u, 3999u, 4000u}) {
            const std::string text(length, 'm');
            InfTR_TraceMid(58, "SupOS_F", 17, InfTR_MidArgs("%s", text.c_str()));
            const Ring_Record record = Case_LastRecord();
            EXPECT_EQ(record.Header.DataLength, (length + 40 + 3) & ~3u);
            EXPECT_EQ(record.Header.Class, 0x8000u);
            EXPECT_EQ(record.Header.RecordType, 1409);
            EXPECT_EQ(Case_Word(record, 56), 17u);
            EXPECT_EQ(Case_Byte(record, 60), 0x1Fu);
            EXPECT_EQ(Case_Half(record, 92), length);
            EXPECT_EQ(record.Text, text);
        }
    });
}

TEST_F(Records, HexDataComesInChunks)
{
    Case_InThread([] {
        std::string data(10000, '\0');
        for (size_t at = 0; at < data.size(); ++at) data[at] = static_cast<char>(at * 13 + 1);
        for (u32 length : {1u, 2u, 2047u, 2048u, 2049u, 4096u, 4097u, 10000u}) {
            Ring_Clear();
            InfTR_TraceHex(58, "SupOS_F", 77, data.data(), length, length == 2 ? 9 : 0);
            const std::vector<Ring_Record> records = Ring_Records();
            ASSERT_EQ(records.size(), (length + 2047) / 2048);
            for (u32 chunk = 0; chunk < records.size(); ++chunk) {
                const Ring_Record &record = records[chunk];
                const u32 size = length - chunk * 2048 < 2048 ? length - chunk * 2048 : 2048;
                EXPECT_EQ(record.Header.DataLength, (size + 51 + 3) & ~3u);
                EXPECT_EQ(record.Header.Class, 0x10000u);
                EXPECT_EQ(record.Header.RecordType, 1409);
                EXPECT_EQ(record.Header.Component, 58);
                EXPECT_EQ(Case_Word(record, 56), 77u);
                EXPECT_EQ(Case_Byte(record, 60), 0x1Fu);
                EXPECT_EQ(record.Function, "SupOS_F");
                EXPECT_EQ(Case_Half(record, 92), length == 2 ? 1u : 0u);
                EXPECT_EQ(Case_Word(record, 96), static_cast<u32>(reinterpret_cast<uintptr_t>(data.data())));
                EXPECT_EQ(Case_Word(record, 100), chunk * 2048);
                EXPECT_EQ(Case_Half(record, 104), size);
                EXPECT_EQ(Case_Bytes(record, 106, size), data.substr(chunk * 2048, size));
            }
        }
        Ring_Clear();
        InfTR_TraceHex(58, "SupOS_F", 77, data.data(), 0, 1);
        EXPECT_TRUE(Ring_Records().empty());
    });
}

TEST_F(Records, HexDataAbove2048IsCopiedOnce)
{
    Case_InThread([] {
        const std::string data(2049, 'h');
        InfTR_TraceVoidExit(58, "F", 1); // the thread's own buffer
        Ring_Clear();
        tks_TestFailMalloc(1);
        InfTR_TraceHex(58, "SupOS_F", 1, data.data(), 2048, 0); // no copy is made
        EXPECT_EQ(Ring_Records().size(), 1u);
        InfTR_TraceHex(58, "SupOS_F", 1, data.data(), 2049, 0);
        tks_TestFailMalloc(0);
        ASSERT_EQ(Ring_Records().size(), 2u);
        EXPECT_TRUE(Case_LastRecord().Lost);
        InfTR_TraceFnEntry(57, "SupOS_F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        EXPECT_EQ(Case_LastRecord().Header.Component, 58); // of the record before, which the lost one is not
    });
}

TEST_F(Records, FieldsThatAWriterDoesNotSetCarryOver)
{
    Case_InThread([] {
        const std::string data(200, 'Z');
        InfTR_TraceEvent(62, 1, 200, data.data());
        InfTR_TraceMid(58, "F", 1, InfTR_MidArgs("%s", ""));
        const Ring_Record record = Case_LastRecord();
        EXPECT_EQ(Case_Byte(record, 91), static_cast<u32>('Z')); // between name and length
        EXPECT_EQ(Case_Byte(record, 95), static_cast<u32>('Z')); // the byte that DataLength adds behind the text
        EXPECT_EQ(record.Header.DataLength, 40);
    });
}

TEST_F(Records, TheTagIsCopiedAtEachRecord)
{
    Case_InThread([] {
        InfTR_TraceVoidExit(58, "F", 1);
        EXPECT_EQ(memcmp(Case_LastRecord().Header.ProcessTag, "    ", 4), 0);
        memcpy(InfTR_CachePtr->ProcessTag, "TAG1", 4);
        InfTR_TraceVoidExit(58, "F", 1);
        EXPECT_EQ(memcmp(Case_LastRecord().Header.ProcessTag, "TAG1", 4), 0);
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, nullptr);
        EXPECT_TRUE(Case_LastRecord().Lost);
        EXPECT_EQ(memcmp(Case_LastRecord().Header.ProcessTag, "TAG1", 4), 0);
    });
}

TEST_F(Records, DepthFollowsEntriesAndExits)
{
    Case_InThread([] {
        const auto depth = [] { return static_cast<u32>(Case_LastRecord().Header.Depth); };
        InfTR_TraceVoidExit(58, "F", 1); // an exit without an entry
        EXPECT_EQ(depth(), 0u);
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        EXPECT_EQ(depth(), 1u);
        InfTR_TraceFnEntry(58, "G", INFTR_CLASS_API_ENTRY, InfTR_EntryArgs("(void)"));
        EXPECT_EQ(depth(), 2u);
        InfTR_TraceEvent(58, 1, 0, nullptr);
        InfTR_TraceError(58, 1, 1);
        InfTR_TraceMid(58, "G", 1, InfTR_MidArgs("m"));
        InfTR_TraceHex(58, "G", 1, "x", 1, 0);
        EXPECT_EQ(depth(), 2u);
        InfTR_TraceTypedExit(58, "G", 4, "abcd", 1);
        EXPECT_EQ(depth(), 2u);
        InfTR_TraceFnEntry(58, "H", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        EXPECT_EQ(depth(), 2u);
        InfTR_TraceErrorExit(58, "H", 1, 1);
        EXPECT_EQ(depth(), 2u);
        InfTR_TraceVoidExit(58, "F", 1);
        EXPECT_EQ(depth(), 1u);
        InfTR_TraceVoidExit(58, "F", 1);
        InfTR_TraceVoidExit(58, "F", 1);
        EXPECT_EQ(depth(), 0u);
    });
}

TEST_F(Records, ThreadsHaveADepthOfTheirOwn)
{
    Case_InThread([] {
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        Case_InThread([] {
            InfTR_TraceFnEntry(58, "G", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
            EXPECT_EQ(Case_LastRecord().Header.Depth, 1);
        });
    });
}

TEST_F(Records, WithoutASinkNothingIsBuilt)
{
    InfTR_MasterTraceArea.TraceFlagBuffer = 0;
    Case_InThread([] {
        InfTR_MasterTraceArea.TraceFlagExternal = 1; // external trace is built out
        EXPECT_EQ(InfTR_EntryArgs("(void)"), nullptr);
        EXPECT_EQ(InfTR_MidArgs("(void)"), nullptr);
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        InfTR_TraceMid(58, "F", 1, InfTR_MidArgs("m"));
        InfTR_TraceVoidExit(58, "F", 1);
        InfTR_TraceErrorExit(58, "F", 1, 1);
        InfTR_TraceTypedExit(58, "F", 4, "abcd", 1);
        InfTR_TraceError(58, 1, 1);
        InfTR_TraceEvent(58, 1, 1, "x");
        InfTR_TraceException(58, 1, 1, "x");
        InfTR_TraceHex(58, "F", 1, "x", 1, 0);
        EXPECT_EQ(tks_ThreadGetData(InfTR_RecordSlot), nullptr);
        InfTR_MasterTraceArea.TraceFlagBuffer = 2; // not 1 is off
        EXPECT_EQ(InfTR_EntryArgs("(void)"), nullptr);

        InfTR_MasterTraceArea.TraceFlagBuffer = 1;
        InfTR_TraceVoidExit(58, "F", 1);
        InfTR_MasterTraceArea.TraceFlagBuffer = 0;
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("(void)"));
        InfTR_MasterTraceArea.TraceFlagBuffer = 1;
        InfTR_TraceVoidExit(58, "F", 1);
        EXPECT_EQ(Case_LastRecord().Header.Depth, 0); // the lost entry did not count
        EXPECT_EQ(Ring_Records().size(), 2u);
    });
}

TEST_F(Records, ALostRecordIsABareHeader)
{
    Case_InThread([] {
        InfTR_TraceVoidExit(58, "F", 1);
        const i32 before = InfTR_CachePtr->Ring.RingOffset;
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, nullptr);
        EXPECT_EQ(InfTR_CachePtr->Ring.RingOffset, before + 56);
        const u8 *const mark = InfTR_CachePtr->RingData + before;
        InfTR_TraceHeader header;
        memcpy(&header, mark, sizeof header);
        EXPECT_EQ(memcmp(header.EyeCatcher, "\0\0\0\0", 4), 0);
        EXPECT_EQ(header.SequenceNumber, 0u);
        EXPECT_EQ(header.ProcessId, static_cast<u32>(getpid()));
        EXPECT_EQ(header.ThreadId, 0u);
        EXPECT_EQ(memcmp(header.ProcessTag, "    ", 4), 0);
        EXPECT_EQ(header.DataLength, 0);
        EXPECT_EQ(header.Component, 0);
        EXPECT_EQ(header.Depth, 0);
        EXPECT_EQ(header.RecordType, 1409);
        EXPECT_NE(header.Seconds, 0u);
        EXPECT_EQ(header.Class, 0u);
        InfTR_TraceMid(58, "F", 1, nullptr);
        EXPECT_EQ(InfTR_CachePtr->Ring.RingOffset, before + 112);
        EXPECT_EQ(Ring_Records().size(), 3u);
    });
}

TEST_F(Records, WithoutMemoryForTheBufferTheLogTellsAndAMarkIsLeft)
{
    Case_InThread([] {
        Case_MakeMessageData(); // the thread's message data
        Ring_Clear();
        tks_TestFailMalloc(1);
        const std::string said = Case_Stderr([] { InfTR_TraceVoidExit(58, "F", 1); });
        EXPECT_THAT(said, HasSubstr("ERZ049010E/0903"));
        EXPECT_EQ(Ring_Records().size(), 1u);
        EXPECT_TRUE(Case_LastRecord().Lost);
        EXPECT_EQ(tks_ThreadGetData(InfTR_RecordSlot), nullptr);

        InfTR_TraceVoidExit(58, "F", 2); // memory is back
        EXPECT_EQ(Case_LastRecord().Point, 2u);
    });
}

static void *failAll(size_t)
{
    return nullptr;
}

TEST_F(Records, AMessageAboutMissingMemoryDoesNotComeBackToItself)
{
    char options[] = "-t ALL=5"; // the log traces too
    InfTR_UpdateMasterTrace(InfTR_TracePtr, options, 0);
    Case_InThread([] {
        InfTR_MasterTraceArea.TraceFlagMaster = 0;
        Case_MakeMessageData();
        InfTR_MasterTraceArea.TraceFlagMaster = 1;
        Ring_Clear();
        const std::string said = Case_Stderr([] {
            Case_Faults faults;
            Plat_Sys.Malloc = failAll;
            EXPECT_EQ(InfTR_EntryArgs("(void)"), nullptr);
        });
        EXPECT_THAT(said, HasSubstr("ERZ049010E/0903"));
        EXPECT_EQ(said.find("ERZ049010E/0903"), said.rfind("ERZ049010E/0903"));
        for (const Ring_Record &record : Ring_Records()) EXPECT_TRUE(record.Lost);
    });
}

// ---- the ends of the process ----

static void traceEntry(size_t Length)
{
    const std::string text(Length, 'x');
    InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, InfTR_EntryArgs("%s", text.c_str()));
}

static void traceMid(size_t Length)
{
    const std::string text(Length, 'x');
    InfTR_TraceMid(58, "F", 1, InfTR_MidArgs("%s", text.c_str()));
}

TEST(RecordsDeathTest, EntryArgumentsBeyondTheRecordEndTheProcess)
{
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    const char *const said = "ERZ057002E/0201: .*FALSE.*InfTR_EntryArgs.*inf\\\\tr\\\\src\\\\inftr_earg(.|\n)*"
                             "FUNC/InfTR_EntryArgs (.|\n)*MSN/201 SRC/11 PRCS/99(.|\n)*"
                             "Formatted entry args, exceeded buffer allocation(.|\n)*ERZ057006E/0201";
    EXPECT_EXIT(traceEntry(4007), testing::ExitedWithCode(99), said);
    EXPECT_EXIT(traceEntry(9000), testing::ExitedWithCode(99), said);
    const std::string plain(4007, 'p');
    EXPECT_EXIT(InfTR_EntryArgs(plain.c_str(), 0), testing::ExitedWithCode(99), said);
    EXPECT_EXIT((traceEntry(4006), tks_ThreadSelf(), exit(0)), testing::ExitedWithCode(0), "");
}

TEST(RecordsDeathTest, MidArgumentsBeyondTheRecordEndTheProcess)
{
    Case_Start("-B ON -M ON -S ON -t ALL=5");
    EXPECT_EXIT(traceMid(4001), testing::ExitedWithCode(99),
                "Len=4001 FormatString=<%s>\n(.|\n)*ERZ057002E/0202: .*InfTR_MidArgs(.|\n)*"
                "Formatted entry args, exceeded buffer allocation");
    EXPECT_EXIT(traceMid(9000), testing::ExitedWithCode(99), "Len=9000 FormatString=<%s>\n(.|\n)*ERZ057002E/0202");
    EXPECT_EXIT((traceMid(4000), exit(0)), testing::ExitedWithCode(0), "");
}

// A traced function may have set errno for its own caller.
TEST_F(Records, ErrnoStaysAsItWas)
{
    const std::string directory = Case_Directory();
    Case_Start(("-A ON -B ON -M ON -S ON -t ALL=0 -d " + directory).c_str());
    Case_InThread([] { // the first record of a thread makes its buffer and its file
        const u32 value = 5;
        const auto unchanged = [](const char *What, const std::function<void()> &Body) {
            errno = EXDEV;
            Body();
            EXPECT_EQ(errno, EXDEV) << What;
        };
        unchanged("entry", [&] { InfTR_TraceFnEntry(58, "F", 0x40, InfTR_EntryArgs("(%d, %s)", 1, "x")); });
        unchanged("entry by the system", [&] { InfTR_TraceFnEntry(58, "F", 0x40, InfTR_EntryArgs("(%f)", 1.5)); });
        unchanged("text of another locale", [&] { InfTR_EntryArgs("%ls", L"\xD800"); });
        unchanged("mid point", [&] { InfTR_TraceMid(58, "F", 1, InfTR_MidArgs("(%ls)", L"x")); });
        unchanged("void exit", [&] { InfTR_TraceVoidExit(58, "F", 1); });
        unchanged("error exit", [&] { InfTR_TraceErrorExit(58, "F", 1, 1); });
        unchanged("typed exit", [&] { InfTR_TraceTypedExit(58, "F", 4, &value, 1); });
        unchanged("error", [&] { InfTR_TraceError(58, 1, 1); });
        unchanged("event", [&] { InfTR_TraceEvent(58, 1, 4, &value); });
        unchanged("hex", [&] { InfTR_TraceHex(58, "F", 1, &value, 4, 0); });
    });
    Case_InThread([] {
        Case_MakeMessageData();
        tks_TestFailMalloc(1);
        errno = EXDEV;
        Case_Stderr([] {
            errno = EXDEV;
            InfTR_TraceVoidExit(58, "F", 1);
            EXPECT_EQ(errno, EXDEV) << "no memory for the buffer";
        });
    });
}
