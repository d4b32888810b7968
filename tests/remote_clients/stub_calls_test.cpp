// Client stubs over the wire: the octets of each call, answers in every form, and every way in which a server or the
// connection can fail.

#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>

#include "comrl_stubs.h"
#include "plat_sys.h"
#include "qrt_exceptions.h"
#include "raw_server.h"
#include "rpc_binding.h"
#include "rpc_mgmt.h"
#include "rpc_stub.h"
#include "ts_stubs.h"

// The exception that ends a call, or null.
template <class Call>
static const exc_Object *raisedBy(Call call)
{
    try {
        call();
    } catch (const exc_Raised &raised) {
        return raised.Object;
    }
    return nullptr;
}

static std::string nameOf(const exc_Object *raised)
{
    return raised ? qrt_exception_name(raised) : "none";
}

#define EXPECT_RAISES(Exception, ...) EXPECT_EQ(nameOf(raisedBy([&] { __VA_ARGS__; })), #Exception)

// One server that keeps the last request and answers with fixed stub data.
struct Canned {
    Octets Request;
    u16 Operation = 0xFFFF;
    Octets Answer;
    Raw_Order Order;
    Raw_Server Server;
    rpc_binding_handle_t Binding;

    explicit Canned(const char *answer, Raw_Order order = {})
        : Answer(Raw_Hex(answer)), Order(order),
          Server(Raw_Answering([this](u32 callId, u16 operation, const Octets &in) {
              Request = in;
              Operation = operation;
              return Raw_Response(callId, Answer, 0, 3, Order);
          })),
          Binding(Raw_Bind(Server.Binding()))
    {
    }
    ~Canned() { Raw_Free(Binding); }
    std::string Sent() const { return Raw_Text(Request); }
};

static std::string hex(const char *digits)
{
    return Raw_Text(Raw_Hex(digits));
}

template <class Record>
static Record named(const char *name, int number)
{
    Record record = {};
    strcpy(record.Field1, name);
    record.Field2 = static_cast<decltype(record.Field2)>(number);
    return record;
}

// ---- octets

TEST(Octets, OfARecord)
{
    Canned server("cb000001");
    EXPECT_EQ(tsRPC_Op1(server.Binding, named<ts_RecordA>("ABC", 5)), 0x010000CBu);
    EXPECT_EQ(server.Sent(), hex("00000000 04000000 41424300 05000000"));
    EXPECT_EQ(server.Operation, 1);
    tsRPC_Op2(server.Binding, named<ts_RecordA>("none", 0));
    EXPECT_EQ(server.Sent(), hex("00000000 05000000 6e6f6e65 00 000000 00000000"));
    EXPECT_EQ(server.Operation, 2);
    EXPECT_EQ(server.Server.Connections(), 1);
}

TEST(Octets, OfWholePdus)
{
    std::vector<std::string> pdus;
    Raw_Server server([&](int descriptor) {
        for (;;) {
            const Octets pdu = Raw_ReadPdu(descriptor);
            if (pdu.empty()) return;
            pdus.push_back(Raw_Text(pdu));
            Raw_Send(descriptor, pdu[2] == 11 ? Raw_BindAck(1) : Raw_Response(Raw_CallId(pdu), Raw_Hex("cb000001")));
        }
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    tsRPC_Op1(binding, named<ts_RecordA>("ABC", 5));
    Raw_Free(binding);
    ASSERT_EQ(pdus.size(), 2u);
    EXPECT_EQ(pdus[0], hex("05000b03 10000000 4800 0000 01000000  d016 d016 00000000  01 00 0000"
                           "0000 01 00  2ac90b45c8af000002c036e210000000 01000000"
                           "045d888aeb1cc9119fe808002b104860 02000000"));
    EXPECT_EQ(pdus[1],
              hex("05000003 10000000 2800 0000 01000000  10000000 0000 0100  00000000040000004142430005000000"));
}

TEST(Octets, OfAnEnumResult)
{
    Canned server("0700");
    EXPECT_EQ(ComRL_v1_0_Op1(server.Binding, 7), 7);
    EXPECT_EQ(server.Sent(), hex("07000000"));
    server.Answer = Raw_Hex("ffff");
    EXPECT_EQ(ComRL_v1_0_Op1(server.Binding, 7), -1) << "a signed short on the wire";
}

TEST(Octets, OfAStringBufferBothWays)
{
    Canned server("00000000 06000000 6f6c6c656800 xxxx 14020025");
    char name[TS_TEXT_SIZE] = "hello";
    EXPECT_EQ(tsRPC_Op37(server.Binding, name), 0x25000214u);
    EXPECT_EQ(server.Sent(), hex("00000000 06000000 68656c6c6f00"));
    EXPECT_STREQ(name, "olleh");
    EXPECT_EQ(server.Operation, 37);

    Canned listener("00000000 09000000 72656e657473696c00 xx 6603");
    char text[COMRL_NAME_SIZE] = "listener";
    EXPECT_EQ(ComRL_v1_0_Op2(listener.Binding, text), 0x0366);
    EXPECT_STREQ(text, "renetsil");
}

TEST(Octets, OfAList)
{
    Canned server("9d950000 02000000 02000000  00000000 05000000 45302e3100 xxxxxx feffffff"
                  "00000000 05000000 45312e3100 xxxxxx 9affffff  dd00001a");
    ts_RecordEList *list = nullptr;
    EXPECT_EQ(tsRPC_Op26(server.Binding, "any", &list), 0x1A0000DDu);
    EXPECT_EQ(server.Sent(), hex("04000000 00000000 04000000 616e7900"));
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->Count, 2);
    EXPECT_STREQ(list->Items[0].Field1, "E0.1");
    EXPECT_EQ(list->Items[0].Field2, -2);
    const ts_RecordE *second = list->Items + 1;
    EXPECT_STREQ(second->Field1, "E1.1");
    EXPECT_EQ(second->Field2, -102);
    rpc_ss_client_free(list);
}

TEST(Octets, OfNoListAndAnEmptyOne)
{
    Canned server("00000000 dd00001a");
    ts_RecordEList *list = reinterpret_cast<ts_RecordEList *>(1);
    EXPECT_EQ(tsRPC_Op26(server.Binding, "any", &list), 0x1A0000DDu);
    EXPECT_EQ(list, nullptr);
    server.Answer = Raw_Hex("01000000 00000000 00000000 dd00001a");
    tsRPC_Op26(server.Binding, "any", &list);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->Count, 0);
    rpc_ss_client_free(list);
}

