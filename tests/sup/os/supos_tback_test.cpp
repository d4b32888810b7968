// Memory, registers and modules in a fault report, character by character.

#include "supos_trap_int.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "crt.h"
#include "plat_sys.h"
#include "win32_process.h"

namespace
{

// What a call writes to a descriptor.
template <class Call>
std::string written(Call &&call)
{
    const int file = memfd_create("report", MFD_CLOEXEC);
    EXPECT_GE(file, 0);
    call(file);
    std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(file);
    return text;
}

std::string dump(const void *start, size_t size, ptrdiff_t centre)
{
    const uintptr_t from = reinterpret_cast<uintptr_t>(start);
    return written([&](int file) { SupOS_DumpMemory(from, from + size, from + static_cast<uintptr_t>(centre), file); });
}

std::string addressText(const void *address)
{
    char text[32];
    snprintf(text, sizeof text, "0x%08llx", reinterpret_cast<unsigned long long>(address));
    return text;
}

} // namespace

TEST(SupOS_FdPrintf, WritesWhatFits)
{
    EXPECT_EQ(written([](int file) { SupOS_FdPrintf(file, "%s=%d\n", "a", 7); }), "a=7\n");
    const std::string longText(3000, 'x');
    EXPECT_EQ(written([&](int file) { SupOS_FdPrintf(file, "%s", longText.c_str()); }), std::string(1023, 'x'));
    EXPECT_EQ(written([](int file) { SupOS_FdPrintf(file, "%s", ""); }), "");
}

TEST(SupOS_DumpMemory, PrintsLinesOf32Bytes)
{
    alignas(64) u8 bytes[96];
    for (size_t i = 0; i < sizeof bytes; ++i) bytes[i] = static_cast<u8>(i);
    const std::string expected =
        " -00020 " + addressText(bytes) +
        "  00010203 04050607 08090a0b 0c0d0e0f 10111213 14151617 18191a1b 1c1d1e1f |................................|\n"
        " +00000 " +
        addressText(bytes + 32) +
        "  20212223 24252627 28292a2b 2c2d2e2f 30313233 34353637 38393a3b 3c3d3e3f "
        "|.!\"#$%&'()*+,-./0123456789:;<=>?|\n"
        " +00020 " +
        addressText(bytes + 64) +
        "  40414243 44454647 48494a4b 4c4d4e4f 50515253 54555657 58595a5b 5c5d5e5f "
        "|@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_|\n";
    EXPECT_EQ(dump(bytes, 96, 32), expected);
}

TEST(SupOS_DumpMemory, PadsAShortLine)
{
    const char bytes[] = "ab\x80\x7F\n cd";
    const std::string hex = " 6162807f 0a206364";
    EXPECT_EQ(dump(bytes, 8, 4), " -00004 " + addressText(bytes) + " " + hex + std::string(72 - hex.size(), ' ') +
                                     " |ab....cd" + std::string(24, ' ') + "|\n");
}

TEST(SupOS_DumpMemory, CountsEqualLines)
{
    struct {
        const char *Lines; // a letter stands for 32 bytes of it
        const char *Shown; // a digit for a count of lines that were passed over
    } const rows[] = {
        {"aaa", "aa"}, // the last line is printed in any case, and an open count is not
        {"aab", "ab"}, {"aabc", "a1bc"},     {"aaabc", "a2bc"},       {"abab", "abab"},
        {"a", "a"},    {"aa", "aa"},         {"abb", "abb"},          {"aaabb", "a2bb"},
        {"", ""},      {"aaaabbbc", "a3bc"}, {"aaaabbbcd", "a3b2cd"},
    };
    for (const auto &row : rows) {
        std::string bytes;
        for (const char *letter = row.Lines; *letter != '\0'; ++letter) bytes += std::string(32, *letter);
        std::string shown;
        const std::string text = dump(bytes.data(), bytes.size(), 0);
        for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
            const std::string line = text.substr(at, text.find('\n', at) - at);
            int count = 0;
            if (line.starts_with("  ") &&
                sscanf(line.c_str(), "             %d lines skipped, same as above", &count) == 1)
                shown += std::to_string(count);
            else
                shown += line.substr(line.size() - 2, 1);
        }
        EXPECT_EQ(shown, row.Shown) << row.Lines;
    }
}

