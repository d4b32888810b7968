// The passes of the mixed loops, compiled once for each vector form: not a header of its own, but the common text of
// the sources that include it. Before it they define
//
//     ICNV_TARGET                        the instruction sets of the form, as a function attribute
//     equalMask(Place, Byte)             bit i: the byte at Place + i is Byte; for 64 bytes
//     leadMask(Place, Row)               bit i: the byte at Place + i lies in one of the ranges; for 64 bytes
//     mapBlock(Source, Target, Count, Map)   Count bytes, at most 64, of 64 that can be read
//
// A pass runs while a whole block can be read and its longest output written. It looks for the next border in a block
// (a shift byte, a lead byte, the end of a run) and takes everything before it at once.

constexpr ptrdiff_t ICNV_PASS_SOURCE = 66; // a block, and the two bytes behind a border in its last place
constexpr ptrdiff_t ICNV_PASS_ROOM = 68; // a block, and the shift bytes around it
constexpr u64 ICNV_EVEN = 0x5555555555555555u;

static inline ICNV_TARGET u32 firstBit(u64 Mask)
{
    return Mask != 0 ? static_cast<u32>(__builtin_ctzll(Mask)) : 64;
}

// Count double-byte characters. Returns the target behind them.
static inline ICNV_TARGET u8 *convertDoubles(const u8 *Source, u8 *Target, u32 Count, const IcnvMixedRule *Rule)
{
    if (Rule->doubles == ICNV_DOUBLES_ONE) {
        memset(Target, Rule->substitute, Count);
        return Target + Count;
    }
    if (Rule->doubles == ICNV_DOUBLES_SAME) {
        memcpy(Target, Source, 2 * Count);
        return Target + 2 * Count;
    }
    const u16 *const flat = Rule->flat;
    for (u32 i = 0; i < Count; ++i) {
        const u16 out = __builtin_bswap16(flat[__builtin_bswap16(IcnvUnitAt(Source + 2 * i))]);
        memcpy(Target + 2 * i, &out, 2);
    }
    return Target + 2 * Count;
}

static ICNV_TARGET void hostPass(IcnvMixed *At, const IcnvMixedRule *Rule)
{
    const u8 *in = At->source;
    const u8 *const end = in + (At->length - At->consumed);
    u8 *out = At->target;
    u8 *const full = out + (At->room - At->written);
    bool inRun = At->inRun;

    while (end - in >= ICNV_PASS_SOURCE && full - out >= ICNV_PASS_ROOM) {
        if (!inRun) {
            const u32 singles = firstBit(equalMask(in, ICNV_SHIFT_OUT));
            mapBlock(in, out, singles, Rule->map);
            in += singles;
            out += singles;
            if (singles == 64) continue;
            if (in[1] == ICNV_SHIFT_IN) break; // an empty run
            if (Rule->shifts) *out++ = ICNV_SHIFT_OUT;
            ++in;
            inRun = true;
            continue;
        }
        const u32 border = firstBit(equalMask(in, ICNV_SHIFT_IN));
        out = convertDoubles(in, out, border / 2, Rule);
        in += border / 2 * 2;
        if (border == 64) continue;
        if (border % 2 != 0) break; // half a character before the shift-in
        if (Rule->shifts) *out++ = ICNV_SHIFT_IN;
        if (!Rule->keepsShiftIn) ++in;
        inRun = false;
    }

    At->consumed += static_cast<u32>(in - At->source);
    At->written += static_cast<u32>(out - At->target);
    At->source = in;
    At->target = out;
    At->inRun = inRun;
}

static ICNV_TARGET void pcPass(IcnvMixed *At, const IcnvMixedRule *Rule)
{
    const u8 *in = At->source;
    const u8 *const end = in + (At->length - At->consumed);
    u8 *out = At->target;
    u8 *const full = out + (At->room - At->written);
    bool inRun = At->inRun;

    while (end - in >= ICNV_PASS_SOURCE && full - out >= ICNV_PASS_ROOM) {
        const u64 leads = leadMask(in, &Rule->lead);
        if (!inRun) {
            const u32 singles = firstBit(leads);
            mapBlock(in, out, singles, Rule->map);
            in += singles;
            out += singles;
            if (singles == 64) continue;
            if (Rule->shifts) *out++ = ICNV_SHIFT_OUT;
            inRun = true;
            continue;
        }
        const u32 border = firstBit(~leads & ICNV_EVEN);
        out = convertDoubles(in, out, border / 2, Rule);
        in += border;
        if (border == 64) continue;
        if (Rule->shifts) *out++ = ICNV_SHIFT_IN;
        inRun = false;
    }

    At->consumed += static_cast<u32>(in - At->source);
    At->written += static_cast<u32>(out - At->target);
    At->source = in;
    At->target = out;
    At->inRun = inRun;
}
