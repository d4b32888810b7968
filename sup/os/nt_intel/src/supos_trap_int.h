#ifndef SUPOS_TRAP_INT_H
#define SUPOS_TRAP_INT_H

// The parts of a fault report: filter and report (supos_trap.cpp), memory and registers (supos_tback.cpp), stack and
// symbols (supos_stack.cpp).

#include "supos_faults.h"

VELA_BEGIN

#define SUPOS_STACK_FRAMES 64

struct SupOS_StackEntry {
    char *Name; // this entry's NameText
    char *Module; // the stash's NoText
    uintptr_t Address; // program counter; 0 where no symbol was found
    char NameText[32];
};

// One snapshot of a stack, the process's only one. Rebuilt at every walk.
struct SupOS_StackStash {
    u32 Reserved;
    u32 Kind;
    u16 Capacity; // SUPOS_STACK_FRAMES
    u16 FrameCount; // frame number at which the walk ended
    SupOS_StackEntry *Frames[SUPOS_STACK_FRAMES];
    i32 Valid; // 1 once a walk has come to its end
    char NoText[4];
    SupOS_StackEntry Entries[SUPOS_STACK_FRAMES + 1]; // one spare: a report goes on to frame number 64
};

// The two libraries and their calls; all null until they are loaded, and where a library is missing.
struct SupOS_DiagnosticCalls {
    handle StatusLibrary;
    handle DebugLibrary;
    decltype(&EnumProcessModules) EnumProcessModules_;
    decltype(&GetModuleInformation) GetModuleInformation_;
    decltype(&GetModuleFileNameExA) GetModuleFileNameExA_;
    decltype(&MiniDumpWriteDump) MiniDumpWriteDump_;
    decltype(&SymGetOptions) SymGetOptions_;
    decltype(&SymGetSearchPath) SymGetSearchPath_;
    decltype(&SymInitialize) SymInitialize_;
    decltype(&StackWalk) StackWalk_;
    decltype(&SymGetModuleInfo) SymGetModuleInfo_;
    decltype(&SymGetSymFromAddr) SymGetSymFromAddr_;
    decltype(&SymGetLineFromAddr) SymGetLineFromAddr_;
    decltype(&SymCleanup) SymCleanup_;
    decltype(&SymSetOptions) SymSetOptions_;
    decltype(&SymFunctionTableAccess) SymFunctionTableAccess_;
    decltype(&SymGetModuleBase) SymGetModuleBase_;
    decltype(&UnDecorateSymbolName) UnDecorateSymbolName_;
};

extern SupOS_DiagnosticCalls SupOS_Diagnostics;

// Second filter: a report for every exception, and the search for a handler goes on.
u32 SupOS_ExceptionTrace(EXCEPTION_POINTERS *Pointers);

// Whether an exception object is an orderly end of a thread or region.
i32 SupOS_IsOrderlyEnd(uintptr_t Object);

void SupOS_WriteTraceback(EXCEPTION_POINTERS *Pointers);

// One line or two about an exception; Buffer has SUPOS_REPORT_ROOM bytes.
#define SUPOS_REPORT_ROOM 1024
void SupOS_ExceptionText(char *Buffer, const EXCEPTION_RECORD *Record);

// File name and offset of the module that holds an address; Text has SUPOS_MODULE_ROOM bytes.
#define SUPOS_MODULE_ROOM 512
void SupOS_ModuleOfAddress(uintptr_t Address, char *Text);

// Prints to a descriptor, at most SUPOS_REPORT_ROOM - 1 bytes.
void SupOS_FdPrintf(i32 Fd, const char *Format, ...) VELA_PRINTF(2, 3);

// Prints [Start, End) in lines of 32 bytes, each with its distance from Centre.
void SupOS_DumpMemory(uintptr_t Start, uintptr_t End, uintptr_t Centre, i32 Fd);
void SupOS_DumpRegisters(i32 Fd, const CONTEXT *Context);

// Prints the stack of Context (may be null: the present one) to Fd and fills the stash; Fd 0 only fills.
void SupOS_WalkStack(i32 Fd, CONTEXT *Context);

// Source line of an address or of one at most 0x200 bytes below it. Nonzero when there is one; Displacement then holds
// its distance.
i32 SupOS_LineFromAddress(handle Process, u64 Address, u32 *Displacement, IMAGEHLP_LINE *Line);

// The stash, from a walk that is made unless a valid one is there; and the word that it may be made again.
SupOS_StackStash *SupOS_StashDumpCreate(void);
void SupOS_StashDumpUsed(void);

// Loads the two libraries and finds their calls. For process start; no failure is told.
void SupOS_LoadDiagnosticLibraries(void);

VELA_END

#endif
