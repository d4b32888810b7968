// Starting a child process.
//
// Each stream is chosen on its own: the null device, a pipe back to the caller, a named file, or the caller's stream. A
// stream is opened only while nothing has failed, and what was opened is closed at the end whether the child runs or not.
//
// The closing is odd on purpose. Whether a handle is closed hangs on the marks of standard output and standard error; that
// of standard input is never read. See the note in supos_execute.h.

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "crt.h"
#include "inftr_guard.h"
#include "super_assert.h"
#include "supos_exec_int.h"
#include "supos_security.h"
#include "tks_memory.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_pipe.h"
#include "win32_process.h"
#include "win32_sync.h"

#define SUPOS_EXEC_FILE "sup\\os\\nt_intel\\src\\supos_exec"
#define SUPOS_MSG_START_FAILED 0x0E82F655u // ERZ058405E
#define SUPOS_MSG_STREAM_FAILED 0x0E830659u // ERZ058406E

static constexpr u32 localLineRoom = 260;
static constexpr u32 heapLineLimit = 255; // counted bytes from which on the line comes from the heap

static constinit u32 ExecDefaultFlags = 0; // only bit 3 changes
static constinit u32 ExecAttributesReady = 0;
static constinit SECURITY_ATTRIBUTES ExecInheritAttributes = {};
static constinit SECURITY_ATTRIBUTES ExecChildAttributes = {};

// One of the child's streams, and the caller's end of its pipe.
struct Stream {
    handle Handle;
    bool Owned;
    bool Piped;
    i32 CallerFd;
};

// What differs between the three streams: names and serial numbers for the log, exit points.
struct StreamRow {
    const char *Name;
    const char *PipeOperation; // required: "CreateFile" for the two outputs
    i32 PipeMSN, DescriptorMSN, NullMSN, FileMSN;
    u32 PipePoint, OpenPoint;
    u32 StandardHandle;
};

// clang-format off
static constexpr StreamRow inputRow  = {"stdin",  "CreatePipe", 150, 155, 156, 157, 10, 31, STD_INPUT_HANDLE};
static constexpr StreamRow outputRow = {"stdout", "CreateFile", 151, 159, 160, 161, 11, 33, STD_OUTPUT_HANDLE};
static constexpr StreamRow errorRow  = {"stderr", "CreateFile", 152, 164, 165, 166, 12, 35, STD_ERROR_HANDLE};
// clang-format on

enum StreamMode : u32 { modeNull = 1, modePipe = 2, modeFile = 4, modeOwn = 8 };

static void logStream(i32 msn, const char *operation, const char *object, u32 error)
{
    SupER_Log(SUPER_CONSOLE, SUPOS_MSG_STREAM_FAILED, msn, operation, object, error);
}

// A pipe to or from the caller. Returns 0 or the exit point of the failure.
static u32 openPipe(Stream *stream, const StreamRow &row, bool childReads)
{
    handle readEnd = nullptr, writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &ExecInheritAttributes, 0)) {
        logStream(row.PipeMSN, row.PipeOperation, row.Name, GetLastError());
        return row.PipePoint;
    }
    stream->Handle = childReads ? readEnd : writeEnd;
    stream->Owned = true;
    stream->CallerFd = _open_osfhandle(childReads ? writeEnd : readEnd, 0);
    if (stream->CallerFd != -1) {
        stream->Piped = true;
        return 0;
    }
    logStream(row.DescriptorMSN, "open_osfhandle", row.Name, static_cast<u32>(errno));
    CloseHandle(childReads ? writeEnd : readEnd);
    return row.OpenPoint;
}

