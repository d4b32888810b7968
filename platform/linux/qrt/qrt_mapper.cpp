// The endpoint mapper.
//
// Entries stand in one array in the order of their numbers, which only grow. A lookup's context handle remembers the
// number that the next answer begins with, so that entries may come and go during a walk and none is told twice.
// Handles end with the connection that made them.

#include "rpc_mapper.h"

#include "qrt_epmap.h"
#include "qrt_stream.h"
#include "rpc_mgmt.h"
#include "rpc_server.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

constexpr u32 maxLookups = 4096;
constexpr u32 lookupsOfOne = 64; // handles of one connection
constexpr u32 maxAnswer = 500; // entries in one answer
constexpr i64 probeMilliseconds = 1000;

struct Entry {
    u64 Number;
    uuid_t Object;
    Qrt_Tower Tower;
    char Annotation[QRT_ANNOTATION_SIZE];
    u32 TowerSize;
    u8 *TowerOctets;
};

struct Query {
    u32 Type;
    uuid_t Object;
    rpc_if_id_t Interface;
    u32 VersionOption;
};

struct Lookup {
    bool Used;
    uuid_t Id;
    u64 Association;
    Query Asked;
    u64 Next; // number of the first entry to look at
};

struct rpc_mapper {
    rpc_server *Server;
    u16 Port;
    u32 MaxEntries;
    char Socket[QRT_PATH_SIZE];
    pthread_mutex_t Lock; // guards all below
    u64 NextNumber;
    u32 Count;
    u32 Capacity;
    Entry *Entries;
    Lookup *Lookups; // maxLookups of them
};

// ---- entries

static void removeAt(rpc_mapper *mapper, u32 at)
{
    free(mapper->Entries[at].TowerOctets);
    memmove(mapper->Entries + at, mapper->Entries + at + 1, (mapper->Count - at - 1) * sizeof(Entry));
    --mapper->Count;
}

static bool sameInterface(const Qrt_Tower *one, const Qrt_Tower *other)
{
    return memcmp(&one->Interface, &other->Interface, sizeof one->Interface) == 0;
}

static bool sameTower(const Entry *entry, const Entry *other)
{
    return entry->TowerSize == other->TowerSize &&
           memcmp(entry->TowerOctets, other->TowerOctets, entry->TowerSize) == 0;
}

// What a new entry pushes out: its like, and with Replace all others of its interface, object and protocol.
static bool isReplaced(const Entry *entry, const Entry *with, bool replace)
{
    if (!Qrt_UuidEqual(entry->Object, with->Object)) return false;
    if (sameTower(entry, with)) return true;
    return replace && entry->Tower.Known && with->Tower.Known && entry->Tower.Protocol == with->Tower.Protocol &&
           sameInterface(&entry->Tower, &with->Tower);
}

static u32 insertEntry(rpc_mapper *mapper, Entry *entry, bool replace)
{
    for (u32 at = mapper->Count; at-- > 0;) {
        if (isReplaced(&mapper->Entries[at], entry, replace)) removeAt(mapper, at);
    }
    if (mapper->Count >= mapper->MaxEntries) return ept_s_no_memory;
    if (mapper->Count == mapper->Capacity) {
        const u32 capacity = mapper->Capacity == 0 ? 64 : mapper->Capacity * 2;
        Entry *entries = static_cast<Entry *>(Plat_Sys.Realloc(mapper->Entries, capacity * sizeof(Entry)));
        if (!entries) return ept_s_no_memory;
        mapper->Entries = entries;
        mapper->Capacity = capacity;
    }
    entry->Number = mapper->NextNumber++;
    mapper->Entries[mapper->Count++] = *entry;
    return rpc_s_ok;
}

static u32 deleteEntry(rpc_mapper *mapper, const Entry *entry)
{
    for (u32 at = 0; at < mapper->Count; ++at) {
        const Entry *found = &mapper->Entries[at];
        if (Qrt_UuidEqual(found->Object, entry->Object) && sameTower(found, entry)) {
            removeAt(mapper, at);
            return rpc_s_ok;
        }
    }
    return ept_s_not_registered;
}

