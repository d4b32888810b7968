// Fault reports: which exceptions get one, and what it says.
//
// Everything here runs inside a failing process. The report is written piece by piece and as far as it can be; a guard
// around all of it takes a fault of its own making, tells it in one line and lets the process go on to its end. Nothing here
// traces: a record would need locks that the failing thread may hold.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crt.h"
#include "plat_guard.h"
#include "qrt_exceptions.h"
#include "super_formatting.h"
#include "super_logging.h"
#include "super_symptoms.h"
#include "supos_trap_int.h"
#include "suppr_bindings.h"
#include "suppr_names.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_process.h"
#include "win32_thread.h"

constexpr i32 symptomLine = 1025;
constexpr u32 nameRoom = 256;
constexpr u32 fullMemory = 2; // type of a memory dump
constexpr char noText[] = "<NULL>";
constexpr char handlerName[] = "SupOS_ExceptionHandler";

i32 SupOS_IsOrderlyEnd(uintptr_t Object)
{
    const exc_Object *const ends[] = {&SUPPR_EXCEPTION_PROCESS, &SUPPR_EXCEPTION_REGION, &pthread_cancel_e};
    for (const exc_Object *end : ends)
        if (Object == reinterpret_cast<uintptr_t>(end)) return 1;
    return 0;
}

u32 SupOS_ExceptionHandler(EXCEPTION_POINTERS *Pointers)
{
    const EXCEPTION_RECORD *const record = Pointers->ExceptionRecord;
    const bool isObject = record->ExceptionCode == PLAT_EXCEPTION_OBJECT;
    if (!isObject || (record->NumberParameters == 1 && !SupOS_IsOrderlyEnd(record->ExceptionInformation[0])))
        SupOS_WriteTraceback(Pointers);
    return EXCEPTION_EXECUTE_HANDLER;
}

u32 SupOS_ExceptionTrace(EXCEPTION_POINTERS *Pointers)
{
    SupOS_WriteTraceback(Pointers);
    return EXCEPTION_CONTINUE_SEARCH;
}

// ---- the exception in words ----

struct ExceptionName {
    u32 Code;
    const char *Name;
};

