// Questions to a server: the client side of the management interface (C706 appendix Q).

#include "rpc_mgmt.h"

#include "qrt_call.h"
#include "qrt_int.h"

#include <cstdlib>
#include <cstring>

enum : u16 { opInqIfIds = 0, opIsListening = 2, opStopListening = 3 };

constexpr rpc_if_id_t management = {QRT_MGMT_IF, 1, 0};

// A fault stands for the server's own reason: that of its exception, as far as it is a status.
static u32 statusOfFault(u32 fault)
{
    switch (fault) {
    case nca_s_unk_if: return rpc_s_unknown_if;
    case nca_s_op_rng_error: return rpc_s_op_rng_error;
    case nca_s_server_too_busy: return rpc_s_server_too_busy;
    case nca_s_fault_context_mismatch: return rpc_s_fault_context_mismatch;
    default: return rpc_s_fault_unspec;
    }
}

// A status that came over the wire, in this runtime's base where it is not the mapper's own.
static u32 statusOfWire(u32 status)
{
    return (status & 0xFFFFF000u) == RPC_WIRE_STATUS_BASE ? status - RPC_WIRE_STATUS_BASE + RPC_STATUS_BASE : status;
}

static u32 ask(rpc_binding_handle_t binding, u16 operation, void (*read)(rpc_ndr_reader *, void *), void *argument)
{
    if (!Qrt_IsBinding(binding)) return rpc_s_invalid_binding;
    u32 ignored;
    pthread_mutex_lock(&binding->Lock);
    const bool incomplete = *binding->Endpoint == '\0' && uuid_is_nil(&binding->Object, &ignored);
    pthread_mutex_unlock(&binding->Lock);
    if (incomplete) return rpc_s_binding_incomplete;

    rpc_ndr_writer input;
    rpc_ndr_writer_init(&input, nullptr, 0, 0);
    u32 fault;
    const u32 status = Qrt_Call(binding, &management, operation, &input, read, argument, &fault);
    return status == rpc_s_call_faulted ? statusOfFault(fault) : status;
}

struct Listening {
    u32 Status;
    u32 Result;
};

static void readListening(rpc_ndr_reader *reader, void *argument)
{
    Listening *out = static_cast<Listening *>(argument);
    out->Status = rpc_ndr_read_u32(reader);
    out->Result = rpc_ndr_read_u32(reader);
}

boolean32 rpc_mgmt_is_server_listening(rpc_binding_handle_t Binding, u32 *Status)
{
    Listening answer = {};
    *Status = ask(Binding, opIsListening, readListening, &answer);
    if (*Status == rpc_s_ok) *Status = statusOfWire(answer.Status);
    return *Status == rpc_s_ok && answer.Result != 0 ? 1 : 0;
}

struct IfIds {
    rpc_if_id_vector_t *Vector;
    u32 Status;
    bool NoMemory;
};

static rpc_if_id_vector_t *newVector(u32 count)
{
    const size_t head = offsetof(rpc_if_id_vector_t, if_id) + (count ? count : 1) * sizeof(rpc_if_id_t *);
    u8 *block = static_cast<u8 *>(Plat_Sys.Malloc(head + count * sizeof(rpc_if_id_t)));
    if (!block) return nullptr;
    rpc_if_id_vector_t *vector = reinterpret_cast<rpc_if_id_vector_t *>(block);
    rpc_if_id_t *ids = reinterpret_cast<rpc_if_id_t *>(block + head);
    vector->count = count;
    for (u32 at = 0; at < count; ++at) vector->if_id[at] = &ids[at];
    return vector;
}

// Pointer; max count, count, pointers to identifiers; then the identifiers. One block holds them all.
static void readIfIds(rpc_ndr_reader *reader, void *argument)
{
    IfIds *out = static_cast<IfIds *>(argument);
    if (rpc_ndr_read_u32(reader) != 0) {
        const u32 max = rpc_ndr_read_u32(reader);
        const u32 count = rpc_ndr_read_u32(reader);
        const u8 *pointers =
            max == count && count <= rpc_ndr_left(reader) / 4 ? rpc_ndr_read_octets(reader, count * 4ul) : nullptr;
        if (!pointers) {
            reader->Failed = 1;
            return;
        }
        out->Vector = newVector(count);
        out->NoMemory = out->Vector == nullptr;
        if (out->NoMemory) return;
        u32 kept = 0;
        for (u32 at = 0; at < count; ++at) {
            static constexpr u8 none[4] = {};
            if (memcmp(pointers + at * 4ul, none, sizeof none) == 0) continue;
            rpc_if_id_t *id = out->Vector->if_id[kept++];
            rpc_ndr_read_align(reader, 4);
            rpc_ndr_read_uuid(reader, &id->uuid);
            id->vers_major = rpc_ndr_read_u16(reader);
            id->vers_minor = rpc_ndr_read_u16(reader);
        }
        out->Vector->count = kept;
    }
    out->Status = rpc_ndr_read_u32(reader);
}

void rpc_mgmt_inq_if_ids(rpc_binding_handle_t Binding, rpc_if_id_vector_t **Interfaces, u32 *Status)
{
    IfIds answer = {};
    *Interfaces = nullptr;
    *Status = ask(Binding, opInqIfIds, readIfIds, &answer);
    if (*Status == rpc_s_ok) *Status = answer.NoMemory ? rpc_s_no_memory : statusOfWire(answer.Status);
    if (*Status == rpc_s_ok)
        *Interfaces = answer.Vector;
    else
        free(answer.Vector);
}

void rpc_if_id_vector_free(rpc_if_id_vector_t **Interfaces, u32 *Status)
{
    *Status = rpc_s_ok;
    if (!Interfaces) return;
    free(*Interfaces);
    *Interfaces = nullptr;
}

static void readStatus(rpc_ndr_reader *reader, void *argument)
{
    *static_cast<u32 *>(argument) = rpc_ndr_read_u32(reader);
}

void rpc_mgmt_stop_server_listening(rpc_binding_handle_t Binding, u32 *Status)
{
    u32 answer = 0;
    *Status = ask(Binding, opStopListening, readStatus, &answer);
    if (*Status == rpc_s_ok) *Status = statusOfWire(answer);
}
