// One remote call: from a binding to an association, the input out in fragments, the answer in.

#include "qrt_call.h"

#include "qrt_assoc.h"
#include "qrt_int.h"
#include "qrt_pdu.h"
#include "rpc_binding.h"

#include <cstdlib>
#include <cstring>

constexpr size_t answerLimit = size_t{1} << 28;

struct rpc_call_rep {
    Qrt_Group *Group;
    Qrt_Association *Association;
    uuid_t Interface;
    u32 Version;
    u32 ComTimeout;
    i64 AnswerMilliseconds; // how long the whole answer may take; QRT_NEVER without limit
    u16 ContextId;
    u16 Operation;
    bool HasObject;
    uuid_t Object;
    u8 *Answer; // fragments joined; NULL while a single one stands in the stream's buffer
    size_t AnswerSize;
    size_t AnswerCapacity;
    bool Sound; // the answer is complete, so that the association can carry another call
    u32 Fault;
};

// The group of a binding whose endpoint is known, with one more user.
static u32 groupOf(rpc_binding_handle_t binding, Qrt_Group **out)
{
    pthread_mutex_lock(&binding->Lock);
    if (!binding->Group) binding->Group = Qrt_NewGroup(binding->Protocol, binding->Host, binding->Endpoint);
    *out = Qrt_GroupKeep(binding->Group);
    pthread_mutex_unlock(&binding->Lock);
    return *out ? rpc_s_ok : rpc_s_no_memory;
}

u32 Qrt_CallStart(rpc_binding_handle_t Binding, const rpc_if_id_t *Interface, u16 Operation, bool Management,
                  rpc_call_handle_t *Out)
{
    u32 status = Qrt_ResolveEndpoint(Binding, Interface);
    if (status != rpc_s_ok) return status;
    rpc_call_rep *call = static_cast<rpc_call_rep *>(Plat_Sys.Malloc(sizeof(rpc_call_rep)));
    if (!call) return rpc_s_no_memory;
    memset(call, 0, sizeof *call);
    call->Interface = Interface->uuid;
    call->Version = static_cast<u32>(Interface->vers_minor) << 16 | Interface->vers_major;
    call->ComTimeout = Binding->ComTimeout;
    call->Operation = Operation;
    call->Object = Binding->Object;
    u32 ignored;
    call->HasObject = !uuid_is_nil(&Binding->Object, &ignored);
    if (Management)
        call->AnswerMilliseconds = Qrt_ComMilliseconds(Binding->ComTimeout);
    else
        call->AnswerMilliseconds =
            Binding->CallTimeout == 0 ? QRT_NEVER : static_cast<i64>(Binding->CallTimeout) * 1000;

    status = groupOf(Binding, &call->Group);
    if (status == rpc_s_ok)
        status = Qrt_GroupTake(call->Group, &call->Interface, call->Version, call->ComTimeout, false,
                               &call->Association, &call->ContextId);
    if (status != rpc_s_ok) {
        Qrt_GroupRelease(call->Group);
        free(call);
        return status;
    }
    *Out = call;
    return rpc_s_ok;
}

void rpc_call_start(rpc_binding_handle_t Binding, u32 Options, rpc_if_handle_t Interface, u32 Operation,
                    rpc_call_handle_t *Call, rpc_transfer_syntax_t *Syntax, u32 *Status)
{
    *Call = nullptr;
    rpc_if_id_t id;
    rpc_if_inq_id(Interface, &id, Status);
    if (!Qrt_IsBinding(Binding)) *Status = rpc_s_invalid_binding;
    if (*Status != rpc_s_ok) return;
    if (Options != 0 || Operation > 0xFFFF) {
        *Status = Options != 0 ? rpc_s_invalid_call_opt : rpc_s_op_rng_error;
        return;
    }
    *Status = Qrt_CallStart(Binding, &id, static_cast<u16>(Operation), false, Call);
    if (*Status == rpc_s_ok && Syntax) *Syntax = {QRT_NDR_SYNTAX, 2};
}

// ---- sending

