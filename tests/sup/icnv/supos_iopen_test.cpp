// Opening: which pairs are copies, which tables a pair loads, what a missing one does, and the pool of descriptors.

#include "icnv_root.h"
#include "no_memory.h"
#include "ring_reader.h"
#include "supos_icnv_engine.h"

#include <set>
#include <sys/stat.h>

namespace
{

const char *const lines = "819 819 0 819 1 3 1 ISO8859-1\n37 37 0 37 1 1 0 QMX-037\n850 850 0 850 1 2 1 QMX-850\n"
                          "500 500 0 500 1 1 0 QMX-500\n912 912 0 912 1 3 1 QMX-912\n"
                          "25488 25488 0 25488 1 3 1 -\n1386 1386 1385 1114 3 2 5 QMX-1386\n"
                          "1392 1392 1 2 3 2 5 -\n5488 5488 3 4 3 2 5 -\n931 931 300 37 3 1 0 QMX-931\n"
                          "13488 13488 1 0 2 4 0 UCS-2\n1208 13488 1 0 2 5 0 UTF-8\n1047 37 0 37 1 1 0 QMX-1047\n"
                          "##P\n1 1 0E 0E\n5 1 81 FE\n";

// Opens by numbers; returns the code, and the descriptor's fields.
i32 openNumbers(u32 From, u32 To, IcnvDescriptor *Out)
{
    *Out = {};
    return SupOS_OpenConversion(From, To, 1, &Out->mode, &Out->table1, &Out->table2, &Out->index, &Out->fromKind,
                                &Out->fromEncoding, &Out->toKind, &Out->toEncoding);
}

std::string byteTable(u8 First)
{
    std::string table(256, '\0');
    for (size_t i = 0; i < 256; ++i) table[i] = static_cast<char>(First + i);
    return table;
}

} // namespace

TEST(SupOS_SafeIcnvOpen, GivesACopyForEqualNames)
{
    Icnv_UseCatalogue(lines);
    const u32 cd = Icnv_Open("QMX-1112", "QMX-1112"); // the catalogue has no line for it
    const Icnv_Answer answer = Icnv_Code(cd, "any bytes", 20);
    EXPECT_EQ(answer.Code, 0);
    EXPECT_EQ(answer.Text, "any bytes");
    EXPECT_EQ(answer.Consumed, 0u) << "the pointers stay on this route";
    EXPECT_EQ(answer.Moved, 0u);
    EXPECT_EQ(answer.Left, 0u);
}

TEST(SupOS_SafeIcnvCode, CopiesAllOrNothing)
{
    Icnv_UseCatalogue(lines);
    const u32 cd = Icnv_Open("QMX-037", "QMX-037");
    char target[4] = "---";
    const char *in = "abcd";
    char *out = target;
    u32 length = 4, room = 3;
    EXPECT_EQ(SupOS_IcnvCode(cd, &in, &length, &out, &room), -56);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(room, 3u);
    EXPECT_STREQ(target, "---");

    char both[8] = "abcdefg";
    const char *from = both;
    char *to = both + 2;
    length = 5, room = 6;
    EXPECT_EQ(SupOS_IcnvCode(cd, &from, &length, &to, &room), 0);
    EXPECT_STREQ(both, "ababcde") << "overlap is allowed";
    EXPECT_EQ(room, 1u);
    EXPECT_EQ(length, 0u);
}

TEST(SupOS_SafeIcnvCode, ReportsNoRoomForAnEmptySource)
{
    Icnv_UseTables();
    for (const char *to : {"QMX-037", "QMX-850", "UCS-2", "QMX-930"}) {
        const u32 cd = Icnv_Open(to, "QMX-037");
        const Icnv_Answer answer = Icnv_Code(cd, "", 9);
        EXPECT_EQ(answer.Code, 0) << to;
        EXPECT_EQ(answer.Text.size(), 9u) << to;
        EXPECT_EQ(answer.Moved, 0u) << to;
    }
}

