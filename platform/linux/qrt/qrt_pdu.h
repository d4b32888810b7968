#ifndef QRT_PDU_H
#define QRT_PDU_H

// Protocol data units of connection-oriented DCE RPC 5.0 (C706 12.6), read and written.
//
// Common header, 16 octets:
//
//   OFFSET  SIZE  FIELD
//        0     1  version, 5
//        1     1  minor version, 0
//        2     1  type
//        3     1  flags
//        4     4  data representation of the sender
//        8     2  length of the whole PDU
//       10     2  length of the authentication trailer
//       12     4  call id
//
// All integers stand in the byte order of the PDU's own label.

#include "rpc_ndr.h"

enum : u8 {
    QRT_PDU_REQUEST = 0,
    QRT_PDU_RESPONSE = 2,
    QRT_PDU_FAULT = 3,
    QRT_PDU_BIND = 11,
    QRT_PDU_BIND_ACK = 12,
    QRT_PDU_BIND_NAK = 13,
    QRT_PDU_ALTER = 14,
    QRT_PDU_ALTER_ACK = 15,
    QRT_PDU_SHUTDOWN = 17,
    QRT_PDU_CANCEL = 18,
    QRT_PDU_ORPHANED = 19,
};

enum : u8 {
    QRT_FLAG_FIRST = 0x01,
    QRT_FLAG_LAST = 0x02,
    QRT_FLAG_NOT_EXECUTED = 0x20,
    QRT_FLAG_OBJECT = 0x80,
    QRT_FLAG_WHOLE = QRT_FLAG_FIRST | QRT_FLAG_LAST,
};

constexpr size_t QRT_HEADER_SIZE = 16;
constexpr size_t QRT_BODY_OFFSET = 24; // stub data of a request without object and of a response
constexpr size_t QRT_FAULT_SIZE = 32;
constexpr u16 QRT_FRAGMENT_SIZE = 5840;
constexpr u16 QRT_FRAGMENT_MIN = 64; // room for a header, an object and some data
constexpr ndr_format_t QRT_LITTLE_ENDIAN = {0x10, 0, {0, 0}};
constexpr ndr_format_t QRT_BIG_ENDIAN = {0x00, 0, {0, 0}};

struct Qrt_Header {
    u8 Type;
    u8 Flags;
    ndr_format_t Format;
    u16 Length;
    u16 AuthLength;
    u32 CallId;
};

// The header of at least 16 octets; false for another version or a length below 16.
bool Qrt_ReadHeader(const u8 *Data, Qrt_Header *Header);

// A reader of a whole PDU that stands behind its header.
void Qrt_BodyReader(rpc_ndr_reader *Reader, const u8 *Pdu, const Qrt_Header *Header);

// Starts a PDU in an empty writer, whose byte order becomes the label; Qrt_EndPdu fills in the length, which counts
// Extra octets that stand elsewhere.
void Qrt_BeginPdu(rpc_ndr_writer *Writer, u8 Type, u8 Flags, u32 CallId);
void Qrt_EndPdu(rpc_ndr_writer *Writer, size_t Extra);

struct Qrt_BindHead {
    u16 MaxTransmit;
    u16 MaxReceive;
    u32 GroupId;
    u8 ContextCount;
};

struct Qrt_BindContext {
    u16 Id;
    uuid_t Interface;
    u32 Version;
    bool HasNdr; // NDR 2.0 is among the transfer syntaxes
};

struct Qrt_BindResult {
    u16 Result;
    u16 Reason;
    rpc_transfer_syntax_t Syntax;
};

enum : u16 { QRT_ACCEPTED = 0, QRT_USER_REJECTED = 1, QRT_PROVIDER_REJECTED = 2 };
enum : u16 { QRT_REASON_NONE = 0, QRT_REASON_INTERFACE = 1, QRT_REASON_SYNTAX = 2, QRT_REASON_LIMIT = 3 };

// bind and alter_context: Type, one context element with NDR.
void Qrt_WriteBind(rpc_ndr_writer *Writer, u8 Type, u32 CallId, const Qrt_BindHead *Head,
                   const Qrt_BindContext *Context);
void Qrt_ReadBindHead(rpc_ndr_reader *Reader, Qrt_BindHead *Head);
void Qrt_ReadBindContext(rpc_ndr_reader *Reader, Qrt_BindContext *Context);

// bind_ack and alter_context_resp, of which the first result is wanted. False when it is malformed.
bool Qrt_ReadBindAck(rpc_ndr_reader *Reader, Qrt_BindHead *Head, Qrt_BindResult *Result);
void Qrt_WriteBindAck(rpc_ndr_writer *Writer, u8 Type, u32 CallId, const Qrt_BindHead *Head, const char *Secondary,
                      const Qrt_BindResult *Results, u8 Count);
void Qrt_WriteBindNak(rpc_ndr_writer *Writer, u32 CallId, u16 Reason);

struct Qrt_Request {
    u16 Context;
    u16 Operation;
    uuid_t Object;
    size_t BodyOffset;
};

// Object may be NULL. Hint and Size tell the stub octets left and in this PDU.
void Qrt_WriteRequest(rpc_ndr_writer *Writer, u8 Flags, u32 CallId, u32 Hint, u16 Context, u16 Operation,
                      const uuid_t *Object, size_t Size);
bool Qrt_ReadRequest(rpc_ndr_reader *Reader, const Qrt_Header *Header, Qrt_Request *Request);

void Qrt_WriteResponse(rpc_ndr_writer *Writer, u8 Flags, u32 CallId, u32 Hint, u16 Context, size_t Size);
bool Qrt_ReadResponse(rpc_ndr_reader *Reader, u16 *Context);

void Qrt_WriteFault(rpc_ndr_writer *Writer, u8 Flags, u32 CallId, u16 Context, u32 Status);
bool Qrt_ReadFault(rpc_ndr_reader *Reader, u32 *Status);

#endif
