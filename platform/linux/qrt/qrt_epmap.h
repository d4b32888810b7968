#ifndef QRT_EPMAP_H
#define QRT_EPMAP_H

// The endpoint-mapper interface (C706 appendix O): what its client and its server share.

#include "qrt_int.h"
#include "qrt_tower.h"
#include "rpc_ndr.h"

enum : u16 {
    QRT_EPT_INSERT = 0,
    QRT_EPT_DELETE = 1,
    QRT_EPT_LOOKUP = 2,
    QRT_EPT_MAP = 3,
    QRT_EPT_FREE = 4,
    QRT_EPT_INQ_OBJECT = 5,
    QRT_EPT_MGMT_DELETE = 6,
    QRT_EPT_OPERATIONS = 7,
};

constexpr rpc_if_id_t QRT_MAPPER_ID = {QRT_MAPPER_IF, 3, 0};
constexpr size_t QRT_ANNOTATION_SIZE = 64;
constexpr size_t QRT_TOWER_MAX = 2048; // octets of a tower that anybody may send

// A context handle: all zero is none.
struct Qrt_Context20 {
    u32 Attributes;
    uuid_t Id;
};

void Qrt_WriteHandle(rpc_ndr_writer *Writer, const Qrt_Context20 *Handle);
void Qrt_ReadHandle(rpc_ndr_reader *Reader, Qrt_Context20 *Handle);
bool Qrt_IsNil(const Qrt_Context20 *Handle);

// The pointee of a tower pointer: max count, length, octets. NULL when it is malformed.
const u8 *Qrt_ReadTowerOctets(rpc_ndr_reader *Reader, u32 *Size);
void Qrt_WriteTowerOctets(rpc_ndr_writer *Writer, const u8 *Data, u32 Size);

// A new binding to the mapper of a host ("" is this one), over its local socket or TCP.
u32 Qrt_NewMapperBinding(const char *Host, bool LocalSocket, u32 ComTimeout, rpc_binding_handle_t *Out);

// Entries in the map of this host: Insert or delete one.
struct Qrt_Registration {
    uuid_t Object;
    const u8 *Tower;
    u32 TowerSize;
    const char *Annotation;
};
u32 Qrt_EptChange(u16 Operation, const Qrt_Registration *Entry, bool Replace);

#endif
