// The system's version and name.

#include "win32_system.h"

#include <sys/utsname.h>

#include <cstdio>
#include <cstring>

#include "plat_error.h"
#include "plat_sys.h"
#include "win32_error.h"

static_assert(sizeof(OSVERSIONINFOA) == 148);

constexpr u32 platformId = 2;

i32 GetVersionExA(OSVERSIONINFOA *Version)
{
    if (Version->dwOSVersionInfoSize != sizeof *Version) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    struct utsname names;
    if (Plat_Sys.Uname(&names) != 0) return Plat_FailFromErrno();

    int end = 0;
    unsigned numbers[3] = {};
    const char *rest = names.release;
    for (unsigned &number : numbers) {
        if (sscanf(rest, "%9u%n", &number, &end) != 1) break;
        rest += end;
        if (*rest != '.') break;
        ++rest;
    }
    Version->dwMajorVersion = numbers[0];
    Version->dwMinorVersion = numbers[1];
    Version->dwBuildNumber = numbers[2];
    Version->dwPlatformId = platformId;
    snprintf(Version->szCSDVersion, sizeof Version->szCSDVersion, "%s", rest);
    return 1;
}

// In the C locale's letters, whatever the locale: the name is compared byte by byte.
static char upperCase(char Letter)
{
    return Letter >= 'a' && Letter <= 'z' ? static_cast<char>(Letter - 'a' + 'A') : Letter;
}

i32 GetComputerNameA(char *Out, u32 *Size)
{
    char name[256] = {};
    if (Plat_Sys.Gethostname(name, sizeof name - 1) != 0) return Plat_FailFromErrno();

    u32 length = static_cast<u32>(strcspn(name, "."));
    if (length > MAX_COMPUTERNAME_LENGTH) length = MAX_COMPUTERNAME_LENGTH;
    if (*Size <= length) {
        *Size = length + 1;
        SetLastError(ERROR_BUFFER_OVERFLOW);
        return 0;
    }
    for (u32 i = 0; i < length; ++i) Out[i] = upperCase(name[i]);
    Out[length] = 0;
    *Size = length;
    return 1;
}
