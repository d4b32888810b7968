// The client of endpoint mappers: the way to one, resolving an endpoint, entries of this host's servers.

#include "qrt_epmap.h"

#include "qrt_assoc.h"
#include "qrt_call.h"
#include "rpc_binding.h"
#include "rpc_mgmt.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

void Qrt_WriteHandle(rpc_ndr_writer *Writer, const Qrt_Context20 *Handle)
{
    rpc_ndr_write_u32(Writer, Handle->Attributes);
    rpc_ndr_write_uuid(Writer, &Handle->Id);
}

void Qrt_ReadHandle(rpc_ndr_reader *Reader, Qrt_Context20 *Handle)
{
    Handle->Attributes = rpc_ndr_read_u32(Reader);
    rpc_ndr_read_uuid(Reader, &Handle->Id);
}

bool Qrt_IsNil(const Qrt_Context20 *Handle)
{
    u32 ignored;
    return Handle->Attributes == 0 && uuid_is_nil(&Handle->Id, &ignored);
}

const u8 *Qrt_ReadTowerOctets(rpc_ndr_reader *Reader, u32 *Size)
{
    const u32 max = rpc_ndr_read_u32(Reader);
    *Size = rpc_ndr_read_u32(Reader);
    if (max != *Size || *Size > QRT_TOWER_MAX) {
        Reader->Failed = 1;
        return nullptr;
    }
    return rpc_ndr_read_octets(Reader, *Size);
}

void Qrt_WriteTowerOctets(rpc_ndr_writer *Writer, const u8 *Data, u32 Size)
{
    rpc_ndr_write_u32(Writer, Size);
    rpc_ndr_write_u32(Writer, Size);
    rpc_ndr_write_octets(Writer, Data, Size);
}

u32 Qrt_NewMapperBinding(const char *Host, bool LocalSocket, u32 ComTimeout, rpc_binding_handle_t *Out)
{
    char endpoint[32];
    u32 status;
    if (LocalSocket)
        Qrt_MapperSocketName(Qrt_MapperPort(), endpoint, sizeof endpoint);
    else
        snprintf(endpoint, sizeof endpoint, "%u", Qrt_MapperPort());
    *Out = Qrt_NewBinding(LocalSocket ? QRT_LOCAL : QRT_TCP, nullptr, Host, endpoint, "", &status);
    if (*Out) (*Out)->ComTimeout = ComTimeout;
    return status;
}

// One call of the mapper of a host, this one through its socket first. A host name of "" or a local binding is this one.
static u32 callMapper(const rpc_binding_rep *near, u16 operation, const rpc_ndr_writer *input,
                      void (*read)(rpc_ndr_reader *, void *), void *argument, u32 *fault)
{
    const bool local = !near || near->Protocol == QRT_LOCAL || Qrt_IsThisHost(near->Host);
    const char *host = local ? "" : near->Host;
    const u32 timeout = near ? near->ComTimeout : rpc_c_binding_default_timeout;
    u32 status = rpc_s_ok;
    for (const bool socket : {true, false}) {
        if (socket && !local) continue;
        rpc_binding_handle_t mapper;
        status = Qrt_NewMapperBinding(host, socket, timeout, &mapper);
        if (status != rpc_s_ok) continue;
        status = Qrt_Call(mapper, &QRT_MAPPER_ID, operation, input, read, argument, fault);
        u32 ignored;
        rpc_binding_free(&mapper, &ignored);
        if (status == rpc_s_ok || status == rpc_s_call_faulted) break;
    }
    return status;
}

// ---- resolving an endpoint

struct MapAnswer {
    Qrt_Protocol Protocol;
    bool Found;
    Qrt_Tower Tower;
    u32 Status;
};

// Handle; count; max, offset, actual count; pointers; towers; status. The first tower of the binding's protocol wins.
static void readMap(rpc_ndr_reader *reader, void *argument)
{
    MapAnswer *out = static_cast<MapAnswer *>(argument);
    Qrt_Context20 walk;
    Qrt_ReadHandle(reader, &walk);
    rpc_ndr_read_u32(reader);
    rpc_ndr_read_u32(reader);
    const u32 offset = rpc_ndr_read_u32(reader);
    const u32 count = rpc_ndr_read_u32(reader);
    if (offset != 0 || count > rpc_ndr_left(reader) / 4) reader->Failed = 1;
    const u8 *pointers = rpc_ndr_read_octets(reader, count * 4ul);
    for (u32 at = 0; at < count && !reader->Failed; ++at) {
        static constexpr u8 none[4] = {};
        if (memcmp(pointers + at * 4ul, none, sizeof none) == 0) continue;
        u32 size;
        const u8 *octets = Qrt_ReadTowerOctets(reader, &size);
        Qrt_Tower tower;
        if (!octets || out->Found || !Qrt_ReadTower(octets, size, &tower)) continue;
        if (!tower.Known || tower.Protocol != out->Protocol) continue;
        if (tower.Protocol == QRT_TCP && tower.Port == 0) continue;
        out->Tower = tower;
        out->Found = true;
    }
    out->Status = rpc_ndr_read_u32(reader);
}

