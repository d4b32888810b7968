// Threads with handles: a detached thread and an object that is set at its end.

#include "win32_thread.h"

#include <pthread.h>

#include <cerrno>
#include <cstdlib>
#include <new>

#include "plat_error.h"
#include "plat_exception.h"
#include "plat_sys.h"
#include "plat_waitable.h"
#include "tks_thread.h"
#include "win32_error.h"

struct Thread {
    Plat_Waitable Ended;
    PTHREAD_START_ROUTINE_ Start;
    void *Word;
};

static void destroyThread(Plat_Object *object)
{
    free(reinterpret_cast<Thread *>(object));
}

static const Plat_ObjectOps threadOps = {PLAT_KIND_THREAD, nullptr, destroyThread};

// The thread holds a reference of its own, so it may outlive its handle.
static void *run(void *word)
{
    Thread *const thread = static_cast<Thread *>(word);
    if (Plat_HasFilter()) plat_FaultStack();
    thread->Start(thread->Word);
    Plat_WaitableSet(&thread->Ended);
    Plat_HandleRelease(&thread->Ended.Head);
    return nullptr;
}

static int startDetached(Thread *thread)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t id;
    const int result = Plat_Sys.PthreadCreate(&id, &attributes, run, thread);
    pthread_attr_destroy(&attributes);
    return result;
}

handle CreateThread(void *, size_t, PTHREAD_START_ROUTINE_ Start, void *Word, u32 Flags, u32 *ThreadId)
{
    if (Start == nullptr || Flags != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void *const block = Plat_Sys.Malloc(sizeof(Thread));
    if (block == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    Thread *const thread = new (block) Thread{};
    thread->Start = Start;
    thread->Word = Word;
    const handle created = Plat_HandleCreate(&thread->Ended.Head, &threadOps);
    if (created == nullptr) {
        free(block);
        return nullptr;
    }

    Plat_Object *const own = Plat_HandleAcquire(created, PLAT_KIND_THREAD);
    const int result = startDetached(thread);
    if (result != 0) {
        Plat_HandleRelease(own);
        Plat_HandleClose(created, PLAT_KIND_THREAD);
        SetLastError(result == EAGAIN ? ERROR_NOT_ENOUGH_MEMORY : Plat_ErrorFromErrno(result));
        return nullptr;
    }
    if (ThreadId != nullptr) *ThreadId = static_cast<u32>(reinterpret_cast<uintptr_t>(created));
    return created;
}

handle GetCurrentThread(void)
{
    return reinterpret_cast<handle>(static_cast<intptr_t>(-2));
}

u32 GetCurrentThreadId(void)
{
    return tks_ThreadSelf();
}
