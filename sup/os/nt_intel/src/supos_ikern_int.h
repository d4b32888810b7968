#ifndef SUPOS_IKERN_INT_H
#define SUPOS_IKERN_INT_H

// The inner loops of conversion, in one form for each level of the processor: plain code, AVX2, AVX-512 with VBMI.
//
// Every form does the same to the last byte. All keep three promises: nothing is read outside the source counted,
// nothing is written behind the bytes that are told as written, and blocks are read before they are written. What
// needs a decision (a bad byte, half a character, an empty run) stops a loop before it; the plain loops go on there.

#include <stddef.h>

#include "supos_icnv_engine.h"
#include "supos_imixed_int.h"

// The lead bytes of a paired source, and for EUC the bytes that stop the loop.
struct IcnvPairs {
    IcnvLeadRanges lead;
    bool stopsAtShifts; // 0x8E and 0x8F at the place of a lead byte belong to somebody else
};

// Sources and targets need no alignment; units are 16 bits in native order.
struct IcnvKernels {
    const char *name;

    // Target[i] = Map[Source[i]]. May be done in place.
    void (*mapBytes)(const u8 *Source, u8 *Target, size_t Count, const u8 *Map);

    // Count bytes to Count units, low byte first.
    void (*bytesToUnits)(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat);

    // Count bytes to UTF-8; Target has room for the longest form of each (2 bytes in a simple table, else 3).
    // Returns the bytes written.
    size_t (*bytesToUtf)(const u8 *Source, u8 *Target, size_t Count, const IcnvByteFlat *Flat);

    // UTF-8 to at most Room units; stops before a malformed or incomplete character. Returns the bytes consumed.
    size_t (*utfToUnits)(const u8 *Source, size_t Length, u8 *Target, size_t Room, size_t *Units);

    // Count units to UTF-8; Target has room for 3 bytes of each. Returns the bytes written.
    size_t (*unitsToUtf)(const u8 *Source, size_t Count, u8 *Target);

    // UTF-8 to at most Room bytes through Narrow (65536 entries); stops as utfToUnits does.
    size_t (*utfToBytes)(const u8 *Source, size_t Length, u8 *Target, size_t Room, const u8 *Narrow, size_t *Bytes);

    // Count units to Count bytes through Narrow.
    void (*unitsToBytes)(const u8 *Source, size_t Count, u8 *Target, const u8 *Narrow);

    // Paired characters to at most Room units (lead times 256 plus trail, or the single byte); stops before half a
    // character and before a shift byte of EUC. Returns the bytes consumed.
    size_t (*pairsToUnits)(const u8 *Source, size_t Length, u16 *Target, size_t Room, const IcnvPairs *Pairs,
                           size_t *Units);

    // Host text to at most Room units; *Shift as the host reader keeps it. Stops before everything but single bytes
    // outside and whole characters inside a run. Returns the bytes consumed.
    size_t (*hostToUnits)(const u8 *Source, size_t Length, u16 *Target, size_t Room, u32 *Shift, size_t *Units);

    // Count units to one byte (high byte 0) or two, high first; Target has room for 2 of each. Returns the bytes.
    size_t (*unitsToPairs)(const u16 *Source, size_t Count, u8 *Target);

    // Passes of the mixed loops; null: none.
    IcnvMixedPass *hostPass;
    IcnvMixedPass *pcPass;

    // Straight loops, each of one of the calls above.
    IcnvStraight *mapStraight;
    IcnvStraight *bytesToUcs;
    IcnvStraight *bytesToUtf8;
    IcnvStraight *utfToUcs;
    IcnvStraight *utfToNarrow;
    IcnvStraight *ucsToUtf;
    IcnvStraight *ucsToNarrow;
};

extern const IcnvKernels IcnvKernelsPlain;
extern const IcnvKernels IcnvKernelsAvx2;
extern const IcnvKernels IcnvKernelsVbmi;

// Set at the first call to the best that the processor has.
extern const IcnvKernels *IcnvKernelsChosen;
const IcnvKernels *SupOS_IcnvChooseKernels(void);

static inline const IcnvKernels *SupOS_IcnvKernels(void)
{
    const IcnvKernels *const chosen = __atomic_load_n(&IcnvKernelsChosen, __ATOMIC_RELAXED);
    return __builtin_expect(chosen != nullptr, 1) ? chosen : SupOS_IcnvChooseKernels();
}

// For tests and benchmarks: the form of this name from now on, or the best for null. False when there is no such form
// or the processor lacks it. Not while others convert.
bool SupOS_IcnvUseKernels(const char *Name);

#endif
