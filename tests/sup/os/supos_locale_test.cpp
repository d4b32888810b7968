// Locale names in both directions, the system's own code set, and LANG.

#include "supos_locales.h"
#include "supos_text_int.h"

#include "supos_icnv_int.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "private_locale.h"
#include "ring_reader.h"
#include "scratch_root.h"

namespace
{

const char versionKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
const char pageKey[] = "SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage";

struct Row {
    const char *key;
    const char *native;
};

// clang-format off
const Row rows[] = {
    {"En_US", "English_United States.1252"},
    {"Zh_TW", "Chinese_Taiwan.950"},
    {"zh_CN", "Chinese_People's Republic of China.936"},
    {"Ja_JP", "Japanese_Japan.932"},
    {"De_DE", "German_Germany.1252"},
    {"Fr_FR", "French_France.1252"},
    {"It_IT", "Italian_Italy.1252"},
    {"ko_KR", "Korean_Korea.949"},
    {"Es_ES", "Spanish - Modern Sort_Spain.1252"},
    {"Es_ES", "Spanish - Traditional Sort_Spain.1252"},
    {"Pt_BR", "Portuguese_Brazil.1252"},
    {"Ar_AA", "Arabic_Algeria.1256"},
    {"Ar_AA", "Arabic_Bahrain.1256"},
    {"Ar_AA", "Arabic_Egypt.1256"},
    {"Ar_AA", "Arabic_Iraq.1256"},
    {"Ar_AA", "Arabic_Jordan.1256"},
    {"Ar_AA", "Arabic_Kuwait.1256"},
    {"Ar_AA", "Arabic_Lebanon.1256"},
    {"Ar_AA", "Arabic_Libya.1256"},
    {"Ar_AA", "Arabic_Morocco.1256"},
    {"Ar_AA", "Arabic_Oman.1256"},
    {"Ar_AA", "Arabic_Qatar.1256"},
    {"Ar_AA", "Arabic_Saudi Arabia.1256"},
    {"Ar_AA", "Arabic_Syria.1256"},
    {"Ar_AA", "Arabic_Tunisia.1256"},
    {"Ar_AA", "Arabic_U.A.E..1256"},
    {"Ar_AA", "Arabic_Yemen.1256"},
    {"Iw_IL", "Hebrew_Israel.1255"},
    {"en_US", "English_United States.1252"},
    {"zh_TW", "Chinese_Taiwan.950"},
    {"ja_JP", "Japanese_Japan.932"},
    {"de_DE", "German_Germany.1252"},
    {"fr_FR", "French_France.1252"},
    {"it_IT", "Italian_Italy.1252"},
    {"es_ES", "Spanish - Modern Sort_Spain.1252"},
    {"es_ES", "Spanish - Traditional Sort_Spain.1252"},
    {"pt_BR", "Portuguese_Brazil.1252"},
    {"ar_AA", "Arabic_Algeria.1256"},
    {"ar_AA", "Arabic_Bahrain.1256"},
    {"ar_AA", "Arabic_Egypt.1256"},
    {"ar_AA", "Arabic_Iraq.1256"},
    {"ar_AA", "Arabic_Jordan.1256"},
    {"ar_AA", "Arabic_Kuwait.1256"},
    {"ar_AA", "Arabic_Lebanon.1256"},
    {"ar_AA", "Arabic_Libya.1256"},
    {"ar_AA", "Arabic_Morocco.1256"},
    {"ar_AA", "Arabic_Oman.1256"},
    {"ar_AA", "Arabic_Qatar.1256"},
    {"ar_AA", "Arabic_Saudi Arabia.1256"},
    {"ar_AA", "Arabic_Syria.1256"},
    {"ar_AA", "Arabic_Tunisia.1256"},
    {"ar_AA", "Arabic_U.A.E..1256"},
    {"ar_AA", "Arabic_Yemen.1256"},
    {"iw_IL", "Hebrew_Israel.1255"},
    {"en_US.ISO8859-1", "English_United States.1252"},
    {"En_US.ASCII", "English_United States.1252"},
    {"En_US", "English_United States.850"},
    {"De_DE", "German_Germany.850"},
    {"En_GB", "English_United Kingdom.850"},
    {"Fr_FR", "French_France.850"},
    {"It_IT", "Italian_Italy.850"},
    {"Es_ES", "Spanish - Modern Sort_Spain.850"},
    {"Es_ES", "Spanish - Traditional Sort_Spain.850"},
    {"Pt_BR", "Portuguese_Brazil.850"},
    {"C", "C"},
};
// clang-format on
static_assert(sizeof rows / sizeof rows[0] == 65);

void setVersion(const char *Version)
{
    if (Scratch_Root().empty()) Scratch_MakeRoot();
    if (Version == nullptr)
        Scratch_DeleteValue(versionKey, "CurrentVersion");
    else
        Scratch_SetValue(versionKey, "CurrentVersion", Version);
    setenv("LANG", "En_US", 1);
}

std::string set(i32 Category, const char *Locale)
{
    const char *const result = SupOS_SetLocale(Category, Locale);
    return result == nullptr ? "(null)" : result;
}

void setPage(const char *Page)
{
    if (Scratch_Root().empty()) Scratch_MakeRoot();
    Scratch_SetValue(pageKey, "OEMCP", Page);
}

} // namespace

