// The program `qrtd`: the endpoint mapper of a host, in the foreground until it is told to stop.
//
// It listens on loopback and on the local socket; entries come from the servers of this host alone. Every minute it takes
// out the entries of servers that are gone.

#include <CLI/CLI.hpp>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "rpc_mapper.h"

constexpr int sweepSeconds = 60;

static std::string reason(u32 status)
{
    unsigned char text[RPC_ERROR_TEXT_SIZE];
    i32 known;
    dce_error_inq_text(status, text, &known);
    char *const plain = reinterpret_cast<char *>(text);
    if (char *const family = std::strstr(plain, " (dce / rpc)")) *family = '\0';
    return plain;
}

static int run(int argc, char **argv)
{
    CLI::App program{"The endpoint mapper: tells clients at which endpoints this host's servers listen.", "qrtd"};
    int port = -1;
    std::string address = "127.0.0.1";
    bool noSocket = false;
    program.set_version_flag("--version", "qrtd " VELA_VERSION);
    program.add_option("--port", port, "TCP port; 0 takes a free one (default: QRT_EPMAP_PORT, else 135)")
        ->check(CLI::Range(0, 65535));
    program.add_option("--address", address, "IPv4 address to listen on")->capture_default_str();
    program.add_flag("--no-local-socket", noSocket, "Listen on TCP only");
    program.footer("Runs in the foreground; prints one line once it is ready. SIGINT and SIGTERM end it.\n"
                   "The local socket lies in SORREL_RUNDIR, else XDG_RUNTIME_DIR/sorrel, else a folder of the user's.");
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return program.exit(error) == 0 ? 0 : 2;
    }

    // Blocked before the threads start, so that only the wait below takes them.
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGINT);
    sigaddset(&endings, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);

    u32 status;
    const rpc_mapper_options options = {address.c_str(), port, noSocket, 0, 0};
    rpc_mapper *mapper = rpc_mapper_start(&options, &status);
    if (!mapper) {
        std::fprintf(stderr, "qrtd: cannot serve: %s; is another mapper running, or the port below 1024?\n",
                     reason(status).c_str());
        return 1;
    }
    const char *socket = rpc_mapper_socket(mapper);
    std::printf("qrtd: ready on %s port %u%s%s\n", address.c_str(), rpc_mapper_port(mapper), *socket ? " and " : "",
                socket);
    std::fflush(stdout);

    const timespec pause = {sweepSeconds, 0};
    while (sigtimedwait(&endings, nullptr, &pause) < 0) {
        if (errno == EAGAIN) rpc_mapper_sweep(mapper);
    }
    rpc_mapper_stop(mapper);
    return 0;
}

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "qrtd: %s\n", error.what());
        return 1;
    }
}