// Entries of an insert or delete, as they come: all first, then their towers. NULL when they are malformed.
static Entry *readEntries(rpc_ndr_reader *in, u32 *count)
{
    *count = rpc_ndr_read_u32(in);
    const u32 max = rpc_ndr_read_u32(in);
    if (max != *count || *count > rpc_ndr_left(in) / 28) in->Failed = 1; // object, pointer and counts take 28 octets
    if (in->Failed) return nullptr;
    Entry *entries = static_cast<Entry *>(calloc(*count + 1, sizeof(Entry)));
    if (!entries) return nullptr;
    for (u32 at = 0; at < *count; ++at) {
        rpc_ndr_read_align(in, 4);
        rpc_ndr_read_uuid(in, &entries[at].Object);
        entries[at].TowerSize = rpc_ndr_read_u32(in); // a pointer so far
        rpc_ndr_read_string(in, 0, entries[at].Annotation, sizeof entries[at].Annotation);
    }
    for (u32 at = 0; at < *count && !in->Failed; ++at) {
        Entry *entry = &entries[at];
        const u8 *octets = entry->TowerSize != 0 ? Qrt_ReadTowerOctets(in, &entry->TowerSize) : nullptr;
        if (octets && Qrt_ReadTower(octets, entry->TowerSize, &entry->Tower))
            entry->TowerOctets = static_cast<u8 *>(malloc(entry->TowerSize));
        if (entry->TowerOctets) memcpy(entry->TowerOctets, octets, entry->TowerSize);
    }
    return entries;
}

static void change(rpc_server_call *call, bool insert)
{
    rpc_mapper *mapper = static_cast<rpc_mapper *>(call->Context);
    u32 count;
    Entry *entries = readEntries(&call->In, &count);
    const bool replace = insert && rpc_ndr_read_u32(&call->In) != 0;
    u32 status = rpc_s_ok;
    if (!call->Local) status = ept_s_cant_perform_op; // only this host's servers are in this host's map
    if (!entries) status = ept_s_no_memory;
    if (call->In.Failed) status = ept_s_invalid_entry;
    pthread_mutex_lock(&mapper->Lock);
    for (u32 at = 0; at < count && status == rpc_s_ok; ++at) {
        Entry *entry = &entries[at];
        if (!entry->TowerOctets) {
            status = ept_s_invalid_entry;
        } else if (insert) {
            status = insertEntry(mapper, entry, replace);
            if (status == rpc_s_ok) entry->TowerOctets = nullptr; // the map's now
        } else {
            status = deleteEntry(mapper, entry);
        }
    }
    pthread_mutex_unlock(&mapper->Lock);
    for (u32 at = 0; entries && at < count; ++at) free(entries[at].TowerOctets);
    free(entries);
    if (call->In.Failed) return; // a fault tells it
    rpc_ndr_write_u32(&call->Out, status);
}

static void eptInsert(rpc_server_call *call)
{
    change(call, true);
}
static void eptDelete(rpc_server_call *call)
{
    change(call, false);
}

// ---- matching

static bool versionMatches(const rpc_if_id_t *entry, const rpc_if_id_t *asked, u32 option)
{
    switch (option) {
    case rpc_c_vers_all: return true;
    case rpc_c_vers_compatible: return entry->vers_major == asked->vers_major && entry->vers_minor >= asked->vers_minor;
    case rpc_c_vers_exact: return entry->vers_major == asked->vers_major && entry->vers_minor == asked->vers_minor;
    case rpc_c_vers_major_only: return entry->vers_major == asked->vers_major;
    default:
        return entry->vers_major < asked->vers_major ||
               (entry->vers_major == asked->vers_major && entry->vers_minor <= asked->vers_minor);
    }
}

