#ifndef VELA_COMMANDS_H
#define VELA_COMMANDS_H

// What the commands of the program share. Each command is one function that adds itself to the program; the table of
// them stands in vela_main.cpp.

#include <CLI/CLI.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

// Ends a command with exit status 1 and "vela: TEXT" on standard error.
struct Vela_Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A command that has said all it had to say itself, and ends with this status.
struct Vela_Exit {
    int Status;
};

void Vela_AddSetup(CLI::App &Program);
void Vela_AddRegistry(CLI::App &Program);
void Vela_AddStanza(CLI::App &Program);
void Vela_Add3270(CLI::App &Program);
void Vela_AddTrace(CLI::App &Program);
void Vela_AddMessage(CLI::App &Program);
void Vela_AddRegions(CLI::App &Program);
void Vela_AddConvert(CLI::App &Program);
void Vela_AddCodesets(CLI::App &Program);
void Vela_AddRelay(CLI::App &Program);

// Adds a command group that shows its help when no command of it is named.
CLI::App *Vela_AddGroup(CLI::App &Program, const std::string &Name, const std::string &Description);

// The whole file, or Vela_Failure with the system's reason. "-" is standard input.
std::string Vela_ReadFile(const std::string &Path);

// Writes a file through a temporary one beside it, so that a failure leaves the old contents. "-" is standard output.
void Vela_WriteFile(const std::string &Path, const std::string &Contents);

// True when escape sequences make sense on standard output: a terminal, and no NO_COLOR.
bool Vela_Colours();

// Text in an escape sequence such as "1;34" when colours are on.
std::string Vela_Paint(const std::string &Sequence, const std::string &Text);

// Printable form of bytes that may be anything: control and non-ASCII bytes as \xNN.
std::string Vela_Printable(const std::string &Text);

// The data directory that belongs to this program: <build>, or <prefix>/share/velaco once installed.
std::string Vela_ShareDirectory();

#endif
