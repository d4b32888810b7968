// Message pipes.
//
// The problem is the lost wake-up: a reader that saw an empty pipe must not miss the write that follows. So "empty"
// resets DataEvent and a write sets it, both under the pipe's Lock; between the two no write can slip in.
// The reset after a successful wait runs without Lock: a write that slips in there loses its signal but not its data,
// for every wait begins with a look at the pipe. Reading takes no lock: one thread reads a pipe at a time.

#include "inftr_guard.h"
#include "supos_pipe_int.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_pipe.h"
#include "win32_sync.h"

i32 SupOS_PipeCreate(SupOS_Pipe *Pipe)
{
    INFTR_FUNCTION(SUPOS, "SupOS_PipeCreate");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p)", static_cast<void *>(Pipe));

    if (!CreatePipe(&Pipe->ReadHandle, &Pipe->WriteHandle, nullptr, 0)) {
        const i32 error = static_cast<i32>(GetLastError());
        INFTR_RETURN_VALUE(2, error);
    }
    Pipe->Lock = CreateMutexA(nullptr, 0, nullptr);
    if (Pipe->Lock == nullptr) {
        const i32 error = static_cast<i32>(GetLastError());
        CloseHandle(Pipe->ReadHandle);
        CloseHandle(Pipe->WriteHandle);
        INFTR_RETURN_VALUE(3, error);
    }
    Pipe->DataEvent = CreateEventA(nullptr, 1, 0, nullptr);
    if (Pipe->DataEvent == nullptr) {
        const i32 error = static_cast<i32>(GetLastError());
        CloseHandle(Pipe->Lock);
        CloseHandle(Pipe->ReadHandle);
        CloseHandle(Pipe->WriteHandle);
        INFTR_RETURN_VALUE(4, error);
    }
    const i32 done = 0;
    INFTR_RETURN_VALUE(1, done);
}

i32 SupOS_PipeWrite(SupOS_Pipe *Pipe, const void *Data, u32 Length)
{
    INFTR_FUNCTION(SUPOS, "SupOS_PipeWrite");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p,%p,%d)", static_cast<void *>(Pipe), Data, static_cast<i32>(Length));

    const i32 nothing = 0;
    if (WaitForSingleObject(Pipe->Lock, PLAT_INFINITE) == WAIT_FAILED) INFTR_RETURN_VALUE(2, nothing);

    u32 count = 0;
    if (!WriteFile(Pipe->WriteHandle, Data, Length, &count, nullptr)) {
        ReleaseMutex(Pipe->Lock);
        INFTR_RETURN_VALUE(3, nothing);
    }
    const i32 written = static_cast<i32>(count);
    if (count < Length) { // required: no signal for a message that is not whole
        ReleaseMutex(Pipe->Lock);
        INFTR_RETURN_VALUE(4, written);
    }
    if (!SetEvent(Pipe->DataEvent)) {
        ReleaseMutex(Pipe->Lock);
        INFTR_RETURN_VALUE(5, written);
    }
    if (!ReleaseMutex(Pipe->Lock)) INFTR_RETURN_VALUE(6, written);
    INFTR_RETURN_VALUE(1, written);
}

i32 SupOS_PipeRead(SupOS_Pipe *Pipe, void *Data, u32 Length)
{
    INFTR_FUNCTION(SUPOS, "SupOS_PipeRead");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p,%p,%d)", static_cast<void *>(Pipe), Data, static_cast<i32>(Length));

    u32 count = 0;
    if (!ReadFile(Pipe->ReadHandle, Data, Length, &count, nullptr)) {
        const i32 nothing = 0;
        INFTR_RETURN_VALUE(2, nothing);
    }
    const i32 read = static_cast<i32>(count);
    if (count < Length) INFTR_RETURN_VALUE(3, read);
    INFTR_RETURN_VALUE(1, read);
}

void SupOS_PipeClose(SupOS_Pipe *Pipe)
{
    INFTR_FUNCTION(SUPOS, "SupOS_PipeClose");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p)", static_cast<void *>(Pipe));

    CloseHandle(Pipe->ReadHandle);
    CloseHandle(Pipe->WriteHandle);
    CloseHandle(Pipe->DataEvent);
    CloseHandle(Pipe->Lock);
    INFTR_RETURN(1);
}

