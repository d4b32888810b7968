#ifndef COMRL_LISTENER_H
#define COMRL_LISTENER_H

/* The client side of a region's listener interface, in its versions 1.0 and 1.1.
 *
 * Every stub takes a binding and blocks until the server has answered. It may be called from any thread; cancellation is
 * held off for the call. A failure is an exception of qrt_exceptions.h: rpc_x_invalid_binding, rpc_x_comm_failure, the
 * exception of the server's fault, rpc_x_invalid_bound for a count that does not fit, and so on. Pointers must not be
 * null (rpc_x_invalid_arg). Results are the listener's own. */

#include "rpc_types.h"
#include "vela_types.h"

VELA_BEGIN

/* A buffer of any length: length bytes of data. */
typedef struct ComRL_Buffer {
    i32 length;
    char data[1]; /* length of them */
} ComRL_Buffer;

typedef struct ComRL_LargeArea {
    i32 length; /* bytes of data in use, at most 32767 */
    char data[32767];
} ComRL_LargeArea;

typedef struct ComRL_SmallArea {
    i32 length; /* bytes of data in use, at most 1024 */
    char data[1024];
} ComRL_SmallArea;

/* The result of an operation: an enumeration, 16 bits on the wire. */
typedef i32 ComRL_Result;

#define COMRL_NAME_SIZE 64
#define COMRL_CODE_SIZE 5

/* The stubs of version 1.1, in the order of the operation numbers. Strings in have any length; Name is in and out. */
typedef struct ComRL_v1_1_epv_t {
    ComRL_Result (*Op0)(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                        i32 Number1, i32 Number2, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2,
                        u32 *Answer);
    ComRL_Result (*Op1)(rpc_binding_handle_t Binding, u32 Number);
    ComRL_Result (*Op2)(rpc_binding_handle_t Binding, char Name[COMRL_NAME_SIZE]);
    ComRL_Result (*Op3)(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                        i32 Number, const ComRL_Buffer *Buffer1, const ComRL_Buffer *Buffer2, u32 *Answer, u8 *Flag,
                        char Code1[COMRL_CODE_SIZE], char *Character, char Code2[COMRL_CODE_SIZE],
                        ComRL_LargeArea *Large, ComRL_SmallArea *Small);
} ComRL_v1_1_epv_t;

extern VELA_API const ComRL_v1_1_epv_t ComRL_v1_1_c_epv;

/* The specification of version 1.0, for calls that look for a listener. */
extern VELA_API const rpc_if_handle_t ComRL_v1_0_c_ifspec;

/**
 * Finds a listener: the first entry of the endpoint maps that matches, of whichever protocol, untested.
 *
 * The local host is asked first, then those of the variable VELA_HOSTS; suppr_endpoints.h tells how annotations match.
 *
 * @param[in]  IfSpec      the interface wanted, compatible versions count
 * @param[in]  Annotation  the wanted annotation
 * @param[out] Binding     receives the binding, for rpc_binding_free, or null
 *
 * @return 1 when a binding was found, else 0 without detail. Traces as COMRL.
 */
VELA_API i32 ComRL_LookUpBinding(rpc_if_handle_t IfSpec, const char *Annotation, rpc_binding_handle_t *Binding);

VELA_END

#endif
