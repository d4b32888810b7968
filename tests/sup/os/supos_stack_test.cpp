// The walk through the stack and the stash of its frames, with the debug-help library as it is and in every way broken.

#include "supos_trap_int.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "capture.h"
#include "fault_makers.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "win32_error.h"
#include "win32_process.h"

namespace
{

std::string walkTo(CONTEXT *context)
{
    const int file = memfd_create("report", MFD_CLOEXEC);
    EXPECT_GE(file, 0);
    SupOS_WalkStack(file, context);
    std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(file);
    return text;
}

// A debug-help library of our own, that knows what a test says.
struct Fake {
    u32 Frames; // that a walk has
    u32 EndError; // behind the last one
    u32 ZeroAt; // frame whose program counter is 0; all ones: none
    u32 WalkCalls, CleanupCalls, UndecorateCalls;
    bool Symbols, Lines, Modules;
    i32 SymbolType;
    std::string InitPath;
    u32 Options;
    STACKFRAME First; // as the first call found it
};

Fake fake;

i32 fakeWalk(u32 machine, handle process, handle, STACKFRAME *frame, CONTEXT *, void *, void *(*)(handle, u64),
             u64 (*)(handle, u64), void *)
{
    EXPECT_EQ(machine, 0x14Cu);
    EXPECT_EQ(process, PLAT_INVALID_HANDLE);
    if (fake.WalkCalls == 0) fake.First = *frame;
    if (fake.WalkCalls == fake.Frames) {
        SetLastError(fake.EndError);
        return 0;
    }
    const u64 number = fake.WalkCalls++;
    frame->AddrPC.Offset = number == fake.ZeroAt ? 0 : 0x1000 + number;
    frame->AddrReturn.Offset = 0x1001 + number;
    frame->AddrFrame.Offset = 0x8000 + number;
    return 1;
}

i32 fakeSymbol(handle, u64 address, u64 *displacement, IMAGEHLP_SYMBOL *symbol)
{
    EXPECT_EQ(symbol->SizeOfStruct, 0x58u);
    EXPECT_EQ(symbol->MaxNameLength, 0x200u);
    if (!fake.Symbols) return 0;
    *displacement = 0x1F;
    snprintf(symbol->Name, 0x200, "routine_with_a_name_of_more_than_31_%llx", static_cast<unsigned long long>(address));
    return 1;
}

i32 fakeLine(handle, u64 address, u32 *displacement, IMAGEHLP_LINE *line)
{
    EXPECT_EQ(line->SizeOfStruct, 0x14u);
    if (!fake.Lines || address % 0x1000 == 1) {
        SetLastError(fake.Lines ? ERROR_ACCESS_DENIED : ERROR_INVALID_ADDRESS);
        return 0;
    }
    *displacement = 3;
    line->LineNumber = 42;
    line->FileName = "source.c";
    return 1;
}

i32 fakeModule(handle, u64, IMAGEHLP_MODULE *module)
{
    EXPECT_EQ(module->SizeOfStruct, 0x23Cu);
    if (!fake.Modules) return 0;
    module->BaseOfImage = 0x400000;
    module->TimeDateStamp = 86400;
    module->SymType = fake.SymbolType;
    strcpy(module->ModuleName, "velaas");
    strcpy(module->ImageName, "image");
    strcpy(module->LoadedImageName, "loaded");
    return 1;
}

struct WalkCase : testing::Test {
    CONTEXT Context = {};

