#ifndef INTERFACE_VECTORS_H
#define INTERFACE_VECTORS_H

// From the description of an interface to the vectors that the runtime walks, at compile time.
//
// A description is a table of operations, each with its parameters in order; a parameter has a direction and a type;
// structures and arrays are definitions that types point at. rpc_stub.h has the layout that comes out of it: the rows of
// the operations, their input and output lists, then each definition once, in the order in which it was first named.

#include "rpc_stub.h"
#include "vela_types.h"

#include <initializer_list>

enum RemIf_Code : u8 {
    codeBoolean = 0x01,
    codeChar = 0x03,
    codeEnum = 0x05,
    codeLong = 0x09,
    codeUnsigned = 0x0D,
    codeStruct = 0x0F,
    codeConformantStruct = 0x10,
    codeOpen = 0x12,
    codeClose = 0x13,
    codeVarying = 0x15,
    codeConformant = 0x16,
    codeConformantVarying = 0x17,
    codeReference = 0x1C,
    codePointer = 0x1D,
    codeString = 0x21,
    codeAlign4 = 0x27,
    codeEnd = 0xFE,
};

struct RemIf_Definition;

struct RemIf_Type {
    u8 Code;
    bool String;
    bool Reference; // the argument is a pointer to the value
    const RemIf_Definition *Definition;
};

// A bound of an array: a value, a field or parameter that holds the count, or the string's own length.
struct RemIf_Bound {
    u8 Kind;
    u8 Code; // of the field or parameter
    u32 Value;
};

constexpr RemIf_Bound boundFirst = {0x00, 0, 0};
constexpr RemIf_Bound boundString = {0x04, 0, 0};
constexpr RemIf_Bound boundBy(u8 code, u32 number)
{
    return {0x03, code, number};
}

struct RemIf_Field {
    RemIf_Type Type;
    u32 Offset; // in memory; not used for marks
};

constexpr u32 maxFields = 24;

// A structure, an array, or what a pointer points at.
struct RemIf_Definition {
    enum Forms : u8 { Structure, Array, Pointee } Form;
    RemIf_Type Type; // of an array's element, or of a pointee
    u32 MemorySize; // of a structure
    const RemIf_Definition *LastArray; // of a conformant structure
    u32 FieldCount;
    RemIf_Field Fields[maxFields];
    u8 ArrayCode;
    u32 HighIndex; // of an array with fixed bounds
    u32 BoundCount;
    RemIf_Bound Bounds[4];
};

// ---- types

constexpr RemIf_Type boolean()
{
    return {codeBoolean, false, true, nullptr};
}
constexpr RemIf_Type character()
{
    return {codeChar, false, true, nullptr};
}
constexpr RemIf_Type enumeration()
{
    return {codeEnum, false, false, nullptr};
}
constexpr RemIf_Type longWord()
{
    return {codeLong, false, false, nullptr};
}
constexpr RemIf_Type unsignedWord()
{
    return {codeUnsigned, false, false, nullptr};
}
constexpr RemIf_Type value(const RemIf_Definition &structure)
{
    return {codeStruct, false, false, &structure};
}
constexpr RemIf_Type fixedArea(const RemIf_Definition &structure)
{
    return {codeStruct, false, true, &structure};
}
constexpr RemIf_Type buffer(const RemIf_Definition &structure)
{
    return {codeConformantStruct, false, true, &structure};
}
constexpr RemIf_Type array(const RemIf_Definition &definition)
{
    return {definition.ArrayCode, false, true, &definition};
}
constexpr RemIf_Type textBuffer(const RemIf_Definition &definition)
{
    return {codeVarying, true, true, &definition};
}
constexpr RemIf_Type listOf(const RemIf_Definition &pointee)
{
    return {codePointer, false, true, &pointee};
}

// ---- definitions

constexpr RemIf_Definition structure(u32 size, const RemIf_Definition *lastArray,
                                     std::initializer_list<RemIf_Field> fields)
{
    RemIf_Definition definition = {};
    definition.Form = RemIf_Definition::Structure;
    definition.MemorySize = size;
    definition.LastArray = lastArray;
    for (const RemIf_Field &field : fields) definition.Fields[definition.FieldCount++] = field;
    return definition;
}

constexpr RemIf_Definition arrayOf(u8 code, RemIf_Type element, u32 elements, std::initializer_list<RemIf_Bound> bounds)
{
    RemIf_Definition definition = {};
    definition.Form = RemIf_Definition::Array;
    definition.ArrayCode = code;
    definition.Type = element;
    definition.HighIndex = elements - 1;
    for (const RemIf_Bound &bound : bounds) definition.Bounds[definition.BoundCount++] = bound;
    return definition;
}

constexpr RemIf_Definition pointeeOf(const RemIf_Definition &conformant)
{
    RemIf_Definition definition = {};
    definition.Form = RemIf_Definition::Pointee;
    definition.Type = {codeConformantStruct, false, false, &conformant};
    return definition;
}

