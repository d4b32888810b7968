// The walk over an endpoint map, against mappers of every habit; the mapper of this runtime; resolving endpoints.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "plat_sys.h"
#include "qrt_epmap.h"
#include "raw_server.h"
#include "rpc_binding.h"
#include "rpc_call.h"
#include "rpc_mgmt.h"
#include "rpc_room.h"
#include "rpc_server.h"

constexpr rpc_if_id_t listener = {{0x00939856, 0xb996, 0x1cb2, 0xa1, 0xd2, {0x10, 0, 0x5a, 0x4f, 0xa4, 0x41}}, 1, 0};

constexpr char exampleTower[] = "0500 1300 0d 5698930096b9b21ca1d210005a4fa441 0100  0200 0000"
                                "1300 0d 045d888aeb1cc9119fe808002b104860 0200  0200 0000"
                                "0100 0b  0200 0000  0100 07  0200 141f  0100 09  0400 7f000001";

// The worked example: one entry that comes with the end status.
constexpr char exampleAnswer[] = "00000000 00000000000000000000000000000000  01000000  64000000 00000000 01000000"
                                 "00000000000000000000000000000000  00000200  00000000 1f000000"
                                 "2f2e3a2f76656c612f524547494f4e312f747320526567696f6e206f6e6500 00"
                                 "4b000000 4b000000"
                                 "0500 1300 0d 5698930096b9b21ca1d210005a4fa441 0100  0200 0000"
                                 "1300 0d 045d888aeb1cc9119fe808002b104860 0200  0200 0000"
                                 "0100 0b  0200 0000  0100 07  0200 141f  0100 09  0400 7f000001 00 d6a0c916";

constexpr char exampleRequest[] = "01000000  00000000  01000000 5698930096b9b21ca1d210005a4fa441 0100 0000  02000000"
                                  "00000000 00000000000000000000000000000000  64000000";

struct Batch {
    int Entries;
    bool LiveHandle;
    u32 Status;
};

static Octets lookupAnswer(const Batch &batch, Raw_Order order = {}, int number = 0)
{
    Octets out;
    const Octets tower = Raw_Hex(exampleTower);
    const u32 count = static_cast<u32>(batch.Entries);
    Raw_Put32(&out, 0, order);
    out.insert(out.end(), 16, batch.LiveHandle ? 0x77 : 0);
    for (u32 word : {count, 100u, 0u, count}) Raw_Put32(&out, word, order);
    for (u32 at = 0; at < count; ++at) {
        const std::string annotation = "r" + std::to_string(number++);
        while (out.size() % 4 != 0) out.push_back(0xEE);
        out.insert(out.end(), 16, 0);
        Raw_Put32(&out, at + 1, order);
        Raw_Put32(&out, 0, order);
        Raw_Put32(&out, static_cast<u32>(annotation.size() + 1), order);
        out.insert(out.end(), annotation.begin(), annotation.end());
        out.push_back(0);
    }
    for (u32 at = 0; at < count; ++at) {
        while (out.size() % 4 != 0) out.push_back(0xEE);
        Raw_Put32(&out, static_cast<u32>(tower.size()), order);
        Raw_Put32(&out, static_cast<u32>(tower.size()), order);
        out.insert(out.end(), tower.begin(), tower.end());
    }
    while (out.size() % 4 != 0) out.push_back(0xEE);
    Raw_Put32(&out, batch.Status, order);
    return out;
}

