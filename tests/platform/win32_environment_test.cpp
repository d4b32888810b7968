// References to environment variables.

#include "win32_environment.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace
{

std::string expanded(const char *source)
{
    char out[256];
    memset(out, '#', sizeof out);
    const u32 needed = ExpandEnvironmentStringsA(source, out, sizeof out);
    EXPECT_EQ(needed, strlen(out) + 1) << source;
    return out;
}

} // namespace

TEST(ExpandEnvironmentStringsA, ReplacesNames)
{
    setenv("EXPAND_A", "one", 1);
    setenv("EXPAND_B", "%EXPAND_A%", 1);
    setenv("EXPAND_EMPTY", "", 1);
    unsetenv("EXPAND_NONE");
    EXPECT_EQ(expanded(""), "");
    EXPECT_EQ(expanded("plain"), "plain");
    EXPECT_EQ(expanded("%EXPAND_A%"), "one");
    EXPECT_EQ(expanded("x%EXPAND_A%y%EXPAND_A%"), "xoneyone");
    EXPECT_EQ(expanded("%EXPAND_B%"), "%EXPAND_A%"); // once
    EXPECT_EQ(expanded("<%EXPAND_EMPTY%>"), "<>");
    EXPECT_EQ(expanded("%EXPAND_NONE%"), "%EXPAND_NONE%");
    EXPECT_EQ(expanded("%expand_a%"), "%expand_a%"); // names have case
    EXPECT_EQ(expanded("%EXPAND_%"), "%EXPAND_%"); // no name's beginning
}

TEST(ExpandEnvironmentStringsA, KeepsSinglePercentSigns)
{
    setenv("EXPAND_A", "one", 1);
    EXPECT_EQ(expanded("100%"), "100%");
    EXPECT_EQ(expanded("%"), "%");
    EXPECT_EQ(expanded("%%"), "%%");
    EXPECT_EQ(expanded("%%%"), "%%%");
    EXPECT_EQ(expanded("100% of %EXPAND_A%"), "100% of one"); // the second sign opens a name
    EXPECT_EQ(expanded("%EXPAND_A%%"), "one%");
    EXPECT_EQ(expanded("%%EXPAND_A%%"), "%one%");
}

TEST(ExpandEnvironmentStringsA, TellsTheRoomThatItNeeds)
{
    setenv("EXPAND_A", "one", 1);
    for (u32 size = 0; size <= 8; ++size) {
        char out[9];
        memset(out, '#', sizeof out);
        EXPECT_EQ(ExpandEnvironmentStringsA("x%EXPAND_A%y", out, size), 6u);
        EXPECT_EQ(out[size], '#');
        if (size == 0) continue;
        EXPECT_STREQ(out, size >= 6 ? "xoney" : "") << size;
    }
}
