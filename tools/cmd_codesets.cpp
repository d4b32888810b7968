// vela codesets: which code sets an installation has, and what converts to what.

#include "codeset_catalogue.h"
#include "registry_values.h"
#include "vela_commands.h"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>

namespace
{

constexpr size_t lineWidth = 100;

const char *kindName(const Codeset &set)
{
    static const char *const names[] = {"?", "single-byte", "double-byte", "mixed"};
    return names[set.Kind <= 3 ? set.Kind : 0];
}

const char *encodingName(const Codeset &set)
{
    static const char *const names[] = {"?", "host", "PC", "ISO", "UCS-2", "UTF-8", "EUC", "GB18030"};
    return names[set.Encoding <= 7 ? set.Encoding : 0];
}

std::string formatted(const char *form, auto... values)
{
    char text[400];
    std::snprintf(text, sizeof text, form, values...);
    return text;
}

// The catalogue of the registry's installation; without one, that which came with this program.
std::string defaultFolder()
{
    std::string path;
    std::error_code ignored;
    if (Vela_RegistryGet("InstallPath", &path) && std::filesystem::exists(path + "/etc/ccsid.tbl", ignored))
        return path + "/etc";
    return Vela_ShareDirectory() + "/etc";
}

std::string parts(const Codeset &set)
{
    if (set.Encoding > 3) return "-";
    if (set.Dbcs == 0) return std::to_string(set.Sbcs);
    return set.Sbcs == 0 ? std::to_string(set.Dbcs) : std::to_string(set.Sbcs) + "+" + std::to_string(set.Dbcs);
}

// A heading and the names of the sets that pass a test, in lines.
void printNames(const std::string &heading, const CodesetCatalogue &catalogue,
                const std::function<bool(const Codeset &)> &test)
{
    std::string text;
    std::string line = "   ";
    size_t count = 0;
    for (const Codeset &set : catalogue.Sets) {
        if (!test(set)) continue;
        ++count;
        // A name that two numbers share means the first of them.
        const bool first = Codesets_Find(catalogue, set.Name)->Ccsid == set.Ccsid;
        const std::string name = first ? set.Name : std::to_string(set.Ccsid);
        if (line.size() + name.size() + 1 > lineWidth) {
            text += line + "\n";
            line = "   ";
        }
        line += " " + name;
    }
    if (count == 0) return;
    std::cout << Vela_Paint("1", formatted("%s (%zu):", heading.c_str(), count)) << "\n" << text << line << "\n";
}

void printAll(const CodesetCatalogue &catalogue)
{
    std::cout << Vela_Paint("1", formatted("%6s  %-12s %-12s %-8s %-12s %12s", "number", "name", "kind", "encoding",
                                           "parts", "opens with"))
              << "\n";
    for (const Codeset &set : catalogue.Sets) {
        size_t opens = 0;
        for (const Codeset &other : catalogue.Sets)
            opens += other.Ccsid != set.Ccsid && Codesets_Open(catalogue, set, other, nullptr) != CodesetOpen::None &&
                     Codesets_Open(catalogue, other, set, nullptr) != CodesetOpen::None;
        std::cout << formatted("%6u  %-12s %-12s %-8s %-12s %12zu\n", set.Ccsid, set.Name.c_str(), kindName(set),
                               encodingName(set), parts(set).c_str(), opens);
    }
    std::cout << formatted("%zu code sets and %zu files in %s\n", catalogue.Sets.size(), catalogue.Files.size(),
                           catalogue.Folder.c_str());
}

void printOne(const CodesetCatalogue &catalogue, const Codeset &set)
{
    std::cout << Vela_Paint("1", set.Name)
              << formatted(": number %u, %s, %s, parts %s, base %u, row %u\n", set.Ccsid, kindName(set),
                           encodingName(set), parts(set).c_str(), set.Base, set.Index);
    const auto opens = [&](const Codeset &from, const Codeset &to) {
        return Codesets_Open(catalogue, from, to, nullptr);
    };
    const auto both = [&](const Codeset &other, CodesetOpen there, CodesetOpen back) {
        return other.Ccsid != set.Ccsid && opens(set, other) == there && opens(other, set) == back;
    };
    const CodesetOpen none = CodesetOpen::None;
    const CodesetOpen copy = CodesetOpen::Copy;
    const CodesetOpen converts = CodesetOpen::Converts;
    printNames("Converts both ways with", catalogue, [&](const Codeset &o) { return both(o, converts, converts); });
    printNames("Passes bytes unchanged, both ways, with", catalogue,
               [&](const Codeset &o) { return both(o, copy, copy); });
    printNames("Passes bytes unchanged to, and converts from", catalogue,
               [&](const Codeset &o) { return both(o, copy, converts); });
    printNames("Converts to, and takes bytes unchanged from", catalogue,
               [&](const Codeset &o) { return both(o, converts, copy); });
    printNames("Goes one way only, to", catalogue,
               [&](const Codeset &o) { return opens(set, o) != none && opens(o, set) == none; });
    printNames("Goes one way only, from", catalogue,
               [&](const Codeset &o) { return opens(set, o) == none && opens(o, set) != none; });
    printNames("Nothing converts between it and", catalogue, [&](const Codeset &o) { return both(o, none, none); });
}

void printPair(const CodesetCatalogue &catalogue, const Codeset &from, const Codeset &to)
{
    std::string missing;
    const CodesetOpen outcome = Codesets_Open(catalogue, from, to, &missing);
    const std::string pair = from.Name + " to " + to.Name + ": ";
    if (outcome == CodesetOpen::None)
        throw Vela_Failure(pair + (missing.empty() ? "these encodings do not convert into each other"
                                                   : "there is no table " + missing + " in " + catalogue.Folder));
    std::cout << pair << (outcome == CodesetOpen::Copy ? "bytes pass unchanged\n" : "converts\n");
}

const Codeset &find(const CodesetCatalogue &catalogue, const std::string &name)
{
    const Codeset *const set = Codesets_Find(catalogue, name);
    if (set == nullptr) throw Vela_Failure("no code set " + name + " in " + catalogue.Folder + "/ccsid.tbl");
    return *set;
}

} // namespace

void Vela_AddCodesets(CLI::App &Program)
{
    static std::string name;
    static std::string target;
    static std::string folder;
    CLI::App *const command = Program.add_subcommand("codesets", "List code sets, and what converts to what");
    command->add_option("name", name, "A code set: QMX-037, 037 or 37. Without it all are listed");
    command->add_option("target", target, "A second code set: only this pair is looked at");
    command->add_option("--etc", folder, "Folder of ccsid.tbl and its tables, instead of the installation's");
    command->callback([] {
        const CodesetCatalogue catalogue = Codesets_ReadFolder(folder.empty() ? defaultFolder() : folder);
        if (name.empty())
            printAll(catalogue);
        else if (target.empty())
            printOne(catalogue, find(catalogue, name));
        else
            printPair(catalogue, find(catalogue, name), find(catalogue, target));
    });
}
