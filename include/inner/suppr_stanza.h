#ifndef SUPPR_STANZA_H
#define SUPPR_STANZA_H

/* Attributes of a region, read from its stanza files by a plain search of text. Not exported; the calls trace as SUPPR,
 * log nothing, keep no state and are safe from any thread. */

#include "vela_types.h"

VELA_BEGIN

/* Room for any value of a stanza file, its terminator included. */
#define SUPPR_STANZA_VALUE_SIZE 200

/* Reads an attribute of a region from its stanza files, the region's own one first, then the one that all share.
 *
 * RegionPath, Region  directory and name of the region; the files are
 *                     RegionPath/database/RD/RD.Region/RD.auto and RegionPath/database/RD/RD.stanza
 * Attribute           the first line that begins with this text has it; a longer name that begins so matches too
 * Value               receives the text between the line's first two double quotes
 *
 * Returns ERZ_OK, SUPPR_ERR_NOT_FOUND, or SUPPR_ERR_REGION_ACCESS when the second file cannot be opened; Value is
 * untouched then. */
u32 SupPR_StanzaValue(const char *Region, const char *RegionPath, const char *Attribute, char *Value);

/* The same in one file. */
u32 SupPR_SearchFile(const char *File, const char *Attribute, char *Value);

VELA_END

#endif
