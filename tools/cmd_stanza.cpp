// vela stanza: an attribute of a region out of a stanza file, found the way the library finds it.
//
// The region need not run, only its directory must be there. Which line counts is the library's rule: the first that
// begins with the attribute's text.

#include "registry_values.h"
#include "suppr_names.h"
#include "suppr_stanza.h"
#include "vela_commands.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace fs = std::filesystem;

namespace
{

// The directory of a region, below the data path of the registry; empty when the word is the name of none.
fs::path regionDirectory(const std::string &word)
{
    std::string data;
    if (word.empty() || word.find_first_of("/\\.") != std::string::npos || !Vela_RegistryGet("DataPath", &data))
        return {};
    std::error_code ignored;
    const fs::path directory = fs::path(data) / "vela_regions" / word;
    return fs::is_directory(directory, ignored) ? directory : fs::path();
}

// Why a file cannot be read; empty when it can.
std::string fileFault(const fs::path &file)
{
    std::error_code ignored;
    if (fs::is_directory(file, ignored)) return "is a directory";
    errno = 0;
    return std::ifstream(file).is_open() ? "" : std::strerror(errno ? errno : EIO);
}

std::string fromRegion(const std::string &region, const fs::path &directory, const std::string &attribute)
{
    char value[SUPPR_STANZA_VALUE_SIZE] = "";
    const u32 code = SupPR_StanzaValue(region.c_str(), directory.c_str(), attribute.c_str(), value);
    if (code == ERZ_OK) return value;

    const fs::path common = directory / "database" / "RD" / "RD.stanza";
    if (code == SUPPR_ERR_REGION_ACCESS) {
        const std::string fault = fileFault(common);
        throw Vela_Failure(common.string() + ": " + (fault.empty() ? "cannot be opened" : fault));
    }
    throw Vela_Failure("region " + region + " has no attribute " + Vela_Printable(attribute) + " in its stanza files");
}

std::string fromFile(const std::string &file, const std::string &attribute)
{
    // A backslash parts folders in the library's paths; a name that holds one would be another file there.
    if (const std::string fault = fileFault(file); !fault.empty()) throw Vela_Failure(file + ": " + fault);

    char value[SUPPR_STANZA_VALUE_SIZE] = "";
    const u32 code = SupPR_SearchFile(file.c_str(), attribute.c_str(), value);
    if (code == ERZ_OK) return value;
    if (code == SUPPR_ERR_REGION_ACCESS) throw Vela_Failure(file + ": cannot be opened");
    throw Vela_Failure(file + ": no attribute " + Vela_Printable(attribute));
}

void run(const std::string &word, const std::string &attribute)
{
    if (attribute.empty()) throw Vela_Failure("the attribute has no name");
    const fs::path directory = regionDirectory(word);
    std::error_code ignored;
    if (directory.empty() && word.find_first_of("/.") == std::string::npos && !fs::exists(word, ignored))
        throw Vela_Failure("'" + word + "': no region has this name, and no file; the registry is at " +
                           Vela_RegistryDirectory());
    std::cout << (directory.empty() ? fromFile(word, attribute) : fromRegion(word, directory, attribute)) << "\n";
}

} // namespace

void Vela_AddStanza(CLI::App &Program)
{
    static std::string word, attribute;
    CLI::App *const command = Program.add_subcommand("stanza", "Look an attribute up in a stanza file");
    command->add_option("FILE-OR-REGION", word, "A stanza file, or a region's name for the files of that region")
        ->required();
    command->add_option("ATTRIBUTE", attribute, "The first line that begins with this text counts")->required();
    command->footer("A name with a slash or a point is a file, and so is one that no region has. Of a region, its own "
                    "file is looked at first, then the one that all share.");
    command->callback([] { run(word, attribute); });
}
