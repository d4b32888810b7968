#ifndef RPC_MGMT_H
#define RPC_MGMT_H

/* Management calls: time-outs, questions to a server, the walk over an endpoint map. Status is always set and never
 * NULL. All calls but the first four talk to a server; none of them raises an exception. */

#include "rpc_types.h"

PLAT_BEGIN

/* Communication time-outs are relative: how long to go on trying to reach a server before giving up. In seconds:
 * 0: 1, 1: 2, 2: 3, 3: 5, 4: 10, 5: 20, 6: 40, 7: 80, 8: 160, 9: 320, 10: no limit.
 * They bound each connect, the opening exchange, each pause within an answer that has begun and, for the calls of this
 * header, the whole answer. How long a server works on a call is not bounded by them; see rpc_mgmt_set_call_timeout. */
#define rpc_c_binding_min_timeout 0u
#define rpc_c_binding_default_timeout 5u
#define rpc_c_binding_max_timeout 9u
#define rpc_c_binding_infinite_timeout 10u

/* Status: rpc_s_ok, rpc_s_invalid_binding, rpc_s_invalid_timeout above 10. */
PLAT_API void rpc_mgmt_set_com_timeout(rpc_binding_handle_t Binding, u32 Timeout, u32 *Status);
PLAT_API void rpc_mgmt_inq_com_timeout(rpc_binding_handle_t Binding, u32 *Timeout, u32 *Status);

/* The longest wait for the answer of one call, in seconds; 0, the default, is no limit. A call that takes longer ends
 * with rpc_s_call_timeout, and the server is told that nobody waits. */
PLAT_API void rpc_mgmt_set_call_timeout(rpc_binding_handle_t Binding, u32 Seconds, u32 *Status);
PLAT_API void rpc_mgmt_inq_call_timeout(rpc_binding_handle_t Binding, u32 *Seconds, u32 *Status);

/* 1 when the server answers that it listens, else 0. Status: rpc_s_ok after an answer; rpc_s_binding_incomplete for a
 * handle with neither endpoint nor object; rpc_s_unknown_if for a server without the management interface; else why it
 * could not be asked. */
PLAT_API boolean32 rpc_mgmt_is_server_listening(rpc_binding_handle_t Binding, u32 *Status);

/* The interfaces that a server offers, as a vector for rpc_if_id_vector_free; NULL on failure. */
PLAT_API void rpc_mgmt_inq_if_ids(rpc_binding_handle_t Binding, rpc_if_id_vector_t **Interfaces, u32 *Status);
PLAT_API void rpc_if_id_vector_free(rpc_if_id_vector_t **Interfaces, u32 *Status);

/* Asks a server to stop. Servers of this runtime refuse with rpc_s_mgmt_op_disallowed. */
PLAT_API void rpc_mgmt_stop_server_listening(rpc_binding_handle_t Binding, u32 *Status);

/* What a walk over an endpoint map asks for. */
#define rpc_c_ep_all_elts 0u
#define rpc_c_ep_match_by_if 1u
#define rpc_c_ep_match_by_obj 2u
#define rpc_c_ep_match_by_both 3u

#define rpc_c_vers_all 1u
#define rpc_c_vers_compatible 2u
#define rpc_c_vers_exact 3u
#define rpc_c_vers_major_only 4u
#define rpc_c_vers_upto 5u

typedef struct rpc_ep_inq_rep *rpc_ep_inq_handle_t;

/* Begins a walk over the endpoint map of a host. Asks nobody yet.
 *
 * Mapper           the host is taken from it, and its time-outs; NULL, an empty host or this host's own network name is this
 *                  host, asked through the mapper's local socket or, where there is none, over loopback
 * InquiryType      rpc_c_ep_*
 * Interface        read for match_by_if and match_by_both
 * VersionOption    rpc_c_vers_*, read with Interface
 * Object           read for match_by_obj and match_by_both
 * Inquiry          receives the walk, or NULL on failure
 *
 * Status: rpc_s_ok, rpc_s_invalid_inquiry_type, rpc_s_invalid_vers_option, rpc_s_invalid_arg, rpc_s_no_memory;
 * ept_s_cant_perform_op for a Mapper with an object. The port of mappers is 135, or QRT_EPMAP_PORT. */
PLAT_API void rpc_mgmt_ep_elt_inq_begin(rpc_binding_handle_t Mapper, u32 InquiryType, const rpc_if_id_t *Interface,
                                        u32 VersionOption, const uuid_t *Object, rpc_ep_inq_handle_t *Inquiry,
                                        u32 *Status);

/* The next element, in no particular order. Elements over protocols that this runtime does not speak are passed over.
 *
 * Interface, Binding, Object, Annotation   each may be NULL when not wanted; Binding is a new handle for
 *                                          rpc_binding_free, Annotation a new string for rpc_string_free ("" for none)
 *
 * Status: rpc_s_ok; rpc_s_no_more_elements at the end, and again at each further call; rpc_s_invalid_inquiry_context
 * for NULL; else why the mapper could not be asked, again at each further call. On any failure Binding and Annotation
 * are NULL. */
PLAT_API void rpc_mgmt_ep_elt_inq_next(rpc_ep_inq_handle_t Inquiry, rpc_if_id_t *Interface,
                                       rpc_binding_handle_t *Binding, uuid_t *Object, unsigned_char_p_t *Annotation,
                                       u32 *Status);

/* Ends a walk, gives an unfinished one back to the mapper, sets *Inquiry to NULL.
 * Status: rpc_s_ok, rpc_s_invalid_inquiry_context for NULL. */
PLAT_API void rpc_mgmt_ep_elt_inq_done(rpc_ep_inq_handle_t *Inquiry, u32 *Status);

PLAT_END_C

#endif