static ts_Buffer *newBuffer(i32 used, i32 size, const char *data)
{
    ts_Buffer *buffer = static_cast<ts_Buffer *>(calloc(1, TS_BUFFER_BYTES(size) + 16));
    buffer->Used = used;
    buffer->Size = size;
    memcpy(buffer->Data, data, strlen(data));
    return buffer;
}

struct Schedule {
    ts_Buffer *Buffers[3] = {newBuffer(5, 16, "12345"), newBuffer(2, 4, "ab"), newBuffer(0, 8, "")};
    u32 Answer = 0;
    ~Schedule()
    {
        for (ts_Buffer *buffer : Buffers) free(buffer);
    }
    u32 Call(rpc_binding_handle_t binding)
    {
        return tsRPC_ScheduleTransaction(binding, "TRAN", "user", "", -3, {7, -9}, Buffers[0], &Answer, Buffers[1],
                                         Buffers[2]);
    }
};

constexpr char scheduleAnswer[] = "2a000000"
                                  "04000000 03000000 04000000 00000000 03000000 787978 xx"
                                  "08000000 08000000 08000000 00000000 08000000 3132333435363738"
                                  "05000001";

TEST(Octets, OfScheduleTransaction)
{
    Canned server(scheduleAnswer);
    Schedule schedule;
    EXPECT_EQ(schedule.Call(server.Binding), 0x01000005u);
    EXPECT_EQ(server.Operation, 0);
    EXPECT_EQ(server.Sent(),
              hex("05000000 00000000 05000000 5452414e00 000000   05000000 00000000 05000000 7573657200 000000"
                  "01000000 00000000 01000000 00 000000   fdffffff   07000000 f7ffffff"
                  "10000000 05000000 10000000 00000000 05000000 3132333435 000000"
                  "04000000 02000000 04000000 00000000 02000000 6162 0000"
                  "08000000 00000000 08000000 00000000 00000000"));
    EXPECT_EQ(schedule.Answer, 42u);
    EXPECT_EQ(schedule.Buffers[1]->Used, 3);
    EXPECT_EQ(memcmp(schedule.Buffers[1]->Data, "xyx", 3), 0);
    EXPECT_EQ(schedule.Buffers[2]->Used, 8);
    EXPECT_EQ(memcmp(schedule.Buffers[2]->Data, "12345678", 8), 0);
}

TEST(Octets, OfTheLargestListenerOperation)
{
    Canned server("11000000 01 xxxxxx 00000000 02000000 4100 5a xx 00000000 03000000 424300 xx"
                  "03000000 00000000 03000000 78797a xx 00000000 00000000 00000000 0102");
    u32 answer = 0;
    u8 flag = 7;
    char code1[5], code2[5], character;
    ComRL_Buffer empty = {};
    ComRL_LargeArea large = {};
    ComRL_SmallArea small = {};
    large.length = 2;
    memcpy(large.data, "LL", 2);
    small.length = 1;
    small.data[0] = 'S';
    ASSERT_EQ(ComRL_v1_1_Op3(server.Binding, "", "", "", 9, &empty, &empty, &answer, &flag, code1, &character, code2,
                             &large, &small),
              0x0201);
    EXPECT_EQ(answer, 0x11u);
    EXPECT_EQ(flag, 1);
    EXPECT_STREQ(code1, "A");
    EXPECT_EQ(character, 'Z');
    EXPECT_STREQ(code2, "BC");
    EXPECT_EQ(large.length, 3);
    EXPECT_EQ(memcmp(large.data, "xyz", 3), 0);
    EXPECT_EQ(small.length, 0);
    EXPECT_EQ(server.Operation, 3);
    EXPECT_EQ(server.Sent().substr(3 * 32 + 8),
              hex("00000000 00000000 00000000 00000000 02000000 00000000 02000000 4c4c 0000"
                  "01000000 00000000 01000000 53"));
}

