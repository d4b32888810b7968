// The Unicode and EUC route: which routine takes a pair of encodings.
//
// The side that is a byte code set decides between the two routines of a cell: the single-byte one if its kind is
// single, else the mixed one.

#include "inftr_guard.h"
#include "supos_icnv_engine.h"
#include "supos_istream_int.h"

struct IcnvChoice {
    IcnvRoutine *routine; // null: no routine for this pair
    IcnvFlatKind layout; // of its first table
};

struct IcnvCell {
    IcnvChoice single; // the deciding side has kind 1
    IcnvChoice other;
};

constexpr u32 ICNV_ENCODINGS = 8;

static constexpr IcnvCell both(IcnvRoutine *Routine, IcnvFlatKind Layout)
{
    return {{Routine, Layout}, {Routine, Layout}};
}

static constexpr IcnvCell split(IcnvRoutine *Single, IcnvFlatKind SingleLayout, IcnvRoutine *Other,
                                IcnvFlatKind OtherLayout)
{
    return {{Single, SingleLayout}, {Other, OtherLayout}};
}

#define NONE ICNV_FLAT_NONE
#define S2 ICNV_FLAT_S2
#define D1 ICNV_FLAT_D1
#define D2 ICNV_FLAT_D2
#define E4 ICNV_FLAT_E4
#define F4 ICNV_FLAT_F4
#define G4 ICNV_FLAT_G4
#define T4 ICNV_FLAT_T4

// clang-format off
static constexpr IcnvCell icnvCells[ICNV_ENCODINGS][ICNV_ENCODINGS] = {
    {   // from host, to
        {}, {}, {},                                  // host, PC, ISO
        split(SBCStoUCS, S2, HostUCSMM, D2),         // UCS-2
        split(SBCStoUTF, S2, HostUTFMM, D2),         // UTF-8
        both(HostEucMM, F4),                         // EUC
        both(HostGBMM, G4),                          // GB18030
        both(HostEnc8MM, NONE),
    },
    {   // from PC
        {}, {}, {},
        split(SBCStoUCS, S2, PCUCSMM, D2),
        split(SBCStoUTF, S2, PCUTFMM, D2),
        both(PCEucMM, F4),
        {}, {},
    },
    {   // from ISO
        {}, {}, {},
        split(SBCStoUCS, S2, PCUCSMM, D2),
        split(SBCStoUTF, S2, PCUTFMM, D2),
        both(PCEucMM, F4),
        {}, {},
    },
    {   // from UCS-2
        split(UCStoSBCS, D1, UCSHostMM, D2),
        split(UCStoSBCS, D1, UCSPCMM, D2),
        split(UCStoSBCS, D1, UCSPCMM, D2),
        {},
        both(UCSUTFMM, NONE),
        both(UCSEucMM, E4),
        both(UCSGBMM, G4),
        both(UCSEnc8MM, NONE),
    },
    {   // from UTF-8
        split(UTFtoSBCS, D1, UTFHostMM, D2),
        split(UTFtoSBCS, D1, UTFPCMM, D2),
        split(UTFtoSBCS, D1, UTFPCMM, D2),
        both(UTFUCSMM, NONE),
        {},
        both(UTFEucMM, E4),
        both(UTFGBMM, G4),
        both(UTFEnc8MM, NONE),
    },
    {   // from EUC
        both(EucHostMM, T4), both(EucPCMM, T4), both(EucPCMM, T4),
        both(EucUCSMM, T4),
        both(EucUTFMM, T4),
        {}, {}, {},
    },
    {   // from GB18030: three tables, chosen by the length of each character
        both(GBHostMM, NONE), {}, {},
        both(GBUCSMM, NONE),
        both(GBUTFMM, NONE),
        {}, {},
        both(GBEnc8MM, NONE),
    },
    {   // from the reserved encoding
        both(Enc8HostMM, NONE), {}, {},
        both(Enc8UCSMM, NONE),
        both(Enc8UTFMM, NONE),
        {},
        both(Enc8GBMM, NONE),
        {},
    },
};
// clang-format on

static IcnvChoice choose(u32 FromKind, u32 FromEncoding, u32 ToKind, u32 ToEncoding)
{
    if (FromEncoding - 1 >= ICNV_ENCODINGS || ToEncoding - 1 >= ICNV_ENCODINGS) return {};
    const IcnvCell *const cell = &icnvCells[FromEncoding - 1][ToEncoding - 1];
    const u32 kind = FromEncoding <= ICNV_ISO ? FromKind : ToKind;
    return kind == ICNV_KIND_SINGLE ? cell->single : cell->other;
}

IcnvFlatKind SupOS_IcnvFlatKindOf(u32 FromKind, u32 FromEncoding, u32 ToKind, u32 ToEncoding)
{
    return choose(FromKind, FromEncoding, ToKind, ToEncoding).layout;
}

i32 SupOS_NewCodeConv(const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, const u32 *tables, u32 fromKind,
                      u32 fromEncoding, u32 toKind, u32 toEncoding, u32 index, const IcnvPlan *Plan)
{
    INFTR_FUNCTION(SUPOS, "SupOS_NewCodeConv");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %u, %u, %u, %u)", static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp, fromKind, fromEncoding, toKind, toEncoding);

    const IcnvChoice choice = choose(fromKind, fromEncoding, toKind, toEncoding);
    i32 code = ICNV_RC_NOTABLE;
    if (choice.routine == nullptr) INFTR_RETURN_CODE(1, code);

    const IcnvLookup lookups[3] = {
        SupOS_IcnvLookupOf(tables[0], index),
        SupOS_IcnvLookupOf(tables[1], index),
        SupOS_IcnvLookupOf(tables[2], index),
    };
    code = choice.routine(srcpp, slenp, tgtpp, tlenp, lookups, Plan);
    INFTR_RETURN_CODE(2, code);
}
