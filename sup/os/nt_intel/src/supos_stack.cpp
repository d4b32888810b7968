// The stack of a thread in words, and the stash of its frames.
//
// The walk needs the debug-help library, which a process loads at its start; without it the report says so. Everything from
// the registers on stands under one guard: whatever a broken stack does to the walk ends it, and no more.
//
// WalkBusy keeps a walk from being entered twice. It is a plain word on purpose: the second entry clears it and leaves.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "inftr_guard.h"
#include "plat_guard.h"
#include "super_logging.h"
#include "supos_trap_int.h"
#include "win32_error.h"
#include "win32_process.h"
#include "win32_thread.h"

#define SUPOS_MSG_NO_STACK 0x0E80702Du // ERZ058011E

constexpr u32 textRoom = 1024;
constexpr u32 symbolNameRoom = 0x200;
constexpr u32 lineReach = 0x200; // bytes that a line is looked for below an address

constinit SupOS_DiagnosticCalls SupOS_Diagnostics = {};

static constinit SupOS_StackStash stash = {};
static constinit u32 WalkBusy = 0;

template <class Call>
static void find(handle library, const char *name, Call *call)
{
    *call = library == nullptr ? nullptr : reinterpret_cast<Call>(GetProcAddress(library, name));
}

void SupOS_LoadDiagnosticLibraries(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_LoadDiagnosticLibraries");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "()");

    SupOS_DiagnosticCalls &calls = SupOS_Diagnostics;
    const handle status = calls.StatusLibrary = LoadLibraryA("psapi.dll");
    const handle debug = calls.DebugLibrary = LoadLibraryA("dbghelp.dll");
    find(status, "EnumProcessModules", &calls.EnumProcessModules_);
    find(status, "GetModuleInformation", &calls.GetModuleInformation_);
    find(status, "GetModuleFileNameExA", &calls.GetModuleFileNameExA_);
    find(debug, "MiniDumpWriteDump", &calls.MiniDumpWriteDump_);
    find(debug, "SymGetOptions", &calls.SymGetOptions_);
    find(debug, "SymGetSearchPath", &calls.SymGetSearchPath_);
    find(debug, "SymInitialize", &calls.SymInitialize_);
    find(debug, "StackWalk", &calls.StackWalk_);
    find(debug, "SymGetModuleInfo", &calls.SymGetModuleInfo_);
    find(debug, "SymGetSymFromAddr", &calls.SymGetSymFromAddr_);
    find(debug, "SymGetLineFromAddr", &calls.SymGetLineFromAddr_);
    find(debug, "SymCleanup", &calls.SymCleanup_);
    find(debug, "SymSetOptions", &calls.SymSetOptions_);
    find(debug, "SymFunctionTableAccess", &calls.SymFunctionTableAccess_);
    find(debug, "SymGetModuleBase", &calls.SymGetModuleBase_);
    find(debug, "UnDecorateSymbolName", &calls.UnDecorateSymbolName_);
    INFTR_RETURN(1);
}

// ---- one frame ----

// The symbol of the last frame that had one: it is not cleared between frames.
struct SymbolArea {
    IMAGEHLP_SYMBOL Symbol;
    char NameTail[symbolNameRoom];
};

struct Walk {
    i32 Fd; // 0: nothing is written
    handle Process;
    CONTEXT *Context;
    STACKFRAME Frame;
    SymbolArea Area;
};

i32 SupOS_LineFromAddress(handle Process, u64 Address, u32 *Displacement, IMAGEHLP_LINE *Line)
{
    const auto lineOf = SupOS_Diagnostics.SymGetLineFromAddr_;
    u32 within = 0;
    if (lineOf(Process, Address, &within, Line) == 1) {
        *Displacement = within;
        return 1;
    }
    if (GetLastError() != ERROR_INVALID_ADDRESS) return 0;
    for (u32 count = 1; count <= lineReach; ++count) {
        if (lineOf(Process, Address - count, &within, Line) != 1) continue;
        *Displacement = count;
        return 1;
    }
    return 0;
}

static const char *symbolTypeText(i32 type, char *room, size_t size)
{
    static constexpr const char *texts[] = {"-nosymbols-", "COFF", "CV", "PDB", "-exported-", "-deferred-", "SYM"};
    if (type >= 0 && static_cast<size_t>(type) < sizeof texts / sizeof texts[0]) return texts[type];
    snprintf(room, size, "symtype=%ld", static_cast<long>(type));
    return room;
}

static unsigned long long wide(u64 value)
{
    return value;
}

