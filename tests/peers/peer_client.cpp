// Calls every operation of both interfaces with random arguments against the independent server of peer_server.py, and
// compares: the result is a check sum over what the server decoded, outputs come from a generator seeded with it.
//
//     peer_client PORT [ROUNDS] [SEED] [STUB]     STUB alone where it is given

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "comrl_stubs.h"
#include "qrt_exceptions.h"
#include "rpc_binding.h"
#include "rpc_stub.h"
#include "ts_stubs.h"

struct Generator {
    u32 State;
    u32 Word()
    {
        State = State * 1664525 + 1013904223;
        return (State >> 8) & 0xFFFFFF;
    }
    i32 Long() { return static_cast<i32>(Word()) - 0x800000; }
    std::string Text(u32 room)
    {
        std::string out(Word() % room, ' ');
        for (char &c : out) c = static_cast<char>(97 + Word() % 26);
        return out;
    }
    std::string Octets(u32 most)
    {
        std::string out(Word() % (most + 1), ' ');
        for (char &c : out) c = static_cast<char>(Word() & 0xFF);
        return out;
    }
};

static u32 checkSum(const std::string &text)
{
    u32 crc = 0xFFFFFFFF;
    for (const char c : text) {
        crc ^= static_cast<u8>(c);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
    }
    return ~crc;
}

static std::string hex(const std::string &octets)
{
    std::string out;
    char digits[4];
    for (const char c : octets) {
        snprintf(digits, sizeof digits, "%02x", static_cast<u8>(c));
        out += digits;
    }
    return out;
}

static std::string number(char kind, long long value)
{
    return kind + std::to_string(value) + ";";
}

// ---- records, by the shape of their fields

template <class Record>
constexpr const char *shapeOf()
{
    if constexpr (std::is_same_v<Record, ts_RecordA>) return "tu";
    if constexpr (std::is_same_v<Record, ts_RecordB>) return "ttull";
    if constexpr (std::is_same_v<Record, ts_RecordC>) return "tuuupl";
    if constexpr (std::is_same_v<Record, ts_RecordD>) return "tttppll";
    if constexpr (std::is_same_v<Record, ts_RecordE> || std::is_same_v<Record, ts_RecordF>) return "tl";
    return "uutttttppll";
}

// Fills a record, and gives its canonical text.
template <class Record>
static std::string fillRecord(Generator &generator, Record *record)
{
    u8 *at = reinterpret_cast<u8 *>(record);
    std::string text;
    auto word = [&](i32 value) {
        memcpy(at, &value, 4);
        at += 4;
        return value;
    };
    for (const char *kind = shapeOf<Record>(); *kind; ++kind) {
        if (*kind == 't') {
            const std::string value = generator.Text(64);
            memset(at, 0, TS_TEXT_SIZE);
            memcpy(at, value.data(), value.size());
            at += TS_TEXT_SIZE;
            text += "t" + hex(value) + ";";
        } else if (*kind == 'p') {
            const i32 first = word(generator.Long()), second = word(generator.Long());
            text += "p" + std::to_string(first) + "," + std::to_string(second) + ";";
        } else if (*kind == 'u') {
            text += number('u', word(static_cast<i32>(generator.Word())));
        } else {
            text += number('l', word(generator.Long()));
        }
    }
    return text;
}

// ---- one argument: its storage, its random value with canonical text, and the check of what came back

struct State {
    Generator Random;
    u32 Count = 0; // the last unsigned word: the size of the array behind it
    std::string Wrong;
};

template <class Type>
struct Argument {
    Type Value = {};
    std::string Store;
    std::vector<u32> Words;
    std::vector<ts_IdPair> Pairs;
    char Kind = 0;

    Type Get()
    {
        if constexpr (std::is_same_v<Type, const char *>)
            return Store.c_str();
        else if constexpr (std::is_same_v<Type, const u32 *>)
            return Words.data();
        else if constexpr (std::is_same_v<Type, ts_IdPair *>)
            return Pairs.data();
        else if constexpr (std::is_pointer_v<Type>)
            return reinterpret_cast<Type>(Store.data());
        else
            return Value;
    }

    std::string FillBuffer(State &state, size_t head, u32 extra)
    {
        const std::string data = state.Random.Octets(200);
        const u32 used = static_cast<u32>(data.size());
        const u32 size = used + extra;
        Store.assign(head + size + 64, '\0');
        memcpy(Store.data(), &used, 4);
        if (head == 8) memcpy(Store.data() + 4, &size, 4);
        memcpy(Store.data() + head, data.data(), data.size());
        return head == 8 ? "b" + std::to_string(size) + "," + hex(data) + ";" : "c" + hex(data) + ";";
    }

    std::string FillSequence(State &state)
    {
        std::string text(1, Kind);
        for (u32 at = 0; at < state.Count; ++at) {
            const u32 first = state.Random.Word();
            text += (at ? "," : "") + std::to_string(first);
            Words.push_back(first);
            if (Kind != 'i') continue;
            Pairs.push_back({first, state.Random.Word()});
            text += "," + std::to_string(Pairs.back().Field2);
        }
        Words.reserve(1);
        Pairs.reserve(1);
        return text + ";";
    }

