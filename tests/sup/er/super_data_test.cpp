// The per-thread block and its catalogue, abend codes, condition names.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "catalog_hook.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "super_codes.h"
#include "super_int.h"
#include "super_logging.h"
#include "tks_memory.h"

class SupER_Block : public testing::Test
{
protected:
    void SetUp() override
    {
        Scratch_MakeRoot();
        Hook_Reset();
    }
};

TEST_F(SupER_Block, IsMadeOnceInAThread)
{
    SupERData *const data = SupER_GetData();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(SupER_GetData(), data);
    static SupERData *mine;
    mine = data;
    onNewThread([] { EXPECT_NE(SupER_GetData(), mine); });
}

TEST_F(SupER_Block, StartsWithItsFieldsSet)
{
    onNewThread([] {
        const SupERData *const data = SupER_GetData();
        EXPECT_EQ(data->Reserved, 0xFFFFFFFFu);
        EXPECT_NE(data->Catalog, 0xFFFFFFFFu);
        EXPECT_EQ(data->Stored, 0u);
        EXPECT_EQ(data->OtherBusy, 0u);
        EXPECT_EQ(data->ConsoleBusy, 0u);
        EXPECT_EQ(data->StdoutBusy, 0u);
        EXPECT_NE(data->OutputLock, nullptr);
        EXPECT_EQ(data->ReservedEnd, 0u);
        EXPECT_EQ(Hook_OpenCount(), 1u);
    });
}

TEST_F(SupER_Block, SharesItsOutputLockWithAllThreads)
{
    static tks_Mutex *lock;
    lock = SupER_GetData()->OutputLock;
    onNewThread([] { EXPECT_EQ(SupER_GetData()->OutputLock, lock); });
}

TEST_F(SupER_Block, TriesTheCatalogFiveTimes)
{
    Hook_FailOpens(0xFFFFFFFF);
    onNewThread([] {
        EXPECT_EQ(SupER_GetData()->Catalog, 0xFFFFFFFFu);
        EXPECT_EQ(Hook_OpenCount(), 5u);
        SupER_GetData();
        EXPECT_EQ(Hook_OpenCount(), 5u); // no new tries in this thread
    });
    onNewThread([] {
        SupER_GetData();
        EXPECT_EQ(Hook_OpenCount(), 10u); // but in the next
    });
}

TEST_F(SupER_Block, TakesTheCatalogOfALaterTry)
{
    Ring_TraceOn("SUPER=4");
    Hook_Reset();
    Hook_FailOpens(4);
    EXPECT_NE(SupER_TKSCatOpen("vela.cat", 1), 0xFFFFFFFFu);
    EXPECT_EQ(Hook_OpenCount(), 5u);
    EXPECT_EQ(Ring_LastExitPoint("SupER_TKSCatOpen"), 1u);
    Hook_FailOpens(5);
    EXPECT_EQ(SupER_TKSCatOpen("vela.cat", 1), 0xFFFFFFFFu);
}

TEST_F(SupER_Block, InitDataClearsItsFields)
{
    Ring_TraceOn("SUPER=4");
    tks_Mutex lock = {};
    SupERData data;
    memset(&data, 0x55, sizeof data);
    data.OutputLock = &lock;
    Hook_Reset();
    SupER_InitData(&data);
    EXPECT_EQ(data.Reserved, 0x55555555u);
    EXPECT_EQ(data.Catalog, 0x55555555u); // open: left alone
    EXPECT_EQ(Hook_OpenCount(), 0u);
    EXPECT_EQ(data.Stored, 0u);
    EXPECT_EQ(data.OtherBusy, 0u);
    EXPECT_EQ(data.ConsoleBusy, 0u);
    EXPECT_EQ(data.StdoutBusy, 0u);
    EXPECT_EQ(data.OutputLock, &lock);
    EXPECT_EQ(data.ReservedEnd, 0u);
    EXPECT_EQ(data.Symptom.Line, 0x55555555);
    EXPECT_EQ(Ring_LastExitPoint("SupER_InitData"), 2u);

    for (const u32 closed : {0u, 0xFFFFFFFFu}) {
        data.Catalog = closed;
        SupER_InitData(&data);
        EXPECT_NE(data.Catalog, 0u);
        EXPECT_NE(data.Catalog, 0xFFFFFFFFu);
    }
    SupER_InitData(nullptr);
    EXPECT_EQ(Ring_LastExitPoint("SupER_InitData"), 1u);
}

