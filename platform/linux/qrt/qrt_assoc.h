#ifndef QRT_ASSOC_H
#define QRT_ASSOC_H

// Associations: connections on which interfaces have been agreed, and the group of those to one endpoint.

#include "qrt_int.h"
#include "qrt_stream.h"

constexpr u16 QRT_CONTEXTS = 8; // interfaces that one association carries

struct Qrt_Context {
    uuid_t Interface;
    u32 Version;
    u16 Id;
};

struct Qrt_Association {
    Qrt_Association *Next; // in the group's list of idle ones
    Qrt_Stream Stream;
    u32 CallId; // of the last call
    u16 Fragment; // largest PDU to send
    u16 ContextCount;
    u16 NextContextId;
    bool Reused; // has carried a call before
    Qrt_Context Contexts[QRT_CONTEXTS];
};

struct Qrt_Group;

// A group with one user. NULL without memory.
Qrt_Group *Qrt_NewGroup(Qrt_Protocol Protocol, const char *Host, const char *Endpoint);
Qrt_Group *Qrt_GroupKeep(Qrt_Group *Group); // one more user; NULL stays NULL
void Qrt_GroupRelease(Qrt_Group *Group); // the last user ends it with its idle associations

// An association on which the interface is agreed: an idle one, or a new one when Fresh is set or none is idle.
u32 Qrt_GroupTake(Qrt_Group *Group, const uuid_t *Interface, u32 Version, u32 ComTimeout, bool Fresh,
                  Qrt_Association **Out, u16 *ContextId);

// Ends the use of an association; a sound one, whose last answer is complete, waits for the next call.
void Qrt_GroupGiveBack(Qrt_Group *Group, Qrt_Association *Association, bool Sound);

#endif
