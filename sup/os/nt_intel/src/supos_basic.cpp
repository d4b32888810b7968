// Basic services: the clocks, byte order, the access test for a path, the product notice.
//
// They stand below everything else: the trace facility and the names table call them before a process has any state.
// The clocks run inside every trace record, so they have no guard, or each record would ask for another one.

#include "supos_basics.h"

#include "supos_inner.h"

#include "crt.h"
#include "inftr_guard.h"
#include "tks_time.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

constinit char *copyRightStr = nullptr;

constexpr char noticeText[] = "8831QX470 Corvanta-VELA common runtime library, release 620";

constexpr i32 testRead = 4;
constexpr i32 testExecute = 1;

// Longest array text that goes into an entry record.
constexpr u32 shownBytes = 256;

void SupOS_ClockNano(u32 *Seconds, u32 *NanoSeconds)
{
    tks_Time now;
    tks_GetTime(&now);
    *Seconds = now.Seconds;
    *NanoSeconds = now.MicroSeconds * 1000;
}

void SupOS_ClockMicro(u32 *Seconds, u32 *MicroSeconds)
{
    tks_Time now;
    tks_GetTime(&now);
    *Seconds = now.Seconds;
    *MicroSeconds = now.MicroSeconds;
}

u32 SupOS_ClockSeconds(void)
{
    tks_Time now;
    tks_GetTime(&now);
    return now.Seconds;
}

u32 SupOS_ClockNanoSeconds(void)
{
    tks_Time now;
    tks_GetTime(&now);
    return now.MicroSeconds * 1000;
}

void SupOS_ByteSwap(void *Value, i32 ShortValue)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ByteSwap");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%#x, %d)", static_cast<u32>(reinterpret_cast<uintptr_t>(Value)), ShortValue);

    u8 *bytes = static_cast<u8 *>(Value);
    if (ShortValue != 0) {
        std::swap(bytes[0], bytes[1]);
        INFTR_RETURN(1);
    }
    std::swap(bytes[0], bytes[3]);
    std::swap(bytes[1], bytes[2]);
    INFTR_RETURN(2);
}

// How many bytes of an array its entry record shows at most: the record prints the array as a text.
static int shownLength(i32 Count, u32 Width)
{
    if (Count <= 0) return 0;
    const u64 size = static_cast<u64>(Count) * Width;
    return static_cast<int>(size < shownBytes ? size : shownBytes);
}

void SupOS_SwapByteArray(u16 *Array, i32 Count)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SwapByteArray");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%.*s,%d)", shownLength(Count, 2), reinterpret_cast<const char *>(Array),
                Count);

    u8 *bytes = reinterpret_cast<u8 *>(Array); // an array within a record need not be aligned
    for (i32 i = 0; i < Count; ++i, bytes += 2) std::swap(bytes[0], bytes[1]);
    INFTR_RETURN(1);
}

void SupOS_SwapByteArray(u32 *Array, i32 Count)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SwapByteArray");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%.*s,%d)", shownLength(Count, 4), reinterpret_cast<const char *>(Array),
                Count);

    // required: the halves of an element change places, the bytes of a half do not
    u8 *bytes = reinterpret_cast<u8 *>(Array);
    for (i32 i = 0; i < Count; ++i, bytes += 4) {
        std::swap(bytes[0], bytes[2]);
        std::swap(bytes[1], bytes[3]);
    }
    INFTR_RETURN(1);
}

i32 SupOS_CheckEffectiveRights(const char *Path, i32 Mode)
{
    INFTR_FUNCTION(SUPOS, "SupOS_CheckEffectiveRights");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %d)", Path, Mode);

    if (Mode != testExecute) {
        const i32 answer = _access(Path, Mode & ~1);
        INFTR_RETURN_VALUE(1, answer);
    }

    char program[4096 + sizeof ".exe"];
    i32 answer = -1;
    if (snprintf(program, sizeof program, "%s.exe", Path) >= static_cast<int>(sizeof program)) {
        errno = ENAMETOOLONG;
        INFTR_RETURN_VALUE(2, answer);
    }
    answer = _access(program, testRead);
    INFTR_RETURN_VALUE(3, answer);
}

void SupOS_SetCopyRightStr(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SetCopyRightStr()");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    if (copyRightStr != nullptr) INFTR_RETURN(1);

    copyRightStr = static_cast<char *>(malloc(sizeof noticeText));
    if (copyRightStr != nullptr) memcpy(copyRightStr, noticeText, sizeof noticeText);
    INFTR_RETURN(2);
}
