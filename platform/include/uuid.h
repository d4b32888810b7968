#ifndef UUID_H
#define UUID_H

/* Universal unique identifiers in the form of C706 appendix A: records, text form, comparison. No call here blocks on
 * anything but the system's random source; all are safe from any thread. */

#include "plat_types.h"

PLAT_BEGIN

/* In memory the first three fields are in native byte order, as the calls of DCE have them. */
typedef struct uuid_t {
    u32 time_low;
    u16 time_mid;
    u16 time_hi_and_version;
    u8 clock_seq_hi_and_reserved;
    u8 clock_seq_low;
    u8 node[6];
} uuid_t;

/* A new random identifier (version 4). Status: uuid_s_ok, or uuid_s_internal_error without a random source. */
PLAT_API void uuid_create(uuid_t *Uuid, u32 *Status);

PLAT_API void uuid_create_nil(uuid_t *Uuid, u32 *Status);

/* Nonzero for the identifier of all zero bits; NULL counts as nil. */
PLAT_API i32 uuid_is_nil(const uuid_t *Uuid, u32 *Status);

/* Nonzero when both are the same; NULL counts as nil. */
PLAT_API i32 uuid_equal(const uuid_t *One, const uuid_t *Other, u32 *Status);

/* Text of 8-4-4-4-12 digits in lower case, as a new string for rpc_string_free.
 * Status: uuid_s_ok, or rpc_s_no_memory with NULL. */
PLAT_API void uuid_to_string(const uuid_t *Uuid, unsigned char **Text, u32 *Status);

/* Reads 8-4-4-4-12 digits of either case; NULL and "" give the nil identifier.
 * Status: uuid_s_ok, or uuid_s_invalid_string_uuid, which leaves the nil identifier. */
PLAT_API void uuid_from_string(const unsigned char *Text, uuid_t *Uuid, u32 *Status);

PLAT_END_C

#endif
