// The path map.

#include "plat_path.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "crt.h"
#include "plat_faults.h"
#include "scratch_root.h"

namespace
{

std::string mapped(const std::string &Path)
{
    char out[PLAT_PATH_ROOM];
    return Plat_MapPath(Path.c_str(), out, sizeof out) != nullptr ? out : "failed";
}

} // namespace

TEST(Plat_MapPath, TurnsSeparatorsAndDropsTheDrive)
{
    EXPECT_EQ(mapped("c:\\opt\\vela"), "/opt/vela");
    EXPECT_EQ(mapped("Z:/opt\\vela/x"), "/opt/vela/x");
    EXPECT_EQ(mapped("\\opt\\\\vela\\"), "/opt//vela/");
    EXPECT_EQ(mapped("c:part"), "part");
    EXPECT_EQ(mapped("C:"), ".");
    EXPECT_EQ(mapped("plain/Path"), "plain/Path");
    EXPECT_EQ(mapped("1:x"), "1:x") << "a digit is no drive";
    EXPECT_EQ(mapped("ab:x"), "ab:x");
    EXPECT_EQ(mapped(""), "");
}

TEST(Plat_MapPath, KnowsTheNullDevice)
{
    EXPECT_EQ(mapped("NUL"), "/dev/null");
    EXPECT_EQ(mapped("nul"), "/dev/null");
    EXPECT_EQ(mapped("c:Nul"), "/dev/null");
    EXPECT_EQ(mapped("NUL.txt"), "NUL.txt");
    EXPECT_EQ(mapped("NULL"), "NULL");
}

TEST(Plat_MapPath, TriesAProgramWithoutItsExtension)
{
    const std::string root = Scratch_MakeRoot(nullptr) + "/";
    Scratch_WriteFile(root + "plain", "");
    Scratch_WriteFile(root + "both", "");
    Scratch_WriteFile(root + "both.exe", "");

    EXPECT_EQ(mapped(root + "plain.exe"), root + "plain");
    EXPECT_EQ(mapped(root + "plain.EXE"), root + "plain");
    EXPECT_EQ(mapped(root + "both.exe"), root + "both.exe");
    EXPECT_EQ(mapped(root + "neither.exe"), root + "neither.exe");
    EXPECT_EQ(mapped(root + ".exe"), root + ".exe") << "its directory is no program";
    EXPECT_EQ(mapped(".exe"), ".exe");
}

TEST(Plat_MapPath, FailsWithoutRoomAndKeepsErrnoElse)
{
    char out[8];
    EXPECT_NE(Plat_MapPath("c:1234567", out, sizeof out), nullptr);
    EXPECT_STREQ(out, "1234567");
    EXPECT_EQ(Plat_MapPath("12345678", out, sizeof out), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);

    errno = 77;
    EXPECT_EQ(mapped("/no/such/thing.exe"), "/no/such/thing.exe");
    EXPECT_EQ(errno, 77);
}

TEST(Plat_PipeName, FindsTheNameBehindThePrefix)
{
    EXPECT_STREQ(Plat_PipeName("\\\\.\\pipe\\name"), "name");
    EXPECT_STREQ(Plat_PipeName("\\\\.\\PIPE\\a\\b"), "a\\b");
    EXPECT_STREQ(Plat_PipeName("//./Pipe/x"), "x");
    EXPECT_EQ(Plat_PipeName("\\\\.\\pipes\\name"), nullptr);
    EXPECT_EQ(Plat_PipeName("\\\\x\\pipe\\name"), nullptr);
    EXPECT_EQ(Plat_PipeName("\\"), nullptr);
    EXPECT_EQ(Plat_PipeName(""), nullptr);
    EXPECT_EQ(Plat_PipeName("pipe\\name"), nullptr);
}
