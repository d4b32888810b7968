// The server's side of the protocol: PDUs of one connection to calls of operations, and their answers back.

#include "qrt_server_int.h"

#include <cstdlib>
#include <cstring>

// ---- agreeing on interfaces

// The same major version, and a minor version not below the one asked for (C706 chapter 6).
static const rpc_server_interface *findInterface(const rpc_server *server, const Qrt_BindContext *context)
{
    const u16 major = static_cast<u16>(context->Version & 0xFFFF);
    const u16 minor = static_cast<u16>(context->Version >> 16);
    for (u32 at = 0; at < server->InterfaceCount; ++at) {
        const rpc_if_id_t *id = &server->Interfaces[at].Id;
        if (Qrt_UuidEqual(id->uuid, context->Interface) && id->vers_major == major && id->vers_minor >= minor)
            return &server->Interfaces[at];
    }
    return nullptr;
}

static Qrt_BindResult refuse(u16 reason)
{
    return {QRT_PROVIDER_REJECTED, reason, {}};
}

static Qrt_BindResult offer(Qrt_Connection *connection, const Qrt_BindContext *context)
{
    const rpc_server_interface *interface = findInterface(connection->Server, context);
    if (!interface) return refuse(QRT_REASON_INTERFACE);
    if (!context->HasNdr) return refuse(QRT_REASON_SYNTAX);
    u16 at = 0;
    while (at < connection->ContextCount && connection->Contexts[at].Id != context->Id) ++at;
    if (at == QRT_SERVER_CONTEXTS) return refuse(QRT_REASON_LIMIT);
    if (at == connection->ContextCount) ++connection->ContextCount;
    connection->Contexts[at] = {context->Id, interface};
    return {QRT_ACCEPTED, 0, {QRT_NDR_SYNTAX, 2}};
}

static bool sendWriter(Qrt_Connection *connection, rpc_ndr_writer *writer)
{
    const bool sent = !writer->Failed && Qrt_ServerSend(connection, writer->Data, writer->Size, nullptr, 0);
    rpc_ndr_writer_free(writer);
    return sent;
}

static bool sendNak(Qrt_Connection *connection, u32 callId, u16 reason)
{
    u8 room[64];
    rpc_ndr_writer writer;
    rpc_ndr_writer_init(&writer, room, sizeof room, connection->Server->Options.BigEndian);
    Qrt_WriteBindNak(&writer, callId, reason);
    sendWriter(connection, &writer);
    return false;
}

static bool serveBind(Qrt_Connection *connection, const Qrt_Header *header, rpc_ndr_reader *reader)
{
    Qrt_BindHead head;
    Qrt_ReadBindHead(reader, &head);
    if (reader->Failed || head.MaxReceive < QRT_FRAGMENT_MIN) return sendNak(connection, header->CallId, 0);
    Qrt_BindResult results[255];
    for (u8 at = 0; at < head.ContextCount; ++at) {
        Qrt_BindContext context;
        Qrt_ReadBindContext(reader, &context);
        if (reader->Failed) return sendNak(connection, header->CallId, 0);
        results[at] = offer(connection, &context);
    }
    const bool bind = header->Type == QRT_PDU_BIND;
    const u16 most = connection->Server->Options.FragmentSize;
    if (bind) {
        connection->Fragment = head.MaxReceive < most ? head.MaxReceive : most;
        if (head.GroupId == 0) head.GroupId = __atomic_add_fetch(&connection->Server->NextGroup, 1, __ATOMIC_RELAXED);
    }
    const Qrt_BindHead answer = {connection->Fragment, most, head.GroupId, 0};
    u8 room[512];
    rpc_ndr_writer writer;
    rpc_ndr_writer_init(&writer, room, sizeof room, connection->Server->Options.BigEndian);
    Qrt_WriteBindAck(&writer, bind ? QRT_PDU_BIND_ACK : QRT_PDU_ALTER_ACK, header->CallId, &answer,
                     bind ? connection->Port : "", results, head.ContextCount);
    return sendWriter(connection, &writer);
}

// ---- answering

static bool sendFault(Qrt_Connection *connection, u8 flags, u32 status)
{
    u8 room[64];
    rpc_ndr_writer writer;
    rpc_ndr_writer_init(&writer, room, sizeof room, connection->Server->Options.BigEndian);
    Qrt_WriteFault(&writer, flags, connection->CallId, connection->CallContext, status);
    return sendWriter(connection, &writer);
}

