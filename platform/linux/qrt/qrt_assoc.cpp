// Associations and their groups.
//
// A call has an association to itself, so nothing on the wire is ever mixed; calls of several threads take several
// associations. An idle one is looked at before it is used again: a server that has gone, or that wants the connection
// closed (shutdown), has left a trace on it by then. The group id that the first answer brought is offered with further
// associations as long as one of the group lives; a server that does not know it any more gets 0.

#include "qrt_assoc.h"

#include <cstdlib>
#include <cstring>

constexpr u32 maxIdle = 16;

struct Qrt_Group {
    pthread_mutex_t Lock; // guards all below
    u32 Users;
    Qrt_Protocol Protocol;
    char *Host;
    char *Endpoint;
    u32 Id; // 0 until the server has given one
    u32 Live; // associations, idle and in use
    u32 IdleCount;
    Qrt_Association *Idle;
};

static void freeGroup(Qrt_Group *group)
{
    free(group->Host);
    free(group->Endpoint);
    pthread_mutex_destroy(&group->Lock);
    free(group);
}

Qrt_Group *Qrt_NewGroup(Qrt_Protocol Protocol, const char *Host, const char *Endpoint)
{
    Qrt_Group *group = static_cast<Qrt_Group *>(Plat_Sys.Malloc(sizeof(Qrt_Group)));
    if (!group) return nullptr;
    memset(group, 0, sizeof *group);
    pthread_mutex_init(&group->Lock, nullptr);
    group->Users = 1;
    group->Protocol = Protocol;
    group->Host = reinterpret_cast<char *>(Qrt_NewString(Host));
    group->Endpoint = reinterpret_cast<char *>(Qrt_NewString(Endpoint));
    if (group->Host && group->Endpoint) return group;
    freeGroup(group);
    return nullptr;
}

Qrt_Group *Qrt_GroupKeep(Qrt_Group *Group)
{
    if (!Group) return nullptr;
    pthread_mutex_lock(&Group->Lock);
    ++Group->Users;
    pthread_mutex_unlock(&Group->Lock);
    return Group;
}

static void freeAssociation(Qrt_Association *association)
{
    Qrt_StreamClose(&association->Stream);
    free(association);
}

void Qrt_GroupRelease(Qrt_Group *Group)
{
    if (!Group) return;
    pthread_mutex_lock(&Group->Lock);
    const bool last = --Group->Users == 0;
    pthread_mutex_unlock(&Group->Lock);
    if (!last) return;
    while (Qrt_Association *idle = Group->Idle) {
        Group->Idle = idle->Next;
        freeAssociation(idle);
    }
    freeGroup(Group);
}

static void oneLess(Qrt_Group *group)
{
    pthread_mutex_lock(&group->Lock);
    if (--group->Live == 0) group->Id = 0; // without associations the server has forgotten the group
    pthread_mutex_unlock(&group->Lock);
}

void Qrt_GroupGiveBack(Qrt_Group *Group, Qrt_Association *Association, bool Sound)
{
    if (Sound) {
        pthread_mutex_lock(&Group->Lock);
        const bool room = Group->IdleCount < maxIdle;
        if (room) {
            Association->Reused = true;
            Association->Next = Group->Idle;
            Group->Idle = Association;
            ++Group->IdleCount;
        }
        pthread_mutex_unlock(&Group->Lock);
        if (room) return;
    }
    freeAssociation(Association);
    oneLess(Group);
}

static Qrt_Association *takeIdle(Qrt_Group *group)
{
    pthread_mutex_lock(&group->Lock);
    Qrt_Association *idle = group->Idle;
    if (idle) {
        group->Idle = idle->Next;
        --group->IdleCount;
    }
    pthread_mutex_unlock(&group->Lock);
    return idle;
}

// ---- agreeing on an interface

