#ifndef SUPOS_ICNV_ENGINE_H
#define SUPOS_ICNV_ENGINE_H

// What the sources of the conversion engine share behind the catalogue: codes, tables, descriptors, and the calls
// between opening, loading and coding.

#include "supos_conversion.h"
#include "supos_icnv_int.h"
#include "vela_types.h"

// Table handles, as descriptors keep them: 0 is no table, 1 and up a position in `tables` counted from 1.
#define ICNV_TBL_SAME 3999u // both sides have the same code set here: bytes pass unchanged
#define ICNV_TBL_SUBST 3998u // second handle: each double-byte character becomes one substitution byte

// Modes of a descriptor: 0 for the Unicode and EUC route, ICNV_MODE_COPY, or a target bit plus a source bit.
#define ICNV_FROM_HOST 1u
#define ICNV_FROM_PC 2u
#define ICNV_FROM_ISO 4u
#define ICNV_TO_HOST 16u
#define ICNV_TO_PC 32u
#define ICNV_TO_ISO 64u
#define ICNV_MODE_COPY 128u

// Bytes with a meaning of their own.
#define ICNV_SHIFT_OUT 0x0E
#define ICNV_SHIFT_IN 0x0F
#define ICNV_HOST_NEWLINE 0x15
#define ICNV_HOST_LINEFEED 0x25
#define ICNV_SUB_HOST 0x3F
#define ICNV_SUB_PC 0x7F
#define ICNV_SUB_ISO 0x1A

struct IcnvFlat;

// A loaded table file. Entries never change once they count in tableCount; the array of them may be replaced by a
// longer copy, and then stays for readers that still hold it.
struct IcnvTable {
    char tag[4]; // "ICNV"
    u32 key; // source CCSID times 10, plus the suffix of the file
    u32 to; // target CCSID
    u8 *data; // the whole file
    u32 size; // bytes at data
    IcnvFlat *flat; // what was worked out of the table for quick use, newest first; guarded by tableLock
};

// The same conversion for every input, without a bound to test: made from a table whose every possible index lies
// inside it, once, at the open that first asks for it, and never freed. A table that fails the test has no flat form.
enum IcnvFlatKind : u32 {
    ICNV_FLAT_NONE,
    ICNV_FLAT_S2, // byte to two bytes: `bytes`
    ICNV_FLAT_D2, // two bytes to two bytes: `words`, at the first byte times 256 plus the second
    ICNV_FLAT_D1, // two bytes to one: `narrow`, likewise
    ICNV_FLAT_E4, // two bytes to four: `longs`, the four bytes as one big-endian number
    ICNV_FLAT_F4,
    ICNV_FLAT_G4,
    ICNV_FLAT_T4, // four bytes to two: `words` for 00 00 xx yy, and behind it 65536 more for 00 8F xx yy
};

// A byte table taken apart for the vector loops: 256 entries each.
struct IcnvByteFlat {
    u8 high[256];
    u8 low[256];
    u8 utf[3][256]; // first, second and third byte of the UTF-8 form
    u8 utfLength[256]; // 1 to 3
    u8 simple; // nonzero: no UTF-8 form is longer than two bytes
};

struct IcnvFlat {
    IcnvFlatKind kind;
    IcnvFlat *next;
    union { // whole cache lines
        IcnvByteFlat *bytes;
        u16 *words;
        u8 *narrow;
        u32 *longs;
    };
};

// A descriptor: one of 32 fixed records, read-only from open to close.
struct IcnvDescriptor {
    u32 index; // the source's row of leadRanges or eucWidths
    u32 mode;
    u32 table1; // single-byte table, or the route's only one
    u32 table2; // double-byte table
    u32 fromKind; // also stands as a third handle behind the two
    u32 fromEncoding;
    u32 toKind;
    u32 toEncoding;
    IcnvDescriptor *next; // free list
};

constexpr u32 ICNV_DESCRIPTORS = 32;

// A descriptor's value in the hands of callers: a fixed code of its slot.
constexpr u32 ICNV_FIRST_CODE = 0x49430000u;
constexpr u32 ICNV_CODE_STEP = 4;

struct IcnvPlan;

// A whole call of SupOS_IcnvCode by one loop. What it cannot take to the text's end it hands to SupOS_IcnvCodeByLayers,
// which begins again with the same bytes.
typedef i32 IcnvStraight(u32 cd, const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvPlan *Plan);

