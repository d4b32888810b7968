// Runs of orders, and the text between them, in either form.
//
// A stream is read in turns: first a run of orders, which TerBM_SkipControl measures and rewrites into the other form in
// place, then a run of text, which TerBM_GetControl measures. Control bytes that are no orders are text, and so is a NUL
// behind text. A run of orders holds one address at most: a second SBA is left to begin the next run.

#include "terbm_int.h"

#include "inftr_guard.h"
#include "terbm_stream.h"

namespace
{

struct Walk {
    u8 *Address;
    u8 *CharacterSet;
    const u8 *Table; // from the form of the source to the other one
    i32 SourceIsEbcdic;
    bool Translate;
    bool AddressSeen;
};

void throughTable(u8 *bytes, u16 count, const u8 *table)
{
    for (u16 i = 0; i < count; ++i) bytes[i] = table[bytes[i]];
}

// SFE and MF. The count byte stands between order and pairs and stays as it is.
u32 passCountedOrder(const Walk &walk, u8 *order, u16 remaining, u16 *length)
{
    if (remaining < 3) return TERBM_ERR_INCOMPLETE_ORDER;
    const u16 counted = static_cast<u16>(order[1] * 2 + 2);
    if (counted > remaining) return TERBM_ERR_INCOMPLETE_ORDER;

    if (walk.Translate) throughTable(order, 1, walk.Table);
    TerBM_ConvertAttributePair(order + 2, order[1], walk.SourceIsEbcdic, walk.CharacterSet, walk.Table, walk.Translate);
    *length = counted;
    return ERZ_OK;
}

u32 passRepeatToAddress(const Walk &walk, u8 *order, u16 remaining, u16 *length)
{
    const u16 needed = remaining > 3 && order[3] == TERBM_GE ? TERBM_RA_GE_LENGTH : TERBM_RA_LENGTH;
    if (needed > remaining) return TERBM_ERR_INCOMPLETE_ORDER;

    if (walk.Translate) throughTable(order, needed, walk.Table);
    *length = needed;
    return ERZ_OK;
}

// required: without translation the character set of an SA goes unseen, unlike that of SFE and MF.
void passSetAttribute(const Walk &walk, u8 *order)
{
    if (!walk.Translate) return;
    throughTable(order, 1, walk.Table);
    TerBM_ConvertAttributePair(order + 1, 1, walk.SourceIsEbcdic, walk.CharacterSet, walk.Table, 1);
}

// One order, of which `remaining` bytes are there. A length of 0 ends the run in front of it.
u32 passOrder(Walk *walk, u8 *order, u16 remaining, u16 *length)
{
    const u8 code = walk->SourceIsEbcdic == 1 ? TerBM_EbcdicToAscii[*order] : *order;
    *length = TerBM_LengthOf(code);
    if (remaining < *length) return TERBM_ERR_INCOMPLETE_ORDER;

    switch (code) {
    case TERBM_SFE:
    case TERBM_MF: return passCountedOrder(*walk, order, remaining, length);
    case TERBM_RA: return passRepeatToAddress(*walk, order, remaining, length);
    case TERBM_SA: passSetAttribute(*walk, order); return ERZ_OK;
    case TERBM_SBA:
        if (walk->AddressSeen) {
            *length = 0;
            return ERZ_OK;
        }
        walk->AddressSeen = true;
        walk->Address[0] = order[1];
        walk->Address[1] = order[2];
        break;
    default:
        if (*order == TERBM_NUL) *length = 1;
    }
    if (walk->Translate) throughTable(order, *length, walk->Table);
    return ERZ_OK;
}

} // namespace

