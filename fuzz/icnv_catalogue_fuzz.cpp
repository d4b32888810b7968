// ccsid.tbl with any contents.
//
// Input: the file behind its first line, which names the local code set; without that one the process would end.
// Must hold: no line is read or stored outside; what was taken keeps the rules of its kind of line; the nodes are those
// of the pool, each is found by its number, and their numbers ascend from left to right.

#include <cstdio>
#include <string>

#include "fuzz_support.h"
#include "scratch_root.h"
#include "supos_allocation.h"
#include "supos_conversion.h"
#include "supos_icnv_int.h"
#include "suppr_names.h"

namespace
{

const std::string &cataloguePath()
{
    static const std::string path = [] {
        const std::string folder = Scratch_MakeRoot() + "/install/etc";
        Scratch_SetValue("SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage", "OEMCP", "850");
        FUZZ_REQUIRE(SupPR_InitNames("TESTREG") == ERZ_OK);
        Scratch_WriteFile(folder + "/ccsid.tbl", "");
        Fuzz_BeQuiet();
        return folder + "/ccsid.tbl";
    }();
    return path;
}

void writeCatalogue(const u8 *data, size_t size)
{
    static const char localLine[] = "850 850 0 850 1 2 1 QMX-850\n";
    FILE *const file = std::fopen(cataloguePath().c_str(), "wb");
    FUZZ_REQUIRE(file != nullptr);
    std::fwrite(localLine, 1, sizeof localLine - 1, file);
    std::fwrite(data, 1, size, file);
    std::fclose(file);
}

void requireNode(const IcnvNode *node)
{
    FUZZ_REQUIRE(node->ccsid >= 0 && node->ccsid <= ICNV_CCSID_LIMIT);
    FUZZ_REQUIRE(node->base <= ICNV_CCSID_LIMIT && node->sbcs <= ICNV_CCSID_LIMIT && node->dbcs <= ICNV_CCSID_LIMIT);
    FUZZ_REQUIRE(node->kind >= ICNV_KIND_SINGLE && node->kind <= ICNV_KIND_MIXED && node->encoding >= 1);
    if (node->kind == ICNV_KIND_SINGLE) FUZZ_REQUIRE(node->dbcs == 0 && node->sbcs != 0);
    if (node->kind == ICNV_KIND_MIXED && node->encoding <= ICNV_ISO) FUZZ_REQUIRE(node->dbcs != 0 && node->sbcs != 0);
    if (node->kind == ICNV_KIND_MIXED && node->encoding == ICNV_PC) FUZZ_REQUIRE(node->index >= 1 && node->index <= 20);
}

// Nodes below Root, whose numbers lie between the two.
u32 countNodes(const IcnvNode *root, i32 above, i32 below)
{
    if (root == nullptr) return 0;
    FUZZ_REQUIRE(root->ccsid > above && root->ccsid < below);
    requireNode(root);
    FUZZ_REQUIRE(SupOS_IcnvFindNode(IcnvRoot->root, root->ccsid) == root);
    return 1 + countNodes(root->left, above, root->ccsid) + countNodes(root->right, root->ccsid, below);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size)
{
    if (Size > 6000) return 0; // a tree of ever larger numbers is as deep as it has nodes
    writeCatalogue(Data, Size);
    SupOS_IcnvInit();

    IcnvCatalogue *const catalogue = IcnvRoot;
    FUZZ_REQUIRE(catalogue->localCcsid <= ICNV_CCSID_LIMIT);
    IcnvNode *const pool = catalogue->poolEnd - catalogue->nodeCount;
    const u32 used = static_cast<u32>(catalogue->nextNode - pool);
    FUZZ_REQUIRE(used <= catalogue->nodeCount && countNodes(catalogue->root, -1, ICNV_CCSID_LIMIT + 1) == used);
    for (u32 row = 0; row < ICNV_LEAD_ROWS; ++row) {
        const IcnvLeadRanges &lead = catalogue->leadRanges[row];
        FUZZ_REQUIRE(lead.count <= 3 && (row != 0 || lead.count == 1));
        for (u32 i = 0; i < lead.count; ++i)
            FUZZ_REQUIRE(lead.ranges[i].low <= lead.ranges[i].high && lead.ranges[i].high <= 0xFF);
    }
    for (u32 row = 0; row < ICNV_EUC_ROWS; ++row) {
        const IcnvEucWidths &widths = catalogue->eucWidths[row];
        FUZZ_REQUIRE(widths.count <= 4);
        for (u32 i = 0; i < widths.count && i < 3; ++i) FUZZ_REQUIRE(widths.widths[i] >= 1 && widths.widths[i] <= 3);
    }

    SupOS_DeallocateRE(pool);
    SupOS_DeallocateRE(catalogue->leadRanges);
    SupOS_DeallocateRE(catalogue->eucWidths);
    SupOS_DeallocateRE(catalogue);
    return 0;
}
