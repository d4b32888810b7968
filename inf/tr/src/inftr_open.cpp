// Trace files: their names, and a thread's auxiliary file from open to close.
//
// An auxiliary file is a header of 16 bytes and records behind it. It can be closed at any time, by the thread's end or
// by another thread's command, and goes on at its next record where it stopped. These functions stand below the writing
// of a record, so they carry no guard, and they report nothing: a failure stays in the block and stops this file alone.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "crt.h"
#include "inftr_int.h"
#include "super_assert.h"

// The parts of an auxiliary file's header: OFFSET 0 region, 8 program; blank-padded, no terminators.
struct AuxHeader {
    char Region[8];
    char Program[8];
};
static_assert(sizeof(AuxHeader) == INFTR_AUX_HEADER_SIZE);

static tks_Mutex directoryLock;

void InfTR_LockDirectories(void)
{
    tks_MutexInitOnce(&directoryLock);
    tks_MutexLock(&directoryLock);
}

void InfTR_UnlockDirectories(void)
{
    tks_MutexUnlock(&directoryLock);
}

// The directory of a file type, as it stands in the master area.
static void copyDirectory(char (&Out)[256], i32 FileType)
{
    if (FileType == INFTR_FILETYPE_PIPE) {
        strcpy(Out, "\\\\.\\PIPE");
        return;
    }
    const bool user = FileType == 4 || FileType == 5;
    InfTR_LockDirectories();
    memcpy(Out, user ? InfTR_MasterTraceArea.TraceDirectoryUser : InfTR_MasterTraceArea.TraceDirectorySystem,
           sizeof Out);
    InfTR_UnlockDirectories();
    Out[sizeof Out - 1] = '\0';
}

// Copies a directory with its first %R or %r replaced by the region's name. Returns where Buffer goes on.
static char *expandDirectory(char *Buffer, const char *Directory, const char *Region)
{
    bool replaced = false;
    while (*Directory != '\0') {
        const bool mark = Directory[0] == '%' && (Directory[1] == 'R' || Directory[1] == 'r');
        if (!mark || replaced) {
            *Buffer++ = *Directory++;
            continue;
        }
        const size_t length = strlen(Region);
        memcpy(Buffer, Region, length);
        Buffer += length;
        Directory += 2;
        replaced = true;
    }
    return Buffer;
}

void InfTR_GetFileName(char *Buffer, i32 FileType, u32 DumpIndex)
{
    const InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    const char *const region = cache == nullptr ? "" : cache->RegionField;
    const char *const program = cache == nullptr ? "" : cache->ProgramField;
    const i32 process = cache == nullptr ? 0 : static_cast<i32>(cache->ProcessId);
    const i32 thread = static_cast<i32>(tks_ThreadSelf());

    char directory[256];
    copyDirectory(directory, FileType);
    char *out = expandDirectory(Buffer, directory, region);
    *out++ = '\\'; // required: also behind a directory that ends in one
    const size_t room = INFTR_FILENAME_SIZE - static_cast<size_t>(out - Buffer);

    switch (FileType) {
    case INFTR_FILETYPE_FORMATTED: snprintf(out, room, "%s.p%d.t%d.vela%s", program, process, thread, "fmt"); break;
    case INFTR_FILETYPE_AUX: snprintf(out, room, "%s.p%d.t%d.vela%s", program, process, thread, "trc"); break;
    case INFTR_FILETYPE_DUMP:
        snprintf(out, room, "%s.p%d.%03d.veladmp", program, process, static_cast<int>(DumpIndex));
        break;
    case INFTR_FILETYPE_PIPE: snprintf(out, room, ".%s.fifo", region); break;
    default:
        SUPER_ASSERT_EXIT_UNTRACED(INFTR, "InfTR_GetFileName", "(FALSE)", __LINE__, "inf\\tr\\src\\inftr_open", 551,
                                   "Invalid FileType=%d", FileType);
    }
}

void InfTR_FailFile(TraceFile *File)
{
    File->LastError = errno;
    _close(File->Descriptor);
    File->FileStatus = INFTR_FILESTATUS_FAILED;
}

