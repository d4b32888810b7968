// vela setup: makes a complete root, so that a process of a region can start.
//
// Everything is made where it is missing and left alone where it is there: a second run changes nothing, and another
// region name adds that region to the root. What went wrong half-way is told; the next run goes on from there.

#include "registry_values.h"
#include "vela_commands.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace fs = std::filesystem;

namespace
{

constexpr size_t regionNameLimit = 8;
constexpr size_t pathLimit = 200; // the names table joins the root with up to 40 more characters in 256

constexpr const char *installFolders[] = {"bin", "lib", "etc",   "include", "data",   "maps",
                                          "rom", "msg", "msg/C", "DEFAULT", "classes"};
constexpr const char *dataFolders[] = {"vela_regions",     "vela_servers",     "vela_servers/SSD", "vela_servers/LSD",
                                       "vela_servers/GSD", "vela_servers/SCD", "vela_clients",     "vela_tmp"};
constexpr const char *regionFolders[] = {"bin", "maps", "data", "classes", "database", "database/RD"};

constexpr char environmentText[] =
    "# Environment of the servers of this region, read when a server starts. A line NAME=VALUE sets a variable:\n"
    "#\n"
    "#   NAME     letters, digits and underscores, and no blank before the =\n"
    "#   \"VALUE\"  a pair of quotes around the whole value is dropped, and so are blanks behind it\n"
    "#   %OTHER%  in a value stands for the value of OTHER; it stays as it is written where OTHER is not set\n"
    "#   NAME=    removes the variable\n"
    "#\n"
    "# Lines have up to 510 characters. Any other line is passed over. To use one of these, take its # away:\n"
    "#\n"
    "# VELATRACE=-B ON -M ON -S ON -t ALL=4\n"
    "# LANG=C.UTF-8\n";

struct Setup {
    fs::path Root;
    std::string Region;
    unsigned Made = 0;
};

// The reason why a name is no region name; empty for a good one.
std::string regionNameFault(const std::string &name)
{
    if (name.empty()) return "a region name has 1 to 8 characters";
    if (name.size() > regionNameLimit)
        return "a region name has at most 8 characters, this one has " + std::to_string(name.size());
    for (const char character : name)
        if (!std::isalnum(static_cast<unsigned char>(character)) && character != '_' && character != '-')
            return "a region name is made of letters, digits, _ and -";
    if (name[0] == '-') return "a region name does not begin with -";
    return "";
}

void makeFolder(Setup *setup, const fs::path &folder)
{
    std::error_code error;
    if (fs::is_directory(folder, error)) return;
    fs::create_directories(folder, error);
    if (error) throw Vela_Failure(folder.string() + ": " + error.message());
    ++setup->Made;
}

void makeValue(Setup *setup, const std::string &name, const std::string &text)
{
    std::string there;
    if (Vela_RegistryGet(name, &there)) return;
    Vela_RegistrySet(name, text);
    ++setup->Made;
}

// Copies a file unless the same bytes are there.
void copyFile(Setup *setup, const fs::path &from, const fs::path &to)
{
    std::error_code ignored;
    if (fs::exists(to, ignored) && Vela_ReadFile(to.string()) == Vela_ReadFile(from.string())) return;
    Vela_WriteFile(to.string(), Vela_ReadFile(from.string()));
    ++setup->Made;
}

void copyData(Setup *setup, const fs::path &install)
{
    std::error_code ignored;
    const fs::path share = Vela_ShareDirectory();
    const fs::path catalogue = share / "msg" / "C" / "vela.cat";
    if (!fs::exists(catalogue, ignored))
        throw Vela_Failure("no message catalogue at " + catalogue.string() + ": the program is not fully installed");
    copyFile(setup, catalogue, install / "msg" / "C" / "vela.cat");

    if (!fs::is_directory(share / "etc", ignored)) return;
    for (const auto &entry : fs::directory_iterator(share / "etc"))
        if (entry.path().extension() == ".tbl")
            copyFile(setup, entry.path(), install / "etc" / entry.path().filename());
}

void makeRegistry(Setup *setup, const fs::path &install, const fs::path &data)
{
    makeValue(setup, "InstallPath", install.string());
    makeValue(setup, "DataPath", data.string());
    makeValue(setup, "UserId", "vela");
    makeValue(setup, "GroupId", "velagroup");
    makeValue(setup, std::string(Vela_SorrelKey) + "\\PathName", install.string());
    makeValue(setup, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\CurrentVersion", "6.3");

    const std::string entry = "VELARegions\\vela." + setup->Region + "\\";
    makeValue(setup, entry + "ExecutablePath", (install / "bin" / "velaas").string());
    makeValue(setup, entry + "Arguments", "-r " + setup->Region);
    makeValue(setup, entry + "UserId", "vela");
    makeValue(setup, entry + "GroupId", "velagroup");
    const fs::path console = data / "vela_regions" / setup->Region / "console";
    makeValue(setup, entry + "StdOut", console.string() + ".out");
    makeValue(setup, entry + "StdErr", console.string() + ".err");
}

void makeRegion(Setup *setup, const fs::path &directory)
{
    makeFolder(setup, directory);
    for (const char *folder : regionFolders) makeFolder(setup, directory / folder);

    std::error_code ignored;
    const fs::path environment = directory / "environment";
    if (fs::exists(environment, ignored)) return;
    Vela_WriteFile(environment.string(), environmentText);
    ++setup->Made;
}

// A word for the shell that reads our output.
std::string shellWord(const std::string &text)
{
    std::string out = "'";
    for (const char character : text) out += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return out + "'";
}

void run(Setup *setup)
{
    const std::string fault = regionNameFault(setup->Region);
    if (!fault.empty()) throw Vela_Failure("'" + setup->Region + "': " + fault);

    std::error_code error;
    setup->Root = fs::absolute(setup->Root, error).lexically_normal();
    if (setup->Root.filename().empty()) setup->Root = setup->Root.parent_path();
    if (setup->Root.string().size() > pathLimit)
        throw Vela_Failure(setup->Root.string() + ": the path of a root has at most " + std::to_string(pathLimit) +
                           " characters");
    if (setup->Root.string().find_first_of("\\\n") != std::string::npos)
        throw Vela_Failure("the path of a root holds no backslash and no line end");

    const fs::path registry = setup->Root / "registry";
    const fs::path install = setup->Root / "install";
    const fs::path data = setup->Root / "data";
    for (const fs::path &folder : {registry, install, data}) makeFolder(setup, folder);
    for (const char *folder : installFolders) makeFolder(setup, install / folder);
    for (const char *folder : dataFolders) makeFolder(setup, data / folder);

    setenv("SORREL_REGISTRY", registry.c_str(), 1);
    makeRegistry(setup, install, data);
    copyData(setup, install);
    makeRegion(setup, data / "vela_regions" / setup->Region);

    std::cout << "# " << (setup->Made == 0 ? "nothing to do: " : "made ") << "region " << setup->Region << " at "
              << setup->Root.string() << "; for the processes of the region:\n"
              << "export SORREL_REGISTRY=" << shellWord(registry.string()) << "\n"
              << "export VELAREGION=" << shellWord(setup->Region) << "\n";
}

} // namespace

void Vela_AddSetup(CLI::App &Program)
{
    static Setup setup;
    static std::string root;
    CLI::App *const command = Program.add_subcommand("setup", "Make a complete root with one region");
    command->add_option("--root", root, "The directory to make")->required();
    command->add_option("--region", setup.Region, "The region's name, 1 to 8 characters")->required();
    command->footer("The output can be read by a shell: eval \"$(vela setup --root DIR --region NAME)\".");
    command->callback([] {
        if (root.empty()) throw Vela_Failure("--root names no directory");
        setup.Root = root;
        run(&setup);
    });
}
