// Reads the project's list of code sets. Tab-separated files with a line of column names; lines that begin with # are
// comments. A wrong line stops the build here, not the processes that would read the catalogue made from it.

#include "codesets.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace
{

struct Line {
    std::string where; // "file:line", for messages
    std::vector<std::string> fields;
};

std::vector<std::string> split(const std::string &Text, char Mark)
{
    std::vector<std::string> parts(1);
    for (const char c : Text) {
        if (c == Mark)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

// The lines behind the column names, each with Columns fields.
std::vector<Line> readLines(const std::string &Path, size_t Columns)
{
    std::ifstream file(Path);
    if (!file) throw GenError(Path + ": cannot be opened");

    std::vector<Line> lines;
    std::string text;
    bool named = false;
    for (int number = 1; std::getline(file, text); ++number) {
        if (text.empty() || text[0] == '#') continue;
        Line line{Path + ":" + std::to_string(number), split(text, '\t')};
        if (line.fields.size() != Columns)
            throw GenError(line.where + ": " + std::to_string(line.fields.size()) + " fields, " +
                           std::to_string(Columns) + " wanted");
        if (named) lines.push_back(std::move(line));
        named = true;
    }
    if (lines.empty()) throw GenError(Path + ": no lines");
    return lines;
}

u32 number(const Line &Line, const std::string &Text, int Radix, u32 Highest)
{
    char *end = nullptr;
    const unsigned long value = std::strtoul(Text.c_str(), &end, Radix);
    if (Text.empty() || *end != '\0' || value > Highest)
        throw GenError(Line.where + ": \"" + Text + "\" is no number up to " + std::to_string(Highest));
    return static_cast<u32>(value);
}

u32 numberOrNone(const Line &Line, const std::string &Text, int Radix, u32 Highest)
{
    return Text == "-" ? 0 : number(Line, Text, Radix, Highest);
}

CodesetRow codesetRow(const Line &Line)
{
    const std::vector<std::string> &f = Line.fields;
    CodesetRow row;
    row.ccsid = number(Line, f[0], 10, 65534);
    row.isPart = f[1] == "part";
    if (!row.isPart && f[1] != "set") throw GenError(Line.where + ": role is neither set nor part");
    if (f[2] != "-") row.names = split(f[2], ',');
    row.family = f[3];
    row.kind = number(Line, f[4], 10, 3);
    row.encoding = number(Line, f[5], 10, 7);
    row.dbcs = number(Line, f[6], 10, 65534);
    row.sbcs = number(Line, f[7], 10, 65534);
    row.index = numberOrNone(Line, f[8], 10, 20);
    row.base = numberOrNone(Line, f[9], 10, 65534);
    row.sub1 = numberOrNone(Line, f[10], 16, 0xFF);
    row.sub2 = numberOrNone(Line, f[11], 16, 0xFFFF);
    row.source = f[12];
    row.note = f[13];
    if (row.names.empty() != row.isPart) throw GenError(Line.where + ": a set has names, a part has none");
    return row;
}

// The rules that the reader of the catalogue holds its lines to.
void testRow(const CodesetRow &Row, const std::string &Where)
{
    const bool byteSet = Row.encoding <= GEN_ISO;
    if (Row.kind == GEN_SINGLE && (Row.dbcs != 0 || Row.sbcs == 0))
        throw GenError(Where + ": a single-byte set has sbcs and no dbcs");
    if (Row.kind == GEN_DOUBLE && byteSet && (Row.dbcs == 0 || Row.sbcs != 0))
        throw GenError(Where + ": a double-byte set has dbcs and no sbcs");
    if (Row.kind == GEN_MIXED && byteSet && (Row.dbcs == 0 || Row.sbcs == 0))
        throw GenError(Where + ": a mixed set has both parts");
    if (!Row.isPart && Row.index == 0 && (Row.encoding == GEN_PC || Row.encoding == GEN_ISO))
        throw GenError(Where + ": a PC or ISO set needs a row of lead_bytes.tsv, or every byte would be a lead byte");
    if (Row.encoding == GEN_EUC && (Row.index == 0 || Row.index > 10))
        throw GenError(Where + ": an EUC set needs a row of euc_widths.tsv");
}

std::pair<u32, u32> byteRange(const Line &Line, const std::string &Text)
{
    const std::vector<std::string> ends = split(Text, '-');
    if (ends.size() != 2) throw GenError(Line.where + ": \"" + Text + "\" is no range");
    const std::pair<u32, u32> range{number(Line, ends[0], 16, 0xFF), number(Line, ends[1], 16, 0xFF)};
    if (range.second < range.first) throw GenError(Line.where + ": \"" + Text + "\" is no range");
    return range;
}

} // namespace

CodesetPlan Codesets_Read(const std::string &Folder)
{
    CodesetPlan plan;
    for (const Line &line : readLines(Folder + "/codesets.tsv", 14)) {
        CodesetRow row = codesetRow(line);
        testRow(row, line.where);
        for (const CodesetRow &other : plan.rows)
            if (other.ccsid == row.ccsid) throw GenError(line.where + ": " + line.fields[0] + " stands twice");
        plan.rows.push_back(std::move(row));
    }
    for (const Line &line : readLines(Folder + "/lead_bytes.tsv", 3)) {
        LeadBytes row{number(line, line.fields[0], 10, 19), {}}; // 20 lies behind what readers make room for
        for (const std::string &range : split(line.fields[1], ' ')) row.ranges.push_back(byteRange(line, range));
        if (row.index == 0 || row.ranges.size() > 3) throw GenError(line.where + ": index 1 to 19, 1 to 3 ranges");
        plan.leadBytes.push_back(row);
    }
    for (const Line &line : readLines(Folder + "/euc_widths.tsv", 3)) {
        EucWidths row{number(line, line.fields[0], 10, 9), {}};
        for (const std::string &width : split(line.fields[1], ' ')) row.widths.push_back(number(line, width, 10, 3));
        if (row.index == 0 || row.widths.size() > 4) throw GenError(line.where + ": index 1 to 9, 1 to 4 widths");
        plan.eucWidths.push_back(row);
    }
    for (const Line &line : readLines(Folder + "/equivalents.tsv", 3))
        plan.equivalents.push_back({line.fields[0], static_cast<u16>(number(line, line.fields[1], 16, 0xFFFF)),
                                    static_cast<u16>(number(line, line.fields[2], 16, 0xFFFF))});
    return plan;
}

const CodesetRow &Codesets_Row(const CodesetPlan &Plan, u32 Ccsid)
{
    const auto found =
        std::find_if(Plan.rows.begin(), Plan.rows.end(), [&](const CodesetRow &r) { return r.ccsid == Ccsid; });
    if (found == Plan.rows.end()) throw GenError("code set " + std::to_string(Ccsid) + " is not in codesets.tsv");
    return *found;
}

bool Codesets_IsLead(const CodesetPlan &Plan, u32 Index, u32 Byte)
{
    for (const LeadBytes &row : Plan.leadBytes) {
        if (row.index != Index) continue;
        for (const auto &[low, high] : row.ranges)
            if (Byte >= low && Byte <= high) return true;
    }
    return false;
}

bool Codesets_IsAlias(const CodesetRow &Row)
{
    return !Row.isPart && Row.kind == GEN_SINGLE && Row.sbcs != Row.ccsid;
}
