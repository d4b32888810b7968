// A private installation below a fresh directory.
//
// The registry is written through its own calls, so this file knows nothing of its form on disk.

#include "scratch_root.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "win32_registry.h"

namespace
{

namespace fs = std::filesystem;

struct Roots {
    pid_t Owner = 0;
    std::vector<fs::path> Made;
};

// Never destroyed: an exit in any thread may still ask for it.
Roots &roots()
{
    static Roots *const all = new Roots;
    return *all;
}

void removeRoots()
{
    if (roots().Owner != getpid()) return;
    for (const fs::path &root : roots().Made) {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
}

void makeDirectories(const fs::path &below, std::initializer_list<const char *> names)
{
    for (const char *name : names) fs::create_directories(below / name);
}

void clearEnvironment()
{
    std::vector<std::string> names;
    for (char **row = environ; *row != nullptr; ++row) {
        const std::string name(*row, strcspn(*row, "="));
        if (name == "LANG" || name == "LANGUAGE" || name.starts_with("LC_") || name.starts_with("VELA"))
            names.push_back(name);
    }
    for (const std::string &name : names) unsetenv(name.c_str());
}

void setEnvironment(const char *name, const fs::path &value)
{
    ASSERT_EQ(setenv(name, value.c_str(), 1), 0);
}

void writeRegistry(const fs::path &root)
{
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "InstallPath", root / "install");
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "DataPath", root / "data");
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "UserId", "vela");
    Scratch_SetValue(SCRATCH_PRODUCT_KEY, "GroupId", "velagroup");
    Scratch_SetValue(SCRATCH_SORREL_KEY, "PathName", root / "install");
    Scratch_SetValue("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "CurrentVersion", "6.3");
    Scratch_SetValue("SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage", "OEMCP", "850");
}

void writeAccounts(const fs::path &root)
{
    const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
    Scratch_WriteFile(root / "accounts/passwd",
                      "vela:x:" + user + ":" + group + "::" + (root / "home").string() + ":/bin/false\n");
    Scratch_WriteFile(root / "accounts/group", "velagroup:x:" + group + ":vela\n");
}

} // namespace

std::string Scratch_MakeRoot(const char *Region)
{
    Roots &all = roots();
    if (all.Owner != getpid()) {
        all.Owner = getpid();
        all.Made.clear();
        atexit(removeRoots);
    }

    std::string pattern = fs::temp_directory_path() / "vela-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "no directory " << pattern << ": " << strerror(errno);
        abort();
    }
    const fs::path root = pattern;
    fs::permissions(root, fs::perms(0755)); // tests of rights look at it as another user
    all.Made.push_back(root);

    makeDirectories(root, {"registry", "home", "accounts"});
    makeDirectories(root / "install",
                    {"bin", "lib", "etc", "include", "data", "maps", "rom", "msg/C", "DEFAULT", "classes"});
    makeDirectories(root / "data", {"vela_regions", "vela_servers/SSD", "vela_servers/LSD", "vela_servers/GSD",
                                    "vela_servers/SCD", "vela_clients", "vela_tmp"});
    if (Region != nullptr)
        makeDirectories(root / "data/vela_regions" / Region, {"bin", "maps", "data", "classes", "database/RD"});
    fs::create_directory(root / "run");
    fs::permissions(root / "run", fs::perms(0700));

    clearEnvironment();
    setEnvironment("SORREL_REGISTRY", root / "registry");
    setEnvironment("SORREL_EVENTLOG", root / "events.log");
    setEnvironment("SORREL_ACCOUNTS", root / "accounts");
    setEnvironment("SORREL_RUNDIR", root / "run");
    setEnvironment("NLSPATH", VELA_TEST_BUILD_DIR "/msg/C/%N");

    writeRegistry(root);
    writeAccounts(root);
    return root;
}

std::string Scratch_Root()
{
    return roots().Made.empty() ? std::string() : roots().Made.back().string();
}

void Scratch_SetValue(const std::string &Key, const std::string &Name, const std::string &Value)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, Key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 0)
        << "registry key " << Key;
    const i32 result = RegSetValueExA(key, Name.c_str(), 0, REG_SZ, reinterpret_cast<const u8 *>(Value.c_str()),
                                      static_cast<u32>(Value.size() + 1));
    RegCloseKey(key);
    ASSERT_EQ(result, 0) << "registry value " << Key << '\\' << Name;
}

void Scratch_DeleteValue(const std::string &Key, const std::string &Name)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, Key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 0)
        << "registry key " << Key;
    const i32 result = RegDeleteValueA(key, Name.c_str());
    RegCloseKey(key);
    ASSERT_EQ(result, 0) << "registry value " << Key << '\\' << Name;
}

void Scratch_DeleteKey(const std::string &Key)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, Key.c_str(), 0, KEY_READ, &key), 0) << "registry key " << Key;
    char name[1024];
    while (RegEnumKeyA(key, 0, name, sizeof name) == 0) Scratch_DeleteKey(Key + "\\" + name);
    RegCloseKey(key);
    ASSERT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, Key.c_str()), 0) << "registry key " << Key;
}

static std::string withSlashes(std::string path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::string Scratch_ReadFile(const std::string &Path)
{
    std::ifstream file(withSlashes(Path), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void Scratch_WriteFile(const std::string &Path, const std::string &Text)
{
    const fs::path path = withSlashes(Path);
    if (path.has_parent_path()) fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << Text;
    file.close();
    if (!file) ADD_FAILURE() << "cannot write " << path;
}

std::string Scratch_EventLog()
{
    const char *const path = getenv("SORREL_EVENTLOG");
    return path == nullptr ? std::string() : Scratch_ReadFile(path);
}
