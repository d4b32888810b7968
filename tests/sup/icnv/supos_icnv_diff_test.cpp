// Every form of every loop against the reference: random texts of the kind that the loop is for, with bytes that hurt,
// of all lengths and alignments, into targets of all sizes, through good tables and through random ones.

#include <gtest/gtest.h>

#include "icnv_case.h"

namespace
{

constexpr u64 seed = 0x1A2B3C4D5E6F7081u;
// A sanitized case takes several times as long, and here are no threads.
#if defined(__SANITIZE_THREAD__)
constexpr u32 casesOfASetup = 10;
#elif defined(__SANITIZE_ADDRESS__)
constexpr u32 casesOfASetup = 60;
#else
constexpr u32 casesOfASetup = 250;
#endif
const char *const forms[] = {"plain", "avx2", "vbmi"};

struct Pair {
    u32 FromKind, FromEncoding, ToKind, ToEncoding;
};

// A pair for each routine of the Unicode and EUC route, and one for none.
constexpr Pair pairs[] = {
    {1, 1, 1, 4}, {3, 1, 1, 4}, {1, 1, 1, 5}, {3, 1, 1, 5}, {3, 1, 3, 6}, {3, 1, 3, 7}, {1, 2, 1, 4},
    {3, 2, 1, 4}, {1, 3, 1, 5}, {3, 2, 1, 5}, {3, 2, 3, 6}, {1, 4, 1, 1}, {1, 4, 3, 1}, {1, 4, 1, 2},
    {1, 4, 3, 2}, {1, 4, 1, 5}, {1, 4, 3, 6}, {1, 4, 3, 7}, {1, 5, 1, 1}, {1, 5, 3, 1}, {1, 5, 1, 3},
    {1, 5, 3, 2}, {1, 5, 1, 4}, {1, 5, 3, 6}, {1, 5, 3, 7}, {3, 6, 3, 1}, {3, 6, 3, 2}, {3, 6, 1, 4},
    {3, 6, 1, 5}, {1, 7, 3, 1}, {1, 7, 1, 4}, {1, 7, 1, 5}, {3, 6, 3, 6},
};

Case_Bytes randomBytes(Case_Random &R, size_t Size)
{
    Case_Bytes bytes(Size);
    for (u8 &byte : bytes) byte = R.Byte();
    return bytes;
}

// Cells that look like those of real tables: a good part of them single bytes, few zeros where they would end it all.
void fillCells(Case_Random &R, Case_Bytes &Table, size_t From, u32 Width)
{
    for (size_t i = From; i + Width <= Table.size(); i += Width) {
        const u32 length = Width == 1 ? 1 : R.Below(Width) + 1;
        for (u32 k = 0; k < Width; ++k) Table[i + k] = k < Width - length ? 0 : R.Byte();
        if (Width == 2 && R.OneIn(2)) Table[i] = static_cast<u8>(R.Below(9));
    }
}

// A table in which every character stays inside: rows of Row bytes, numbered from First.
Case_Bytes goodRows(Case_Random &R, size_t Start, size_t Row, u32 First, u32 Rows, u32 Width)
{
    Case_Bytes table(Start + Row * Rows);
    for (size_t i = 0; i < 256; ++i) table[i] = static_cast<u8>(First + R.Below(Rows));
    fillCells(R, table, Start, Width);
    return table;
}

Case_Bytes goodTrie(Case_Random &R)
{
    constexpr u32 rows = 24;
    Case_Bytes table(512 * rows);
    fillCells(R, table, 0, 2);
    for (size_t i = 0; i < 256; ++i) table[i] = 0;
    for (u32 row = 1; row < 8; ++row) { // row 1 is the first step, the others the second; deltas lead to 8 and up
        u8 *const place = &table[512 * row];
        const u32 base = row == 1 ? 4 : 16;
        place[0] = place[1] = 0;
        place[2] = static_cast<u8>(base / 16);
        place[3] = static_cast<u8>(base % 16);
        for (size_t i = 0; i < 256; ++i)
            place[4 + i] =
                static_cast<u8>(row == 1 ? static_cast<int>(R.Below(6)) - 2 : static_cast<int>(R.Below(15)) - 8);
    }
    return table;
}

Case_Bytes goodTable(Case_Random &R, IcnvFlatKind Kind)
{
    switch (Kind) {
    case ICNV_FLAT_S2: {
        Case_Bytes table(512);
        fillCells(R, table, 0, 2);
        if (R.OneIn(2))
            for (size_t i = 0; i < 512; i += 2) table[i] &= 3;
        return table;
    }
    case ICNV_FLAT_D1: return goodRows(R, 256, 256, 1, 5, 1);
    case ICNV_FLAT_E4: return goodRows(R, 1024, 1024, 0, 5, 4);
    case ICNV_FLAT_F4: return goodRows(R, 256, 1024, 0, 5, 4);
    case ICNV_FLAT_T4: return goodTrie(R);
    case ICNV_FLAT_G4: {
        Case_Bytes table(1024 * 6);
        fillCells(R, table, 1024, 4);
        for (size_t i = 0; i < 512; i += 2) table[i] = 0, table[i + 1] = static_cast<u8>(1 + R.Below(5));
        return table;
    }
    default: return goodRows(R, 512, 512, 1, 5, 2);
    }
}

void setRows(Case_Random &R, Case_Setup &Setup)
{
    IcnvLeadRanges &lead = Setup.Lead[2];
    lead.count = 1 + R.Below(3);
    for (IcnvByteRange &range : lead.ranges) {
        range.low = 0x80 + R.Below(0x70);
        range.high = range.low + R.Below(0x100 - range.low);
    }
    if (R.OneIn(8)) lead.ranges[0] = {0, 0xFF};
    if (R.OneIn(16)) lead.count = R.OneIn(2) ? 0 : 4;
    constexpr IcnvEucWidths real[] = {{4, {1, 2, 1, 2}}, {3, {1, 2, 3, 0}}, {2, {1, 2, 0, 0}}};
    Setup.Widths[1] = real[R.Below(3)];
    if (R.OneIn(4)) Setup.Widths[1] = {R.Below(5), {1, R.Below(5), R.Below(6), R.Below(6)}};
    if (R.OneIn(32)) Setup.Widths[1] = {4, {1, 2, 99999, 0xFFFFFFFF}};
    Setup.Descriptor.index = R.OneIn(24) ? R.Below(40) : 2;
}

// Tables at random: good ones, or bytes as they come, of any size.
void setTables(Case_Random &R, Case_Setup &Setup, IcnvFlatKind First, IcnvFlatKind Second)
{
    const bool hostile = R.OneIn(4);
    Setup.Data[0] = hostile ? randomBytes(R, R.Below(R.OneIn(2) ? 1200 : 140000)) : goodTable(R, First);
    Setup.Data[1] = hostile ? randomBytes(R, R.Below(70000)) : goodTable(R, Second);
    Setup.Data[2] = randomBytes(R, R.Below(9000));
    if (First == ICNV_FLAT_NONE && !hostile) Setup.Data[0] = goodTable(R, ICNV_FLAT_S2);
}

void setByteRoute(Case_Random &R, Case_Setup &Setup)
{
    const u32 from[] = {1, 2, 4}, to[] = {16, 32, 64};
    IcnvDescriptor &d = Setup.Descriptor;
    d.mode = from[R.Below(3)] + to[R.Below(3)];
    const u32 singles[] = {1, 1, 1, 0, ICNV_TBL_SAME}, doubles[] = {0, 2, 2, 2, ICNV_TBL_SAME, ICNV_TBL_SUBST};
    d.table1 = singles[R.Below(5)];
    d.table2 = doubles[R.Below(6)];
    setTables(R, Setup, ICNV_FLAT_NONE, ICNV_FLAT_D2);
    Case_Bytes single = randomBytes(R, R.OneIn(8) ? R.Below(300) : 256);
    if (!single.empty()) Setup.Data[0] = single;
    Setup.Use(3);
}

void setUnicodeRoute(Case_Random &R, Case_Setup &Setup, const Pair &P)
{
    IcnvDescriptor &d = Setup.Descriptor;
    d.fromKind = P.FromKind;
    d.fromEncoding = P.FromEncoding;
    d.toKind = P.ToKind;
    d.toEncoding = P.ToEncoding;
    d.table1 = R.OneIn(16) ? (R.OneIn(2) ? 0 : ICNV_TBL_SAME) : 1;
    d.table2 = R.OneIn(8) ? 2 : 0;
    setTables(R, Setup, SupOS_IcnvFlatKindOf(P.FromKind, P.FromEncoding, P.ToKind, P.ToEncoding), ICNV_FLAT_D2);
    Setup.Use(R.OneIn(8) ? 1 : 3);
}

// Pieces of text, one encoding at a time.
void appendHost(Case_Random &R, Case_Bytes &Text)
{
    const u32 singles = R.Below(R.OneIn(4) ? 100 : 12);
    for (u32 i = 0; i < singles; ++i) Text.push_back(R.OneIn(40) ? 0x15 : static_cast<u8>(0x40 + R.Below(0xC0)));
    if (R.OneIn(3)) return;
    Text.push_back(0x0E);
    const u32 doubles = R.Below(R.OneIn(4) ? 100 : 10);
    for (u32 i = 0; i < 2 * doubles; ++i) Text.push_back(static_cast<u8>(0x10 + R.Below(0xF0)));
    if (R.OneIn(12)) Text.push_back(0x41);
    if (!R.OneIn(16)) Text.push_back(0x0F);
}

void appendPaired(Case_Random &R, Case_Bytes &Text)
{
    const u32 singles = R.Below(R.OneIn(4) ? 100 : 10), doubles = R.Below(R.OneIn(4) ? 90 : 10);
    for (u32 i = 0; i < singles; ++i) Text.push_back(static_cast<u8>(0x20 + R.Below(0x60)));
    for (u32 i = 0; i < doubles; ++i) {
        if (R.OneIn(12)) Text.push_back(static_cast<u8>(0x8E + R.Below(2)));
        Text.push_back(static_cast<u8>(0xA1 + R.Below(0x5E)));
        Text.push_back(R.OneIn(10) ? R.Byte() : static_cast<u8>(0xA1 + R.Below(0x5E)));
    }
}

void appendUtf(Case_Random &R, Case_Bytes &Text)
{
    const u32 count = R.Below(R.OneIn(3) ? 120 : 20), kind = R.Below(4);
    for (u32 i = 0; i < count; ++i) {
        u32 unit = kind == 0 ? R.Below(0x80) : kind == 1 ? R.Below(0x100) : R.Below(R.OneIn(2) ? 0x80 : 0x10000);
        if (kind == 2 && R.OneIn(3)) unit = R.Below(0x800);
        if (unit < 0x80) {
            Text.push_back(static_cast<u8>(unit));
        } else if (unit < 0x800) {
            Text.push_back(static_cast<u8>(0xC0 | unit >> 6));
            Text.push_back(static_cast<u8>(0x80 | (unit & 0x3F)));
        } else {
            Text.push_back(static_cast<u8>(0xE0 | unit >> 12));
            Text.push_back(static_cast<u8>(0x80 | (unit >> 6 & 0x3F)));
            Text.push_back(static_cast<u8>(0x80 | (unit & 0x3F)));
        }
    }
}

void appendUcs(Case_Random &R, Case_Bytes &Text)
{
    const u32 count = R.Below(R.OneIn(3) ? 120 : 20), kind = R.Below(4);
    for (u32 i = 0; i < count; ++i) {
        const u32 unit = kind == 0   ? R.Below(0x80)
                         : kind == 1 ? R.Below(0x800)
                         : kind == 2 ? R.Below(0x100)
                                     : R.Below(0x10000);
        Text.push_back(static_cast<u8>(unit));
        Text.push_back(static_cast<u8>(unit >> 8));
    }
}

void appendGb(Case_Random &R, Case_Bytes &Text)
{
    Text.push_back(static_cast<u8>(0x20 + R.Below(0x60)));
    Text.push_back(R.Byte());
    if (R.OneIn(2)) {
        const u8 four[] = {static_cast<u8>(0x81 + R.Below(0x7E)), static_cast<u8>(0x30 + R.Below(10)),
                           static_cast<u8>(0x81 + R.Below(0x7E)), static_cast<u8>(0x30 + R.Below(10))};
        Text.insert(Text.end(), four, four + (R.OneIn(4) ? R.Below(5) : 4));
    }
}

Case_Bytes randomText(Case_Random &R, u32 Encoding, size_t Length)
{
    Case_Bytes text;
    while (text.size() < Length) {
        if (R.OneIn(60)) text.push_back(R.Byte());
        switch (Encoding) {
        case 1: appendHost(R, text); break;
        case 4: appendUcs(R, text); break;
        case 5: appendUtf(R, text); break;
        case 7: appendGb(R, text); break;
        default: appendPaired(R, text); break;
        }
        if (text.empty()) text.push_back(R.Byte());
    }
    text.resize(Length);
    if (R.OneIn(8) && Length > 0) text[R.Below(static_cast<u32>(Length))] = R.Byte();
    if (R.OneIn(10)) text = randomBytes(R, Length);
    return text;
}

size_t randomRoom(Case_Random &R, size_t Length)
{
    const u32 length = static_cast<u32>(Length);
    switch (R.Below(6)) {
    case 0: return R.Below(length + 2);
    case 1: return R.Below(3 * length + 4);
    case 2: return Length;
    case 3: return 2 * Length + R.Below(4);
    default: return 4 * Length + R.Below(80);
    }
}

u32 sourceEncoding(const Case_Setup &Setup)
{
    const IcnvDescriptor &d = Setup.Descriptor;
    return d.mode == 0 ? d.fromEncoding : d.mode & ICNV_FROM_HOST ? 1 : 2;
}

Case_Way randomWay(Case_Random &R)
{
    if (R.OneIn(16)) return Case_Plain;
    return R.OneIn(2) ? Case_Quick : Case_Straight;
}

// Cases of one setup. Returns the first disagreement.
std::string runCases(Case_Random &R, const Case_Setup &Setup, u32 Count, bool Long)
{
    for (u32 i = 0; i < Count; ++i) {
        const size_t length = Long ? R.Below(5000) : R.Below(301);
        const Case_Bytes source = randomText(R, sourceEncoding(Setup), length);
        const Case_Bytes target = randomBytes(R, randomRoom(R, length));
        const Case_Answer answer = Case_Run(Setup, source, target, R.Below(64), R.Below(64), randomWay(R));
        const std::string difference = Case_Compare(Setup, source, target, answer);
        if (!difference.empty()) return difference;
    }
    return "";
}

void runAll(u64 Seed, u32 Setups, u32 Cases, bool Long)
{
    printf("seed %#llx, %u setups of %u cases\n", static_cast<unsigned long long>(Seed), Setups, Cases);
    Case_Random r{Seed};
    for (u32 i = 0; i < Setups; ++i) {
        SupOS_IcnvUseKernels(forms[0]);
        SupOS_IcnvUseKernels(forms[i % 3]); // where the processor lacks it, plain stays
        Case_Setup setup;
        setRows(r, setup);
        if (r.OneIn(3))
            setByteRoute(r, setup);
        else
            setUnicodeRoute(r, setup, pairs[r.Below(sizeof pairs / sizeof pairs[0])]);
        const std::string difference = runCases(r, setup, Cases, Long);
        ASSERT_EQ(difference, "") << "setup " << i;
    }
}

} // namespace