// Walks the whole map of a mapper on this port; gives the annotations and the last status.
static std::vector<std::string> walk(u16 port, u32 *status, bool stopEarly = false)
{
    setenv("QRT_EPMAP_PORT", std::to_string(port).c_str(), 1);
    rpc_binding_handle_t mapper = Raw_Bind("ncacn_ip_tcp:127.0.0.1");
    u32 ignored;
    rpc_mgmt_set_com_timeout(mapper, 0, &ignored);
    rpc_ep_inq_handle_t inquiry;
    rpc_mgmt_ep_elt_inq_begin(mapper, rpc_c_ep_match_by_if, &listener, rpc_c_vers_compatible, nullptr, &inquiry,
                              status);
    Raw_Free(mapper);
    std::vector<std::string> found;
    while (*status == rpc_s_ok) {
        unsigned_char_p_t annotation;
        rpc_mgmt_ep_elt_inq_next(inquiry, nullptr, nullptr, nullptr, &annotation, status);
        if (*status != rpc_s_ok) break;
        found.push_back(reinterpret_cast<char *>(annotation));
        rpc_string_free(&annotation, &ignored);
        if (stopEarly) break;
    }
    u32 again = *status;
    if (!stopEarly) rpc_mgmt_ep_elt_inq_next(inquiry, nullptr, nullptr, nullptr, nullptr, &again);
    EXPECT_EQ(again, *status) << "a further call tells the same";
    rpc_mgmt_ep_elt_inq_done(&inquiry, &ignored);
    EXPECT_EQ(ignored, rpc_s_ok);
    EXPECT_EQ(inquiry, nullptr);
    return found;
}

static std::vector<std::string> walkBatches(std::vector<Batch> batches, u32 *status, Raw_Order order = {})
{
    size_t next = 0;
    int number = 0;
    Raw_Server server(Raw_Answering([&](u32 callId, u16 operation, const Octets &) {
        if (operation == 4) return Raw_Response(callId, Octets(24, 0));
        EXPECT_EQ(operation, 2);
        if (next == batches.size()) return Raw_Fault(callId, 0x1C00001A);
        const Batch batch = batches[next++];
        const int first = number;
        number += batch.Entries;
        return Raw_Response(callId, lookupAnswer(batch, order, first), 0, 3, order);
    }));
    return walk(server.Port(), status);
}

constexpr u32 mapEnd = 0x16C9A0D6;

TEST(Walk, SendsTheWorkedExampleAndReadsItsAnswer)
{
    Octets request;
    Raw_Server server(Raw_Answering([&](u32 callId, u16, const Octets &stub) {
        request = stub;
        return Raw_Response(callId, Raw_Hex(exampleAnswer));
    }));
    u32 status;
    const auto found = walk(server.Port(), &status);
    EXPECT_EQ(Raw_Text(request).substr(16),
              Raw_Text(Raw_Hex(exampleRequest)).substr(16)); // the identifier is any number
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], "/.:/vela/REGION1/ts Region one");
    EXPECT_EQ(status, rpc_s_no_more_elements);
}

TEST(Walk, BearsEveryWayToEndAMap)
{
    u32 status;
    EXPECT_EQ(walkBatches({{3, true, 0}, {0, false, mapEnd}}, &status).size(), 3u); // an empty end
    EXPECT_EQ(status, rpc_s_no_more_elements);
    EXPECT_EQ(walkBatches({{3, true, 0}, {2, false, mapEnd}}, &status).size(), 5u); // the end beside the last
    EXPECT_EQ(status, rpc_s_no_more_elements);
    EXPECT_EQ(walkBatches({{3, true, 0}, {2, false, 0}}, &status).size(), 5u); // a nil handle with status 0
    EXPECT_EQ(status, rpc_s_no_more_elements);
    EXPECT_EQ(walkBatches({{0, true, 0}, {0, true, 0}, {2, true, 0}, {0, true, 0}, {0, false, mapEnd}}, &status).size(),
              2u); // empty answers in between
    EXPECT_EQ(status, rpc_s_no_more_elements);
    EXPECT_EQ(walkBatches({{0, false, mapEnd}}, &status).size(), 0u); // nothing at all
    EXPECT_EQ(status, rpc_s_no_more_elements);
}

TEST(Walk, DeliversWhatCameBeforeAFailure)
{
    u32 status;
    EXPECT_EQ(walkBatches({{3, true, 0}}, &status).size(), 3u); // then the handle is stale
    EXPECT_EQ(status, rpc_s_fault_context_mismatch);
    EXPECT_EQ(walkBatches({{3, true, 0}, {1, true, 0x16C9A0CF}}, &status).size(), 4u);
    EXPECT_EQ(status, ept_s_database_invalid);
}

