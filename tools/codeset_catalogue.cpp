#include "codeset_catalogue.h"

#include "vela_commands.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

namespace
{

namespace fs = std::filesystem;

enum : uint32_t { HOST = 1, PC, ISO, UCS2, UTF8, EUC, GB18030 };
enum : uint32_t { SINGLE = 1, DOUBLE, MIXED };

constexpr int lineRoom = 256;

bool isCodesetLine(const char *line)
{
    return line[0] != '#' && std::strncmp(line, "default", 7) != 0 &&
           std::strspn(line, " \t\r\n\v\f") != std::strlen(line);
}

bool scan(const char *line, Codeset *set)
{
    char name[lineRoom] = "";
    long n[7] = {-1};
    std::sscanf(line, "%ld %ld %ld %ld %ld %ld %ld %255s", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], name);
    for (const long number : {n[0], n[1], n[2], n[3]})
        if (number < 0 || number > 65534) return false;
    if (n[4] < 1 || n[4] > 3 || n[5] < 1) return false;
    *set = {static_cast<uint32_t>(n[0]), static_cast<uint32_t>(n[1]),
            static_cast<uint32_t>(n[2]), static_cast<uint32_t>(n[3]),
            static_cast<uint32_t>(n[4]), static_cast<uint32_t>(n[5]),
            static_cast<uint32_t>(n[6]), name};
    return true;
}

std::string fileName(uint32_t from, uint32_t to)
{
    char name[24];
    std::snprintf(name, sizeof name, "%04X%04X.tbl", from, to);
    return name;
}

// Encodings that a routine takes together, apart from the byte sets.
bool routineExists(uint32_t from, uint32_t to)
{
    static const std::map<uint32_t, std::set<uint32_t>> targets = {
        {HOST, {UCS2, UTF8, EUC, GB18030}},
        {PC, {UCS2, UTF8, EUC}},
        {ISO, {UCS2, UTF8, EUC}},
        {UCS2, {HOST, PC, ISO, UTF8, EUC, GB18030}},
        {UTF8, {HOST, PC, ISO, UCS2, EUC, GB18030}},
        {EUC, {HOST, PC, ISO, UCS2, UTF8}},
        {GB18030, {HOST, UCS2, UTF8}},
    };
    const auto row = targets.find(from);
    return row != targets.end() && row->second.contains(to);
}

bool isByteSet(const Codeset &set)
{
    return set.Encoding >= HOST && set.Encoding <= ISO;
}

// A file that is needed and not there makes the open fail.
bool have(const CodesetCatalogue &catalogue, uint32_t from, uint32_t to, std::string *missing)
{
    const std::string name = fileName(from, to);
    if (from == to || catalogue.Files.contains(name)) return true;
    if (missing) *missing = name;
    return false;
}

// Numbers of one set under two systems of counting count as the same set when their table is missing.
bool copiesWithoutTable(uint32_t from, uint32_t to)
{
    return (from & 0xFFF) == (to & 0xFFF) || (from == 1386 && (to == 1392 || to == 5488));
}

// "954" of "954" and "QMX-954"; 0 for other texts.
uint32_t numberOf(const std::string &name)
{
    const std::string digits = name.starts_with("QMX-") ? name.substr(4) : name;
    if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos) return 0;
    return static_cast<uint32_t>(std::atoi(digits.c_str()));
}

// Full names of the short ones that are no numbers, and second names.
std::string otherName(const std::string &name)
{
    static const std::map<std::string, std::string> names = {
        {"EUCJP", "QMX-eucJP"}, {"EUCKR", "QMX-eucKR"}, {"EUCTW", "QMX-eucTW"},
        {"EUCCN", "QMX-eucCN"}, {"UTF8", "UTF-8"},      {"UCS2", "UCS-2"},
        {"8859-15", "QMX-924"}, {"big5", "QMX-950"},    {"GB18030", "QMX-1381"}};
    const auto row = names.find(name);
    if (row != names.end()) return row->second;
    return name.starts_with("8859-") ? "ISO" + name : std::string();
}

} // namespace

CodesetCatalogue Codesets_ReadFolder(const std::string &Folder)
{
    std::ifstream file(Folder + "/ccsid.tbl");
    if (!file) throw Vela_Failure(Folder + "/ccsid.tbl: " + std::strerror(errno));

    std::map<uint32_t, Codeset> sets; // the last line of a number wins
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("##P") || line.starts_with("##EUC") || line.starts_with("##TCP") ||
            line.starts_with("##MSC"))
            break;
        Codeset set;
        if (isCodesetLine(line.c_str()) && scan(line.c_str(), &set)) sets[set.Ccsid] = set;
    }
    CodesetCatalogue catalogue{Folder, {}, {}};
    for (auto &[ccsid, set] : sets) catalogue.Sets.push_back(std::move(set));
    for (const auto &entry : fs::directory_iterator(Folder)) {
        const std::string name = entry.path().filename().string();
        if (name.size() == fileName(0, 0).size() && name.ends_with(".tbl")) catalogue.Files.insert(name);
    }
    return catalogue;
}

const Codeset *Codesets_Find(const CodesetCatalogue &Catalogue, const std::string &Name)
{
    const auto find = [&](auto &&test) -> const Codeset * {
        const auto at = std::find_if(Catalogue.Sets.begin(), Catalogue.Sets.end(), test);
        return at == Catalogue.Sets.end() ? nullptr : &*at;
    };
    if (const Codeset *set = find([&](const Codeset &s) { return s.Name == Name; })) return set;
    if (const uint32_t number = numberOf(Name); number != 0)
        return find([&](const Codeset &s) { return s.Ccsid == number; });
    const std::string other = otherName(Name);
    return other.empty() ? nullptr : find([&](const Codeset &s) { return s.Name == other; });
}

CodesetOpen Codesets_Open(const CodesetCatalogue &Catalogue, const Codeset &From, const Codeset &To,
                          std::string *Missing)
{
    if (From.Ccsid == To.Ccsid) return CodesetOpen::Copy;
    if (From.Sbcs == To.Sbcs && From.Dbcs == To.Dbcs && From.Encoding == To.Encoding) return CodesetOpen::Copy;

    bool opens = false;
    if (isByteSet(From) && isByteSet(To)) {
        uint32_t fromDbcs = From.Dbcs;
        uint32_t toDbcs = To.Dbcs;
        if (From.Encoding != ISO && To.Encoding != ISO) { // a part that the other side has no use for
            if (To.Kind == MIXED && From.Kind == SINGLE) toDbcs = 0;
            if (To.Kind == MIXED && From.Kind == SINGLE && From.Sbcs == To.Sbcs) return CodesetOpen::Copy;
            if (To.Kind == SINGLE && From.Kind == MIXED) fromDbcs = 0;
        }
        opens = have(Catalogue, From.Sbcs, To.Sbcs, Missing) && have(Catalogue, fromDbcs, toDbcs, Missing);
    } else if (!routineExists(From.Encoding, To.Encoding)) {
        return CodesetOpen::None;
    } else {
        const bool algorithmic =
            (From.Encoding == UCS2 || From.Encoding == UTF8) && (To.Encoding == UCS2 || To.Encoding == UTF8);
        opens = algorithmic || have(Catalogue, From.Base, To.Base, Missing);
    }
    if (opens) return CodesetOpen::Converts;
    return copiesWithoutTable(From.Ccsid, To.Ccsid) ? CodesetOpen::Copy : CodesetOpen::None;
}
