#ifndef SUPPR_NAMES_H
#define SUPPR_NAMES_H

/* The names table: 35 process-wide strings of 256 bytes, worked out once at process start from the region's name, the
 * installation path and the data path of the registry. Paths of files have backslashes; the names 21 to 24 belong to
 * the remote naming scheme and have slashes. */

#include "vela_types.h"

VELA_BEGIN

/* Numbers of the entries. [r] marks those that are empty when the region is in error. */
#define SUPPR_NAME_REGION 0 /* [r] the region's name, at most 8 characters */
#define SUPPR_NAME_REGION_DIR 1 /* [r] entry 14 \ region */
#define SUPPR_NAME_INSTALL_DIR 2 /* InstallPath of the registry */
#define SUPPR_NAME_BIN_DIR 3 /* entry 2 \bin */
#define SUPPR_NAME_LIB_DIR 4 /* entry 2 \lib */
#define SUPPR_NAME_ETC_DIR 5 /* entry 2 \etc */
#define SUPPR_NAME_INCLUDE_DIR 6 /* entry 2 \include */
#define SUPPR_NAME_DATA_DIR 7 /* entry 2 \data */
#define SUPPR_NAME_MAPS_DIR 8 /* entry 2 \maps */
#define SUPPR_NAME_REGION_BIN_DIR 9 /* [r] entry 1 \bin */
#define SUPPR_NAME_REGION_MAPS_DIR 10 /* [r] entry 1 \maps */
#define SUPPR_NAME_REGION_DATA_DIR 11 /* [r] entry 1 \data */
#define SUPPR_NAME_REGION_CLASSES_DIR 12 /* [r] entry 1 \classes */
#define SUPPR_NAME_RELEASE 13 /* "0620" */
#define SUPPR_NAME_REGIONS_DIR 14 /* DataPath of the registry \vela_regions */
#define SUPPR_NAME_REGION_DATABASE_DIR 15 /* [r] entry 1 \database */
#define SUPPR_NAME_SPARE_16 16 /* [r] empty */
#define SUPPR_NAME_ROM_DIR 17 /* entry 2 \rom */
#define SUPPR_NAME_PRODUCT_DIR 18 /* entry 2 */
#define SUPPR_NAME_MSG_DIR 19 /* entry 2 \msg */
#define SUPPR_NAME_DEFAULT_DIR 20 /* entry 2 \DEFAULT */
#define SUPPR_NAME_TS_PROFILE 21 /* "vela/profile/vela_profile" */
#define SUPPR_NAME_TS_NAME 22 /* [r] vela/region/ts */
#define SUPPR_NAME_TRPC_NAME 23 /* [r] vela/region/trpc */
#define SUPPR_NAME_CDS_NAME 24 /* [r] /.:/vela/region */
#define SUPPR_NAME_SPARE_25 25 /* empty */
#define SUPPR_NAME_SERVERS_DIR 26 /* DataPath \vela_servers */
#define SUPPR_NAME_SERVERS_SSD_DIR 27 /* DataPath \vela_servers\SSD */
#define SUPPR_NAME_SERVERS_LSD_DIR 28 /* DataPath \vela_servers\LSD */
#define SUPPR_NAME_SERVERS_GSD_DIR 29 /* DataPath \vela_servers\GSD */
#define SUPPR_NAME_SERVERS_SCD_DIR 30 /* DataPath \vela_servers\SCD */
#define SUPPR_NAME_CLIENTS_DIR 31 /* DataPath \vela_clients */
#define SUPPR_NAME_ML_LEVEL 32 /* "ml13" */
#define SUPPR_NAME_TMP_DIR 33 /* DataPath \vela_tmp */
#define SUPPR_NAME_CLASSES_DIR 34 /* entry 2 \classes */
#define SUPPR_NAME_COUNT 35

/* Room of an entry in bytes, its terminator included; a longer path is cut. */
#define SUPPR_NAME_ENTRY_SIZE 256

/* Longest texts in characters, without terminator. */
#define SUPPR_TS_NAME_SIZE 17
#define SUPPR_TRPC_NAME_SIZE 19
#define SUPPR_PROFILE_NAME_SIZE 26
#define SUPPR_REGION_NAME_SIZE 8

#define SUPPR_ERR_NO_REGION 0x1C200001u /* no name given, and VELAREGION names no region with a directory */
#define SUPPR_ERR_REGION_ACCESS 0x1C200002u /* no rights on the directory of the region that was given */
#define SUPPR_ERR_REGION_NAME_LONG 0x1C200009u /* the name has more than 8 characters */
#define SUPPR_ERR_NOT_FOUND 0x1C20000Au /* no such attribute, no such entry */
#define SUPPR_ERR_ENV_REGION_ACCESS 0x1C200013u /* no rights on the directory of VELAREGION's region */

#define SUPPR_GETDIR(Number) SupPR_GetNames(Number)

/**
 * Fills the names table.
 *
 * @param[in] RegionName  the region; NULL or empty takes the one that VELAREGION names, if that has a directory
 *
 * @return ERZ_OK, or one of SUPPR_ERR_*. With NO_REGION and REGION_NAME_LONG the entries marked [r] are empty; with the
 *         two ACCESS codes, which tell that the directory cannot be read and written, all entries are filled.
 *
 * A registry without InstallPath or DataPath ends the process. Logs nothing else. InfTR_InitProcess calls it at process
 * start; a later call overwrites the table and is not safe while other threads read it. Traces as SUPPR.
 */
VELA_API u32 SupPR_InitNames(const char *RegionName);

/**
 * Gives one string of the names table.
 *
 * @param[in] Number  one of SUPPR_NAME_*
 *
 * @return the entry, which belongs to the library and lives as long as the process; empty before SupPR_InitNames has
 *         run. NULL for a number that is no entry's.
 *
 * Takes no lock; safe from any thread. Traces as SUPPR.
 */
VELA_API char *SupPR_GetNames(i32 Number);

VELA_END

#endif
