// The handle table. One lock guards the slots; it is held for a few instructions, never while an object is destroyed.

#include "plat_handles.h"

#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "plat_share.h"
#include "plat_sys.h"
#include "win32_error.h"

constexpr u32 firstRoom = 64;
constexpr u32 largestRoom = 1u << 20;

static constinit pthread_mutex_t tableLock = PTHREAD_MUTEX_INITIALIZER;
static constinit Plat_Object **slots = nullptr; // a slot is NULL while free
static constinit u32 slotRoom = 0;
static constinit u32 lowestFree = 0; // no free slot lies below it

static bool slotOf(handle Handle, u32 *Slot)
{
    const uintptr_t value = reinterpret_cast<uintptr_t>(Handle);
    if (value == 0 || value % 4 != 0 || value / 4 - 1 >= slotRoom) return false;
    *Slot = static_cast<u32>(value / 4 - 1);
    return true;
}

// Makes the table twice as large. The lock is held.
static bool growTable()
{
    const u32 room = slotRoom == 0 ? firstRoom : slotRoom * 2;
    if (room > largestRoom) {
        SetLastError(ERROR_TOO_MANY_OPEN_FILES);
        return false;
    }
    Plat_Object **const grown = static_cast<Plat_Object **>(Plat_Sys.Malloc(room * sizeof *grown));
    if (grown == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
    if (slotRoom != 0) memcpy(grown, slots, slotRoom * sizeof *grown);
    memset(grown + slotRoom, 0, (room - slotRoom) * sizeof *grown);
    free(slots);
    slots = grown;
    slotRoom = room;
    return true;
}

handle Plat_HandleCreate(Plat_Object *Object, const Plat_ObjectOps *Ops)
{
    Object->Ops = Ops;
    Object->References.store(1, std::memory_order_relaxed);

    pthread_mutex_lock(&tableLock);
    while (lowestFree < slotRoom && slots[lowestFree] != nullptr) ++lowestFree;
    if (lowestFree == slotRoom && !growTable()) {
        pthread_mutex_unlock(&tableLock);
        return nullptr;
    }
    const u32 slot = lowestFree++;
    slots[slot] = Object;
    pthread_mutex_unlock(&tableLock);
    return reinterpret_cast<handle>((static_cast<uintptr_t>(slot) + 1) * 4);
}

Plat_Object *Plat_HandleAcquire(handle Handle, u32 Kinds)
{
    Plat_Object *found = nullptr;
    u32 slot;
    pthread_mutex_lock(&tableLock);
    if (slotOf(Handle, &slot) && slots[slot] != nullptr && (slots[slot]->Ops->Kind & Kinds) != 0) {
        found = slots[slot];
        found->References.fetch_add(1, std::memory_order_relaxed);
    }
    pthread_mutex_unlock(&tableLock);
    return found;
}

void Plat_HandleRelease(Plat_Object *Object)
{
    if (Object->References.fetch_sub(1, std::memory_order_acq_rel) == 1) Object->Ops->Destroy(Object);
}

i32 Plat_HandleClose(handle Handle, u32 Kinds)
{
    Plat_Object *found = nullptr;
    u32 slot;
    pthread_mutex_lock(&tableLock);
    if (slotOf(Handle, &slot) && slots[slot] != nullptr && (slots[slot]->Ops->Kind & Kinds) != 0) {
        found = slots[slot];
        slots[slot] = nullptr;
        if (slot < lowestFree) lowestFree = slot;
    }
    pthread_mutex_unlock(&tableLock);
    if (found == nullptr) return 0;

    if (found->Ops->Closing != nullptr) found->Ops->Closing(found);
    Plat_HandleRelease(found);
    return 1;
}

static void destroyStream(Plat_Object *Object)
{
    Plat_Stream *const stream = reinterpret_cast<Plat_Stream *>(Object);
    if (stream->Descriptor >= 0) {
        Plat_ShareForget(stream->Descriptor);
        Plat_Sys.Close(stream->Descriptor);
    }
    free(stream);
}

static const Plat_ObjectOps standardOps = {PLAT_KIND_STANDARD, nullptr, destroyStream};
static const Plat_ObjectOps fileOps = {PLAT_KIND_FILE, nullptr, destroyStream};
static const Plat_ObjectOps pipeOps = {PLAT_KIND_PIPE, nullptr, destroyStream};

handle Plat_StreamCreate(Plat_Kind Kind, int Descriptor)
{
    void *const block = Plat_Sys.Malloc(sizeof(Plat_Stream));
    if (block == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    Plat_Stream *const stream = new (block) Plat_Stream{};
    stream->Descriptor = Descriptor;
    if (Kind != PLAT_KIND_FILE) Plat_ShareForget(Descriptor); // the number may have been a file's before
    const Plat_ObjectOps *const ops = Kind == PLAT_KIND_STANDARD ? &standardOps
                                      : Kind == PLAT_KIND_PIPE   ? &pipeOps
                                                                 : &fileOps;
    const handle created = Plat_HandleCreate(&stream->Head, ops);
    if (created == nullptr) free(block);
    return created;
}
