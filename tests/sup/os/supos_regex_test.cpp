// The pattern matcher: what its parts mean, its odd corners, and random patterns against the algorithm as a list of
// steps.

#include "supos_regex_int.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "ring_reader.h"

namespace
{

u32 match(const std::string &Pattern, const std::string &Text)
{
    SupOS_Regex regex;
    EXPECT_EQ(SupOS_Regcomp(&regex, Pattern.c_str(), 8), 0u);
    return SupOS_Regexec(&regex, Text.c_str(), 0, nullptr, 0);
}

#define EXPECT_MATCH(Pattern, Text) EXPECT_EQ(match(Pattern, Text), 0u) << Pattern << " on " << Text
#define EXPECT_NO_MATCH(Pattern, Text) EXPECT_EQ(match(Pattern, Text), 1u) << Pattern << " on " << Text

// The matcher as numbered steps, positions as indexes. -1 when it does not end.
struct Steps {
    std::string pattern;
    std::string text;
    int p = 0, t = 0, atomP = 0, atomT = 0, depth = 0, group = 0;
    int resume = -1, retry = -1, floor = -1;
    bool matched = false, escaped = false;

    char pat(int At) const { return At < static_cast<int>(pattern.size()) ? pattern[static_cast<size_t>(At)] : '\0'; }
    char txt() const { return t < static_cast<int>(text.size()) ? text[static_cast<size_t>(t)] : '\0'; }
    bool atEnd() const { return txt() == '\0'; }

    int run()
    {
        for (int round = 0; round < 20000; ++round) {
            if (pat(p) == '\0') return 0;
            atomP = p;
            atomT = t;
            if (escaped) {
                if (pat(p) != txt()) return 1;
                ++p;
                ++t;
                escaped = false;
                continue;
            }
            const char c = pat(p);
            if (c == '(') {
                ++depth;
                group = t;
                ++p;
                continue;
            }
            if (c == ')') {
                --depth;
                ++p;
                continue;
            }
            if (c == '\\') {
                escaped = true;
                continue;
            }
            if (c == '^') {
                if (p != 0) return 1;
                ++p;
                continue;
            }
            if (c == '$') {
                ++p;
                matched = atEnd();
            } else if (c == '.') {
                ++p;
                matched = !atEnd();
                if (matched) ++t;
            } else if (c == '[') {
                ++p;
                const bool negated = pat(p) == '^' && !atEnd();
                matched = negated;
                if (negated) ++p;
                for (; pat(p) != ']' && pat(p) != '\0'; ++p)
                    if (!atEnd() && pat(p) == txt()) matched = !negated;
                if (pat(p) != ']') return 1;
                ++p;
                if (!atEnd()) ++t;
            } else if (c != '*' && c != '?') {
                matched = c == txt();
                ++p;
                if (!atEnd()) ++t;
            }
            if (pat(p) == '?') {
                ++p;
                if (!matched) t = atomT;
                continue;
            }
            if (pat(p) == '*') {
                const bool any = p > 0 && pat(p - 1) == '.';
                if (!matched) {
                    if (any) {
                        resume = p + 1;
                        retry = t;
                    }
                    ++p;
                    t = atomT;
                } else {
                    if (any && (resume < 0 || p >= resume)) {
                        floor = t;
                        resume = p + 1;
                    }
                    p = atomP;
                }
                continue;
            }
            if (matched) continue;
            if (depth != 0) {
                while (pat(p) != ')' && pat(p) != '\0') ++p;
                if (pat(p) == ')') {
                    --depth;
                    if (pat(p + 1) == '*' || pat(p + 1) == '?') {
                        p += 2;
                        atomT = t = group;
                        continue;
                    }
                }
            }
            if (floor < 0 || retry < 0 || floor > retry) return 1;
            t = --retry;
            p = resume;
        }
        return -1;
    }
};

} // namespace

TEST(SupOS_Regexec, AnEmptyPatternMatchesEveryText)
{
    EXPECT_MATCH("", "");
    EXPECT_MATCH("", "abc");
}

TEST(SupOS_Regexec, TextBehindThePatternDoesNotCount)
{
    EXPECT_MATCH("abc", "abcd");
    EXPECT_NO_MATCH("abc$", "abcd");
    EXPECT_MATCH("abc$", "abc");
    EXPECT_NO_MATCH("abc", "ab");
    EXPECT_NO_MATCH("abc", "xabc");
}

TEST(SupOS_Regexec, ACaretCountsAtTheStartOnly)
{
    EXPECT_MATCH("^abc", "abc");
    EXPECT_NO_MATCH("a^bc", "abc");
    EXPECT_NO_MATCH("a^bc", "a^bc");
}

TEST(SupOS_Regexec, BacktracksIntoTheLastAny)
{
    EXPECT_MATCH("[yY].*", "yes");
    EXPECT_MATCH(".*s$", "yes");
    EXPECT_MATCH("[yY].*s$", "yes");
    EXPECT_NO_MATCH(".*x$", "yes");
    EXPECT_MATCH(".*", "");
    EXPECT_MATCH(".*.*s", "yes");
}

