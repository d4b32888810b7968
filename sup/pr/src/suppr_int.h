#ifndef SUPPR_INT_H
#define SUPPR_INT_H

// Calls of region support that are not exported. All trace as SUPPR, except where told.

#include "suppr_names.h"
#include "suppr_stanza.h"

VELA_BEGIN

#define SUPPR_PATH_INSTALL 0u
#define SUPPR_PATH_REGIONS 1u

/* The installation path (PathType SUPPR_PATH_INSTALL) or the regions path (any other), from the registry.
 *
 * Buffer has room for SUPPR_NAME_ENTRY_SIZE bytes and is returned; what does not fit is cut. With Buffer NULL nothing
 * is read and the result is an empty text. A registry without the value ends the process. */
char *SupPR_GetPath(u32 PathType, char *Buffer);

/* Path itself when it names a directory, else NULL. */
char *SupPR_ReadDefault(char *Path);

/* What stands in for a registry that answers with an empty text. Not traced.
 * InstallPath: the full path of VELAPATH, or "c:\opt\vela"; DataPath: "\var". */
void SupPR_FallbackInstallPath(char *Buffer);
void SupPR_FallbackDataPath(char *Buffer);

/* Appends at most Size bytes of Source to Destination, and no half of a multibyte character. Destination has room for
 * its text, Size bytes and a terminator. Returns Destination; with a NULL or a Size of 0 nothing is touched. */
char *SupPR_MBCSstrncat(char *Destination, const char *Source, u32 Size);

VELA_END

#endif