static u32 statusOfResult(const Qrt_BindResult *result)
{
    if (result->Result == QRT_ACCEPTED) {
        const bool ndr = Qrt_UuidEqual(result->Syntax.Id, QRT_NDR_SYNTAX) && result->Syntax.Version == 2;
        return ndr ? rpc_s_ok : rpc_s_protocol_error;
    }
    if (result->Result != QRT_PROVIDER_REJECTED) return rpc_s_unknown_reject;
    switch (result->Reason) {
    case QRT_REASON_INTERFACE: return rpc_s_unknown_if;
    case QRT_REASON_SYNTAX: return rpc_s_tsyntaxes_unsupported;
    case QRT_REASON_LIMIT: return rpc_s_server_too_busy;
    default: return rpc_s_unknown_reject;
    }
}

static u32 statusOfNak(rpc_ndr_reader *reader)
{
    const u16 reason = rpc_ndr_read_u16(reader);
    if (reader->Failed) return rpc_s_protocol_error;
    switch (reason) {
    case 1:
    case 2: return rpc_s_server_too_busy;
    case 4: return rpc_s_rpc_prot_version_mismatch;
    default: return rpc_s_unknown_reject;
    }
}

// What an exchange of bind or alter_context came to.
struct Agreement {
    u32 Status;
    bool Refused; // the server has answered, and the association stays up
    bool Nak; // the server has refused the association as a whole
    Qrt_BindHead Head;
};

static void readAgreement(u8 wanted, const Qrt_Header *header, const u8 *pdu, Agreement *agreement)
{
    rpc_ndr_reader reader;
    Qrt_BodyReader(&reader, pdu, header);
    agreement->Status = rpc_s_protocol_error;
    if (header->AuthLength != 0) return;
    if (header->Type == QRT_PDU_BIND_NAK) {
        agreement->Status = statusOfNak(&reader);
        agreement->Nak = true;
    } else if (header->Type == QRT_PDU_FAULT) {
        u32 fault;
        if (Qrt_ReadFault(&reader, &fault)) agreement->Status = rpc_s_unknown_reject;
    } else if (header->Type == QRT_PDU_SHUTDOWN) {
        agreement->Status = rpc_s_connect_closed_by_rem;
    } else if (header->Type == wanted) {
        Qrt_BindResult result;
        if (!Qrt_ReadBindAck(&reader, &agreement->Head, &result)) return;
        agreement->Status = statusOfResult(&result);
        agreement->Refused = agreement->Status != rpc_s_ok && agreement->Status != rpc_s_protocol_error;
    }
}

static Agreement agree(Qrt_Association *association, u8 type, u32 groupId, const Qrt_BindContext *context, i64 deadline,
                       u32 lateStatus)
{
    Agreement agreement = {};
    u8 room[128];
    rpc_ndr_writer writer;
    rpc_ndr_writer_init(&writer, room, sizeof room, 0);
    const Qrt_BindHead head = {QRT_FRAGMENT_SIZE, QRT_FRAGMENT_SIZE, groupId, 1};
    const u32 callId = association->CallId + 1; // of the call that it is for
    Qrt_WriteBind(&writer, type, callId, &head, context);

    const Qrt_Patience patience = {deadline, QRT_NEVER, true, false, lateStatus};
    size_t taken;
    agreement.Status =
        Qrt_StreamSend(&association->Stream, writer.Data, writer.Size, nullptr, 0, &patience, &taken, nullptr);
    if (agreement.Status != rpc_s_ok) return agreement;

    Qrt_Header header;
    const u8 *pdu;
    agreement.Status = Qrt_StreamReceive(&association->Stream, &patience, &header, &pdu);
    if (agreement.Status == rpc_s_ok)
        readAgreement(type == QRT_PDU_BIND ? QRT_PDU_BIND_ACK : QRT_PDU_ALTER_ACK, &header, pdu, &agreement);
    return agreement;
}

