#ifndef QRT_INT_H
#define QRT_INT_H

// What the files of this runtime share: strings, protocols, bindings, clocks.

#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "plat_sys.h"
#include "rpc_types.h"

constexpr size_t QRT_UUID_TEXT = 37;
void Qrt_UuidText(const uuid_t *Uuid, char *Text);

// A copy for rpc_string_free; NULL without memory.
unsigned_char_p_t Qrt_NewString(const char *Text);

inline const char *Qrt_Chars(const unsigned_char_t *Text)
{
    return reinterpret_cast<const char *>(Text);
}
inline const unsigned_char_t *Qrt_Text(const char *Text)
{
    return reinterpret_cast<const unsigned_char_t *>(Text);
}

// ---- protocols

enum Qrt_Protocol : u8 { QRT_TCP = 0, QRT_LOCAL = 1 };

constexpr const char *Qrt_ProtocolName[] = {"ncacn_ip_tcp", "ncacn_vela_ipc"};

constexpr size_t QRT_PATH_SIZE = sizeof(sockaddr_un::sun_path);

// The socket path of a local endpoint: itself when it has a slash, else a name below the run directory.
bool Qrt_LocalPath(const char *Endpoint, char *Out, size_t Size);

// True for "" and for this host's own network name.
bool Qrt_IsThisHost(const char *Host);

// The port of endpoint mappers, and the name of their local socket, which differs by port.
u16 Qrt_MapperPort();
void Qrt_MapperSocketName(u16 Port, char *Out, size_t Size);

constexpr uuid_t QRT_NDR_SYNTAX = {0x8a885d04, 0x1ceb, 0x11c9, 0x9f, 0xe8, {0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}};
constexpr uuid_t QRT_MAPPER_IF = {0xe1af8308, 0x5d1f, 0x11c9, 0x91, 0xa4, {0x08, 0x00, 0x2b, 0x14, 0xa0, 0xfa}};
constexpr uuid_t QRT_MGMT_IF = {0xafa8bd80, 0x7d8a, 0x11c9, 0xbe, 0xf4, {0x08, 0x00, 0x2b, 0x10, 0x29, 0x89}};

inline bool Qrt_UuidEqual(const uuid_t &One, const uuid_t &Other)
{
    return __builtin_memcmp(&One, &Other, sizeof One) == 0;
}

// ---- clocks

// A moment in milliseconds of the monotonic clock; QRT_NEVER is no limit.
constexpr i64 QRT_NEVER = -1;
i64 Qrt_Now();
i64 Qrt_After(i64 Milliseconds); // QRT_NEVER stays
i32 Qrt_Remaining(i64 Deadline); // for poll: -1 without limit, 0 when past

// ---- bindings

struct Qrt_Group;

constexpr u32 QRT_BINDING_MARK = 0x51524233;

struct rpc_binding_rep {
    u32 Mark;
    Qrt_Protocol Protocol;
    uuid_t Object;
    char *Host; // "" for this host
    char *Options; // as they were given
    u32 ComTimeout; // 0 to 10
    u32 CallTimeout; // seconds, 0 = none
    pthread_mutex_t Lock; // guards Endpoint and Group
    char *Endpoint; // "" until it is known
    Qrt_Group *Group; // connections; shared with copies
};

inline bool Qrt_IsBinding(const rpc_binding_rep *Binding)
{
    return Binding && Binding->Mark == QRT_BINDING_MARK;
}

// A binding of these parts, checked; NULL with the reason.
rpc_binding_handle_t Qrt_NewBinding(Qrt_Protocol Protocol, const uuid_t *Object, const char *Host, const char *Endpoint,
                                    const char *Options, u32 *Status);

// Milliseconds of the binding's communication time-out; QRT_NEVER without limit.
i64 Qrt_ComMilliseconds(u32 Timeout);

// Gives the binding the endpoint that its host's mapper knows for an interface; rpc_s_ok when it has one already.
u32 Qrt_ResolveEndpoint(rpc_binding_handle_t Binding, const rpc_if_id_t *Interface);

#endif