TEST(SupOS_SetLocale, WithoutLangNothingIsDone)
{
    setVersion("6.3");
    unsetenv("LANG");
    Ring_TraceOn();
    unsetenv("LANG");
    setlocale(LC_ALL, "C");
    EXPECT_EQ(set(0, "En_US"), "(null)");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetLocale"), 2u);
    EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");
}

// Each native name comes back as the first key that has it.
TEST(SupOS_SetLocale, NativeNamesComeBackAsTheirFirstKey)
{
    setVersion("6.3");
    std::map<std::string, std::string> firstKey;
    for (const Row &row : rows) firstKey.emplace(row.native, row.key);
    for (const Row &row : rows) EXPECT_EQ(set(0, row.native), firstKey[row.native]) << row.native;
}

TEST(SupOS_SetLocale, KeysLeadToTheirFirstNativeName)
{
    setVersion("6.3");
    std::map<std::string, std::string> firstNative;
    std::map<std::string, std::string> firstKey;
    for (const Row &row : rows) firstNative.emplace(row.key, row.native);
    for (const Row &row : rows) firstKey.emplace(row.native, row.key);
    for (const Row &row : rows) EXPECT_EQ(set(0, row.key), firstKey[firstNative[row.key]]) << row.key;
    EXPECT_EQ(set(0, "ja_JP"), "Ja_JP") << "the first row of its native name";
    EXPECT_EQ(set(0, "En_GB"), "En_GB");
    EXPECT_EQ(set(0, "English_United States.850"), "En_US");
    EXPECT_EQ(set(0, "Spanish - Traditional Sort_Spain.1252"), "Es_ES");
    EXPECT_EQ(set(0, "C"), "C");
}

TEST(SupOS_SetLocale, BelowVersion5TheOlderNamesHold)
{
    for (const char *version : {"4.9", "", "words", static_cast<const char *>(nullptr)}) {
        setVersion(version);
        EXPECT_EQ(set(0, "Zh_TW"), "Zh_TW");
        EXPECT_EQ(set(0, "zh_CN"), "zh_CN");
        EXPECT_EQ(set(0, "Chinese(Taiwan)_Taiwan.950"), "Zh_TW");
        EXPECT_EQ(set(0, "Chinese(PRC)_People's Republic of China.936"), "zh_CN");
        EXPECT_EQ(set(0, "Chinese_Taiwan.950"), "En_US") << "not in the older table";
        EXPECT_EQ(set(0, "De_DE"), "De_DE");
    }
    for (const char *version : {"5", "5.0", "10"}) {
        setVersion(version);
        EXPECT_EQ(set(0, "Chinese_Taiwan.950"), "Zh_TW");
        EXPECT_EQ(set(0, "Chinese(Taiwan)_Taiwan.950"), "En_US");
    }
}

TEST(SupOS_SetLocale, UnknownNamesAreUsedAsTheyStand)
{
    setVersion("6.3");
    const std::string problem = PrivateLocale_Use("ja_JP", "EUC-JP");
    if (!problem.empty()) GTEST_SKIP() << problem;
    setlocale(LC_ALL, "C");
    EXPECT_EQ(set(0, "ja_JP.EUC-JP"), "Ja_JP") << "its native name is Japanese";
    EXPECT_EQ(MB_CUR_MAX, 3u) << "the locale of the process is that one now";
}

TEST(SupOS_SetLocale, NativeNamesOutsideTheTableAreEn_US)
{
    setVersion("6.3");
    const std::string problem = PrivateLocale_Use("tr_TR", "UTF-8");
    if (!problem.empty()) GTEST_SKIP() << problem;
    setlocale(LC_ALL, "C");
    Ring_TraceOn();
    setenv("LANG", "En_US", 1);
    EXPECT_EQ(set(0, "tr_TR.UTF-8"), "En_US");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetLocale"), 4u);
}

TEST(SupOS_SetLocale, SaysWhenThereIsNoSuchLocale)
{
    setVersion("6.3");
    Ring_TraceOn();
    setenv("LANG", "En_US", 1);
    EXPECT_EQ(set(0, "xx_YY.none"), "(null)");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetLocale"), 3u);
    EXPECT_EQ(set(99, "C"), "(null)");
    EXPECT_EQ(set(-1, "C"), "(null)");
    EXPECT_EQ(set(0, "C"), "C");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetLocale"), 1u);
}

