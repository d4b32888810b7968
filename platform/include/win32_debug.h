#ifndef WIN32_DEBUG_H
#define WIN32_DEBUG_H

/* Exceptions that nobody handles, and what a report of one is made of: modules, symbols, lines, the stack.
 *
 * Addresses and registers have the width of this machine (x86-64) under the published field names of the 32-bit one; the
 * names EAX to EBP stand for RAX to RBP, Eip for RIP. Sizes that callers store in a SizeOfStruct field are not looked at. */

#include "plat_types.h"

PLAT_BEGIN

/* ---- exceptions ---- */

#define EXCEPTION_MAXIMUM_PARAMETERS 15

#define EXCEPTION_DATATYPE_MISALIGNMENT 0x80000002u
#define EXCEPTION_BREAKPOINT 0x80000003u
#define EXCEPTION_SINGLE_STEP 0x80000004u
#define EXCEPTION_ACCESS_VIOLATION 0xC0000005u
#define EXCEPTION_IN_PAGE_ERROR 0xC0000006u
#define EXCEPTION_ILLEGAL_INSTRUCTION 0xC000001Du
#define EXCEPTION_NONCONTINUABLE_EXCEPTION 0xC0000025u
#define EXCEPTION_INVALID_DISPOSITION 0xC0000026u
#define EXCEPTION_ARRAY_BOUNDS_EXCEEDED 0xC000008Cu
#define EXCEPTION_FLT_DENORMAL_OPERAND 0xC000008Du
#define EXCEPTION_FLT_DIVIDE_BY_ZERO 0xC000008Eu
#define EXCEPTION_FLT_INEXACT_RESULT 0xC000008Fu
#define EXCEPTION_FLT_INVALID_OPERATION 0xC0000090u
#define EXCEPTION_FLT_OVERFLOW 0xC0000091u
#define EXCEPTION_FLT_STACK_CHECK 0xC0000092u
#define EXCEPTION_FLT_UNDERFLOW 0xC0000093u
#define EXCEPTION_INT_DIVIDE_BY_ZERO 0xC0000094u
#define EXCEPTION_INT_OVERFLOW 0xC0000095u
#define EXCEPTION_PRIV_INSTRUCTION 0xC0000096u
#define EXCEPTION_STACK_OVERFLOW 0xC00000FDu

/* An exception object of the thread library that nobody caught; one parameter, its address. */
#define PLAT_EXCEPTION_OBJECT 0xE0646365u
/* Any other C++ exception that nobody caught; no parameter. */
#define PLAT_EXCEPTION_LANGUAGE 0xE06D7363u

typedef struct EXCEPTION_RECORD {
    u32 ExceptionCode;
    u32 ExceptionFlags; /* 1: the program cannot go on */
    struct EXCEPTION_RECORD *ExceptionRecord;
    void *ExceptionAddress; /* of the instruction */
    u32 NumberParameters;
    /* Access violations: 0 for a read or 1 for a write, then the address, all ones where the system does not tell it. */
    uintptr_t ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
} EXCEPTION_RECORD;

typedef struct CONTEXT {
    u32 ContextFlags;
    u64 Eax, Ebx, Ecx, Edx, Esi, Edi, Ebp, Esp, Eip;
    u64 R8, R9, R10, R11, R12, R13, R14, R15;
    u64 EFlags;
} CONTEXT;

typedef struct EXCEPTION_POINTERS {
    EXCEPTION_RECORD *ExceptionRecord;
    CONTEXT *ContextRecord;
} EXCEPTION_POINTERS;

/* Answers of a filter. */
#define EXCEPTION_EXECUTE_HANDLER 1u /* the process ends */
#define EXCEPTION_CONTINUE_SEARCH 0u /* the handlers of plat_signal get it, then the system */
#define EXCEPTION_CONTINUE_EXECUTION 0xFFFFFFFFu /* the thread goes on with the registers of the context */

typedef u32 (*PTOP_LEVEL_EXCEPTION_FILTER)(EXCEPTION_POINTERS *Pointers);

/* Sets the filter of exceptions that nobody handles; NULL for none. Returns the one before.
 *
 * The filter runs on the thread of the fault (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP), behind the guards of that
 * thread (plat_guard.h) and before the handlers of plat_signal, on a stack of 1 MiB of its own where the thread has one:
 * the thread that calls this, threads of CreateThread, and those that called plat_FaultStack. For a C++ exception that
 * nobody catches it runs where the exception was thrown, and nothing has been unwound.
 *
 * After EXCEPTION_EXECUTE_HANDLER the process ends by the signal of the fault, SIGABRT for a C++ exception, and the
 * handlers of plat_signal are passed over. A second fault inside the filter ends the process at once, and so do 30
 * seconds in it. A C++ exception cannot be continued. Safe from any thread. */
PLAT_API PTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(PTOP_LEVEL_EXCEPTION_FILTER Filter);

/* Gives the calling thread its stack for faults, without which an overflow of its stack cannot be reported. Once is
 * enough; freed with the thread. Returns 0, or -1 with errno. */
PLAT_API i32 plat_FaultStack(void);

/* Nonzero when some byte of the range cannot be read. An empty range can. Looks through the system, without a fault. */
PLAT_API i32 IsBadReadPtr(const void *From, size_t Size);

/* ---- libraries that are there or not ---- */

/* "psapi.dll" is built in. "dbghelp.dll" is there when the system has libdw.so.1, which is loaded now. Names compare without
 * case. Returns a handle that is never closed, or NULL with error 126; any other name is not found. */
PLAT_API handle LoadLibraryA(const char *Name);

/* One of the calls below by its name: the first three belong to psapi.dll, the others to dbghelp.dll. NULL with error 127
 * for another name, 6 for another handle. */
PLAT_API void *GetProcAddress(handle Library, const char *Name);

