// Conversion through tables that hold anything.
//
// Input: eight bytes of switches (the pair of code sets or the mode, the table handles, the source's row, rows of lead
// bytes and EUC widths, the room, and twice the size of a table in steps of 9 bytes), the length of the piece of input
// that each table repeats, the pieces, then the source text.
// Must hold: nothing outside of a table, the source or the target is touched (all stand in blocks of exactly their
// size); every form of the inner loops, and the loops without any, do the same as the reference implementation, to the
// last byte; a table that rows are widened in stays whole.

#include <algorithm>

#include "fuzz_support.h"
#include "icnv_case.h"
#include "supos_allocation.h"

namespace
{

constexpr size_t switchCount = 10;
constexpr size_t longestSource = 700;
constexpr const char *forms[] = {"plain", "avx2", "vbmi"};

// Bytes of the input that is left, as many as there are.
struct Input {
    const u8 *At;
    size_t Left;

    Case_Bytes take(size_t count)
    {
        count = std::min(count, Left);
        Case_Bytes bytes(At, At + count);
        At += count;
        Left -= count;
        return bytes;
    }
};

Case_Bytes repeated(const Case_Bytes &piece, size_t size)
{
    Case_Bytes table(size);
    for (size_t i = 0; i < size && !piece.empty(); ++i) table[i] = piece[i % piece.size()];
    return table;
}

void setPair(IcnvDescriptor *d, const u8 *switches)
{
    constexpr u32 from[] = {ICNV_FROM_HOST, ICNV_FROM_PC, ICNV_FROM_ISO};
    constexpr u32 to[] = {ICNV_TO_HOST, ICNV_TO_PC, ICNV_TO_ISO};
    constexpr u32 handles[] = {1, 1, 0, ICNV_TBL_SAME, 2, 3, 4, 0xFFFFFFFF};
    constexpr u32 doubles[] = {2, 2, 0, ICNV_TBL_SAME, ICNV_TBL_SUBST, 1, 4, 0xFFFFFFFF};
    d->table1 = handles[switches[1] & 7];
    d->table2 = doubles[switches[1] >> 3 & 7];
    d->index = switches[2] % 24;
    if (switches[0] >= 0xC0) {
        d->mode = from[switches[0] % 3] + to[switches[0] / 3 % 3];
        return;
    }
    d->fromEncoding = switches[0] / 8 % 8 + 1;
    d->toEncoding = switches[0] % 8 + 1;
    d->fromKind = switches[0] / 64 + 1;
    d->toKind = switches[2] / 64 % 3 + 1;
}

void setRows(Case_Setup *setup, const u8 *switches)
{
    for (u32 row = 0; row < ICNV_LEAD_ROWS; ++row) {
        IcnvLeadRanges &lead = setup->Lead[row];
        lead.count = switches[3] % 5;
        lead.ranges[0] = {switches[3], 0xFFu};
        lead.ranges[1] = {std::min<u32>(0x81, switches[4]),
                          std::max<u32>(0x81, switches[4])}; // no row has them crossed
        lead.ranges[2] = {row, row + 1};
    }
    for (IcnvEucWidths &row : setup->Widths)
        row = {switches[4] % 5u, {1, switches[4] / 5u % 5, switches[3] % 4u, switches[3] >= 0xF0 ? 99999u : 2u}};
}

// A kind that no catalogue names has narrow rows, which are made wide.
void widen(const Case_Bytes &bytes)
{
    IcnvTable table = {};
    void *block = nullptr;
    FUZZ_REQUIRE(SupOS_Allocate(static_cast<u32>(bytes.size()), &block) == ERZ_OK);
    table.data = static_cast<u8 *>(block);
    table.size = static_cast<u32>(bytes.size());
    if (!bytes.empty()) std::memcpy(block, bytes.data(), bytes.size());
    const i32 code = SupOS_ModifyTable(&table);
    FUZZ_REQUIRE(code == ICNV_RC_OK || code == ICNV_RC_NOTABLE);
    FUZZ_REQUIRE(table.size >= bytes.size() && (code == ICNV_RC_OK || table.size == bytes.size()));
    const size_t same = code == ICNV_RC_OK ? std::min<size_t>(256, bytes.size()) : bytes.size();
    FUZZ_REQUIRE(same == 0 || std::memcmp(table.data, bytes.data(), same) == 0);
    SupOS_Deallocate(table.data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size)
{
    if (Size < switchCount) return 0;
    const u8 *const switches = Data;
    Input input = {Data + switchCount, Size - switchCount};

    Case_Setup setup;
    setPair(&setup.Descriptor, switches);
    setRows(&setup, switches);
    setup.Data[0] = repeated(input.take(switches[8]), switches[6] * 9 * 9);
    setup.Data[1] = repeated(input.take(switches[9]), switches[7] * 9 * 9);
    setup.Data[2] = repeated(setup.Data[0], switches[7] * 9);
    for (Case_Bytes &bytes : setup.Data) bytes.shrink_to_fit();
    setup.Use(3);
    widen(setup.Data[0]);

    const Case_Bytes source = input.take(longestSource);
    if (source.empty()) return 0;
    const Case_Bytes target(source.size() * (switches[5] % 80) / 16 + switches[5] / 80, 0xA5);
    for (u32 form = 0; form <= 3; ++form) {
        if (!SupOS_IcnvUseKernels(forms[form % 3])) continue;
        for (const Case_Way way : {Case_Plain, Case_Quick, Case_Straight}) {
            if (way == Case_Plain && form != 0) continue;
            const Case_Answer answer = Case_Run(setup, source, target, form * 7, 64 - form, way);
            const std::string difference = Case_Compare(setup, source, target, answer);
            if (!difference.empty()) dprintf(2, "%s\n", difference.c_str());
            FUZZ_REQUIRE(difference.empty());
        }
    }
    return 0;
}