static bool sendResponse(Qrt_Connection *connection, const u8 *data, size_t size)
{
    const size_t most = (connection->Fragment - QRT_BODY_OFFSET) & ~size_t{7};
    size_t done = 0;
    do {
        const size_t left = size - done;
        const size_t part = left < most ? left : most;
        const u8 flags = static_cast<u8>((done == 0 ? QRT_FLAG_FIRST : 0) | (part == left ? QRT_FLAG_LAST : 0));
        u8 room[32];
        rpc_ndr_writer writer;
        rpc_ndr_writer_init(&writer, room, sizeof room, connection->Server->Options.BigEndian);
        Qrt_WriteResponse(&writer, flags, connection->CallId, left > 0xFFFFFFFFu ? 0 : static_cast<u32>(left),
                          connection->CallContext, part);
        if (!Qrt_ServerSend(connection, writer.Data, writer.Size, data + done, part)) return false;
        done += part;
    } while (done < size);
    return true;
}

static const rpc_server_interface *contextInterface(const Qrt_Connection *connection, u16 id)
{
    for (u16 at = 0; at < connection->ContextCount; ++at) {
        if (connection->Contexts[at].Id == id) return connection->Contexts[at].Interface;
    }
    return nullptr;
}

// The whole input is here: runs the operation.
static bool dispatch(Qrt_Connection *connection)
{
    const rpc_server_interface *interface = contextInterface(connection, connection->CallContext);
    if (!interface) return sendFault(connection, QRT_FLAG_NOT_EXECUTED, nca_s_invalid_pres_context_id);
    if (connection->Operation >= interface->OperationCount || !interface->Operations[connection->Operation])
        return sendFault(connection, QRT_FLAG_NOT_EXECUTED, nca_s_op_rng_error);

    u8 room[1024];
    rpc_server_call call = {};
    call.Context = interface->Operations == Qrt_ManagementOperations ? connection->Server : interface->Context;
    call.Object = connection->Object;
    call.Operation = connection->Operation;
    call.Association = connection->Number;
    call.Local = connection->Local;
    rpc_ndr_reader_init(&call.In, connection->Stub, connection->StubSize, connection->Format);
    rpc_ndr_writer_init(&call.Out, room, sizeof room, connection->Server->Options.BigEndian);
    interface->Operations[connection->Operation](&call);

    bool sent;
    if (call.Fault == 0 && call.In.Failed) call.Fault = nca_s_fault_invalid_bound;
    if (call.Fault == 0 && call.Out.Failed) call.Fault = nca_s_fault_remote_no_memory;
    if (call.Fault != 0)
        sent = sendFault(connection, 0, call.Fault);
    else
        sent = sendResponse(connection, call.Out.Data, call.Out.Size);
    rpc_ndr_writer_free(&call.Out);
    return sent;
}

// ---- taking requests

static bool appendStub(Qrt_Connection *connection, const u8 *data, size_t size)
{
    const size_t wanted = connection->StubSize + size;
    if (size == 0) return true;
    if (wanted > connection->Server->Options.CallLimit) return false;
    if (wanted > connection->StubCapacity) {
        const size_t doubled = connection->StubCapacity * 2;
        const size_t capacity = doubled > wanted ? doubled : wanted;
        u8 *stub = static_cast<u8 *>(Plat_Sys.Realloc(connection->Stub, capacity));
        if (!stub) return false;
        connection->Stub = stub;
        connection->StubCapacity = capacity;
    }
    memcpy(connection->Stub + connection->StubSize, data, size);
    connection->StubSize = wanted;
    return true;
}

static bool serveRequest(Qrt_Connection *connection, const Qrt_Header *header, const u8 *pdu, rpc_ndr_reader *reader)
{
    Qrt_Request request;
    if (!Qrt_ReadRequest(reader, header, &request)) return false;
    const bool first = (header->Flags & QRT_FLAG_FIRST) != 0;
    if (first == connection->Assembling) return false; // the start of a call within another, or its middle without one
    if (first) {
        connection->Assembling = true;
        connection->CallId = header->CallId;
        connection->CallContext = request.Context;
        connection->Operation = request.Operation;
        connection->Object = request.Object;
        connection->Format = header->Format;
        connection->StubSize = 0;
    } else if (header->CallId != connection->CallId || request.Context != connection->CallContext ||
               request.Operation != connection->Operation) {
        return false;
    }
    if (!appendStub(connection, pdu + request.BodyOffset, header->Length - request.BodyOffset)) {
        sendFault(connection, QRT_FLAG_NOT_EXECUTED, nca_s_fault_remote_no_memory);
        return false;
    }
    if ((header->Flags & QRT_FLAG_LAST) == 0) return true;
    connection->Assembling = false;
    return dispatch(connection);
}