TEST(SupOS_SafeIcnvOpen, LeavesErrnoForACodeSetWithoutALine)
{
    Icnv_UseCatalogue(lines);
    Ring_TraceOn();
    errno = 5;
    EXPECT_EQ(SupOS_IcnvOpen("QMX-037", "QMX-273"), SUPOS_ICNV_FAILED);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConversion"), 2u);
    EXPECT_EQ(SupOS_IcnvOpen("QMX-273", "QMX-037"), SUPOS_ICNV_FAILED);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConversion"), 3u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SafeIcnvOpen"), 3u);
    EXPECT_EQ(errno, 5);
}

TEST(SupOS_SafeIcnvOpen, TriesABadTableAgainAtTheNextOpen)
{
    const std::string folder = Icnv_UseCatalogue(lines);
    const std::string file = folder + "/00250352.tbl";
    errno = 5;
    EXPECT_EQ(SupOS_IcnvOpen("QMX-850", "QMX-037"), SUPOS_ICNV_FAILED) << "missing";
    std::filesystem::create_directory(file);
    errno = 5;
    EXPECT_EQ(SupOS_IcnvOpen("QMX-850", "QMX-037"), SUPOS_ICNV_FAILED) << "a directory cannot be read";
    EXPECT_EQ(errno, 5);
    std::filesystem::remove(file);
    EXPECT_EQ(IcnvRoot->tableCount, 0u) << "a failed load leaves no record";

    Scratch_WriteFile(file, byteTable(1));
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    EXPECT_EQ(Icnv_Code(cd, std::string("\x00\x40\x15", 3)).Text, "\x01\x41\x26") << "15 takes the entry of 25";
    EXPECT_EQ(IcnvRoot->tableCount, 1u);
    std::filesystem::remove(file);
    EXPECT_EQ(Icnv_Code(Icnv_Open("QMX-850", "QMX-037"), "\x40").Text, "\x41") << "one that was read stays";
    EXPECT_EQ(IcnvRoot->tableCount, 1u);
}

TEST(SupOS_SafeIcnvOpen, ServesATableThatIsTooShort)
{
    const std::string folder = Icnv_UseCatalogue(lines);
    Scratch_WriteFile(folder + "/00250352.tbl", byteTable(1).substr(0, 0x41));
    Scratch_WriteFile(folder + "/003404B8.tbl", "");
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    EXPECT_EQ(Icnv_Code(cd, "\x40\x42\x40", 9).Text, "\x41\xEE\x41") << "outside, the target stays as it was";
}

TEST(SupOS_OpenConversion, CopiesWhereNothingDiffers)
{
    Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    Ring_TraceOn();
    IcnvDescriptor d;
    EXPECT_EQ(openNumbers(37, 37, &d), ICNV_RC_SAME);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConversion"), 1u);
    EXPECT_EQ(openNumbers(1047, 37, &d), ICNV_RC_SAME) << "same parts and encoding";
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConversion"), 4u);
    EXPECT_EQ(openNumbers(37, 931, &d), ICNV_RC_SAME) << "single to mixed with the same single bytes";
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenConversion"), 5u);
    EXPECT_EQ(openNumbers(931, 37, &d), ICNV_RC_OK);
    EXPECT_EQ(d.table1, 3999u);
    EXPECT_EQ(d.table2, 3998u);
    EXPECT_EQ(d.mode, 17u);
}

TEST(SupOS_OpenConversion, CopiesBetweenVariantsWithoutATable)
{
    Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    IcnvDescriptor d;
    EXPECT_EQ(openNumbers(912, 25488, &d), ICNV_RC_SAME);
    EXPECT_EQ(openNumbers(25488, 912, &d), ICNV_RC_SAME);
    EXPECT_EQ(openNumbers(1386, 1392, &d), ICNV_RC_SAME);
    EXPECT_EQ(openNumbers(1386, 5488, &d), ICNV_RC_SAME);
    EXPECT_EQ(openNumbers(1392, 1386, &d), ICNV_RC_NOTABLE) << "not the other way";
    EXPECT_EQ(openNumbers(37, 850, &d), ICNV_RC_NOTABLE);
    EXPECT_EQ(openNumbers(1, 850, &d), ICNV_RC_NOFROM);
    EXPECT_EQ(openNumbers(37, 1, &d), ICNV_RC_NOTO);
}

