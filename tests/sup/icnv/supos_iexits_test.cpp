// Every numbered way out of the conversion functions that a call can take, with the trace as witness, and the failures of
// the platform on the way.

#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>

#include "icnv_root.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "supos_icnv_engine.h"
#include "win32_file.h"
#include "win32_sync.h"

using namespace std::string_literals;

namespace
{

// A catalogue with a code set of each kind, defaults included, and no tables.
const char lines[] = "37 37 0 37 1 1 0 QMX-037\n500 500 0 500 1 1 0 QMX-500\n850 850 0 850 1 2 1 QMX-850\n"
                     "437 437 0 437 1 2 1 QMX-437\n930 930 300 290 3 1 0 QMX-930\n943 943 941 897 3 2 2 QMX-943\n"
                     "931 931 300 37 3 1 0 QMX-931\n1208 13488 0 1208 1 5 0 UTF-8\n13488 13488 0 13488 1 4 0 UCS-2\n"
                     "1200 1200 0 1200 1 4 0 other\n954 954 0 954 1 6 1 QMX-eucJP\n"
                     "default 0 37 0 1 0\ndefault 0 850 0 2 0\n"
                     "##P\n1 1 81 FE\n2 2 81 9F E0 FC\n##EUC\n1 4 1 2 1 2\n";

// The result of an open by numbers; its exit point is in the ring.
i32 openNumbers(u32 From, u32 To, u32 AllowDefault = 1)
{
    IcnvDescriptor d = {};
    return SupOS_OpenConversion(From, To, AllowDefault, &d.mode, &d.table1, &d.table2, &d.index, &d.fromKind,
                                &d.fromEncoding, &d.toKind, &d.toEncoding);
}

// Closing a mutex's handle gives the mutex up until that fails, which is an error to ThreadSanitizer.
#if defined(__SANITIZE_THREAD__)
#define SKIP_CLOSED_MUTEX() GTEST_SKIP() << "a mutex that is closed is given up more often than it was taken"
#else
#define SKIP_CLOSED_MUTEX() (void)0
#endif

} // namespace

TEST(IcnvExits, OfOpening)
{
    Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    Ring_TraceOn();
    const auto exits = [](u32 from, u32 to, i32 wanted, u32 point) {
        EXPECT_EQ(openNumbers(from, to, 0), wanted) << from << " to " << to;
        EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConversion"), point) << from << " to " << to;
    };
    exits(37, 37, ICNV_RC_SAME, 1);
    exits(1, 37, ICNV_RC_NOFROM, 2);
    exits(37, 1, ICNV_RC_NOTO, 3);
    exits(37, 931, ICNV_RC_SAME, 5);
    exits(37, 850, ICNV_RC_NOTABLE, 6);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConv"), 1u);
    exits(931, 37, ICNV_RC_OK, 6);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConv"), 2u);
    exits(1208, 13488, ICNV_RC_OK, 6);

    const auto defaults = [](u32 from, u32 to, i32 wanted, u32 point) {
        EXPECT_EQ(openNumbers(from, to), wanted) << from << " to " << to;
        EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenDefaultConversion"), point) << from << " to " << to;
    };
    defaults(37, 500, ICNV_RC_SAME, 1); // two host sets
    defaults(850, 437, ICNV_RC_SAME, 2); // two byte sets
    defaults(850, 1208, ICNV_RC_SAME, 2);
    defaults(954, 943, ICNV_RC_SAME, 2);
    defaults(37, 13488, ICNV_RC_NODEFAULT, 4); // there is none for UCS-2
    defaults(930, 943, ICNV_RC_NODEFAULT, 5); // the defaults have no table either
    EXPECT_EQ(SupOS_IcnvOpen("QMX-943", "QMX-930"), SUPOS_ICNV_FAILED);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvOpen"), 3u);
}

TEST(IcnvExits, TwoCodeSetsOfUnitsPassUnchangedByDefault)
{
    Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    Ring_TraceOn();
    IcnvDescriptor d = {};
    d.fromEncoding = d.toEncoding = ICNV_UCS2; // no open leads here: these forms need no table
    EXPECT_EQ(SupOS_OpenDefaultConversion(13488, 1200, &d.mode, &d.table1, &d.table2, &d.index, &d.fromKind,
                                          &d.fromEncoding, &d.toKind, &d.toEncoding),
              ICNV_RC_SAME);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenDefaultConversion"), 3u);
}

