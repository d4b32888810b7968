// FormatMessageA.

#include "win32_text.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "win32_error.h"

namespace
{

u32 lastLength;

u32 formatInto(char *Out, u32 Size, const char *Text, ...)
{
    va_list arguments;
    va_start(arguments, Text);
    const u32 length = FormatMessageA(FORMAT_MESSAGE_FROM_STRING, Text, 7, 9, Out, Size, &arguments);
    va_end(arguments);
    return length;
}

// The expanded text, or "error N".
template <class... Arguments>
std::string format(const char *Text, Arguments... arguments)
{
    char out[512];
    memset(out, '~', sizeof out);
    SetLastError(0);
    lastLength = formatInto(out, sizeof out, Text, arguments...);
    if (lastLength == 0 && GetLastError() != 0) return "error " + std::to_string(GetLastError());
    EXPECT_EQ(strlen(out), lastLength < sizeof out ? lastLength : sizeof out - 1);
    return out;
}

} // namespace

TEST(FormatMessageA, PutsTextsInPlace)
{
    EXPECT_EQ(format("plain"), "plain");
    EXPECT_EQ(lastLength, 5u);
    EXPECT_EQ(format("%1, %2 and %1", "one", "two"), "one, two and one");
    EXPECT_EQ(format("%2%1", "a", "b"), "ba");
    EXPECT_EQ(format("%3", "a", "b", "c"), "c") << "words that are not named are passed over";
    EXPECT_EQ(format("<%1>", static_cast<const char *>(nullptr)), "<(null)>");
}

TEST(FormatMessageA, TakesNumbersOfTwoDigitsAtMost)
{
    EXPECT_EQ(format("%10 %12", "1", "2", "3", "4", "5", "6", "7", "8", "9", "ten", "11", "twelve"), "ten twelve");
    EXPECT_EQ(format("%100", "1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"), "ten0");
    EXPECT_EQ(format("%1x2", "1"), "1x2");
}

TEST(FormatMessageA, KnowsItsOwnEscapes)
{
    EXPECT_EQ(format("a%nb%rc%td%be%.f%!g%%h"), "a\nb\rc\td e.f!g%h");
    EXPECT_EQ(format("%s%d%x% %N%-%*"), "sdx N-*") << "before any other character the percent sign falls away";
    EXPECT_EQ(format("line\nend\r\n"), "line\nend\r\n");
}

TEST(FormatMessageA, EndsAtPercentZero)
{
    EXPECT_EQ(format("ab%0cd"), "ab");
    EXPECT_EQ(format("ab%01cd"), "ab");
    EXPECT_EQ(format("ab%0%"), "ab") << "what stands behind the end is not looked at";
}

TEST(FormatMessageA, GivesZeroForAnEmptyResult)
{
    EXPECT_EQ(format(""), "");
    EXPECT_EQ(lastLength, 0u);
    EXPECT_EQ(format("%0"), "");
    EXPECT_EQ(lastLength, 0u);
    EXPECT_EQ(format("%1", ""), "");
    EXPECT_EQ(lastLength, 0u);
}

TEST(FormatMessageA, RefusesABrokenText)
{
    for (const char *text :
         {"%",      "text %",     "%1!d",        "text %1!d", "%1!",           "%1!!",    "%1!5",
          "%1!y!",  "%1!f!",      "%1!-",        "%1!ls!",    "%1!S!",         "%1!n!",   "%1!5d5!",
          "%1!.!x", "%1!99999d!", "%1!.99999d!", "%1!*",      "%1!--------d!", "%1!hhd!", "%1!I16d!"}) {
        char out[32] = "untouched";
        SetLastError(0);
        EXPECT_EQ(formatInto(out, sizeof out, text, 1, 2, 3), 0u) << text;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << text;
        EXPECT_STREQ(out, "untouched") << text;
    }
}

TEST(FormatMessageA, PrintsByForm)
{
    EXPECT_EQ(format("%1!d!", -5), "-5");
    EXPECT_EQ(format("%1!i!", INT_MIN), "-2147483648");
    EXPECT_EQ(format("%1!u!", -1), "4294967295");
    EXPECT_EQ(format("%1!ld!", -5L), "-5");
    EXPECT_EQ(format("%1!lu!", 5), "5");
    EXPECT_EQ(format("%1!x!/%1!X!/%1!#x!/%1!o!", 0xabc), "abc/ABC/0xabc/5274");
    EXPECT_EQ(format("%1!08X!", 0x1D20000E), "1D20000E");
    EXPECT_EQ(format("%1!8.8x!", 0x12), "00000012");
    EXPECT_EQ(format("%1!5d!|%1!-5d!|%1!05d!|%1!+d!|%1! d!", 42), "   42|42   |00042|+42| 42");
    EXPECT_EQ(format("%1!c!%2!c!", 'a', 'b'), "ab");
    EXPECT_EQ(format("%1!s!|%1!8s!|%1!-8s!|%1!.3s!|%1!8.3s!", "abcdef"), "abcdef|  abcdef|abcdef  |abc|     abc");
    EXPECT_EQ(format("%1!hs!", "narrow"), "narrow");
    EXPECT_EQ(format("%1!.4s!", static_cast<const char *>(nullptr)), "(nul");
    char expected[32];
    snprintf(expected, sizeof expected, "%p", static_cast<void *>(&lastLength));
    EXPECT_EQ(format("%1!p!", static_cast<void *>(&lastLength)), expected);
}

