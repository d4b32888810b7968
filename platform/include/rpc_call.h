#ifndef RPC_CALL_H
#define RPC_CALL_H

/* One remote call, as a stub makes it: start, send and receive, end. See rpc_stub.h for the arguments' way to and from
 * octets. These calls never raise; a call belongs to one thread. */

#include "rpc_types.h"

PLAT_BEGIN

typedef struct rpc_call_rep *rpc_call_handle_t;

/* Begins a call: finds the endpoint where the handle has none, takes a free connection to the server or opens one, and
 * agrees on the interface.
 *
 * Options    must be 0
 * Call       receives the call, which rpc_ss_call_end_2 ends; NULL on failure
 * Syntax     receives the transfer syntax agreed on; may be NULL
 *
 * Status: rpc_s_ok, rpc_s_invalid_binding, rpc_s_invalid_call_opt, rpc_s_unknown_ifspec_vers, rpc_s_endpoint_not_found,
 * rpc_s_unknown_if, rpc_s_tsyntaxes_unsupported, rpc_s_no_memory, or why there is no connection. */
PLAT_API void rpc_call_start(rpc_binding_handle_t Binding, u32 Options, rpc_if_handle_t Interface, u32 Operation,
                             rpc_call_handle_t *Call, rpc_transfer_syntax_t *Syntax, u32 *Status);

/* Sends the input and waits for the whole answer.
 *
 * Send       octets of the input, cut into fragments as the server takes them
 * Format     receives the data representation of the answer
 * Received   receives the octets of the answer, joined; they live until the call ends
 *
 * Status: rpc_s_ok; rpc_s_call_timeout; rpc_s_comm_failure when the answer stops half-way; rpc_s_connection_closed,
 * rpc_s_connect_closed_by_rem, rpc_s_protocol_error for a malformed answer, rpc_s_no_memory. After a fault Status is
 * rpc_s_call_faulted and rpc_ss_call_end_2 tells the fault. */
PLAT_API void rpc_call_transceive(rpc_call_handle_t Call, const rpc_iovector_t *Send, ndr_format_t *Format,
                                  rpc_iovector_t *Received, u32 *Status);

/* The status of rpc_call_transceive when the server answered with a fault. */
#define rpc_s_call_faulted 0x0DCE6076u

/* Ends a call and sets it to NULL. A call that has its whole answer gives its connection back for the next one.
 *
 * Fault     receives the server's fault, else 0
 * UserFault receives the number of a declared exception in the answer; always 0 here
 * Status    not touched, except that rpc_s_call_faulted becomes 0 once Fault tells it
 *
 * A NULL call is allowed. */
PLAT_API void rpc_ss_call_end_2(rpc_call_handle_t *Call, u32 *Fault, u32 *UserFault, u32 *Status);

PLAT_END_C

#endif
