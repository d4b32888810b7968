// Input: an octet of label, an operation of the scheduler interface, then the stub data of an answer.
// Must hold: nothing outside it is read, results stay within their rooms, a failure leaves no storage behind and only
// the exceptions that the interpreter may raise come out.

#include "fuzz_support.h"

#include <memory>

#include "scheduler_interface.h"

static constexpr RemIf_Vectors vectors = RemIf_Build<schedulerLength>(scheduler);

constexpr u32 bufferRoom = 64;

static bool mayBeRaised(const exc_Object *raised)
{
    for (const exc_Object *one : {&rpc_x_protocol_error, &rpc_x_invalid_bound, &rpc_x_string_too_long})
        if (raised == one) return true;
    return false;
}

// Rooms of exactly the size that an argument has, filled as a caller would.
struct Rooms {
    void *Parameters[maxParameters + 2] = {};
    u32 Count = 0;
    ~Rooms()
    {
        for (void *place : Parameters) std::free(place);
    }
};

static void *newRoom(const RemIf_Parameter &parameter)
{
    const RemIf_Type &type = parameter.Type;
    if (type.Code == codeVarying) return std::calloc(1, type.Definition->HighIndex + 1);
    if (type.Code == codeConformant) return std::calloc(3, 8); // counted by the word before it
    if (type.Code == codeConformantStruct) {
        ts_Buffer *buffer = static_cast<ts_Buffer *>(std::calloc(1, TS_BUFFER_BYTES(bufferRoom)));
        buffer->Size = bufferRoom;
        return buffer;
    }
    if (type.Code == codeStruct) return std::calloc(1, type.Definition->MemorySize);
    u32 *word = static_cast<u32 *>(std::calloc(2, 4));
    *word = 3;
    return word;
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *Data, size_t Size)
{
    if (Size < 2 || Size > 0xFFFF) return 0;
    const u32 operation = Data[1] % scheduler.Count;
    const RemIf_Operation &description = schedulerOperations[operation];
    u8 *octets = Fuzz_ExactCopy(Data + 2, Size - 2);
    Rooms rooms;
    rooms.Parameters[0] = std::calloc(1, 4);
    rooms.Parameters[1] = std::calloc(1, 8);
    for (u32 at = 0; at < parameterCount(description); ++at)
        rooms.Parameters[at + 2] = newRoom(description.Parameters[at]);

    ndr_format_t format = {Data[0], 0, {0, 0}};
    rpc_ss_marsh_state_t state;
    rpc_ss_init_marsh_state(vectors.Types, &state);
    state.OffsetVector = vectors.Offsets;
    state.Format = &format;
    state.Received = {octets, Size - 2};
    rpc_ss_init_node_table(&state.Nodes, &state);
    rpc_ss_mts_client_estab_alloc(&state);
    const u32 row = rowsAt + operation * rowSize;
    const exc_Object *raised = nullptr;
    try {
        rpc_ss_ndr_unmar_interp(RemIf_Word(vectors.Types, row + 16), RemIf_Word(vectors.Types, row + 20),
                                rooms.Parameters, &state);
    } catch (const exc_Raised &thrown) {
        raised = thrown.Object;
    }
    FUZZ_REQUIRE(raised == nullptr ? state.Memory == nullptr : mayBeRaised(raised));
    rpc_ss_mem_free(&state.Memory);
    for (u32 at = 0; at < parameterCount(description); ++at) {
        if (description.Parameters[at].Type.Code != codePointer) continue;
        void *list;
        std::memcpy(&list, rooms.Parameters[at + 2], sizeof list);
        if (raised == nullptr) rpc_ss_client_free(list);
    }
    Fuzz_Free(octets);
    return 0;
}
