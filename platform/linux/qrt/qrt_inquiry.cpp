// The walk over an endpoint map.
//
// Elements come from the mapper in batches; the context handle says where the next batch begins. Mappers differ in how
// they end a map, and all ways are borne here: with an empty answer and the end status; with the end status beside the
// last elements; with a nil handle and status 0; with empty answers in between that only ask to be asked again. What has
// come is delivered before a status that came with it.

#include "qrt_assoc.h"
#include "qrt_call.h"
#include "qrt_epmap.h"
#include "rpc_binding.h"
#include "rpc_mgmt.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr u32 batchSize = 100;
constexpr u32 emptyLimit = 1000; // answers without an element in a row: this mapper goes round in circles

struct Element {
    uuid_t Object;
    char Annotation[QRT_ANNOTATION_SIZE];
    bool HasTower;
    Qrt_Tower Tower;
};

struct rpc_ep_inq_rep {
    rpc_binding_handle_t Mapper;
    rpc_binding_handle_t Fallback; // over loopback, where there is no socket of a local mapper; else NULL
    u32 InquiryType;
    bool HasInterface;
    rpc_if_id_t Interface;
    u32 VersionOption;
    bool HasObject;
    uuid_t Object;
    Qrt_Context20 Handle;
    bool Started;
    u32 EndStatus; // what follows the elements at hand; 0 while the mapper may have more
    u32 Count;
    u32 At;
    Element Elements[batchSize];
};

static void freeInquiry(rpc_ep_inq_rep *inquiry)
{
    u32 ignored;
    rpc_binding_free(&inquiry->Mapper, &ignored);
    rpc_binding_free(&inquiry->Fallback, &ignored);
    free(inquiry);
}

static u32 checkBegin(rpc_binding_handle_t mapper, u32 type, const rpc_if_id_t *interface, u32 option,
                      const uuid_t *object)
{
    u32 ignored;
    const bool byInterface = type == rpc_c_ep_match_by_if || type == rpc_c_ep_match_by_both;
    const bool byObject = type == rpc_c_ep_match_by_obj || type == rpc_c_ep_match_by_both;
    if (mapper && !Qrt_IsBinding(mapper)) return rpc_s_invalid_binding;
    if (type > rpc_c_ep_match_by_both) return rpc_s_invalid_inquiry_type;
    if (byInterface && (option < rpc_c_vers_all || option > rpc_c_vers_upto)) return rpc_s_invalid_vers_option;
    if ((byInterface && !interface) || (byObject && !object)) return rpc_s_invalid_arg;
    if (mapper && !uuid_is_nil(&mapper->Object, &ignored)) return ept_s_cant_perform_op;
    return rpc_s_ok;
}

void rpc_mgmt_ep_elt_inq_begin(rpc_binding_handle_t Mapper, u32 InquiryType, const rpc_if_id_t *Interface,
                               u32 VersionOption, const uuid_t *Object, rpc_ep_inq_handle_t *Inquiry, u32 *Status)
{
    *Inquiry = nullptr;
    *Status = checkBegin(Mapper, InquiryType, Interface, VersionOption, Object);
    if (*Status != rpc_s_ok) return;

    *Status = rpc_s_no_memory;
    rpc_ep_inq_rep *inquiry = static_cast<rpc_ep_inq_rep *>(Plat_Sys.Malloc(sizeof(rpc_ep_inq_rep)));
    if (!inquiry) return;
    memset(inquiry, 0, offsetof(rpc_ep_inq_rep, Elements));
    inquiry->InquiryType = InquiryType;
    inquiry->HasInterface = (InquiryType & rpc_c_ep_match_by_if) != 0;
    if (inquiry->HasInterface) inquiry->Interface = *Interface;
    inquiry->VersionOption = inquiry->HasInterface ? VersionOption : rpc_c_vers_all;
    inquiry->HasObject = (InquiryType & rpc_c_ep_match_by_obj) != 0;
    if (inquiry->HasObject) inquiry->Object = *Object;

    const bool local = !Mapper || Mapper->Protocol == QRT_LOCAL || Qrt_IsThisHost(Mapper->Host);
    const u32 timeout = Mapper ? Mapper->ComTimeout : rpc_c_binding_default_timeout;
    *Status = Qrt_NewMapperBinding(local ? "" : Mapper->Host, local, timeout, &inquiry->Mapper);
    if (local) {
        *Status = Qrt_NewMapperBinding("", false, timeout, &inquiry->Fallback);
        if (!inquiry->Mapper) { // no run directory: loopback is the only way
            inquiry->Mapper = inquiry->Fallback;
            inquiry->Fallback = nullptr;
        }
    }
    if (*Status != rpc_s_ok) {
        freeInquiry(inquiry);
        return;
    }
    *Inquiry = inquiry;
}

// ---- one batch