TEST(IcnvExits, OfTheByteRoute)
{
    Icnv_UseTables();
    Ring_TraceOn();
    Icnv_Convert("QMX-850", "QMX-037", "\xC1");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_CodeConv"), 1u);
    Icnv_Convert("QMX-850", "QMX-930", "\x0E\x43\x81\x0F");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_CodeConv"), 2u);
    EXPECT_EQ(Ring_LastExitPoint("HostPCMS"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("XltSUB"), 1u);
    Icnv_Convert("QMX-037", "QMX-943", "\x83\x41");
    EXPECT_EQ(Ring_LastExitPoint("PCHostMS"), 2u);
    Icnv_Convert("QMX-930", "QMX-943", "\x83\x41");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_CodeConv"), 3u);
    EXPECT_EQ(Ring_LastExitPoint("PCHostMM"), 2u);

    const u32 copy = Icnv_Open("QMX-037", "QMX-037");
    EXPECT_EQ(Icnv_Code(copy, "AB", 1).Code, ICNV_RC_COPYFULL);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvCode"), 2u);
    EXPECT_EQ(Icnv_Code(copy, "AB", 2).Text, "AB");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvCode"), 3u);
    Icnv_Convert("QMX-eucKR", "QMX-eucKR", "A");
    const u32 none = Icnv_Open("UCS-2", "UTF-8");
    IcnvPool[(none - ICNV_FIRST_CODE) / ICNV_CODE_STEP].toEncoding = ICNV_ENC8;
    EXPECT_EQ(Icnv_Code(none, "A").Code, ICNV_RC_NOTABLE);
    EXPECT_EQ(Ring_LastExitPoint("UTFEnc8MM"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NewCodeConv"), 2u);
    IcnvPool[(none - ICNV_FIRST_CODE) / ICNV_CODE_STEP].toEncoding = 9;
    EXPECT_EQ(Icnv_Code(none, "A").Code, ICNV_RC_NOTABLE);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NewCodeConv"), 1u);
}

// Row 2 of the lead bytes taken away: a PC source is refused before its first byte.
TEST(IcnvExits, APCSourceWithoutItsRow)
{
    Icnv_UseTables();
    const u32 mixed = Icnv_Open("QMX-930", "QMX-943");
    const u32 single = Icnv_Open("QMX-037", "QMX-943");
    for (const u32 count : {0u, 4u}) {
        IcnvRoot->leadRanges[2].count = count;
        Ring_TraceOn();
        for (const u32 cd : {mixed, single}) {
            const Icnv_Answer a = Icnv_Code(cd, "AB", 8);
            EXPECT_EQ(a.Code, ICNV_RC_BADSRC);
            EXPECT_EQ(a.Consumed + a.Moved + a.Text.size(), 0u);
        }
        EXPECT_EQ(Ring_LastExitPoint("PCHostMM"), 1u);
        EXPECT_EQ(Ring_LastExitPoint("PCHostMS"), 1u);
    }
}

// Each double-byte character leaves its records, however long the text; without trace the result is the same.
TEST(IcnvExits, EveryDoubleByteCharacterIsTraced)
{
    Icnv_UseTables();
    std::string host = "\xC1\x0E";
    for (int i = 0; i < 100; ++i) host += "\x43\x81";
    host += "\x0F\xC2";
    const std::string mixed = Icnv_Convert("QMX-943", "QMX-930", host, 1000).Text;
    const std::string single = Icnv_Convert("QMX-850", "QMX-930", host, 1000).Text;
    Ring_TraceOn();
    const auto records = [](const char *name, const char *to, const char *from, const std::string &text,
                            const std::string &wanted) {
        const u32 cd = Icnv_Open(to, from);
        Ring_Clear();
        EXPECT_EQ(Icnv_Code(cd, text, 1000).Text, wanted);
        EXPECT_EQ(Ring_Count(name), 200u) << "an entry and an exit of each character";
        SupOS_IcnvClose(cd);
    };
    records("XltDBCS", "QMX-943", "QMX-930", host, mixed);
    records("XltDBCS", "QMX-930", "QMX-943", mixed, host);
    records("XltSUB", "QMX-850", "QMX-930", host, single);
    records("XltSUB", "QMX-037", "QMX-943", mixed, "\xC1" + std::string(100, '\x3F') + "\xC2");
}

TEST(IcnvLock, FailsToBeWaitedFor)
{
    SKIP_CLOSED_MUTEX();
    Icnv_UseTables();
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    Ring_TraceOn();
    SupOS_IcnvEndProcess(); // the lock's handle is gone
    EXPECT_EQ(Ring_LastExitPoint("SupOS_IcnvEndProcess"), 1u);
    errno = 5;
    EXPECT_EQ(SupOS_IcnvOpen("QMX-850", "QMX-037"), SUPOS_ICNV_FAILED);
    EXPECT_EQ(errno, 5);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvOpen"), 4u);
    EXPECT_EQ(SupOS_SafeIcnvClose(cd), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvClose"), 1u);
    EXPECT_EQ(SupOS_IcnvClose(cd), 0) << "required: not told";
    EXPECT_EQ(Icnv_Code(cd, "\xC1").Text, "A") << "coding takes no lock";
}

// An event in the lock's place can be waited for and not released.
TEST(IcnvLock, FailsToBeReleased)
{
    SKIP_CLOSED_MUTEX();
    Icnv_UseTables();
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    SupOS_IcnvEndProcess();
    const handle event = CreateEventA(nullptr, 1, 1, nullptr);
    Ring_TraceOn();
    const i32 closed = SupOS_SafeIcnvClose(cd);
    if (Ring_LastExitPoint("SupOS_SafeIcnvClose") == 1) GTEST_SKIP() << "the event has another handle";
    EXPECT_EQ(closed, -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvClose"), 2u);
    EXPECT_EQ(SupOS_IcnvOpen("QMX-850", "QMX-037"), SUPOS_ICNV_FAILED);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvOpen"), 4u);
    CloseHandle(event);
}

TEST(SupOS_GetTable, ReportsAFileWithoutASize)
{
    Icnv_UseTables();
    SupOS_IcnvNeedCatalogue();
    static int (*const real)(const char *, struct stat *) = Plat_Sys.Stat;
    Plat_Sys.Stat = [](const char *path, struct stat *out) {
        if (strstr(path, "00250352.tbl") == nullptr) return real(path, out);
        errno = EIO;
        return -1;
    };
    errno = 5;
    EXPECT_EQ(SupOS_IcnvOpen("QMX-850", "QMX-037"), SUPOS_ICNV_FAILED);
    EXPECT_EQ(errno, 5);
    EXPECT_EQ(IcnvRoot->tableCount, 0u);
    Plat_Sys.Stat = real;
    EXPECT_EQ(Icnv_Convert("QMX-850", "QMX-037", "\xC1").Text, "A") << "the next open tries again";
}

TEST(SupOS_GetTable, RefusesAShortRead)
{
    Icnv_UseTables();
    SupOS_IcnvNeedCatalogue();
    static int (*const real)(const char *, struct stat *) = Plat_Sys.Stat;
    Plat_Sys.Stat = [](const char *path, struct stat *out) { // one byte more than the file has
        const int result = real(path, out);
        if (strstr(path, ".tbl") != nullptr) ++out->st_size;
        return result;
    };
    EXPECT_EQ(SupOS_IcnvOpen("QMX-850", "QMX-037"), SUPOS_ICNV_FAILED);
    EXPECT_EQ(IcnvRoot->tableCount, 0u);
    Plat_Sys.Stat = real;
    EXPECT_EQ(Icnv_Convert("QMX-850", "QMX-037", "\xC1").Text, "A");
}

TEST(SupOS_ModifyTable, TracesItsExits)
{
    Icnv_UseTables();
    Ring_TraceOn();
    IcnvTable table = {{'I', 'C', 'N', 'V'}, 0, 0, static_cast<u8 *>(calloc(1, 516)), 300, nullptr};
    EXPECT_EQ(SupOS_ModifyTable(&table), ICNV_RC_NOTABLE);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ModifyTable"), 1u);
    table.size = 516; // one row of zeros, so no row number above 0
    EXPECT_EQ(SupOS_ModifyTable(&table), ICNV_RC_OK);
    EXPECT_EQ(table.size, 516u + 256u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ModifyTable"), 4u);
    free(table.data);
}
