// Protocol data units, octet by octet. Nothing here knows of connections.

#include "qrt_pdu.h"

#include "qrt_int.h"

#include <cstring>

constexpr u8 version = 5;

bool Qrt_ReadHeader(const u8 *Data, Qrt_Header *Header)
{
    if (Data[0] != version || Data[1] > 1) return false;
    memcpy(&Header->Format, Data + 4, sizeof Header->Format);
    rpc_ndr_reader reader;
    rpc_ndr_reader_init(&reader, Data, QRT_HEADER_SIZE, Header->Format);
    reader.Position = 8;
    Header->Type = Data[2];
    Header->Flags = Data[3];
    Header->Length = rpc_ndr_read_u16(&reader);
    Header->AuthLength = rpc_ndr_read_u16(&reader);
    Header->CallId = rpc_ndr_read_u32(&reader);
    return Header->Length >= QRT_HEADER_SIZE && (Header->Format.Integers >> 4) <= 1;
}

void Qrt_BodyReader(rpc_ndr_reader *Reader, const u8 *Pdu, const Qrt_Header *Header)
{
    rpc_ndr_reader_init(Reader, Pdu, Header->Length, Header->Format);
    Reader->Position = QRT_HEADER_SIZE;
}

void Qrt_BeginPdu(rpc_ndr_writer *Writer, u8 Type, u8 Flags, u32 CallId)
{
    const ndr_format_t format = Writer->BigEndian ? QRT_BIG_ENDIAN : QRT_LITTLE_ENDIAN;
    rpc_ndr_write_u8(Writer, version);
    rpc_ndr_write_u8(Writer, 0);
    rpc_ndr_write_u8(Writer, Type);
    rpc_ndr_write_u8(Writer, Flags);
    rpc_ndr_write_octets(Writer, &format, sizeof format);
    rpc_ndr_write_u16(Writer, 0);
    rpc_ndr_write_u16(Writer, 0);
    rpc_ndr_write_u32(Writer, CallId);
}

void Qrt_EndPdu(rpc_ndr_writer *Writer, size_t Extra)
{
    if (Writer->Failed) return;
    u16 length = static_cast<u16>(Writer->Size + Extra);
    if (Writer->BigEndian) length = __builtin_bswap16(length);
    memcpy(Writer->Data + 8, &length, sizeof length);
}

// ---- association

static void writeSyntax(rpc_ndr_writer *writer, const uuid_t *id, u32 syntaxVersion)
{
    rpc_ndr_write_uuid(writer, id);
    rpc_ndr_write_u32(writer, syntaxVersion);
}

static void writeBindHead(rpc_ndr_writer *writer, const Qrt_BindHead *head)
{
    rpc_ndr_write_u16(writer, head->MaxTransmit);
    rpc_ndr_write_u16(writer, head->MaxReceive);
    rpc_ndr_write_u32(writer, head->GroupId);
}

void Qrt_WriteBind(rpc_ndr_writer *Writer, u8 Type, u32 CallId, const Qrt_BindHead *Head,
                   const Qrt_BindContext *Context)
{
    Qrt_BeginPdu(Writer, Type, QRT_FLAG_WHOLE, CallId);
    writeBindHead(Writer, Head);
    rpc_ndr_write_u32(Writer, 0);
    Writer->Data[Writer->Size - 4] = 1; // one context element, then three reserved octets
    rpc_ndr_write_u16(Writer, Context->Id);
    rpc_ndr_write_u8(Writer, 1);
    rpc_ndr_write_u8(Writer, 0);
    writeSyntax(Writer, &Context->Interface, Context->Version);
    writeSyntax(Writer, &QRT_NDR_SYNTAX, 2);
    Qrt_EndPdu(Writer, 0);
}

void Qrt_ReadBindHead(rpc_ndr_reader *Reader, Qrt_BindHead *Head)
{
    Head->MaxTransmit = rpc_ndr_read_u16(Reader);
    Head->MaxReceive = rpc_ndr_read_u16(Reader);
    Head->GroupId = rpc_ndr_read_u32(Reader);
    Head->ContextCount = rpc_ndr_read_u8(Reader);
    rpc_ndr_read_octets(Reader, 3);
}

void Qrt_ReadBindContext(rpc_ndr_reader *Reader, Qrt_BindContext *Context)
{
    Context->Id = rpc_ndr_read_u16(Reader);
    const u8 syntaxes = rpc_ndr_read_u8(Reader);
    rpc_ndr_read_u8(Reader);
    rpc_ndr_read_uuid(Reader, &Context->Interface);
    Context->Version = rpc_ndr_read_u32(Reader);
    Context->HasNdr = false;
    for (u8 at = 0; at < syntaxes; ++at) {
        uuid_t id;
        rpc_ndr_read_uuid(Reader, &id);
        if (rpc_ndr_read_u32(Reader) == 2 && Qrt_UuidEqual(id, QRT_NDR_SYNTAX)) Context->HasNdr = true;
    }
}

