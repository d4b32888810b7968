// Conversion front ends: open, code and close by full names, and the layers over them with a shift-in at the end and
// with 16-bit lengths.
//
// The wrap cannot ask a conversion for its shift state, for none is kept between calls. It asks the code set: a
// one-byte probe through the same descriptor that comes out as two bytes begins with the byte that closes a run.

#include "supos_conversion.h"

#include <errno.h>

#include "inftr_guard.h"
#include "super_assert.h"
#include "supos_convext_int.h"
#include "supos_icnv_engine.h"

static const char *const icnvFile = "sup\\os\\nt_intel\\src\\supos_icnv";

#define SUPOS_MSG_NO_CONVERSION 0x0E806025u /* ERZ058009E */

constexpr u32 ICNV_ROUNDS = 3;
constexpr char ICNV_PROBE = 0x50;

u32 SupOS_IcnvOpen(const char *ToCode, const char *FromCode)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvOpen");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%s, %s)", ToCode, FromCode);

    const u32 cd = SupOS_SafeIcnvOpen(ToCode, FromCode);
    INFTR_RETURN_VALUE(1, cd);
}

__attribute__((noinline)) i32 SupOS_IcnvCodeByLayers(u32 cd, const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvCode");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%#x, %p, %u, %p, %u)", cd, static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp);

    const i32 code = SupOS_SafeIcnvCode(cd, srcpp, slenp, tgtpp, tlenp);
    INFTR_RETURN_CODE(1, code);
}

// The plan of a descriptor whose call may leave out the layers: no trace point on the way could leave a record, and
// the catalogue is the one that the plan was made for. Null for every other call, and for a value that is none.
static inline const IcnvPlan *straightPlan(u32 cd)
{
    const struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    if (master != nullptr && InfTR_Read(master->TraceFlagMaster) == 1) return nullptr;
    const u32 distance = cd - ICNV_FIRST_CODE;
    const u32 slot = distance / ICNV_CODE_STEP;
    if (distance % ICNV_CODE_STEP != 0 || slot >= ICNV_DESCRIPTORS) return nullptr;
    const IcnvPlan *const plan = &IcnvPlans[slot];
    return plan->straight != nullptr && plan->catalogue == InfTR_Read(IcnvRoot) ? plan : nullptr;
}

i32 SupOS_IcnvCode(u32 cd, const char **srcpp, u32 *slenp, char **tgtpp, u32 *tlenp)
{
    const u8 **const source = reinterpret_cast<const u8 **>(srcpp);
    u8 **const target = reinterpret_cast<u8 **>(tgtpp);
    if (const IcnvPlan *const plan = straightPlan(cd)) return plan->straight(cd, source, slenp, target, tlenp, plan);
    return SupOS_IcnvCodeByLayers(cd, source, slenp, target, tlenp);
}

i32 SupOS_IcnvClose(u32 cd)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvClose");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%#x)", cd);

    SupOS_SafeIcnvClose(cd); // required: a lock that fails is not told
    const i32 done = 0;
    INFTR_RETURN_VALUE(1, done);
}

// One conversion of the caller's text from its start into Room bytes. Returns the source bytes left over.
static u32 convertAll(u32 cd, const char *Source, u32 Length, char *Target, u32 *Room, i32 *Error)
{
    u32 remaining = Length;
    SupOS_IcnvCode(cd, &Source, &remaining, &Target, Room);
    if (remaining != 0) *Error = errno;
    return remaining;
}

// The room that one converted probe leaves of two bytes, and the first of those bytes.
static u32 probeShift(u32 cd, char *First)
{
    char out[2] = {0, 0};
    const char *source = &ICNV_PROBE;
    char *target = out;
    u32 length = 1;
    u32 room = sizeof out;
    SupOS_IcnvCode(cd, &source, &length, &target, &room);
    *First = out[0];
    return room;
}