static constexpr ExceptionName exceptionNames[] = {
    {EXCEPTION_DATATYPE_MISALIGNMENT, "EXCEPTION_DATATYPE_MISALIGNMENT"},
    {EXCEPTION_BREAKPOINT, "EXCEPTION_BREAKPOINT"},
    {EXCEPTION_SINGLE_STEP, "EXCEPTION_SINGLE_STEP"},
    {EXCEPTION_ACCESS_VIOLATION, "EXCEPTION_ACCESS_VIOLATION"},
    {EXCEPTION_IN_PAGE_ERROR, "EXCEPTION_IN_PAGE_ERROR"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "EXCEPTION_ILLEGAL_INSTRUCTION"},
    {EXCEPTION_NONCONTINUABLE_EXCEPTION, "EXCEPTION_NONCONTINUABLE_EXCEPTION"},
    {EXCEPTION_INVALID_DISPOSITION, "EXCEPTION_INVALID_DISPOSITION"},
    {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
    {EXCEPTION_FLT_DENORMAL_OPERAND, "EXCEPTION_FLT_DENORMAL_OPERAND"},
    {EXCEPTION_FLT_DIVIDE_BY_ZERO, "EXCEPTION_FLT_DIVIDE_BY_ZERO"},
    {EXCEPTION_FLT_INEXACT_RESULT, "EXCEPTION_FLT_INEXACT_RESULT"},
    {EXCEPTION_FLT_INVALID_OPERATION, "EXCEPTION_FLT_INVALID_OPERATION"},
    {EXCEPTION_FLT_OVERFLOW, "EXCEPTION_FLT_OVERFLOW"},
    {EXCEPTION_FLT_STACK_CHECK, "EXCEPTION_FLT_STACK_CHECK"},
    {EXCEPTION_FLT_UNDERFLOW, "EXCEPTION_FLT_UNDERFLOW"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
    {EXCEPTION_INT_OVERFLOW, "EXCEPTION_INT_OVERFLOW"},
    {EXCEPTION_PRIV_INSTRUCTION, "EXCEPTION_PRIV_INSTRUCTION"},
    {EXCEPTION_STACK_OVERFLOW, "EXCEPTION_STACK_OVERFLOW"},
};

static const char *nameOf(u32 code)
{
    for (const ExceptionName &row : exceptionNames)
        if (row.Code == code) return row.Name;
    return nullptr;
}

static unsigned long long wide(uintptr_t value)
{
    return value;
}

void SupOS_ExceptionText(char *Buffer, const EXCEPTION_RECORD *Record)
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(Record->ExceptionAddress);
    char module[SUPOS_MODULE_ROOM];
    SupOS_ModuleOfAddress(address, module);

    char unknown[64];
    const char *name = nameOf(Record->ExceptionCode);
    if (name == nullptr) {
        snprintf(unknown, sizeof unknown, "UNKNOWN 0x%x", Record->ExceptionCode);
        name = unknown;
    }
    if (Record->ExceptionCode == EXCEPTION_ACCESS_VIOLATION && Record->NumberParameters >= 1)
        snprintf(Buffer, SUPOS_REPORT_ROOM,
                 "Exception %s at 0x%08llx (Attempt to %s memory at 0x%08llx)\nException module %s", name,
                 wide(address), Record->ExceptionInformation[0] == 0 ? "read" : "write",
                 wide(Record->ExceptionInformation[1]), module);
    else
        snprintf(Buffer, SUPOS_REPORT_ROOM, "Exception %s at 0x%08llx\nException module %s", name, wide(address),
                 module);
}

// ---- the report ----

// What the report knows of its process.
struct Report {
    EXCEPTION_POINTERS *Pointers;
    i32 Fd;
    char FileName[nameRoom];
    char Exception[SUPOS_REPORT_ROOM];
    const char *Transaction, *Program; // nothing fills them in
    i32 ServerId;
    u32 ProcessId;
};

static void openReport(Report *report)
{
    char directory[nameRoom];
    if (_getcwd(directory, nameRoom - 1) == nullptr) strcpy(directory, ".");
    char whole[nameRoom + 32]; // a name of more than 255 bytes is cut, and then the open fails
    snprintf(whole, sizeof whole, "%s%c%s%d.traceback", directory, '\\', "vela", static_cast<i32>(report->ProcessId));
    snprintf(report->FileName, sizeof report->FileName, "%.*s", static_cast<int>(nameRoom - 1), whole);
    // required: nothing truncates the file, so a longer old one keeps its tail
    report->Fd = _open(report->FileName, PLAT_O_WRONLY | PLAT_O_CREAT | PLAT_O_TEXT, 0600);
    if (report->Fd != -1) return;
    SupER_ServiceLog("failed to create traceback file %s (errno = %d)", report->FileName, errno);
    report->Fd = 2;
}

static void dumpOnce(const Report &report, handle file, const MINIDUMP_EXCEPTION_INFORMATION *information, bool again)
{
    if (SupOS_Diagnostics.MiniDumpWriteDump_(GetCurrentProcess(), report.ProcessId, file, fullMemory, information,
                                             nullptr, nullptr))
        return;
    SupOS_FdPrintf(report.Fd, "GLE=%lu\n", static_cast<unsigned long>(GetLastError()));
    if (!again) dumpOnce(report, file, information, true);
}

// required: the dump goes into the file of the report, which is open and not shared; so there is no handle for it, and the
// report shows the two failures
static void dumpMemory(const Report &report)
{
    if (getenv("VELA_MINIDUMP") == nullptr) return;
    if (SupOS_Diagnostics.DebugLibrary == nullptr) {
        SupOS_FdPrintf(report.Fd, "Warning: dbghelp.dll not found. No Minidump taken.\n");
        return;
    }
    if (SupOS_Diagnostics.MiniDumpWriteDump_ == nullptr) {
        SupOS_FdPrintf(report.Fd, "Warning: dbghelp.dll corrupt. No Minidump will be taken.\n");
        return;
    }
    const MINIDUMP_EXCEPTION_INFORMATION information = {GetCurrentThreadId(), report.Pointers, 1};
    const handle file =
        CreateFileA(report.FileName, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    dumpOnce(report, file, &information, false);
    CloseHandle(file);
}

static void writeHeader(const Report &report)
{
    SupOS_FdPrintf(report.Fd, "*********************** TraceBack Details *************************\n\n");
    SupOS_FdPrintf(report.Fd, ">>>>>>>>>>>>>>>>>>>>>>> TraceBack Header  <<<<<<<<<<<<<<<<<<<<<<<<<\n\n");
    // required: the last field is the address of the text, not the text
    SupOS_FdPrintf(report.Fd,
                   "REGION    : %s \nTRANID    : %s \nPROGRAM   : %s \nSRVID     : %d \nPID       : %d \n"
                   "TID       : %d \nEXCEPTION : %d \n\n",
                   SupPR_GetNames(SUPPR_NAME_REGION), report.Transaction, report.Program, report.ServerId,
                   static_cast<i32>(report.ProcessId), static_cast<i32>(GetCurrentThreadId()),
                   static_cast<i32>(reinterpret_cast<uintptr_t>(report.Exception)));
}

static void checkHeap(i32 fd)
{
    switch (_heapchk()) {
    case -3: SupOS_FdPrintf(fd, "Heap corrupt - bad start of heap\n"); return;
    case -4: SupOS_FdPrintf(fd, "Heap corrupt - bad node in heap\n"); return;
    }
}

static void writeReport(EXCEPTION_POINTERS *pointers)
{
    Report report;
    report.Pointers = pointers;
    report.Transaction = report.Program = noText;
    report.ServerId = 0;
    report.ProcessId = GetCurrentProcessId();
    SupOS_ExceptionText(report.Exception, pointers->ExceptionRecord);
    openReport(&report);

    dumpMemory(report);
    writeHeader(report);
    SupOS_FdPrintf(report.Fd, "%s\n", report.Exception); // required: no banner stands in front of the stack
    checkHeap(report.Fd);
    SupOS_WalkStack(report.Fd, pointers->ContextRecord);
    SupOS_FdPrintf(report.Fd, "\n*********************** End of TraceBack  *************************\n\n");

    SupER_ServiceLog("Traceback file '%s' for transaction '%s' is generated", report.FileName, report.Transaction);
    _close(report.Fd); // required: descriptor 2 too
    SupER_StoreSymptom(handlerName, SupER_ServiceLevel58, symptomLine, 0, 0, SUPER_SOURCE_ASSERTION, 0, 0,
                       report.Exception);
    SupER_FlushSymptom();
}

static void tellProblem(const EXCEPTION_RECORD *record)
{
    char text[SUPOS_REPORT_ROOM];
    SupOS_ExceptionText(text, record);
    fprintf(stderr, "Problem diagnosing\n%s\n", text);
}

// A fault while another one was being told: the second guard takes what comes on the way.
static void tellGuarded(const EXCEPTION_RECORD *record)
{
    PLAT_TRY
    {
        tellProblem(record);
    }
    PLAT_EXCEPT
    {
    }
    PLAT_END
}

void SupOS_WriteTraceback(EXCEPTION_POINTERS *Pointers)
{
    PLAT_TRY
    {
        writeReport(Pointers);
    }
    PLAT_EXCEPT
    {
        tellGuarded(&platGuard.Exception);
    }
    PLAT_END
}
