// From a message number to text: forms, serial numbers, recovery texts, buffers, and the ends of the process.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "catalog_hook.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "super_int.h"

static constexpr u32 dumped = 0x0C408020; // ERZ049008I, one text
static constexpr u32 dumpFailed = 0x0C40701D; // ERZ049007E, text, text, integer
static constexpr u32 programCheck = 0x0E402009; // ERZ057002E
static constexpr u32 noSuchNumber = 0x0E7FF009; // set 57, catalogue number 1023: ERZ057002E, not in the catalogue
static constexpr u32 permissionDenied = 0x2E841000;
static constexpr u32 noSuchGti = 0x2EBFF000;

static const char recoveryText[] = "ERZ057001E: Cannot access message catalog vela.cat for message ERZ057002E\n"
                                   "Please check if NLSPATH or LANG variable is set";

class SupER_Message : public testing::Test
{
protected:
    void SetUp() override
    {
        Scratch_MakeRoot();
        Hook_Reset();
    }
    char buffer[512] = {};
    u32 size = sizeof buffer;
};

static u32 iGetMessage(char *Buffer, u32 *Size, u16 Recipient, u16 Destination, i32 Format, u32 MessageNumber, i32 MSN,
                       ...)
{
    va_list args;
    va_start(args, MSN);
    const u32 code = SupER_IGetMessage(Buffer, Size, Recipient, Destination, Format, MessageNumber, MSN, args);
    va_end(args);
    return code;
}

static u32 formatMessageVar(char *Buffer, u32 *Size, i32 Format, u16 Destination, u32 MessageNumber, i32 MSN, ...)
{
    va_list args;
    va_start(args, MSN);
    const u32 code = SupER_FormatMessageVar(Buffer, Size, Format, Destination, MessageNumber, MSN, args);
    va_end(args);
    return code;
}

static u32 getMessageVar(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, ...)
{
    va_list args;
    va_start(args, MessageNumber);
    const u32 code = SupER_GetMessageVar(Buffer, Size, Format, MessageNumber, args);
    va_end(args);
    return code;
}

// Prints the exit record of a function when the process ends, for a parent that reads standard error.
static const char *watchedFunction;
static void printExit()
{
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType == 1414 && record.Function == watchedFunction)
            fprintf(stderr, "[%s left at %u with %u]\n", watchedFunction, record.Point, record.Code);
    }
}
static void watchExitOf(const char *Function)
{
    Ring_TraceOn("SUPER=4");
    watchedFunction = Function;
    atexit(printExit);
}

TEST(SUPER_MSG, FieldsOfANumber)
{
    EXPECT_EQ(SUPER_MSG_SET(0x0E402009), 57u);
    EXPECT_EQ(SUPER_MSG_CATALOG_NUMBER(0x0E402009), 2u);
    EXPECT_EQ(SUPER_MSG_DISPLAY_NUMBER(0x0E402009), 2u);
    EXPECT_EQ(SUPER_MSG_CATALOG_NUMBER(0x0C40701D), 7u);
    EXPECT_EQ(SUPER_MSG_DIGITS(0x0C40701D), 49007u);
    EXPECT_EQ(SUPER_MSG_CATALOG_NUMBER(0x0E409045), 9u);
    EXPECT_EQ(SUPER_MSG_DIGITS(0x0E409045), 57017u);
    EXPECT_EQ(SUPER_MSG_LETTER(0), 'I');
    EXPECT_EQ(SUPER_MSG_LETTER(1), 'E');
    EXPECT_EQ(SUPER_MSG_LETTER(2), 'W');
    EXPECT_EQ(SUPER_MSG_LETTER(3), 'I');
}

TEST(SUPER_IS_GTI, IsASetAbove127)
{
    EXPECT_FALSE(SUPER_IS_GTI(127u << 22));
    EXPECT_FALSE(SUPER_IS_GTI(0x1FFFFFFF));
    EXPECT_TRUE(SUPER_IS_GTI(128u << 22));
    EXPECT_TRUE(SUPER_IS_GTI(0x2E83D000));
    EXPECT_TRUE(SUPER_IS_GTI(0x80000000));
}