TEST(SupOS_OpenConversion, NeedsNoTableBetweenFormsOfUnicode)
{
    Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    IcnvDescriptor d;
    d.table2 = 77;
    EXPECT_EQ(openNumbers(13488, 1208, &d), ICNV_RC_OK);
    EXPECT_EQ(d.mode, 0u);
    EXPECT_EQ(d.table1, 0u);
    EXPECT_EQ(d.table2, 0u);
}

TEST(SupOS_OpenDefaultConversion, StandsInForAMissingTable)
{
    const std::string folder = Icnv_UseCatalogue(std::string("default 0 37 0 1 0\ndefault 0 850 0 2 0\n") + lines);
    Ring_TraceOn();
    IcnvDescriptor d;
    SupOS_IcnvNeedCatalogue();
    EXPECT_EQ(openNumbers(500, 819, &d), ICNV_RC_NODEFAULT) << "the defaults have no table either";
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenDefaultConversion"), 5u);
    Scratch_WriteFile(folder + "/00250352.tbl", byteTable(7));
    EXPECT_EQ(openNumbers(500, 819, &d), ICNV_RC_OK);
    EXPECT_EQ(d.mode, 33u) << "as between the defaults, not through them";
    EXPECT_EQ(openNumbers(500, 37, &d), ICNV_RC_SAME);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenDefaultConversion"), 1u);
    EXPECT_EQ(openNumbers(850, 819, &d), ICNV_RC_SAME);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenDefaultConversion"), 2u);
    EXPECT_EQ(openNumbers(37, 13488, &d), ICNV_RC_NODEFAULT);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_OpenDefaultConversion"), 4u);
}

TEST(SupOS_OpenConv, LoadsThreeSuffixedTablesForAKindThatNoCatalogueNames)
{
    const std::string folder = Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    for (const char *name : {"/00250352_1.tbl", "/00250352_2.tbl", "/00250352_4.tbl"})
        Scratch_WriteFile(folder + name, byteTable(1));
    u32 tables[4] = {};
    EXPECT_EQ(SupOS_OpenConv(850, 0, 37, 0, tables, &tables[3], 7), ICNV_RC_OK);
    EXPECT_EQ(tables[0], 1u);
    EXPECT_EQ(tables[1], 2u);
    EXPECT_EQ(tables[2], 3u);
    EXPECT_EQ(IcnvRoot->tables[1].key, 372u);
    EXPECT_EQ(IcnvRoot->tables[1].to, 850u);
    EXPECT_EQ(memcmp(IcnvRoot->tables[1].tag, "ICNV", 4), 0);
}

TEST(SupOS_ModifyTable, WidensRows)
{
    constexpr size_t row = 260;
    std::string old(256 + 2 * row, '\0');
    for (size_t r = 0; r < 2; ++r) {
        const i32 base = 1;
        memcpy(&old[256 + r * row], &base, 4);
        for (size_t i = 0; i < 256; ++i) old[256 + r * row + 4 + i] = static_cast<char>(i == 9 ? 1 : 0);
    }
    old[3] = 1;
    old += "tail";
    u8 *const data = static_cast<u8 *>(malloc(old.size()));
    memcpy(data, old.data(), old.size());
    IcnvTable table = {{'I', 'C', 'N', 'V'}, 0, 0, data, static_cast<u32>(old.size()), nullptr};
    ASSERT_EQ(SupOS_ModifyTable(&table), ICNV_RC_OK);
    EXPECT_EQ(table.size, old.size() + 2 * 252 + 256);
    EXPECT_EQ(memcmp(table.data, old.data(), 256), 0);
    EXPECT_EQ(memcmp(table.data + 512, old.data() + 256, row), 0);
    EXPECT_EQ(memcmp(table.data + 1024, old.data() + 256 + row, row), 0);
    EXPECT_EQ(memcmp(table.data + 1536, "tail", 4), 0);
    table.size = 300; // a row that is not all there
    EXPECT_EQ(SupOS_ModifyTable(&table), ICNV_RC_NOTABLE);
    free(table.data);
}

