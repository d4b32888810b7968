// Fault reports: which exceptions get one, its parts and their order, and faults inside it.

#include "supos_faults.h"

#include "supos_trap_int.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "crash_support.h"
#include "fault_makers.h"
#include "plat_sys.h"
#include "qrt_exceptions.h"
#include "ring_reader.h"
#include "supos_services.h"
#include "suppr_bindings.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_hook.h"

namespace
{

bool symbolsAreThere()
{
    return LoadLibraryA("dbghelp.dll") != nullptr;
}

std::string textOf(u32 code, std::initializer_list<uintptr_t> parameters = {}, uintptr_t address = 0x1234)
{
    EXCEPTION_RECORD record = {};
    record.ExceptionCode = code;
    record.ExceptionAddress = reinterpret_cast<void *>(address);
    for (const uintptr_t parameter : parameters) record.ExceptionInformation[record.NumberParameters++] = parameter;
    char text[SUPOS_REPORT_ROOM];
    SupOS_ExceptionText(text, &record);
    return text;
}

// Runs the handler with a made-up exception; true when it wrote a report.
bool isReported(u32 code, std::initializer_list<uintptr_t> parameters)
{
    const Crash_Result result = Crash_Run([&] {
        EXCEPTION_RECORD record = {};
        CONTEXT context = {};
        record.ExceptionCode = code;
        for (const uintptr_t parameter : parameters) record.ExceptionInformation[record.NumberParameters++] = parameter;
        EXCEPTION_POINTERS pointers = {&record, &context};
        _exit(SupOS_ExceptionHandler(&pointers) == 1 ? 0 : 1);
    });
    EXPECT_TRUE(WIFEXITED(result.Status));
    EXPECT_EQ(WEXITSTATUS(result.Status), 0) << "the filter returns 1";
    EXPECT_EQ(result.Report.empty(), result.Errors.empty()) << result.Errors;
    return !result.Report.empty();
}

void expectEnd(const Crash_Result &result, int signal)
{
    EXPECT_TRUE(WIFSIGNALED(result.Status)) << result.Status;
    EXPECT_EQ(WTERMSIG(result.Status), signal);
}

} // namespace

// ---- the exception in words ----

