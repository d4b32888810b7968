// Widths, steps and faults of multibyte text in several locales, and yes or no answers.

#include "supos_text_int.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "private_locale.h"
#include "ring_reader.h"
#include "scratch_root.h"

namespace
{

// Sets a locale made for these tests, or skips.
#define USE_LOCALE(Name, Charmap)                                                                                      \
    do {                                                                                                               \
        const std::string problem = PrivateLocale_Use(Name, Charmap);                                                  \
        if (!problem.empty()) GTEST_SKIP() << problem;                                                                 \
    } while (0)

// A message catalogue of the test's own: texts of set 186 by their numbers. False where gencat is missing.
bool makeCatalogue(const std::string &Lines)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/vela.msg", "$quote \"\n$set 186\n" + Lines);
    setenv("NLSPATH", (root + "/%N").c_str(), 1);
    return system(("gencat '" + root + "/vela.cat' '" + root + "/vela.msg'").c_str()) == 0;
}

} // namespace

TEST(SupOS_mbswidth, CountsBytesInTheCLocale)
{
    setlocale(LC_ALL, "C");
    EXPECT_EQ(SupOS_mbswidth("abc", 3), 3);
    EXPECT_EQ(SupOS_mbswidth("abc", 2), 2);
    EXPECT_EQ(SupOS_mbswidth("abc", 100), 3) << "a terminator ends the text";
    EXPECT_EQ(SupOS_mbswidth("", 5), 0);
    EXPECT_EQ(SupOS_mbswidth("abc", 0), 0);
    EXPECT_EQ(SupOS_mbswidth("\xE4\xFF", 2), 2);
}

TEST(SupOS_mbswidth, IsTwoForADoubleByteCharacter)
{
    USE_LOCALE("ja_JP", "EUC-JP");
    EXPECT_EQ(SupOS_mbswidth("\xC6\xFC\xCB\xDC", 4), 4);
    EXPECT_EQ(SupOS_mbswidth("a\xC6\xFC", 3), 3);
    EXPECT_EQ(SupOS_mbswidth("\xC6\xFC\xCB", 3), 2) << "half a character ends it";
    EXPECT_EQ(SupOS_mbswidth("\xC6\xFC\xCB\xDC", 3), 2) << "so does the length within one";
    EXPECT_EQ(SupOS_mbswidth("\x8F\xA2\xAF", 3), 3);
    EXPECT_EQ(SupOS_mbswidth("\x8E\xB1", 2), 2);
}

TEST(SupOS_mbswidth, FollowsShiftJis)
{
    USE_LOCALE("ja_JP", "SHIFT_JIS");
    EXPECT_EQ(SupOS_mbswidth("\x93\xFA\x96\x7B", 4), 4);
    EXPECT_EQ(SupOS_mbswidth("\xB1", 1), 1);
}

TEST(SupOS_mbswidth, FollowsGb18030)
{
    USE_LOCALE("zh_CN", "GB18030");
    EXPECT_EQ(SupOS_mbswidth("\xD6\xD0\xCE\xC4", 4), 4);
    EXPECT_EQ(SupOS_mbswidth("\x81\x30\x81\x30", 4), 4) << "one character of four bytes";
}

// Required: the width is the length of the encoding, three for most double-byte characters of UTF-8.
TEST(SupOS_mbswidth, IsTheEncodingsLengthInUtf8)
{
    USE_LOCALE("en_US", "UTF-8");
    EXPECT_EQ(SupOS_mbswidth("\xE6\x97\xA5", 3), 3);
    EXPECT_EQ(SupOS_mbswidth("\xC3\xA4", 2), 2);
    EXPECT_EQ(SupOS_mbswidth("a\xFF", 2), 1);
}

TEST(SupOS_mbsadvance, StepsOverOneCharacter)
{
    USE_LOCALE("ja_JP", "EUC-JP");
    const char *const text = "\xC6\xFC"
                             "a";
    EXPECT_EQ(SupOS_mbsadvance(text), text + 2);
    EXPECT_EQ(SupOS_mbsadvance(text + 2), text + 3);
    EXPECT_EQ(SupOS_mbsadvance(text + 3), nullptr);
    EXPECT_EQ(SupOS_mbsadvance(nullptr), nullptr);
}

TEST(SupOS_mbsadvance, StepsBackFromAnInvalidCharacter)
{
    USE_LOCALE("en_US", "UTF-8");
    const char text[] = "a\xFF";
    EXPECT_EQ(SupOS_mbsadvance(text + 1), text);
    const char half[] = "a\xE6\x97";
    EXPECT_EQ(SupOS_mbsadvance(half + 1), half);
    EXPECT_EQ(SupOS_mbsadvance("\xF0\x9F\x98\x80") != nullptr, true);
}

TEST(SupOS_mbsinvalid, FindsTheFirstInvalidByte)
{
    USE_LOCALE("en_US", "UTF-8");
    EXPECT_EQ(SupOS_mbsinvalid(""), nullptr);
    EXPECT_EQ(SupOS_mbsinvalid("abc\xC3\xA4"), nullptr);
    const char *const text = "ab\xC3\xA4\xFFxy\xFE";
    EXPECT_EQ(SupOS_mbsinvalid(text), text + 4);
    const char *const cut = "ab\xC3";
    EXPECT_EQ(SupOS_mbsinvalid(cut), cut + 2);
}

TEST(SupOS_mbsinvalid, TakesEveryByteInTheCLocale)
{
    setlocale(LC_ALL, "C");
    EXPECT_EQ(SupOS_mbsinvalid("\x80\xFF\xC3"), nullptr);
}

TEST(SupOS_mbsadvance, TracesItsExits)
{
    Ring_TraceOn();
    SupOS_mbsadvance("a");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_mbsadvance"), 1u);
    SupOS_mbsadvance("");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_mbsadvance"), 2u);
    SupOS_mbswidth("a", 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_mbswidth"), 1u);
    SupOS_mbsinvalid("a");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_mbsinvalid"), 1u);
    const std::string problem = PrivateLocale_Use("en_US", "UTF-8");
    if (!problem.empty()) GTEST_SKIP() << problem;
    SupOS_mbsinvalid("\xFF");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_mbsinvalid"), 2u);
}

TEST(SupOS_rpmatch, TellsYesFromNo)
{
    Scratch_MakeRoot();
    Ring_TraceOn();
    EXPECT_EQ(SupOS_rpmatch("yes"), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_rpmatch"), 1u);
    EXPECT_EQ(SupOS_rpmatch("Y"), 1);
    EXPECT_EQ(SupOS_rpmatch("no"), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_rpmatch"), 6u);
    EXPECT_EQ(SupOS_rpmatch("Never"), 0);
    EXPECT_EQ(SupOS_rpmatch("perhaps"), -1);
    EXPECT_EQ(SupOS_rpmatch(""), -1);
}

TEST(SupOS_rpmatch, IsNeitherWithoutAPattern)
{
    if (!makeCatalogue("1 \"x\"\n")) GTEST_SKIP() << "no gencat";
    Ring_TraceOn();
    EXPECT_EQ(SupOS_rpmatch("yes"), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_rpmatch"), 2u);
}

TEST(SupOS_rpmatch, KnowsYesWithoutANoPattern)
{
    if (!makeCatalogue("61 \"[jJ].*\"\n")) GTEST_SKIP() << "no gencat";
    Ring_TraceOn();
    EXPECT_EQ(SupOS_rpmatch("ja"), 1);
    EXPECT_EQ(SupOS_rpmatch("yes"), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_rpmatch"), 4u);
}
