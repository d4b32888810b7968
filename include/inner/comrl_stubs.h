#ifndef COMRL_STUBS_H
#define COMRL_STUBS_H

/* The listener's stubs and calls that are not exported. */

#include "comrl_listener.h"

VELA_BEGIN

/* The stubs of version 1.0, in the order of the operation numbers. */
typedef struct ComRL_v1_0_epv_t {
    ComRL_Result (*Op0)(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                        i32 Number1, i32 Number2, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2,
                        u32 *Answer);
    ComRL_Result (*Op1)(rpc_binding_handle_t Binding, u32 Number);
    ComRL_Result (*Op2)(rpc_binding_handle_t Binding, char Name[COMRL_NAME_SIZE]);
} ComRL_v1_0_epv_t;

extern const ComRL_v1_0_epv_t ComRL_v1_0_c_epv;
extern const rpc_if_handle_t ComRL_v1_1_c_ifspec;

ComRL_Result ComRL_v1_0_Op0(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                            i32 Number1, i32 Number2, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2,
                            u32 *Answer);
ComRL_Result ComRL_v1_0_Op1(rpc_binding_handle_t Binding, u32 Number);
ComRL_Result ComRL_v1_0_Op2(rpc_binding_handle_t Binding, char Name[COMRL_NAME_SIZE]);

ComRL_Result ComRL_v1_1_Op0(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                            i32 Number1, i32 Number2, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2,
                            u32 *Answer);
ComRL_Result ComRL_v1_1_Op1(rpc_binding_handle_t Binding, u32 Number);
ComRL_Result ComRL_v1_1_Op2(rpc_binding_handle_t Binding, char Name[COMRL_NAME_SIZE]);
ComRL_Result ComRL_v1_1_Op3(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                            i32 Number, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2, u32 *Answer, u8 *Flag,
                            char Code1[COMRL_CODE_SIZE], char *Character, char Code2[COMRL_CODE_SIZE],
                            ComRL_LargeArea *Large, ComRL_SmallArea *Small);

/* The network address of a binding as a new string for rpc_string_free; null when the binding gives no string. */
void ComRL_GetNetworkAdd(rpc_binding_handle_t Binding, char **Address);

VELA_END

#endif