static void writeSymbol(Walk *walk, u32 number)
{
    IMAGEHLP_SYMBOL *const symbol = &walk->Area.Symbol;
    u64 displacement = 0;
    if (SupOS_Diagnostics.SymGetSymFromAddr_(walk->Process, walk->Frame.AddrPC.Offset, &displacement, symbol) == 1) {
        SupOS_StackEntry *const entry = &stash.Entries[number];
        snprintf(entry->NameText, sizeof entry->NameText, "%.31s", symbol->Name);
        entry->Address = walk->Frame.AddrPC.Offset;
    }
    char undecorated[textRoom], full[textRoom]; // required: asked for and not used
    SupOS_Diagnostics.UnDecorateSymbolName_(symbol->Name, undecorated, sizeof undecorated, 0x1000);
    SupOS_Diagnostics.UnDecorateSymbolName_(symbol->Name, full, sizeof full, 0);
    if (walk->Fd != 0) SupOS_FdPrintf(walk->Fd, "Symbol Name:  %s \n ", symbol->Name);

    IMAGEHLP_LINE line = {};
    line.SizeOfStruct = 0x14;
    u32 lineDisplacement = 0;
    const bool known = SupOS_LineFromAddress(walk->Process, walk->Frame.AddrPC.Offset, &lineDisplacement, &line) != 0;
    if (walk->Fd != 0)
        SupOS_FdPrintf(walk->Fd, "LINE:0x%04llx (%s:%d+%d) \n", wide(displacement), known ? line.FileName : "unknown",
                       known ? static_cast<i32>(line.LineNumber) : 0, known ? static_cast<i32>(lineDisplacement) : 0);
}

static void writeModule(const Walk &walk, u32 number)
{
    const STACKFRAME &frame = walk.Frame;
    IMAGEHLP_MODULE module = {};
    module.SizeOfStruct = 0x23C;
    const bool known = SupOS_Diagnostics.SymGetModuleInfo_(walk.Process, frame.AddrPC.Offset, &module) == 1;
    if (walk.Fd == 0) return;
    if (!known) {
        SupOS_FdPrintf(walk.Fd, "%02d 0x%08llx 0x%08llx 0x%08llx\n", static_cast<i32>(number),
                       wide(frame.AddrPC.Offset), wide(frame.AddrReturn.Offset), wide(frame.AddrFrame.Offset));
        return;
    }
    char time[64] = "", type[80];
    const time_t stamp = module.TimeDateStamp;
    ctime_r(&stamp, time);
    time[strcspn(time, "\n")] = '\0';
    SupOS_FdPrintf(walk.Fd, "0x%08llx 0x%08llx 0x%08llx (%s 0x%08llx %s)\n", wide(frame.AddrPC.Offset),
                   wide(frame.AddrReturn.Offset), wide(frame.AddrFrame.Offset), module.ModuleName,
                   wide(module.BaseOfImage), time);
    SupOS_FdPrintf(walk.Fd, "Image name: %s    File Name: %s    Symbol Type: %s\n\n\n", module.ImageName,
                   module.LoadedImageName, symbolTypeText(module.SymType, type, sizeof type));
}

// ---- the walk ----

static void addPath(char *path, const char *variable, const char *tail)
{
    const char *const value = getenv(variable);
    const size_t length = strlen(path);
    if (value != nullptr) snprintf(path + length, textRoom - length, ";%s%s", value, tail);
}

// Opens the symbols. False when the walk is over.
static bool openSymbols(Walk *walk)
{
    const SupOS_DiagnosticCalls &calls = SupOS_Diagnostics;
    if (walk->Context != nullptr && walk->Fd != 0) {
        SupOS_FdPrintf(walk->Fd, "\n-- Register Information --\n");
        SupOS_DumpRegisters(walk->Fd, walk->Context);
    }
    calls.SymSetOptions_(calls.SymGetOptions_() | SYMOPT_LOAD_LINES);

    char path[textRoom] = ".";
    addPath(path, "SystemRoot", "\\symbols");
    addPath(path, "_NT_SYMBOL_PATH", "");
    addPath(path, "_NT_ALTERNATE_SYMBOL_PATH", "");
    if (!calls.SymInitialize_(walk->Process, path, 1)) {
        const unsigned long error = GetLastError();
        if (walk->Fd != 0) SupOS_FdPrintf(walk->Fd, "Can't initialise Symbol library: %lu\n", error);
        return false;
    }
    if (walk->Context != nullptr) {
        walk->Frame.AddrPC = {walk->Context->Eip, 0, AddrModeFlat};
        walk->Frame.AddrFrame = {walk->Context->Ebp, 0, AddrModeFlat};
        walk->Frame.AddrStack = {walk->Context->Esp, 0, AddrModeFlat};
    }
    calls.SymGetSearchPath_(walk->Process, path, 0x200);
    if (walk->Fd != 0) {
        SupOS_FdPrintf(walk->Fd, "\n------- Stack Trace ------\n");
        SupOS_FdPrintf(walk->Fd, "SymbolPath=%s\n", path);
    }
    return true;
}

