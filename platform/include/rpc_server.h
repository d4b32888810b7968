#ifndef RPC_SERVER_H
#define RPC_SERVER_H

/* The server side of the runtime, as small as tests, samples and the endpoint mapper need it: operations on octet
 * streams, no security, loopback and local sockets.
 *
 * A server goes through create, register_if (each interface), use_tcp and use_local (each endpoint), start,
 * [register_ep,] and destroy. A fixed number of threads serves any number of connections; one call at a time runs on a
 * connection. Every endpoint offers the management interface too. Status is always set and never NULL; no call raises.
 * An object of this header is not used by two threads at once, except as told. */

#include "rpc_ndr.h"
#include "rpc_types.h"

PLAT_BEGIN

typedef struct rpc_server rpc_server;

/* One call under way in a server. In is read and Out written by the operation; both live as long as it runs. */
typedef struct rpc_server_call {
    void *Context; /* of the interface */
    uuid_t Object;
    u32 Operation;
    u64 Association; /* a number that no other connection of this server ever has */
    i32 Local; /* nonzero when the caller is on this host: local socket or a loopback address */
    rpc_ndr_reader In;
    rpc_ndr_writer Out;
    u32 Fault; /* 0; any other value is sent as a fault and Out is dropped */
} rpc_server_call;

/* Runs in a thread of the server. A reader or writer marked as failed when it returns becomes a fault by itself. */
typedef void (*rpc_server_operation)(rpc_server_call *Call);

typedef struct rpc_server_interface {
    rpc_if_id_t Id;
    u32 OperationCount;
    const rpc_server_operation *Operations;
    void *Context;
    void (*RunDown)(void *Context, u64 Association); /* a connection has ended; may be NULL */
} rpc_server_interface;

typedef struct rpc_server_options {
    u32 Threads; /* 0: 4; at most 64 */
    u32 Connections; /* 0: 256; more wait to be accepted */
    u32 CallLimit; /* largest input of a call in octets; 0: 64 MiB */
    u16 FragmentSize; /* largest PDU sent and taken; 0: 5840; at least 64 */
    u8 BigEndian; /* nonzero: answers are big-endian */
} rpc_server_options;

/* Options may be NULL. NULL with rpc_s_no_memory, rpc_s_cannot_accept or rpc_s_invalid_arg. */
PLAT_API rpc_server *rpc_server_create(const rpc_server_options *Options, u32 *Status);

/* Interface is copied, its Operations are not. At most 16. */
PLAT_API void rpc_server_register_if(rpc_server *Server, const rpc_server_interface *Interface, u32 *Status);

/* Listens on an IPv4 Address (NULL: 127.0.0.1) and Port (0: any free one); BoundPort (may be NULL) receives the port. */
PLAT_API void rpc_server_use_tcp(rpc_server *Server, const char *Address, u16 Port, u16 *BoundPort, u32 *Status);

/* Listens on a local socket: a path, or a plain name below the run directory. A dead socket of the same name is
 * replaced; a live one gives rpc_s_cannot_accept. */
PLAT_API void rpc_server_use_local(rpc_server *Server, const char *Name, u32 *Status);

/* Starts the threads. */
PLAT_API void rpc_server_start(rpc_server *Server, u32 *Status);

/* Enters each endpoint of the server for this interface into the endpoint map of this host. Entries of other servers
 * stay; an entry for the very same endpoint is replaced. Annotation has at most 63 characters, Object may be NULL.
 * rpc_server_destroy takes the entries out again.
 * Status: rpc_s_ok, rpc_s_string_too_long, or why the mapper has not taken an entry; those before it stay. */
PLAT_API void rpc_server_register_ep(rpc_server *Server, const rpc_if_id_t *Interface, const uuid_t *Object,
                                     const char *Annotation, u32 *Status);

/* The string binding of the Nth endpoint as a new string for rpc_string_free; NULL past the last. */
PLAT_API unsigned_char_p_t rpc_server_inq_binding(rpc_server *Server, u32 Nth, u32 *Status);

/* Takes the entries out of the map, ends all connections and threads, frees everything. Waits for operations that run.
 * Not from a thread of the server. NULL is allowed. */
PLAT_API void rpc_server_destroy(rpc_server *Server);

PLAT_END_C

#endif
