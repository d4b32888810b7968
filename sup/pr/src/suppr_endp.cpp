// Finding servers by the annotations in endpoint maps.
//
// There is no directory service: each server registers itself in its own host's map, with a text that names its region.
// A walk reads the entries one by one. The local host is asked first, through the local name of the runtime, and only
// its local protocol counts there; hosts of the list follow in their order, which is the order of preference.

#include "suppr_endpoints.h"

#include "suppr_bindings.h"

#include "inftr_guard.h"
#include "rpc_binding.h"
#include "rpc_mgmt.h"
#include "tks_memory.h"
#include "win32_socket.h"

#include <cstdlib>
#include <cstring>

static const char hostsVariable[] = "VELA_HOSTS";
static const char networkProtocol[] = "ncacn_ip_tcp";
static const char localProtocol[] = "ncacn_vela_ipc";

constexpr size_t hostNameLimit = 256;
constexpr u32 walkTimeout = 2;

static_assert(sizeof(SupPR_RegionEntry) == 70, "callers hold arrays of 70-byte entries");

static const unsigned_char_t *runtimeText(const char *text)
{
    return reinterpret_cast<const unsigned_char_t *>(text);
}
static char *plainText(unsigned_char_p_t text)
{
    return reinterpret_cast<char *>(text);
}

// ---- annotations

// Ends the path at the first blank and gives the text behind it; an empty one when there is no blank.
static char *splitAnnotation(char *annotation)
{
    char *blank = strchr(annotation, ' ');
    if (blank == nullptr) return annotation + strlen(annotation);
    *blank = '\0';
    return blank + 1;
}

// The last component but one. A path with at most one slash is its own region, as it stands after the cut.
static const char *regionOf(char *path)
{
    char *leaf = strrchr(path, '/');
    if (leaf == nullptr) return path;
    *leaf = '\0';
    const char *region = strrchr(path, '/');
    return region == nullptr ? path : region + 1;
}

static bool matches(char *annotation, const char *wanted)
{
    splitAnnotation(annotation);
    return strcmp(*wanted == '/' ? annotation : regionOf(annotation), wanted) == 0;
}

// ---- hosts

// Adds each name of a list to the text, with one blank in front, unless it is the local one.
static void addNames(char *text, const char *local, char *list)
{
    char *rest = nullptr;
    for (char *name = strtok_r(list, " ", &rest); name != nullptr; name = strtok_r(nullptr, " ", &rest)) {
        if (strcmp(name, local) == 0) continue;
        strcat(text, " ");
        strcat(text, name);
    }
}

static SupPR_HostList *newHostList(const char *text)
{
    u32 count = 1;
    for (const char *at = text; *at; ++at) count += *at == ' ';
    const size_t head = offsetof(SupPR_HostList, Names) + count * sizeof(char *);
    SupPR_HostList *list = static_cast<SupPR_HostList *>(tks_trace_Malloc(head + strlen(text) + 1, __FILE__, __LINE__));
    if (list == nullptr) return nullptr;
    list->Count = count;
    char *name = reinterpret_cast<char *>(list) + head;
    strcpy(name, text);
    for (u32 at = 0; at < count; ++at) {
        list->Names[at] = name;
        name += strcspn(name, " ");
        *name++ = '\0';
    }
    return list;
}

SupPR_HostList *SupPR_GetHostList(const char *Hosts)
{
    INFTR_FUNCTION(SUPPR, "SupPR_GetHostList");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%s)", Hosts ? Hosts : "NULL");

    SupPR_HostList *list = nullptr;
    if (Hosts == nullptr) Hosts = getenv(hostsVariable);
    char local[hostNameLimit + 1] = {};
    gethostname(local, hostNameLimit);

    const size_t listSize = Hosts ? strlen(Hosts) + 1 : 0;
    char *text = static_cast<char *>(tks_trace_Malloc(strlen(local) + 1 + 2 * listSize, __FILE__, __LINE__));
    if (text == nullptr) INFTR_RETURN_VALUE(1, list);
    strcpy(text, local);
    char *copy = Hosts ? static_cast<char *>(tks_trace_Malloc(listSize, __FILE__, __LINE__)) : nullptr;
    if (copy != nullptr) {
        strcpy(copy, Hosts);
        addNames(text, local, copy);
        tks_trace_Free(copy);
    }
    list = newHostList(text);
    tks_trace_Free(text);
    INFTR_RETURN_VALUE(2, list);
}

// ---- walks

static rpc_binding_handle_t mapBinding(const char *hostName)
{
    u32 status;
    unsigned_char_p_t text;
    rpc_binding_handle_t binding = nullptr;
    rpc_string_binding_compose(runtimeText(""), runtimeText(networkProtocol), runtimeText(hostName), runtimeText(""),
                               runtimeText(""), &text, &status);
    rpc_binding_from_string_binding(text, &binding, &status);
    rpc_mgmt_set_com_timeout(binding, walkTimeout, &status);
    rpc_string_free(&text, &status);
    return binding;
}

