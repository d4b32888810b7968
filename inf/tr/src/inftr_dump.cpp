// Dumping the ring: an exact image of its header and data in one write, under RingLock from the first look to the last
// byte, so that no record changes in between.
//
// Names are the platform's: a directory of its own below the system directory gets a second separator in front of the
// file's name, which every path may have.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "crt.h"
#include "inftr_int.h"
#include "super_formatting.h"
#include "super_logging.h"

// Whether any record's eye-catcher lies in the ring. Marks of lost records have none.
static bool holdsRecord(const u8 *Data, size_t Size)
{
    const u8 *at = Data;
    const u8 *const end = Data + Size;
    while ((at = static_cast<const u8 *>(memchr(at, InfTR_RecordEyeCatcher[0], static_cast<size_t>(end - at)))) !=
           nullptr) {
        if (static_cast<size_t>(end - at) < sizeof InfTR_RecordEyeCatcher) return false;
        if (memcmp(at, InfTR_RecordEyeCatcher, sizeof InfTR_RecordEyeCatcher) == 0) return true;
        ++at;
    }
    return false;
}

constexpr size_t PATH_SIZE = 4096;

// The path of a dump file. False with errno when it does not fit.
static bool dumpPath(char (&Path)[PATH_SIZE], u32 DumpIndex, const char *SubDirectory)
{
    char name[INFTR_FILENAME_SIZE];
    InfTR_GetFileName(name, INFTR_FILETYPE_DUMP, DumpIndex);
    if (SubDirectory == nullptr) {
        memcpy(Path, name, strlen(name) + 1);
        return true;
    }

    // required: TraceDirectorySystem as it stands, its %R not replaced
    char system[sizeof InfTR_MasterTraceArea.TraceDirectorySystem];
    InfTR_LockDirectories();
    memcpy(system, InfTR_MasterTraceArea.TraceDirectorySystem, sizeof system);
    InfTR_UnlockDirectories();
    system[sizeof system - 1] = '\0';

    const int part = static_cast<int>(strcspn(SubDirectory, ".") & 0xFFFF);
    char directory[PATH_SIZE];
    const int length = snprintf(directory, sizeof directory, "%s%c%.*s_TRACE", system, '\\', part, SubDirectory);
    const char *const file = strrchr(name, '\\');
    if (length < 0 || static_cast<size_t>(length) + 1 + strlen(file) >= sizeof directory) {
        memcpy(Path, name, strlen(name) + 1);
        errno = ENAMETOOLONG;
        return false;
    }
    _mkdir(directory); // one that exists serves as well; any other failure shows at the open
    memcpy(Path, directory, static_cast<size_t>(length));
    snprintf(Path + length, sizeof Path - static_cast<size_t>(length), "%c%s", '\\', file);
    return true;
}

void InfTR_DumpRingBuffer(u32 DumpIndex, const char *SubDirectory)
{
    INFTR_FUNCTION(INFTR, "InfTR_DumpRingBuffer");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%u, %p)", DumpIndex, static_cast<const void *>(SubDirectory));

    InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (cache == nullptr || InfTR_Read(InfTR_TracePtr) == nullptr) INFTR_RETURN(1);

    tks_MutexLock(&cache->RingLock);
    const u8 *const image = reinterpret_cast<const u8 *>(cache) + offsetof(InfTR_ProcessCache, Ring);
    const size_t size = static_cast<size_t>(cache->Ring.RingSize);
    if (!holdsRecord(image + sizeof(InfTR_RingHeader), size)) {
        tks_MutexUnlock(&cache->RingLock);
        SupER_ServiceLog("No trace data in RingBuffers\n");
        INFTR_RETURN(2);
    }

    char path[PATH_SIZE];
    const bool named = dumpPath(path, DumpIndex, SubDirectory);
    const i32 file = named ? _open(path, PLAT_O_WRONLY | PLAT_O_BINARY | PLAT_O_CREAT | PLAT_O_TRUNC, 0777) : -1;
    if (file < 0) {
        const int reason = errno;
        tks_MutexUnlock(&cache->RingLock);
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_DUMP_FAILED, 201, "open", path, reason);
        INFTR_RETURN(3);
    }
    const bool written = InfTR_WriteAll(file, image, static_cast<u32>(size + sizeof(InfTR_RingHeader)));
    const int reason = errno;
    tks_MutexUnlock(&cache->RingLock);

    // required: the file stays open until the process ends
    if (!written) {
        SupER_Log(SUPER_CONSOLE, INFTR_MSG_DUMP_FAILED, 203, "write", path, reason);
        INFTR_RETURN(4);
    }
    SupER_Log(SUPER_CONSOLE, INFTR_MSG_DUMPED, 202, path);
    INFTR_RETURN(5);
}
