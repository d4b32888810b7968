// Message pipes: every way out, the time limits, and the lost wake-up that they are built against.

#include "supos_msgpipe.h"

#include "supos_pipe_int.h"

#include <dirent.h>
#include <signal.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_hook.h"
#include "win32_pipe.h"
#include "win32_sync.h"

namespace
{

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr u32 stressMessages = 60000;
#else
constexpr u32 stressMessages = 1000000;
#endif

// Two open pipes under trace. The hooks reach the pipe of a test through this.
struct PipeCase : testing::Test {
    SupOS_Pipe First = {}, Second = {};
    static inline SupOS_Pipe *Hooked;

    void SetUp() override
    {
        Ring_TraceOn("SUPOS=5");
        ASSERT_EQ(SupOS_PipeCreate(&First), 0);
        ASSERT_EQ(SupOS_PipeCreate(&Second), 0);
        Hooked = &First;
        Ring_Clear();
    }

    void TearDown() override
    {
        Hook = {};
        SupOS_PipeClose(&First);
        SupOS_PipeClose(&Second);
    }

    static i32 write(SupOS_Pipe *pipe, const std::string &text)
    {
        return SupOS_PipeWrite(pipe, text.data(), static_cast<u32>(text.size()));
    }

    // The outcome of a wait with this time limit; -1 milliseconds for none.
    i32 wait(bool both, i64 milliseconds)
    {
        const struct timeval limit = {milliseconds / 1000, milliseconds % 1000 * 1000};
        i32 outcome = 77;
        SupOS_PipeWait(&First, both ? &Second : nullptr, both, milliseconds < 0 ? nullptr : &limit, &outcome);
        return outcome;
    }

    static void closeAgain(handle *Object)
    {
        CloseHandle(*Object);
        *Object = nullptr;
    }

    static bool isSet(const SupOS_Pipe &pipe) { return WaitForSingleObject(pipe.DataEvent, 0) == WAIT_OBJECT_0; }

    static u32 waiting(const SupOS_Pipe &pipe)
    {
        u32 count = 0;
        PeekNamedPipe(pipe.ReadHandle, nullptr, 0, nullptr, &count, nullptr);
        return count;
    }

    // Holds a pipe's lock on another thread for the length of a call.
    template <class Call>
    static void whileLocked(SupOS_Pipe *pipe, Call &&call)
    {
        std::atomic<int> state = 0;
        std::thread holder([&] {
            WaitForSingleObject(pipe->Lock, PLAT_INFINITE);
            state = 1;
            while (state != 2) Sleep(1);
            ReleaseMutex(pipe->Lock);
        });
        while (state != 1) Sleep(1);
        call();
        state = 2;
        holder.join();
    }

