// Basic services: clocks, byte order, access test, notice.

#include "supos_basics.h"

#include "supos_inner.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

#include <gtest/gtest.h>

#include "no_memory.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "unprivileged.h"

TEST(SupOS_Clocks, TellTheWallClock)
{
    const time_t before = time(nullptr);
    u32 seconds = 0, part = 0;
    SupOS_ClockNano(&seconds, &part);
    EXPECT_GE(seconds, static_cast<u32>(before));
    EXPECT_LE(seconds, static_cast<u32>(before) + 2);
    EXPECT_LT(part, 1000000000u);
    EXPECT_EQ(part % 1000, 0u);

    SupOS_ClockMicro(&seconds, &part);
    EXPECT_GE(seconds, static_cast<u32>(before));
    EXPECT_LE(seconds, static_cast<u32>(before) + 2);
    EXPECT_LT(part, 1000000u);

    EXPECT_GE(SupOS_ClockSeconds(), static_cast<u32>(before));
    EXPECT_LE(SupOS_ClockSeconds(), static_cast<u32>(before) + 2);
}

TEST(SupOS_Clocks, NanoSecondsAreMicroSecondsTimesThousand)
{
    u32 largest = 0;
    for (int i = 0; i < 1000; ++i) {
        const u32 nanos = SupOS_ClockNanoSeconds();
        ASSERT_EQ(nanos % 1000, 0u);
        ASSERT_LE(nanos, 999999000u);
        if (nanos > largest) largest = nanos;
    }
    EXPECT_GT(largest, 0u);
}

TEST(SupOS_Clocks, LeaveNoRecord)
{
    Ring_TraceOn();
    u32 seconds, part;
    SupOS_ClockNano(&seconds, &part);
    SupOS_ClockMicro(&seconds, &part);
    SupOS_ClockSeconds();
    SupOS_ClockNanoSeconds();

    EXPECT_EQ(Ring_Count("SupOS_ClockNano"), 0u);
    EXPECT_EQ(Ring_Count("SupOS_ClockMicro"), 0u);
    EXPECT_EQ(Ring_Count("SupOS_ClockSeconds"), 0u);
    EXPECT_EQ(Ring_Count("SupOS_ClockNanoSeconds"), 0u);
}

TEST(SupOS_ByteSwap, ReversesFourBytes)
{
    u8 bytes[] = {1, 2, 3, 4};
    SupOS_ByteSwap(bytes, 0);
    EXPECT_EQ(memcmp(bytes, "\4\3\2\1", 4), 0);
}

TEST(SupOS_ByteSwap, ExchangesTwoBytesForAnyOtherValue)
{
    for (const i32 value : {1, -1, 2, 4, 0x10000}) {
        u8 bytes[] = {1, 2, 3, 4};
        SupOS_ByteSwap(bytes, value);
        EXPECT_EQ(memcmp(bytes, "\2\1\3\4", 4), 0) << value;
    }
}

TEST(SupOS_ByteSwap, TakesAnUnalignedValue)
{
    u8 bytes[] = {0, 1, 2, 3, 4, 0};
    SupOS_ByteSwap(bytes + 1, 0);
    EXPECT_EQ(memcmp(bytes, "\0\4\3\2\1\0", 6), 0);
}

TEST(SupOS_ByteSwap, Traces)
{
    Ring_TraceOn();
    u8 bytes[4] = {};
    SupOS_ByteSwap(bytes, 7);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ByteSwap"), 1u);
    char text[64];
    snprintf(text, sizeof text, "(%#x, %d)", static_cast<u32>(reinterpret_cast<uintptr_t>(bytes)), 7);
    bool found = false;
    for (const Ring_Record &record : Ring_Records())
        found |= record.Header.Class == 0x40 && record.Function == "SupOS_ByteSwap" && record.Text == text &&
                 record.Header.RecordType != 0;
    EXPECT_TRUE(found) << text;

    SupOS_ByteSwap(bytes, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ByteSwap"), 2u);
}

TEST(SupOS_SwapByteArray, ExchangesTheBytesOfShortElements)
{
    u16 array[3];
    memcpy(array, "\1\2\3\4\5\6", 6);
    SupOS_SwapByteArray(array, 2);
    EXPECT_EQ(memcmp(array, "\2\1\4\3\5\6", 6), 0);
}

TEST(SupOS_SwapByteArray, ExchangesTheHalvesOfLongElements)
{
    u32 array[3];
    memcpy(array, "\1\2\3\4\5\6\7\10\11\12\13\14", 12);
    SupOS_SwapByteArray(array, 2);
    EXPECT_EQ(memcmp(array, "\3\4\1\2\7\10\5\6\11\12\13\14", 12), 0);
}

TEST(SupOS_SwapByteArray, DoesNothingForNoElements)
{
    for (const i32 count : {0, -1, -2147483647}) {
        u16 shorts[] = {0x0102};
        u32 longs[] = {0x01020304};
        SupOS_SwapByteArray(shorts, count);
        SupOS_SwapByteArray(longs, count);
        EXPECT_EQ(shorts[0], 0x0102) << count;
        EXPECT_EQ(longs[0], 0x01020304u) << count;
    }
}

// The entry record prints an array, which has no end, as a text.
TEST(SupOS_SwapByteArray, ShowsItsArrayAsABoundedText)
{
    Ring_TraceOn();
    u16 shorts[2];
    memcpy(shorts, "abcd", 4);
    SupOS_SwapByteArray(shorts, 1);
    u32 longs[1];
    memcpy(longs, "efgh", 4);
    SupOS_SwapByteArray(longs, 1);
    SupOS_SwapByteArray(longs, 0);

    std::vector<std::string> texts;
    for (const Ring_Record &record : Ring_Records())
        if (record.Header.Class == 0x80 && record.Function == "SupOS_SwapByteArray") texts.push_back(record.Text);
    EXPECT_EQ(texts, (std::vector<std::string>{"(ab,1)", "(efgh,1)", "(,0)"}));
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SwapByteArray"), 1u);
}

TEST(SupOS_CheckEffectiveRights, TestsTheProgramsFileForExecution)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/tool.exe", "");
    Scratch_WriteFile(root + "/other", "");
    Scratch_WriteFile(root + "/locked.exe", "");
    chmod((root + "/locked.exe").c_str(), 0222);

    EXPECT_EQ(SupOS_CheckEffectiveRights((root + "/tool").c_str(), 1), 0);
    EXPECT_EQ(SupOS_CheckEffectiveRights((root + "\\tool").c_str(), 1), 0);
    EXPECT_EQ(SupOS_CheckEffectiveRights((root + "/missing").c_str(), 1), -1);
    EXPECT_EQ(errno, ENOENT);
    // reading is what counts
    EXPECT_EQ(Unprivileged_Run([&] { return SupOS_CheckEffectiveRights((root + "/locked").c_str(), 1) == -1; }), 1);
    EXPECT_EQ(Unprivileged_Run([&] { return SupOS_CheckEffectiveRights((root + "/tool").c_str(), 1) == 0; }), 1);
}

