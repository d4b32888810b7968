// Client stubs of the transaction scheduler interface. Only the first is called from outside; the numbers of the others
// are part of the interface all the same.

#include "scheduler_interface.h"

static constexpr RemIf_Vectors vectors = RemIf_Build<schedulerLength>(scheduler);
static constexpr rpc_if_rep_t record = RemIf_Record(scheduler);

const rpc_if_handle_t ts_v1_0_c_ifspec = &record;

template <u32 Operation, class... Arguments>
static u32 stub(rpc_binding_handle_t binding, Arguments... arguments)
{
    static_assert(RemCl_AllAgree<Arguments...>(schedulerOperations[Operation]));
    static constexpr RemCl_Call call = RemCl_CallOf(scheduler, record, vectors, Operation);
    return RemCl_Stub<u32>(call, binding, arguments...);
}

u32 tsRPC_ScheduleTransaction(rpc_binding_handle_t Binding, const char *Text1, const char *Text2, const char *Text3,
                              i32 Number, ts_Pair Pair, const ts_Buffer *Buffer1, u32 *Answer, ts_Buffer *Buffer2,
                              ts_Buffer *Buffer3)
{
    return stub<0>(Binding, Text1, Text2, Text3, Number, Pair, Buffer1, Answer, Buffer2, Buffer3);
}

u32 tsRPC_Op1(rpc_binding_handle_t Binding, ts_RecordA Record)
{
    return stub<1>(Binding, Record);
}

u32 tsRPC_Op2(rpc_binding_handle_t Binding, ts_RecordA Record)
{
    return stub<2>(Binding, Record);
}

u32 tsRPC_Op3(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<3>(Binding, Text);
}

u32 tsRPC_Op4(rpc_binding_handle_t Binding, ts_RecordA Record, ts_RecordAList **List)
{
    return stub<4>(Binding, Record, List);
}

u32 tsRPC_Op5(rpc_binding_handle_t Binding, ts_RecordB Record)
{
    return stub<5>(Binding, Record);
}

u32 tsRPC_Op6(rpc_binding_handle_t Binding, ts_RecordB Record)
{
    return stub<6>(Binding, Record);
}

u32 tsRPC_Op7(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<7>(Binding, Text);
}

u32 tsRPC_Op8(rpc_binding_handle_t Binding, const char *Text, ts_RecordBList **List)
{
    return stub<8>(Binding, Text, List);
}

u32 tsRPC_Op9(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<9>(Binding, Text);
}

u32 tsRPC_Op10(rpc_binding_handle_t Binding, const char *Text, ts_Pair Pair, ts_Stamp Stamp, i32 *Answer)
{
    return stub<10>(Binding, Text, Pair, Stamp, Answer);
}

u32 tsRPC_Op11(rpc_binding_handle_t Binding, ts_RecordC Record)
{
    return stub<11>(Binding, Record);
}

u32 tsRPC_Op12(rpc_binding_handle_t Binding, ts_RecordC Record)
{
    return stub<12>(Binding, Record);
}

u32 tsRPC_Op13(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<13>(Binding, Text);
}

u32 tsRPC_Op14(rpc_binding_handle_t Binding, const char *Text, ts_RecordCList **List)
{
    return stub<14>(Binding, Text, List);
}

u32 tsRPC_Op15(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<15>(Binding, Text);
}

u32 tsRPC_Op16(rpc_binding_handle_t Binding, const char *Text, ts_Pair Pair, ts_Stamp Stamp, i32 Number, i32 *Answer)
{
    return stub<16>(Binding, Text, Pair, Stamp, Number, Answer);
}

u32 tsRPC_Op17(rpc_binding_handle_t Binding, ts_RecordD Record)
{
    return stub<17>(Binding, Record);
}

u32 tsRPC_Op18(rpc_binding_handle_t Binding, ts_RecordD Record)
{
    return stub<18>(Binding, Record);
}

u32 tsRPC_Op19(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<19>(Binding, Text);
}

u32 tsRPC_Op20(rpc_binding_handle_t Binding, const char *Text, ts_RecordDList **List)
{
    return stub<20>(Binding, Text, List);
}

u32 tsRPC_Op21(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<21>(Binding, Text);
}

u32 tsRPC_Op22(rpc_binding_handle_t Binding, const char *Text, ts_Pair Pair, ts_Stamp Stamp, i32 *Answer)
{
    return stub<22>(Binding, Text, Pair, Stamp, Answer);
}

u32 tsRPC_Op23(rpc_binding_handle_t Binding, ts_RecordE Record)
{
    return stub<23>(Binding, Record);
}

u32 tsRPC_Op24(rpc_binding_handle_t Binding, ts_RecordE Record)
{
    return stub<24>(Binding, Record);
}

u32 tsRPC_Op25(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<25>(Binding, Text);
}

u32 tsRPC_Op26(rpc_binding_handle_t Binding, const char *Text, ts_RecordEList **List)
{
    return stub<26>(Binding, Text, List);
}

u32 tsRPC_Op27(rpc_binding_handle_t Binding, ts_RecordF Record)
{
    return stub<27>(Binding, Record);
}

u32 tsRPC_Op28(rpc_binding_handle_t Binding, ts_RecordF Record)
{
    return stub<28>(Binding, Record);
}

u32 tsRPC_Op29(rpc_binding_handle_t Binding, const char *Text)
{
    return stub<29>(Binding, Text);
}

u32 tsRPC_Op30(rpc_binding_handle_t Binding, const char *Text, ts_RecordFList **List)
{
    return stub<30>(Binding, Text, List);
}

u32 tsRPC_Op31(rpc_binding_handle_t Binding, const char *Text1, const char *Text2)
{
    return stub<31>(Binding, Text1, Text2);
}

u32 tsRPC_Op32(rpc_binding_handle_t Binding, const char *Text1, u32 Number, const char *Text2, const char *Text3)
{
    return stub<32>(Binding, Text1, Number, Text2, Text3);
}

u32 tsRPC_Op33(rpc_binding_handle_t Binding, const char *Text1, const char *Text2)
{
    return stub<33>(Binding, Text1, Text2);
}

u32 tsRPC_Op34(rpc_binding_handle_t Binding, u32 Count, const u32 *Numbers, ts_RecordGList **List)
{
    return stub<34>(Binding, Count, Numbers, List);
}

u32 tsRPC_Op35(rpc_binding_handle_t Binding, ts_Stamp Stamp, u32 Count, ts_IdPair *Pairs)
{
    return stub<35>(Binding, Stamp, Count, Pairs);
}

u32 tsRPC_Op36(rpc_binding_handle_t Binding, ts_Pair Pair)
{
    return stub<36>(Binding, Pair);
}

u32 tsRPC_Op37(rpc_binding_handle_t Binding, char Name[TS_TEXT_SIZE])
{
    return stub<37>(Binding, Name);
}
