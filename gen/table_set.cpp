// Which table files there are, and what goes into each.
//
// On the byte route files are named by the parts of the sets, elsewhere by their bases. Pairs without a file on
// purpose: mixed sets of different families, EUC with EUC, and a Windows set with its form that has the euro sign.

#include "table_set.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>

namespace
{

constexpr u32 UNICODE = 13488; // base of UCS-2 and UTF-8
constexpr u32 EURO_DISTANCE = 4096; // from a Windows set to its form with the euro sign
constexpr u32 NO_UNICODE = 0xFFFD;
constexpr u32 NO_SINGLE = 0x1A;

bool isByteSet(const CodesetRow &Row)
{
    return Row.encoding >= GEN_HOST && Row.encoding <= GEN_ISO;
}

bool anyByte(u32)
{
    return true;
}

bool twinsByEuro(u32 A, u32 B)
{
    const u32 low = std::min(A, B);
    return low >= 1250 && low <= 1258 && std::max(A, B) == low + EURO_DISTANCE;
}

void addSingles(const CodesetPlan &Plan, std::vector<TableJob> &Jobs)
{
    std::vector<const CodesetRow *> rows;
    for (const CodesetRow &row : Plan.rows)
        if (row.kind == GEN_SINGLE && isByteSet(row) && !Codesets_IsAlias(row)) rows.push_back(&row);
    for (const CodesetRow *from : rows)
        for (const CodesetRow *to : rows)
            if (from != to && !twinsByEuro(from->ccsid, to->ccsid))
                Jobs.push_back({TableClass::Singles, from->ccsid, to->ccsid, from, to});
}

void addDoubles(const CodesetPlan &Plan, std::vector<TableJob> &Jobs)
{
    std::vector<const CodesetRow *> parts;
    for (const CodesetRow &row : Plan.rows)
        if (row.isPart && row.kind == GEN_DOUBLE) parts.push_back(&row);
    for (const CodesetRow *from : parts)
        for (const CodesetRow *to : parts)
            if (from != to && from->family == to->family)
                Jobs.push_back({TableClass::Doubles, from->ccsid, to->ccsid, from, to});
    for (const CodesetRow *part : parts) {
        Jobs.push_back({TableClass::NoDoubles, part->ccsid, 0, part, nullptr});
        Jobs.push_back({TableClass::NoDoubles, 0, part->ccsid, nullptr, part});
    }
}

void addUnicode(const CodesetPlan &Plan, std::vector<TableJob> &Jobs)
{
    for (const CodesetRow &row : Plan.rows) {
        if (row.isPart || Codesets_IsAlias(row) || row.encoding == GEN_UCS2 || row.encoding == GEN_UTF8) continue;
        const TableClass group = row.encoding == GEN_EUC  ? TableClass::EucUnicode
                                 : row.kind == GEN_SINGLE ? TableClass::SingleUnicode
                                                          : TableClass::MixedUnicode;
        Jobs.push_back({group, row.base, UNICODE, &row, nullptr});
        Jobs.push_back({group, UNICODE, row.base, nullptr, &row});
    }
}

void addEuc(const CodesetPlan &Plan, std::vector<TableJob> &Jobs)
{
    for (const CodesetRow &euc : Plan.rows) {
        if (euc.encoding != GEN_EUC) continue;
        for (const CodesetRow &row : Plan.rows) {
            if (row.isPart || Codesets_IsAlias(row) || !isByteSet(row)) continue;
            const bool mixed = row.kind == GEN_MIXED && row.family == euc.family;
            const bool latin = row.kind == GEN_SINGLE && row.family == "Latin-1";
            if (!mixed && !latin) continue;
            const TableClass group = mixed ? TableClass::EucMixed : TableClass::EucSingle;
            Jobs.push_back({group, euc.base, row.base, &euc, &row});
            Jobs.push_back({group, row.base, euc.base, &row, &euc});
        }
    }
}

// The first bytes that a source of this row brings up: in host runs any byte, in PC text 00 (for a single byte) and
// the lead bytes.
std::function<bool(u32)> firstBytes(const CodesetPlan &Plan, const CodesetRow &Row)
{
    if (Row.encoding == GEN_HOST) return anyByte;
    u32 index = Row.index;
    if (Row.isPart)
        for (const CodesetRow &set : Plan.rows)
            if (!set.isPart && set.dbcs == Row.ccsid) index = set.index;
    const bool singlesToo = !Row.isPart;
    return [&Plan, index, singlesToo](u32 Byte) {
        return (Byte == 0 && singlesToo) || Codesets_IsLead(Plan, index, Byte);
    };
}

ComposeTarget &target(TableMaker &Maker, const CodesetRow &Row, const std::string &Family)
{
    const std::string key = std::to_string(Row.ccsid) + Family;
    const auto known = Maker.targets.find(key);
    if (known != Maker.targets.end()) return known->second;
    const CodesetPlan &plan = *Maker.maps.plan;
    return Maker.targets.emplace(key, Compose_Target(plan, Charmap_Of(Maker.maps, Row), Row.kind == GEN_SINGLE, Family))
        .first->second;
}

// Code to code.
void composeEntries(TableMaker &Maker, const TableJob &Job, TableDraft &Draft)
{
    const bool family = Job.source->family == Job.target->family && Job.target->kind != GEN_SINGLE;
    ComposeTarget &to = target(Maker, *Job.target, family ? Job.target->family : std::string());
    for (const auto &[code, character] : Charmap_Of(Maker.maps, *Job.source).to) {
        if (Draft.canOccur && !Draft.canOccur(code >> 8)) continue;
        const u32 result = Compose_Code(to, character);
        if (result != CHARMAP_NONE) Draft.entries.push_back({code, result, character});
    }
}

TableDraft singlesDraft(TableMaker &Maker, const TableJob &Job)
{
    TableDraft draft{TableLayout::S1, {}, Job.target->sub1, 0, false, {}};
    composeEntries(Maker, Job, draft);
    return draft;
}

TableDraft doublesDraft(TableMaker &Maker, const TableJob &Job)
{
    TableDraft draft{TableLayout::D2,  {},    Job.target->sub2,
                     Job.target->sub2, false, firstBytes(*Maker.maps.plan, *Job.source)};
    composeEntries(Maker, Job, draft);
    return draft;
}

TableDraft toUnicodeDraft(TableMaker &Maker, const TableJob &Job)
{
    TableDraft draft{TableLayout::D2, {}, NO_SINGLE, NO_UNICODE, false, {}};
    if (Job.group == TableClass::SingleUnicode) draft.layout = TableLayout::S2;
    if (Job.group == TableClass::EucUnicode) draft.layout = TableLayout::T4;
    if (Job.group == TableClass::MixedUnicode) draft.canOccur = firstBytes(*Maker.maps.plan, *Job.source);
    for (const auto &[code, character] : Charmap_Of(Maker.maps, *Job.source).to)
        if (!draft.canOccur || draft.canOccur(code >> 8)) draft.entries.push_back({code, character, character});
    return draft;
}

TableDraft fromUnicodeDraft(TableMaker &Maker, const TableJob &Job)
{
    const CodesetRow &row = *Job.target;
    TableDraft draft{TableLayout::D2, {}, row.sub1, row.sub2, true, anyByte};
    if (Job.group == TableClass::SingleUnicode) draft.layout = TableLayout::D1;
    if (Job.group == TableClass::SingleUnicode) draft.unmappedOther = row.sub1;
    if (Job.group == TableClass::EucUnicode) draft.layout = TableLayout::E4;
    const Charmap &map = Charmap_Of(Maker.maps, row);
    for (u32 c = 0; c < 0x10000; ++c)
        if (map.from[c] != CHARMAP_NONE) draft.entries.push_back({c, map.from[c], static_cast<u16>(c)});
    return draft;
}

TableDraft eucDraft(TableMaker &Maker, const TableJob &Job)
{
    TableDraft draft{TableLayout::F4, {}, Job.target->sub1, Job.target->sub2, false, {}};
    if (Job.source->encoding == GEN_EUC) {
        draft.layout = TableLayout::T4;
        if (Job.target->kind == GEN_SINGLE) draft.unmappedOther = Job.target->sub1;
    } else {
        draft.canOccur = firstBytes(*Maker.maps.plan, *Job.source);
    }
    composeEntries(Maker, Job, draft);
    return draft;
}

void removeOthers(const std::string &Folder, const std::set<std::string> &Kept)
{
    for (const auto &entry : std::filesystem::directory_iterator(Folder)) {
        const std::string name = entry.path().filename().string();
        if (name.size() == 12 && name.ends_with(".tbl") && !Kept.contains(name)) std::filesystem::remove(entry.path());
    }
}

} // namespace