// The null device or a file. Returns 0 or the exit point.
// required: the invalid handle counts as success and goes to the child, where every call on it fails
static u32 openFile(Stream *stream, const StreamRow &row, const char *name, bool isFile)
{
    const bool forReading = &row == &inputRow;
    void *const attributes = isFile && !forReading ? &ExecInheritAttributes : nullptr;
    stream->Handle =
        CreateFileA(name, forReading ? GENERIC_READ : GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, attributes,
                    isFile && !forReading ? CREATE_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (stream->Handle != nullptr) {
        stream->Owned = true;
        return 0;
    }
    logStream(isFile ? row.FileMSN : row.NullMSN, "CreateFile", name, GetLastError());
    return row.OpenPoint;
}

// One stream by its nibble. Output is the stream of standard output for standard error, else NULL.
static u32 openStream(Stream *stream, const StreamRow &row, u32 mode, const char *name, const Stream *output)
{
    switch (mode) {
    case modeNull: return openFile(stream, row, "NUL", false);
    case modePipe: return openPipe(stream, row, &row == &inputRow);
    case modeFile:
        if (output == nullptr || name[0] != '\0') return openFile(stream, row, name, true);
        stream->Handle = output->Handle;
        return 0;
    case modeOwn: stream->Handle = GetStdHandle(row.StandardHandle); return 0;
    }
    return 0; // required: any other value leaves the stream without a handle
}

// Program and arguments, a blank behind each; nothing is quoted. Local is used below 255 counted bytes.
static char *buildLine(const char *program, char **argv, char local[localLineRoom], bool *fromHeap)
{
    size_t size = strlen(program) + 1;
    for (char **argument = argv; argument[0] != nullptr && argument[1] != nullptr; ++argument)
        size += strlen(argument[1]) + 1;
    *fromHeap = size >= heapLineLimit;
    char *const line = *fromHeap ? static_cast<char *>(tks_trace_Malloc(size + 1, SUPOS_EXEC_FILE, 863)) : local;
    if (line == nullptr) return nullptr;

    char *at = stpcpy(stpcpy(line, program), " ");
    for (char **argument = argv; argument[0] != nullptr && argument[1] != nullptr; ++argument)
        at = stpcpy(stpcpy(at, argument[1]), " ");
    return line;
}

static void fillStartup(STARTUPINFOA *startup, const Stream &input, const Stream &output, const Stream &error)
{
    *startup = {};
    startup->cb = 0x44;
    startup->dwFlags = STARTF_USESHOWWINDOW;
    startup->wShowWindow = 1;
    startup->hStdInput = input.Handle;
    startup->hStdOutput = output.Handle;
    startup->hStdError = error.Handle;
    if (input.Handle != nullptr || output.Handle != nullptr || error.Handle != nullptr)
        startup->dwFlags |= STARTF_USESTDHANDLES;
}

// Starts the child. Returns 0 or the exit point.
static u32 startChild(const char *program, const char *line, u32 options, u32 creationFlags, STARTUPINFOA *startup,
                      SupOS_ExecResult *result)
{
    PROCESS_INFORMATION child = {};
    if (!CreateProcessA(nullptr, line, &ExecChildAttributes, &ExecChildAttributes, 1, creationFlags, nullptr, nullptr,
                        startup, &child)) {
        const u32 error = GetLastError();
        SupER_Log(SUPER_CONSOLE, SUPOS_MSG_START_FAILED, 161, program, error);
        return 22;
    }
    if (options & SUPOS_EXEC_NO_WAIT) {
        CloseHandle(child.hProcess);
        child.hProcess = nullptr;
    }
    CloseHandle(child.hThread);
    *result = {child.dwProcessId, child.hProcess};
    return 0;
}

static void fillAttributes()
{
    if (__atomic_load_n(&ExecAttributesReady, __ATOMIC_ACQUIRE) != 0) return;
    SupOS_GetSecurityAttributes(SUPOS_OBJECT_OPEN, 1, &ExecInheritAttributes);
    SupOS_GetSecurityAttributes(SUPOS_OBJECT_PROCESS, 0, &ExecChildAttributes);
    __atomic_store_n(&ExecAttributesReady, 1, __ATOMIC_RELEASE);
}

u32 SupOS_Exec(const char *Program, char **Argv, SupOS_ExecRecord *Record, SupOS_ExecResult *Result)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Exec");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %p, %p)", static_cast<const void *>(Program),
                static_cast<void *>(Argv), static_cast<void *>(Record), static_cast<void *>(Result));

    const u32 flags = Record->Flags;
    const u32 creationFlags =
        flags & SUPOS_EXEC_DEFAULTS ? __atomic_load_n(&ExecDefaultFlags, __ATOMIC_RELAXED) : DETACHED_PROCESS;
    fillAttributes();

    Stream input = {}, output = {}, error = {};
    u32 point = openStream(&input, inputRow, flags & 0xF, Record->InputName, nullptr);
    if (point == 0) point = openStream(&output, outputRow, flags >> 4 & 0xF, Record->OutputName, nullptr);
    if (point == 0) point = openStream(&error, errorRow, flags >> 8 & 0xF, Record->ErrorName, &output);

    char local[localLineRoom];
    char *line = local;
    bool fromHeap = false;
    if (point == 0) {
        line = buildLine(Program, Argv, local, &fromHeap);
        if (line == nullptr)
            SUPER_ASSERT_EXIT(SUPOS, 13, "(CommandLine != NULL)", 863, SUPOS_EXEC_FILE, 168,
                              "Error Allocating Command Line");
        STARTUPINFOA startup;
        fillStartup(&startup, input, output, error);
        point = startChild(Program, line, flags, creationFlags, &startup, Result);
    }
    if (point == 0) {
        if (input.Piped) Record->InputFd = input.CallerFd;
        if (output.Piped) Record->OutputFd = output.CallerFd;
        if (error.Piped) Record->ErrorFd = error.CallerFd;
    }

    // required: standard input is closed by the mark of standard output
    if (output.Owned) {
        CloseHandle(input.Handle);
        CloseHandle(output.Handle);
    }
    if (error.Owned) CloseHandle(error.Handle);
    if (fromHeap) tks_trace_Free(line);

    if (point != 0) INFTR_RETURN_CODE(point, SupOS_RC_SYSTEM);
    INFTR_RETURN_CODE(1, ERZ_OK);
}

void SupOS_Exec_Defaults(u32 Options)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Exec_Defaults");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%x)", Options);

    __atomic_store_n(&ExecDefaultFlags, Options & 1 ? DETACHED_PROCESS : 0, __ATOMIC_RELAXED);
    INFTR_RETURN(1);
}

i32 SupOS_Wait(i32 *Status, i32 Pid, handle Process)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Wait");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %d, %p)", static_cast<void *>(Status), Pid, Process);

    if (WaitForSingleObject(Process, PLAT_INFINITE) != WAIT_OBJECT_0) {
        *Status = -1;
        const i32 failed = -1;
        INFTR_RETURN_VALUE(2, failed);
    }
    u32 code = 0;
    GetExitCodeProcess(Process, &code);
    *Status = static_cast<i32>(code);
    CloseHandle(Process);
    INFTR_RETURN_VALUE(1, Pid);
}

void SupOS_StartArt(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_StartArt");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "()");

    char name[] = "velaart";
    char *arguments[] = {name, nullptr};
    SupOS_ExecRecord record = {};
    record.Flags = SUPOS_EXEC_IN_NULL | SUPOS_EXEC_OUT_NULL | SUPOS_EXEC_ERR_NULL;
    SupOS_ExecResult result = {};
    SupOS_Exec("velaart.exe", arguments, &record, &result); // required: the process handle stays open
    INFTR_RETURN(1);
}
