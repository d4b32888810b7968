// The four loops for mixed code sets. A host stream marks its double-byte runs by shift-out and shift-in; a PC stream
// marks each double-byte character by its lead byte.
//
//                 double-byte out   shift bytes              room in a run             padded when full
//     HostPCMM    table             kept for a host target   3 for host, 2 otherwise   yes
//     PCHostMM    table             added for a host target  2 for the first, then 3   yes
//     HostPCMS    one substitute    dropped                  1                         only from outside a run
//     PCHostMS    one substitute    none                     2 for the first, then 1   yes
//
// A stream is left neither inside a run nor with half a character, whatever stops it. Each loop takes what it can
// by quick passes, which stop short of everything that needs a decision; then it goes on by itself, one character, as
// the state in IcnvMixed tells.

#include <string.h>

#include "inftr_guard.h"
#include "supos_ikern_plain_int.h"

// Stops of the plain pass before blocks are tried again.
constexpr u32 ICNV_PLAIN_STRETCH = 4;

void XltDBCS(const u8 **srcpp, u8 **tgtpp, u32 *xltsp, u32 *xlttp, const IcnvConv *pnew)
{
    INFTR_FUNCTION(SUPOS, "XltDBCS");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %u, %u, %p)", static_cast<const void *>(*srcpp),
                static_cast<void *>(*tgtpp), *xltsp, *xlttp, static_cast<const void *>(pnew));

    const u8 *const in = *srcpp;
    const IcnvLookup *const table = &pnew->dbcs;
    if (table->table == nullptr) {
        memcpy(*tgtpp, in, 2);
    } else if (in[0] < table->size) {
        const i64 offset = static_cast<i8>(table->table[in[0]]) * 512 + in[1] * 2;
        if (offset >= 0 && offset + 2 <= table->size) memcpy(*tgtpp, table->table + offset, 2);
    }
    *srcpp += 2;
    *tgtpp += 2;
    *xltsp += 2;
    *xlttp += 2;
    INFTR_RETURN(1);
}

static u8 substituteOf(u32 Mode)
{
    if (Mode & ICNV_TO_HOST) return ICNV_SUB_HOST;
    return Mode & ICNV_TO_ISO ? ICNV_SUB_ISO : ICNV_SUB_PC;
}

void XltSUB(const u8 **srcpp, u8 **tgtpp, u32 *xltsp, u32 *xlttp, u32 mode)
{
    INFTR_FUNCTION(SUPOS, "XltSUB");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %u, %u, %u)", static_cast<const void *>(*srcpp),
                static_cast<void *>(*tgtpp), *xltsp, *xlttp, mode);

    **tgtpp = substituteOf(mode);
    *srcpp += 2;
    *tgtpp += 1;
    *xltsp += 2;
    *xlttp += 1;
    INFTR_RETURN(1);
}

static u32 sourceLeft(const IcnvMixed *At)
{
    return At->length - At->consumed;
}

static u32 roomLeft(const IcnvMixed *At)
{
    return At->room - At->written;
}

static bool goesOn(const IcnvMixed *At)
{
    return At->consumed < At->length && At->written < At->room;
}

static void step(IcnvMixed *At)
{
    ++At->source;
    ++At->consumed;
}

static void moveTo(IcnvMixed *At, const u8 *Source, u8 *Target, bool InRun)
{
    At->consumed += static_cast<u32>(Source - At->source);
    At->written += static_cast<u32>(Target - At->target);
    At->source = Source;
    At->target = Target;
    At->inRun = InRun;
}

static void put(IcnvMixed *At, u8 Byte)
{
    *At->target++ = Byte;
    ++At->written;
}

static void translate(IcnvMixed *At, const IcnvConv *Conv, u32 Mode)
{
    IcnvTranslate(&Conv->sbcs, Mode, *At->source, At->target);
    step(At);
    ++At->target;
    ++At->written;
}

static void convertDouble(IcnvMixed *At, const IcnvConv *Conv)
{
    XltDBCS(&At->source, &At->target, &At->consumed, &At->written, Conv);
}

static void substituteDouble(IcnvMixed *At, u32 Mode)
{
    XltSUB(&At->source, &At->target, &At->consumed, &At->written, Mode);
}

// The byte behind the current one is a shift-in; behind the end of the source there is none.
static bool shiftInFollows(const IcnvMixed *At)
{
    return sourceLeft(At) > 1 && At->source[1] == ICNV_SHIFT_IN;
}