static bool matches(const Entry *entry, const Query *query)
{
    if ((query->Type & rpc_c_ep_match_by_obj) && !Qrt_UuidEqual(entry->Object, query->Object)) return false;
    if ((query->Type & rpc_c_ep_match_by_if) == 0) return true;
    return Qrt_UuidEqual(entry->Tower.Interface.uuid, query->Interface.uuid) &&
           versionMatches(&entry->Tower.Interface, &query->Interface, query->VersionOption);
}

// The first entry with this number or a higher one.
static u32 positionOf(const rpc_mapper *mapper, u64 number)
{
    u32 low = 0;
    for (u32 high = mapper->Count; low < high;) {
        const u32 middle = low + (high - low) / 2;
        if (mapper->Entries[middle].Number < number)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

static u32 nextMatch(const rpc_mapper *mapper, u32 at, const Query *query)
{
    while (at < mapper->Count && !matches(&mapper->Entries[at], query)) ++at;
    return at;
}

// ---- context handles

static Lookup *findLookup(rpc_mapper *mapper, const uuid_t *id)
{
    for (u32 at = 0; at < maxLookups; ++at) {
        if (mapper->Lookups[at].Used && Qrt_UuidEqual(mapper->Lookups[at].Id, *id)) return &mapper->Lookups[at];
    }
    return nullptr;
}

static Lookup *newLookup(rpc_mapper *mapper, u64 association)
{
    Lookup *free = nullptr;
    u32 own = 0;
    for (u32 at = 0; at < maxLookups; ++at) {
        Lookup *lookup = &mapper->Lookups[at];
        if (lookup->Used)
            own += lookup->Association == association;
        else if (!free)
            free = lookup;
    }
    u32 status;
    if (!free || own >= lookupsOfOne) return nullptr;
    uuid_create(&free->Id, &status);
    if (status != uuid_s_ok) return nullptr;
    free->Used = true;
    free->Association = association;
    return free;
}

static void runDown(void *context, u64 association)
{
    rpc_mapper *mapper = static_cast<rpc_mapper *>(context);
    pthread_mutex_lock(&mapper->Lock);
    for (u32 at = 0; at < maxLookups; ++at) {
        if (mapper->Lookups[at].Association == association) mapper->Lookups[at].Used = false;
    }
    pthread_mutex_unlock(&mapper->Lock);
}

// ---- lookup

static bool readQuery(rpc_ndr_reader *in, Query *query)
{
    *query = {};
    query->Type = rpc_ndr_read_u32(in);
    const bool hasObject = rpc_ndr_read_u32(in) != 0;
    if (hasObject) rpc_ndr_read_uuid(in, &query->Object);
    const bool hasInterface = rpc_ndr_read_u32(in) != 0;
    if (hasInterface) {
        rpc_ndr_read_uuid(in, &query->Interface.uuid);
        query->Interface.vers_major = rpc_ndr_read_u16(in);
        query->Interface.vers_minor = rpc_ndr_read_u16(in);
    }
    query->VersionOption = rpc_ndr_read_u32(in);
    const bool byInterface = (query->Type & rpc_c_ep_match_by_if) != 0;
    const bool versionGood = query->VersionOption >= rpc_c_vers_all && query->VersionOption <= rpc_c_vers_upto;
    if (query->Type > rpc_c_ep_match_by_both || (byInterface && (!hasInterface || !versionGood))) return false;
    return hasObject || (query->Type & rpc_c_ep_match_by_obj) == 0;
}

static void writeAnswer(rpc_ndr_writer *out, const Qrt_Context20 *walk, u32 max, const Entry *const *found, u32 count,
                        u32 status)
{
    Qrt_WriteHandle(out, walk);
    rpc_ndr_write_u32(out, count);
    rpc_ndr_write_u32(out, max);
    rpc_ndr_write_u32(out, 0);
    rpc_ndr_write_u32(out, count);
    for (u32 at = 0; at < count; ++at) {
        rpc_ndr_write_align(out, 4);
        rpc_ndr_write_uuid(out, &found[at]->Object);
        rpc_ndr_write_u32(out, at + 1);
        rpc_ndr_write_string(out, 0, found[at]->Annotation);
    }
    for (u32 at = 0; at < count; ++at) Qrt_WriteTowerOctets(out, found[at]->TowerOctets, found[at]->TowerSize);
    rpc_ndr_write_u32(out, status);
}

// Under the lock. A walk that ends with this answer gives its handle back; one that goes on gets or keeps one.
static void answerLookup(rpc_mapper *mapper, rpc_server_call *call, const Query *asked, Lookup *lookup, u32 max)
{
    const Entry *found[maxAnswer];
    const Query query = lookup ? lookup->Asked : *asked;
    u32 count = 0;
    u32 at = nextMatch(mapper, lookup ? positionOf(mapper, lookup->Next) : 0, &query);
    while (at < mapper->Count && count < max && count < maxAnswer) {
        found[count++] = &mapper->Entries[at];
        at = nextMatch(mapper, at + 1, &query);
    }
    u32 status = count != 0 || max == 0 ? rpc_s_ok : ept_s_not_registered;
    if (at < mapper->Count) {
        if (!lookup) lookup = newLookup(mapper, call->Association);
        if (lookup) {
            lookup->Asked = query;
            lookup->Next = mapper->Entries[at].Number;
        } else {
            status = ept_s_no_memory;
            count = 0;
        }
    } else if (lookup) {
        lookup->Used = false;
        lookup = nullptr;
    }
    const Qrt_Context20 walk = {0, lookup ? lookup->Id : uuid_t{}};
    writeAnswer(&call->Out, &walk, max, found, count, status);
}

static void eptLookup(rpc_server_call *call)
{
    rpc_mapper *mapper = static_cast<rpc_mapper *>(call->Context);
    Query query;
    const bool good = readQuery(&call->In, &query);
    Qrt_Context20 walk;
    Qrt_ReadHandle(&call->In, &walk);
    const u32 max = rpc_ndr_read_u32(&call->In);
    if (call->In.Failed) return;
    const bool going = !Qrt_IsNil(&walk);
    if (!good && !going) {
        static constexpr Qrt_Context20 none = {};
        writeAnswer(&call->Out, &none, max, nullptr, 0, rpc_s_wire(rpc_s_invalid_inquiry_type));
        return;
    }
    pthread_mutex_lock(&mapper->Lock);
    Lookup *lookup = going ? findLookup(mapper, &walk.Id) : nullptr;
    if (going && !lookup)
        call->Fault = nca_s_fault_context_mismatch;
    else
        answerLookup(mapper, call, &query, lookup, max);
    pthread_mutex_unlock(&mapper->Lock);
}

static void eptFree(rpc_server_call *call)
{
    rpc_mapper *mapper = static_cast<rpc_mapper *>(call->Context);
    Qrt_Context20 walk;
    Qrt_ReadHandle(&call->In, &walk);
    pthread_mutex_lock(&mapper->Lock);
    Lookup *lookup = call->In.Failed ? nullptr : findLookup(mapper, &walk.Id);
    if (lookup) lookup->Used = false;
    pthread_mutex_unlock(&mapper->Lock);
    if (!lookup) {
        call->Fault = nca_s_fault_context_mismatch;
        return;
    }
    static constexpr Qrt_Context20 none = {};
    Qrt_WriteHandle(&call->Out, &none);
    rpc_ndr_write_u32(&call->Out, rpc_s_ok);
}

// ---- map

// An entry for the object itself goes before one for any object.
static bool serves(const Entry *entry, const uuid_t *object, const Qrt_Tower *wanted, bool anyObject)
{
    u32 ignored;
    const bool objectGood =
        anyObject ? uuid_is_nil(&entry->Object, &ignored) != 0 : Qrt_UuidEqual(entry->Object, *object);
    return objectGood && entry->Tower.Known && entry->Tower.Protocol == wanted->Protocol &&
           Qrt_UuidEqual(entry->Tower.Interface.uuid, wanted->Interface.uuid) &&
           versionMatches(&entry->Tower.Interface, &wanted->Interface, rpc_c_vers_compatible);
}

static u32 findServing(const rpc_mapper *mapper, const uuid_t *object, const Qrt_Tower *wanted, u32 max,
                       const Entry **found)
{
    u32 ignored;
    u32 count = 0;
    for (const bool anyObject : {false, true}) {
        if (anyObject && uuid_is_nil(object, &ignored)) break; // the first round was for none already
        for (u32 at = 0; at < mapper->Count && count < max; ++at) {
            if (serves(&mapper->Entries[at], object, wanted, anyObject)) found[count++] = &mapper->Entries[at];
        }
    }
    return count;
}

static void eptMap(rpc_server_call *call)
{
    rpc_mapper *mapper = static_cast<rpc_mapper *>(call->Context);
    rpc_ndr_reader *in = &call->In;
    uuid_t object = {};
    Qrt_Tower wanted = {};
    if (rpc_ndr_read_u32(in) != 0) rpc_ndr_read_uuid(in, &object);
    if (rpc_ndr_read_u32(in) != 0) {
        u32 size;
        const u8 *octets = Qrt_ReadTowerOctets(in, &size);
        if (octets && !Qrt_ReadTower(octets, size, &wanted)) wanted.Known = false;
    }
    Qrt_Context20 walk;
    Qrt_ReadHandle(in, &walk);
    const u32 asked = rpc_ndr_read_u32(in);
    if (in->Failed) return;
    const Entry *found[maxAnswer];
    pthread_mutex_lock(&mapper->Lock);
    const u32 max = asked < maxAnswer ? asked : maxAnswer;
    const u32 count = wanted.Known ? findServing(mapper, &object, &wanted, max, found) : 0;
    static constexpr Qrt_Context20 none = {};
    Qrt_WriteHandle(&call->Out, &none);
    rpc_ndr_write_u32(&call->Out, count);
    rpc_ndr_write_u32(&call->Out, asked);
    rpc_ndr_write_u32(&call->Out, 0);
    rpc_ndr_write_u32(&call->Out, count);
    for (u32 at = 0; at < count; ++at) rpc_ndr_write_u32(&call->Out, at + 1);
    for (u32 at = 0; at < count; ++at) Qrt_WriteTowerOctets(&call->Out, found[at]->TowerOctets, found[at]->TowerSize);
    pthread_mutex_unlock(&mapper->Lock);
    rpc_ndr_write_u32(&call->Out, count != 0 ? rpc_s_ok : ept_s_not_registered);
}

static void eptInqObject(rpc_server_call *call)
{
    static constexpr uuid_t none = {};
    rpc_ndr_write_uuid(&call->Out, &none);
    rpc_ndr_write_u32(&call->Out, rpc_s_ok);
}

static void eptMgmtDelete(rpc_server_call *call)
{
    rpc_ndr_write_u32(&call->Out, ept_s_cant_perform_op);
}

static constexpr rpc_server_operation operations[QRT_EPT_OPERATIONS] = {
    eptInsert, eptDelete, eptLookup, eptMap, eptFree, eptInqObject, eptMgmtDelete,
};

// ---- the service

static bool listenOn(rpc_mapper *mapper, const rpc_mapper_options *options, u32 *status)
{
    const u16 port = options->Port < 0 ? Qrt_MapperPort() : static_cast<u16>(options->Port);
    rpc_server_use_tcp(mapper->Server, options->Address, port, &mapper->Port, status);
    if (*status != rpc_s_ok || options->NoLocalSocket) return *status == rpc_s_ok;
    char name[32];
    Qrt_MapperSocketName(mapper->Port, name, sizeof name);
    rpc_server_use_local(mapper->Server, name, status);
    if (*status == rpc_s_ok) Qrt_LocalPath(name, mapper->Socket, sizeof mapper->Socket);
    return *status == rpc_s_ok;
}

rpc_mapper *rpc_mapper_start(const rpc_mapper_options *Options, u32 *Status)
{
    static constexpr rpc_mapper_options standard = {nullptr, -1, 0, 0, 0};
    const rpc_mapper_options *options = Options ? Options : &standard;
    *Status = rpc_s_no_memory;
    rpc_mapper *mapper = static_cast<rpc_mapper *>(calloc(1, sizeof(rpc_mapper)));
    if (!mapper) return nullptr;
    pthread_mutex_init(&mapper->Lock, nullptr);
    mapper->NextNumber = 1;
    mapper->MaxEntries = options->MaxEntries ? options->MaxEntries : 65536;
    mapper->Lookups = static_cast<Lookup *>(calloc(maxLookups, sizeof(Lookup)));
    rpc_server_options serverOptions = {};
    serverOptions.BigEndian = options->BigEndian;
    if (mapper->Lookups) mapper->Server = rpc_server_create(&serverOptions, Status);
    const rpc_server_interface service = {QRT_MAPPER_ID, QRT_EPT_OPERATIONS, operations, mapper, runDown};
    if (mapper->Server) rpc_server_register_if(mapper->Server, &service, Status);
    if (mapper->Server && *Status == rpc_s_ok && listenOn(mapper, options, Status))
        rpc_server_start(mapper->Server, Status);
    if (*Status == rpc_s_ok) return mapper;
    rpc_mapper_stop(mapper);
    return nullptr;
}

u16 rpc_mapper_port(const rpc_mapper *Mapper)
{
    return Mapper->Port;
}

const char *rpc_mapper_socket(const rpc_mapper *Mapper)
{
    return Mapper->Socket;
}

u32 rpc_mapper_entry_count(rpc_mapper *Mapper)
{
    pthread_mutex_lock(&Mapper->Lock);
    const u32 count = Mapper->Count;
    pthread_mutex_unlock(&Mapper->Lock);
    return count;
}

// Only a plain refusal counts: a busy host may be slow, and other hosts' endpoints are none of our business.
static bool isDead(const Qrt_Tower *tower)
{
    if (!tower->Known || (tower->Protocol == QRT_TCP && tower->Address[0] != 127 && tower->Address[0] != 0))
        return false;
    char endpoint[QRT_PATH_SIZE];
    if (tower->Protocol == QRT_TCP)
        snprintf(endpoint, sizeof endpoint, "%u", tower->Port);
    else
        memcpy(endpoint, tower->Path, sizeof endpoint);
    Qrt_Stream probe;
    const u32 status = Qrt_StreamOpen(&probe, tower->Protocol, "", endpoint, Qrt_After(probeMilliseconds));
    if (status == rpc_s_ok) Qrt_StreamClose(&probe);
    return status == rpc_s_connect_rejected || status == rpc_s_no_rem_endpoint;
}

u32 rpc_mapper_sweep(rpc_mapper *Mapper)
{
    u32 removed = 0;
    for (u64 number = 0;;) {
        pthread_mutex_lock(&Mapper->Lock);
        const u32 at = positionOf(Mapper, number);
        const bool found = at < Mapper->Count;
        Qrt_Tower tower = {};
        if (found) {
            tower = Mapper->Entries[at].Tower;
            number = Mapper->Entries[at].Number;
        }
        pthread_mutex_unlock(&Mapper->Lock);
        if (!found) return removed;
        if (isDead(&tower)) { // asked without the lock: the entry may be gone or another by now
            pthread_mutex_lock(&Mapper->Lock);
            const u32 now = positionOf(Mapper, number);
            if (now < Mapper->Count && Mapper->Entries[now].Number == number) {
                removeAt(Mapper, now);
                ++removed;
            }
            pthread_mutex_unlock(&Mapper->Lock);
        }
        ++number;
    }
}

void rpc_mapper_stop(rpc_mapper *Mapper)
{
    if (!Mapper) return;
    rpc_server_destroy(Mapper->Server);
    while (Mapper->Count != 0) removeAt(Mapper, Mapper->Count - 1);
    free(Mapper->Entries);
    free(Mapper->Lookups);
    pthread_mutex_destroy(&Mapper->Lock);
    free(Mapper);
}