// Goes through the frames. False for an error that ends the walk with the stash not valid.
static bool walkFrames(Walk *walk)
{
    const SupOS_DiagnosticCalls &calls = SupOS_Diagnostics;
    u32 number = 0;
    for (; number <= SUPOS_STACK_FRAMES; ++number) {
        if (!calls.StackWalk_(IMAGE_FILE_MACHINE_I386, walk->Process, GetCurrentThread(), &walk->Frame, walk->Context,
                              nullptr, calls.SymFunctionTableAccess_, calls.SymGetModuleBase_, nullptr)) {
            const u32 error = GetLastError();
            if (error == ERROR_INVALID_ADDRESS || error == ERROR_SUCCESS || error == ERROR_NOACCESS) break;
            if (walk->Fd != 0)
                SupOS_FdPrintf(walk->Fd, "Problem retrieving StackFrame %d,%lu\n", static_cast<i32>(number),
                               static_cast<unsigned long>(error));
            return false;
        }
        if (walk->Frame.AddrPC.Offset == 0) {
            if (walk->Fd != 0) SupOS_FdPrintf(walk->Fd, "Can't get PC\n");
            break;
        }
        writeSymbol(walk, number);
        writeModule(*walk, number);
    }
    stash.FrameCount = static_cast<u16>(number);
    return true;
}

// Everything that may fault. False when the walk is over with the stash not valid.
static bool walkGuarded(Walk *walk)
{
    volatile bool whole = true;
    PLAT_TRY
    {
        whole = openSymbols(walk) && walkFrames(walk);
    }
    PLAT_EXCEPT
    {
        if (walk->Fd != 0) SupOS_FdPrintf(walk->Fd, "Error occured whilst walking the stack\n");
    }
    PLAT_END
    return whole;
}

static void clearStash()
{
    stash = {};
    stash.Capacity = SUPOS_STACK_FRAMES;
    for (u32 i = 0; i <= SUPOS_STACK_FRAMES; ++i) {
        stash.Entries[i].Name = stash.Entries[i].NameText;
        stash.Entries[i].Module = stash.NoText;
        if (i < SUPOS_STACK_FRAMES) stash.Frames[i] = &stash.Entries[i];
    }
}

// The warning that takes the place of the walk; null when it can go on.
static const char *whatIsMissing()
{
    const SupOS_DiagnosticCalls &calls = SupOS_Diagnostics;
    if (calls.DebugLibrary == nullptr) return "Warning: dbghelp.dll not found. No Stackdump will be taken.\n";
    const bool some = calls.SymGetModuleInfo_ || calls.SymGetSymFromAddr_ || calls.SymGetLineFromAddr_ ||
                      calls.SymCleanup_ || calls.SymSetOptions_ || calls.StackWalk_ || calls.UnDecorateSymbolName_ ||
                      calls.SymInitialize_ || calls.SymGetSearchPath_ || calls.SymGetOptions_;
    return some ? nullptr : "Warning: dbghelp.dll unusable. No Stackdump will be taken\n";
}

static void setBusy(u32 busy)
{
    __atomic_store_n(&WalkBusy, busy, __ATOMIC_RELEASE);
}

void SupOS_WalkStack(i32 Fd, CONTEXT *Context)
{
    if (InfTR_Read(WalkBusy) == 1) {
        setBusy(0);
        return;
    }
    setBusy(1);
    clearStash();
    const char *const missing = whatIsMissing();
    if (missing != nullptr) {
        if (Fd != 0) SupOS_FdPrintf(Fd, "%s", missing);
        setBusy(0);
        return;
    }

    Walk walk = {};
    walk.Fd = Fd;
    walk.Process = GetCurrentProcess();
    walk.Context = Context;
    walk.Area.Symbol.SizeOfStruct = 0x58;
    walk.Area.Symbol.MaxNameLength = symbolNameRoom;
    if (!walkGuarded(&walk)) {
        setBusy(0);
        return;
    }
    if (SupOS_Diagnostics.SymCleanup_ != nullptr) SupOS_Diagnostics.SymCleanup_(walk.Process);
    stash.Valid = 1;
    setBusy(0);
}

// ---- the stash ----

SupOS_StackStash *SupOS_StashDumpCreate(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_StashDumpCreate");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "()");

    if (stash.Valid == 0) SupOS_WalkStack(0, nullptr);
    const char *const module = stash.Entries[0].Module;
    if (module != nullptr && strcmp(module, "Unknown (Unable to interpret call stack)") == 0)
        SupER_Log(SUPER_CONSOLE, SUPOS_MSG_NO_STACK, 28);
    SupOS_StackStash *const result = &stash;
    INFTR_RETURN_VALUE(1, result);
}

void SupOS_StashDumpUsed(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_StashDumpUsed");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "()");

    stash.Valid = 0;
    INFTR_RETURN(1);
}
