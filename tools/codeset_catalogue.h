#ifndef CODESET_CATALOGUE_H
#define CODESET_CATALOGUE_H

// The conversion catalogue as a reader outside the library sees it: its sets, its table files, and what follows for an
// open of two sets.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

struct Codeset {
    uint32_t Ccsid;
    uint32_t Base;
    uint32_t Dbcs;
    uint32_t Sbcs;
    uint32_t Kind;
    uint32_t Encoding;
    uint32_t Index;
    std::string Name;
};

struct CodesetCatalogue {
    std::string Folder;
    std::vector<Codeset> Sets; // by number
    std::set<std::string> Files; // names of the table files
};

// Reads ccsid.tbl of a folder; Vela_Failure when it cannot. Lines that the library would pass over are passed over.
CodesetCatalogue Codesets_ReadFolder(const std::string &Folder);

// The set of a full name, a short name or a number; nullptr when the catalogue has none.
const Codeset *Codesets_Find(const CodesetCatalogue &Catalogue, const std::string &Name);

enum class CodesetOpen {
    None, // it would fail, or no routine would take the pair
    Copy, // bytes pass unchanged
    Converts,
};

// What an open from one set to the other leads to; Missing, if not nullptr, receives the table file whose absence
// makes it fail. Default code sets of the catalogue are not looked at.
CodesetOpen Codesets_Open(const CodesetCatalogue &Catalogue, const Codeset &From, const Codeset &To,
                          std::string *Missing);

#endif
