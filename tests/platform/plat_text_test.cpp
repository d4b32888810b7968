// Multibyte characters. The locales of double-byte code sets are compiled into a directory of the test.

#include "plat_text.h"

#include <clocale>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "scratch_root.h"

namespace
{

// Sets a locale that localedef makes here; false where it cannot.
bool useLocale(const char *Source, const char *Charmap)
{
    const std::string root = Scratch_MakeRoot(nullptr);
    const std::string command = std::string("localedef -i ") + Source + " -f " + Charmap + " --no-warnings=ascii '" +
                                root + "/test' > /dev/null 2>&1";
    if (system(command.c_str()) < 0) return false;
    setenv("LOCPATH", root.c_str(), 1);
    return setlocale(LC_CTYPE, "test") != nullptr;
}

} // namespace

TEST(plat_mbtowc, TakesEveryByteInTheCLocale)
{
    for (int byte = 1; byte < 256; ++byte) {
        const char text[2] = {static_cast<char>(byte), 0};
        wchar_t wide = 0;
        char back[16] = {};
        EXPECT_EQ(plat_mblen(text, 1), 1) << byte;
        EXPECT_EQ(plat_mbtowc(&wide, text, 2), 1);
        EXPECT_EQ(wide, byte);
        EXPECT_EQ(plat_wctomb(back, wide), 1);
        EXPECT_STREQ(back, text);
    }
    char back[16];
    EXPECT_EQ(plat_wctomb(back, 0x100), -1);
    EXPECT_EQ(plat_wctomb(back, 0x20AC), -1);
}

TEST(plat_mbtowc, TellsNulAndNothing)
{
    wchar_t wide = 'x';
    EXPECT_EQ(plat_mbtowc(&wide, "", 1), 0);
    EXPECT_EQ(wide, 0);
    EXPECT_EQ(plat_mblen("", 1), 0);
    EXPECT_EQ(plat_mblen("x", 0), -1);
    EXPECT_EQ(plat_mbtowc(&wide, "x", 0), -1);
    char back[16] = "x";
    EXPECT_EQ(plat_wctomb(back, 0), 1);
    EXPECT_EQ(back[0], 0);
}

TEST(plat_mbtowc, ReadsUtf8)
{
    ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    wchar_t wide = 0;
    EXPECT_EQ(plat_mbtowc(&wide, "\xE2\x82\xAC", 5), 3);
    EXPECT_EQ(wide, 0x20AC);
    EXPECT_EQ(plat_mblen("\xF0\x9F\x98\x80", 4), 4);
    EXPECT_EQ(plat_mbtowc(nullptr, "\xC3\xA4", 5), 2);
    EXPECT_EQ(plat_mblen("\xE2\x82", 2), -1) << "incomplete";
    EXPECT_EQ(plat_mblen("\x80", 1), -1);
    EXPECT_EQ(plat_mblen("\xFF", 1), -1);
    char back[16] = {};
    EXPECT_EQ(plat_wctomb(back, 0x20AC), 3);
    EXPECT_STREQ(back, "\xE2\x82\xAC");
    EXPECT_EQ(plat_wctomb(back, 0x80), 2) << "two bytes here, one in the C locale";
    EXPECT_EQ(plat_wctomb(back, static_cast<wchar_t>(-1)), -1);
}

// The C library's own mbtowc keeps the first byte in mind here and refuses what follows.
TEST(plat_mbtowc, ForgetsAnIncompleteCharacter)
{
    ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    wchar_t wide;
    EXPECT_EQ(plat_mbtowc(&wide, "\xE2", 1), -1);
    EXPECT_EQ(plat_mbtowc(&wide, "a", 1), 1);
    EXPECT_EQ(wide, 'a');
    EXPECT_EQ(plat_mblen("\xE2", 1), -1);
    EXPECT_EQ(plat_mblen("a", 1), 1);
}

TEST(plat_mbtowc, ReadsDoubleBytes)
{
    if (!useLocale("ja_JP", "SHIFT_JIS")) GTEST_SKIP() << "localedef or its sources are not installed";
    wchar_t wide = 0;
    EXPECT_EQ(plat_mbtowc(&wide, "\x82\xA0", 2), 2);
    EXPECT_EQ(wide, 0x3042);
    EXPECT_EQ(plat_mblen("\xB1", 1), 1) << "half-width kana";
    EXPECT_EQ(plat_mblen("\x82", 1), -1);
    EXPECT_EQ(plat_mblen("\x82\x20", 2), -1);
    char back[16] = {};
    EXPECT_EQ(plat_wctomb(back, 0x3042), 2);
    EXPECT_STREQ(back, "\x82\xA0");
}

TEST(plat_mbtowc, ReadsASingleByteCodeSet)
{
    if (!useLocale("en_US", "ISO-8859-15")) GTEST_SKIP() << "localedef or its sources are not installed";
    wchar_t wide = 0;
    EXPECT_EQ(plat_mbtowc(&wide, "\xA4", 1), 1);
    EXPECT_EQ(wide, 0x20AC) << "by the code set, not by its number";
}
