// The program `vela`: one command table, one place where failures become an exit status.
//
// Status 0 is success, 1 a failure told in one line on standard error, 2 a wrong command line.

#include "vela_commands.h"

#include <cstdio>
#include <iostream>

namespace
{

using AddCommand = void (*)(CLI::App &);

// In the order of the help text.
constexpr AddCommand commands[] = {
    Vela_AddSetup, Vela_AddRegistry, Vela_Add3270, Vela_AddTrace, Vela_AddMessage, Vela_AddCodesets, Vela_AddConvert,
};

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

int run(CLI::App &program, int argc, char **argv)
{
    try {
        program.parse(argc, argv);
        return 0;
    } catch (const CLI::CallForHelp &help) {
        return program.exit(help);
    } catch (const CLI::CallForAllHelp &help) {
        return program.exit(help);
    } catch (const CLI::CallForVersion &version) {
        return program.exit(version);
    } catch (const CLI::ParseError &error) {
        std::cerr << "vela: " << error.what() << " (--help tells more)\n";
        return exitUsage;
    } catch (const Vela_Exit &end) {
        return end.Status;
    } catch (const std::exception &failure) {
        std::cerr << "vela: " << failure.what() << "\n";
        return exitFailure;
    }
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App program{"Meets the services of a region: setup, trace, messages, terminal streams.", "vela"};
    program.set_version_flag("--version", std::string("vela ") + VELA_VERSION);
    program.set_help_all_flag("--help-all", "Print the help of every command");
    program.require_subcommand(1);
    for (AddCommand add : commands) add(program);

    const int status = run(program, argc, argv);
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0) {
        std::cerr << "vela: standard output could not be written\n";
        return exitFailure;
    }
    return status;
}
