// The conversion catalogue: ccsid.tbl in memory.
//
// The file is read twice. The first reading counts the lines that make nodes, so that one pool holds them all; the
// second one fills the pool, the lead-byte rows and the EUC rows. Both class lines in the same way, by nextLine. A bad
// line is told and costs itself alone; a file, or memory, that cannot be had ends the process, for nothing could be
// converted without it. Afterwards nothing changes but the list of loaded tables, so readers take no lock.
//
// IcnvRoot stands before the catalogue is complete. Opens come in through SupOS_IcnvNeedCatalogue, which waits for a
// reading that another thread has begun.

#include "supos_icnv_int.h"

#include "supos_allocation.h"
#include "supos_conversion.h"
#include "supos_text_int.h"

#include "crt.h"
#include "inftr_guard.h"
#include "super_logging.h"
#include "suppr_names.h"
#include "tks_process.h"

#include <cctype>
#include <cstdio>
#include <cstring>

constexpr u32 noMemory = 0x0E82B645; // ERZ058401E
constexpr u32 notOpened = 0x0E82D64D; // ERZ058403E
constexpr u32 badLine = 0x0E8273AE; // ERZ058235W
constexpr u32 noLocalSet = 0x0E8283B1; // ERZ058236E
constexpr i32 exitConfiguration = 99;

static const char catalogueLabel[] = "ERZ58NLS";

constexpr i32 lineSize = 256; // with the terminator; what stands behind it counts as the next line
constexpr size_t pathSize = SUPPR_NAME_ENTRY_SIZE + 16;

IcnvCatalogue *IcnvRoot;

static tks_Mutex initLock; // held while a catalogue is read
static u32 complete; // IcnvRoot's catalogue has been read to its end

enum section { sectionCcsid, sectionP, sectionEuc, sectionTcp, sectionMsc };
enum lineClass { lineNone, lineDefault, lineCcsid, lineP, lineEuc, lineIgnored };

// A reading of the file: where it is.
struct reader {
    FILE *file;
    section part;
    i32 number; // of the line, from 1; blank and comment lines count
    char line[lineSize];
};

static bool isBlank(const char *Line)
{
    for (; *Line != '\0'; ++Line)
        if (!isspace(static_cast<unsigned char>(*Line))) return false;
    return true;
}

static bool begins(const char *Line, const char *Word)
{
    return strncmp(Line, Word, strlen(Word)) == 0;
}

static void noteSection(reader *R)
{
    if (begins(R->line, "##P")) R->part = sectionP;
    if (begins(R->line, "##EUC")) R->part = sectionEuc;
    if (begins(R->line, "##TCP")) R->part = sectionTcp;
    if (begins(R->line, "##MSC")) R->part = sectionMsc;
}

// Reads the next line and classes it; false at the end of the file.
static bool nextLine(reader *R, lineClass *Class)
{
    if (fgets(R->line, lineSize, R->file) == nullptr) return false;
    ++R->number;
    *Class = lineNone;
    if (isBlank(R->line)) return true;
    if (R->line[0] == '#') {
        noteSection(R);
        return true;
    }
    if (begins(R->line, "default")) { // in any section
        *Class = lineDefault;
        return true;
    }
    switch (R->part) {
    case sectionCcsid: *Class = lineCcsid; break;
    case sectionP: *Class = lineP; break;
    case sectionEuc: *Class = lineEuc; break;
    default: *Class = lineIgnored; break;
    }
    return true;
}

static void startReading(reader *R)
{
    rewind(R->file);
    R->part = sectionCcsid;
    R->number = 0;
}

IcnvNode *SupOS_IcnvCreateNode(const IcnvNodeData *Data, IcnvNode **Free)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvCreateNode");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p)", static_cast<const void *>(Data), static_cast<void *>(Free));

    IcnvNode *const node = (*Free)++;
    static_cast<IcnvNodeData &>(*node) = *Data; // the links stay as the cleared pool left them
    INFTR_RETURN_VALUE(1, node); // NOLINT(bugprone-sizeof-expression): the size of the pointer is meant
}