    void SetUp() override
    {
        setenv("TZ", "UTC", 1);
        for (const char *name : {"SystemRoot", "_NT_SYMBOL_PATH", "_NT_ALTERNATE_SYMBOL_PATH"}) unsetenv(name);
        fake = {};
        fake.Frames = 2;
        fake.EndError = ERROR_INVALID_ADDRESS;
        fake.ZeroAt = UINT32_MAX;
        fake.Symbols = fake.Lines = fake.Modules = true;
        fake.SymbolType = 3;
        SupOS_LoadDiagnosticLibraries();
        SupOS_DiagnosticCalls &calls = SupOS_Diagnostics;
        calls.DebugLibrary = PLAT_INVALID_HANDLE;
        calls.SymGetOptions_ = [] { return 2u; };
        calls.SymSetOptions_ = [](u32 options) { return fake.Options = options; };
        calls.SymInitialize_ = [](handle, const char *path, i32 invade) {
            EXPECT_NE(invade, 0);
            fake.InitPath = path;
            return 1;
        };
        calls.SymGetSearchPath_ = [](handle, char *out, u32 size) {
            EXPECT_EQ(size, 0x200u);
            strcpy(out, "the path");
            return 1;
        };
        calls.StackWalk_ = fakeWalk;
        calls.SymGetSymFromAddr_ = fakeSymbol;
        calls.SymGetLineFromAddr_ = fakeLine;
        calls.SymGetModuleInfo_ = fakeModule;
        calls.SymCleanup_ = [](handle) {
            ++fake.CleanupCalls;
            return 1;
        };
        calls.UnDecorateSymbolName_ = [](const char *, char *, u32 size, u32 flags) {
            EXPECT_EQ(size, 1024u);
            EXPECT_EQ(flags, fake.UndecorateCalls++ % 2 == 0 ? 0x1000u : 0u);
            return 0u;
        };
    }

    // The report behind the registers.
    std::string stackText()
    {
        const std::string text = walkTo(&Context);
        const size_t at = text.find("\n------- Stack Trace ------\n");
        EXPECT_NE(at, std::string::npos) << text;
        return at == std::string::npos ? text : text.substr(at);
    }
};

SupOS_StackStash *stashNow()
{
    return SupOS_StashDumpCreate();
}

} // namespace

TEST_F(WalkCase, WritesEachFrame)
{
    const std::string module = "(velaas 0x00400000 Fri Jan  2 00:00:00 1970)\n"
                               "Image name: image    File Name: loaded    Symbol Type: PDB\n\n\n";
    EXPECT_EQ(stackText(), "\n------- Stack Trace ------\nSymbolPath=the path\n"
                           "Symbol Name:  routine_with_a_name_of_more_than_31_1000 \n "
                           "LINE:0x001f (source.c:42+3) \n0x00001000 0x00001001 0x00008000 " +
                               module +
                               "Symbol Name:  routine_with_a_name_of_more_than_31_1001 \n "
                               "LINE:0x001f (unknown:0+0) \n0x00001001 0x00001002 0x00008001 " +
                               module);
    EXPECT_EQ(fake.Options, 0x12u);
    EXPECT_EQ(fake.UndecorateCalls, 4u);
    EXPECT_EQ(fake.CleanupCalls, 1u);

    const SupOS_StackStash *const stash = stashNow();
    EXPECT_EQ(stash->Reserved, 0u);
    EXPECT_EQ(stash->Kind, 0u);
    EXPECT_EQ(stash->Capacity, 64);
    EXPECT_EQ(stash->FrameCount, 2);
    EXPECT_EQ(stash->Valid, 1);
    EXPECT_STREQ(stash->NoText, "");
    for (u32 i = 0; i < 64; ++i) {
        ASSERT_EQ(stash->Frames[i], &stash->Entries[i]);
        EXPECT_EQ(stash->Entries[i].Name, stash->Entries[i].NameText);
        EXPECT_EQ(stash->Entries[i].Module, stash->NoText);
        EXPECT_EQ(stash->Entries[i].Address, i < 2 ? 0x1000 + i : 0);
    }
    EXPECT_STREQ(stash->Entries[0].Name, "routine_with_a_name_of_more_tha");
    EXPECT_STREQ(stash->Entries[2].Name, "");
}

TEST_F(WalkCase, SeedsTheFirstFrame)
{
    Context.Eip = 0x11;
    Context.Ebp = 0x22;
    Context.Esp = 0x33;
    walkTo(&Context);
    EXPECT_EQ(fake.First.AddrPC.Offset, 0x11u);
    EXPECT_EQ(fake.First.AddrFrame.Offset, 0x22u);
    EXPECT_EQ(fake.First.AddrStack.Offset, 0x33u);
    for (const ADDRESS &address : {fake.First.AddrPC, fake.First.AddrFrame, fake.First.AddrStack})
        EXPECT_EQ(address.Mode, 3);

    fake.WalkCalls = 0;
    EXPECT_EQ(walkTo(nullptr).find("Register Information"), std::string::npos);
    EXPECT_EQ(fake.First.AddrPC.Mode, 0);
}

