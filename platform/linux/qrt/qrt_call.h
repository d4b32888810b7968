#ifndef QRT_CALL_H
#define QRT_CALL_H

// Calls that the runtime makes for itself, of mappers and of servers' management.

#include "rpc_call.h"
#include "rpc_ndr.h"

// As rpc_call_start. A management call's whole answer is bounded by the binding's communication time-out.
u32 Qrt_CallStart(rpc_binding_handle_t Binding, const rpc_if_id_t *Interface, u16 Operation, bool Management,
                  rpc_call_handle_t *Out);

// A whole management call. The octets of Input are its input; a writer that failed gives rpc_s_no_memory. Read takes the
// answer. Returns rpc_s_ok, rpc_s_call_faulted with Fault set, or why not.
u32 Qrt_Call(rpc_binding_handle_t Binding, const rpc_if_id_t *Interface, u16 Operation, const rpc_ndr_writer *Input,
             void (*Read)(rpc_ndr_reader *Reader, void *Argument), void *Argument, u32 *Fault);

#endif