static void remember(Qrt_Association *association, const Qrt_BindContext *context)
{
    association->Contexts[association->ContextCount++] = {context->Interface, context->Version, context->Id};
    association->NextContextId = static_cast<u16>(context->Id + 1);
}

static bool findContext(const Qrt_Association *association, const uuid_t *interface, u32 version, u16 *id)
{
    for (u16 at = 0; at < association->ContextCount; ++at) {
        const Qrt_Context &context = association->Contexts[at];
        if (context.Version == version && Qrt_UuidEqual(context.Interface, *interface)) {
            *id = context.Id;
            return true;
        }
    }
    return false;
}

// ---- opening

static u32 openOnce(Qrt_Group *group, u32 groupId, const Qrt_BindContext *context, i64 deadline, Qrt_Association **out,
                    bool *nak)
{
    Qrt_Association *association = static_cast<Qrt_Association *>(Plat_Sys.Malloc(sizeof(Qrt_Association)));
    if (!association) return rpc_s_no_memory;
    memset(association, 0, sizeof *association);
    u32 status = Qrt_StreamOpen(&association->Stream, group->Protocol, group->Host, group->Endpoint, deadline);
    Agreement agreement = {};
    if (status == rpc_s_ok) {
        agreement = agree(association, QRT_PDU_BIND, groupId, context, deadline, rpc_s_connect_timed_out);
        status = agreement.Status;
    }
    if (status == rpc_s_ok && agreement.Head.MaxReceive < QRT_FRAGMENT_MIN) status = rpc_s_protocol_error;
    if (status != rpc_s_ok) {
        *nak = agreement.Nak;
        freeAssociation(association);
        return status;
    }
    association->Fragment =
        agreement.Head.MaxReceive < QRT_FRAGMENT_SIZE ? agreement.Head.MaxReceive : QRT_FRAGMENT_SIZE;
    remember(association, context);
    pthread_mutex_lock(&group->Lock);
    ++group->Live;
    if (group->Id == 0) group->Id = agreement.Head.GroupId;
    pthread_mutex_unlock(&group->Lock);
    *out = association;
    return rpc_s_ok;
}

static u32 openNew(Qrt_Group *group, const Qrt_BindContext *context, i64 deadline, Qrt_Association **out)
{
    pthread_mutex_lock(&group->Lock);
    const u32 groupId = group->Id;
    pthread_mutex_unlock(&group->Lock);
    bool nak = false;
    u32 status = openOnce(group, groupId, context, deadline, out, &nak);
    if (nak && groupId != 0) status = openOnce(group, 0, context, deadline, out, &nak);
    return status;
}

u32 Qrt_GroupTake(Qrt_Group *Group, const uuid_t *Interface, u32 Version, u32 ComTimeout, bool Fresh,
                  Qrt_Association **Out, u16 *ContextId)
{
    const i64 deadline = Qrt_After(Qrt_ComMilliseconds(ComTimeout));
    Qrt_BindContext context = {0, *Interface, Version, true};
    while (Qrt_Association *idle = Fresh ? nullptr : takeIdle(Group)) {
        *Out = idle;
        if (Qrt_StreamIsQuiet(&idle->Stream)) {
            if (findContext(idle, Interface, Version, ContextId)) return rpc_s_ok;
            if (idle->ContextCount < QRT_CONTEXTS) {
                context.Id = idle->NextContextId;
                const Agreement agreement = agree(idle, QRT_PDU_ALTER, 0, &context, deadline, rpc_s_connect_timed_out);
                if (agreement.Status == rpc_s_ok) {
                    remember(idle, &context);
                    *ContextId = context.Id;
                    return rpc_s_ok;
                }
                if (agreement.Refused) {
                    Qrt_GroupGiveBack(Group, idle, true);
                    return agreement.Status;
                }
            }
        }
        Qrt_GroupGiveBack(Group, idle, false);
    }
    context.Id = 0;
    *ContextId = 0;
    return openNew(Group, &context, deadline, Out);
}
