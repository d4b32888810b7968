#ifndef RPC_BINDING_H
#define RPC_BINDING_H

/* String bindings and binding handles.
 *
 *     [object-uuid@]protocol-sequence:[network-address][ "[" endpoint[,option=value...] "]" ]
 *
 * The endpoint may also be written endpoint=TEXT. A backslash takes the next character as it is, in every field.
 * Protocol sequences: "ncacn_ip_tcp" (address: name or number of a host, empty for this one; endpoint: a port) and
 * "ncacn_vela_ipc" (this host only; endpoint: a socket's path, or a plain name below the run directory).
 *
 * The run directory is $SORREL_RUNDIR, else $XDG_RUNTIME_DIR/sorrel, else a folder of the user's own below the
 * temporary directory.
 *
 * Strings handed out are new ones, for rpc_string_free. Status is always set and never NULL. Safe from any thread. */

#include "rpc_types.h"

PLAT_BEGIN

/* Puts a string binding together. NULL and "" both leave a field out; so does a nil object. Without endpoint and options
 * there are no brackets. Characters that mean something get a backslash, except in Options, which is taken as it is.
 * Status: rpc_s_ok, uuid_s_invalid_string_uuid, rpc_s_no_memory; on failure *StringBinding is NULL. */
PLAT_API void rpc_string_binding_compose(const unsigned_char_t *ObjectUuid, const unsigned_char_t *ProtocolSequence,
                                         const unsigned_char_t *NetworkAddress, const unsigned_char_t *Endpoint,
                                         const unsigned_char_t *Options, unsigned_char_p_t *StringBinding, u32 *Status);

/* Takes a string binding apart. Any of the five results may be NULL when it is not wanted; an absent field gives "".
 * The backslashes are gone from all fields but Options.
 * Status: rpc_s_ok, rpc_s_invalid_string_binding, rpc_s_no_memory; on failure all results are NULL. */
PLAT_API void rpc_string_binding_parse(const unsigned_char_t *StringBinding, unsigned_char_p_t *ObjectUuid,
                                       unsigned_char_p_t *ProtocolSequence, unsigned_char_p_t *NetworkAddress,
                                       unsigned_char_p_t *Endpoint, unsigned_char_p_t *Options, u32 *Status);

/* Frees a string of this runtime and sets it to NULL. A NULL string is allowed. */
PLAT_API void rpc_string_free(unsigned_char_p_t *String, u32 *Status);

/* Makes a handle. Nothing is connected or looked up; a handle without an endpoint asks the host's endpoint mapper at its
 * first call.
 * Status: rpc_s_ok, rpc_s_invalid_string_binding, rpc_s_invalid_rpc_protseq, rpc_s_protseq_not_supported,
 * rpc_s_inval_net_addr, rpc_s_invalid_endpoint_format, uuid_s_invalid_string_uuid, rpc_s_no_memory; on failure *Binding
 * is NULL. */
PLAT_API void rpc_binding_from_string_binding(const unsigned_char_t *StringBinding, rpc_binding_handle_t *Binding,
                                              u32 *Status);

/* The string form of a handle, with the endpoint that it has found.
 * Status: rpc_s_ok, rpc_s_invalid_binding, rpc_s_no_memory; on failure *StringBinding is NULL. */
PLAT_API void rpc_binding_to_string_binding(rpc_binding_handle_t Binding, unsigned_char_p_t *StringBinding,
                                            u32 *Status);

/* Frees a handle with its connections and sets it to NULL. Status: rpc_s_ok, rpc_s_invalid_binding for NULL. */
PLAT_API void rpc_binding_free(rpc_binding_handle_t *Binding, u32 *Status);

/* A second handle to the same server. Both share their connections. */
PLAT_API void rpc_binding_copy(rpc_binding_handle_t Source, rpc_binding_handle_t *Destination, u32 *Status);

/* Takes the endpoint away: the next call asks the endpoint mapper again. Not during a call on this handle. */
PLAT_API void rpc_binding_reset(rpc_binding_handle_t Binding, u32 *Status);

/* The object that calls on this handle go to; nil is none. Not during a call on this handle. */
PLAT_API void rpc_binding_inq_object(rpc_binding_handle_t Binding, uuid_t *Object, u32 *Status);
PLAT_API void rpc_binding_set_object(rpc_binding_handle_t Binding, const uuid_t *Object, u32 *Status);

/* The identifier in an interface specification. Status: rpc_s_ok, rpc_s_invalid_arg for NULL,
 * rpc_s_unknown_ifspec_vers for a record of another size. */
PLAT_API void rpc_if_inq_id(rpc_if_handle_t Interface, rpc_if_id_t *Id, u32 *Status);

/* Finds the endpoint of a handle that has none, as the first call would.
 * Status: rpc_s_ok, rpc_s_invalid_binding, rpc_s_endpoint_not_found, or why the mapper could not be asked. */
PLAT_API void rpc_ep_resolve_binding(rpc_binding_handle_t Binding, rpc_if_handle_t Interface, u32 *Status);

PLAT_END_C

#endif
