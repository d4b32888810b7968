// vela regions, ping, schedule, demo-region: what is there to be found over the network, and a small region to find.

#include "vela_commands.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>

#include <unistd.h>

#include "comrl_listener.h"
#include "rpc_binding.h"
#include "rpc_mapper.h"
#include "rpc_mgmt.h"
#include "rpc_server.h"
#include "suppr_endpoints.h"
#include "suppr_exceptions.h"
#include "ts_scheduler.h"

namespace
{

constexpr size_t outputRoom = 32767;
constexpr size_t bindingRoom = 1024;
constexpr u32 walkTimeout = 2; // three seconds, as the library's own walks

std::string statusText(u32 status)
{
    unsigned char text[RPC_ERROR_TEXT_SIZE];
    i32 known;
    dce_error_inq_text(status, text, &known);
    char *const plain = reinterpret_cast<char *>(text);
    if (char *const family = std::strstr(plain, " (dce / rpc)")) *family = '\0';
    return plain;
}

const unsigned char *runtimeText(const std::string &text)
{
    return reinterpret_cast<const unsigned char *>(text.c_str());
}

// A string of the runtime, taken over and freed.
std::string takeText(unsigned_char_p_t text)
{
    std::string copy = text ? reinterpret_cast<char *>(text) : "";
    u32 status;
    rpc_string_free(&text, &status);
    return copy;
}

struct Binding {
    rpc_binding_handle_t Handle = nullptr;
    explicit Binding(const std::string &text)
    {
        u32 status;
        rpc_binding_from_string_binding(runtimeText(text), &Handle, &status);
        if (status != rpc_s_ok) throw Vela_Failure("binding \"" + text + "\": " + statusText(status));
    }
    Binding(const Binding &) = delete;
    Binding &operator=(const Binding &) = delete;
    ~Binding()
    {
        u32 status;
        rpc_binding_free(&Handle, &status);
    }
};

// ---- regions

struct Row {
    std::string Region, Host, Description;
};

void printRows(const std::vector<Row> &rows)
{
    size_t width = 6, hostWidth = 4;
    for (const Row &row : rows) {
        width = std::max(width, row.Region.size());
        hostWidth = std::max(hostWidth, row.Host.size());
    }
    auto line = [&](const Row &row) {
        std::cout << row.Region << std::string(width + 2 - row.Region.size(), ' ') << row.Host
                  << std::string(hostWidth + 2 - row.Host.size(), ' ') << row.Description << "\n";
    };
    line({"REGION", "HOST", "DESCRIPTION"});
    for (const Row &row : rows) line(row);
}

struct Walk {
    std::string Host;
    u32 Status = rpc_s_ok;
};

void onWalk(void *argument, const char *hostName, i32 state, u32 status)
{
    Walk *walk = static_cast<Walk *>(argument);
    walk->Host = hostName;
    if (state == SUPPR_WALK_BROKEN) walk->Status = status;
}

// The field's text, which may fill it without an end.
template <size_t Size>
std::string fieldText(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

std::vector<Row> localRegions()
{
    std::vector<SupPR_RegionEntry> entries(1024);
    u16 count = static_cast<u16>(entries.size());
    Walk walk;
    SupPR_ListRegionNames(nullptr, ComRL_v1_0_c_ifspec, &count, entries.data(), 1, onWalk, &walk);
    if (walk.Status != rpc_s_ok)
        throw Vela_Failure("the endpoint map of this host cannot be read: " + statusText(walk.Status) +
                           " (is qrtd running?)");
    std::vector<Row> rows;
    for (u16 at = 0; at < count && at < entries.size(); ++at)
        rows.push_back({fieldText(entries[at].Name), walk.Host, Vela_Printable(fieldText(entries[at].Description))});
    return rows;
}

// One walk over the map of a host ("" is this one), read with the runtime itself: the library lists this host's only.
// Take gets each annotation. Gives the last status, rpc_s_no_more_elements when the whole map has been read.
template <class TakeEntry>
u32 walkMap(const std::string &host, rpc_if_handle_t spec, TakeEntry take)
{
    unsigned_char_p_t composed;
    u32 status, ignored;
    rpc_string_binding_compose(nullptr, runtimeText("ncacn_ip_tcp"), runtimeText(host), nullptr, nullptr, &composed,
                               &status);
    Binding mapper(takeText(composed));
    rpc_mgmt_set_com_timeout(mapper.Handle, walkTimeout, &status);
    rpc_if_id_t id;
    rpc_if_inq_id(spec, &id, &status);
    rpc_ep_inq_handle_t inquiry;
    rpc_mgmt_ep_elt_inq_begin(mapper.Handle, rpc_c_ep_match_by_if, &id, rpc_c_vers_compatible, nullptr, &inquiry,
                              &status);
    while (status == rpc_s_ok) {
        unsigned_char_p_t annotation;
        rpc_mgmt_ep_elt_inq_next(inquiry, nullptr, nullptr, nullptr, &annotation, &status);
        if (status == rpc_s_ok) take(takeText(annotation));
    }
    rpc_mgmt_ep_elt_inq_done(&inquiry, &ignored);
    return status;
}

Row rowOf(const std::string &annotation, const std::string &host)
{
    const size_t blank = annotation.find(' ');
    std::string path = annotation.substr(0, blank);
    path = path.substr(0, path.rfind('/'));
    return {Vela_Printable(path.substr(path.rfind('/') + 1)), host,
            blank == std::string::npos ? "" : Vela_Printable(annotation.substr(blank + 1))};
}

void addHostRegions(const std::string &host, std::vector<Row> *rows)
{
    const u32 status = walkMap(host, ComRL_v1_0_c_ifspec, [&](const std::string &annotation) {
        Row row = rowOf(annotation, host);
        const auto same = [&](const Row &other) { return other.Region == row.Region && other.Host == host; };
        if (std::none_of(rows->begin(), rows->end(), same)) rows->push_back(std::move(row));
    });
    if (status != rpc_s_no_more_elements) std::cerr << "vela: host " << host << ": " << statusText(status) << "\n";
}

void runRegions(const std::string &hosts)
{
    std::vector<Row> rows = localRegions();
    std::istringstream names(hosts);
    for (std::string host; names >> host;) addHostRegions(host, &rows);
    printRows(rows);
}

// ---- finding one server

// Why a host's map gave no server, for people: it cannot be read, it has no such region, or the region does not answer.
std::string reasonOf(const std::string &host, const std::string &region, rpc_if_handle_t spec)
{
    bool listed = false;
    u32 status = rpc_s_ok;
    try {
        status = walkMap(host, spec, [&](const std::string &annotation) {
            const std::string path = annotation.substr(0, annotation.find(' '));
            listed = listed || rowOf(annotation, host).Region == region || path == region;
        });
    } catch (const Vela_Failure &failure) {
        return failure.what();
    }
    const std::string place = host.empty() ? "this host" : "host " + host;
    if (listed)
        return place + " has it in its map, but no server answers over the " +
               (host.empty() ? "local protocol" : "network");
    if (status == rpc_s_no_more_elements) return place + " does not know it";
    return place + " has no map to read: " + statusText(status) + (host.empty() ? " (is qrtd running?)" : "");
}

std::string notFound(const std::string &region, const std::string &hosts, rpc_if_handle_t spec)
{
    const char *variable = std::getenv("VELA_HOSTS");
    std::istringstream names(hosts.empty() && variable ? variable : hosts);
    std::string text = "region " + region + ": " + reasonOf("", region, spec);
    for (std::string host; names >> host;) text += "; " + reasonOf(host, region, spec);
    return text;
}

std::string findServer(const std::string &region, const std::string &hosts, rpc_if_handle_t spec)
{
    std::string buffer(bindingRoom, '\0');
    const u32 code = SupPR_BindingStringFromAnnotation(hosts.empty() ? nullptr : hosts.c_str(), spec, nullptr,
                                                       region.c_str(), buffer.data());
    if (code == SUPPR_ERR_NOT_FOUND) throw Vela_Failure(notFound(region, hosts, spec));
    if (code == SUPPR_ERR_NO_ANNOTATION) throw Vela_Failure("the region's name is empty");
    if (code != ERZ_OK) throw Vela_Failure("no storage for the list of hosts");
    return buffer.c_str();
}

void runPing(const std::string &region, const std::string &hosts, int count)
{
    const std::string text = findServer(region, hosts, ComRL_v1_0_c_ifspec);
    std::cout << region << " is at " << text << "\n";
    Binding binding(text);
    for (int at = 0; at < count; ++at) {
        u32 status;
        const auto before = std::chrono::steady_clock::now();
        if (!rpc_mgmt_is_server_listening(binding.Handle, &status))
            throw Vela_Failure(region + " does not listen: " + statusText(status));
        const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - before;
        std::cout << "listens, answer in " << std::llround(took.count()) << " us\n";
    }
}

// ---- scheduling

struct BufferDeleter {
    void operator()(ts_Buffer *buffer) const { ::operator delete(buffer); }
};
using BufferPtr = std::unique_ptr<ts_Buffer, BufferDeleter>;

BufferPtr newBuffer(const std::string &data, size_t room)
{
    const size_t size = std::max(room, data.size());
    BufferPtr buffer(static_cast<ts_Buffer *>(::operator new(TS_BUFFER_BYTES(size) + sizeof(ts_Buffer))));
    buffer->Used = static_cast<i32>(data.size());
    buffer->Size = static_cast<i32>(size);
    if (!data.empty()) memcpy(buffer->Data, data.data(), data.size());
    return buffer;
}

struct ScheduleOptions {
    std::string Region, Transaction, Input, Terminal, Hosts;
};

std::string userName()
{
    const char *name = getenv("LOGNAME");
    return name ? name : "";
}

void runSchedule(const ScheduleOptions &options)
{
    const std::string input = options.Input.empty() ? "" : Vela_ReadFile(options.Input);
    if (input.size() > 0x7FFFFFFF / 2) throw Vela_Failure("the input is too large");
    Binding binding(findServer(options.Region, options.Hosts, ts_v1_0_c_ifspec));
    const BufferPtr in = newBuffer(input, 0);
    const BufferPtr out = newBuffer("", outputRoom);
    const BufferPtr more = newBuffer("", outputRoom);
    u32 answer = 0;
    u32 result = 0;
    EXC_TRY
    {
        result =
            tsRPC_ScheduleTransaction(binding.Handle, options.Transaction.c_str(), userName().c_str(),
                                      options.Terminal.c_str(), 0, {0, 0}, in.get(), &answer, out.get(), more.get());
    }
    EXC_CATCH_ALL
    {
        throw Vela_Failure("transaction " + options.Transaction + ": " + SupPR_ExceptionToString(exc_this));
    }
    EXC_END_TRY
    std::cout.write(out->Data, out->Used);
    std::cout.write(more->Data, more->Used);
    std::cerr << "vela: result " << result << ", answer " << answer << "\n";
    if (result != 0) throw Vela_Exit{1};
}

// ---- a region to try things on

// Answers to a scheduled transaction: what came, told as text, in the first buffer that goes back.
struct Demo {
    std::string Name;
    std::atomic<u32> Scheduled{0};
};

std::string readText(rpc_ndr_reader *in)
{
    char text[4096];
    rpc_ndr_read_align(in, 4);
    rpc_ndr_read_string(in, 1, text, sizeof text);
    return text;
}

// max count; used, size; offset, actual count, octets
std::string readBuffer(rpc_ndr_reader *in, u32 *size)
{
    const u32 max = rpc_ndr_read_u32(in);
    rpc_ndr_read_u32(in);
    *size = rpc_ndr_read_u32(in);
    const u32 offset = rpc_ndr_read_u32(in);
    const u32 count = rpc_ndr_read_u32(in);
    const u8 *octets = offset == 0 && count <= max && *size == max ? rpc_ndr_read_octets(in, count) : nullptr;
    if (!octets) {
        in->Failed = 1;
        return "";
    }
    return {reinterpret_cast<const char *>(octets), count};
}

void writeBuffer(rpc_ndr_writer *out, const std::string &data, u32 size)
{
    const u32 used = static_cast<u32>(std::min<size_t>(data.size(), size));
    rpc_ndr_write_u32(out, size);
    rpc_ndr_write_u32(out, used);
    rpc_ndr_write_u32(out, size);
    rpc_ndr_write_u32(out, 0);
    rpc_ndr_write_u32(out, used);
    rpc_ndr_write_octets(out, data.data(), used);
}

void scheduleDemo(rpc_server_call *call)
{
    Demo *demo = static_cast<Demo *>(call->Context);
    rpc_ndr_reader *in = &call->In;
    const std::string transaction = readText(in);
    const std::string user = readText(in);
    const std::string terminal = readText(in);
    rpc_ndr_read_u32(in); // the number and the pair
    rpc_ndr_read_u32(in);
    rpc_ndr_read_u32(in);
    u32 inputSize, firstSize, secondSize;
    const std::string input = readBuffer(in, &inputSize);
    readBuffer(in, &firstSize);
    readBuffer(in, &secondSize);
    if (in->Failed) return;
    const u32 number = ++demo->Scheduled;
    std::string text = demo->Name + " ran " + transaction + " for " + (user.empty() ? "nobody" : user);
    if (!terminal.empty()) text += " at " + terminal;
    text += ", " + std::to_string(input.size()) + " bytes of input\n" + input;
    rpc_ndr_write_u32(&call->Out, number);
    writeBuffer(&call->Out, text, firstSize);
    writeBuffer(&call->Out, "", secondSize);
    rpc_ndr_write_u32(&call->Out, 0);
}

void need(u32 status, const std::string &what)
{
    if (status != rpc_s_ok) throw Vela_Failure(what + ": " + statusText(status));
}

struct DemoServer {
    rpc_server *Server = nullptr;
    rpc_mapper *Mapper = nullptr;
    ~DemoServer()
    {
        rpc_server_destroy(Server);
        rpc_mapper_stop(Mapper);
    }
};

void registerDemo(DemoServer *demo, const rpc_if_id_t &listener, const rpc_if_id_t &scheduler, const std::string &name)
{
    const std::string annotation = "/.:/vela/" + name + "/ts demonstration region";
    u32 status;
    rpc_server_register_ep(demo->Server, &listener, nullptr, annotation.c_str(), &status);
    if (status == rpc_s_connect_rejected || status == rpc_s_no_rem_endpoint) {
        demo->Mapper = rpc_mapper_start(nullptr, &status);
        need(status, "no endpoint mapper runs and none can be started (QRT_EPMAP_PORT chooses its port)");
        std::cout << "no endpoint mapper was running: serving one on port " << rpc_mapper_port(demo->Mapper) << "\n";
        rpc_server_register_ep(demo->Server, &listener, nullptr, annotation.c_str(), &status);
    }
    need(status, "the endpoint mapper");
    rpc_server_register_ep(demo->Server, &scheduler, nullptr, annotation.c_str(), &status);
    need(status, "the endpoint mapper");
}

void runDemoRegion(const std::string &name)
{
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGINT);
    sigaddset(&endings, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);

    static constexpr rpc_server_operation operations[] = {scheduleDemo};
    Demo state;
    state.Name = name;
    DemoServer demo;
    u32 status;
    demo.Server = rpc_server_create(nullptr, &status);
    need(status, "the server");
    rpc_server_interface listener = {{}, 0, nullptr, nullptr, nullptr};
    rpc_server_interface scheduler = {{}, 1, operations, &state, nullptr};
    rpc_if_inq_id(ComRL_v1_0_c_ifspec, &listener.Id, &status);
    rpc_if_inq_id(ts_v1_0_c_ifspec, &scheduler.Id, &status);
    rpc_server_register_if(demo.Server, &listener, &status);
    rpc_server_register_if(demo.Server, &scheduler, &status);
    u16 port;
    rpc_server_use_tcp(demo.Server, nullptr, 0, &port, &status);
    need(status, "a TCP endpoint");
    rpc_server_use_local(demo.Server, ("region." + name + "." + std::to_string(getpid())).c_str(), &status);
    need(status, "a local endpoint");
    rpc_server_start(demo.Server, &status);
    need(status, "the server");
    registerDemo(&demo, listener.Id, scheduler.Id, name);
    std::cout << "region " << name << " is ready on port " << port << "; SIGINT or SIGTERM ends it" << std::endl;
    int signal;
    sigwait(&endings, &signal);
    std::cout << "region " << name << " ends after " << state.Scheduled << " transactions\n";
}

std::string checkRegion(const std::string &name)
{
    if (name.empty() || name.size() > 8) return "a region's name has 1 to 8 characters";
    if (name.find_first_of("/ \\") != std::string::npos) return "a region's name has no slash and no blank";
    return {};
}

} // namespace