    static void abandon(SupOS_Pipe *pipe)
    {
        std::thread([pipe] { WaitForSingleObject(pipe->Lock, PLAT_INFINITE); }).join();
    }
};

template <class Call>
i64 millisecondsFor(Call &&call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

int openDescriptors()
{
    int count = 0;
    DIR *const list = opendir("/proc/self/fd");
    while (readdir(list) != nullptr) ++count;
    closedir(list);
    return count;
}

u32 createFailing(u32 call)
{
    static u32 left;
    left = call;
    Plat_Sys.Malloc = [](size_t size) -> void * { return --left == 0 ? nullptr : malloc(size); };
    SupOS_Pipe pipe;
    const i32 result = SupOS_PipeCreate(&pipe);
    Plat_Sys.Malloc = malloc;
    return static_cast<u32>(result);
}

} // namespace

// ---- making and closing ----

TEST_F(PipeCase, CreateLeavesNothingOpenWhenItFails)
{
    const int before = openDescriptors();
    Plat_Sys.Pipe2 = [](int *, int) {
        errno = EMFILE;
        return -1;
    };
    SupOS_Pipe pipe;
    EXPECT_EQ(SupOS_PipeCreate(&pipe), static_cast<i32>(ERROR_TOO_MANY_OPEN_FILES));
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeCreate"), 2u);
    Plat_Sys.Pipe2 = pipe2;

    // Both ends, the lock, the event: each takes one block.
    EXPECT_EQ(createFailing(2), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeCreate"), 2u);
    EXPECT_EQ(createFailing(3), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeCreate"), 3u);
    EXPECT_EQ(createFailing(4), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeCreate"), 4u);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PipeCase, CreateGivesAnEmptyPipe)
{
    const int before = openDescriptors();
    SupOS_Pipe pipe;
    EXPECT_EQ(SupOS_PipeCreate(&pipe), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeCreate"), 1u);
    EXPECT_FALSE(isSet(pipe));
    EXPECT_EQ(WaitForSingleObject(pipe.Lock, 0), WAIT_OBJECT_0);
    EXPECT_EQ(ReleaseMutex(pipe.Lock), 1);
    EXPECT_EQ(ReleaseMutex(pipe.Lock), 0);
    SupOS_PipeClose(&pipe);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeClose"), 1u);
    EXPECT_EQ(openDescriptors(), before);
    for (const handle object : {pipe.ReadHandle, pipe.WriteHandle, pipe.DataEvent, pipe.Lock})
        EXPECT_EQ(CloseHandle(object), 0);
}

TEST_F(PipeCase, TracesItsArguments)
{
    char data[4] = "abc", expected[160];
    SupOS_PipeWrite(&First, data, 3);
    SupOS_PipePeek(&First, 5);
    SupOS_PipeRead(&First, data, 3);
    const struct timeval limit = {0, 0};
    i32 outcome = 0;
    SupOS_PipeWait(&First, &Second, 17, &limit, &outcome);
    SupOS_PipeClose(&Second);

    std::vector<Ring_Record> entries;
    for (const Ring_Record &record : Ring_Records())
        if (record.Header.Class & (INFTR_CLASS_ENTRY | INFTR_CLASS_API_ENTRY)) entries.push_back(record);
    ASSERT_EQ(entries.size(), 7u);
    void *const pipe = &First, *const second = &Second;
    void *const text = data;

    snprintf(expected, sizeof expected, "(%p,%p,%d)", pipe, text, 3);
    EXPECT_EQ(entries[0].Function, "SupOS_PipeWrite");
    EXPECT_EQ(entries[0].Text, expected);
    EXPECT_EQ(entries[0].Header.Class, 0x80u);
    EXPECT_EQ(entries[2].Function, "SupOS_PipeRead");
    EXPECT_EQ(entries[2].Text, expected);
    EXPECT_EQ(entries[2].Header.Class, 0x80u);

    snprintf(expected, sizeof expected, "(%p)", pipe);
    EXPECT_EQ(entries[1].Function, "SupOS_PipePeek");
    EXPECT_EQ(entries[1].Text, expected);
    EXPECT_EQ(entries[1].Header.Class, 0x40u);

    snprintf(expected, sizeof expected, "(%p,%p,%x,%p,%p)", pipe, second, 17, static_cast<const void *>(&limit),
             static_cast<void *>(&outcome));
    EXPECT_EQ(entries[3].Function, "SupOS_PipeWait");
    EXPECT_EQ(entries[3].Text, expected);
    EXPECT_EQ(entries[3].Header.Class, 0x80u);
    snprintf(expected, sizeof expected, "(%p)", second);
    EXPECT_EQ(entries[6].Function, "SupOS_PipeClose");
    EXPECT_EQ(entries[6].Text, expected);
    EXPECT_EQ(entries[6].Header.Class, 0x80u);
}

// ---- writing and reading ----

TEST_F(PipeCase, WriteSetsTheEvent)
{
    EXPECT_EQ(write(&First, "hello"), 5);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 1u);
    EXPECT_TRUE(isSet(First));
    EXPECT_EQ(waiting(First), 5u);
    EXPECT_EQ(ReleaseMutex(First.Lock), 0) << "the lock was released";
}

TEST_F(PipeCase, WriteSaysHowItFailed)
{
    closeAgain(&First.DataEvent);
    EXPECT_EQ(write(&First, "hello"), 5) << "the bytes are in the pipe";
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 5u);
    EXPECT_EQ(ReleaseMutex(First.Lock), 0);

    closeAgain(&First.ReadHandle);
    EXPECT_EQ(write(&First, "hello"), 0);
    EXPECT_EQ(GetLastError(), ERROR_NO_DATA);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 3u);
    EXPECT_EQ(ReleaseMutex(First.Lock), 0);

    closeAgain(&First.Lock);
    EXPECT_EQ(write(&First, "hello"), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 2u);
}

TEST_F(PipeCase, WriteCountsWhenItCannotRelease)
{
    Hook.ReleaseMutex = [](handle mutex) {
        Hook_Real().ReleaseMutex(mutex);
        return 0;
    };
    EXPECT_EQ(write(&First, "hello"), 5);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 6u);
    EXPECT_TRUE(isSet(First));
}

TEST_F(PipeCase, WriteTakesAnAbandonedLock)
{
    abandon(&First);
    EXPECT_EQ(write(&First, "x"), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 1u);
    EXPECT_EQ(SupOS_PipePeek(&First, 0), 1) << "and the lock is whole again";
}

TEST_F(PipeCase, AShortWriteIsFoundByTheNextPeek)
{
    Hook.WriteFile = [](handle file, const void *data, u32, u32 *written, void *) {
        return Hook_Real().WriteFile(file, data, 2, written, nullptr);
    };
    EXPECT_EQ(write(&First, "hello"), 2);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 4u);
    EXPECT_FALSE(isSet(First)) << "no signal for a message that is not whole";
    EXPECT_EQ(ReleaseMutex(First.Lock), 0);
    EXPECT_EQ(SupOS_PipePeek(&First, 0), 1);
    EXPECT_EQ(wait(false, 0), 1);
}

TEST_F(PipeCase, ReadGivesWhatIsThere)
{
    char data[8] = {};
    write(&First, "hello");
    EXPECT_EQ(SupOS_PipeRead(&First, data, 2), 2);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeRead"), 1u);
    EXPECT_EQ(SupOS_PipeRead(&First, data + 2, 6), 3);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeRead"), 3u);
    EXPECT_STREQ(data, "hello");
    EXPECT_TRUE(isSet(First)) << "reading leaves the event";

    closeAgain(&First.WriteHandle);
    EXPECT_EQ(SupOS_PipeRead(&First, data, 8), 0);
    EXPECT_EQ(GetLastError(), ERROR_BROKEN_PIPE);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeRead"), 2u);
}

TEST_F(PipeCase, ReadTakesNoLock)
{
    write(&First, "x");
    char byte = 0;
    whileLocked(&First, [&] { EXPECT_EQ(SupOS_PipeRead(&First, &byte, 1), 1); });
    EXPECT_EQ(byte, 'x');
}

TEST_F(PipeCase, ReadBlocksWhileThePipeIsEmpty)
{
    std::atomic<bool> written = false;
    std::thread writer = Ring_Thread([&] {
        Sleep(30);
        written = true;
        write(&First, "x");
    });
    char byte = 0;
    EXPECT_EQ(SupOS_PipeRead(&First, &byte, 1), 1);
    EXPECT_TRUE(written);
    writer.join();
}

TEST_F(PipeCase, NothingIsWrittenOrReadOfLengthZero)
{
    EXPECT_EQ(SupOS_PipeWrite(&First, "", 0), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWrite"), 1u);
    EXPECT_EQ(waiting(First), 0u);
    EXPECT_TRUE(isSet(First));
    EXPECT_EQ(wait(false, 0), 0) << "the look at the pipe repairs the event";
    EXPECT_FALSE(isSet(First));

    char byte = 0;
    EXPECT_EQ(SupOS_PipeRead(&First, &byte, 0), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeRead"), 1u) << "no failure";
}

// ---- a look ----

TEST_F(PipeCase, PeekTellsWhatItSaw)
{
    EXPECT_EQ(SupOS_PipePeek(&First, 0), 4);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 1u);

    write(&First, "x");
    EXPECT_EQ(SupOS_PipePeek(&First, 0), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 6u);
    EXPECT_TRUE(isSet(First));

    char byte;
    SupOS_PipeRead(&First, &byte, 1);
    EXPECT_EQ(SupOS_PipePeek(&First, 0), 4);
    EXPECT_FALSE(isSet(First)) << "an empty pipe resets its event";
    EXPECT_EQ(ReleaseMutex(First.Lock), 0);
}

TEST_F(PipeCase, PeekSaysHowItFailed)
{
    closeAgain(&First.DataEvent);
    EXPECT_EQ(SupOS_PipePeek(&First, 0), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 7u);
    EXPECT_EQ(ReleaseMutex(First.Lock), 0);

    Plat_Sys.Ioctl = [](int, unsigned long, void *) {
        errno = EBADF;
        return -1;
    };
    EXPECT_EQ(SupOS_PipePeek(&First, 0), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 5u);
    EXPECT_EQ(ReleaseMutex(First.Lock), 0);

    closeAgain(&First.Lock);
    EXPECT_EQ(SupOS_PipePeek(&First, 0), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 2u);
}

TEST_F(PipeCase, PeekFailsWhenItCannotRelease)
{
    Hook.ReleaseMutex = [](handle mutex) {
        Hook_Real().ReleaseMutex(mutex);
        return 0;
    };
    EXPECT_EQ(SupOS_PipePeek(&First, 0), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 8u);
}

// Odd and required: the look that finds the lock abandoned keeps it.
TEST_F(PipeCase, PeekKeepsAnAbandonedLock)
{
    abandon(&First);
    EXPECT_EQ(SupOS_PipePeek(&First, 0), 3);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 3u);
    i32 other = 0;
    Ring_Thread([&] { other = SupOS_PipePeek(&First, 0); }).join();
    EXPECT_EQ(other, 0);
    EXPECT_EQ(ReleaseMutex(First.Lock), 1);
}

TEST_F(PipeCase, PeekWaitsForTheLock)
{
    whileLocked(&First, [&] {
        EXPECT_EQ(SupOS_PipePeek(&First, 0), 0);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipePeek"), 4u);
        i32 result = 9;
        EXPECT_GE(millisecondsFor([&] { result = SupOS_PipePeek(&First, 20); }), 20);
        EXPECT_EQ(result, 0);
    });
}

// ---- waiting ----

TEST_F(PipeCase, TurnsTheLimitIntoMilliseconds)
{
    static std::vector<u32> seen;
    Hook.WaitForSingleObject = [](handle object, u32 milliseconds) {
        if (object != Hooked->DataEvent) return Hook_Real().WaitForSingleObject(object, 0);
        seen.push_back(milliseconds);
        return WAIT_TIMEOUT;
    };
    struct {
        i64 Seconds, Microseconds;
        u32 Milliseconds;
    } const rows[] = {
        {0, 0, 0},
        {0, 1, 1},
        {0, 999999, 1},
        {0, -5, 1},
        {1, 0, 1000},
        {1, 999, 1000},
        {1, 1000, 1001},
        {7, 999999, 7999},
        {2, -500, 2000},
        {2, -1000, 1999},
        {2, -999999, 1001},
        {86400, 0, 86400000},
        {4294967, 0, 4294967000u},
    };
    for (const auto &row : rows) {
        seen.clear();
        const struct timeval limit = {row.Seconds, row.Microseconds};
        i32 outcome = 9;
        SupOS_PipeWait(&First, nullptr, 0, &limit, &outcome);
        EXPECT_EQ(outcome, 0);
        EXPECT_EQ(seen, std::vector<u32>{row.Milliseconds}) << row.Seconds << " s " << row.Microseconds << " us";
        EXPECT_EQ(limit.tv_sec, row.Seconds);
    }
    seen.clear();
    i32 outcome = 9;
    SupOS_PipeWait(&First, nullptr, 0, nullptr, &outcome);
    EXPECT_EQ(seen, std::vector<u32>{0xFFFFFFFFu});
}

TEST_F(PipeCase, OneMicrosecondWaitsAMillisecond)
{
    const struct timeval limit = {0, 1};
    i32 outcome = 9;
    const auto start = std::chrono::steady_clock::now();
    SupOS_PipeWait(&First, nullptr, 0, &limit, &outcome);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1));
    EXPECT_EQ(outcome, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 5u);
}