void InfTR_WriteAUXFileHeader(TraceFile *File)
{
    if (File->FileStatus != INFTR_FILESTATUS_OPEN) {
        SUPER_ASSERT_EXIT_UNTRACED(INFTR, "InfTR_WriteAUXFileHeader",
                                   "(TraceFilePtr->FileStatus == INFTR_FILESTATUS_OPEN)", __LINE__,
                                   "inf\\tr\\src\\inftr_open", 561, "Invalid FileStatus=%d in InfTR_WriteAUXFileHeader",
                                   static_cast<int>(File->FileStatus));
    }
    const InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    AuxHeader header;
    InfTR_PadName(header.Region, cache->RegionField);
    InfTR_PadName(header.Program, cache->ProgramField);
    if (!InfTR_WriteAll(File->Descriptor, &header, sizeof header)) {
        InfTR_FailFile(File);
        return;
    }
    if (File->MaximumSize > 0) File->BytesLeft -= INFTR_AUX_HEADER_SIZE;
    File->SequenceNumber = 0;
    File->Offset = INFTR_AUX_HEADER_SIZE;
    File->Position = File->Offset;
}

void InfTR_TempCloseTraceFile(TraceFile *File)
{
    if (File->FileStatus != INFTR_FILESTATUS_OPEN) {
        SUPER_ASSERT_EXIT_UNTRACED(INFTR, "InfTR_TempCloseTraceFile",
                                   "(TraceFilePtr->FileStatus == INFTR_FILESTATUS_OPEN)", __LINE__,
                                   "inf\\tr\\src\\inftr_open", 561, "Invalid FileStatus=%d in InfTR_TempCloseTraceFile",
                                   static_cast<int>(File->FileStatus));
    }
    File->Position = File->Offset;
    _commit(File->Descriptor);
    _close(File->Descriptor);
    File->FileStatus = INFTR_FILESTATUS_CLOSED;
}

// Before a file is opened again: takes over a size limit that has changed, as far as the room left allows it.
static void takeNewLimit(TraceFile *File)
{
    const i32 limit = InfTR_Read(InfTR_MasterTraceArea.TraceMaxSizeAux);
    const i64 left = static_cast<i64>(File->BytesLeft) + limit - File->MaximumSize;
    if (limit == File->MaximumSize || left <= 0 || left > INT32_MAX) return;
    File->BytesLeft = static_cast<i32>(left);
    File->MaximumSize = limit;
}

// Puts a reopened file to where it was closed. One that was emptied meanwhile starts again, one that shrank fails.
static void resumeFile(TraceFile *File)
{
    if (File->Position < INFTR_AUX_HEADER_SIZE) {
        InfTR_WriteAUXFileHeader(File);
        return;
    }
    errno = 0;
    const i32 end = _lseek(File->Descriptor, 0, SEEK_END);
    if (end == 0) {
        File->Position = 0;
        InfTR_WriteAUXFileHeader(File);
        return;
    }
    if (end < File->Position || _lseek(File->Descriptor, File->Position, SEEK_SET) < 0) {
        InfTR_FailFile(File);
        return;
    }
    File->Offset = File->Position;
}

void InfTR_OpenAuxTraceFile(TraceFile *File)
{
    if (File->FileStatus == INFTR_FILESTATUS_DEAD) return;
    if (File->FileStatus != INFTR_FILESTATUS_CLOSED && File->FileStatus != INFTR_FILESTATUS_UNINIT) {
        SUPER_ASSERT_EXIT_UNTRACED(INFTR, "InfTR_OpenAuxTraceFile",
                                   "(TraceFilePtr->FileStatus == INFTR_FILESTATUS_CLOSED || "
                                   "TraceFilePtr->FileStatus == INFTR_FILESTATUS_UNINIT)",
                                   __LINE__, "inf\\tr\\src\\inftr_open", 552,
                                   "Invalid FileStatus=%d in InfTR_OpenAuxTraceFile",
                                   static_cast<int>(File->FileStatus));
    }
    const bool first = File->FileStatus == INFTR_FILESTATUS_UNINIT;
    if (first) {
        File->Position = 0;
        File->FileType = INFTR_FILETYPE_AUX;
        File->MaximumSize = InfTR_Read(InfTR_MasterTraceArea.TraceMaxSizeAux);
        File->BytesLeft = File->MaximumSize;
        InfTR_GetFileName(File->Name, INFTR_FILETYPE_AUX, 0);
    } else {
        takeNewLimit(File);
    }

    const i32 flags = PLAT_O_WRONLY | PLAT_O_BINARY | PLAT_O_CREAT | (first ? PLAT_O_TRUNC : 0);
    File->Descriptor = _open(File->Name, flags, 0600);
    if (File->Descriptor < 0) {
        File->LastError = errno;
        File->FileStatus = INFTR_FILESTATUS_FAILED;
        return;
    }
    File->FileStatus = INFTR_FILESTATUS_OPEN;
    if (first)
        InfTR_WriteAUXFileHeader(File);
    else
        resumeFile(File);
}
