// Modules, symbols, lines and the stack.

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "fault_makers.h"
#include "plat_faults.h"
#include "plat_guard.h"
#include "win32_debug.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_process.h"

namespace
{

const handle process = PLAT_INVALID_HANDLE;

// A symbol with room for its name.
struct Named {
    IMAGEHLP_SYMBOL Symbol;
    char Tail[512];

    Named() : Symbol(), Tail() { Symbol.MaxNameLength = sizeof Tail; }
};

std::string nameAt(u64 address, u64 *displacement = nullptr)
{
    Named named;
    return SymGetSymFromAddr(process, address, displacement, &named.Symbol) == 1 ? named.Symbol.Name : "";
}

// Frames of the calling thread, as addresses.
std::vector<u64> walk(CONTEXT *context)
{
    std::vector<u64> frames;
    STACKFRAME frame = {};
    while (
        StackWalk(0x14C, process, nullptr, &frame, context, nullptr, SymFunctionTableAccess, SymGetModuleBase, nullptr))
        frames.push_back(frame.AddrPC.Offset);
    return frames;
}

bool symbolsAreThere()
{
    return LoadLibraryA("dbghelp.dll") != nullptr;
}

struct Symbols : testing::Test {
    void SetUp() override
    {
        if (!symbolsAreThere()) GTEST_SKIP() << "libdw.so.1 is not installed";
        ASSERT_EQ(SymInitialize(process, ".;there", 1), 1);
    }

    void TearDown() override
    {
        if (symbolsAreThere()) SymCleanup(process);
    }
};

__attribute__((noinline)) u64 hereInside()
{
    return reinterpret_cast<u64>(__builtin_return_address(0));
}

} // namespace

// C names, so that a frame's name is the whole of it.
extern "C" __attribute__((noinline)) void symbolTestInner(std::vector<u64> *Frames)
{
    *Frames = walk(nullptr);
    asm volatile("");
}

extern "C" __attribute__((noinline)) void symbolTestOuter(std::vector<u64> *Frames)
{
    symbolTestInner(Frames);
    asm volatile("");
}