TEST(Walk, GivesUpOnAMapperThatGoesRoundInCircles)
{
    u32 status;
    Raw_Server server(Raw_Answering([&](u32 callId, u16 operation, const Octets &) {
        if (operation == 4) return Raw_Response(callId, Octets(24, 0));
        return Raw_Response(callId, lookupAnswer({0, true, 0}));
    }));
    EXPECT_EQ(walk(server.Port(), &status).size(), 0u);
    EXPECT_EQ(status, rpc_s_protocol_error);
}

TEST(Walk, ReadsBigEndianAnswers)
{
    u32 status;
    const auto found = walkBatches({{100, true, 0}, {50, false, mapEnd}}, &status, {true});
    ASSERT_EQ(found.size(), 150u);
    EXPECT_EQ(found[149], "r149");
    EXPECT_EQ(status, rpc_s_no_more_elements);
}

TEST(Walk, GivesTheHandleBackWhenItEndsEarly)
{
    int freed = 0;
    Raw_Server server(Raw_Answering([&](u32 callId, u16 operation, const Octets &stub) {
        if (operation == 4) {
            ++freed;
            EXPECT_EQ(stub.size(), 20u);
            EXPECT_EQ(stub[4], 0x77);
            return Raw_Response(callId, Octets(24, 0));
        }
        return Raw_Response(callId, lookupAnswer({3, true, 0}));
    }));
    u32 status;
    EXPECT_EQ(walk(server.Port(), &status, true).size(), 1u);
    EXPECT_EQ(freed, 1);
}

TEST(Walk, EveryCutOfAnAnswerIsARefusalAndNoElement)
{
    const Octets whole = Raw_Hex(exampleAnswer);
    size_t size = 0;
    Raw_Server server(Raw_Answering([&](u32 callId, u16, const Octets &) {
        return Raw_Response(callId, Octets(whole.begin(), whole.begin() + static_cast<long>(size)));
    }));
    for (; size < whole.size(); ++size) {
        u32 status;
        EXPECT_EQ(walk(server.Port(), &status).size(), 0u) << size;
        EXPECT_EQ(status, rpc_s_protocol_error) << size;
    }
}

TEST(Walk, AHugeCountIsRefused)
{
    for (const size_t place : {20u, 28u, 32u}) {
        Octets answer = Raw_Hex(exampleAnswer);
        memset(&answer[place], 0xFF, 4);
        Raw_Server server(Raw_Answering([&](u32 callId, u16, const Octets &) { return Raw_Response(callId, answer); }));
        u32 status;
        EXPECT_EQ(walk(server.Port(), &status).size(), 0u);
        EXPECT_EQ(status, rpc_s_protocol_error);
    }
}

TEST(Walk, PassesOverForeignProtocolsAndKeepsTheRest)
{
    Octets answer = lookupAnswer({3, false, mapEnd});
    Octets udp = Raw_Hex(exampleTower);
    udp[61] = 0x08;
    const Octets tower = Raw_Hex(exampleTower);
    auto place = std::search(answer.begin(), answer.end(), tower.begin(), tower.end());
    std::copy(udp.begin(), udp.end(), place);
    Raw_Server server(Raw_Answering([&](u32 callId, u16, const Octets &) { return Raw_Response(callId, answer); }));
    u32 status;
    const auto found = walk(server.Port(), &status);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0], "r1");
}

TEST(Walk, ADeadHostCostsItsTimeOutAndASilentOneToo)
{
    u32 status;
    Rpc_Room room(false);
    EXPECT_EQ(walk(1, &status).size(), 0u);
    EXPECT_EQ(status, rpc_s_connect_rejected);

    Raw_Server silent([](int descriptor) {
        Raw_ReadPdu(descriptor);
        Raw_ReadPdu(descriptor);
    });
    const i64 before = Qrt_Now();
    EXPECT_EQ(walk(silent.Port(), &status).size(), 0u); // time-out 0: one second
    EXPECT_EQ(status, rpc_s_connect_timed_out);
    EXPECT_LT(Qrt_Now() - before, 3000);
}

