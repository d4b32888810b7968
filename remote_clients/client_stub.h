#ifndef CLIENT_STUB_H
#define CLIENT_STUB_H

// One shape for all client stubs: the constants of an operation, the parameter vector, and the sequence that every call
// goes through.

#include "interface_vectors.h"

#include <type_traits>

// The constants in which one stub differs from another.
struct RemCl_Call {
    const rpc_if_rep_t *Interface;
    const u8 *Types;
    const u32 *Offsets;
    u32 Operation;
    u32 InputCount;
    u32 InputIndex;
    u32 OutputCount;
    u32 OutputIndex;
    bool HasList; // a result comes in storage of the runtime
};

// Makes the call: Parameters[0] is the result, a 32-bit word, [1] the binding, the others are the arguments. Raises.
void RemCl_Run(const RemCl_Call *Call, void *const *Parameters);

template <u32 Length>
constexpr RemCl_Call RemCl_CallOf(const RemIf_Interface &interface, const rpc_if_rep_t &record,
                                  const RemIf_Vectors<Length> &vectors, u32 operation)
{
    const u32 row = rowsAt + operation * rowSize;
    bool hasList = false;
    for (const RemIf_Parameter &parameter : interface.Operations[operation].Parameters)
        hasList = hasList || parameter.Type.Code == codePointer;
    return {&record,
            vectors.Types,
            vectors.Offsets,
            operation,
            RemIf_Word(vectors.Types, row + 8),
            RemIf_Word(vectors.Types, row + 12),
            RemIf_Word(vectors.Types, row + 16),
            RemIf_Word(vectors.Types, row + 20),
            hasList};
}

// True when a C++ argument is what the description says: a pointer where it goes by reference, and of the right size.
template <class Argument>
constexpr bool RemCl_Agrees(const RemIf_Type &type)
{
    using Pointee = std::remove_pointer_t<Argument>;
    using Value = std::remove_const_t<Pointee>;
    if (std::is_pointer_v<Argument> != type.Reference) return false;
    switch (type.Code) {
    case codeBoolean: return std::is_same_v<Value, u8>;
    case codeChar: return std::is_same_v<Value, char>;
    case codeLong: return std::is_same_v<Value, i32>;
    case codeUnsigned: return std::is_same_v<Value, u32>;
    case codeStruct: return sizeof(Value) == type.Definition->MemorySize;
    case codeConformantStruct: return sizeof(Value) == type.Definition->MemorySize;
    case codePointer: return std::is_pointer_v<Value>;
    case codeVarying:
    case codeConformant:
        if (type.Definition->Type.Code == codeChar) return std::is_same_v<Value, char>;
        return type.Definition->Type.Code == codeUnsigned ? std::is_same_v<Value, u32> : std::is_class_v<Value>;
    default: return false;
    }
}

template <class... Arguments>
constexpr bool RemCl_AllAgree(const RemIf_Operation &operation)
{
    if (parameterCount(operation) != sizeof...(Arguments)) return false;
    u32 at = 0;
    return (RemCl_Agrees<Arguments>(operation.Parameters[at++].Type) && ...);
}

// The value of a pointer argument, or the address of one by value.
template <class Argument>
void *RemCl_Place(Argument &argument)
{
    if constexpr (std::is_pointer_v<Argument>)
        return const_cast<void *>(static_cast<const void *>(argument));
    else
        return &argument;
}

template <class Result, class... Arguments>
Result RemCl_Stub(const RemCl_Call &call, rpc_binding_handle_t binding, Arguments &...arguments)
{
    static_assert(sizeof(Result) == sizeof(u32));
    Result result = 0;
    void *const parameters[] = {&result, &binding, RemCl_Place(arguments)...};
    RemCl_Run(&call, parameters);
    return result;
}

#endif
