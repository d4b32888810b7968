#ifndef TS_STUBS_H
#define TS_STUBS_H

/* The scheduler's stubs that are not exported, and their records, whose fields are told by position. */

#include "ts_scheduler.h"

VELA_BEGIN

#define TS_TEXT_SIZE 64

typedef struct ts_Stamp {
    ts_Pair Field1;
    u32 Field2;
} ts_Stamp;

typedef struct ts_IdPair {
    u32 Field1;
    u32 Field2;
} ts_IdPair;

typedef struct ts_RecordA {
    char Field1[TS_TEXT_SIZE];
    u32 Field2;
} ts_RecordA;

typedef struct ts_RecordB {
    char Field1[TS_TEXT_SIZE];
    char Field2[TS_TEXT_SIZE];
    u32 Field3;
    i32 Field4;
    i32 Field5;
} ts_RecordB;

typedef struct ts_RecordC {
    char Field1[TS_TEXT_SIZE];
    u32 Field2;
    u32 Field3;
    u32 Field4;
    ts_Pair Field5;
    i32 Field6;
} ts_RecordC;

typedef struct ts_RecordD {
    char Field1[TS_TEXT_SIZE];
    char Field2[TS_TEXT_SIZE];
    char Field3[TS_TEXT_SIZE];
    ts_Pair Field4;
    ts_Pair Field5;
    i32 Field6;
    i32 Field7;
} ts_RecordD;

typedef struct ts_RecordE {
    char Field1[TS_TEXT_SIZE];
    i32 Field2;
} ts_RecordE;

typedef struct ts_RecordF {
    char Field1[TS_TEXT_SIZE];
    i32 Field2;
} ts_RecordF;

typedef struct ts_RecordG {
    u32 Field1;
    u32 Field2;
    char Field3[TS_TEXT_SIZE];
    char Field4[TS_TEXT_SIZE];
    char Field5[TS_TEXT_SIZE];
    char Field6[TS_TEXT_SIZE];
    char Field7[TS_TEXT_SIZE];
    ts_Pair Field8;
    ts_Pair Field9;
    i32 Field10;
    i32 Field11;
} ts_RecordG;

/* Lists that come back belong to the caller, who frees each with rpc_ss_client_free (rpc_stub.h). A server may also
 * send none: the pointer is then null. */
#define TS_LIST(Record)                                                                                                \
    typedef struct Record##List {                                                                                      \
        i32 Count;                                                                                                     \
        Record Items[1]; /* Count of them */                                                                           \
    } Record##List
TS_LIST(ts_RecordA);
TS_LIST(ts_RecordB);
TS_LIST(ts_RecordC);
TS_LIST(ts_RecordD);
TS_LIST(ts_RecordE);
TS_LIST(ts_RecordF);
TS_LIST(ts_RecordG);

u32 tsRPC_Op1(rpc_binding_handle_t Binding, ts_RecordA Record);
u32 tsRPC_Op2(rpc_binding_handle_t Binding, ts_RecordA Record);
u32 tsRPC_Op3(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op4(rpc_binding_handle_t Binding, ts_RecordA Record, ts_RecordAList **List);
u32 tsRPC_Op5(rpc_binding_handle_t Binding, ts_RecordB Record);
u32 tsRPC_Op6(rpc_binding_handle_t Binding, ts_RecordB Record);
u32 tsRPC_Op7(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op8(rpc_binding_handle_t Binding, const char *Text, ts_RecordBList **List);
u32 tsRPC_Op9(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op10(rpc_binding_handle_t Binding, const char *Text, ts_Pair Pair, ts_Stamp Stamp, i32 *Answer);
u32 tsRPC_Op11(rpc_binding_handle_t Binding, ts_RecordC Record);
u32 tsRPC_Op12(rpc_binding_handle_t Binding, ts_RecordC Record);
u32 tsRPC_Op13(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op14(rpc_binding_handle_t Binding, const char *Text, ts_RecordCList **List);
u32 tsRPC_Op15(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op16(rpc_binding_handle_t Binding, const char *Text, ts_Pair Pair, ts_Stamp Stamp, i32 Number, i32 *Answer);
u32 tsRPC_Op17(rpc_binding_handle_t Binding, ts_RecordD Record);
u32 tsRPC_Op18(rpc_binding_handle_t Binding, ts_RecordD Record);
u32 tsRPC_Op19(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op20(rpc_binding_handle_t Binding, const char *Text, ts_RecordDList **List);
u32 tsRPC_Op21(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op22(rpc_binding_handle_t Binding, const char *Text, ts_Pair Pair, ts_Stamp Stamp, i32 *Answer);
u32 tsRPC_Op23(rpc_binding_handle_t Binding, ts_RecordE Record);
u32 tsRPC_Op24(rpc_binding_handle_t Binding, ts_RecordE Record);
u32 tsRPC_Op25(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op26(rpc_binding_handle_t Binding, const char *Text, ts_RecordEList **List);
u32 tsRPC_Op27(rpc_binding_handle_t Binding, ts_RecordF Record);
u32 tsRPC_Op28(rpc_binding_handle_t Binding, ts_RecordF Record);
u32 tsRPC_Op29(rpc_binding_handle_t Binding, const char *Text);
u32 tsRPC_Op30(rpc_binding_handle_t Binding, const char *Text, ts_RecordFList **List);
u32 tsRPC_Op31(rpc_binding_handle_t Binding, const char *Text1, const char *Text2);
u32 tsRPC_Op32(rpc_binding_handle_t Binding, const char *Text1, u32 Number, const char *Text2, const char *Text3);
u32 tsRPC_Op33(rpc_binding_handle_t Binding, const char *Text1, const char *Text2);
u32 tsRPC_Op34(rpc_binding_handle_t Binding, u32 Count, const u32 *Numbers, ts_RecordGList **List);
u32 tsRPC_Op35(rpc_binding_handle_t Binding, ts_Stamp Stamp, u32 Count, ts_IdPair *Pairs);
u32 tsRPC_Op36(rpc_binding_handle_t Binding, ts_Pair Pair);
u32 tsRPC_Op37(rpc_binding_handle_t Binding, char Name[TS_TEXT_SIZE]);

VELA_END

#endif