TEST(WalkBegin, ChecksItsArguments)
{
    rpc_ep_inq_handle_t inquiry;
    u32 status;
    rpc_mgmt_ep_elt_inq_begin(nullptr, 4, nullptr, 1, nullptr, &inquiry, &status);
    EXPECT_EQ(status, rpc_s_invalid_inquiry_type);
    rpc_mgmt_ep_elt_inq_begin(nullptr, 1, &listener, 0, nullptr, &inquiry, &status);
    EXPECT_EQ(status, rpc_s_invalid_vers_option);
    rpc_mgmt_ep_elt_inq_begin(nullptr, 1, &listener, 6, nullptr, &inquiry, &status);
    EXPECT_EQ(status, rpc_s_invalid_vers_option);
    rpc_mgmt_ep_elt_inq_begin(nullptr, 1, nullptr, 1, nullptr, &inquiry, &status);
    EXPECT_EQ(status, rpc_s_invalid_arg);
    rpc_mgmt_ep_elt_inq_begin(nullptr, 3, &listener, 1, nullptr, &inquiry, &status);
    EXPECT_EQ(status, rpc_s_invalid_arg);
    rpc_binding_handle_t withObject = Raw_Bind("00939856-b996-1cb2-a1d2-10005a4fa441@ncacn_ip_tcp:127.0.0.1");
    rpc_mgmt_ep_elt_inq_begin(withObject, 0, nullptr, 0, nullptr, &inquiry, &status);
    EXPECT_EQ(status, ept_s_cant_perform_op);
    EXPECT_EQ(inquiry, nullptr);
    Raw_Free(withObject);
    rpc_mgmt_ep_elt_inq_next(nullptr, nullptr, nullptr, nullptr, nullptr, &status);
    EXPECT_EQ(status, rpc_s_invalid_inquiry_context);
    rpc_mgmt_ep_elt_inq_done(&inquiry, &status);
    EXPECT_EQ(status, rpc_s_invalid_inquiry_context);
}

// ---- this runtime's own mapper

static u32 enter(const char *annotation, u16 port, u16 minor = 0, const uuid_t *object = nullptr,
                 u16 op = QRT_EPT_INSERT)
{
    Qrt_Tower tower = {};
    tower.Interface = listener;
    tower.Interface.vers_minor = minor;
    tower.Protocol = QRT_TCP;
    tower.Port = port;
    tower.Address[0] = 127;
    tower.Address[3] = 1;
    u8 octets[QRT_TOWER_SIZE];
    const Qrt_Registration entry = {object ? *object : uuid_t{}, octets,
                                    static_cast<u32>(Qrt_WriteTower(&tower, octets)), annotation};
    return Qrt_EptChange(op, &entry, false);
}

struct Element {
    std::string Annotation, Binding;
    rpc_if_id_t Interface;
    uuid_t Object;
};

static std::vector<Element> elements(u32 type, u32 option = 1, const rpc_if_id_t *id = &listener,
                                     const uuid_t *object = nullptr)
{
    rpc_ep_inq_handle_t inquiry;
    u32 status, ignored;
    rpc_mgmt_ep_elt_inq_begin(nullptr, type, id, option, object, &inquiry, &status);
    std::vector<Element> found;
    for (;;) {
        Element element;
        rpc_binding_handle_t binding;
        unsigned_char_p_t annotation, string;
        rpc_mgmt_ep_elt_inq_next(inquiry, &element.Interface, &binding, &element.Object, &annotation, &status);
        if (status != rpc_s_ok) break;
        rpc_binding_to_string_binding(binding, &string, &ignored);
        element.Annotation = reinterpret_cast<char *>(annotation);
        element.Binding = reinterpret_cast<char *>(string);
        rpc_string_free(&annotation, &ignored);
        rpc_string_free(&string, &ignored);
        rpc_binding_free(&binding, &ignored);
        found.push_back(element);
    }
    EXPECT_EQ(status, rpc_s_no_more_elements);
    rpc_mgmt_ep_elt_inq_done(&inquiry, &ignored);
    return found;
}