TEST(Octets, OfArraysSizedByTheArgumentBeforeThem)
{
    Canned server("02000000 0a000000 0b000000 0c000000 0d000000 01000000");
    ts_IdPair pairs[2] = {{1, 2}, {3, 4}};
    EXPECT_EQ(tsRPC_Op35(server.Binding, {{5, 6}, 7}, 2, pairs), 1u);
    EXPECT_EQ(server.Sent(), hex("05000000 06000000 07000000 02000000 02000000 01000000 02000000 03000000 04000000"));
    EXPECT_EQ(pairs[1].Field2, 13u);

    server.Answer = Raw_Hex("00000000 02000000");
    const u32 numbers[3] = {9, 8, 7};
    ts_RecordGList *list;
    EXPECT_EQ(tsRPC_Op34(server.Binding, 3, numbers, &list), 2u);
    EXPECT_EQ(server.Sent(), hex("03000000 03000000 09000000 08000000 07000000"));
    EXPECT_EQ(tsRPC_Op34(server.Binding, 0, numbers, &list), 2u);
    EXPECT_EQ(server.Sent(), hex("00000000 00000000"));
}

TEST(Octets, BigEndianAnswersAreReadByTheirOwnLabel)
{
    Canned server("0000002a 00000004 00000003 00000004 00000000 00000003 787978 xx"
                  "00000008 00000008 00000008 00000000 00000008 3132333435363738 01000005",
                  {true});
    Schedule schedule;
    EXPECT_EQ(schedule.Call(server.Binding), 0x01000005u);
    EXPECT_EQ(schedule.Answer, 42u);
    EXPECT_EQ(schedule.Buffers[2]->Used, 8);
}

TEST(Octets, EbcdicCharactersAreConverted)
{
    Raw_Server server(Raw_Answering([](u32 callId, u16, const Octets &) {
        Octets pdu = Raw_Response(callId, Raw_Hex("00000000 03000000 C18200 xx 07000000"));
        pdu[4] = 0x11;
        return pdu;
    }));
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    char name[TS_TEXT_SIZE] = "x";
    EXPECT_EQ(tsRPC_Op37(binding, name), 7u);
    EXPECT_STREQ(name, "Ab");
    Raw_Free(binding);
}

// ---- arguments that cannot go

TEST(Arguments, ThatAreWrongRaiseAndSendNothing)
{
    Canned server("00000000");
    char full[TS_TEXT_SIZE];
    memset(full, 'x', sizeof full);
    EXPECT_RAISES(rpc_x_string_too_long, tsRPC_Op37(server.Binding, full));
    EXPECT_RAISES(rpc_x_invalid_arg, tsRPC_Op3(server.Binding, nullptr));
    EXPECT_RAISES(rpc_x_invalid_arg, tsRPC_Op37(server.Binding, nullptr));
    Schedule schedule;
    schedule.Buffers[0]->Used = 17;
    EXPECT_RAISES(rpc_x_invalid_bound, schedule.Call(server.Binding));
    schedule.Buffers[0]->Used = -1;
    EXPECT_RAISES(rpc_x_invalid_bound, schedule.Call(server.Binding));
    schedule.Buffers[0]->Used = 0;
    schedule.Buffers[1]->Size = -1;
    EXPECT_RAISES(rpc_x_invalid_bound, schedule.Call(server.Binding));
    EXPECT_RAISES(rpc_x_invalid_binding, tsRPC_Op3(nullptr, "x"));
    EXPECT_TRUE(server.Request.empty());
}

// ---- answers that cannot be

TEST(Answers, WithHostileCountsRaiseAndTouchNothing)
{
    Canned server("");
    static const char *const lists[] = {
        "01000000 ffffffff ffffffff", // more than 2^31
        "01000000 ffffff00 ffffff00", // more than has arrived
        "01000000 02000000 01000000 00000000 01000000 00 xxxxxx 00000000", // field and bound differ
        "01000000 01000000 01000000 01000000 01000000 00 xxxxxx 00000000", // an offset
        "01000000 01000000 01000000 00000000 41000000 00 xxxxxx 00000000", // 65 characters in 64
        "01000000 01000000 01000000 00000000 00000000 00000000 00000000", // a string of no character
    };
    for (const char *answer : lists) {
        server.Answer = Raw_Hex(answer);
        server.Answer.resize(server.Answer.size() + 200);
        ts_RecordEList *list = nullptr;
        EXPECT_RAISES(rpc_x_invalid_bound, tsRPC_Op26(server.Binding, "x", &list)) << answer;
        EXPECT_EQ(list, nullptr) << answer;
    }
    server.Answer = Raw_Hex("00000000 02000000 4141 xxxx 07000000");
    char name[TS_TEXT_SIZE] = "x";
    EXPECT_RAISES(rpc_x_string_too_long, tsRPC_Op37(server.Binding, name));
}

TEST(Answers, CannotWriteBeyondTheRoomOfABuffer)
{
    Canned server("");
    static const char *const answers[] = {
        "2a000000 05000000 03000000 05000000 00000000 03000000 787978 xx", // a larger array than was offered
        "2a000000 04000000 03000000 09000000 00000000 03000000 787978 xx", // a size that the array has not
        "2a000000 04000000 05000000 04000000 00000000 05000000 7879787878", // more sent than there is
        "2a000000 04000000 02000000 04000000 00000000 03000000 787978 xx", // Used differs from what is sent
        "2a000000 04000000 03000000 04000000 02000000 03000000 787978 xx", // offset
        "2a000000 04000000 ffffffff 04000000 00000000 ffffffff 787978 xx",
    };
    for (const char *answer : answers) {
        server.Answer = Raw_Hex(answer);
        server.Answer.resize(server.Answer.size() + 100);
        Schedule schedule;
        EXPECT_RAISES(rpc_x_invalid_bound, schedule.Call(server.Binding)) << answer;
        EXPECT_EQ(schedule.Buffers[1]->Data[4], 0);
    }
    server.Answer = Raw_Hex("03000000 01000000 02000000 03000000 04000000 05000000 06000000 00000000");
    ts_IdPair pairs[2] = {};
    EXPECT_RAISES(rpc_x_invalid_bound, tsRPC_Op35(server.Binding, {}, 2, pairs));
}

