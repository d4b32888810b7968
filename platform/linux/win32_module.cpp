// Libraries that are there or not, and the modules of the process.
//
// Both libraries are built in; what dbghelp.dll does rests on libdw, and without that it counts as missing.

#include <dlfcn.h>
#include <link.h>

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "plat_dwfl.h"
#include "plat_handles.h"
#include "plat_path.h"
#include "plat_sys.h"
#include "win32_debug.h"
#include "win32_error.h"

// A name and the routine that it stands for.
struct callRow {
    const char *Name;
    void *Call;
};

template <class Call>
static void *plain(Call *routine)
{
    return reinterpret_cast<void *>(routine);
}

static const callRow *statusCalls()
{
    static const callRow rows[] = {
        {"EnumProcessModules", plain(EnumProcessModules)},
        {"GetModuleInformation", plain(GetModuleInformation)},
        {"GetModuleFileNameExA", plain(GetModuleFileNameExA)},
        {nullptr, nullptr},
    };
    return rows;
}

static const callRow *debugCalls()
{
    static const callRow rows[] = {
        {"MiniDumpWriteDump", plain(MiniDumpWriteDump)},
        {"SymGetOptions", plain(SymGetOptions)},
        {"SymGetSearchPath", plain(SymGetSearchPath)},
        {"SymInitialize", plain(SymInitialize)},
        {"StackWalk", plain(StackWalk)},
        {"SymGetModuleInfo", plain(SymGetModuleInfo)},
        {"SymGetSymFromAddr", plain(SymGetSymFromAddr)},
        {"SymGetLineFromAddr", plain(SymGetLineFromAddr)},
        {"SymCleanup", plain(SymCleanup)},
        {"SymSetOptions", plain(SymSetOptions)},
        {"SymFunctionTableAccess", plain(SymFunctionTableAccess)},
        {"SymGetModuleBase", plain(SymGetModuleBase)},
        {"UnDecorateSymbolName", plain(UnDecorateSymbolName)},
        {nullptr, nullptr},
    };
    return rows;
}

// Their addresses are the handles: no slot of the table looks like them.
static constinit u64 statusLibrary = 0, debugLibrary = 0;

handle LoadLibraryA(const char *Name)
{
    if (Name != nullptr && strcasecmp(Name, "psapi.dll") == 0) return &statusLibrary;
    if (Name != nullptr && strcasecmp(Name, "dbghelp.dll") == 0 && Plat_Dwfl() != nullptr) return &debugLibrary;
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

void *GetProcAddress(handle Library, const char *Name)
{
    if (Library != &statusLibrary && Library != &debugLibrary) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    for (const callRow *row = Library == &statusLibrary ? statusCalls() : debugCalls(); row->Name != nullptr; ++row)
        if (strcmp(row->Name, Name) == 0) return row->Call;
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}

// ---- modules: a module's handle is its base address ----

struct moduleSpan {
    uintptr_t Base;
    size_t Size;
    uintptr_t Entry;
};

static moduleSpan spanOf(const dl_phdr_info *info)
{
    constexpr uintptr_t page = 4096;
    uintptr_t low = UINTPTR_MAX, high = 0;
    for (u32 i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr) &segment = info->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD) continue;
        if (segment.p_vaddr < low) low = segment.p_vaddr;
        if (segment.p_vaddr + segment.p_memsz > high) high = segment.p_vaddr + segment.p_memsz;
    }
    if (high == 0) return {};
    const uintptr_t base = info->dlpi_addr + (low & ~(page - 1));
    const uintptr_t end = (info->dlpi_addr + high + page - 1) & ~(page - 1);
    uintptr_t entry = 0;
    if (low == 0) // the file's own header is part of the image
        entry = reinterpret_cast<const ElfW(Ehdr) *>(info->dlpi_addr)->e_entry;
    return {base, end - base, entry == 0 ? 0 : info->dlpi_addr + entry};
}

static i32 fail(u32 error)
{
    SetLastError(error);
    return 0;
}

struct enumeration {
    handle *Modules;
    u32 Room, Count;
};

static int enumerate(dl_phdr_info *info, size_t, void *word)
{
    enumeration *const all = static_cast<enumeration *>(word);
    const uintptr_t base = spanOf(info).Base;
    if (base == 0) return 0;
    if (all->Count < all->Room) all->Modules[all->Count] = reinterpret_cast<handle>(base);
    ++all->Count;
    return 0;
}

i32 EnumProcessModules(handle Process, handle *Modules, u32 Size, u32 *Needed)
{
    if (Process != PLAT_INVALID_HANDLE) return fail(ERROR_INVALID_HANDLE);
    enumeration all = {Modules, static_cast<u32>(Size / sizeof(handle)), 0};
    dl_iterate_phdr(enumerate, &all);
    if (Needed != nullptr) *Needed = static_cast<u32>(all.Count * sizeof(handle));
    return 1;
}

struct search {
    uintptr_t Base; // looked for
    bool Found;
    moduleSpan Span;
    char Name[PLAT_PATH_ROOM];
};

static int compare(dl_phdr_info *info, size_t, void *word)
{
    search *const wanted = static_cast<search *>(word);
    const moduleSpan span = spanOf(info);
    if (span.Base != wanted->Base) return 0;
    wanted->Found = true;
    wanted->Span = span;
    snprintf(wanted->Name, sizeof wanted->Name, "%s", info->dlpi_name != nullptr ? info->dlpi_name : "");
    return 1;
}

// The module at a base address; false with the last error.
static bool findModule(handle process, handle module, search *out)
{
    out->Base = reinterpret_cast<uintptr_t>(module);
    out->Found = false;
    if (process == PLAT_INVALID_HANDLE && module != nullptr) dl_iterate_phdr(compare, out);
    if (!out->Found) SetLastError(ERROR_INVALID_HANDLE);
    return out->Found;
}

i32 GetModuleInformation(handle Process, handle Module, MODULEINFO *Out, u32 Size)
{
    if (Size < sizeof *Out) return fail(ERROR_INSUFFICIENT_BUFFER);
    search found;
    if (!findModule(Process, Module, &found)) return 0;
    *Out = {Module, static_cast<u32>(found.Span.Size), reinterpret_cast<void *>(found.Span.Entry)};
    return 1;
}

u32 GetModuleFileNameExA(handle Process, handle Module, char *Out, u32 Size)
{
    search found;
    if (Out == nullptr || Size == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    if (!findModule(Process, Module, &found)) return 0;
    if (found.Name[0] == '\0') { // the program itself
        const ssize_t length = readlink("/proc/self/exe", found.Name, sizeof found.Name - 1);
        found.Name[length > 0 ? length : 0] = '\0';
    }
    if (found.Name[0] == '\0') {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return 0;
    }
    snprintf(Out, Size, "%s", found.Name);
    return static_cast<u32>(strlen(Out));
}

i32 MiniDumpWriteDump(handle, u32, handle File, u32, const MINIDUMP_EXCEPTION_INFORMATION *, const void *, const void *)
{
    Plat_Object *const object = Plat_HandleAcquire(File, PLAT_KIND_STREAM);
    if (object == nullptr) return fail(ERROR_INVALID_HANDLE);
    Plat_HandleRelease(object);
    return fail(ERROR_CALL_NOT_IMPLEMENTED);
}