TEST(Mapper, EntersFindsAndDeletes)
{
    for (const bool bigEndian : {false, true}) {
        for (const bool socket : {false, true}) {
            Rpc_Room room(true, bigEndian, socket);
            EXPECT_EQ(elements(rpc_c_ep_all_elts).size(), 0u);
            EXPECT_EQ(enter("/.:/vela/ONE/ts first", 1001), rpc_s_ok);
            EXPECT_EQ(enter("", 1002), rpc_s_ok);
            EXPECT_EQ(enter("again", 1001), rpc_s_ok) << "the same endpoint: the newer text counts";
            auto found = elements(rpc_c_ep_all_elts);
            ASSERT_EQ(found.size(), 2u);
            EXPECT_EQ(found[0].Annotation, "");
            EXPECT_EQ(found[1].Annotation, "again");
            EXPECT_EQ(found[1].Binding, "ncacn_ip_tcp:127.0.0.1[1001]");
            EXPECT_EQ(enter("", 1002, 0, nullptr, QRT_EPT_DELETE), rpc_s_ok);
            EXPECT_EQ(enter("", 1002, 0, nullptr, QRT_EPT_DELETE), ept_s_not_registered);
            EXPECT_EQ(rpc_mapper_entry_count(room.Mapper), 1u);
        }
    }
}

TEST(Mapper, MatchesByInterfaceVersionAndObject)
{
    Rpc_Room room;
    uuid_t object;
    u32 status;
    uuid_create(&object, &status);
    enter("v1.0", 1000, 0);
    enter("v1.1", 1001, 1);
    enter("object", 1002, 0, &object);
    rpc_if_id_t wanted = listener;
    wanted.vers_minor = 1;
    EXPECT_EQ(elements(1, rpc_c_vers_compatible).size(), 3u);
    EXPECT_EQ(elements(1, rpc_c_vers_compatible, &wanted).size(), 1u);
    EXPECT_EQ(elements(1, rpc_c_vers_exact).size(), 2u);
    EXPECT_EQ(elements(1, rpc_c_vers_upto).size(), 2u);
    EXPECT_EQ(elements(1, rpc_c_vers_upto, &wanted).size(), 3u);
    EXPECT_EQ(elements(1, rpc_c_vers_major_only, &wanted).size(), 3u);
    EXPECT_EQ(elements(2, 0, nullptr, &object).size(), 1u);
    ASSERT_EQ(elements(3, 2, &listener, &object).size(), 1u);
    EXPECT_EQ(elements(3, 2, &listener, &object)[0].Annotation, "object");
    wanted.vers_major = 2;
    EXPECT_EQ(elements(1, rpc_c_vers_all, &wanted).size(), 3u);
    EXPECT_EQ(elements(1, rpc_c_vers_upto, &wanted).size(), 3u);
    EXPECT_EQ(elements(1, rpc_c_vers_compatible, &wanted).size(), 0u);
    wanted.uuid.time_low = 1;
    EXPECT_EQ(elements(1, rpc_c_vers_all, &wanted).size(), 0u);
}

TEST(Mapper, WalksManyEntriesInBatches)
{
    Rpc_Room room;
    for (u16 at = 0; at < 777; ++at)
        ASSERT_EQ(enter(std::to_string(at).c_str(), static_cast<u16>(2000 + at)), rpc_s_ok);
    const auto found = elements(rpc_c_ep_all_elts);
    ASSERT_EQ(found.size(), 777u);
    EXPECT_EQ(found[776].Annotation, "776");
}

TEST(Mapper, RefusesGarbageAndStaysUp)
{
    Rpc_Room room;
    enter("x", 1000);
    for (u32 seed = 1; seed < 300; ++seed) {
        rpc_binding_handle_t mapper =
            Raw_Bind("ncacn_ip_tcp:127.0.0.1[" + std::to_string(rpc_mapper_port(room.Mapper)) + "]");
        static const rpc_if_rep_t record = {68, QRT_MAPPER_IF, 3, QRT_NDR_SYNTAX, 2, {}};
        rpc_call_handle_t call;
        u32 status, fault, user;
        rpc_call_start(mapper, 0, &record, seed % 9, &call, nullptr, &status);
        ASSERT_EQ(status, rpc_s_ok);
        Octets garbage(seed % 90);
        u32 state = seed * 2654435761u;
        for (u8 &octet : garbage) {
            state = state * 1664525 + 1013904223;
            octet = static_cast<u8>((state >> 24) & ((seed & 1) ? 0xFF : 0x03));
        }
        const rpc_iovector_t send = {garbage.data(), garbage.size()};
        rpc_iovector_t received;
        ndr_format_t format;
        rpc_call_transceive(call, &send, &format, &received, &status);
        rpc_ss_call_end_2(&call, &fault, &user, &status);
        EXPECT_EQ(status, rpc_s_ok);
        Raw_Free(mapper);
    }
    EXPECT_EQ(rpc_mapper_entry_count(room.Mapper), 1u);
}

