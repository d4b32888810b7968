// Symbols, lines and the stack, by libdw and the unwinder of the compiler's runtime.
//
// A session belongs to its thread, so two failing threads do not meet in it. All frames of a walk are taken at its first
// step: the unwinder goes through the stack in one run, across the frame of a signal.

#include <cxxabi.h>
#include <sys/stat.h>
#include <unwind.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_descriptor.h"
#include "plat_dwfl.h"
#include "plat_guard.h"
#include "plat_sys.h"
#include "win32_error.h"

constexpr u32 frameRoom = 128;
constexpr u32 pathRoom = 1024;

struct stackFrame {
    u64 Pc, Frame, Stack;
};

struct symbolSession {
    Dwfl *Modules;
    char SearchPath[pathRoom];
    u32 FrameCount;
    stackFrame Frames[frameRoom];
};

static thread_local symbolSession *session __attribute__((tls_model("initial-exec"))) = nullptr;

static constinit u32 symbolOptions = SYMOPT_UNDNAME;

static i32 fail(u32 error)
{
    SetLastError(error);
    return 0;
}

u32 SymGetOptions(void)
{
    return __atomic_load_n(&symbolOptions, __ATOMIC_RELAXED);
}

u32 SymSetOptions(u32 Options)
{
    __atomic_store_n(&symbolOptions, Options, __ATOMIC_RELAXED);
    return Options;
}

// ---- session ----

// Debug information beside the module, found by its build id. The standard routine of libdw would ask servers.
static int findDebugInfo(Dwfl_Module *module, void **, const char *, u64, const char *, const char *, u32, char **name)
{
    const Plat_DwflCalls *const dwfl = Plat_Dwfl();
    const u8 *id = nullptr;
    u64 address = 0;
    const int length = dwfl->module_build_id(module, &id, &address);
    if (length < 2 || length > 64) return -1;
    char path[256];
    int at = snprintf(path, sizeof path, "/usr/lib/debug/.build-id/%02x/", id[0]);
    for (int i = 1; i < length; ++i) at += snprintf(path + at, sizeof path - static_cast<size_t>(at), "%02x", id[i]);
    snprintf(path + at, sizeof path - static_cast<size_t>(at), ".debug");
    const int descriptor = Plat_OpenFile(path, O_RDONLY, 0);
    if (descriptor >= 0) *name = strdup(path);
    return descriptor;
}

static int findElf(Dwfl_Module *module, void **data, const char *name, u64 base, char **file, Elf **elf)
{
    return Plat_Dwfl()->linux_proc_find_elf(module, data, name, base, file, elf);
}

static const Dwfl_Callbacks callbacks = {findElf, findDebugInfo, nullptr, nullptr};

i32 SymInitialize(handle Process, const char *SearchPath, i32)
{
    if (Process != PLAT_INVALID_HANDLE) return fail(ERROR_INVALID_HANDLE);
    if (session != nullptr) SymCleanup(Process); // one that its walk left behind
    const Plat_DwflCalls *const dwfl = Plat_Dwfl();
    if (dwfl == nullptr) return fail(ERROR_MOD_NOT_FOUND);
    symbolSession *const fresh = static_cast<symbolSession *>(Plat_Sys.Malloc(sizeof(symbolSession)));
    if (fresh == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);
    fresh->FrameCount = 0;
    snprintf(fresh->SearchPath, sizeof fresh->SearchPath, "%s", SearchPath != nullptr ? SearchPath : "");
    fresh->Modules = dwfl->begin(&callbacks);
    if (fresh->Modules != nullptr && dwfl->linux_proc_report(fresh->Modules, getpid()) == 0 &&
        dwfl->report_end(fresh->Modules, nullptr, nullptr) == 0) {
        session = fresh;
        return 1;
    }
    if (fresh->Modules != nullptr) dwfl->end(fresh->Modules);
    free(fresh);
    return fail(ERROR_GEN_FAILURE);
}

i32 SymCleanup(handle)
{
    symbolSession *const old = session;
    if (old == nullptr) return fail(ERROR_INVALID_HANDLE);
    session = nullptr; // first of all: what follows may fault in a failing process
    Plat_Dwfl()->end(old->Modules);
    free(old);
    return 1;
}