void SupOS_IcnvInsertNode(IcnvNode **Root, const IcnvNodeData *Info, IcnvNode **Free)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvInsertNode");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %p)", static_cast<void *>(Root), static_cast<const void *>(Info),
                static_cast<void *>(Free));

    if (*Root == nullptr)
        *Root = SupOS_IcnvCreateNode(Info, Free);
    else if (Info->ccsid < (*Root)->ccsid)
        SupOS_IcnvInsertNode(&(*Root)->left, Info, Free);
    else if (Info->ccsid > (*Root)->ccsid)
        SupOS_IcnvInsertNode(&(*Root)->right, Info, Free);
    INFTR_RETURN(1); // a key that is there is dropped
}

IcnvNode *SupOS_IcnvFindNode(IcnvNode *Root, i32 LookFor)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvFindNode");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %d)", static_cast<void *>(Root), LookFor);

    IcnvNode *node = Root;
    while (node != nullptr && node->ccsid != LookFor) node = LookFor < node->ccsid ? node->left : node->right;
    INFTR_RETURN_VALUE(1, node); // NOLINT(bugprone-sizeof-expression): the size of the pointer is meant
}

void SupOS_IcnvFreeNode(IcnvNode *Root)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvFreeNode");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p)", static_cast<void *>(Root));

    if (Root->left != nullptr) {
        SupOS_IcnvFreeNode(Root->left);
        SupOS_DeallocateRE(Root->left);
    }
    if (Root->right != nullptr) {
        SupOS_IcnvFreeNode(Root->right);
        SupOS_DeallocateRE(Root->right);
    }
    INFTR_RETURN(1);
}

// What kind and encoding ask of the other columns.
static bool columnsAgree(const IcnvNodeData *N)
{
    const bool host = N->encoding == ICNV_HOST;
    const bool pc = N->encoding == ICNV_PC;
    const bool iso = N->encoding == ICNV_ISO;
    switch (N->kind) {
    case ICNV_KIND_SINGLE: return N->dbcs == 0 && N->sbcs != 0;
    case ICNV_KIND_DOUBLE: return !(host || pc) || (N->dbcs != 0 && N->sbcs == 0);
    default:
        if ((host || pc || iso) && (N->dbcs == 0 || N->sbcs == 0)) return false;
        if (pc) return N->index >= 1 && N->index <= 20;
        if (iso) return N->index >= 1 && N->index <= 10;
        return true;
    }
}

// A column of the file as the node holds it: a negative number is a large one.
static u32 column(long Value)
{
    return Value < 0 || Value > 0xFFFFFFFFL ? 0xFFFFFFFFu : static_cast<u32>(Value);
}

// Scans a CCSID line; false when it is bad. Name is empty when the line has none.
static bool scanCcsidLine(const char *Line, IcnvNodeData *Node, char (&Name)[lineSize])
{
    long ccsid = -1;
    long base = 0;
    long dbcs = 0;
    long sbcs = 0;
    long kind = 0;
    long encoding = 0;
    long index = 0;
    Name[0] = '\0';
    sscanf(Line, "%ld %ld %ld %ld %ld %ld %ld %255s", &ccsid, &base, &dbcs, &sbcs, &kind, &encoding, &index, Name);
    if (ccsid < 0 || ccsid > ICNV_CCSID_LIMIT) return false;

    *Node = {static_cast<i32>(ccsid), column(base), column(sbcs), column(dbcs),
             column(encoding),        column(kind), column(index)};
    if (Node->base > ICNV_CCSID_LIMIT || Node->dbcs > ICNV_CCSID_LIMIT || Node->sbcs > ICNV_CCSID_LIMIT) return false;
    if (Node->kind < ICNV_KIND_SINGLE || Node->kind > ICNV_KIND_MIXED) return false;
    if (Node->encoding < 1) return false; // required: no upper limit, the dispatch of a conversion refuses it
    return columnsAgree(Node);
}

