// The marshalling interpreter: arguments to octets, little-endian, by walking the vectors.

#include "qrt_pdu.h"
#include "qrt_vector.h"

#include <cstring>

struct Marshaller {
    rpc_ss_marsh_state_t *State;
    rpc_ndr_writer *Out;
};

static void putArrayBody(Marshaller *m, const Qrt_Type *type, const Qrt_Array *array, const Qrt_Scope *scope,
                         const u8 *data);

static void putScalar(rpc_ndr_writer *out, u8 code, const u8 *data)
{
    switch (code) {
    case QRT_TYPE_BOOLEAN: rpc_ndr_write_u8(out, *data != 0); return;
    case QRT_TYPE_CHAR: rpc_ndr_write_u8(out, *data); return;
    case QRT_TYPE_ENUM: {
        i32 value;
        memcpy(&value, data, sizeof value);
        if (value < -0x8000 || value > 0x7FFF) exc_raise(&rpc_x_invalid_bound);
        rpc_ndr_write_u16(out, static_cast<u16>(value));
        return;
    }
    case QRT_TYPE_LONG:
    case QRT_TYPE_ULONG: {
        u32 value;
        memcpy(&value, data, sizeof value);
        rpc_ndr_write_u32(out, value);
        return;
    }
    default: exc_raise(&rpc_x_coding_error);
    }
}

// What of an array goes over the wire, checked against its size.
static u32 sentCount(const Qrt_Array *array, const Qrt_Scope *scope, const u8 *data)
{
    if (array->Sent.Kind == Qrt_BoundKind::String) {
        const bool open = array->Size.Kind == Qrt_BoundKind::String;
        const char *text = reinterpret_cast<const char *>(data);
        const size_t length = open ? strlen(text) : strnlen(text, array->Size.Value);
        if (open ? length >= 0x7FFFFFFFu : length == array->Size.Value) exc_raise(&rpc_x_string_too_long);
        return static_cast<u32>(length + 1);
    }
    const u32 count = Qrt_CountOf(&array->Sent, scope);
    if (count > Qrt_CountOf(&array->Size, scope)) exc_raise(&rpc_x_invalid_bound);
    return count;
}

static u32 maxCount(const Qrt_Array *array, const Qrt_Scope *scope, const u8 *data)
{
    return array->Size.Kind == Qrt_BoundKind::String ? sentCount(array, scope, data) : Qrt_CountOf(&array->Size, scope);
}

// Fields from At to the end of the list; an array at the end of a conformant structure leaves its max count out.
static void putFields(Marshaller *m, u32 at, const u32 *offsets, const u8 *base, u32 depth)
{
    if (depth > QRT_MAX_DEPTH) exc_raise(&rpc_x_coding_error);
    const Qrt_Scope scope = {nullptr, base, offsets};
    const u8 *vector = m->State->TypeVector;
    for (u32 field = 1;;) {
        const Qrt_Type type = Qrt_ReadType(vector, at);
        at = type.Next;
        switch (type.Code) {
        case QRT_TYPE_END: return;
        case QRT_TYPE_BEGIN_NESTED:
        case QRT_TYPE_END_NESTED: continue;
        case QRT_TYPE_ALIGN4: rpc_ndr_write_align(m->Out, 4); continue;
        case QRT_TYPE_VARYING:
        case QRT_TYPE_CONFORMANT:
        case QRT_TYPE_CONFORMANT_VARYING: {
            const Qrt_Array array = Qrt_ReadArray(vector, &type);
            putArrayBody(m, &type, &array, &scope, base + offsets[field]);
            break;
        }
        default: putScalar(m->Out, type.Code, base + offsets[field]);
        }
        ++field;
    }
}

static void putStruct(Marshaller *m, const Qrt_Type *type, const u8 *base, u32 depth)
{
    const u8 *vector = m->State->TypeVector;
    const u32 *offsets = m->State->OffsetVector + Qrt_VectorWord(vector, type->Definition);
    if (type->Code == QRT_TYPE_STRUCT) {
        putFields(m, type->Definition + 4, offsets, base, depth);
        return;
    }
    // The array's max count goes in front of the whole structure.
    const Qrt_Array array = Qrt_ArrayOfStruct(vector, type);
    const Qrt_Scope scope = {nullptr, base, offsets};
    rpc_ndr_write_u32(m->Out, Qrt_CountOf(&array.Size, &scope));
    putFields(m, type->Definition + 8, offsets, base, depth);
}

// Offset and actual count where the array has them, and the elements.
static void putArrayBody(Marshaller *m, const Qrt_Type *type, const Qrt_Array *array, const Qrt_Scope *scope,
                         const u8 *data)
{
    const u32 count = sentCount(array, scope, data);
    if (type->Code != QRT_TYPE_CONFORMANT || type->String) {
        rpc_ndr_write_u32(m->Out, 0);
        rpc_ndr_write_u32(m->Out, count);
    }
    if (array->Element.Code == QRT_TYPE_CHAR) {
        rpc_ndr_write_octets(m->Out, data, count);
        return;
    }
    const size_t size = Qrt_MemorySize(m->State, &array->Element);
    for (u32 at = 0; at < count; ++at, data += size) {
        if (array->Element.Code == QRT_TYPE_STRUCT)
            putStruct(m, &array->Element, data, 1);
        else
            putScalar(m->Out, array->Element.Code, data);
    }
}

static void putParameter(Marshaller *m, const Qrt_Type *type, const Qrt_Scope *scope, const u8 *data)
{
    switch (type->Code) {
    case QRT_TYPE_STRUCT:
    case QRT_TYPE_CONFORMANT_STRUCT: putStruct(m, type, data, 0); return;
    case QRT_TYPE_VARYING:
    case QRT_TYPE_CONFORMANT:
    case QRT_TYPE_CONFORMANT_VARYING: {
        const Qrt_Array array = Qrt_ReadArray(m->State->TypeVector, type);
        if (type->Code != QRT_TYPE_VARYING) rpc_ndr_write_u32(m->Out, maxCount(&array, scope, data));
        putArrayBody(m, type, &array, scope, data);
        return;
    }
    default: putScalar(m->Out, type->Code, data);
    }
}

void rpc_ss_ndr_marsh_interp(u32 Count, u32 Index, void *const *Parameters, rpc_ss_marsh_state_t *State)
{
    Marshaller m = {State, &State->Output};
    const Qrt_Scope scope = {Parameters, nullptr, nullptr};
    u32 at = Index;
    for (u32 done = 0; done < Count; ++done) {
        const u32 number = Qrt_VectorWord(State->TypeVector, at);
        const Qrt_Type type = Qrt_ReadType(State->TypeVector, at + 4);
        if (Parameters[number] == nullptr) exc_raise(&rpc_x_invalid_arg);
        putParameter(&m, &type, &scope, static_cast<const u8 *>(Parameters[number]));
        at = (type.Next + 1 + 3) & ~3u; // the end mark, then filling
    }
    if (State->Output.Failed) exc_raise(&rpc_x_no_memory);
    State->Send = {State->Output.Data, State->Output.Size};
}