TEST(Mapper, SweepsEntriesOfDeadServers)
{
    Rpc_Room room;
    Raw_Server live([](int) {});
    enter("dead", 1);
    enter("live", live.Port());
    EXPECT_EQ(rpc_mapper_sweep(room.Mapper), 1u);
    const auto found = elements(rpc_c_ep_all_elts);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].Annotation, "live");
}

// ---- servers and their endpoints

static void echo(rpc_server_call *call)
{
    rpc_ndr_write_octets(&call->Out, call->In.Data, call->In.Size);
}

static void crash(rpc_server_call *call)
{
    call->Fault = nca_s_fault_int_div_by_zero;
}

static const rpc_server_operation echoOperations[] = {echo, crash};

struct EchoServer {
    rpc_server *Server;
    u16 Port = 0;
    explicit EchoServer(u16 fragment = 0, bool bigEndian = false, u32 threads = 0)
    {
        u32 status;
        rpc_server_options options = {};
        options.FragmentSize = fragment;
        options.BigEndian = bigEndian;
        options.Threads = threads;
        Server = rpc_server_create(&options, &status);
        const rpc_server_interface service = {listener, 2, echoOperations, nullptr, nullptr};
        rpc_server_register_if(Server, &service, &status);
        rpc_server_use_tcp(Server, nullptr, 0, &Port, &status);
        rpc_server_use_local(Server, "echo", &status);
        EXPECT_EQ(status, rpc_s_ok);
        rpc_server_start(Server, &status);
        EXPECT_EQ(status, rpc_s_ok);
    }
    ~EchoServer() { rpc_server_destroy(Server); }
};

static const rpc_if_rep_t listenerRecord = {68, listener.uuid, 1, QRT_NDR_SYNTAX, 2, {}};

static u32 callEcho(rpc_binding_handle_t binding, const Octets &in, Octets *out, u32 operation = 0,
                    u32 *fault = nullptr)
{
    rpc_call_handle_t call;
    u32 status, user, code;
    rpc_call_start(binding, 0, &listenerRecord, operation, &call, nullptr, &status);
    if (status != rpc_s_ok) return status;
    const rpc_iovector_t send = {in.data(), in.size()};
    rpc_iovector_t received;
    ndr_format_t format;
    rpc_call_transceive(call, &send, &format, &received, &status);
    if (status == rpc_s_ok) out->assign(received.Data, received.Data + received.Size);
    rpc_ss_call_end_2(&call, &code, &user, &status);
    if (fault) *fault = code;
    return status;
}

TEST(Server, EchoesEverySizeThroughEveryFragmentSize)
{
    Rpc_Room room(false);
    for (const u16 fragment : {u16{64}, u16{80}, u16{1432}, u16{5840}, u16{65528}}) {
        EchoServer server(fragment, fragment == 80);
        for (const char *way : {"tcp", "local"}) {
            rpc_binding_handle_t binding =
                Raw_Bind(strcmp(way, "tcp") == 0 ? "ncacn_ip_tcp:127.0.0.1[" + std::to_string(server.Port) + "]"
                                                 : std::string("ncacn_vela_ipc:[echo]"));
            for (const size_t size : {0u, 1u, 7u, 8u, 9u, 39u, 40u, 41u, 63u, 64u, 65u, 1000u, 5816u, 5817u, 100001u}) {
                Octets in(size), out;
                for (size_t at = 0; at < size; ++at) in[at] = static_cast<u8>(at * 31);
                ASSERT_EQ(callEcho(binding, in, &out), rpc_s_ok) << way << ' ' << fragment << ' ' << size;
                ASSERT_EQ(in, out);
            }
            Raw_Free(binding);
        }
    }
}

