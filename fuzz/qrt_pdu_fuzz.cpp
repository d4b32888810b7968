// Input: one PDU as a peer sends it, of either side.
// Must hold: nothing outside it is read; what is read of a bind answer, written again and read, is the same.

#include "fuzz_support.h"

#include "qrt_int.h"
#include "qrt_pdu.h"

static void readBindAck(rpc_ndr_reader reader, const Qrt_Header *header)
{
    Qrt_BindHead head;
    Qrt_BindResult result;
    if (!Qrt_ReadBindAck(&reader, &head, &result)) return;
    u8 room[256];
    rpc_ndr_writer writer;
    rpc_ndr_writer_init(&writer, room, sizeof room, reader.BigEndian);
    Qrt_WriteBindAck(&writer, header->Type, header->CallId, &head, "", &result, 1);
    Qrt_Header again;
    FUZZ_REQUIRE(Qrt_ReadHeader(writer.Data, &again) && again.CallId == header->CallId && again.Length == writer.Size);
    rpc_ndr_reader second;
    Qrt_BodyReader(&second, writer.Data, &again);
    Qrt_BindHead sameHead;
    Qrt_BindResult same;
    FUZZ_REQUIRE(Qrt_ReadBindAck(&second, &sameHead, &same));
    FUZZ_REQUIRE(sameHead.GroupId == head.GroupId && same.Result == result.Result && same.Reason == result.Reason);
    FUZZ_REQUIRE(Qrt_UuidEqual(same.Syntax.Id, result.Syntax.Id));
    rpc_ndr_writer_free(&writer);
}

static void readBind(rpc_ndr_reader reader)
{
    Qrt_BindHead head;
    Qrt_ReadBindHead(&reader, &head);
    for (u8 at = 0; at < head.ContextCount && !reader.Failed; ++at) {
        Qrt_BindContext context;
        Qrt_ReadBindContext(&reader, &context);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size)
{
    if (Size < QRT_HEADER_SIZE || Size > 0xFFFF) return 0;
    u8 *pdu = Fuzz_ExactCopy(Data, Size);
    Qrt_Header header;
    if (Qrt_ReadHeader(pdu, &header) && header.Length <= Size) {
        rpc_ndr_reader reader;
        Qrt_BodyReader(&reader, pdu, &header);
        readBindAck(reader, &header);
        readBind(reader);
        rpc_ndr_reader copy = reader;
        Qrt_Request request;
        if (Qrt_ReadRequest(&copy, &header, &request)) FUZZ_REQUIRE(request.BodyOffset <= header.Length);
        copy = reader;
        u16 context;
        if (Qrt_ReadResponse(&copy, &context)) FUZZ_REQUIRE(copy.Position == QRT_BODY_OFFSET);
        copy = reader;
        u32 status;
        Qrt_ReadFault(&copy, &status);
    }
    Fuzz_Free(pdu);
    return 0;
}
