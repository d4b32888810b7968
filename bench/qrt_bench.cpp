// What a remote call costs beside the network that it goes over: a plain exchange of as many octets through one socket
// of the same kind. Read Call/tcp against Raw/tcp of the same run; the figures of two machines say nothing together.
// Call/impacket is the same call by an independent client, in Python, to the same server. Pace/8x1000 has eight threads
// make 1,000 calls a second each; late counts those that ended more than 100 ms behind their moment. Walk/10000 is one
// whole walk over an endpoint map of 10,000 entries.

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "rpc_binding.h"
#include "rpc_call.h"
#include "rpc_mapper.h"
#include "rpc_mgmt.h"
#include "rpc_server.h"

constexpr size_t payload = 100;
constexpr rpc_if_id_t echoId = {{0x6b1e0a01, 0x3c5d, 0x4c1e, 0x9a, 0x10, {1, 2, 3, 4, 5, 6}}, 1, 0};
constexpr uuid_t ndr = {0x8a885d04, 0x1ceb, 0x11c9, 0x9f, 0xe8, {0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}};
static const rpc_if_rep_t echoRecord = {68, echoId.uuid, 1, ndr, 2, {}};

static void need(u32 status)
{
    if (status != rpc_s_ok) abort();
}

// ---- the network alone

static void readAll(int descriptor, char *data, size_t size)
{
    while (size != 0) {
        const ssize_t count = recv(descriptor, data, size, 0);
        if (count <= 0) return;
        data += count;
        size -= static_cast<size_t>(count);
    }
}

static void rawTcp(benchmark::State &state)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    sockaddr *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(listener, generic, size) != 0 || listen(listener, 1) != 0 || getsockname(listener, generic, &size) != 0)
        abort();
    std::thread echo([&] {
        const int descriptor = accept(listener, nullptr, nullptr);
        static constexpr int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        char data[payload];
        for (;;) {
            const ssize_t count = recv(descriptor, data, sizeof data, 0);
            if (count <= 0 || send(descriptor, data, static_cast<size_t>(count), MSG_NOSIGNAL) < 0) break;
        }
        close(descriptor);
    });
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    static constexpr int on = 1;
    setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(client, generic, size) != 0) abort();
    char data[payload] = {};
    for (auto _ : state) {
        if (send(client, data, sizeof data, MSG_NOSIGNAL) < 0) abort();
        readAll(client, data, sizeof data);
    }
    close(client);
    echo.join();
    close(listener);
}
BENCHMARK(rawTcp)->Name("Raw/tcp")->UseRealTime();

// ---- calls

static void echo(rpc_server_call *call)
{
    rpc_ndr_write_octets(&call->Out, call->In.Data, call->In.Size);
}

static const rpc_server_operation operations[] = {echo};

struct Echo {
    rpc_server *Server;
    u16 Port = 0;
    Echo()
    {
        u32 status;
        rpc_server_options options = {};
        options.Threads = 8;
        Server = rpc_server_create(&options, &status);
        need(status);
        const rpc_server_interface service = {echoId, 1, operations, nullptr, nullptr};
        rpc_server_register_if(Server, &service, &status);
        rpc_server_use_tcp(Server, nullptr, 0, &Port, &status);
        need(status);
        const std::string path = "/tmp/qrt_bench." + std::to_string(getpid());
        rpc_server_use_local(Server, path.c_str(), &status);
        need(status);
        rpc_server_start(Server, &status);
        need(status);
    }
    rpc_binding_handle_t Bind(u32 endpoint) const
    {
        u32 status;
        unsigned_char_p_t text = rpc_server_inq_binding(Server, endpoint, &status);
        rpc_binding_handle_t binding;
        rpc_binding_from_string_binding(text, &binding, &status);
        need(status);
        rpc_string_free(&text, &status);
        return binding;
    }
};

static Echo &server()
{
    static Echo *const one = new Echo(); // lives as long as the process
    return *one;
}

static void callOnce(rpc_binding_handle_t binding, const u8 *data, size_t size)
{
    rpc_call_handle_t call;
    u32 status, fault, user;
    rpc_call_start(binding, 0, &echoRecord, 0, &call, nullptr, &status);
    need(status);
    const rpc_iovector_t send = {data, size};
    rpc_iovector_t received;
    ndr_format_t format;
    rpc_call_transceive(call, &send, &format, &received, &status);
    need(status);
    if (received.Size != size || memcmp(received.Data, data, size) != 0) abort();
    rpc_ss_call_end_2(&call, &fault, &user, &status);
    need(status);
}

static rpc_binding_handle_t shared;

