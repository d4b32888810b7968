// The code page of the system.

#include "win32_locale.h"

#include <clocale>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "scratch_root.h"
#include "win32_error.h"

namespace
{

constexpr char pageKey[] = "SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage";

void withoutValue()
{
    Scratch_MakeRoot(nullptr);
    Scratch_DeleteValue(pageKey, "OEMCP");
}

u32 pageByLang(const char *Lang)
{
    setenv("LANG", Lang, 1);
    return GetOEMCP();
}

} // namespace

TEST(GetOEMCP, IsTheValueOfTheRegistry)
{
    Scratch_MakeRoot(nullptr);
    setenv("LANG", "en_US.UTF-8", 1);
    EXPECT_EQ(GetOEMCP(), 850u) << "as the root was made";
    for (const char *value : {"437", "932", "65535", "1"}) {
        Scratch_SetValue(pageKey, "OEMCP", value);
        EXPECT_EQ(GetOEMCP(), static_cast<u32>(atoi(value)));
    }
    Scratch_WriteFile(Scratch_Root() + "/registry/SYSTEM/CurrentControlSet/Control/Nls/CodePage/OEMCP.value", "936\n");
    EXPECT_EQ(GetOEMCP(), 936u) << "written by hand";
}

TEST(GetOEMCP, PassesOverAValueThatIsNoPage)
{
    Scratch_MakeRoot(nullptr);
    setenv("LANG", "ja_JP.SJIS", 1);
    for (const char *value : {"", "0", "65536", "85x", "-1", " 850", "99999999999", "123456789012345678"}) {
        Scratch_SetValue(pageKey, "OEMCP", value);
        EXPECT_EQ(GetOEMCP(), 932u) << value;
    }
}

TEST(GetOEMCP, FollowsTheEnvironmentWithoutAValue)
{
    withoutValue();
    SetLastError(77);
    EXPECT_EQ(GetOEMCP(), 850u) << "nothing is known";
    EXPECT_EQ(pageByLang("C"), 850u);
    EXPECT_EQ(pageByLang("C.UTF-8"), 1208u);
    EXPECT_EQ(pageByLang("de_DE.utf8@euro"), 1208u);
    EXPECT_EQ(pageByLang("en_US"), 437u);
    EXPECT_EQ(pageByLang("en_US.ISO-8859-1"), 437u);
    EXPECT_EQ(pageByLang("en_GB"), 850u);
    EXPECT_EQ(pageByLang("en_AU"), 850u);
    EXPECT_EQ(pageByLang("de_CH@euro"), 850u);
    EXPECT_EQ(pageByLang("nl_NL"), 850u);
    EXPECT_EQ(pageByLang("ja_JP.eucJP"), 932u);
    EXPECT_EQ(pageByLang("ja"), 932u);
    EXPECT_EQ(pageByLang("zh_TW.BIG5"), 950u);
    EXPECT_EQ(pageByLang("zh_CN.GBK"), 936u);
    EXPECT_EQ(pageByLang("ko_KR"), 949u);
    EXPECT_EQ(pageByLang("ar_SD"), 720u);
    EXPECT_EQ(pageByLang("he_IL"), 862u);
    EXPECT_EQ(pageByLang("x"), 850u);
    EXPECT_EQ(GetLastError(), 77u);
}

TEST(GetOEMCP, FollowsTheLocaleOfTheProcess)
{
    withoutValue();
    setenv("LANG", "ja_JP.SJIS", 1);
    ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(GetOEMCP(), 1208u);
    ASSERT_NE(setlocale(LC_CTYPE, "C"), nullptr);
    EXPECT_EQ(GetOEMCP(), 932u);
}

TEST(GetOEMCP, BearsAMissingRegistry)
{
    Scratch_MakeRoot(nullptr);
    setenv("SORREL_REGISTRY", "/no/such/directory", 1);
    EXPECT_EQ(GetOEMCP(), 850u);
}