TEST_F(PipeCase, PollsWithNoTime)
{
    EXPECT_EQ(wait(false, 0), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 5u);
    EXPECT_EQ(wait(true, 0), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 14u);

    whileLocked(&First, [&] {
        EXPECT_EQ(wait(false, 0), 0);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 2u);
        EXPECT_EQ(wait(true, 0), 0);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 11u);
    });
}

TEST_F(PipeCase, DataAtTheCallNeedsNoEvent)
{
    write(&First, "x");
    closeAgain(&First.DataEvent); // a wait on it would fail
    EXPECT_EQ(wait(false, -1), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 2u);
    EXPECT_EQ(wait(true, -1), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 11u);

    write(&Second, "y");
    EXPECT_EQ(wait(true, -1), 2) << "with data on both, the second";
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 10u);
    EXPECT_EQ(wait(false, -1), 1) << "the second is not looked at";
}

TEST_F(PipeCase, WaitsForTheFirst)
{
    std::thread writer = Ring_Thread([&] {
        Sleep(30);
        write(&First, "x");
    });
    EXPECT_EQ(wait(false, -1), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 7u);
    EXPECT_FALSE(isSet(First)) << "reset by the wait";
    EXPECT_EQ(waiting(First), 1u);
    writer.join();
}

TEST_F(PipeCase, WaitsForEither)
{
    for (const bool second : {false, true}) {
        std::thread writer = Ring_Thread([&] {
            Sleep(30);
            write(second ? &Second : &First, "x");
        });
        EXPECT_EQ(wait(true, 20000), second ? 2 : 1);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), second ? 16u : 18u);
        EXPECT_FALSE(isSet(second ? Second : First));
        writer.join();
        char byte;
        SupOS_PipeRead(second ? &Second : &First, &byte, 1);
    }
}

