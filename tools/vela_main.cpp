// The program `vela`: one command table, one place where failures become an exit status.
//
// Status 0 is success, 1 a failure told in one line on standard error, 2 a wrong command line.

#include "vela_commands.h"

#include <cstdio>
#include <exception>
#include <iostream>

namespace
{

using AddCommand = void (*)(CLI::App &);

// In the order of the help text.
constexpr AddCommand commands[] = {
    Vela_AddSetup,   Vela_AddRegistry, Vela_AddStanza, Vela_AddTrace,   Vela_AddMessage,
    Vela_AddConvert, Vela_AddCodesets, Vela_Add3270,   Vela_AddRegions, Vela_AddRelay,
};

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

// The word of the command line that should name a command and does not; nullptr when there is none.
const char *unknownCommand(const CLI::App &program, int argc, char **argv)
{
    const CLI::App *at = &program;
    for (int i = 1; i < argc && at->get_require_subcommand_min() > 0 && argv[i][0] != '-'; ++i) {
        const auto named = at->get_subcommands([&](const CLI::App *command) { return command->check_name(argv[i]); });
        if (named.empty()) return argv[i];
        at = named.front();
    }
    return nullptr;
}

// A word that looks like an option and is none; empty when there is no such word. It is told before all else that is
// wrong with the command line, for a mistyped option is often why something misses.
std::string unknownOption(const CLI::App &program)
{
    for (const std::string &word : program.remaining(true))
        if (word.size() > 1 && word[0] == '-' && word != "--") return word;
    return "";
}

int parse(CLI::App &program, int argc, char **argv)
{
    if (const char *word = unknownCommand(program, argc, argv)) {
        std::cerr << "vela: no command '" << word << "' (--help lists them)\n";
        return exitUsage;
    }
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
        const std::string option = unknownOption(program);
        std::cerr << "vela: " << (option.empty() ? error.what() : "no option '" + option + "'")
                  << " (--help tells more)\n";
        return exitUsage;
    } catch (const Vela_Exit &end) {
        return end.Status;
    } catch (const std::exception &failure) {
        std::cerr << "vela: " << failure.what() << "\n";
        return exitFailure;
    }
}

int run(int argc, char **argv)
{
    CLI::App program{"Meets the services of a region: setup, trace, messages, terminal streams.", "vela"};
    program.set_version_flag("--version", std::string("vela ") + VELA_VERSION);
    program.set_help_all_flag("--help-all", "Print the help of every command");
    program.require_subcommand(1);
    for (AddCommand add : commands) add(program);

    const int status = parse(program, argc, argv);
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0) {
        std::cerr << "vela: standard output could not be written\n";
        return exitFailure;
    }
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "vela: %s\n", failure.what());
        return exitFailure;
    }
}
