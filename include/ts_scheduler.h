#ifndef TS_SCHEDULER_H
#define TS_SCHEDULER_H

/* The client side of a region's transaction scheduler interface, version 1.0. */

#include "rpc_types.h"
#include "vela_types.h"

VELA_BEGIN

typedef struct ts_Pair {
    i32 Field1;
    i32 Field2;
} ts_Pair;

/* A buffer with room of its own: Used bytes of Data go over the wire, Size is the room. */
typedef struct ts_Buffer {
    i32 Used;
    i32 Size;
    char Data[1]; /* Size of them */
} ts_Buffer;

/* Bytes of a ts_Buffer with room for Size. */
#define TS_BUFFER_BYTES(Size) (offsetof(ts_Buffer, Data) + (size_t)(Size))

/* The specification of the interface. */
extern VELA_API const rpc_if_handle_t ts_v1_0_c_ifspec;

/**
 * Schedules a transaction.
 *
 * @param[in]     Binding          to the scheduler; must not be freed meanwhile
 * @param[in]     Text1 .. Text3   null-terminated, of any length
 * @param[in]     Number
 * @param[in]     Pair
 * @param[in]     Buffer1          Used bytes of it are sent
 * @param[out]    Answer
 * @param[in,out] Buffer2, Buffer3 sent and received; the server cannot use more than the Size that they come with
 *
 * Blocks until the server has answered; cancellation is held off. May be called from any thread.
 *
 * @return the scheduler's own result. A failure is an exception of qrt_exceptions.h, with nothing returned:
 *         rpc_x_invalid_arg for a null pointer, rpc_x_invalid_bound for Used above Size or an answer that does not fit,
 *         rpc_x_comm_failure and its like for the way to the server, the exception of its fault for the server itself.
 */
VELA_API u32 tsRPC_ScheduleTransaction(rpc_binding_handle_t Binding, const char *Text1, const char *Text2,
                                       const char *Text3, i32 Number, ts_Pair Pair, const ts_Buffer *Buffer1,
                                       u32 *Answer, ts_Buffer *Buffer2, ts_Buffer *Buffer3);

VELA_END

#endif