static void writeLookup(rpc_ndr_writer *input, const rpc_ep_inq_rep *inquiry)
{
    rpc_ndr_write_u32(input, inquiry->InquiryType);
    rpc_ndr_write_u32(input, inquiry->HasObject ? 1 : 0);
    if (inquiry->HasObject) rpc_ndr_write_uuid(input, &inquiry->Object);
    const u32 identifier = inquiry->HasObject ? 2 : 1; // of the second pointer, or the only one
    rpc_ndr_write_u32(input, inquiry->HasInterface ? identifier : 0);
    if (inquiry->HasInterface) {
        rpc_ndr_write_uuid(input, &inquiry->Interface.uuid);
        rpc_ndr_write_u16(input, inquiry->Interface.vers_major);
        rpc_ndr_write_u16(input, inquiry->Interface.vers_minor);
    }
    rpc_ndr_write_u32(input, inquiry->VersionOption);
    Qrt_WriteHandle(input, &inquiry->Handle);
    rpc_ndr_write_u32(input, batchSize);
}

// A fixed string buffer; some mappers leave its terminator out.
static void readAnnotation(rpc_ndr_reader *reader, char *out)
{
    const u32 offset = rpc_ndr_read_u32(reader);
    const u32 count = rpc_ndr_read_u32(reader);
    if (offset != 0 || count > QRT_ANNOTATION_SIZE) reader->Failed = 1;
    const u8 *characters = rpc_ndr_read_octets(reader, count);
    memset(out, 0, QRT_ANNOTATION_SIZE);
    if (!characters) return;
    memcpy(out, characters, count < QRT_ANNOTATION_SIZE ? count : QRT_ANNOTATION_SIZE - 1);
    if (reader->Ebcdic) rpc_ndr_from_ebcdic(reinterpret_cast<u8 *>(out), strlen(out));
}

static void readTowers(rpc_ndr_reader *reader, rpc_ep_inq_rep *inquiry)
{
    for (u32 at = 0; at < inquiry->Count && !reader->Failed; ++at) {
        Element *element = &inquiry->Elements[at];
        if (!element->HasTower) continue;
        u32 size;
        const u8 *octets = Qrt_ReadTowerOctets(reader, &size);
        element->HasTower = octets && Qrt_ReadTower(octets, size, &element->Tower) && element->Tower.Known;
    }
}

// Handle; count; max, offset, actual count; entries; towers; status.
static void readLookup(rpc_ndr_reader *reader, void *argument)
{
    rpc_ep_inq_rep *inquiry = static_cast<rpc_ep_inq_rep *>(argument);
    Qrt_ReadHandle(reader, &inquiry->Handle);
    const u32 told = rpc_ndr_read_u32(reader);
    rpc_ndr_read_u32(reader);
    const u32 offset = rpc_ndr_read_u32(reader);
    const u32 count = rpc_ndr_read_u32(reader);
    if (offset != 0 || count > batchSize || told != count) reader->Failed = 1;
    inquiry->Count = reader->Failed ? 0 : count;
    inquiry->At = 0;
    for (u32 at = 0; at < inquiry->Count && !reader->Failed; ++at) {
        Element *element = &inquiry->Elements[at];
        rpc_ndr_read_align(reader, 4);
        rpc_ndr_read_uuid(reader, &element->Object);
        element->HasTower = rpc_ndr_read_u32(reader) != 0;
        readAnnotation(reader, element->Annotation);
    }
    readTowers(reader, inquiry);
    const u32 status = rpc_ndr_read_u32(reader);
    if (reader->Failed)
        inquiry->Count = 0;
    else if (status != rpc_s_ok)
        inquiry->EndStatus = status == ept_s_not_registered ? rpc_s_no_more_elements : status;
    else if (Qrt_IsNil(&inquiry->Handle))
        inquiry->EndStatus = rpc_s_no_more_elements;
}

// True when the mapper could not be reached at all, so that another way to it may be tried.
static bool isUnreachable(u32 status)
{
    switch (status) {
    case rpc_s_no_rem_endpoint:
    case rpc_s_connect_rejected:
    case rpc_s_cannot_connect:
    case rpc_s_invalid_endpoint_format: return true;
    default: return false;
    }
}