static bool isAtShiftIn(const IcnvMixed *At)
{
    return sourceLeft(At) > 0 && At->source[0] == ICNV_SHIFT_IN;
}

static IcnvMixed begin(const u8 *const *srcpp, const u32 *slenp, u8 *const *tgtpp, const u32 *tlenp)
{
    return {*srcpp, *slenp, 0, *tgtpp, *tlenp, 0, false};
}

static void leave(const IcnvMixed *At, const u8 **srcpp, u8 **tgtpp, u32 *tlenp)
{
    *srcpp = At->source;
    *tgtpp = At->target;
    *tlenp = At->written;
}

// Fills the rest of the target; the padding counts as written, and the target pointer stays before it.
static void pad(IcnvMixed *At)
{
    memset(At->target, 0, roomLeft(At));
    At->written = At->room;
}

// The end of a loop that pads whatever stopped it as full.
static i32 endPadded(IcnvMixed *At, i32 Code)
{
    if (At->consumed < At->length && Code == ICNV_RC_OK) Code = ICNV_RC_FULL;
    if (Code == ICNV_RC_FULL) pad(At);
    return Code;
}

static IcnvMixedRule ruleOf(const IcnvConv *Conv, u32 Mode, bool Substitutes)
{
    IcnvMixedRule rule;
    rule.map = Conv->map;
    rule.flat = Conv->flat;
    rule.doubles = Substitutes ? ICNV_DOUBLES_ONE : Conv->dbcs.table ? ICNV_DOUBLES_TABLE : ICNV_DOUBLES_SAME;
    rule.substitute = substituteOf(Mode);
    rule.shifts = (Mode & ICNV_TO_HOST) != 0 && !Substitutes;
    rule.keepsShiftIn = Substitutes;
    rule.lead.count = 0;
    return rule;
}

// The same as the loop of a host source, character by character, as far as all is well: it stops before the end of
// either side, before an empty run, half a character, and where a character has no room.
static void plainHostPass(IcnvMixed *At, const IcnvMixedRule *Rule)
{
    const u8 *in = At->source;
    const u8 *const end = in + sourceLeft(At);
    u8 *out = At->target;
    u8 *const full = out + roomLeft(At);
    const ptrdiff_t needed = Rule->shifts ? 3 : Rule->doubles == ICNV_DOUBLES_ONE ? 1 : 2;
    bool inRun = At->inRun;
    while (in < end) {
        if (!inRun) {
            if (out == full) break;
            if (*in != ICNV_SHIFT_OUT) {
                *out++ = Rule->map[*in++];
                continue;
            }
            if (end - in < 2 || in[1] == ICNV_SHIFT_IN || full - out < 2) break;
            if (Rule->shifts) *out++ = ICNV_SHIFT_OUT;
            ++in;
            inRun = true;
        } else if (*in == ICNV_SHIFT_IN) {
            if (Rule->shifts) *out++ = ICNV_SHIFT_IN; // its room was kept
            if (!Rule->keepsShiftIn) ++in;
            inRun = false;
        } else {
            if (end - in < 2 || in[1] == ICNV_SHIFT_IN || full - out < needed) break;
            out = IcnvPlainDouble(in, out, Rule);
            in += 2;
        }
    }
    moveTo(At, in, out, inRun);
}

static void plainPCPass(IcnvMixed *At, const IcnvMixedRule *Rule)
{
    const u8 *in = At->source;
    const u8 *const end = in + sourceLeft(At);
    u8 *out = At->target;
    u8 *const full = out + roomLeft(At);
    const ptrdiff_t needed = Rule->doubles == ICNV_DOUBLES_ONE ? 1 : 3;
    bool inRun = At->inRun;
    for (;;) {
        const bool lead = in < end && IcnvIsLead(&Rule->lead, *in);
        if (inRun) {
            if (lead && end - in >= 2 && full - out >= needed) {
                out = IcnvPlainDouble(in, out, Rule);
                in += 2;
                continue;
            }
            if (Rule->shifts) *out++ = ICNV_SHIFT_IN; // its room was kept
            inRun = false;
        }
        if (in == end || out == full) break;
        if (!lead) {
            *out++ = Rule->map[*in++];
            continue;
        }
        if (end - in < 2 || full - out < (Rule->shifts ? 4 : 2)) break;
        if (Rule->shifts) *out++ = ICNV_SHIFT_OUT;
        out = IcnvPlainDouble(in, out, Rule);
        in += 2;
        inRun = true;
    }
    moveTo(At, in, out, inRun);
}

