#ifndef SUPOS_CONVERSION_H
#define SUPOS_CONVERSION_H

/* Code-page conversion: names of code sets, the catalogue, and conversions by descriptor. */

#include "vela_types.h"

VELA_BEGIN

/* Room that the result of SupOS_GetCodePage needs. */
#define SUPOS_CODE_PAGE_SIZE 32

/**
 * Reads the catalogue of code sets, ccsid.tbl of the configuration directory.
 *
 * The first open of a process calls it when nobody has. A process that opens from several threads at its start calls
 * it before, once: it does not look whether a catalogue is there, and a second call drops the first one, so that
 * descriptors opened before no longer find their tables.
 *
 * Has no failure to return. A file that cannot be opened, memory that cannot be had, or a file without a line for
 * the system's own code set is logged and ends the process; a bad line is logged and costs that line only.
 * The process's names must be set (SupPR_InitNames, which InfTR_SInit does). Traces as SUPOS, API entry.
 */
VELA_API void SupOS_IcnvInit(void);

/**
 * The full name of a code set, as an open takes it, for its short name: "QMX-037" for "037", "UTF-8" for "UTF8".
 *
 * @param[in]  Name      one of the short names of docs/conversion.md, case counts. Any other name faults: nothing
 *                       behind the list can be told from an end of it
 * @param[out] CodePage  room for SUPOS_CODE_PAGE_SIZE bytes; receives the name with its terminator
 *
 * Reads constant tables only: safe from any thread. Traces as SUPOS, entry.
 */
VELA_API void SupOS_GetCodePage(const char *Name, char *CodePage);

VELA_END

#endif