TEST_F(WalkCase, BuildsTheSymbolPath)
{
    walkTo(&Context);
    EXPECT_EQ(fake.InitPath, ".");
    setenv("_NT_ALTERNATE_SYMBOL_PATH", "other", 1);
    walkTo(&Context);
    EXPECT_EQ(fake.InitPath, ".;other");
    setenv("SystemRoot", "c:\\system", 1);
    setenv("_NT_SYMBOL_PATH", "", 1);
    walkTo(&Context);
    EXPECT_EQ(fake.InitPath, ".;c:\\system\\symbols;;other");
    setenv("_NT_SYMBOL_PATH", std::string(4000, 's').c_str(), 1);
    walkTo(&Context);
    EXPECT_EQ(fake.InitPath.size(), 1023u) << "held to its room";
}

TEST_F(WalkCase, AFailedLookUpShowsTheNameBefore)
{
    fake.Frames = 1;
    fake.Symbols = fake.Lines = fake.Modules = false;
    EXPECT_EQ(stackText(), "\n------- Stack Trace ------\nSymbolPath=the path\nSymbol Name:   \n "
                           "LINE:0x0000 (unknown:0+0) \n00 0x00001000 0x00001001 0x00008000\n");
    EXPECT_EQ(stashNow()->Entries[0].Address, 0u);

    fake.WalkCalls = 0;
    fake.Frames = 2;
    SupOS_Diagnostics.SymGetSymFromAddr_ = [](handle process, u64 address, u64 *displacement, IMAGEHLP_SYMBOL *symbol) {
        fake.Symbols = address == 0x1000;
        return fakeSymbol(process, address, displacement, symbol);
    };
    const std::string text = stackText();
    const std::string name = "Symbol Name:  routine_with_a_name_of_more_than_31_1000 \n ";
    EXPECT_NE(text.find(name, text.find(name) + 1), std::string::npos) << "the second frame repeats the first one's";
}

TEST_F(WalkCase, NamesTheKindOfSymbols)
{
    const char *const texts[] = {"-nosymbols-", "COFF", "CV", "PDB", "-exported-", "-deferred-", "SYM", "symtype=7"};
    fake.Frames = 1;
    for (i32 type = 0; type < 8; ++type) {
        fake.SymbolType = type;
        fake.WalkCalls = 0;
        EXPECT_NE(stackText().find(std::string("Symbol Type: ") + texts[type] + "\n\n\n"), std::string::npos) << type;
    }
    fake.SymbolType = -1;
    fake.WalkCalls = 0;
    EXPECT_NE(stackText().find("Symbol Type: symtype=-1\n"), std::string::npos);
}

// The report has 65 frames, the stash 64 and one to spare.
TEST_F(WalkCase, EndsBehindFrame64)
{
    fake.Frames = 1000;
    const std::string text = stackText();
    EXPECT_EQ(fake.WalkCalls, 65u);
    EXPECT_NE(text.find("_1040 \n"), std::string::npos);
    EXPECT_EQ(text.find("_1041 \n"), std::string::npos);
    const SupOS_StackStash *const stash = stashNow();
    EXPECT_EQ(stash->FrameCount, 65);
    EXPECT_EQ(stash->Valid, 1);
    EXPECT_EQ(stash->Entries[63].Address, 0x103Fu);
}

TEST_F(WalkCase, EndsOfTheStack)
{
    for (const u32 end : {0x1E7u, 0u, 0x3E6u}) {
        fake.WalkCalls = 0;
        fake.EndError = end;
        EXPECT_EQ(stackText().find("Problem"), std::string::npos);
        EXPECT_EQ(stashNow()->FrameCount, 2);
        SupOS_StashDumpUsed();
    }
    fake.WalkCalls = 0;
    fake.ZeroAt = 1;
    EXPECT_TRUE(stackText().ends_with("\n\n\nCan't get PC\n"));
    EXPECT_EQ(stashNow()->FrameCount, 1);
    EXPECT_EQ(stashNow()->Valid, 1);
}