TEST(Server, TellsFaultsAndKeepsTheConnection)
{
    Rpc_Room room(false);
    EchoServer server;
    rpc_binding_handle_t binding = Raw_Bind("ncacn_ip_tcp:127.0.0.1[" + std::to_string(server.Port) + "]");
    Octets out;
    u32 fault;
    EXPECT_EQ(callEcho(binding, {1}, &out, 1, &fault), rpc_s_ok);
    EXPECT_EQ(fault, nca_s_fault_int_div_by_zero);
    EXPECT_EQ(callEcho(binding, {1}, &out, 2, &fault), rpc_s_ok);
    EXPECT_EQ(fault, nca_s_op_rng_error);
    EXPECT_EQ(callEcho(binding, {1}, &out, 0, &fault), rpc_s_ok);
    EXPECT_EQ(fault, 0u);
    Raw_Free(binding);
}

TEST(Server, OffersManagementAtEachEndpoint)
{
    Rpc_Room room(false);
    EchoServer server(0, true);
    for (const std::string &text :
         {"ncacn_ip_tcp:127.0.0.1[" + std::to_string(server.Port) + "]", std::string("ncacn_vela_ipc:[echo]")}) {
        rpc_binding_handle_t binding = Raw_Bind(text);
        u32 status;
        EXPECT_EQ(rpc_mgmt_is_server_listening(binding, &status), 1);
        EXPECT_EQ(status, rpc_s_ok);
        rpc_if_id_vector_t *ids;
        rpc_mgmt_inq_if_ids(binding, &ids, &status);
        ASSERT_EQ(status, rpc_s_ok);
        ASSERT_EQ(ids->count, 2u);
        EXPECT_EQ(ids->if_id[1]->uuid.time_low, listener.uuid.time_low);
        rpc_if_id_vector_free(&ids, &status);
        EXPECT_EQ(ids, nullptr);
        rpc_mgmt_stop_server_listening(binding, &status);
        EXPECT_EQ(status, rpc_s_mgmt_op_disallowed);
        Octets out;
        EXPECT_EQ(callEcho(binding, {5}, &out), rpc_s_ok) << "the same association carries both interfaces";
        Raw_Free(binding);
    }
}

TEST(Server, RegistersAndResolvesAndTakesItsEntriesBack)
{
    Rpc_Room room;
    {
        EchoServer server;
        u32 status;
        rpc_server_register_ep(server.Server, &listener, nullptr, "/.:/vela/ABC/ts text", &status);
        ASSERT_EQ(status, rpc_s_ok);
        EXPECT_EQ(rpc_mapper_entry_count(room.Mapper), 2u);
        for (const char *text : {"ncacn_ip_tcp:127.0.0.1", "ncacn_ip_tcp:", "ncacn_vela_ipc:"}) {
            rpc_binding_handle_t binding = Raw_Bind(text);
            Octets out;
            EXPECT_EQ(callEcho(binding, {1, 2, 3}, &out), rpc_s_ok) << text;
            unsigned_char_p_t full;
            rpc_binding_to_string_binding(binding, &full, &status);
            EXPECT_NE(std::string(reinterpret_cast<char *>(full)).find('['), std::string::npos) << "now fully bound";
            rpc_string_free(&full, &status);
            Raw_Free(binding);
        }
        rpc_server_register_ep(server.Server, &listener, nullptr, std::string(64, 'x').c_str(), &status);
        EXPECT_EQ(status, rpc_s_string_too_long);
    }
    EXPECT_EQ(rpc_mapper_entry_count(room.Mapper), 0u);
    rpc_binding_handle_t binding = Raw_Bind("ncacn_ip_tcp:127.0.0.1");
    Octets out;
    EXPECT_EQ(callEcho(binding, {1}, &out), rpc_s_endpoint_not_found);
    Raw_Free(binding);
}

TEST(Server, ManyThreadsShareABindingAndFewThreadsServe)
{
    Rpc_Room room(false);
    EchoServer server(0, false, 2);
    rpc_binding_handle_t binding = Raw_Bind("ncacn_ip_tcp:127.0.0.1[" + std::to_string(server.Port) + "]");
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int number = 0; number < 8; ++number)
        threads.emplace_back([&, number] {
            for (int at = 0; at < 100; ++at) {
                const Octets in(static_cast<size_t>(number * 100 + at), static_cast<u8>(number));
                Octets out;
                if (callEcho(binding, in, &out) != rpc_s_ok || in != out) ++wrong;
            }
        });
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    Raw_Free(binding);
}

