// The unmarshalling interpreter: an answer's octets to results, in the sender's representation, by walking the vectors.
//
// Nothing in an answer is believed. A count is compared with the room that the caller has given and with the octets that
// are left before anything is stored or allocated, so that storage is bounded by what has arrived. A count that the
// structure carries twice (as field and as array bound) has to be the same both times, since the caller will use the
// field to walk the array.

#include "plat_sys.h"
#include "qrt_vector.h"

#include <cstdlib>
#include <cstring>

struct rpc_ss_mem_block {
    rpc_ss_mem_block *Next;
    void (*Free)(void *Block);
    void *Block;
    u8 *Place; // the caller's pointer, which gets the block once the whole answer has been read
};

struct Unmarshaller {
    rpc_ss_marsh_state_t *State;
    rpc_ndr_reader *In;
};

static void need(const Unmarshaller *u)
{
    if (u->In->Failed) exc_raise(&rpc_x_protocol_error);
}

static void needBound(bool holds)
{
    if (!holds) exc_raise(&rpc_x_invalid_bound);
}

static u32 takeWord(const Unmarshaller *u)
{
    const u32 value = rpc_ndr_read_u32(u->In);
    need(u);
    return value;
}

static void getScalar(const Unmarshaller *u, u8 code, u8 *data)
{
    switch (code) {
    case QRT_TYPE_BOOLEAN: *data = rpc_ndr_read_u8(u->In) != 0; break;
    case QRT_TYPE_CHAR:
        *data = rpc_ndr_read_u8(u->In);
        if (u->In->Ebcdic) rpc_ndr_from_ebcdic(data, 1);
        break;
    case QRT_TYPE_ENUM: {
        const i32 value = static_cast<i16>(rpc_ndr_read_u16(u->In));
        memcpy(data, &value, sizeof value);
        break;
    }
    case QRT_TYPE_LONG:
    case QRT_TYPE_ULONG: {
        const u32 value = rpc_ndr_read_u32(u->In);
        memcpy(data, &value, sizeof value);
        break;
    }
    default: exc_raise(&rpc_x_coding_error);
    }
    need(u);
}

static void getStruct(const Unmarshaller *u, const Qrt_Type *type, u8 *base, u32 room, u32 depth);

static void getElements(const Unmarshaller *u, const Qrt_Type *element, u32 count, u8 *data)
{
    if (element->Code == QRT_TYPE_CHAR) {
        const u8 *octets = rpc_ndr_read_octets(u->In, count);
        need(u);
        if (count == 0) return;
        memcpy(data, octets, count);
        if (u->In->Ebcdic) rpc_ndr_from_ebcdic(data, count);
        return;
    }
    const size_t size = Qrt_MemorySize(u->State, element);
    for (u32 at = 0; at < count; ++at, data += size) {
        if (element->Code == QRT_TYPE_STRUCT)
            getStruct(u, element, data, 0, 1);
        else
            getScalar(u, element->Code, data);
    }
}

// An array within its room of elements; Max is its max count, or the room where it has none on the wire.
static void getArrayBody(const Unmarshaller *u, const Qrt_Type *type, const Qrt_Array *array, u32 max, u32 room,
                         u8 *data, u32 *sent)
{
    u32 count = max;
    if (type->Code != QRT_TYPE_CONFORMANT || type->String) {
        const u32 offset = takeWord(u);
        count = takeWord(u);
        needBound(offset == 0 && count <= max);
    }
    needBound(count <= room);
    if (type->String) needBound(count != 0);
    getElements(u, &array->Element, count, data);
    if (type->String && data[count - 1] != '\0') exc_raise(&rpc_x_string_too_long);
    *sent = count;
}

// Max and Room are those of the array at the end of a conformant structure, unused for others.
static void getFields(const Unmarshaller *u, u32 at, const u32 *offsets, u8 *base, u32 max, u32 room, u32 depth)
{
    if (depth > QRT_MAX_DEPTH) exc_raise(&rpc_x_coding_error);
    const Qrt_Scope scope = {nullptr, base, offsets};
    const u8 *vector = u->State->TypeVector;
    for (u32 field = 1;;) {
        const Qrt_Type type = Qrt_ReadType(vector, at);
        at = type.Next;
        switch (type.Code) {
        case QRT_TYPE_END: return;
        case QRT_TYPE_BEGIN_NESTED:
        case QRT_TYPE_END_NESTED: continue;
        case QRT_TYPE_ALIGN4:
            rpc_ndr_read_align(u->In, 4);
            need(u);
            continue;
        case QRT_TYPE_VARYING:
        case QRT_TYPE_CONFORMANT:
        case QRT_TYPE_CONFORMANT_VARYING: {
            const Qrt_Array array = Qrt_ReadArray(vector, &type);
            const bool fixed = type.Code == QRT_TYPE_VARYING;
            u32 sent;
            getArrayBody(u, &type, &array, fixed ? array.Size.Value : max, fixed ? array.Size.Value : room,
                         base + offsets[field], &sent);
            if (array.Sent.Kind == Qrt_BoundKind::Field) needBound(Qrt_CountOf(&array.Sent, &scope) == sent);
            if (!fixed && array.Size.Kind == Qrt_BoundKind::Field) needBound(Qrt_CountOf(&array.Size, &scope) == max);
            break;
        }
        default: getScalar(u, type.Code, base + offsets[field]);
        }
        ++field;
    }
}

static const u32 *offsetsOf(const Unmarshaller *u, const Qrt_Type *type)
{
    return u->State->OffsetVector + Qrt_VectorWord(u->State->TypeVector, type->Definition);
}