constexpr RemIf_Type plainChar = {codeChar, false, false, nullptr};

// A string of any length, and a string buffer of a fixed one.
constexpr RemIf_Definition anyText = arrayOf(codeConformant, plainChar, 0, {boundFirst, boundString});
constexpr RemIf_Definition textOf(u32 size)
{
    return arrayOf(codeVarying, plainChar, size, {boundFirst, boundString});
}
constexpr RemIf_Type text()
{
    return {codeConformant, true, true, &anyText};
}

// ---- fields and their marks

constexpr RemIf_Field align4 = {{codeAlign4, false, false, nullptr}, 0};
constexpr RemIf_Field beginNested = {{codeOpen, false, false, nullptr}, 0};
constexpr RemIf_Field endNested = {{codeClose, false, false, nullptr}, 0};
constexpr bool isMark(const RemIf_Field &field)
{
    return field.Type.Code == codeAlign4 || field.Type.Code == codeOpen || field.Type.Code == codeClose;
}
constexpr RemIf_Field longAt(size_t offset)
{
    return {longWord(), static_cast<u32>(offset)};
}
constexpr RemIf_Field unsignedAt(size_t offset)
{
    return {unsignedWord(), static_cast<u32>(offset)};
}
constexpr RemIf_Field textAt(size_t offset, const RemIf_Definition &definition)
{
    return {{codeVarying, true, false, &definition}, static_cast<u32>(offset)};
}
constexpr RemIf_Field arrayAt(size_t offset, const RemIf_Definition &definition)
{
    return {{definition.ArrayCode, false, false, &definition}, static_cast<u32>(offset)};
}

// ---- operations

struct RemIf_Parameter {
    bool In;
    bool Out;
    RemIf_Type Type;
};

constexpr RemIf_Parameter in(RemIf_Type type)
{
    return {true, false, type};
}
constexpr RemIf_Parameter out(RemIf_Type type)
{
    return {false, true, {type.Code, type.String, true, type.Definition}};
}
constexpr RemIf_Parameter inOut(RemIf_Type type)
{
    return {true, true, type};
}

constexpr u32 maxParameters = 13;

struct RemIf_Operation {
    const char *Name;
    RemIf_Parameter Parameters[maxParameters]; // a code of 0 ends them
};

constexpr u32 parameterCount(const RemIf_Operation &operation)
{
    u32 count = 0;
    while (count < maxParameters && operation.Parameters[count].Type.Code != 0) ++count;
    return count;
}

struct RemIf_Interface {
    uuid_t Id;
    u16 Major;
    u16 Minor;
    RemIf_Type Result; // of every operation
    const RemIf_Operation *Operations;
    u32 Count;
};

// ---- building

constexpr u32 maxOffsets = 128;
constexpr u32 maxDefinitions = 48;
constexpr u32 rowsAt = 64;
constexpr u32 rowSize = 24;

template <u32 Length>
struct RemIf_Vectors {
    alignas(4) u8 Types[Length];
    u32 Offsets[maxOffsets];
    u32 Used; // of Types; the rest is filling
};

template <u32 Length>
struct RemIf_Builder {
    RemIf_Vectors<Length> Out = {};
    u32 At = 0;
    u32 OffsetCount = 0;
    const RemIf_Definition *Definitions[maxDefinitions] = {};
    u32 Indices[maxDefinitions] = {};
    u32 DefinitionCount = 0;
    struct Patch {
        u32 Place;
        u32 Definition;
    } Patches[512] = {};
    u32 PatchCount = 0;

    constexpr void put8(u32 octet) { Out.Types[At++] = static_cast<u8>(octet); }
    constexpr void put16(u32 word)
    {
        put8(word & 0xFF);
        put8(word >> 8);
    }
    constexpr void set32(u32 place, u32 word)
    {
        for (u32 at = 0; at < 4; ++at) Out.Types[place + at] = static_cast<u8>(word >> (8 * at));
    }
    constexpr void put32(u32 word)
    {
        set32(At, word);
        At += 4;
    }
    constexpr void fill()
    {
        while (At % 4 != 0) put8(0xFF);
    }
    constexpr void putIndex(const RemIf_Definition *definition)
    {
        u32 number = 0;
        while (number < DefinitionCount && Definitions[number] != definition) ++number;
        if (number == DefinitionCount) Definitions[DefinitionCount++] = definition;
        Patches[PatchCount++] = {At, number};
        put32(0);
    }
    constexpr void putType(const RemIf_Type &type)
    {
        if (type.Reference) put8(codeReference);
        if (type.String) put8(codeString);
        put8(type.Code);
        if (type.Definition == nullptr) return;
        put8(0);
        fill();
        putIndex(type.Definition);
        if (type.Definition->Form == RemIf_Definition::Array) putIndex(type.Definition);
    }
    constexpr void putEntry(u32 number, const RemIf_Type &type)
    {
        put32(number);
        putType(type);
        put8(codeEnd);
        fill();
    }