void SupPR_BeginEndpointEnumeration(const char *HostName, rpc_if_handle_t IfSpec, const uuid_t *ObjectUuid,
                                    u32 InquiryType, u32 VersionOption, rpc_ep_inq_handle_t *Context)
{
    INFTR_FUNCTION(SUPPR, "SupPR_BeginEndpointEnumeration");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%s, %p, %p, %u, %u)", HostName ? HostName : "NULL",
                static_cast<const void *>(IfSpec), static_cast<const void *>(ObjectUuid), InquiryType, VersionOption);

    *Context = nullptr;
    u32 status = rpc_s_ok;
    rpc_if_id_t id = {};
    rpc_binding_handle_t binding = mapBinding(HostName);
    if (binding == nullptr) INFTR_RETURN(1); // begun without one, the walk would ask the local host
    if (IfSpec == nullptr) {
        InquiryType = rpc_c_ep_all_elts;
        VersionOption = 0;
    } else {
        rpc_if_inq_id(IfSpec, &id, &status);
    }
    // Statuses are not looked at: without a walk the first next fails.
    rpc_mgmt_ep_elt_inq_begin(binding, InquiryType, &id, VersionOption, ObjectUuid, Context, &status);
    rpc_binding_free(&binding, &status);
    INFTR_RETURN(2);
}

// ---- one server

struct Search {
    const char *Annotation;
    rpc_binding_handle_t *Binding;
    i32 AcceptFirst;
    const u32 *Timeout;
    bool Searching;
    u32 Result;
};

// A binding of the wrong kind for its host is freed; one of the right kind is asked whether it listens.
static bool listens(rpc_binding_handle_t *binding, const char *protocol, bool localHost)
{
    u32 status;
    const bool local = strcmp(protocol, localProtocol) == 0;
    if (local != localHost) {
        rpc_binding_free(binding, &status);
        return false;
    }
    return rpc_mgmt_is_server_listening(*binding, &status) == 1;
}

static bool testBinding(const Search *search, bool localHost)
{
    u32 status;
    rpc_binding_handle_t *binding = search->Binding;
    if (search->Timeout) rpc_mgmt_set_com_timeout(*binding, *search->Timeout, &status);
    unsigned_char_p_t text = nullptr;
    unsigned_char_p_t protocol = nullptr;
    rpc_binding_to_string_binding(*binding, &text, &status);
    rpc_string_binding_parse(text, nullptr, &protocol, nullptr, nullptr, nullptr, &status);
    const bool found = protocol != nullptr && listens(binding, plainText(protocol), localHost);
    rpc_string_free(&protocol, &status);
    rpc_string_free(&text, &status);
    if (search->Timeout && *binding) rpc_mgmt_set_com_timeout(*binding, rpc_c_binding_default_timeout, &status);
    return found;
}

static void takeEntry(Search *search, char *annotation, bool localHost)
{
    if (!matches(annotation, search->Annotation)) return;
    if (search->AcceptFirst == 0 && !testBinding(search, localHost)) return;
    search->Result = ERZ_OK;
    search->Searching = false;
}

static void searchHost(Search *search, rpc_ep_inq_handle_t walk, uuid_t *object, bool localHost)
{
    for (u32 status = rpc_s_ok; status == rpc_s_ok && search->Searching;) {
        unsigned_char_p_t annotation;
        rpc_mgmt_ep_elt_inq_next(walk, nullptr, search->Binding, object, &annotation, &status);
        if (status != rpc_s_ok) break;
        takeEntry(search, plainText(annotation), localHost);
        u32 ignored;
        if (search->Searching) rpc_binding_free(search->Binding, &ignored);
        rpc_string_free(&annotation, &ignored);
    }
}

u32 SupPR_BindingFromAnnotation(const char *Hosts, rpc_if_handle_t IfSpec, const uuid_t *ObjectUuid,
                                const char *Annotation, rpc_binding_handle_t *Binding, uuid_t *Object, i32 AcceptFirst,
                                const u32 *Timeout)
{
    INFTR_FUNCTION(SUPPR, "SupPR_BindingFromAnnotation");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%s, %p, %p, %s, %p, %p, %d, %p)", Hosts ? Hosts : "NULL",
                static_cast<const void *>(IfSpec), static_cast<const void *>(ObjectUuid),
                Annotation ? Annotation : "NULL", static_cast<void *>(Binding), static_cast<void *>(Object),
                AcceptFirst, static_cast<const void *>(Timeout));

    if (Annotation == nullptr || *Annotation == '\0') INFTR_RETURN_CODE(1, SUPPR_ERR_NO_ANNOTATION);
    *Binding = nullptr;
    SupPR_HostList *hosts = SupPR_GetHostList(Hosts);
    if (hosts == nullptr) INFTR_RETURN_CODE(2, SUPPR_ERR_NO_HOST_LIST);

    Search search = {Annotation, Binding, AcceptFirst, Timeout, true, SUPPR_ERR_NOT_FOUND};
    hosts->Names[0] = nullptr; // the local host through the runtime's own name for it
    const u32 inquiry = ObjectUuid ? rpc_c_ep_match_by_both : rpc_c_ep_match_by_if;
    for (u32 at = 0; at < hosts->Count && search.Searching; ++at) {
        rpc_ep_inq_handle_t walk;
        u32 status;
        SupPR_BeginEndpointEnumeration(hosts->Names[at], IfSpec, ObjectUuid, inquiry, rpc_c_vers_compatible, &walk);
        searchHost(&search, walk, Object, at == 0);
        rpc_mgmt_ep_elt_inq_done(&walk, &status);
    }
    tks_trace_Free(hosts);
    INFTR_RETURN_CODE(3, search.Result);
}