TEST(SupOS_DumpMemory, SaysWhatCannotBeRead)
{
    void *const block = mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(block, MAP_FAILED);
    u8 *const pages = static_cast<u8 *>(block);
    ASSERT_EQ(mprotect(pages + 4096, 4096, PROT_NONE), 0);
    for (const u8 *start : {pages + 4096, pages + 4096 - 32})
        EXPECT_EQ(dump(start, 96, 32),
                  "  Invalid Address " + addressText(start) + "-" + addressText(start + 96) + "\n");
    EXPECT_NE(dump(pages + 4000, 96, 0), "");
    EXPECT_EQ(dump(pages, 0, 0), "");
    EXPECT_EQ(written([](int file) { SupOS_DumpMemory(0x100, 0xFF, 0, file); }), "");
    EXPECT_EQ(written([](int file) { SupOS_DumpMemory(UINTPTR_MAX - 0x1F, 0x40, 0, file); }), "") << "it wraps";
}

// Memory that goes away between the look and the read.
TEST(SupOS_DumpMemory, GuardsEachByte)
{
    static uintptr_t gone;
    static u32 calls;
    alignas(4096) static u8 bytes[32];
    memset(bytes, 'A', sizeof bytes);
    gone = reinterpret_cast<uintptr_t>(bytes + 5);
    Plat_Sys.ProcessVmReadv = [](pid_t pid, const struct iovec *to, unsigned long count, const struct iovec *from,
                                 unsigned long fromCount, unsigned long flags) -> ssize_t {
        if (++calls > 1 && reinterpret_cast<uintptr_t>(from->iov_base) == gone) {
            errno = EFAULT;
            return -1;
        }
        return process_vm_readv(pid, to, count, from, fromCount, flags);
    };
    EXPECT_EQ(dump(bytes, 32, 0), " +00000 " + addressText(bytes) +
                                      "  41414141 41..4141 41414141 41414141 41414141 41414141 41414141 41414141 "
                                      "|AAAAA.AAAAAAAAAAAAAAAAAAAAAAAAAA|\n");
}

TEST(SupOS_DumpRegisters, PrintsEachAndWhatItPointsAt)
{
    alignas(64) static u8 bytes[96];
    memset(bytes, 'x', sizeof bytes);
    CONTEXT context = {};
    context.Eax = 1;
    context.Ebx = 0x20;
    context.Ecx = reinterpret_cast<u64>(bytes + 32);
    context.Edx = 4;
    context.Esi = 5;
    context.Edi = 6;
    context.Eip = 7;
    context.Esp = 8;
    context.Ebp = UINT64_MAX;
    const std::string wide = addressText(bytes + 32);
    const std::string text = written([&](int file) { SupOS_DumpRegisters(file, &context); });
    std::string hex;
    for (int i = 0; i < 8; ++i) hex += " 78787878";
    const std::string characters(32, 'x');
    EXPECT_EQ(text, "EAX=0x00000001 EBX=0x00000020 ECX=" + wide +
                        " EDX=0x00000004 ESI=0x00000005\n"
                        "EDI=0x00000006 EIP=0x00000007 ESP=0x00000008 EBP=0xffffffffffffffff\n\n"
                        "EAX = 0x00000001\n"
                        "EBX = 0x00000020\n  Invalid Address 0x00000000-0x00000060\n"
                        "ECX = " +
                        wide + "\n -00020 " + addressText(bytes) + " " + hex + " |" + characters + "|\n +00020 " +
                        addressText(bytes + 64) + " " + hex + " |" + characters +
                        "|\n"
                        "EDX = 0x00000004\nESI = 0x00000005\nEDI = 0x00000006\nEIP = 0x00000007\nESP = 0x00000008\n"
                        "EBP = 0xffffffffffffffff\n");
}

