// The readers of the Unicode and EUC route: one character of the source into a fixed form.

#include <stdio.h>
#include <string.h>

#include "supos_istream_int.h"

static u32 left(const IcnvStream *Stream)
{
    return Stream->length - Stream->consumed;
}

static void take(IcnvStream *Stream, u32 Count)
{
    Stream->source += Count;
    Stream->consumed += Count;
}

i32 SupOS_IcnvReadByte(IcnvStream *Stream, u8 *Form)
{
    Form[0] = Stream->source[0];
    take(Stream, 1);
    return ICNV_RC_OK;
}

// Low byte first in the stream. Each 16-bit unit is a character, surrogates too.
i32 SupOS_IcnvReadUCS(IcnvStream *Stream, u8 *Form)
{
    if (left(Stream) < 2) return ICNV_RC_BADSRC;
    Form[0] = Stream->source[1];
    Form[1] = Stream->source[0];
    take(Stream, 2);
    return ICNV_RC_OK;
}

// required: only the lead byte is tested. Continuation bytes are taken as they come, overlong forms and surrogates
// pass, and forms of four bytes are refused.
i32 SupOS_IcnvReadUTF(IcnvStream *Stream, u8 *Form)
{
    const u8 *const in = Stream->source;
    const u32 lead = in[0];
    if (lead < 0x80) {
        Form[0] = 0;
        Form[1] = in[0];
        take(Stream, 1);
        return ICNV_RC_OK;
    }
    if ((lead & 0xE0) == 0xC0) {
        if (left(Stream) < 2) return ICNV_RC_BADSRC;
        Form[0] = static_cast<u8>((lead >> 2) & 7);
        Form[1] = static_cast<u8>((lead << 6) | (in[1] & 0x3F));
        take(Stream, 2);
        return ICNV_RC_OK;
    }
    if ((lead & 0xF0) == 0xE0) {
        if (left(Stream) < 3) return ICNV_RC_BADSRC;
        Form[0] = static_cast<u8>((lead << 4) | ((in[1] >> 2) & 0x0F));
        Form[1] = static_cast<u8>((in[1] << 6) | (in[2] & 0x3F));
        take(Stream, 3);
        return ICNV_RC_OK;
    }
    return ICNV_RC_BADSRC;
}

constexpr u32 ICNV_EUC_NO_WIDTH = 0xFFFFFFFFu;

// The bytes of the EUC character that begins with Lead; ICNV_EUC_NO_WIDTH for a code set that the row does not have.
static u32 eucWidth(const IcnvEucWidths *Row, u8 Lead)
{
    if (Lead == 0x8E) return Row->count < 3 ? ICNV_EUC_NO_WIDTH : Row->widths[2] + 1;
    if (Lead == 0x8F) return Row->count < 4 ? ICNV_EUC_NO_WIDTH : Row->widths[3] + 1;
    return Lead < 0xA0 ? 1 : Row->widths[1];
}

i32 SupOS_IcnvReadEUC(IcnvStream *Stream, u8 *Form)
{
    const u32 width = eucWidth(&Stream->widths, Stream->source[0]);
    if (width == ICNV_EUC_NO_WIDTH || left(Stream) < width) return ICNV_RC_BADSRC;
    if (width < 1 || width > 4) { // required: the source moves all the same
        take(Stream, width);
        return ICNV_RC_BADSRC;
    }
    memset(Form, 0, 4);
    memcpy(Form + 4 - width, Stream->source, width);
    take(Stream, width);
    return ICNV_RC_OK;
}

static bool isLead(const IcnvLeadRanges *Row, u8 Byte)
{
    for (u32 i = 0; i < Row->count; ++i)
        if (Byte >= Row->ranges[i].low && Byte <= Row->ranges[i].high) return true;
    return false;
}

i32 SupOS_IcnvReadPC(IcnvStream *Stream, u8 *Form)
{
    if (!isLead(&Stream->lead, Stream->source[0])) {
        Form[0] = 0;
        Form[1] = Stream->source[0];
        take(Stream, 1);
        return ICNV_RC_OK;
    }
    if (left(Stream) < 2) return ICNV_RC_BADSRC;
    Form[0] = Stream->source[0];
    Form[1] = Stream->source[1];
    take(Stream, 2);
    return ICNV_RC_OK;
}

