#ifndef RPC_TYPES_H
#define RPC_TYPES_H

/* Types that all headers of the remote-procedure-call runtime share. */

#include "plat_types.h"
#include "rpc_status.h"
#include "uuid.h"

PLAT_BEGIN

typedef unsigned char unsigned_char_t;
typedef unsigned char *unsigned_char_p_t;
typedef u32 unsigned32;
typedef u32 error_status_t;
typedef i32 boolean32;

/* A way to a server: protocol sequence, host, endpoint, object, time-outs. NULL is none. May be used by several threads
 * at once; freed by one of them when no call is under way. */
typedef struct rpc_binding_rep *rpc_binding_handle_t;

/* An interface identifier: UUID and version. 20 bytes. */
typedef struct rpc_if_id_t {
    uuid_t uuid;
    u16 vers_major;
    u16 vers_minor;
} rpc_if_id_t;

typedef struct rpc_if_id_vector_t {
    u32 count;
    rpc_if_id_t *if_id[1]; /* count of them */
} rpc_if_id_vector_t;

/* The interface specification that a stub hands to the runtime.
 *
 * OFFSET  SIZE  FIELD
 *      0     4  size of the record, 68
 *      4    16  interface UUID, in memory order
 *     20     4  version: major in the low 16 bits, minor in the high 16 bits
 *     24    16  transfer syntax UUID (NDR)
 *     40     4  transfer syntax version, 2
 *     44    24  zero */
typedef struct rpc_if_rep_t {
    u32 Size;
    uuid_t Interface;
    u32 Version;
    uuid_t TransferSyntax;
    u32 TransferVersion;
    u32 Zero[6];
} rpc_if_rep_t;

typedef const rpc_if_rep_t *rpc_if_handle_t;

#define RPC_IF_REP_SIZE 68u

/* A transfer syntax that an association agreed on. */
typedef struct rpc_transfer_syntax_t {
    uuid_t Id;
    u32 Version;
} rpc_transfer_syntax_t;

/* Data representation label of a sender (C706 14.1). */
typedef struct ndr_format_t {
    u8 Integers; /* high half: 0 big-endian, 1 little-endian; low half: 0 ASCII, 1 EBCDIC */
    u8 Floats;
    u8 Reserved[2];
} ndr_format_t;

/* Octets that a call sends or has received. */
typedef struct rpc_iovector_t {
    const u8 *Data;
    size_t Size;
} rpc_iovector_t;

PLAT_END_C

#ifdef __cplusplus
static_assert(sizeof(uuid_t) == 16 && sizeof(rpc_if_id_t) == 20 && sizeof(rpc_if_rep_t) == RPC_IF_REP_SIZE);
static_assert(offsetof(rpc_if_rep_t, Version) == 20 && offsetof(rpc_if_rep_t, TransferSyntax) == 24);
#endif

#endif