static bool servePdu(Qrt_Connection *connection, const Qrt_Header *header, const u8 *pdu)
{
    rpc_ndr_reader reader;
    Qrt_BodyReader(&reader, pdu, header);
    if (header->AuthLength != 0) return sendNak(connection, header->CallId, 8);
    switch (header->Type) {
    case QRT_PDU_BIND:
    case QRT_PDU_ALTER: return serveBind(connection, header, &reader);
    case QRT_PDU_REQUEST: return serveRequest(connection, header, pdu, &reader);
    case QRT_PDU_ORPHANED: connection->Assembling = false; return true;
    case QRT_PDU_CANCEL: return true; // a call runs at once or not at all
    default: return false;
    }
}

bool Qrt_ServePdus(Qrt_Connection *Connection)
{
    size_t at = 0;
    bool keep = true;
    while (keep && Connection->InSize - at >= QRT_HEADER_SIZE) {
        Qrt_Header header;
        const u8 *pdu = Connection->In + at;
        if (!Qrt_ReadHeader(pdu, &header)) {
            u32 callId;
            memcpy(&callId, pdu + 12, sizeof callId);
            return pdu[2] == QRT_PDU_BIND ? sendNak(Connection, callId, 4) : false;
        }
        if (header.Length > Connection->InSize - at) break;
        keep = servePdu(Connection, &header, pdu);
        at += header.Length;
    }
    Connection->InSize -= at;
    if (at != 0 && Connection->InSize != 0) memmove(Connection->In, Connection->In + at, Connection->InSize);
    return keep;
}

// ---- management (C706 appendix Q)

static void inqIfIds(rpc_server_call *call)
{
    const rpc_server *server = static_cast<const rpc_server *>(call->Context);
    const u32 count = server->InterfaceCount;
    rpc_ndr_write_u32(&call->Out, 1);
    rpc_ndr_write_u32(&call->Out, count);
    rpc_ndr_write_u32(&call->Out, count);
    for (u32 at = 0; at < count; ++at) rpc_ndr_write_u32(&call->Out, at + 2);
    for (u32 at = 0; at < count; ++at) {
        rpc_ndr_write_align(&call->Out, 4);
        rpc_ndr_write_uuid(&call->Out, &server->Interfaces[at].Id.uuid);
        rpc_ndr_write_u16(&call->Out, server->Interfaces[at].Id.vers_major);
        rpc_ndr_write_u16(&call->Out, server->Interfaces[at].Id.vers_minor);
    }
    rpc_ndr_write_u32(&call->Out, rpc_s_ok);
}

static void inqStats(rpc_server_call *call)
{
    rpc_ndr_read_u32(&call->In);
    rpc_ndr_write_u32(&call->Out, 0); // no counters are kept: an empty array
    rpc_ndr_write_u32(&call->Out, 0);
    rpc_ndr_write_u32(&call->Out, rpc_s_ok);
}

static void isListening(rpc_server_call *call)
{
    rpc_ndr_write_u32(&call->Out, rpc_s_ok);
    rpc_ndr_write_u32(&call->Out, 1);
}

static void stopListening(rpc_server_call *call)
{
    rpc_ndr_write_u32(&call->Out, rpc_s_wire(rpc_s_mgmt_op_disallowed));
}

static void inqPrincName(rpc_server_call *call)
{
    rpc_ndr_write_u32(&call->Out, 1); // conformant and varying: room for one character, the empty name
    rpc_ndr_write_u32(&call->Out, 0);
    rpc_ndr_write_u32(&call->Out, 1);
    rpc_ndr_write_u8(&call->Out, 0);
    rpc_ndr_write_u32(&call->Out, rpc_s_wire(rpc_s_protseq_not_supported));
}

const rpc_server_operation Qrt_ManagementOperations[5] = {inqIfIds, inqStats, isListening, stopListening, inqPrincName};