// Takes the quick passes where they may be used: blocks first, then what is left of a text or before its trouble.
static void passQuickly(IcnvMixed *At, const IcnvConv *Conv, const IcnvMixedRule *Rule, IcnvMixedPass *Blocks,
                        IcnvMixedPass *Plain, u32 *Stretch)
{
    if (!Conv->quick) return;
    if (*Stretch == 0) {
        if (Blocks != nullptr) Blocks(At, Rule);
        *Stretch = ICNV_PLAIN_STRETCH;
    }
    --*Stretch;
    Plain(At, Rule);
}

// Outside a run of a host source: one character, or the shift-out that opens a run. False when a pair of bytes that
// belong together has no room.
static bool hostOutside(IcnvMixed *At, const IcnvConv *Conv, u32 Mode, bool Shifts)
{
    if (At->source[0] != ICNV_SHIFT_OUT) {
        translate(At, Conv, Mode);
        return true;
    }
    if (shiftInFollows(At)) { // an empty run is carried as two characters
        if (roomLeft(At) < 2) return false;
        translate(At, Conv, Mode);
        translate(At, Conv, Mode);
        return true;
    }
    if (Shifts && roomLeft(At) >= 2) put(At, ICNV_SHIFT_OUT); // required: with less room it is dropped
    step(At);
    At->inRun = true;
    return true;
}

i32 HostPCMM(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode)
{
    INFTR_FUNCTION(SUPOS, "HostPCMM");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %p, %u)", static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp, static_cast<const void *>(conv), mode);

    const bool shifts = (mode & ICNV_TO_HOST) != 0;
    const u32 needed = shifts ? 3 : 2;
    const IcnvMixedRule rule = ruleOf(conv, mode, false);
    IcnvMixed at = begin(srcpp, slenp, tgtpp, tlenp);
    i32 code = ICNV_RC_OK;
    u32 stretch = 0;

    for (;;) {
        if (code == ICNV_RC_OK) passQuickly(&at, conv, &rule, SupOS_IcnvKernels()->hostPass, plainHostPass, &stretch);
        if (!at.inRun) {
            if (code != ICNV_RC_OK || !goesOn(&at)) break;
            if (!hostOutside(&at, conv, mode, shifts)) break;
            continue;
        }
        if (code == ICNV_RC_OK && !isAtShiftIn(&at)) {
            if (shiftInFollows(&at) || sourceLeft(&at) < 2)
                code = ICNV_RC_BADSRC;
            else if (roomLeft(&at) < needed)
                code = ICNV_RC_FULL;
            else
                convertDouble(&at, conv);
            continue;
        }
        if (shifts) put(&at, ICNV_SHIFT_IN); // its room was kept
        if (sourceLeft(&at) > 0) step(&at); // required: also where an error ended the run
        at.inRun = false;
    }
    code = endPadded(&at, code);
    leave(&at, srcpp, tgtpp, tlenp);
    INFTR_RETURN_CODE(1, code);
}

i32 HostPCMS(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode)
{
    INFTR_FUNCTION(SUPOS, "HostPCMS");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %p, %u)", static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp, static_cast<const void *>(conv), mode);

    const IcnvMixedRule rule = ruleOf(conv, mode, true);
    IcnvMixed at = begin(srcpp, slenp, tgtpp, tlenp);
    i32 code = ICNV_RC_OK;
    u32 stretch = 0;

    for (;;) {
        if (code == ICNV_RC_OK) passQuickly(&at, conv, &rule, SupOS_IcnvKernels()->hostPass, plainHostPass, &stretch);
        if (!at.inRun) {
            if (code != ICNV_RC_OK || !goesOn(&at)) break;
            if (!hostOutside(&at, conv, mode, false)) break;
            continue;
        }
        if (code != ICNV_RC_OK || isAtShiftIn(&at)) {
            at.inRun = false; // required: the shift-in stays and comes out as a single byte
            continue;
        }
        if (shiftInFollows(&at) || sourceLeft(&at) < 2)
            code = ICNV_RC_BADSRC;
        else if (roomLeft(&at) < 1)
            code = ICNV_RC_FULL;
        else
            substituteDouble(&at, mode);
    }
    if (at.consumed < at.length && code == ICNV_RC_OK) { // required: a run that found no room is not padded
        code = ICNV_RC_FULL;
        pad(&at);
    }
    leave(&at, srcpp, tgtpp, tlenp);
    INFTR_RETURN_CODE(1, code);
}

