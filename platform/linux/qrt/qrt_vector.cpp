// Reading type and offset vectors.

#include "qrt_vector.h"

#include <cstring>

static u32 aligned(u32 at)
{
    return (at + 3) & ~3u;
}

u32 Qrt_VectorWord(const u8 *Vector, u32 At)
{
    u32 value;
    memcpy(&value, Vector + At, sizeof value);
    return value;
}

Qrt_Type Qrt_ReadType(const u8 *Vector, u32 At)
{
    Qrt_Type type = {};
    for (;; ++At) {
        type.Code = Vector[At];
        if (type.Code == QRT_TYPE_STRING)
            type.String = true;
        else if (type.Code != QRT_TYPE_REFERENCE)
            break;
    }
    u32 next = At + 1;
    switch (type.Code) {
    case QRT_TYPE_STRUCT:
    case QRT_TYPE_CONFORMANT_STRUCT:
    case QRT_TYPE_POINTER:
        next = aligned(next + 1);
        type.Definition = Qrt_VectorWord(Vector, next);
        next += 4;
        break;
    case QRT_TYPE_VARYING:
    case QRT_TYPE_CONFORMANT:
    case QRT_TYPE_CONFORMANT_VARYING:
        next = aligned(next + 1);
        type.Definition = Qrt_VectorWord(Vector, next);
        next += 8;
        break;
    default: break;
    }
    type.Next = next;
    return type;
}

static Qrt_Bound readBound(const u8 *vector, u32 *at)
{
    Qrt_Bound bound = {static_cast<Qrt_BoundKind>(vector[*at]), 0};
    if (bound.Kind == Qrt_BoundKind::String) {
        *at += 2;
        return bound;
    }
    const u32 value = aligned(*at + (bound.Kind == Qrt_BoundKind::Field ? 2 : 1));
    bound.Value = Qrt_VectorWord(vector, value);
    *at = value + 4;
    return bound;
}

// Lower bounds are all 0 here: what is read of them is only their length.
Qrt_Array Qrt_ReadArray(const u8 *Vector, const Qrt_Type *Type)
{
    Qrt_Array array = {};
    u32 at = Type->Definition + 1;
    if (Type->Code == QRT_TYPE_VARYING) {
        at = aligned(at);
        array.Size = {Qrt_BoundKind::Value, Qrt_VectorWord(Vector, at + 4) + 1};
        at += 8;
    } else {
        readBound(Vector, &at);
        array.Size = readBound(Vector, &at);
    }
    array.Sent = array.Size;
    if (Type->Code != QRT_TYPE_CONFORMANT) {
        readBound(Vector, &at);
        array.Sent = readBound(Vector, &at);
    }
    array.Element = Qrt_ReadType(Vector, at);
    return array;
}

// Its definition says where the array is described, and its field list which kind of array that is.
Qrt_Array Qrt_ArrayOfStruct(const u8 *Vector, const Qrt_Type *Struct)
{
    const u32 definition = Qrt_VectorWord(Vector, Struct->Definition + 4);
    for (u32 at = Struct->Definition + 8;;) {
        const Qrt_Type field = Qrt_ReadType(Vector, at);
        if (field.Code == QRT_TYPE_END) exc_raise(&rpc_x_coding_error);
        if (field.Definition == definition) return Qrt_ReadArray(Vector, &field);
        at = field.Next;
    }
}

size_t Qrt_MemorySize(const rpc_ss_marsh_state_t *State, const Qrt_Type *Type)
{
    switch (Type->Code) {
    case QRT_TYPE_BOOLEAN:
    case QRT_TYPE_CHAR: return 1;
    case QRT_TYPE_ENUM: return sizeof(i32);
    case QRT_TYPE_LONG:
    case QRT_TYPE_ULONG: return 4;
    case QRT_TYPE_STRUCT: return State->OffsetVector[Qrt_VectorWord(State->TypeVector, Type->Definition)];
    default: exc_raise(&rpc_x_coding_error);
    }
}

// The fields of a structure, without the gaps between them: less than what any value takes.
static size_t fieldsMinimum(const rpc_ss_marsh_state_t *state, u32 at, u32 depth)
{
    size_t size = 0;
    for (;;) {
        const Qrt_Type field = Qrt_ReadType(state->TypeVector, at);
        if (field.Code == QRT_TYPE_END) return size;
        if (field.Code != QRT_TYPE_BEGIN_NESTED && field.Code != QRT_TYPE_END_NESTED && field.Code != QRT_TYPE_ALIGN4)
            size += Qrt_WireMinimum(state, &field, depth + 1);
        at = field.Next;
    }
}

size_t Qrt_WireMinimum(const rpc_ss_marsh_state_t *State, const Qrt_Type *Type, u32 Depth)
{
    if (Depth > QRT_MAX_DEPTH) exc_raise(&rpc_x_coding_error);
    switch (Type->Code) {
    case QRT_TYPE_BOOLEAN:
    case QRT_TYPE_CHAR: return 1;
    case QRT_TYPE_ENUM: return 2;
    case QRT_TYPE_LONG:
    case QRT_TYPE_ULONG: return 4;
    case QRT_TYPE_VARYING: return 8; // offset and count
    case QRT_TYPE_STRUCT: return fieldsMinimum(State, Type->Definition + 4, Depth);
    default: exc_raise(&rpc_x_coding_error);
    }
}

u32 Qrt_CountOf(const Qrt_Bound *Bound, const Qrt_Scope *Scope)
{
    u32 count = Bound->Value;
    if (Bound->Kind == Qrt_BoundKind::Field) {
        const void *place = Scope->Base ? Scope->Base + Scope->Offsets[Bound->Value] : Scope->Parameters[Bound->Value];
        memcpy(&count, place, sizeof count);
        // Signed or unsigned, no array here comes near 2^31 elements.
        if (count > 0x7FFFFFFFu) exc_raise(&rpc_x_invalid_bound);
    }
    return count;
}
