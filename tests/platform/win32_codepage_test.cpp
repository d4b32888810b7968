// UTF-8 to and from UTF-16: every character, every border, and what is no character.

#include "win32_codepage.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "win32_error.h"

namespace
{

std::u16string wide(const std::string &text)
{
    std::u16string out(text.size() + 1, u'#');
    const i32 length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<i32>(text.size()), out.data(),
                                           static_cast<i32>(out.size()));
    out.resize(static_cast<size_t>(length));
    return out;
}

std::string narrow(const std::u16string &text)
{
    std::string out(text.size() * 4 + 1, '#');
    const i32 length = WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<i32>(text.size()), out.data(),
                                           static_cast<i32>(out.size()), nullptr, nullptr);
    out.resize(static_cast<size_t>(length));
    return out;
}

} // namespace

TEST(MultiByteToWideChar, GoesThereAndBackForEveryCharacter)
{
    for (char32_t code = 1; code <= 0x10FFFF; ++code) {
        if (code >= 0xD800 && code <= 0xDFFF) continue;
        std::u16string text;
        if (code < 0x10000) {
            text = {static_cast<char16_t>(code)};
        } else {
            text = {static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)),
                    static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF))};
        }
        const std::string bytes = narrow(text);
        ASSERT_EQ(bytes.size(), code < 0x80      ? 1u
                                : code < 0x800   ? 2u
                                : code < 0x10000 ? 3u
                                                 : 4u)
            << static_cast<u32>(code);
        ASSERT_EQ(wide(bytes), text) << static_cast<u32>(code);
    }
}

TEST(MultiByteToWideChar, KnowsTheBytes)
{
    EXPECT_EQ(narrow(u"A\u00e9\u65e5\U0001F600"), "A\xc3\xa9\xe6\x97\xa5\xf0\x9f\x98\x80");
    EXPECT_EQ(wide("A\xc3\xa9\xe6\x97\xa5\xf0\x9f\x98\x80"), u"A\u00e9\u65e5\U0001F600");
}

TEST(MultiByteToWideChar, ReplacesWhatIsNoCharacter)
{
    EXPECT_EQ(wide("a\x80z"), u"a\uFFFDz");
    EXPECT_EQ(wide("a\xc3"), u"a\uFFFD"); // cut off
    EXPECT_EQ(wide("\xc3z"), u"\uFFFDz");
    EXPECT_EQ(wide("\xc0\x80"), u"\uFFFD\uFFFD"); // longer than need be
    EXPECT_EQ(wide("\xe0\x80\x80"), u"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(wide("\xed\xa0\x80"), u"\uFFFD\uFFFD\uFFFD"); // half of a pair
    EXPECT_EQ(wide("\xf4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD"); // beyond the last
    EXPECT_EQ(wide("\xff"), u"\uFFFD");
    EXPECT_EQ(narrow({0xD800, u'z'}), "\xef\xbf\xbdz");
    EXPECT_EQ(narrow({0xDC00, 0xD800}), "\xef\xbf\xbd\xef\xbf\xbd");
}

TEST(MultiByteToWideChar, EndsWithTheTerminator)
{
    char16_t out[8];
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "ab", -1, out, 8), 3);
    EXPECT_EQ(std::u16string(out, 3), std::u16string(u"ab\0", 3));
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "ab", 2, out, 2), 2);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\0b", 3, out, 8), 3); // a size goes past it
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "", -1, out, 8), 1);

    char text[8];
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, u"\u65e5", -1, text, 8, nullptr, nullptr), 4);
    EXPECT_STREQ(text, "\xe6\x97\xa5");
    const char cut[] = {'a', static_cast<char>(0xc3), 0}; // the terminator is not swallowed
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, cut, -1, out, 8), 3);
    EXPECT_EQ(out[2], 0);
}

TEST(MultiByteToWideChar, TellsTheRoomThatItTakes)
{
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "\xf0\x9f\x98\x80", -1, nullptr, 0), 3);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, u"\u00e9", -1, nullptr, 0, nullptr, nullptr), 3);

    char16_t out[4] = {u'#', u'#', u'#', u'#'};
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", -1, out, 3), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(out[3], u'#');
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\xf0\x9f\x98\x80", -1, out, 2), 0); // no half of a pair
    char text[3];
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, u"abc", -1, text, 3, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(MultiByteToWideChar, RefusesWhatItDoesNotKnow)
{
    char16_t out[4];
    char text[4];
    i32 used;
    struct {
        i32 Result;
    } const rows[] = {
        {MultiByteToWideChar(1252, 0, "a", -1, out, 4)},
        {MultiByteToWideChar(CP_ACP, 0, nullptr, -1, out, 4)},
        {MultiByteToWideChar(CP_ACP, 0, "a", 0, out, 4)},
        {MultiByteToWideChar(CP_ACP, 0, "a", -2, out, 4)},
        {MultiByteToWideChar(CP_ACP, 0, "a", -1, out, -1)},
        {WideCharToMultiByte(CP_ACP, 0, u"a", -1, text, 4, "?", nullptr)},
        {WideCharToMultiByte(CP_ACP, 0, u"a", -1, text, 4, nullptr, &used)},
        {WideCharToMultiByte(437, 0, u"a", -1, text, 4, nullptr, nullptr)},
    };
    for (const auto &row : rows) EXPECT_EQ(row.Result, 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}