/* ---- psapi.dll: Process must be GetCurrentProcess, else error 6 ---- */

typedef struct MODULEINFO {
    void *lpBaseOfDll;
    u32 SizeOfImage;
    void *EntryPoint;
} MODULEINFO;

/* The program first, then its libraries in the order of loading.
 *
 * Modules  receives as many as fit into Size bytes; Needed the bytes for all */
PLAT_API i32 EnumProcessModules(handle Process, handle *Modules, u32 Size, u32 *Needed);
PLAT_API i32 GetModuleInformation(handle Process, handle Module, MODULEINFO *Out, u32 Size);

/* The length of the name, which is cut to Size - 1 bytes; 0 with the reason in GetLastError. */
PLAT_API u32 GetModuleFileNameExA(handle Process, handle Module, char *Out, u32 Size);

/* ---- dbghelp.dll: symbols by libdw. A session belongs to the thread that opened it. ---- */

typedef struct MINIDUMP_EXCEPTION_INFORMATION {
    u32 ThreadId;
    EXCEPTION_POINTERS *ExceptionPointers;
    i32 ClientPointers;
} MINIDUMP_EXCEPTION_INFORMATION;

/* Always 0: error 6 without a file, 120 with one, for this system writes core files by itself. */
PLAT_API i32 MiniDumpWriteDump(handle Process, u32 ProcessId, handle File, u32 Type,
                               const MINIDUMP_EXCEPTION_INFORMATION *Exception, const void *User, const void *Callback);

#define SYMOPT_UNDNAME 0x2u /* names as the source has them, on at first */
#define SYMOPT_LOAD_LINES 0x10u

/* Options of the process; only SYMOPT_UNDNAME has a meaning here. SymSetOptions returns what it was given. */
PLAT_API u32 SymGetOptions(void);
PLAT_API u32 SymSetOptions(u32 Options);

/* Opens a session over the modules that are loaded now. SearchPath is kept for SymGetSearchPath; symbols are looked for
 * in the module itself and, by its build id, below /usr/lib/debug; nothing is fetched. A session of
 * this thread that is still open is closed first. Nonzero, or 0 with GetLastError. */
PLAT_API i32 SymInitialize(handle Process, const char *SearchPath, i32 Invade);
PLAT_API i32 SymCleanup(handle Process);
PLAT_API i32 SymGetSearchPath(handle Process, char *Out, u32 Size);

typedef struct IMAGEHLP_SYMBOL {
    u32 SizeOfStruct;
    u64 Address; /* of the symbol's first byte */
    u32 Size;
    u32 Flags;
    u32 MaxNameLength; /* in: bytes of room at Name, with the terminator */
    char Name[1];
} IMAGEHLP_SYMBOL;

typedef struct IMAGEHLP_LINE {
    u32 SizeOfStruct;
    void *Key;
    u32 LineNumber;
    const char *FileName; /* lives until SymCleanup */
    u64 Address;
} IMAGEHLP_LINE;

typedef struct IMAGEHLP_MODULE {
    u32 SizeOfStruct;
    u64 BaseOfImage;
    u32 ImageSize;
    u32 TimeDateStamp; /* last change of the file, in seconds of the clock */
    u32 CheckSum;
    u32 NumSyms;
    i32 SymType; /* 0 none, 3 with lines, 4 exported names only */
    char ModuleName[32];
    char ImageName[256];
    char LoadedImageName[256];
} IMAGEHLP_MODULE;

/* 1, or 0 with error 487 where nothing is known of the address. Displacement receives the bytes behind the symbol. A return
 * address of this thread's last StackWalk stands for the call in front of it. */
PLAT_API i32 SymGetSymFromAddr(handle Process, u64 Address, u64 *Displacement, IMAGEHLP_SYMBOL *Symbol);
PLAT_API i32 SymGetLineFromAddr(handle Process, u64 Address, u32 *Displacement, IMAGEHLP_LINE *Line);
PLAT_API i32 SymGetModuleInfo(handle Process, u64 Address, IMAGEHLP_MODULE *Module);

/* The plain name of a decorated one, whatever the flags; a copy where it has none. Returns its length, 0 with
 * GetLastError. */
PLAT_API u32 UnDecorateSymbolName(const char *Name, char *Out, u32 Size, u32 Flags);

/* Handed to StackWalk as the original asks for it; NULL and 0 always. */
PLAT_API void *SymFunctionTableAccess(handle Process, u64 Address);
PLAT_API u64 SymGetModuleBase(handle Process, u64 Address);

#define AddrModeFlat 3
#define IMAGE_FILE_MACHINE_I386 0x14Cu

typedef struct ADDRESS {
    u64 Offset;
    u16 Segment;
    i32 Mode;
} ADDRESS;

typedef struct STACKFRAME {
    ADDRESS AddrPC;
    ADDRESS AddrReturn; /* 0 in the last frame */
    ADDRESS AddrFrame;
    ADDRESS AddrStack;
    u64 Reserved[3]; /* zero before the first call; then where the walk stands */
} STACKFRAME;

/* Gives the next frame. The first is that of Context, whose Eip must lie on the calling thread's present stack, as it does
 * in a filter; a Context from elsewhere gives itself and then the frames that its Ebp leads to. Without Context the walk
 * begins with the caller. Nonzero; 0 with error 487 behind the last frame, 6 without a session.
 *
 * Machine, Thread, Read, FunctionTable, ModuleBase and Translate are taken and not used. */
PLAT_API i32 StackWalk(u32 Machine, handle Process, handle Thread, STACKFRAME *Frame, CONTEXT *Context, void *Read,
                       void *(*FunctionTable)(handle, u64), u64 (*ModuleBase)(handle, u64), void *Translate);

PLAT_END_C

#endif
