#include "table_report.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace
{

constexpr char SECTION_BEGIN[] = "<!-- made by gen_tables from here on -->\n";
constexpr char SECTION_END[] = "<!-- made by gen_tables up to here -->\n";

template <typename... Values>
std::string print(const char *Format, Values... Value)
{
    char text[400];
    std::snprintf(text, sizeof text, Format, Value...);
    return text;
}

bool isPrivateUse(u16 Character)
{
    return Character >= 0xE000 && Character <= 0xF8FF;
}

std::string sideName(const CodesetRow *Row, u32 Number)
{
    return Row ? std::to_string(Row->ccsid) : Number == 0 ? "none" : "Unicode";
}

std::string pairName(const TableJob &Job)
{
    return sideName(Job.source, Job.from) + " to " + sideName(Job.target, Job.to);
}

struct Losses {
    size_t privateUse;
    size_t others;
};

Losses lossesOf(const TableRecord &Record)
{
    Losses losses{};
    for (const TableEntry &entry : Record.lost) ++(isPrivateUse(entry.character) ? losses.privateUse : losses.others);
    return losses;
}

// Consecutive numbers as one range.
std::string ranges(const std::vector<u16> &Characters)
{
    std::string line;
    std::string out;
    for (size_t i = 0; i < Characters.size();) {
        size_t last = i;
        while (last + 1 < Characters.size() && Characters[last + 1] == Characters[last] + 1) ++last;
        const std::string item = last == i ? print(" %04X", unsigned{Characters[i]})
                                           : print(" %04X-%04X", unsigned{Characters[i]}, unsigned{Characters[last]});
        if (line.size() + item.size() > 100) {
            out += "   " + line + "\n";
            line.clear();
        }
        line += item;
        i = last + 1;
    }
    return out + (line.empty() ? "" : "   " + line + "\n");
}

} // namespace

std::string Report_TableLine(const TableRecord &Record)
{
    const Losses losses = lossesOf(Record);
    return print("%s  %s  %s: %zu characters, %zu bytes, %u rows, lost %zu private-use and %zu other, false %u\n",
                 TableSet_FileName(Record.job.from, Record.job.to).c_str(), Table_LayoutName(Record.layout),
                 pairName(Record.job).c_str(), Record.mapped, Record.size, Record.rows, losses.privateUse,
                 losses.others, Record.falseCodes);
}

std::string Report_Summary(const std::vector<TableRecord> &Records)
{
    struct Sum {
        size_t files, bytes, lost, falseCodes;
    };
    std::map<TableClass, Sum> sums;
    Sum all{};
    for (const TableRecord &record : Records)
        for (Sum *sum : {&sums[record.job.group], &all}) {
            ++sum->files;
            sum->bytes += record.size;
            sum->lost += record.lost.size();
            sum->falseCodes += record.falseCodes;
        }
    std::string out;
    const auto line = [&](const char *Name, const Sum &S) {
        out +=
            print("%-30s %5zu files %9zu bytes, lost %zu, false %zu\n", Name, S.files, S.bytes, S.lost, S.falseCodes);
    };
    for (const auto &[group, sum] : sums) line(TableSet_ClassName(group), sum);
    line("in all", all);
    return out;
}

std::string Report_Losses(const std::vector<TableRecord> &Records)
{
    std::string out = "Characters that found no room in a table, as Unicode code points. They come out as the\n"
                      "substitute of the target. Each table has 127 or 128 rows, one a first byte.\n";
    for (const TableRecord &record : Records) {
        if (!record.shared) continue;
        out += "\n" + Report_TableLine(record);
        std::vector<u16> characters;
        for (const TableEntry &entry : record.lost) characters.push_back(entry.character);
        std::sort(characters.begin(), characters.end());
        out += ranges(characters);
    }
    return out;
}

std::string Report_Guide(const std::vector<TableRecord> &Records)
{
    std::map<TableClass, std::pair<size_t, size_t>> groups;
    std::pair<size_t, size_t> all;
    for (const TableRecord &record : Records) {
        groups[record.job.group].first += 1;
        groups[record.job.group].second += record.size;
        all.first += 1;
        all.second += record.size;
    }
    std::string out = "| Files between | Files | Bytes |\n|---|---|---|\n";
    for (const auto &[group, sum] : groups)
        out += print("| %s | %zu | %zu |\n", TableSet_ClassName(group), sum.first, sum.second);
    out += print("| in all | %zu | %zu |\n\n", all.first, all.second);

    out += "| Table | File | Characters | Lost, private use | Lost, others | False characters |\n"
           "|---|---|---|---|---|---|\n";
    for (const TableRecord &record : Records) {
        if (!record.shared) continue;
        const Losses losses = lossesOf(record);
        out += print("| %s | %s | %zu | %zu | %zu | %u |\n", pairName(record.job).c_str(),
                     TableSet_FileName(record.job.from, record.job.to).c_str(), record.mapped, losses.privateUse,
                     losses.others, record.falseCodes);
    }
    return out;
}

std::string Report_ReplaceSection(const std::string &Guide, const std::string &Section)
{
    const size_t begin = Guide.find(SECTION_BEGIN);
    const size_t end = Guide.find(SECTION_END);
    if (begin == std::string::npos || end == std::string::npos || end < begin)
        throw GenError("the guide has no place marked for the tables");
    return Guide.substr(0, begin + sizeof SECTION_BEGIN - 1) + Section + Guide.substr(end);
}
