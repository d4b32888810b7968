// The registry through its platform calls.

#include "registry_values.h"

#include "vela_commands.h"
#include "win32_error.h"
#include "win32_registry.h"

#include <algorithm>

namespace
{

constexpr size_t nameRoom = 1024;
constexpr u32 valueRoom = 65536;

// "the reason" for people, of the error numbers that a registry call gives.
std::string reason(i32 error)
{
    switch (static_cast<u32>(error)) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND: return "it is not there";
    case ERROR_ACCESS_DENIED: return "access is denied, or the key has subkeys";
    case ERROR_DISK_FULL: return "the disk is full";
    case ERROR_BAD_PATHNAME: return "the name is no registry path";
    }
    return "system error " + std::to_string(error);
}

struct OpenKey {
    HKEY Key = nullptr;
    i32 Error;

    OpenKey(const std::string &path, u32 access)
    {
        Error = access == KEY_WRITE ? RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_WRITE,
                                                      nullptr, &Key, nullptr)
                                    : RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, access, &Key);
    }
    ~OpenKey()
    {
        if (Error == 0) RegCloseKey(Key);
    }
    OpenKey(const OpenKey &) = delete;
    OpenKey &operator=(const OpenKey &) = delete;
};

std::pair<std::string, std::string> split(const std::string &name)
{
    const std::string path = Vela_RegistryPath(name);
    const size_t end = path.rfind('\\');
    if (end == std::string::npos || end + 1 == path.size()) throw Vela_Failure(name + ": names no value");
    return {path.substr(0, end), path.substr(end + 1)};
}

bool startsWithWord(const std::string &text, const std::string &word)
{
    if (text.size() < word.size()) return false;
    for (size_t i = 0; i < word.size(); ++i)
        if (std::toupper(static_cast<unsigned char>(text[i])) != word[i]) return false;
    return text.size() == word.size() || text[word.size()] == '\\';
}

} // namespace

std::string Vela_RegistryDirectory()
{
    char directory[nameRoom];
    return Plat_RegistryRoot(directory, sizeof directory);
}

std::string Vela_RegistryPath(const std::string &Name)
{
    std::string path = Name;
    std::replace(path.begin(), path.end(), '/', '\\');
    while (!path.empty() && path.front() == '\\') path.erase(0, 1);
    while (!path.empty() && path.back() == '\\') path.pop_back();
    if (path.empty()) throw Vela_Failure("an empty name is no registry path");
    if (startsWithWord(path, "SOFTWARE") || startsWithWord(path, "SYSTEM")) return path;
    return std::string(Vela_ProductKey) + "\\" + path;
}

bool Vela_RegistryHasKey(const std::string &Key)
{
    return OpenKey(Key, KEY_READ).Error == 0;
}

bool Vela_RegistryGet(const std::string &Name, std::string *Value)
{
    const auto [key, value] = split(Name);
    const OpenKey open(key, KEY_READ);
    if (open.Error != 0) return false;

    std::vector<char> data(valueRoom);
    u32 size = valueRoom - 1;
    if (RegQueryValueExA(open.Key, value.c_str(), nullptr, nullptr, reinterpret_cast<u8 *>(data.data()), &size) != 0)
        return false;
    data[size] = 0;
    *Value = data.data();
    return true;
}

void Vela_RegistrySet(const std::string &Name, const std::string &Value)
{
    const auto [key, value] = split(Name);
    const OpenKey open(key, KEY_WRITE);
    i32 error = open.Error;
    if (error == 0)
        error = RegSetValueExA(open.Key, value.c_str(), 0, REG_SZ, reinterpret_cast<const u8 *>(Value.c_str()),
                               static_cast<u32>(Value.size() + 1));
    if (error != 0)
        throw Vela_Failure(Name + " could not be stored in the registry at " + Vela_RegistryDirectory() + ": " +
                           reason(error));
}

void Vela_RegistryDeleteValue(const std::string &Name)
{
    const auto [key, value] = split(Name);
    const OpenKey open(key, KEY_READ);
    i32 error = open.Error;
    if (error == 0) {
        const OpenKey writing(key, KEY_WRITE);
        error = writing.Error != 0 ? writing.Error : RegDeleteValueA(writing.Key, value.c_str());
    }
    if (error != 0) throw Vela_Failure("value " + Name + " could not be deleted: " + reason(error));
}

void Vela_RegistryDeleteKey(const std::string &Name)
{
    const auto [parent, child] = split(Name);
    const OpenKey open(parent, KEY_READ);
    const i32 error = open.Error != 0 ? open.Error : RegDeleteKeyA(open.Key, child.c_str());
    if (error != 0) throw Vela_Failure("key " + Name + " could not be deleted: " + reason(error));
}

std::vector<std::string> Vela_RegistryKeys(const std::string &Key)
{
    std::vector<std::string> names;
    const OpenKey open(Key, KEY_READ);
    if (open.Error != 0) return names;

    char name[nameRoom];
    for (u32 index = 0; RegEnumKeyA(open.Key, index, name, sizeof name) == 0; ++index) names.emplace_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::pair<std::string, std::string>> Vela_RegistryValues(const std::string &Key)
{
    std::vector<std::pair<std::string, std::string>> values;
    const OpenKey open(Key, KEY_READ);
    if (open.Error != 0) return values;

    char name[nameRoom];
    std::vector<char> data(valueRoom);
    for (u32 index = 0;; ++index) {
        u32 nameSize = sizeof name;
        u32 size = valueRoom - 1;
        if (RegEnumValueA(open.Key, index, name, &nameSize, nullptr, nullptr, reinterpret_cast<u8 *>(data.data()),
                          &size) != 0)
            break;
        data[size] = 0;
        values.emplace_back(name, data.data());
    }
    std::sort(values.begin(), values.end());
    return values;
}