TEST_F(PipeCase, TheFirstEventComesFirst)
{
    Hook.WaitForMultipleObjects = [](u32 count, const handle *events, i32 all, u32 milliseconds) {
        EXPECT_EQ(count, 2u);
        EXPECT_EQ(events[0], Hooked->DataEvent);
        EXPECT_EQ(all, 0);
        SetEvent(events[0]);
        SetEvent(events[1]);
        return Hook_Real().WaitForMultipleObjects(count, events, all, milliseconds);
    };
    EXPECT_EQ(wait(true, -1), 1);
    EXPECT_FALSE(isSet(First));
    EXPECT_TRUE(isSet(Second));
}

// Odd and required: whatever the look at the second pipe said counts as data on it.
TEST_F(PipeCase, ASecondPipeThatCannotBeLookedAtCountsAsReady)
{
    whileLocked(&Second, [&] {
        EXPECT_EQ(wait(true, 0), 2);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 10u);
    });
    EXPECT_EQ(waiting(Second), 0u);

    abandon(&Second);
    EXPECT_EQ(wait(true, 0), 2);
    closeAgain(&Second.Lock);
    EXPECT_EQ(wait(true, 0), 2);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 10u);
}

TEST_F(PipeCase, PassesOnWhatTheFirstLookSaid)
{
    abandon(&First);
    EXPECT_EQ(wait(false, 0), 3);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 2u);
    ReleaseMutex(First.Lock);
    abandon(&First);
    EXPECT_EQ(wait(true, 0), 3);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 11u);
    closeAgain(&First.Lock);
    EXPECT_EQ(wait(false, 0), -1);
    EXPECT_EQ(wait(true, 0), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 11u);
}