TEST(Server, RefusesUnknownInterfacesAndHigherVersions)
{
    Rpc_Room room(false);
    EchoServer server;
    rpc_binding_handle_t binding = Raw_Bind("ncacn_ip_tcp:127.0.0.1[" + std::to_string(server.Port) + "]");
    rpc_if_rep_t other = listenerRecord;
    rpc_call_handle_t call;
    u32 status;
    other.Version = 0x00010001; // minor above
    rpc_call_start(binding, 0, &other, 0, &call, nullptr, &status);
    EXPECT_EQ(status, rpc_s_unknown_if);
    other.Version = 2;
    rpc_call_start(binding, 0, &other, 0, &call, nullptr, &status);
    EXPECT_EQ(status, rpc_s_unknown_if);
    rpc_call_start(binding, 1, &listenerRecord, 0, &call, nullptr, &status);
    EXPECT_EQ(status, rpc_s_invalid_call_opt);
    rpc_call_start(nullptr, 0, &listenerRecord, 0, &call, nullptr, &status);
    EXPECT_EQ(status, rpc_s_invalid_binding);
    EXPECT_EQ(call, nullptr);
    Raw_Free(binding);
}

TEST(Server, ReplacesADeadSocketAndRespectsALiveOne)
{
    Rpc_Room room(false);
    u32 status;
    EchoServer first;
    rpc_server *second = rpc_server_create(nullptr, &status);
    rpc_server_use_local(second, "echo", &status);
    EXPECT_EQ(status, rpc_s_cannot_accept);
    rpc_server_use_tcp(second, "not an address", 0, nullptr, &status);
    EXPECT_EQ(status, rpc_s_inval_net_addr);
    rpc_server_start(second, &status);
    EXPECT_EQ(status, rpc_s_invalid_arg) << "no endpoint";
    rpc_server_destroy(second);
    rpc_server_destroy(nullptr);
}

TEST(IsServerListening, SaysWhyNot)
{
    Rpc_Room room(false);
    u32 status;
    rpc_binding_handle_t binding = Raw_Bind("ncacn_ip_tcp:127.0.0.1");
    EXPECT_EQ(rpc_mgmt_is_server_listening(binding, &status), 0);
    EXPECT_EQ(status, rpc_s_binding_incomplete);
    Raw_Free(binding);
    binding = Raw_Bind("ncacn_ip_tcp:127.0.0.1[1]");
    EXPECT_EQ(rpc_mgmt_is_server_listening(binding, &status), 0);
    EXPECT_EQ(status, rpc_s_connect_rejected);
    Raw_Free(binding);
    binding = Raw_Bind("ncacn_vela_ipc:[nobody]");
    EXPECT_EQ(rpc_mgmt_is_server_listening(binding, &status), 0);
    EXPECT_EQ(status, rpc_s_no_rem_endpoint);
    Raw_Free(binding);
    EXPECT_EQ(rpc_mgmt_is_server_listening(nullptr, &status), 0);
    EXPECT_EQ(status, rpc_s_invalid_binding);

    Raw_Server refusing([](int descriptor) {
        const Octets pdu = Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_BindRefused(Raw_CallId(pdu), 2, 1));
        Raw_ReadPdu(descriptor);
    });
    binding = Raw_Bind(refusing.Binding());
    EXPECT_EQ(rpc_mgmt_is_server_listening(binding, &status), 0);
    EXPECT_EQ(status, rpc_s_unknown_if);
    Raw_Free(binding);

    Octets request;
    Raw_Server answering(Raw_Answering([&](u32 callId, u16 operation, const Octets &stub) {
        EXPECT_EQ(operation, 2);
        EXPECT_TRUE(stub.empty());
        return Raw_Response(callId, Raw_Hex("00000000 01000000"));
    }));
    binding = Raw_Bind(answering.Binding());
    EXPECT_EQ(rpc_mgmt_is_server_listening(binding, &status), 1);
    EXPECT_EQ(status, rpc_s_ok);
    Raw_Free(binding);
}