TEST_F(WalkCase, AnotherErrorLeavesTheStashNotValid)
{
    fake.EndError = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(stackText().ends_with("Problem retrieving StackFrame 2,5\n"));
    EXPECT_EQ(fake.CleanupCalls, 0u);
    fake.EndError = ERROR_INVALID_ADDRESS;
    fake.WalkCalls = 0;
    stashNow();
    EXPECT_EQ(fake.WalkCalls, 2u) << "a fresh walk: there was none";
}

TEST_F(WalkCase, SymbolsThatCannotBeOpened)
{
    SupOS_Diagnostics.SymInitialize_ = [](handle, const char *, i32) {
        SetLastError(1234);
        return 0;
    };
    EXPECT_TRUE(walkTo(&Context).ends_with("\nCan't initialise Symbol library: 1234\n"));
    EXPECT_EQ(fake.CleanupCalls, 0u);
    EXPECT_EQ(stashNow()->Valid, 0);
}

TEST_F(WalkCase, WarnsOfAMissingLibrary)
{
    SupOS_Diagnostics.DebugLibrary = nullptr;
    EXPECT_EQ(walkTo(&Context), "Warning: dbghelp.dll not found. No Stackdump will be taken.\n");
    SupOS_WalkStack(0, &Context); // silent
    EXPECT_EQ(stashNow()->Valid, 0);
    EXPECT_EQ(stashNow()->Capacity, 64);

    SupOS_Diagnostics = {};
    SupOS_Diagnostics.DebugLibrary = PLAT_INVALID_HANDLE;
    SupOS_Diagnostics.MiniDumpWriteDump_ = MiniDumpWriteDump;
    SupOS_Diagnostics.SymFunctionTableAccess_ = SymFunctionTableAccess;
    SupOS_Diagnostics.SymGetModuleBase_ = SymGetModuleBase;
    EXPECT_EQ(walkTo(&Context), "Warning: dbghelp.dll unusable. No Stackdump will be taken\n");
}

// One call that is there is enough to go on; a missing one is a fault in the walk.
TEST_F(WalkCase, AMissingCallEndsTheWalk)
{
    plat_FaultStack();
    const SupOS_DiagnosticCalls all = SupOS_Diagnostics;
    const auto without = [&](auto SupOS_DiagnosticCalls::*call) {
        SupOS_Diagnostics = all;
        SupOS_Diagnostics.*call = nullptr;
        fake.WalkCalls = fake.CleanupCalls = fake.UndecorateCalls = 0;
        fake.Lines = true;
        const std::string text = walkTo(&Context);
        EXPECT_TRUE(text.starts_with("\n-- Register Information --\nEAX=")) << text;
        EXPECT_TRUE(text.ends_with("Error occured whilst walking the stack\n")) << text;
        EXPECT_EQ(fake.CleanupCalls, 1u);
        EXPECT_EQ(stashNow()->Valid, 1) << "the walk has run to its end";
    };
    without(&SupOS_DiagnosticCalls::SymGetOptions_);
    without(&SupOS_DiagnosticCalls::SymSetOptions_);
    without(&SupOS_DiagnosticCalls::SymInitialize_);
    without(&SupOS_DiagnosticCalls::SymGetSearchPath_);
    without(&SupOS_DiagnosticCalls::StackWalk_);
    without(&SupOS_DiagnosticCalls::SymGetSymFromAddr_);
    without(&SupOS_DiagnosticCalls::UnDecorateSymbolName_);
    without(&SupOS_DiagnosticCalls::SymGetLineFromAddr_);
    without(&SupOS_DiagnosticCalls::SymGetModuleInfo_);
}

TEST_F(WalkCase, AFaultInTheLibraryEndsTheWalk)
{
    plat_FaultStack();
    SupOS_Diagnostics.SymGetModuleInfo_ = [](handle, u64, IMAGEHLP_MODULE *) {
        Make_Write(0);
        return 1;
    };
    EXPECT_TRUE(stackText().ends_with("LINE:0x001f (source.c:42+3) \nError occured whilst walking the stack\n"));
    EXPECT_EQ(stashNow()->FrameCount, 0);
    EXPECT_EQ(fake.CleanupCalls, 1u);
}