const char *TableSet_ClassName(TableClass Class)
{
    switch (Class) {
    case TableClass::Singles: return "single-byte parts";
    case TableClass::Doubles: return "double-byte parts";
    case TableClass::NoDoubles: return "double-byte part and none";
    case TableClass::SingleUnicode: return "single-byte sets and Unicode";
    case TableClass::MixedUnicode: return "mixed sets and Unicode";
    case TableClass::EucUnicode: return "EUC and Unicode";
    case TableClass::EucMixed: return "EUC and mixed sets";
    case TableClass::EucSingle: return "EUC and Latin-1 sets";
    }
    return "?";
}

std::string TableSet_FileName(u32 From, u32 To)
{
    char name[24];
    std::snprintf(name, sizeof name, "%04X%04X.tbl", From, To);
    return name;
}

std::vector<TableJob> TableSet_Jobs(const CodesetPlan &Plan)
{
    std::vector<TableJob> jobs;
    addSingles(Plan, jobs);
    addDoubles(Plan, jobs);
    addUnicode(Plan, jobs);
    addEuc(Plan, jobs);
    std::stable_sort(jobs.begin(), jobs.end(), [](const TableJob &a, const TableJob &b) { return a.group < b.group; });
    return jobs;
}

TableDraft TableSet_Draft(TableMaker &Maker, const TableJob &Job)
{
    switch (Job.group) {
    case TableClass::Singles: return singlesDraft(Maker, Job);
    case TableClass::Doubles: return doublesDraft(Maker, Job);
    case TableClass::NoDoubles: {
        const u32 value = Job.target ? Job.target->sub2 : NO_SINGLE << 8 | NO_SINGLE;
        return {TableLayout::D2, {}, value, value, false, anyByte};
    }
    case TableClass::EucMixed:
    case TableClass::EucSingle: return eucDraft(Maker, Job);
    default: return Job.target ? fromUnicodeDraft(Maker, Job) : toUnicodeDraft(Maker, Job);
    }
}

