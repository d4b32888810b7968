// The names of code sets: every row of both tables, by the rules that the names follow.

#include "supos_conversion.h"

#include "supos_icnv_int.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <map>
#include <string>

#include "ring_reader.h"

namespace
{

// clang-format off
const char *const keys[] = {
    "037", "850", "819", "437", "930", "932", "EUCJP", "8859-1", "8859-2", "8859-5", "8859-6", "8859-7", "8859-8",
    "8859-9", "930", "931", "939", "932", "942", "943", "EUCKR", "934", "944", "933", "EUCTW", "938", "948", "937",
    "946", "1381", "935", "EUCCN", "GB18030", "1046", "864", "1089", "420", "855", "915", "1025", "869", "813",
    "875", "856", "916", "424", "273", "277", "278", "280", "284", "285", "297", "500", "871", "852", "912", "870",
    "857", "920", "1026", "858", "921", "922", "923", "924", "954", "964", "970", "1047", "1112", "1122", "1140",
    "1141", "1142", "1143", "1144", "1145", "1146", "1147", "1148", "1149", "1250", "1251", "1252", "1253", "1254",
    "1255", "1256", "1257", "1258", "1363", "1383", "1386", "5346", "5347", "5348", "5349", "5350", "5351", "5352",
    "5353", "5354", "8859-2", "8859-9", "8859-15", "UTF8", "UCS2",
};

const char *const names[] = {
    "QMX-037", "ISO8859-1", "QMX-850", "QMX-819", "QMX-437", "QMX-930", "QMX-931", "QMX-939", "QMX-932",
    "QMX-eucJP", "QMX-942", "QMX-943", "QMX-eucKR", "QMX-934", "QMX-944", "QMX-949", "QMX-933", "QMX-eucTW",
    "QMX-950", "big5", "QMX-938", "QMX-948", "QMX-937", "QMX-946", "QMX-1381", "QMX-935", "QMX-eucCN", "GB18030",
    "QMX-1046", "QMX-864", "ISO8859-6", "QMX-1089", "QMX-420", "QMX-855", "QMX-866", "ISO8859-5", "QMX-915",
    "QMX-1025", "QMX-869", "ISO8859-7", "QMX-813", "QMX-875", "QMX-856", "ISO8859-8", "QMX-916", "QMX-424",
    "QMX-273", "QMX-277", "QMX-278", "QMX-280", "QMX-284", "QMX-285", "QMX-297", "QMX-500", "QMX-860", "QMX-871",
    "QMX-852", "ISO8859-2", "QMX-912", "QMX-870", "QMX-857", "ISO8859-9", "QMX-920", "QMX-1026", "QMX-858",
    "QMX-921", "QMX-922", "QMX-923", "QMX-924", "QMX-954", "QMX-964", "QMX-970", "QMX-1047", "QMX-1112", "QMX-1122",
    "QMX-1140", "QMX-1141", "QMX-1142", "QMX-1143", "QMX-1144", "QMX-1145", "QMX-1146", "QMX-1147", "QMX-1148",
    "QMX-1149", "QMX-1250", "QMX-1251", "QMX-1252", "QMX-1253", "QMX-1254", "QMX-1255", "QMX-1256", "QMX-1257",
    "QMX-1258", "QMX-1363", "QMX-1383", "QMX-1386", "QMX-5346", "QMX-5347", "QMX-5348", "QMX-5349", "QMX-5350",
    "QMX-5351", "QMX-5352", "QMX-5353", "QMX-5354", "ISO8859-2", "ISO8859-9", "UTF-8", "UCS-2", "",
};
// clang-format on

bool isNumber(const std::string &Text)
{
    return Text.find_first_not_of("0123456789") == std::string::npos;
}

std::string fullName(const std::string &Key)
{
    static const std::map<std::string, std::string> others = {
        {"EUCJP", "QMX-eucJP"}, {"EUCKR", "QMX-eucKR"}, {"EUCTW", "QMX-eucTW"}, {"EUCCN", "QMX-eucCN"},
        {"GB18030", "GB18030"}, {"UTF8", "UTF-8"},      {"UCS2", "UCS-2"},      {"8859-15", "QMX-924"},
    };
    if (isNumber(Key)) return "QMX-" + Key;
    const auto other = others.find(Key);
    return other != others.end() ? other->second : "ISO" + Key;
}

// The number of a name; Again for its second row.
u32 numberOf(const std::string &Name, bool Again)
{
    static const std::map<std::string, u32> others = {
        {"QMX-eucJP", 954},
        {"QMX-eucKR", 970},
        {"QMX-eucTW", 964},
        {"QMX-eucCN", 1383},
        {"big5", 950},
        {"GB18030", 1381},
        {"ISO8859-1", 819},
        {"ISO8859-2", 912},
        {"ISO8859-5", 915},
        {"ISO8859-6", 1089},
        {"ISO8859-7", 813},
        {"ISO8859-8", 916},
        {"ISO8859-9", 920},
        {"QMX-875", 874},
        {"UTF-8", 1208},
        {"UCS-2", 13488},
        {"", 0},
    };
    if (Again) return Name == "ISO8859-2" ? 25488 : 25491;
    const auto other = others.find(Name);
    return other != others.end() ? other->second : static_cast<u32>(std::stoul(Name.substr(4)));
}

} // namespace

