// Counter, local time and date of the system.

#include "win32_time.h"

#include <time.h>

#include <cstring>

#include "plat_clock.h"
#include "plat_error.h"
#include "plat_sys.h"
#include "win32_error.h"

constexpr u32 localeSystemDefault = 0x800;
constexpr u32 dateShort = 1;

i32 QueryPerformanceCounter(i64 *Counter)
{
    if (Counter == nullptr) {
        SetLastError(ERROR_NOACCESS);
        return 0;
    }
    return Plat_ReadCounter(Counter) ? 1 : Plat_FailFromErrno();
}

void GetLocalTime(SYSTEMTIME *Time)
{
    struct timespec now = {};
    struct tm local = {};
    Plat_Sys.ClockGettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);
    Time->wYear = static_cast<u16>(local.tm_year + 1900);
    Time->wMonth = static_cast<u16>(local.tm_mon + 1);
    Time->wDayOfWeek = static_cast<u16>(local.tm_wday);
    Time->wDay = static_cast<u16>(local.tm_mday);
    Time->wHour = static_cast<u16>(local.tm_hour);
    Time->wMinute = static_cast<u16>(local.tm_min);
    Time->wSecond = static_cast<u16>(local.tm_sec);
    Time->wMilliseconds = static_cast<u16>(now.tv_nsec / 1'000'000);
}

i32 GetDateFormatA(u32 Locale, u32 Flags, const SYSTEMTIME *Date, const char *Format, char *Out, i32 Size)
{
    const bool offered = Locale == localeSystemDefault && Flags == dateShort && Date == nullptr && Format == nullptr;
    if (!offered || Size < 0 || (Out == nullptr && Size != 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    struct timespec now = {};
    struct tm local = {};
    Plat_Sys.ClockGettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);

    char text[256];
    const size_t length = strftime(text, sizeof text, "%x", &local);
    const bool fits = length != 0 && (Size == 0 || length + 1 <= static_cast<size_t>(Size));
    if (!fits) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    if (Size != 0) memcpy(Out, text, length + 1);
    return static_cast<i32>(length + 1);
}