TEST_F(SupER_Block, GetDataLeavesNoRecordOfItsOwn)
{
    Ring_TraceOn("SUPER=4");
    onNewThread([] { SupER_GetData(); });
    EXPECT_EQ(Ring_Count("SupER_GetData"), 0u);
    EXPECT_NE(Ring_Count("SupER_InitData"), 0u);
}

static u32 failingMalloc;
static void logWithoutMemory(u32 Nth)
{
    failingMalloc = Nth;
    onNewThread([] {
        tks_TestFailMalloc(failingMalloc);
        SupER_Log(SUPER_CONSOLE, 0x0C409029, 1);
    });
}

TEST_F(SupER_Block, WithoutMemoryEndsTheProcess)
{
    EXPECT_EXIT(
        logWithoutMemory(1), testing::ExitedWithCode(98),
        "^SYMPTOMS = TIME/.* MOD/\"@\\(#\\)super, [^\"]*\" FUNC/SupER_GetData LINE/[0-9]+ MS/057017 MSN/8 SRC/11 "
        "PRCS/98 ABCODE/ SRVID/0 PID/[0-9]+ TID/0 PROC/\nSECONDARY SYMPTOMS = \n\n"
        "ERZ057017E/0008: Not enough memory for the message data of a thread; the process is ending\n$");
}

TEST_F(SupER_Block, WithoutMemoryUnderTraceEndsTheProcessToo)
{
    // The first block of a traced thread is that of its records, the second its own.
    EXPECT_EXIT((Ring_TraceOn("ALL=5"), logWithoutMemory(2)), testing::ExitedWithCode(98),
                "^SYMPTOMS = .* MS/057017 MSN/8 .*ERZ057017E/0008: ");
}

TEST_F(SupER_Block, IsMadeWhileATraceRecordHasNoMemory)
{
    EXPECT_EXIT((Ring_TraceOn("ALL=5"), logWithoutMemory(1), exit(7)), testing::ExitedWithCode(7),
                "^ERZ049010E/0903: [^\n]*\nERZ049010E/0001: [^\n]*\n$");
}

TEST(SupER_InitAssertData, DoesNothing)
{
    SupER_InitAssertData();
    EXPECT_EQ(InfTR_TracePtr, nullptr);
}

// ---- abend codes ----

static std::string abendName(u32 Code)
{
    char name[8];
    memset(name, '~', sizeof name);
    EXPECT_EQ(SupER_AbToStr(name, Code), name);
    EXPECT_EQ(name[5], '\0');
    EXPECT_EQ(name[6], '~');
    return name;
}

TEST(SupER_AbToStr, GivesNames)
{
    EXPECT_EQ(abendName(0x41424344), "ABCD");
    EXPECT_EQ(abendName(0xC1424344), "UABCD");
    EXPECT_EQ(abendName(0x41C24344), "ABCD"); // the flag is no part of the name
    EXPECT_EQ(abendName(0xC1C24344), "UABCD");
    EXPECT_EQ(abendName(0x41420044), "AB"); // a zero ends the name
    EXPECT_EQ(abendName(0xC1000000), "UA");
    EXPECT_EQ(abendName(0x80000000), "U");
    EXPECT_EQ(abendName(0x00424344), "");
    EXPECT_EQ(abendName(0), "");
}

