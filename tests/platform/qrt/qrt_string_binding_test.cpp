// String bindings, identifiers, handles.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "plat_sys.h"
#include "rpc_binding.h"
#include "rpc_mgmt.h"

static const unsigned char *text(const char *t)
{
    return reinterpret_cast<const unsigned char *>(t);
}
static const char *chars(const unsigned char *t)
{
    return reinterpret_cast<const char *>(t);
}

static std::string take(unsigned_char_p_t string)
{
    const std::string out = string ? chars(string) : "(null)";
    u32 status;
    rpc_string_free(&string, &status);
    EXPECT_EQ(string, nullptr);
    return out;
}

static std::string compose(const char *object, const char *protocol, const char *host, const char *endpoint,
                           const char *options)
{
    unsigned_char_p_t out;
    u32 status;
    rpc_string_binding_compose(object ? text(object) : nullptr, protocol ? text(protocol) : nullptr,
                               host ? text(host) : nullptr, endpoint ? text(endpoint) : nullptr,
                               options ? text(options) : nullptr, &out, &status);
    return status == rpc_s_ok ? take(out) : "status " + std::to_string(status & 0xFFF);
}

constexpr char object[] = "00939856-b996-1cb2-a1d2-10005a4fa441";

TEST(StringBindingCompose, LeavesOutWhatIsAbsent)
{
    EXPECT_EQ(compose("", "ncacn_ip_tcp", "alpha", "", ""), "ncacn_ip_tcp:alpha");
    EXPECT_EQ(compose(nullptr, "ncacn_ip_tcp", nullptr, nullptr, nullptr), "ncacn_ip_tcp:");
    EXPECT_EQ(compose("", "ncacn_ip_tcp", "alpha", "135", ""), "ncacn_ip_tcp:alpha[135]");
    EXPECT_EQ(compose("", "ncacn_ip_tcp", "alpha", "135", "a=b"), "ncacn_ip_tcp:alpha[135,a=b]");
    EXPECT_EQ(compose("", "ncacn_ip_tcp", "alpha", "", "a=b,c=d"), "ncacn_ip_tcp:alpha[,a=b,c=d]");
    EXPECT_EQ(compose(object, "ncacn_ip_tcp", "alpha", "1", ""), std::string(object) + "@ncacn_ip_tcp:alpha[1]");
    EXPECT_EQ(compose("00939856-B996-1CB2-A1D2-10005A4FA441", "ncacn_ip_tcp", "", "", ""),
              std::string(object) + "@ncacn_ip_tcp:");
    EXPECT_EQ(compose("00000000-0000-0000-0000-000000000000", "ncacn_ip_tcp", "a", "", ""), "ncacn_ip_tcp:a");
}

TEST(StringBindingCompose, RefusesABadObject)
{
    EXPECT_EQ(compose("nonsense", "x", "", "", ""), "status 143");
}

TEST(StringBindingCompose, ProtectsWhatWouldEndAField)
{
    EXPECT_EQ(compose("", "ncacn_vela_ipc", "", "/run/a,b[1]=2\\x", ""), "ncacn_vela_ipc:[/run/a\\,b\\[1\\]\\=2\\\\x]");
    EXPECT_EQ(compose("", "ncacn_ip_tcp", "fe80::1", "1", ""), "ncacn_ip_tcp:fe80::1[1]");
}

struct Parsed {
    std::string Object, Protocol, Address, Endpoint, Options;
    u32 Status;
};

static Parsed parse(const char *string)
{
    unsigned_char_p_t parts[5];
    Parsed out;
    rpc_string_binding_parse(text(string), &parts[0], &parts[1], &parts[2], &parts[3], &parts[4], &out.Status);
    std::string *const fields[] = {&out.Object, &out.Protocol, &out.Address, &out.Endpoint, &out.Options};
    for (int at = 0; at < 5; ++at) *fields[at] = take(parts[at]);
    return out;
}

TEST(StringBindingParse, GivesEachField)
{
    Parsed p = parse("00939856-b996-1cb2-a1d2-10005a4fa441@ncacn_ip_tcp:alpha[135,a=b,c=d]");
    EXPECT_EQ(p.Status, rpc_s_ok);
    EXPECT_EQ(p.Object, object);
    EXPECT_EQ(p.Protocol, "ncacn_ip_tcp");
    EXPECT_EQ(p.Address, "alpha");
    EXPECT_EQ(p.Endpoint, "135");
    EXPECT_EQ(p.Options, "a=b,c=d");

    p = parse("ncacn_ip_tcp:");
    EXPECT_EQ(p.Status, rpc_s_ok);
    EXPECT_EQ(p.Object + p.Address + p.Endpoint + p.Options, "");
    EXPECT_EQ(p.Protocol, "ncacn_ip_tcp");
}

