#ifndef SUPOS_ISTREAM_INT_H
#define SUPOS_ISTREAM_INT_H

// The pieces of the Unicode and EUC route: a call's two streams, the readers, the lookups and the writers.
//
// A reader takes one character from the source and stores it in a fixed form; a lookup maps the form; a writer puts
// the mapped form into the target. Two forms: two bytes, high before low (Unicode values, double-byte codes, single
// bytes with high 0), and four bytes, the EUC or GB18030 character right-aligned behind zeros.

#include "supos_icnv_engine.h"

#define ICNV_SHIFT_INSIDE 1u // inside a double-byte run
#define ICNV_SHIFT_OUTSIDE 2u

// Both sides of one call, on the stack of its routine.
struct IcnvStream {
    const u8 *source; // the next byte
    u32 length; // of the whole source
    u32 consumed;
    u8 *target; // where the next byte goes
    u32 room; // of the whole target
    u32 written;
    u32 shift; // ICNV_SHIFT_*: of the source for host readers, of the target for host writers
    IcnvLeadRanges lead; // the row of a PC source; count 0 where there is none
    IcnvEucWidths widths; // the row of an EUC source; count 0 where there is none
};

// A reader stores a form and moves the source. 0, or a return code that ends the routine.
typedef i32 (*IcnvReader)(IcnvStream *Stream, u8 *Form);
i32 SupOS_IcnvReadByte(IcnvStream *Stream, u8 *Form);
i32 SupOS_IcnvReadUCS(IcnvStream *Stream, u8 *Form);
i32 SupOS_IcnvReadUTF(IcnvStream *Stream, u8 *Form);
i32 SupOS_IcnvReadEUC(IcnvStream *Stream, u8 *Form);
i32 SupOS_IcnvReadPC(IcnvStream *Stream, u8 *Form);
// ICNV_RC_FULL marks the end of the source here.
i32 SupOS_IcnvReadHost(IcnvStream *Stream, u8 *Form);
// Left-aligned; *Length receives 1, 2 or 4, or 0 for a malformed character.
i32 SupOS_IcnvReadGB(IcnvStream *Stream, u8 *Form, u32 *Length);

// A lookup maps In to Out, and leaves Out as it was without a table or where the table does not reach.
typedef void (*IcnvMapper)(const IcnvLookup *Lookup, const u8 *In, u8 *Out);
void SupOS_IcnvSame(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // no table: two-byte form to two-byte form
void SupOS_IcnvOneToTwo(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // S2; In is one byte
void SupOS_IcnvTwoToTwo(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // D2
void SupOS_IcnvTwoToOne(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // D1; Out is one byte
void SupOS_IcnvToEucE4(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // E4
void SupOS_IcnvToEucF4(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // F4
void SupOS_IcnvToGb(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // G4
void SupOS_IcnvEucToTwo(const IcnvLookup *Lookup, const u8 *In, u8 *Out); // T4
void SupOS_IcnvGbFour(const IcnvLookup *Lookup, const u8 *In, u8 *Out, u8 Unused); // Q4

// The offset of the leaf that a trie names for the first three bytes of a character; negative when a step of the way
// lies outside. The leaf itself may.
i64 SupOS_IcnvTrieLeaf(const u8 *Table, u32 Size, const u8 *Character);

// A writer puts a form out and moves the target. 0, or ICNV_RC_FULL.
typedef i32 (*IcnvWriter)(IcnvStream *Stream, const u8 *Form);
i32 SupOS_IcnvWriteByte(IcnvStream *Stream, const u8 *Form);
i32 SupOS_IcnvWriteUCS(IcnvStream *Stream, const u8 *Form);
i32 SupOS_IcnvWriteUTF(IcnvStream *Stream, const u8 *Form);
i32 SupOS_IcnvWriteEUC(IcnvStream *Stream, const u8 *Form);
i32 SupOS_IcnvWritePC(IcnvStream *Stream, const u8 *Form);
i32 SupOS_IcnvWriteHost(IcnvStream *Stream, const u8 *Form);

// What a routine of the family does behind its loop.
#define ICNV_END_CLOSE 1u // a run still open is closed where there is room
#define ICNV_END_CHECK 2u // a run still open at the source's end is an error
#define ICNV_END_STRICT 4u // a run still open is an error
#define ICNV_END_LEFT 8u // source left over is a full target, whatever came before
#define ICNV_END_OK 16u // ICNV_RC_FULL of the reader is a clean end

enum IcnvReaderKind : u32 {
    ICNV_READ_BYTE,
    ICNV_READ_UCS,
    ICNV_READ_UTF,
    ICNV_READ_EUC,
    ICNV_READ_PC,
    ICNV_READ_HOST,
    ICNV_READ_GB,
};

enum IcnvWriterKind : u32 {
    ICNV_WRITE_BYTE,
    ICNV_WRITE_UCS,
    ICNV_WRITE_UTF,
    ICNV_WRITE_EUC,
    ICNV_WRITE_PC,
    ICNV_WRITE_HOST,
};

// One routine of the family: what it joins.
struct IcnvJoin {
    IcnvReaderKind reader;
    IcnvFlatKind layout; // of its lookup; ICNV_FLAT_NONE: no table (and for GB18030: by length)
    IcnvWriterKind writer;
    u32 ending; // ICNV_END_*
    u8 substitute; // for GB18030: low byte of what stands for a malformed character
    u8 unused; // for GB18030: handed to its four-byte lookup
};

// The quick way over as much of a stream as is plain sailing: no end of source or target near, no bad character, a flat
// table. Returns the bytes consumed, which may be 0; what follows belongs to the plain loop.
u32 SupOS_IcnvPass(const IcnvJoin *Join, IcnvStream *Stream, const IcnvFlat *Flat);

// The routines, and the stubs of the reserved encoding.
typedef i32 IcnvRoutine(const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvLookup *lookups,
                        const IcnvPlan *Plan);
IcnvRoutine EucHostMM, HostEucMM, EucPCMM, PCEucMM, EucUCSMM, UCSEucMM, UCSPCMM, PCUCSMM, UCSHostMM, HostUCSMM,
    UTFHostMM, HostUTFMM, EucUTFMM, UTFEucMM, UTFPCMM, PCUTFMM, UTFUCSMM, UCSUTFMM, SBCStoUCS, SBCStoUTF, UCStoSBCS,
    UTFtoSBCS, UCSGBMM, UTFGBMM, HostGBMM, GBUCSMM, GBHostMM, GBUTFMM, HostEnc8MM, UCSEnc8MM, UTFEnc8MM, GBEnc8MM,
    Enc8HostMM, Enc8UCSMM, Enc8UTFMM, Enc8GBMM;

// Two conversions of the supplementary planes, which no routine uses. Four GB18030 bytes to a big-endian surrogate pair;
// and back, ICNV_RC_FULL with less than four bytes of room.
void GbToSurrogates(const u8 *Source, u8 *Target);
i32 SurrogatesToGb(const u8 *Source, u8 *Target, u32 Room);

#endif
