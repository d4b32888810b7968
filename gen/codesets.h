#ifndef GEN_CODESETS_H
#define GEN_CODESETS_H

// The project's list of code sets (data/codesets/*.tsv) in memory.

#include <stdexcept>
#include <string>
#include <vector>

#include "vela_types.h"

// What makes the generator stop: a damaged input, a converter that is not there, a table that does not read back.
struct GenError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum : u32 { GEN_HOST = 1, GEN_PC, GEN_ISO, GEN_UCS2, GEN_UTF8, GEN_EUC, GEN_GB18030 };
enum : u32 { GEN_SINGLE = 1, GEN_DOUBLE, GEN_MIXED };

struct CodesetRow {
    u32 ccsid;
    bool isPart; // stands in file names only
    std::vector<std::string> names;
    std::string family;
    u32 kind;
    u32 encoding;
    u32 dbcs;
    u32 sbcs;
    u32 index;
    u32 base;
    u32 sub1;
    u32 sub2;
    std::string source;
    std::string note;
};

struct LeadBytes {
    u32 index;
    std::vector<std::pair<u32, u32>> ranges; // inclusive
};

struct EucWidths {
    u32 index;
    std::vector<u32> widths;
};

struct Equivalent {
    std::string scope;
    u16 first;
    u16 second;
};

struct CodesetPlan {
    std::vector<CodesetRow> rows; // in the order of the file
    std::vector<LeadBytes> leadBytes;
    std::vector<EucWidths> eucWidths;
    std::vector<Equivalent> equivalents;
};

// Reads the four files of a folder and tests what the reader of the catalogue would test. Throws GenError with the
// file's name and line.
CodesetPlan Codesets_Read(const std::string &Folder);

// The row of a number; throws GenError for an unknown one.
const CodesetRow &Codesets_Row(const CodesetPlan &Plan, u32 Ccsid);

// True when Byte begins a double-byte character in PC text of lead-byte row Index.
bool Codesets_IsLead(const CodesetPlan &Plan, u32 Index, u32 Byte);

// Both numbers of ISO8859-2 and of ISO8859-9 share one set of tables: true for the one that only lends its name.
bool Codesets_IsAlias(const CodesetRow &Row);

#endif
