#ifndef SUPPR_ENDPOINTS_H
#define SUPPR_ENDPOINTS_H

/* Finding servers through the endpoint maps of hosts, by the annotations of their entries.
 *
 * An annotation is a path of the shape part/region/leaf, the region being the last component but one, and behind the
 * first blank free text, the region's description. A wanted annotation that begins with "/" is compared with the whole
 * path, any other with the region alone; always exactly, case included.
 *
 * All calls here walk maps over the network: a host that does not answer costs about three seconds. Nothing is cached.
 * They may be called from any thread, log nothing and trace as SUPPR. */

#include "rpc_types.h"
#include "vela_types.h"

VELA_BEGIN

#define SUPPR_ERR_NOT_FOUND 0x1C20000Au
#define SUPPR_ERR_NO_ANNOTATION 0x1C200011u
#define SUPPR_ERR_NO_HOST_LIST 0x1C200012u

/* One region, 70 bytes. A description of 61 characters or more fills its field without a terminator. */
struct SupPR_RegionEntry {
    char Name[9];
    char Description[61];
};

/* States of a walk, for a callback. */
#define SUPPR_WALK_STARTS 0
#define SUPPR_WALK_BROKEN 1 /* ended otherwise than at the end of the map, or was stopped */
#define SUPPR_WALK_ENDED 2

/** Told of a walk: the host's name, a state, and with SUPPR_WALK_BROKEN the last status of the runtime, else 0. */
typedef void (*SupPR_WalkCallback)(void *CallbackArg, const char *HostName, i32 State, u32 Status);

/**
 * Finds a listening server and gives its binding as text.
 *
 * The local host comes first, where only servers over "ncacn_vela_ipc" count; then the hosts of the list in its order,
 * where only servers over any other protocol count. Each candidate is asked whether it listens.
 *
 * @param[in]  Hosts       names divided by blanks; null = those of the variable VELA_HOSTS
 * @param[in]  IfSpec      the interface wanted, compatible versions count; null = any
 * @param[in]  ObjectUuid  the object wanted; null = any
 * @param[in]  Annotation  the wanted annotation
 * @param[out] Buffer      receives the string binding with its end; written only on success. Its size is up to the
 *                         caller: 512 bytes hold any binding without options
 *
 * @return ERZ_OK, SUPPR_ERR_NOT_FOUND, SUPPR_ERR_NO_ANNOTATION (null or empty), SUPPR_ERR_NO_HOST_LIST (no storage)
 */
VELA_API u32 SupPR_BindingStringFromAnnotation(const char *Hosts, rpc_if_handle_t IfSpec, const uuid_t *ObjectUuid,
                                               const char *Annotation, char *Buffer);

/**
 * Lists the regions that the local host's endpoint map knows, each once.
 *
 * @param[in]     Hosts        not used: the walk always runs on the local host
 * @param[in]     IfSpec       the interface whose servers count; null = any
 * @param[in,out] Count        in: room in Entries; out: regions found, which may be more than the room
 * @param[out]    Entries      filled as far as they reach; may be null with a room of 0
 * @param[in]     All          0 ends the walk as soon as the array is full; with a room of 0 it never is
 * @param[in]     Callback     told of the start and the end of the walk; may be null
 * @param[in]     CallbackArg  handed to Callback
 *
 * @return always 0. Only regions in Entries are told apart: one beyond the room counts each time it is met.
 */
VELA_API u32 SupPR_ListRegionNames(const char *Hosts, rpc_if_handle_t IfSpec, u16 *Count,
                                   struct SupPR_RegionEntry *Entries, i32 All, SupPR_WalkCallback Callback,
                                   void *CallbackArg);

VELA_END

#endif