i32 SymGetSearchPath(handle, char *Out, u32 Size)
{
    if (session == nullptr) return fail(ERROR_INVALID_HANDLE);
    if (Out == nullptr || Size == 0) return fail(ERROR_INVALID_PARAMETER);
    snprintf(Out, Size, "%s", session->SearchPath);
    return 1;
}

// The module of an address; NULL with the last error.
static Dwfl_Module *moduleOf(u64 address)
{
    Dwfl_Module *const module = session != nullptr ? Plat_Dwfl()->addrmodule(session->Modules, address) : nullptr;
    if (module == nullptr) SetLastError(session == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_ADDRESS);
    return module;
}

// Where an address is looked up. A return address of the last walk belongs to the call in front of it: behind a call
// that does not return stands another line, or another function.
static u64 placeOf(u64 address)
{
    for (u32 i = 1; i < session->FrameCount; ++i)
        if (session->Frames[i].Pc == address) return address - 1;
    return address;
}

// ---- names ----

u32 UnDecorateSymbolName(const char *Name, char *Out, u32 Size, u32)
{
    if (Name == nullptr || Out == nullptr || Size == 0) return static_cast<u32>(fail(ERROR_INVALID_PARAMETER));
    int status = 0;
    char *const plain = abi::__cxa_demangle(Name, nullptr, nullptr, &status);
    snprintf(Out, Size, "%s", plain != nullptr ? plain : Name);
    free(plain);
    return static_cast<u32>(strlen(Out));
}

i32 SymGetSymFromAddr(handle, u64 Address, u64 *Displacement, IMAGEHLP_SYMBOL *Symbol)
{
    Dwfl_Module *const module = moduleOf(Address);
    if (module == nullptr) return 0;
    u64 offset = 0;
    Elf64_Sym row = {};
    const u64 place = placeOf(Address);
    const char *const name = Plat_Dwfl()->module_addrinfo(module, place, &offset, &row, nullptr, nullptr, nullptr);
    if (name == nullptr) return fail(ERROR_INVALID_ADDRESS);
    offset += Address - place;
    if (Displacement != nullptr) *Displacement = offset;
    Symbol->Address = Address - offset;
    Symbol->Size = static_cast<u32>(row.st_size);
    Symbol->Flags = 0;
    if (Symbol->MaxNameLength == 0) return 1;
    if (SymGetOptions() & SYMOPT_UNDNAME)
        UnDecorateSymbolName(name, Symbol->Name, Symbol->MaxNameLength, 0);
    else
        snprintf(Symbol->Name, Symbol->MaxNameLength, "%s", name);
    return 1;
}

i32 SymGetLineFromAddr(handle, u64 Address, u32 *Displacement, IMAGEHLP_LINE *Line)
{
    Dwfl_Module *const module = moduleOf(Address);
    if (module == nullptr) return 0;
    const Plat_DwflCalls *const dwfl = Plat_Dwfl();
    Dwfl_Line *const found = dwfl->module_getsrc(module, placeOf(Address));
    u64 start = 0;
    int number = 0;
    const char *const file =
        found != nullptr ? dwfl->lineinfo(found, &start, &number, nullptr, nullptr, nullptr) : nullptr;
    if (file == nullptr || number <= 0 || start > Address) return fail(ERROR_INVALID_ADDRESS);
    Line->Key = nullptr;
    Line->LineNumber = static_cast<u32>(number);
    Line->FileName = file;
    Line->Address = start;
    if (Displacement != nullptr) *Displacement = static_cast<u32>(Address - start);
    return 1;
}

static i32 symbolTypeOf(Dwfl_Module *module)
{
    constexpr i32 none = 0, withLines = 3, exportedOnly = 4;
    u64 bias = 0;
    if (Plat_Dwfl()->module_getdwarf(module, &bias) != nullptr) return withLines;
    return Plat_Dwfl()->module_getsymtab(module) > 1 ? exportedOnly : none;
}

