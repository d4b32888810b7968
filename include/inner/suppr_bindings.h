#ifndef SUPPR_BINDINGS_H
#define SUPPR_BINDINGS_H

/* Bindings from annotations, and the exceptions of a region, for other folders of this library. */

#include "qrt_exceptions.h"
#include "rpc_mgmt.h"
#include "vela_types.h"

VELA_BEGIN

/* Walks the maps of the local host and of Hosts (null: VELA_HOSTS) for an entry that matches Annotation.
 *
 * Binding      receives the binding, for rpc_binding_free; null when there is none. Not touched with
 *              SUPPR_ERR_NO_ANNOTATION
 * Object       receives the entry's object; may be null
 * AcceptFirst  non-zero takes the first match, of whichever protocol, listening or not; 0 takes the first listening one,
 *              on the local host over "ncacn_vela_ipc" alone and elsewhere over anything else
 * Timeout      communication time-out of the test; null leaves the default
 *
 * Returns ERZ_OK or a code of suppr_endpoints.h. */
u32 SupPR_BindingFromAnnotation(const char *Hosts, rpc_if_handle_t IfSpec, const uuid_t *ObjectUuid,
                                const char *Annotation, rpc_binding_handle_t *Binding, uuid_t *Object, i32 AcceptFirst,
                                const u32 *Timeout);

/* The host names to ask, the local host's own first, as one block for tks_trace_Free. */
struct SupPR_HostList {
    u32 Count;
    char *Names[1]; /* Count of them, then their text */
};

/* Null without storage. Hosts as above. */
struct SupPR_HostList *SupPR_GetHostList(const char *Hosts);

/* Begins a walk over the map of a host, null being the local one. A failure shows in the first next. */
void SupPR_BeginEndpointEnumeration(const char *HostName, rpc_if_handle_t IfSpec, const uuid_t *ObjectUuid,
                                    u32 InquiryType, u32 VersionOption, rpc_ep_inq_handle_t *Context);

/* Orderly ends of a process or region. Nothing in this library fills them in. */
extern exc_Object SUPPR_EXCEPTION_PROCESS;
extern exc_Object SUPPR_EXCEPTION_REGION;

VELA_END

#endif