TEST(IcnvShortNames, HoldsEveryRowInOrder)
{
    static_assert(sizeof keys / sizeof keys[0] == 108);
    for (size_t i = 0; i < 108; ++i) {
        EXPECT_STREQ(IcnvShortNames[i].shortName, keys[i]) << i;
        EXPECT_STREQ(IcnvShortNames[i].fullName, fullName(keys[i]).c_str()) << i;
    }
    for (size_t i = 108; i < 110; ++i) {
        EXPECT_EQ(IcnvShortNames[i].shortName, nullptr);
        EXPECT_EQ(IcnvShortNames[i].fullName, nullptr);
    }
}

TEST(IcnvCodeSets, HoldsEveryRowInOrder)
{
    static_assert(sizeof names / sizeof names[0] == 111);
    std::map<std::string, int> seen;
    for (size_t i = 0; i < 111; ++i) {
        EXPECT_STREQ(IcnvCodeSets[i].name, names[i]) << i;
        EXPECT_EQ(IcnvCodeSets[i].ccsid, numberOf(names[i], seen[names[i]]++ > 0)) << names[i];
    }
}

// Every short name leads to a full one that an open knows.
TEST(IcnvCodeSets, HoldsTheFullNameOfEveryShortOne)
{
    for (const char *key : keys) {
        bool found = false;
        for (const IcnvCodeSet &row : IcnvCodeSets) found = found || fullName(key) == row.name;
        EXPECT_TRUE(found) << key;
    }
}

TEST(SupOS_GetCodePage, TurnsShortNamesIntoFullOnes)
{
    for (const char *key : keys) {
        char page[SUPOS_CODE_PAGE_SIZE];
        memset(page, '#', sizeof page);
        SupOS_GetCodePage(key, page);
        EXPECT_EQ(page, fullName(key)) << key;
    }
}

TEST(SupOS_GetCodePage, TakesTheFirstOfTwoRows)
{
    char page[SUPOS_CODE_PAGE_SIZE] = {};
    SupOS_GetCodePage("930", page);
    EXPECT_STREQ(page, "QMX-930");
    SupOS_GetCodePage("8859-15", page);
    EXPECT_STREQ(page, "QMX-924");
    SupOS_GetCodePage("875", page);
    EXPECT_STREQ(page, "QMX-875");
}

TEST(SupOS_GetCodePage, TracesItsExit)
{
    Ring_TraceOn();
    char page[SUPOS_CODE_PAGE_SIZE];
    SupOS_GetCodePage("037", page);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetCodePage"), 1u);
}

// Required: the first empty row is compared with too.
TEST(SupOS_GetCodePageDeathTest, FaultsOnAnUnknownName)
{
    char page[SUPOS_CODE_PAGE_SIZE];
    const auto faults = [](int Status) {
        return (WIFSIGNALED(Status) && (WTERMSIG(Status) == SIGSEGV || WTERMSIG(Status) == SIGILL)) ||
               (WIFEXITED(Status) && WEXITSTATUS(Status) != 0); // a sanitizer reports and exits
    };
    for (const char *name : {"036", "QMX-037", "utf8", ""}) EXPECT_EXIT(SupOS_GetCodePage(name, page), faults, "");
}
