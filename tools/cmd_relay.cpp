// vela relay: runs the connection relay on a port of this machine, and stops one by its name.

#include "supos_relay.h"
#include "vela_commands.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_pipe.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

struct RelayOptions {
    std::string Name;
    std::string Address = "127.0.0.1";
    uint16_t Port = 0;
    std::vector<std::string> Handler;
};

constexpr int backlog = 128;

// Names a pipe, so it stays one word.
std::string checkName(const std::string &name)
{
    if (name.empty() || name.size() > 200) return "a relay's name has 1 to 200 characters";
    if (name.find_first_of("/\\ ") != std::string::npos) return "a relay's name has no slash and no blank";
    return {};
}

std::string checkAddress(const std::string &address)
{
    struct in_addr parsed;
    return inet_pton(AF_INET, address.c_str(), &parsed) == 1 ? "" : "'" + address + "' is no IPv4 address";
}

// A listening socket that handlers do not inherit; the port that it has got in *port.
int listenOn(const std::string &address, uint16_t *port)
{
    const auto fail = [&]() -> int {
        throw Vela_Failure(address + ":" + std::to_string(*port) + ": " + std::strerror(errno));
    };
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) return fail();
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    struct sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_port = htons(*port);
    inet_pton(AF_INET, address.c_str(), &here.sin_addr);
    if (bind(listener, reinterpret_cast<struct sockaddr *>(&here), sizeof here) != 0 || listen(listener, backlog) != 0)
        return fail();
    socklen_t size = sizeof here;
    if (getsockname(listener, reinterpret_cast<struct sockaddr *>(&here), &size) != 0) return fail();
    *port = ntohs(here.sin_port);
    return listener;
}

const std::string pipePrefix = "\\\\.\\pipe\\velateldi";

void runRelay(const RelayOptions &options)
{
    // The relay's own result for this case is that of a stop.
    if (WaitNamedPipeA((pipePrefix + options.Name).c_str(), 1))
        throw Vela_Failure(options.Name + ": a relay of this name runs already");
    uint16_t port = options.Port;
    const int listener = listenOn(options.Address, &port);
    std::cout << "relay " << options.Name << " listens on " << options.Address << ":" << port << "; vela relay stop "
              << options.Name << " ends it" << std::endl;

    std::vector<const char *> arguments; // the first is not looked at
    for (const std::string &word : options.Handler) arguments.push_back(word.c_str());
    const u32 result = SupOS_Inetd(options.Handler[0].c_str(), static_cast<u32>(listener), options.Name.c_str(),
                                   static_cast<i32>(arguments.size()), arguments.data());
    close(listener);
    switch (result) {
    case SUPOS_RELAY_STOPPED: std::cout << "relay " << options.Name << " ends\n"; return;
    case SUPOS_RELAY_START_FAILED: throw Vela_Failure(options.Handler[0] + ": the handler could not be started");
    case SUPOS_RELAY_PIPE_FAILED: throw Vela_Failure(options.Name + ": the name could not be taken");
    }
    throw Vela_Failure(options.Name + ": the relay failed with result " + std::to_string(result) +
                       "; the event log tells more");
}

void stopRelay(const std::string &name)
{
    const handle pipe = CreateFileA((pipePrefix + name).c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (pipe == PLAT_INVALID_HANDLE) {
        const u32 error = GetLastError();
        if (error == ERROR_PIPE_BUSY) throw Vela_Failure(name + ": the relay has been asked to stop already");
        if (error == ERROR_FILE_NOT_FOUND) throw Vela_Failure(name + ": no relay of this name runs");
        throw Vela_Failure(name + ": system error " + std::to_string(error));
    }
    CloseHandle(pipe);
    std::cout << "relay " << name << " will end within 10 seconds\n";
}

} // namespace

void Vela_AddRelay(CLI::App &Program)
{
    CLI::App *const relay = Vela_AddGroup(Program, "relay", "Start a handler program for each connection to a port");

    CLI::App *const run = relay->add_subcommand("run", "Accept connections until the relay is stopped");
    auto options = std::make_shared<RelayOptions>();
    run->add_option("--name", options->Name, "Name of the relay, once on a machine")->required()->check(checkName);
    run->add_option("--port", options->Port, "TCP port, 0 for any that is free")
        ->required()
        ->check(CLI::Range(0, 65535).description(""));
    run->add_option("--address", options->Address, "IPv4 address to listen on")
        ->check(checkAddress)
        ->capture_default_str();
    run->add_option("PROGRAM", options->Handler,
                    "Behind --: the handler and its arguments; it gets the number of its connection behind -u")
        ->required()
        ->expected(1, 1000);
    run->callback([options] { runRelay(*options); });

    CLI::App *const stop = relay->add_subcommand("stop", "Ask a relay to end");
    auto name = std::make_shared<std::string>();
    stop->add_option("NAME", *name, "Name of the relay")->required()->check(checkName);
    stop->callback([name] { stopRelay(*name); });
}