void Vela_AddRegions(CLI::App &Program)
{
    CLI::App *regions = Program.add_subcommand("regions", "List the regions in the endpoint map of this host");
    auto hosts = std::make_shared<std::string>();
    regions->add_option("--hosts", *hosts, "Further hosts to ask, divided by blanks");
    regions->callback([hosts] { runRegions(*hosts); });

    CLI::App *ping = Program.add_subcommand("ping", "Find a region's server and ask whether it listens");
    auto pinged = std::make_shared<std::string>();
    auto pingHosts = std::make_shared<std::string>();
    auto count = std::make_shared<int>(1);
    ping->add_option("REGION", *pinged, "Name of the region")->required();
    ping->add_option("--hosts", *pingHosts, "Hosts to ask after this one (default: VELA_HOSTS)");
    ping->add_option("--count", *count, "How often to ask")->check(CLI::Range(1, 1000000))->capture_default_str();
    ping->callback([pinged, pingHosts, count] { runPing(*pinged, *pingHosts, *count); });

    CLI::App *schedule = Program.add_subcommand("schedule", "Schedule a transaction of a region, print its output");
    auto options = std::make_shared<ScheduleOptions>();
    schedule->add_option("REGION", options->Region, "Name of the region")->required();
    schedule->add_option("TRANSACTION", options->Transaction, "Name of the transaction")->required();
    schedule->add_option("--input", options->Input, "File with the transaction's input, - for standard input");
    schedule->add_option("--terminal", options->Terminal, "Name of the terminal that it runs for");
    schedule->add_option("--hosts", options->Hosts, "Hosts to ask after this one (default: VELA_HOSTS)");
    schedule->callback([options] { runSchedule(*options); });

    CLI::App *demo = Program.add_subcommand("demo-region", "Serve a small region to try the other commands on");
    auto name = std::make_shared<std::string>();
    demo->add_option("NAME", *name, "Name of the region")->required()->check(checkRegion);
    demo->callback([name] { runDemoRegion(*name); });
}
