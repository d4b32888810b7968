#ifndef WIN32_HOOK_H
#define WIN32_HOOK_H

// Platform calls of this test program stand in front of the real ones: they pass calls on, unless a test puts a routine
// of its own there. For what no fault of a system call can bring about, such as an event wait that fails.
//
//     Hook.ResetEvent = [](handle) { return 0; };

#include "vela_types.h"
#include "win32_process.h"

struct Hook_Table {
    u32 (*WaitForSingleObject)(handle, u32);
    u32 (*WaitForMultipleObjects)(u32, const handle *, i32, u32);
    i32 (*ReleaseMutex)(handle);
    i32 (*ResetEvent)(handle);
    i32 (*WriteFile)(handle, const void *, u32, u32 *, void *);
    handle (*CreateFileA)(const char *, u32, u32, void *, u32, u32, handle);
    i32 (*CreateProcessA)(const char *, const char *, void *, void *, i32, u32, void *, const char *,
                          const STARTUPINFOA *, PROCESS_INFORMATION *);
    i32 (*HeapCheck)(void); // _heapchk
    i32 (*OpenOsHandle)(handle, i32); // _open_osfhandle
};

extern Hook_Table Hook; // a null entry passes its calls on

// The real calls.
extern const Hook_Table &Hook_Real();

#endif