TEST_F(SupER_Message, IsExpandedWithItsInserts)
{
    EXPECT_EQ(SupER_GetMessage(buffer, &size, 0, dumpFailed, "write", "/tmp/x", 28), ERZ_OK);
    EXPECT_STREQ(buffer, "ERZ049007E: Cannot write the trace dump file '/tmp/x': error 28");
    EXPECT_EQ(size, strlen(buffer));
}

TEST_F(SupER_Message, FrontEndsGiveTheSameText)
{
    const std::string text = "ERZ049008I: The trace buffer has been dumped to file 'f'";
    EXPECT_EQ(SupER_GetMessage(buffer, &size, 0, dumped, "f"), ERZ_OK);
    EXPECT_EQ(buffer, text);
    size = sizeof buffer;
    EXPECT_EQ(getMessageVar(buffer, &size, 0, dumped, "f"), ERZ_OK);
    EXPECT_EQ(buffer, text);
    size = sizeof buffer;
    EXPECT_EQ(SupER_GetMessageLog(buffer, &size, 0, dumped, "f"), ERZ_OK);
    EXPECT_EQ(buffer, text);
    EXPECT_EQ(size, text.size());
}

TEST_F(SupER_Message, FormsOfAMessage)
{
    Hook_SetText(programCheck, "ERZ057002E: text");
    EXPECT_EQ(SupER_GetMessage(buffer, &size, SUPER_FORMAT_WHOLE, programCheck), ERZ_OK);
    EXPECT_STREQ(buffer, "ERZ057002E: text");
    size = sizeof buffer;
    EXPECT_EQ(SupER_GetMessage(buffer, &size, SUPER_FORMAT_BODY, programCheck), ERZ_OK);
    EXPECT_STREQ(buffer, "text");
    EXPECT_EQ(size, 4u);
    size = sizeof buffer;
    EXPECT_EQ(SupER_GetMessage(buffer, &size, SUPER_FORMAT_SEVERITY, programCheck), ERZ_OK);
    EXPECT_STREQ(buffer, "E: text");
    EXPECT_EQ(size, 7u);
}

TEST_F(SupER_Message, WithoutBlankOrColonStaysWhole)
{
    Hook_SetText(programCheck, "ERZtext");
    EXPECT_EQ(SupER_GetMessage(buffer, &size, SUPER_FORMAT_BODY, programCheck), ERZ_OK);
    EXPECT_STREQ(buffer, "ERZtext");
    size = sizeof buffer;
    EXPECT_EQ(SupER_GetMessage(buffer, &size, SUPER_FORMAT_SEVERITY, programCheck), ERZ_OK);
    EXPECT_STREQ(buffer, "ERZtext");
}

TEST_F(SupER_Message, FormOfAGtiIsAlwaysWhole)
{
    for (const i32 format : {0, 1, 2, 3, -1}) {
        size = sizeof buffer;
        EXPECT_EQ(SupER_GetMessage(buffer, &size, format, permissionDenied), ERZ_OK);
        EXPECT_STREQ(buffer, "Permission denied");
        EXPECT_EQ(size, 17u);
    }
}

TEST_F(SupER_Message, SerialNumberGoesIntoTheIdentifier)
{
    Hook_SetText(programCheck, "ERZ057002E: text");
    EXPECT_EQ(iGetMessage(buffer, &size, SUPER_SYSTEM_LOG, SUPER_SYSTEM_LOG, 0, programCheck, 9), ERZ_OK);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: text");
    EXPECT_EQ(size, strlen(buffer));
}