TEST(LoadLibraryA, KnowsTwoLibraries)
{
    const handle status = LoadLibraryA("psapi.dll");
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(LoadLibraryA("PSAPI.DLL"), status);
    EXPECT_EQ(LoadLibraryA("kernel32.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126u);
    EXPECT_EQ(LoadLibraryA(nullptr), nullptr);
    for (const char *name : {"EnumProcessModules", "GetModuleInformation", "GetModuleFileNameExA"})
        EXPECT_NE(GetProcAddress(status, name), nullptr) << name;
    EXPECT_EQ(GetProcAddress(status, "StackWalk"), nullptr);
    EXPECT_EQ(GetLastError(), 127u);
    EXPECT_EQ(GetProcAddress(nullptr, "StackWalk"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

    const handle debug = LoadLibraryA("dbghelp.dll");
    if (debug == nullptr) GTEST_SKIP() << "libdw.so.1 is not installed";
    for (const char *name : {"MiniDumpWriteDump", "SymGetOptions", "SymGetSearchPath", "SymInitialize", "StackWalk",
                             "SymGetModuleInfo", "SymGetSymFromAddr", "SymGetLineFromAddr", "SymCleanup",
                             "SymSetOptions", "SymFunctionTableAccess", "SymGetModuleBase", "UnDecorateSymbolName"})
        EXPECT_NE(GetProcAddress(debug, name), nullptr) << name;
    EXPECT_EQ(GetProcAddress(debug, "EnumProcessModules"), nullptr);
}

TEST(LoadLibraryA, WithoutLibdwThereAreNoSymbols)
{
    Plat_Sys.Dlopen = [](const char *, int) -> void * { return nullptr; };
    EXPECT_EQ(LoadLibraryA("dbghelp.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126u);
    EXPECT_EQ(SymInitialize(process, "", 1), 0);
    EXPECT_NE(LoadLibraryA("psapi.dll"), nullptr);
    if (dlopen("libdw.so.1", RTLD_NOW) == nullptr) return;
    Plat_Sys.Dlopen = dlopen; // it comes to be there
    EXPECT_NE(LoadLibraryA("dbghelp.dll"), nullptr);
}

TEST(LoadLibraryA, RefusesALibraryThatMissesACall)
{
    Plat_Sys.Dlopen = [](const char *, int flags) { return dlopen("libc.so.6", flags); };
    EXPECT_EQ(LoadLibraryA("dbghelp.dll"), nullptr);
}

TEST(EnumProcessModules, FindsTheModuleOfAnAddress)
{
    handle modules[256];
    u32 needed = 0;
    ASSERT_EQ(EnumProcessModules(process, modules, sizeof modules, &needed), 1);
    const size_t count = needed / sizeof(handle);
    ASSERT_GT(count, 3u);
    ASSERT_LE(count, std::size(modules));

    const uintptr_t here = reinterpret_cast<uintptr_t>(&nameAt);
    const uintptr_t there = reinterpret_cast<uintptr_t>(dlsym(RTLD_DEFAULT, "tks_Exit"));
    std::string programName, sorrelName;
    for (size_t i = 0; i < count; ++i) {
        MODULEINFO info = {};
        char name[260] = "";
        ASSERT_EQ(GetModuleInformation(process, modules[i], &info, sizeof info), 1);
        EXPECT_EQ(info.lpBaseOfDll, modules[i]);
        ASSERT_NE(GetModuleFileNameExA(process, modules[i], name, sizeof name), 0u);
        const uintptr_t base = reinterpret_cast<uintptr_t>(info.lpBaseOfDll);
        if (here - base < info.SizeOfImage) {
            EXPECT_EQ(i, 0u) << "the program comes first";
            programName = name;
            EXPECT_GT(reinterpret_cast<uintptr_t>(info.EntryPoint), base);
        }
        if (there - base < info.SizeOfImage) sorrelName = name;
    }
    char self[4096] = "";
    ASSERT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    EXPECT_EQ(programName, self);
    EXPECT_NE(sorrelName.find("libsorrel.so"), std::string::npos);
}

TEST(EnumProcessModules, SaysWhatItCannot)
{
    handle modules[2];
    u32 needed = 0;
    EXPECT_EQ(EnumProcessModules(process, modules, sizeof modules, &needed), 1);
    EXPECT_GT(needed, sizeof modules);
    EXPECT_EQ(EnumProcessModules(nullptr, modules, sizeof modules, &needed), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

    MODULEINFO info;
    EXPECT_EQ(GetModuleInformation(process, &info, &info, sizeof info), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(GetModuleInformation(process, modules[0], &info, 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);

    char name[6];
    EXPECT_EQ(GetModuleFileNameExA(process, modules[0], name, sizeof name), 5u);
    EXPECT_EQ(name[5], '\0');
    EXPECT_EQ(GetModuleFileNameExA(process, modules[0], name, 0), 0u);
    EXPECT_EQ(GetModuleFileNameExA(process, nullptr, name, sizeof name), 0u);
}

TEST(MiniDumpWriteDump, IsRefused)
{
    EXPECT_EQ(MiniDumpWriteDump(process, 1, PLAT_INVALID_HANDLE, 2, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 6u);
    const handle file = CreateFileA("NUL", GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0x80, nullptr);
    EXPECT_EQ(MiniDumpWriteDump(process, 1, file, 2, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 120u);
    CloseHandle(file);
}

TEST(SymInitialize, NoSessionNoAnswers)
{
    IMAGEHLP_LINE line = {};
    IMAGEHLP_MODULE module = {};
    Named named;
    char path[8];
    STACKFRAME frame = {};
    const u64 here = reinterpret_cast<u64>(&nameAt);
    EXPECT_EQ(SymGetSymFromAddr(process, here, nullptr, &named.Symbol), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(SymGetLineFromAddr(process, here, nullptr, &line), 0);
    EXPECT_EQ(SymGetModuleInfo(process, here, &module), 0);
    EXPECT_EQ(SymGetSearchPath(process, path, sizeof path), 0);
    EXPECT_EQ(StackWalk(0x14C, process, nullptr, &frame, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(SymCleanup(process), 0);
    EXPECT_EQ(SymInitialize(nullptr, "", 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    if (!symbolsAreThere()) return;
    Plat_Sys.Malloc = [](size_t) -> void * { return nullptr; };
    EXPECT_EQ(SymInitialize(process, "", 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST_F(Symbols, KeepsItsPath)
{
    char path[64], cut[4];
    EXPECT_EQ(SymGetSearchPath(process, path, sizeof path), 1);
    EXPECT_STREQ(path, ".;there");
    EXPECT_EQ(SymGetSearchPath(process, cut, sizeof cut), 1);
    EXPECT_STREQ(cut, ".;t");
    EXPECT_EQ(SymGetSearchPath(process, cut, 0), 0);
    ASSERT_EQ(SymInitialize(process, "again", 1), 1);
    EXPECT_EQ(SymGetSearchPath(process, path, sizeof path), 1);
    EXPECT_STREQ(path, "again");
}

TEST_F(Symbols, NamesAnAddress)
{
    u64 displacement = 99;
    EXPECT_EQ(nameAt(reinterpret_cast<u64>(&symbolTestInner), &displacement), "symbolTestInner");
    EXPECT_EQ(displacement, 0u);
    EXPECT_EQ(nameAt(reinterpret_cast<u64>(&symbolTestInner) + 3, &displacement), "symbolTestInner");
    EXPECT_EQ(displacement, 3u);
    EXPECT_NE(nameAt(reinterpret_cast<u64>(&nameAt)).find("nameAt("), std::string::npos) << "plain names at first";

    const u32 before = SymGetOptions();
    EXPECT_EQ(before, SYMOPT_UNDNAME);
    EXPECT_EQ(SymSetOptions(before & ~SYMOPT_UNDNAME), 0u);
    EXPECT_EQ(nameAt(reinterpret_cast<u64>(&nameAt)).find("nameAt("), std::string::npos);
    SymSetOptions(before);

    EXPECT_EQ(nameAt(16), "");
    EXPECT_EQ(GetLastError(), ERROR_INVALID_ADDRESS);

    Named small;
    small.Symbol.MaxNameLength = 5;
    EXPECT_EQ(SymGetSymFromAddr(process, reinterpret_cast<u64>(&symbolTestInner), nullptr, &small.Symbol), 1);
    EXPECT_STREQ(small.Symbol.Name, "symb");
}

TEST_F(Symbols, FindsALine)
{
    const u64 here = hereInside();
    const u32 lineHere = __LINE__ - 1;
    IMAGEHLP_LINE line = {};
    u32 displacement = 0;
    ASSERT_EQ(SymGetLineFromAddr(process, here - 1, &displacement, &line), 1);
    EXPECT_EQ(line.LineNumber, lineHere);
    EXPECT_NE(std::string(line.FileName).find("win32_symbol_test.cpp"), std::string::npos);
    EXPECT_EQ(line.Address + displacement, here - 1);
    EXPECT_EQ(SymGetLineFromAddr(process, 16, &displacement, &line), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_ADDRESS);
}

TEST_F(Symbols, DescribesAModule)
{
    IMAGEHLP_MODULE module = {};
    ASSERT_EQ(SymGetModuleInfo(process, reinterpret_cast<u64>(&symbolTestInner), &module), 1);
    EXPECT_STREQ(module.ModuleName, "platform_test");
    EXPECT_NE(std::string(module.ImageName).find("/platform_test"), std::string::npos);
    EXPECT_EQ(module.SymType, 3) << "this program has lines";
    EXPECT_GT(module.TimeDateStamp, 1600000000u);
    EXPECT_LE(module.BaseOfImage, reinterpret_cast<u64>(&symbolTestInner));
    EXPECT_GT(module.BaseOfImage + module.ImageSize, reinterpret_cast<u64>(&symbolTestInner));
    EXPECT_EQ(SymGetModuleInfo(process, 16, &module), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_ADDRESS);
}

TEST_F(Symbols, WalksThePresentStack)
{
    std::vector<u64> frames;
    symbolTestOuter(&frames);
    ASSERT_GT(frames.size(), 4u);
    size_t inner = 0;
    while (inner < frames.size() && nameAt(frames[inner]) != "symbolTestInner") ++inner;
    ASSERT_LT(inner, 2u) << "the caller of the walk comes first";
    EXPECT_EQ(nameAt(frames[inner + 1]), "symbolTestOuter");
    EXPECT_EQ(GetLastError(), ERROR_INVALID_ADDRESS);
}

TEST_F(Symbols, LinksTheFrames)
{
    STACKFRAME frame = {};
    u64 expected = 0;
    u32 count = 0;
    for (; StackWalk(0x14C, process, nullptr, &frame, nullptr, nullptr, nullptr, nullptr, nullptr); ++count) {
        EXPECT_TRUE(count == 0 || frame.AddrPC.Offset == expected) << count;
        expected = frame.AddrReturn.Offset;
        EXPECT_EQ(frame.AddrPC.Mode, 3);
    }
    EXPECT_GT(count, 2u);
    EXPECT_EQ(expected, 0u);
    EXPECT_EQ(StackWalk(0x14C, process, nullptr, &frame, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

// A context from elsewhere is its own first frame, then its frame pointers count as far as they can be read.
TEST_F(Symbols, FollowsAContextFromElsewhere)
{
    u64 chain[2][2] = {{reinterpret_cast<u64>(chain[1]), 0x2222}, {0, 0x3333}};
    CONTEXT context = {};
    context.Eip = 0x1111;
    context.Ebp = reinterpret_cast<u64>(chain[0]);
    EXPECT_EQ(walk(&context), (std::vector<u64>{0x1111, 0x2222, 0x3333}));
    context.Ebp = 8;
    EXPECT_EQ(walk(&context), (std::vector<u64>{0x1111}));
    context = {};
    EXPECT_EQ(walk(&context), (std::vector<u64>{0}));
}

TEST_F(Symbols, BelongToTheirThread)
{
    std::thread([] {
        EXPECT_EQ(nameAt(reinterpret_cast<u64>(&symbolTestInner)), "");
        EXPECT_EQ(SymInitialize(process, "", 1), 1);
        EXPECT_EQ(nameAt(reinterpret_cast<u64>(&symbolTestInner)), "symbolTestInner");
        EXPECT_EQ(SymCleanup(process), 1);
    }).join();
    EXPECT_EQ(nameAt(reinterpret_cast<u64>(&symbolTestInner)), "symbolTestInner");
}

TEST(StackWalk, BeginsAtTheFaultInAFilter)
{
    if (!symbolsAreThere()) GTEST_SKIP() << "libdw.so.1 is not installed";
    EXPECT_EXIT(
        {
            Make_PlainFaults();
            SetUnhandledExceptionFilter([](EXCEPTION_POINTERS *pointers) -> u32 {
                SymInitialize(process, "", 1);
                std::string text;
                for (const u64 pc : walk(pointers->ContextRecord)) text += nameAt(pc) + "|";
                fprintf(stderr, "%s\n", text.c_str());
                _exit(text.starts_with("Make_Write(") ? 6 : 7);
            });
            Make_Write(0);
        },
        testing::ExitedWithCode(6), "Make_Write.*main");
}

TEST(UnDecorateSymbolName, GivesThePlainName)
{
    char out[64], cut[4];
    EXPECT_EQ(UnDecorateSymbolName("_ZN3abc3defEi", out, sizeof out, 0), 13u);
    EXPECT_STREQ(out, "abc::def(int)");
    EXPECT_EQ(UnDecorateSymbolName("plain", out, sizeof out, 0x1000), 5u);
    EXPECT_STREQ(out, "plain");
    EXPECT_EQ(UnDecorateSymbolName("plain", cut, sizeof cut, 0), 3u);
    EXPECT_EQ(UnDecorateSymbolName(nullptr, out, sizeof out, 0), 0u);
}