u32 SupOS_IConvWrap(u32 cd, const char *srcp, const u32 *slenp, char *tgtp, u32 *tlenp, i32 *errp)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IConvWrap");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%#x, %p, %u, %p, %u, %p)", cd, static_cast<const void *>(srcp), *slenp,
                static_cast<void *>(tgtp), *tlenp, static_cast<void *>(errp));

    *errp = 0;
    u32 room = *tlenp;
    u32 remaining = convertAll(cd, srcp, *slenp, tgtp, &room, errp);

    for (u32 rounds = 1;; ++rounds) {
        if (rounds == ICNV_ROUNDS) {
            SUPER_ASSERT_EXIT(SUPOS, 1, "(TimesRoundLoop < 3)", __LINE__, icnvFile, 23, "Stuck in iconv MBCS loop");
        }
        char shift;
        if (probeShift(cd, &shift) != 0) break;
        if (room != 0) { // required: also where "P" is a two-byte code, whose first byte then stands behind the output
            tgtp[*tlenp - room] = shift;
            --room;
            break;
        }
        room = *tlenp == 0 ? 0 : *tlenp - 1;
        remaining = convertAll(cd, srcp, *slenp, tgtp, &room, errp);
    }

    *tlenp = room;
    INFTR_RETURN_VALUE(2, remaining);
}

u32 SupOS_BinaryIConv(u32 cd, const char *source, u16 length, char *target)
{
    INFTR_FUNCTION(SUPOS, "SupOS_BinaryIConv");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%#x, %p, %u, %p)", cd, static_cast<const void *>(source), length,
                static_cast<void *>(target));

    u32 code = ERZ_OK;
    u16 offset = 0;
    while (offset < length) {
        const u16 left = static_cast<u16>(length - offset);
        u16 written = 0;
        code = SupOS_ExtdIConv(cd, source + offset, left, target + offset, left, &written);
        offset = static_cast<u16>(offset + written);
        if (code != SupOS_ConvInvalid) break;
        if (offset >= length) break;
        target[offset] = source[offset];
        ++offset;
        code = ERZ_OK;
    }

    if (code == SupOS_ConvInvalid) INFTR_RETURN_CODE(3, code);
    if (code == SupOS_ConvTruncated) INFTR_RETURN_CODE(4, code);
    INFTR_RETURN_CODE(1, code);
}

u32 SupOS_ExtdIConvInit(const char *Code1, const char *Code2, u32 *Forward, u32 *Backward)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ExtdIConvInit");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%s, %s, %p, %p)", Code1, Code2, static_cast<void *>(Forward),
                static_cast<void *>(Backward));

    u32 code = ERZ_OK;
    *Forward = SupOS_IcnvOpen(Code2, Code1);
    if (*Forward == SUPOS_ICNV_FAILED) {
        SupER_Log(SUPER_CONSOLE, SUPOS_MSG_NO_CONVERSION, 20, Code1, Code2, errno);
        code = SupOS_ConvNoOpen;
        INFTR_RETURN_CODE(1, code);
    }
    *Backward = SupOS_IcnvOpen(Code1, Code2);
    if (*Backward == SUPOS_ICNV_FAILED) {
        SupOS_IcnvClose(*Forward);
        SupER_Log(SUPER_CONSOLE, SUPOS_MSG_NO_CONVERSION, 21, Code2, Code1);
        code = SupOS_ConvNoOpen;
        INFTR_RETURN_CODE(2, code);
    }
    INFTR_RETURN_CODE(3, code);
}

u32 SupOS_ExtdIConv(u32 cd, const char *source, u16 sourceLength, char *target, u16 targetLength, u16 *written)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ExtdIConv");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%#x, %p, %u, %p, %u, %p)", cd, static_cast<const void *>(source), sourceLength,
                static_cast<void *>(target), targetLength, static_cast<void *>(written));

    const u32 length = sourceLength;
    u32 room = targetLength;
    i32 error = 0;
    const u32 remaining = SupOS_IConvWrap(cd, source, &length, target, &room, &error);
    if (written != nullptr) *written = static_cast<u16>(targetLength - room);

    u32 code = ERZ_OK;
    if (remaining == 0) INFTR_RETURN_CODE(1, code);
    if (error == E2BIG || error == EINVAL) {
        code = SupOS_ConvTruncated;
        INFTR_RETURN_CODE(4, code);
    }
    code = SupOS_ConvInvalid;
    INFTR_RETURN_CODE(5, code);
}
