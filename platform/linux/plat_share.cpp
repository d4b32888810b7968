// The table of open files. It is short (trace files, dumps, tables), so it is searched from end to end.

#include "plat_share.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "plat_sys.h"

struct OpenFile {
    int Descriptor;
    u32 Access;
    u32 Share;
    dev_t Device;
    ino_t Inode;
};

static constinit pthread_mutex_t shareLock = PTHREAD_MUTEX_INITIALIZER;
static constinit OpenFile *openFiles = nullptr; // guarded by shareLock, as the next two
static constinit u32 openCount = 0;
static constinit u32 openRoom = 0;

constinit std::atomic<u8> Plat_ShareKnown[PLAT_SHARE_KNOWN] = {};

static void setKnown(int Descriptor, u8 Value)
{
    if (Descriptor >= 0 && Descriptor < PLAT_SHARE_KNOWN)
        Plat_ShareKnown[Descriptor].store(Value, std::memory_order_relaxed);
}

static void dropEntry(u32 Index)
{
    setKnown(openFiles[Index].Descriptor, 0);
    openFiles[Index] = openFiles[--openCount];
}

// An entry whose descriptor was closed by somebody else, or stands for another file by now.
static bool isStale(const OpenFile &Entry)
{
    struct stat now;
    return Plat_Sys.Fstat(Entry.Descriptor, &now) != 0 || now.st_dev != Entry.Device || now.st_ino != Entry.Inode;
}

static bool isAllowed(const struct stat *File, u32 Access, u32 Share)
{
    for (u32 i = 0; i < openCount;) {
        const OpenFile &entry = openFiles[i];
        const bool same = entry.Device == File->st_dev && entry.Inode == File->st_ino;
        const bool clash = same && ((Access & ~entry.Share) != 0 || (entry.Access & ~Share) != 0);
        if (clash && !isStale(entry)) return false;
        if (clash) {
            dropEntry(i);
        } else {
            ++i;
        }
    }
    return true;
}

static bool makeRoom()
{
    if (openCount < openRoom) return true;
    const u32 room = openRoom == 0 ? 32 : openRoom * 2;
    OpenFile *const grown = static_cast<OpenFile *>(Plat_Sys.Malloc(room * sizeof *grown));
    if (grown == nullptr) return false;
    if (openCount != 0) memcpy(grown, openFiles, openCount * sizeof *grown);
    free(openFiles);
    openFiles = grown;
    openRoom = room;
    return true;
}

static void forget(int Descriptor)
{
    for (u32 i = 0; i < openCount;) {
        if (openFiles[i].Descriptor == Descriptor) {
            dropEntry(i);
        } else {
            ++i;
        }
    }
}

i32 Plat_ShareEnter(int Descriptor, const struct stat *File, u32 Access, u32 Share)
{
    pthread_mutex_lock(&shareLock);
    forget(Descriptor); // left behind by a close that did not pass here
    const bool allowed = isAllowed(File, Access, Share);
    // Without memory the file is not entered: sharing is then not refused, which loses no data of its opener.
    if (allowed && makeRoom()) {
        openFiles[openCount++] = {Descriptor, Access, Share, File->st_dev, File->st_ino};
        setKnown(Descriptor, 1);
    }
    pthread_mutex_unlock(&shareLock);
    return allowed;
}

i32 Plat_ShareAllows(const struct stat *File, u32 Access, u32 Share)
{
    pthread_mutex_lock(&shareLock);
    const bool allowed = isAllowed(File, Access, Share);
    pthread_mutex_unlock(&shareLock);
    return allowed;
}

void Plat_ShareForget(int Descriptor)
{
    pthread_mutex_lock(&shareLock);
    forget(Descriptor);
    pthread_mutex_unlock(&shareLock);
}

i32 Plat_ShareKnows(int Descriptor)
{
    return Plat_ShareHas(Descriptor) ? 1 : 0;
}