TEST_F(SupER_Message, SerialNumberShowsNowhereElse)
{
    Hook_SetText(programCheck, "ERZ057002E: text");
    iGetMessage(buffer, &size, SUPER_END_USER, 0, SUPER_FORMAT_WHOLE, programCheck, 0);
    EXPECT_STREQ(buffer, "ERZ057002E: text");
    size = sizeof buffer;
    iGetMessage(buffer, &size, SUPER_END_USER, 0, SUPER_FORMAT_BODY, programCheck, 9);
    EXPECT_STREQ(buffer, "text");
    size = sizeof buffer;
    iGetMessage(buffer, &size, SUPER_END_USER, 0, SUPER_FORMAT_SEVERITY, programCheck, 9);
    EXPECT_STREQ(buffer, "E: text");
    size = sizeof buffer;
    iGetMessage(buffer, &size, SUPER_END_USER, 1, SUPER_FORMAT_WHOLE, permissionDenied, 9);
    EXPECT_STREQ(buffer, "Permission denied");
}

TEST_F(SupER_Message, IdentifierComesFromTheTextNotFromTheNumber)
{
    Hook_SetText(programCheck, "ERZ0570021X: one more character");
    iGetMessage(buffer, &size, SUPER_SYSTEM_LOG, 0, 0, programCheck, 1);
    EXPECT_STREQ(buffer, "ERZ0570021X/0001: one more character");
}

TEST_F(SupER_Message, MissingInCatalogGivesRecoveryText)
{
    EXPECT_EQ(SupER_GetMessage(buffer, &size, 0, noSuchNumber), SUPER_ERR_CATALOG);
    EXPECT_STREQ(buffer, recoveryText);
    EXPECT_EQ(size, strlen(recoveryText));
}

TEST_F(SupER_Message, RecoveryTextTakesSerialNumberAndForm)
{
    EXPECT_EQ(iGetMessage(buffer, &size, SUPER_SYSTEM_LOG, 0, 0, noSuchNumber, 12345), SUPER_ERR_CATALOG);
    EXPECT_EQ(std::string(buffer), "ERZ057001E/12345" + std::string(recoveryText).substr(10));
    size = sizeof buffer;
    EXPECT_EQ(SupER_GetMessage(buffer, &size, SUPER_FORMAT_BODY, noSuchNumber), SUPER_ERR_CATALOG);
    EXPECT_STREQ(buffer, recoveryText + 12);
    size = sizeof buffer;
    EXPECT_EQ(SupER_GetMessage(buffer, &size, SUPER_FORMAT_SEVERITY, noSuchNumber), SUPER_ERR_CATALOG);
    EXPECT_STREQ(buffer, recoveryText + 9);
}

TEST_F(SupER_Message, MissingGtiGivesRecoveryText)
{
    EXPECT_EQ(SupER_GetMessage(buffer, &size, 1, noSuchGti), SUPER_ERR_CATALOG);
    EXPECT_STREQ(buffer, "ERZ057001E: Cannot access message catalog vela.cat for message GTI\n"
                         "Please check if NLSPATH or LANG variable is set");
}

TEST_F(SupER_Message, MissingCatalogGivesRecoveryText)
{
    Hook_FailOpens(0xFFFFFFFF);
    onNewThread([] {
        char text[256];
        u32 room = sizeof text;
        EXPECT_EQ(SupER_GetMessage(text, &room, 0, programCheck, "a", "b", 1, "c", 2), 0x1CC00003u);
        EXPECT_STREQ(text, recoveryText);
        EXPECT_EQ(Hook_OpenCount(), 5u);
    });
}

TEST_F(SupER_Message, CorruptedTextIsReplaced)
{
    Hook_SetText(programCheck, "");
    EXPECT_EQ(SupER_GetMessage(buffer, &size, 0, programCheck), SUPER_ERR_CATALOG);
    EXPECT_STREQ(buffer, "ERZ057010E: Catalog vela.cat contains corrupted message ERZ057002E - cannot display");
    Hook_SetText(programCheck, "ER2057002E: %s%n%1!");
    size = sizeof buffer;
    EXPECT_EQ(iGetMessage(buffer, &size, SUPER_SYSTEM_LOG, 0, 0, programCheck, -7), SUPER_ERR_CATALOG);
    EXPECT_STREQ(buffer, "ERZ057010E/-0007: Catalog vela.cat contains corrupted message ERZ057002E - cannot display");
}