TEST(SupOS_ExceptionText, NamesEveryCode)
{
    const struct {
        u32 Code;
        const char *Name;
    } rows[] = {
        {0x80000002, "EXCEPTION_DATATYPE_MISALIGNMENT"},
        {0x80000003, "EXCEPTION_BREAKPOINT"},
        {0x80000004, "EXCEPTION_SINGLE_STEP"},
        {0xC0000005, "EXCEPTION_ACCESS_VIOLATION"},
        {0xC0000006, "EXCEPTION_IN_PAGE_ERROR"},
        {0xC000001D, "EXCEPTION_ILLEGAL_INSTRUCTION"},
        {0xC0000025, "EXCEPTION_NONCONTINUABLE_EXCEPTION"},
        {0xC0000026, "EXCEPTION_INVALID_DISPOSITION"},
        {0xC000008C, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
        {0xC000008D, "EXCEPTION_FLT_DENORMAL_OPERAND"},
        {0xC000008E, "EXCEPTION_FLT_DIVIDE_BY_ZERO"},
        {0xC000008F, "EXCEPTION_FLT_INEXACT_RESULT"},
        {0xC0000090, "EXCEPTION_FLT_INVALID_OPERATION"},
        {0xC0000091, "EXCEPTION_FLT_OVERFLOW"},
        {0xC0000092, "EXCEPTION_FLT_STACK_CHECK"},
        {0xC0000093, "EXCEPTION_FLT_UNDERFLOW"},
        {0xC0000094, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
        {0xC0000095, "EXCEPTION_INT_OVERFLOW"},
        {0xC0000096, "EXCEPTION_PRIV_INSTRUCTION"},
        {0xC00000FD, "EXCEPTION_STACK_OVERFLOW"},
        {0xC0000007, "UNKNOWN 0xc0000007"},
        {0, "UNKNOWN 0x0"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(textOf(row.Code), std::string("Exception ") + row.Name +
                                        " at 0x00001234\nException module unknown (install psapi.dll)");
}

TEST(SupOS_ExceptionText, TellsAccesses)
{
    const std::string module = "\nException module unknown (install psapi.dll)";
    const std::string start = "Exception EXCEPTION_ACCESS_VIOLATION at 0x00001234";
    EXPECT_EQ(textOf(0xC0000005, {0, 0x20}), start + " (Attempt to read memory at 0x00000020)" + module);
    EXPECT_EQ(textOf(0xC0000005, {1, 0}), start + " (Attempt to write memory at 0x00000000)" + module);
    EXPECT_EQ(textOf(0xC0000005, {8, 0x7F0012345678}), start + " (Attempt to write memory at 0x7f0012345678)" + module);
    EXPECT_EQ(textOf(0xC0000005, {0}), start + " (Attempt to read memory at 0x00000000)" + module);
    EXPECT_EQ(textOf(0xC0000005), start + module);
    EXPECT_EQ(textOf(0xC0000006, {1, 0x20}), "Exception EXCEPTION_IN_PAGE_ERROR at 0x00001234" + module);
    EXPECT_EQ(textOf(0xC0000094, {}, 0x7F0012345678),
              "Exception EXCEPTION_INT_DIVIDE_BY_ZERO at 0x7f0012345678" + module);
}

// ---- which exceptions get a report ----

TEST(SupOS_ExceptionHandler, ReportsEveryFault)
{
    EXPECT_TRUE(isReported(0xC0000005, {}));
    EXPECT_TRUE(isReported(0, {}));
    EXPECT_TRUE(isReported(0xE0646364, {1, 2}));
}

TEST(SupOS_ExceptionHandler, ReportsAnExceptionObjectWithItsAddressAlone)
{
    EXPECT_FALSE(isReported(0xE0646365, {}));
    EXPECT_FALSE(isReported(0xE0646365, {0x1000, 0x2000}));
    EXPECT_TRUE(isReported(0xE0646365, {0x1000}));
}

TEST(SupOS_ExceptionHandler, SaysNothingOfOrderlyEnds)
{
    for (exc_Object *const end : {&SUPPR_EXCEPTION_PROCESS, &SUPPR_EXCEPTION_REGION})
        EXPECT_FALSE(isReported(0xE0646365, {reinterpret_cast<uintptr_t>(end)}));
    EXPECT_FALSE(isReported(0xE0646365, {reinterpret_cast<uintptr_t>(&pthread_cancel_e)}));
    EXPECT_TRUE(isReported(0xE0646365, {reinterpret_cast<uintptr_t>(&pthread_badparam_e)}));
}

TEST(SupOS_ExceptionTrace, ReportsEveryExceptionAndSearchesOn)
{
    const Crash_Result result = Crash_Run([] {
        EXCEPTION_RECORD record = {};
        CONTEXT context = {};
        record.ExceptionCode = 0xE0646365;
        EXCEPTION_POINTERS pointers = {&record, &context};
        _exit(SupOS_ExceptionTrace(&pointers) == 0 ? 0 : 1);
    });
    EXPECT_EQ(result.Status, 0);
    EXPECT_NE(result.Report.find("Exception UNKNOWN 0xe0646365 at 0x00000000\n"), std::string::npos);
}

// ---- the report ----

TEST(Report, HasItsPartsInTheirOrder)
{
    if (!symbolsAreThere()) GTEST_SKIP() << "libdw.so.1 is not installed";
    Ring_TraceOn("SUPOS=5");
    const Crash_Result result = Crash_RunLoaded([] { Make_Write(0); });
    expectEnd(result, SIGSEGV);
    Crash_ExpectInOrder(result.Report,
                        {"*********************** TraceBack Details *************************\n\n"
                         ">>>>>>>>>>>>>>>>>>>>>>> TraceBack Header  <<<<<<<<<<<<<<<<<<<<<<<<<\n\nREGION    : TESTREG \n"
                         "TRANID    : <NULL> \nPROGRAM   : <NULL> \nSRVID     : 0 \nPID       : ",
                         "\nTID       : ",
                         "\nEXCEPTION : ",
                         " \n\nException EXCEPTION_ACCESS_VIOLATION at 0x",
                         " (Attempt to write memory at 0x00000000)\nException module ",
                         "sup_os_test +0x",
                         "\n\n-- Register Information --\nEAX=0x00000000 EBX=0x",
                         "\nEDI=0x",
                         "\n\nEAX = 0x00000000\nEBX = 0x",
                         "\nECX = 0x",
                         "\nEDX = 0x",
                         "\nESI = 0x",
                         "\nEDI = 0x",
                         "\nEIP = 0x",
                         "\n -00020 0x",
                         "\n +00000 0x",
                         "\n +00020 0x",
                         "\nESP = 0x",
                         "\nEBP = 0x",
                         "\n\n------- Stack Trace ------\nSymbolPath=.\nSymbol Name:  Make_Write(",
                         "\n LINE:0x",
                         "fault_makers.h:",
                         "\nImage name: ",
                         "    File Name: ",
                         "    Symbol Type: PDB\n\n\n",
                         "Symbol Name:  main \n ",
                         "\n*********************** End of TraceBack  *************************\n\n"});
    EXPECT_TRUE(result.Report.starts_with("*********************** TraceBack Details"));
    EXPECT_TRUE(result.Report.ends_with("End of TraceBack  *************************\n\n"));
    EXPECT_EQ(result.Report.find("Function Stack"), std::string::npos) << "that banner is never written";
    EXPECT_THAT(result.Report, testing::ContainsRegex("PID       : " + result.Process +
                                                      " \nTID       : [0-9]+ \nEXCEPTION : -?[0-9]+ \n\n"));
    EXPECT_THAT(result.Report,
                testing::ContainsRegex("\n0x[0-9a-f]{8,} 0x[0-9a-f]{8,} 0x[0-9a-f]{8,} \\(sup_os_test 0x[0-9a-f]{8,} "
                                       "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} [0-9:]{8} [0-9]{4}\\)\nImage name: "));
    EXPECT_LT(result.Milliseconds, Crash_Limit);
}

TEST(Report, IsToldInTwoServiceMessagesAndASymptom)
{
    const Crash_Result result = Crash_RunLoaded([] { Make_Division(); });
    expectEnd(result, SIGFPE);
    std::string shown = result.FileName;
    shown.replace(shown.rfind('/'), 1, "\\"); // as the name was made
    Crash_ExpectInOrder(result.Errors,
                        {"SERVICE_MESSAGE ",
                         ("Traceback file '" + shown + "' for transaction '<NULL>' is generated\n").c_str(),
                         "SYMPTOMS = ", "FUNC/SupOS_ExceptionHandler LINE/1025 MS/000000 MSN/0 SRC/11 PRCS/0 ABCODE/ ",
                         "SECONDARY SYMPTOMS = Exception EXCEPTION_INT_DIVIDE_BY_ZERO at 0x", "\nException module "});
    EXPECT_EQ(result.Errors.find("failed to create"), std::string::npos);
    struct stat status;
    ASSERT_EQ(stat(result.FileName.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST(Report, TellsEachKindOfFault)
{
    const struct {
        void (*Fault)();
        int Signal;
        const char *Text;
    } rows[] = {
        {[] { Make_Read(0x40); }, SIGSEGV,
         "EXCEPTION_ACCESS_VIOLATION at 0x[0-9a-f]+ \\(Attempt to read memory at 0x00000040\\)"},
        {[] { Make_IllegalInstruction(); }, SIGILL, "EXCEPTION_ILLEGAL_INSTRUCTION at 0x"},
        {[] { Make_Breakpoint(); }, SIGTRAP, "EXCEPTION_BREAKPOINT at 0x"},
        {[] { Make_StackOverflow(0); }, SIGSEGV, "EXCEPTION_STACK_OVERFLOW at 0x"},
        {[] { raise(SIGSEGV); }, SIGSEGV, "EXCEPTION_ACCESS_VIOLATION at 0x[0-9a-f]+\nException module"},
    };
    for (const auto &row : rows) {
        const Crash_Result result = Crash_RunLoaded(row.Fault);
        expectEnd(result, row.Signal);
        EXPECT_THAT(result.Report, testing::ContainsRegex(std::string("\n\nException ") + row.Text)) << row.Text;
        EXPECT_TRUE(result.Report.ends_with("End of TraceBack  *************************\n\n")) << row.Text;
        EXPECT_LT(result.Milliseconds, Crash_Limit) << row.Text;
    }
}

// One thread fails while others work the heap, the trace and the service calls. A machine that is busy with other things
// gets more time, in proportion to what a report without that load takes on it at this moment.
TEST(Report, IsCompleteUnderLoad)
{
    Ring_TraceOn("SUPOS=5");
    const Crash_Result alone = Crash_RunLoaded([] { Make_Write(0); });
    const Crash_Result result = Crash_RunLoaded([] {
        for (int i = 0; i < 4; ++i)
            std::thread([] {
                for (u32 size = 1;; size = size * 7 % 65521) {
                    char *const text = static_cast<char *>(malloc(size + 8));
                    strcpy(text, "a,b,c");
                    char *context = nullptr;
                    SupOS_strtok_r(text, ",", &context);
                    free(text);
                }
            }).detach();
        usleep(50000);
        Make_Write(0);
    });
    expectEnd(result, SIGSEGV);
    EXPECT_TRUE(result.Report.starts_with("*********************** TraceBack Details"));
    EXPECT_TRUE(result.Report.ends_with("End of TraceBack  *************************\n\n"));
    if (symbolsAreThere())
        Crash_ExpectInOrder(result.Report, {"\nEBP = 0x", "Symbol Name:  Make_Write(", "Symbol Name:  main \n"});
    EXPECT_LT(result.Milliseconds, std::max(Crash_Limit, 8 * alone.Milliseconds));
}

TEST(Report, TellsAnExceptionObjectThatNobodyCaught)
{
    const Crash_Result result = Crash_RunLoaded([]() noexcept { exc_raise(&pthread_badparam_e); });
    expectEnd(result, SIGABRT);
    Crash_ExpectInOrder(result.Report,
                        {"\n\nException UNKNOWN 0xe0646365 at 0x", "\n*********************** End of TraceBack"});
    if (symbolsAreThere()) Crash_ExpectInOrder(result.Report, {"Symbol Name:  exc_raise \n", "Symbol Name:  main \n"});

    const Crash_Result cancelled = Crash_RunLoaded([]() noexcept { exc_raise(&pthread_cancel_e); });
    expectEnd(cancelled, SIGABRT);
    EXPECT_EQ(cancelled.Report, "");
}

TEST(Report, TellsAnyOtherExceptionThatNobodyCaught)
{
    const Crash_Result result = Crash_RunLoaded([]() noexcept {
        const volatile bool always = true;
        if (always) [] { throw std::runtime_error("nobody"); }();
    });
    expectEnd(result, SIGABRT);
    EXPECT_NE(result.Report.find("\n\nException UNKNOWN 0xe06d7363 at 0x"), std::string::npos);
}

TEST(Report, DoesWithoutTheLibraries)
{
    const Crash_Result unloaded = Crash_Run([] { Make_Write(0); });
    expectEnd(unloaded, SIGSEGV);
    Crash_ExpectInOrder(unloaded.Report,
                        {"Attempt to write memory at 0x00000000)\nException module unknown (install psapi.dll)\n"
                         "Warning: dbghelp.dll not found. No Stackdump will be taken.\n"
                         "\n*********************** End of TraceBack  *************************\n\n"});

    const Crash_Result withoutDebug = Crash_RunLoaded([] {
        SupOS_Diagnostics.DebugLibrary = nullptr;
        Make_Write(0);
    });
    Crash_ExpectInOrder(withoutDebug.Report,
                        {"sup_os_test +0x", "\nWarning: dbghelp.dll not found. No Stackdump will be taken.\n\n****"});
}

TEST(Report, WithoutLibdwThereAreNoSymbols)
{
    const Crash_Result result = Crash_Run([] {
        Plat_Sys.Dlopen = [](const char *, int) -> void * { return nullptr; };
        SupOS_LoadDiagnosticLibraries();
        if (SupOS_Diagnostics.StackWalk_ != nullptr || SupOS_Diagnostics.EnumProcessModules_ == nullptr) _exit(1);
        setenv("VELA_MINIDUMP", "1", 1);
        Make_Write(0);
    });
    expectEnd(result, SIGSEGV);
    Crash_ExpectInOrder(result.Report,
                        {"Warning: dbghelp.dll not found. No Minidump taken.\n****", "sup_os_test +0x",
                         "Warning: dbghelp.dll not found. No Stackdump will be taken.\n", "End of TraceBack"});
    EXPECT_EQ(result.Report.find("Register Information"), std::string::npos);
}

// ---- the file ----

// Odd and required: nothing truncates an old file.
TEST(Report, ALongerOldFileKeepsItsTail)
{
    const std::string old(200000, 'x');
    const Crash_Result result = Crash_RunLoaded([&] {
        Scratch_WriteFile(Crash_Directory() / ("vela" + std::to_string(getpid()) + ".traceback"), old);
        Make_Write(0);
    });
    EXPECT_EQ(result.Report.size(), old.size());
    EXPECT_TRUE(result.Report.starts_with("**********"));
    EXPECT_NE(result.Report.find("End of TraceBack  *************************\n\nxxxxxxxx"), std::string::npos);
}

TEST(Report, GoesToStandardErrorWhenThereIsNoFile)
{
    const Crash_Result result = Crash_RunLoaded([] {
        static auto open = Plat_Sys.Open;
        Plat_Sys.Open = [](const char *path, int flags, mode_t mode) {
            if (strstr(path, ".traceback") == nullptr) return open(path, flags, mode);
            errno = EACCES;
            return -1;
        };
        Make_Write(0);
    });
    expectEnd(result, SIGSEGV);
    EXPECT_EQ(result.Report, "");
    Crash_ExpectInOrder(result.Errors,
                        {"failed to create traceback file ",
                         ("\\vela" + result.Process + ".traceback (errno = 13)\n").c_str(), "TraceBack Details",
                         "Attempt to write memory at 0x00000000", "End of TraceBack", "is generated\n"});
    EXPECT_EQ(result.Errors.find("SYMPTOMS"), std::string::npos) << "descriptor 2 is closed by then";
}

TEST(Report, ADirectoryThatIsGone)
{
    const Crash_Result result = Crash_RunLoaded([] {
        Plat_Sys.Getcwd = [](char *, size_t) -> char * {
            errno = ENOENT;
            return nullptr;
        };
        Make_Write(0);
    });
    expectEnd(result, SIGSEGV);
    EXPECT_NE(result.Report.find("End of TraceBack"), std::string::npos) << "it lies where the process works";
}

// Odd and required: the dump asks for the report's own file, which is not shared.
TEST(Report, AMemoryDumpFailsTwice)
{
    if (!symbolsAreThere()) GTEST_SKIP() << "libdw.so.1 is not installed";
    for (const char *value : {"", "1"}) {
        const Crash_Result result = Crash_RunLoaded([value] {
            setenv("VELA_MINIDUMP", value, 1);
            Make_Write(0);
        });
        EXPECT_TRUE(result.Report.starts_with("GLE=6\nGLE=6\n*********************** TraceBack Details"));
    }
    const Crash_Result corrupt = Crash_RunLoaded([] {
        setenv("VELA_MINIDUMP", "1", 1);
        SupOS_Diagnostics.MiniDumpWriteDump_ = nullptr;
        Make_Write(0);
    });
    EXPECT_TRUE(corrupt.Report.starts_with("Warning: dbghelp.dll corrupt. No Minidump will be taken.\n****"));
    EXPECT_NE(corrupt.Report.find("Stack Trace"), std::string::npos) << "the others are there";
    const Crash_Result missing = Crash_Run([] {
        setenv("VELA_MINIDUMP", "1", 1);
        Make_Write(0);
    });
    EXPECT_TRUE(missing.Report.starts_with("Warning: dbghelp.dll not found. No Minidump taken.\n****"));
}

TEST(Report, AMemoryDumpThatWorksIsTakenOnce)
{
    const Crash_Result result = Crash_RunLoaded([] {
        setenv("VELA_MINIDUMP", "1", 1);
        static u32 calls;
        SupOS_Diagnostics.DebugLibrary = &calls;
        SupOS_Diagnostics.MiniDumpWriteDump_ = [](handle process, u32 id, handle, u32 type,
                                                  const MINIDUMP_EXCEPTION_INFORMATION *information, const void *,
                                                  const void *) -> i32 {
            const bool good = process == PLAT_INVALID_HANDLE && id == static_cast<u32>(getpid()) && type == 2 &&
                              information->ClientPointers != 0 && information->ThreadId != 0 &&
                              information->ExceptionPointers->ExceptionRecord->ExceptionCode == 0xC0000005;
            SetLastError(good ? 100 + ++calls : 7);
            return calls == 2; // the second one works
        };
        Make_Write(0);
    });
    EXPECT_TRUE(result.Report.starts_with("GLE=101\n****")) << result.Report.substr(0, 40);
}

TEST(Report, TellsOfABrokenHeap)
{
    for (const i32 state : {-1, -2, -3, -4, -5}) {
        const Crash_Result result = Crash_Run([state] {
            static i32 answer;
            answer = state;
            Hook.HeapCheck = [] { return answer; };
            Make_Write(0);
        });
        EXPECT_EQ(result.Report.find("(install psapi.dll)\nHeap corrupt - bad start of heap\nWarning") !=
                      std::string::npos,
                  state == -3);
        EXPECT_EQ(result.Report.find("(install psapi.dll)\nHeap corrupt - bad node in heap\nWarning") !=
                      std::string::npos,
                  state == -4);
        EXPECT_EQ(result.Report.find("Heap") != std::string::npos, state == -3 || state == -4);
    }
}

// ---- faults inside the report ----

TEST(Report, AFaultInItIsToldInItsPlace)
{
    const Crash_Result result = Crash_RunLoaded([] {
        setenv("VELA_MINIDUMP", "1", 1);
        SupOS_Diagnostics.DebugLibrary = PLAT_INVALID_HANDLE;
        SupOS_Diagnostics.MiniDumpWriteDump_ = [](handle, u32, handle, u32, const MINIDUMP_EXCEPTION_INFORMATION *,
                                                  const void *, const void *) -> i32 {
            Make_Division();
            return 1;
        };
        Make_Write(0);
    });
    expectEnd(result, SIGSEGV);
    Crash_ExpectInOrder(result.Errors,
                        {"Problem diagnosing\nException EXCEPTION_INT_DIVIDE_BY_ZERO at 0x", "\nException module "});
    EXPECT_EQ(result.Report, "");
}

TEST(Report, AFaultWhileTellingIsSwallowed)
{
    const Crash_Result result = Crash_RunLoaded([] {
        SupOS_Diagnostics.EnumProcessModules_ = [](handle, handle *, u32, u32 *) -> i32 {
            Make_Division();
            return 1;
        };
        Make_Write(0);
    });
    expectEnd(result, SIGSEGV);
    EXPECT_EQ(result.Errors, "");
    EXPECT_EQ(result.Report, "");
}

TEST(Report, TwoThreadsMayFailAtOnce)
{
    const Crash_Result result = Crash_RunLoaded([] {
        static std::atomic<u32> ready = 0;
        const auto fail = [] {
            plat_FaultStack();
            ++ready;
            while (ready != 2) {
            }
            Make_Write(0);
        };
        std::thread one(fail), other(fail);
        one.join();
        other.join();
    });
    expectEnd(result, SIGSEGV);
    EXPECT_NE(result.Report.find("TraceBack Header"), std::string::npos);
    EXPECT_NE(result.Report.find("Attempt to write memory at 0x00000000"), std::string::npos);
    EXPECT_LT(result.Milliseconds, 5 * Crash_Limit);
}

TEST(Report, AHandlerOfSignalsComesBehindIt)
{
    const Crash_Result result = Crash_Run([] {
        SupOS_SigInit();
        Make_Write(0);
    });
    expectEnd(result, SIGSEGV);
    EXPECT_NE(result.Report.find("sup_os_test +0x"), std::string::npos) << "the libraries were loaded at the start";
    EXPECT_EQ(result.Errors.find("Unexpected signal"), std::string::npos);
}

TEST(SupOS_SigInit, LoadsTheLibrariesOnce)
{
    EXPECT_EQ(SupOS_Diagnostics.StatusLibrary, nullptr);
    SupOS_SigInit();
    EXPECT_NE(SupOS_Diagnostics.StatusLibrary, nullptr);
    SupOS_Diagnostics.StatusLibrary = nullptr;
    SupOS_SigInit();
    EXPECT_EQ(SupOS_Diagnostics.StatusLibrary, nullptr);
}