TEST(FormatMessageA, CutsIntegersToTheirLength)
{
    EXPECT_EQ(format("%1!hd! %1!hu! %1!hx!", 0x1FFFE), "-2 65534 fffe");
    EXPECT_EQ(format("%1!d! %1!u! %1!x!", 0x1'FFFF'FFFFll), "-1 4294967295 ffffffff");
    EXPECT_EQ(format("%1!ld! %1!I32x!", 0x1'0000'0007ll), "7 7");
    EXPECT_EQ(format("%1!I64d! %1!lld! %1!I64x!", -2ll), "-2 -2 fffffffffffffffe");
}

TEST(FormatMessageA, TakesWidthAndPrecisionFromTheList)
{
    EXPECT_EQ(format("<%1!*d!>", 6, 42), "<    42>");
    EXPECT_EQ(format("<%1!-*d!>", 6, 42), "<42    >");
    EXPECT_EQ(format("<%1!*d!>", -6, 42), "<42    >");
    EXPECT_EQ(format("<%1!.*s!>", 2, "Bill"), "<Bi>");
    EXPECT_EQ(format("%1!*.*s! %4 %5!*s!", 4, 2, "Bill", "Bob", 6, "Bill"), "  Bi Bob   Bill");
    EXPECT_EQ(format("<%1!.*s!>", -1, "Bill"), "<Bill>") << "a negative precision is none";
}

TEST(FormatMessageA, FetchesManyWords)
{
    std::string text;
    for (int i = 1; i <= 12; ++i) text += "%" + std::to_string(i) + "!d! ";
    EXPECT_EQ(format(text.c_str(), 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, -12), "1 2 3 4 5 6 7 8 9 10 11 -12 ");
}

TEST(FormatMessageA, TellsTheLengthThatIsNeeded)
{
    char out[16];
    memset(out, '~', sizeof out);
    EXPECT_EQ(formatInto(out, 8, "%1 %2", "abc", "defgh"), 9u);
    EXPECT_STREQ(out, "abc def");
    EXPECT_EQ(out[8], '~');
    EXPECT_EQ(formatInto(out, 9, "%1 %2", "abc", "defgh"), 9u) << "an exact fill lacks its terminator";
    EXPECT_STREQ(out, "abc defg");
    EXPECT_EQ(formatInto(out, 10, "%1 %2", "abc", "defgh"), 9u);
    EXPECT_STREQ(out, "abc defgh");
    EXPECT_EQ(formatInto(out, 1, "%1 %2", "abc", "defgh"), 9u);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(formatInto(nullptr, 0, "%1 %2", "abc", "defgh"), 9u);
}

// Every room from none to more than enough, with a cut in plain text, in an insert, in a padded form.
TEST(FormatMessageA, CutsAnywhere)
{
    const std::string whole = format("head %1 %2!10d! %3!-6s!%% tail%n", "text", 12345, "ab");
    for (u32 room = 1; room <= whole.size() + 2; ++room) {
        std::string out(room + 1, '~');
        EXPECT_EQ(formatInto(out.data(), room, "head %1 %2!10d! %3!-6s!%% tail%n", "text", 12345, "ab"), whole.size());
        EXPECT_EQ(std::string(out.c_str()), whole.substr(0, room - 1)) << room;
        EXPECT_EQ(out[room], '~');
    }
}

TEST(FormatMessageA, CountsWhatDoesNotFitAnywhere)
{
    const std::string longText(100000, 'z');
    char out[16];
    EXPECT_EQ(formatInto(out, sizeof out, "%1%1%1!65535d!", longText.c_str()), 265535u);
}

static u32 formatTwice(char *First, char *Second, ...)
{
    va_list arguments;
    va_start(arguments, Second);
    FormatMessageA(FORMAT_MESSAGE_FROM_STRING, "%1 %2", 0, 0, First, 32, &arguments);
    const u32 length = FormatMessageA(FORMAT_MESSAGE_FROM_STRING, "%1 %2", 0, 0, Second, 32, &arguments);
    va_end(arguments);
    return length;
}

TEST(FormatMessageA, LeavesTheListWhereItIs)
{
    char first[32], second[32];
    EXPECT_EQ(formatTwice(first, second, "a", "b"), 3u);
    EXPECT_STREQ(first, "a b");
    EXPECT_STREQ(second, "a b");
}

TEST(FormatMessageA, RefusesBadArguments)
{
    char out[32] = "untouched";
    const auto refused = [&](u32 Flags, const char *Text, char *Out, u32 Size) {
        SetLastError(0);
        return FormatMessageA(Flags, Text, 0, 0, Out, Size, nullptr) == 0 && GetLastError() == ERROR_INVALID_PARAMETER;
    };
    EXPECT_TRUE(refused(0, "text", out, 32));
    EXPECT_TRUE(refused(0x1000, "text", out, 32));
    EXPECT_TRUE(refused(0x600, "text", out, 32));
    EXPECT_TRUE(refused(FORMAT_MESSAGE_FROM_STRING, nullptr, out, 32));
    EXPECT_TRUE(refused(FORMAT_MESSAGE_FROM_STRING, "text", nullptr, 32));
    EXPECT_TRUE(refused(FORMAT_MESSAGE_FROM_STRING, "%1", out, 32)) << "an insert without a list";
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_FROM_STRING, "no insert", 0, 0, out, 32, nullptr), 9u);
    EXPECT_STREQ(out, "no insert");
}
