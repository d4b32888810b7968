#ifndef SUPOS_IMIXED_INT_H
#define SUPOS_IMIXED_INT_H

// The byte route: single-byte and mixed code sets through a pair of tables.

#include "supos_icnv_engine.h"

// The working record of one call.
struct IcnvConv {
    IcnvLookup dbcs; // D2; no table: double-byte characters pass unchanged
    IcnvLookup sbcs; // S1; no table: single bytes pass unchanged
    u32 index; // row of leadRanges
    const u8 *map; // single bytes with the new-line rule in it; null: go byte by byte through sbcs
    const u16 *flat; // dbcs made flat, or null
    bool quick; // map, and flat where there is a table, may be used: the two buffers lie apart or are the same
};

// A call under way.
struct IcnvMixed {
    const u8 *source; // the next byte
    u32 length; // of the whole source
    u32 consumed;
    u8 *target; // where the next byte goes
    u32 room; // of the whole target
    u32 written;
    bool inRun; // behind a shift-out, or behind a double-byte character of a PC source
};

// How a double-byte character comes out.
enum IcnvDoubles : u32 {
    ICNV_DOUBLES_TABLE, // through the flat table
    ICNV_DOUBLES_SAME, // unchanged
    ICNV_DOUBLES_ONE, // one substitution byte
};

// What a quick pass over a mixed stream needs to know.
struct IcnvMixedRule {
    const u8 *map; // single bytes
    const u16 *flat; // double-byte characters, for ICNV_DOUBLES_TABLE
    IcnvDoubles doubles;
    u8 substitute;
    bool shifts; // shift bytes go into the target
    bool keepsShiftIn; // the byte that ends a host run is a single byte of its own
    IcnvLeadRanges lead; // of a PC source
};

// Takes as much of a stream as needs no decision.
typedef void IcnvMixedPass(IcnvMixed *At, const IcnvMixedRule *Rule);

// One single byte. A host new line comes out as a host line feed does, so no table has to carry it.
static inline void IcnvTranslate(const IcnvLookup *Table, u32 Mode, u8 Byte, u8 *Out)
{
    if (Table->table == nullptr) {
        *Out = Byte;
        return;
    }
    const u32 entry = Byte == ICNV_HOST_NEWLINE && (Mode & ICNV_FROM_HOST) ? ICNV_HOST_LINEFEED : Byte;
    if (entry < Table->size) *Out = Table->table[entry];
}

// *slenp stays; *tlenp receives the bytes written; both pointers move. Results are return codes.
i32 TranSBCS(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode);
i32 HostPCMM(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode);
i32 PCHostMM(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode);
i32 HostPCMS(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode);
i32 PCHostMS(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode);

// One double-byte character through the double-byte table; one replaced by a substitution byte.
void XltDBCS(const u8 **srcpp, u8 **tgtpp, u32 *xltsp, u32 *xlttp, const IcnvConv *pnew);
void XltSUB(const u8 **srcpp, u8 **tgtpp, u32 *xltsp, u32 *xlttp, u32 mode);

#endif