TEST(StringBindingParse, TakesTheEndpointByName)
{
    EXPECT_EQ(parse("ncacn_ip_tcp:a[endpoint=77]").Endpoint, "77");
    Parsed p = parse("ncacn_ip_tcp:a[x=1,endpoint=77,y=2]");
    EXPECT_EQ(p.Endpoint, "77");
    EXPECT_EQ(p.Options, "x=1,y=2");
    p = parse("ncacn_ip_tcp:a[,x=1]");
    EXPECT_EQ(p.Status, rpc_s_ok);
    EXPECT_EQ(p.Endpoint, "");
    EXPECT_EQ(p.Options, "x=1");
    EXPECT_EQ(parse("ncacn_ip_tcp:a[]").Status, rpc_s_ok);
}

TEST(StringBindingParse, ABackslashTakesTheNextCharacterAsItIs)
{
    EXPECT_EQ(parse("ncacn_vela_ipc:[/run/a\\,b\\[1\\]\\=2\\\\x]").Endpoint, "/run/a,b[1]=2\\x");
    EXPECT_EQ(parse("ncacn_ip_tcp:al\\[pha\\@x[1]").Address, "al[pha@x");
    EXPECT_EQ(parse("nc\\:acn:a").Protocol, "nc:acn");
    EXPECT_EQ(parse("ncacn_ip_tcp:fe80::1[1]").Address, "fe80::1");
}

TEST(StringBindingParse, RefusesMalformedOnes)
{
    for (const char *bad :
         {"", "alpha", ":alpha", "x@y", "a@b@c:d", "ncacn_ip_tcp:a[1", "ncacn_ip_tcp:a]", "ncacn_ip_tcp:a[1]x",
          "ncacn_ip_tcp:a[1][2]", "ncacn_ip_tcp:a[1\\]", "ncacn_ip_tcp:a\\", "ncacn_ip_tcp:a[1,2]",
          "ncacn_ip_tcp:a[1,endpoint=2]", "ncacn_ip_tcp:a[1,,x=1]", "[1]", "ncacn_ip_tcp:a[x=1,]"}) {
        const Parsed p = parse(bad);
        EXPECT_EQ(p.Status, rpc_s_invalid_string_binding) << bad;
        EXPECT_EQ(p.Protocol, "(null)") << bad;
    }
    u32 status;
    rpc_string_binding_parse(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &status);
    EXPECT_EQ(status, rpc_s_invalid_string_binding);
}

TEST(StringBindingParse, UnwantedFieldsMayBeNull)
{
    u32 status;
    unsigned_char_p_t protocol;
    rpc_string_binding_parse(text("ncacn_ip_tcp:a[1]"), nullptr, &protocol, nullptr, nullptr, nullptr, &status);
    EXPECT_EQ(status, rpc_s_ok);
    EXPECT_EQ(take(protocol), "ncacn_ip_tcp");
}

TEST(StringBindings, ComposedOnesComeBackWhole)
{
    const char *fields[] = {"a", "x=y", "[", "]", "\\", ",", "@", ":", "a b", "=,][\\", "\\\\[["};
    for (const char *host : fields) {
        for (const char *endpoint : fields) {
            const Parsed p = parse(compose(object, "ncacn_ip_tcp", host, endpoint, "k=v").c_str());
            EXPECT_EQ(p.Status, rpc_s_ok);
            EXPECT_EQ(p.Address, host);
            EXPECT_EQ(p.Endpoint, endpoint);
            EXPECT_EQ(p.Options, "k=v");
        }
    }
}

// ---- failures of the heap

static int allocationsLeft = 0;
static void *failingMalloc(size_t size)
{
    return allocationsLeft-- > 0 ? malloc(size) : nullptr;
}