// A program is named without its extension, and a file of that very name does not count. Only this platform finds it,
// for it looks for a missing x.exe as x.
TEST(SupOS_CheckEffectiveRights, FindsAProgramWithoutExtension)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/tool", "");
    EXPECT_EQ(SupOS_CheckEffectiveRights((root + "/tool").c_str(), 1), 0);
}

TEST(SupOS_CheckEffectiveRights, DropsTheLowestBitOfAnyOtherMode)
{
    const std::string root = Scratch_MakeRoot();
    const std::string readable = root + "/readable", writable = root + "/writable";
    Scratch_WriteFile(readable, "");
    Scratch_WriteFile(writable, "");
    chmod(readable.c_str(), 0444);
    chmod(writable.c_str(), 0222);

    struct {
        i32 Mode;
        int Readable, Writable; // 0 or 255 for -1
    } const rows[] = {{0, 0, 0}, {2, 255, 0}, {3, 255, 0}, {4, 0, 255}, {5, 0, 255}, {6, 255, 255}, {7, 255, 255}};
    for (const auto &row : rows) {
        EXPECT_EQ(Unprivileged_Run([&] { return SupOS_CheckEffectiveRights(readable.c_str(), row.Mode); }),
                  row.Readable)
            << row.Mode;
        EXPECT_EQ(Unprivileged_Run([&] { return SupOS_CheckEffectiveRights(writable.c_str(), row.Mode); }),
                  row.Writable)
            << row.Mode;
    }
    EXPECT_EQ(SupOS_CheckEffectiveRights((root + "/none").c_str(), 0), -1);
}

TEST(SupOS_CheckEffectiveRights, RefusesAPathThatIsTooLong)
{
    const std::string path(5000, 'x');
    EXPECT_EQ(SupOS_CheckEffectiveRights(path.c_str(), 1), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(SupOS_CheckEffectiveRights(path.c_str(), 4), -1);
}

TEST(SupOS_CheckEffectiveRights, Traces)
{
    Ring_TraceOn();
    SupOS_CheckEffectiveRights("/", 4);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_CheckEffectiveRights"), 1u);
    SupOS_CheckEffectiveRights(std::string(5000, 'x').c_str(), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_CheckEffectiveRights"), 2u);
    SupOS_CheckEffectiveRights("/none", 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_CheckEffectiveRights"), 3u);
}

TEST(SupOS_SetCopyRightStr, SetsTheNoticeOnce)
{
    EXPECT_EQ(copyRightStr, nullptr);
    SupOS_SetCopyRightStr();
    ASSERT_NE(copyRightStr, nullptr);
    EXPECT_NE(strstr(copyRightStr, "8831QX470"), nullptr);

    char *const first = copyRightStr;
    SupOS_SetCopyRightStr();
    EXPECT_EQ(copyRightStr, first);
}

TEST(SupOS_SetCopyRightStr, LeavesTheNoticeUnsetWithoutMemory)
{
    NO_MEMORY_SKIP();
    EXPECT_EQ(NoMemory_Run([] {
                  SupOS_SetCopyRightStr();
                  return copyRightStr == nullptr;
              }),
              1);
}

// Its name in the trace has the parentheses.
TEST(SupOS_SetCopyRightStr, Traces)
{
    Ring_TraceOn();
    SupOS_SetCopyRightStr(); // the start has set the notice
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetCopyRightStr()"), 1u);
    free(copyRightStr);
    copyRightStr = nullptr;
    SupOS_SetCopyRightStr();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_SetCopyRightStr()"), 2u);
    EXPECT_NE(copyRightStr, nullptr);
}
