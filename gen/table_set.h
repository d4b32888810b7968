#ifndef GEN_TABLE_SET_H
#define GEN_TABLE_SET_H

// All table files of the delivered catalogue: which there are, what is in each, and the run that writes them.

#include <string>
#include <vector>

#include "charmap.h"
#include "compose.h"
#include "table_layouts.h"

// Groups of files, in the order in which they are written.
enum class TableClass {
    Singles, // single-byte part to single-byte part
    Doubles, // double-byte part to double-byte part of its family
    NoDoubles, // double-byte part to none and back
    SingleUnicode, // single-byte set and Unicode
    MixedUnicode, // mixed set and Unicode
    EucUnicode, // EUC set and Unicode
    EucMixed, // EUC set and the mixed sets of its family
    EucSingle, // EUC set and the Latin-1 sets
};
constexpr u32 TABLE_CLASS_COUNT = 8;
const char *TableSet_ClassName(TableClass Class);

// One file: FFFFTTTT.tbl.
struct TableJob {
    TableClass group;
    u32 from; // number in the file's name; 0 = none
    u32 to;
    const CodesetRow *source; // NULL for Unicode or none
    const CodesetRow *target;
};

// Maps and targets that the drafts of a run share.
struct TableMaker {
    CharmapStore maps;
    std::map<std::string, ComposeTarget> targets;
};

std::vector<TableJob> TableSet_Jobs(const CodesetPlan &Plan);
TableDraft TableSet_Draft(TableMaker &Maker, const TableJob &Job);

std::string TableSet_FileName(u32 From, u32 To);

// What a run found out about one file.
struct TableRecord {
    TableJob job;
    TableLayout layout;
    size_t mapped;
    size_t size;
    u32 rows;
    u32 falseCodes;
    std::vector<TableEntry> lost;
    bool shared;
};

// Writes every file into a folder and reads each back from there. Progress is called with files done and in all; it
// may be empty. Throws GenError on the first file that does not read back.
std::vector<TableRecord> TableSet_Write(const CodesetPlan &Plan, const std::string &Folder,
                                        const std::function<void(size_t, size_t)> &Progress);

// The files for tests of GB18030 as an encoding of its own, under number 1392, and the catalogue that goes with them.
std::vector<TableRecord> TableSet_WriteGb18030(const CodesetPlan &Plan, const std::string &Folder);

// Writes a draft's file and reads it back; the checked file.
TableFile TableSet_WriteOne(const TableDraft &Draft, const std::string &Path);

// The bytes of a file; throws GenError when it cannot be read.
std::vector<u8> TableSet_ReadFile(const std::string &Path);
void TableSet_WriteFile(const std::string &Path, const void *Data, size_t Size);

#endif
