// Table files of GB18030 as an encoding of its own, for tests: the delivered catalogue has its number as a PC set.
//
// A process loads one table for a conversion from GB18030: the single-byte one, with the four-byte part behind it in
// the same file, where readers that take the first loaded table for it find it.

#include "table_set.h"

#include "catalogue.h"

namespace
{

constexpr u32 HOST = 935;
constexpr u32 UNICODE = 13488;

TableRecord write(const TableDraft &Draft, const TableFile &File, u32 From, u32 To)
{
    return {{TableClass::MixedUnicode, From, To, nullptr, nullptr},
            Draft.layout,
            Draft.entries.size(),
            File.data.size(),
            File.rows,
            File.falseCodes,
            File.lost,
            File.shared};
}

} // namespace

std::vector<TableRecord> TableSet_WriteGb18030(const CodesetPlan &Plan, const std::string &Folder)
{
    constexpr u32 own = CATALOGUE_GB18030_BASE;
    TableMaker maker{{&Plan, {}}, {}};
    const Charmap &gb = Charmap_Source(maker.maps, "unicode alias:gb18030");
    const CodesetRow &hostRow = Codesets_Row(Plan, HOST);
    const Charmap &host = Charmap_Of(maker.maps, hostRow);
    const auto path = [&](u32 From, u32 To) { return Folder + "/" + TableSet_FileName(From, To); };
    const auto anyByte = [](u32) { return true; };
    std::vector<TableRecord> records;

    TableDraft fromUnicode{TableLayout::G4, {}, 0x1A, 0x1A, true, anyByte};
    for (u32 c = 0; c < 0x10000; ++c)
        if (gb.from[c] != CHARMAP_NONE) fromUnicode.entries.push_back({c, gb.from[c], static_cast<u16>(c)});
    records.push_back(write(fromUnicode, TableSet_WriteOne(fromUnicode, path(UNICODE, own)), UNICODE, own));

    TableDraft fromHost{TableLayout::G4, {}, 0x1A, 0x1A, false, anyByte};
    ComposeTarget target = Compose_Target(Plan, gb, false, hostRow.family);
    for (const auto &[code, character] : host.to)
        if (const u32 result = Compose_Code(target, character); result != CHARMAP_NONE)
            fromHost.entries.push_back({code, result, character});
    records.push_back(write(fromHost, TableSet_WriteOne(fromHost, path(HOST, own)), HOST, own));

    TableDraft fourBytes{TableLayout::Q4, {}, 0xFEFE, 0xFEFE, false, {}};
    TableDraft oneByte{TableLayout::S2, {}, 0x1A, 0x1A, false, {}};
    TableDraft toHost{TableLayout::S2, {}, hostRow.sub1, hostRow.sub1, false, {}};
    for (const auto &[code, character] : gb.to) {
        if (Charmap_Width(code) == 4) fourBytes.entries.push_back({code, character, character});
        if (Charmap_Width(code) == 1) oneByte.entries.push_back({code, character, character});
        if (Charmap_Width(code) == 1 && host.from[character] != CHARMAP_NONE)
            toHost.entries.push_back({code, host.from[character], character});
    }
    records.push_back(write(toHost, TableSet_WriteOne(toHost, path(own, HOST)), own, HOST));

    TableFile both = Table_Build(fourBytes);
    const std::string fault = Table_Check(fourBytes, both);
    if (!fault.empty()) throw GenError("four-byte part of GB18030: " + fault);
    const TableFile single = Table_Build(oneByte);
    std::copy(single.data.begin(), single.data.end(), both.data.begin());
    TableSet_WriteFile(path(own, UNICODE), both.data.data(), both.data.size());
    records.push_back(write(fourBytes, both, own, UNICODE));

    const std::string text = Catalogue_TextGb18030(Plan);
    TableSet_WriteFile(Folder + "/ccsid.tbl", text.data(), text.size());
    return records;
}