TEST(SupOS_SetLocale, TwoLangsTakeThePlatformsDefault)
{
    setVersion("6.3");
    setenv("LC_ALL", "C", 1);
    for (const char *lang : {"ZHTW950", "ZHCN936"}) {
        setenv("LANG", lang, 1);
        EXPECT_EQ(set(0, "De_DE"), "C") << "the choice of the caller is dropped";
    }
    setenv("LANG", "ZHTW951", 1);
    EXPECT_EQ(set(0, "De_DE"), "De_DE");
}

TEST(SupOS_SetLocale, EmptyTakesTheEnvironmentAndNullAsks)
{
    setVersion("6.3");
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(set(0, ""), "C");
    EXPECT_EQ(set(0, "De_DE"), "De_DE");
    EXPECT_EQ(set(0, nullptr), "De_DE");
}

TEST(SupOS_LangInfo, NamesTheSetOfTheOemPage)
{
    const std::pair<const char *, const char *> pages[] = {
        {"437", "QMX-437"},   {"850", "QMX-850"},   {"932", "QMX-932"},   {"936", "QMX-1381"},  {"949", "QMX-949"},
        {"950", "QMX-950"},   {"874", "QMX-875"},   {"819", "ISO8859-1"}, {"912", "ISO8859-2"}, {"25488", "ISO8859-2"},
        {"1208", "UTF-8"},    {"954", "QMX-eucJP"}, {"858", "QMX-858"},   {"866", "QMX-866"},   {"13488", "UCS-2"},
        {"1381", "QMX-1381"}, {"1252", "QMX-1252"}, {"12345", "QMX-850"}};
    setlocale(LC_ALL, "C");
    for (const auto &[page, name] : pages) {
        setPage(page);
        EXPECT_STREQ(SupOS_LangInfo(), name) << page;
    }
}

TEST(SupOS_LangInfo, TheEuroSignMakes858)
{
    setPage("850");
    const std::string problem = PrivateLocale_Use("en_US", "CP1252");
    if (!problem.empty()) GTEST_SKIP() << problem;
    EXPECT_STREQ(SupOS_LangInfo(), "QMX-858");
    setenv("VELA_USE_OEMCP", "", 1);
    EXPECT_STREQ(SupOS_LangInfo(), "QMX-850");
    unsetenv("VELA_USE_OEMCP");
    setPage("437");
    EXPECT_STREQ(SupOS_LangInfo(), "QMX-437") << "of page 850 alone";
    setPage("850");
    setlocale(LC_ALL, "C");
    EXPECT_STREQ(SupOS_LangInfo(), "QMX-850");
}

TEST(SupOS_LangInfo, TracesItsExits)
{
    setPage("850");
    Ring_TraceOn();
    SupOS_LangInfo();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_LangInfo"), 1u);
    setPage("12345");
    SupOS_LangInfo();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_LangInfo"), 2u);
}

TEST(SupOS_SetLang, SetsLang)
{
    const std::pair<const char *, const char *> names[] = {
        {"De_DE", "De_DE"}, {"En_GB", "En_US"}, {"en_GB", "en_US"}, {"EN_GB", "EN_GB"}, {"En_GB.x", "En_GB.x"}};
    for (const auto &[given, wanted] : names) {
        EXPECT_EQ(SupOS_SetLang(given), 0);
        EXPECT_STREQ(getenv("LANG"), wanted);
    }
}

TEST(SupOS_SetLang, RefusesATextThatDoesNotFit)
{
    Ring_TraceOn();
    SupOS_SetLang("De_DE");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetLang"), 1u);
    EXPECT_EQ(SupOS_SetLang(std::string(5000, 'x').c_str()), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetLang"), 2u);
    EXPECT_STREQ(getenv("LANG"), "De_DE") << "and leaves LANG alone";
    EXPECT_EQ(SupOS_SetLang(std::string(400, 'x').c_str()), 0);
    EXPECT_EQ(strlen(getenv("LANG")), 400u);
}

TEST(SupOS_NativeLocale, CopiesUpToABlank)
{
    char out[40];
    memset(out, '#', sizeof out);
    Ring_TraceOn();
    EXPECT_EQ(SupOS_NativeLocale(out, "De_DE and more"), out);
    EXPECT_STREQ(out, "De_DE");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NativeLocale"), 1u);
    EXPECT_EQ(SupOS_NativeLocale(out, "whole"), out);
    EXPECT_STREQ(out, "whole");
    EXPECT_EQ(SupOS_NativeLocale(out, " x"), out);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(SupOS_NativeLocale(out, ""), nullptr);
    EXPECT_EQ(SupOS_NativeLocale(out, nullptr), nullptr);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NativeLocale"), 2u);
    EXPECT_EQ(SupOS_NativeLocaleLength("De_DE and more"), 14);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_NativeLocaleLength"), 1u);
}
