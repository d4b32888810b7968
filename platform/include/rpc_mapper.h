#ifndef RPC_MAPPER_H
#define RPC_MAPPER_H

/* An endpoint mapper (C706 appendix O) within the calling process: what `qrtd` runs, and tests. Entries are kept in
 * memory; only callers on this host may change them. */

#include "rpc_types.h"

PLAT_BEGIN

typedef struct rpc_mapper rpc_mapper;

typedef struct rpc_mapper_options {
    const char *Address; /* IPv4 address to listen on; NULL: 127.0.0.1 */
    i32 Port; /* -1: QRT_EPMAP_PORT, else 135; 0: any free one */
    i32 NoLocalSocket; /* nonzero: TCP only */
    u32 MaxEntries; /* 0: 65536 */
    u8 BigEndian; /* nonzero: answers are big-endian */
} rpc_mapper_options;

/* Starts serving. NULL with the reason in Status. Options may be NULL. */
PLAT_API rpc_mapper *rpc_mapper_start(const rpc_mapper_options *Options, u32 *Status);

PLAT_API u16 rpc_mapper_port(const rpc_mapper *Mapper);

/* Path of the local socket; "" without one. Lives as long as the mapper. */
PLAT_API const char *rpc_mapper_socket(const rpc_mapper *Mapper);

PLAT_API u32 rpc_mapper_entry_count(rpc_mapper *Mapper);

/* Takes out the entries of servers on this host at whose endpoint nobody listens any more, such as those of a server that
 * was killed. Gives how many. */
PLAT_API u32 rpc_mapper_sweep(rpc_mapper *Mapper);

/* Stops serving and frees everything. NULL is allowed. */
PLAT_API void rpc_mapper_stop(rpc_mapper *Mapper);

PLAT_END_C

#endif