// Sends the whole input. Taken tells whether the system has accepted any octet of it.
static u32 sendInput(rpc_call_rep *call, const rpc_iovector_t *send, const Qrt_Patience *patience, bool *taken,
                     bool *answered)
{
    Qrt_Association *association = call->Association;
    const uuid_t *object = call->HasObject ? &call->Object : nullptr;
    const size_t head = QRT_BODY_OFFSET + (object ? sizeof(uuid_t) : 0);
    const size_t most = (association->Fragment - head) & ~size_t{7};
    size_t done = 0;
    do {
        const size_t left = send->Size - done;
        const size_t size = left < most ? left : most;
        const u8 flags = static_cast<u8>((done == 0 ? QRT_FLAG_FIRST : 0) | (size == left ? QRT_FLAG_LAST : 0));
        const u32 hint = left > 0xFFFFFFFFu ? 0 : static_cast<u32>(left);
        u8 room[64];
        rpc_ndr_writer writer;
        rpc_ndr_writer_init(&writer, room, sizeof room, 0);
        Qrt_WriteRequest(&writer, flags, association->CallId, hint, call->ContextId, call->Operation, object, size);
        size_t accepted;
        const u32 status = Qrt_StreamSend(&association->Stream, writer.Data, writer.Size, send->Data + done, size,
                                          patience, &accepted, answered);
        if (accepted != 0) *taken = true;
        if (status != rpc_s_ok || *answered) return status;
        done += size;
    } while (done < send->Size);
    return rpc_s_ok;
}

// Tells the server that nobody waits any more; the connection closes behind it.
static void sendOrphaned(rpc_call_rep *call)
{
    u8 room[QRT_HEADER_SIZE];
    rpc_ndr_writer writer;
    rpc_ndr_writer_init(&writer, room, sizeof room, 0);
    Qrt_BeginPdu(&writer, QRT_PDU_ORPHANED, QRT_FLAG_WHOLE, call->Association->CallId);
    Qrt_EndPdu(&writer, 0);
    const Qrt_Patience now = {Qrt_Now(), 0, true, false, rpc_s_ok};
    size_t taken;
    Qrt_StreamSend(&call->Association->Stream, writer.Data, writer.Size, nullptr, 0, &now, &taken, nullptr);
}

// ---- receiving

static u32 appendAnswer(rpc_call_rep *call, const u8 *data, size_t size)
{
    if (size == 0) return rpc_s_ok;
    const size_t wanted = call->AnswerSize + size;
    if (wanted > answerLimit) return rpc_s_no_memory;
    if (wanted > call->AnswerCapacity) {
        const size_t doubled = call->AnswerCapacity * 2;
        const size_t capacity = doubled > wanted ? doubled : wanted;
        u8 *answer = static_cast<u8 *>(Plat_Sys.Realloc(call->Answer, capacity));
        if (!answer) return rpc_s_no_memory;
        call->Answer = answer;
        call->AnswerCapacity = capacity;
    }
    memcpy(call->Answer + call->AnswerSize, data, size);
    call->AnswerSize = wanted;
    return rpc_s_ok;
}

static u32 readFault(rpc_call_rep *call, const Qrt_Header *header, rpc_ndr_reader *reader)
{
    u32 fault;
    if (!Qrt_ReadFault(reader, &fault)) return rpc_s_protocol_error;
    call->Fault = fault == 0 ? nca_s_fault_unspec : fault; // 0 announces an exception in the data; none exists here
    call->Sound = (header->Flags & QRT_FLAG_LAST) != 0;
    return rpc_s_call_faulted;
}

// One PDU of the answer. Last is set with the one that completes it.
static u32 takeFragment(rpc_call_rep *call, const Qrt_Header *header, const u8 *pdu, bool first, rpc_iovector_t *out,
                        bool *last)
{
    rpc_ndr_reader reader;
    Qrt_BodyReader(&reader, pdu, header);
    if (header->Type == QRT_PDU_SHUTDOWN) return rpc_s_connect_closed_by_rem;
    if (header->CallId != call->Association->CallId || header->AuthLength != 0) return rpc_s_protocol_error;
    if (header->Type == QRT_PDU_FAULT) return readFault(call, header, &reader);
    u16 context;
    if (header->Type != QRT_PDU_RESPONSE || !Qrt_ReadResponse(&reader, &context)) return rpc_s_protocol_error;
    if (context != call->ContextId || first != ((header->Flags & QRT_FLAG_FIRST) != 0)) return rpc_s_protocol_error;

    *last = (header->Flags & QRT_FLAG_LAST) != 0;
    const u8 *data = pdu + QRT_BODY_OFFSET;
    const size_t size = header->Length - QRT_BODY_OFFSET;
    if (first && *last) {
        *out = {data, size}; // stays in the stream's buffer, which is quiet until the call ends
        return rpc_s_ok;
    }
    const u32 status = appendAnswer(call, data, size);
    *out = {call->Answer, call->AnswerSize};
    return status;
}

