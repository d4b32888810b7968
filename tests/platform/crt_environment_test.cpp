// The runtime calls with an underscore: paths in text form, environment, time zone.

#include "crt.h"

#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "plat_faults.h"
#include "scratch_root.h"

namespace
{

std::string full(const char *Path)
{
    char out[256];
    return _fullpath(out, Path, sizeof out) != nullptr ? out : "failed";
}

} // namespace

TEST(_fullpath, ResolvesByTheTextAlone)
{
    EXPECT_EQ(full("c:\\opt\\vela"), "/opt/vela");
    EXPECT_EQ(full("/a//b/./c/../d/"), "/a/b/d");
    EXPECT_EQ(full("/.."), "/");
    EXPECT_EQ(full("/../../x"), "/x");
    EXPECT_EQ(full("/a/../.."), "/");
    EXPECT_EQ(full("/"), "/");
    EXPECT_EQ(full("/no/such/...x/..y"), "/no/such/...x/..y");
    EXPECT_EQ(full("/keeps/the.exe"), "/keeps/the.exe");
}

TEST(_fullpath, StartsAtTheCurrentDirectory)
{
    const std::string root = Scratch_MakeRoot(nullptr);
    ASSERT_EQ(chdir(root.c_str()), 0);
    char directory[256];
    ASSERT_NE(_getcwd(directory, sizeof directory), nullptr);
    const std::string here = directory;

    EXPECT_EQ(full("a\\b"), here + "/a/b");
    EXPECT_EQ(full("."), here);
    EXPECT_EQ(full("c:"), here);
    EXPECT_EQ(full(""), here);
    EXPECT_EQ(full(nullptr), here);
    EXPECT_EQ(full("../x"), here.substr(0, here.rfind('/')) + "/x");
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(full("a"), "/a");
    EXPECT_EQ(full(".."), "/");
}

TEST(_fullpath, KeepsItsBound)
{
    char out[8] = "";
    EXPECT_EQ(_fullpath(out, "/123456", 8), out);
    EXPECT_STREQ(out, "/123456");
    EXPECT_EQ(_fullpath(out, "/1234567", 8), nullptr);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_STREQ(out, "/123456");
    EXPECT_EQ(_fullpath(out, "/", 1), nullptr);
    EXPECT_EQ(_fullpath(out, std::string(5000, 'x').c_str(), 8), nullptr);
    Plat_Sys.Getcwd = Fault_With<ENOENT>{};
    EXPECT_EQ(_fullpath(out, "x", 8), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(_fullpath, GivesAHeapBlockForNull)
{
    char *const path = _fullpath(nullptr, "/a/b", 0);
    ASSERT_NE(path, nullptr);
    EXPECT_STREQ(path, "/a/b");
    free(path);
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(_fullpath(nullptr, "/a/b", 0), nullptr);
}

TEST(_getcwd, KeepsItsBound)
{
    ASSERT_EQ(chdir("/usr"), 0);
    char out[8] = "";
    EXPECT_EQ(_getcwd(out, 5), out);
    EXPECT_STREQ(out, "/usr");
    EXPECT_EQ(_getcwd(out, 4), nullptr);
    EXPECT_EQ(errno, ERANGE);
    for (const i32 size : {0, -1}) {
        EXPECT_EQ(_getcwd(out, size), nullptr);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(_getcwd(nullptr, 10), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST(_getpid, IsTheProcess)
{
    EXPECT_EQ(_getpid(), getpid());
}

TEST(_putenv, SetsAndRemoves)
{
    char text[] = "PLAT_TEST=one";
    EXPECT_EQ(_putenv(text), 0);
    text[10] = 'X';
    EXPECT_STREQ(getenv("PLAT_TEST"), "one") << "a copy";
    EXPECT_EQ(_putenv("PLAT_TEST=a=b"), 0);
    EXPECT_STREQ(getenv("PLAT_TEST"), "a=b");
    EXPECT_EQ(_putenv("PLAT_TEST="), 0);
    EXPECT_EQ(getenv("PLAT_TEST"), nullptr);
    EXPECT_EQ(_putenv("PLAT_TEST="), 0) << "nothing to remove";
}

TEST(_putenv, RefusesATextWithoutNameOrSign)
{
    for (const char *text : {"PLAT_TEST", "=x", "=", ""}) {
        errno = 0;
        EXPECT_EQ(_putenv(text), -1) << text;
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(_putenv(nullptr), -1);
    Plat_Sys.Malloc = Fault_With<ENOMEM>{};
    EXPECT_EQ(_putenv("PLAT_TEST=x"), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(_tzset, ReadsTheTimeZone)
{
    setenv("TZ", "XYZ3:30", 1);
    _tzset();
    EXPECT_EQ(_timezone, 3 * 3600 + 1800);
    EXPECT_EQ(_daylight, 0);
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    _tzset();
    EXPECT_EQ(_timezone, -3600);
    EXPECT_EQ(_daylight, 1);
}

TEST(_heapchk, IsAlwaysContent)
{
    EXPECT_EQ(_heapchk(), -2);
}

TEST(___mb_cur_max_func, FollowsTheLocale)
{
    EXPECT_EQ(___mb_cur_max_func(), 1);
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
    EXPECT_EQ(___mb_cur_max_func(), 6);
}
