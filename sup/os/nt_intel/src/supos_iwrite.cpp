// The writers of the Unicode and EUC route: a form into the target.
//
// A routine's loop has seen that one byte of the target is free; forms of one byte need no test of their own.

#include "supos_istream_int.h"

static u32 left(const IcnvStream *Stream)
{
    return Stream->room - Stream->written;
}

static void put(IcnvStream *Stream, u32 Byte)
{
    *Stream->target++ = static_cast<u8>(Byte);
    ++Stream->written;
}

i32 SupOS_IcnvWriteByte(IcnvStream *Stream, const u8 *Form)
{
    put(Stream, Form[0]);
    return ICNV_RC_OK;
}

i32 SupOS_IcnvWriteUCS(IcnvStream *Stream, const u8 *Form)
{
    if (left(Stream) < 2) return ICNV_RC_FULL;
    put(Stream, Form[1]);
    put(Stream, Form[0]);
    return ICNV_RC_OK;
}

// A surrogate comes out as three bytes like any other unit.
i32 SupOS_IcnvWriteUTF(IcnvStream *Stream, const u8 *Form)
{
    const u32 high = Form[0];
    const u32 low = Form[1];
    if (high == 0 && low < 0x80) {
        put(Stream, low);
        return ICNV_RC_OK;
    }
    if ((high & 0xF8) == 0) {
        if (left(Stream) < 2) return ICNV_RC_FULL;
        put(Stream, 0xC0 | high << 2 | low >> 6);
        put(Stream, 0x80 | (low & 0x3F));
        return ICNV_RC_OK;
    }
    if (left(Stream) < 3) return ICNV_RC_FULL;
    put(Stream, 0xE0 | high >> 4);
    put(Stream, 0x80 | ((high << 2) & 0x3C) | low >> 6);
    put(Stream, 0x80 | (low & 0x3F));
    return ICNV_RC_OK;
}

static u32 eucLength(const u8 *Form)
{
    if (Form[0] != 0) return 4;
    if (Form[1] != 0) return 3;
    return Form[2] != 0 ? 2 : 1;
}

i32 SupOS_IcnvWriteEUC(IcnvStream *Stream, const u8 *Form)
{
    const u32 length = eucLength(Form);
    if (left(Stream) < length) return ICNV_RC_FULL;
    for (u32 i = 4 - length; i < 4; ++i) put(Stream, Form[i]);
    return ICNV_RC_OK;
}

i32 SupOS_IcnvWritePC(IcnvStream *Stream, const u8 *Form)
{
    if (Form[0] == 0) {
        put(Stream, Form[1]);
        return ICNV_RC_OK;
    }
    if (left(Stream) < 2) return ICNV_RC_FULL;
    put(Stream, Form[0]);
    put(Stream, Form[1]);
    return ICNV_RC_OK;
}

// A run always has room kept for its shift-in.
i32 SupOS_IcnvWriteHost(IcnvStream *Stream, const u8 *Form)
{
    if (Form[0] == 0) {
        if (Stream->shift == ICNV_SHIFT_INSIDE) {
            put(Stream, ICNV_SHIFT_IN);
            Stream->shift = ICNV_SHIFT_OUTSIDE;
            if (left(Stream) == 0) return ICNV_RC_FULL;
        }
        put(Stream, Form[1]);
        return ICNV_RC_OK;
    }
    if (Stream->shift == ICNV_SHIFT_OUTSIDE) {
        if (left(Stream) < 2) return ICNV_RC_FULL;
        put(Stream, ICNV_SHIFT_OUT);
        Stream->shift = ICNV_SHIFT_INSIDE;
    }
    if (left(Stream) < 3) {
        put(Stream, ICNV_SHIFT_IN);
        Stream->shift = ICNV_SHIFT_OUTSIDE;
        return ICNV_RC_FULL;
    }
    put(Stream, Form[0]);
    put(Stream, Form[1]);
    return ICNV_RC_OK;
}
