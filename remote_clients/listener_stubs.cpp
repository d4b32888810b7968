// Client stubs of the listener interface.

#include "listener_interface.h"

static constexpr RemIf_Vectors vectors_v1_0 = RemIf_Build<listenerLength_v1_0>(listener_v1_0);
static constexpr RemIf_Vectors vectors_v1_1 = RemIf_Build<listenerLength_v1_1>(listener_v1_1);
static constexpr rpc_if_rep_t record_v1_0 = RemIf_Record(listener_v1_0);
static constexpr rpc_if_rep_t record_v1_1 = RemIf_Record(listener_v1_1);

const rpc_if_handle_t ComRL_v1_0_c_ifspec = &record_v1_0;
const rpc_if_handle_t ComRL_v1_1_c_ifspec = &record_v1_1;

template <u32 Operation, class... Arguments>
static ComRL_Result stub_v1_0(rpc_binding_handle_t binding, Arguments... arguments)
{
    static_assert(RemCl_AllAgree<Arguments...>(listenerOperations[Operation]));
    static constexpr RemCl_Call call = RemCl_CallOf(listener_v1_0, record_v1_0, vectors_v1_0, Operation);
    return RemCl_Stub<ComRL_Result>(call, binding, arguments...);
}

template <u32 Operation, class... Arguments>
static ComRL_Result stub_v1_1(rpc_binding_handle_t binding, Arguments... arguments)
{
    static_assert(RemCl_AllAgree<Arguments...>(listenerOperations[Operation]));
    static constexpr RemCl_Call call = RemCl_CallOf(listener_v1_1, record_v1_1, vectors_v1_1, Operation);
    return RemCl_Stub<ComRL_Result>(call, binding, arguments...);
}

ComRL_Result ComRL_v1_0_Op0(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                            i32 Number1, i32 Number2, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2,
                            u32 *Answer)
{
    return stub_v1_0<0>(Binding, Text1, Text2, Text3, Number1, Number2, Buffer1, Buffer2, Answer);
}

ComRL_Result ComRL_v1_0_Op1(rpc_binding_handle_t Binding, u32 Number)
{
    return stub_v1_0<1>(Binding, Number);
}

ComRL_Result ComRL_v1_0_Op2(rpc_binding_handle_t Binding, char Name[COMRL_NAME_SIZE])
{
    return stub_v1_0<2>(Binding, Name);
}

ComRL_Result ComRL_v1_1_Op0(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                            i32 Number1, i32 Number2, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2,
                            u32 *Answer)
{
    return stub_v1_1<0>(Binding, Text1, Text2, Text3, Number1, Number2, Buffer1, Buffer2, Answer);
}

ComRL_Result ComRL_v1_1_Op1(rpc_binding_handle_t Binding, u32 Number)
{
    return stub_v1_1<1>(Binding, Number);
}

ComRL_Result ComRL_v1_1_Op2(rpc_binding_handle_t Binding, char Name[COMRL_NAME_SIZE])
{
    return stub_v1_1<2>(Binding, Name);
}

ComRL_Result ComRL_v1_1_Op3(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                            i32 Number, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2, u32 *Answer, u8 *Flag,
                            char Code1[COMRL_CODE_SIZE], char *Character, char Code2[COMRL_CODE_SIZE],
                            ComRL_LargeArea *Large, ComRL_SmallArea *Small)
{
    return stub_v1_1<3>(Binding, Text1, Text2, Text3, Number, Buffer1, Buffer2, Answer, Flag, Code1, Character, Code2,
                        Large, Small);
}

const ComRL_v1_0_epv_t ComRL_v1_0_c_epv = {ComRL_v1_0_Op0, ComRL_v1_0_Op1, ComRL_v1_0_Op2};
const ComRL_v1_1_epv_t ComRL_v1_1_c_epv = {ComRL_v1_1_Op0, ComRL_v1_1_Op1, ComRL_v1_1_Op2, ComRL_v1_1_Op3};

static_assert(sizeof(ComRL_v1_0_epv_t) == 3 * sizeof(void *) && sizeof(ComRL_v1_1_epv_t) == 4 * sizeof(void *),
              "an entry vector is an array of pointers");