bool Qrt_ReadBindAck(rpc_ndr_reader *Reader, Qrt_BindHead *Head, Qrt_BindResult *Result)
{
    Head->MaxTransmit = rpc_ndr_read_u16(Reader);
    Head->MaxReceive = rpc_ndr_read_u16(Reader);
    Head->GroupId = rpc_ndr_read_u32(Reader);
    rpc_ndr_read_octets(Reader, rpc_ndr_read_u16(Reader));
    rpc_ndr_read_align(Reader, 4);
    Head->ContextCount = rpc_ndr_read_u8(Reader);
    rpc_ndr_read_octets(Reader, 3);
    Result->Result = rpc_ndr_read_u16(Reader);
    Result->Reason = rpc_ndr_read_u16(Reader);
    rpc_ndr_read_uuid(Reader, &Result->Syntax.Id);
    Result->Syntax.Version = rpc_ndr_read_u32(Reader);
    return !Reader->Failed && Head->ContextCount >= 1;
}

void Qrt_WriteBindAck(rpc_ndr_writer *Writer, u8 Type, u32 CallId, const Qrt_BindHead *Head, const char *Secondary,
                      const Qrt_BindResult *Results, u8 Count)
{
    Qrt_BeginPdu(Writer, Type, QRT_FLAG_WHOLE, CallId);
    writeBindHead(Writer, Head);
    const size_t size = *Secondary ? strlen(Secondary) + 1 : 0;
    rpc_ndr_write_u16(Writer, static_cast<u16>(size));
    rpc_ndr_write_octets(Writer, Secondary, size);
    rpc_ndr_write_align(Writer, 4);
    rpc_ndr_write_u8(Writer, Count);
    for (int reserved = 0; reserved < 3; ++reserved) rpc_ndr_write_u8(Writer, 0);
    for (u8 at = 0; at < Count; ++at) {
        rpc_ndr_write_u16(Writer, Results[at].Result);
        rpc_ndr_write_u16(Writer, Results[at].Reason);
        writeSyntax(Writer, &Results[at].Syntax.Id, Results[at].Syntax.Version);
    }
    Qrt_EndPdu(Writer, 0);
}

void Qrt_WriteBindNak(rpc_ndr_writer *Writer, u32 CallId, u16 Reason)
{
    Qrt_BeginPdu(Writer, QRT_PDU_BIND_NAK, QRT_FLAG_WHOLE, CallId);
    rpc_ndr_write_u16(Writer, Reason);
    rpc_ndr_write_u8(Writer, 1);
    rpc_ndr_write_u8(Writer, version);
    rpc_ndr_write_u8(Writer, 0);
    Qrt_EndPdu(Writer, 0);
}

// ---- calls

void Qrt_WriteRequest(rpc_ndr_writer *Writer, u8 Flags, u32 CallId, u32 Hint, u16 Context, u16 Operation,
                      const uuid_t *Object, size_t Size)
{
    Qrt_BeginPdu(Writer, QRT_PDU_REQUEST, static_cast<u8>(Flags | (Object ? QRT_FLAG_OBJECT : 0)), CallId);
    rpc_ndr_write_u32(Writer, Hint);
    rpc_ndr_write_u16(Writer, Context);
    rpc_ndr_write_u16(Writer, Operation);
    if (Object) rpc_ndr_write_uuid(Writer, Object);
    Qrt_EndPdu(Writer, Size);
}

bool Qrt_ReadRequest(rpc_ndr_reader *Reader, const Qrt_Header *Header, Qrt_Request *Request)
{
    rpc_ndr_read_u32(Reader);
    Request->Context = rpc_ndr_read_u16(Reader);
    Request->Operation = rpc_ndr_read_u16(Reader);
    Request->Object = {};
    if (Header->Flags & QRT_FLAG_OBJECT) rpc_ndr_read_uuid(Reader, &Request->Object);
    Request->BodyOffset = Reader->Position;
    return !Reader->Failed;
}

void Qrt_WriteResponse(rpc_ndr_writer *Writer, u8 Flags, u32 CallId, u32 Hint, u16 Context, size_t Size)
{
    Qrt_BeginPdu(Writer, QRT_PDU_RESPONSE, Flags, CallId);
    rpc_ndr_write_u32(Writer, Hint);
    rpc_ndr_write_u16(Writer, Context);
    rpc_ndr_write_u16(Writer, 0);
    Qrt_EndPdu(Writer, Size);
}

bool Qrt_ReadResponse(rpc_ndr_reader *Reader, u16 *Context)
{
    rpc_ndr_read_u32(Reader); // the hint tells nothing that could be relied on
    *Context = rpc_ndr_read_u16(Reader);
    rpc_ndr_read_u16(Reader);
    return !Reader->Failed;
}

void Qrt_WriteFault(rpc_ndr_writer *Writer, u8 Flags, u32 CallId, u16 Context, u32 Status)
{
    Qrt_BeginPdu(Writer, QRT_PDU_FAULT, static_cast<u8>(QRT_FLAG_WHOLE | Flags), CallId);
    rpc_ndr_write_u32(Writer, 0);
    rpc_ndr_write_u16(Writer, Context);
    rpc_ndr_write_u16(Writer, 0);
    rpc_ndr_write_u32(Writer, Status);
    rpc_ndr_write_u32(Writer, 0);
    Qrt_EndPdu(Writer, 0);
}

bool Qrt_ReadFault(rpc_ndr_reader *Reader, u32 *Status)
{
    rpc_ndr_read_u32(Reader);
    rpc_ndr_read_u32(Reader);
    *Status = rpc_ndr_read_u32(Reader);
    return !Reader->Failed;
}
