// Writes ccsid.tbl.
//
// Readers put the lines into a binary tree as they come, so the order of the lines is its shape: the middle of the
// sorted numbers first, then the middles of the halves. The second numbers of two sets come last, so that the names
// that they share with the first numbers are met there first.

#include "catalogue.h"

#include <algorithm>
#include <cstdio>
#include <deque>

namespace
{

std::vector<const CodesetRow *> inTreeOrder(const CodesetPlan &Plan)
{
    std::vector<const CodesetRow *> sorted;
    std::vector<const CodesetRow *> last;
    for (const CodesetRow &row : Plan.rows)
        if (!row.isPart) (Codesets_IsAlias(row) ? last : sorted).push_back(&row);
    std::sort(sorted.begin(), sorted.end(), [](auto *a, auto *b) { return a->ccsid < b->ccsid; });

    std::vector<const CodesetRow *> order;
    std::deque<std::pair<size_t, size_t>> spans{{0, sorted.size()}};
    for (; !spans.empty(); spans.pop_front()) {
        const auto [low, high] = spans.front();
        if (low >= high) continue;
        const size_t middle = low + (high - low) / 2;
        order.push_back(sorted[middle]);
        spans.emplace_back(low, middle);
        spans.emplace_back(middle + 1, high);
    }
    order.insert(order.end(), last.begin(), last.end());
    return order;
}

template <typename... Values>
void print(std::string &Out, const char *Format, Values... Value)
{
    char text[200];
    std::snprintf(text, sizeof text, Format, Value...);
    Out += text;
}

std::string text(const CodesetPlan &Plan, u32 Gb18030)
{
    std::string out = "# Code sets of this system: ccsid base dbcs sbcs kind encoding index name\n"
                      "# Made by gen_tables from data/codesets; the format stands in the conversion guide.\n";
    for (const CodesetRow *row : inTreeOrder(Plan)) {
        if (row->ccsid == Gb18030)
            print(out, "%u %u 0 %u 1 %u 0 GB18030\n", row->ccsid, CATALOGUE_GB18030_BASE, CATALOGUE_GB18030_BASE,
                  static_cast<u32>(GEN_GB18030));
        else
            print(out, "%u %u %u %u %u %u %u %s\n", row->ccsid, row->base, row->dbcs, row->sbcs, row->kind,
                  row->encoding, row->index, row->names[0].c_str());
    }
    out += "##P\n";
    for (const LeadBytes &row : Plan.leadBytes) {
        print(out, "%u %zu", row.index, row.ranges.size());
        for (const auto &[low, high] : row.ranges) print(out, " %02X %02X", low, high);
        out += '\n';
    }
    out += "##EUC\n";
    for (const EucWidths &row : Plan.eucWidths) {
        print(out, "%u %zu", row.index, row.widths.size());
        for (const u32 width : row.widths) print(out, " %u", width);
        out += '\n';
    }
    return out;
}

} // namespace

std::string Catalogue_Text(const CodesetPlan &Plan)
{
    return text(Plan, 0);
}

std::string Catalogue_TextGb18030(const CodesetPlan &Plan)
{
    return text(Plan, 1381);
}