i32 SupOS_ProcessCCSIDLine(IcnvCatalogue *Catalogue, const char *Line, i32 LineNumber, const char *LocalName,
                           i32 *Found)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ProcessCCSIDLine");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %d, %s, %d)", static_cast<void *>(Catalogue),
                static_cast<const void *>(Line), LineNumber, LocalName, *Found);

    IcnvNodeData data;
    char name[lineSize];
    if (!scanCcsidLine(Line, &data, name)) INFTR_RETURN_VALUE(2, 1);

    IcnvNode *const node = SupOS_IcnvFindNode(Catalogue->root, data.ccsid);
    if (node == nullptr && Catalogue->nextNode == Catalogue->poolEnd) INFTR_RETURN_VALUE(3, 1);
    if (node != nullptr)
        static_cast<IcnvNodeData &>(*node) = data; // the last line of a number wins
    else
        SupOS_IcnvInsertNode(&Catalogue->root, &data, &Catalogue->nextNode);

    if (*Found == 0 && name[0] != '\0' && strcmp(name, LocalName) == 0) { // and the first one of the local name
        Catalogue->localCcsid = static_cast<u32>(data.ccsid);
        *Found = 1;
    }
    INFTR_RETURN_VALUE(1, 0);
}

constexpr long unsetNumber = 99999; // fails every range test
constexpr u32 unsetByte = 99999;

i32 SupOS_ProcessPLine(IcnvCatalogue *Catalogue, const char *Line, i32 LineNumber, i32 LowestIndex)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ProcessPLine");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %d, %d)", static_cast<void *>(Catalogue), static_cast<const void *>(Line),
                LineNumber, LowestIndex);

    long index = unsetNumber;
    long count = unsetNumber;
    IcnvByteRange r[3] = {{unsetByte, unsetByte}, {unsetByte, unsetByte}, {unsetByte, unsetByte}};
    sscanf(Line, "%ld %ld %x %x %x %x %x %x", &index, &count, &r[0].low, &r[0].high, &r[1].low, &r[1].high, &r[2].low,
           &r[2].high);
    if (index < LowestIndex || index >= static_cast<long>(ICNV_LEAD_ROWS)) INFTR_RETURN_VALUE(2, 1);
    if (count < 1 || count > 3) INFTR_RETURN_VALUE(3, 1);
    for (long i = 0; i < count; ++i)
        if (r[i].low > 0xFF || r[i].high > 0xFF || r[i].high < r[i].low) INFTR_RETURN_VALUE(4, 1);

    IcnvLeadRanges *const row = &Catalogue->leadRanges[index];
    row->count = static_cast<u32>(count);
    for (long i = 0; i < count; ++i) row->ranges[i] = r[i];
    INFTR_RETURN_VALUE(1, 0);
}

i32 SupOS_ProcessELine(IcnvCatalogue *Catalogue, const char *Line, i32 LineNumber)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ProcessELine");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %d)", static_cast<void *>(Catalogue), static_cast<const void *>(Line),
                LineNumber);

    long index = unsetNumber;
    long count = unsetNumber;
    long widths[4] = {unsetNumber, unsetNumber, unsetNumber, unsetNumber};
    sscanf(Line, "%ld %ld %ld %ld %ld %ld", &index, &count, &widths[0], &widths[1], &widths[2], &widths[3]);
    if (index < 1 || index > static_cast<long>(ICNV_EUC_ROWS)) INFTR_RETURN_VALUE(2, 1);
    if (count < 1 || count > 4) INFTR_RETURN_VALUE(3, 1);
    for (long i = 0; i < count && i < 3; ++i) // required: the fourth width is taken as it is, missing or not
        if (widths[i] < 1 || widths[i] > 3) INFTR_RETURN_VALUE(4, 1);

    IcnvEucWidths *const row = &Catalogue->eucWidths[index - 1];
    row->count = static_cast<u32>(count);
    for (long i = 0; i < count; ++i) row->widths[i] = column(widths[i]);
    INFTR_RETURN_VALUE(1, 0);
}

// A default line: the second number is the code set, the fourth says for whom. Returns 0 or 1 as the others do.
static i32 processDefaultLine(IcnvCatalogue *Catalogue, const char *Line)
{
    char word[lineSize];
    long n[5] = {};
    sscanf(Line, "%255s %ld %ld %ld %ld %ld", word, &n[0], &n[1], &n[2], &n[3], &n[4]);
    if (n[3] != 1 && n[3] != 2) return 1;
    (n[3] == 1 ? Catalogue->defaultHost : Catalogue->defaultPC) = column(n[1]);
    return 0;
}