TEST(Answers, OfFixedAreasStayWithinThem)
{
    ComRL_Buffer empty = {};
    u32 answer;
    u8 flag;
    char code1[5], code2[5], character;
    auto large = std::make_unique<ComRL_LargeArea>();
    ComRL_SmallArea small = {};
    large->length = 0;
    for (const char *tail :
         {"00800000 00000000 00800000", "03000000 00000000 04000000 61626364", "ffffffff 00000000 00000000"}) {
        Canned server("11000000 01 xxxxxx 00000000 02000000 4100 5a xx 00000000 03000000 424300 xx");
        const Octets more = Raw_Hex(tail);
        server.Answer.insert(server.Answer.end(), more.begin(), more.end());
        server.Answer.resize(server.Answer.size() + 40000);
        EXPECT_RAISES(rpc_x_invalid_bound, ComRL_v1_1_Op3(server.Binding, "", "", "", 9, &empty, &empty, &answer, &flag,
                                                          code1, &character, code2, large.get(), &small));
        large->length = 0;
    }
    large->length = 32768;
    Canned server("");
    EXPECT_RAISES(rpc_x_invalid_bound, ComRL_v1_1_Op3(server.Binding, "", "", "", 9, &empty, &empty, &answer, &flag,
                                                      code1, &character, code2, large.get(), &small));
}

TEST(Answers, EveryCutOfTheStubDataRaises)
{
    const Octets whole = Raw_Hex(scheduleAnswer);
    Canned server("");
    for (size_t size = 0; size < whole.size(); ++size) {
        server.Answer.assign(whole.begin(), whole.begin() + static_cast<long>(size));
        Schedule schedule;
        EXPECT_RAISES(rpc_x_protocol_error, schedule.Call(server.Binding)) << size;
    }
    const Octets list = Raw_Hex("9d950000 01000000 01000000 00000000 05000000 45302e3100 xxxxxx feffffff dd00001a");
    for (size_t size = 0; size < list.size(); ++size) {
        server.Answer.assign(list.begin(), list.begin() + static_cast<long>(size));
        ts_RecordEList *out = nullptr;
        EXPECT_NE(raisedBy([&] { tsRPC_Op26(server.Binding, "x", &out); }), nullptr) << size;
        EXPECT_EQ(out, nullptr) << size;
    }
    EXPECT_EQ(server.Server.Connections(), 1) << "whole answers leave the connection sound";
}

// ---- connections

// Each connection gets the next script: what to send after the bind and after the request.
static Raw_Server::Serve sending(Octets afterBind, std::function<Octets(u32)> afterRequest)
{
    return [afterBind, afterRequest](int descriptor) {
        const Octets bind = Raw_ReadPdu(descriptor);
        if (bind.empty() || !Raw_Send(descriptor, afterBind)) return;
        const Octets request = Raw_ReadPdu(descriptor);
        if (!request.empty() && afterRequest) Raw_Send(descriptor, afterRequest(Raw_CallId(request)));
    };
}

TEST(Connections, CutAtEveryOctetOfAnAnswerRaise)
{
    const Octets whole = Raw_Response(1, Raw_Hex("07000000"));
    for (size_t size = 0; size < whole.size(); ++size) {
        Raw_Server server(sending(Raw_BindAck(1),
                                  [&](u32) { return Octets(whole.begin(), whole.begin() + static_cast<long>(size)); }));
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        const exc_Object *raised = raisedBy([&] { tsRPC_Op36(binding, {1, 2}); });
        EXPECT_EQ(raised, size == 0 ? &rpc_x_connection_closed : &rpc_x_comm_failure) << size;
        Raw_Free(binding);
    }
}

TEST(Connections, CutAtEveryOctetOfTheBindAnswerRaise)
{
    const Octets whole = Raw_BindAck(1);
    for (size_t size = 0; size < whole.size(); ++size) {
        Raw_Server server([&](int descriptor) {
            Raw_ReadPdu(descriptor);
            Raw_Send(descriptor, Octets(whole.begin(), whole.begin() + static_cast<long>(size)));
        });
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        EXPECT_NE(raisedBy([&] { tsRPC_Op36(binding, {1, 2}); }), nullptr) << size;
        Raw_Free(binding);
    }
}

TEST(Connections, CutAtEveryOctetOfAListInFragmentsRaiseAndGiveNothing)
{
    const Octets stub = Raw_Hex("9d950000 02000000 02000000  00000000 05000000 45302e3100 xxxxxx feffffff"
                                "00000000 05000000 45312e3100 xxxxxx 9affffff  dd00001a");
    for (const bool bigEndian : {false, true}) {
        Octets whole;
        const Raw_Order order = {bigEndian};
        for (size_t at = 0; at < stub.size(); at += 8) {
            const long end = static_cast<long>(std::min(at + 8, stub.size()));
            const u8 flags = static_cast<u8>((at == 0 ? 1 : 0) | (at + 8 >= stub.size() ? 2 : 0));
            const Octets part =
                Raw_Response(1, Octets(stub.begin() + static_cast<long>(at), stub.begin() + end), 0, flags, order);
            whole.insert(whole.end(), part.begin(), part.end());
        }
        std::atomic<size_t> size{0};
        Raw_Server server([&](int descriptor) {
            Raw_ReadPdu(descriptor);
            Raw_Send(descriptor, Raw_BindAck(1));
            if (!Raw_ReadPdu(descriptor).empty())
                Raw_Send(descriptor, Octets(whole.begin(), whole.begin() + static_cast<long>(size)));
        });
        for (; size < whole.size(); ++size) {
            rpc_binding_handle_t binding = Raw_Bind(server.Binding());
            ts_RecordEList *list = nullptr;
            const exc_Object *raised = raisedBy([&] { tsRPC_Op26(binding, "x", &list); });
            EXPECT_EQ(raised, size == 0 ? &rpc_x_connection_closed : &rpc_x_comm_failure) << size;
            EXPECT_EQ(list, nullptr) << size;
            Raw_Free(binding);
        }
    }
}

