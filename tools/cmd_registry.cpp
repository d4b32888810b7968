// vela registry: looks at and changes the registry tree.
//
// A name is a path whose last part is the value: "InstallPath" stands below the product's own key,
// "VELARegions\vela.TEST\UserId" below a key of it, and a path that begins with SOFTWARE or SYSTEM counts from the top.
// A slash is as good as a backslash.

#include "registry_values.h"
#include "vela_commands.h"

#include <filesystem>
#include <iostream>

namespace
{

// Without a tree every name would only be "not there".
void needTree()
{
    std::error_code ignored;
    const std::string directory = Vela_RegistryDirectory();
    if (!std::filesystem::is_directory(directory, ignored))
        throw Vela_Failure("there is no registry at " + directory +
                           "; SORREL_REGISTRY names one, vela setup makes one");
}

void listKey(const std::string &key, const std::string &indent)
{
    for (const auto &value : Vela_RegistryValues(key))
        std::cout << indent << value.first << " = " << Vela_Printable(value.second) << "\n";
    for (const auto &child : Vela_RegistryKeys(key)) {
        std::cout << indent << Vela_Paint("1", child) << "\\\n";
        std::string path = key.empty() ? "" : key + '\\';
        path += child;
        listKey(path, indent + "    ");
    }
}

} // namespace

void Vela_AddRegistry(CLI::App &Program)
{
    CLI::App *const group = Vela_AddGroup(Program, "registry", "Look at and change the registry tree");
    static std::string name, text;

    group->add_subcommand("where", "Tell the directory that holds the tree")->callback([] {
        std::cout << Vela_RegistryDirectory() << "\n";
    });

    CLI::App *const get = group->add_subcommand("get", "Print one value");
    get->add_option("name", name, "The value, such as InstallPath or SOFTWARE\\...\\PathName")->required();
    get->callback([] {
        std::string value;
        needTree();
        if (!Vela_RegistryGet(name, &value))
            throw Vela_Failure("no value " + name + " in the registry at " + Vela_RegistryDirectory());
        std::cout << value << "\n";
    });

    CLI::App *const set = group->add_subcommand("set", "Store one value");
    set->add_option("name", name, "The value")->required();
    set->add_option("text", text, "What to store")->required();
    set->callback([] { Vela_RegistrySet(name, text); });

    CLI::App *const list = group->add_subcommand("list", "Print the tree, or the tree below one key");
    list->add_option("key", name, "The key; without it, all of the tree");
    list->callback([] {
        needTree();
        const std::string key = name.empty() ? "" : Vela_RegistryPath(name);
        if (!key.empty() && !Vela_RegistryHasKey(key))
            throw Vela_Failure("no key " + key + " in the registry at " + Vela_RegistryDirectory());
        listKey(key, "");
    });

    CLI::App *const remove = group->add_subcommand("delete", "Delete one value, or with --key a key without subkeys");
    static bool wholeKey = false;
    remove->add_option("name", name, "The value or key")->required();
    remove->add_flag("--key", wholeKey, "The name is a key: delete it with its values");
    remove->callback([] {
        needTree();
        wholeKey ? Vela_RegistryDeleteKey(name) : Vela_RegistryDeleteValue(name);
    });
}