TEST_F(SupER_Message, CorruptedCatalogFileIsReported)
{
    const std::string root = Scratch_Root();
    Scratch_WriteFile(root + "/bad.msg", "$set 57\n2 garbage\n");
    ASSERT_EQ(system(("gencat " + root + "/bad.cat " + root + "/bad.msg").c_str()), 0);
    setenv("NLSPATH", (root + "/bad.cat").c_str(), 1);
    onNewThread([] {
        char text[256];
        u32 room = sizeof text;
        EXPECT_EQ(SupER_GetMessage(text, &room, 0, programCheck), SUPER_ERR_CATALOG);
        EXPECT_STREQ(text, "ERZ057010E: Catalog vela.cat contains corrupted message ERZ057002E - cannot display");
    });
}

TEST_F(SupER_Message, TextThatCannotBeExpandedIsReported)
{
    Hook_SetText(programCheck, "ERZ057002E: unclosed %1!d");
    EXPECT_EQ(SupER_GetMessage(buffer, &size, 0, programCheck, 1), 0x1CA0000Au);
    EXPECT_STREQ(buffer, "ERZ057031E: Unable to format message ERZ057002E");
    EXPECT_EQ(size, strlen(buffer));

    size = sizeof buffer;
    EXPECT_EQ(iGetMessage(buffer, &size, SUPER_SYSTEM_LOG, 1, 0, programCheck, 3, 1), SUPER_ERR_FORMAT);
    EXPECT_STREQ(buffer, "ERZ057031E/0003: Unable to format message ERZ057002E\n");

    Hook_SetText(permissionDenied, "");
    size = sizeof buffer;
    EXPECT_EQ(SupER_GetMessage(buffer, &size, 0, permissionDenied), SUPER_ERR_FORMAT);
    EXPECT_STREQ(buffer, "ERZ057031E: Unable to format message GTI");
}

TEST_F(SupER_Message, LeavesItsExitPoints)
{
    Ring_TraceOn("SUPER=4");
    SupER_FormatMessage(buffer, &size, 0, SUPER_END_USER, dumped, 7, "f");
    EXPECT_EQ(Ring_LastExitPoint("SupER_IGetMessage"), 3u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_IFormatMessage"), 5u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_FormatMessageVar"), 3u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_FormatMessage"), 1u);
    size = sizeof buffer;
    SupER_GetMessage(buffer, &size, 0, dumped, "f");
    EXPECT_EQ(Ring_LastExitPoint("SupER_GetMessage"), 1u);
    size = sizeof buffer;
    SupER_GetMessageLog(buffer, &size, 0, dumped, "f");
    EXPECT_EQ(Ring_LastExitPoint("SupER_GetMessageLog"), 1u);
    size = sizeof buffer;
    getMessageVar(buffer, &size, 0, dumped, "f");
    EXPECT_EQ(Ring_LastExitPoint("SupER_GetMessageVar"), 1u);
}

TEST_F(SupER_Message, TracesPublicCallsAsApiEntries)
{
    Ring_TraceOn("SUPER=4");
    SupER_FormatMessage(buffer, &size, 0, SUPER_END_USER, dumped, 7, "f");
    u32 outer = 0, inner = 0;
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.RecordType != 1413) continue;
        const bool isPublic = record.Function.starts_with("SupER_FormatMessage");
        const bool isInner = record.Function.starts_with("SupER_I");
        outer += isPublic && record.Header.Class == INFTR_CLASS_API_ENTRY ? 1 : 0;
        inner += isInner && record.Header.Class == INFTR_CLASS_ENTRY ? 1 : 0;
    }
    EXPECT_EQ(outer, 2u);
    EXPECT_GE(inner, 2u);
}

// ---- buffers ----

