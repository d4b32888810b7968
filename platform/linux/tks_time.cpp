// The wall clock.

#include "tks_time.h"

#include "plat_sys.h"

void tks_GetTime(tks_Time *Time)
{
    struct timespec now = {};
    Plat_Sys.ClockGettime(CLOCK_REALTIME, &now); // fails for no clock that exists; then the time is 0
    Time->Seconds = static_cast<u32>(now.tv_sec);
    Time->MicroSeconds = static_cast<u32>(now.tv_nsec / 1000);
}

time_t tks_TimeToANSI(const tks_Time *Time)
{
    return static_cast<time_t>(Time->Seconds);
}
