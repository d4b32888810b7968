// Memory, registers and modules in a fault report.

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "crt.h"
#include "plat_guard.h"
#include "supos_trap_int.h"
#include "win32_process.h"

void SupOS_FdPrintf(i32 Fd, const char *Format, ...)
{
    char text[SUPOS_REPORT_ROOM];
    va_list arguments;
    va_start(arguments, Format);
    vsnprintf(text, sizeof text, Format, arguments);
    va_end(arguments);
    _write(Fd, text, static_cast<u32>(strlen(text)));
}

static unsigned long long wide(uintptr_t value)
{
    return value;
}

// ---- modules ----

void SupOS_ModuleOfAddress(uintptr_t Address, char *Text)
{
    constexpr u32 mostModules = 1024;
    constexpr u32 mostName = 260;

    const SupOS_DiagnosticCalls &calls = SupOS_Diagnostics;
    snprintf(Text, SUPOS_MODULE_ROOM, "not found");
    if (calls.EnumProcessModules_ == nullptr || calls.GetModuleInformation_ == nullptr ||
        calls.GetModuleFileNameExA_ == nullptr) {
        snprintf(Text, SUPOS_MODULE_ROOM, "unknown (install psapi.dll)");
        return;
    }
    handle modules[mostModules];
    u32 needed = 0;
    if (!calls.EnumProcessModules_(GetCurrentProcess(), modules, sizeof modules, &needed)) return;
    const u32 listed = static_cast<u32>(needed / sizeof(handle));
    const u32 count = listed < mostModules ? listed : mostModules;
    for (u32 i = 0; i < count; ++i) {
        MODULEINFO module;
        char name[mostName + 1];
        if (!calls.GetModuleInformation_(GetCurrentProcess(), modules[i], &module, sizeof module)) continue;
        const uintptr_t base = reinterpret_cast<uintptr_t>(module.lpBaseOfDll);
        if (Address <= base || Address >= base + module.SizeOfImage) continue; // required: the base itself is outside
        if (calls.GetModuleFileNameExA_(GetCurrentProcess(), modules[i], name, sizeof name) == 0) continue;
        snprintf(Text, SUPOS_MODULE_ROOM, "%s +0x%llx", name, wide(Address - base));
        return;
    }
}

// ---- memory ----

constexpr u32 lineBytes = 32;
constexpr u32 groupBytes = 4;
constexpr u32 hexWidth = lineBytes * 2 + lineBytes / groupBytes; // 72

// A line of memory as it grows, and what it is compared with.
struct MemoryLine {
    uintptr_t Address;
    u32 Count; // bytes so far; 0: no line is pending
    char Hex[hexWidth + 1];
    char Text[lineBytes + 1];
};

static void writeLine(const MemoryLine &line, uintptr_t centre, i32 fd)
{
    char offset[24];
    if (line.Address < centre)
        snprintf(offset, sizeof offset, "-%05llx", wide(centre - line.Address));
    else
        snprintf(offset, sizeof offset, "+%05llx", wide(line.Address - centre));
    SupOS_FdPrintf(fd, " %s 0x%08llx %-72s |%-32s|\n", offset, wide(line.Address), line.Hex, line.Text);
}

static void addByte(MemoryLine *line, uintptr_t address)
{
    char *hex = line->Hex + strlen(line->Hex);
    if (line->Count % groupBytes == 0) *hex++ = ' ';
    u8 byte;
    if (plat_safe_read(&byte, reinterpret_cast<const void *>(address), 1)) {
        snprintf(hex, 3, "%02x", byte);
        line->Text[line->Count] = byte < 0x80 && isprint(byte) && !isspace(byte) ? static_cast<char>(byte) : '.';
    } else {
        memcpy(hex, "..", 3);
        line->Text[line->Count] = '.';
    }
    line->Text[++line->Count] = '\0';
}

void SupOS_DumpMemory(uintptr_t Start, uintptr_t End, uintptr_t Centre, i32 Fd)
{
    if (End < Start) return;
    if (IsBadReadPtr(reinterpret_cast<const void *>(Start), End - Start)) {
        SupOS_FdPrintf(Fd, "  Invalid Address 0x%08llx-0x%08llx\n", wide(Start), wide(End));
        return;
    }
    MemoryLine line = {};
    char printed[hexWidth + 1] = ""; // hex text of the line printed last
    u32 skipped = 0;
    for (uintptr_t at = Start; at < End; ++at) {
        if ((at - Start) % lineBytes == 0) {
            if (line.Count != 0 && memcmp(line.Hex, printed, hexWidth) == 0) {
                ++skipped;
            } else if (line.Count != 0) {
                if (skipped != 0)
                    SupOS_FdPrintf(Fd, "             %d lines skipped, same as above\n", static_cast<i32>(skipped));
                skipped = 0;
                writeLine(line, Centre, Fd);
                memcpy(printed, line.Hex, sizeof printed);
            }
            line = {};
            line.Address = at;
        }
        addByte(&line, at);
    }
    if (line.Count != 0) writeLine(line, Centre, Fd); // required: whatever it holds; an open count is not told
}

// ---- registers ----

struct RegisterRow {
    const char *Name;
    u64 CONTEXT::*Field;
};

static constexpr RegisterRow registerRows[] = {
    {"EAX", &CONTEXT::Eax}, {"EBX", &CONTEXT::Ebx}, {"ECX", &CONTEXT::Ecx},
    {"EDX", &CONTEXT::Edx}, {"ESI", &CONTEXT::Esi}, {"EDI", &CONTEXT::Edi},
    {"EIP", &CONTEXT::Eip}, {"ESP", &CONTEXT::Esp}, {"EBP", &CONTEXT::Ebp},
};

void SupOS_DumpRegisters(i32 Fd, const CONTEXT *Context)
{
    constexpr u64 below = 0x20, above = 0x40;

    SupOS_FdPrintf(Fd, "EAX=0x%08llx EBX=0x%08llx ECX=0x%08llx EDX=0x%08llx ESI=0x%08llx\n", wide(Context->Eax),
                   wide(Context->Ebx), wide(Context->Ecx), wide(Context->Edx), wide(Context->Esi));
    SupOS_FdPrintf(Fd, "EDI=0x%08llx EIP=0x%08llx ESP=0x%08llx EBP=0x%08llx\n\n", wide(Context->Edi),
                   wide(Context->Eip), wide(Context->Esp), wide(Context->Ebp));
    for (const RegisterRow &row : registerRows) {
        const u64 value = Context->*row.Field;
        SupOS_FdPrintf(Fd, "%s = 0x%08llx\n", row.Name, wide(value));
        SupOS_DumpMemory(value - below, value + above, value, Fd); // a range that wraps prints nothing
    }
}