TEST_F(PipeCase, SaysHowAWaitForOneEnded)
{
    static u32 answer;
    Hook.WaitForSingleObject = [](handle object, u32 milliseconds) {
        return object == Hooked->DataEvent ? answer : Hook_Real().WaitForSingleObject(object, milliseconds);
    };
    struct {
        u32 Answer;
        i32 Outcome;
        u32 Point;
    } const rows[] = {{0xFFFFFFFFu, -1, 3}, {0x80, 3, 4}, {0x102, 0, 5}, {0, 1, 7}};
    for (const auto &row : rows) {
        answer = row.Answer;
        EXPECT_EQ(wait(false, -1), row.Outcome);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), row.Point);
    }

    static u32 resets;
    resets = 0;
    Hook.ResetEvent = [](handle) { return ++resets == 2 ? 0 : 1; }; // the look resets too
    EXPECT_EQ(wait(false, -1), 1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 6u);
}

TEST_F(PipeCase, SaysHowAWaitForTwoEnded)
{
    static u32 answer;
    Hook.WaitForMultipleObjects = [](u32, const handle *, i32, u32) { return answer; };
    struct {
        u32 Answer;
        i32 Outcome;
        u32 Point, PointWithoutReset;
    } const rows[] = {{0xFFFFFFFFu, -1, 12, 12},
                      {0x80, 3, 13, 13},
                      {0x81, 3, 13, 13},
                      {0x102, 0, 14, 14},
                      {1, 2, 16, 15},
                      {0, 1, 18, 17},
                      {5, 1, 18, 17}};
    static u32 resets;
    for (const auto &row : rows) {
        answer = row.Answer;
        Hook.ResetEvent = nullptr;
        EXPECT_EQ(wait(true, -1), row.Outcome);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), row.Point);
        resets = 0;
        Hook.ResetEvent = [](handle) { return ++resets == 3 ? 0 : 1; }; // both looks reset too
        EXPECT_EQ(wait(true, -1), row.Outcome);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), row.PointWithoutReset);
    }
}

