// Which tables a pair of code sets needs, and the way out when there are none.
//
// Byte code sets meet on table pairs: one for single bytes, one for double bytes. All other pairs meet on one table,
// named by the two `base` numbers. A failure between variants of one code set, whatever its cause, ends as a copy.

#include "inftr_guard.h"
#include "supos_icnv_engine.h"

// Numbers whose low 12 bits agree are variants of one code set, and so are these of the simplified Chinese set.
constexpr u32 ICNV_VARIANT_MASK = 0xFFF;
constexpr u32 ICNV_GBK = 1386;
constexpr u32 ICNV_GBK_18030 = 1392;
constexpr u32 ICNV_GBK_18030_FIXED = 5488;

// Kinds that no catalogue can name; what they open stays closed.
constexpr u32 ICNV_KIND_SUFFIXED = 7;

static bool areVariants(u32 From, u32 To)
{
    if (((From ^ To) & ICNV_VARIANT_MASK) == 0) return true;
    return From == ICNV_GBK && (To == ICNV_GBK_18030 || To == ICNV_GBK_18030_FIXED);
}

static u32 targetBit(u32 Encoding)
{
    switch (Encoding) {
    case ICNV_HOST: return ICNV_TO_HOST;
    case ICNV_PC: return ICNV_TO_PC;
    case ICNV_ISO: return ICNV_TO_ISO;
    }
    return 0;
}

static u32 sourceBit(u32 Encoding)
{
    switch (Encoding) {
    case ICNV_HOST: return ICNV_FROM_HOST;
    case ICNV_PC: return ICNV_FROM_PC;
    case ICNV_ISO: return ICNV_FROM_ISO;
    }
    return 0;
}

static u32 modeOf(u32 FromEncoding, u32 ToEncoding)
{
    const u32 target = targetBit(ToEncoding);
    const u32 source = sourceBit(FromEncoding);
    return target != 0 && source != 0 ? target + source : 0;
}

static bool isHostOrPC(u32 Encoding)
{
    return Encoding == ICNV_HOST || Encoding == ICNV_PC;
}

static bool needsNoTable(u32 Encoding)
{
    return Encoding == ICNV_UCS2 || Encoding == ICNV_UTF8 || Encoding == ICNV_ENC8;
}

i32 SupOS_OpenConv(u32 ToSbcs, u32 ToDbcs, u32 FromSbcs, u32 FromDbcs, u32 *Table1, u32 *Table2, u32 Kind)
{
    INFTR_FUNCTION(SUPOS, "SupOS_OpenConv");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%u, %u, %u, %u, %p, %p, %u)", ToSbcs, ToDbcs, FromSbcs, FromDbcs,
                static_cast<void *>(Table1), static_cast<void *>(Table2), Kind);

    i32 code = ICNV_RC_OK;
    if (FromSbcs == ToSbcs) {
        *Table1 = FromSbcs == 0 ? 0 : ICNV_TBL_SAME;
    } else if (Kind == ICNV_KIND_SUFFIXED) {
        SupOS_GetTable(ToSbcs, FromSbcs, &Table1[0], Kind, 1);
        SupOS_GetTable(ToSbcs, FromSbcs, &Table1[1], Kind, 2);
        code = SupOS_GetTable(ToSbcs, FromSbcs, &Table1[2], Kind, 4); // required: the last result counts
    } else {
        code = SupOS_GetTable(ToSbcs, FromSbcs, Table1, Kind, 0);
    }
    if (code != ICNV_RC_OK) INFTR_RETURN_CODE(1, code);

    if (FromDbcs == ToDbcs) {
        *Table2 = FromDbcs == 0 ? 0 : ICNV_TBL_SAME;
    } else {
        code = SupOS_GetTable(ToDbcs, FromDbcs, Table2, Kind, 0);
    }
    INFTR_RETURN_CODE(2, code);
}