TEST_F(SupER_Message, MayFillItsBufferButForTheTerminator)
{
    Hook_SetText(programCheck, "ERZ057002E: 678");
    char exact[16];
    size = sizeof exact;
    EXPECT_EQ(SupER_GetMessage(exact, &size, 0, programCheck), ERZ_OK);
    EXPECT_STREQ(exact, "ERZ057002E: 678");
    EXPECT_EQ(size, 15u);
}

TEST_F(SupER_Message, ThatFillsItsBufferEndsTheProcess)
{
    Hook_SetText(programCheck, "ERZ057002E: 6789");
    size = 16;
    EXPECT_EXIT(SupER_GetMessage(buffer, &size, 0, programCheck), testing::ExitedWithCode(0),
                "^ERZ057021E/0019: Message ERZ057002E does not fit into its buffer: 16 bytes of room, 17 needed\n"
                "SYMPTOMS = .* FUNC/SupER_IGetMessage LINE/[0-9]+ MS/057006 MSN/19 SRC/12 PRCS/0 .*\n"
                "SECONDARY SYMPTOMS = Message buffer overflow\n\n"
                "ERZ057006E/0019: The process is ending abnormally\n$");
}

TEST_F(SupER_Message, RecoveryTextThatDoesNotFitEndsTheProcessWithItsCode)
{
    size = 60;
    EXPECT_EXIT(SupER_GetMessage(buffer, &size, 0, noSuchNumber), testing::ExitedWithCode(3),
                "ERZ057021E/0019: Message ERZ057002E .*: 60 bytes of room, 122 needed\n.*SRC/12 PRCS/482344963 ");
}

TEST_F(SupER_Message, FailureTextThatDoesNotFitEndsTheProcessWithItsCode)
{
    Hook_SetText(programCheck, "ERZ057002E: %");
    size = 20;
    EXPECT_EXIT(SupER_GetMessage(buffer, &size, 0, programCheck), testing::ExitedWithCode(10),
                "20 bytes of room, 48 needed\n.*PRCS/480247818 ");
}

TEST_F(SupER_Message, GtiThatDoesNotFitEndsTheProcess)
{
    size = 5;
    EXPECT_EXIT(SupER_GetMessage(buffer, &size, 0, permissionDenied), testing::ExitedWithCode(0),
                "^ERZ057032E/0011: A text does not fit into its buffer: 5 bytes of room, 18 needed\n"
                "SYMPTOMS = .* MS/057006 MSN/11 SRC/12 PRCS/0 .*Message buffer overflow\n\nERZ057006E/0011: ");
}

TEST_F(SupER_Message, OverflowLeavesAnErrorExit)
{
    size = 60;
    EXPECT_EXIT((watchExitOf("SupER_IGetMessage"), SupER_GetMessage(buffer, &size, 0, noSuchNumber)),
                testing::ExitedWithCode(3), "\\[SupER_IGetMessage left at 1 with 3\\]");
}

TEST_F(SupER_Message, WithSerialNumberNeedsSeventeenBytesMore)
{
    // The text fits the whole buffer, but only 16 bytes stand behind the room for the serial number: it is cut to 15,
    // and of the result two bytes stay free.
    Hook_SetText(programCheck, "ERZ057002E: 0123456789");
    char exact[33];
    size = sizeof exact;
    EXPECT_EQ(iGetMessage(exact, &size, SUPER_SYSTEM_LOG, 0, 0, programCheck, 4), ERZ_OK);
    EXPECT_STREQ(exact, "ERZ057002E/0004: 012");
    EXPECT_EQ(size, strlen(exact));
}

// ---- SupER_IFormatMessage ----

TEST_F(SupER_Message, IFormatMessageMovesTheTextLeft)
{
    strcpy(buffer + 17, "ERZ057002E: text");
    EXPECT_EQ(SupER_IFormatMessage(buffer + 17, 16, 0, 9, buffer, &size), 21u);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: text");
    EXPECT_EQ(size, 15u);
}