    std::string Fill(State &state, char kind, char next)
    {
        Kind = kind;
        Generator &random = state.Random;
        if (kind == 's') return Store = random.Text(random.Word() % 50 == 0 ? 20000 : 40), "t" + hex(Store) + ";";
        if (kind == 'n') {
            const std::string value = random.Text(64);
            Store = value + std::string(64 - value.size(), '\0');
            return "t" + hex(value) + ";";
        }
        if (kind == 'b' || kind == 'o') return FillBuffer(state, 8, random.Word() % 30);
        if (kind == 'c') return FillBuffer(state, 4, 8);
        if (kind == 'a') return FillBuffer(state, 4, 33000);
        if (kind == 'w' || kind == 'i') return FillSequence(state);
        Store.assign(80, '\x55'); // room for what only comes out
        if constexpr (std::is_same_v<Type, i32>)
            return number('l', Value = random.Long());
        else if constexpr (std::is_same_v<Type, u32>) {
            Value = next == 'w' || next == 'i' ? random.Word() % 6 : random.Word();
            return number('u', state.Count = Value);
        } else if constexpr (std::is_same_v<Type, ts_Pair>) {
            Value = {random.Long(), random.Long()};
            return "p" + std::to_string(Value.Field1) + "," + std::to_string(Value.Field2) + ";";
        } else if constexpr (std::is_same_v<Type, ts_Stamp>) {
            Value = {{random.Long(), random.Long()}, random.Word()};
            return "m" + std::to_string(Value.Field1.Field1) + "," + std::to_string(Value.Field1.Field2) + "," +
                   std::to_string(Value.Field2) + ";";
        } else if constexpr (!std::is_pointer_v<Type>) {
            return fillRecord(random, &Value);
        }
        return "";
    }

    void Same(State &state, const void *found, const void *wanted, size_t size)
    {
        if (memcmp(found, wanted, size) != 0) state.Wrong += std::string(1, Kind);
    }

    void CheckBuffer(State &state, Generator &expected, size_t head, u32 most)
    {
        const std::string data = expected.Octets(most);
        const u32 used = static_cast<u32>(data.size());
        Same(state, Store.data(), &used, 4);
        Same(state, Store.data() + head, data.data(), data.size());
    }

    template <class List>
    void CheckList(State &state, Generator &expected, List *list)
    {
        const u32 count = expected.Word() % 4;
        using Record = std::remove_reference_t<decltype(list->Items[0])>;
        if (!list || list->Count != static_cast<i32>(count)) {
            state.Wrong += '[';
            return;
        }
        for (u32 at = 0; at < count; ++at) {
            Record wanted;
            fillRecord(expected, &wanted);
            const u8 *one = reinterpret_cast<const u8 *>(&list->Items[at]),
                     *two = reinterpret_cast<const u8 *>(&wanted);
            for (const char *kind = shapeOf<Record>(); *kind; ++kind) {
                const size_t size = *kind == 't' ? TS_TEXT_SIZE : *kind == 'p' ? 8 : 4;
                const size_t compared = *kind == 't' ? strlen(reinterpret_cast<const char *>(two)) + 1 : size;
                Same(state, one, two, compared);
                one += size;
                two += size;
            }
        }
        rpc_ss_client_free(list);
    }

    void Check(State &state, Generator &expected)
    {
        u32 word;
        if (Kind == 'o') {
            memcpy(&word, Store.data() + 4, 4);
            CheckBuffer(state, expected, 8, word);
        } else if (Kind == 'a') {
            CheckBuffer(state, expected, 4, 1000);
        } else if (Kind == 'n' || Kind == 'k') {
            const std::string text = expected.Text(Kind == 'n' ? 64 : 5);
            Same(state, Store.data(), text.c_str(), text.size() + 1);
        } else if (Kind == 'U' || Kind == 'L') {
            word = Kind == 'U' ? expected.Word() : static_cast<u32>(expected.Long());
            Same(state, Store.data(), &word, 4);
        } else if (Kind == 'y' || Kind == 'K') {
            const u8 octet = static_cast<u8>(expected.Word() & (Kind == 'y' ? 1 : 0xFF));
            Same(state, Store.data(), &octet, 1);
        } else if (Kind == 'i') {
            for (const ts_IdPair &pair : Pairs) {
                if (pair.Field1 != expected.Word() || pair.Field2 != expected.Word()) state.Wrong += 'i';
            }
        }
        if constexpr (std::is_pointer_v<Type> && std::is_pointer_v<std::remove_pointer_t<Type>>) {
            Type place = reinterpret_cast<Type>(Store.data());
            CheckList(state, expected, *place);
        }
    }
};

// ---- one operation

