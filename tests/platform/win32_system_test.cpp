// The system's version and name.

#include "win32_system.h"

#include <sys/utsname.h>

#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "plat_sys.h"
#include "win32_error.h"

namespace
{

const char *release, *hostName;

void useRelease(const char *text)
{
    release = text;
    Plat_Sys.Uname = [](struct utsname *out) {
        *out = {};
        strcpy(out->release, release);
        return 0;
    };
}

void useHostName(const char *text)
{
    hostName = text;
    Plat_Sys.Gethostname = [](char *out, size_t size) {
        strncpy(out, hostName, size);
        return 0;
    };
}

} // namespace

TEST(GetVersionExA, TakesTheNumbersOfTheRelease)
{
    struct {
        const char *Release;
        u32 Major, Minor, Build;
        const char *Rest;
    } const rows[] = {
        {"6.1.0-18-amd64", 6, 1, 0, "-18-amd64"},
        {"5.10.216", 5, 10, 216, ""},
        {"6.18", 6, 18, 0, ""},
        {"7", 7, 0, 0, ""},
        {"7.x", 7, 0, 0, "x"},
        {"odd", 0, 0, 0, "odd"},
    };
    for (const auto &row : rows) {
        useRelease(row.Release);
        OSVERSIONINFOA version = {};
        version.dwOSVersionInfoSize = 148;
        ASSERT_NE(GetVersionExA(&version), 0);
        EXPECT_EQ(version.dwMajorVersion, row.Major);
        EXPECT_EQ(version.dwMinorVersion, row.Minor);
        EXPECT_EQ(version.dwBuildNumber, row.Build);
        EXPECT_EQ(version.dwPlatformId, 2u);
        EXPECT_STREQ(version.szCSDVersion, row.Rest);
    }
}

TEST(GetVersionExA, Fails)
{
    OSVERSIONINFOA version = {};
    for (const u32 size : {0u, 147u, 149u, 156u}) {
        version.dwOSVersionInfoSize = size;
        EXPECT_EQ(GetVersionExA(&version), 0);
        EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    }
    Plat_Sys.Uname = [](struct utsname *) {
        errno = EFAULT;
        return -1;
    };
    version.dwOSVersionInfoSize = 148;
    EXPECT_EQ(GetVersionExA(&version), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOACCESS);
}

TEST(GetComputerNameA, CutsAndCapitalises)
{
    struct {
        const char *Host, *Name;
    } const rows[] = {
        {"node", "NODE"},
        {"Node-7.example.org", "NODE-7"},
        {"a23456789012345", "A23456789012345"},
        {"a234567890123456789", "A23456789012345"},
        {"\xc3\xa9", "\xc3\xa9"}, // letters of the C locale alone
        {"", ""},
    };
    for (const auto &row : rows) {
        useHostName(row.Host);
        char name[16];
        u32 size = sizeof name;
        EXPECT_NE(GetComputerNameA(name, &size), 0);
        EXPECT_STREQ(name, row.Name);
        EXPECT_EQ(size, strlen(row.Name));
    }
}

TEST(GetComputerNameA, TellsTheRoomThatItNeeds)
{
    useHostName("node");
    char name[8] = "#######";
    u32 size = 4;
    EXPECT_EQ(GetComputerNameA(name, &size), 0);
    EXPECT_EQ(GetLastError(), 111u);
    EXPECT_EQ(size, 5u);
    EXPECT_STREQ(name, "#######");
    EXPECT_NE(GetComputerNameA(name, &size), 0);
    EXPECT_STREQ(name, "NODE");

    Plat_Sys.Gethostname = [](char *, size_t) {
        errno = EPERM;
        return -1;
    };
    EXPECT_EQ(GetComputerNameA(name, &size), 0);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}
