#ifndef SUPOS_ICNV_INT_H
#define SUPOS_ICNV_INT_H

// What the sources of code-page conversion share: the catalogue, and the names of code sets.

#include "tks_thread.h"
#include "vela_types.h"

// Encoding schemes of code sets, as column `encoding` of ccsid.tbl gives them.
#define ICNV_HOST 1u // EBCDIC; double-byte runs stand between 0x0E and 0x0F
#define ICNV_PC 2u // a double-byte character is told by its lead byte
#define ICNV_ISO 3u // byte code set of the ISO kind
#define ICNV_UCS2 4u // 16-bit units, low byte first
#define ICNV_UTF8 5u
#define ICNV_EUC 6u
#define ICNV_GB18030 7u // one, two or four bytes
#define ICNV_ENC8 8u // reserved: no conversion takes it

// Kinds of code sets.
#define ICNV_KIND_SINGLE 1u
#define ICNV_KIND_DOUBLE 2u
#define ICNV_KIND_MIXED 3u

#define ICNV_CCSID_LIMIT 65534

// One code set of the catalogue. The seven data fields come first and are copied as one piece (IcnvNodeData).
struct IcnvNodeData {
    i32 ccsid; // key, 0 to ICNV_CCSID_LIMIT
    u32 base; // names the table files of the Unicode and EUC routes
    u32 sbcs; // CCSID of the single-byte part, 0 = none
    u32 dbcs; // CCSID of the double-byte part, 0 = none
    u32 encoding; // ICNV_HOST ...; the reader lets numbers above 8 pass
    u32 kind; // ICNV_KIND_*
    u32 index; // row of leadRanges or eucWidths, or 0; not tested for every encoding: bound it where it is used
};

struct IcnvNode : IcnvNodeData {
    IcnvNode *left; // smaller keys
    IcnvNode *right; // larger keys
};

// One row of lead bytes: `count` inclusive ranges. A row that no line gave has count 0.
struct IcnvByteRange {
    u32 low;
    u32 high;
};

struct IcnvLeadRanges {
    u32 count;
    IcnvByteRange ranges[3];
};

// One row of EUC widths: of `count` code sets, those 2 and 3 without their shift byte. Never-given row: count 0.
struct IcnvEucWidths {
    u32 count;
    u32 widths[4];
};

// Rows that a catalogue always has, whatever the file names. Lead row 0 is built in (one range, all bytes);
// EUC row n is eucWidths[n - 1].
constexpr u32 ICNV_LEAD_ROWS = 21;
constexpr u32 ICNV_EUC_ROWS = 10;

struct IcnvTable; // a loaded table file

// The catalogue of the process. Fixed once SupOS_IcnvInit has ended, but for tableCount and tables.
struct IcnvCatalogue {
    tks_Mutex tableLock; // guards tableCount and tables
    u32 localCcsid; // the process's own code set
    u32 defaultHost; // 0 = none
    u32 defaultPC; // 0 = none
    u32 nodeCount; // CCSID lines of the file, bad ones included
    IcnvNode *root;
    IcnvNode *nextNode; // next free node of the pool
    u32 tableCount;
    IcnvTable *tables;
    IcnvLeadRanges *leadRanges; // ICNV_LEAD_ROWS rows
    IcnvEucWidths *eucWidths; // ICNV_EUC_ROWS rows
    IcnvNode *poolEnd; // behind the last node: the file may have grown between its two readings
};

// NULL until SupOS_IcnvInit has begun. Read it behind SupOS_IcnvNeedCatalogue.
extern IcnvCatalogue *IcnvRoot;

// Runs SupOS_IcnvInit if it has not run, once however many threads ask; then the catalogue is complete.
void SupOS_IcnvNeedCatalogue(void);

// Makes the descriptor lock and the free list; SupOS_IcnvInit calls it while the list is empty. These two and
// SupOS_IcnvFreeListEmpty are defined with the descriptors.
void SupOS_IcnvInitProcess(void);
void SupOS_IcnvEndProcess(void);
bool SupOS_IcnvFreeListEmpty(void);

// One line of ccsid.tbl: 0 taken, 1 bad. LineNumber serves the trace. Found is 0 until a line carried LocalName.
i32 SupOS_ProcessCCSIDLine(IcnvCatalogue *Catalogue, const char *Line, i32 LineNumber, const char *LocalName,
                           i32 *Found);
i32 SupOS_ProcessPLine(IcnvCatalogue *Catalogue, const char *Line, i32 LineNumber, i32 LowestIndex);
i32 SupOS_ProcessELine(IcnvCatalogue *Catalogue, const char *Line, i32 LineNumber);

// The tree. Create takes the next node of the pool; Insert drops a key that is there; Find gives NULL for none.
// FreeNode hands each child node to the heap: not for a tree whose nodes come from one pool.
IcnvNode *SupOS_IcnvCreateNode(const IcnvNodeData *Data, IcnvNode **Free);
void SupOS_IcnvInsertNode(IcnvNode **Root, const IcnvNodeData *Info, IcnvNode **Free);
IcnvNode *SupOS_IcnvFindNode(IcnvNode *Root, i32 LookFor);
void SupOS_IcnvFreeNode(IcnvNode *Root);

// The two constant tables of names; a search takes the first match from the top.
struct IcnvShortName {
    const char *shortName;
    const char *fullName;
};

struct IcnvCodeSet {
    const char *name;
    u32 ccsid;
};

constexpr u32 ICNV_SHORT_NAMES = 110; // the last two rows are empty
constexpr u32 ICNV_CODE_SETS = 111; // the last row is the empty name, number 0

extern const IcnvShortName IcnvShortNames[ICNV_SHORT_NAMES];
extern const IcnvCodeSet IcnvCodeSets[ICNV_CODE_SETS];

#endif
