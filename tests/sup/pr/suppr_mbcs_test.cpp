// Text fields of fixed size: where they end, and where a multibyte character is cut away.

#include "suppr_utility.h"

#include "suppr_int.h"

#include <clocale>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "ring_reader.h"

namespace
{

// A field with guards on both sides.
struct field {
    char Bytes[34];
    field() { memset(Bytes, '#', sizeof Bytes); }
    char *Start() { return Bytes + 1; }
    bool GuardsHold(size_t size) const { return Bytes[0] == '#' && Bytes[size + 1] == '#'; }
    std::string Content(size_t size) const { return std::string(Bytes + 1, size); }
};

std::string copied(const char *source, u32 size)
{
    field text;
    EXPECT_EQ(SupPR_MBCSstrncpy(text.Start(), source, size), text.Start());
    EXPECT_TRUE(text.GuardsHold(size)) << source;
    return text.Content(size);
}

std::string appended(const char *before, const char *source, u32 size)
{
    field text;
    strcpy(text.Start(), before);
    EXPECT_EQ(SupPR_MBCSstrncat(text.Start(), source, size), text.Start());
    EXPECT_EQ(text.Bytes[1 + strlen(before) + size + 1], '#') << source; // nothing behind the largest terminator
    return text.Start();
}

void useUtf8()
{
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
}

} // namespace

TEST(SupPR_MBCSstrncpy, FillsUpAShortText)
{
    EXPECT_EQ(copied("abc", 8), std::string("abc\0\0\0\0\0", 8));
    EXPECT_EQ(copied("", 4), std::string(4, '\0'));
    EXPECT_EQ(copied("abc", 4), std::string("abc\0", 4));
    EXPECT_EQ(copied("", 1), std::string(1, '\0'));
}

// A field full of whole characters has no terminator.
TEST(SupPR_MBCSstrncpy, LeavesAFullFieldWithoutItsEnd)
{
    EXPECT_EQ(copied("abcd", 4), "abcd");
    EXPECT_EQ(copied("abcdefgh", 4), "abcd");
    EXPECT_EQ(copied("abc", 1), "a");
    useUtf8();
    EXPECT_EQ(copied("ab\u00e9", 4), "ab\u00e9");
    EXPECT_EQ(copied("\u65e5\u672c\u8a9e", 6), "\u65e5\u672c");
}

TEST(SupPR_MBCSstrncpy, CutsABrokenCharacterAway)
{
    useUtf8();
    EXPECT_EQ(copied("abc\u00e9", 4), std::string("abc\0", 4)); // one byte of two would fit
    EXPECT_EQ(copied("abc\u65e5", 5), std::string("abc\0\x97", 5)); // two of three: what stood behind the cut stays
    EXPECT_EQ(copied("ab\xff"
                     "cdef",
                     5),
              std::string("ab\0cd", 5)); // no character at all
    EXPECT_EQ(copied("\u65e5", 2), std::string("\0\x97", 2));
}

TEST(SupPR_MBCSstrncpy, CountsEveryByteInTheLocaleC)
{
    EXPECT_EQ(copied("ab\xc3\xa9\xff", 4), "ab\xc3\xa9");
    EXPECT_EQ(copied("ab\xc3\xa9\xff", 3), "ab\xc3");
}

TEST(SupPR_MBCSstrncpy, IgnoresNothing)
{
    field text;
    EXPECT_EQ(SupPR_MBCSstrncpy(nullptr, "abc", 4), nullptr);
    EXPECT_EQ(SupPR_MBCSstrncpy(text.Start(), "abc", 0), text.Start());
    EXPECT_EQ(SupPR_MBCSstrncpy(text.Start(), nullptr, 4), text.Start());
    EXPECT_EQ(text.Content(8), "########");
}

TEST(SupPR_MBCSstrncat, AppendsWhatFits)
{
    EXPECT_EQ(appended("ab", "cd", 8), "abcd");
    EXPECT_EQ(appended("ab", "cdef", 2), "abcd");
    EXPECT_EQ(appended("", "cdef", 4), "cdef");
    EXPECT_EQ(appended("ab", "", 4), "ab");
}

TEST(SupPR_MBCSstrncat, CutsABrokenCharacterAway)
{
    useUtf8();
    EXPECT_EQ(appended("\u00e9", "a\u00e9", 2), "\u00e9"
                                                "a");
    EXPECT_EQ(appended("\u00e9", "a\u00e9", 3), "\u00e9"
                                                "a\u00e9");
    EXPECT_EQ(appended("ab", "\u65e5\u672c", 5), "ab\u65e5");
    EXPECT_EQ(appended("ab", "\u65e5\u672c", 2), "ab");
}

TEST(SupPR_MBCSstrncat, IgnoresNothing)
{
    field text;
    strcpy(text.Start(), "ab");
    EXPECT_EQ(SupPR_MBCSstrncat(nullptr, "abc", 4), nullptr);
    EXPECT_EQ(SupPR_MBCSstrncat(text.Start(), nullptr, 4), text.Start());
    EXPECT_EQ(SupPR_MBCSstrncat(text.Start(), "abc", 0), text.Start());
    EXPECT_STREQ(text.Start(), "ab");
}

// Every length of a mixed text into every size: never a broken character, never a byte outside.
TEST(SupPR_MBCSstrncpy, NeverLeavesHalfACharacter)
{
    useUtf8();
    const std::string whole = "a\u00e9\u65e5\U0001F600z\u00e9";
    for (size_t length = 0; length <= whole.size(); ++length) {
        for (u32 size = 1; size <= 20; ++size) {
            const std::string got = copied(whole.substr(0, length).c_str(), size);
            const std::string text = got.substr(0, got.find('\0'));
            ASSERT_EQ(whole.compare(0, text.size(), text), 0) << length << ' ' << size;
            ASSERT_TRUE(text.empty() || text.size() == whole.size() || (whole[text.size()] & 0xC0) != 0x80 ||
                        length == text.size())
                << length << ' ' << size;
        }
    }
}

TEST(SupPR_MBCS, Traces)
{
    Ring_TraceOn();
    useUtf8();
    char text[8] = "";
    SupPR_MBCSstrncpy(text, "abc", 0);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_MBCSstrncpy"), 1u);
    SupPR_MBCSstrncpy(text, "abc", 8);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_MBCSstrncpy"), 2u);
    SupPR_MBCSstrncpy(text, "abc", 2);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_MBCSstrncpy"), 3u);
    text[2] = 0;
    SupPR_MBCSstrncat(text, "x", 0);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_MBCSstrncat"), 1u);
    SupPR_MBCSstrncat(text, "x", 1);
    EXPECT_EQ(Ring_LastExitPoint("SupPR_MBCSstrncat"), 2u);

    size_t entries = 0;
    for (const Ring_Record &record : Ring_Records())
        if (record.Function.starts_with("SupPR_MBCS") && record.Header.Class < 0x100) {
            EXPECT_EQ(record.Header.Class, 0x80u);
            ++entries;
        }
    EXPECT_EQ(entries, 5u);
}
