// Binding handles.
//
// A handle is its parts as text plus a group, the connections to one endpoint. The group comes into being with the
// first call, when the endpoint is known; copies of a handle share it. Lock guards the two fields that a first call
// fills in, so that any number of threads may make that call at once.

#include "rpc_binding.h"

#include "qrt_assoc.h"
#include "qrt_int.h"
#include "rpc_mgmt.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

constexpr size_t hostSize = 255;

// Published protocol sequences that this runtime does not speak: a name that is in no list is malformed instead.
static constexpr const char *foreignProtocols[] = {
    "ncacn_np",     "ncacn_http",    "ncacn_nb_tcp",   "ncacn_nb_nb",       "ncacn_nb_ipx",     "ncacn_spx",
    "ncacn_at_dsp", "ncacn_vns_spp", "ncacn_dnet_nsp", "ncacn_osi_dna",     "ncadg_ip_udp",     "ncadg_ipx",
    "ncadg_mq",     "ncadg_dds",     "ncalrpc",        "ncacn_unix_stream", "ncadg_unix_dgram",
};

static u32 protocolOf(const char *name, Qrt_Protocol *protocol)
{
    for (const Qrt_Protocol known : {QRT_TCP, QRT_LOCAL}) {
        if (strcmp(name, Qrt_ProtocolName[known]) == 0) {
            *protocol = known;
            return rpc_s_ok;
        }
    }
    for (const char *foreign : foreignProtocols) {
        if (strcmp(name, foreign) == 0) return rpc_s_protseq_not_supported;
    }
    return rpc_s_invalid_rpc_protseq;
}

static bool isHost(const char *host)
{
    if (strlen(host) > hostSize) return false;
    for (; *host; ++host) {
        if (isspace(static_cast<unsigned char>(*host)) || iscntrl(static_cast<unsigned char>(*host))) return false;
    }
    return true;
}

static bool isPort(const char *text)
{
    u32 port = 0;
    if (*text == '\0' || strlen(text) > 5) return false;
    for (; *text; ++text) {
        if (*text < '0' || *text > '9') return false;
        port = port * 10 + static_cast<u32>(*text - '0');
    }
    return port >= 1 && port <= 65535;
}

static bool isEndpoint(Qrt_Protocol protocol, const char *endpoint)
{
    if (*endpoint == '\0') return true;
    if (protocol == QRT_TCP) return isPort(endpoint);
    char path[QRT_PATH_SIZE];
    return Qrt_LocalPath(endpoint, path, sizeof path);
}

static char *newChars(const char *text)
{
    return reinterpret_cast<char *>(Qrt_NewString(text));
}

static void freeParts(rpc_binding_rep *binding)
{
    free(binding->Host);
    free(binding->Options);
    free(binding->Endpoint);
    pthread_mutex_destroy(&binding->Lock);
    binding->Mark = 0;
    free(binding);
}

rpc_binding_handle_t Qrt_NewBinding(Qrt_Protocol Protocol, const uuid_t *Object, const char *Host, const char *Endpoint,
                                    const char *Options, u32 *Status)
{
    if (!isHost(Host)) {
        *Status = rpc_s_inval_net_addr;
        return nullptr;
    }
    if (!isEndpoint(Protocol, Endpoint)) {
        *Status = rpc_s_invalid_endpoint_format;
        return nullptr;
    }
    *Status = rpc_s_no_memory;
    rpc_binding_rep *binding = static_cast<rpc_binding_rep *>(Plat_Sys.Malloc(sizeof(rpc_binding_rep)));
    if (!binding) return nullptr;
    memset(binding, 0, sizeof *binding);
    binding->Mark = QRT_BINDING_MARK;
    binding->Protocol = Protocol;
    if (Object) binding->Object = *Object;
    binding->ComTimeout = rpc_c_binding_default_timeout;
    pthread_mutex_init(&binding->Lock, nullptr);
    binding->Host = newChars(Host);
    binding->Endpoint = newChars(Endpoint);
    binding->Options = newChars(Options);
    if (!binding->Host || !binding->Endpoint || !binding->Options) {
        freeParts(binding);
        return nullptr;
    }
    *Status = rpc_s_ok;
    return binding;
}

void rpc_binding_from_string_binding(const unsigned_char_t *StringBinding, rpc_binding_handle_t *Binding, u32 *Status)
{
    *Binding = nullptr;
    unsigned_char_p_t object, name, host, endpoint, options;
    rpc_string_binding_parse(StringBinding, &object, &name, &host, &endpoint, &options, Status);
    if (*Status != rpc_s_ok) return;

    uuid_t objectId;
    Qrt_Protocol protocol = QRT_TCP;
    uuid_from_string(object, &objectId, Status);
    if (*Status == rpc_s_ok) *Status = protocolOf(Qrt_Chars(name), &protocol);
    if (*Status == rpc_s_ok)
        *Binding =
            Qrt_NewBinding(protocol, &objectId, Qrt_Chars(host), Qrt_Chars(endpoint), Qrt_Chars(options), Status);

    u32 ignored;
    for (unsigned_char_p_t *text : {&object, &name, &host, &endpoint, &options}) rpc_string_free(text, &ignored);
}