TEST(StringBindings, NoMemoryIsAStatusWherever)
{
    const std::string whole = std::string(object) + "@ncacn_ip_tcp:a[1,x=y]";
    Plat_Sys.Malloc = failingMalloc;
    for (int room = 0; room < 30; ++room) {
        allocationsLeft = room;
        rpc_binding_handle_t binding;
        u32 status;
        rpc_binding_from_string_binding(text(whole.c_str()), &binding, &status);
        allocationsLeft = 1000;
        if (status == rpc_s_ok) {
            EXPECT_GT(room, 5);
            rpc_binding_free(&binding, &status);
            Plat_Sys.Malloc = malloc;
            return;
        }
        EXPECT_EQ(status, rpc_s_no_memory) << room;
        EXPECT_EQ(binding, nullptr);
    }
    FAIL() << "never enough memory";
}

// ---- handles

static u32 statusOf(const char *string)
{
    rpc_binding_handle_t binding;
    u32 status, ignored;
    rpc_binding_from_string_binding(text(string), &binding, &status);
    EXPECT_EQ(binding == nullptr, status != rpc_s_ok);
    rpc_binding_free(&binding, &ignored);
    return status;
}

TEST(BindingFromString, ChecksEachField)
{
    EXPECT_EQ(statusOf("ncacn_ip_tcp:alpha"), rpc_s_ok);
    EXPECT_EQ(statusOf("ncacn_ip_tcp:alpha[65535]"), rpc_s_ok);
    EXPECT_EQ(statusOf("ncacn_vela_ipc:[/tmp/x]"), rpc_s_ok);
    EXPECT_EQ(statusOf("ncacn_vela_ipc:"), rpc_s_ok);
    EXPECT_EQ(statusOf("alpha"), rpc_s_invalid_string_binding);
    EXPECT_EQ(statusOf("ncadg_ip_udp:alpha"), rpc_s_protseq_not_supported);
    EXPECT_EQ(statusOf("ncacn_np:alpha"), rpc_s_protseq_not_supported);
    EXPECT_EQ(statusOf("tcp:alpha"), rpc_s_invalid_rpc_protseq);
    EXPECT_EQ(statusOf("NCACN_IP_TCP:alpha"), rpc_s_invalid_rpc_protseq);
    EXPECT_EQ(statusOf("ncacn_ip_tcp:al pha"), rpc_s_inval_net_addr);
    EXPECT_EQ(statusOf("ncacn_ip_tcp:al\npha"), rpc_s_inval_net_addr);
    for (const char *bad : {"0", "65536", "x", "-1", "1x", "000001"})
        EXPECT_EQ(statusOf((std::string("ncacn_ip_tcp:a[") + bad + "]").c_str()), rpc_s_invalid_endpoint_format) << bad;
    EXPECT_EQ(statusOf(("ncacn_vela_ipc:[/" + std::string(200, 'x') + "]").c_str()), rpc_s_invalid_endpoint_format);
    EXPECT_EQ(statusOf("00939856-b996@ncacn_ip_tcp:a"), uuid_s_invalid_string_uuid);
}

TEST(BindingToString, GivesTheSameTextBack)
{
    for (const char *string : {"ncacn_ip_tcp:alpha[135]", "ncacn_ip_tcp:", "ncacn_vela_ipc:[/tmp/a\\,b]",
                               "00939856-b996-1cb2-a1d2-10005a4fa441@ncacn_ip_tcp:alpha[1,a=b]"}) {
        rpc_binding_handle_t binding;
        u32 status;
        unsigned_char_p_t out;
        rpc_binding_from_string_binding(text(string), &binding, &status);
        rpc_binding_to_string_binding(binding, &out, &status);
        EXPECT_EQ(status, rpc_s_ok);
        EXPECT_EQ(take(out), string);
        rpc_binding_free(&binding, &status);
        EXPECT_EQ(status, rpc_s_ok);
        EXPECT_EQ(binding, nullptr);
        rpc_binding_free(&binding, &status);
        EXPECT_EQ(status, rpc_s_invalid_binding);
    }
    unsigned_char_p_t out;
    u32 status;
    rpc_binding_to_string_binding(nullptr, &out, &status);
    EXPECT_EQ(status, rpc_s_invalid_binding);
    EXPECT_EQ(out, nullptr);
}