// Odd and required: the second entry clears the word that keeps it out, and the one behind it would come in.
TEST_F(WalkCase, ASecondEntryLeavesAtOnce)
{
    static std::string inner;
    fake.Frames = 1;
    SupOS_Diagnostics.SymGetModuleInfo_ = [](handle, u64, IMAGEHLP_MODULE *) {
        inner = walkTo(nullptr);
        return 0;
    };
    inner = "unset";
    const std::string outer = stackText();
    EXPECT_EQ(inner, "");
    EXPECT_TRUE(outer.ends_with("00 0x00001000 0x00001001 0x00008000\n"));
    EXPECT_EQ(stashNow()->Valid, 1);
}

TEST_F(WalkCase, LooksForALineBelow)
{
    static u64 known;
    static u32 calls;
    SupOS_Diagnostics.SymGetLineFromAddr_ = [](handle, u64 address, u32 *displacement, IMAGEHLP_LINE *line) {
        ++calls;
        *displacement = 9;
        if (address == known) {
            line->LineNumber = 5;
            return 1;
        }
        SetLastError(known == 1 ? ERROR_ACCESS_DENIED : ERROR_INVALID_ADDRESS);
        return 0;
    };
    struct {
        u64 Known;
        i32 Found;
        u32 Displacement, Calls;
    } const rows[] = {{0x5000, 1, 9, 1},
                      {0x4FFF, 1, 1, 2},
                      {0x4E01, 1, 0x1FF, 0x200},
                      {0x4E00, 1, 0x200, 0x201},
                      {0x4DFF, 0, 77, 0x201},
                      {0x5001, 0, 77, 0x201},
                      {1, 0, 77, 1}};
    for (const auto &row : rows) {
        known = row.Known;
        calls = 0;
        u32 displacement = 77;
        IMAGEHLP_LINE line = {};
        EXPECT_EQ(SupOS_LineFromAddress(GetCurrentProcess(), 0x5000, &displacement, &line), row.Found)
            << std::hex << known;
        EXPECT_EQ(displacement, row.Displacement) << std::hex << known;
        EXPECT_EQ(calls, row.Calls) << std::hex << known;
    }
}

// ---- the stash ----

TEST_F(WalkCase, TheStashIsMadeOnce)
{
    SupOS_StashDumpCreate();
    EXPECT_EQ(fake.WalkCalls, 2u);
    SupOS_StashDumpCreate();
    EXPECT_EQ(fake.CleanupCalls, 1u);
    SupOS_StashDumpUsed();
    fake.WalkCalls = 0;
    SupOS_StashDumpCreate();
    EXPECT_EQ(fake.CleanupCalls, 2u);
}

TEST(SupOS_StashDumpCreate, TakesThePresentStack)
{
    if (LoadLibraryA("dbghelp.dll") == nullptr) GTEST_SKIP() << "libdw.so.1 is not installed";
    SupOS_LoadDiagnosticLibraries();
    const SupOS_StackStash *const stash = SupOS_StashDumpCreate();
    EXPECT_EQ(stash->Valid, 1);
    EXPECT_GT(stash->FrameCount, 3);
    std::string names;
    for (u32 i = 0; i < stash->FrameCount; ++i) names += std::string(stash->Entries[i].Name) + "|";
    EXPECT_NE(names.find("SupOS_StashDumpCreate"), std::string::npos) << names;
    EXPECT_NE(names.find("|main|"), std::string::npos) << names;
}

TEST(SupOS_StashDumpCreate, TellsOfAStackThatCannotBeRead)
{
    Scratch_MakeRoot();
    SupOS_StackStash *const stash = SupOS_StashDumpCreate();
    char text[] = "Unknown (Unable to interpret call stack)";
    stash->Valid = 1;
    stash->Entries[0].Module = text;
    EXPECT_NE(Capture_Stderr([] { SupOS_StashDumpCreate(); }).find("ERZ058011E/0028"), std::string::npos);
    text[0] = 'u';
    EXPECT_EQ(Capture_Stderr([] { SupOS_StashDumpCreate(); }), "");
}

TEST(SupOS_StashDumpCreate, Traces)
{
    Ring_TraceOn("SUPOS=5");
    SupOS_LoadDiagnosticLibraries();
    SupOS_StashDumpCreate();
    SupOS_StashDumpUsed();
    EXPECT_EQ(Ring_LastExitPoint("SupOS_LoadDiagnosticLibraries"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_StashDumpCreate"), 1u);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_StashDumpUsed"), 1u);
}