// The limit holds for each stage: with the first pipe locked for most of it, the event still gets the whole.
TEST_F(PipeCase, TheLimitHoldsForEachStage)
{
    std::thread holder([&] {
        WaitForSingleObject(First.Lock, PLAT_INFINITE);
        Sleep(600);
        ReleaseMutex(First.Lock);
    });
    Sleep(50);
    i32 outcome = 9;
    EXPECT_GE(millisecondsFor([&] { outcome = wait(false, 1000); }), 1500);
    EXPECT_EQ(outcome, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_PipeWait"), 5u);
    holder.join();
}

// A writer that fills the pipe blocks with the lock held, and a look ends by its time limit.
TEST_F(PipeCase, AFullPipeKeepsItsLock)
{
    const std::vector<char> large(200000, 'a');
    i32 written = 0;
    std::thread writer = Ring_Thread([&] { written = SupOS_PipeWrite(&First, large.data(), 200000); });
    while (waiting(First) < 65536) Sleep(1);
    EXPECT_EQ(SupOS_PipePeek(&First, 20), 0);
    EXPECT_EQ(wait(false, 1), 0);
    EXPECT_EQ(wait(true, 1), 0);

    std::vector<char> read(200000);
    u32 count = 0;
    while (count < 200000) count += static_cast<u32>(SupOS_PipeRead(&First, read.data() + count, 200000 - count));
    writer.join();
    EXPECT_EQ(written, 200000);
    EXPECT_EQ(read, large);
}

// ---- no message is missed ----

namespace
{

struct Message {
    u32 Number, Check;
};

// Two writers and one waiter. The waiter takes one message or a few a wait, so the pipes run empty all the time; a wait
// that ends by its limit while a message is there, or should come, is a wake-up that was lost.
void runStress(u32 total)
{
    constexpr u32 most = 2000; // in flight on a pipe: it is never full, for a full one keeps its lock
    SupOS_Pipe pipes[2];
    ASSERT_EQ(SupOS_PipeCreate(&pipes[0]), 0);
    ASSERT_EQ(SupOS_PipeCreate(&pipes[1]), 0);
    std::atomic<u32> readCount[2] = {0, 0};
    std::atomic<bool> failed = false;

    std::vector<std::thread> writers;
    for (u32 which = 0; which < 2; ++which)
        writers.emplace_back([&, which] {
            for (u32 number = 0; number < total / 2 && !failed; ++number) {
                while (number - readCount[which] >= most && !failed) std::this_thread::yield();
                const Message message = {number, ~number};
                if (SupOS_PipeWrite(&pipes[which], &message, sizeof message) != sizeof message) failed = true;
                if (number % 4096 == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });

    u32 outcomes[3] = {};
    Message batch[16];
    while (!failed && readCount[0] + readCount[1] < total) {
        const struct timeval limit = {30, 0};
        i32 outcome = 9;
        SupOS_PipeWait(&pipes[0], &pipes[1], 1, &limit, &outcome);
        if (outcome != 1 && outcome != 2) {
            ADD_FAILURE() << "outcome " << outcome << " after " << readCount[0] << " and " << readCount[1];
            failed = true;
            break;
        }
        ++outcomes[outcome];
        const u32 which = outcome == 2 ? 1 : 0;
        if (SupOS_PipePeek(&pipes[which], 30000) != 1) continue; // the event of data that an earlier look found
        const u32 room = outcomes[outcome] % 3 == 0 ? sizeof batch : sizeof(Message);
        const u32 bytes = static_cast<u32>(SupOS_PipeRead(&pipes[which], batch, room));
        if (bytes == 0 || bytes % sizeof(Message) != 0) failed = true;
        for (u32 i = 0; i < bytes / sizeof(Message); ++i) {
            const u32 expected = readCount[which].fetch_add(1);
            if (batch[i].Number != expected || batch[i].Check != ~expected) failed = true;
        }
    }
    for (std::thread &writer : writers) writer.join();
    EXPECT_FALSE(failed);
    EXPECT_EQ(readCount[0], total / 2);
    EXPECT_EQ(readCount[1], total / 2);
    EXPECT_GT(outcomes[1], 0u);
    EXPECT_GT(outcomes[2], 0u);
    SupOS_PipeClose(&pipes[0]);
    SupOS_PipeClose(&pipes[1]);
}

} // namespace

TEST(PipeStress, MissesNoMessage)
{
    Scratch_MakeRoot();
    runStress(stressMessages);
}

TEST(PipeStress, MissesNoMessageUnderATimerSignal)
{
    static std::atomic<u32> signals = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { signals.fetch_add(1, std::memory_order_relaxed); };
    sigaction(SIGALRM, &action, nullptr); // without SA_RESTART: every call is interrupted
    const struct itimerval interval = {{0, 100}, {0, 100}};
    Scratch_MakeRoot();
    ASSERT_EQ(setitimer(ITIMER_REAL, &interval, nullptr), 0);
    runStress(stressMessages / 10);
    const struct itimerval none = {};
    setitimer(ITIMER_REAL, &none, nullptr);
    EXPECT_GT(signals, 100u);
}