TEST(IcnvDifferential, AMillionRandomCases)
{
    runAll(seed, 4000, casesOfASetup, false);
}

TEST(IcnvDifferential, LongTexts)
{
    runAll(seed + 1, 1500, 10, true);
}

// Every length from 0 to 300 at every alignment, in every form, with room to spare, exact, and one short.
TEST(IcnvDifferential, EveryLengthAndAlignment)
{
    Case_Random r{seed + 2};
    printf("seed %#llx\n", static_cast<unsigned long long>(seed + 2));
    for (size_t which = 0; which <= sizeof pairs / sizeof pairs[0]; ++which) {
        Case_Setup setup;
        setRows(r, setup);
        if (which == sizeof pairs / sizeof pairs[0])
            setByteRoute(r, setup);
        else
            setUnicodeRoute(r, setup, pairs[which]);
        for (size_t length = 0; length <= 300; ++length) {
            SupOS_IcnvUseKernels(forms[0]);
            SupOS_IcnvUseKernels(forms[length % 3]);
            const Case_Bytes source = randomText(r, sourceEncoding(setup), length);
            const Case_Bytes wide(4 * length + 70, 0xAA);
            const Case_Answer whole = Case_Run(setup, source, wide, length % 64, (length * 7) % 64, Case_Straight);
            ASSERT_EQ(Case_Compare(setup, source, wide, whole), "") << "pair " << which << " length " << length;
            for (size_t align = 0; align < 64; align += 5) {
                const size_t made = whole.TargetMoved + align % 3;
                const Case_Bytes tight(made > 0 ? made - 1 : 0, 0x55);
                const Case_Answer answer =
                    Case_Run(setup, source, tight, align, 63 - align, align % 2 != 0 ? Case_Quick : Case_Straight);
                ASSERT_EQ(Case_Compare(setup, source, tight, answer), "") << "pair " << which << " length " << length;
            }
        }
    }
}

// Every cut of the source and every size of the target of one text of each kind.
TEST(IcnvDifferential, EveryCutAndEveryRoom)
{
    Case_Random r{seed + 3};
    for (size_t which = 0; which < sizeof pairs / sizeof pairs[0] + 12; ++which) {
        Case_Setup setup;
        setRows(r, setup);
        if (which >= sizeof pairs / sizeof pairs[0])
            setByteRoute(r, setup);
        else
            setUnicodeRoute(r, setup, pairs[which]);
        const Case_Bytes text = randomText(r, sourceEncoding(setup), 150);
        for (size_t cut = 0; cut <= text.size(); ++cut) {
            SupOS_IcnvUseKernels(forms[cut % 3]);
            const Case_Bytes source(text.begin(), text.begin() + static_cast<ptrdiff_t>(cut));
            const Case_Bytes wide(700, 0xAA), narrow(2 * cut, 0xAA);
            ASSERT_EQ(Case_Compare(setup, source, wide, Case_Run(setup, source, wide, 0, 0, Case_Straight)), "")
                << which;
            ASSERT_EQ(Case_Compare(setup, text, narrow, Case_Run(setup, text, narrow, 1, 2, Case_Straight)), "")
                << which;
        }
    }
}