i32 SupOS_PipePeek(SupOS_Pipe *Pipe, u32 Milliseconds)
{
    INFTR_FUNCTION(SUPOS, "SupOS_PipePeek");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Pipe));

    const i32 failed = SUPOS_PIPE_FAILED;
    const i32 abandoned = SUPOS_PIPE_ABANDONED;
    const i32 timeout = SUPOS_PIPE_TIMEOUT;
    switch (WaitForSingleObject(Pipe->Lock, Milliseconds)) {
    case WAIT_FAILED: INFTR_RETURN_VALUE(2, failed);
    case WAIT_ABANDONED: INFTR_RETURN_VALUE(3, abandoned); // required: Lock is not released on this way out
    case WAIT_TIMEOUT: INFTR_RETURN_VALUE(4, timeout);
    }

    u32 waiting = 0;
    if (!PeekNamedPipe(Pipe->ReadHandle, nullptr, 0, nullptr, &waiting, nullptr)) {
        ReleaseMutex(Pipe->Lock);
        INFTR_RETURN_VALUE(5, failed);
    }
    if (waiting != 0) {
        ReleaseMutex(Pipe->Lock);
        const i32 present = SUPOS_PIPE_FIRST;
        INFTR_RETURN_VALUE(6, present);
    }
    if (!ResetEvent(Pipe->DataEvent)) {
        ReleaseMutex(Pipe->Lock);
        INFTR_RETURN_VALUE(7, failed);
    }
    if (!ReleaseMutex(Pipe->Lock)) INFTR_RETURN_VALUE(8, failed);
    const i32 empty = SUPOS_PIPE_EMPTY;
    INFTR_RETURN_VALUE(1, empty);
}

// A time limit in milliseconds. The sum is taken in 64 bits and held to what a wait takes; all ones stays "no limit".
static u32 millisecondsOf(const struct timeval *timeout)
{
    if (timeout == nullptr) return PLAT_INFINITE;
    if (timeout->tv_sec == 0) return timeout->tv_usec != 0 ? 1 : 0;
    const i64 longest = PLAT_INFINITE - 1;
    if (timeout->tv_sec > longest / 1000) return static_cast<u32>(longest);
    if (timeout->tv_sec < -longest / 1000) return PLAT_INFINITE;
    const i64 sum = timeout->tv_sec * 1000 + timeout->tv_usec / 1000;
    return sum < 0 ? PLAT_INFINITE : static_cast<u32>(sum < longest ? sum : longest);
}

// Waits on one pipe that was seen empty. Returns the exit point.
static u32 waitFirst(SupOS_Pipe *first, u32 milliseconds, i32 *outcome)
{
    switch (WaitForSingleObject(first->DataEvent, milliseconds)) {
    case WAIT_FAILED: *outcome = SUPOS_PIPE_FAILED; return 3;
    case WAIT_ABANDONED: *outcome = SUPOS_PIPE_ABANDONED; return 4;
    case WAIT_TIMEOUT: *outcome = SUPOS_PIPE_TIMEOUT; return 5;
    }
    *outcome = SUPOS_PIPE_FIRST;
    return ResetEvent(first->DataEvent) ? 7 : 6;
}

// Waits on two pipes that were seen empty. Returns the exit point.
static u32 waitBoth(SupOS_Pipe *first, SupOS_Pipe *second, u32 milliseconds, i32 *outcome)
{
    const handle events[2] = {first->DataEvent, second->DataEvent};
    const u32 result = WaitForMultipleObjects(2, events, 0, milliseconds);
    switch (result) {
    case WAIT_FAILED: *outcome = SUPOS_PIPE_FAILED; return 12;
    case WAIT_ABANDONED_0:
    case WAIT_ABANDONED_0 + 1: *outcome = SUPOS_PIPE_ABANDONED; return 13;
    case WAIT_TIMEOUT: *outcome = SUPOS_PIPE_TIMEOUT; return 14;
    }
    if (result == WAIT_OBJECT_0 + 1) {
        *outcome = SUPOS_PIPE_SECOND;
        return ResetEvent(second->DataEvent) ? 16 : 15;
    }
    *outcome = SUPOS_PIPE_FIRST;
    return ResetEvent(first->DataEvent) ? 18 : 17;
}

void SupOS_PipeWait(SupOS_Pipe *First, SupOS_Pipe *Second, i32 UseSecond, const struct timeval *Timeout, i32 *Outcome)
{
    INFTR_FUNCTION(SUPOS, "SupOS_PipeWait");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p,%p,%x,%p,%p)", static_cast<void *>(First), static_cast<void *>(Second),
                static_cast<u32>(UseSecond), static_cast<const void *>(Timeout), static_cast<void *>(Outcome));

    const u32 milliseconds = millisecondsOf(Timeout);
    if (UseSecond == 0) {
        *Outcome = SupOS_PipePeek(First, milliseconds);
        if (*Outcome != SUPOS_PIPE_EMPTY) INFTR_RETURN(2);
        const u32 point = waitFirst(First, milliseconds, Outcome);
        INFTR_RETURN(point);
    }

    if (SupOS_PipePeek(Second, milliseconds) != SUPOS_PIPE_EMPTY) {
        *Outcome = SUPOS_PIPE_SECOND; // required: whatever the look said
        INFTR_RETURN(10);
    }
    *Outcome = SupOS_PipePeek(First, milliseconds);
    if (*Outcome != SUPOS_PIPE_EMPTY) INFTR_RETURN(11);
    const u32 point = waitBoth(First, Second, milliseconds, Outcome);
    INFTR_RETURN(point);
}