// Octets of a seeded generator where a bind's answer or a call's answer should stand, and answers of the right form with
// octets changed at random: whatever comes out is a result or an exception, within the time-out and within the buffers.
TEST(Connections, GarbageEndsInAnExceptionOrAResult)
{
    u32 state = 20260101;
    const auto random = [&](u32 below) {
        state = state * 1664525 + 1013904223;
        return (state >> 8) % below;
    };
    std::mutex lock; // of the next two: a connection of the round before may still be served
    Octets first, answer;
    Raw_Server server([&](int descriptor) {
        lock.lock();
        const Octets toBind = first, toCall = answer;
        lock.unlock();
        Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, toBind);
        if (toBind == Raw_BindAck(1) && !Raw_ReadPdu(descriptor).empty()) Raw_Send(descriptor, toCall);
    });
    int exceptions = 0;
    for (int round = 0; round < 1000; ++round) {
        lock.lock();
        answer = Raw_Response(1, Raw_Hex(scheduleAnswer));
        first = Raw_BindAck(1);
        if (round % 4 == 0) {
            first.assign(1 + random(80), 0);
            for (u8 &octet : first) octet = static_cast<u8>(random(256));
        } else if (round % 4 == 1) {
            answer.assign(1 + random(200), 0);
            for (u8 &octet : answer) octet = static_cast<u8>(random(256));
        } else {
            for (u32 changes = 1 + random(4); changes != 0; --changes)
                answer[random(static_cast<u32>(answer.size()))] = static_cast<u8>(random(256));
        }
        lock.unlock();
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        u32 status;
        rpc_mgmt_set_com_timeout(binding, 0, &status);
        Schedule schedule;
        const bool raised = raisedBy([&] { schedule.Call(binding); }) != nullptr;
        exceptions += raised;
        for (int at : {1, 2}) EXPECT_TRUE(raised || schedule.Buffers[at]->Used <= schedule.Buffers[at]->Size) << round;
        Raw_Free(binding);
    }
    EXPECT_GT(exceptions, 500);
}

TEST(Connections, ThatCannotBeMadeSayWhy)
{
    rpc_binding_handle_t binding = Raw_Bind("ncacn_ip_tcp:127.0.0.1[1]");
    EXPECT_RAISES(rpc_x_connect_rejected, tsRPC_Op36(binding, {}));
    Raw_Free(binding);
    binding = Raw_Bind("ncacn_vela_ipc:[/nowhere/at/all]");
    EXPECT_RAISES(rpc_x_no_rem_endpoint, tsRPC_Op36(binding, {}));
    Raw_Free(binding);
}

TEST(Connections, RefusedByTheServerSayWhy)
{
    static const struct {
        Octets Answer;
        const exc_Object *Exception;
    } rows[] = {
        {Raw_BindNak(1, 0), &rpc_x_unknown_reject},
        {Raw_BindNak(1, 1), &rpc_x_server_too_busy},
        {Raw_BindNak(1, 2), &rpc_x_server_too_busy},
        {Raw_BindNak(1, 3), &rpc_x_unknown_reject},
        {Raw_BindNak(1, 4), &rpc_x_rpc_prot_version_mismatch},
        {Raw_BindRefused(1, 2, 0), &rpc_x_unknown_reject},
        {Raw_BindRefused(1, 2, 1), &rpc_x_unknown_if},
        {Raw_BindRefused(1, 2, 2), &rpc_x_tsyntaxes_unsupported},
        {Raw_BindRefused(1, 2, 3), &rpc_x_server_too_busy},
        {Raw_BindRefused(1, 1, 0), &rpc_x_unknown_reject},
        {Raw_Fault(1, 5), &rpc_x_unknown_reject},
        {Raw_Pdu(17, 3, 1, {}), &rpc_x_connect_closed_by_rem},
        {Raw_BindAck(1, 16), &rpc_x_protocol_error}, // no PDU fits
        {Raw_Response(1, {}), &rpc_x_protocol_error},
        {Octets(64, 0x41), &rpc_x_protocol_error},
    };
    for (const auto &row : rows) {
        Raw_Server server(sending(row.Answer, nullptr));
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        EXPECT_STREQ(qrt_exception_name(raisedBy([&] { tsRPC_Op36(binding, {}); })), qrt_exception_name(row.Exception))
            << Raw_Text(row.Answer);
        Raw_Free(binding);
    }
}