i32 SupOS_IcnvReadHost(IcnvStream *Stream, u8 *Form)
{
    if (Stream->shift == ICNV_SHIFT_INSIDE && Stream->source[0] == ICNV_SHIFT_IN) {
        Stream->shift = ICNV_SHIFT_OUTSIDE;
        take(Stream, 1);
    }
    if (left(Stream) == 0) return ICNV_RC_FULL;
    if (Stream->shift == ICNV_SHIFT_OUTSIDE && Stream->source[0] == ICNV_SHIFT_OUT && left(Stream) > 1 &&
        Stream->source[1] != ICNV_SHIFT_IN) {
        Stream->shift = ICNV_SHIFT_INSIDE;
        take(Stream, 1);
    }
    if (Stream->shift == ICNV_SHIFT_OUTSIDE) { // a shift-out that opens nothing is a character too
        Form[0] = 0;
        Form[1] = Stream->source[0];
        take(Stream, 1);
        return ICNV_RC_OK;
    }
    if (left(Stream) < 2) return ICNV_RC_BADSRC;
    Form[0] = Stream->source[0];
    Form[1] = Stream->source[1];
    take(Stream, 2);
    if (left(Stream) > 0 && Stream->source[0] == ICNV_SHIFT_IN) { // a shift-in is taken as early as it can be
        Stream->shift = ICNV_SHIFT_OUTSIDE;
        take(Stream, 1);
    }
    return ICNV_RC_OK;
}

// A malformed character: only its lead byte is stepped over, so that the bytes behind it are read again. The text has
// no reader: this is called for every character, and the caller's substitute is the answer.
static i32 malformedGB(IcnvStream *Stream, const char *Format, u32 TooMany, u32 *Length)
{
    Stream->consumed -= TooMany;
    char text[128];
    snprintf(text, sizeof text, Format, static_cast<long>(Stream->consumed) - 1);
    ++Stream->source;
    *Length = 0;
    return ICNV_RC_OK;
}

static i32 wellFormedGB(IcnvStream *Stream, u32 *Length, u32 Bytes)
{
    Stream->source += Bytes;
    *Length = Bytes;
    return ICNV_RC_OK;
}

static bool isIn(u8 Byte, u32 Low, u32 High)
{
    return Byte >= Low && Byte <= High;
}

// `consumed` runs ahead of `source` here: it counts what was looked at.
i32 SupOS_IcnvReadGB(IcnvStream *Stream, u8 *Form, u32 *Length)
{
#define ICNV_GB_TEXT(Byte) "Source character incomplete (invalid " Byte " byte); offset of first byte:%ld\n"
    const u8 *const in = Stream->source;
    ++Stream->consumed;
    Form[0] = in[0];
    if (!isIn(in[0], 0x81, 0xFE)) return wellFormedGB(Stream, Length, 1);

    if (left(Stream) == 0) return ICNV_RC_BADSRC;
    ++Stream->consumed;
    Form[1] = in[1];
    if (isIn(in[1], 0x40, 0x7E) || isIn(in[1], 0x80, 0xFE)) return wellFormedGB(Stream, Length, 2);
    if (!isIn(in[1], 0x30, 0x39)) return malformedGB(Stream, ICNV_GB_TEXT("2nd"), 1, Length);

    if (left(Stream) == 0) return ICNV_RC_BADSRC;
    ++Stream->consumed;
    Form[2] = in[2];
    if (!isIn(in[2], 0x81, 0xFE)) return malformedGB(Stream, ICNV_GB_TEXT("3rd"), 2, Length);

    if (left(Stream) == 0) return ICNV_RC_BADSRC;
    ++Stream->consumed;
    Form[3] = in[3];
    if (!isIn(in[3], 0x30, 0x39)) return malformedGB(Stream, ICNV_GB_TEXT("4th"), 3, Length);
    return wellFormedGB(Stream, Length, 4);
#undef ICNV_GB_TEXT
}