TEST(SupER_StrToAb, PacksNames)
{
    EXPECT_EQ(SupER_StrToAb("ABCD", 0), 0x41424344u);
    EXPECT_EQ(SupER_StrToAb("ABCD", 0xFFFFFFFF), 0x41424344u); // the flag is for the other form
    EXPECT_EQ(SupER_StrToAb("UABCD", 0), 0xC1424344u);
    EXPECT_EQ(SupER_StrToAb("UABCD", 0x00800001), 0xC1C24345u);
    EXPECT_EQ(SupER_StrToAb("xABCD", 0), 0xC1424344u); // any leading character counts
    EXPECT_EQ(SupER_StrToAb("UABCDEFG", 0), 0xC1424344u);
    EXPECT_EQ(SupER_StrToAb("\xC1\xC2\xC3\xC4", 0), 0x4142C3C4u); // top bits of the first two characters are lost
    EXPECT_EQ(SupER_StrToAb("U\xC1\xC2\xC3\xC4", 0), 0xC142C3C4u);
    EXPECT_EQ(SupER_StrToAb("AB\0\0", 0), 0x41420000u);
}

TEST(SupER_StrToAb, AndBack)
{
    for (const char *name : {"ABCD", "UABCD", "A001", "U9999", "ASRA"})
        EXPECT_EQ(abendName(SupER_StrToAb(name, 0)), name);
}

TEST(SupER_StrToAb, LeavesItsExitPoints)
{
    Ring_TraceOn("SUPER=4");
    SupER_StrToAb("ABCD", 0);
    EXPECT_EQ(Ring_LastExitPoint("SupER_StrToAb"), 1u);
    SupER_StrToAb("UABCD", 0);
    EXPECT_EQ(Ring_LastExitPoint("SupER_StrToAb"), 2u);
    abendName(1);
    EXPECT_EQ(Ring_LastExitPoint("SupER_AbToStr"), 1u);
}

// ---- condition names ----

TEST(ConditionNameTable, HasAllNamesInOrder)
{
    static const char names[] =
        "NORMAL ERROR RDATT WRBRK EOF EODS EOC INBFMH ENDINPT NONVAL NOSTART TERMIDERR FILENOTFOUND NOTFND DUPREC "
        "DUPKEY "
        "INVREQ IOERR NOSPACE NOTOPEN ENDFILE ILLOGIC LENGERR QZERO SIGNAL QBUSY ITEMERR PGMIDERR TRANSIDERR ENDDATA "
        "INVTSREQ EXPIRED RETPAGE RTEFAIL RTESOME TSIOERR MAPFAIL INVERRTERM INVMPSZ IGREQID OVERFLOW INVLDC NOSTG "
        "JIDERR "
        "QIDERR NOJBUFSP DSSTAT SELNERR FUNCERR UNEXPIN NOPASSBKRD NOPASSBKWR  SYSIDERR ISCINVREQ ENQBUSY ENVDEFERR "
        "IGREQCD SESSIONERR SYSBUSY SESSBUSY NOTALLOC CBIDERR INVEXITREQ INVPARTNSET INVPARTN PARTNFAIL   USERIDERR "
        "NOTAUTH  SUPPRESSED WRONGSTAT NAMEERROR  CCERROR MAPERROR   NOSPOOL TERMERR ROLLEDBACK END DISABLED ALLOCERR "
        "STRELERR OPENERR SPOLBUSY SPOLERR NODEIDERR TASKIDERR TCIDERR DSIDERR";
    std::string found;
    u32 rows = 0;
    for (; ConditionNameTable[rows].Name != nullptr; ++rows) {
        if (rows != 0) found += ' ';
        found += ConditionNameTable[rows].Name;
        EXPECT_EQ(ConditionNameTable[rows].Code, rows == 93 ? 12 : rows);
    }
    EXPECT_EQ(rows, 94u);
    EXPECT_EQ(found, names);
    EXPECT_EQ(ConditionNameTable[94].Code, 0xFFFFFFFFu);
}