TEST(Connections, MalformedAnswersAreProtocolErrors)
{
    auto broken = [](size_t place, u8 value) {
        Octets pdu = Raw_Response(1, Raw_Hex("07000000"));
        pdu[place] = value;
        return pdu;
    };
    const Octets rows[] = {
        broken(0, 4),  broken(1, 9),  broken(2, 99), broken(2, 0),  broken(3, 2),    broken(8, 3),
        broken(8, 20), broken(10, 8), broken(12, 9), broken(20, 1), broken(4, 0x30),
    };
    for (const Octets &answer : rows) {
        Raw_Server server(sending(Raw_BindAck(1), [&](u32) { return answer; }));
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        EXPECT_RAISES(rpc_x_protocol_error, tsRPC_Op36(binding, {})) << Raw_Text(answer);
        Raw_Free(binding);
    }
}

TEST(Connections, FaultsOfEveryCodeBecomeTheirExceptions)
{
    u32 fault = 0;
    Raw_Order order;
    Raw_Server server(
        Raw_Answering([&](u32 callId, u16, const Octets &) { return Raw_Fault(callId, fault, 0, order); }));
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    for (const u32 base : {0x1C010000u, 0x1C000000u, 0u}) {
        for (u32 code = 0; code < 0x30; ++code) {
            fault = base + code;
            order.BigEndian = code % 2 == 1;
            const exc_Object *raised = raisedBy([&] { tsRPC_Op36(binding, {}); });
            EXPECT_EQ(raised, fault == 0 ? &rpc_x_unknown_remote_fault : qrt_exception_of_fault(fault)) << fault;
        }
    }
    EXPECT_EQ(server.Connections(), 1) << "a fault leaves the connection sound";
    Raw_Free(binding);
}

