// The text of ccsid.tbl.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "catalogue.h"

namespace
{

struct Line {
    u32 ccsid, base, dbcs, sbcs, kind, encoding, index;
    std::string name;
};

struct Parsed {
    std::vector<Line> sets;
    std::vector<std::string> leads;
    std::vector<std::string> eucs;
    std::vector<std::string> defaults;
};

Parsed parse(const std::string &Text)
{
    Parsed parsed;
    std::string section;
    std::istringstream lines(Text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("##"))
            section = line;
        else if (line.starts_with("#"))
            continue;
        else if (line.starts_with("default"))
            parsed.defaults.push_back(line);
        else if (section == "##P")
            parsed.leads.push_back(line);
        else if (section == "##EUC")
            parsed.eucs.push_back(line);
        else {
            Line l;
            std::istringstream fields(line);
            fields >> l.ccsid >> l.base >> l.dbcs >> l.sbcs >> l.kind >> l.encoding >> l.index >> l.name;
            EXPECT_TRUE(fields && fields.eof()) << line;
            parsed.sets.push_back(l);
        }
        EXPECT_LT(line.size(), 255u);
    }
    return parsed;
}

Parsed delivered()
{
    return parse(Catalogue_Text(Codesets_Read(VELA_TEST_SOURCE_DIR "/data/codesets")));
}

TEST(CatalogueText, HasALineForEachSet)
{
    const Parsed catalogue = delivered();
    EXPECT_EQ(catalogue.sets.size(), 97u);
    std::map<u32, Line> byNumber;
    for (const Line &line : catalogue.sets) EXPECT_TRUE(byNumber.emplace(line.ccsid, line).second) << line.ccsid;
    EXPECT_EQ(byNumber.count(0), 0u) << "the empty name must fail to open";
    EXPECT_EQ(byNumber.at(850).name, "QMX-850");
    EXPECT_EQ(byNumber.at(819).name, "ISO8859-1");
    EXPECT_EQ(byNumber.at(954).name, "QMX-eucJP");
    EXPECT_EQ(byNumber.at(874).name, "QMX-875");
    EXPECT_EQ(byNumber.at(1208).base, 13488u);
    EXPECT_EQ(byNumber.at(13488).base, 13488u);
    EXPECT_EQ(byNumber.at(1381).encoding, 2u);
    EXPECT_EQ(byNumber.at(931).sbcs, 37u);
}

// The columns stand in the order of the file: double-byte part before single-byte part.
TEST(CatalogueText, WritesColumnsInOrder)
{
    EXPECT_NE(
        Catalogue_Text(Codesets_Read(VELA_TEST_SOURCE_DIR "/data/codesets")).find("\n943 943 941 897 3 2 2 QMX-943\n"),
        std::string::npos);
}

// As a reader inserts the lines, the tree stays shallow, and both shared names are met at their first number.
TEST(CatalogueText, MakesAShallowTree)
{
    struct Node {
        u32 key;
        int left, right, depth;
    };
    std::vector<Node> tree;
    int deepest = 0;
    for (const Line &line : delivered().sets) {
        int depth = 1;
        int *link = nullptr;
        for (int at = tree.empty() ? -1 : 0; at >= 0; ++depth) {
            link = line.ccsid < tree[static_cast<size_t>(at)].key ? &tree[static_cast<size_t>(at)].left
                                                                  : &tree[static_cast<size_t>(at)].right;
            at = *link;
        }
        if (link) *link = static_cast<int>(tree.size());
        tree.push_back({line.ccsid, -1, -1, depth});
        deepest = std::max(deepest, depth);
    }
    EXPECT_LE(deepest, 8);

    const Parsed catalogue = delivered();
    const auto first = [&](const char *Name) {
        return std::find_if(catalogue.sets.begin(), catalogue.sets.end(), [&](const Line &l) { return l.name == Name; })
            ->ccsid;
    };
    EXPECT_EQ(first("ISO8859-2"), 912u);
    EXPECT_EQ(first("ISO8859-9"), 920u);
    EXPECT_EQ(catalogue.sets.back().ccsid, 25491u);
}

TEST(CatalogueText, HasTheRowsOfLeadBytesAndWidths)
{
    const Parsed catalogue = delivered();
    EXPECT_EQ(catalogue.leads, (std::vector<std::string>{"1 1 0E 0E", "2 2 81 9F E0 FC", "3 1 81 BF", "4 1 8F FE",
                                                         "5 1 81 FE", "6 1 81 FC", "7 1 8C FE"}));
    EXPECT_EQ(catalogue.eucs, (std::vector<std::string>{"1 4 1 2 1 2", "2 3 1 2 3", "3 2 1 2"}));
}

// With defaults a pair without a table would run as a conversion between two other sets.
TEST(CatalogueText, HasNoDefaults)
{
    EXPECT_TRUE(delivered().defaults.empty());
}

TEST(CatalogueText, TheOneForTestsHasGb18030AsAnEncoding)
{
    const Parsed catalogue = parse(Catalogue_TextGb18030(Codesets_Read(VELA_TEST_SOURCE_DIR "/data/codesets")));
    EXPECT_EQ(catalogue.sets.size(), 97u);
    for (const Line &line : catalogue.sets) {
        if (line.ccsid != 1381) continue;
        EXPECT_EQ(line.name, "GB18030");
        EXPECT_EQ(line.encoding, 7u);
        EXPECT_EQ(line.kind, 1u);
        EXPECT_EQ(line.base, 1392u);
        EXPECT_EQ(line.sbcs, 1392u);
    }
}

} // namespace