TEST_F(SupER_Message, IFormatMessageAddsALineEndForDestinationOne)
{
    for (const u16 destination : std::initializer_list<u16>{0, 2, 3, 8, 16}) {
        size = sizeof buffer;
        SupER_IFormatMessage("ERZ057002E: text", 16, destination, 9, buffer, &size);
        EXPECT_STREQ(buffer, "ERZ057002E/0009: text");
    }
    size = sizeof buffer;
    EXPECT_EQ(SupER_IFormatMessage("ERZ057002E: text", 16, 1, 9, buffer, &size), 22u);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: text\n");
}

TEST_F(SupER_Message, IFormatMessageStopsAtLength)
{
    SupER_IFormatMessage("ERZ057002E: text", 13, 0, 9, buffer, &size);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: t");
    size = sizeof buffer;
    SupER_IFormatMessage("ERZ057002E: text", 5, 0, 9, buffer, &size);
    EXPECT_STREQ(buffer, "ERZ05/0009");
    EXPECT_EQ(size, 10u);
}

TEST_F(SupER_Message, IFormatMessagePrintsAnySerialNumber)
{
    const struct {
        i32 MSN;
        const char *Text;
    } cases[] = {{0, "ERZ/0000:"}, {-5, "ERZ/-0005:"}, {12345, "ERZ/12345:"}, {INT32_MIN, "ERZ/-2147483648:"}};
    for (const auto &one : cases) {
        char text[64] = {};
        strcpy(text + 17, "ERZ:");
        u32 room = sizeof text;
        SupER_IFormatMessage(text + 17, 4, 0, one.MSN, text, &room);
        EXPECT_STREQ(text, one.Text);
    }
}

TEST_F(SupER_Message, IFormatMessageKeepsTwoBytesFree)
{
    char exact[20];
    for (u32 room = 18; room <= sizeof exact; ++room) {
        memset(exact, '~', sizeof exact);
        size = room;
        const u32 length = SupER_IFormatMessage("ERZ057002E: text", 16, 0, 9, exact, &size);
        EXPECT_EQ(length, room - 2);
        EXPECT_EQ(std::string(exact), std::string("ERZ057002E/0009: text").substr(0, room - 2));
    }
    size = 18;
    EXPECT_EQ(SupER_IFormatMessage("ERZ057002E: text", 16, 1, 9, exact, &size), 17u);
    EXPECT_STREQ(exact, "ERZ057002E/0009:\n");
}

TEST_F(SupER_Message, IFormatMessageInTheSmallestRoom)
{
    char exact[18];
    size = sizeof exact;
    EXPECT_EQ(SupER_IFormatMessage("ERZ057002EX: text", 17, 1, 12345, exact, &size), 17u);
    EXPECT_STREQ(exact, "ERZ057002EX/12345"); // one byte left: neither text nor line end fits
}

TEST_F(SupER_Message, IFormatMessageEndsOnNull)
{
    const char *const expected = "^ERZ057002E/0013: Program check: condition '\\(Message != NULL && FmtMessage != NULL "
                                 "&& Size != NULL\\)' failed in function SupER_IFormatMessage, line [0-9]+ of file "
                                 "sup\\\\er\\\\src\\\\super_ilog, component 57\n"
                                 "SYMPTOMS = .* MS/057006 MSN/13 SRC/11 PRCS/99 .*\n"
                                 "SECONDARY SYMPTOMS = Invalid - NULL - input\n\nERZ057006E/0013: ";
    EXPECT_EXIT(SupER_IFormatMessage(nullptr, 0, 0, 1, buffer, &size), testing::ExitedWithCode(99), expected);
    EXPECT_EXIT(SupER_IFormatMessage("", 0, 0, 1, nullptr, &size), testing::ExitedWithCode(99), expected);
    EXPECT_EXIT(SupER_IFormatMessage("", 0, 0, 1, buffer, nullptr), testing::ExitedWithCode(99), expected);
}

