// The family of routines of the Unicode and EUC route. All have one shape: read a character, look it up, write it out,
// as long as both sides last; what tells them apart is a row of IcnvJoin.
//
// required: a reader moves the source before the writer has found room, so a character that does not fit is lost to a
// caller who goes on at the source pointer.

#include <string.h>

#include "inftr_guard.h"
#include "supos_istream_int.h"

static constexpr IcnvReader icnvReaders[] = {
    SupOS_IcnvReadByte, SupOS_IcnvReadUCS, SupOS_IcnvReadUTF, SupOS_IcnvReadEUC, SupOS_IcnvReadPC, SupOS_IcnvReadHost,
};

static constexpr IcnvMapper icnvMappers[] = {
    SupOS_IcnvSame,    SupOS_IcnvOneToTwo, SupOS_IcnvTwoToTwo, SupOS_IcnvTwoToOne,
    SupOS_IcnvToEucE4, SupOS_IcnvToEucF4,  SupOS_IcnvToGb,     SupOS_IcnvEucToTwo,
};

static constexpr IcnvWriter icnvWriters[] = {
    SupOS_IcnvWriteByte, SupOS_IcnvWriteUCS, SupOS_IcnvWriteUTF,
    SupOS_IcnvWriteEUC,  SupOS_IcnvWritePC,  SupOS_IcnvWriteHost,
};

// Characters that the plain loop takes before the quick way is tried again.
constexpr u32 ICNV_PLAIN_STRETCH = 4;

static IcnvLeadRanges leadRow(u32 Index)
{
    const IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    if (catalogue == nullptr || catalogue->leadRanges == nullptr || Index >= ICNV_LEAD_ROWS) return {};
    IcnvLeadRanges row = catalogue->leadRanges[Index];
    if (row.count > 3) row.count = 0;
    return row;
}

static IcnvEucWidths widthRow(u32 Index)
{
    const IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    if (catalogue == nullptr || catalogue->eucWidths == nullptr || Index - 1 >= ICNV_EUC_ROWS) return {};
    return catalogue->eucWidths[Index - 1];
}

static IcnvStream beginStream(const u8 *Source, u32 Length, u8 *Target, u32 Room, const IcnvJoin *Join, u32 Index)
{
    IcnvStream stream;
    stream.source = Source;
    stream.length = Length;
    stream.consumed = 0;
    stream.target = Target;
    stream.room = Room;
    stream.written = 0;
    stream.shift = ICNV_SHIFT_OUTSIDE;
    if (Join->reader == ICNV_READ_PC) stream.lead = leadRow(Index);
    if (Join->reader == ICNV_READ_EUC) stream.widths = widthRow(Index);
    return stream;
}

// Whether the quick way may be taken at all: the plan has what the routine needs, and no byte that is written can
// still be read.
static bool mayPass(const IcnvJoin *Join, const IcnvStream *Stream, const IcnvPlan *Plan)
{
    if (Plan == nullptr || Join->reader == ICNV_READ_GB) return false;
    if (Join->layout != ICNV_FLAT_NONE && (Plan->flat == nullptr || Plan->flat->kind != Join->layout)) return false;
    return Stream->source + Stream->length <= Stream->target || Stream->target + Stream->room <= Stream->source;
}

// The lookup of a GB18030 character: by its length a table of its own, and none for a malformed one.
static void lookUpGB(const IcnvJoin *Join, const IcnvLookup *Lookups, const u8 *In, u32 Length, u8 *Out)
{
    switch (Length) {
    case 1: SupOS_IcnvOneToTwo(&Lookups[0], In, Out); return;
    case 2: SupOS_IcnvTwoToTwo(&Lookups[1], In, Out); return;
    case 4: SupOS_IcnvGbFour(&Lookups[2], In, Out, Join->unused); return;
    }
    Out[0] = 0;
    Out[1] = Join->substitute;
}