void rpc_binding_to_string_binding(rpc_binding_handle_t Binding, unsigned_char_p_t *StringBinding, u32 *Status)
{
    *StringBinding = nullptr;
    *Status = rpc_s_invalid_binding;
    if (!Qrt_IsBinding(Binding)) return;
    char object[QRT_UUID_TEXT];
    Qrt_UuidText(&Binding->Object, object);
    pthread_mutex_lock(&Binding->Lock);
    rpc_string_binding_compose(Qrt_Text(object), Qrt_Text(Qrt_ProtocolName[Binding->Protocol]), Qrt_Text(Binding->Host),
                               Qrt_Text(Binding->Endpoint), Qrt_Text(Binding->Options), StringBinding, Status);
    pthread_mutex_unlock(&Binding->Lock);
}

void rpc_binding_free(rpc_binding_handle_t *Binding, u32 *Status)
{
    *Status = rpc_s_invalid_binding;
    if (!Binding || !Qrt_IsBinding(*Binding)) return;
    Qrt_GroupRelease((*Binding)->Group);
    freeParts(*Binding);
    *Binding = nullptr;
    *Status = rpc_s_ok;
}

void rpc_binding_copy(rpc_binding_handle_t Source, rpc_binding_handle_t *Destination, u32 *Status)
{
    *Destination = nullptr;
    *Status = rpc_s_invalid_binding;
    if (!Qrt_IsBinding(Source)) return;
    pthread_mutex_lock(&Source->Lock);
    rpc_binding_rep *copy =
        Qrt_NewBinding(Source->Protocol, &Source->Object, Source->Host, Source->Endpoint, Source->Options, Status);
    if (copy) {
        copy->ComTimeout = Source->ComTimeout;
        copy->CallTimeout = Source->CallTimeout;
        copy->Group = Qrt_GroupKeep(Source->Group);
    }
    pthread_mutex_unlock(&Source->Lock);
    *Destination = copy;
}

void rpc_binding_reset(rpc_binding_handle_t Binding, u32 *Status)
{
    *Status = rpc_s_invalid_binding;
    if (!Qrt_IsBinding(Binding)) return;
    pthread_mutex_lock(&Binding->Lock);
    Qrt_GroupRelease(Binding->Group);
    Binding->Group = nullptr;
    Binding->Endpoint[0] = '\0';
    pthread_mutex_unlock(&Binding->Lock);
    *Status = rpc_s_ok;
}

void rpc_binding_inq_object(rpc_binding_handle_t Binding, uuid_t *Object, u32 *Status)
{
    *Status = Qrt_IsBinding(Binding) ? rpc_s_ok : rpc_s_invalid_binding;
    if (*Status == rpc_s_ok) *Object = Binding->Object;
}

void rpc_binding_set_object(rpc_binding_handle_t Binding, const uuid_t *Object, u32 *Status)
{
    *Status = Qrt_IsBinding(Binding) ? rpc_s_ok : rpc_s_invalid_binding;
    if (*Status == rpc_s_ok) Binding->Object = Object ? *Object : uuid_t{};
}

void rpc_if_inq_id(rpc_if_handle_t Interface, rpc_if_id_t *Id, u32 *Status)
{
    *Status = rpc_s_invalid_arg;
    if (!Interface) return;
    *Status = rpc_s_unknown_ifspec_vers;
    if (Interface->Size != RPC_IF_REP_SIZE) return;
    *Id = {Interface->Interface, static_cast<u16>(Interface->Version & 0xFFFF),
           static_cast<u16>(Interface->Version >> 16)};
    *Status = rpc_s_ok;
}

void rpc_ep_resolve_binding(rpc_binding_handle_t Binding, rpc_if_handle_t Interface, u32 *Status)
{
    rpc_if_id_t id;
    rpc_if_inq_id(Interface, &id, Status);
    if (!Qrt_IsBinding(Binding)) *Status = rpc_s_invalid_binding;
    if (*Status == rpc_s_ok) *Status = Qrt_ResolveEndpoint(Binding, &id);
}

// ---- time-outs

// Seconds of each communication time-out.
static constexpr u32 comSeconds[rpc_c_binding_max_timeout + 1] = {1, 2, 3, 5, 10, 20, 40, 80, 160, 320};

i64 Qrt_ComMilliseconds(u32 Timeout)
{
    return Timeout > rpc_c_binding_max_timeout ? QRT_NEVER : static_cast<i64>(comSeconds[Timeout]) * 1000;
}

void rpc_mgmt_set_com_timeout(rpc_binding_handle_t Binding, u32 Timeout, u32 *Status)
{
    *Status = rpc_s_invalid_binding;
    if (!Qrt_IsBinding(Binding)) return;
    *Status = rpc_s_invalid_timeout;
    if (Timeout > rpc_c_binding_infinite_timeout) return;
    Binding->ComTimeout = Timeout;
    *Status = rpc_s_ok;
}

void rpc_mgmt_inq_com_timeout(rpc_binding_handle_t Binding, u32 *Timeout, u32 *Status)
{
    *Status = Qrt_IsBinding(Binding) ? rpc_s_ok : rpc_s_invalid_binding;
    if (*Status == rpc_s_ok) *Timeout = Binding->ComTimeout;
}

void rpc_mgmt_set_call_timeout(rpc_binding_handle_t Binding, u32 Seconds, u32 *Status)
{
    *Status = Qrt_IsBinding(Binding) ? rpc_s_ok : rpc_s_invalid_binding;
    if (*Status == rpc_s_ok) Binding->CallTimeout = Seconds;
}

void rpc_mgmt_inq_call_timeout(rpc_binding_handle_t Binding, u32 *Seconds, u32 *Status)
{
    *Status = Qrt_IsBinding(Binding) ? rpc_s_ok : rpc_s_invalid_binding;
    if (*Status == rpc_s_ok) *Seconds = Binding->CallTimeout;
}
