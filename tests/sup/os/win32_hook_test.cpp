// The hook itself: definitions, and that it passes calls on.

#include "win32_hook.h"

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "crt.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_sync.h"

constinit Hook_Table Hook = {};

template <class Call>
static void find(Call *Entry, const char *Name)
{
    *Entry = reinterpret_cast<Call>(dlsym(RTLD_NEXT, Name));
}

const Hook_Table &Hook_Real()
{
    static const Hook_Table real = [] {
        Hook_Table found;
        find(&found.WaitForSingleObject, "WaitForSingleObject");
        find(&found.WaitForMultipleObjects, "WaitForMultipleObjects");
        find(&found.ReleaseMutex, "ReleaseMutex");
        find(&found.ResetEvent, "ResetEvent");
        find(&found.WriteFile, "WriteFile");
        find(&found.CreateFileA, "CreateFileA");
        find(&found.CreateProcessA, "CreateProcessA");
        find(&found.HeapCheck, "_heapchk");
        find(&found.OpenOsHandle, "_open_osfhandle");
        return found;
    }();
    return real;
}

#define PASS(Name, ...) return (Hook.Name != nullptr ? Hook.Name : Hook_Real().Name)(__VA_ARGS__)

u32 WaitForSingleObject(handle Object, u32 Milliseconds)
{
    PASS(WaitForSingleObject, Object, Milliseconds);
}

u32 WaitForMultipleObjects(u32 Count, const handle *Objects, i32 WaitAll, u32 Milliseconds)
{
    PASS(WaitForMultipleObjects, Count, Objects, WaitAll, Milliseconds);
}

i32 ReleaseMutex(handle Mutex)
{
    PASS(ReleaseMutex, Mutex);
}

i32 ResetEvent(handle Event)
{
    PASS(ResetEvent, Event);
}

i32 WriteFile(handle File, const void *Data, u32 Size, u32 *Written, void *Overlapped)
{
    PASS(WriteFile, File, Data, Size, Written, Overlapped);
}

handle CreateFileA(const char *Path, u32 Access, u32 Share, void *Attributes, u32 Disposition, u32 Flags,
                   handle Template)
{
    PASS(CreateFileA, Path, Access, Share, Attributes, Disposition, Flags, Template);
}

i32 _heapchk(void)
{
    PASS(HeapCheck);
}

i32 CreateProcessA(const char *Application, const char *CommandLine, void *Process, void *Thread, i32 Inherit,
                   u32 Flags, void *Environment, const char *Directory, const STARTUPINFOA *Startup,
                   PROCESS_INFORMATION *Information)
{
    PASS(CreateProcessA, Application, CommandLine, Process, Thread, Inherit, Flags, Environment, Directory, Startup,
         Information);
}

i32 _open_osfhandle(handle File, i32 Flags)
{
    PASS(OpenOsHandle, File, Flags);
}

TEST(Win32Hook, PassesCallsOn)
{
    const handle event = CreateEventA(nullptr, 1, 1, nullptr);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(1, &event, 0, 0), WAIT_OBJECT_0);
    EXPECT_EQ(ResetEvent(event), 1);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    EXPECT_EQ(ReleaseMutex(event), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

    const handle device = CreateFileA("NUL", GENERIC_WRITE, 3, nullptr, OPEN_EXISTING, 0x80, nullptr);
    u32 written = 0;
    EXPECT_EQ(WriteFile(device, "abc", 3, &written, nullptr), 1);
    EXPECT_EQ(written, 3u);
    EXPECT_EQ(_heapchk(), PLAT_HEAP_OK);
    CloseHandle(device);
    CloseHandle(event);
}