// The loop. Where a lookup has nothing to say, Out keeps what the character before left in it.
static i32 runLoop(const IcnvJoin *Join, IcnvStream *Stream, const IcnvLookup *Lookups, const IcnvPlan *Plan)
{
    const bool quick = mayPass(Join, Stream, Plan);
    u8 in[4] = {0, 0, 0, 0};
    u8 out[4] = {0, 0, 0, 0};
    u32 stretch = 0;
    while (Stream->consumed < Stream->length && Stream->written < Stream->room) {
        if (quick && stretch == 0) {
            if (SupOS_IcnvPass(Join, Stream, Plan->flat) != 0) continue;
            stretch = ICNV_PLAIN_STRETCH;
        }
        if (quick) --stretch;

        if (Join->reader == ICNV_READ_GB) {
            u32 length = 0;
            const i32 code = SupOS_IcnvReadGB(Stream, in, &length);
            if (code != ICNV_RC_OK) return code;
            lookUpGB(Join, Lookups, in, length, out);
        } else {
            const i32 code = icnvReaders[Join->reader](Stream, in);
            if (code == ICNV_RC_FULL && (Join->ending & ICNV_END_OK)) return ICNV_RC_OK;
            if (code != ICNV_RC_OK) return code;
            icnvMappers[Join->layout](&Lookups[0], in, out);
        }
        const i32 code = icnvWriters[Join->writer](Stream, out);
        if (code != ICNV_RC_OK) return code;
    }
    return ICNV_RC_OK;
}

static i32 finish(const IcnvJoin *Join, IcnvStream *Stream, i32 Code)
{
    const bool inside = Stream->shift == ICNV_SHIFT_INSIDE;
    if ((Join->ending & ICNV_END_CLOSE) && inside && Stream->written < Stream->room) {
        *Stream->target++ = ICNV_SHIFT_IN;
        ++Stream->written;
    }
    if ((Join->ending & ICNV_END_CHECK) && inside) {
        if (Stream->consumed == Stream->length) {
            Code = ICNV_RC_BADSRC;
        } else if (*Stream->source == ICNV_SHIFT_IN) {
            ++Stream->source;
            ++Stream->consumed;
        }
    }
    if ((Join->ending & ICNV_END_STRICT) && inside) Code = ICNV_RC_BADSRC;
    if ((Join->ending & ICNV_END_LEFT) && Stream->consumed < Stream->length) Code = ICNV_RC_FULL;
    return Code;
}

static i32 run(const IcnvJoin *Join, const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp,
               const IcnvLookup *Lookups, const IcnvPlan *Plan)
{
    IcnvStream stream = beginStream(*srcpp, *slenp, *tgtpp, *tlenp, Join, Lookups[0].index);
    i32 code = runLoop(Join, &stream, Lookups, Plan);
    code = finish(Join, &stream, code);

    if (stream.consumed < stream.length && code == ICNV_RC_OK) code = ICNV_RC_FULL;
    if (code == ICNV_RC_FULL) { // the padding counts as written, and the target pointer stays before it
        memset(stream.target, 0, stream.room - stream.written);
        stream.written = stream.room;
    }
    *srcpp = stream.source;
    *tgtpp = stream.target;
    *tlenp = stream.written;
    return code;
}