u32 SupPR_BindingStringFromAnnotation(const char *Hosts, rpc_if_handle_t IfSpec, const uuid_t *ObjectUuid,
                                      const char *Annotation, char *Buffer)
{
    INFTR_FUNCTION(SUPPR, "SupPR_BindingStringFromAnnotation");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%s, %p, %p, %s, %p)", Hosts ? Hosts : "NULL", static_cast<const void *>(IfSpec),
                static_cast<const void *>(ObjectUuid), Annotation ? Annotation : "NULL", static_cast<void *>(Buffer));

    rpc_binding_handle_t binding;
    u32 result = SupPR_BindingFromAnnotation(Hosts, IfSpec, ObjectUuid, Annotation, &binding, nullptr, 0, nullptr);
    if (result == ERZ_OK) {
        u32 status;
        unsigned_char_p_t text;
        rpc_binding_to_string_binding(binding, &text, &status);
        if (text != nullptr)
            strcpy(Buffer, plainText(text));
        else
            result = SUPPR_ERR_NOT_FOUND; // without storage for the text nothing can be handed out
        rpc_string_free(&text, &status);
        rpc_binding_free(&binding, &status);
    }
    INFTR_RETURN_CODE(1, result);
}

// ---- all regions

struct RegionList {
    u16 Room;
    u16 Found;
    SupPR_RegionEntry *Entries;
};

static bool isListed(const RegionList *list, const char *region)
{
    for (u32 at = list->Found < list->Room ? list->Found : list->Room; at-- > 0;) {
        if (strncmp(list->Entries[at].Name, region, sizeof list->Entries[at].Name) == 0) return true;
    }
    return false;
}

// A text in a field of fixed size, zero-filled; a field that is full has no terminator.
static void fillField(char *field, size_t size, const char *text)
{
    const size_t length = strnlen(text, size);
    memcpy(field, text, length);
    memset(field + length, 0, size - length);
}

static void addRegion(RegionList *list, char *annotation)
{
    const char *description = splitAnnotation(annotation);
    const char *region = regionOf(annotation);
    if (isListed(list, region)) return;
    if (list->Found == 0xFFFF) return; // the count has no room for more
    ++list->Found;
    if (list->Found > list->Room) return;
    SupPR_RegionEntry *entry = &list->Entries[list->Found - 1];
    fillField(entry->Name, sizeof entry->Name, region);
    fillField(entry->Description, sizeof entry->Description, description);
}

u32 SupPR_ListRegionNames(const char *Hosts, rpc_if_handle_t IfSpec, u16 *Count, SupPR_RegionEntry *Entries, i32 All,
                          SupPR_WalkCallback Callback, void *CallbackArg)
{
    INFTR_FUNCTION(SUPPR, "SupPR_ListRegionNames");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%s, %p, %p, %p, %d)", Hosts ? Hosts : "NULL", static_cast<const void *>(IfSpec),
                static_cast<void *>(Count), static_cast<void *>(Entries), All);

    char local[hostNameLimit + 1] = {};
    gethostname(local, hostNameLimit);
    if (Callback) Callback(CallbackArg, local, SUPPR_WALK_STARTS, rpc_s_ok);

    rpc_ep_inq_handle_t walk;
    SupPR_BeginEndpointEnumeration(local, IfSpec, nullptr, rpc_c_ep_match_by_if, rpc_c_vers_compatible, &walk);
    RegionList list = {*Count, 0, Entries};
    u32 status = rpc_s_ok;
    u32 ignored;
    for (bool stopped = false; status == rpc_s_ok && !stopped;) {
        unsigned_char_p_t annotation;
        rpc_mgmt_ep_elt_inq_next(walk, nullptr, nullptr, nullptr, &annotation, &status);
        if (status != rpc_s_ok) break;
        const u16 before = list.Found;
        addRegion(&list, plainText(annotation));
        // required: with a room of 0 the count never equals it after a find
        stopped = list.Found != before && list.Found == list.Room && All == 0;
        rpc_string_free(&annotation, &ignored);
    }
    const bool ended = status == rpc_s_no_more_elements;
    if (Callback) Callback(CallbackArg, local, ended ? SUPPR_WALK_ENDED : SUPPR_WALK_BROKEN, ended ? rpc_s_ok : status);
    rpc_mgmt_ep_elt_inq_done(&walk, &ignored);
    *Count = list.Found;
    const u32 result = ERZ_OK;
    INFTR_RETURN_CODE(1, result);
}