static i32 processLine(IcnvCatalogue *Catalogue, const reader *R, lineClass Class, const char *LocalName, i32 *Found)
{
    switch (Class) {
    case lineDefault: return processDefaultLine(Catalogue, R->line);
    case lineCcsid: return SupOS_ProcessCCSIDLine(Catalogue, R->line, R->number, LocalName, Found);
    case lineP: return SupOS_ProcessPLine(Catalogue, R->line, R->number, 1);
    case lineEuc: return SupOS_ProcessELine(Catalogue, R->line, R->number);
    default: return 0;
    }
}

static void countNodes(IcnvCatalogue *Catalogue, reader *R)
{
    startReading(R);
    for (lineClass found; nextLine(R, &found);)
        if (found == lineCcsid) ++Catalogue->nodeCount; // whatever stands in it
}

static i32 readLines(IcnvCatalogue *Catalogue, reader *R, const char *LocalName, const char *Path)
{
    i32 found = 0;
    startReading(R);
    for (lineClass kind; nextLine(R, &kind);)
        if (processLine(Catalogue, R, kind, LocalName, &found) != 0)
            SupER_Log(SUPER_CONSOLE, badLine, 148, R->number, Path);
    return found;
}

// Memory of the catalogue, cleared. Without memory the process ends with the allocation's own code.
template <typename Block>
static Block *allocate(u32 Count, i32 MSN)
{
    void *block = nullptr;
    const u32 code = SupOS_AllocateRE(Count * static_cast<u32>(sizeof(Block)), catalogueLabel, &block);
    if (code == ERZ_OK) return static_cast<Block *>(block);
    SupER_Log(SUPER_CONSOLE, noMemory, MSN);
    InfTR_ProcessTerminate();
    tks_Exit(static_cast<i32>(code));
}

static void readCatalogue(void)
{
    IcnvCatalogue *const catalogue = allocate<IcnvCatalogue>(1, 140);
    __atomic_store_n(&IcnvRoot, catalogue, __ATOMIC_RELEASE);
    const char *const localName = SupOS_LangInfo();
    tks_MutexInit(&catalogue->tableLock);

    char path[pathSize];
    snprintf(path, sizeof path, "%s\\ccsid.tbl", SupPR_GetNames(SUPPR_NAME_ETC_DIR));
    reader file = {};
    file.file = plat_fopen(path, "r");
    if (file.file == nullptr) {
        SupER_Log(SUPER_CONSOLE, notOpened, 141, path);
        InfTR_ProcessTerminate();
        tks_Exit(exitConfiguration);
    }

    countNodes(catalogue, &file);
    catalogue->nextNode = allocate<IcnvNode>(catalogue->nodeCount, 142);
    catalogue->poolEnd = catalogue->nextNode + catalogue->nodeCount;
    // All rows that a line may name, so that none lies behind its table.
    catalogue->leadRanges = allocate<IcnvLeadRanges>(ICNV_LEAD_ROWS, 146);
    SupOS_ProcessPLine(catalogue, "0 1 0 FF", 0, 0);
    catalogue->eucWidths = allocate<IcnvEucWidths>(ICNV_EUC_ROWS, 147);

    const i32 found = readLines(catalogue, &file, localName, path);
    fclose(file.file);
    if (found == 0) {
        SupER_Log(SUPER_CONSOLE, noLocalSet, 149, localName, path);
        InfTR_ProcessTerminate();
        tks_Exit(exitConfiguration);
    }
}

void SupOS_IcnvInit(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvInit");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(void)");

    tks_MutexInitOnce(&initLock);
    tks_MutexLock(&initLock);
    __atomic_store_n(&complete, 0u, __ATOMIC_RELEASE);
    if (SupOS_IcnvFreeListEmpty()) SupOS_IcnvInitProcess();
    readCatalogue();
    __atomic_store_n(&complete, 1u, __ATOMIC_RELEASE);
    tks_MutexUnlock(&initLock);
    INFTR_RETURN(1);
}

void SupOS_IcnvNeedCatalogue(void)
{
    if (InfTR_Read(complete) == 1 && InfTR_Read(IcnvRoot) != nullptr) return;
    tks_MutexInitOnce(&initLock);
    tks_MutexLock(&initLock);
    if (IcnvRoot == nullptr) SupOS_IcnvInit();
    tks_MutexUnlock(&initLock);
}