TEST_F(SupER_Message, IFormatMessageEndsOnSmallRoom)
{
    size = 17;
    EXPECT_EXIT(
        SupER_IFormatMessage("ERZ:", 4, 0, 1, buffer, &size), testing::ExitedWithCode(99),
        "^ERZ057002E/0024: .*'\\(TmpSize > SUPER_MSG_TEXT_OFFSET\\)'.*MSN/24 .*= Destination buffer too small\n");
}

TEST_F(SupER_Message, IFormatMessageEndsOnLongIdentifier)
{
    EXPECT_EXIT(
        SupER_IFormatMessage("ERZ057002EXX: text", 18, 0, 1, buffer, &size), testing::ExitedWithCode(99),
        "^ERZ057002E/0022: .*'\\(i <= SUPER_MSG_NAME_SIZE\\+1\\)'.*MSN/22 .*= ERZ\\[...\\]s in message too long\n");
}

TEST_F(SupER_Message, IFormatMessageEndsWhereTheSerialNumberDoesNotFit)
{
    size = 18;
    EXPECT_EXIT(SupER_IFormatMessage("ERZ057002EX: t", 14, 0, 123456, buffer, &size), testing::ExitedWithCode(99),
                "^ERZ057002E/0025: .*'\\(TmpSize > Offset\\)'.*MSN/25 .*= Output buffer overflow\n");
}

TEST_F(SupER_Message, IFormatMessageLeavesAnExitPointAtEachEnd)
{
    const testing::ExitedWithCode ended(99);
    u32 small = 17, tight = 18;
    EXPECT_EXIT((watchExitOf("SupER_IFormatMessage"), SupER_IFormatMessage(nullptr, 0, 0, 1, buffer, &size)), ended,
                "left at 1 with 99\\]");
    EXPECT_EXIT((watchExitOf("SupER_IFormatMessage"), SupER_IFormatMessage("E:", 2, 0, 1, buffer, &small)), ended,
                "left at 2 with 99\\]");
    EXPECT_EXIT((watchExitOf("SupER_IFormatMessage"), SupER_IFormatMessage("123456789012", 12, 0, 1, buffer, &size)),
                ended, "left at 3 with 99\\]");
    EXPECT_EXIT(
        (watchExitOf("SupER_IFormatMessage"), SupER_IFormatMessage("12345678901:", 12, 0, 123456, buffer, &tight)),
        ended, "left at 4 with 99\\]");
}

// ---- bad arguments ----

TEST_F(SupER_Message, WithoutRecipientEndsTheProcess)
{
    for (const u16 recipient : std::initializer_list<u16>{0, 1, 24, 9, 17}) {
        EXPECT_EXIT(
            (watchExitOf("SupER_IGetMessage"), iGetMessage(buffer, &size, recipient, 16, 0, programCheck, 1)),
            testing::ExitedWithCode(99),
            "ERZ057002E/0031: .*'\\(Recipient == SUPER_END_USER \\|\\| Recipient == SUPER_SYSTEM_LOG\\)' failed in "
            "function SupER_IGetMessage,.*MSN/31 .*= Unkown purpose of message. Message must be for end user "
            "SUPER_END_USER or VELA system SUPER_SYSTEM_LOG\n.*left at 1 with 99\\]");
    }
}

TEST_F(SupER_Message, WithUnknownFormatEndsTheProcess)
{
    for (const i32 format : {3, -1, 100}) {
        EXPECT_EXIT((watchExitOf("SupER_IGetMessage"), SupER_GetMessage(buffer, &size, format, programCheck)),
                    testing::ExitedWithCode(99),
                    "ERZ057002E/0020: .*'\\(FALSE\\)'.*MSN/20 .*= Unknown message format\n.*left at 2 with 99\\]");
    }
    EXPECT_EXIT(SupER_GetMessage(buffer, &size, 3, noSuchNumber), testing::ExitedWithCode(99),
                "Unknown message format");
}

// ---- SupER_FormatMessage ----

