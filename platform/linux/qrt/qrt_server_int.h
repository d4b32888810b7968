#ifndef QRT_SERVER_INT_H
#define QRT_SERVER_INT_H

// The server's own structures, shared by the file that runs threads and the one that speaks the protocol.

#include <sys/types.h>

#include "qrt_int.h"
#include "qrt_pdu.h"
#include "rpc_server.h"

constexpr u32 QRT_MAX_INTERFACES = 16;
constexpr u32 QRT_MAX_ENDPOINTS = 8;
constexpr u16 QRT_SERVER_CONTEXTS = 32; // of one connection

struct Qrt_ServerContext {
    u16 Id;
    const rpc_server_interface *Interface;
};

// One connection. Only the thread that has it from the poll set touches it.
struct Qrt_Connection {
    Qrt_Connection *Next; // in the server's list, guarded by its Lock
    Qrt_Connection *Before;
    rpc_server *Server;
    int Descriptor;
    u64 Number;
    bool Local;
    char Port[8]; // of its endpoint, for the answer to a bind; "" for a local socket
    u16 Fragment; // largest PDU that the client takes
    u16 ContextCount;
    Qrt_ServerContext Contexts[QRT_SERVER_CONTEXTS];
    u8 *In; // octets received and not used yet
    size_t InSize;
    size_t InCapacity;
    // a call whose fragments are coming in
    bool Assembling;
    u32 CallId;
    u16 CallContext;
    u16 Operation;
    uuid_t Object;
    ndr_format_t Format;
    u8 *Stub;
    size_t StubSize;
    size_t StubCapacity;
};

struct Qrt_Endpoint {
    Qrt_Protocol Protocol;
    int Descriptor;
    u8 Address[4];
    u16 Port;
    char Path[QRT_PATH_SIZE];
    dev_t Device; // of the socket file, so that only our own is removed
    ino_t Inode;
};

struct Qrt_MapEntry {
    Qrt_MapEntry *Next;
    uuid_t Object;
    u8 Tower[256];
    u32 TowerSize;
    char Annotation[64];
};

struct rpc_server {
    rpc_server_options Options;
    u32 InterfaceCount;
    rpc_server_interface Interfaces[QRT_MAX_INTERFACES];
    u32 EndpointCount;
    Qrt_Endpoint Endpoints[QRT_MAX_ENDPOINTS];
    Qrt_MapEntry *Entries;
    int PollSet;
    int Wake; // readable once the server stops
    u32 ThreadCount;
    pthread_t Threads[64];
    bool Stopping; // read and written atomically
    u32 Waiting; // threads in the poll set; read and written atomically
    pthread_mutex_t PassLock; // held while a connection goes back to the poll set
    pthread_mutex_t Lock; // guards all below; never with PassLock
    u32 ConnectionCount;
    Qrt_Connection *Connections;
    u64 NextNumber;
    u32 NextGroup;
    bool Full; // the endpoints are out of the poll set until a connection ends
};

// Takes all whole PDUs from In and answers them. False when the connection is to be closed.
bool Qrt_ServePdus(Qrt_Connection *Connection);

// Sends octets, waiting for room in the socket; false when the client is gone.
bool Qrt_ServerSend(Qrt_Connection *Connection, const void *Head, size_t HeadSize, const void *Body, size_t BodySize);

// The management interface that every server offers.
extern const rpc_server_operation Qrt_ManagementOperations[5];

#endif