// A routine: its guard, and its row.
#define ICNV_ROUTINE(Name, ...)                                                                                        \
    i32 Name(const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvLookup *lookups, const IcnvPlan *Plan)    \
    {                                                                                                                  \
        INFTR_FUNCTION(SUPOS, #Name);                                                                                  \
        INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %p)", static_cast<const void *>(*srcpp), *slenp,              \
                    static_cast<void *>(*tgtpp), *tlenp, static_cast<const void *>(lookups));                          \
        static constexpr IcnvJoin join = {__VA_ARGS__};                                                                \
        const i32 code = run(&join, srcpp, slenp, tgtpp, tlenp, lookups, Plan);                                        \
        INFTR_RETURN_CODE(1, code);                                                                                    \
    }

#define ICNV_CHECKED (ICNV_END_OK | ICNV_END_CHECK)
#define ICNV_STRICT (ICNV_END_OK | ICNV_END_STRICT)

// clang-format off
//           routine    reader          layout         writer           ending
ICNV_ROUTINE(EucHostMM, ICNV_READ_EUC,  ICNV_FLAT_T4,  ICNV_WRITE_HOST, ICNV_END_CLOSE, 0, 0)
ICNV_ROUTINE(HostEucMM, ICNV_READ_HOST, ICNV_FLAT_F4,  ICNV_WRITE_EUC,  ICNV_STRICT,    0, 0)
ICNV_ROUTINE(EucPCMM,   ICNV_READ_EUC,  ICNV_FLAT_T4,  ICNV_WRITE_PC,   0,              0, 0)
ICNV_ROUTINE(PCEucMM,   ICNV_READ_PC,   ICNV_FLAT_F4,  ICNV_WRITE_EUC,  0,              0, 0)
ICNV_ROUTINE(EucUCSMM,  ICNV_READ_EUC,  ICNV_FLAT_T4,  ICNV_WRITE_UCS,  0,              0, 0)
ICNV_ROUTINE(UCSEucMM,  ICNV_READ_UCS,  ICNV_FLAT_E4,  ICNV_WRITE_EUC,  0,              0, 0)
ICNV_ROUTINE(UCSPCMM,   ICNV_READ_UCS,  ICNV_FLAT_D2,  ICNV_WRITE_PC,   0,              0, 0)
ICNV_ROUTINE(PCUCSMM,   ICNV_READ_PC,   ICNV_FLAT_D2,  ICNV_WRITE_UCS,  0,              0, 0)
ICNV_ROUTINE(UCSHostMM, ICNV_READ_UCS,  ICNV_FLAT_D2,  ICNV_WRITE_HOST, ICNV_END_CLOSE, 0, 0)
ICNV_ROUTINE(HostUCSMM, ICNV_READ_HOST, ICNV_FLAT_D2,  ICNV_WRITE_UCS,  ICNV_CHECKED,   0, 0)
ICNV_ROUTINE(UTFHostMM, ICNV_READ_UTF,  ICNV_FLAT_D2,  ICNV_WRITE_HOST, ICNV_END_CLOSE, 0, 0)
ICNV_ROUTINE(HostUTFMM, ICNV_READ_HOST, ICNV_FLAT_D2,  ICNV_WRITE_UTF,  ICNV_CHECKED,   0, 0)
ICNV_ROUTINE(EucUTFMM,  ICNV_READ_EUC,  ICNV_FLAT_T4,  ICNV_WRITE_UTF,  0,              0, 0)
ICNV_ROUTINE(UTFEucMM,  ICNV_READ_UTF,  ICNV_FLAT_E4,  ICNV_WRITE_EUC,  0,              0, 0)
ICNV_ROUTINE(UTFPCMM,   ICNV_READ_UTF,  ICNV_FLAT_D2,  ICNV_WRITE_PC,   0,              0, 0)
ICNV_ROUTINE(PCUTFMM,   ICNV_READ_PC,   ICNV_FLAT_D2,  ICNV_WRITE_UTF,  0,              0, 0)
ICNV_ROUTINE(UTFUCSMM,  ICNV_READ_UTF,  ICNV_FLAT_NONE, ICNV_WRITE_UCS, 0,              0, 0)
ICNV_ROUTINE(UCSUTFMM,  ICNV_READ_UCS,  ICNV_FLAT_NONE, ICNV_WRITE_UTF, 0,              0, 0)
ICNV_ROUTINE(SBCStoUCS, ICNV_READ_BYTE, ICNV_FLAT_S2,  ICNV_WRITE_UCS,  0,              0, 0)
ICNV_ROUTINE(SBCStoUTF, ICNV_READ_BYTE, ICNV_FLAT_S2,  ICNV_WRITE_UTF,  0,              0, 0)
ICNV_ROUTINE(UCStoSBCS, ICNV_READ_UCS,  ICNV_FLAT_D1,  ICNV_WRITE_BYTE, 0,              0, 0)
ICNV_ROUTINE(UTFtoSBCS, ICNV_READ_UTF,  ICNV_FLAT_D1,  ICNV_WRITE_BYTE, 0,              0, 0)
ICNV_ROUTINE(UCSGBMM,   ICNV_READ_UCS,  ICNV_FLAT_G4,  ICNV_WRITE_EUC,  0,              0, 0)
ICNV_ROUTINE(UTFGBMM,   ICNV_READ_UTF,  ICNV_FLAT_G4,  ICNV_WRITE_EUC,  0,              0, 0)
ICNV_ROUTINE(HostGBMM,  ICNV_READ_HOST, ICNV_FLAT_G4,  ICNV_WRITE_EUC,  ICNV_END_OK,    0, 0)
//           and by length, with substitute and unused byte
ICNV_ROUTINE(GBUCSMM,   ICNV_READ_GB,   ICNV_FLAT_NONE, ICNV_WRITE_UCS,  ICNV_END_LEFT, ICNV_SUB_ISO, 0x31)
ICNV_ROUTINE(GBHostMM,  ICNV_READ_GB,   ICNV_FLAT_NONE, ICNV_WRITE_HOST, ICNV_END_CLOSE | ICNV_END_LEFT, ICNV_SUB_HOST, 0x30)
ICNV_ROUTINE(GBUTFMM,   ICNV_READ_GB,   ICNV_FLAT_NONE, ICNV_WRITE_UTF,  ICNV_END_LEFT, ICNV_SUB_ISO, 0x31)
// clang-format on

// Routines of the reserved encoding: there is nothing behind them.
#define ICNV_STUB(Name)                                                                                                \
    i32 Name(const u8 **, u32 *, u8 **, u32 *, const IcnvLookup *, const IcnvPlan *)                                   \
    {                                                                                                                  \
        INFTR_FUNCTION(SUPOS, #Name);                                                                                  \
        INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");                                                                      \
        const i32 code = ICNV_RC_NOTABLE;                                                                              \
        INFTR_RETURN_CODE(1, code);                                                                                    \
    }

ICNV_STUB(HostEnc8MM)
ICNV_STUB(UCSEnc8MM)
ICNV_STUB(UTFEnc8MM)
ICNV_STUB(GBEnc8MM)
ICNV_STUB(Enc8HostMM)
ICNV_STUB(Enc8UCSMM)
ICNV_STUB(Enc8UTFMM)
ICNV_STUB(Enc8GBMM)

// A four-byte GB18030 code counts 12600 for its first byte, 1260, 10 and 1 for the others, from 90 30 81 30 on.
void GbToSurrogates(const u8 *Source, u8 *Target)
{
    const i32 number =
        (Source[0] - 0x90) * 12600 + (Source[1] - 0x30) * 1260 + (Source[2] - 0x81) * 10 + (Source[3] - 0x30);
    const u32 high = 0xD800u + static_cast<u32>(number >> 10);
    const u32 low = 0xDC00u + (static_cast<u32>(number) & 0x3FF);
    Target[0] = static_cast<u8>(high >> 8);
    Target[1] = static_cast<u8>(high);
    Target[2] = static_cast<u8>(low >> 8);
    Target[3] = static_cast<u8>(low);
}

i32 SurrogatesToGb(const u8 *Source, u8 *Target, u32 Room)
{
    if (Room < 4) return ICNV_RC_FULL;
    const i32 number = (Source[0] - 0xD8) * 0x40000 + Source[1] * 1024 + (Source[2] - 0xDC) * 256 + Source[3];
    Target[0] = static_cast<u8>(number / 12600 + 0x90);
    Target[1] = static_cast<u8>(number / 1260 % 10 + 0x30);
    Target[2] = static_cast<u8>(number / 10 % 126 + 0x81);
    Target[3] = static_cast<u8>(number % 10 + 0x30);
    return ICNV_RC_OK;
}