// Room counts the elements that the array of a conformant structure has in memory.
static void getStruct(const Unmarshaller *u, const Qrt_Type *type, u8 *base, u32 room, u32 depth)
{
    const u32 *offsets = offsetsOf(u, type);
    if (type->Code == QRT_TYPE_STRUCT) {
        getFields(u, type->Definition + 4, offsets, base, 0, 0, depth);
        return;
    }
    const u32 max = takeWord(u);
    needBound(max <= room);
    getFields(u, type->Definition + 8, offsets, base, max, room, depth);
}

// ---- storage for results

static u8 *allocate(const Unmarshaller *u, size_t size, u8 *place)
{
    rpc_ss_marsh_state_t *state = u->State;
    void *const block = state->Allocate(size); // a host's routine may raise, so nothing is held yet
    if (!block) exc_raise(&rpc_x_no_memory);
    rpc_ss_mem_block *link = static_cast<rpc_ss_mem_block *>(Plat_Sys.Malloc(sizeof(rpc_ss_mem_block)));
    if (!link) {
        state->Free(block);
        exc_raise(&rpc_x_no_memory);
    }
    memset(block, 0, size);
    *link = {state->Memory, state->Free, block, place};
    state->Memory = link;
    return static_cast<u8 *>(block);
}

// A pointer to a conformant structure in new storage, or NULL.
static void getPointer(const Unmarshaller *u, const Qrt_Type *type, u8 *data)
{
    static constexpr void *none = nullptr;
    memcpy(data, &none, sizeof none);
    if (takeWord(u) == 0) return;
    if (!u->State->Nodes.Ready || !u->State->Allocate) exc_raise(&rpc_x_coding_error);
    const Qrt_Type pointee = Qrt_ReadType(u->State->TypeVector, type->Definition);
    if (pointee.Code != QRT_TYPE_CONFORMANT_STRUCT) exc_raise(&rpc_x_coding_error);

    rpc_ndr_reader ahead = *u->In;
    const u32 max = rpc_ndr_read_u32(&ahead);
    if (ahead.Failed) exc_raise(&rpc_x_protocol_error);
    const Qrt_Array array = Qrt_ArrayOfStruct(u->State->TypeVector, &pointee);
    const size_t fewest = Qrt_WireMinimum(u->State, &array.Element, 0);
    needBound(max <= rpc_ndr_left(&ahead) / fewest);

    const u32 *offsets = offsetsOf(u, &pointee);
    const size_t element = Qrt_MemorySize(u->State, &array.Element);
    const size_t size = max <= 1 ? offsets[0] : offsets[0] + (max - 1) * element;
    getStruct(u, &pointee, allocate(u, size, data), max, 0);
}

// The elements that the array of an in-out structure has room for: what its caller has told on the way in.
static u32 roomOfStruct(const Unmarshaller *u, const Qrt_Type *type, const u8 *base)
{
    const Qrt_Array array = Qrt_ArrayOfStruct(u->State->TypeVector, type);
    const Qrt_Scope scope = {nullptr, base, offsetsOf(u, type)};
    return Qrt_CountOf(&array.Size, &scope);
}

static void getParameter(const Unmarshaller *u, const Qrt_Type *type, const Qrt_Scope *scope, u8 *data)
{
    switch (type->Code) {
    case QRT_TYPE_STRUCT: getStruct(u, type, data, 0, 0); return;
    case QRT_TYPE_CONFORMANT_STRUCT: getStruct(u, type, data, roomOfStruct(u, type, data), 0); return;
    case QRT_TYPE_POINTER: getPointer(u, type, data); return;
    case QRT_TYPE_VARYING:
    case QRT_TYPE_CONFORMANT:
    case QRT_TYPE_CONFORMANT_VARYING: {
        const Qrt_Array array = Qrt_ReadArray(u->State->TypeVector, type);
        if (array.Size.Kind == Qrt_BoundKind::String) exc_raise(&rpc_x_coding_error); // no room is known
        const u32 room = Qrt_CountOf(&array.Size, scope);
        const u32 max = type->Code == QRT_TYPE_VARYING ? room : takeWord(u);
        if (type->Code != QRT_TYPE_VARYING) needBound(max == room);
        u32 sent;
        getArrayBody(u, type, &array, max, room, data, &sent);
        return;
    }
    default: getScalar(u, type->Code, data);
    }
}

// The results are the caller's from now on.
static void handOver(rpc_ss_marsh_state_t *state)
{
    while (rpc_ss_mem_block *link = state->Memory) {
        state->Memory = link->Next;
        memcpy(link->Place, &link->Block, sizeof link->Block);
        free(link);
    }
}

void rpc_ss_ndr_unmar_interp(u32 Count, u32 Index, void *const *Parameters, rpc_ss_marsh_state_t *State)
{
    if (!State->Format) exc_raise(&rpc_x_coding_error);
    rpc_ndr_reader reader;
    rpc_ndr_reader_init(&reader, State->Received.Data, State->Received.Size, *State->Format);
    const Unmarshaller u = {State, &reader};
    const Qrt_Scope scope = {Parameters, nullptr, nullptr};
    u32 at = Index;
    for (u32 done = 0; done < Count; ++done) {
        const u32 number = Qrt_VectorWord(State->TypeVector, at);
        const Qrt_Type type = Qrt_ReadType(State->TypeVector, at + 4);
        if (Parameters[number] == nullptr) exc_raise(&rpc_x_invalid_arg);
        getParameter(&u, &type, &scope, static_cast<u8 *>(Parameters[number]));
        at = (type.Next + 1 + 3) & ~3u;
    }
    handOver(State);
}

void rpc_ss_mem_free(rpc_ss_mem_block **Memory)
{
    while (rpc_ss_mem_block *link = *Memory) {
        *Memory = link->Next;
        link->Free(link->Block);
        free(link);
    }
}