TEST(SupOS_Regexec, GroupsMayBeAbsent)
{
    EXPECT_MATCH("(ab)?c", "abc");
    EXPECT_MATCH("(ab)?c", "c");
    EXPECT_MATCH("(ab)?ac", "ac");
    EXPECT_NO_MATCH("(ab)c", "c");
    EXPECT_MATCH("(ab)*c", "c");
}

TEST(SupOS_Regexec, AtomsMayRepeat)
{
    EXPECT_MATCH("a*b", "aaab");
    EXPECT_MATCH("a*b", "b");
    EXPECT_NO_MATCH("a*ab", "aaab") << "no giving back but for a point";
    EXPECT_MATCH("ab?c", "ac");
    EXPECT_MATCH("ab?c", "abc");
    EXPECT_NO_MATCH("ab?c", "abbc");
    EXPECT_MATCH("[ab]*c", "abbac");
}

TEST(SupOS_Regexec, ClassesHaveNoRanges)
{
    EXPECT_MATCH("[a-c]", "-");
    EXPECT_NO_MATCH("[a-c]", "b");
    EXPECT_MATCH("[^ab]", "c");
    EXPECT_NO_MATCH("[^ab]", "a");
    EXPECT_NO_MATCH("[^ab]", "") << "at the end of the text the caret is a member";
    EXPECT_NO_MATCH("[ab", "a");
    EXPECT_NO_MATCH("[]", "a");
    EXPECT_NO_MATCH("[", "a");
}

TEST(SupOS_Regexec, ABackslashStandsForItself)
{
    EXPECT_MATCH("a\\b", "a\\b");
    EXPECT_NO_MATCH("\\.", "\\") << "the point behind it is an ordinary atom";
    EXPECT_MATCH("\\.", "\\x");
    EXPECT_NO_MATCH("\\", "x");
    EXPECT_NO_MATCH("\\", "");
}

TEST(SupOS_Regexec, OtherMarksAreLiterals)
{
    EXPECT_MATCH("a+", "a+");
    EXPECT_NO_MATCH("a+", "aa");
    EXPECT_MATCH("a|b", "a|b");
    EXPECT_NO_MATCH("A", "a");
    EXPECT_MATCH("\xC3\xA4", "\xC3\xA4");
}

TEST(SupOS_Regexec, MalformedPatternsAreHarmless)
{
    EXPECT_MATCH("*", "x");
    EXPECT_MATCH("?", "x");
    EXPECT_MATCH("*a", "a");
    EXPECT_MATCH(")", "x");
    EXPECT_MATCH("(", "x");
    EXPECT_NO_MATCH("(a", "b");
    EXPECT_MATCH(")a)?b", "b");
    EXPECT_NO_MATCH("$a", "a");
}

TEST(SupOS_Regcomp, CutsAPatternAtEightyBytes)
{
    EXPECT_MATCH(std::string(79, 'a'), std::string(79, 'a'));
    EXPECT_MATCH(std::string(80, 'a'), std::string(80, 'a'));
    EXPECT_NO_MATCH(std::string(80, 'a'), std::string(79, 'a'));
    EXPECT_MATCH(std::string(80, 'a') + "b", std::string(80, 'a')) << "the 81st byte is gone";
}

TEST(SupOS_Regerror, EmptiesItsRoom)
{
    SupOS_Regex regex;
    SupOS_Regcomp(&regex, "a", 0);
    char room[4] = "xyz";
    EXPECT_EQ(SupOS_Regerror(1, &regex, room, sizeof room), 1u);
    EXPECT_STREQ(room, "");
    EXPECT_EQ(SupOS_Regerror(1, &regex, nullptr, 0), 1u);
    SupOS_Regfree(&regex);
    EXPECT_EQ(SupOS_Regexec(&regex, "a", 0, nullptr, 0), 0u) << "nothing was released";
}

TEST(SupOS_Regexec, TracesItsOutcome)
{
    Ring_TraceOn();
    match("a", "a");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Regcomp"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Regexec"), 1u);
    match("a", "b");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_Regexec"), 2u);
}

TEST(SupOS_Regexec, RandomPatternsFollowTheSteps)
{
    std::mt19937 random(20240511);
    const std::string marks = "aabb.*?[]^$()\\";
    size_t compared = 0;
    size_t matchesSeen = 0;
    for (int i = 0; i < 300000; ++i) {
        std::string pattern;
        std::string text;
        for (auto n = random() % 8; n > 0; --n) pattern += marks[random() % marks.size()];
        for (auto n = random() % 6; n > 0; --n) text += "ab\\"[random() % 3];
        Steps steps{pattern, text};
        const int wanted = steps.run();
        if (wanted < 0) continue; // such a pattern is not to be passed
        ASSERT_EQ(match(pattern, text), static_cast<u32>(wanted)) << pattern << " on " << text;
        ++compared;
        matchesSeen += wanted == 0;
    }
    EXPECT_GT(compared, 200000u);
    EXPECT_GT(matchesSeen, 50000u);
}