// The lead bytes of a PC source; false for a row that is none.
static bool leadRow(u32 Index, IcnvLeadRanges *Row)
{
    const IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    if (catalogue == nullptr || catalogue->leadRanges == nullptr || Index >= ICNV_LEAD_ROWS) return false;
    *Row = catalogue->leadRanges[Index];
    return Row->count >= 1 && Row->count <= 3;
}

static bool isAtLead(const IcnvMixed *At, const IcnvLeadRanges *Row)
{
    const u32 byte = At->source[0];
    for (u32 i = 0; i < Row->count; ++i)
        if (byte >= Row->ranges[i].low && byte <= Row->ranges[i].high) return true;
    return false;
}

// The first character of a run of a PC source. False when it ended the loop, with the reason in Code.
static bool openRun(IcnvMixed *At, const IcnvConv *Conv, bool Shifts, i32 *Code)
{
    *Code = sourceLeft(At) < 2 ? ICNV_RC_BADSRC : ICNV_RC_FULL;
    if (sourceLeft(At) < 2 || roomLeft(At) < 2) return false;
    if (Shifts) {
        put(At, ICNV_SHIFT_OUT);
        if (roomLeft(At) < 3) { // an empty run: the stream is never left shifted
            put(At, ICNV_SHIFT_IN);
            return false;
        }
    }
    convertDouble(At, Conv);
    At->inRun = true;
    *Code = ICNV_RC_OK;
    return true;
}

i32 PCHostMM(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode)
{
    INFTR_FUNCTION(SUPOS, "PCHostMM");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %p, %u)", static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp, static_cast<const void *>(conv), mode);

    const bool shifts = (mode & ICNV_TO_HOST) != 0;
    IcnvMixedRule rule = ruleOf(conv, mode, false);
    IcnvMixed at = begin(srcpp, slenp, tgtpp, tlenp);
    i32 code = ICNV_RC_BADSRC;
    if (!leadRow(conv->index, &rule.lead)) {
        *tlenp = 0;
        INFTR_RETURN_CODE(1, code);
    }

    code = ICNV_RC_OK;
    u32 stretch = 0;
    for (;;) {
        passQuickly(&at, conv, &rule, SupOS_IcnvKernels()->pcPass, plainPCPass, &stretch);
        if (at.inRun) {
            if (sourceLeft(&at) >= 2 && roomLeft(&at) >= 3 && isAtLead(&at, &rule.lead)) {
                convertDouble(&at, conv);
                continue;
            }
            if (shifts) put(&at, ICNV_SHIFT_IN);
            at.inRun = false;
            continue;
        }
        if (!goesOn(&at)) break;
        if (!isAtLead(&at, &rule.lead))
            translate(&at, conv, mode);
        else if (!openRun(&at, conv, shifts, &code))
            break;
    }
    code = endPadded(&at, code);
    leave(&at, srcpp, tgtpp, tlenp);
    INFTR_RETURN_CODE(2, code);
}

i32 PCHostMS(const u8 **srcpp, const u32 *slenp, u8 **tgtpp, u32 *tlenp, const IcnvConv *conv, u32 mode)
{
    INFTR_FUNCTION(SUPOS, "PCHostMS");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %p, %u, %p, %u)", static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp, static_cast<const void *>(conv), mode);

    IcnvMixedRule rule = ruleOf(conv, mode, true);
    IcnvMixed at = begin(srcpp, slenp, tgtpp, tlenp);
    i32 code = ICNV_RC_BADSRC;
    if (!leadRow(conv->index, &rule.lead)) {
        *tlenp = 0;
        INFTR_RETURN_CODE(1, code);
    }

    code = ICNV_RC_OK;
    u32 stretch = 0;
    for (;;) {
        passQuickly(&at, conv, &rule, SupOS_IcnvKernels()->pcPass, plainPCPass, &stretch);
        if (at.inRun) {
            if (sourceLeft(&at) >= 2 && roomLeft(&at) >= 1 && isAtLead(&at, &rule.lead))
                substituteDouble(&at, mode);
            else
                at.inRun = false;
            continue;
        }
        if (!goesOn(&at)) break;
        if (!isAtLead(&at, &rule.lead)) {
            translate(&at, conv, mode);
            continue;
        }
        code = sourceLeft(&at) < 2 ? ICNV_RC_BADSRC : roomLeft(&at) < 2 ? ICNV_RC_FULL : ICNV_RC_OK;
        if (code != ICNV_RC_OK) break;
        substituteDouble(&at, mode);
        at.inRun = true;
    }
    code = endPadded(&at, code);
    leave(&at, srcpp, tgtpp, tlenp);
    INFTR_RETURN_CODE(2, code);
}
