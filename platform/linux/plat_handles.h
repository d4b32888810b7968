#ifndef PLAT_HANDLES_H
#define PLAT_HANDLES_H

// The handle table of the process.
//
// A handle is the number of a slot, (slot + 1) * 4, so it is never 0, stays below 2^31 and looks like no descriptor.
// The slot holds one reference to its object; every call that uses a handle takes another for as long as it works.
// So a handle may be closed while another thread waits on it: the slot is free at once, and the object goes with the
// last of its users.
//
// A new kind of object is a structure that begins with a Plat_Object, a bit in Plat_Kind, and a Plat_ObjectOps.

#include <atomic>

#include "plat_types.h"

// One bit a kind, so that a call can say which kinds it takes.
enum Plat_Kind : u32 {
    PLAT_KIND_STANDARD = 0x001, // one of the three standard streams
    PLAT_KIND_FILE = 0x002,
    PLAT_KIND_PIPE = 0x004, // an end of an anonymous or named pipe
    PLAT_KIND_PROCESS = 0x008,
    PLAT_KIND_THREAD = 0x010,
    PLAT_KIND_MUTEX = 0x020,
    PLAT_KIND_EVENT = 0x040,
    PLAT_KIND_KEY = 0x080, // registry key
    PLAT_KIND_EVENT_SOURCE = 0x100, // event log
    PLAT_KIND_TOKEN = 0x200, // security token
    PLAT_KIND_NAMED_PIPE = 0x400, // the owner's side of a named pipe
    PLAT_KIND_STREAM = PLAT_KIND_STANDARD | PLAT_KIND_FILE | PLAT_KIND_PIPE, // a Plat_Stream
    PLAT_KIND_ANY = 0xFFFFFFFF
};

struct Plat_Object;

// What all objects of a kind share.
struct Plat_ObjectOps {
    Plat_Kind Kind;
    void (*Closing)(Plat_Object *Object); // the handle is given up, others may still use the object; may be null
    void (*Destroy)(Plat_Object *Object); // the last reference is gone: releases all that it holds, itself too
};

// The head of every object.
struct Plat_Object {
    const Plat_ObjectOps *Ops;
    std::atomic<u32> References; // one of the slot, one of each call at work
};

// Objects that are a descriptor: files, pipe ends, standard streams.
struct Plat_Stream {
    Plat_Object Head;
    int Descriptor; // -1 after it was taken out
};

// Enters an object with its first reference. Returns its handle; NULL with the last error set when the table is full
// or memory is short, and then the object is still the caller's.
PLAT_API handle Plat_HandleCreate(Plat_Object *Object, const Plat_ObjectOps *Ops);

// The object behind a handle, with a reference that Plat_HandleRelease gives back; NULL when there is none, or none
// of these kinds. Leaves the last error alone.
PLAT_API Plat_Object *Plat_HandleAcquire(handle Handle, u32 Kinds);
PLAT_API void Plat_HandleRelease(Plat_Object *Object);

// Takes a handle of these kinds out of the table. Nonzero when it was there. Leaves the last error alone.
PLAT_API i32 Plat_HandleClose(handle Handle, u32 Kinds);

// A handle of a new Plat_Stream over Descriptor, which belongs to the handle from now on. NULL with the last error
// set, and then the descriptor is still the caller's.
PLAT_API handle Plat_StreamCreate(Plat_Kind Kind, int Descriptor);

#endif