std::vector<u8> TableSet_ReadFile(const std::string &Path)
{
    std::ifstream file(Path, std::ios::binary);
    if (!file || !std::filesystem::is_regular_file(Path)) throw GenError(Path + ": cannot be read");
    return std::vector<u8>(std::istreambuf_iterator<char>(file), {});
}

void TableSet_WriteFile(const std::string &Path, const void *Data, size_t Size)
{
    std::ofstream file(Path, std::ios::binary | std::ios::trunc);
    file.write(static_cast<const char *>(Data), static_cast<std::streamsize>(Size));
    if (!file.flush()) throw GenError(Path + ": cannot be written");
}

TableFile TableSet_WriteOne(const TableDraft &Draft, const std::string &Path)
{
    TableFile file = Table_Build(Draft);
    TableSet_WriteFile(Path, file.data.data(), file.data.size());
    file.data = TableSet_ReadFile(Path);
    const std::string fault = Table_Check(Draft, file);
    if (!fault.empty()) throw GenError(Path + ": does not read back: " + fault);
    return file;
}

std::vector<TableRecord> TableSet_Write(const CodesetPlan &Plan, const std::string &Folder,
                                        const std::function<void(size_t, size_t)> &Progress)
{
    std::filesystem::create_directories(Folder);
    TableMaker maker{{&Plan, {}}, {}};
    const std::vector<TableJob> jobs = TableSet_Jobs(Plan);
    std::vector<TableRecord> records;
    std::set<std::string> names;
    for (const TableJob &job : jobs) {
        const std::string name = TableSet_FileName(job.from, job.to);
        const std::string path = std::filesystem::path(Folder) / name;
        if (!names.insert(name).second) throw GenError(name + ": two tables want this name");
        const TableDraft draft = TableSet_Draft(maker, job);
        TableFile file = TableSet_WriteOne(draft, path);
        records.push_back({job, draft.layout, draft.entries.size(), file.data.size(), file.rows, file.falseCodes,
                           std::move(file.lost), file.shared});
        if (Progress) Progress(records.size(), jobs.size());
    }
    removeOthers(Folder, names);
    return records;
}