// What an open worked out so that code need not: null pointers where there is nothing. Belongs to the slot.
struct IcnvPlan {
    const IcnvCatalogue *catalogue; // the plan holds only while this is the process's catalogue
    IcnvStraight *straight; // never null in a slot that was open once
    const u8 *map; // byte to byte with the new-line rule in it: `bytes` below, or null
    const IcnvFlat *flat; // the route's table
    alignas(64) u8 bytes[256]; // whole cache lines: the vector loops load all of it at each call
};

extern IcnvDescriptor IcnvPool[ICNV_DESCRIPTORS];
extern IcnvPlan IcnvPlans[ICNV_DESCRIPTORS]; // of the slot with the same number

// The working record of one call: a table as a lookup takes it.
struct IcnvLookup {
    const u8 *table; // null: the lookup leaves its output as it was
    u32 size;
    u32 index;
};

// Opening. CCSIDs in, the fields of a descriptor out; results are return codes.
u32 SupOS_SafeIcnvOpen(const char *ToCode, const char *FromCode);
i32 SupOS_SafeIcnvCode(u32 cd, const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp);
i32 SupOS_SafeIcnvClose(u32 cd);
i32 SupOS_OpenConversion(u32 From, u32 To, u32 AllowDefault, u32 *Mode, u32 *Table1, u32 *Table2, u32 *Index,
                         u32 *FromKind, u32 *FromEncoding, u32 *ToKind, u32 *ToEncoding);
i32 SupOS_OpenDefaultConversion(u32 From, u32 To, u32 *Mode, u32 *Table1, u32 *Table2, u32 *Index, u32 *FromKind,
                                u32 *FromEncoding, u32 *ToKind, u32 *ToEncoding);
i32 SupOS_OpenConv(u32 ToSbcs, u32 ToDbcs, u32 FromSbcs, u32 FromDbcs, u32 *Table1, u32 *Table2, u32 Kind);

// Works out what code needs to take the quick ways; a plan without them leaves the plain ones.
void SupOS_IcnvMakePlan(IcnvPlan *Plan, const IcnvDescriptor *Descriptor);

// Loading. GetTable finds or loads one table file; ModifyTable widens rows of 260 bytes to 512.
i32 SupOS_GetTable(u32 To, u32 From, u32 *Table, u32 Kind, u32 Suffix);
i32 SupOS_ModifyTable(IcnvTable *Table);

// The table behind a handle, without a lock; null for a handle that names none.
const IcnvTable *SupOS_IcnvTableOf(u32 Handle);
// The lookup record behind a handle: no table for 0 and for a handle that names none.
IcnvLookup SupOS_IcnvLookupOf(u32 Handle, u32 Index);
// The flat form of a table, made at the first call; null when the table cannot have one, or no memory is left.
const IcnvFlat *SupOS_IcnvFlatOf(u32 Handle, IcnvFlatKind Kind);
// For SupOS_IcnvFlatOf, under tableLock: works the flat form out.
IcnvFlat *SupOS_IcnvMakeFlat(const IcnvTable *Table, IcnvFlatKind Kind);

// Coding. *slenp stays; on return *tlenp holds the bytes written, and *srcpp and *tgtpp have moved.
// Plan may be null: everything then runs through the plain loops.
i32 SupOS_CodeConv(const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, u32 table1, u32 table2, u32 mode, u32 index,
                   const IcnvPlan *Plan);
i32 SupOS_NewCodeConv(const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, const u32 *tables, u32 fromKind,
                      u32 fromEncoding, u32 toKind, u32 toEncoding, u32 index, const IcnvPlan *Plan);

// SupOS_IcnvCode with every layer on the way, each with its guard.
i32 SupOS_IcnvCodeByLayers(u32 cd, const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp);

// The straight loop of a descriptor whose plan has its tables; one that goes to the layers at once where there is none.
IcnvStraight *SupOS_IcnvStraightOf(const IcnvPlan *Plan, const IcnvDescriptor *Descriptor);

// The layout in which a pair of the Unicode and EUC route reads its first table; ICNV_FLAT_NONE where it reads none.
IcnvFlatKind SupOS_IcnvFlatKindOf(u32 FromKind, u32 FromEncoding, u32 ToKind, u32 ToEncoding);

#endif