TEST(Bindings, CopyResetAndObject)
{
    rpc_binding_handle_t binding, copy;
    u32 status;
    uuid_t id, found;
    unsigned_char_p_t out;
    uuid_create(&id, &status);
    rpc_binding_from_string_binding(text("ncacn_ip_tcp:alpha[135]"), &binding, &status);
    rpc_binding_set_object(binding, &id, &status);
    rpc_mgmt_set_com_timeout(binding, 3, &status);
    rpc_binding_copy(binding, &copy, &status);
    ASSERT_EQ(status, rpc_s_ok);
    rpc_binding_inq_object(copy, &found, &status);
    EXPECT_TRUE(uuid_equal(&id, &found, &status));
    u32 timeout;
    rpc_mgmt_inq_com_timeout(copy, &timeout, &status);
    EXPECT_EQ(timeout, 3u);
    rpc_binding_reset(copy, &status);
    rpc_binding_set_object(copy, nullptr, &status);
    rpc_binding_to_string_binding(copy, &out, &status);
    EXPECT_EQ(take(out), "ncacn_ip_tcp:alpha");
    rpc_binding_free(&copy, &status);
    rpc_binding_free(&binding, &status);
    rpc_binding_copy(nullptr, &copy, &status);
    EXPECT_EQ(status, rpc_s_invalid_binding);
}

TEST(ComTimeout, TakesThePublishedScale)
{
    rpc_binding_handle_t binding;
    u32 status, timeout;
    rpc_binding_from_string_binding(text("ncacn_ip_tcp:alpha"), &binding, &status);
    rpc_mgmt_inq_com_timeout(binding, &timeout, &status);
    EXPECT_EQ(timeout, 5u);
    for (u32 value = 0; value <= 10; ++value) {
        rpc_mgmt_set_com_timeout(binding, value, &status);
        EXPECT_EQ(status, rpc_s_ok);
    }
    rpc_mgmt_set_com_timeout(binding, 11, &status);
    EXPECT_EQ(status, rpc_s_invalid_timeout);
    rpc_mgmt_inq_com_timeout(binding, &timeout, &status);
    EXPECT_EQ(timeout, 10u);
    rpc_mgmt_set_com_timeout(nullptr, 1, &status);
    EXPECT_EQ(status, rpc_s_invalid_binding);
    rpc_binding_free(&binding, &status);
}

TEST(Uuid, TextGoesBothWays)
{
    uuid_t id, other;
    u32 status;
    unsigned char *out;
    uuid_from_string(text("00939856-B996-1cb2-A1D2-10005a4fA441"), &id, &status);
    EXPECT_EQ(status, uuid_s_ok);
    EXPECT_EQ(id.time_low, 0x00939856u);
    EXPECT_EQ(id.time_mid, 0xb996);
    EXPECT_EQ(id.node[5], 0x41);
    uuid_to_string(&id, &out, &status);
    EXPECT_EQ(take(out), object);
    uuid_from_string(text(""), &other, &status);
    EXPECT_TRUE(uuid_is_nil(&other, &status));
    EXPECT_TRUE(uuid_equal(nullptr, &other, &status));
    EXPECT_FALSE(uuid_equal(&id, &other, &status));
    for (const char *bad : {"x", "00939856-b996-1cb2-a1d2-10005a4fa44", "00939856-b996-1cb2-a1d2-10005a4fa4411",
                            "00939856+b996-1cb2-a1d2-10005a4fa441", "0093985g-b996-1cb2-a1d2-10005a4fa441"}) {
        uuid_from_string(text(bad), &other, &status);
        EXPECT_EQ(status, uuid_s_invalid_string_uuid) << bad;
    }
    uuid_create(&id, &status);
    uuid_create(&other, &status);
    EXPECT_FALSE(uuid_equal(&id, &other, &status));
    EXPECT_EQ(id.time_hi_and_version >> 12, 4);
}

TEST(IfInqId, ReadsTheRecord)
{
    const rpc_if_rep_t record = {68, {1, 2, 3, 4, 5, {6, 7, 8, 9, 10, 11}}, 0x00020001, {}, 2, {}};
    rpc_if_id_t id;
    u32 status;
    rpc_if_inq_id(&record, &id, &status);
    EXPECT_EQ(status, rpc_s_ok);
    EXPECT_EQ(id.vers_major, 1);
    EXPECT_EQ(id.vers_minor, 2);
    EXPECT_EQ(id.uuid.time_low, 1u);
    rpc_if_inq_id(nullptr, &id, &status);
    EXPECT_EQ(status, rpc_s_invalid_arg);
    rpc_if_rep_t other = record;
    other.Size = 64;
    rpc_if_inq_id(&other, &id, &status);
    EXPECT_EQ(status, rpc_s_unknown_ifspec_vers);
}