i32 SymGetModuleInfo(handle, u64 Address, IMAGEHLP_MODULE *Module)
{
    Dwfl_Module *const module = moduleOf(Address);
    if (module == nullptr) return 0;
    const i32 type = symbolTypeOf(module); // opens the file, so that its name is known below
    u64 start = 0, end = 0;
    const char *file = nullptr;
    const char *name = Plat_Dwfl()->module_info(module, nullptr, &start, &end, nullptr, nullptr, &file, nullptr);
    if (file == nullptr) file = name;
    if (file == nullptr) return fail(ERROR_INVALID_ADDRESS);

    *Module = {};
    Module->BaseOfImage = start;
    Module->ImageSize = static_cast<u32>(end - start);
    Module->SymType = type;
    const char *const slash = strrchr(file, '/');
    snprintf(Module->ModuleName, sizeof Module->ModuleName, "%.31s", slash != nullptr ? slash + 1 : file);
    snprintf(Module->ImageName, sizeof Module->ImageName, "%s", file);
    snprintf(Module->LoadedImageName, sizeof Module->LoadedImageName, "%s", name != nullptr ? name : file);
    struct stat status;
    if (Plat_Sys.Stat(file, &status) == 0) Module->TimeDateStamp = static_cast<u32>(status.st_mtime);
    return 1;
}

void *SymFunctionTableAccess(handle, u64)
{
    return nullptr;
}

u64 SymGetModuleBase(handle, u64)
{
    return 0;
}

// ---- the stack ----

struct unwinding {
    u64 FirstPc; // frames before it are passed over; 0: from the first
    u32 Skip; // of them, when FirstPc is 0
    bool Started;
};

static _Unwind_Reason_Code takeFrame(_Unwind_Context *context, void *word)
{
    constexpr int framePointer = 6; // of the DWARF register numbers
    unwinding *const state = static_cast<unwinding *>(word);
    const stackFrame frame = {_Unwind_GetIP(context), _Unwind_GetGR(context, framePointer), _Unwind_GetCFA(context)};
    if (!state->Started) {
        if (state->FirstPc != 0 ? frame.Pc != state->FirstPc : state->Skip-- != 0) return _URC_NO_REASON;
        state->Started = true;
    } else if (frame.Pc == 0) { // the end of the stack; a first frame at 0 is a call that went wrong
        return _URC_END_OF_STACK;
    }
    session->Frames[session->FrameCount++] = frame;
    return session->FrameCount < frameRoom ? _URC_NO_REASON : _URC_END_OF_STACK;
}

// A context from elsewhere: itself, then what its frame pointer leads to, as long as that goes up.
static void followFramePointers(const CONTEXT *context)
{
    session->Frames[session->FrameCount++] = {context->Eip, context->Ebp, context->Esp};
    u64 frame = context->Ebp;
    while (session->FrameCount < frameRoom) {
        u64 pair[2]; // the caller's frame, the return address
        if (frame == 0 || !plat_safe_read(pair, reinterpret_cast<const void *>(frame), sizeof pair) || pair[1] == 0)
            return;
        session->Frames[session->FrameCount++] = {pair[1], pair[0], frame + sizeof pair};
        if (pair[0] <= frame) return;
        frame = pair[0];
    }
}

__attribute__((noinline)) static void takeFrames(const CONTEXT *context)
{
    constexpr u32 own = 2; // this function and StackWalk
    session->FrameCount = 0;
    if (context == nullptr) {
        unwinding state = {0, own, false};
        _Unwind_Backtrace(takeFrame, &state);
        return;
    }
    if (context->Eip != 0) {
        unwinding state = {context->Eip, 0, false};
        _Unwind_Backtrace(takeFrame, &state);
    }
    if (session->FrameCount == 0) followFramePointers(context);
}

i32 StackWalk(u32, handle, handle, STACKFRAME *Frame, CONTEXT *Context, void *, void *(*)(handle, u64),
              u64 (*)(handle, u64), void *)
{
    if (session == nullptr) return fail(ERROR_INVALID_HANDLE);
    if (Frame->Reserved[0] == 0) takeFrames(Context);
    const u64 index = Frame->Reserved[0]++;
    if (index >= session->FrameCount) return fail(ERROR_INVALID_ADDRESS);
    const stackFrame &frame = session->Frames[index];
    Frame->AddrPC = {frame.Pc, 0, AddrModeFlat};
    Frame->AddrFrame = {frame.Frame, 0, AddrModeFlat};
    Frame->AddrStack = {frame.Stack, 0, AddrModeFlat};
    Frame->AddrReturn = {index + 1 < session->FrameCount ? session->Frames[index + 1].Pc : 0, 0, AddrModeFlat};
    return 1;
}
