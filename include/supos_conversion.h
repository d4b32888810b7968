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

/* Results of SupOS_IcnvCode. The others that the engine knows come from an open and do not leave it. */
#define ICNV_RC_OK 0
#define ICNV_RC_NOMEM (-54) /* no memory for a table */
#define ICNV_RC_COPYFULL (-56) /* a conversion without work: the source is longer than the target; nothing moved */
#define ICNV_RC_NOTO (-61) /* the target is not in the catalogue */
#define ICNV_RC_NOFROM (-62) /* the source is not in the catalogue */
#define ICNV_RC_FULL (-63) /* the target ended before the source */
#define ICNV_RC_SAME (-65) /* nothing to convert */
#define ICNV_RC_NOTABLE (-66) /* table file missing or unreadable; while coding: no routine for this pair */
#define ICNV_RC_NODEFAULT (-67) /* no default conversion */
#define ICNV_RC_BADSRC (-68) /* the source is malformed, or ends inside a character */

/* The descriptor that an open returns when it fails. */
#define SUPOS_ICNV_FAILED 0xFFFFFFFFu

/* Return codes of the calls with 16-bit lengths. */
#define SupOS_ConvInvalid 0x1D20000Cu /* a character could not be converted */
#define SupOS_ConvTruncated 0x1D40000Bu /* the source ended inside a character, or the target was too small */
#define SupOS_ConvNoOpen 0x1D20000Du /* a conversion could not be opened */

/**
 * Opens a conversion.
 *
 * @param[in] ToCode    full name of the target's code set, such as "QMX-850"; case counts. The target comes first
 * @param[in] FromCode  full name of the source's code set
 *
 * Returns a descriptor, or SUPOS_ICNV_FAILED: with errno 22 for a name that is not known; with errno unchanged for a
 * code set that the catalogue has no line for, a pair without a table, no memory, or a failed lock.
 *
 * Two equal code sets give a conversion that copies. A table file that is missing or damaged is tried again at the
 * next open; one that was read stays until the process ends. At most 32 descriptors may be open at once: the next
 * open faults. The first open of a process reads the catalogue (SupOS_IcnvInit). Safe from any thread; takes the
 * descriptor lock and the table lock, one after the other. Traces as SUPOS, API entry.
 */
VELA_API u32 SupOS_IcnvOpen(const char *ToCode, const char *FromCode);

/**
 * Converts one block of text.
 *
 * @param[in]     cd     a descriptor of SupOS_IcnvOpen; any other value faults, unless the source is empty
 * @param[in,out] srcpp  the source; moves behind what was consumed (not on a conversion that copies)
 * @param[in,out] slenp  bytes of the source; 0 on return, whatever happened
 * @param[in,out] tgtpp  the target; moves behind what was converted (not on a conversion that copies)
 * @param[in,out] tlenp  bytes of room at the target; on return the room left
 *
 * Returns ICNV_RC_OK; ICNV_RC_FULL, where mixed, Unicode and EUC targets are padded with 00 to their end and count as
 * used up; ICNV_RC_BADSRC with what came before converted; ICNV_RC_COPYFULL with nothing changed at all;
 * ICNV_RC_NOTABLE for a pair that has a table but no routine, with no room left. The move of *srcpp is the only
 * measure of what was consumed; on the Unicode and EUC routes it stands behind a character that did not fit.
 *
 * Every call begins in single-byte state and remembers nothing: cut a stream between characters and outside
 * double-byte runs. An empty source sets the room to 0 and returns ICNV_RC_OK. Source and target may overlap when
 * they are equal on single-byte conversions, and in any way on one that copies. errno stays as it was.
 * Takes no lock; several threads may use one descriptor. Traces as SUPOS, API entry.
 */
VELA_API i32 SupOS_IcnvCode(u32 cd, const char **srcpp, u32 *slenp, char **tgtpp, u32 *tlenp);

/**
 * Gives a descriptor back. Always returns 0.
 *
 * Nothing checks that the descriptor was open: one that is closed twice is handed out twice. A value that is no
 * descriptor faults. The tables stay loaded. Takes the descriptor lock. Traces as SUPOS, API entry.
 */
VELA_API i32 SupOS_IcnvClose(u32 cd);

/**
 * Converts a block, and ends a shifted output with its shift-in byte.
 *
 * @param[in]     srcp   the source
 * @param[in]     slenp  bytes of the source; not written back
 * @param[in]     tgtp   the target
 * @param[in,out] tlenp  bytes of room at the target, at least 1; on return the room left
 * @param[out]    errp   a system error number when source bytes were left over, else 0
 *
 * Returns the count of source bytes left over: 0 with the conversions of this library, whatever became of the text.
 * A caller who needs the outcome uses SupOS_IcnvCode.
 *
 * Finds out by a one-byte probe: where "P" converts to two bytes, the first of them is stored behind the output. With
 * a target of two-byte codes (UCS-2) that is a stray byte, and a target that is exactly full ends the process with
 * exit code 99: leave such a conversion one byte more than its output needs. Traces as SUPOS, entry.
 */
VELA_API u32 SupOS_IConvWrap(u32 cd, const char *srcp, const u32 *slenp, char *tgtp, u32 *tlenp, i32 *errp);

VELA_END

#endif
