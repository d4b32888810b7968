// Walks a host's endpoint map and prints it; then resolves one of the interfaces found there, and asks that server whether
// it listens.
//
//     walk_client BINDING [INTERFACE-UUID]

#include <cstdio>
#include <cstring>
#include <string>

#include "rpc_binding.h"
#include "rpc_mgmt.h"

static const unsigned char *text(const char *t)
{
    return reinterpret_cast<const unsigned char *>(t);
}

static std::string reason(u32 status)
{
    unsigned char out[RPC_ERROR_TEXT_SIZE];
    i32 known;
    dce_error_inq_text(status, out, &known);
    return reinterpret_cast<char *>(out);
}

static std::string take(unsigned_char_p_t string)
{
    const std::string out = string ? reinterpret_cast<char *>(string) : "";
    u32 status;
    rpc_string_free(&string, &status);
    return out;
}

static u32 walk(rpc_binding_handle_t mapper)
{
    rpc_ep_inq_handle_t inquiry;
    u32 status, ignored;
    rpc_mgmt_ep_elt_inq_begin(mapper, rpc_c_ep_all_elts, nullptr, 0, nullptr, &inquiry, &status);
    for (;;) {
        rpc_binding_handle_t binding;
        unsigned_char_p_t annotation, string;
        rpc_mgmt_ep_elt_inq_next(inquiry, nullptr, &binding, nullptr, &annotation, &status);
        if (status != rpc_s_ok) break;
        rpc_binding_to_string_binding(binding, &string, &ignored);
        const std::string shown = take(string);
        printf("element %s %s\n", shown.c_str(), take(annotation).c_str());
        rpc_binding_free(&binding, &ignored);
    }
    rpc_mgmt_ep_elt_inq_done(&inquiry, &ignored);
    printf("end %s\n", reason(status).c_str());
    return status;
}

static u32 resolve(rpc_binding_handle_t host, const char *interface)
{
    rpc_if_rep_t record = {};
    u32 status;
    record.Size = RPC_IF_REP_SIZE;
    record.Version = 1;
    uuid_from_string(text(interface), &record.Interface, &status);
    rpc_ep_resolve_binding(host, &record, &status);
    unsigned_char_p_t string;
    u32 ignored;
    rpc_binding_to_string_binding(host, &string, &ignored);
    printf("resolved %s %s\n", take(string).c_str(), reason(status).c_str());
    if (status != rpc_s_ok) return status;
    const boolean32 listening = rpc_mgmt_is_server_listening(host, &status);
    printf("listening %d %s\n", listening, reason(status).c_str());
    return rpc_s_ok;
}

int main(int argc, char **argv)
{
    u32 status;
    rpc_binding_handle_t host;
    if (argc < 2) return 2;
    rpc_binding_from_string_binding(text(argv[1]), &host, &status);
    if (status != rpc_s_ok) return 2;
    const u32 walked = walk(host);
    const u32 resolved = argc > 2 ? resolve(host, argv[2]) : rpc_s_ok;
    rpc_binding_free(&host, &status);
    return walked == rpc_s_no_more_elements && resolved == rpc_s_ok ? 0 : 1;
}