static int failures = 0;
static long calls = 0;
static const char *only = nullptr;
static rpc_binding_handle_t binding;

template <class Result, class... Types>
static void run(const char *name, const char *shape, Result (*stub)(rpc_binding_handle_t, Types...), long rounds,
                u32 seed)
{
    if (only && strcmp(name, only) != 0) return;
    for (long round = 0; round < rounds; ++round) {
        State state = {{seed + static_cast<u32>(round) * 2654435761u}, 0, ""};
        std::tuple<Argument<Types>...> arguments;
        std::string text;
        std::apply(
            [&](auto &...argument) {
                size_t at = 0;
                ((text += argument.Fill(state, shape[at], shape[at + 1]), ++at), ...);
            },
            arguments);
        Result result = 0;
        const char *raised = nullptr;
        EXC_TRY
        {
            result = std::apply([&](auto &...argument) { return stub(binding, argument.Get()...); }, arguments);
        }
        EXC_CATCH_ALL
        {
            raised = qrt_exception_name(exc_this);
        }
        EXC_END_TRY
        ++calls;
        const u32 check = checkSum(text);
        const u32 wanted = std::is_same_v<Result, u32> ? check : check & 0x7FFF;
        if (!raised && static_cast<u32>(result) == wanted) {
            Generator expected = {check};
            std::apply([&](auto &...argument) { (argument.Check(state, expected), ...); }, arguments);
        }
        if (raised || static_cast<u32>(result) != wanted || !state.Wrong.empty()) {
            fprintf(stderr, "%s round %ld (seed %u): %s\n", name, round, seed,
                    raised                ? raised
                    : state.Wrong.empty() ? "the server decoded other arguments"
                                          : state.Wrong.c_str());
            if (++failures > 20) exit(1);
        }
    }
}

int main(int argc, char **argv)
{
    if (argc < 2) return 2;
    const long rounds = argc > 2 ? atol(argv[2]) : 10000;
    const u32 seed = argc > 3 ? static_cast<u32>(atol(argv[3])) : 20260101;
    only = argc > 4 ? argv[4] : nullptr;
    u32 status;
    const std::string text = std::string("ncacn_ip_tcp:127.0.0.1[") + argv[1] + "]";
    rpc_binding_from_string_binding(reinterpret_cast<const unsigned char *>(text.c_str()), &binding, &status);
    if (status != rpc_s_ok) return 2;

#define RUN(Stub, Shape) run(#Stub, Shape, Stub, rounds, seed)
    RUN(ComRL_v1_0_Op0, "sssllccU");
    RUN(ComRL_v1_0_Op1, "u");
    RUN(ComRL_v1_0_Op2, "n");
    RUN(ComRL_v1_1_Op0, "sssllccU");
    RUN(ComRL_v1_1_Op1, "u");
    RUN(ComRL_v1_1_Op2, "n");
    RUN(ComRL_v1_1_Op3, "ssslccUykKkaa");
    RUN(tsRPC_ScheduleTransaction, "ssslpbUoo");
    RUN(tsRPC_Op1, "A");
    RUN(tsRPC_Op2, "A");
    RUN(tsRPC_Op3, "s");
    RUN(tsRPC_Op4, "A[");
    RUN(tsRPC_Op5, "B");
    RUN(tsRPC_Op6, "B");
    RUN(tsRPC_Op7, "s");
    RUN(tsRPC_Op8, "s[");
    RUN(tsRPC_Op9, "s");
    RUN(tsRPC_Op10, "spmL");
    RUN(tsRPC_Op11, "C");
    RUN(tsRPC_Op12, "C");
    RUN(tsRPC_Op13, "s");
    RUN(tsRPC_Op14, "s[");
    RUN(tsRPC_Op15, "s");
    RUN(tsRPC_Op16, "spmlL");
    RUN(tsRPC_Op17, "D");
    RUN(tsRPC_Op18, "D");
    RUN(tsRPC_Op19, "s");
    RUN(tsRPC_Op20, "s[");
    RUN(tsRPC_Op21, "s");
    RUN(tsRPC_Op22, "spmL");
    RUN(tsRPC_Op23, "E");
    RUN(tsRPC_Op24, "E");
    RUN(tsRPC_Op25, "s");
    RUN(tsRPC_Op26, "s[");
    RUN(tsRPC_Op27, "F");
    RUN(tsRPC_Op28, "F");
    RUN(tsRPC_Op29, "s");
    RUN(tsRPC_Op30, "s[");
    RUN(tsRPC_Op31, "ss");
    RUN(tsRPC_Op32, "suss");
    RUN(tsRPC_Op33, "ss");
    RUN(tsRPC_Op34, "uw[");
    RUN(tsRPC_Op35, "mui");
    RUN(tsRPC_Op36, "p");
    RUN(tsRPC_Op37, "n");
    rpc_binding_free(&binding, &status);
    printf("%ld calls, %d failures\n", calls, failures);
    return failures ? 1 : 0;
}
