#ifndef QRT_VECTOR_H
#define QRT_VECTOR_H

// Reading the vectors that describe an interface (rpc_stub.h has their layout).

#include "rpc_stub.h"

enum Qrt_TypeCode : u8 {
    QRT_TYPE_BOOLEAN = 0x01,
    QRT_TYPE_CHAR = 0x03,
    QRT_TYPE_ENUM = 0x05,
    QRT_TYPE_LONG = 0x09,
    QRT_TYPE_ULONG = 0x0D,
    QRT_TYPE_STRUCT = 0x0F,
    QRT_TYPE_CONFORMANT_STRUCT = 0x10,
    QRT_TYPE_BEGIN_NESTED = 0x12,
    QRT_TYPE_END_NESTED = 0x13,
    QRT_TYPE_VARYING = 0x15,
    QRT_TYPE_CONFORMANT = 0x16,
    QRT_TYPE_CONFORMANT_VARYING = 0x17,
    QRT_TYPE_REFERENCE = 0x1C,
    QRT_TYPE_POINTER = 0x1D,
    QRT_TYPE_STRING = 0x21,
    QRT_TYPE_ALIGN4 = 0x27,
    QRT_TYPE_END = 0xFE,
};

constexpr u32 QRT_MAX_DEPTH = 16; // of structures in structures; deeper is no vector of ours

// One type, with the place behind its codes.
struct Qrt_Type {
    u8 Code;
    bool String;
    u32 Definition; // of a structure or array, or the pointee's codes
    u32 Next;
};

enum class Qrt_BoundKind : u8 { Value = 0x00, Field = 0x03, String = 0x04 };

struct Qrt_Bound {
    Qrt_BoundKind Kind;
    u32 Value; // or the number of the field or parameter
};

struct Qrt_Array {
    Qrt_Bound Size; // of the array itself, an element count; Value for fixed bounds
    Qrt_Bound Sent; // what of it goes over the wire; Size again where all of it does
    Qrt_Type Element;
};

// Where the numbers in bounds refer to: the parameters, or the fields of the structure around the array.
struct Qrt_Scope {
    void *const *Parameters;
    const u8 *Base; // of the structure; NULL among parameters
    const u32 *Offsets;
};

Qrt_Type Qrt_ReadType(const u8 *Vector, u32 At);
Qrt_Array Qrt_ReadArray(const u8 *Vector, const Qrt_Type *Type);

// The array at the end of a conformant structure.
Qrt_Array Qrt_ArrayOfStruct(const u8 *Vector, const Qrt_Type *Struct);
u32 Qrt_VectorWord(const u8 *Vector, u32 At);

// The bytes of one element in memory, and the fewest octets that it has on the wire.
size_t Qrt_MemorySize(const rpc_ss_marsh_state_t *State, const Qrt_Type *Type);
size_t Qrt_WireMinimum(const rpc_ss_marsh_state_t *State, const Qrt_Type *Type, u32 Depth);

// An element count in memory. Raises rpc_x_invalid_bound when it is negative.
u32 Qrt_CountOf(const Qrt_Bound *Bound, const Qrt_Scope *Scope);

#endif
