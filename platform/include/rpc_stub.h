#ifndef RPC_STUB_H
#define RPC_STUB_H

/* What generated client stubs stand on: interpreters that carry arguments to and from octets by walking constant
 * vectors, and the storage of a call. A stub goes through these calls in this order:
 *
 *     rpc_ss_init_client_once, rpc_ss_init_marsh_state, [rpc_ss_init_node_table, rpc_ss_mts_client_estab_alloc,]
 *     rpc_call_start, rpc_ss_ndr_marsh_interp, rpc_call_transceive, rpc_ss_ndr_unmar_interp,
 *     rpc_ss_ndr_clean_up, rpc_ss_call_end_2, rpc_ss_mem_free, rpc_ss_report_error_2
 *
 * Type vector. Little-endian; indices are byte indices from its start.
 *
 *   OFFSET  SIZE  FIELD
 *        0     4  FF FF FF FF
 *        4     4  01 00 FF FF
 *        8     4  03 00 02 00
 *       12     2  interface major version
 *       14     2  interface minor version
 *       16    16  interface UUID
 *       32     4  0
 *       36     4  4
 *       40     4  length of the whole vector
 *       44    16  FF
 *       60     4  number of operations
 *       64    24  each operation: 0; parameters, counting result and binding; input count; index of the input list;
 *                 output count; index of the output list
 *
 * One entry of a parameter list: parameter number (32 bits; 0 result, 1 binding, 2 on the arguments), type codes, FE,
 * FF up to the next multiple of 4. Type codes:
 *
 *   01 boolean, 03 char, 05 enum, 09 long, 0D unsigned long
 *   0F fixed structure, 10 conformant structure: property byte (0); at the next multiple of 4 the definition's index
 *   12 and 13 open and close a nested structure in a field list, 27 aligns to 4 there
 *   15 array with fixed bounds and varying length, 16 conformant, 17 conformant and varying: property byte (0); at the
 *      next multiple of 4 two indices of the definition, both the same here
 *   1C by reference, 21 string: attributes of the code behind them
 *   1D pointer: property byte (0); at the next multiple of 4 the index of the pointee's type codes
 *   FE end
 *
 * A structure definition: index of its first value in the offset vector (32 bits); for 10 the index of its array's
 * definition (32 bits); field codes, FE. An array definition: 01 (one dimension); for 15, at the next multiple of 4, its
 * lowest and highest index (32 bits each); then bounds, two for 15 (of what is sent) and 16 (of the array), four for 17
 * (of the array, of what is sent); the element's type codes; FE. A bound is 00, at the next multiple of 4 a value; or
 * 03, a type code, at the next multiple of 4 the number of the field (from 1) or parameter that holds the element count;
 * or 04 01, "as long as the string".
 *
 * Offset vector: for each structure its size in memory, then the memory offset of each field, those of nested
 * structures in line. A conformant structure ends with its array, of one element in the size.
 *
 * Parameter vector: entry 0 points at the result, entry 1 at the binding, each further one at the argument, or is the
 * pointer argument itself.
 *
 * The interpreters raise: rpc_x_invalid_arg (NULL for a reference), rpc_x_invalid_bound (a count that is negative,
 * exceeds its array or its octets, or contradicts another), rpc_x_string_too_long (no terminator within a string
 * buffer), rpc_x_protocol_error (an answer too short for its type), rpc_x_no_memory, rpc_x_coding_error (a vector that
 * makes no sense). */

#include "qrt_exceptions.h"
#include "rpc_call.h"
#include "rpc_ndr.h"

PLAT_BEGIN

#define RPC_SS_ROOM_SIZE 512

/* Blocks handed out while an answer is read, chained so that a failure frees them all. */
typedef struct rpc_ss_mem_block rpc_ss_mem_block;

typedef struct rpc_ss_node_table {
    u32 Ready;
} rpc_ss_node_table;

/* The state of one call's arguments, on the stub's stack. */
typedef struct rpc_ss_marsh_state_t {
    const u8 *TypeVector;
    const u32 *OffsetVector;
    void (*const *RoutineVector)(void); /* NULL: no interface here needs routines of its own */
    void *const *ParameterVector;
    rpc_ndr_writer Output; /* input octets of the call, the runtime's output */
    rpc_iovector_t Send; /* what rpc_call_transceive sends; set by the marshalling interpreter */
    rpc_iovector_t Received; /* the answer; lives until rpc_ss_call_end_2 */
    ndr_format_t *Format; /* of the answer; NULL when there is none */
    rpc_ss_node_table Nodes;
    void *(*Allocate)(size_t Size); /* of result storage; NULL before rpc_ss_mts_client_estab_alloc */
    void (*Free)(void *Block);
    rpc_ss_mem_block *Memory; /* NULL when the state holds none */
    u8 Room[RPC_SS_ROOM_SIZE];
} rpc_ss_marsh_state_t;

/* Sets up the client side of the runtime, at the first call in the process; later ones do nothing. */
PLAT_API void rpc_ss_init_client_once(void);

/* Clears a state and stores its type vector. */
PLAT_API void rpc_ss_init_marsh_state(const u8 *TypeVector, rpc_ss_marsh_state_t *State);

/* Makes the table of pointers ready; needed before an answer with pointers is read. */
PLAT_API void rpc_ss_init_node_table(rpc_ss_node_table *Nodes, rpc_ss_marsh_state_t *State);

/* Chooses the routines that give storage to results: those of rpc_ss_set_client_alloc_free, else malloc and free. */
PLAT_API void rpc_ss_mts_client_estab_alloc(rpc_ss_marsh_state_t *State);

/* The calling thread's routines for results; NULL for both puts malloc and free back. */
PLAT_API void rpc_ss_set_client_alloc_free(void *(*Allocate)(size_t Size), void (*Free)(void *Block));

/* Frees a list that a stub has handed back, with the calling thread's routine. NULL is allowed. */
PLAT_API void rpc_ss_client_free(void *Block);

/* Writes Count parameters of the list at Index to State->Output and sets State->Send. Raises. */
PLAT_API void rpc_ss_ndr_marsh_interp(u32 Count, u32 Index, void *const *Parameters, rpc_ss_marsh_state_t *State);

/* Reads Count parameters of the list at Index from State->Received in the representation *State->Format. Storage given
 * to results belongs to the caller once all have been read. Octets behind the last parameter are ignored. Raises. */
PLAT_API void rpc_ss_ndr_unmar_interp(u32 Count, u32 Index, void *const *Parameters, rpc_ss_marsh_state_t *State);

/* Frees the octets of the input. */
PLAT_API void rpc_ss_ndr_clean_up(rpc_ss_marsh_state_t *State);

/* Frees the storage of results that a failed call has left in the state. */
PLAT_API void rpc_ss_mem_free(rpc_ss_mem_block **Memory);

/* Raises the exception of a fault or, without one, of a status; returns when both are 0. Before it raises it puts the
 * caller's cancellation back: on when *PreviousCancel is 1, and *PreviousCancel is then 0. PreviousCancel may be NULL.
 * The second, fifth, sixth and seventh argument are not used and 0. */
PLAT_API void rpc_ss_report_error_2(u32 Fault, u32 UserFault, u32 Status, i32 *PreviousCancel, const void *Unused5,
                                    const void *Unused6, const void *Unused7, rpc_ss_marsh_state_t *State);

PLAT_END_C

#endif
