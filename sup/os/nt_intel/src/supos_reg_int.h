#ifndef SUPOS_REG_INT_H
#define SUPOS_REG_INT_H

// The registry calls that stay within the operating-system layer. None logs anything; all trace as SUPOS.

#include "supos_registry.h"

VELA_BEGIN

#define SUPOS_REGISTRY_NO_KEY 0x1D200064u
#define SUPOS_REGISTRY_NO_VALUE 0x1D200065u

/* Stores three bytes of a text as a value of the installation's key: whatever is longer is cut, a shorter text is
 * filled up with zero bytes. Returns 1 when it is stored, 0 when not: the other way round than the calls below. */
i32 SupOS_SetRegistry(const char *ValueName, const char *Value);

/* Where the base services are installed. The text lives in a buffer of the calling thread that its next call clears;
 * it is empty when the registry does not say. Never NULL. */
char *SupOS_RegGetSorrelPath(void);

/* Writes, or removes, the entry that Kind and EntryName select; a write needs all six texts. An entry with keys of its
 * own cannot be removed. Returns 0, SupOS_RC_SYSTEM (a write may then have stored some of the values), or
 * SUPOS_REGISTRY_BAD_KIND. */
u32 SupOS_RegCreateServerEntry(SupOS_ServerEntry *Entry);
u32 SupOS_RegDestroyServerEntry(SupOS_ServerEntry *Entry);

/* Reads UserId and GroupId of the installation itself into those two buffers of Entry; its other fields are not looked
 * at. Returns 0, or SupOS_RC_SYSTEM when one of the two is missing; the other is delivered all the same. */
u32 SupOS_RegGetDefaultEntry(SupOS_ServerEntry *Entry);

/* Reads a value of any key of the machine into Value; Size is its room, then the stored size, as in RegQueryValueExA.
 * With ValueName NULL it only tests that the key exists. Returns 0, SUPOS_REGISTRY_NO_KEY or SUPOS_REGISTRY_NO_VALUE. */
u32 SupOS_RegQueryKey(const char *Key, const char *ValueName, void *Value, u32 *Size);

VELA_END

#endif