i32 SupOS_OpenConversion(u32 From, u32 To, u32 AllowDefault, u32 *Mode, u32 *Table1, u32 *Table2, u32 *Index,
                         u32 *FromKind, u32 *FromEncoding, u32 *ToKind, u32 *ToEncoding)
{
    INFTR_FUNCTION(SUPOS, "SupOS_OpenConversion");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%u, %u, %u)", From, To, AllowDefault);

    i32 code = ICNV_RC_SAME;
    if (From == To) INFTR_RETURN_CODE(1, code);

    const IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    const IcnvNode *const source = SupOS_IcnvFindNode(catalogue->root, static_cast<i32>(From));
    if (source == nullptr) {
        code = ICNV_RC_NOFROM;
        INFTR_RETURN_CODE(2, code);
    }
    *FromKind = source->kind;
    *FromEncoding = source->encoding;
    *Index = source->index;

    const IcnvNode *const target = SupOS_IcnvFindNode(catalogue->root, static_cast<i32>(To));
    if (target == nullptr) {
        code = ICNV_RC_NOTO;
        INFTR_RETURN_CODE(3, code);
    }
    *ToKind = target->kind;
    *ToEncoding = target->encoding;

    u32 fromDbcs = source->dbcs;
    u32 toDbcs = target->dbcs;
    if (source->sbcs == target->sbcs && fromDbcs == toDbcs && source->encoding == target->encoding)
        INFTR_RETURN_CODE(4, code);
    if (isHostOrPC(source->encoding) && isHostOrPC(target->encoding)) {
        if (target->kind == ICNV_KIND_MIXED && source->kind == ICNV_KIND_SINGLE) {
            toDbcs = 0;
            if (source->sbcs == target->sbcs) INFTR_RETURN_CODE(5, code);
        }
        if (target->kind == ICNV_KIND_SINGLE && source->kind == ICNV_KIND_MIXED) fromDbcs = 0;
    }

    *Mode = modeOf(source->encoding, target->encoding);
    if (*Mode != 0) {
        code = SupOS_OpenConv(target->sbcs, toDbcs, source->sbcs, fromDbcs, Table1, Table2, source->kind);
        if (*Table2 == 0 && source->kind == ICNV_KIND_MIXED) *Table2 = ICNV_TBL_SUBST;
    } else if (needsNoTable(source->encoding) && needsNoTable(target->encoding)) {
        *Table1 = 0;
        *Table2 = 0;
        code = ICNV_RC_OK;
    } else {
        code = SupOS_OpenConv(target->base, 0, source->base, 0, Table1, Table2, source->kind);
    }

    if (code == ICNV_RC_NOTABLE && AllowDefault == 1 && catalogue->defaultHost != 0 && catalogue->defaultPC != 0) {
        code = SupOS_OpenDefaultConversion(From, To, Mode, Table1, Table2, Index, FromKind, FromEncoding, ToKind,
                                           ToEncoding);
    }
    // required: whatever went wrong, a lack of memory included
    if (code != ICNV_RC_OK && code != ICNV_RC_SAME && areVariants(From, To)) code = ICNV_RC_SAME;
    INFTR_RETURN_CODE(6, code);
}

static bool isByteClass(u32 Encoding)
{
    switch (Encoding) {
    case ICNV_PC:
    case ICNV_ISO:
    case ICNV_UTF8:
    case ICNV_EUC:
    case ICNV_GB18030: return true;
    }
    return false;
}

// The code set that stands in for one of this encoding; 0 when there is none.
static u32 defaultFor(const IcnvCatalogue *Catalogue, u32 Encoding)
{
    if (Encoding == ICNV_HOST) return Catalogue->defaultHost;
    return isByteClass(Encoding) ? Catalogue->defaultPC : 0;
}

i32 SupOS_OpenDefaultConversion(u32 From, u32 To, u32 *Mode, u32 *Table1, u32 *Table2, u32 *Index, u32 *FromKind,
                                u32 *FromEncoding, u32 *ToKind, u32 *ToEncoding)
{
    INFTR_FUNCTION(SUPOS, "SupOS_OpenDefaultConversion");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%u, %u)", From, To);

    const u32 source = *FromEncoding;
    const u32 target = *ToEncoding;
    i32 code = ICNV_RC_SAME;
    if (source == ICNV_HOST && target == ICNV_HOST) INFTR_RETURN_CODE(1, code);
    if (isByteClass(source) && isByteClass(target)) INFTR_RETURN_CODE(2, code);
    if (source == ICNV_UCS2 && target == ICNV_UCS2) INFTR_RETURN_CODE(3, code);

    const IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    const u32 standInFrom = defaultFor(catalogue, source);
    const u32 standInTo = defaultFor(catalogue, target);
    code = ICNV_RC_NODEFAULT;
    if (standInFrom == 0 || standInTo == 0) INFTR_RETURN_CODE(4, code);

    code = SupOS_OpenConversion(standInFrom, standInTo, 0, Mode, Table1, Table2, Index, FromKind, FromEncoding, ToKind,
                                ToEncoding);
    if (code == ICNV_RC_NOTABLE) code = ICNV_RC_NODEFAULT;
    INFTR_RETURN_CODE(5, code);
}
