// The locale of the process by native names. Only C and C.UTF-8 are sure to be installed; other locales are compiled
// into a directory of the test.

#include "tks_locale.h"

#include <langinfo.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "scratch_root.h"

namespace
{

// An environment without locales: no variables, and nothing installed but what the C library brings.
std::string bareEnvironment()
{
    const std::string root = Scratch_MakeRoot(nullptr); // removes LANG and LC_*
    setenv("LOCPATH", root.c_str(), 1);
    return root;
}

bool makeLocale(const std::string &Root, const char *Source, const char *Charmap, const std::string &Name)
{
    const std::string command = std::string("localedef -i ") + Source + " -f " + Charmap + " --no-warnings=ascii '" +
                                Root + "/" + Name + "' > /dev/null 2>&1";
    if (system(command.c_str()) < 0) return false;
    const std::string before = setlocale(LC_TIME, nullptr);
    const bool made = setlocale(LC_TIME, Name.c_str()) != nullptr;
    setlocale(LC_TIME, before.c_str());
    return made;
}

std::string set(i32 Category, const char *Name)
{
    const char *const result = tks_setlocale(Category, Name);
    return result != nullptr ? result : "null";
}

std::string codeset()
{
    return nl_langinfo(CODESET);
}

} // namespace

TEST(tks_setlocale, AcceptsEveryNativeName)
{
    bareEnvironment();
    const char *const names[] = {"English_United States.1252",
                                 "English_United States.850",
                                 "English_United Kingdom.850",
                                 "Chinese_Taiwan.950",
                                 "Chinese(Taiwan)_Taiwan.950",
                                 "Chinese_People's Republic of China.936",
                                 "Chinese(PRC)_People's Republic of China.936",
                                 "Japanese_Japan.932",
                                 "German_Germany.1252",
                                 "German_Germany.850",
                                 "French_France.1252",
                                 "French_France.850",
                                 "Italian_Italy.1252",
                                 "Italian_Italy.850",
                                 "Korean_Korea.949",
                                 "Spanish - Modern Sort_Spain.1252",
                                 "Spanish - Modern Sort_Spain.850",
                                 "Spanish - Traditional Sort_Spain.1252",
                                 "Spanish - Traditional Sort_Spain.850",
                                 "Portuguese_Brazil.1252",
                                 "Portuguese_Brazil.850",
                                 "Arabic_Algeria.1256",
                                 "Arabic_Bahrain.1256",
                                 "Arabic_Egypt.1256",
                                 "Arabic_Iraq.1256",
                                 "Arabic_Jordan.1256",
                                 "Arabic_Kuwait.1256",
                                 "Arabic_Lebanon.1256",
                                 "Arabic_Libya.1256",
                                 "Arabic_Morocco.1256",
                                 "Arabic_Oman.1256",
                                 "Arabic_Qatar.1256",
                                 "Arabic_Saudi Arabia.1256",
                                 "Arabic_Syria.1256",
                                 "Arabic_Tunisia.1256",
                                 "Arabic_U.A.E..1256",
                                 "Arabic_Yemen.1256",
                                 "Hebrew_Israel.1255",
                                 "C"};
    for (const char *name : names) {
        EXPECT_EQ(set(TKS_LC_ALL, name), name);
        EXPECT_EQ(set(TKS_LC_CTYPE, nullptr), name);
        EXPECT_EQ(codeset(), std::string(name) == "C" ? "ANSI_X3.4-1968" : "UTF-8") << "nothing better is installed";
    }
}

TEST(tks_setlocale, RefusesWhatIsNoName)
{
    bareEnvironment();
    ASSERT_EQ(set(TKS_LC_ALL, "Japanese_Japan.932"), "Japanese_Japan.932");
    for (const char *name :
         {"Japanese_Japan", "Japanese_Japan.", "Japanese_Japan.999", "Japanese_Japan.x", "xx_YY", "Klingon_Kronos.1252",
          "japanese_japan.932", "Japanese_Japan.99999999999999999999", "Japanese_Japan.0932x"})
        EXPECT_EQ(set(TKS_LC_ALL, name), "null") << name;
    EXPECT_EQ(set(TKS_LC_ALL, nullptr), "Japanese_Japan.932") << "nothing has changed";
    EXPECT_EQ(codeset(), "UTF-8");
}

TEST(tks_setlocale, RefusesOtherCategories)
{
    for (const i32 category : {-1, 6, 100}) {
        EXPECT_EQ(set(category, "C"), "null");
        EXPECT_EQ(set(category, nullptr), "null");
    }
}

TEST(tks_setlocale, NumbersItsCategoriesInItsOwnWay)
{
    bareEnvironment();
    const struct {
        i32 Category;
        int System;
    } rows[] = {{1, LC_COLLATE}, {2, LC_CTYPE}, {3, LC_MONETARY}, {4, LC_NUMERIC}, {5, LC_TIME}};
    for (const auto &row : rows) {
        setlocale(LC_ALL, "C");
        EXPECT_EQ(set(row.Category, "C.UTF-8"), "C");
        for (const auto &other : rows)
            EXPECT_STREQ(setlocale(other.System, nullptr), &other == &row ? "C.UTF-8" : "C") << row.Category;
    }
    set(0, "C.UTF-8");
    for (const auto &row : rows) EXPECT_STREQ(setlocale(row.System, nullptr), "C.UTF-8");
    EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C.UTF-8") << "0 is all";
}