static void call(benchmark::State &state, u32 endpoint)
{
    if (state.thread_index() == 0) shared = server().Bind(endpoint);
    u8 data[payload];
    memset(data, 7, sizeof data);
    for (auto _ : state) callOnce(shared, data, sizeof data);
    if (state.thread_index() == 0) {
        u32 status;
        rpc_binding_free(&shared, &status);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(call, tcp, 0)->Name("Call/tcp")->UseRealTime();
BENCHMARK_CAPTURE(call, local, 1)->Name("Call/local")->UseRealTime();
BENCHMARK_CAPTURE(call, threads, 0)->Name("Call/tcp")->Threads(8)->UseRealTime();

// ---- a steady load

static void pace(benchmark::State &state)
{
    using clock = std::chrono::steady_clock;
    constexpr int threads = 8, calls = 1000;
    rpc_binding_handle_t binding = server().Bind(0);
    std::atomic<int> done{0}, late{0};
    for (auto _ : state) {
        std::vector<std::thread> callers;
        const clock::time_point begin = clock::now();
        for (int thread = 0; thread < threads; ++thread)
            callers.emplace_back([&] {
                const u8 data[payload] = {1};
                for (int at = 0; at < calls; ++at) {
                    const clock::time_point moment = begin + std::chrono::microseconds(at * 1000);
                    std::this_thread::sleep_until(moment);
                    callOnce(binding, data, sizeof data); // an error ends the program
                    ++done;
                    if (clock::now() > moment + std::chrono::milliseconds(100)) ++late;
                }
            });
        for (std::thread &caller : callers) caller.join();
    }
    state.counters["late"] = late.load();
    state.SetItemsProcessed(done);
    u32 status;
    rpc_binding_free(&binding, &status);
}
BENCHMARK(pace)->Name("Pace/8x1000")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

// ---- the same call by another client

// Seconds that so many calls took; less than 0, with the reason on stderr, when there is no such client.
static double impacketSeconds(int calls)
{
    const std::string command = "python3 '" VELA_BENCH_SOURCE "/impacket_client.py' " + std::to_string(server().Port) +
                                " " + std::to_string(calls);
    FILE *pipe = popen(command.c_str(), "r");
    char line[200] = "";
    const bool told = pipe && fgets(line, sizeof line, pipe) != nullptr;
    const int status = pipe ? pclose(pipe) : -1;
    if (told && status == 0) return atof(line);
    line[strcspn(line, "\n")] = '\0';
    fprintf(stderr, "qrt_bench: no comparison with impacket's client: %s\n", told ? line : "python3 does not run it");
    return -1;
}

static void callImpacket(benchmark::State &state)
{
    constexpr int calls = 2000;
    for (auto _ : state) {
        const double seconds = impacketSeconds(calls);
        if (seconds < 0) {
            state.SkipWithError("python3-impacket is missing");
            return;
        }
        state.SetIterationTime(seconds / calls);
    }
}
BENCHMARK(callImpacket)->Name("Call/impacket")->UseManualTime()->Iterations(3);

// One megabyte each way, in fragments.
static void callLarge(benchmark::State &state)
{
    rpc_binding_handle_t binding = server().Bind(0);
    const std::string data(1 << 20, 'x');
    for (auto _ : state) callOnce(binding, reinterpret_cast<const u8 *>(data.data()), data.size());
    state.SetBytesProcessed(state.iterations() * (2 << 20));
    u32 status;
    rpc_binding_free(&binding, &status);
}
BENCHMARK(callLarge)->Name("Call/megabyte")->UseRealTime();

// ---- the walk

constexpr u32 entryCount = 10000;

static void walk(benchmark::State &state)
{
    u32 status;
    const rpc_mapper_options options = {nullptr, 0, 1, 0, 0};
    rpc_mapper *mapper = rpc_mapper_start(&options, &status);
    need(status);
    setenv("QRT_EPMAP_PORT", std::to_string(rpc_mapper_port(mapper)).c_str(), 1);
    setenv("SORREL_RUNDIR", "/dev/null/none", 1);
    for (u32 at = 0; at < entryCount; ++at) {
        uuid_t object;
        uuid_create(&object, &status);
        const std::string annotation = "vela/R" + std::to_string(at) + "/ts a region";
        rpc_server_register_ep(server().Server, &echoId, &object, annotation.c_str(), &status);
        need(status);
        if (rpc_mapper_entry_count(mapper) >= entryCount) break;
    }
    rpc_binding_handle_t host;
    rpc_binding_from_string_binding(reinterpret_cast<const u8 *>("ncacn_ip_tcp:127.0.0.1"), &host, &status);
    u32 found = 0;
    for (auto _ : state) {
        found = 0;
        rpc_ep_inq_handle_t inquiry;
        rpc_mgmt_ep_elt_inq_begin(host, rpc_c_ep_all_elts, nullptr, 0, nullptr, &inquiry, &status);
        for (;;) {
            rpc_binding_handle_t binding;
            unsigned_char_p_t annotation;
            rpc_mgmt_ep_elt_inq_next(inquiry, nullptr, &binding, nullptr, &annotation, &status);
            if (status != rpc_s_ok) break;
            ++found;
            u32 ignored;
            rpc_binding_free(&binding, &ignored);
            rpc_string_free(&annotation, &ignored);
        }
        if (status != rpc_s_no_more_elements || found < entryCount) abort();
        rpc_mgmt_ep_elt_inq_done(&inquiry, &status);
    }
    state.counters["entries"] = found;
    rpc_binding_free(&host, &status);
    rpc_mapper_stop(mapper);
}
BENCHMARK(walk)->Name("Walk/10000")->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