// ---- modules ----

namespace
{

std::string moduleOf(uintptr_t address)
{
    char text[SUPOS_MODULE_ROOM];
    memset(text, 'z', sizeof text);
    SupOS_ModuleOfAddress(address, text);
    return text;
}

} // namespace

TEST(SupOS_ModuleOfAddress, NeedsAllThreeCalls)
{
    const std::string unknown = "unknown (install psapi.dll)";
    EXPECT_EQ(moduleOf(1), unknown);
    SupOS_LoadDiagnosticLibraries();
    const SupOS_DiagnosticCalls all = SupOS_Diagnostics;
    SupOS_Diagnostics.EnumProcessModules_ = nullptr;
    EXPECT_EQ(moduleOf(1), unknown);
    SupOS_Diagnostics = all;
    SupOS_Diagnostics.GetModuleInformation_ = nullptr;
    EXPECT_EQ(moduleOf(1), unknown);
    SupOS_Diagnostics = all;
    SupOS_Diagnostics.GetModuleFileNameExA_ = nullptr;
    EXPECT_EQ(moduleOf(1), unknown);
    SupOS_Diagnostics = all;
    EXPECT_EQ(moduleOf(1), "not found");
}

TEST(SupOS_ModuleOfAddress, NamesTheFile)
{
    SupOS_LoadDiagnosticLibraries();
    char self[4096] = "";
    ASSERT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    const std::string text = moduleOf(reinterpret_cast<uintptr_t>(&moduleOf));
    EXPECT_TRUE(text.starts_with(std::string(self) + " +0x")) << text;
}

TEST(SupOS_ModuleOfAddress, BothBordersLieOutside)
{
    SupOS_LoadDiagnosticLibraries();
    SupOS_Diagnostics.EnumProcessModules_ = [](handle, handle *modules, u32 size, u32 *needed) -> i32 {
        EXPECT_EQ(size, 1024 * sizeof(handle));
        for (uintptr_t i = 0; i < 3; ++i) modules[i] = reinterpret_cast<handle>(0x1000 * (i + 1));
        *needed = 3 * sizeof(handle);
        return 1;
    };
    SupOS_Diagnostics.GetModuleInformation_ = [](handle, handle module, MODULEINFO *out, u32) -> i32 {
        *out = {module, 0x1000, nullptr};
        return module != reinterpret_cast<handle>(0x2000);
    };
    SupOS_Diagnostics.GetModuleFileNameExA_ = [](handle, handle module, char *name, u32) -> u32 {
        strcpy(name, module == reinterpret_cast<handle>(0x1000) ? "first" : "third");
        return 5;
    };
    EXPECT_EQ(moduleOf(0x1000), "not found");
    EXPECT_EQ(moduleOf(0x1001), "first +0x1");
    EXPECT_EQ(moduleOf(0x1FFF), "first +0xfff");
    EXPECT_EQ(moduleOf(0x2000), "not found");
    EXPECT_EQ(moduleOf(0x2001), "not found") << "nothing is known of that one";
    EXPECT_EQ(moduleOf(0x3ABC), "third +0xabc");
    EXPECT_EQ(moduleOf(0x4000), "not found");

    SupOS_Diagnostics.GetModuleFileNameExA_ = [](handle, handle, char *, u32) -> u32 { return 0; };
    EXPECT_EQ(moduleOf(0x1001), "not found");
    SupOS_Diagnostics.EnumProcessModules_ = [](handle, handle *, u32, u32 *) -> i32 { return 0; };
    EXPECT_EQ(moduleOf(0x1001), "not found");
}