TEST(tks_setlocale, RemembersByCategory)
{
    bareEnvironment();
    EXPECT_EQ(set(TKS_LC_TIME, nullptr), "C") << "at first";
    EXPECT_EQ(set(TKS_LC_ALL, "German_Germany.1252"), "German_Germany.1252");
    EXPECT_EQ(set(TKS_LC_TIME, "French_France.850"), "French_France.850");
    EXPECT_EQ(set(TKS_LC_TIME, nullptr), "French_France.850");
    EXPECT_EQ(set(TKS_LC_NUMERIC, nullptr), "German_Germany.1252");
    EXPECT_EQ(set(TKS_LC_ALL, nullptr), "German_Germany.1252");
    EXPECT_EQ(set(TKS_LC_CTYPE, "C"), "C");
    EXPECT_EQ(set(TKS_LC_ALL, nullptr), "C") << "the one of characters stands for all";
    EXPECT_EQ(set(TKS_LC_TIME, tks_setlocale(TKS_LC_TIME, nullptr)), "French_France.850") << "its own answer";
}

TEST(tks_setlocale, TakesTheNamesOfTheSystem)
{
    const std::string root = bareEnvironment();
    EXPECT_EQ(set(TKS_LC_ALL, "C.UTF-8"), "C");
    EXPECT_EQ(codeset(), "UTF-8");
    EXPECT_EQ(set(TKS_LC_ALL, "POSIX"), "C");
    if (!makeLocale(root, "ja_JP", "EUC-JP", "ja_JP.eucJP") || !makeLocale(root, "nl_NL", "ISO-8859-15", "nl_NL@euro"))
        GTEST_SKIP() << "localedef or its sources are not installed";
    EXPECT_EQ(set(TKS_LC_ALL, "ja_JP.eucJP"), "Japanese_Japan.932");
    EXPECT_EQ(codeset(), "EUC-JP");
    EXPECT_EQ(set(TKS_LC_ALL, "nl_NL@euro"), "nl_NL@euro") << "no native name is known";
    set(TKS_LC_TIME, "ja_JP.eucJP");
    EXPECT_EQ(set(TKS_LC_ALL, nullptr), "nl_NL@euro");
}

TEST(tks_setlocale, PrefersTheCodePage)
{
    const std::string root = bareEnvironment();
    if (!makeLocale(root, "ja_JP", "SHIFT_JIS", "ja_JP.SJIS") || !makeLocale(root, "en_US", "CP1252", "en_US.CP1252"))
        GTEST_SKIP() << "localedef or its sources are not installed";
    EXPECT_EQ(set(TKS_LC_ALL, "Japanese_Japan.932"), "Japanese_Japan.932");
    EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "ja_JP.SJIS");
    EXPECT_EQ(MB_CUR_MAX, 2u);
    EXPECT_EQ(set(TKS_LC_CTYPE, "English_United States.1252"), "English_United States.1252");
    EXPECT_EQ(codeset(), "CP1252");
    EXPECT_EQ(set(TKS_LC_CTYPE, "English_United States.850"), "English_United States.850");
    EXPECT_EQ(codeset(), "UTF-8") << "that page is not installed";
}

TEST(tks_setlocale, TakesTheLanguageInUtf8WithoutTheCodePage)
{
    const std::string root = bareEnvironment();
    if (!makeLocale(root, "de_DE", "UTF-8", "de_DE.UTF-8"))
        GTEST_SKIP() << "localedef or its sources are not installed";
    EXPECT_EQ(set(TKS_LC_ALL, "German_Germany.1252"), "German_Germany.1252");
    EXPECT_STREQ(setlocale(LC_TIME, nullptr), "de_DE.UTF-8");
    setlocale(LC_ALL, "C");
    setenv("LANG", "de_DE.UTF-8", 1);
    EXPECT_EQ(set(TKS_LC_ALL, ""), "German_Germany.1252");
    EXPECT_STREQ(setlocale(LC_TIME, nullptr), "de_DE.UTF-8");
}

TEST(tks_setlocale, TakesTheDefaultFromTheEnvironment)
{
    bareEnvironment();
    const auto byLang = [](const char *Lang) {
        setenv("LANG", Lang, 1);
        return set(TKS_LC_ALL, "");
    };
    EXPECT_EQ(set(TKS_LC_ALL, ""), "C") << "no variable";
    EXPECT_EQ(byLang("C.UTF-8"), "C");
    EXPECT_EQ(codeset(), "UTF-8");
    EXPECT_EQ(byLang("ZHTW950"), "Chinese_Taiwan.950");
    EXPECT_EQ(codeset(), "UTF-8");
    EXPECT_EQ(byLang("ZHCN936"), "Chinese_People's Republic of China.936");
    EXPECT_EQ(byLang("Ja_JP"), "Japanese_Japan.932");
    EXPECT_EQ(byLang("en_US"), "English_United States.1252") << "not installed, but known";
    EXPECT_EQ(byLang("xx_YY"), "C") << "the default is always there";
    EXPECT_EQ(codeset(), "ANSI_X3.4-1968");
}