u32 TerBM_SkipControl(u8 *Data, u16 Length, u16 *Consumed, u8 *Address, u8 *CharacterSet, i32 SourceIsEbcdic,
                      i32 Translate)
{
    INFTR_FUNCTION(TERBM, "TerBM_SkipControl");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %u, %d, %d)", static_cast<void *>(Data), Length, *Consumed, SourceIsEbcdic,
                Translate);

    Address[0] = Address[1] = 0;
    *CharacterSet = 0;
    Walk walk = {Address,        CharacterSet,   SourceIsEbcdic == 1 ? TerBM_EbcdicToAscii : TerBM_AsciiToEbcdic,
                 SourceIsEbcdic, Translate != 0, false};
    const u8 lastControl = SourceIsEbcdic == 1 ? TERBM_LAST_CONTROL_EBCDIC : TERBM_LAST_CONTROL_ASCII;

    u32 result = ERZ_OK;
    while (*Consumed < Length && Data[*Consumed] <= lastControl) {
        u16 length = 0;
        result = passOrder(&walk, Data + *Consumed, static_cast<u16>(Length - *Consumed), &length);
        if (result != ERZ_OK || length == 0) break;
        *Consumed = static_cast<u16>(*Consumed + length);
    }
    INFTR_RETURN_CODE(1, result);
}

void TerBM_ConvertAttributePair(u8 *Pairs, u16 Count, i32 SourceIsEbcdic, u8 *CharacterSet, const u8 *Table,
                                i32 Translate)
{
    INFTR_FUNCTION(TERBM, "TerBM_ConvertAttributePair");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %d, %d)", static_cast<void *>(Pairs), Count, SourceIsEbcdic, Translate);

    for (u8 *pair = Pairs, *const end = Pairs + Count * 2; pair < end; pair += 2) {
        const u8 original = pair[1];
        if (Translate && pair[0] <= TERBM_LAST_TRANSLATED_TYPE) pair[1] = Table[original];
        if (pair[0] != TERBM_TYPE_CHARACTER_SET) continue;

        *CharacterSet = SourceIsEbcdic == 1 ? pair[1] : original;
        if (SourceIsEbcdic != 1 && original == TERBM_DOUBLE_BYTE_EBCDIC) pair[1] = original;
    }
    INFTR_RETURN(1);
}

void TerBM_GetControl(const u8 *Data, u16 Length, u16 *Offset, i32 SourceIsEbcdic, i32 DoubleByte)
{
    INFTR_FUNCTION(TERBM, "TerBM_GetControl");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %u, %d, %d)", static_cast<const void *>(Data), Length, *Offset,
                SourceIsEbcdic, DoubleByte);

    if (SourceIsEbcdic == 1)
        TerBM_GetControlEBCDIC(Data, Length, Offset);
    else
        TerBM_GetControlASCII(Data, Length, Offset);
    INFTR_RETURN(1);
}

void TerBM_GetControlASCII(const u8 *Data, u16 Length, u16 *Offset)
{
    INFTR_FUNCTION(TERBM, "TerBM_GetControlASCII");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %u)", static_cast<const void *>(Data), Length, *Offset);

    u32 at = *Offset;
    while (at < Length) {
        if (at + sizeof(u64) <= Length && TerBM_AllFrom20(TerBM_EightBytes(Data + at))) {
            at += sizeof(u64);
            continue;
        }
        if (TerBM_LengthOf(Data[at]) != 0) break;
        ++at;
    }
    *Offset = at < Length ? static_cast<u16>(at) : Length;
    INFTR_RETURN(1);
}

void TerBM_GetControlEBCDIC(const u8 *Data, u16 Length, u16 *Offset)
{
    INFTR_FUNCTION(TERBM, "TerBM_GetControlEBCDIC");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %u)", static_cast<const void *>(Data), Length, *Offset);

    u32 at = *Offset;
    while (at < Length) {
        if (at + sizeof(u64) <= Length && TerBM_AllFrom40(TerBM_EightBytes(Data + at))) {
            at += sizeof(u64);
            continue;
        }
        if (Data[at] <= TERBM_LAST_CONTROL_EBCDIC && TerBM_LengthOf(TerBM_EbcdicToAscii[Data[at]]) != 0) break;
        ++at;
    }
    *Offset = at < Length ? static_cast<u16>(at) : Length;
    INFTR_RETURN(1);
}