static u32 receiveAnswer(rpc_call_rep *call, Qrt_Patience *patience, ndr_format_t *format, rpc_iovector_t *received)
{
    bool last = false;
    for (bool first = true; !last; first = false) {
        Qrt_Header header;
        const u8 *pdu;
        u32 status = Qrt_StreamReceive(&call->Association->Stream, patience, &header, &pdu);
        if (status == rpc_s_ok) {
            if (!first && header.Type == QRT_PDU_RESPONSE && header.Format.Integers != format->Integers)
                return rpc_s_protocol_error; // one stream of octets has one representation
            *format = header.Format;
            status = takeFragment(call, &header, pdu, first, received, &last);
        }
        if (status != rpc_s_ok) return status;
        patience->Begun = true;
    }
    call->Sound = true;
    return rpc_s_ok;
}

// A connection that the server closed while it was idle has taken nothing: the call goes over a new one.
static u32 sendOverFresh(rpc_call_rep *call, const rpc_iovector_t *send, const Qrt_Patience *patience, bool *answered)
{
    Qrt_GroupGiveBack(call->Group, call->Association, false);
    call->Association = nullptr;
    u32 status = Qrt_GroupTake(call->Group, &call->Interface, call->Version, call->ComTimeout, true, &call->Association,
                               &call->ContextId);
    if (status != rpc_s_ok) return status;
    bool taken = false;
    ++call->Association->CallId; // NOLINT(clang-analyzer-core.NullDereference): a group that says ok has given one
    return sendInput(call, send, patience, &taken, answered);
}

void rpc_call_transceive(rpc_call_handle_t Call, const rpc_iovector_t *Send, ndr_format_t *Format,
                         rpc_iovector_t *Received, u32 *Status)
{
    *Received = {nullptr, 0};
    const i64 wait = Call->AnswerMilliseconds;
    Qrt_Patience patience = {Qrt_After(wait), Qrt_ComMilliseconds(Call->ComTimeout), wait != QRT_NEVER, false,
                             rpc_s_call_timeout};
    bool taken = false;
    bool answered = false;
    ++Call->Association->CallId;
    *Status = sendInput(Call, Send, &patience, &taken, &answered);
    if (*Status != rpc_s_ok && !taken && Call->Association->Reused)
        *Status = sendOverFresh(Call, Send, &patience, &answered);
    if (*Status != rpc_s_ok) return;
    *Status = receiveAnswer(Call, &patience, Format, Received);
    if (answered) Call->Sound = false; // part of the input is still here
    if (*Status == rpc_s_call_timeout) sendOrphaned(Call);
}

void rpc_ss_call_end_2(rpc_call_handle_t *Call, u32 *Fault, u32 *UserFault, u32 *Status)
{
    *UserFault = 0;
    *Fault = *Call ? (*Call)->Fault : 0;
    if (*Fault != 0 && *Status == rpc_s_call_faulted) *Status = rpc_s_ok;
    if (!*Call) return;
    if ((*Call)->Association) Qrt_GroupGiveBack((*Call)->Group, (*Call)->Association, (*Call)->Sound);
    Qrt_GroupRelease((*Call)->Group);
    free((*Call)->Answer);
    free(*Call);
    *Call = nullptr;
}

u32 Qrt_Call(rpc_binding_handle_t Binding, const rpc_if_id_t *Interface, u16 Operation, const rpc_ndr_writer *Input,
             void (*Read)(rpc_ndr_reader *Reader, void *Argument), void *Argument, u32 *Fault)
{
    *Fault = 0;
    if (Input->Failed) return rpc_s_no_memory;
    rpc_call_handle_t call = nullptr;
    u32 status = Qrt_CallStart(Binding, Interface, Operation, true, &call);
    if (status != rpc_s_ok) return status;
    const rpc_iovector_t send = {Input->Data, Input->Size};
    ndr_format_t format = {};
    rpc_iovector_t received;
    rpc_call_transceive(call, &send, &format, &received, &status);
    if (status == rpc_s_ok) {
        rpc_ndr_reader reader;
        rpc_ndr_reader_init(&reader, received.Data, received.Size, format);
        Read(&reader, Argument);
        if (reader.Failed) status = rpc_s_protocol_error;
    }
    u32 userFault;
    rpc_ss_call_end_2(&call, Fault, &userFault, &status);
    return *Fault != 0 ? rpc_s_call_faulted : status;
}