static void writeMap(rpc_ndr_writer *input, const rpc_binding_rep *binding, const rpc_if_id_t *interface)
{
    Qrt_Tower wanted = {};
    wanted.Interface = *interface;
    wanted.Protocol = binding->Protocol;
    u8 tower[QRT_TOWER_SIZE];
    const size_t size = Qrt_WriteTower(&wanted, tower);
    static constexpr Qrt_Context20 none = {};
    rpc_ndr_write_u32(input, 1);
    rpc_ndr_write_uuid(input, &binding->Object);
    rpc_ndr_write_u32(input, 2);
    Qrt_WriteTowerOctets(input, tower, static_cast<u32>(size));
    Qrt_WriteHandle(input, &none);
    rpc_ndr_write_u32(input, 4); // as many as an answer of one small PDU holds
}

static u32 askMap(const rpc_binding_rep *binding, const rpc_if_id_t *interface, char **endpoint)
{
    u8 room[512];
    rpc_ndr_writer input;
    rpc_ndr_writer_init(&input, room, sizeof room, 0);
    writeMap(&input, binding, interface);
    MapAnswer answer = {};
    answer.Protocol = binding->Protocol;
    u32 fault;
    const u32 status = callMapper(binding, QRT_EPT_MAP, &input, readMap, &answer, &fault);
    rpc_ndr_writer_free(&input);
    if (status == rpc_s_call_faulted) return rpc_s_rpcd_comm_failure;
    if (status != rpc_s_ok) return status;
    if (!answer.Found) return rpc_s_endpoint_not_found;
    char text[QRT_PATH_SIZE];
    if (binding->Protocol == QRT_TCP)
        snprintf(text, sizeof text, "%u", answer.Tower.Port);
    else
        snprintf(text, sizeof text, "%s", answer.Tower.Path);
    *endpoint = reinterpret_cast<char *>(Qrt_NewString(text));
    return *endpoint ? rpc_s_ok : rpc_s_no_memory;
}

u32 Qrt_ResolveEndpoint(rpc_binding_handle_t Binding, const rpc_if_id_t *Interface)
{
    pthread_mutex_lock(&Binding->Lock);
    const bool known = *Binding->Endpoint != '\0';
    pthread_mutex_unlock(&Binding->Lock);
    if (known) return rpc_s_ok;

    char *found = nullptr;
    const u32 status = askMap(Binding, Interface, &found);
    if (status != rpc_s_ok) return status;
    pthread_mutex_lock(&Binding->Lock);
    if (*Binding->Endpoint == '\0') { // another thread may have been first
        char *before = Binding->Endpoint;
        Binding->Endpoint = found;
        found = before;
    }
    pthread_mutex_unlock(&Binding->Lock);
    free(found);
    return rpc_s_ok;
}

// ---- entries

static void readChanged(rpc_ndr_reader *reader, void *argument)
{
    *static_cast<u32 *>(argument) = rpc_ndr_read_u32(reader);
}

u32 Qrt_EptChange(u16 Operation, const Qrt_Registration *Entry, bool Replace)
{
    u8 room[1024];
    rpc_ndr_writer input;
    rpc_ndr_writer_init(&input, room, sizeof room, 0);
    rpc_ndr_write_u32(&input, 1); // number of entries, then the conformant array of them
    rpc_ndr_write_u32(&input, 1);
    rpc_ndr_write_uuid(&input, &Entry->Object);
    rpc_ndr_write_u32(&input, 1);
    rpc_ndr_write_string(&input, 0, Entry->Annotation);
    Qrt_WriteTowerOctets(&input, Entry->Tower, Entry->TowerSize);
    if (Operation == QRT_EPT_INSERT) rpc_ndr_write_u32(&input, Replace ? 1 : 0);
    u32 answer = rpc_s_ok;
    u32 fault;
    const u32 status = callMapper(nullptr, Operation, &input, readChanged, &answer, &fault);
    rpc_ndr_writer_free(&input);
    if (status == rpc_s_call_faulted) return ept_s_cant_perform_op;
    return status == rpc_s_ok ? answer : status;
}