TEST_F(SupER_Message, FormatMessageCountsTheTerminator)
{
    Hook_SetText(programCheck, "ERZ057002E: text");
    EXPECT_EQ(SupER_FormatMessage(buffer, &size, 0, SUPER_END_USER, programCheck, 9), ERZ_OK);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: text");
    EXPECT_EQ(size, strlen(buffer) + 1);
}

TEST_F(SupER_Message, FormatMessageAddsALineEndForTheConsole)
{
    Hook_SetText(programCheck, "ERZ057002E: text");
    SupER_FormatMessage(buffer, &size, 0, SUPER_END_USER | 1, programCheck, 9);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: text\n");
    size = sizeof buffer;
    SupER_FormatMessage(buffer, &size, 0, SUPER_SYSTEM_LOG | 1, programCheck, 9);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: text\n");
    size = sizeof buffer;
    SupER_FormatMessage(buffer, &size, 0, SUPER_END_USER | 1, programCheck, 0);
    EXPECT_STREQ(buffer, "ERZ057002E: text");
}

TEST_F(SupER_Message, FormatMessageKeepsTheSystemLogBitBesideTheEndUser)
{
    // 8 | 1 is not 1, so that no line end is added.
    Hook_SetText(programCheck, "ERZ057002E: text");
    SupER_FormatMessage(buffer, &size, 0, SUPER_END_USER | SUPER_SYSTEM_LOG | 1, programCheck, 9);
    EXPECT_STREQ(buffer, "ERZ057002E/0009: text");
}

TEST_F(SupER_Message, FormatMessageHasRoomForOneByteMore)
{
    Hook_SetText(programCheck, "ERZ057002E: 12345678");
    char exact[21];
    size = 20;
    EXPECT_EQ(formatMessageVar(exact, &size, 0, SUPER_END_USER, programCheck, 0), ERZ_OK);
    EXPECT_STREQ(exact, "ERZ057002E: 12345678");
    EXPECT_EQ(size, 21u);

    size = 19;
    EXPECT_EXIT(SupER_FormatMessage(exact, &size, 0, SUPER_END_USER, programCheck, 0), testing::ExitedWithCode(0),
                "20 bytes of room, 21 needed");
}

TEST_F(SupER_Message, FormatMessageEndsOnBadBuffer)
{
    const char *const expected = "ERZ057002E/0023: .*'\\(MessageBuffer != NULL && MessageBufferSize != NULL && "
                                 "\\*MessageBufferSize > SUPER_MSG_TEXT_OFFSET\\)' failed in function "
                                 "SupER_FormatMessageVar,.*MSN/23 .*= Invalid input\n.*left at 1 with 99\\]";
    const testing::ExitedWithCode ended(99);
    EXPECT_EXIT((watchExitOf("SupER_FormatMessageVar"), SupER_FormatMessage(nullptr, &size, 0, 16, programCheck, 1)),
                ended, expected);
    EXPECT_EXIT((watchExitOf("SupER_FormatMessageVar"), SupER_FormatMessage(buffer, nullptr, 0, 16, programCheck, 1)),
                ended, expected);
    size = 17;
    EXPECT_EXIT((watchExitOf("SupER_FormatMessageVar"), SupER_FormatMessage(buffer, &size, 0, 16, programCheck, 1)),
                ended, expected);
    Hook_SetText(programCheck, "ERZ057002E: x");
    size = 18;
    EXPECT_EQ(SupER_FormatMessage(buffer, &size, 0, SUPER_END_USER, programCheck, 0), ERZ_OK);
}

TEST_F(SupER_Message, FormatMessageEndsWithoutRecipient)
{
    EXPECT_EXIT((watchExitOf("SupER_FormatMessageVar"), SupER_FormatMessage(buffer, &size, 0, 7, programCheck, 1)),
                testing::ExitedWithCode(99),
                "ERZ057002E/0032: .*'FALSE' failed.*MSN/32 .*= Destination must indicate purpose of message, i.e. END "
                "USER or VELA SYSTEM.  Destination must be an ORing of one of these two and some other message "
                "destination\n.*left at 2 with 99\\]");
}