TEST(Connections, AnswersInFragmentsOfAnySizeAreJoined)
{
    const Octets whole = Raw_Hex(scheduleAnswer);
    std::atomic<size_t> part{1};
    std::atomic<bool> torn{false};
    Raw_Server server([&](int descriptor) {
        for (;;) {
            const Octets pdu = Raw_ReadPdu(descriptor);
            if (pdu.empty()) return;
            if (pdu[2] == 11) Raw_Send(descriptor, Raw_BindAck(1));
            if (pdu[2] != 0) continue;
            Octets stream;
            const bool octetByOctet = torn;
            for (size_t at = 0; at < whole.size(); at += part) {
                const size_t size = std::min(part.load(), whole.size() - at);
                const u8 flags = static_cast<u8>((at == 0 ? 1 : 0) | (at + size == whole.size() ? 2 : 0));
                const Octets piece(whole.begin() + static_cast<long>(at), whole.begin() + static_cast<long>(at + size));
                const Octets fragment = Raw_Response(Raw_CallId(pdu), piece, 0, flags);
                stream.insert(stream.end(), fragment.begin(), fragment.end());
            }
            if (!octetByOctet) Raw_Send(descriptor, stream);
            for (size_t at = 0; octetByOctet && at < stream.size(); ++at) Raw_Send(descriptor, {stream[at]});
        }
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    for (part = 1; part <= whole.size() + 1; ++part) {
        torn = part % 16 == 7;
        Schedule schedule;
        EXPECT_EQ(nameOf(raisedBy([&] { EXPECT_EQ(schedule.Call(binding), 0x01000005u); })), "none") << part;
        EXPECT_EQ(schedule.Buffers[2]->Used, 8);
    }
    Raw_Free(binding);
}

TEST(Connections, RequestsKeepToTheServersFragmentSize)
{
    for (const u16 fragment : {u16{64}, u16{72}, u16{100}, u16{1432}}) {
        Octets joined;
        Raw_Server server([&](int descriptor) {
            Octets bind = Raw_ReadPdu(descriptor);
            Raw_Send(descriptor, Raw_BindAck(1, fragment));
            for (;;) {
                const Octets pdu = Raw_ReadPdu(descriptor);
                if (pdu.empty()) return;
                EXPECT_LE(pdu.size(), fragment);
                EXPECT_EQ((pdu[3] & 1) != 0, joined.empty());
                const Octets part = Raw_Stub(pdu);
                EXPECT_TRUE((pdu[3] & 2) != 0 || part.size() % 8 == 0);
                joined.insert(joined.end(), part.begin(), part.end());
                if (pdu[3] & 2) Raw_Send(descriptor, Raw_Response(1, Raw_Hex("07000000")));
            }
        });
        rpc_binding_handle_t binding = Raw_Bind(server.Binding());
        EXPECT_EQ(tsRPC_Op3(binding, std::string(5000, 'q').c_str()), 7u);
        EXPECT_EQ(joined.size(), 12u + 5001u);
        Raw_Free(binding);
    }
}

TEST(Connections, AnEarlyFaultEndsALongRequest)
{
    Raw_Server server([](int descriptor) {
        Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_BindAck(1));
        const Octets first = Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_Fault(Raw_CallId(first), 0x1C000007));
        usleep(300000);
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    EXPECT_RAISES(rpc_x_invalid_bound, tsRPC_Op3(binding, std::string(20u << 20, 'q').c_str()));
    Raw_Free(binding);
}

TEST(Connections, ClosedWhileIdleAreReplaced)
{
    std::atomic<int> calls{0};
    Raw_Server server([&](int descriptor) {
        Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_BindAck(1));
        const Octets request = Raw_ReadPdu(descriptor);
        ++calls;
        Raw_Send(descriptor, Raw_Response(Raw_CallId(request), Raw_Hex("07000000"))); // and closes
        if (calls == 2) Raw_Send(descriptor, Raw_Pdu(17, 3, 0, {})); // asks for it, the second time
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    for (int at = 0; at < 4; ++at) {
        EXPECT_EQ(tsRPC_Op36(binding, {}), 7u);
        usleep(20000);
    }
    EXPECT_EQ(server.Connections(), 4);
    Raw_Free(binding);
}

TEST(Connections, AForgottenGroupIsOfferedAnew)
{
    std::vector<u32> groups;
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    Raw_Server server([&](int descriptor) {
        const Octets bind = Raw_ReadPdu(descriptor);
        u32 group;
        memcpy(&group, &bind[20], sizeof group);
        pthread_mutex_lock(&lock);
        groups.push_back(group);
        pthread_mutex_unlock(&lock);
        if (group != 0) {
            Raw_Send(descriptor, Raw_BindNak(1, 0));
            return;
        }
        Raw_Send(descriptor, Raw_BindAck(1));
        for (;;) {
            const Octets request = Raw_ReadPdu(descriptor);
            if (request.empty()) return;
            usleep(100000);
            Raw_Send(descriptor, Raw_Response(Raw_CallId(request), Raw_Hex("07000000")));
        }
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    std::thread other([&] { EXPECT_EQ(tsRPC_Op36(binding, {}), 7u); });
    usleep(50000);
    EXPECT_EQ(tsRPC_Op36(binding, {}), 7u);
    other.join();
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(groups[0], 0u);
    EXPECT_EQ(groups[1], 0x12345u);
    EXPECT_EQ(groups[2], 0u);
    Raw_Free(binding);
}

TEST(Connections, ObjectsGoWithTheRequest)
{
    Octets seen;
    Raw_Server server([&](int descriptor) {
        Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_BindAck(1));
        seen = Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_Response(1, Raw_Hex("07000000")));
    });
    rpc_binding_handle_t binding = Raw_Bind("00939856-b996-1cb2-a1d2-10005a4fa441@" + server.Binding());
    EXPECT_EQ(tsRPC_Op36(binding, {1, 2}), 7u);
    EXPECT_EQ(seen[3], 0x83);
    EXPECT_EQ(Raw_Text(Octets(seen.begin() + 24, seen.begin() + 40)), hex("5698930096b9b21ca1d210005a4fa441"));
    EXPECT_EQ(Raw_Text(Raw_Stub(seen)), hex("01000000 02000000"));
    Raw_Free(binding);
}

// ---- time

static double secondsOf(const std::function<void()> &work)
{
    struct timespec before, after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    work();
    clock_gettime(CLOCK_MONOTONIC, &after);
    return static_cast<double>(after.tv_sec - before.tv_sec) +
           static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9;
}

TEST(Time, ASilentServerEndsTheOpeningExchange)
{
    Raw_Server server([](int descriptor) {
        while (!Raw_ReadPdu(descriptor).empty()) {
        }
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    u32 status;
    rpc_mgmt_set_com_timeout(binding, rpc_c_binding_min_timeout, &status);
    const double seconds = secondsOf([&] { EXPECT_RAISES(rpc_x_connect_timed_out, tsRPC_Op36(binding, {})); });
    EXPECT_GT(seconds, 0.9);
    EXPECT_LT(seconds, 2.0);
    Raw_Free(binding);
}

TEST(Time, AnAnswerThatStopsHalfWayIsACommunicationFailure)
{
    Raw_Server server([](int descriptor) {
        Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_BindAck(1));
        Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Octets(5, 5));
        Raw_ReadPdu(descriptor);
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    u32 status;
    rpc_mgmt_set_com_timeout(binding, 0, &status);
    EXPECT_LT(secondsOf([&] { EXPECT_RAISES(rpc_x_comm_failure, tsRPC_Op36(binding, {})); }), 2.0);
    Raw_Free(binding);
}

TEST(Time, TheServersWorkIsNotLimitedUnlessAsked)
{
    std::atomic<int> orphaned{0};
    Raw_Server server([&](int descriptor) {
        Raw_ReadPdu(descriptor);
        Raw_Send(descriptor, Raw_BindAck(1));
        const Octets request = Raw_ReadPdu(descriptor);
        usleep(1500000);
        Raw_Send(descriptor, Raw_Response(Raw_CallId(request), Raw_Hex("07000000")));
        const Octets more = Raw_ReadPdu(descriptor);
        if (!more.empty() && more[2] == 19) ++orphaned;
    });
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    u32 status;
    rpc_mgmt_set_com_timeout(binding, 0, &status);
    EXPECT_EQ(tsRPC_Op36(binding, {}), 7u) << "longer than the communication time-out";
    Raw_Free(binding);

    binding = Raw_Bind(server.Binding());
    rpc_mgmt_set_call_timeout(binding, 1, &status);
    EXPECT_LT(secondsOf([&] { EXPECT_RAISES(rpc_x_comm_failure, tsRPC_Op36(binding, {})); }), 1.4);
    Raw_Free(binding);
    usleep(800000);
    EXPECT_EQ(orphaned, 1);
}

// ---- cancellation

TEST(Cancellation, IsOffDuringACallAndBackAfterIt)
{
    std::thread([] {
        auto now = [] {
            int state;
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
            pthread_setcancelstate(state, nullptr);
            return state;
        };
        Canned server("07000000");
        tsRPC_Op36(server.Binding, {});
        EXPECT_EQ(now(), PTHREAD_CANCEL_ENABLE);
        server.Answer.clear();
        EXPECT_RAISES(rpc_x_protocol_error, tsRPC_Op36(server.Binding, {})); // held
        EXPECT_EQ(now(), PTHREAD_CANCEL_ENABLE);
        EXPECT_RAISES(rpc_x_invalid_binding, tsRPC_Op36(nullptr, {})); // reported
        EXPECT_EQ(now(), PTHREAD_CANCEL_ENABLE);
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        server.Answer = Raw_Hex("07000000");
        tsRPC_Op36(server.Binding, {});
        EXPECT_EQ(now(), PTHREAD_CANCEL_DISABLE);
        EXPECT_RAISES(rpc_x_invalid_binding, tsRPC_Op36(nullptr, {}));
        EXPECT_EQ(now(), PTHREAD_CANCEL_DISABLE);
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    }).join();
}

static void *callUntilCancelled(void *argument)
{
    rpc_binding_handle_t binding = static_cast<rpc_binding_handle_t>(argument);
    const u32 result = tsRPC_Op36(binding, {});
    pthread_testcancel();
    return reinterpret_cast<void *>(static_cast<size_t>(result)); // not reached: the cancellation waits for the call
}

TEST(Cancellation, WaitsForTheCall)
{
    std::atomic<bool> answered{false};
    Raw_Server server(Raw_Answering([&](u32 callId, u16, const Octets &) {
        usleep(300000);
        answered = true;
        return Raw_Response(callId, Raw_Hex("07000000"));
    }));
    rpc_binding_handle_t binding = Raw_Bind(server.Binding());
    pthread_t thread;
    pthread_create(&thread, nullptr, callUntilCancelled, binding);
    usleep(100000);
    pthread_cancel(thread);
    void *result;
    pthread_join(thread, &result);
    EXPECT_TRUE(answered);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    Raw_Free(binding);
}

// ---- storage

static int given, taken;
static void *countingAllocate(size_t size)
{
    ++given;
    return malloc(size);
}
static void countingFree(void *block)
{
    ++taken;
    free(block);
}
static void *noStorage(size_t)
{
    return nullptr;
}

TEST(Storage, OfResultsComesFromTheThreadsRoutines)
{
    Canned server("01000000 00000000 00000000 dd00001a");
    ts_RecordEList *list = nullptr;
    rpc_ss_set_client_alloc_free(countingAllocate, countingFree);
    tsRPC_Op26(server.Binding, "x", &list);
    EXPECT_EQ(given, 1);
    rpc_ss_client_free(list);
    EXPECT_EQ(taken, 1);
    server.Answer.resize(12); // the result is missing: the list goes back
    EXPECT_RAISES(rpc_x_protocol_error, tsRPC_Op26(server.Binding, "x", &list));
    EXPECT_EQ(given, 2);
    EXPECT_EQ(taken, 2);
    rpc_ss_set_client_alloc_free(noStorage, countingFree);
    EXPECT_RAISES(rpc_x_no_memory, tsRPC_Op26(server.Binding, "x", &list));
    rpc_ss_set_client_alloc_free(nullptr, nullptr);
}

static const exc_Object *toRaise = nullptr;
static void *raisingAllocate(size_t)
{
    exc_raise(toRaise);
}

TEST(Storage, WhatItsRoutineRaisesIsHeldUntilTheCleanUpHasRun)
{
    Canned server("01000000 00000000 00000000 dd00001a");
    ts_RecordEList *list = nullptr;
    rpc_ss_set_client_alloc_free(raisingAllocate, countingFree);
    toRaise = &rpc_x_ss_bad_buffer;
    int before;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    EXPECT_RAISES(rpc_x_ss_bad_buffer, tsRPC_Op26(server.Binding, "x", &list));
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &before);
    EXPECT_EQ(before, PTHREAD_CANCEL_ENABLE) << "cancellation is back";
    EXPECT_EQ(list, nullptr);

    // A broken pipe of the answer is taken as handled: nothing is raised, and nothing is returned.
    toRaise = &rpc_x_ss_pipe_comm_error;
    u32 result = 77;
    EXPECT_RAISES(none, result = tsRPC_Op26(server.Binding, "x", &list));
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(list, nullptr);

    rpc_ss_set_client_alloc_free(nullptr, nullptr);
    EXPECT_EQ(tsRPC_Op26(server.Binding, "x", &list), 0x1A0000DDu);
    rpc_ss_client_free(list);
    EXPECT_EQ(server.Server.Connections(), 1) << "the answers were whole, so that the connection goes on";
}

static int storageCalls = 0;

TEST(Storage, ThatCannotBeNotedIsGivenBack)
{
    Canned server("01000000 00000000 00000000 dd00001a");
    ts_RecordEList *list = nullptr;
    tsRPC_Op36(server.Binding, {}); // opens the connection
    rpc_ss_set_client_alloc_free(countingAllocate, countingFree);
    const int givenBefore = given, takenBefore = taken;
    Plat_Sys.Malloc = [](size_t size) -> void * { return ++storageCalls == 2 ? nullptr : malloc(size); };
    EXPECT_RAISES(rpc_x_no_memory, tsRPC_Op26(server.Binding, "x", &list));
    Plat_Sys.Malloc = malloc;
    EXPECT_EQ(storageCalls, 2) << "the call, and the note of the list's storage";
    EXPECT_EQ(given - givenBefore, 1);
    EXPECT_EQ(taken - takenBefore, 1);
    rpc_ss_set_client_alloc_free(nullptr, nullptr);
}
