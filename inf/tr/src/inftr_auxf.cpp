// Writing records to a thread's auxiliary file, and the commands that reach the files of all threads.
//
// One write a record, unbuffered: after a crash every written record is in the file. With a limit the file is a loop of
// laps. A wrap first cuts the file behind the newest record, then goes on behind the header, so the file holds the
// records of this lap, then what is left of the last one; the sequence number falls where the two meet.
//
// A file's block belongs to its thread; another thread reaches it only through ThreadFileList, to close the file. The
// list is taken before a block.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crt.h"
#include "inftr_int.h"
#include "super_logging.h"
#include "tks_memory.h"

// A message that comes of this thread's write to its file must not write to it.
static thread_local bool writingFile __attribute__((tls_model("initial-exec"))) = false;

static bool allFlagsOn(const struct InfTR_MasterTraceArea *Master)
{
    return InfTR_Read(Master->TraceFlagMaster) == 1 && InfTR_Read(Master->TraceFlagSystem) == 1 &&
           InfTR_Read(Master->TraceFlagAux) == 1;
}

// required: a record that has no file to go to turns auxiliary trace off for the whole process
static void turnAuxOff(struct InfTR_MasterTraceArea *Master)
{
    const bool tracing = allFlagsOn(Master);
    InfTR_Write(Master->TraceFlagAux, 0u);
    if (tracing) InfTR_ControlAux(INFTR_COMMAND_CLOSE_FILES);
}

// Makes the thread's block and puts it on the process's list. Nullptr when there is none to write to.
static TraceFile *makeFile(struct InfTR_MasterTraceArea *Master, InfTR_ProcessCache *Cache)
{
    void *const block = tks_trace_Malloc(sizeof(TraceFile), "inf\\tr\\src\\inftr_auxf", __LINE__);
    if (block == nullptr) {
        turnAuxOff(Master);
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_NO_MEMORY, 354);
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_CHANGED, 355, "TraceFlagSystem", "OFF"); // required: this name
        return nullptr;
    }
    memset(block, 0, sizeof(TraceFile));
    TraceFile *const file = static_cast<TraceFile *>(block);
    tks_MutexInit(&file->Lock);

    tks_MutexLock(&Cache->ThreadFileLock);
    const bool ending = InfTR_Read(Cache->TerminateFlag) != 0;
    if (!ending) {
        file->Next = Cache->ThreadFileList;
        Cache->ThreadFileList = file;
    }
    tks_MutexUnlock(&Cache->ThreadFileLock);
    if (ending) {
        tks_trace_Free(file);
        return nullptr;
    }
    tks_ThreadSetData(InfTR_FileSlot, file, nullptr);
    return file;
}

// Cuts the file at Position and goes on behind its header. False when it cannot be cut; the file has then failed.
static bool startNextLap(TraceFile *File)
{
    if (_chsize(File->Descriptor, File->Position) != 0 ||
        _lseek(File->Descriptor, INFTR_AUX_HEADER_SIZE, SEEK_SET) < 0) {
        InfTR_FailFile(File);
        return false;
    }
    File->Offset = INFTR_AUX_HEADER_SIZE;
    if (File->MaximumSize != 0) File->BytesLeft = File->MaximumSize - INFTR_AUX_HEADER_SIZE;
    return true;
}

// One record at the current offset. Offsets have 31 bits: a file that would pass them is too large.
static inline bool putRecord(TraceFile *File, const TraceRecord *Record, i32 Size)
{
    if (File->Offset > INT32_MAX - Size) {
        errno = EFBIG;
        return false;
    }
    if (!InfTR_WriteAll(File->Descriptor, Record, static_cast<u32>(Size))) return false;
    File->Offset += Size;
    if (File->MaximumSize > 0) File->BytesLeft -= Size;
    return true;
}

// Writes a record to a block that is locked and open.
static inline void writeRecord(TraceFile *File, TraceRecord *Record)
{
    const i32 size = Record->TraceHeader.DataLength + INFTR_HEADER_SIZE;
    if (File->MaximumSize != 0 && size > File->BytesLeft) {
        if (getenv("VELATRACE_DISABLE_AUX_LOOPING") != nullptr) {
            InfTR_TempCloseTraceFile(File);
            File->FileStatus = INFTR_FILESTATUS_STOPPED;
            return;
        }
        File->Position = File->Offset;
        if (!startNextLap(File)) return;
    }

    Record->TraceHeader.SequenceNumber = ++File->SequenceNumber;
    File->Position = File->Offset;
    if (putRecord(File, Record, size)) return;

    const bool full = errno == ENOSPC || errno == EFBIG;
    if (full && getenv("VELATRACE_LOOP_ON_NOSPC") != nullptr) {
        if (!startNextLap(File)) {
            --File->SequenceNumber;
            return;
        }
        File->Position = File->Offset;
        if (putRecord(File, Record, size)) return;
    }
    InfTR_FailFile(File);
    --File->SequenceNumber;
}

static inline void writeLocked(const struct InfTR_MasterTraceArea *Master, TraceFile *File, TraceRecord *Record)
{
    writingFile = true;
    tks_MutexLock(&File->Lock);
    if (allFlagsOn(Master)) {
        if (File->FileStatus == INFTR_FILESTATUS_CLOSED || File->FileStatus == INFTR_FILESTATUS_UNINIT) {
            InfTR_OpenAuxTraceFile(File);
        }
        if (File->FileStatus == INFTR_FILESTATUS_OPEN) writeRecord(File, Record);
    }
    tks_MutexUnlock(&File->Lock);
    writingFile = false;
}

void InfTR_WriteTraceToAuxFile(TraceRecord *Record)
{
    struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (master == nullptr || cache == nullptr || writingFile || InfTR_FileSlot >= TKS_THREAD_SLOTS) return;

    const int callersErrno = errno;
    void *const slot = tks_ThreadDataOf(InfTR_FileSlot);
    if (slot == INFTR_SLOT_DEAD) turnAuxOff(master);
    TraceFile *file = slot == INFTR_SLOT_DEAD ? nullptr : static_cast<TraceFile *>(slot);
    if (slot == nullptr) file = makeFile(master, cache);
    if (file != nullptr) writeLocked(master, file, Record);
    errno = callersErrno;
}

static void closeAllFiles(InfTR_ProcessCache *Cache)
{
    tks_MutexLock(&Cache->ThreadFileLock);
    for (TraceFile *file = Cache->ThreadFileList; file != nullptr; file = file->Next) {
        tks_MutexLock(&file->Lock);
        if (file->FileStatus == INFTR_FILESTATUS_OPEN) InfTR_TempCloseTraceFile(file);
        tks_MutexUnlock(&file->Lock);
    }
    tks_MutexUnlock(&Cache->ThreadFileLock);
}

void InfTR_ControlAux(u32 Command)
{
    INFTR_FUNCTION(INFTR, "InfTR_ControlAux");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%#x)", Command);

    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    switch (Command & 0xFFFFu) {
    case INFTR_COMMAND_DUMP: InfTR_DumpRingBuffer(Command >> 16, nullptr); break;
    case INFTR_COMMAND_CLOSE_FILES:
        if (cache != nullptr) closeAllFiles(cache);
        break;
    default: break; // required: the end of a process (4) comes here and is only traced
    }
    INFTR_RETURN(1);
}