static void fetchBatch(rpc_ep_inq_rep *inquiry)
{
    u8 room[128];
    rpc_ndr_writer input;
    rpc_ndr_writer_init(&input, room, sizeof room, 0);
    writeLookup(&input, inquiry);
    inquiry->Count = inquiry->At = 0;
    u32 fault;
    u32 status = Qrt_Call(inquiry->Mapper, &QRT_MAPPER_ID, QRT_EPT_LOOKUP, &input, readLookup, inquiry, &fault);
    if (isUnreachable(status) && !inquiry->Started && inquiry->Fallback) {
        u32 ignored;
        rpc_binding_free(&inquiry->Mapper, &ignored);
        inquiry->Mapper = inquiry->Fallback;
        inquiry->Fallback = nullptr;
        status = Qrt_Call(inquiry->Mapper, &QRT_MAPPER_ID, QRT_EPT_LOOKUP, &input, readLookup, inquiry, &fault);
    }
    inquiry->Started = true;
    if (status == rpc_s_call_faulted) {
        inquiry->Handle = {}; // the mapper does not know it any more
        status = fault == nca_s_fault_context_mismatch ? rpc_s_fault_context_mismatch : rpc_s_fault_unspec;
    }
    if (status != rpc_s_ok) inquiry->EndStatus = status;
}

// ---- delivering

// A binding as the element's tower has it. An address of all zeros means the host that was asked.
static rpc_binding_handle_t newBinding(const rpc_ep_inq_rep *inquiry, const Element *element, u32 *status)
{
    const Qrt_Tower *tower = &element->Tower;
    if (tower->Protocol == QRT_LOCAL) return Qrt_NewBinding(QRT_LOCAL, &element->Object, "", tower->Path, "", status);
    static constexpr u8 any[4] = {};
    char host[16];
    char port[8];
    const u8 *address = tower->Address;
    snprintf(host, sizeof host, "%u.%u.%u.%u", address[0], address[1], address[2], address[3]);
    snprintf(port, sizeof port, "%u", tower->Port);
    const bool unset = memcmp(address, any, sizeof any) == 0;
    return Qrt_NewBinding(QRT_TCP, &element->Object, unset ? inquiry->Mapper->Host : host, port, "", status);
}

static u32 deliver(const rpc_ep_inq_rep *inquiry, const Element *element, rpc_if_id_t *interface,
                   rpc_binding_handle_t *binding, uuid_t *object, unsigned_char_p_t *annotation)
{
    u32 status = rpc_s_ok;
    if (binding) *binding = newBinding(inquiry, element, &status);
    if (status != rpc_s_ok) return status;
    if (annotation) {
        *annotation = Qrt_NewString(element->Annotation);
        if (!*annotation) {
            u32 ignored;
            if (binding) rpc_binding_free(binding, &ignored);
            return rpc_s_no_memory;
        }
    }
    if (interface) *interface = element->Tower.Interface;
    if (object) *object = element->Object;
    return rpc_s_ok;
}

static const Element *nextElement(rpc_ep_inq_rep *inquiry)
{
    for (u32 empty = 0;;) {
        while (inquiry->At < inquiry->Count) {
            const Element *element = &inquiry->Elements[inquiry->At++];
            const bool usable = element->HasTower && (element->Tower.Protocol == QRT_LOCAL || element->Tower.Port != 0);
            if (usable) return element;
        }
        if (inquiry->EndStatus != rpc_s_ok) return nullptr;
        fetchBatch(inquiry);
        empty = inquiry->Count == 0 ? empty + 1 : 0;
        if (empty > emptyLimit) inquiry->EndStatus = rpc_s_protocol_error;
    }
}

void rpc_mgmt_ep_elt_inq_next(rpc_ep_inq_handle_t Inquiry, rpc_if_id_t *Interface, rpc_binding_handle_t *Binding,
                              uuid_t *Object, unsigned_char_p_t *Annotation, u32 *Status)
{
    if (Binding) *Binding = nullptr;
    if (Annotation) *Annotation = nullptr;
    *Status = rpc_s_invalid_inquiry_context;
    if (!Inquiry) return;
    const Element *element = nextElement(Inquiry);
    *Status = element ? deliver(Inquiry, element, Interface, Binding, Object, Annotation) : Inquiry->EndStatus;
}

static void readFreed(rpc_ndr_reader *reader, void *argument)
{
    Qrt_ReadHandle(reader, static_cast<Qrt_Context20 *>(argument));
    rpc_ndr_read_u32(reader);
}

void rpc_mgmt_ep_elt_inq_done(rpc_ep_inq_handle_t *Inquiry, u32 *Status)
{
    *Status = rpc_s_invalid_inquiry_context;
    if (!Inquiry || !*Inquiry) return;
    rpc_ep_inq_rep *inquiry = *Inquiry;
    if (inquiry->EndStatus == rpc_s_ok && !Qrt_IsNil(&inquiry->Handle)) {
        u8 room[32];
        rpc_ndr_writer input;
        rpc_ndr_writer_init(&input, room, sizeof room, 0);
        Qrt_WriteHandle(&input, &inquiry->Handle);
        u32 fault;
        Qrt_Call(inquiry->Mapper, &QRT_MAPPER_ID, QRT_EPT_FREE, &input, readFreed, &inquiry->Handle, &fault);
    }
    freeInquiry(inquiry);
    *Inquiry = nullptr;
    *Status = rpc_s_ok;
}