TEST(Descriptors, AreFixedCodesFromTheLastSlotDown)
{
    Icnv_UseTables();
    std::set<u32> seen;
    for (u32 i = 0; i < 32; ++i) {
        const u32 cd = Icnv_Open("QMX-850", "QMX-037");
        EXPECT_EQ(cd, 0x49430000u + (31 - i) * 4);
        seen.insert(cd);
    }
    EXPECT_EQ(seen.size(), 32u);
    EXPECT_DEATH(SupOS_IcnvOpen("QMX-850", "QMX-037"), "");
}

TEST(Descriptors, FaultWhereTheValueIsNone)
{
    Icnv_UseTables();
    Icnv_Open("QMX-850", "QMX-037");
    EXPECT_DEATH(SupOS_IcnvClose(0xFFFFFFFFu), "");
    EXPECT_DEATH(SupOS_IcnvClose(0), "");
    EXPECT_DEATH(Icnv_Code(0x49430002u, "a"), "");
    EXPECT_DEATH(Icnv_Code(0x49430080u, "a"), "");
}

TEST(Descriptors, ClosedTwiceAreHandedOutTwice)
{
    Icnv_UseTables();
    const u32 cd = Icnv_Open("QMX-850", "QMX-037");
    EXPECT_EQ(SupOS_IcnvClose(cd), 0);
    EXPECT_EQ(SupOS_IcnvClose(cd), 0); // required: nothing checks
    EXPECT_EQ(Icnv_Open("QMX-850", "QMX-037"), cd);
    EXPECT_EQ(Icnv_Open("QMX-500", "QMX-037"), cd);
}

TEST(SupOS_GetTable, HasNoMemory)
{
    NO_MEMORY_SKIP();
    Icnv_UseTables();
    SupOS_IcnvNeedCatalogue();
    const int result = NoMemory_Run([] {
        errno = 5;
        return SupOS_IcnvOpen("QMX-850", "QMX-037") == SUPOS_ICNV_FAILED && errno == 5 ? 7 : 1;
    });
    EXPECT_EQ(result, 7);
}

TEST(SupOS_GetTable, NeedsRoomBeforeTheFile)
{
    NO_MEMORY_SKIP();
    Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    u32 table = 77;
    EXPECT_EQ(SupOS_GetTable(1, 9999, &table, 1, 0), ICNV_RC_NOTABLE);
    const int result = NoMemory_Run([] {
        u32 none = 77;
        return SupOS_GetTable(1, 9999, &none, 1, 0) == ICNV_RC_NOMEM && none == 77 ? 7 : 1;
    });
    EXPECT_EQ(result, 7);
    EXPECT_EQ(table, 77u);
}

TEST(SupOS_GetTable, KeepsTheTwoHandlesWithAMeaningFree)
{
    const std::string folder = Icnv_UseCatalogue(lines);
    SupOS_IcnvNeedCatalogue();
    Scratch_WriteFile(folder + "/00250352.tbl", byteTable(1));
    u32 table = 0;
    for (u32 to = 1; to <= 4000; ++to) {
        char name[32];
        snprintf(name, sizeof name, "/%04X%04X.tbl", 9999u, to);
        std::filesystem::create_symlink(folder + "/00250352.tbl", folder + name);
        ASSERT_EQ(SupOS_GetTable(to, 9999, &table, 1, 0), ICNV_RC_OK);
        ASSERT_NE(table, ICNV_TBL_SAME);
        ASSERT_NE(table, ICNV_TBL_SUBST);
    }
    EXPECT_EQ(table, 4002u);
}