    // The bound lists go after the row has been written: a row is four words of counts and indices.
    constexpr void putOperation(const RemIf_Interface &interface, u32 number)
    {
        const RemIf_Operation &operation = interface.Operations[number];
        const u32 count = parameterCount(operation);
        u32 inputs = 0;
        const u32 inputAt = At;
        for (u32 at = 0; at < count; ++at) {
            if (!operation.Parameters[at].In) continue;
            putEntry(at + 2, operation.Parameters[at].Type);
            ++inputs;
        }
        u32 outputs = 1;
        const u32 outputAt = At;
        for (u32 at = 0; at < count; ++at) {
            if (!operation.Parameters[at].Out) continue;
            putEntry(at + 2, operation.Parameters[at].Type);
            ++outputs;
        }
        putEntry(0, interface.Result); // the result comes last over the wire
        const u32 row = rowsAt + number * rowSize;
        const u32 words[] = {0, count + 2, inputs, inputAt, outputs, outputAt};
        for (u32 at = 0; at < 6; ++at) set32(row + 4 * at, words[at]);
    }

    constexpr void putBound(const RemIf_Bound &bound)
    {
        put8(bound.Kind);
        if (bound.Kind == boundString.Kind) {
            put8(1);
            return;
        }
        if (bound.Kind != boundFirst.Kind) put8(bound.Code);
        fill();
        put32(bound.Value);
    }
    constexpr void putArray(const RemIf_Definition &array)
    {
        put8(1);
        if (array.ArrayCode == codeVarying) {
            fill();
            put32(0);
            put32(array.HighIndex);
        }
        for (u32 at = 0; at < array.BoundCount; ++at) putBound(array.Bounds[at]);
        putType(array.Type);
    }
    constexpr void putStructure(const RemIf_Definition &definition)
    {
        put32(OffsetCount);
        if (definition.LastArray) putIndex(definition.LastArray);
        Out.Offsets[OffsetCount++] = definition.MemorySize;
        for (u32 at = 0; at < definition.FieldCount; ++at) {
            putType(definition.Fields[at].Type);
            if (!isMark(definition.Fields[at])) Out.Offsets[OffsetCount++] = definition.Fields[at].Offset;
        }
    }
    constexpr void putDefinition(const RemIf_Definition &definition)
    {
        switch (definition.Form) {
        case RemIf_Definition::Structure: putStructure(definition); break;
        case RemIf_Definition::Array: putArray(definition); break;
        case RemIf_Definition::Pointee: putType(definition.Type); break;
        }
        put8(codeEnd);
        fill();
    }

    constexpr void putUuid(const uuid_t &id)
    {
        put32(id.time_low);
        put16(id.time_mid);
        put16(id.time_hi_and_version);
        put8(id.clock_seq_hi_and_reserved);
        put8(id.clock_seq_low);
        for (u8 octet : id.node) put8(octet);
    }
    constexpr void putHeader(const RemIf_Interface &interface)
    {
        constexpr u8 marks[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x00, 0xFF, 0xFF, 0x03, 0x00, 0x02, 0x00};
        for (u8 octet : marks) put8(octet);
        put16(interface.Major);
        put16(interface.Minor);
        putUuid(interface.Id);
        put32(0);
        put32(4);
        put32(Length);
        for (u32 at = 0; at < 16; ++at) put8(0xFF);
        put32(interface.Count);
    }

    constexpr RemIf_Vectors<Length> build(const RemIf_Interface &interface)
    {
        putHeader(interface);
        At = rowsAt + interface.Count * rowSize;
        for (u32 number = 0; number < interface.Count; ++number) putOperation(interface, number);
        for (u32 number = 0; number < DefinitionCount; ++number) { // grows while it runs
            Indices[number] = At;
            putDefinition(*Definitions[number]);
        }
        for (u32 at = 0; at < PatchCount; ++at) set32(Patches[at].Place, Indices[Patches[at].Definition]);
        Out.Used = At;
        while (At < Length) put8(0xFF);
        return Out;
    }
};

template <u32 Length>
constexpr RemIf_Vectors<Length> RemIf_Build(const RemIf_Interface &interface)
{
    return RemIf_Builder<Length>().build(interface);
}

constexpr rpc_if_rep_t RemIf_Record(const RemIf_Interface &interface)
{
    constexpr uuid_t ndr = {0x8a885d04, 0x1ceb, 0x11c9, 0x9f, 0xe8, {0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}};
    const u32 version = static_cast<u32>(interface.Minor) << 16 | interface.Major;
    return {RPC_IF_REP_SIZE, interface.Id, version, ndr, 2, {}};
}

constexpr u32 RemIf_Word(const u8 *types, u32 at)
{
    return static_cast<u32>(types[at]) | static_cast<u32>(types[at + 1]) << 8 | static_cast<u32>(types[at + 2]) << 16 |
           static_cast<u32>(types[at + 3]) << 24;
}

#endif
